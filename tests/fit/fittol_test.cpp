#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

TEST(Fittol, StoresAcceptedValuesAndKeepsTheOldOneOnAnyError) {
  ScratchDir dir;
  Session session(dir.path());
  double& tolerance = session.engine().settings.fitTolerance;
  EXPECT_EQ(tolerance, 0.01);

  EXPECT_EQ(session.run("FITTOL 2.5E-3"), "* FITTOL 2.5E-3\nIll-conditioning criterion = 0.0025\n");
  EXPECT_EQ(tolerance, 0.0025);
  for (const char* line : {"FITTOL 1", "FITTOL 1.0001", "FITTOL -1E-9", "FITTOL ON"}) {
    EXPECT_EQ(session.run(line), std::string("* ") + line + "\nParameter error!\n?\n");
    EXPECT_EQ(tolerance, 0.0025);
  }
  // Zero, even written with a sign, turns the editing of singular values off.
  EXPECT_EQ(session.run("FITTOL -0"), "* FITTOL -0\nIll-conditioning criterion = 0\n");
  EXPECT_FALSE(std::signbit(tolerance));
  EXPECT_NE(session.run("SHOW").find("FITTOL:  the ill-conditioning criterion is 0.\n"),
            std::string::npos);
}

}  // namespace
}  // namespace zenfit::test
