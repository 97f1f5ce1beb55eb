// Generic term names: harmonic and polynomial terms whose name states them.
//
// A generic name is matched against 14 templates of slot letters, tried in
// order:
//   P  polynomial marker          H  harmonic marker
//   R  quantity corrected: H X D U L P A S Z N W V
//   C  coordinate argument: H D A Z Q
//   F  function: S (sine) or C (cosine)
//   I  a digit 0-9
// So HXSH2 (template HRFCI) is "correct X by sin 2h" and PDZ2 (PRCI) is
// "correct the declination by z squared". A name is matched over at most 8
// positions and must end before the eighth: an 8-character name never
// matches, so the three 8-slot templates accept nothing (a long-standing
// limit that saved model files depend on).
#pragma once

#include "base/constants.h"
#include "model/terms.h"

namespace zenfit {

inline constexpr int kGenericTemplateCount = 14;
extern const char* const kGenericTemplates[kGenericTemplateCount];

// New generic names are accepted only while the name count is below this
// (so with no local terms 45 generic names can exist, numbered 55..99).
inline constexpr int kGenericNameLimit = kMaxTermNames - 1;

// The template that name (upper case, at most 8 significant positions)
// matches, or null when it matches none.
const char* matchGenericTemplate(const char* name);

// Turns a term name into a term number (the zftTerm export).
// - A name in the table (exact comparison, trailing blanks ignored, entries
//   1..termNameCount, first match) returns its number, whatever the mode.
// - A name that fits no template returns -1.
// - A name that fits a template copies the template to templateOut (when
//   given; 9 bytes), then returns 0 when addMode is 0 or the table has no
//   room (termNameCount >= 99); otherwise it is added with its template and
//   its new number is returned.
// The name is expected upper case.
int resolveTermName(TermTable& table, const char* name, int addMode, char* templateOut);

// A generic name read through its template: the function f is the product
// of its factors, sin/cos(n x) (harmonic) or x^n (polynomial, x in
// radians), a factor without digits having n = 1; the quantity letter says
// how f is applied.
struct GenericForm {
  static constexpr int kMaxFactors = 4;
  struct Factor {
    char function = 0;  // 'S' or 'C' (harmonic)
    char argument = 0;  // H, D, A, Z or Q
    double n = 1.0;
  };
  bool harmonic = false;
  char quantity = 0;
  CorrectionKind kind = CorrectionKind::HourDec;
  int factors = 0;
  Factor factor[kMaxFactors];
};

// Reads name (upper case) through its template slots; false when it does
// not read as the template.
bool parseGeneric(const char* name, const char* slots, GenericForm& form);

// The correction of a generic term at a place: a product of sin/cos(n x)
// factors (harmonic) or of x^n factors (polynomial, x in radians) for the
// function f, applied as its quantity letter says. False when the name
// does not read as its template.
bool genericCorrection(const char* name, const char* slots, const ExactPlace& place,
                       CorrectionKind& kind, Multipliers& multipliers);

// The multipliers of a parsed generic term over a block of places.
void genericBlock(const GenericForm& form, const PlaceBlock& places, MultiplierBlock& out);

}  // namespace zenfit
