// The free-format decoder every command argument, observation file and
// catalogue goes through.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "constants.h"
#include "data/decode.h"

namespace zenfit {
namespace {

constexpr double kUnchanged = 99.0;

TEST(DecodeNumber, ReadsOneFieldAndLeavesThePositionOnTheNext) {
  const struct {
    std::string text;
    int pos, status;
    double value;
    int next;  // 0: not checked
  } cases[] = {
      {"  12.5 , 3", 1, kDecodedNumber, 12.5, 10},
      {"  12.5 , 3", 10, kDecodedNumber, 3.0, 11},
      {",,", 1, kDecodedNull, kUnchanged, 2},
      {"   ", 1, kDecodedNull, kUnchanged, 4},
      {"12x", 1, kDecodedNumber, 12.0, 3},  // a letter ends the number ...
      {"12x", 3, kDecodedNull, kUnchanged, 3},  // ... and is a null field that stays put
      {"-0", 1, kDecodedNegative, -0.0, 3},
      {"- 7", 1, kDecodedNegative, -7.0, 4},
      {"+.25", 1, kDecodedNumber, 0.25, 5},
      {". 5", 1, kDecodedNumber, 0.5, 4},
      {"-x", 1, kDecodedError, kUnchanged, 0},
      {".x", 1, kDecodedError, kUnchanged, 0},
      {"E2", 1, kDecodedNumber, 100.0, 3},
      {"1.5d-3", 1, kDecodedNumber, 1.5e-3, 7},
      {"2E + 3", 1, kDecodedNumber, 2000.0, 7},
      {"1E100", 1, kDecodedNumber, 1e100, 6},
      {"1.5E101", 1, kDecodedError, kUnchanged, 0},
      {"1E", 1, kDecodedError, kUnchanged, 0},
      {"1E-", 1, kDecodedError, kUnchanged, 0},
      {"END", 1, kDecodedError, kUnchanged, 0},
      {"1" + std::string(400, '0'), 1, kDecodedError, kUnchanged, 0},  // beyond a double
      // Decimal fractions come out as the nearest double, as a compiler reads them.
      {"0.1", 1, kDecodedNumber, 0.1, 4},
      {"59.999", 1, kDecodedNumber, 59.999, 7},
      {"1013.25", 1, kDecodedNumber, 1013.25, 8},
      {"-89.8", 1, kDecodedNegative, -89.8, 6},
  };
  for (const auto& c : cases) {
    int pos = c.pos;
    int status = -9;
    double value = kUnchanged;
    decodeNumber(c.text.c_str(), pos, value, status);
    EXPECT_EQ(status, c.status) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_TRUE(c.next == 0 || pos == c.next) << c.text << " ends at " << pos;
    EXPECT_EQ(std::signbit(value), std::signbit(c.value)) << c.text;
  }
}

TEST(DecodeEpoch, ALetterGivesTheKindOnlyWhenANumberFollows) {
  const struct {
    const char* text;
    int status, kind;
    double value;
    int next;
  } cases[] = {
      {"J2000", kDecodedNumber, kEpochJulian, 2000.0, 6},
      {" b1950.0", kDecodedNumber, kEpochBesselian, 1950.0, 9},
      {"B", kDecodedNull, kEpochPlain, kUnchanged, 1},
      {"1950", kDecodedNumber, kEpochPlain, 1950.0, 5},
  };
  for (const auto& c : cases) {
    int pos = 1, status = -9, kind = -9;
    double value = kUnchanged;
    decodeEpoch(c.text, pos, value, status, kind);
    EXPECT_EQ(status, c.status) << c.text;
    EXPECT_EQ(kind, c.kind) << c.text;
    EXPECT_EQ(value, c.value) << c.text;
    EXPECT_EQ(pos, c.next) << c.text;
  }
}

TEST(SplitFields, CountsUpToTwentyThenFlagsAnyMoreAndMinusOneForAnError) {
  double values[kMaxFields];
  int statuses[kMaxFields], kinds[kMaxFields];
  std::string twenty;
  for (int i = 0; i < 20; ++i) twenty += "1 ";
  const struct {
    std::string text;
    int count;
  } cases[] = {{"1 2 3, 4", 4}, {"1 2 ,, 3", 2}, {"1 2 3-x", -1}, {"1 2 E 3", 3},
               {"", 0},         {twenty, 20},   {twenty + "1", 21}};
  for (const auto& c : cases) {
    EXPECT_EQ(splitFields(c.text.c_str(), values, statuses, kinds), c.count) << c.text;
  }
  EXPECT_EQ(splitFields("12 34 56.7 J2000", values, statuses, kinds), 4);
  EXPECT_EQ(values[3], 2000.0);
  EXPECT_EQ(kinds[3], kEpochJulian);
}

TEST(CheckSexagesimal, RangesSignsAndReadingsOverThePole) {
  const double hour = kRadianPerHour, degree = kRadianPerDegree;
  const struct {
    int mode;
    const char* text;
    int result;
    double angle;  // radians; 7 when left unchanged
  } cases[] = {
      {kSexHours, "23 59 59.999", 0, 86399.999 * kRadianPerTimeSecond},
      {kSexHours, "12 30", 0, 12.5 * hour},
      {kSexHours, "24 0 0", -1, 7.0},
      {kSexHours, "-1 0 0", -1, 7.0},
      {kSexHours, "12 60 0", -1, 7.0},
      {kSexHours, "12 0 60", -1, 7.0},
      {kSexHours, "12.5 0 0", -1, 7.0},
      {kSexDegrees, "-00 30 00", 0, -0.5 * degree},  // the sign of a zero field counts
      {kSexDegrees, "+45 0 0", 0, 45.0 * degree},
      {kSexDegrees, "270 0 0", -1, 7.0},
      {kSexDegrees, "10 -5 0", -1, 7.0},
      {kSexDegrees, "90 0 0", 1, 90.0 * degree},  // 90 or more: read over the pole
      {kSexDegrees, "100 0 0", 1, 80.0 * degree},
      {kSexDegrees, "-100 0 0", 1, -80.0 * degree},
  };
  for (const auto& c : cases) {
    double values[kMaxFields], angle = 7.0;
    int statuses[kMaxFields], kinds[kMaxFields];
    const int count = splitFields(c.text, values, statuses, kinds);
    EXPECT_EQ(checkSexagesimal(c.mode, values, statuses, count, angle), c.result) << c.text;
    EXPECT_NEAR(angle, c.angle, 1e-14) << c.text;
  }
}

}  // namespace
}  // namespace zenfit
