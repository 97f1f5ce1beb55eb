// Pointing terms: what each one does, and the table of names in use.
//
// A term is known everywhere by its term number, its 1-based position in
// the name table: local (site) terms first, then the 54 standard terms,
// then the generic names introduced during the session. Each standard
// term is defined once, in kStandardTerms: its name, the kind of
// correction it makes and its multipliers.
#pragma once

#include <array>

#include "base/constants.h"
#include "model/place.h"

namespace zenfit {

// How a term's multipliers m act on a direction, for a coefficient c.
//   HourDec        c m[0] added to the hour angle, c m[1] to the declination.
//   AlongDec       c m[0] a true displacement along the parallel towards
//                  increasing hour angle, c m[1] towards the north pole.
//   AzEl           c m[0] added to the horizon longitude A, c m[1] to the
//                  elevation.
//   SideEl         c m[0] a true displacement across the vertical circle
//                  towards increasing A, c m[1] towards the zenith.
//   Vector         c m added to the equatorial form of the direction.
//   VectorHorizon  c m added to the horizon form of the direction.
enum class CorrectionKind { HourDec, AlongDec, AzEl, SideEl, Vector, VectorHorizon };

struct Multipliers {
  double m[3] = {0.0, 0.0, 0.0};
};

// The multipliers of a block of places, one array per multiplier.
struct MultiplierBlock {
  double m[3][kPlaceBlock];
};

// A standard term: its name, its kind of correction and its multipliers,
// defined once (terms.cpp) and compiled for one exact place (the
// definition, used by evaluateTerm) and for a block of places (the fast
// evaluation, model/evaluator.h).
struct TermDefinition {
  const char* name;
  CorrectionKind kind;
  Multipliers (*exact)(const ExactPlace& place);
  void (*block)(const PlaceBlock& places, MultiplierBlock& out);
};

inline constexpr int kStandardTermCount = 54;

// The standard terms in catalogue order (standard index 1..54 is entry 0..53).
extern const std::array<TermDefinition, kStandardTermCount> kStandardTerms;

// The names in use: term number n is entry n - 1.
struct TermTable {
  char names[kMaxTermNames][kTermNameSize] = {};      // upper case
  char templates[kMaxTermNames][kTermNameSize] = {};  // generic terms: the template matched
  int localTermCount = 0;
  int fixedTermCount = 0;  // local plus standard
  int termNameCount = 0;   // names in use

  // Name of a term number, or "" outside the table.
  const char* name(int termNumber) const;
  // The number of a name in use (exact, trailing blanks ignored), or 0.
  int find(const char* name) const;
  // Forgets every generic name.
  void forgetGenericNames() { termNameCount = fixedTermCount; }
};

// How the table was filled at start-up, for the report.
struct TermSpace {
  bool localOverflow = false;     // not every local term fitted
  bool noStandardRoom = false;    // no standard term fitted: start-up fails
  bool standardOverflow = false;  // not every standard term fitted
  bool noGenericRoom = false;     // no room is left for generic names
  int localCount = 0;
  int standardCount = 0;
};

// Start-up hook for site terms: installs none and leaves space unchanged.
void installLocalTerms(int& space, TermTable& table);
// Copies min(space, 54) standard names from entry first (0-based), then
// lowers space by 54.
void installStandardTerms(int& space, TermTable& table, int first);

// Clears and refills the name table.
TermSpace loadTermNames(TermTable& table);

}  // namespace zenfit
