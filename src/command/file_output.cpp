#include "command/file_output.h"

#include <cstdio>

#include "command/engine.h"
#include "command/texts.h"

namespace zenfit {

bool fileAccessAllowed(Engine& engine, const std::string& name,
                       const std::filesystem::path& path, bool writing) {
  if (!engine.hooks.fileAccess) return true;
  const std::string refusal = engine.hooks.fileAccess(name, path, writing);
  if (refusal.empty()) return true;
  say(engine, Severity::Error, refusal.back() == '\n' ? refusal : refusal + "\n");
  return false;
}

bool writeNamedFile(Engine& engine, const std::string& name, const std::string& content) {
  const std::filesystem::path path = resolveFileName(engine.workdir, name.c_str(), kFileNameSize);
  if (!fileAccessAllowed(engine, name, path, true)) return false;
  FileHandle file(std::fopen(path.c_str(), "w"));
  if (!file) {
    sayf(engine, Severity::Error, texts::kOutputCannotBeOpened, name.c_str(), kOpenFailed);
    return false;
  }
  std::fwrite(content.data(), 1, content.size(), file.get());
  return true;
}

}  // namespace zenfit
