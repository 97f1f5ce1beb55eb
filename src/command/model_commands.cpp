// The model commands: USE, LOSE, FIX, CHAIN, PARAL, the coefficient
// command reached by typing a term name, RESET, CLIST, INMOD and OUTMOD.
#include <cmath>
#include <cstdio>

#include "command/arguments.h"
#include "command/command_table.h"
#include "command/engine.h"
#include "command/file_input.h"
#include "command/file_output.h"
#include "command/model_api.h"
#include "command/reports.h"
#include "command/texts.h"
#include "model/model_file.h"

namespace zenfit {
namespace {

// Reads the term list of a command, reporting new generic names that find
// no room and, with badNameFormat, a word that is no term name.
TermList readList(Engine& engine, const char* text, const char* badNameFormat) {
  TermList list = readTermList(engine.terms, text);
  for (const std::string& name : list.noRoom) {
    sayf(engine, Severity::Error, "Too many terms: no room for %s\n", name.c_str());
  }
  if (list.status < 0 && badNameFormat != nullptr) {
    sayf(engine, Severity::Error, badNameFormat, list.badName.c_str());
  }
  return list;
}

void reportAbsent(Engine& engine, const std::vector<int>& absent, Severity severity,
                  const char* format) {
  for (const int term : absent) sayf(engine, severity, format, engine.terms.name(term));
}

}  // namespace

int useCommand(Engine& engine, const char* text) {
  const TermList list = readList(engine, text, texts::kInvalidTermName);
  if (list.status < 0) return -1;
  if (useTerms(engine.model, engine.terms, list) == UseResult::TooManyTerms) {
    say(engine, Severity::Error, "Too many terms!\n");
    return -2;
  }
  return 0;
}

int parallelCommand(Engine& engine, const char* text) {
  // A bad name is reported by the status alone.
  const TermList list = readList(engine, text, nullptr);
  if (list.status < 0) return -1;
  const std::vector<int> absent = parallelTerms(engine.model, list);
  reportAbsent(engine, absent, Severity::Error,
               "Term <%s> is not in model and has not been flagged!\n");
  return absent.empty() ? 0 : -1;
}

int coefficientCommand(Engine& engine, const char* name, bool report, bool set, double* value) {
  const CoefficientChange change =
      setCoefficient(engine.model, engine.terms, name, set && value != nullptr,
                     value != nullptr ? *value : 0.0);
  if (change.status != 0) return change.status;
  const char* label = engine.terms.name(engine.model[change.slot].term);
  if (report && set && value != nullptr) {
    sayf(engine, Severity::Info, "%-8s:   old =%+8.2f,   new =%+8.2f\n", label,
         change.oldValue * kArcsecPerRadian, change.newValue * kArcsecPerRadian);
  } else if (report) {
    sayf(engine, Severity::Info, "%-8s:  =%+8.2f\n", label, change.newValue * kArcsecPerRadian);
  }
  if (value != nullptr) *value = change.newValue;
  return 0;
}

int termInfoCommand(Engine& engine, const char* name, std::int32_t* floating,
                    std::int32_t* chained) {
  const TermList list = readList(engine, name, nullptr);
  if (list.status <= 0) return list.status;
  if (list.numbers[0] <= 0) return 0;
  const int slot = engine.model.find(list.numbers[0]);
  if (slot >= 0) {
    if (floating != nullptr) *floating = engine.model[slot].floating;
    if (chained != nullptr) *chained = engine.model[slot].chained;
  }
  return list.numbers[0];
}

void cmdUse(Engine& engine, Arguments& arguments) {
  if (useCommand(engine, arguments.listText()) == 0) done(engine);
}

void cmdLose(Engine& engine, Arguments& arguments) {
  const TermList list = readList(engine, arguments.listText(), texts::kInvalidTermName);
  if (list.status < 0) return;
  reportAbsent(engine, loseTerms(engine.model, engine.terms, list), Severity::Warning,
               "Warning - already absent: %s\n");
  done(engine);
}

void cmdFix(Engine& engine, Arguments& arguments) {
  const TermList list = readList(engine, arguments.listText(), texts::kInvalidTermName);
  if (list.status < 0) return;
  const std::vector<int> absent = fixTerms(engine.model, list);
  reportAbsent(engine, absent, Severity::Error,
               "Term <%s> is not in model and has not been fixed.\n");
  if (absent.empty()) done(engine);
}

void cmdChain(Engine& engine, Arguments& arguments) {
  const TermList list = readList(engine, arguments.listText(), "Invalid coefficient name: %s!\n");
  if (list.status < 0) return;
  // A listed term that is not in the model is passed over in silence,
  // unlike PARAL: scripts rely on that.
  chainTerms(engine.model, list);
  done(engine);
}

void cmdParal(Engine& engine, Arguments& arguments) {
  if (parallelCommand(engine, arguments.listText()) == 0) done(engine);
}

void cmdCsrv(Engine& engine, Arguments& arguments) {
  // The command word is the term name itself; an optional value follows.
  char name[kCommandWordSize];
  int cursor = 0;
  nextWord(kCommandWordSize, engine.line.command, cursor, name);
  const DecodedNumber arcsec = arguments.number();
  if (arcsec.malformed) {
    say(engine, Severity::Error, texts::kBadArgument);
    return;
  }
  double value = (arcsec.present ? arcsec.value : 0.0) * kRadianPerArcsec;
  const int result = coefficientCommand(engine, name, true, arcsec.present, &value);
  if (result == -1) {
    say(engine, Severity::Error, "No such coefficient!\n");
  } else if (result == -2) {
    say(engine, Severity::Error, "Coefficient not in use!\n");
  } else {
    done(engine);
  }
}

void cmdReset(Engine& engine, Arguments&) {
  resetCoefficients(engine.model);
  // The observations get their working positions back from their input copies.
  if (engine.run.obsPresent >= 0) {
    ObservationList& list = engine.observations;
    for (int i = 0; i < kObservationSlots && !list[i].isEnd(); ++i) {
      Observation& o = list[i];
      o.starHaWork = o.starHa;
      o.starDecWork = o.starDec;
      o.telHaWork = o.telHa;
      o.telDecWork = o.telDec;
    }
  }
  done(engine);
}

void cmdClist(Engine& engine, Arguments&) {
  emit(engine, coefficientListing(engine.model, engine.terms));
  done(engine);
}

void cmdOutmod(Engine& engine, Arguments& arguments) {
  const std::string name = requiredFileName(engine, arguments, texts::kOutputNameMissing);
  if (name.empty()) return;
  const ModelStatistics statistics =
      modelStatistics(engine.model, engine.terms, engine.observations, engine.run,
                      engine.settings.adjustSense);
  ModelFileHeader header;
  header.caption = engine.run.caption;
  header.sense = engine.settings.adjustSense;
  header.observations = statistics.used;
  header.skyRms = statistics.rms;
  header.refA = engine.run.refA;
  header.refB = engine.run.refB;
  if (writeNamedFile(engine, name, formatModelFile(header, engine.model, engine.terms))) {
    done(engine);
  }
}

void cmdInmod(Engine& engine, Arguments& arguments) {
  const std::string name = requiredFileName(engine, arguments, texts::kInputNameMissing);
  if (name.empty()) return;
  // Two blanks before "=": the model reader has always said it so.
  FileHandle file =
      openOrReport(engine, name, "Input file cannot be opened!  File = %s, status  = %d\n");
  if (!file) return;
  const ModelFileRead read = readModelFile(file.get(), engine.model, engine.terms);
  // The sense and the sky RMS are taken as soon as they are read, even from
  // a file refused later (the sense without the reversal ADJUST makes).
  if (read.sense) engine.settings.adjustSense = *read.sense;
  if (read.skyRms) {
    engine.fit.skyRms = *read.skyRms;
    engine.fit.popSd = -1.0;
  }
  emit(engine, modelFileReport(read));
  const bool whole = readToTheEnd(engine, name, file);
  if (read.error != ModelFileError::None) return;
  // A file cut short by a failed read is refused like any bad file.
  if (!whole) {
    engine.model.clear();
    return;
  }
  // With as many floating terms as observations the division is by zero;
  // what it gives is kept.
  const int freedom = read.observations - read.floatingCount;
  const double rms = engine.fit.skyRms;
  engine.fit.popSd =
      freedom < 0 ? -1.0 : std::sqrt(read.observations * rms * rms / freedom);
  engine.run.refA = read.refA;
  engine.run.refB = read.refB;
  done(engine);
}

}  // namespace zenfit
