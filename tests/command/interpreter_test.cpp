// The interpreter a front end drives: each line's own text, and whether it
// succeeded; engines that share nothing.
#include "command/interpreter.h"

#include <gtest/gtest.h>

#include "support/session.h"

namespace zenfit::test {
namespace {

TEST(Interpreter, GivesEachLinesTextAndWhetherItSucceeded) {
  ScratchDir dir;
  Interpreter zenfit(dir.path());
  ASSERT_TRUE(zenfit.started());
  EXPECT_NE(zenfit.startupText().find("There are 54 standard pointing terms.\n"), std::string::npos);

  const std::pair<std::string, Interpreter::Outcome> lines[] = {
      {"USE IH ID", {true, "* USE IH ID\n"}},
      {"IH 5", {true, "* IH 5\nIH      :   old =   +0.00,   new =   +5.00\n"}},
      {"GSCATTER", {false, "* GSCATTER\nUnrecognized command!\n?\n"}},
      {"FIT", {false, "* FIT\n!\n"}},  // no observations to fit
      {"", {true, ""}},
      {"$", {false, "A front end runs one line at a time.\n"}},
  };
  for (const auto& [line, want] : lines) {
    const Interpreter::Outcome got = zenfit.run(line);
    EXPECT_EQ(got.ok, want.ok) << line;
    EXPECT_EQ(got.text, want.text) << line;
  }
  EXPECT_EQ(zenfit.lastFit(), nullptr);

  // A second engine in another folder knows nothing of the first.
  ScratchDir other;
  Interpreter second(other.path());
  EXPECT_EQ(second.run("IH").text, "* IH\nCoefficient not in use!\n?\n");
  EXPECT_EQ(zenfit.run("IH").text, "* IH\nIH      :  =   +5.00\n");
}

}  // namespace
}  // namespace zenfit::test
