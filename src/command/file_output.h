// Files the engine writes for the user (OUTDAT, OUTMOD, plot files), and
// the host's verdict (the fileAccess hook of engine.h) on every file the
// engine reads or writes by a name, asked before the file is touched.
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

// Writes content to the file the user named (by the file-name rule, in the
// engine's working folder): through a temporary file in the same folder,
// renamed over the target only when complete, so that a failed write
// leaves the old file as it was. A file that cannot be created (no such
// folder, no permission, a folder of that name) gives the open-failure
// text; a failed write, flush, sync or rename gives "Output file cannot be
// written!" with the file's name and the reason. Either is severity E and
// gives false. A plot file says "Plot file cannot be written!" with the
// reason for every failure.
enum class WrittenFile { Output, Plot };
bool writeNamedFile(Engine& engine, const std::string& name, const std::string& content,
                    WrittenFile kind = WrittenFile::Output);

}  // namespace zenfit
