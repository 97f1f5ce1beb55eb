// The fitting commands: FIT, FITTOL, SLIST and UNFIT.
#include "command/arguments.h"
#include "command/command_table.h"
#include "command/engine.h"
#include "command/reports.h"
#include "command/texts.h"
#include "fit/residuals.h"

namespace zenfit {
namespace {

// The optional "N" after FIT or UNFIT: adjust is false for "N". Anything
// else is reported and gives false.
bool readAdjustOption(Engine& engine, Arguments& arguments, bool& adjust) {
  const std::string word = arguments.word(kLineLength + 1);
  adjust = true;
  if (word.empty()) return true;
  const std::string extra = arguments.word(kLineLength + 1);
  if (!isKeyword(word.c_str(), "N") || !extra.empty()) {
    say(engine, Severity::Error, texts::kBadArgument);
    return false;
  }
  adjust = false;
  return true;
}

}  // namespace

// Stores what a fit found in the model and the engine's fit summary.
void applyFit(Engine& engine, const FitResult& result) {
  if (result.coefficientsChanged) {
    for (const FittedTerm& term : result.terms) engine.model[term.slot].value = term.value;
  }
  if (result.outcome != FitOutcome::Completed) return;
  for (const FittedTerm& term : result.terms) {
    if (term.column >= 0) engine.model[term.slot].sigma = term.sigma;
  }
  engine.fit.skyRms = result.skyRms;
  engine.fit.popSd = result.popSd;
  engine.fit.illConditioned = result.illConditioned ? 1 : 0;
  engine.fit.last = result;
  // The model may change before the result is read; the names stay with it.
  engine.fit.lastNames.clear();
  for (const FittedTerm& term : result.terms) {
    engine.fit.lastNames.emplace_back(engine.terms.name(engine.model[term.slot].term));
  }
}

void cmdFit(Engine& engine, Arguments& arguments) {
  FitOptions options;
  if (!readAdjustOption(engine, arguments, options.adjust)) return;
  options.tolerance = engine.settings.fitTolerance;
  options.sense = engine.settings.adjustSense;
  options.cancelled = cancelCheck(engine);
  const FitResult result = fit(engine.model, engine.terms, engine.observations, engine.run, options);
  applyFit(engine, result);
  emit(engine, fitReport(result, engine.model, engine.terms, engine.settings.fitTolerance));
  engine.dispatch.status =
      result.outcome == FitOutcome::Completed ? CommandStatus::Done : CommandStatus::Interrupted;
}

void cmdFittol(Engine& engine, Arguments& arguments) {
  const DecodedNumber value = arguments.number();
  const double tolerance = value.present ? value.value : engine.settings.fitTolerance;
  if (value.malformed || !(tolerance >= 0.0 && tolerance < 1.0)) {
    say(engine, Severity::Error, texts::kParameterError);
    return;
  }
  engine.settings.fitTolerance = tolerance + 0.0;  // "-0" is stored and shown as 0
  sayf(engine, Severity::Info, "Ill-conditioning criterion = %g\n", engine.settings.fitTolerance);
  done(engine);
}

void cmdSlist(Engine& engine, Arguments& arguments) {
  const DecodedNumber value = arguments.number();
  if (value.malformed || value.negative) {
    say(engine, Severity::Error, "Invalid argument (error threshold)!\n");
    return;
  }
  const double threshold = (value.present ? value.value : 0.0) * kRadianPerArcsec;
  const ResidualTable table = residualTable(engine.observations, engine.run, cancelCheck(engine));
  emit(engine, residualListing(table, engine.run, engine.settings.reportLength == 0, threshold));
  engine.dispatch.status = table.interrupted ? CommandStatus::Interrupted : CommandStatus::Done;
}

void cmdUnfit(Engine& engine, Arguments& arguments) {
  bool adjust = true;
  if (!readAdjustOption(engine, arguments, adjust)) return;
  unfit(engine.model, engine.terms, engine.observations, engine.run, engine.settings.adjustSense,
        adjust);
  done(engine);
}

}  // namespace zenfit
