#include "data/mask.h"

#include <cctype>
#include <cmath>
#include <cstring>
#include <utility>

#include "astro/vectors.h"

namespace zenfit {
namespace {

double toInternalUnit(char q, double v) {
  switch (q) {
    case 'H': return v * kRadianPerHour;
    case 'D': case 'A': case 'Z': return v * kRadianPerDegree;
    case 'R': return v * kRadianPerArcsec;
    default: return v;
  }
}

double quantityOf(const Observation& o, const RunState& run, char q, int slot) {
  const double h = o.starHa;
  const double d = o.starDec;
  const double sinLat = run.sinLat;
  const double cosLat = run.cosLat;
  switch (q) {
    case 'H': return h;
    case 'D': return d;
    case 'A':
      return wrapTwoPi(std::atan2(-std::sin(h) * std::cos(d),
                                  cosLat * std::sin(d) - sinLat * std::cos(d) * std::cos(h)));
    case 'Z': {
      const double c = std::cos(h) * std::cos(d) * cosLat + std::sin(d) * sinLat;
      const double s2 = 1.0 - c * c;
      return std::atan2(s2 > 0.0 ? std::sqrt(s2) : 0.0, c);
    }
    case 'R': return residualAngle(o);
    default: return slot + 1.0;
  }
}

char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

}  // namespace

bool isMaskQuantity(char q) { return q != '\0' && std::strchr("HDAZRN", q) != nullptr; }

int maskConditionSense(char c) {
  if (c == '<' || c == 'L') return -1;
  if (c == '>' || c == 'G') return 1;
  return 0;
}

bool maskValueInRange(const ObservationList& list, char q, double v) {
  switch (q) {
    case 'H': return v >= -12.0 && v <= 12.0;
    case 'D': return v >= -90.0 && v <= 90.0;
    case 'A': return v >= 0.0 && v <= 360.0;
    case 'Z': return v >= 0.0 && v <= 90.0;
    case 'R': return v >= 0.0 && std::isfinite(v);
    case 'N': return v == std::floor(v) && v >= 1.0 && v <= list.count();
    default: return false;
  }
}

MaskResult maskByCondition(ObservationList& list, const RunState& run, char quantity,
                           char condition, double value, int newStatus) {
  quantity = upper(quantity);
  condition = upper(condition);
  if (!isMaskQuantity(quantity)) return MaskResult::BadQuantity;
  const int sense = maskConditionSense(condition);
  if (sense == 0) return MaskResult::BadCondition;
  if (!maskValueInRange(list, quantity, value)) return MaskResult::BadValue;
  const double v = toInternalUnit(quantity, value);
  for (int slot = 0; slot < kObservationSlots && !list[slot].isEnd(); ++slot) {
    const double q = quantityOf(list[slot], run, quantity, slot);
    if (sense > 0 ? q > v : q < v) list[slot].status = newStatus;
  }
  return MaskResult::Done;
}

MaskResult maskByNumber(ObservationList& list, int first, int last, int newStatus) {
  const int count = list.count();
  if (first < 1 || first > count || last < 1 || last > count) return MaskResult::BadValue;
  if (first > last) std::swap(first, last);
  for (int n = first; n <= last; ++n) list[n - 1].status = newStatus;
  return MaskResult::Done;
}

void maskAll(ObservationList& list, int newStatus) {
  for (int slot = 0; slot < kObservationSlots && !list[slot].isEnd(); ++slot) {
    list[slot].status = newStatus;
  }
}

}  // namespace zenfit
