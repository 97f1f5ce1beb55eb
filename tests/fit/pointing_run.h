// Pointing runs built straight into an engine's observation list.
#pragma once

#include <cmath>
#include <functional>
#include <random>
#include <vector>

#include "astro/vectors.h"
#include "command/engine.h"
#include "command/model_api.h"
#include "model/evaluate.h"

namespace zenfit::test {

constexpr double kArcsecond = kRadianPerArcsec;

struct RunShape {
  int stars = 200;
  double flipFraction = 0.0;  // share of observations over the pole
  double noiseArcsec = 0.0;   // per coordinate on the sky
  unsigned seed = 1;
  double aux1First = 0.0;     // first auxiliary reading: first value and
  double aux1Step = 0.0;      // its change from one observation to the next
};

// Fills the list as the observation reader would, at latitude 28.76
// degrees: stars spread uniformly over the sky between elevations 15 and 85
// degrees, and the telescope reading each made by applying the model as it
// stands (the model corrects the telescope), plus Gaussian noise.
inline void fillRun(Engine& engine, const RunShape& shape) {
  std::mt19937_64 random(shape.seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::normal_distribution<double> gauss(0.0, 1.0);
  engine.run.sinLat = std::sin(28.76 * kRadianPerDegree);
  engine.run.cosLat = std::cos(28.76 * kRadianPerDegree);
  engine.run.obsPresent = 1;
  ObservationList& list = engine.observations;
  const double sinLow = std::sin(15 * kRadianPerDegree), sinHigh = std::sin(85 * kRadianPerDegree);
  for (int i = 0; i < shape.stars; ++i) {
    const double azimuth = 2 * kPi * uniform(random);
    double star[3];
    sphericalToVector(azimuth, std::asin(sinLow + (sinHigh - sinLow) * uniform(random)), star);
    list[i].status = kStatusActive;
    list[i].pierFlag = uniform(random) < shape.flipFraction ? 1 : 0;
    list[i].aux[0] = shape.aux1First + shape.aux1Step * i;
    list[i].aux[1] = list[i].aux[2] = 0.0;
    double telescope[3] = {star[0], star[1], star[2]};
    const EvaluationContext context = evaluationContext(engine);
    applyModelTerms(context, engine.model, list[i], telescope);
    directionToHaDec(context, star, list[i].starHa, list[i].starDec);
    directionToHaDec(context, telescope, list[i].telHa, list[i].telDec);
    list[i].telHa += shape.noiseArcsec * kArcsecond * gauss(random) / std::cos(list[i].telDec);
    list[i].telDec += shape.noiseArcsec * kArcsecond * gauss(random);
    list[i].starHaWork = list[i].starHa;
    list[i].starDecWork = list[i].starDec;
    list[i].telHaWork = list[i].telHa;
    list[i].telDecWork = list[i].telDec;
  }
  list[shape.stars].status = kStatusEndOfList;
}

// A run made by a model, which is then set to zero: the terms used, those
// of parallel put in parallel, and term i's coefficient arcsec(i).
inline void modelledRun(Engine& engine, const char* terms, const char* parallel,
                        const std::function<double(int)>& arcsec, const RunShape& shape) {
  useCommand(engine, terms);
  if (parallel[0] != '\0') parallelCommand(engine, parallel);
  for (int i = 0; i < engine.model.inUse(); ++i) engine.model[i].value = arcsec(i) * kArcsecond;
  fillRun(engine, shape);
  for (int i = 0; i < engine.model.inUse(); ++i) {
    engine.model[i].value = 0.0;
    engine.model[i].sigma = -1.0;
  }
}

}  // namespace zenfit::test
