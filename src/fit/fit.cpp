#include "fit/fit.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <new>

#include "fit/svd.h"
#include "model/evaluate.h"

namespace zenfit {
namespace {

constexpr double kDerivativeStep = 4.84813681109536e-5;  // 10 arcseconds, radians
constexpr double kDerivativeScale = 20626.480624709635;  // arcsec per radian / 10
constexpr int kRowsPerStar = 3;

// The least-squares data are kept to single precision: derivatives from a
// 10-arcsecond difference carry no more than that.
double toSingle(double x) { return static_cast<double>(static_cast<float>(x)); }

template <typename T>
std::unique_ptr<T[]> allocateArray(std::size_t count) {
  return std::unique_ptr<T[]>(new (std::nothrow) T[count]);
}

// The model entries in use, and which of them the fit adjusts.
struct FitTerms {
  int inUse = 0;               // entries before the first zero term number
  int fitted = 0;              // q, the coefficients being fitted
  int column[kMaxModelTerms];  // column of each entry, -1 when held
  int slot[kMaxModelTerms];    // model position of each column
};

// The working arrays of one fit; released whichever way the fit ends.
struct Workspace {
  int scanned = 0;  // observation slots before the end mark (at least 1)
  int maxRows = 0;  // 3 x active stars counted before the fit
  int columns = 0;  // k, at least 1
  std::unique_ptr<double[]> observed;    // 3 per slot
  std::unique_ptr<double[]> source;      // 3 per slot
  std::unique_ptr<double[]> design;      // maxRows x columns, row-major
  std::unique_ptr<double[]> residual;    // maxRows
  std::unique_ptr<double[]> w;           // columns
  std::unique_ptr<double[]> v;           // columns x columns
  std::unique_ptr<double[]> solution;    // columns
  std::unique_ptr<double[]> scratch;     // columns
  std::unique_ptr<double[]> covariance;  // columns x columns

