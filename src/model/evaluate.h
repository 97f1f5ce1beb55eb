// Term evaluation: one model term, with one coefficient, applied to one
// observation's direction; and the whole model applied to an observation.
//
// Directions are unit vectors in the horizon-referred frame (x south, y
// east, z zenith; see astro/vectors.h). The site latitude comes from the
// run state (sinLat, cosLat) and the sign of every correction from the
// ADJUST sense (1 the model corrects the telescope, 2 the stars).
#pragma once

namespace zenfit {

struct Engine;

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
int evaluateTerm(Engine& engine, int termNumber, double coefficient, const double aux[3],
                 int pierFlag, const double base[3], double current[3]);

// The two directions of observation slot (0-based) that the model relates,
// chosen by the ADJUST sense: sense 1 (correct the telescope) takes the
// star's input copy as the source and the telescope working copy as the
// target; sense 2 takes the telescope input copy as the source and the
// star working copy as the target. Each is formed from (hour angle,
// declination) with the hour angle negated and turned into the
// horizon-referred frame with the site latitude.
void observationDirections(const Engine& engine, int slot, double source[3], double target[3]);

// Applies every term of the model, in order, with the chained/parallel
// protocol above, to direction (in/out), using slot's aux readings and pier
// flag. Returns 0, or the negative status of the first term that failed
// (the terms after it are not applied).
int applyModelTerms(Engine& engine, int slot, double direction[3]);

// observationDirections followed by applyModelTerms on the source:
// corrected receives the source direction with the model applied, target
// the direction it should match. Returns applyModelTerms' status.
int applyModel(Engine& engine, int slot, double corrected[3], double target[3]);

// The (hour angle, declination) in radians of a horizon-referred
// direction: the inverse of the conversion observationDirections makes.
void directionToHaDec(const Engine& engine, const double direction[3], double& ha, double& dec);

// Its inverse: the horizon-referred unit vector of an hour angle and
// declination (radians) at the run's latitude.
void haDecToDirection(const Engine& engine, double ha, double dec, double direction[3]);

}  // namespace zenfit
