// The host's run-parameter block and point array, byte by byte.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "constants.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

constexpr unsigned char kUntouched = 0xA5;

double doubleAt(const std::vector<unsigned char>& block, std::size_t offset) {
  double value = 0.0;
  std::memcpy(&value, block.data() + offset, sizeof value);
  return value;
}

std::int32_t int32At(const std::vector<unsigned char>& block, std::size_t offset) {
  std::int32_t value = 0;
  std::memcpy(&value, block.data() + offset, sizeof value);
  return value;
}

bool untouched(const std::vector<unsigned char>& block, std::size_t from, std::size_t to) {
  for (std::size_t i = from; i < to; ++i) {
    if (block[i] != kUntouched) return false;
  }
  return true;
}

struct HostAreas {
  // One spare entry past the 4999 the engine may fill, to catch overruns.
  std::vector<unsigned char> parms = std::vector<unsigned char>(obs_parms::kSize + 8, kUntouched);
  std::vector<unsigned char> points =
      std::vector<unsigned char>((kMaxObservations + 1) * kMapPointSize, kUntouched);

  void lend(Engine& engine) {
    engine.host.obsParms = parms.data();
    engine.host.mapPts = points.data();
  }
  double point(int entry, int index) const {
    return doubleAt(points, entry * kMapPointSize + index * sizeof(double));
  }
};

TEST(HostBlocks, RunParameterBlockHoldsEveryFieldAtItsOffset) {
  ObservationSession s;
  HostAreas host;
  host.lend(s.engine());
  s.engine().run.hostSetting = 'K';
  s.indat("A caption for the host\n:NODA\n:ALLSKY\n:B1950\n"
          "-29 15 00 2019 11 23.75 -3.5 743.25 2400 0.35 0.7 0.0055\n"
          "180 40 180 40\n");
  const auto& p = host.parms;
  const char caption[] = "A caption for the host";
  EXPECT_EQ(std::memcmp(p.data(), caption, sizeof caption), 0);
  for (std::size_t i = sizeof caption; i < 100; ++i) EXPECT_EQ(p[i], 0) << i;
  EXPECT_EQ(p[100], 'K');
  EXPECT_TRUE(untouched(p, 101, 121));
  EXPECT_EQ(p[121], 1);  // the record carried a date
  EXPECT_EQ(p[122], obs_parms::kModeNoDate | obs_parms::kModeAllSky);
  EXPECT_EQ(p[123], 'B');
  EXPECT_EQ(int32At(p, 124), 2019);
  EXPECT_EQ(int32At(p, 128), 23);
  EXPECT_EQ(int32At(p, 132), 11);
  EXPECT_DOUBLE_EQ(doubleAt(p, 136), -29.25);
  EXPECT_DOUBLE_EQ(doubleAt(p, 144), -3.5);
  EXPECT_DOUBLE_EQ(doubleAt(p, 152), 743.25);
  EXPECT_DOUBLE_EQ(doubleAt(p, 160), 2400.0);
  EXPECT_DOUBLE_EQ(doubleAt(p, 168), 0.35);
  EXPECT_DOUBLE_EQ(doubleAt(p, 176), 0.7);
  EXPECT_DOUBLE_EQ(doubleAt(p, 184), 0.0055);
  EXPECT_TRUE(untouched(p, obs_parms::kSize, p.size()));
}

TEST(HostBlocks, UndatedRunWritesTheDefaults) {
  ObservationSession s;
  HostAreas host;
  host.lend(s.engine());
  s.indat("Undated\n+10 00 00\n");
  const auto& p = host.parms;
  EXPECT_EQ(p[100], 0);
  EXPECT_EQ(p[121], 0);
  EXPECT_EQ(p[122], 0);
  EXPECT_EQ(p[123], 'A');
  EXPECT_EQ(int32At(p, 124), 1996);
  EXPECT_EQ(int32At(p, 128), 1);
  EXPECT_EQ(int32At(p, 132), 1);
  EXPECT_DOUBLE_EQ(doubleAt(p, 136), 10.0);
  EXPECT_DOUBLE_EQ(doubleAt(p, 144), 0.0);
  EXPECT_DOUBLE_EQ(doubleAt(p, 152), 0.0);
  EXPECT_DOUBLE_EQ(doubleAt(p, 160), 0.0);
  EXPECT_DOUBLE_EQ(doubleAt(p, 168), 0.5);
  EXPECT_DOUBLE_EQ(doubleAt(p, 176), 0.55);
  EXPECT_DOUBLE_EQ(doubleAt(p, 184), 0.0065);
}

