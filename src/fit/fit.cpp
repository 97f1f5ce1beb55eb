#include "fit/fit.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#if defined(__linux__)
#include <sys/mman.h>
#endif

#include "fit/least_squares.h"
#include "model/evaluator.h"

namespace zenfit {
namespace {

constexpr int kRowsPerStar = 3;
constexpr int B = kPlaceBlock;

// The working arrays of one fit in one allocation, handed out in slices.
// When they fill more than a few hundred kilobytes the allocation is made
// of whole 2 MB pages, where the system gives them on request (Linux's
// transparent huge pages): the first touch of every 4 KB page of new memory
// is a page fault, which costs tens of microseconds under a hypervisor, and
// the design matrix of a full list runs to a thousand pages.
class Arena {
 public:
  bool reserve(std::size_t bytes) {
    constexpr std::size_t kHugePage = std::size_t{2} << 20;
    constexpr std::size_t kHugeFrom = std::size_t{512} << 10;
    size_ = bytes;
    if (bytes >= kHugeFrom) {
      size_ = (bytes + kHugePage - 1) / kHugePage * kHugePage;
      memory_.reset(static_cast<unsigned char*>(std::aligned_alloc(kHugePage, size_)));
#if defined(__linux__) && defined(MADV_HUGEPAGE)
      if (memory_) madvise(memory_.get(), size_, MADV_HUGEPAGE);  // a hint: failure is harmless
#endif
    } else {
      memory_.reset(static_cast<unsigned char*>(std::malloc(bytes > 0 ? bytes : 1)));
    }
    used_ = 0;
    return memory_ != nullptr;
  }

  // count elements of T, on a cache line of their own; null when the
  // reservation falls short (a bug).
  template <typename T>
  T* take(std::size_t count) {
    const std::size_t bytes = slice(count * sizeof(T));
    if (!memory_ || used_ + bytes > size_) return nullptr;
    T* p = reinterpret_cast<T*>(memory_.get() + used_);
    used_ += bytes;
    return p;
  }

  static std::size_t slice(std::size_t bytes) { return (bytes + 63) / 64 * 64; }

 private:
  struct Free {
    void operator()(unsigned char* p) const { std::free(p); }
  };
  std::unique_ptr<unsigned char, Free> memory_;
  std::size_t size_ = 0;
  std::size_t used_ = 0;
};

// The model entries in use, and which of them the fit adjusts.
struct FitTerms {
  int inUse = 0;               // entries before the first zero term number
  int fitted = 0;              // q, the coefficients being fitted
  int column[kMaxModelTerms];  // column of each entry, -1 when held
  int slot[kMaxModelTerms];    // model position of each column
};

// Unit vectors of every scanned observation, one array per component.
struct Directions {
  double* x = nullptr;
  double* y = nullptr;
  double* z = nullptr;

  void set(int i, const double v[3]) {
    x[i] = v[0];
    y[i] = v[1];
    z[i] = v[2];
  }
};

// The working arrays of one fit; released whichever way the fit ends.
struct Workspace {
  int scanned = 0;  // observation slots before the end mark (at least 1)
  int maxRows = 0;  // 3 x active stars counted before the fit
  int columns = 0;  // k, at least 1
  Arena arena;
  Directions observed;
  Directions source;
  double* design = nullptr;    // maxRows x columns, row-major
  double* residual = nullptr;  // maxRows
  double* block = nullptr;     // one block's derivatives, column by column
  LeastSquares* solver = nullptr;

