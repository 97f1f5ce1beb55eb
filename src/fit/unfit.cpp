// UNFIT: the pointing model taken off the fitted positions.
//
// The model is a chain of groups (a chained term and the parallel terms
// after it, all evaluated at one point), so its inverse undoes the groups
// in reverse order. Each group is inverted by fixed-point iteration: a
// group moves a direction by a few arcminutes at most, so subtracting the
// error of the forward map from the guess converges geometrically, at a
// rate set by how much the correction changes over that distance.
#include <cstring>

#include "astro/vectors.h"
#include "fit/fit.h"
#include "model/evaluate.h"

namespace zenfit {
namespace {

constexpr int kMaxPasses = 10;
constexpr double kConvergence = 1e-20;  // radians squared

// The direction that the group of entries first..last carries onto target
// (in place). Returns false when a term cannot be evaluated.
bool invertGroup(const EvaluationContext& context, const Model& model, const Observation& o,
                 int first, int last, double target[3]) {
  double guess[3] = {target[0], target[1], target[2]};
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    double current[3] = {guess[0], guess[1], guess[2]};
    for (int i = first; i <= last; ++i) {
      if (evaluateTerm(context, model[i].term, model[i].value, o.aux, o.pierFlag, guess,
                       current) < 0) {
        return false;
      }
    }
    double d[3];
    double sumSquares = 0.0;
    for (int c = 0; c < 3; ++c) {
      d[c] = current[c] - target[c];
      sumSquares += d[c] * d[c];
    }
    if (sumSquares < kConvergence) break;
    for (int c = 0; c < 3; ++c) guess[c] -= d[c];
    normalise(guess);
  }
  std::memcpy(target, guess, sizeof guess);
  return true;
}

// The fitted pair of one observation with the model removed; false when a
// term cannot be evaluated on the way.
bool removeModel(const EvaluationContext& context, const Model& model, const Observation& o,
                 int count, double direction[3]) {
  for (int last = count - 1; last >= 0;) {
    int first = last;
    while (first >= 1 && model[first].chained == 0) --first;
    if (!invertGroup(context, model, o, first, last, direction)) return false;
    last = first - 1;
  }
  return true;
}

}  // namespace

std::vector<int> unfit(const Model& model, const TermTable& terms, ObservationList& list,
                       const RunState& run, AdjustSense sense, bool adjust) {
  const EvaluationContext context = evaluationContext(terms, run, sense);
  const bool correctTelescope = sense != AdjustSense::Stars;
  const int count = model.inUse();
  std::vector<int> withdrawn;
  for (int i = 0; i < kObservationSlots && !list[i].isEnd(); ++i) {
    Observation& o = list[i];
    double& fittedHa = correctTelescope ? o.starHaWork : o.telHaWork;
    double& fittedDec = correctTelescope ? o.starDecWork : o.telDecWork;
    double& inputHa = correctTelescope ? o.starHa : o.telHa;
    double& inputDec = correctTelescope ? o.starDec : o.telDec;
    if (!adjust) {
      inputHa = fittedHa;
      inputDec = fittedDec;
      continue;
    }
    double direction[3];
    haDecToDirection(context, fittedHa, fittedDec, direction);
    if (!removeModel(context, model, o, count, direction)) {
      if (o.status != kStatusMasked) withdrawn.push_back(i);
      o.status = kStatusMasked;
      continue;
    }
    directionToHaDec(context, direction, inputHa, inputDec);
  }
  return withdrawn;
}

}  // namespace zenfit
