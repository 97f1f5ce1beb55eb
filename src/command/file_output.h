// Files the engine writes for the user (OUTDAT, OUTMOD, plot files).
#pragma once

#include <string>

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

}  // namespace zenfit
