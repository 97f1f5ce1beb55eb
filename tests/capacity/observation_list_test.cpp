// A full observation list through the commands that walk it: masking by
// number at the last observation, OUTDAT and INDAT of every observation,
// and appending past the capacity.
#include <gtest/gtest.h>

#include <string>

#include "capacity/full_run.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

TEST(ObservationListCapacity, AFullListIsMaskedWrittenReadBackAndAppendedTo) {
  ScratchDir dir;
  dir.write("full.dat", fullHorizonFile());
  dir.write("three.dat", "Three more\n+30 00 00\n180 45 180 45\n90 30 90 30\n270 20 270 20\n");
  Session session(dir.path());
  session.engine().run.briefEcho = 1;
  session.run("INDAT full");
  const ObservationList& list = session.engine().observations;
  ASSERT_EQ(observationCount(list), kMaxObservations);

  EXPECT_EQ(session.run("MASK 4999 4998"), "* MASK 4999 4998\n");
  EXPECT_EQ(session.run("MASK 5000"), "* MASK 5000\nIllegal value!\n?\n");
  EXPECT_EQ(activeObservationCount(list), kMaxObservations - 2);

  // The file holds the active observations; read back they match to the
  // precision it is written with (millionths of a second of time).
  const double starHa = list.starHa[kMaxObservations - 3];
  const double telDec = list.telDec[kMaxObservations - 3];
  EXPECT_EQ(session.run("OUTDAT copy"), "* OUTDAT copy\n");
  session.run("INDAT copy");
  ASSERT_EQ(observationCount(list), kMaxObservations - 2);
  EXPECT_NEAR(list.starHa[kMaxObservations - 3], starHa, 1e-10);
  EXPECT_NEAR(list.telDec[kMaxObservations - 3], telDec, 1e-10);

  // Appended, two of the three find room; the third is refused.
  session.run("APPEND");
  EXPECT_NE(session.run("INDAT three").find("Rejected observation count = 1.\n"), std::string::npos);
  EXPECT_EQ(observationCount(list), kMaxObservations);
  EXPECT_NE(session.run("SHOW").find("There are 4999 observations in the data list, all active.\n"),
            std::string::npos);
}

}  // namespace
}  // namespace zenfit::test
