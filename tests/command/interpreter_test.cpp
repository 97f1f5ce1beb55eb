// The interpreter a front end drives: each line's own text, and whether it
// succeeded; engines that share nothing.
#include "command/interpreter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

// The host's file hook sees every file the engine reads or writes by name,
// before it is touched, and a refusal fails the command with its reason.
TEST(Interpreter, FileHookSeesEveryNamedFileAndItsRefusalFailsTheCommand) {
  ScratchDir dir;
  dir.copyFrom(std::string(ZENFIT_SOURCE_DIR) + "/examples");
  std::vector<std::string> seen;
  HostHooks hooks;
  hooks.fileAccess = [&](const std::string& name, const std::filesystem::path& path,
                         bool writing) -> std::string {
    seen.push_back((writing ? "w " : "r ") + name + " " + path.lexically_relative(dir.path()).string());
    return name == "secret" ? "No, not " + name : "";
  };
  Interpreter zenfit(dir.path(), "", hooks);
  ASSERT_TRUE(zenfit.started());
  EXPECT_EQ(seen, (std::vector<std::string>{"r zenfit.ini zenfit.ini", "r procs procs.dat",
                                            "r stars stars.dat"}));
  seen.clear();
  for (const char* line : {"INDAT run", "INST stars", "USE IH", "FIT", "OUTMOD model",
                           "INMOD model", "OUTDAT out", "INPRO procs"}) {
    EXPECT_TRUE(zenfit.run(line).ok) << line;
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"r run run.dat", "r stars stars.dat",
                                            "w model model.dat", "r model model.dat",
                                            "w out out.dat", "r procs procs.dat"}));
  // Confinement tests every file command and procedure line against the
  // browser host's hook; here the hook's own reason is what the user reads.
  const Interpreter::Outcome refused = zenfit.run("OUTDAT secret");
  EXPECT_FALSE(refused.ok);
  EXPECT_EQ(refused.text.rfind("* OUTDAT secret\nNo, not secret\n", 0), 0u) << refused.text;
  EXPECT_FALSE(dir.exists("secret.dat"));
}

}  // namespace
}  // namespace zenfit::test
