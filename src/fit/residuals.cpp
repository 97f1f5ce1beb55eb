#include "fit/residuals.h"

#include <cmath>

#include "astro/astro.h"
#include "astro/vectors.h"

namespace zenfit {
namespace {

// A position as a horizon-frame unit vector (x south, y east, z zenith)
// with its longitude from the south through the east and its elevation.
struct HorizonPlace {
  double v[3];
  double longitude;
  double elevation;
};

HorizonPlace horizonPlace(const RunState& run, double ha, double dec) {
  HorizonPlace place;
  astro::haDecToHorizon(ha, dec, run.sinLat, run.cosLat, place.v);
  vectorToSpherical(place.v, place.longitude, place.elevation);
  return place;
}

}  // namespace

ResidualTable residualTable(const ObservationList& list, const RunState& run,
                            const std::function<bool()>& cancelled) {
  ResidualTable table;
  table.rows.reserve(static_cast<std::size_t>(list.count()));
  std::array<double, kResidualComponents> sums = {};
  for (int i = 0; i < kObservationSlots && !list[i].isEnd(); ++i) {
    const Observation& o = list[i];
    ResidualRow row;
    row.number = i + 1;
    row.active = o.status != kStatusMasked;
    row.overPole = o.pierFlag != 0;
    row.telHa = o.telHaWork;
    row.telDec = o.telDecWork;
    row.starHa = o.starHaWork;
    row.starDec = o.starDecWork;
    const HorizonPlace p = horizonPlace(run, row.telHa, row.telDec);
    row.azimuth = wrapTwoPi(kPi - p.longitude) * kDegreesPerRadian;
    row.zenithDistance = (kHalfPi - p.elevation) * kDegreesPerRadian;
    if (row.active) {
      // Star (Q) minus telescope (P).
      const HorizonPlace q = horizonPlace(run, row.starHa, row.starDec);
      const double dx = q.v[0] - p.v[0];
      const double dy = q.v[1] - p.v[1];
      const double dz = q.v[2] - p.v[2];
      row.d[kDx] = std::cos(row.telDec) * wrapPi(row.starHa - row.telHa) * kArcsecPerRadian;
      row.d[kDd] = (row.starDec - row.telDec) * kArcsecPerRadian;
      row.d[kDs] = std::cos(p.elevation) * wrapPi(q.longitude - p.longitude) * kArcsecPerRadian;
      row.d[kDz] = (p.elevation - q.elevation) * kArcsecPerRadian;
      row.d[kDr] = std::sqrt(dx * dx + dy * dy + dz * dz) * kArcsecPerRadian;
      for (int k = 0; k < kResidualComponents; ++k) sums[k] += row.d[k] * row.d[k];
      ++table.active;
    }
    table.rows.push_back(row);
    if (cancelled && cancelled()) {
      table.interrupted = true;
      break;
    }
  }
  if (table.active > 0) {
    for (int k = 0; k < kResidualComponents; ++k) table.rms[k] = std::sqrt(sums[k] / table.active);
  }
  return table;
}

}  // namespace zenfit
