// OUTDAT: the exact file, the rounding, and reading the file back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>

#include "astro/vectors.h"
#include "constants.h"
#include "data/observation_writer.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

std::string text(const Sexagesimal& s) {
  char out[64];
  std::snprintf(out, sizeof out, "%c%ld %ld %ld.%ld", s.sign, s.lead, s.minutes, s.seconds,
                s.fraction);
  return out;
}

TEST(ObservationWriter, RoundingCarriesIntoEveryField) {
  EXPECT_EQ(text(toSexagesimal(12.5, 6)), "+12 30 0.0");
  EXPECT_EQ(text(toSexagesimal(-0.5, 5)), "-0 30 0.0");
  EXPECT_EQ(text(toSexagesimal(29.0 + 59.0 / 60 + 59.999996 / 3600, 5)), "+30 0 0.0");
  EXPECT_EQ(text(toSexagesimal(29.0 + 59.0 / 60 + 59.999994 / 3600, 5)), "+29 59 59.99999");
  EXPECT_EQ(text(toSexagesimal(23.0 + 59.0 / 60 + 59.9999996 / 3600, 6)), "+24 0 0.0");
  EXPECT_EQ(text(toSexagesimal(1.0 / 3600 * 0.0000123, 5)), "+0 0 0.1");
  EXPECT_EQ(text(toSexagesimal(-(51 + 28.0 / 60 + 37.96 / 3600), 1)), "-51 28 38.0");
}

TEST(ObservationWriter, WritesTheFileInItsExactFormat) {
  ObservationSession s;
  s.indat("Writer check\n:ALLSKY\n-29 15 24.5\n"
          "12 00 00 -20 00 00  11 59 59.5 -19 59 59.99999 12 00\n"
          "10 00 00 +20 00 00  10 00 00 +20 00 00  12 00 0 0.5\n"
          "10 00 00 -00 30 00  10 00 00 -00 30 00  12 00 -1.25\n"
          "10 00 00 -00 30 00  10 00 00 -00 30 00  12 00 3 4\n"
          "10 00 00 -00 30 00  22 00 00 -100 00 00 12 00\n");
  s.engine().observations.status[3] = kStatusMasked;
  EXPECT_EQ(s.run("OUTDAT out"), "* OUTDAT out\n");
  EXPECT_EQ(s.read("out.dat"),
            "Writer check\n"
            ":NODA\n"
            "-29 15 24.5\n"
            "00 00 00.000000 -20 00 00.00000 23 59 59.500000 -19 59 59.99999 0 0\n"
            "22 00 00.000000 +20 00 00.00000 22 00 00.000000 +20 00 00.00000 0 0  +0.00000  +0.50000\n"
            "22 00 00.000000 -00 30 00.00000 22 00 00.000000 -00 30 00.00000 0 0  -1.25000\n"
            "22 00 00.000000 -00 30 00.00000 10 00 00.000000 -100 00 00.00000 0 0\n"
            "END\n");
}

TEST(ObservationWriter, BlankCaptionIsWrittenAsTwoQuotes) {
  ObservationSession s;
  s.indat("   \n+10 00 00\n180 45 180 45\n");
  s.run("OUTDAT blank.out/");
  EXPECT_EQ(s.read("blank.out").substr(0, 9), "\"\"\n:NODA\n");
}

TEST(ObservationWriter, RefusalsAndNothingToWrite) {
  ObservationSession s;
  EXPECT_EQ(s.run("OUTDAT"), "* OUTDAT\nOutput filename must be specified!\n?\n");
  EXPECT_EQ(s.run("OUTDAT out"),
            "* OUTDAT out\nList of observations is empty -  file not written.\n?\n");
  EXPECT_FALSE(s.exists("out.dat"));
  s.indat("Cap\n+10 00 00\n180 45 180 45\n");
  EXPECT_EQ(s.run("OUTDAT no/such/folder/out"),
            "* OUTDAT no/such/folder/out\n"
            "Output file cannot be opened!  File = no/such/folder/out, status = -1\n?\n");
  // Every observation masked: nothing to write, and no file.
  s.engine().observations.status[0] = kStatusMasked;
  EXPECT_EQ(s.run("OUTDAT out"), "* OUTDAT out\n");
  EXPECT_FALSE(s.exists("out.dat"));
  // A read that stored nothing still counts as a file accepted.
  s.indat("Cap\n+10 00 00\n");
  EXPECT_EQ(s.run("OUTDAT out"), "* OUTDAT out\n");
  EXPECT_FALSE(s.exists("out.dat"));
}

