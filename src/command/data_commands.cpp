// The observation commands: INDAT, INST, OUTDAT, MASK, UNMASK and PERFCT.
#include <cctype>
#include <cmath>
#include <cstdio>

#include "command/arguments.h"
#include "command/command_table.h"
#include "command/engine.h"
#include "command/file_input.h"
#include "command/file_output.h"
#include "command/reports.h"
#include "command/texts.h"
#include "data/host_blocks.h"
#include "data/mask.h"
#include "data/observation_reader.h"
#include "data/observation_writer.h"
#include "data/perfect.h"

namespace zenfit {
namespace {

// Fills the host's data areas, when it has lent them, from a read.
void fillHostAreas(Engine& engine, const ObservationRead& read) {
  HostAreas& areas = engine.hostAreas;
  if (read.run && areas.obsParms != nullptr) {
    encodeRunParameters(*read.run, engine.run.caption, engine.run.hostSetting,
                        static_cast<unsigned char*>(areas.obsParms));
  }
  if (areas.mapPts == nullptr) return;
  auto* points = static_cast<unsigned char*>(areas.mapPts);
  for (int slot = read.firstSlot; slot < read.endSlot && slot < kMaxObservations; ++slot) {
    encodeMapPoint(engine.observations[slot],
                   points + static_cast<std::size_t>(slot) * kMapPointSize);
  }
}

void reportMaskResult(Engine& engine, MaskResult result) {
  switch (result) {
    case MaskResult::BadValue: say(engine, Severity::Error, "Illegal value!\n"); break;
    case MaskResult::BadCondition: say(engine, Severity::Error, "Illegal condition!\n"); break;
    case MaskResult::BadQuantity: say(engine, Severity::Error, "Illegal quantity!\n"); break;
    case MaskResult::Done: done(engine); break;
  }
}

char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

// "MASK first [last]".
void maskNumbers(Engine& engine, Arguments& arguments, double first, int newStatus) {
  if (first < 1.0 || first != std::floor(first)) {
    say(engine, Severity::Error, "Illegal value!\n");
    return;
  }
  const DecodedNumber second = arguments.number();
  if (second.malformed) {
    say(engine, Severity::Error, "Second argument must be number!\n");
    return;
  }
  const double last = second.present ? second.value : first;
  const double count = engine.observations.count();
  if (first > count || last < 1.0 || last > count || last != std::floor(last)) {
    say(engine, Severity::Error, "Illegal value!\n");
    return;
  }
  reportMaskResult(engine, maskByNumber(engine.observations, static_cast<int>(first),
                                        static_cast<int>(last), newStatus));
}

// "MASK quantity condition [value]".
void maskCondition(Engine& engine, Arguments& arguments, int newStatus) {
  const char quantity = upper(arguments.peek());
  if (!isMaskQuantity(quantity)) {
    say(engine, Severity::Error, "Quantity must be H, D, A, Z, R, N or number!\n");
    return;
  }
  arguments.advance();
  const char condition = upper(arguments.peek());
  if (maskConditionSense(condition) == 0) {
    say(engine, Severity::Error, "Condition must be <, L, G or > !\n");
    return;
  }
  arguments.advance();
  const DecodedNumber value = arguments.number();
  const double v = value.present ? value.value : 0.0;  // a missing value counts as 0
  if (value.malformed || !maskValueInRange(engine.observations, quantity, v)) {
    say(engine, Severity::Error, "Third argument out of range!\n");
    return;
  }
  reportMaskResult(engine, maskByCondition(engine.observations, engine.run, quantity, condition,
                                           v, newStatus));
}

void maskCommand(Engine& engine, Arguments& arguments, int newStatus) {
  const char next = arguments.peek();
  if (next == '\0') {  // no argument: every observation
    maskAll(engine.observations, newStatus);
    done(engine);
    return;
  }
  // A first argument that is not a number is the quantity.
  Arguments condition = arguments;
  const DecodedNumber first = arguments.number();
  if (first.present && !std::isalpha(static_cast<unsigned char>(next))) {
    maskNumbers(engine, arguments, first.value, newStatus);
  } else {
    maskCondition(engine, condition, newStatus);
  }
}

}  // namespace

void cmdIndat(Engine& engine, Arguments& arguments) {
  const std::string name = requiredFileName(engine, arguments, texts::kInputNameMissing);
  if (name.empty()) return;
  FileHandle file = openOrReport(engine, name, texts::kInputCannotBeOpened);
  if (!file) return;
  const ObservationRead read = readObservations(file.get(), engine.observations, engine.run,
                                                engine.catalogue, cancelCheck(engine));
  fillHostAreas(engine, read);
  if (read.run) engine.runDescription = read.run;
  emit(engine, observationReadReport(read, engine.run, engine.run.briefEcho != 0));
  if (!readToTheEnd(engine, name, file)) return;
  if (read.outcome == ReadOutcome::Done) done(engine);
}

void cmdInst(Engine& engine, Arguments& arguments) {
  Catalogue& catalogue = engine.catalogue;
  const std::string given = arguments.fileName();
  if (!given.empty()) {
    catalogue.fileName = given;
  } else if (catalogue.fileName.empty()) {
    catalogue.fileName = engine.settings.starCatalog;
  }
  const std::string name = catalogue.fileName;
  FileHandle file =
      openOrReport(engine, name, "Star catalogue file cannot be opened!  File = %s, status = %d\n");
  if (!file) return;
  sayf(engine, Severity::Info, "Reading star catalogue entries from file %s ...\n", name.c_str());
  const CatalogueLoad load = loadCatalogue(catalogue, file.get(), cancelCheck(engine));
  if (load.interrupted) return;
  // The count leaves out the first line, which catalogues use as a heading.
  sayf(engine, Severity::Info, "%d stars input.\n", load.stars);
  if (readToTheEnd(engine, name, file)) done(engine);
}

void cmdOutdat(Engine& engine, Arguments& arguments) {
  const std::string name = requiredFileName(engine, arguments, texts::kOutputNameMissing);
  if (name.empty()) return;
  if (engine.run.obsPresent < 0) {
    say(engine, Severity::Warning, "List of observations is empty -  file not written.\n");
    return;
  }
  // With every observation masked there is nothing to write, and no file.
  const std::optional<std::string> file = formatObservationFile(engine.observations, engine.run);
  if (file && !writeNamedFile(engine, name, *file)) return;
  done(engine);
}

void cmdMask(Engine& engine, Arguments& arguments) {
  maskCommand(engine, arguments, kStatusMasked);
}

void cmdUnmask(Engine& engine, Arguments& arguments) {
  maskCommand(engine, arguments, kStatusActive);
}

void cmdPerfct(Engine& engine, Arguments& arguments) {
  const DecodedNumber latitude = arguments.number();
  double degrees = engine.run.obsPresent >= 0 ? engine.run.latitude() * kDegreesPerRadian : 0.0;
  if (latitude.present) degrees = latitude.value;
  if (latitude.malformed || !(std::fabs(degrees) <= 90.0)) {
    say(engine, Severity::Error, texts::kParameterError);
    return;
  }
  if (generatePerfectStars(engine.observations, engine.run, degrees * kRadianPerDegree) < 0) {
    say(engine, Severity::Error, "Latitude out of range!\n");
    return;
  }
  engine.runDescription.reset();  // a synthetic list has no date or weather
  done(engine);
}

}  // namespace zenfit
