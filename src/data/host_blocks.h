// The host's two data areas: the run-parameter block and the point array.
//
// Both belong to the host (SetDataPtrs); the engine writes into them only
// while reading an observation file, at the byte offsets of the host's own
// layout, in the host's native byte order.
#pragma once

#include "data/run_parameters.h"

namespace zenfit {

struct Engine;

// What the reader knows about the run when its parameters are accepted.
struct RunDescription {
  const RunParameters* params = nullptr;
  unsigned char mode = 0;  // obs_parms::kMode bits
  char frame = 'A';        // 'A' apparent, 'B' FK4, 'J' FK5 telescope places
};

// Fills the run-parameter block, when the host has lent one.
void writeHostRunParameters(Engine& engine, const RunDescription& run);

// Fills entry slot of the point array from the stored observation, when the
// host has lent one. siderealTime in radians (0 for a horizon record).
void writeHostMapPoint(Engine& engine, int slot, double siderealTime);

}  // namespace zenfit
