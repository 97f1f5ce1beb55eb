// Files the engine reads by the user's name (INDAT, INMOD, INPRO, INST):
// one place that takes the name from the arguments, opens it in the
// engine's working folder and reports a failure.
#pragma once

#include <string>

#include "base/files.h"

namespace zenfit {

struct Engine;
class Arguments;

// The file name after the command word; "" (with missingText said) when
// there is none.
std::string requiredFileName(Engine& engine, Arguments& arguments, const char* missingText);

// Opens name for reading by the file-name rule in the engine's working
// folder, as openForReading does, once the host's fileAccess hook has let
// it (a refusal is reported, and the open fails with kOpenFailed).
FileHandle openNamedFile(Engine& engine, const std::string& name, int& status);

// Opens name for reading by the file-name rule in the engine's working
// folder (openNamedFile). A failure is reported with failureFormat, which takes the name
// and the opener's status, and gives null.
FileHandle openOrReport(Engine& engine, const std::string& name, const char* failureFormat);

// After a read: when the file stopped before its end (a read error, or a
// line that never ends), reports it with the file's name and the reason
// (severity E) and gives false; else true.
bool readToTheEnd(Engine& engine, const std::string& name, const FileHandle& file);

}  // namespace zenfit
