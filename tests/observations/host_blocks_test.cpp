// The host's run-parameter block and point array, byte by byte, in real
// buffers filled with a mark so that every byte to be left alone is seen.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "base/constants.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

using Bytes = std::vector<unsigned char>;
template <typename T>
T at(const Bytes& bytes, std::size_t offset) {
  T value{};
  std::memcpy(&value, bytes.data() + offset, sizeof value);
  return value;
}
bool all(const Bytes& bytes, std::size_t from, std::size_t to, unsigned char b = 0xA5) {
  return std::all_of(bytes.begin() + from, bytes.begin() + to, [b](auto c) { return c == b; });
}

// The 192-byte block and the 80-byte point entries, lent to the engine with
// room to spare: one entry past the 4999 the engine may fill.
struct LentAreas {
  Bytes parms = Bytes(200, 0xA5);
  Bytes points = Bytes((kMaxObservations + 1) * 80, 0xA5);
  explicit LentAreas(Engine& engine) {
    engine.hostAreas.obsParms = parms.data();
    engine.hostAreas.mapPts = points.data();
  }
  double point(int entry, int index) const { return at<double>(points, entry * 80 + index * 8); }
};

TEST(HostBlocks, RunParameterBlockHoldsEveryFieldAtItsOffset) {
  struct Case {
    const char* file;
    std::string flags;  // bytes 121-123: dated, mode (1 :NODA, 2 :ALLSKY), frame letter
    std::int32_t date[3];  // year, day, month
    double values[7];  // latitude, temperature, pressure, height, humidity, wavelength, lapse
  };
  const Case cases[] = {
      {"A caption for the host\n:NODA\n:ALLSKY\n:B1950\n"
       "-29 15 00 2019 11 23.75 -3.5 743.25 2400 0.35 0.7 0.0055\n180 40 180 40\n",
       {1, 3, 'B'}, {2019, 23, 11}, {-29.25, -3.5, 743.25, 2400, 0.35, 0.7, 0.0055}},
      {"Undated\n-00 30 00\n", {0, 0, 'A'}, {1996, 1, 1}, {-0.5, 0, 0, 0, 0.5, 0.55, 0.0065}}};
  for (const Case& c : cases) {
    ObservationSession s;
    LentAreas host(s.engine());
    s.indat(c.file);
    const Bytes& p = host.parms;
    const std::string caption(c.file, std::strchr(c.file, '\n'));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(p.data())), caption);
    EXPECT_TRUE(all(p, caption.size(), 101, 0)) << caption;  // padding, and no setting
    EXPECT_TRUE(all(p, 101, 121) && all(p, 192, p.size())) << caption;
    EXPECT_EQ(std::string(p.begin() + 121, p.begin() + 124), c.flags) << caption;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(at<std::int32_t>(p, 124 + 4 * i), c.date[i]) << i;
    for (int i = 0; i < 7; ++i) EXPECT_DOUBLE_EQ(at<double>(p, 136 + 8 * i), c.values[i]) << i;
  }
  ObservationSession s;  // a refused run-parameter record leaves the block alone
  LentAreas host(s.engine());
  s.indat("Bad\n+10 00\n180 40 180 40\n");
  EXPECT_TRUE(all(host.parms, 0, host.parms.size()));
}

TEST(HostBlocks, PointEntriesHoldTheReducedPositionsAndNeverPassTheLastSlot) {
  ObservationSession s;
  LentAreas host(s.engine());
  s.indat("Points\n+30 00 00\n"
          "13 00 00 +20 00 00  13 00 30 +20 30 00  12 00  1.25 -2.5\n"
          "11 00 00 -20 00 00  11 00 00 +100 00 00  12 15\n"  // over the pole
          "90 30 90 30\n");                                     // east, no sidereal time
  // Doubles 1-8: star HA h (0-24), star Dec deg, sidereal time h, telescope
  // Dec rad, telescope HA h, the two aux values, zero. 0 and 9 are the host's.
  const double east = 14.4775122;  // declination of the east point 30 degrees up
  const double expected[3][9] = {
      {0, 23, 20, 12, 20.5 * kRadianPerDegree, 23 - 30.0 / 3600, 1.25, -2.5, 0},
      {0, 1.25, -20, 12.25, 80 * kRadianPerDegree, 13.25, 0, 0, 0},
      {0, 19.7710034, east, 0, east * kRadianPerDegree, 19.7710034, 0, 0, 0}};
  for (int n = 0; n < 3; ++n) {
    for (int i = 1; i <= 8; ++i) EXPECT_NEAR(host.point(n, i), expected[n][i], 1e-7) << n << i;
    EXPECT_TRUE(all(host.points, n * 80, n * 80 + 8) && all(host.points, n * 80 + 72, n * 80 + 80));
  }
  EXPECT_TRUE(all(host.points, 3 * 80, host.points.size()));
  s.run("APPEND");  // appended observations follow on, until the list is full
  std::string full = "Full\n+30 00 00\n";
  for (int i = 0; i < kMaxObservations; ++i) full += "180 45 180 45\n";
  s.indat(full);
  ASSERT_EQ(s.count(), kMaxObservations);
  EXPECT_NEAR(host.point(2, 2), east, 1e-7);
  EXPECT_NEAR(host.point(3, 2), -15.0, 1e-9);
  EXPECT_NEAR(host.point(kMaxObservations - 1, 2), -15.0, 1e-9);
  EXPECT_TRUE(all(host.points, kMaxObservations * 80, host.points.size()));
}

}  // namespace
}  // namespace zenfit::test