// Observations of every awkward kind, written and read back.
TEST(ObservationWriter, ReadingTheFileBackGivesThePositionsToPrintedPrecision) {
  std::mt19937 random(777);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  for (const double latitudeDeg : {51.4772, -29.2567, -89.0, 0.0, 72.5}) {
    ObservationSession s;
    s.indat("Round trip\n" + std::string(latitudeDeg < 0 ? "-" : "+") +
            std::to_string(static_cast<int>(std::fabs(latitudeDeg))) + " 00 00\n");
    const double lat = std::trunc(latitudeDeg) * kRadianPerDegree;
    Engine& engine = s.engine();
    ObservationList& list = engine.observations;
    int n = 0;
    for (int attempt = 0; n < 300; ++attempt) {
      // Stars above 10 degrees and below 89.8, many near HA 12h and the poles.
      double ha = (unit(random) * 2.0 - 1.0) * kPi;
      if (attempt % 3 == 0) ha = std::copysign(kPi - unit(random) * 1e-3, ha);
      double dec = std::asin(unit(random) * 2.0 - 1.0);
      // Within 0.26 degrees of the pole, yet short of the 89.8 degree limit.
      if (attempt % 4 == 0) dec = std::copysign(kHalfPi - 3.5e-3 - unit(random) * 1e-3, lat + 1e-9);
      const double el = std::asin(std::sin(dec) * std::sin(lat) +
                                  std::cos(dec) * std::cos(lat) * std::cos(ha));
      if (el < 10.5 * kRadianPerDegree || el > 89.5 * kRadianPerDegree) continue;
      list.status[n] = kStatusActive;
      list.starHa[n] = ha;
      list.starDec[n] = dec;
      list.telHa[n] = wrapPi(ha + (unit(random) - 0.5) * 1e-2);
      const double poleGap = 1e-6;  // a telescope not flagged must read below 90 degrees
      list.telDec[n] = std::clamp(dec + (unit(random) - 0.5) * 1e-2, -kHalfPi + poleGap,
                                  kHalfPi - poleGap);
      list.pierFlag[n] = n % 5 == 0 ? 1 : 0;
      list.aux[n][0] = n % 7 == 0 ? 0.0 : std::round(unit(random) * 1e6) / 1e5 - 5.0;
      list.aux[n][1] = n % 2 == 0 ? 0.0 : -12.5;
      ++n;
    }
    list.status[n] = kStatusEndOfList;

    ObservationList before = list;
    ASSERT_EQ(s.run("OUTDAT trip"), "* OUTDAT trip\n");
    s.run("INDAT trip");
    ASSERT_EQ(s.count(), n) << latitudeDeg;
    const double haTolerance = 0.5e-6 * kRadianPerTimeSecond + 1e-13;
    const double decTolerance = 0.5e-5 * kRadianPerArcsec + 1e-13;
    for (int i = 0; i < n; ++i) {
      EXPECT_NEAR(wrapPi(list.starHa[i] - before.starHa[i]), 0.0, haTolerance) << i;
      EXPECT_NEAR(list.starDec[i], before.starDec[i], decTolerance) << i;
      EXPECT_NEAR(wrapPi(list.telHa[i] - before.telHa[i]), 0.0, haTolerance) << i;
      EXPECT_NEAR(list.telDec[i], before.telDec[i], decTolerance) << i;
      EXPECT_EQ(list.pierFlag[i], before.pierFlag[i]) << i;
      EXPECT_NEAR(list.aux[i][0], before.aux[i][0], 0.5e-5) << i;
      EXPECT_NEAR(list.aux[i][1], before.aux[i][1], 0.5e-5) << i;
    }
  }
}

TEST(ObservationWriter, MaskedObservationsAreLeftOut) {
  ObservationSession s;
  s.indat("Cap\n+50 00 00\n180 45 180 45\n180 46 180 46\n180 47 180 47\n");
  s.engine().observations.status[1] = kStatusMasked;
  s.run("OUTDAT part");
  s.run("INDAT part");
  ASSERT_EQ(s.count(), 2);
  EXPECT_NEAR(s.list().starDec[1], (47 - 40) * kRadianPerDegree, 1e-10);
}

}  // namespace
}  // namespace zenfit::test
