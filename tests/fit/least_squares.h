// Independent least squares, for checking the singular value decomposition
// and FIT: the normal equations solved, and their matrix inverted, by
// Gauss-Jordan elimination with partial pivoting in long double; and over
// an engine's observations, Gauss-Newton over the whole model at once with
// the Jacobian by central differences of 0.01 arcsec (not FIT's one-sided
// differences, term by term along the chain).
#pragma once

#include <cmath>
#include <utility>
#include <vector>

#include "engine.h"
#include "model/evaluate.h"

namespace zenfit::test {

struct NormalSolution {
  std::vector<double> x;                     // minimises |J x - r|
  std::vector<std::vector<double>> inverse;  // (J^T J)^-1
};

// columns holds the columns of J.
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
    std::size_t pivot = col;
    for (std::size_t i = col + 1; i < q; ++i) {
      if (std::fabs(t[i][col]) > std::fabs(t[pivot][col])) pivot = i;
    }
    std::swap(t[col], t[pivot]);
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
  for (int i = 0; i < kObservationSlots && list.status[i] >= 0; ++i) {
    if (list.status[i] == kStatusMasked) continue;
    double corrected[3], target[3];
    applyModel(engine, i, corrected, target);
    for (int c = 0; c < 3; ++c) r.push_back((target[c] - corrected[c]) * kArcsecPerRadian);
  }
  return r;
}

struct ReferenceSolution {
  std::vector<double> value, sigma;  // arcseconds, in model order
  double skyRms = 0.0, popSd = 0.0;  // arcseconds
};

// Solves for every term of the model, starting from the coefficients in
// the engine, which are restored on return.
inline ReferenceSolution referenceSolution(Engine& engine, int iterations) {
  Model& model = engine.model;
  int q = 0;
  while (q < kMaxModelTerms && model.termNumber[q] != 0) ++q;
  const std::vector<double> saved(model.coefValue, model.coefValue + q);
  std::vector<double> r;
  NormalSolution normal;
  for (int iteration = 0;; ++iteration) {
    r = residuals(engine);
    std::vector<std::vector<double>> jacobian(q);
    for (int j = 0; j < q; ++j) {
      const double c = model.coefValue[j];
      model.coefValue[j] = c - 0.01 * kRadianPerArcsec;
      const std::vector<double> minus = residuals(engine);
      model.coefValue[j] = c + 0.01 * kRadianPerArcsec;
      const std::vector<double> plus = residuals(engine);
      model.coefValue[j] = c;
      // The model's derivative is minus the residual's.
      for (std::size_t k = 0; k < r.size(); ++k) jacobian[j].push_back((minus[k] - plus[k]) / 0.02);
    }
    normal = solveNormalEquations(jacobian, r);
    if (iteration == iterations) break;
    for (int j = 0; j < q; ++j) model.coefValue[j] += normal.x[j] * kRadianPerArcsec;
  }
  ReferenceSolution s;
  const double n = r.size() / 3.0;
  double sum = 0.0;
  for (double x : r) sum += x * x;
  s.skyRms = std::sqrt(sum / n);
  s.popSd = std::sqrt(sum / (n - q));
  for (int j = 0; j < q; ++j) {
    s.value.push_back(model.coefValue[j] * kArcsecPerRadian);
    s.sigma.push_back(std::sqrt(normal.inverse[j][j] * sum / n));
    model.coefValue[j] = saved[j];
  }
  return s;
}

}  // namespace zenfit::test
