#include "data/perfect.h"

#include <cmath>
#include <cstdio>

#include "astro/vectors.h"
#include "data/decode.h"
#include "engine.h"

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
  for (int flat = k; flat <= k + 6; flat += 3) list.aux[flat / 3][flat % 3] = 0.0;
}

int startSlot(const Engine& engine) {
  if (engine.run.appendMode == 0 || engine.run.obsPresent >= 0) return 0;
  int slot = 0;
  while (slot < kMaxObservations && engine.observations.status[slot] >= 0) ++slot;
  return slot;
}

}  // namespace

int generatePerfectStars(Engine& engine, double latitude) {
  if (!(std::fabs(latitude) <= kHalfPi)) {
    msgOut(engine, 'E', "Latitude out of range!\n");
    return -1;
  }
  RunState& run = engine.run;
  ObservationList& list = engine.observations;
  run.sinLat = std::sin(latitude);
  run.cosLat = std::cos(latitude);
  std::snprintf(run.caption, sizeof run.caption, "Perfect stars, latitude %+.1f deg",
                latitude * kDegreesPerRadian);

  int slot = startSlot(engine);
  int stored = 0;
  double h = 0.0;
  double d = kFirstDec;
  while (d < kLastDec) {
    const double ha = wrapPi(h * kRadianPerDegree);
    const double dec = d * kRadianPerDegree;
    const double c = std::cos(ha) * std::cos(dec) * run.cosLat + std::sin(dec) * run.sinLat;
    if (c >= kCosMaxZenithDistance && slot < kObservationSlots) {
      list.status[slot] = kStatusActive;
      list.runFlag[slot] = kRecordSynthetic;
      list.pierFlag[slot] = 0;
      list.starHa[slot] = list.starHaWork[slot] = list.telHa[slot] = list.telHaWork[slot] = ha;
      list.starDec[slot] = list.starDecWork[slot] = list.telDec[slot] = list.telDecWork[slot] =
          dec;
      clearAuxLikeTheHostsExpect(list, slot);
      ++slot;
      ++stored;
    }
    const double s = 1.0 / std::cos(dec);
    h = std::fmod(h + kHaStep * s + kMeridianFlip, 360.0);
    d += kDecStep * s;
  }
  if (slot < kMaxObservations) list.status[slot] = kStatusEndOfList;
  run.obsPresent = stored > 0 ? 0 : -1;
  run.appendMode = 0;
  return stored;
}

void cmdPerfct(Engine& engine) {
  double degrees = engine.run.obsPresent >= 0 ? siteLatitude(engine.run) * kDegreesPerRadian : 0.0;
  int pos = 7;
  int status = kDecodedNull;
  decodeArgument(engine.lines.command, pos, degrees, status);
  if (status == kDecodedError || !(std::fabs(degrees) <= 90.0)) {
    msgOut(engine, 'E', "Parameter error!\n");
    return;
  }
  if (generatePerfectStars(engine, degrees * kRadianPerDegree) >= 0) {
    engine.dispatch.status = kStatusDone;
  }
}

}  // namespace zenfit
