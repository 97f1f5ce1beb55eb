// Where the last plot put each observation, so that the page can tell which
// star a click on the plot means.
#pragma once

#include <nlohmann/json.hpp>

#include "command/interpreter.h"

namespace zenfit::web {

// [{"n": observation number, "x": ..., "y": ...}, ...] in the SVG's own
// units, one entry per marker of the last plot; empty when the plot has no
// markers of observations.
nlohmann::json plotMarks(const Interpreter& interpreter);

}  // namespace zenfit::web
