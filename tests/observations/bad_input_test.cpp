// Observation files that are wrong in every way a file can be: the reader
// keeps what it can, never crashes, and always leaves the list ended by its
// mark (a header fault empties the list read before).
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "observation_session.h"

namespace zenfit::test {
namespace {

TEST(BadObservationFiles, NeverBreakTheList) {
  const std::string cap = "Cap\n+50 00 00\n";
  const std::string good = "180 45 180 45\n";
  const std::string binary("\x01\xff\0\x7f\n\x80\x00\xc3\x28\n", 10);
  const std::pair<std::string, int> cases[] = {  // the file, and how many it stores
      {"", 0}, {"Only a caption", 0}, {"Cap\n:NODA\n", 0}, {binary, 0}, {cap + binary + good, 1},
      {cap + good, 1},  // no END: the end of the file will do
      {std::string("Cap\0tail\n+50\0 00 00\n", 21) + good, 1},
      {"Cap\r\n+50 00 00\r\n180 45 180 45\r\nEND\r\n", 1},
      {std::string(500, 'x') + "\n+50 00 00\n" + good, 1},
      {"Cap\n" + std::string(300, ':') + "\n+50 00 00\n", 0},
      {cap + "180 45 180 45 " + std::string(150, ' ') + "junk past the cut\n", 1},
      {cap + std::string(110, ' ') + "180 45 180 45\n" + good, 1},
      {cap + "NaN 45 180 45\ninf 45 180 45\n1E400 45 180 45\n" + good, 1},
      {cap + "1" + std::string(400, '0') + " 45 180 45\n180 1E100 180 45\n" + good, 1},
      {cap + "180 45 180 45 1D99 -1E-99\n12 00 00 +20 00 00  12 00 00 +20 00 00  12 60\n", 1},
      {"Cap\n+50 00 00 2024 2 30\n" + good, 0}, {"Cap\n+50 00 00 NaN 2 3\n" + good, 0},
      {"Cap\n+50 00 00 2024 2 3 1E100 1000\n" + good, 0},
      {"Cap\n+89 00 00 1901 1 1 50 0.1\n"
       "12 00 00 +20 00 00 0.1 1E99 B1E90 12 00 00 +20 00 00 12 00\n"  // dated mean places
       "12 00 00 +20 00 00 1E99 0 J2000 12 00 00 +20 00 00 12 00\n", 1}};
  for (const auto& [file, stored] : cases) {
    ObservationSession s;
    s.indat("Old\n+50 00 00\n180 40 180 40\n180 41 180 41\n");
    s.indat(file);
    ASSERT_EQ(s.count(), stored) << file;
    EXPECT_EQ(s.list()[stored].status, kStatusEndOfList) << file;
    for (int i = 0; i < stored; ++i) {
      EXPECT_TRUE(std::isfinite(s.list()[i].starHa) && std::isfinite(s.list()[i].telDec)) << file;
    }
  }
}

}  // namespace
}  // namespace zenfit::test
