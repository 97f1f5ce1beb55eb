// Observation files that are wrong in every way a file can be: the reader
// reports, keeps the list consistent and never writes out of bounds.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "observation_session.h"

namespace zenfit::test {
namespace {

void expectConsistent(ObservationSession& s, const std::string& what) {
  const int n = s.count();
  ASSERT_LE(n, kMaxObservations) << what;
  EXPECT_EQ(s.list().status[n], kStatusEndOfList) << what;
  for (int i = 0; i < n; ++i) {
    ASSERT_EQ(s.list().status[i], kStatusActive) << what;
    ASSERT_TRUE(std::isfinite(s.list().starHa[i]) && std::isfinite(s.list().starDec[i]) &&
                std::isfinite(s.list().telHa[i]) && std::isfinite(s.list().telDec[i]))
        << what;
  }
}

TEST(BadObservationFiles, EachFaultGetsItsMessage) {
  struct Case {
    std::string file;
    std::string says;
    int stored;
  };
  const std::string header = "Cap\n+50 00 00\n";
  const std::string good = "180 45 180 45\n";
  const std::string bad = "******  Bad data - observation rejected  ******\n";
  const Case cases[] = {
      {"", "Unexpected end-of-file!\n", 0},
      {"Only a caption", "Unexpected end-of-file!\n", 0},
      {"Cap\n:NODA\n", "Unexpected end-of-file!\n", 0},
      {header + good, "REFA", 1},  // no END: the end of the file will do
      {header + "1E400 45 180 45\n" + good, bad, 1},
      {header + "1" + std::string(400, '0') + " 45 180 45\n" + good, bad, 1},
      {header + "NaN 45 180 45\n" + good, bad, 1},
      {header + "inf 45 180 45\n" + good, bad, 1},
      {header + "180 1E100 180 45\n" + good, bad, 1},
      {header + "180 45 180 45 1D99 -1E-99\n", "REFA", 1},
      {header + "180 45 180 45 " + std::string(150, ' ') + "junk past the cut\n", "REFA", 1},
      {header + std::string(110, ' ') + "180 45 180 45\n" + good, bad, 1},
      {"Cap\n+50 00 00 2024 2 30\n" + good, "Error in run parameters record!\n", 0},
      {"Cap\n+50 00 00 NaN 2 3\n" + good, "Error in run parameters record!\n", 0},
      {"Cap\n+50 00 00 2024 2 3 1E100 1000\n" + good, "Error in run parameters record!\n", 0},
      {"Cap\n" + std::string(300, ':') + "\n+50 00 00\n", "Error in option record!\n", 0},
      {std::string(500, 'x') + "\n+50 00 00\n" + good, "REFA", 1},
      {"Cap\r\n+50 00 00\r\n180 45 180 45\r\nEND\r\n", "REFA", 1},
      {std::string("Cap\0tail\n+50\0 00 00\n", 21) + good, "REFA", 1},
  };
  for (const Case& c : cases) {
    ObservationSession s;
    const std::string out = s.indat(c.file);
    EXPECT_NE(out.find(c.says), std::string::npos) << c.file << "\n--- said:\n" << out;
    EXPECT_EQ(s.count(), c.stored) << c.file;
    expectConsistent(s, c.file);
  }
}

TEST(BadObservationFiles, CaptionIsCutToEightyCharacters) {
  ObservationSession s;
  const std::string caption(130, 'c');
  const std::string out = s.indat(caption + "\n+50 00 00\n");
  EXPECT_EQ(std::string(s.engine().run.caption), caption.substr(0, 80));
  EXPECT_NE(out.find(caption.substr(0, 120) + "\n"), std::string::npos);  // echoed as read
}

TEST(BadObservationFiles, RandomBytesNeverBreakTheList) {
  std::mt19937 random(12345);
  const std::string alphabet = "0123456789        +-.,:*EDJBend\t\n\n\n";
  for (int trial = 0; trial < 300; ++trial) {
    std::string file;
    const bool binary = trial % 3 == 0;
    const int length = static_cast<int>(random() % 2000);
    // Most files start sensibly so that the fuzzing reaches the records,
    // and the reduction of dated places.
    if (trial % 4 == 0) file = "Fuzz\n:ALLSKY\n+50 00 00\n";
    if (trial % 4 == 1) file = "Fuzz\n:ALLSKY\n:B1950\n-50 00 00 2001 2 3.4 5 900\n";
    if (trial % 4 == 2) file = "Fuzz\n+10 00 00 2030 12 31\n";
    for (int i = 0; i < length; ++i) {
      file += binary ? static_cast<char>(random() % 256) : alphabet[random() % alphabet.size()];
    }
    ObservationSession s;
    s.indat(file);
    expectConsistent(s, "trial " + std::to_string(trial));
  }
}

// Records of plausible shape with awkward numbers, so that many reach the
// reduction of dated mean places, refraction and all.
TEST(BadObservationFiles, AwkwardNumbersStillGiveFinitePositions) {
  std::mt19937 random(4242);
  const char* const odd[] = {"0", "-0", "59.999999", "89", "90", "269", "1E99", "-1E99",
                             "B1950", "J2000", "B1E90", "J-5", "0.0000001", "12", "23"};
  int stored = 0;
  for (int trial = 0; trial < 40; ++trial) {
    std::string file = trial % 2 == 0 ? "Awkward\n:ALLSKY\n-89 59 59 2000 2 29.99 -50 2000\n"
                                      : "Awkward\n:ALLSKY\n:J1E90\n+89 00 00 1901 1 1 50 0.1\n";
    for (int record = 0; record < 60; ++record) {
      const int count = 4 + static_cast<int>(random() % 16);
      for (int field = 0; field < count; ++field) {
        if (random() % 4 == 0) {
          file += odd[random() % std::size(odd)];
        } else {
          file += std::to_string(random() % 24);
        }
        file += ' ';
      }
      file += '\n';
    }
    ObservationSession s;
    s.indat(file);
    expectConsistent(s, "trial " + std::to_string(trial));
    stored += s.count();
  }
  EXPECT_GT(stored, 100);
}

}  // namespace
}  // namespace zenfit::test
