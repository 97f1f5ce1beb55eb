// Refraction: the two constants, how they follow the weather, and the
// refraction of a direction down to below the horizon.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "astro/astro.h"
#include "astro/reference_table.h"

namespace zenfit::astro {
namespace {

constexpr double kArcsec = ERFA_DAS2R;

// Refraction (radians) at zenith distance z from the constants A and B.
double formula(double z, double refA, double refB) {
  const double t = std::tan(z);
  return (refA + refB * t * t) * t;
}

TEST(RefractionConstants, ReproduceAnIndependentTraceAt60And70Degrees) {
  // Rows: ordinary flag, height, T, P, humidity, wavelength, latitude, lapse
  // rate, then the traced refraction at 45, atan 4, 60 and 70 degrees.
  for (const auto& row : test::loadReferenceTable("refraction.txt")) {
    if (row[0] != 1.0) continue;
    double refA = 0.0;
    double refB = 0.0;
    refractionConstants(row[1], row[2], row[3], row[4], row[5], row[6], row[7], 1e-8, refA, refB);
    EXPECT_NEAR(formula(60.0 * ERFA_DD2R, refA, refB), row[10], 0.01 * kArcsec) << row[3];
    EXPECT_NEAR(formula(70.0 * ERFA_DD2R, refA, refB), row[11], 0.05 * kArcsec) << row[3];
  }
}

TEST(RefractionConstants, AgreeWithErfaRefcoWithinATenthOfAnArcsecondTo70Degrees) {
  for (double pressure : {1013.25, 800.0, 600.0})
    for (double celsius : {-10.0, 10.0, 25.0})
      for (double humidity : {0.0, 0.5, 1.0})
        for (double wavelength : {0.4, 0.55, 1.0, 2.2}) {
          double refA = 0.0, refB = 0.0, erfaA = 0.0, erfaB = 0.0;
          refractionConstants(-8149.9415 * std::log(pressure / 1013.25), celsius + 273.15,
                              pressure, humidity, wavelength, 45.0 * ERFA_DD2R, 0.0065, 1e-8,
                              refA, refB);
          eraRefco(pressure, celsius, humidity, wavelength, &erfaA, &erfaB);
          for (double z = 10.0 * ERFA_DD2R; z < 70.01 * ERFA_DD2R; z += 10.0 * ERFA_DD2R) {
            EXPECT_NEAR(formula(z, refA, refB), formula(z, erfaA, erfaB), 0.1 * kArcsec)
                << pressure << " mB " << celsius << " C " << humidity << " " << wavelength;
          }
        }
}

// Conditions: height m, temperature C, pressure mB, humidity, wavelength um,
// lapse rate K/m. Refraction (arcsec) at 75 degrees, latitude 40.
using Weather = std::array<double, 6>;
double at75(const Weather& w) {
  double refA = 0.0;
  double refB = 0.0;
  refractionConstants(w[0], w[1] + 273.15, w[2], w[3], w[4], 40.0 * ERFA_DD2R, w[5], 1e-8, refA,
                      refB);
  return formula(75.0 * ERFA_DD2R, refA, refB) / kArcsec;
}

TEST(RefractionConstants, FollowEachConditionTheRightWay) {
  const Weather site{2000, 10, 800, 0.5, 0.55, 0.0065};
  const Weather radio{2000, 10, 800, 0.5, 1e4, 0.0065};
  const Weather hot{0, 50, 1013.25, 1, 1e4, 0.0065};  // the wettest air the model can carry
  // Each case: with one condition at `more` the refraction exceeds that at
  // `less` by margin. A steeper lapse rate thins the air more slowly with
  // height (scale height T / (g M / R - lapse)), so the curved air bends less.
  struct Case { const char* why; Weather base; int field; double more, less, margin; };
  const Case cases[] = {
      {"colder", site, 1, 0, 10, 1.0},         {"denser", site, 2, 800, 700, 1.0},
      {"some air", site, 2, 1, 0, 0.0},        {"drier, light", site, 3, 0.5, 1, 0.1},
      {"wetter, radio", radio, 3, 1, 0, 10.0}, {"saturated, radio", hot, 3, 1, 0, 30.0},
      {"warmer wet air", hot, 1, 50, 40, 0.0}, {"bluer", site, 4, 0.4, 0.55, 1.0},
      {"less red", site, 4, 0.55, 0.8, 1.0},   {"shallower lapse", site, 5, 0.0065, 0.01, 0.005},
      {"isothermal", site, 5, 0, 0.0065, 0.005}};
  for (const Case& c : cases) {
    Weather more = c.base;
    Weather less = c.base;
    more[c.field] = c.more;
    less[c.field] = c.less;
    EXPECT_GT(at75(more), at75(less) + c.margin) << c.why;
  }
  EXPECT_EQ(at75({2000, 10, -5, 0.5, 0.55, 0.0065}), 0.0);  // no air, no refraction
  // A higher site at its own pressure refracts far less; at the same
  // pressure and temperature the height itself matters little.
  EXPECT_LT(at75({4000, 10, 1013.25 * std::exp(-4000 / 8149.9415), 0.5, 0.55, 0.0065}),
            at75(site) - 10.0);
  EXPECT_NEAR(at75({8000, 10, 800, 0.5, 0.55, 0.0065}), at75(site), 0.05);
}

TEST(VectorRefraction, HoldsTheFormulaAndStaysMonotonicToBelowTheHorizon) {
  const double refA = 58.24 * kArcsec;  // an ordinary sea-level site
  const double refB = -0.0644 * kArcsec;
  const double zenith[3] = {0.0, 0.0, 1.0};
  double observed[3];
  refractHorizonVector(zenith, refA, refB, observed);
  EXPECT_EQ(observed[2], 1.0);
  double previousZ = -1.0;
  double previousRefraction = 0.0;
  for (double zTrue = 0.05 * ERFA_DD2R; zTrue < 120.0 * ERFA_DD2R; zTrue += 0.05 * ERFA_DD2R) {
    double v[3];
    eraS2c(0.7, ERFA_DPI / 2.0 - zTrue, v);
    refractHorizonVector(v, refA, refB, observed);
    const double z = std::atan2(std::hypot(observed[0], observed[1]), observed[2]);
    ASSERT_TRUE(std::isfinite(z)) << zTrue;
    if (zTrue < 84.0 * ERFA_DD2R) {
      EXPECT_NEAR(z + formula(z, refA, refB), zTrue, 1e-12);
    }
    EXPECT_NEAR(std::atan2(observed[1], observed[0]), 0.7, 1e-12);  // azimuth kept
    EXPECT_GT(z, previousZ) << zTrue;
    EXPECT_GE(zTrue - z, previousRefraction - 1e-12) << zTrue;
    EXPECT_LT(zTrue - z, 35.0 * 60.0 * kArcsec) << zTrue;  // horizon refraction ~35'
    previousZ = z;
    previousRefraction = zTrue - z;
  }
}

}  // namespace
}  // namespace zenfit::astro
