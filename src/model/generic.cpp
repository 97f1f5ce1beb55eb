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

// The parallactic angle at (h, d): atan2(sin h cos phi, sin phi cos d -
// cos phi sin d cos h) (Meeus, Astronomical Algorithms, eq. 14.1).
double parallacticAngle(const Place& p) {
  return std::atan2(std::sin(p.h) * p.cosLat,
                    p.sinLat * std::cos(p.d) - p.cosLat * std::sin(p.d) * std::cos(p.h));
}

double coordinate(char letter, const Place& p) {
  switch (letter) {
    case 'H': return p.h;
    case 'D': return p.d;
    case 'A': return p.azimuth;
    case 'Z': return p.zenithDistance;
    case 'Q': return parallacticAngle(p);
    default: return 0.0;
  }
}

// The generic multiplier f of a name read through its template: a product
// of sin/cos(n x) factors (harmonic) or of x^n factors (polynomial, x in
// radians); a factor without digits has n = 1. Returns false when the name
// does not read as its template.
bool genericMultiplier(const char* name, const char* slots, const Place& p, char& quantity,
                       double& f) {
  const std::size_t length = std::strlen(slots);
  if (length < 3 || std::strlen(name) != length) return false;
  const bool harmonic = slots[0] == 'H';
  quantity = name[1];
  f = 1.0;
  char function = 0;
  char argument = 0;
  int multiple = 0;
  bool haveDigits = false;
  auto finishFactor = [&] {
    if (argument == 0) return;
    const double n = haveDigits ? multiple : 1;
    const double x = coordinate(argument, p);
    if (harmonic) {
      f *= function == 'S' ? std::sin(n * x) : std::cos(n * x);
    } else {
      f *= std::pow(x, n);
    }
    argument = 0;
    multiple = 0;
    haveDigits = false;
  };
  for (std::size_t i = 2; i < length; ++i) {
    switch (slots[i]) {
      case 'F':
        finishFactor();
        function = name[i];
        break;
      case 'C':
        if (!harmonic) finishFactor();
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
  finishFactor();
  return true;
}

// The correction a generic term's quantity letter stands for, scaled by f.
//   H  hour angle             X  along the parallel     D  declination
//   A  horizon longitude      S  across the vertical    Z  zenith distance
//   U  up, L  left: the vertical and horizontal axes of a Nasmyth focal
//      plane, seen on the sky turned through the elevation (as NRY, NRX)
//   P  a pull towards the north celestial pole (equatorial vector (0,0,1))
//   N  a pull towards the north point of the horizon (horizon (-1,0,0))
//   W  a pull towards the west point of the horizon (horizon (0,-1,0))
//   V  a pull towards the zenith (horizon (0,0,1))
void quantityCorrection(char quantity, double f, const Place& p, CorrectionKind& kind,
                        Multipliers& m) {
  using K = CorrectionKind;
  const double E = p.elevation;
  auto set = [&](K k, double m0, double m1, double m2 = 0.0) {
    kind = k;
    m = Multipliers{{m0, m1, m2}};
  };
  switch (quantity) {
    case 'H': return set(K::HourDec, f, 0.0);
    case 'X': return set(K::AlongDec, f, 0.0);
    case 'D': return set(K::HourDec, 0.0, f);
    case 'A': return set(K::AzEl, f, 0.0);
    case 'S': return set(K::SideEl, f, 0.0);
    case 'Z': return set(K::AzEl, 0.0, -f);
    case 'U': return set(K::SideEl, f * std::sin(E), f * std::cos(E));
    case 'L': return set(K::SideEl, f * std::cos(E), -f * std::sin(E));
    case 'P': return set(K::Vector, 0.0, 0.0, f);
    case 'N': return set(K::VectorHorizon, -f, 0.0, 0.0);
    case 'W': return set(K::VectorHorizon, 0.0, -f, 0.0);
    case 'V': return set(K::VectorHorizon, 0.0, 0.0, f);
    default: return set(K::HourDec, 0.0, 0.0);
  }
}

}  // namespace

bool genericCorrection(const char* name, const char* slots, const Place& place,
                       CorrectionKind& kind, Multipliers& multipliers) {
  char quantity = 0;
  double f = 0.0;
  if (!genericMultiplier(name, slots, place, quantity, f)) return false;
  quantityCorrection(quantity, f, place, kind, multipliers);
  return true;
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
