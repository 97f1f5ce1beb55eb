// The model commands: USE, LOSE, FIX, CHAIN, PARAL, the coefficient
// command reached by typing a term name, RESET, and the term-list reader
// they share with the host query GetTermInfo.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "data/decode.h"
#include "engine.h"
#include "model/generic.h"

namespace zenfit {
namespace {

void done(Engine& engine) { engine.dispatch.status = kStatusDone; }

// Model slot holding termNumber among the first `limit` slots, stopping at
// the end of the list; -1 when absent. A term number below 1 matches
// nothing.
int findInModel(const Model& model, int termNumber, int limit = kMaxModelTerms) {
  if (termNumber < 1) return -1;
  for (int i = 0; i < limit && model.termNumber[i] != 0; ++i) {
    if (model.termNumber[i] == termNumber) return i;
  }
  return -1;
}

const char* nameOf(const Engine& engine, int termNumber) {
  return termName(engine.terms, termNumber);
}

void copyEntry(Model& model, int from, int to) {
  model.termNumber[to] = model.termNumber[from];
  model.coefValue[to] = model.coefValue[from];
  model.coefSigma[to] = model.coefSigma[from];
  model.floating[to] = model.floating[from];
  model.chained[to] = model.chained[from];
}

// Removes slot i, closing the gap: later entries move down until the moved
// term number is the terminator.
void removeEntry(Model& model, int i) {
  int j = i;
  for (; j < kMaxModelTerms - 1; ++j) {
    copyEntry(model, j + 1, j);
    if (model.termNumber[j] == 0) break;
  }
  if (j == kMaxModelTerms - 1) model.termNumber[j] = 0;
}

// Reads the list for FIX, USE and LOSE, reporting a bad name. Returns the
// reader's result.
int readListOrComplain(Engine& engine, const char* text, int list[kMaxModelTerms],
                       const char* format) {
  char bad[kTermNameSize];
  const int status = readTermList(engine, text, list, bad);
  if (status < 0) msgOutF(engine, 'E', format, bad);
  return status;
}

}  // namespace

int readTermList(Engine& engine, const char* text, int list[kMaxModelTerms], char* badName) {
  for (int i = 0; i < kMaxModelTerms; ++i) list[i] = 0;
  badName[0] = '\0';
  int cursor = 0;
  int count = 0;
  while (count < kMaxModelTerms) {
    char word[kTermNameSize];
    nextWord(kTermNameSize, text, cursor, word);
    if (word[0] == '\0') break;
    char upper[kTermNameSize];
    upperOutsideQuotes(word, upper);
    const int number = resolveTermName(engine, upper, 1, nullptr);
    if (number < 0) {
      std::snprintf(badName, kTermNameSize, "%s", upper);
      return -1;
    }
    if (number == 0) msgOutF(engine, 'E', "Too many terms: no room for %s\n", upper);
    list[count++] = number;
  }
  return count > 0 ? 1 : 0;
}

int useTerms(Engine& engine, const char* text) {
  int list[kMaxModelTerms];
  const int status = readListOrComplain(engine, text, list, "Invalid coefficient name: %s !\n");
  if (status < 0) return -1;
  Model& model = engine.model;
  if (status == 0) {
    // Every slot up to a negative entry; free slots are set too, harmlessly.
    for (int i = 0; i < kMaxModelTerms && model.termNumber[i] >= 0; ++i) model.floating[i] = 1;
    return 0;
  }
  for (int k = 0; k < kMaxModelTerms && list[k] != 0; ++k) {
    const int number = list[k];
    for (int i = 0;; ++i) {
      if (i >= engine.terms.termNameCount) break;  // taken as found
      if (i >= kMaxModelTerms) {
        msgOut(engine, 'E', "Too many terms!\n");
        return -2;
      }
      if (model.termNumber[i] == number) {
        model.floating[i] = 1;
        break;
      }
      if (model.termNumber[i] == 0) {
        model.termNumber[i] = number;
        model.coefValue[i] = 0.0;
        model.coefSigma[i] = -1.0;
        model.chained[i] = 1;
        model.floating[i] = 1;
        if (i < kMaxModelTerms - 1) model.termNumber[i + 1] = 0;
        break;
      }
    }
  }
  return 0;
}

int loseTerms(Engine& engine, const char* text) {
  int list[kMaxModelTerms];
  const int status = readListOrComplain(engine, text, list, "Invalid coefficient name: %s !\n");
  if (status < 0) return -1;
  Model& model = engine.model;
  if (status == 0) {
    clearModel(model);
    engine.terms.termNameCount = engine.terms.fixedTermCount;  // generic names forgotten
    return 0;
  }
  for (int k = 0; k < kMaxModelTerms; ++k) {
    if (list[k] < 1) continue;
    const int slot = findInModel(model, list[k]);
    if (slot < 0) {
      msgOutF(engine, 'W', "Warning - already absent: %s\n", nameOf(engine, list[k]));
      continue;
    }
    removeEntry(model, slot);
  }
  return 0;
}

int fixTerms(Engine& engine, const char* text) {
  int list[kMaxModelTerms];
  const int status = readListOrComplain(engine, text, list, "Invalid coefficient name: %s !\n");
  if (status < 0) return -1;
  Model& model = engine.model;
  if (status == 0) {
    for (int i = 0; i < kMaxModelTerms && model.termNumber[i] >= 1; ++i) model.floating[i] = 0;
    return 0;
  }
  int result = 0;
  for (int k = 0; k < kMaxModelTerms; ++k) {
    if (list[k] < 1) continue;
    const int slot = findInModel(model, list[k]);
    if (slot >= 0) {
      model.floating[slot] = 0;
    } else {
      msgOutF(engine, 'E', "Term <%s> is not in model and has not been fixed.\n",
              nameOf(engine, list[k]));
      result = -1;
    }
  }
  return result;
}

int chainTerms(Engine& engine, const char* text) {
  int list[kMaxModelTerms];
  const int status = readListOrComplain(engine, text, list, "Invalid coefficient name: %s!\n");
  if (status < 0) return -1;
  Model& model = engine.model;
  if (status == 0) {
    for (int i = 0; i < kMaxModelTerms && model.termNumber[i] >= 1; ++i) model.chained[i] = 1;
    return 0;
  }
  for (int k = 0; k < kMaxModelTerms; ++k) {
    const int slot = findInModel(model, list[k]);
    if (slot >= 0) {
      model.chained[slot] = 1;
    } else {
      // Composed and never shown: CHAIN of an absent term is silent, unlike
      // PARAL, and scripts rely on that.
      std::snprintf(engine.lines.message, sizeof engine.lines.message,
                    "Term <%s> is not in model and has not been flagged", nameOf(engine, list[k]));
    }
  }
  return 0;
}

int parallelTerms(Engine& engine, const char* text) {
  int list[kMaxModelTerms];
  char bad[kTermNameSize];
  const int status = readTermList(engine, text, list, bad);
  if (status < 0) {
    // Composed and never shown: the failure is reported by the status alone.
    std::snprintf(engine.lines.message, sizeof engine.lines.message,
                  "Invalid coefficient name: %s!", bad);
    return -1;
  }
  Model& model = engine.model;
  if (status == 0) {
    for (int i = 0; i < kMaxModelTerms && model.termNumber[i] != 0; ++i) model.chained[i] = 0;
    return 0;
  }
  int result = 0;
  for (int k = 0; k < kMaxModelTerms; ++k) {
    if (list[k] < 1) continue;
    const int slot = findInModel(model, list[k], kMaxModelTerms - 1);
    if (slot >= 0) {
      model.chained[slot] = 0;
    } else {
      msgOutF(engine, 'E', "Term <%s> is not in model and has not been flagged!\n",
              nameOf(engine, list[k]));
      result = -1;
    }
  }
  return result;
}

int setCoefficient(Engine& engine, const char* name, int report, int set, double* value) {
  if (name == nullptr || std::strlen(name) > static_cast<std::size_t>(kLineLength)) return -1;
  char upper[kLineLength + 1];
  std::size_t n = 0;
  for (; name[n] != '\0'; ++n) {
    upper[n] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[n])));
  }
  upper[n] = '\0';

  const TermTable& table = engine.terms;
  int number = 0;
  for (int i = 0; i < table.termNameCount && i < kMaxTermNames; ++i) {
    if (keywordEquals(upper, table.names[i]) == 0) {
      number = i + 1;
      break;
    }
  }
  if (number == 0) return -1;

  Model& model = engine.model;
  int slot = -1;
  for (int i = 0; i < kMaxModelTerms; ++i) {
    if (model.termNumber[i] == number) {
      slot = i;
      break;
    }
  }
  if (slot < 0) return -2;

  const char* label = table.names[number - 1];
  if (set != 0 && value != nullptr) {
    const double old = model.coefValue[slot];
    model.coefValue[slot] = *value;
    model.coefSigma[slot] = -1.0;
    if (report != 0) {
      msgOutF(engine, 'I', "%-8s:   old =%+8.2f,   new =%+8.2f\n", label, old * kArcsecPerRadian,
              *value * kArcsecPerRadian);
    }
  } else if (report != 0) {
    msgOutF(engine, 'I', "%-8s:  =%+8.2f\n", label, model.coefValue[slot] * kArcsecPerRadian);
  }
  if (value != nullptr) *value = model.coefValue[slot];
  return 0;
}

