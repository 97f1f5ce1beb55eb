// Files the engine writes for the user (OUTDAT, OUTMOD, plot files), and
// the report of a file that could not be read to its end.
#pragma once

#include <string>

#include "base/files.h"

namespace zenfit {

struct Engine;

// Writes content to the file the user named (by the file-name rule, in the
// engine's working folder): through a temporary file in the same folder,
// renamed over the target only when complete, so that a failed write
// leaves the old file as it was. A file that cannot be created (no such
// folder, no permission, a folder of that name) gives the open-failure
// text; a failed write, flush, sync or rename gives "Output file cannot be
// written!" with the file's name and the reason. Either is severity E and
// gives false.
bool writeNamedFile(Engine& engine, const std::string& name, const std::string& content);

// After a read: when the file stopped before its end (a read error, or a
// line that never ends), reports it with the file's name and the reason
// (severity E) and gives false; else true.
bool readToTheEnd(Engine& engine, const std::string& name, const FileHandle& file);

}  // namespace zenfit
