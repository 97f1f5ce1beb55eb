#include "command/file_input.h"

#include "command/arguments.h"
#include "command/engine.h"
#include "command/file_output.h"

namespace zenfit {

std::string requiredFileName(Engine& engine, Arguments& arguments, const char* missingText) {
  std::string name = arguments.fileName();
  if (name.empty()) say(engine, Severity::Error, missingText);
  return name;
}

FileHandle openNamedFile(Engine& engine, const std::string& name, int& status) {
  if (!isMissingFileName(name.c_str()) &&
      !fileAccessAllowed(engine, name, resolveFileName(engine.workdir, name.c_str(), kFileNameSize),
                         false)) {
    status = kOpenFailed;
    return nullptr;
  }
  return openForReading(engine.workdir, name.c_str(), kFileNameSize, status);
}

FileHandle openOrReport(Engine& engine, const std::string& name, const char* failureFormat) {
  int status = 0;
  FileHandle file = openNamedFile(engine, name, status);
  if (!file) sayf(engine, Severity::Error, failureFormat, name.c_str(), status);
  return file;
}

bool readToTheEnd(Engine& engine, const std::string& name, const FileHandle& file) {
  const std::string failure = readFailure(file);
  if (failure.empty()) return true;
  sayf(engine, Severity::Error, "Input file could not be read to its end!  File = %s: %s\n",
       name.c_str(), failure.c_str());
  return false;
}

}  // namespace zenfit