void resetModel(Engine& engine) {
  Model& model = engine.model;
  for (int i = 0; i < kMaxModelTerms; ++i) {
    model.coefSigma[i] = -1.0;
    model.coefValue[i] = 0.0;
  }
  if (engine.run.obsPresent < 0) return;
  ObservationList& list = engine.observations;
  for (int i = 0; i < kObservationSlots && list.status[i] >= 0; ++i) {
    list.starHaWork[i] = list.starHa[i];
    list.starDecWork[i] = list.starDec[i];
    list.telHaWork[i] = list.telHa[i];
    list.telDecWork[i] = list.telDec[i];
  }
}

int termInfo(Engine& engine, const char* name, std::int32_t* floating, std::int32_t* chained) {
  int list[kMaxModelTerms];
  char bad[kTermNameSize];
  const int status = readTermList(engine, name != nullptr ? name : "", list, bad);
  if (status <= 0) return status;
  if (list[0] <= 0) return 0;
  const Model& model = engine.model;
  const int slot = findInModel(model, list[0]);
  if (slot >= 0) {
    if (floating != nullptr) *floating = model.floating[slot];
    if (chained != nullptr) *chained = model.chained[slot];
  }
  return list[0];
}

// ---- Handlers: each reads the text after its own word.

void cmdUse(Engine& engine) {
  if (useTerms(engine, textFrom(engine.lines.command, 3)) == 0) done(engine);
}

