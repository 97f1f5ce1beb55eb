#include "model/model.h"

#include <cctype>
#include <cstring>
#include <utility>

#include "base/text.h"
#include "model/generic.h"

namespace zenfit {
namespace {

// Removes slot i, closing the gap: later entries move down until the moved
// term number is the terminator.
void removeEntry(Model& model, int i) {
  int j = i;
  for (; j < kMaxModelTerms - 1; ++j) {
    model[j] = model[j + 1];
    if (model[j].term == 0) break;
  }
  if (j == kMaxModelTerms - 1) model[j].term = 0;
}

}  // namespace

int Model::inUse() const {
  int count = 0;
  while (count < kMaxModelTerms && (*this)[count].term != 0) ++count;
  return count;
}

int Model::find(int termNumber, int limit) const {
  if (termNumber < 1) return -1;
  for (int i = 0; i < limit && (*this)[i].term != 0; ++i) {
    if ((*this)[i].term == termNumber) return i;
  }
  return -1;
}

void Model::clear() {
  for (ModelEntry& entry : slots) entry.term = 0;
}

void Model::reverse() {
  // Count up to the first negative entry. Free slots hold 0, not a negative
  // value, so a normal model is reversed over all 50 slots and its terms
  // end up at the top of the list; this is the settled behaviour hosts rely on.
  int n = kMaxModelTerms;
  for (int i = 1; i < kMaxModelTerms - 1; ++i) {
    if ((*this)[i].term < 0) {
      n = i;
      break;
    }
  }
  for (int i = 0; i < n - 1 - i; ++i) std::swap((*this)[i], (*this)[n - 1 - i]);
  // Each "parallel with the one before" relation stays with its pair.
  for (int k = n - 1; k >= 1; --k) (*this)[k].chained = (*this)[k - 1].chained;
  (*this)[0].chained = 1;
}

TermList readTermList(TermTable& table, const char* text) {
  TermList list;
  int cursor = 0;
  int count = 0;
  while (count < kMaxModelTerms) {
    char word[kTermNameSize];
    nextWord(kTermNameSize, text, cursor, word);
    if (word[0] == '\0') break;
    char upper[kTermNameSize];
    upperOutsideQuotes(word, upper);
    const int number = resolveTermName(table, upper, 1, nullptr);
    if (number < 0) {
      list.status = -1;
      list.badName = upper;
      return list;
    }
    if (number == 0) list.noRoom.emplace_back(upper);
    list.numbers[count++] = number;
  }
  list.status = count > 0 ? 1 : 0;
  return list;
}

UseResult useTerms(Model& model, const TermTable& table, const TermList& list) {
  if (list.status == 0) {
    // Every slot up to a negative entry; free slots are set too, harmlessly.
    for (int i = 0; i < kMaxModelTerms && model[i].term >= 0; ++i) model[i].floating = 1;
    return UseResult::Done;
  }
  for (int k = 0; k < kMaxModelTerms && list.numbers[k] != 0; ++k) {
    const int number = list.numbers[k];
    for (int i = 0;; ++i) {
      if (i >= table.termNameCount) break;  // taken as found
      if (i >= kMaxModelTerms) return UseResult::TooManyTerms;
      if (model[i].term == number) {
        model[i].floating = 1;
        break;
      }
      if (model[i].term == 0) {
        model[i].term = number;
        model[i].value = 0.0;
        model[i].sigma = -1.0;
        model[i].chained = 1;
        model[i].floating = 1;
        if (i < kMaxModelTerms - 1) model[i + 1].term = 0;
        break;
      }
    }
  }
  return UseResult::Done;
}

std::vector<int> loseTerms(Model& model, TermTable& table, const TermList& list) {
  std::vector<int> absent;
  if (list.status == 0) {
    model.clear();
    table.forgetGenericNames();
    return absent;
  }
  for (int k = 0; k < kMaxModelTerms; ++k) {
    if (list.numbers[k] < 1) continue;
    const int slot = model.find(list.numbers[k]);
    if (slot < 0) {
      absent.push_back(list.numbers[k]);
      continue;
    }
    removeEntry(model, slot);
  }
  return absent;
}

std::vector<int> fixTerms(Model& model, const TermList& list) {
  std::vector<int> absent;
  if (list.status == 0) {
    for (int i = 0; i < kMaxModelTerms && model[i].term >= 1; ++i) model[i].floating = 0;
    return absent;
  }
  for (int k = 0; k < kMaxModelTerms; ++k) {
    if (list.numbers[k] < 1) continue;
    const int slot = model.find(list.numbers[k]);
    if (slot >= 0) {
      model[slot].floating = 0;
    } else {
      absent.push_back(list.numbers[k]);
    }
  }
  return absent;
}

void chainTerms(Model& model, const TermList& list) {
  if (list.status == 0) {
    for (int i = 0; i < kMaxModelTerms && model[i].term >= 1; ++i) model[i].chained = 1;
    return;
  }
  for (int k = 0; k < kMaxModelTerms; ++k) {
    const int slot = model.find(list.numbers[k]);
    if (slot >= 0) model[slot].chained = 1;
  }
}

std::vector<int> parallelTerms(Model& model, const TermList& list) {
  std::vector<int> absent;
  if (list.status == 0) {
    for (int i = 0; i < kMaxModelTerms && model[i].term != 0; ++i) model[i].chained = 0;
    return absent;
  }
  for (int k = 0; k < kMaxModelTerms; ++k) {
    if (list.numbers[k] < 1) continue;
    const int slot = model.find(list.numbers[k], kMaxModelTerms - 1);
    if (slot >= 0) {
      model[slot].chained = 0;
    } else {
      absent.push_back(list.numbers[k]);
    }
  }
  return absent;
}

CoefficientChange setCoefficient(Model& model, const TermTable& table, const char* name,
                                 bool set, double value) {
  CoefficientChange change;
  change.status = -1;
  if (std::strlen(name) > static_cast<std::size_t>(kLineLength)) return change;
  change.status = 0;
  std::string upper;
  for (const char* c = name; *c != '\0'; ++c) {
    upper += static_cast<char>(std::toupper(static_cast<unsigned char>(*c)));
  }
  const int number = table.find(upper.c_str());
  if (number == 0) {
    change.status = -1;
    return change;
  }
  for (int i = 0; i < kMaxModelTerms; ++i) {
    if (model[i].term == number) {
      change.slot = i;
      break;
    }
  }
  if (change.slot < 0) {
    change.status = -2;
    return change;
  }
  ModelEntry& entry = model[change.slot];
  change.oldValue = entry.value;
  if (set) {
    entry.value = value;
    entry.sigma = -1.0;
  }
  change.newValue = entry.value;
  return change;
}

void resetCoefficients(Model& model) {
  for (ModelEntry& entry : model.slots) {
    entry.sigma = -1.0;
    entry.value = 0.0;
  }
}

}  // namespace zenfit
