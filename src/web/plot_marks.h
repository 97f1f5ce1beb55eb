// Where the last plot put each observation, so that the page can tell which
// star a click on the plot means.
#pragma once

#include <nlohmann/json.hpp>

#include "command/interpreter.h"

namespace zenfit::web {

// [{"n": observation number, "x": ..., "y": ...}, ...] in the SVG's own
// units (the plot's page), one entry per marker the last plot drew, found
// through each panel's axes exactly as the chart placed it; empty for a
// plot that draws no observation (the histograms) and before any plot.
nlohmann::json plotMarks(const Interpreter& interpreter);

}  // namespace zenfit::web