void cmdLose(Engine& engine) {
  if (loseTerms(engine, textFrom(engine.lines.command, 4)) == 0) done(engine);
}

void cmdFix(Engine& engine) {
  if (fixTerms(engine, textFrom(engine.lines.command, 3)) == 0) done(engine);
}

void cmdChain(Engine& engine) {
  if (chainTerms(engine, textFrom(engine.lines.command, 5)) == 0) done(engine);
}

void cmdParal(Engine& engine) {
  if (parallelTerms(engine, textFrom(engine.lines.command, 5)) == 0) done(engine);
}

void cmdCsrv(Engine& engine) {
  // The command word is the term name itself; an optional value follows.
  const char* line = engine.lines.command;
  char name[kCommandWordSize];
  int cursor = 0;
  nextWord(kCommandWordSize, line, cursor, name);
  int pos = cursor + 1;
  double arcsec = 0.0;
  int status = kDecodedNull;
  decodeArgument(line, pos, arcsec, status);
  if (status == kDecodedError) {
    msgOut(engine, 'E', "Bad argument!\n");
    return;
  }
  const int set = (status == kDecodedNumber || status == kDecodedNegative) ? 1 : 0;
  double value = arcsec * kRadianPerArcsec;
  const int result = setCoefficient(engine, name, 1, set, &value);
  if (result == -1) {
    msgOut(engine, 'E', "No such coefficient!\n");
  } else if (result == -2) {
    msgOut(engine, 'E', "Coefficient not in use!\n");
  } else {
    done(engine);
  }
}

void cmdReset(Engine& engine) {
  resetModel(engine);
  done(engine);
}

}  // namespace zenfit
