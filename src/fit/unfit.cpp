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
#include "command/lexer.h"
#include "engine.h"
#include "fit/fit.h"
#include "model/evaluate.h"

namespace zenfit {
namespace {

constexpr int kMaxPasses = 10;
constexpr double kConvergence = 1e-20;  // radians squared

// The direction that the group of entries first..last carries onto target
// (in place). Returns false when a term cannot be evaluated.
bool invertGroup(Engine& engine, int slot, int first, int last, double target[3]) {
  const Model& model = engine.model;
  const ObservationList& list = engine.observations;
  double guess[3] = {target[0], target[1], target[2]};
  for (int pass = 0; pass < kMaxPasses; ++pass) {
    double current[3] = {guess[0], guess[1], guess[2]};
    for (int i = first; i <= last; ++i) {
      if (evaluateTerm(engine, model.termNumber[i], model.coefValue[i], list.aux[slot],
                       list.pierFlag[slot], guess, current) < 0) {
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

int termsInUse(const Model& model) {
  int count = 0;
  while (count < kMaxModelTerms && model.termNumber[count] != 0) ++count;
  return count;
}

// The fitted pair of one observation with the model removed; false when a
// term cannot be evaluated on the way.
bool removeModel(Engine& engine, int slot, int count, double direction[3]) {
  const Model& model = engine.model;
  for (int last = count - 1; last >= 0;) {
    int first = last;
    while (first >= 1 && model.chained[first] == 0) --first;
    if (!invertGroup(engine, slot, first, last, direction)) return false;
    last = first - 1;
  }
  return true;
}

}  // namespace

int unfitModel(Engine& engine, bool adjust) {
  ObservationList& list = engine.observations;
  const bool correctTelescope = engine.settings.adjustSense != 2;
  double* fittedHa = correctTelescope ? list.starHaWork : list.telHaWork;
  double* fittedDec = correctTelescope ? list.starDecWork : list.telDecWork;
  double* inputHa = correctTelescope ? list.starHa : list.telHa;
  double* inputDec = correctTelescope ? list.starDec : list.telDec;
  const int count = termsInUse(engine.model);
  for (int i = 0; i < kObservationSlots && list.status[i] >= 0; ++i) {
    if (!adjust) {
      inputHa[i] = fittedHa[i];
      inputDec[i] = fittedDec[i];
      continue;
    }
    double direction[3];
    haDecToDirection(engine, fittedHa[i], fittedDec[i], direction);
    if (!removeModel(engine, i, count, direction)) {
      list.status[i] = kStatusMasked;
      continue;
    }
    directionToHaDec(engine, direction, inputHa[i], inputDec[i]);
  }
  return 0;
}

void cmdUnfit(Engine& engine) {
  bool adjust = true;
  if (!readAdjustOption(engine, 5, adjust)) return;
  if (unfitModel(engine, adjust) == 0) engine.dispatch.status = kStatusDone;
}

}  // namespace zenfit
