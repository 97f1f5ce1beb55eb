#include "data/reduction.h"

#include <cmath>

#include "astro/vectors.h"
#include "base/constants.h"
#include "base/decode.h"

namespace zenfit {

namespace {

constexpr double kNoAtmosphere = 1e-6;         // millibars: no refraction at or below
constexpr double kCelsiusToKelvin = 273.155;
constexpr double kRefractionPrecision = 1e-8;  // radians, for the refraction integral

}  // namespace

void prepareRunReduction(const RunParameters& p, bool dated, RunReduction& run) {
  run.sinLat = std::sin(p.latitude);
  run.cosLat = std::cos(p.latitude);
  run.refA = run.refB = 0.0;
  if (p.meteorology && p.effectivePressure > kNoAtmosphere) {
    astro::refractionConstants(p.effectiveHeight, p.temperature + kCelsiusToKelvin,
                               p.effectivePressure, p.humidity, p.wavelength, p.latitude,
                               p.lapseRate, kRefractionPrecision, run.refA, run.refB);
  }
  run.dated = dated;
  run.diurab = 0.0;
  if (run.dated) {
    run.mjd = p.mjd;
    double fromAxis = 0.0;
    double fromEquator = 0.0;
    astro::siteDistances(p.latitude, p.effectiveHeight, fromAxis, fromEquator);
    run.diurab = astro::diurnalAberrationConstant(fromAxis);
    astro::prepareMeanToApparent(run.mjd, run.apparent);
  }
}

MeanPlace meanPlace(const CatalogueStar& star) {
  MeanPlace place;
  place.ra = star.ra;
  place.dec = star.dec;
  place.pmRa = star.pmRa;
  place.pmDec = star.pmDec;
  place.epoch = star.epoch;
  place.fk4 = star.epochKind == kEpochBesselian;
  return place;
}

void meanToApparentOfDate(const MeanPlace& place, const RunReduction& run, double& ra,
                          double& dec) {
  double r = place.ra;
  double d = place.dec;
  astro::applyProperMotion(r, d, place.pmRa, place.pmDec, place.epoch, place.fk4, run.mjd);
  if (place.fk4) {
    if (place.epoch != 1950.0) astro::precessFk4(place.epoch, 1950.0, r, d);
    // The place now stands at the date's epoch, where its FK5 proper motion is
    // taken as zero.
    double r5 = 0.0;
    double d5 = 0.0;
    astro::fk4ToFk5(r, d, astro::besselianEpoch(run.mjd), r5, d5);
    r = r5;
    d = d5;
  } else if (place.epoch != 2000.0) {
    astro::precessFk5(place.epoch, 2000.0, r, d);
  }
  astro::meanToApparent(r, d, run.apparent, ra, dec);
}

void apparentToObserved(double ra, double dec, double lst, const RunReduction& run, double& ha,
                        double& observedDec, double& elevation) {
  double horizon[3];
  astro::haDecToHorizon(wrapPi(lst - ra), dec, run.sinLat, run.cosLat, run.diurab, horizon);
  normalise(horizon);
  double azimuthSouth = 0.0;
  vectorToSpherical(horizon, azimuthSouth, elevation);
  if (run.refA != 0.0 || run.refB != 0.0) {
    double refracted[3];
    astro::refractHorizonVector(horizon, run.refA, run.refB, refracted);
    astro::horizonToHaDec(refracted, run.sinLat, run.cosLat, ha, observedDec);
    return;
  }
  astro::horizonToHaDec(horizon, run.sinLat, run.cosLat, ha, observedDec);
}

void horizonToHaDec(double azimuth, double elevation, const RunReduction& run, double& ha,
                    double& dec) {
  double horizon[3];
  sphericalToVector(kPi - azimuth, elevation, horizon);
  astro::horizonToHaDec(horizon, run.sinLat, run.cosLat, ha, dec);
}

}  // namespace zenfit
