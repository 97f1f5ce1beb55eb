#include "data/perfect.h"

#include <cmath>
#include <cstdio>

#include "astro/vectors.h"

namespace zenfit {
namespace {

constexpr double kFirstDec = -85.0;           // degrees; the spiral runs to +85
constexpr double kLastDec = 85.0;
constexpr double kHaStep = 5.0;               // degrees times sec(dec)
constexpr double kDecStep = 0.3;              // degrees times sec(dec)
constexpr double kMeridianFlip = 180.0;       // alternate sides of the meridian
constexpr double kCosMaxZenithDistance = 0.17364817766693041;  // cos 80 degrees

// The aux storage is three doubles per observation, one run of doubles.
// Filling slot k clears doubles k, k + 3 and k + 6 of that run (not the
// three of slot k): hosts have long read the aux columns of a synthetic
// list with exactly this pattern, so it stays.
void clearAuxLikeTheHostsExpect(ObservationList& list, int k) {
  for (int flat = k; flat <= k + 6; flat += 3) list[flat / 3].aux[flat % 3] = 0.0;
}

int startSlot(const ObservationList& list, const RunState& run) {
  if (run.appendMode == 0 || run.obsPresent >= 0) return 0;
  int slot = 0;
  while (slot < kMaxObservations && !list[slot].isEnd()) ++slot;
  return slot;
}

}  // namespace

int generatePerfectStars(ObservationList& list, RunState& run, double latitude) {
  if (!(std::fabs(latitude) <= kHalfPi)) return -1;
  run.sinLat = std::sin(latitude);
  run.cosLat = std::cos(latitude);
  char caption[kCaptionLength + 1];
  std::snprintf(caption, sizeof caption, "Perfect stars, latitude %+.1f deg",
                latitude * kDegreesPerRadian);
  run.caption = caption;

  int slot = startSlot(list, run);
  int stored = 0;
  double h = 0.0;
  double d = kFirstDec;
  while (d < kLastDec) {
    const double ha = wrapPi(h * kRadianPerDegree);
    const double dec = d * kRadianPerDegree;
    const double c = std::cos(ha) * std::cos(dec) * run.cosLat + std::sin(dec) * run.sinLat;
    if (c >= kCosMaxZenithDistance && slot < kObservationSlots) {
      Observation& o = list[slot];
      o.status = kStatusActive;
      o.kind = kRecordSynthetic;
      o.pierFlag = 0;
      o.starHa = o.starHaWork = o.telHa = o.telHaWork = ha;
      o.starDec = o.starDecWork = o.telDec = o.telDecWork = dec;
      o.siderealTime = 0.0;
      clearAuxLikeTheHostsExpect(list, slot);
      ++slot;
      ++stored;
    }
    const double s = 1.0 / std::cos(dec);
    h = std::fmod(h + kHaStep * s + kMeridianFlip, 360.0);
    d += kDecStep * s;
  }
  if (slot < kMaxObservations) list[slot].status = kStatusEndOfList;
  run.obsPresent = stored > 0 ? 0 : -1;
  run.appendMode = 0;
  return stored;
}


}  // namespace zenfit
