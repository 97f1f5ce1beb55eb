// An independent least-squares solution of a pointing run, for checking
// FIT: Gauss-Newton over the whole model (not FIT's per-term one-sided
// differences), with the Jacobian by central differences of 0.01 arcsec
// and the normal equations inverted by Gauss-Jordan elimination in long
// double (not a singular value decomposition).
#pragma once

#include <cmath>
#include <vector>

#include "engine.h"
#include "fit/pointing_run.h"
#include "model/evaluate.h"

namespace zenfit::test {

struct ReferenceSolution {
  std::vector<double> value;   // arcseconds, model order
  std::vector<double> sigma;   // arcseconds
  std::vector<std::vector<double>> covariance;  // (J^T J)^-1
  double skyRms = 0.0;         // arcseconds
  double popSd = 0.0;          // arcseconds
  int stars = 0;
};

// Residual components (target - model applied to the source) of every
// active observation, arcseconds.
inline std::vector<double> residuals(Engine& engine) {
  std::vector<double> r;
  const ObservationList& list = engine.observations;
  for (int i = 0; i < kObservationSlots && list.status[i] >= 0; ++i) {
    if (list.status[i] == kStatusMasked) continue;
    double corrected[3];
    double target[3];
    applyModel(engine, i, corrected, target);
    for (int c = 0; c < 3; ++c) r.push_back((target[c] - corrected[c]) / kArcsecond);
  }
  return r;
}

// Solves for every term of the model (all taken as floating), starting
// from the coefficients in the engine, which are restored on return.
inline ReferenceSolution referenceSolution(Engine& engine, int iterations) {
  Model& model = engine.model;
  int q = 0;
  while (q < kMaxModelTerms && model.termNumber[q] != 0) ++q;
  std::vector<double> saved(model.coefValue, model.coefValue + q);
  const double step = 0.01 * kArcsecond;
  std::vector<std::vector<long double>> inverse;
  std::vector<double> r;
  for (int iteration = 0; iteration <= iterations; ++iteration) {
    r = residuals(engine);
    const std::size_t m = r.size();
    std::vector<std::vector<double>> jacobian(q, std::vector<double>(m));
    for (int j = 0; j < q; ++j) {
      const double c = model.coefValue[j];
      model.coefValue[j] = c + step;
      const std::vector<double> plus = residuals(engine);
      model.coefValue[j] = c - step;
      const std::vector<double> minus = residuals(engine);
      model.coefValue[j] = c;
      // The model's derivative is minus the residual's.
      for (std::size_t k = 0; k < m; ++k) jacobian[j][k] = (minus[k] - plus[k]) / 0.02;
    }
    // [N | I] -> [I | N^-1] and the step N^-1 J^T r.
    std::vector<std::vector<long double>> a(q, std::vector<long double>(2 * q + 1, 0.0L));
    for (int i = 0; i < q; ++i) {
      for (int j = 0; j < q; ++j) {
        long double s = 0.0L;
        for (std::size_t k = 0; k < m; ++k) s += (long double)jacobian[i][k] * jacobian[j][k];
        a[i][j] = s;
      }
      a[i][q + i] = 1.0L;
      long double g = 0.0L;
      for (std::size_t k = 0; k < m; ++k) g += (long double)jacobian[i][k] * r[k];
      a[i][2 * q] = g;
    }
    for (int col = 0; col < q; ++col) {
      int pivot = col;
      for (int i = col + 1; i < q; ++i) {
        if (std::fabs(a[i][col]) > std::fabs(a[pivot][col])) pivot = i;
      }
      std::swap(a[col], a[pivot]);
      const long double p = a[col][col];
      for (long double& x : a[col]) x /= p;
      for (int i = 0; i < q; ++i) {
        if (i == col) continue;
        const long double f = a[i][col];
        for (int j = 0; j <= 2 * q; ++j) a[i][j] -= f * a[col][j];
      }
    }
    inverse.assign(q, std::vector<long double>(q));
    for (int i = 0; i < q; ++i) {
      for (int j = 0; j < q; ++j) inverse[i][j] = a[i][q + j];
    }
    if (iteration == iterations) break;
    for (int j = 0; j < q; ++j) model.coefValue[j] += (double)a[j][2 * q] * kArcsecond;
  }

  ReferenceSolution solution;
  solution.stars = static_cast<int>(r.size() / 3);
  double sum = 0.0;
  for (double x : r) sum += x * x;
  const double meanSquare = sum / solution.stars;
  solution.skyRms = std::sqrt(meanSquare);
  solution.popSd = std::sqrt(sum / (solution.stars - q));
  for (int j = 0; j < q; ++j) {
    solution.value.push_back(model.coefValue[j] / kArcsecond);
    solution.sigma.push_back(std::sqrt((double)inverse[j][j] * meanSquare));
    solution.covariance.emplace_back(inverse[j].begin(), inverse[j].end());
  }
  for (int j = 0; j < q; ++j) model.coefValue[j] = saved[j];
  return solution;
}

}  // namespace zenfit::test
