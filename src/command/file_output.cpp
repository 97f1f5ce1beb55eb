#include "command/file_output.h"

#include <cstring>

#include "base/atomic_file.h"
#include "base/files.h"
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

bool writeNamedFile(Engine& engine, const std::string& name, const std::string& content,
                    WrittenFile kind) {
  const std::filesystem::path path = resolveFileName(engine.workdir, name.c_str(), kFileNameSize);
  if (!fileAccessAllowed(engine, name, path, true)) return false;
  const FileResult result = writeFileAtomically(path.string(), content);
  if (result.ok()) return true;
  // The reason without the folder the engine works in: the name as the user knows it.
  const char* reason = std::strerror(result.errorNumber);
  if (kind == WrittenFile::Plot) {
    sayf(engine, Severity::Error, "Plot file cannot be written!  File = %s: %s\n", name.c_str(), reason);
  } else if (result.failure == FileFailure::Open) {
    sayf(engine, Severity::Error, texts::kOutputCannotBeOpened, name.c_str(), kOpenFailed);
  } else {
    sayf(engine, Severity::Error, "Output file cannot be written!  File = %s: %s\n", name.c_str(), reason);
  }
  return false;
}

}  // namespace zenfit
