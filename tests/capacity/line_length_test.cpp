// Lines of 200 characters: the 200th character counts, the 201st is cut,
// whether the line comes from the host, the command input or the
// initialisation file.
#include <gtest/gtest.h>

#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

// "ADJUST", blanks, then "S" as the line's length-th character.
std::string adjustStarsAt(int length) {
  return "ADJUST" + std::string(length - 7, ' ') + "S";
}

constexpr char kStars[] = "Model will adjust stars to fit telescope.\n";
constexpr char kTelescope[] = "Model will adjust telescope to fit stars.\n";

TEST(LineLengthCapacity, AHostLineKeepsItsFirst200Characters) {
  ScratchDir dir;
  Session session(dir.path());
  EXPECT_EQ(session.run(adjustStarsAt(200)), "* " + adjustStarsAt(200) + "\n" + kStars);
  EXPECT_EQ(session.run("ADJUST T"), "* ADJUST T\n" + std::string(kTelescope));
  EXPECT_EQ(session.run(adjustStarsAt(201)), std::string("* ADJUST\n") + kTelescope);
}

TEST(LineLengthCapacity, ABatchLineKeepsItsFirst200Characters) {
  ScratchDir dir;
  dir.write("session.cmd", adjustStarsAt(200) + "\nADJUST T\n" + adjustStarsAt(201) + "\nEND\n");
  const std::string out = runBatchSession(dir.path(), "session.cmd");
  const std::string expected = "* " + adjustStarsAt(200) + "\n" + kStars + "* * ADJUST T\n" +
                               kTelescope + "* * ADJUST\n" + kTelescope;
  EXPECT_NE(out.find(expected), std::string::npos) << out;
}

TEST(LineLengthCapacity, AnInitialisationLineKeepsItsFirst200Characters) {
  const std::string key = "STAR_CATALOG";
  ScratchDir dir;
  dir.write("cat.dat", "NAME   RA           DEC          PMRA    PMDEC  EPOCH\n");
  dir.write("zenfit.ini", key + std::string(200 - key.size() - 3, ' ') + "cat\n");
  EXPECT_NE(Session(dir.path()).startupText().find("from file cat ...\n0 stars input.\n"),
            std::string::npos);
  dir.write("zenfit.ini", key + std::string(201 - key.size() - 3, ' ') + "cat\n");
  EXPECT_NE(Session(dir.path()).startupText().find("File = ca, status = -1\n"),
            std::string::npos);
}

// The longest name a command line can carry still gets its ".dat".
TEST(LineLengthCapacity, AFileNameThatFillsTheLineIsOpened) {
  ScratchDir dir;
  const std::string name(200 - 6, 'n');
  dir.write(name + ".dat", "Long name\n+50 00 00\n180 45 180 45\n");
  Session session(dir.path());
  const std::string line = "INDAT " + name;
  ASSERT_EQ(line.size(), 200u);
  EXPECT_NE(session.run(line).find("Long name\n180 45 180 45\n"), std::string::npos);
  EXPECT_EQ(observationCount(session.engine().observations), 1);
}

}  // namespace
}  // namespace zenfit::test
