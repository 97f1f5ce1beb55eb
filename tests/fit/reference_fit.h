// FIT the straightforward way, as the reference for the fit's fast route:
// the design matrix from evaluateTerm (design_matrix.h), svdDecompose of
// the whole matrix, the singular values below the tolerance times the
// largest zeroed, svdSolve and svdCovariance, and the statistics from the
// model applied again by applyModelTerms. Nothing in the engine is changed.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "astro/vectors.h"
#include "fit/design_matrix.h"
#include "fit/fit.h"
#include "fit/svd.h"

namespace zenfit::test {

// The least-squares problem the straightforward way: svdDecompose of the
// m x n matrix a (row by row, stored with padRows and padColumns more than
// it needs), the singular values below tolerance times the largest zeroed,
// svdSolve and svdCovariance (n x n).
struct StraightforwardSolution {
  int status = 99;
  std::vector<double> w, edited, x, covariance;  // w as decomposed, edited after the zeroing
  bool zeroed = false;
  double smallestRatio = 0.0;  // among the zeroed, to the largest singular value
  double largestRatio = 0.0;
};

inline StraightforwardSolution solveStraightforwardly(int m, int n, const std::vector<double>& a,
                                                      const std::vector<double>& b,
                                                      double tolerance, int padRows = 0,
                                                      int padColumns = 0) {
  const int mp = m + padRows, np = n + padColumns;
  StraightforwardSolution s;
  std::vector<double> u(std::max(mp * np, 1)), v(np * np), work(n);
  s.w.assign(n, 0.0);
  s.x.assign(n, 0.0);
  s.covariance.assign(n * n, 0.0);
  for (int i = 0; i < m; ++i) std::copy_n(&a[i * n], n, &u[i * np]);
  svdDecompose(m, n, mp, np, u.data(), s.w.data(), v.data(), work.data(), s.status);
  s.edited = s.w;
  if (s.status != 0) return s;
  double wmax = 0.0;
  for (const double w : s.w) wmax = std::max(wmax, w);
  if (wmax > 0.0) {
    s.smallestRatio = wmax;
    for (double& w : s.edited) {
      const double ratio = w / wmax;
      if (!(ratio < tolerance)) continue;
      w = 0.0;
      s.zeroed = true;
      s.smallestRatio = std::min(s.smallestRatio, ratio);
      s.largestRatio = std::max(s.largestRatio, ratio);
    }
  }
  svdSolve(m, n, mp, np, b.data(), u.data(), s.edited.data(), v.data(), work.data(), s.x.data());
  svdCovariance(n, np, n, s.edited.data(), v.data(), work.data(), s.covariance.data());
  return s;
}

// FIT: the solution of the design matrix, the coefficients it makes, and
// the statistics of the model with them.
struct ReferenceFit : StraightforwardSolution {
  int stars = 0;
  std::vector<int> slot;      // model slot of each column
  std::vector<double> value;  // radians, per column: the coefficient after the fit
  std::vector<double> sigma;  // radians, per column
  double sumSquares = 0.0;    // radians^2, over the stars of the second pass
  std::vector<std::array<double, 2>> fitted;  // per slot: the corrected (ha, dec); NaN where
                                              // a term cannot be evaluated
};

inline ReferenceFit referenceFit(const Model& model, const TermTable& terms,
                                 const ObservationList& list, const RunState& run,
                                 AdjustSense sense, double tolerance) {
  const EvaluationContext context = evaluationContext(terms, run, sense);
  const DesignMatrix d = designMatrix(context, model, list);
  ReferenceFit r;
  const int n = d.columns;
  for (int i = 0; i < kMaxModelTerms && model[i].term != 0; ++i) {
    if (model[i].floating != 0) r.slot.push_back(i);
  }
  static_cast<StraightforwardSolution&>(r) = solveStraightforwardly(d.rows, n, d.a, d.b, tolerance);
  if (r.status != 0) return r;
  Model after = model;
  for (int j = 0; j < n; ++j) {
    after[r.slot[j]].value += r.x[j] * kRadianPerArcsec;
    r.value.push_back(after[r.slot[j]].value);
  }
  for (int i = 0; i < kObservationSlots && !list[i].isEnd(); ++i) {
    double corrected[3], observed[3];
    observationDirections(context, list[i], corrected, observed);
    r.fitted.push_back({std::nan(""), std::nan("")});
    if (applyModelTerms(context, after, list[i], corrected) < 0) continue;
    directionToHaDec(context, corrected, r.fitted.back()[0], r.fitted.back()[1]);
    if (list[i].status == kStatusMasked ||
        std::count(d.withdrawn.begin(), d.withdrawn.end(), i) != 0) {
      continue;
    }
    for (int c = 0; c < 3; ++c) {
      r.sumSquares += (corrected[c] - observed[c]) * (corrected[c] - observed[c]);
    }
    ++r.stars;
  }
  for (int j = 0; j < n; ++j) {
    r.sigma.push_back(std::sqrt(r.covariance[j * n + j] * r.sumSquares / r.stars));
  }
  return r;
}

}  // namespace zenfit::test
