// The term name table and the pointing model.
//
// A term is known everywhere by its term number, its 1-based position in
// the name table: local terms first, then the 54 standard terms, then the
// generic names introduced during the session. The model is an ordered list
// of up to 50 terms, each with a coefficient (radians), a sigma (radians,
// -1 for none) and two flags; the first zero term number ends it.
#pragma once

#include <cstdint>

#include "constants.h"

namespace zenfit {

struct Engine;

struct TermTable {
  char names[kMaxTermNames][kTermNameSize];      // entry i holds term number i + 1
  char templates[kMaxTermNames][kTermNameSize];  // generic terms: the template matched
  int localTermCount = 0;
  int fixedTermCount = 0;  // local plus standard
  int termNameCount = 0;   // names in use
};

struct Model {
  int termNumber[kMaxModelTerms];  // 0 ends the list
  double coefValue[kMaxModelTerms];
  double coefSigma[kMaxModelTerms];
  int floating[kMaxModelTerms];    // 1 adjusted by FIT, 0 held
  int chained[kMaxModelTerms];     // 1 applied after the terms before it, 0 in parallel
};

inline constexpr int kStandardTermCount = 54;

// The standard term names in catalogue order (index 1..54 is entry 0..53).
extern const char* const kStandardTermNames[kStandardTermCount];

// Start-up hook for site terms: installs none and leaves space unchanged.
void installLocalTerms(int& space, TermTable& table);
// Copies min(space, 54) standard names from entry first (0-based), then
// lowers space by 54.
void installStandardTerms(int& space, TermTable& table, int first);

// Clears and refills the name table, reporting the term space. Returns -1
// when no standard term fits (start-up then fails), else 0.
int loadTermNames(Engine& engine);

// Name of a term number, or "" outside the table.
const char* termName(const TermTable& table, int termNumber);

// The host query behind GetTermInfo: parses name as a term name; when the
// term is in the model, writes its floating and chained flags. Returns a
// positive value for a valid term name, 0 or negative otherwise.
int termInfo(Engine& engine, const char* name, std::int32_t* floating, std::int32_t* chained);

// Empties the model (every term number 0).
void clearModel(Model& model);

// Reverses the model in place when the ADJUST sense changes: undoing a chain
// of corrections means applying the inverse corrections in reverse order.
void reverseModel(Model& model);

}  // namespace zenfit
