// The run parameters record: field counts, dates, ranges, pressure and height.
#include <gtest/gtest.h>

#include <cmath>

#include "constants.h"
#include "data/run_parameters.h"

namespace zenfit {
namespace {

bool accepts(const char* record) {
  RunParameters p;
  return parseRunParameters(record, p);
}

TEST(RunParameters, CountsOfThreeAndSixToTwelveFields) {
  EXPECT_TRUE(accepts("+51 28 38"));
  EXPECT_FALSE(accepts("+51"));
  EXPECT_FALSE(accepts("+51 28"));
  EXPECT_FALSE(accepts("+51 28 38 2020"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5"));
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17"));
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17 10 1000"));
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17 10 1000 100 0.5 0.55 0.0065"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 10 1000 100 0.5 0.55 0.0065 1"));
  EXPECT_FALSE(accepts("+51 28 38 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21"));
  EXPECT_FALSE(accepts(""));
}

TEST(RunParameters, LatitudeSignLivesInTheDegrees) {
  RunParameters p;
  ASSERT_TRUE(parseRunParameters("-00 30 00", p));
  EXPECT_DOUBLE_EQ(p.latitude, -0.5 * kRadianPerDegree);
  ASSERT_TRUE(parseRunParameters("+90 00 00", p));
  EXPECT_EQ(p.latitude, kHalfPi);
  ASSERT_TRUE(parseRunParameters("-90,0,0", p));
  EXPECT_EQ(p.latitude, -kHalfPi);
  EXPECT_FALSE(accepts("+90 00 01"));
  EXPECT_FALSE(accepts("+100 00 00"));
  EXPECT_FALSE(accepts("+51 60 00"));
  EXPECT_FALSE(accepts("+51.5 0 0"));
  EXPECT_FALSE(accepts("+51 -1 0"));
  EXPECT_FALSE(accepts(",28,38"));
}

TEST(RunParameters, DatesMustBeCalendarDates) {
  RunParameters p;
  ASSERT_TRUE(parseRunParameters("+51 28 38 2020 5 17.25", p));
  EXPECT_TRUE(p.dated);
  EXPECT_FALSE(p.meteorology);
  EXPECT_DOUBLE_EQ(p.mjd, 58986.25);  // 2020-05-17 is MJD 58986
  EXPECT_EQ(p.year, 2020);
  EXPECT_EQ(p.month, 5);
  EXPECT_EQ(p.day, 17.25);
  EXPECT_FALSE(accepts("+51 28 38 2020.5 5 17"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5.5 17"));
  EXPECT_FALSE(accepts("+51 28 38 2020 13 17"));
  EXPECT_FALSE(accepts("+51 28 38 2024 2 30"));
  EXPECT_TRUE(accepts("+51 28 38 2024 2 29.99"));
  EXPECT_FALSE(accepts("+51 28 38 2023 2 29"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 0"));
  EXPECT_FALSE(accepts("+51 28 38 1E100 5 17"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 1E100"));
  EXPECT_FALSE(accepts("+51 28 38 NaN 5 17"));
  EXPECT_FALSE(accepts("+51 28 38 B2020 5 17"));
  // A date not supplied takes its default, 1996 January 1.
  ASSERT_TRUE(parseRunParameters("+51 28 38,,,,", p));  // a comma ends each field
  EXPECT_EQ(p.fieldCount, 6);
  EXPECT_EQ(p.year, 1996);
  EXPECT_DOUBLE_EQ(p.mjd, 50083.0);
}

TEST(RunParameters, MeteorologicalRangesIncludeTheirEnds) {
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17 50 1000"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 50.1 1000"));
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17 -50 1000"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 -50.1 1000"));
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17 10 2000"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 10 2000.1"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 10 -1"));
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17 10 1000 20000"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 10 1000 -1000.5"));
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17 10 1000 0 1"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 10 1000 0 1.01"));
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17 10 1000 0 0.5 0.1"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 10 1000 0 0.5 0.09"));
  EXPECT_TRUE(accepts("+51 28 38 2020 5 17 10 1000 0 0.5 0.5 0.01"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 10 1000 0 0.5 0.5 0.0101"));
}

TEST(RunParameters, PressureAndHeightStandInForEachOther) {
  RunParameters p;
  // Height given, pressure not: the standard atmosphere's pressure.
  ASSERT_TRUE(parseRunParameters("+51 28 38 2020 5 17 10,,2000", p));
  EXPECT_FALSE(p.supplied[run_field::kPressure]);
  EXPECT_EQ(p.pressure, 0.0);  // as given, for the host
  EXPECT_NEAR(p.effectivePressure, 1013.25 * std::exp(-2000.0 / 8149.9415), 1e-9);
  EXPECT_EQ(p.effectiveHeight, 2000.0);
  // Pressure given, height not (left off the end, or an empty field).
  ASSERT_TRUE(parseRunParameters("+51 28 38 2020 5 17 10 700", p));
  EXPECT_NEAR(p.effectiveHeight, -8149.9415 * std::log(700.0 / 1013.25), 1e-9);
  ASSERT_TRUE(parseRunParameters("+51 28 38 2020 5 17 10 700,,0.3", p));
  EXPECT_NEAR(p.effectiveHeight, -8149.9415 * std::log(700.0 / 1013.25), 1e-9);
  EXPECT_EQ(p.humidity, 0.3);
  EXPECT_EQ(p.wavelength, 0.55);
  EXPECT_EQ(p.lapseRate, 0.0065);
  ASSERT_TRUE(parseRunParameters("+51 28 38 2020 5 17 10 0", p));
  EXPECT_EQ(p.effectiveHeight, 0.0);
  // Neither: nothing to say how much air there is.
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 10"));
  EXPECT_FALSE(accepts("+51 28 38 2020 5 17 10,,,0.5"));
}

}  // namespace
}  // namespace zenfit
