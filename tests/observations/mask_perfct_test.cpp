// MASK and UNMASK on each quantity, and PERFCT's synthetic list.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <utility>

#include "base/constants.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

TEST(Mask, ByNumberAndByConditionOnEachQuantity) {
  ObservationSession s;
  s.indat("Mask\n:ALLSKY\n+50 00 00\n"
          "175 40 175 40\n"    // Z 50, A 175, HA -0.26h, Dec 0.1
          "90 30 90 30.01\n"   // Z 60, A 90, HA -4.64h, Dec 22.5, residual 36"
          "270 60 270 60\n"    // Z 30, A 270, HA +2.80h, Dec 41.6
          "10 25 10 25\n"      // Z 65, A 10, HA -10.6h, Dec 63.8
          "100 15 100 15\n");  // Z 75, A 100, HA -4.85h, Dec 5.2
  // Each command, and the statuses after it (1 active, 0 masked).
  const std::pair<const char*, const char*> steps[] = {
      {"MASK 4 2", "10001"},     {"UNMASK 3", "10101"},      {"MASK 5,", "10100"},
      {"UNMASK", "11111"},       {"MASK Z > 70", "11110"},   {"MASK Z G 62", "11100"},
      {"UNMASK Z L 66", "11110"}, {"UNMASK", "11111"},       {"mask a < 95", "10101"},
      {"UNMASK A>50", "11101"},  {"UNMASK", "11111"},        {"MASK R > 35.9", "10111"},
      {"UNMASK R L 36.1", "11111"}, {"MASK N > 3", "11100"}, {"MASK N L 2", "01100"},
      {"UNMASK", "11111"},       {"MASK H < -4.7", "11100"}, {"MASK H > 2.7", "11000"},
      {"UNMASK D > 60", "11010"}, {"MASK D L 1", "01010"},   {"MASK", "00000"},
      {"UNMASK A >", "11111"},  // a missing value counts as 0
  };
  for (const auto& [command, statuses] : steps) {
    EXPECT_EQ(s.run(command), std::string("* ") + command + "\n");
    std::string seen;
    for (int i = 0; i < s.count(); ++i) seen += static_cast<char>('0' + s.list()[i].status);
    EXPECT_EQ(seen, statuses) << command;
  }
}

TEST(PerfectStars, SameStarsEachTimeWithinEightyDegreesOfTheZenithAtAnyLatitude) {
  for (const char* latitude : {"-30", "0", "51.5", "90", "-90"}) {
    ObservationSession s;
    s.run(std::string("PERFCT ") + latitude);
    const ObservationList first = s.list();
    s.run(std::string("PERFCT ") + latitude);
    const int n = s.count();
    ASSERT_GT(n, 100) << latitude;
    ASSERT_EQ(first.count(), n);
    const double lat = std::atof(latitude) * kRadianPerDegree;
    for (int i = 0; i < n; ++i) {
      const double ha = s.list()[i].starHa;
      const double dec = s.list()[i].starDec;
      EXPECT_TRUE(ha == first[i].starHa && dec == first[i].starDec) << latitude << " " << i;
      EXPECT_TRUE(ha == s.list()[i].telHa && dec == s.list()[i].telDec);  // no pointing error
      EXPECT_GE(std::cos(ha) * std::cos(dec) * std::cos(lat) + std::sin(dec) * std::sin(lat),
                std::cos(80.0 * kRadianPerDegree) - 1e-12) << latitude << " " << i;
    }
  }
  ObservationSession s;
  s.indat("Site\n+12 15 00\n");
  s.run("PERFCT");  // at the latitude of the site
  EXPECT_EQ(s.engine().run.caption, "Perfect stars, latitude +12.2 deg");
}

// Hosts read the aux columns of a synthetic list with the clearing pattern
// the generator has always had: filling slot k clears doubles k, k+3 and
// k+6 of the aux storage taken as one run of doubles, three per slot.
TEST(PerfectStars, AuxClearingKeepsTheLongStandingPatternHostsRelyOn) {
  ObservationSession s;
  for (Observation& o : s.list().slots) o.aux[0] = o.aux[1] = o.aux[2] = 7.0;
  s.run("PERFCT 20");
  const int n = s.count();
  ASSERT_GT(n, 30);
  for (int flat = 0; flat < 3 * n; ++flat) {  // doubles 0 .. n + 5 are cleared
    EXPECT_EQ(s.list()[flat / 3].aux[flat % 3], flat < n + 6 ? 0.0 : 7.0) << "double " << flat;
  }
}

}  // namespace
}  // namespace zenfit::test
