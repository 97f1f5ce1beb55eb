#include "model/generic.h"

#include <cmath>
#include <cstdio>
#include <cstring>

#include "base/text.h"

namespace zenfit {

const char* const kGenericTemplates[kGenericTemplateCount] = {
    "PRCICI", "PRCIC",    "PRCI",   "PRC",     "HRFCIII",  "HRFCIFCI", "HRFCII",
    "HRFCI",  "HRFC",     "HRFCIFC", "HRFCIIFC", "HRFCFCI", "HRFCFC",   "HRFCFCII",
};

namespace {

bool isEnd(char c) { return c == '\0' || c == ' '; }

// The characters each slot letter admits.
bool admits(char slot, char c) {
  switch (slot) {
    case 'P': return c == 'P';
    case 'H': return c == 'H';
    case 'R': return c != '\0' && std::strchr("HXDULPASZNWV", c) != nullptr;
    case 'C': return c != '\0' && std::strchr("HDAZQ", c) != nullptr;
    case 'F': return c == 'S' || c == 'C';
    case 'I': return c >= '0' && c <= '9';
    default: return false;
  }
}

bool matches(const char* name, const char* slots) {
  for (int i = 0; i < kTermNameSize - 1; ++i) {
    const bool nameEnded = isEnd(name[i]);
    const bool slotsEnded = isEnd(slots[i]);
    if (nameEnded && slotsEnded) return true;
    if (nameEnded || slotsEnded || !admits(slots[i], name[i])) return false;
  }
  return false;  // eight positions without an end: never a match
}

// The correction a generic term's quantity letter stands for.
//   H  hour angle             X  along the parallel     D  declination
//   A  horizon longitude      S  across the vertical    Z  zenith distance
//   U  up, L  left: the vertical and horizontal axes of a Nasmyth focal
//      plane, seen on the sky turned through the elevation (as NRY, NRX)
//   P  a pull towards the north celestial pole (equatorial vector (0,0,1))
//   N  a pull towards the north point of the horizon (horizon (-1,0,0))
//   W  a pull towards the west point of the horizon (horizon (0,-1,0))
//   V  a pull towards the zenith (horizon (0,0,1))
CorrectionKind quantityKind(char quantity) {
  using K = CorrectionKind;
  switch (quantity) {
    case 'X': return K::AlongDec;
    case 'A': case 'Z': return K::AzEl;
    case 'S': case 'U': case 'L': return K::SideEl;
    case 'P': return K::Vector;
    case 'N': case 'W': case 'V': return K::VectorHorizon;
    default: return K::HourDec;
  }
}

// The multipliers of the quantity, scaled by f.
template <class P>
Multipliers quantityMultipliers(char quantity, double f, const P& p) {
  switch (quantity) {
    case 'H': return {{f, 0.0, 0.0}};
    case 'X': return {{f, 0.0, 0.0}};
    case 'D': return {{0.0, f, 0.0}};
    case 'A': return {{f, 0.0, 0.0}};
    case 'S': return {{f, 0.0, 0.0}};
    case 'Z': return {{0.0, -f, 0.0}};
    case 'U': return {{f * p.sinE(), f * p.cosE(), 0.0}};
    case 'L': return {{f * p.cosE(), -f * p.sinE(), 0.0}};
    case 'P': return {{0.0, 0.0, f}};
    case 'N': return {{-f, 0.0, 0.0}};
    case 'W': return {{0.0, -f, 0.0}};
    case 'V': return {{0.0, 0.0, f}};
    default: return {{0.0, 0.0, 0.0}};
  }
}

template <class P>
Multipliers genericMultipliers(const GenericForm& form, const P& p) {
  double f = 1.0;
  for (int k = 0; k < form.factors; ++k) {
    const GenericForm::Factor& factor = form.factor[k];
    if (form.harmonic) {
      f *= factor.function == 'S' ? p.sinOf(factor.argument, factor.n)
                                  : p.cosOf(factor.argument, factor.n);
    } else {
      f *= std::pow(p.angle(factor.argument), factor.n);
    }
  }
  return quantityMultipliers(form.quantity, f, p);
}

}  // namespace

bool parseGeneric(const char* name, const char* slots, GenericForm& form) {
  const std::size_t length = std::strlen(slots);
  if (length < 3 || std::strlen(name) != length) return false;
  form = GenericForm{};
  form.harmonic = slots[0] == 'H';
  form.quantity = name[1];
  form.kind = quantityKind(form.quantity);
  char function = 0;
  char argument = 0;
  int multiple = 0;
  bool haveDigits = false;
  auto finishFactor = [&] {
    if (argument == 0) return true;
    if (form.factors == GenericForm::kMaxFactors) return false;
    form.factor[form.factors++] = {function, argument, haveDigits ? multiple : 1.0};
    argument = 0;
    multiple = 0;
    haveDigits = false;
    return true;
  };
  for (std::size_t i = 2; i < length; ++i) {
    switch (slots[i]) {
      case 'F':
        if (!finishFactor()) return false;
        function = name[i];
        break;
      case 'C':
        if (!form.harmonic && !finishFactor()) return false;
        argument = name[i];
        break;
      case 'I':
        multiple = 10 * multiple + (name[i] - '0');
        haveDigits = true;
        break;
      default:
        return false;
    }
  }
  return finishFactor();
}

bool genericCorrection(const char* name, const char* slots, const ExactPlace& place,
                       CorrectionKind& kind, Multipliers& multipliers) {
  GenericForm form;
  if (!parseGeneric(name, slots, form)) return false;
  kind = form.kind;
  multipliers = genericMultipliers(form, place);
  return true;
}

namespace {

constexpr int B = kPlaceBlock;

// The sines and cosines of a generic term's coordinate over a block, as
// LanePlace gives them (after the pier-side change).
void coordinateBlock(char letter, const PlaceBlock& p, double* __restrict s,
                     double* __restrict c) {
  const double* flip = p.lanes->flip;
  switch (letter) {
    case 'H':
      for (int i = 0; i < B; ++i) {
        s[i] = -flip[i] * p.sinL[i];
        c[i] = flip[i] * p.cosL[i];
      }
      return;
    case 'D':
      for (int i = 0; i < B; ++i) {
        s[i] = p.ez[i];
        c[i] = flip[i] * p.re[i];
      }
      return;
    case 'A':
      for (int i = 0; i < B; ++i) {
        s[i] = p.sinA[i];
        c[i] = p.cosA[i];
      }
      return;
    case 'Z':  // z = pi/2 - E
      for (int i = 0; i < B; ++i) {
        s[i] = p.rh[i];
        c[i] = p.z[i];
      }
      return;
    case 'Q':
      // The parallactic angle's atan2 arguments scaled to unit length.
      for (int i = 0; i < B; ++i) {
        const double sinH = -flip[i] * p.sinL[i];
        const double cosH = flip[i] * p.cosL[i];
        const double y = sinH * p.latCos;
        const double x = p.latSin * (flip[i] * p.re[i]) - p.latCos * p.ez[i] * cosH;
        const double r = std::sqrt(x * x + y * y);
        const double safe = r > 0.0 ? r : 1.0;
        const double sq = y / safe;
        const double cq = x / safe;
        s[i] = r > 0.0 ? sq : 0.0;
        c[i] = r > 0.0 ? cq : 1.0;
      }
      return;
    default:
      for (int i = 0; i < B; ++i) {
        s[i] = 0.0;
        c[i] = 1.0;
      }
      return;
  }
}

// (s, c) of x turned into those of n x, lane by lane as multipleAngle()
// does it, with the loop over the bits of n outside the loop over the lanes.
void multipleBlock(int n, double* __restrict s, double* __restrict c) {
  if (n == 1) return;
  if (n == 2) {
    for (int i = 0; i < B; ++i) {
      const double t = c[i] * c[i] - s[i] * s[i];
      s[i] = 2.0 * s[i] * c[i];
      c[i] = t;
    }
    return;
  }
  double rs[B], rc[B];
  bool first = true;
  for (int i = 0; i < B; ++i) {
    rs[i] = 0.0;
    rc[i] = 1.0;
  }
  while (n > 0) {
    if ((n & 1) != 0) {
      for (int i = 0; i < B; ++i) {
        if (first) {
          rs[i] = s[i];
          rc[i] = c[i];
        } else {
          const double t = rc[i] * c[i] - rs[i] * s[i];
          rs[i] = rs[i] * c[i] + rc[i] * s[i];
          rc[i] = t;
        }
      }
      first = false;
    }
    n >>= 1;
    if (n > 0) {
      for (int i = 0; i < B; ++i) {
        const double t = c[i] * c[i] - s[i] * s[i];
        s[i] = 2.0 * s[i] * c[i];
        c[i] = t;
      }
    }
  }
  for (int i = 0; i < B; ++i) {
    s[i] = rs[i];
    c[i] = rc[i];
  }
}

}  // namespace

// Factor by factor over the whole block, so that each step is one loop
// over the lanes; the same arithmetic, lane by lane, as
// genericMultipliers() over a LanePlace.
void genericBlock(const GenericForm& form, const PlaceBlock& places, MultiplierBlock& out) {
  double f[B];
  for (int i = 0; i < B; ++i) f[i] = 1.0;
  for (int k = 0; k < form.factors; ++k) {
    const GenericForm::Factor& factor = form.factor[k];
    if (form.harmonic) {
      double s[B], c[B];
      coordinateBlock(factor.argument, places, s, c);
      multipleBlock(static_cast<int>(factor.n), s, c);
      const double* value = factor.function == 'S' ? s : c;
      for (int i = 0; i < B; ++i) f[i] *= value[i];
    } else {
      for (int i = 0; i < B; ++i) {
        f[i] *= std::pow(LanePlace(places, i).angle(factor.argument), factor.n);
      }
    }
  }
  for (int i = 0; i < B; ++i) {
    const Multipliers c = quantityMultipliers(form.quantity, f[i], LanePlace(places, i));
    out.m[0][i] = c.m[0];
    out.m[1][i] = c.m[1];
    out.m[2][i] = c.m[2];
  }
}

const char* matchGenericTemplate(const char* name) {
  for (const char* slots : kGenericTemplates) {
    if (matches(name, slots)) return slots;
  }
  return nullptr;
}

int resolveTermName(TermTable& table, const char* name, int addMode, char* templateOut) {
  if (const int known = table.find(name); known > 0) return known;

  const char* slots = matchGenericTemplate(name);
  if (slots == nullptr) return -1;
  if (templateOut != nullptr) std::snprintf(templateOut, kTermNameSize, "%s", slots);

  // The name proper ends at its first blank (a template never spans one).
  char word[kTermNameSize];
  const std::size_t length = std::strlen(slots);
  std::memcpy(word, name, length);
  word[length] = '\0';
  if (const int known = table.find(word); known > 0) return known;

  if (addMode == 0 || table.termNameCount >= kGenericNameLimit) return 0;
  const int index = table.termNameCount++;
  std::snprintf(table.names[index], kTermNameSize, "%s", word);
  std::snprintf(table.templates[index], kTermNameSize, "%s", slots);
  return index + 1;
}

}  // namespace zenfit