  bool allocate(int slots, int stars, int k) {
    scanned = slots > 0 ? slots : 1;
    maxRows = kRowsPerStar * stars;
    columns = k > 0 ? k : 1;
    const auto n = static_cast<std::size_t>(columns);
    const auto rows = static_cast<std::size_t>(maxRows > 0 ? maxRows : 1);
    observed = allocateArray<double>(3 * static_cast<std::size_t>(scanned));
    source = allocateArray<double>(3 * static_cast<std::size_t>(scanned));
    design = allocateArray<double>(rows * n);
    residual = allocateArray<double>(rows);
    w = allocateArray<double>(n);
    v = allocateArray<double>(n * n);
    solution = allocateArray<double>(n);
    scratch = allocateArray<double>(n);
    covariance = allocateArray<double>(n * n);
    return observed && source && design && residual && w && v && solution && scratch &&
           covariance;
  }
};

FitTerms fitTerms(const Model& model, bool adjust) {
  FitTerms terms;
  while (terms.inUse < kMaxModelTerms && model[terms.inUse].term != 0) {
    const int i = terms.inUse++;
    terms.column[i] = -1;
    if (adjust && model[i].floating != 0) {
      terms.column[i] = terms.fitted;
      if (terms.fitted < kMaxModelTerms) terms.slot[terms.fitted] = i;
      ++terms.fitted;
    }
  }
  return terms;
}

// The model applied to one active star, filling its derivative and
// residual rows (row = 3 x its number among the active stars). Returns
// false when a term cannot be evaluated there.
bool differentiate(const EvaluationContext& context, const Model& model, const FitTerms& terms,
                   const Observation& o, const double source[3], const double observed[3],
                   int row, Workspace& ws) {
  double base[3] = {source[0], source[1], source[2]};
  double running[3] = {source[0], source[1], source[2]};
  for (int i = 0; i < terms.inUse; ++i) {
    if (model[i].chained != 0) std::memcpy(base, running, sizeof base);
    double kept[3] = {running[0], running[1], running[2]};
    if (evaluateTerm(context, model[i].term, model[i].value, o.aux, o.pierFlag, base, running) <
        0) {
      return false;
    }
    const int column = terms.column[i];
    if (column < 0) continue;
    if (evaluateTerm(context, model[i].term, model[i].value + kDerivativeStep, o.aux, o.pierFlag,
                     base, kept) < 0) {
      return false;
    }
    for (int c = 0; c < kRowsPerStar; ++c) {
      ws.design[static_cast<std::size_t>(row + c) * ws.columns + column] =
          toSingle((kept[c] - running[c]) * kDerivativeScale);
    }
  }
  if (terms.fitted > 0) {
    for (int c = 0; c < kRowsPerStar; ++c) {
      ws.residual[row + c] = toSingle((observed[c] - running[c]) * kArcsecPerRadian);
    }
  }
  return true;
}

// First pass: the two directions of every observation, and the rows of
// the active ones. Returns false when the host asked to stop; stars
// receives the number of active stars that were kept.
bool firstPass(const EvaluationContext& context, const Model& model, const FitTerms& terms,
               ObservationList& list, const FitOptions& options, Workspace& ws, int& stars,
               std::vector<int>& withdrawn) {
  stars = 0;
  for (int i = 0; i < ws.scanned && !list[i].isEnd(); ++i) {
    double* source = &ws.source[3 * static_cast<std::size_t>(i)];
    double* observed = &ws.observed[3 * static_cast<std::size_t>(i)];
    observationDirections(context, list[i], source, observed);
    if (list[i].status != kStatusMasked && kRowsPerStar * stars < ws.maxRows) {
      if (differentiate(context, model, terms, list[i], source, observed, kRowsPerStar * stars,
                        ws)) {
        ++stars;
      } else {
        list[i].status = kStatusMasked;  // withdrawn for good
        withdrawn.push_back(i);
      }
    }
    if (options.cancelled && options.cancelled()) return false;
  }
  return true;
}

// Zeroes the singular values below tolerance times the largest, keeping
// the smallest and largest ratio so zeroed for the report.
void editSingularValues(double* w, int n, double tolerance, FitResult& result) {
  double wmax = 0.0;
  for (int j = 0; j < n; ++j) {
    if (w[j] > wmax) wmax = w[j];
  }
  if (!(wmax > 0.0)) return;
  result.smallestRatio = wmax;
  result.largestRatio = 0.0;
  for (int j = 0; j < n; ++j) {
    const double ratio = w[j] / wmax;
    if (ratio < tolerance) {
      w[j] = 0.0;
      result.illConditioned = true;
      if (ratio < result.smallestRatio) result.smallestRatio = ratio;
      if (ratio > result.largestRatio) result.largestRatio = ratio;
    }
  }
}

// Decomposes, edits and solves; adds the changes to the fitted
// coefficients of the working model. Returns false (coefficients
// unchanged) when the decomposition failed.
bool solve(const FitTerms& terms, int stars, double tolerance, Workspace& ws, Model& working,
           FitResult& result) {
  const int m = kRowsPerStar * stars;
  const int n = terms.fitted;
  int status = 0;
  svdDecompose(m, n, ws.maxRows, n, ws.design.get(), ws.w.get(), ws.v.get(), ws.scratch.get(),
               status);
  result.svdStatus = status;
  if (status < 0) {
    result.outcome = FitOutcome::SvdShapeError;
    return false;
  }
  if (status > 0) {
    result.outcome = FitOutcome::SvdNoConvergence;
    return false;
  }
  editSingularValues(ws.w.get(), n, tolerance, result);
  svdSolve(m, n, ws.maxRows, n, ws.residual.get(), ws.design.get(), ws.w.get(), ws.v.get(),
           ws.scratch.get(), ws.solution.get());
  svdCovariance(n, n, n, ws.w.get(), ws.v.get(), ws.scratch.get(), ws.covariance.get());
  for (int j = 0; j < n; ++j) working[terms.slot[j]].value += ws.solution[j] * kRadianPerArcsec;
  result.coefficientsChanged = true;
  return true;
}

// Second pass: the model with its new coefficients applied to every
// observation, the result written back as the fitted position. Returns
// false when the host asked to stop; sum receives the sum of squared
// residual chords of the active stars (radians squared) and stars their
// number.
bool secondPass(const EvaluationContext& context, const Model& model, ObservationList& list,
                const FitOptions& options, Workspace& ws, double& sum, int& stars,
                std::vector<int>& withdrawn) {
  const bool correctTelescope = context.sense != AdjustSense::Stars;
  sum = 0.0;
  stars = 0;
  for (int i = 0; i < ws.scanned && !list[i].isEnd(); ++i) {
    Observation& o = list[i];
    const double* source = &ws.source[3 * static_cast<std::size_t>(i)];
    const double* observed = &ws.observed[3 * static_cast<std::size_t>(i)];
    double corrected[3] = {source[0], source[1], source[2]};
    if (applyModelTerms(context, model, o, corrected) < 0) {
      if (o.status != kStatusMasked) withdrawn.push_back(i);
      o.status = kStatusMasked;
    } else {
      double ha = 0.0;
      double dec = 0.0;
      directionToHaDec(context, corrected, ha, dec);
      if (correctTelescope) {
        o.starHaWork = ha;
        o.starDecWork = dec;
      } else {
        o.telHaWork = ha;
        o.telDecWork = dec;
      }
      if (o.status != kStatusMasked) {
        for (int c = 0; c < 3; ++c) {
          const double d = corrected[c] - observed[c];
          sum += d * d;
        }
        ++stars;
      }
    }
    if (options.cancelled && options.cancelled()) return false;
  }
  return true;
}

// The statistics and the per-term table once the second pass is done.
void summarise(const FitTerms& terms, const Model& working, const Workspace& ws, int stars,
               double sum, FitResult& result) {
  const int q = terms.fitted;
  result.stars = stars;
  result.sumSquares = sum;
  const double meanSquare = stars > 0 ? sum / stars : 0.0;
  result.skyRms = std::sqrt(meanSquare);
  const int freedom = stars - q;
  result.popSd = freedom < 1 ? -1.0 : std::sqrt(stars * meanSquare / freedom);

  result.covariance.assign(ws.covariance.get(),
                           ws.covariance.get() + static_cast<std::size_t>(q) * q);
  result.correlations.assign(static_cast<std::size_t>(q) * q, 0.0);
  for (int i = 0; i < q; ++i) {
    for (int j = 0; j < q; ++j) {
      const double product = result.covarianceAt(i, i) * result.covarianceAt(j, j);
      result.correlations[static_cast<std::size_t>(i * q + j)] =
          product != 0.0 ? result.covarianceAt(i, j) / toSingle(std::sqrt(product)) : 0.0;
    }
    if (result.covarianceAt(i, i) == 0.0) result.alwaysZero.push_back(i);
  }

  for (int i = 0; i < terms.inUse; ++i) {
    FittedTerm term;
    term.slot = i;
    term.column = terms.column[i];
    term.value = working[i].value;
    if (term.column >= 0) {
      term.change = ws.solution[term.column];
      term.sigma = std::sqrt(result.covarianceAt(term.column, term.column) * meanSquare);
    }
    result.terms.push_back(term);
  }
}

}  // namespace

FitResult fit(const Model& model, const TermTable& terms, ObservationList& list,
              const RunState& run, const FitOptions& options) {
  FitResult result;
  const EvaluationContext context = evaluationContext(terms, run, options.sense);
  const FitTerms fitTable = fitTerms(model, options.adjust);
  result.fitted = fitTable.fitted;
  if (fitTable.fitted >= kMaxModelTerms) {
    result.outcome = FitOutcome::TooManyCoefficients;
    return result;
  }
  if (run.obsPresent < 0 || list.empty()) {
    result.outcome = FitOutcome::NoObservations;
    return result;
  }

  Workspace ws;
  if (!ws.allocate(list.count(), list.activeCount(), fitTable.fitted)) {
    result.outcome = FitOutcome::NoMemory;
    return result;
  }
  int stars = 0;
  if (!firstPass(context, model, fitTable, list, options, ws, stars, result.withdrawn)) {
    result.outcome = FitOutcome::Cancelled;
    return result;
  }
  if (2 * stars < fitTable.fitted) {
    result.outcome = FitOutcome::NotEnoughStars;
    return result;
  }
  Model working = model;
  if (fitTable.fitted > 0) {
    if (!solve(fitTable, stars, options.tolerance, ws, working, result)) return result;
  } else {
    for (int j = 0; j < ws.columns; ++j) ws.solution[j] = 0.0;
  }
  for (int i = 0; i < fitTable.inUse; ++i) {
    FittedTerm term;
    term.slot = i;
    term.value = working[i].value;
    result.terms.push_back(term);
  }
  double sum = 0.0;
  if (!secondPass(context, working, list, options, ws, sum, stars, result.withdrawn)) {
    result.outcome = FitOutcome::Cancelled;
    return result;
  }
  result.terms.clear();
  summarise(fitTable, working, ws, stars, sum, result);
  result.outcome = FitOutcome::Completed;
  return result;
}

ModelStatistics modelStatistics(const Model& model, const TermTable& terms,
                                const ObservationList& list, const RunState& run,
                                AdjustSense sense) {
  ModelStatistics statistics;
  if (run.obsPresent < 0) return statistics;
  const EvaluationContext context = evaluationContext(terms, run, sense);
  double sum = 0.0;
  for (int i = 0; i < kObservationSlots && !list[i].isEnd(); ++i) {
    if (list[i].status == kStatusMasked) continue;
    double corrected[3];
    double target[3];
    observationDirections(context, list[i], corrected, target);
    if (applyModelTerms(context, model, list[i], corrected) < 0) continue;
    for (int k = 0; k < 3; ++k) {
      const double difference = corrected[k] - target[k];
      sum += difference * difference;
    }
    ++statistics.used;
  }
  statistics.rms = std::sqrt(sum / (statistics.used > 0 ? statistics.used : 1));
  return statistics;
}

}  // namespace zenfit
