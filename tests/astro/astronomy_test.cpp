// Positional astronomy against independent references: calendar dates,
// catalogue places carried to the place of date (astropy; Lieske et al.
// 1977), and refraction (a traced model atmosphere; ERFA's eraRefco).
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <utility>

#include "astro/astro.h"
#include "astro/reference_table.h"

namespace zenfit::astro {
namespace {

TEST(Calendar, FollowsTheGregorianRulesAndRefusesBadDates) {
  struct Case { int year, month, day, status; double mjd; };
  const Case cases[] = {
      {1858, 11, 17, 0, 0.0},    {2000, 1, 1, 0, 51544.0},  {1582, 10, 15, 0, -100840.0},
      {2024, 2, 29, 0, 60369.0}, {2000, 2, 29, 0, 51603.0}, {1600, 2, 29, 0, -94494.0},
      {1900, 3, 1, 0, 15079.0},  {2000, 12, 31, 0, 51909.0}, {1900, 2, 29, -3, 0.0},
      {2023, 2, 29, -3, 0.0},    {2100, 2, 29, -3, 0.0},    {2000, 4, 31, -3, 0.0},
      {2000, 1, 0, -3, 0.0},     {2000, 1, 32, -3, 0.0},    {2000, 0, 1, -2, 0.0},
      {2000, 13, 1, -2, 0.0},    {-4800, 1, 1, -1, 0.0}};
  for (const Case& c : cases) {
    double mjd = 123.0;  // a refused date leaves it alone
    EXPECT_EQ(calendarToMjd(c.year, c.month, c.day, mjd), c.status) << c.year << "-" << c.month;
    EXPECT_EQ(mjd, c.status == 0 ? c.mjd : 123.0) << c.year << "-" << c.month << "-" << c.day;
  }
}

// Each table's rows end with the reference place (RA, Dec) for the place
// or epochs that lead the row.
TEST(Places, MatchIndependentReferencesOverTheCenturiesAtAllDeclinations) {
  const std::pair<const char*, double> tables[] = {
      {"apparent_places.txt", 5.0},  // mean J2000.0 to apparent, 1980-2040: astropy ICRS to TETE
      {"fk4_precession.txt", 10.0},  // Newcomb, between Besselian epochs: astropy
      {"fk5_precession.txt", 10.0},  // IAU 1976, between Julian epochs: Lieske et al.
      {"fk4_to_fk5.txt", 50.0}};     // B1950.0 to J2000.0, E-terms and all: astropy
  for (const auto& [table, toleranceMas] : tables) {
    const auto rows = test::loadReferenceTable(table);
    ASSERT_GE(rows.size(), 100u) << table;
    const std::string kind = table;
    double worst = 0.0;
    for (const auto& row : rows) {
      double ra = row[2];
      double dec = row[3];
      if (kind == "apparent_places.txt") {
        ApparentPlaceContext context;
        prepareMeanToApparent(row[0], context);
        meanToApparent(row[1], row[2], context, ra, dec);
      }
      if (kind == "fk4_precession.txt") precessFk4(row[0], row[1], ra, dec);
      if (kind == "fk5_precession.txt") precessFk5(row[0], row[1], ra, dec);
      if (kind == "fk4_to_fk5.txt") fk4ToFk5(row[0], row[1], row[2], ra, dec);
      worst = std::max(worst, test::separationMas(ra, dec, row[row.size() - 2], row.back()));
    }
    EXPECT_LT(worst, toleranceMas) << table;
  }
}

// Refraction (radians) at zenith distance z from the constants A and B.
double formula(double z, double refA, double refB) {
  const double t = std::tan(z);
  return (refA + refB * t * t) * t;
}

// Refraction (arcsec) at zDeg from the constants for the conditions: height
// m, temperature K, pressure mB, humidity, wavelength um, latitude, lapse K/m.
using Weather = std::array<double, 7>;
double refraction(double zDeg, const Weather& w) {
  double refA = 0.0;
  double refB = 0.0;
  refractionConstants(w[0], w[1], w[2], w[3], w[4], w[5], w[6], 1e-8, refA, refB);
  return formula(zDeg * ERFA_DD2R, refA, refB) * ERFA_DR2AS;
}

TEST(RefractionConstants, ReproduceAnIndependentTraceAt60And70Degrees) {
  // Rows: ordinary flag, the conditions, then the traced refraction (rad)
  // at 45, atan 4, 60 and 70 degrees.
  for (const auto& row : test::loadReferenceTable("refraction.txt")) {
    if (row[0] != 1.0) continue;
    const Weather w{row[1], row[2], row[3], row[4], row[5], row[6], row[7]};
    EXPECT_NEAR(refraction(60.0, w), row[10] * ERFA_DR2AS, 0.01) << row[3];
    EXPECT_NEAR(refraction(70.0, w), row[11] * ERFA_DR2AS, 0.05) << row[3];
  }
}

TEST(RefractionConstants, AgreeWithErfaRefcoWithinATenthOfAnArcsecondTo70Degrees) {
  for (double mb : {1013.25, 800.0, 600.0})
    for (double celsius : {-10.0, 10.0, 25.0})
      for (double humidity : {0.0, 0.5, 1.0})
        for (double um : {0.4, 0.55, 1.0, 2.2}) {
          double refA = 0.0, refB = 0.0;
          eraRefco(mb, celsius, humidity, um, &refA, &refB);
          const Weather w{-8149.9415 * std::log(mb / 1013.25), celsius + 273.15, mb, humidity, um,
                          45.0 * ERFA_DD2R, 0.0065};
          for (double z = 10.0; z < 70.01; z += 10.0) {
            EXPECT_NEAR(refraction(z, w), formula(z * ERFA_DD2R, refA, refB) * ERFA_DR2AS, 0.1)
                << mb << " mB " << celsius << " C " << humidity << " " << um << " um z " << z;
          }
        }
}

TEST(RefractionConstants, FollowEachConditionTheRightWay) {
  const double lat = 40.0 * ERFA_DD2R;
  const Weather site{2000, 283.15, 800, 0.5, 0.55, lat, 0.0065};
  const Weather radio{2000, 283.15, 800, 0.5, 1e4, lat, 0.0065};
  const Weather hot{0, 323.15, 1013.25, 1, 1e4, lat, 0.0065};  // the wettest air it can carry
  // With one condition at `more` the refraction at 75 degrees exceeds that
  // at `less` by margin. A steeper lapse rate thins the air more slowly with
  // height (scale height T / (g M / R - lapse)), so the curved air bends less.
  struct Case { const char* why; Weather base; int field; double more, less, margin; };
  const Case cases[] = {
      {"colder", site, 1, 273.15, 283.15, 1.0}, {"denser", site, 2, 800, 700, 1.0},
      {"some air", site, 2, 1, 0, 0.0},         {"drier, light", site, 3, 0.5, 1, 0.1},
      {"wetter, radio", radio, 3, 1, 0, 10.0},  {"saturated, radio", hot, 3, 1, 0, 30.0},
      {"warmer wet air", hot, 1, 323.15, 313.15, 0.0}, {"bluer", site, 4, 0.4, 0.55, 1.0},
      {"less red", site, 4, 0.55, 0.8, 1.0},    {"shallower lapse", site, 6, 0.0065, 0.01, 0.005},
      {"isothermal", site, 6, 0, 0.0065, 0.005}};
  for (const Case& c : cases) {
    Weather more = c.base;
    Weather less = c.base;
    more[c.field] = c.more;
    less[c.field] = c.less;
    EXPECT_GT(refraction(75, more), refraction(75, less) + c.margin) << c.why;
  }
  EXPECT_EQ(refraction(75, {2000, 283.15, -5, 0.5, 0.55, lat, 0.0065}), 0.0);  // no air
  // At the same pressure and temperature the height itself matters little.
  EXPECT_NEAR(refraction(75, {8000, 283.15, 800, 0.5, 0.55, lat, 0.0065}), refraction(75, site),
              0.05);
}

TEST(VectorRefraction, HoldsTheFormulaAndStaysMonotonicToBelowTheHorizon) {
  const double refA = 58.24 * ERFA_DAS2R;  // an ordinary sea-level site
  const double refB = -0.0644 * ERFA_DAS2R;
  const double zenith[3] = {0.0, 0.0, 1.0};
  double seen[3];
  refractHorizonVector(zenith, refA, refB, seen);
  EXPECT_EQ(seen[2], 1.0);
  double previousZ = -1.0;
  double previousRefraction = 0.0;
  for (double zTrue = 0.05 * ERFA_DD2R; zTrue < 120.0 * ERFA_DD2R; zTrue += 0.05 * ERFA_DD2R) {
    double v[3];
    eraS2c(0.7, ERFA_DPI / 2.0 - zTrue, v);
    refractHorizonVector(v, refA, refB, seen);
    const double z = std::atan2(std::hypot(seen[0], seen[1]), seen[2]);
    ASSERT_TRUE(std::isfinite(z)) << zTrue;
    if (zTrue < 84.0 * ERFA_DD2R) {
      EXPECT_NEAR(z + formula(z, refA, refB), zTrue, 1e-12);
    }
    EXPECT_NEAR(std::atan2(seen[1], seen[0]), 0.7, 1e-12);  // azimuth kept
    EXPECT_GT(z, previousZ) << zTrue;
    EXPECT_GE(zTrue - z, previousRefraction - 1e-12) << zTrue;
    EXPECT_LT(zTrue - z, 35.0 * 60.0 * ERFA_DAS2R) << zTrue;  // horizon refraction ~35'
    previousZ = z;
    previousRefraction = zTrue - z;
  }
}

}  // namespace
}  // namespace zenfit::astro
