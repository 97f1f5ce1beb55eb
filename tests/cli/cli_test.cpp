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
  int status;
};

// Runs a shell command line in folder; returns its standard output and exit status.
ProgramRun shell(const std::string& folder, const std::string& commandLine) {
  const std::string full = "cd '" + folder + "' && " + commandLine;
  std::FILE* pipe = popen(full.c_str(), "r");
  ProgramRun run{"", -1};
  if (pipe == nullptr) return run;
  char chunk[4096];
  std::size_t n = 0;
  while ((n = std::fread(chunk, 1, sizeof chunk, pipe)) > 0) run.out.append(chunk, n);
  const int status = pclose(pipe);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return run;
}

const std::string kCli = ZENFIT_CLI_PATH;

std::string countOf(const std::string& text, const std::string& what) {
  std::size_t count = 0;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
  return std::to_string(count);
}

TEST(BatchProgram, NeedsExactlyFourFileNames) {
  ScratchDir dir;
  const ProgramRun run = shell(dir.path(), kCli + " a b c");
  EXPECT_EQ(run.out, "ZENFIT improperly invoked!\n");
  EXPECT_EQ(run.status, 255);
}

TEST(BatchProgram, WritesTheWholeSessionToTheOutputFileWithPlainLineEnds) {
  ScratchDir dir;
  std::string script;
  for (int i = 0; i < 30; ++i) script += "show\n";  // far more than the 2000-byte buffer holds
  script += "end\n";
  dir.write("long.cmd", script);
  const ProgramRun run = shell(dir.path(), kCli + " long.cmd session.txt / /");
  EXPECT_EQ(run.out, "Error running ZENFIT!\n");  // the session's own closing line
  EXPECT_EQ(run.status, 1);
  const std::string transcript = dir.read("session.txt");
  EXPECT_EQ(transcript.find('\r'), std::string::npos);
  EXPECT_EQ(countOf(transcript, "* show\n"), "30");
  EXPECT_EQ(countOf(transcript, "ADJUST:  the model adjusts the telescope to fit the stars.\n"), "30");
  EXPECT_NE(transcript.find("ZENFIT ready for use:"), std::string::npos);
  EXPECT_NE(transcript.find("* END OF SESSION *"), std::string::npos);
}

TEST(BatchProgram, TranscriptIsTheBufferTextWithoutThePromptsOfAFileSession) {
  ScratchDir dir;
  dir.write("s.cmd", "vt 5 6\nshow\nend\n");
  const std::string buffered = runBatchSession(dir.path(), "s.cmd");
  shell(dir.path(), kCli + " s.cmd out.txt / /");
  std::string withoutPrompts = buffered;
  for (std::size_t at = withoutPrompts.find("* * "); at != std::string::npos;
       at = withoutPrompts.find("* * ", at + 1)) {
    withoutPrompts.erase(at, 2);
  }
  EXPECT_EQ(dir.read("out.txt"), withoutPrompts);
}

TEST(BatchProgram, ReadsCommandsFromStandardInputAndEndsAtEndOfInput) {
  ScratchDir dir;
  const ProgramRun run = shell(dir.path(), "printf 'gscatter\\n' | " + kCli + " / / / /");
  EXPECT_NE(run.out.find("* gscatter\nUnrecognized command!\n?\n"), std::string::npos);
  // End of input is reported and taken as END, each on a line of its own.
  EXPECT_NE(run.out.find("EOF\n* END\n\n\n* END OF SESSION *\n\n\nError running ZENFIT!\n"),
            std::string::npos);
}

TEST(BatchProgram, UnknownInitialisationKeyWithANumberIsReportedOnStandardOutput) {
  ScratchDir dir;
  dir.write("zenfit.ini", "COLOUR 5\nCOLOUR red\n");
  dir.write("s.cmd", "end\n");
  const ProgramRun run = shell(dir.path(), kCli + " s.cmd out.txt / /");
  EXPECT_EQ(run.out, "Error in ZENFIT initialization file! - \nCOLOUR 5\nError running ZENFIT!\n");
}

TEST(BatchProgram, MissingCommandFileFailsStartUp) {
  ScratchDir dir;
  const ProgramRun run = shell(dir.path(), kCli + " nothere out.txt / /");
  EXPECT_EQ(run.out, "Error running ZENFIT!\n");
  EXPECT_EQ(run.status, 255);
  EXPECT_FALSE(dir.exists("out.txt"));
}

TEST(BatchProgram, CommandFileNameWithoutExtensionGetsDat) {
  ScratchDir dir;
  dir.write("obs.dat", "frame off\nend\n");
  const ProgramRun run = shell(dir.path(), kCli + " obs / / /");
  EXPECT_NE(run.out.find("* frame off\n"), std::string::npos);
}

}  // namespace
}  // namespace zenfit::test
