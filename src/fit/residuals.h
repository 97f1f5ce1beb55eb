// The residual table: for every observation, the telescope position and
// the differences star minus telescope between the working star and
// telescope pairs (one of which FIT has replaced by the fitted position):
//   dX  hour angle difference times cos(declination), the hour angle
//       difference taken in -pi .. +pi;
//   dD  declination difference;
//   dS  azimuth difference times cos(elevation), likewise wrapped;
//   dZ  zenith-distance difference;
//   dR  chord between the two directions, the total error;
// all in arcseconds, with their RMS over the active observations.
#pragma once

#include <array>
#include <functional>
#include <vector>

#include "data/observations.h"

namespace zenfit {

enum ResidualComponent { kDx, kDd, kDs, kDz, kDr, kResidualComponents };

struct ResidualRow {
  int number = 0;          // observation number, from 1
  bool active = false;     // masked observations have a position but no differences
  bool overPole = false;   // the telescope read over the pole
  double telHa = 0.0;      // radians: the working telescope pair
  double telDec = 0.0;
  double starHa = 0.0;     // radians: the working star pair
  double starDec = 0.0;
  double azimuth = 0.0;    // degrees, of the telescope, from the north through the east, 0-360
  double zenithDistance = 0.0;  // degrees
  std::array<double, kResidualComponents> d = {};  // arcseconds (active rows)
};

struct ResidualTable {
  std::vector<ResidualRow> rows;  // every observation before the end mark
  int active = 0;
  std::array<double, kResidualComponents> rms = {};  // arcseconds; 0 with no active row
  bool interrupted = false;  // the host asked to stop; the rows so far are kept
};

// cancelled is asked after every observation.
ResidualTable residualTable(const ObservationList& list, const RunState& run,
                            const std::function<bool()>& cancelled = {});

}  // namespace zenfit
