// The pointing model: an ordered list of up to 50 terms.
//
// Each entry holds a term number, a coefficient (radians), a sigma
// (radians, -1 for none) and two flags; the first zero term number ends
// the list. The slots past the end keep whatever they held: the model is
// a fixed array of 50 slots, and the ADJUST reversal and LOSE work on the
// slots as they are.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "base/constants.h"
#include "model/terms.h"

namespace zenfit {

// Which side of an observation the model corrects.
enum class AdjustSense : int {
  Telescope = 1,  // the model adjusts the telescope to fit the stars
  Stars = 2,      // the model adjusts the stars to fit the telescope
};

struct ModelEntry {
  int term = 0;           // term number; 0 ends the list
  double value = 0.0;     // radians
  double sigma = 0.0;     // radians; negative: none (never fitted, or set by hand)
  int floating = 0;       // 1 adjusted by FIT, 0 held
  int chained = 0;        // 1 applied after the terms before it, 0 in parallel

  bool hasSigma() const { return sigma >= 0.0; }
};

struct Model {
  std::array<ModelEntry, kMaxModelTerms> slots;

  ModelEntry& operator[](int slot) { return slots[static_cast<std::size_t>(slot)]; }
  const ModelEntry& operator[](int slot) const { return slots[static_cast<std::size_t>(slot)]; }

  // Entries before the first zero term number.
  int inUse() const;
  // Slot holding termNumber among the first limit slots, stopping at the
  // end of the list; -1 when absent (a number below 1 matches nothing).
  int find(int termNumber, int limit = kMaxModelTerms) const;
  // Empties the model: every term number 0, the other columns kept.
  void clear();
  // Reverses the model in place when the ADJUST sense changes: undoing a
  // chain of corrections means applying the inverse corrections in
  // reverse order. See model.cpp for the slots it covers.
  void reverse();
};

// ---- Term lists: the argument of USE, LOSE, FIX, CHAIN and PARAL.

struct TermList {
  int status = 0;  // 1 at least one word, 0 no word, -1 a word that is no term name
  int numbers[kMaxModelTerms] = {};  // 0 after the last, and for a name with no room
  std::string badName;               // the word that is no term name
  std::vector<std::string> noRoom;   // new generic names the table had no room for
};

// Reads term names from text, word by word (8 characters at most each,
// upper-cased outside quotes), resolving each with resolveTermName in add
// mode, so that a new well-formed generic name is created. Reading stops at
// the first word that is no term name.
TermList readTermList(TermTable& table, const char* text);

// ---- The model operations. Each works on the slots as the commands have
// always done; what they could not do is returned for the report.

enum class UseResult { Done, TooManyTerms };

// USE: makes the listed terms floating, adding those that are absent (value
// 0, no sigma, chained). No list: every slot up to a negative entry is
// made floating. A term past slot 50 stops it with TooManyTerms (the terms
// added before stay).
UseResult useTerms(Model& model, const TermTable& table, const TermList& list);

// LOSE: removes the listed terms, closing the gap; returns the term
// numbers that were not in the model. No list empties the model and
// forgets every generic name.
std::vector<int> loseTerms(Model& model, TermTable& table, const TermList& list);

// FIX: holds the listed terms (no list: every term); returns those not in
// the model.
std::vector<int> fixTerms(Model& model, const TermList& list);

// CHAIN: the listed terms (no list: every term) are applied after the
// terms before them. Terms not in the model are passed over.
void chainTerms(Model& model, const TermList& list);

// PARAL: the listed terms (no list: every term) are evaluated at the same
// point as the term before them; returns those not in the model.
std::vector<int> parallelTerms(Model& model, const TermList& list);

// Shows or sets one coefficient by name (upper-cased here).
struct CoefficientChange {
  int status = 0;  // 0, -1 no such term name, -2 not in the model
  int slot = -1;
  double oldValue = 0.0;  // radians
  double newValue = 0.0;  // radians: the value in force afterwards
};
CoefficientChange setCoefficient(Model& model, const TermTable& table, const char* name,
                                 bool set, double value);

// RESET: every coefficient to 0 and every sigma to none, over all 50
// slots; the list and its flags are kept.
void resetCoefficients(Model& model);

}  // namespace zenfit
