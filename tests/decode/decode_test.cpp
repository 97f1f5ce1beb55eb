// The free-format decoder every command argument, observation file and
// catalogue goes through.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include "base/constants.h"
#include "base/decode.h"

namespace zenfit {
namespace {

constexpr double kKept = 99.0;  // the value a null or bad field leaves alone

TEST(DecodeEpoch, ReadsOneNumberOrEpochAndLeavesThePositionOnTheNextField) {
  const int kOk = kDecodedNumber, kNeg = kDecodedNegative, kNull = kDecodedNull,
            kBad = kDecodedError;
  const struct {
    std::string text;
    int status;
    double value;
    int next = 0, kind = kEpochPlain, pos = 1;  // next 0: not checked
  } cases[] = {
      {"  12.5 , 3", kOk, 12.5, 10}, {"  12.5 , 3", kOk, 3.0, 11, kEpochPlain, 10},
      {",,", kNull, kKept, 2}, {"   ", kNull, kKept, 4}, {"-0", kNeg, -0.0, 3},
      // A letter ends a number, and there it is a null field that stays put.
      {"12x", kOk, 12.0, 3}, {"12x", kNull, kKept, 3, kEpochPlain, 3}, {"- 7", kNeg, -7.0, 4},
      {"+.25", kOk, 0.25, 5}, {". 5", kOk, 0.5, 4}, {"-x", kBad, kKept}, {".x", kBad, kKept},
      {"E2", kOk, 100.0, 3}, {"1.5d-3", kOk, 1.5e-3, 7}, {"2E + 3", kOk, 2000.0, 7},
      {"1E100", kOk, 1e100, 6}, {"1.5E101", kBad, kKept}, {"1E-", kBad, kKept},
      {"END", kBad, kKept}, {"1" + std::string(400, '0'), kBad, kKept},  // beyond a double
      // Decimal fractions come out as the nearest double, as a compiler reads them.
      {"59.999", kOk, 59.999, 7}, {"-89.8", kNeg, -89.8, 6},
      {"J2000", kOk, 2000.0, 6, kEpochJulian}, {" b1950.0", kOk, 1950.0, 9, kEpochBesselian},
      {"B", kNull, kKept, 1},  // a letter without a number is no epoch
  };
  for (const auto& c : cases) {
    int pos = c.pos, status = -9, kind = -9;
    double value = kKept;
    decodeEpoch(c.text.c_str(), pos, value, status, kind);
    EXPECT_EQ(std::tuple(status, value, std::signbit(value), kind, c.next == 0 ? 0 : pos),
              std::tuple(c.status, c.value, std::signbit(c.value), c.kind, c.next)) << c.text;
  }
}

TEST(SplitFields, CountsUpToTwentyThenFlagsAnyMoreAndMinusOneForAnError) {
  double values[kMaxFields];
  int statuses[kMaxFields], kinds[kMaxFields];
  const std::string twenty = "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 ";
  const std::pair<std::string, int> cases[] = {{"1 2 3, 4", 4}, {"1 2 ,, 3", 2}, {"1 2 3-x", -1},
                                               {"1 2 E 3", 3},  {"", 0},         {twenty, 20},
                                               {twenty + "1", 21}};
  for (const auto& [text, count] : cases) {
    EXPECT_EQ(splitFields(text.c_str(), values, statuses, kinds), count) << text;
  }
}

TEST(CheckSexagesimal, RangesSignsAndReadingsOverThePole) {
  const int kHours = kSexHours, kDegrees = kSexDegrees;
  const double hour = kRadianPerHour, degree = kRadianPerDegree;
  // (mode, fields, result, angle in radians: 7 when left unchanged)
  const std::tuple<int, const char*, int, double> cases[] = {
      {kHours, "23 59 59.999", 0, 86399.999 * kRadianPerTimeSecond},
      {kHours, "12 30", 0, 12.5 * hour}, {kHours, "24 0 0", -1, 7.0}, {kHours, "-1 0 0", -1, 7.0},
      {kHours, "12 60 0", -1, 7.0}, {kHours, "12 0 60", -1, 7.0}, {kHours, "12.5 0 0", -1, 7.0},
      {kDegrees, "-00 30 00", 0, -0.5 * degree},  // the sign of a zero field counts
      {kDegrees, "270 0 0", -1, 7.0}, {kDegrees, "10 -5 0", -1, 7.0},
      // 90 degrees or more: a reading over the pole.
      {kDegrees, "90 0 0", 1, 90.0 * degree}, {kDegrees, "100 0 0", 1, 80.0 * degree},
      {kDegrees, "-100 0 0", 1, -80.0 * degree},
  };
  for (const auto& [mode, text, result, expected] : cases) {
    double values[kMaxFields], angle = 7.0;
    int statuses[kMaxFields], kinds[kMaxFields];
    const int count = splitFields(text, values, statuses, kinds);
    EXPECT_EQ(checkSexagesimal(mode, values, statuses, count, angle), result) << text;
    EXPECT_NEAR(angle, expected, 1e-14) << text;
  }
}

}  // namespace
}  // namespace zenfit
