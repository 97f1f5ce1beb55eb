// OUTDAT: the exact file, and reading it back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <string>

#include "astro/vectors.h"
#include "base/constants.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

TEST(ObservationWriter, WritesTheActiveObservationsInTheExactFormat) {
  ObservationSession s;
  s.indat("Writer check\n:ALLSKY\n-29 15 24.5\n"
          "12 00 00 -20 00 00  11 59 59.5 -19 59 59.99999 12 00\n"
          "10 00 00 +20 00 00  10 00 00 +20 00 00  12 00 0 0.5\n"
          "10 00 00 -00 30 00  09 59 59.9999999 -00 59 59.999999  12 00 -1.25\n"
          "10 00 00 -00 30 00  10 00 00 -00 30 00  12 00 3 4\n"
          "10 00 00 -00 30 00  22 00 00 -100 00 00 12 00\n");
  s.run("MASK 4");
  EXPECT_EQ(s.run("OUTDAT out"), "* OUTDAT out\n");
  EXPECT_EQ(s.read("out.dat"),
            "Writer check\n:NODA\n-29 15 24.5\n"
            "00 00 00.000000 -20 00 00.00000 23 59 59.500000 -19 59 59.99999 0 0\n"
            "22 00 00.000000 +20 00 00.00000 22 00 00.000000 +20 00 00.00000 0 0"
            "  +0.00000  +0.50000\n"
            "22 00 00.000000 -00 30 00.00000 22 00 00.000000 -01 00 00.00000 0 0  -1.25000\n"
            "22 00 00.000000 -00 30 00.00000 10 00 00.000000 -100 00 00.00000 0 0\nEND\n");
}

// Stars of every awkward kind (southern and polar sites, hour angles near
// 12h, declinations near the poles, either pier side), written and read back.
TEST(ObservationWriter, ReadingTheFileBackGivesThePositionsToPrintedPrecision) {
  std::mt19937 random(777);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  for (const char* site : {"+51", "-29", "-89", "+00", "+72"}) {
    ObservationSession s;
    s.indat(std::string("Round trip\n") + site + " 00 00\n");
    const double lat = std::atof(site) * kRadianPerDegree;
    ObservationList& list = s.list();
    int n = 0;
    for (int attempt = 0; n < 300; ++attempt) {
      double ha = attempt % 3 ? unit(random) * kPi : std::copysign(kPi - 1e-3, unit(random));
      double dec = std::asin(unit(random));
      // Within 0.26 degrees of the pole, yet short of the 89.8 degree limit.
      if (attempt % 4 == 0) dec = std::copysign(kHalfPi - 4e-3 + unit(random) * 5e-4, lat + 1e-9);
      const double el = std::asin(std::sin(dec) * std::sin(lat) +
                                  std::cos(dec) * std::cos(lat) * std::cos(ha));
      if (el < 10.5 * kRadianPerDegree || el > 89.5 * kRadianPerDegree) continue;
      list[n].starHa = ha;
      list[n].starDec = dec;
      list[n].telHa = wrapPi(ha + unit(random) * 5e-3);
      // A telescope not flagged over the pole must read below 90 degrees.
      list[n].telDec = std::clamp(dec + unit(random) * 5e-3, 1e-6 - kHalfPi, kHalfPi - 1e-6);
      list[n].pierFlag = n % 5 == 0 ? 1 : 0;
      list[n].aux[0] = n % 7 == 0 ? 0.0 : std::round(unit(random) * 5e5) / 1e5;
      list[n].aux[1] = n % 2 == 0 ? 0.0 : -12.5;
      list[n].status = kStatusActive;
      list[++n].status = kStatusEndOfList;
    }
    const ObservationList before = list;
    ASSERT_EQ(s.run("OUTDAT trip"), "* OUTDAT trip\n");
    s.run("INDAT trip");
    ASSERT_EQ(s.count(), n) << site;
    const double ha = 0.5e-6 * kRadianPerTimeSecond + 1e-13;  // half the printed units
    const double dec = 0.5e-5 * kRadianPerArcsec + 1e-13;
    for (int i = 0; i < n; ++i) {
      EXPECT_NEAR(wrapPi(list[i].starHa - before[i].starHa), 0.0, ha) << site << " " << i;
      EXPECT_NEAR(wrapPi(list[i].telHa - before[i].telHa), 0.0, ha) << site << " " << i;
      EXPECT_NEAR(list[i].starDec, before[i].starDec, dec) << site << " " << i;
      EXPECT_NEAR(list[i].telDec, before[i].telDec, dec) << site << " " << i;
      EXPECT_NEAR(list[i].aux[0], before[i].aux[0], 0.5e-5) << site << " " << i;
      EXPECT_NEAR(list[i].aux[1], before[i].aux[1], 0.5e-5) << site << " " << i;
      EXPECT_EQ(list[i].pierFlag, before[i].pierFlag) << site << " " << i;
    }
  }
}

}  // namespace
}  // namespace zenfit::test
