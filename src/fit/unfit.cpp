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
#include "model/evaluator.h"

namespace zenfit {
namespace {

constexpr int kMaxPasses = 10;
constexpr double kConvergence = 1e-20;  // radians squared
constexpr int B = kPlaceBlock;

// The directions that the group of entries first..last carries onto the
// targets (in place), each lane iterating on its own until it converges.
// failed[i] is set where a term cannot be evaluated.
void invertGroup(const ModelEvaluator& evaluator, const LaneData& lanes, int first, int last,
                 DirectionBlock& target, bool* failed) {
  DirectionBlock guess = target;
  bool done[B] = {};
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    DirectionBlock current = guess;
    evaluator.apply(lanes, current, failed, first, last);
    bool allDone = true;
    for (int i = 0; i < lanes.count; ++i) {
      if (done[i]) continue;
      const double d[3] = {current.x[i] - target.x[i], current.y[i] - target.y[i],
                           current.z[i] - target.z[i]};
      if (d[0] * d[0] + d[1] * d[1] + d[2] * d[2] < kConvergence) {
        done[i] = true;
        continue;
      }
      double g[3] = {guess.x[i] - d[0], guess.y[i] - d[1], guess.z[i] - d[2]};
      normalise(g);
      guess.x[i] = g[0];
      guess.y[i] = g[1];
      guess.z[i] = g[2];
      allDone = false;
    }
    if (allDone) break;
  }
  target = guess;
}

// The fitted pairs of a block with the model removed, group by group from
// the last.
void removeModel(const ModelEvaluator& evaluator, const Model& model, const LaneData& lanes,
                 DirectionBlock& directions, bool* failed) {
  for (int last = evaluator.entries() - 1; last >= 0;) {
    int first = last;
    while (first >= 1 && model[first].chained == 0) --first;
    invertGroup(evaluator, lanes, first, last, directions, failed);
    last = first - 1;
  }
}

}  // namespace

std::vector<int> unfit(const Model& model, const TermTable& terms, ObservationList& list,
                       const RunState& run, AdjustSense sense, bool adjust) {
  const EvaluationContext context = evaluationContext(terms, run, sense);
  const ModelEvaluator evaluator(context, model);
  const bool correctTelescope = sense != AdjustSense::Stars;
  auto fittedPair = [&](Observation& o) -> std::pair<double&, double&> {
    if (correctTelescope) return {o.starHaWork, o.starDecWork};
    return {o.telHaWork, o.telDecWork};
  };
  auto inputPair = [&](Observation& o) -> std::pair<double&, double&> {
    if (correctTelescope) return {o.starHa, o.starDec};
    return {o.telHa, o.telDec};
  };
  std::vector<int> withdrawn;
  LaneData lanes;
  DirectionBlock directions;
  int slot[B];
  bool failed[B];
  int i = 0;
  while (i < kObservationSlots && !list[i].isEnd()) {
    lanes.count = 0;
    for (; i < kObservationSlots && !list[i].isEnd() && lanes.count < B; ++i) {
      Observation& o = list[i];
      const auto [ha, dec] = fittedPair(o);
      if (!adjust) {
        inputPair(o).first = ha;
        inputPair(o).second = dec;
        continue;
      }
      const int lane = lanes.count++;
      slot[lane] = i;
      lanes.flip[lane] = o.pierFlag != 0 ? -1.0 : 1.0;
      lanes.aux1[lane] = o.aux[0];
      lanes.aux2[lane] = o.aux[1];
      double v[3];
      haDecToDirection(context, ha, dec, v);
      directions.x[lane] = v[0];
      directions.y[lane] = v[1];
      directions.z[lane] = v[2];
    }
    if (lanes.count == 0) continue;
    for (int lane = lanes.count; lane < B; ++lane) {
      lanes.flip[lane] = lanes.flip[lanes.count - 1];
      lanes.aux1[lane] = lanes.aux1[lanes.count - 1];
      lanes.aux2[lane] = lanes.aux2[lanes.count - 1];
      directions.x[lane] = directions.x[lanes.count - 1];
      directions.y[lane] = directions.y[lanes.count - 1];
      directions.z[lane] = directions.z[lanes.count - 1];
    }
    for (int lane = 0; lane < B; ++lane) failed[lane] = false;
    removeModel(evaluator, model, lanes, directions, failed);
    for (int lane = 0; lane < lanes.count; ++lane) {
      Observation& o = list[slot[lane]];
      if (failed[lane]) {
        if (o.status != kStatusMasked) withdrawn.push_back(slot[lane]);
        o.status = kStatusMasked;
        continue;
      }
      const double v[3] = {directions.x[lane], directions.y[lane], directions.z[lane]};
      auto [ha, dec] = inputPair(o);
      directionToHaDec(context, v, ha, dec);
    }
  }
  return withdrawn;
}

}  // namespace zenfit
