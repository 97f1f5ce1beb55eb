// The residual of one observation as it stands.
#pragma once

namespace zenfit {

struct Engine;

// Angular distance (radians) between the working star position and the
// working telescope position of observation slot (0-based).
double observationResidual(const Engine& engine, int slot);

}  // namespace zenfit
