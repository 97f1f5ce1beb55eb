// Precession, FK4 to FK5 and proper motion, against independent references.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "astro/astro.h"
#include "astro/reference_table.h"

namespace zenfit::astro {
namespace {

using test::loadReferenceTable;
using test::separationMas;

// Largest error (mas) of a precession routine over a table of rows
// (from, to, ra, dec, ra', dec').
template <typename Precess>
double worstPrecessionErrorMas(const char* table, Precess precess) {
  const auto rows = loadReferenceTable(table);
  EXPECT_GE(rows.size(), 100u) << table;
  double worst = 0.0;
  for (const auto& row : rows) {
    double ra = row[2];
    double dec = row[3];
    precess(row[0], row[1], ra, dec);
    worst = std::max(worst, separationMas(ra, dec, row[4], row[5]));
  }
  return worst;
}

TEST(Precession, Fk4NewcombMatchesAstropyWithin10MasOverACentury) {
  EXPECT_LT(worstPrecessionErrorMas("fk4_precession.txt", precessFk4), 10.0);
}

TEST(Precession, Fk5Iau1976MatchesLieskeWithin10MasOverACentury) {
  EXPECT_LT(worstPrecessionErrorMas("fk5_precession.txt", precessFk5), 10.0);
}

TEST(Fk4ToFk5, MatchesAstropyWithin50Mas) {
  const auto rows = loadReferenceTable("fk4_to_fk5.txt");
  ASSERT_GE(rows.size(), 100u);
  double worst = 0.0;
  for (const auto& row : rows) {
    double ra = 0.0;
    double dec = 0.0;
    fk4ToFk5(row[0], row[1], row[2], ra, dec);
    worst = std::max(worst, separationMas(ra, dec, row[3], row[4]));
  }
  EXPECT_LT(worst, 50.0);
}

constexpr double kMasPerYear = ERFA_DAS2R / 1000.0;

TEST(ProperMotion, MovesAlongTheGreatCircleForTheElapsedYears) {
  // 20 Julian years after J2000.0, and 50 tropical years after B1950.0.
  const double j2020 = 51544.5 + 20.0 * 365.25;
  double ra = 1.0;
  double dec = 0.0;
  applyProperMotion(ra, dec, 0.0, 1000.0 * kMasPerYear, 2000.0, false, j2020);
  EXPECT_NEAR(ra, 1.0, 1e-15);
  EXPECT_NEAR(dec * ERFA_DR2AS, 20.0, 1e-6);
  const double b2000 = 33281.9235 + 50.0 * 365.242198781;
  ra = 2.0;
  dec = 0.0;
  applyProperMotion(ra, dec, 100.0 * kMasPerYear, 0.0, 1950.0, true, b2000);
  EXPECT_NEAR((ra - 2.0) * ERFA_DR2AS, 5.0, 1e-5);
  EXPECT_NEAR(dec, 0.0, 1e-15);
}

TEST(ProperMotion, NearThePoleTheShiftOnTheSkyIsTheTotalMotion) {
  // A star 3" from the pole with a large RA rate: linear changes in RA and
  // Dec would swing it far round the pole; the true shift is atan(mu t).
  const double dec0 = ERFA_DPI / 2.0 - 3.0 * ERFA_DAS2R;
  const double pmRa = 5000.0 * kMasPerYear / std::cos(dec0);  // 5"/yr on the sky
  const double pmDec = -2000.0 * kMasPerYear;
  double ra = 0.3;
  double dec = dec0;
  applyProperMotion(ra, dec, pmRa, pmDec, 2000.0, false, 51544.5 + 10.0 * 365.25);
  ASSERT_TRUE(std::isfinite(ra) && std::isfinite(dec));
  const double expectedMas = std::atan(10.0 * std::hypot(5000.0, 2000.0) * kMasPerYear) *
                             ERFA_DR2AS * 1000.0;
  EXPECT_NEAR(separationMas(0.3, dec0, ra, dec), expectedMas, 0.01);
}

}  // namespace
}  // namespace zenfit::astro
