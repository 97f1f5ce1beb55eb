// A synthetic pointing run for the plot tests and benchmarks: stars spread
// over the sky above 15 degrees of elevation at latitude 30 degrees north,
// residuals of a few arcseconds with a systematic part (an index error and a
// flexure-like sag), a few per cent masked outliers and some stars observed
// over the pole.
#pragma once

#include <cmath>
#include <random>
#include <vector>

#include "plot/chart_types.h"

namespace zenfit::plot::test {

inline std::vector<ObservationPoint> syntheticRun(int count, unsigned seed = 7) {
  constexpr double kRad = M_PI / 180.0;
  const double phi = 30.0 * kRad;
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::normal_distribution<double> noise(0.0, 1.2);
  std::vector<ObservationPoint> points;
  for (int i = 0; i < count; ++i) {
    // Uniform over the cap above 15 degrees of elevation.
    const double cosZmin = std::cos(75.0 * kRad);
    const double z = std::acos(cosZmin + (1.0 - cosZmin) * uniform(random));
    const double a = 2.0 * M_PI * uniform(random);
    const double sinD = std::sin(phi) * std::cos(z) + std::cos(phi) * std::sin(z) * std::cos(a);
    const double d = std::asin(sinD);
    const double h = std::atan2(-std::sin(a) * std::sin(z),
                                (std::cos(z) - std::sin(phi) * sinD) / std::cos(phi));
    const double q = std::atan2(std::sin(h), std::tan(phi) * std::cos(d) - std::sin(d) * std::cos(h));
    ObservationPoint p;
    p.number = i + 1;
    p.haHours = h / kRad / 15.0;
    p.decDegrees = d / kRad;
    p.azDegrees = a / kRad;
    p.zdDegrees = z / kRad;
    p.overPole = p.decDegrees > 40.0 && uniform(random) < 0.3;
    p.dX = 2.0 * std::sin(h) + 1.5 * std::sin(z) * std::sin(q) + noise(random);
    p.dD = 1.2 + 2.5 * std::sin(z) * std::cos(q) + noise(random);
    p.active = uniform(random) >= 0.04;
    if (!p.active) {  // outliers are why observations get masked
      p.dX += 12.0 * (uniform(random) - 0.5);
      p.dD += 12.0 * (uniform(random) - 0.5);
    }
    p.dS = p.dX * std::cos(q) + p.dD * std::sin(q);
    p.dZ = p.dX * std::sin(q) - p.dD * std::cos(q);
    p.dR = std::hypot(p.dX, p.dD);
    points.push_back(p);
  }
  return points;
}

}  // namespace zenfit::plot::test
