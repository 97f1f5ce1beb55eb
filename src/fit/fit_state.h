// Results of the last fit, kept for the host.
#pragma once

namespace zenfit {

struct FitState {
  double skyRms = 0.0;      // radians
  double popSd = 0.0;       // radians; -1 with fewer than one degree of freedom
  int illConditioned = 0;   // 1 when the last fit zeroed a singular value
};

}  // namespace zenfit
