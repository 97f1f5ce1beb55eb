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

struct ReferenceFit {
  int svdStatus = 0;
  int stars = 0;
  std::vector<int> slot;           // model slot of each column
  std::vector<double> change;      // arcseconds, per column
  std::vector<double> value;       // radians, per column: the coefficient after the fit
  std::vector<double> sigma;       // radians, per column
  std::vector<double> covariance;  // q x q
  std::vector<double> w;           // singular values after editing
  bool zeroed = false;
  double smallestRatio = 0.0;
  double largestRatio = 0.0;
  double sumSquares = 0.0;                    // radians^2, over the stars of the second pass
  std::vector<std::array<double, 2>> fitted;  // per slot: the corrected (ha, dec); NaN where
                                              // a term cannot be evaluated
};

inline ReferenceFit referenceFit(const Model& model, const TermTable& terms,
                                 const ObservationList& list, const RunState& run,
                                 AdjustSense sense, double tolerance) {
  const EvaluationContext context = evaluationContext(terms, run, sense);
  const DesignMatrix d = designMatrix(context, model, list);
  ReferenceFit r;
  const int m = d.rows, n = d.columns;
  for (int i = 0; i < kMaxModelTerms && model[i].term != 0; ++i) {
    if (model[i].floating != 0) r.slot.push_back(i);
  }
  std::vector<double> u = d.a, v(n * n), work(n), x(n);
  r.w.assign(n, 0.0);
  r.covariance.assign(n * n, 0.0);
  svdDecompose(m, n, m, n, u.data(), r.w.data(), v.data(), work.data(), r.svdStatus);
  if (r.svdStatus != 0) return r;
  double wmax = 0.0;
  for (double s : r.w) wmax = std::max(wmax, s);
  if (wmax > 0.0) {
    r.smallestRatio = wmax;
    for (double& s : r.w) {
      const double ratio = s / wmax;
      if (ratio >= tolerance) continue;
      s = 0.0;
      r.zeroed = true;
      r.smallestRatio = std::min(r.smallestRatio, ratio);
      r.largestRatio = std::max(r.largestRatio, ratio);
    }
  }
  svdSolve(m, n, m, n, d.b.data(), u.data(), r.w.data(), v.data(), work.data(), x.data());
  svdCovariance(n, n, n, r.w.data(), v.data(), work.data(), r.covariance.data());
  Model after = model;
  for (int j = 0; j < n; ++j) {
    r.change.push_back(x[j]);
    after[r.slot[j]].value += x[j] * kRadianPerArcsec;
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

// UNFIT the straightforward way: each group of terms (a chained term and
// the parallel ones after it) undone by fixed-point iteration with
// evaluateTerm, the last group first. Returns the input (ha, dec) each
// observation's fitted pair gives; NaN where a term cannot be evaluated.
inline std::vector<std::array<double, 2>> referenceUnfit(const Model& model, const TermTable& terms,
                                                         const ObservationList& list,
                                                         const RunState& run, AdjustSense sense) {
  const EvaluationContext context = evaluationContext(terms, run, sense);
  std::vector<std::array<double, 2>> input;
  for (int i = 0; i < kObservationSlots && !list[i].isEnd(); ++i) {
    const Observation& o = list[i];
    const bool telescope = sense != AdjustSense::Stars;
    double target[3];
    haDecToDirection(context, telescope ? o.starHaWork : o.telHaWork,
                     telescope ? o.starDecWork : o.telDecWork, target);
    bool failed = false;
    for (int last = model.inUse() - 1; last >= 0 && !failed;) {
      int first = last;
      while (first >= 1 && model[first].chained == 0) --first;
      double guess[3] = {target[0], target[1], target[2]};
      for (int pass = 0; pass < 10 && !failed; ++pass) {
        double current[3] = {guess[0], guess[1], guess[2]};
        for (int k = first; k <= last && !failed; ++k) {
          failed = evaluateTerm(context, model[k].term, model[k].value, o.aux, o.pierFlag, guess,
                                current) < 0;
        }
        double d[3], sum = 0.0;
        for (int c = 0; c < 3; ++c) {
          d[c] = current[c] - target[c];
          sum += d[c] * d[c];
        }
        if (sum < 1e-20) break;
        for (int c = 0; c < 3; ++c) guess[c] -= d[c];
        normalise(guess);
      }
      std::copy(guess, guess + 3, target);
      last = first - 1;
    }
    input.push_back({std::nan(""), std::nan("")});
    if (!failed) directionToHaDec(context, target, input.back()[0], input.back()[1]);
  }
  return input;
}

}  // namespace zenfit::test
