// MASK and UNMASK: by number, by condition, and every refusal.
#include <gtest/gtest.h>

#include <string>

#include "data/mask.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

// The statuses as a string of digits: "1101" means the third is masked.
std::string statuses(ObservationSession& s) {
  std::string out;
  for (int i = 0; i < s.count(); ++i) out += static_cast<char>('0' + s.list().status[i]);
  return out;
}

// Five stars at latitude +50 with known azimuth, zenith distance and residual.
void readHorizonStars(ObservationSession& s) {
  s.indat("Mask\n:ALLSKY\n+50 00 00\n"
          "175 40 175 40\n"     // Z 50, A 175
          "90 30 90 30.01\n"    // Z 60, A 90, residual 36 arcsec
          "270 60 270 60\n"     // Z 30, A 270
          "10 25 10 25\n"       // Z 65, A 10
          "100 15 100 15\n");   // Z 75, A 100
  ASSERT_EQ(s.count(), 5);
}

TEST(Mask, ByNumberInEitherOrder) {
  ObservationSession s;
  readHorizonStars(s);
  EXPECT_EQ(s.run("MASK 4 2"), "* MASK 4 2\n");
  EXPECT_EQ(statuses(s), "10001");
  EXPECT_EQ(s.run("UNMASK 3"), "* UNMASK 3\n");
  EXPECT_EQ(statuses(s), "10101");
  s.run("MASK 5,");
  EXPECT_EQ(statuses(s), "10100");
  s.run("UNMASK");
  EXPECT_EQ(statuses(s), "11111");
  s.run("MASK");
  EXPECT_EQ(statuses(s), "00000");
}

TEST(Mask, ByNumberRefusals) {
  ObservationSession s;
  readHorizonStars(s);
  s.run("MASK 2");
  EXPECT_EQ(s.run("MASK 0"), "* MASK 0\nIllegal value!\n?\n");
  EXPECT_EQ(s.run("MASK 6"), "* MASK 6\nIllegal value!\n?\n");
  EXPECT_EQ(s.run("MASK 1 6"), "* MASK 1 6\nIllegal value!\n?\n");
  EXPECT_EQ(s.run("MASK 1.5"), "* MASK 1.5\nIllegal value!\n?\n");
  EXPECT_EQ(s.run("MASK 1 X"), "* MASK 1 X\nSecond argument must be number!\n?\n");
  EXPECT_EQ(s.run("UNMASK -1 3"), "* UNMASK -1 3\nIllegal value!\n?\n");
  EXPECT_EQ(statuses(s), "10111");
}

TEST(Mask, ByConditionOnEachQuantity) {
  ObservationSession s;
  readHorizonStars(s);
  s.run("MASK Z > 70");
  EXPECT_EQ(statuses(s), "11110");
  s.run("UNMASK");
  s.run("MASK Z G 62");
  EXPECT_EQ(statuses(s), "11100");
  s.run("UNMASK");
  s.run("mask a < 95");
  EXPECT_EQ(statuses(s), "10101");
  s.run("UNMASK");
  s.run("MASK A>180");
  EXPECT_EQ(statuses(s), "11011");
  s.run("UNMASK");
  s.run("MASK R > 35.9");
  EXPECT_EQ(statuses(s), "10111");
  s.run("UNMASK");
  s.run("MASK R > 36.1");
  EXPECT_EQ(statuses(s), "11111");
  s.run("MASK N > 3");  // strict: 3 itself stays
  EXPECT_EQ(statuses(s), "11100");
  s.run("MASK N L 2");
  EXPECT_EQ(statuses(s), "01100");
}

TEST(Mask, HourAngleAndDeclination) {
  ObservationSession s;
  s.indat("HD\n+30 00 00\n"
          "13 00 00 +10 00 00  13 00 00 +10 00 00  12 00\n"   // HA -1h
          "10 00 00 -20 00 00  10 00 00 -20 00 00  12 00\n"   // HA +2h
          "12 00 00 +40 00 00  12 00 00 +40 00 00  12 00\n");  // HA 0
  s.run("MASK H < -0.5");
  EXPECT_EQ(statuses(s), "011");
  s.run("MASK H > 1");
  EXPECT_EQ(statuses(s), "001");
  s.run("UNMASK D > -10");  // visits masked observations too
  EXPECT_EQ(statuses(s), "101");
  s.run("MASK D L 20");
  EXPECT_EQ(statuses(s), "001");
}

TEST(Mask, ByConditionRefusals) {
  ObservationSession s;
  readHorizonStars(s);
  s.run("MASK 1");
  const std::string quantity = "Quantity must be H, D, A, Z, R, N or number!\n?\n";
  const std::string condition = "Condition must be <, L, G or > !\n?\n";
  const std::string value = "Third argument out of range!\n?\n";
  EXPECT_EQ(s.run("MASK Q > 5"), "* MASK Q > 5\n" + quantity);
  EXPECT_EQ(s.run("MASK ? 5"), "* MASK ? 5\n" + quantity);
  EXPECT_EQ(s.run("MASK Z = 5"), "* MASK Z = 5\n" + condition);
  EXPECT_EQ(s.run("MASK Z"), "* MASK Z\n" + condition);
  EXPECT_EQ(s.run("MASK Z > 90.5"), "* MASK Z > 90.5\n" + value);
  EXPECT_EQ(s.run("MASK Z > X"), "* MASK Z > X\n" + value);
  EXPECT_EQ(s.run("MASK H < 12.1"), "* MASK H < 12.1\n" + value);
  EXPECT_EQ(s.run("MASK D < -91"), "* MASK D < -91\n" + value);
  EXPECT_EQ(s.run("MASK A > 361"), "* MASK A > 361\n" + value);
  EXPECT_EQ(s.run("MASK R > -1"), "* MASK R > -1\n" + value);
  EXPECT_EQ(s.run("MASK N > 6"), "* MASK N > 6\n" + value);
  EXPECT_EQ(s.run("MASK N > 2.5"), "* MASK N > 2.5\n" + value);
  EXPECT_EQ(statuses(s), "01111");
  // A missing value counts as 0.
  EXPECT_EQ(s.run("UNMASK A >"), "* UNMASK A >\n");
  EXPECT_EQ(statuses(s), "11111");
}

TEST(Mask, WorkerCodes) {
  ObservationSession s;
  readHorizonStars(s);
  Engine& engine = s.engine();
  EXPECT_EQ(maskByCondition(engine, 'X', 'G', 0.0, 0), kMaskBadQuantity);
  EXPECT_EQ(maskByCondition(engine, 'Z', '=', 0.0, 0), kMaskBadCondition);
  EXPECT_EQ(maskByCondition(engine, 'Z', 'G', 91.0, 0), kMaskBadValue);
  EXPECT_EQ(maskByNumber(engine, 0, 2, 0), kMaskBadValue);
  EXPECT_EQ(statuses(s), "11111");
  EXPECT_EQ(maskByCondition(engine, 'z', 'g', 70.0, 0), 0);
  EXPECT_EQ(statuses(s), "11110");
}

TEST(Mask, EmptyList) {
  ObservationSession s;
  EXPECT_EQ(s.run("MASK"), "* MASK\n");
  EXPECT_EQ(s.run("MASK 1"), "* MASK 1\nIllegal value!\n?\n");
  EXPECT_EQ(s.list().status[0], kStatusEndOfList);
}

}  // namespace
}  // namespace zenfit::test
