#include "web/state.h"

#include <cmath>

#include "base/constants.h"
#include "fit/residuals.h"

namespace zenfit::web {

using nlohmann::json;

namespace {

// Arcseconds, or null for a value that is not a number.
json arcsec(double radians) {
  const double value = radians * kArcsecPerRadian;
  return std::isfinite(value) ? json(value) : json(nullptr);
}

json number(double value) { return std::isfinite(value) ? json(value) : json(nullptr); }

// Hour angle in hours, -12 .. +12 (east negative).
double hours(double radians) {
  double h = std::remainder(radians, kTwoPi) / kRadianPerHour;
  if (h <= -12.0) h += 24.0;
  return h;
}

bool sameFit(const FitResult& a, const FitResult& b) {
  if (a.stars != b.stars || a.fitted != b.fitted || a.sumSquares != b.sumSquares ||
      a.terms.size() != b.terms.size()) {
    return false;
  }
  for (std::size_t i = 0; i < a.terms.size(); ++i) {
    if (a.terms[i].slot != b.terms[i].slot || a.terms[i].value != b.terms[i].value ||
        a.terms[i].change != b.terms[i].change) {
      return false;
    }
  }
  return true;
}

std::vector<std::string> modelNames(const Engine& engine) {
  std::vector<std::string> names;
  for (int slot = 0; slot < engine.model.inUse(); ++slot) {
    names.emplace_back(engine.terms.name(engine.model[slot].term));
  }
  return names;
}

}  // namespace

void labelLastFit(const Interpreter& interpreter, FitLabels& labels) {
  const FitResult* fit = interpreter.lastFit();
  if (fit == nullptr) {
    labels = FitLabels{};
    return;
  }
  if (labels.fit == fit && sameFit(labels.copy, *fit)) return;
  labels.fit = fit;
  labels.copy = *fit;
  labels.names = modelNames(interpreter.engine());
  labels.parallel.clear();
  for (std::size_t slot = 0; slot < labels.names.size(); ++slot) {
    labels.parallel.push_back(slot > 0 && interpreter.engine().model[static_cast<int>(slot)].chained == 0);
  }
}

json modelJson(const Engine& engine) {
  json terms = json::array();
  for (int slot = 0; slot < engine.model.inUse(); ++slot) {
    const ModelEntry& entry = engine.model[slot];
    terms.push_back({{"name", engine.terms.name(entry.term)},
                     {"value", arcsec(entry.value)},
                     {"sigma", entry.hasSigma() ? arcsec(entry.sigma) : json(nullptr)},
                     {"floating", entry.floating != 0},
                     {"chained", entry.chained != 0}});
  }
  return terms;
}

json fitJson(const Interpreter& interpreter, const FitLabels& labels) {
  const FitResult* fit = interpreter.lastFit();
  if (fit == nullptr || labels.fit != fit) return nullptr;
  const auto nameOf = [&](int slot) {
    return slot >= 0 && slot < static_cast<int>(labels.names.size()) ? labels.names[slot]
                                                                      : std::string("?");
  };
  json terms = json::array();
  std::vector<std::string> fittedNames(static_cast<std::size_t>(fit->fitted));
  for (const FittedTerm& term : fit->terms) {
    const bool fitted = term.column >= 0;
    const bool parallel = term.slot >= 0 &&
                          term.slot < static_cast<int>(labels.parallel.size()) &&
                          labels.parallel[static_cast<std::size_t>(term.slot)];
    terms.push_back({{"name", nameOf(term.slot)},
                     {"fitted", fitted},
                     {"change", fitted ? number(term.change) : json(nullptr)},
                     {"value", arcsec(term.value)},
                     {"sigma", fitted ? arcsec(term.sigma) : json(nullptr)},
                     {"parallel", parallel}});
    if (fitted) fittedNames[static_cast<std::size_t>(term.column)] = nameOf(term.slot);
  }
  json correlations = json::array();
  for (int i = 0; i < fit->fitted; ++i) {
    json row = json::array();
    for (int j = 0; j < fit->fitted; ++j) row.push_back(number(fit->correlation(i, j)));
    correlations.push_back(row);
  }
  json alwaysZero = json::array();
  for (int column : fit->alwaysZero) alwaysZero.push_back(fittedNames[static_cast<std::size_t>(column)]);
  // The model still holds the terms the fit was made with (in order).
  const bool current = labels.names == modelNames(interpreter.engine());
  return {{"stars", fit->stars},
          {"fitted", fit->fitted},
          {"skyRms", arcsec(fit->skyRms)},
          {"popSd", fit->popSd < 0.0 ? json(nullptr) : arcsec(fit->popSd)},
          {"illConditioned", fit->illConditioned},
          {"smallestRatio", number(fit->smallestRatio)},
          {"largestRatio", number(fit->largestRatio)},
          {"terms", terms},
          {"fittedNames", fittedNames},
          {"correlations", correlations},
          {"alwaysZero", alwaysZero},
          {"withdrawn", fit->withdrawn.size()},
          {"current", current}};
}

json runJson(const Engine& engine) {
  json run = {{"caption", engine.run.caption},
              {"present", engine.run.obsPresent > 0},
              {"latitude", number(engine.run.latitude() * kDegreesPerRadian)},
              {"refA", arcsec(engine.run.refA)},
              {"refB", arcsec(engine.run.refB)},
              {"diurnalAberration", arcsec(engine.run.diurab)}};
  if (!engine.runDescription) return run;
  const RunDescription& description = *engine.runDescription;
  const RunParameters& p = description.params;
  run["frame"] = std::string(1, description.frame);
  run["noDate"] = (description.mode & 1) != 0;
  run["allSky"] = (description.mode & 2) != 0;
  run["dated"] = p.dated;
  if (p.dated) {
    run["date"] = {{"year", p.year}, {"month", p.month}, {"day", p.day}};
    run["mjd"] = number(p.mjd);
  }
  run["meteorology"] = p.meteorology;
  if (p.meteorology) {
    run["temperature"] = number(p.temperature);
    run["pressure"] = number(p.effectivePressure);
    run["height"] = number(p.effectiveHeight);
    run["humidity"] = number(p.humidity);
    run["wavelength"] = number(p.wavelength);
    run["lapseRate"] = number(p.lapseRate);
  }
  return run;
}

json observationsJson(const Engine& engine) {
  const ResidualTable table = residualTable(engine.observations, engine.run);
  json rows = json::array();
  for (const ResidualRow& row : table.rows) {
    const Observation& o = engine.observations[row.number - 1];
    json entry = {{"n", row.number},
                  {"active", row.active},
                  {"overPole", row.overPole},
                  {"kind", o.kind},
                  {"ha", hours(row.telHa)},
                  {"dec", number(row.telDec * kDegreesPerRadian)},
                  {"az", number(row.azimuth)},
                  {"zd", number(row.zenithDistance)},
                  {"lst", number(o.siderealTime / kRadianPerHour)},
                  {"aux1", number(o.aux[0])},
                  {"aux2", number(o.aux[1])}};
    if (row.active) {
      entry["dX"] = number(row.d[kDx]);
      entry["dD"] = number(row.d[kDd]);
      entry["dS"] = number(row.d[kDs]);
      entry["dZ"] = number(row.d[kDz]);
      entry["dR"] = number(row.d[kDr]);
    }
    rows.push_back(std::move(entry));
  }
  return {{"count", static_cast<int>(table.rows.size())},
          {"active", table.active},
          {"rms", {{"dX", number(table.rms[kDx])}, {"dD", number(table.rms[kDd])},
                   {"dS", number(table.rms[kDs])}, {"dZ", number(table.rms[kDz])},
                   {"dR", number(table.rms[kDr])}}},
          {"rows", rows}};
}

json stateJson(const Interpreter& interpreter, const FitLabels& labels) {
  const Engine& engine = interpreter.engine();
  return {{"caption", engine.run.caption},
          {"run", runJson(engine)},
          {"settings",
           {{"adjust", engine.settings.adjustSense == AdjustSense::Telescope ? "T" : "S"},
            {"fittol", engine.settings.fitTolerance},
            {"replen", engine.settings.reportLength}}},
          {"model", modelJson(engine)},
          {"fit", fitJson(interpreter, labels)},
          {"observations", observationsJson(engine)}};
}

std::string jsonText(const json& value) {
  return value.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace zenfit::web
