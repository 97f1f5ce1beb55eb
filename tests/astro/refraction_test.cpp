// Refraction: the traced integral, the two constants, and a refracted vector.
#include <gtest/gtest.h>

#include <cmath>

#include "astro/astro.h"
#include "astro/reference_table.h"
#include "astro/refraction.h"

namespace zenfit::astro {
namespace {

constexpr double kArcsec = ERFA_DAS2R;

double formula(double z, double refA, double refB) {
  const double t = std::tan(z);
  return (refA + refB * t * t) * t;
}

// Rows of refraction.txt: flag, seven conditions, then the refraction at
// 45 deg, atan 4, 60 deg and 70 deg.
SiteWeather weatherOf(const test::ReferenceRow& row) {
  return {row[1], row[2], row[3], row[4], row[5], row[6], row[7]};
}
const double kTableZenith[4] = {ERFA_DPI / 4.0, std::atan(4.0), 60.0 * ERFA_DD2R,
                                70.0 * ERFA_DD2R};

TEST(RefractionTrace, MatchesAnIndependentTraceWithin1Mas) {
  // Includes an isothermal troposphere, the lapse rate where the vapour and
  // dry-air pressure exponents meet, and sites above the tropopause.
  const auto rows = test::loadReferenceTable("refraction.txt");
  ASSERT_GE(rows.size(), 50u);
  for (const auto& row : rows) {
    const ModelAtmosphere atmosphere = buildModelAtmosphere(weatherOf(row));
    for (int i = 0; i < 4; ++i) {
      EXPECT_NEAR(integratedRefraction(atmosphere, kTableZenith[i], 1e-10), row[8 + i],
                  0.001 * kArcsec)
          << "height " << row[1] << " T " << row[2] << " P " << row[3] << " lapse " << row[7];
    }
  }
}

TEST(RefractionTrace, MatchesThePublishedRayTraceWithin006Arcsec) {
  // Ray trace tabulated in ERFA's eraRefco notes (Hohenkerk & Sinclair
  // model): sea level, latitude 50, 1005 mB, 280.15 K, 80%, 0.574 um.
  const SiteWeather weather{0.0, 280.15, 1005.0, 0.8, 0.574, 50.0 * ERFA_DD2R, 0.0065};
  const ModelAtmosphere atmosphere = buildModelAtmosphere(weather);
  const double published[][2] = {{10, 10.27},  {20, 21.19},  {30, 33.61},  {40, 48.82},
                                 {45, 58.16},  {50, 69.28},  {55, 82.97},  {60, 100.51},
                                 {65, 124.23}, {70, 158.63}, {72, 177.32}, {74, 200.35},
                                 {76, 229.45}, {78, 267.44}, {80, 319.13}};
  for (const auto& [zDeg, arcsec] : published) {
    EXPECT_NEAR(integratedRefraction(atmosphere, zDeg * ERFA_DD2R, 1e-10) / kArcsec, arcsec,
                0.06)
        << "z " << zDeg;
  }
}

TEST(RefractionConstants, ReproduceTheTraceAt60And70DegreesInOrdinaryConditions) {
  for (const auto& row : test::loadReferenceTable("refraction.txt")) {
    if (row[0] != 1.0) continue;
    double refA = 0.0;
    double refB = 0.0;
    refractionConstants(row[1], row[2], row[3], row[4], row[5], row[6], row[7], 1e-8, refA, refB);
    EXPECT_NEAR(formula(kTableZenith[2], refA, refB), row[10], 0.01 * kArcsec);
    EXPECT_NEAR(formula(kTableZenith[3], refA, refB), row[11], 0.05 * kArcsec);
  }
}

TEST(RefractionConstants, AgreeWithErfaClosedFormWithinATenthOfAnArcsecondTo70Degrees) {
  for (double pressure : {1013.25, 800.0, 600.0}) {
    const double height = -8149.9415 * std::log(pressure / 1013.25);
    for (double celsius : {-10.0, 10.0, 25.0}) {
      for (double humidity : {0.0, 0.5, 1.0}) {
        for (double wavelength : {0.4, 0.55, 1.0, 2.2}) {
          double refA = 0.0;
          double refB = 0.0;
          refractionConstants(height, celsius + 273.15, pressure, humidity, wavelength,
                              45.0 * ERFA_DD2R, 0.0065, 1e-8, refA, refB);
          double erfaA = 0.0;
          double erfaB = 0.0;
          eraRefco(pressure, celsius, humidity, wavelength, &erfaA, &erfaB);
          for (double zDeg = 10.0; zDeg <= 70.0; zDeg += 10.0) {
            const double z = zDeg * ERFA_DD2R;
            EXPECT_NEAR(formula(z, refA, refB), formula(z, erfaA, erfaB), 0.1 * kArcsec)
                << pressure << " mB " << celsius << " C " << humidity << " " << wavelength
                << " um z " << zDeg;
          }
        }
      }
    }
  }
}

TEST(RefractionConstants, NoPressureMeansNoRefraction) {
  for (double pressure : {0.0, -5.0}) {
    double refA = 1.0;
    double refB = 1.0;
    refractionConstants(0.0, 283.15, pressure, 0.5, 0.55, 0.7, 0.0065, 1e-8, refA, refB);
    EXPECT_EQ(refA, 0.0);
    EXPECT_EQ(refB, 0.0);
  }
}

// Refraction at 75 degrees with one condition changed from an ordinary
// site: 2000 m, 10 C, 800 mB, 50%, 0.55 um, latitude 40, 0.0065 K/m.
double refractionAt75(double height, double celsius, double pressure, double humidity,
                      double wavelength, double lapseRate) {
  double refA = 0.0;
  double refB = 0.0;
  refractionConstants(height, celsius + 273.15, pressure, humidity, wavelength,
                      40.0 * ERFA_DD2R, lapseRate, 1e-8, refA, refB);
  return formula(75.0 * ERFA_DD2R, refA, refB) / kArcsec;
}

TEST(RefractionConstants, DependOnTheConditionsTheRightWay) {
  const double base = refractionAt75(2000.0, 10.0, 800.0, 0.5, 0.55, 0.0065);
  // Denser air refracts more: colder, or at higher pressure.
  EXPECT_GT(refractionAt75(2000.0, 0.0, 800.0, 0.5, 0.55, 0.0065), base + 1.0);
  EXPECT_LT(refractionAt75(2000.0, 10.0, 700.0, 0.5, 0.55, 0.0065), base - 1.0);
  // Water vapour refracts light less than the air it displaces, radio waves more.
  EXPECT_LT(refractionAt75(2000.0, 10.0, 800.0, 1.0, 0.55, 0.0065), base - 0.1);
  EXPECT_GT(refractionAt75(2000.0, 10.0, 800.0, 1.0, 1e4, 0.0065),
            refractionAt75(2000.0, 10.0, 800.0, 0.0, 1e4, 0.0065) + 10.0);
  // Normal dispersion: red light is refracted less than blue.
  EXPECT_LT(refractionAt75(2000.0, 10.0, 800.0, 0.5, 0.8, 0.0065), base - 1.0);
  EXPECT_GT(refractionAt75(2000.0, 10.0, 800.0, 0.5, 0.4, 0.0065), base + 1.0);
  // A steeper lapse rate thins the air more slowly with height (density
  // scale height T / (g M / R - lapse)), so the curved atmosphere bends low
  // rays less; an inversion-like isothermal layer bends them more.
  EXPECT_LT(refractionAt75(2000.0, 10.0, 800.0, 0.5, 0.55, 0.0100), base - 0.005);
  EXPECT_GT(refractionAt75(2000.0, 10.0, 800.0, 0.5, 0.55, 0.0), base + 0.005);
  // A higher site, at the pressure its height implies, refracts far less;
  // at the same pressure and temperature the height itself matters little.
  EXPECT_NEAR(refractionAt75(8000.0, 10.0, 800.0, 0.5, 0.55, 0.0065), base, 0.05);
  EXPECT_LT(refractionAt75(4000.0, 10.0, 1013.25 * std::exp(-4000.0 / 8149.9415), 0.5, 0.55,
                           0.0065),
            base - 10.0);
}

TEST(RefractionConstants, StayFiniteWhereTheModelWouldTrapRadioWaves) {
  // Saturated air at 50 C: the vapour pressure the model can carry without
  // a duct still refracts radio waves more than dry air, and no less than
  // saturated air at 40 C.
  double wet[2];
  double dry[2];
  double warm[2];
  refractionConstants(0.0, 323.15, 1013.25, 1.0, 1e4, 0.0, 0.0065, 1e-8, wet[0], wet[1]);
  refractionConstants(0.0, 323.15, 1013.25, 0.0, 1e4, 0.0, 0.0065, 1e-8, dry[0], dry[1]);
  refractionConstants(0.0, 313.15, 1013.25, 1.0, 1e4, 0.0, 0.0065, 1e-8, warm[0], warm[1]);
  ASSERT_TRUE(std::isfinite(wet[0]) && std::isfinite(wet[1]));
  EXPECT_GT(wet[0], dry[0] + 30.0 * kArcsec);
  EXPECT_GT(wet[0], warm[0]);
  EXPECT_LT(wet[1], 0.0);
}

// Zenith distance of a horizon vector.
double zenithDistance(const double v[3]) { return std::atan2(std::hypot(v[0], v[1]), v[2]); }

constexpr double kRefA = 58.24 * ERFA_DAS2R;  // an ordinary sea-level site
constexpr double kRefB = -0.0644 * ERFA_DAS2R;

TEST(VectorRefraction, RaisesTheDirectionSoTheFormulaHolds) {
  for (double zTrueDeg : {0.5, 20.0, 45.0, 70.0, 80.0, 84.0}) {
    double v[3];
    const double azimuth = 0.7;
    eraS2c(azimuth, (90.0 - zTrueDeg) * ERFA_DD2R, v);
    double observed[3];
    refractHorizonVector(v, kRefA, kRefB, observed);
    const double zObs = zenithDistance(observed);
    EXPECT_NEAR(zObs + formula(zObs, kRefA, kRefB), zTrueDeg * ERFA_DD2R, 1e-12);
    EXPECT_NEAR(std::atan2(observed[1], observed[0]), azimuth, 1e-12);
    EXPECT_NEAR(eraPm(observed), 1.0, 1e-15);
  }
}

TEST(VectorRefraction, StaysFiniteAndMonotonicNearAndBelowTheHorizon) {
  double previousZObs = 0.0;
  double previousRefraction = 0.0;
  for (double zTrueDeg = 75.0; zTrueDeg <= 120.0; zTrueDeg += 0.05) {
    double v[3];
    eraS2c(-2.0, (90.0 - zTrueDeg) * ERFA_DD2R, v);
    double observed[3];
    refractHorizonVector(v, kRefA, kRefB, observed);
    const double zObs = zenithDistance(observed);
    const double refraction = zTrueDeg * ERFA_DD2R - zObs;
    ASSERT_TRUE(std::isfinite(zObs)) << zTrueDeg;
    EXPECT_GT(zObs, previousZObs) << zTrueDeg;
    EXPECT_GE(refraction, previousRefraction - 1e-12) << zTrueDeg;
    EXPECT_LT(refraction, 35.0 * 60.0 * kArcsec) << zTrueDeg;  // horizon refraction ~35'
    previousZObs = zObs;
    previousRefraction = refraction;
  }
  // Down to 5 degrees elevation the formula still holds to a fraction of an arcminute.
  EXPECT_GT(previousRefraction, 9.0 * 60.0 * kArcsec);
}

TEST(VectorRefraction, LeavesTheZenithAndAnAirlessSiteAlone) {
  const double zenith[3] = {0.0, 0.0, 1.0};
  double observed[3];
  refractHorizonVector(zenith, kRefA, kRefB, observed);
  EXPECT_EQ(observed[2], 1.0);
  const double low[3] = {0.6, 0.8, 0.0};
  refractHorizonVector(low, 0.0, 0.0, observed);
  EXPECT_EQ(observed[0], 0.6);
  EXPECT_EQ(observed[1], 0.8);
  EXPECT_EQ(observed[2], 0.0);
}

}  // namespace
}  // namespace zenfit::astro
