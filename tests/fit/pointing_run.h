// Pointing runs built straight into an engine's observation list, and an
// independent least-squares solution to check FIT (and the SVD) against.
#pragma once

#include <cmath>
#include <random>
#include <utility>
#include <vector>

#include "astro/vectors.h"
#include "command/engine.h"
#include "command/model_api.h"
#include "model/evaluate.h"

namespace zenfit::test {

constexpr double kArcsecond = kRadianPerArcsec;

struct TrueTerm {
  const char* name;
  double arcsec;
  bool parallel = false;
};

struct RunShape {
  int stars = 200;
  double flipFraction = 0.0;  // share of observations over the pole
  double noiseArcsec = 0.0;   // per coordinate on the sky
  unsigned seed = 1;
  double aux1First = 0.0;     // first auxiliary reading: first value and
  double aux1Step = 0.0;      // its change from one observation to the next
};

// Puts the terms into the model with the given values.
inline void setModel(Engine& engine, const std::vector<TrueTerm>& terms) {
  for (const TrueTerm& t : terms) {
    useCommand(engine, t.name);
    if (t.parallel) parallelCommand(engine, t.name);
    double value = t.arcsec * kArcsecond;
    coefficientCommand(engine, t.name, false, true, &value);
  }
}

// Every coefficient of the model set to value (arcseconds), sigmas cleared.
inline void setAllCoefficients(Engine& engine, double arcsec) {
  for (int i = 0; i < kMaxModelTerms && engine.model[i].term != 0; ++i) {
    engine.model[i].value = arcsec * kArcsecond;
    engine.model[i].sigma = -1.0;
  }
}

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

// The model's coefficients (first) or sigmas (second) in arcseconds.
inline std::vector<double> coefficients(const Engine& engine, bool sigmas = false) {
  std::vector<double> values;
  for (int i = 0; i < kMaxModelTerms && engine.model[i].term != 0; ++i) {
    values.push_back((sigmas ? engine.model[i].sigma : engine.model[i].value) / kArcsecond);
  }
  return values;
}

// Least squares by the normal equations (J^T J) x = J^T r, solved, and
// J^T J inverted, by Gauss-Jordan elimination in long double (no singular
// value decomposition; no pivoting needed, J^T J being positive definite).
// columns holds J's columns.
struct NormalSolution {
  std::vector<double> x;
  std::vector<std::vector<double>> inverse;
};

inline NormalSolution solveNormalEquations(const std::vector<std::vector<double>>& columns,
                                           const std::vector<double>& r) {
  const std::size_t q = columns.size();
  // [J^T J | I | J^T r] -> [I | (J^T J)^-1 | x]
  std::vector<std::vector<long double>> t(q, std::vector<long double>(2 * q + 1, 0.0L));
  for (std::size_t i = 0; i < q; ++i) {
    for (std::size_t k = 0; k < r.size(); ++k) {
      for (std::size_t j = 0; j < q; ++j) t[i][j] += (long double)columns[i][k] * columns[j][k];
      t[i][2 * q] += (long double)columns[i][k] * r[k];
    }
    t[i][q + i] = 1.0L;
  }
  for (std::size_t col = 0; col < q; ++col) {
    const long double p = t[col][col];
    for (long double& x : t[col]) x /= p;
    for (std::size_t i = 0; i < q; ++i) {
      const long double f = i == col ? 0.0L : t[i][col];
      for (std::size_t j = 0; j <= 2 * q; ++j) t[i][j] -= f * t[col][j];
    }
  }
  NormalSolution s;
  for (const auto& row : t) {
    s.x.push_back(static_cast<double>(row[2 * q]));
    s.inverse.emplace_back(row.begin() + q, row.begin() + 2 * q);
  }
  return s;
}

// Residual components (target less the model applied to the source) of
// every active observation, arcseconds.
inline std::vector<double> residuals(Engine& engine) {
  std::vector<double> r;
  const ObservationList& list = engine.observations;
  for (int i = 0; i < kObservationSlots && list[i].status >= 0; ++i) {
    if (list[i].status == kStatusMasked) continue;
    double corrected[3], target[3];
    const EvaluationContext context = evaluationContext(engine);
    observationDirections(context, list[i], corrected, target);
    applyModelTerms(context, engine.model, list[i], corrected);
    for (int c = 0; c < 3; ++c) r.push_back((target[c] - corrected[c]) / kArcsecond);
  }
  return r;
}

// One Gauss-Newton step over the whole model from the coefficients in the
// engine, with the Jacobian by central differences of 0.01 arcsec (FIT's
// are one-sided, term by term along the chain): the step (first), and the
// sigmas (second) from (J^T J)^-1 and the mean square residual per star.
inline std::pair<std::vector<double>, std::vector<double>> referenceStep(Engine& engine) {
  const std::vector<double> r = residuals(engine);
  std::vector<std::vector<double>> jacobian;
  for (int j = 0; j < kMaxModelTerms && engine.model[j].term != 0; ++j) {
    const double value = engine.model[j].value;
    auto at = [&](double arcsec) {
      engine.model[j].value = value + arcsec * kArcsecond;
      return residuals(engine);
    };
    const std::vector<double> minus = at(-0.01), plus = at(0.01);
    engine.model[j].value = value;
    jacobian.emplace_back();  // the model's derivative: minus the residual's
    for (std::size_t k = 0; k < r.size(); ++k) jacobian[j].push_back((minus[k] - plus[k]) / 0.02);
  }
  const NormalSolution normal = solveNormalEquations(jacobian, r);
  double meanSquare = 0.0;
  for (double x : r) meanSquare += x * x / (r.size() / 3.0);
  std::vector<double> sigma;
  for (std::size_t j = 0; j < jacobian.size(); ++j) {
    sigma.push_back(std::sqrt(normal.inverse[j][j] * meanSquare));
  }
  return {normal.x, sigma};
}

}  // namespace zenfit::test
