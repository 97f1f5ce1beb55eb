// Files the engine writes for the user (OUTDAT, OUTMOD, plot files).
#pragma once

#include <string>

namespace zenfit {

struct Engine;

// Writes content to the file the user named (by the file-name rule, in the
// engine's working folder): through a temporary file in the same folder,
// renamed over the target only when complete, so that a failed write
// leaves the old file as it was. A failure is reported (severity E,
// naming the file) and gives false.
bool writeNamedFile(Engine& engine, const std::string& name, const std::string& content);

}  // namespace zenfit
