// The batch program as its users run it: arguments, transcript, status.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

struct ProgramRun {
  std::string out;
  int status = -1;
};

// Runs the batch program in folder after a shell prefix; returns its
// standard output and exit status.
ProgramRun runProgram(const std::string& folder, const std::string& arguments,
                      const std::string& prefix = "") {
  const std::string line = "cd '" + folder + "' && " + prefix + ZENFIT_CLI_PATH + " " + arguments;
  ProgramRun run;
  std::FILE* pipe = popen(line.c_str(), "r");
  if (pipe == nullptr) return run;
  char chunk[4096];
  for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0;) run.out.append(chunk, n);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

TEST(BatchProgram, ReportsBadStartsOnStandardOutput) {
  const struct {
    std::string ini, arguments, out;
    int status;
  } cases[] = {
      {"", "a b c", "ZENFIT improperly invoked!\n", 255},
      {"", "nothere out.txt / /", "Error running ZENFIT!\n", 255},
      {"COLOUR 5\nCOLOUR red\n", "s.cmd out.txt / /",
       "Error in ZENFIT initialization file! - \nCOLOUR 5\nError running ZENFIT!\n", 1},
  };
  for (const auto& c : cases) {
    ScratchDir dir;
    dir.write("s.cmd", "end\n");
    if (!c.ini.empty()) dir.write("zenfit.ini", c.ini);
    const ProgramRun run = runProgram(dir.path(), c.arguments);
    EXPECT_EQ(run.out, c.out) << c.arguments;
    EXPECT_EQ(run.status, c.status) << c.arguments;
    EXPECT_EQ(dir.exists("out.txt"), c.status != 255) << c.arguments;
  }
}

TEST(BatchProgram, WritesTheWholeSessionWithoutPromptsAndWithPlainLineEnds) {
  ScratchDir dir;
  std::string script;
  for (int i = 0; i < 30; ++i) script += "show\n";  // far more than the 2000-byte buffer holds
  dir.write("long.dat", script + "vt 5 6\nend\n");
  const ProgramRun run = runProgram(dir.path(), "long session.txt / /");  // ".dat" is implied
  EXPECT_EQ(run.out, "Error running ZENFIT!\n");  // the session's own closing line
  EXPECT_EQ(run.status, 1);
  std::string expected = runBatchSession(dir.path(), "long.dat");
  for (std::size_t at = expected.find("* * "); at != std::string::npos; at = expected.find("* * ", at)) {
    expected.erase(at, 2);
  }
  const std::string transcript = dir.read("session.txt");
  EXPECT_GT(transcript.size(), 10000u);
  EXPECT_EQ(transcript.find('\r'), std::string::npos);
  EXPECT_EQ(transcript, expected);
}

TEST(BatchProgram, ReadsStandardInputAndTakesItsEndAsEnd) {
  ScratchDir dir;
  const ProgramRun run = runProgram(dir.path(), "/ / / /", "printf 'gscatter\\n' | ");
  EXPECT_NE(run.out.find("* gscatter\nUnrecognized command!\n?\n"), std::string::npos);
  EXPECT_TRUE(run.out.ends_with("EOF\n* END\n\n\n* END OF SESSION *\n\n\nError running ZENFIT!\n"));
}

}  // namespace
}  // namespace zenfit::test
