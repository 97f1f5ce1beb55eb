// Files the engine opens for the user (the initialisation file, INDAT,
// INST, INMOD, INPRO) and writes for the user (OUTDAT, OUTMOD, plot files).
// Both pass the host's fileAccess hook (engine.h) before the file is touched.
#pragma once

#include <filesystem>
#include <string>

#include "base/files.h"

namespace zenfit {

struct Engine;

// The host's verdict on a file the engine is about to read or write by
// name: true when the file may be used; false when the hook refused it,
// after its reason has been reported (severity E).
bool fileAccessAllowed(Engine& engine, const std::string& name,
                       const std::filesystem::path& path, bool writing);

// Opens a file the user named for reading, by the file-name rule in the
// engine's working folder, as openForReading does; a name the host refuses
// is reported and fails to open (status kOpenFailed).
FileHandle openNamedFile(Engine& engine, const std::string& name, int& status);

// Writes content to the file the user named (by the file-name rule, in the
// engine's working folder): through a temporary file in the same folder,
// renamed over the target only when complete, so that a failed write
// leaves the old file as it was. A failure is reported (severity E,
// naming the file) and gives false.
bool writeNamedFile(Engine& engine, const std::string& name, const std::string& content);

}  // namespace zenfit
