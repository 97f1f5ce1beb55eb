// Pointing runs built straight into an engine's observation list: stars
// spread over the visible sky, the telescope reading made by applying a
// known model to each star (the model corrects the telescope), optional
// Gaussian noise and observations taken over the pole.
#pragma once

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "astro/vectors.h"
#include "engine.h"
#include "model/evaluate.h"
#include "support/session.h"

namespace zenfit::test {

constexpr double kArcsecond = 4.84813681109536e-6;
constexpr double kDegree = 0.017453292519943295;

struct TrueTerm {
  const char* name;
  double arcsec;
  bool parallel = false;
};

struct RunShape {
  double latitudeDegrees = 28.76;
  int stars = 200;
  double flipFraction = 0.0;   // share of observations over the pole
  double noiseArcsec = 0.0;    // per coordinate on the sky
  unsigned seed = 1;
  double lowestElevation = 15.0;  // degrees
  double aux1First = 0.0;      // first auxiliary reading: first value and
  double aux1Step = 0.0;       // its change from one observation to the next
};

// Puts the terms into the model with the given values.
inline void setModel(Engine& engine, const std::vector<TrueTerm>& terms) {
  for (const TrueTerm& t : terms) {
    useTerms(engine, t.name);
    if (t.parallel) parallelTerms(engine, t.name);
    double value = t.arcsec * kArcsecond;
    setCoefficient(engine, t.name, 0, 1, &value);
  }
}

// Every coefficient of the model set to value (arcseconds), sigmas cleared.
inline void setAllCoefficients(Engine& engine, double arcsec) {
  for (int i = 0; i < kMaxModelTerms && engine.model.termNumber[i] != 0; ++i) {
    engine.model.coefValue[i] = arcsec * kArcsecond;
    engine.model.coefSigma[i] = -1.0;
  }
}

// Fills the list as the observation reader would (both copies of both
// pairs, the site latitude, the end mark): positions spread over the sky
// between the lowest elevation and 85 degrees, each taken as the source
// side (the star, or under ADJUST S the telescope) with the other side made
// by applying the model as it stands in the engine. The model is left in
// place; the caller resets it before fitting.
inline void fillRun(Engine& engine, const RunShape& shape) {
  std::mt19937_64 random(shape.seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::normal_distribution<double> gauss(0.0, 1.0);
  RunState& run = engine.run;
  const double phi = shape.latitudeDegrees * kDegree;
  run.sinLat = std::sin(phi);
  run.cosLat = std::cos(phi);
  run.obsPresent = 1;
  ObservationList& list = engine.observations;
  const double sinLow = std::sin(shape.lowestElevation * kDegree);
  const double sinHigh = std::sin(85.0 * kDegree);
  for (int i = 0; i < shape.stars; ++i) {
    // Uniform over the zone of the sky between the two elevations.
    const double azimuth = 2.0 * kPi * uniform(random);
    const double elevation = std::asin(sinLow + (sinHigh - sinLow) * uniform(random));
    double horizon[3];
    sphericalToVector(azimuth, elevation, horizon);
    double ha = 0.0;
    double dec = 0.0;
    directionToHaDec(engine, horizon, ha, dec);
    list.status[i] = kStatusActive;
    list.pierFlag[i] = uniform(random) < shape.flipFraction ? 1 : 0;
    list.aux[i][0] = shape.aux1First + shape.aux1Step * i;
    list.aux[i][1] = list.aux[i][2] = 0.0;

    double moved[3] = {horizon[0], horizon[1], horizon[2]};
    applyModelTerms(engine, i, moved);
    double mHa = 0.0;
    double mDec = 0.0;
    directionToHaDec(engine, moved, mHa, mDec);
    if (shape.noiseArcsec > 0.0) {
      mHa += shape.noiseArcsec * kArcsecond * gauss(random) / std::cos(mDec);
      mDec += shape.noiseArcsec * kArcsecond * gauss(random);
    }
    // The model takes the source side onto the other: the star onto the
    // telescope when it corrects the telescope, else the other way round.
    const bool correctTelescope = engine.settings.adjustSense != 2;
    double* sourceHa = correctTelescope ? list.starHa : list.telHa;
    double* sourceDec = correctTelescope ? list.starDec : list.telDec;
    double* targetHa = correctTelescope ? list.telHa : list.starHa;
    double* targetDec = correctTelescope ? list.telDec : list.starDec;
    sourceHa[i] = ha;
    sourceDec[i] = dec;
    targetHa[i] = mHa;
    targetDec[i] = mDec;
    list.starHaWork[i] = list.starHa[i];
    list.starDecWork[i] = list.starDec[i];
    list.telHaWork[i] = list.telHa[i];
    list.telDecWork[i] = list.telDec[i];
  }
  list.status[shape.stars] = kStatusEndOfList;
}

// A model's coefficients in arcseconds, in model order.
inline std::vector<double> coefficients(const Engine& engine) {
  std::vector<double> values;
  for (int i = 0; i < kMaxModelTerms && engine.model.termNumber[i] != 0; ++i) {
    values.push_back(engine.model.coefValue[i] / kArcsecond);
  }
  return values;
}

inline std::vector<double> sigmas(const Engine& engine) {
  std::vector<double> values;
  for (int i = 0; i < kMaxModelTerms && engine.model.termNumber[i] != 0; ++i) {
    values.push_back(engine.model.coefSigma[i] / kArcsecond);
  }
  return values;
}

}  // namespace zenfit::test
