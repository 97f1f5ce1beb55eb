#include "model/residual.h"

#include <cmath>

#include "astro/vectors.h"
#include "engine.h"

namespace zenfit {

double observationResidual(const Engine& engine, int slot) {
  const ObservationList& list = engine.observations;
  double star[3];
  double telescope[3];
  sphericalToVector(-list.starHaWork[slot], list.starDecWork[slot], star);
  sphericalToVector(-list.telHaWork[slot], list.telDecWork[slot], telescope);
  // atan2 of |a x b| and a.b keeps full precision for small angles.
  const double cx = star[1] * telescope[2] - star[2] * telescope[1];
  const double cy = star[2] * telescope[0] - star[0] * telescope[2];
  const double cz = star[0] * telescope[1] - star[1] * telescope[0];
  const double dot = star[0] * telescope[0] + star[1] * telescope[1] + star[2] * telescope[2];
  return std::atan2(std::sqrt(cx * cx + cy * cy + cz * cz), dot);
}

}  // namespace zenfit
