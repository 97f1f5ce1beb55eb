// PERFCT: the synthetic list of error-free observations.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "constants.h"
#include "data/perfect.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

double zenithDistance(const ObservationList& list, int i, double lat) {
  const double c = std::cos(list.starHa[i]) * std::cos(list.starDec[i]) * std::cos(lat) +
                   std::sin(list.starDec[i]) * std::sin(lat);
  return std::acos(std::fmin(1.0, c));
}

TEST(PerfectStars, StarsWithinEightyDegreesOfTheZenith) {
  for (const double latDeg : {-30.0, 0.0, 51.5, 90.0}) {
    ObservationSession s;
    char command[32];
    std::snprintf(command, sizeof command, "PERFCT %g", latDeg);
    EXPECT_EQ(s.run(command), "* " + std::string(command) + "\n");
    const int n = s.count();
    ASSERT_GT(n, 100) << latDeg;
    const ObservationList& list = s.list();
    const double lat = latDeg * kRadianPerDegree;
    for (int i = 0; i < n; ++i) {
      EXPECT_LE(zenithDistance(list, i, lat), 80.0 * kRadianPerDegree + 1e-12);
      EXPECT_EQ(list.status[i], kStatusActive);
      EXPECT_EQ(list.runFlag[i], kRecordSynthetic);
      EXPECT_EQ(list.telHa[i], list.starHa[i]);
      EXPECT_EQ(list.telDecWork[i], list.starDec[i]);
      EXPECT_LE(std::fabs(list.starHa[i]), kPi);
      EXPECT_LT(std::fabs(list.starDec[i]), 85.0 * kRadianPerDegree + 1e-12);
      // At the north pole only the northern sky is up.
      if (latDeg == 90.0) {
        EXPECT_GT(list.starDec[i], 10.0 * kRadianPerDegree - 1e-12);
      }
    }
    EXPECT_EQ(list.status[n], kStatusEndOfList);
    EXPECT_EQ(s.engine().run.obsPresent, 0);
    EXPECT_NEAR(std::asin(s.engine().run.sinLat), lat, 1e-15);
  }
}

TEST(PerfectStars, CaptionAndRepeatability) {
  ObservationSession s;
  s.run("PERFCT -30");
  EXPECT_EQ(std::string(s.engine().run.caption), "Perfect stars, latitude -30.0 deg");
  const ObservationList first = s.list();
  const int n = s.count();
  s.run("PERFCT -30");
  ASSERT_EQ(s.count(), n);
  for (int i = 0; i < n; ++i) {
    EXPECT_EQ(s.list().starHa[i], first.starHa[i]);
    EXPECT_EQ(s.list().starDec[i], first.starDec[i]);
  }
  s.run("PERFCT 12.25");
  EXPECT_EQ(std::string(s.engine().run.caption), "Perfect stars, latitude +12.2 deg");
}

TEST(PerfectStars, LatitudeDefaultsToTheCurrentSite) {
  ObservationSession s;
  s.run("PERFCT");
  EXPECT_EQ(std::string(s.engine().run.caption), "Perfect stars, latitude +0.0 deg");
  s.indat("Site\n-33 30 00\n");
  s.run("PERFCT");
  EXPECT_EQ(std::string(s.engine().run.caption), "Perfect stars, latitude -33.5 deg");
}

TEST(PerfectStars, RefusedLatitudesChangeNothing) {
  ObservationSession s;
  s.run("PERFCT 40");
  const int n = s.count();
  EXPECT_EQ(s.run("PERFCT 91"), "* PERFCT 91\nParameter error!\n?\n");
  EXPECT_EQ(s.run("PERFCT -90.01"), "* PERFCT -90.01\nParameter error!\n?\n");
  EXPECT_EQ(s.run("PERFCT NORTH"), "* PERFCT NORTH\nParameter error!\n?\n");
  EXPECT_EQ(s.count(), n);
  EXPECT_EQ(std::string(s.engine().run.caption), "Perfect stars, latitude +40.0 deg");
  EXPECT_EQ(generatePerfectStars(s.engine(), 1.6), -1);
  EXPECT_EQ(s.count(), n);
}

// Hosts read the aux columns of a synthetic list with the clearing pattern
// the generator has always had: filling slot k clears doubles k, k+3 and
// k+6 of the aux storage taken as one run of doubles, three per slot.
TEST(PerfectStars, AuxClearingKeepsTheLongStandingPatternHostsRelyOn) {
  ObservationSession s;
  ObservationList& list = s.engine().observations;
  for (auto& aux : list.aux) aux[0] = aux[1] = aux[2] = 7.0;
  s.run("PERFCT 20");
  const int n = s.count();
  ASSERT_GT(n, 30);
  const int cleared = n + 6;  // doubles 0 .. n + 5 of the run
  for (int flat = 0; flat < 3 * n; ++flat) {
    const double value = list.aux[flat / 3][flat % 3];
    EXPECT_EQ(value, flat < cleared ? 0.0 : 7.0) << "double " << flat;
  }
  // Far from all three doubles of each later slot being cleared, the slots
  // after the first n/3 + 2 keep what they held.
  EXPECT_EQ(list.aux[n - 1][0], 7.0);
}

TEST(PerfectStars, AppendWhileNoFileIsAcceptedStartsAtTheEndMark) {
  ObservationSession s;
  s.indat("Old\n+20 00 00\n180 45 180 45\n180 46 180 46\n");
  // Only reachable with the list present but no file accepted.
  s.engine().run.appendMode = 1;
  s.engine().run.obsPresent = -1;
  s.run("PERFCT 20");
  EXPECT_NEAR(s.list().starDec[0], -25.0 * kRadianPerDegree, 1e-12);
  EXPECT_NEAR(s.list().starDec[1], -24.0 * kRadianPerDegree, 1e-12);
  EXPECT_EQ(s.list().telHa[2], s.list().starHa[2]);
  EXPECT_EQ(s.engine().run.appendMode, 0);
  EXPECT_EQ(s.engine().run.obsPresent, 0);
}

}  // namespace
}  // namespace zenfit::test
