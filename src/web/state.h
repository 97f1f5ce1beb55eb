// What the page shows, as JSON, from the engine's typed results: the run
// and its parameters, the model, the last fit and every observation with
// its residuals. Angles on the sky are given in the units an astronomer
// reads them in: coefficients, sigmas and residuals in arcseconds, hour
// angles in hours, the rest in degrees.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "command/interpreter.h"

namespace zenfit::web {

// The names of the terms a fit was made with, model slot by slot, taken
// when the fit was made: a later USE or LOSE moves terms between slots.
struct FitLabels {
  const FitResult* fit = nullptr;  // the result the names belong to
  FitResult copy;                  // to tell a new fit from the one labelled
  std::vector<std::string> names;  // by model slot
  std::vector<bool> parallel;      // by model slot
};

// Labels the last fit when it is new (call after every command).
void labelLastFit(const Interpreter& interpreter, FitLabels& labels);

nlohmann::json modelJson(const Engine& engine);
nlohmann::json fitJson(const Interpreter& interpreter, const FitLabels& labels);
nlohmann::json runJson(const Engine& engine);
nlohmann::json observationsJson(const Engine& engine);

// All of the above: {"caption", "run", "settings", "model", "fit", "observations"}.
nlohmann::json stateJson(const Interpreter& interpreter, const FitLabels& labels);

// JSON text; bytes that are not UTF-8 (an engine text read from a file in
// another encoding) become U+FFFD.
std::string jsonText(const nlohmann::json& value);

}  // namespace zenfit::web
