#include "fit/slist.h"

#include <erfa.h>

#include <cmath>
#include <cstdio>

#include "astro/vectors.h"
#include "data/decode.h"
#include "engine.h"
#include "model/evaluate.h"
#include "fit/fit.h"

namespace zenfit {
namespace {

constexpr char kFormFeed[] = "\f";

// The five differences, in listing order.
enum Difference { kDx, kDd, kDs, kDz, kDr, kDifferences };

// Beyond this many radians an angle cannot come from an observation; it is
// clamped before the sexagesimal split so that the integer fields stay in
// range whatever the list holds.
constexpr double kLargestPrintableAngle = 1e6;

double printable(double angle) {
  if (std::isnan(angle)) return 0.0;
  if (std::fabs(angle) > kLargestPrintableAngle) return std::copysign(kLargestPrintableAngle, angle);
  return angle;
}

// A position as a horizon-frame unit vector (x south, y east, z zenith)
// with its longitude from the south through the east and its elevation.
struct HorizonPlace {
  double v[3];
  double longitude;
  double elevation;
};

HorizonPlace horizonPlace(const Engine& engine, double ha, double dec) {
  HorizonPlace place;
  haDecToDirection(engine, ha, dec, place.v);
  vectorToSpherical(place.v, place.longitude, place.elevation);
  return place;
}

// Star (Q) minus telescope (P), arcseconds.
void differences(double haP, double decP, const HorizonPlace& p, double haQ, double decQ,
                 const HorizonPlace& q, double d[kDifferences]) {
  const double dx = q.v[0] - p.v[0];
  const double dy = q.v[1] - p.v[1];
  const double dz = q.v[2] - p.v[2];
  d[kDx] = std::cos(decP) * wrapPi(haQ - haP) * kArcsecPerRadian;
  d[kDd] = (decQ - decP) * kArcsecPerRadian;
  d[kDs] = std::cos(p.elevation) * wrapPi(q.longitude - p.longitude) * kArcsecPerRadian;
  d[kDz] = (p.elevation - q.elevation) * kArcsecPerRadian;
  d[kDr] = std::sqrt(dx * dx + dy * dy + dz * dz) * kArcsecPerRadian;
}

// The start of a star's line: number, pier mark, telescope hour angle
// (hundredths of a second of time), declination (tenths of an arcsecond),
// azimuth from the north through the east and zenith distance (degrees).
int formatPosition(char* line, int size, int number, int pierFlag, double ha, double dec,
                   const HorizonPlace& place) {
  char haSign;
  int hms[4];
  eraA2tf(2, printable(ha), &haSign, hms);
  char decSign;
  int dms[4];
  eraA2af(1, printable(dec), &decSign, dms);
  const double azimuth = wrapTwoPi(kPi - place.longitude) * kDegreesPerRadian;
  const double zenithDistance = (kHalfPi - place.elevation) * kDegreesPerRadian;
  const int length =
      std::snprintf(line, size, "%4d%c %c%2.2d%3.2d%3.2d.%2.2d  %c%2.2d%3.2d%3.2d.%1d%7.1f%6.1f",
                    number, pierFlag != 0 ? 'b' : ' ', haSign, hms[0], hms[1], hms[2], hms[3],
                    decSign, dms[0], dms[1], dms[2], dms[3], azimuth, zenithDistance);
  return length < 0 ? 0 : (length < size ? length : size - 1);
}

void writeHeading(Engine& engine) {
  msgOut(engine, 'P', kFormFeed);
  msgOut(engine, 'I', engine.run.caption);
  msgOut(engine, 'I', "\n");
  // Whole arcseconds, rounded.
  char sign;
  int dms[4];
  eraA2af(0, siteLatitude(engine.run), &sign, dms);
  msgOutF(engine, 'I', "Latitude:  %c%2.2d%3.2d%3.2d\n", sign, dms[0], dms[1], dms[2]);
  msgOut(engine, 'P', "\n          *HA           *Dec      *Az   *ZD");
  msgOut(engine, 'P', "     dX     dD     dS     dZ     dR\n\n");
}

void writeRms(Engine& engine, const double sums[kDifferences], int active) {
  double rms[kDifferences];
  for (int k = 0; k < kDifferences; ++k) rms[k] = std::sqrt(sums[k] / active);
  msgOut(engine, 'I', "                                           ");
  msgOut(engine, 'I', "     dX     dD     dS     dZ     dR\n");
  msgOut(engine, 'I', "                                        RMS  ");
  msgOutF(engine, 'I', "%7.2f%7.2f%7.2f%7.2f%7.2f\n\n", rms[kDx], rms[kDd], rms[kDs], rms[kDz],
          rms[kDr]);
}

}  // namespace

int listResiduals(Engine& engine, double threshold) {
  const ObservationList& list = engine.observations;
  if (list.status[0] < 0) {
    msgOut(engine, 'W', "List of observations is empty.\n");
    msgOut(engine, 'P', kFormFeed);
    return 0;
  }
  writeHeading(engine);

  const bool full = engine.settings.reportLength == 0;
  const double thresholdArcsec = threshold * kArcsecPerRadian;
  double sums[kDifferences] = {};
  int active = 0;
  char line[kMessageLineSize];
  for (int i = 0; i < kObservationSlots && list.status[i] >= 0; ++i) {
    const bool isActive = list.status[i] != kStatusMasked;
    const bool listInactive = full && threshold == 0.0;
    if (isActive || listInactive) {
      const double haP = list.telHaWork[i];
      const double decP = list.telDecWork[i];
      const HorizonPlace p = horizonPlace(engine, haP, decP);
      int length = 0;
      if (full) {
        length = formatPosition(line, sizeof line, i + 1, list.pierFlag[i], haP, decP, p);
      }
      if (isActive) {
        const double haQ = list.starHaWork[i];
        const double decQ = list.starDecWork[i];
        double d[kDifferences];
        differences(haP, decP, p, haQ, decQ, horizonPlace(engine, haQ, decQ), d);
        for (int k = 0; k < kDifferences; ++k) sums[k] += d[k] * d[k];
        ++active;
        if (full && d[kDr] >= thresholdArcsec) {
          std::snprintf(line + length, sizeof line - length, "%7.1f%7.1f%7.1f%7.1f%7.1f\n",
                        d[kDx], d[kDd], d[kDs], d[kDz], d[kDr]);
          msgOut(engine, 'I', line);
        }
      } else {
        std::snprintf(line + length, sizeof line - length, "\n");
        msgOut(engine, 'I', line);
      }
    }
    if (cancelPoll(engine, 0) != 0) return 1;
  }

  if (!full) msgOutF(engine, 'I', "Number of active stars:%5d\n", active);
  if (active > 0) writeRms(engine, sums, active);
  msgOut(engine, 'P', kFormFeed);
  return 0;
}

void cmdSlist(Engine& engine) {
  double threshold = 0.0;  // arcseconds
  int pos = 6;             // just after "SLIST"
  int status = kDecodedNull;
  decodeArgument(engine.lines.command, pos, threshold, status);
  if (status != kDecodedNumber && status != kDecodedNull) {
    msgOut(engine, 'E', "Invalid argument (error threshold)!\n");
    return;
  }
  const int interrupted = listResiduals(engine, threshold * kRadianPerArcsec);
  engine.dispatch.status = interrupted != 0 ? kStatusInterrupted : kStatusDone;
}

}  // namespace zenfit
