#include "data/observations.h"

#include <cmath>

#include "astro/vectors.h"

namespace zenfit {

int ObservationList::count() const {
  int count = 0;
  while (count < kObservationSlots && !slots[static_cast<std::size_t>(count)].isEnd()) ++count;
  return count;
}

int ObservationList::activeCount() const {
  int active = 0;
  for (int i = 0; i < kObservationSlots && !(*this)[i].isEnd(); ++i) {
    if ((*this)[i].status != kStatusMasked) ++active;
  }
  return active;
}

double RunState::latitude() const { return std::atan2(sinLat, cosLat); }

double residualAngle(const Observation& o) {
  double star[3];
  double telescope[3];
  sphericalToVector(-o.starHaWork, o.starDecWork, star);
  sphericalToVector(-o.telHaWork, o.telDecWork, telescope);
  // atan2 of |a x b| and a.b keeps full precision for small angles.
  const double cx = star[1] * telescope[2] - star[2] * telescope[1];
  const double cy = star[2] * telescope[0] - star[0] * telescope[2];
  const double cz = star[0] * telescope[1] - star[1] * telescope[0];
  const double dot = star[0] * telescope[0] + star[1] * telescope[1] + star[2] * telescope[2];
  return std::atan2(std::sqrt(cx * cx + cy * cy + cz * cz), dot);
}

}  // namespace zenfit
