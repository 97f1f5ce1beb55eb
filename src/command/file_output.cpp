#include "command/file_output.h"

#include <cstdio>

#include "base/files.h"
#include "command/engine.h"
#include "command/texts.h"

namespace zenfit {

bool writeNamedFile(Engine& engine, const std::string& name, const std::string& content) {
  const std::filesystem::path path = resolveFileName(engine.workdir, name.c_str(), kFileNameSize);
  FileHandle file(std::fopen(path.c_str(), "w"));
  if (!file) {
    sayf(engine, Severity::Error, texts::kOutputCannotBeOpened, name.c_str(), kOpenFailed);
    return false;
  }
  std::fwrite(content.data(), 1, content.size(), file.get());
  return true;
}

}  // namespace zenfit