  bool allocate(int slots, int stars, int k) {
    static_assert(std::is_trivially_destructible_v<LeastSquares>);
    scanned = slots > 0 ? slots : 1;
    maxRows = kRowsPerStar * stars;
    columns = k > 0 ? k : 1;
    const auto n = static_cast<std::size_t>(scanned);
    const auto rows = static_cast<std::size_t>(maxRows > 0 ? maxRows : 1);
    const auto q = static_cast<std::size_t>(columns);
    const std::size_t blockSize = kRowsPerStar * static_cast<std::size_t>(B) * q;
    const std::size_t bytes =
        6 * Arena::slice(n * sizeof(double)) + Arena::slice(rows * q * sizeof(double)) +
        Arena::slice(rows * sizeof(double)) + Arena::slice(blockSize * sizeof(double)) +
        Arena::slice(sizeof(LeastSquares));
    if (!arena.reserve(bytes)) return false;
    for (Directions* d : {&observed, &source}) {
      d->x = arena.take<double>(n);
      d->y = arena.take<double>(n);
      d->z = arena.take<double>(n);
    }
    design = arena.take<double>(rows * q);
    residual = arena.take<double>(rows);
    block = arena.take<double>(blockSize);
    LeastSquares* place = arena.take<LeastSquares>(1);
    if (place != nullptr) solver = new (place) LeastSquares;
    return observed.z != nullptr && source.z != nullptr && design && residual && block &&
           solver != nullptr;
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

// A block of observations for the evaluator: their slots, pier flags, aux
// readings and directions. The lanes past the last observation repeat it.
struct Block {
  LaneData lanes;
  int slot[B];
  DirectionBlock v;

  void clear() { lanes.count = 0; }
  bool full() const { return lanes.count == B; }
  void add(int i, const Observation& o, const double direction[3]) {
    const int lane = lanes.count++;
    slot[lane] = i;
    lanes.flip[lane] = o.pierFlag != 0 ? -1.0 : 1.0;
    lanes.aux1[lane] = o.aux[0];
    lanes.aux2[lane] = o.aux[1];
    v.x[lane] = direction[0];
    v.y[lane] = direction[1];
    v.z[lane] = direction[2];
  }
  void add(int i, const Observation& o, const Directions& from) {
    const double direction[3] = {from.x[i], from.y[i], from.z[i]};
    add(i, o, direction);
  }
  void pad() {
    const int last = lanes.count - 1;
    for (int lane = lanes.count; lane < B; ++lane) {
      lanes.flip[lane] = lanes.flip[last];
      lanes.aux1[lane] = lanes.aux1[last];
      lanes.aux2[lane] = lanes.aux2[last];
      v.x[lane] = v.x[last];
      v.y[lane] = v.y[last];
      v.z[lane] = v.z[last];
    }
  }
};

// The model applied to a block of active stars, filling their derivative
// and residual rows from row `row` on, lane by lane. The derivatives are
// gathered column by column for the block and then written a row at a
// time: the rows are new memory, and three scattered stores per star and
// term cost more than the arithmetic that makes them.
void differentiate(const ModelEvaluator& evaluator, const FitTerms& terms, Block& block,
                   const Directions& observed, int row, Workspace& ws, bool* failed) {
  block.pad();
  constexpr int kBlockRows = kRowsPerStar * B;
  DerivativeRows columns;
  columns.rows = ws.block;
  columns.stride = 1;
  columns.column = terms.column;
  columns.columnStride = kBlockRows;
  for (int lane = 0; lane < B; ++lane) failed[lane] = false;
  evaluator.differentiate(block.lanes, block.v, failed, columns);
  if (terms.fitted == 0) return;
  const int q = terms.fitted;
  for (int r = 0; r < kRowsPerStar * block.lanes.count; ++r) {
    double* to = &ws.design[static_cast<std::size_t>(row + r) * ws.columns];
    for (int j = 0; j < q; ++j) to[j] = ws.block[static_cast<std::size_t>(j) * kBlockRows + r];
  }
  for (int lane = 0; lane < block.lanes.count; ++lane) {
    const int i = block.slot[lane];
    double* r = &ws.residual[row + kRowsPerStar * lane];
    r[0] = roundToSingle((observed.x[i] - block.v.x[lane]) * kArcsecPerRadian);
    r[1] = roundToSingle((observed.y[i] - block.v.y[lane]) * kArcsecPerRadian);
    r[2] = roundToSingle((observed.z[i] - block.v.z[lane]) * kArcsecPerRadian);
  }
}

// First pass: the two directions of every observation, and the rows of
// the active ones. The stars are evaluated a block at a time; what that
// does to the list (a star at which a term fails is masked for good) and
// the host's cancel poll then follow observation by observation. Returns
// false when the host asked to stop; stars receives the number of active
// stars that were kept.
bool firstPass(const EvaluationContext& context, const ModelEvaluator& evaluator,
               const FitTerms& terms, ObservationList& list, const FitOptions& options,
               Workspace& ws, int& stars, std::vector<int>& withdrawn) {
  stars = 0;
  Block block;
  bool failed[B];
  int i = 0;
  while (i < ws.scanned && !list[i].isEnd()) {
    const int first = i;
    block.clear();
    for (; i < ws.scanned && !list[i].isEnd() && !block.full(); ++i) {
      double source[3], observed[3];
      observationDirections(context, list[i], source, observed);
      ws.source.set(i, source);
      ws.observed.set(i, observed);
      if (list[i].status != kStatusMasked &&
          kRowsPerStar * (stars + block.lanes.count) < ws.maxRows) {
        block.add(i, list[i], ws.source);
      }
    }
    const int row = kRowsPerStar * stars;
    if (block.lanes.count > 0) {
      differentiate(evaluator, terms, block, ws.observed, row, ws, failed);
    }
    int lane = 0;
    for (int j = first; j < i; ++j) {
      if (lane < block.lanes.count && block.slot[lane] == j) {
        if (failed[lane]) {
          list[j].status = kStatusMasked;  // withdrawn for good
          withdrawn.push_back(j);
        } else {
          // Close the gap that a withdrawn star left in the rows.
          const int from = row + kRowsPerStar * lane;
          const int to = kRowsPerStar * stars;
          if (from != to) {
            const std::size_t n = static_cast<std::size_t>(ws.columns);
            std::memmove(&ws.design[to * n], &ws.design[from * n],
                         sizeof(double) * kRowsPerStar * n);
            std::memmove(&ws.residual[to], &ws.residual[from], sizeof(double) * kRowsPerStar);
          }
          ++stars;
        }
        ++lane;
      }
      if (options.cancelled && options.cancelled()) return false;
    }
  }
  return true;
}

// Solves for the changes and adds them to the fitted coefficients of the
// working model. Returns false (coefficients unchanged) when the
// decomposition failed.
bool solve(const FitTerms& terms, int stars, double tolerance, Workspace& ws, Model& working,
           FitResult& result) {
  const int m = kRowsPerStar * stars;
  const int n = terms.fitted;
  const int status =
      ws.solver->solve(m, n, ws.maxRows, n, ws.design, ws.residual, tolerance);
  result.svdStatus = status;
  if (status < 0) {
    result.outcome = FitOutcome::SvdShapeError;
    return false;
  }
  if (status > 0) {
    result.outcome = FitOutcome::SvdNoConvergence;
    return false;
  }
  const SingularValueEditing& editing = ws.solver->editing();
  result.illConditioned = editing.zeroed;
  result.smallestRatio = editing.smallestRatio;
  result.largestRatio = editing.largestRatio;
  const double* solution = ws.solver->solution();
  for (int j = 0; j < n; ++j) working[terms.slot[j]].value += solution[j] * kRadianPerArcsec;
  result.coefficientsChanged = true;
  return true;
}

// Second pass: the model with its new coefficients applied to every
// observation, the result written back as the fitted position. Returns
// false when the host asked to stop; sum receives the sum of squared
// residual chords of the active stars (radians squared) and stars their
// number.
bool secondPass(const EvaluationContext& context, const ModelEvaluator& evaluator,
                ObservationList& list, const FitOptions& options, Workspace& ws, double& sum,
                int& stars, std::vector<int>& withdrawn) {
  const bool correctTelescope = context.sense != AdjustSense::Stars;
  sum = 0.0;
  stars = 0;
  Block block;
  bool failed[B];
  int i = 0;
  while (i < ws.scanned && !list[i].isEnd()) {
    block.clear();
    for (; i < ws.scanned && !list[i].isEnd() && !block.full(); ++i) {
      block.add(i, list[i], ws.source);
    }
    block.pad();
    for (int lane = 0; lane < B; ++lane) failed[lane] = false;
    evaluator.apply(block.lanes, block.v, failed);
    for (int lane = 0; lane < block.lanes.count; ++lane) {
      const int j = block.slot[lane];
      Observation& o = list[j];
      if (failed[lane]) {
        if (o.status != kStatusMasked) withdrawn.push_back(j);
        o.status = kStatusMasked;
      } else {
        const double corrected[3] = {block.v.x[lane], block.v.y[lane], block.v.z[lane]};
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
          const double d[3] = {corrected[0] - ws.observed.x[j], corrected[1] - ws.observed.y[j],
                               corrected[2] - ws.observed.z[j]};
          for (int c = 0; c < 3; ++c) sum += d[c] * d[c];
          ++stars;
        }
      }
      if (options.cancelled && options.cancelled()) return false;
    }
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

  if (q > 0) {
    const double* covariance = ws.solver->covariance();
    result.covariance.assign(covariance, covariance + static_cast<std::size_t>(q) * q);
  }
  result.correlations.assign(static_cast<std::size_t>(q) * q, 0.0);
  for (int i = 0; i < q; ++i) {
    for (int j = 0; j < q; ++j) {
      const double product = result.covarianceAt(i, i) * result.covarianceAt(j, j);
      result.correlations[static_cast<std::size_t>(i * q + j)] =
          product != 0.0 ? result.covarianceAt(i, j) / roundToSingle(std::sqrt(product)) : 0.0;
    }
    if (result.covarianceAt(i, i) == 0.0) result.alwaysZero.push_back(i);
  }

  for (int i = 0; i < terms.inUse; ++i) {
    FittedTerm term;
    term.slot = i;
    term.column = terms.column[i];
    term.value = working[i].value;
    if (term.column >= 0) {
      term.change = ws.solver->solution()[term.column];
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
  if (!firstPass(context, ModelEvaluator(context, model), fitTable, list, options, ws, stars,
                 result.withdrawn)) {
    result.outcome = FitOutcome::Cancelled;
    return result;
  }
  if (2 * stars < fitTable.fitted) {
    result.outcome = FitOutcome::NotEnoughStars;
    return result;
  }
  Model working = model;
  if (fitTable.fitted > 0 && !solve(fitTable, stars, options.tolerance, ws, working, result)) {
    return result;
  }
  for (int i = 0; i < fitTable.inUse; ++i) {
    FittedTerm term;
    term.slot = i;
    term.value = working[i].value;
    result.terms.push_back(term);
  }
  double sum = 0.0;
  if (!secondPass(context, ModelEvaluator(context, working), list, options, ws, sum, stars,
                  result.withdrawn)) {
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
  const ModelEvaluator evaluator(context, model);
  double sum = 0.0;
  Block block;
  DirectionBlock target;
  bool failed[B];
  int i = 0;
  while (i < kObservationSlots && !list[i].isEnd()) {
    block.clear();
    for (; i < kObservationSlots && !list[i].isEnd() && !block.full(); ++i) {
      if (list[i].status == kStatusMasked) continue;
      const int lane = block.lanes.count;
      double corrected[3];
      double observed[3];
      observationDirections(context, list[i], corrected, observed);
      block.add(i, list[i], corrected);
      target.x[lane] = observed[0];
      target.y[lane] = observed[1];
      target.z[lane] = observed[2];
    }
    if (block.lanes.count == 0) continue;
    block.pad();
    for (int lane = 0; lane < B; ++lane) failed[lane] = false;
    evaluator.apply(block.lanes, block.v, failed);
    for (int lane = 0; lane < block.lanes.count; ++lane) {
      if (failed[lane]) continue;
      const double d[3] = {block.v.x[lane] - target.x[lane], block.v.y[lane] - target.y[lane],
                           block.v.z[lane] - target.z[lane]};
      for (int c = 0; c < 3; ++c) sum += d[c] * d[c];
      ++statistics.used;
    }
  }
  statistics.rms = std::sqrt(sum / (statistics.used > 0 ? statistics.used : 1));
  return statistics;
}

}  // namespace zenfit