TEST(HostBlocks, BlockIsLeftAloneUntilTheRunParametersAreAccepted) {
  ObservationSession s;
  HostAreas host;
  host.lend(s.engine());
  s.indat("Bad\n+10 00\n");
  EXPECT_TRUE(untouched(host.parms, 0, host.parms.size()));
}

TEST(HostBlocks, PointEntriesHoldTheReducedPositions) {
  ObservationSession s;
  HostAreas host;
  host.lend(s.engine());
  s.indat("Points\n+30 00 00\n"
          "13 00 00 +20 00 00  13 00 30 +20 30 00  12 00  1.25 -2.5\n"
          "11 00 00 -20 00 00  11 00 00 +100 00 00  12 15\n"
          "180 40 180 40\n");
  ASSERT_EQ(s.count(), 3);
  // Star HA -1h shows as 23h; the telescope's as 23h - 30s.
  EXPECT_NEAR(host.point(0, 1), 23.0, 1e-12);
  EXPECT_NEAR(host.point(0, 2), 20.0, 1e-12);
  EXPECT_NEAR(host.point(0, 3), 12.0, 1e-12);
  EXPECT_NEAR(host.point(0, 4), 20.5 * kRadianPerDegree, 1e-12);
  EXPECT_NEAR(host.point(0, 5), 23.0 - 30.0 / 3600.0, 1e-12);
  EXPECT_EQ(host.point(0, 6), 1.25);
  EXPECT_EQ(host.point(0, 7), -2.5);
  EXPECT_EQ(host.point(0, 8), 0.0);
  // Over the pole: declination 80, RA 23h, so HA 13h 15m.
  EXPECT_NEAR(host.point(1, 1), 1.25, 1e-12);
  EXPECT_NEAR(host.point(1, 3), 12.25, 1e-12);
  EXPECT_NEAR(host.point(1, 4), 80.0 * kRadianPerDegree, 1e-12);
  EXPECT_NEAR(host.point(1, 5), 13.25, 1e-12);
  EXPECT_EQ(host.point(1, 6), 0.0);
  // A horizon record has no sidereal time.
  EXPECT_EQ(host.point(2, 3), 0.0);
  EXPECT_NEAR(host.point(2, 2), -20.0, 1e-12);
  for (int entry = 0; entry < 3; ++entry) {
    const std::size_t base = entry * kMapPointSize;
    EXPECT_TRUE(untouched(host.points, base, base + 8)) << entry;        // double 0
    EXPECT_TRUE(untouched(host.points, base + 72, base + 80)) << entry;  // double 9
  }
  EXPECT_TRUE(untouched(host.points, 3 * kMapPointSize, host.points.size()));
}

TEST(HostBlocks, AppendedObservationsFollowInThePointArray) {
  ObservationSession s;
  HostAreas host;
  host.lend(s.engine());
  s.indat("First\n+30 00 00\n180 40 180 40\n180 41 180 41\n");
  s.run("APPEND");
  s.indat("Second\n+30 00 00\n180 50 180 50\n");
  EXPECT_NEAR(host.point(2, 2), -10.0 + 0.0, 1e-12);
  EXPECT_TRUE(untouched(host.points, 3 * kMapPointSize, host.points.size()));
}

TEST(HostBlocks, NeverWritesPastTheLastObservationSlot) {
  ObservationSession s;
  HostAreas host;
  host.lend(s.engine());
  s.engine().run.briefEcho = 1;
  std::string file = "Full\n+30 00 00\n";
  for (int i = 0; i < kMaxObservations + 5; ++i) file += "180 45 180 45\n";
  s.indat(file);
  EXPECT_EQ(s.count(), kMaxObservations);
  EXPECT_NEAR(host.point(kMaxObservations - 1, 2), -15.0, 1e-12);
  EXPECT_TRUE(untouched(host.points, kMaxObservations * kMapPointSize, host.points.size()));
}

}  // namespace
}  // namespace zenfit::test
