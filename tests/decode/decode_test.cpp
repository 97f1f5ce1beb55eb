#include <gtest/gtest.h>

#include <cmath>

#include "constants.h"
#include "data/decode.h"

namespace zenfit {
namespace {

struct Decoded {
  double value;
  int status;
  int pos;
};

Decoded decode(const char* text, int pos = 1, double initial = 99.0) {
  Decoded d{initial, -9, pos};
  decodeNumber(text, d.pos, d.value, d.status);
  return d;
}

TEST(DecodeNumber, ReadsOneFieldAndLeavesThePositionOnTheNext) {
  const Decoded d = decode("  12.5 , 3");
  EXPECT_EQ(d.status, kDecodedNumber);
  EXPECT_DOUBLE_EQ(d.value, 12.5);
  EXPECT_EQ(d.pos, 10);  // on the 3
  const Decoded next = decode("  12.5 , 3", d.pos);
  EXPECT_DOUBLE_EQ(next.value, 3.0);
}

TEST(DecodeNumber, NullFieldsLeaveTheValueAlone) {
  const Decoded commas = decode(",,");
  EXPECT_EQ(commas.status, kDecodedNull);
  EXPECT_EQ(commas.pos, 2);
  EXPECT_DOUBLE_EQ(commas.value, 99.0);
  EXPECT_EQ(decode("   ").status, kDecodedNull);
  // A letter ends the number; decoding there gives a null field that does not move.
  const Decoded twelve = decode("12x");
  EXPECT_DOUBLE_EQ(twelve.value, 12.0);
  EXPECT_EQ(twelve.pos, 3);
  const Decoded atLetter = decode("12x", 3);
  EXPECT_EQ(atLetter.status, kDecodedNull);
  EXPECT_EQ(atLetter.pos, 3);
}

TEST(DecodeNumber, SignsAndMinusZero) {
  const Decoded minusZero = decode("-0");
  EXPECT_EQ(minusZero.status, kDecodedNegative);
  EXPECT_TRUE(std::signbit(minusZero.value));
  EXPECT_DOUBLE_EQ(decode("- 7").value, -7.0);
  EXPECT_DOUBLE_EQ(decode("+.25").value, 0.25);
  EXPECT_EQ(decode("-x").status, kDecodedError);
  EXPECT_EQ(decode(". 5").status, kDecodedNumber);
  EXPECT_EQ(decode(".x").status, kDecodedError);
}

TEST(DecodeNumber, ExponentsWithDOrEUpToOneHundred) {
  EXPECT_DOUBLE_EQ(decode("E2").value, 100.0);
  EXPECT_DOUBLE_EQ(decode("1.5d-3").value, 1.5e-3);
  EXPECT_DOUBLE_EQ(decode("2E + 3").value, 2000.0);
  EXPECT_EQ(decode("1.5E100").status, kDecodedNumber);
  EXPECT_EQ(decode("1.5E101").status, kDecodedError);
  EXPECT_EQ(decode("1E").status, kDecodedError);
  EXPECT_EQ(decode("1E-").status, kDecodedError);
  EXPECT_EQ(decode("END").status, kDecodedError);
}

TEST(DecodeNumber, DecimalFractionsAreExact) {
  EXPECT_EQ(decode("0.1").value, 0.1);
  EXPECT_EQ(decode("59.999").value, 59.999);
  EXPECT_EQ(decode("1013.25").value, 1013.25);
  EXPECT_EQ(decode("-89.8").value, -89.8);
}

TEST(DecodeNumber, RefusesAnOverflowingRunOfDigits) {
  const std::string digits = "1" + std::string(400, '0');
  Decoded d{5.0, 0, 1};
  decodeNumber(digits.c_str(), d.pos, d.value, d.status);
  EXPECT_EQ(d.status, kDecodedError);
  EXPECT_DOUBLE_EQ(d.value, 5.0);
}

TEST(DecodeEpoch, LettersGiveTheKind) {
  double value = 0.0;
  int status = 0;
  int kind = -1;
  int pos = 1;
  decodeEpoch("J2000", pos, value, status, kind);
  EXPECT_EQ(kind, kEpochJulian);
  EXPECT_DOUBLE_EQ(value, 2000.0);
  pos = 1;
  decodeEpoch(" b1950.0", pos, value, status, kind);
  EXPECT_EQ(kind, kEpochBesselian);
  EXPECT_DOUBLE_EQ(value, 1950.0);
  pos = 1;
  value = 7.0;
  decodeEpoch("B", pos, value, status, kind);
  EXPECT_EQ(status, kDecodedNull);
  EXPECT_EQ(kind, kEpochPlain);
  EXPECT_EQ(pos, 1);
  EXPECT_DOUBLE_EQ(value, 7.0);
}

TEST(SplitFields, CountsStopsAndFlagsErrorsAndOverflow) {
  double values[kMaxFields];
  int statuses[kMaxFields];
  int kinds[kMaxFields];
  EXPECT_EQ(splitFields("1 2 3, 4", values, statuses, kinds), 4);
  EXPECT_DOUBLE_EQ(values[3], 4.0);
  EXPECT_EQ(splitFields("1 2 ,, 3", values, statuses, kinds), 2);
  EXPECT_EQ(splitFields("1 2 3-x", values, statuses, kinds), -1);
  EXPECT_EQ(splitFields("1 2 E 3", values, statuses, kinds), 3);  // E 3 is 1000
  EXPECT_EQ(splitFields("", values, statuses, kinds), 0);
  std::string twenty;
  for (int i = 0; i < 20; ++i) twenty += "1 ";
  EXPECT_EQ(splitFields(twenty.c_str(), values, statuses, kinds), 20);
  EXPECT_EQ(splitFields((twenty + "1").c_str(), values, statuses, kinds), 21);
  EXPECT_EQ(splitFields("12 34 56.7 J2000", values, statuses, kinds), 4);
  EXPECT_EQ(kinds[3], kEpochJulian);
}

int sexagesimal(int mode, const char* text, double& angle) {
  double values[kMaxFields];
  int statuses[kMaxFields];
  int kinds[kMaxFields];
  const int count = splitFields(text, values, statuses, kinds);
  return checkSexagesimal(mode, values, statuses, count, angle);
}

TEST(CheckSexagesimal, HoursInRangeWithoutSign) {
  double angle = 0.0;
  EXPECT_EQ(sexagesimal(kSexHours, "23 59 59.999", angle), 0);
  EXPECT_NEAR(angle, (86399.999) * kRadianPerTimeSecond, 1e-15);
  EXPECT_EQ(sexagesimal(kSexHours, "24 0 0", angle), -1);
  EXPECT_EQ(sexagesimal(kSexHours, "-1 0 0", angle), -1);
  EXPECT_EQ(sexagesimal(kSexHours, "12 60 0", angle), -1);
  EXPECT_EQ(sexagesimal(kSexHours, "12 30", angle), 0);
  EXPECT_NEAR(angle, 12.5 * kRadianPerHour, 1e-15);
  EXPECT_EQ(sexagesimal(kSexHours, "12.5 0 0", angle), -1);
  EXPECT_EQ(sexagesimal(kSexHours, "12 0 60", angle), -1);
}

TEST(CheckSexagesimal, DegreesTakeTheirSignFromTheFirstFieldEvenAtZero) {
  double angle = 0.0;
  EXPECT_EQ(sexagesimal(kSexDegrees, "-00 30 00", angle), 0);
  EXPECT_NEAR(angle, -0.5 * kRadianPerDegree, 1e-15);
  EXPECT_EQ(sexagesimal(kSexDegrees, "+45 0 0", angle), 0);
  EXPECT_NEAR(angle, 45.0 * kRadianPerDegree, 1e-15);
  EXPECT_EQ(sexagesimal(kSexDegrees, "270 0 0", angle), -1);
  EXPECT_EQ(sexagesimal(kSexDegrees, "10 -5 0", angle), -1);
}

TEST(CheckSexagesimal, NinetyDegreesOrMoreIsAReadingOverThePole) {
  double angle = 0.0;
  EXPECT_EQ(sexagesimal(kSexDegrees, "100 0 0", angle), 1);
  EXPECT_NEAR(angle, 80.0 * kRadianPerDegree, 1e-14);
  EXPECT_EQ(sexagesimal(kSexDegrees, "-100 0 0", angle), 1);
  EXPECT_NEAR(angle, -80.0 * kRadianPerDegree, 1e-14);
  EXPECT_EQ(sexagesimal(kSexDegrees, "90 0 0", angle), 1);
  EXPECT_NEAR(angle, 90.0 * kRadianPerDegree, 1e-14);
}

}  // namespace
}  // namespace zenfit
