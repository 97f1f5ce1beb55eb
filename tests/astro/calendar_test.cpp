// Calendar dates, epochs, and the site's distances and diurnal aberration.
#include <gtest/gtest.h>

#include <cmath>

#include "astro/astro.h"
#include "astro/reference_table.h"

namespace zenfit::astro {
namespace {

double mjdOf(int year, int month, int day) {
  double mjd = -1e9;
  EXPECT_EQ(calendarToMjd(year, month, day, mjd), 0) << year << "-" << month << "-" << day;
  return mjd;
}

TEST(Calendar, KnownDatesGiveTheirModifiedJulianDates) {
  EXPECT_EQ(mjdOf(1858, 11, 17), 0.0);
  EXPECT_EQ(mjdOf(2000, 1, 1), 51544.0);
  EXPECT_EQ(mjdOf(1582, 10, 15), -100840.0);  // first day of the Gregorian calendar
  EXPECT_EQ(mjdOf(1900, 3, 1), 15079.0);
  EXPECT_EQ(mjdOf(2024, 3, 1), 60370.0);
}

TEST(Calendar, LeapYearsFollowTheGregorianRules) {
  // Every fourth year, but not centuries unless divisible by 400.
  EXPECT_EQ(mjdOf(2024, 2, 29) + 1.0, mjdOf(2024, 3, 1));
  EXPECT_EQ(mjdOf(2000, 2, 29) + 1.0, mjdOf(2000, 3, 1));
  EXPECT_EQ(mjdOf(1600, 2, 29) + 1.0, mjdOf(1600, 3, 1));
  double mjd = 123.0;
  EXPECT_EQ(calendarToMjd(1900, 2, 29, mjd), -3);
  EXPECT_EQ(calendarToMjd(2023, 2, 29, mjd), -3);
  EXPECT_EQ(calendarToMjd(2100, 2, 29, mjd), -3);
  EXPECT_EQ(mjd, 123.0);
}

TEST(Calendar, BadYearMonthOrDayIsRefusedAndLeavesTheDate) {
  double mjd = 123.0;
  EXPECT_EQ(calendarToMjd(-4800, 1, 1, mjd), -1);
  EXPECT_EQ(calendarToMjd(2000, 0, 1, mjd), -2);
  EXPECT_EQ(calendarToMjd(2000, 13, 1, mjd), -2);
  EXPECT_EQ(calendarToMjd(2000, 1, 0, mjd), -3);
  EXPECT_EQ(calendarToMjd(2000, 1, 32, mjd), -3);
  EXPECT_EQ(calendarToMjd(2000, 4, 31, mjd), -3);
  EXPECT_EQ(mjd, 123.0);
  EXPECT_EQ(calendarToMjd(2000, 12, 31, mjd), 0);
}

TEST(Calendar, EpochsOfTheStandardEquinoxes) {
  EXPECT_NEAR(julianEpoch(51544.5), 2000.0, 1e-12);          // J2000.0
  EXPECT_NEAR(besselianEpoch(33281.9235), 1950.0, 1e-6);     // B1950.0 = JD 2433282.4235
  EXPECT_NEAR(besselianEpoch(15019.81352), 1900.0, 1e-6);    // B1900.0 = JD 2415020.31352
}

TEST(Site, DistancesFromAxisAndEquatorOnTheWgs84Ellipsoid) {
  const double au = 149597870700.0;
  double axis = 0.0;
  double equator = 1.0;
  siteDistances(0.0, 0.0, axis, equator);
  EXPECT_NEAR(axis * au, 6378137.0, 1e-3);  // equatorial radius
  EXPECT_NEAR(equator * au, 0.0, 1e-3);
  siteDistances(ERFA_DPI / 2.0, 0.0, axis, equator);
  EXPECT_NEAR(axis * au, 0.0, 1e-3);
  EXPECT_NEAR(equator * au, 6356752.3142, 1e-3);  // polar radius
  siteDistances(-30.0 * ERFA_DD2R, 2000.0, axis, equator);
  EXPECT_NEAR(axis * au, 5529988.69, 0.01);
  EXPECT_NEAR(equator * au, -3171373.74, 0.01);  // southern sites lie below the equator plane
}

TEST(Site, DiurnalAberrationConstantAgreesWithErfaAndTheClassicalValue) {
  double axis = 0.0;
  double equator = 0.0;
  siteDistances(0.0, 0.0, axis, equator);
  // The classical constant of diurnal aberration at the equator: 0.320".
  EXPECT_NEAR(diurnalAberrationConstant(axis) * ERFA_DR2AS, 0.3200, 0.0005);
  for (double latitudeDeg : {-70.0, -20.0, 19.8, 52.0}) {
    const double latitude = latitudeDeg * ERFA_DD2R;
    siteDistances(latitude, 4200.0, axis, equator);
    eraASTROM astrom{};
    eraApio(0.0, 0.0, 0.0, latitude, 4200.0, 0.0, 0.0, 0.0, 0.0, &astrom);
    EXPECT_NEAR(diurnalAberrationConstant(axis), astrom.diurab, 1e-6 * astrom.diurab);
  }
}

}  // namespace
}  // namespace zenfit::astro
