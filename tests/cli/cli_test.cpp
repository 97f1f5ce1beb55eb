// The batch program as its users run it: arguments, transcript, status.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdlib>
#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

// Runs the batch program in a folder with input (printf format) on its
// standard input; returns its standard output and exit status.
std::pair<std::string, int> runProgram(const ScratchDir& dir, const std::string& arguments,
                                       const std::string& input = "") {
  const int status = std::system(("cd '" + dir.path() + "' && printf '" + input + "' | " +
                                  ZENFIT_CLI_PATH + " " + arguments + " > stdout.txt").c_str());
  return {dir.read("stdout.txt"), WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

TEST(BatchProgram, StartsAndEndsAsItsUsersExpect) {
  const std::string ended = "\n\n\n* END OF SESSION *\n\n\n";
  const struct {
    std::string ini, input, arguments, out;
    int status;
    std::string transcriptEnd;  // of out.txt, when the session ran
  } cases[] = {
      {"", "", "a b c", "ZENFIT improperly invoked!\n", 255, ""},
      {"", "", "nothere out.txt / /", "Error running ZENFIT!\n", 255, ""},
      {"COLOUR 5\nCOLOUR red\n", "", "s.cmd out.txt / /",
       "Error in ZENFIT initialization file! - \nCOLOUR 5\nError running ZENFIT!\n", 1,
       "* end" + ended},
      // Standard input; its end is taken as END.
      {"", "gscatter\\n", "/ out.txt / /", "Error running ZENFIT!\n", 1,
       "* gscatter\nUnrecognized command!\n?\nEOF\n* END" + ended},
  };
  for (const auto& c : cases) {
    ScratchDir dir;
    dir.write("s.cmd", "end\n");
    if (!c.ini.empty()) dir.write("zenfit.ini", c.ini);
    EXPECT_EQ(runProgram(dir, c.arguments, c.input), std::pair(c.out, c.status)) << c.arguments;
    EXPECT_EQ(dir.exists("out.txt"), c.status != 255) << c.arguments;
    EXPECT_TRUE(dir.read("out.txt").ends_with(c.transcriptEnd)) << dir.read("out.txt");
  }
}

TEST(BatchProgram, WritesTheWholeSessionWithoutPromptsAndWithPlainLineEnds) {
  ScratchDir dir;
  std::string script;
  for (int i = 0; i < 30; ++i) script += "show\n";  // far more than the 2000-byte buffer holds
  dir.write("long.dat", script + "vt 5 6\nend\n");
  const auto [out, status] = runProgram(dir, "long session.txt / /");  // ".dat" is implied
  EXPECT_EQ(out, "Error running ZENFIT!\n");  // the session's own last line
  EXPECT_EQ(status, 1);
  std::string expected = runBatchSession(dir.path(), "long.dat");
  for (auto at = expected.find("* * "); at != std::string::npos; at = expected.find("* * ", at)) {
    expected.erase(at, 2);
  }
  EXPECT_GT(expected.size(), 10000u);
  EXPECT_EQ(dir.read("session.txt"), expected);  // and so no CR either
}

}  // namespace
}  // namespace zenfit::test
