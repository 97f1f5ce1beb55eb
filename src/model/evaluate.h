// Term evaluation: one model term, with one coefficient, applied to one
// observation's direction; and the whole model applied to an observation.
//
// Directions are unit vectors in the horizon-referred frame (x south, y
// east, z zenith; see astro/vectors.h). The site latitude comes from the
// run (sinLat, cosLat) and the sign of every correction from the ADJUST
// sense.
#pragma once

#include "data/observations.h"
#include "model/model.h"
#include "model/terms.h"

namespace zenfit {

// What an evaluation needs besides the term and the point.
struct EvaluationContext {
  const TermTable* terms = nullptr;
  double sinLat = 0.0;
  double cosLat = 1.0;
  AdjustSense sense = AdjustSense::Telescope;
};

EvaluationContext evaluationContext(const TermTable& terms, const RunState& run,
                                    AdjustSense sense);

// Applies term termNumber with coefficient (radians) to current (in/out),
// evaluating the term's multipliers at base (read only). aux is the
// observation's three auxiliary readings; pierFlag is non-zero when the
// telescope was on the far side of the pole. current is renormalised on
// return.
// Returns 0 when applied, or when termNumber is outside 1..termNameCount
// (then nothing is done); -1 when the correction is not finite at this
// point (TX at the horizon, a non-finite coefficient; current unchanged);
// -2 for a generic term whose name cannot be read.
//
// Caller's protocol: base and current both start at the observation's
// direction; for each model entry in order, copy current into base first
// when the entry is chained, then evaluate. A chained term thus sees the
// position corrected by every term before it; a run of parallel terms is
// evaluated at the same point and their corrections add.
int evaluateTerm(const EvaluationContext& context, int termNumber, double coefficient,
                 const double aux[3], int pierFlag, const double base[3], double current[3]);

// The two directions of an observation that the model relates, chosen by
// the ADJUST sense: correcting the telescope takes the star's input copy
// as the source and the telescope working copy as the target; correcting
// the stars takes the telescope input copy as the source and the star
// working copy as the target.
void observationDirections(const EvaluationContext& context, const Observation& observation,
                           double source[3], double target[3]);

// Applies every term of the model, in order, with the chained/parallel
// protocol above, to direction (in/out), using the observation's aux
// readings and pier flag. Returns 0, or the negative status of the first
// term that failed (the terms after it are not applied).
int applyModelTerms(const EvaluationContext& context, const Model& model,
                    const Observation& observation, double direction[3]);

// The horizon-referred unit vector of an hour angle and declination
// (radians), and back.
void haDecToDirection(const EvaluationContext& context, double ha, double dec,
                      double direction[3]);
void directionToHaDec(const EvaluationContext& context, const double direction[3], double& ha,
                      double& dec);

}  // namespace zenfit
