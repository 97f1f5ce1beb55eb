// The batch program as its users run it: arguments, transcript, status,
// its own messages on standard error, and HELP.
#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "help/help.h"
#include "support/session.h"
#include "support/small_file_system.h"

namespace zenfit::test {
namespace {

struct Outcome {
  std::string out, err;
  int status;
};

// Runs the batch program in a folder with input (printf format) on its
// standard input, or with the shell redirections given in arguments.
Outcome runProgram(const ScratchDir& dir, const std::string& arguments, const std::string& input = "") {
  const int status = std::system(("cd '" + dir.path() + "' && printf '" + input + "' | " +
                                  ZENFIT_CLI_PATH + " " + arguments +
                                  " > stdout.txt 2> stderr.txt").c_str());
  return {dir.read("stdout.txt"), dir.read("stderr.txt"), WIFEXITED(status) ? WEXITSTATUS(status) : -1};
}

const std::string kUsageStart = "Usage: zenfit INPUT OUTPUT REPORT INI\n";
const std::string kFailedOne =
    "zenfit: 1 command failed; each is followed by a line holding \"?\" in the session\n";

TEST(BatchProgram, StartsAndEndsAsItsUsersExpect) {
  const std::string ended = "\n\n\n* END OF SESSION *\n\n\n";
  const struct {
    std::string ini, input, arguments, out, err;
    int status;
    std::string transcriptEnd;  // of out.txt, when the session ran
  } cases[] = {
      {"", "", "a b c", "ZENFIT improperly invoked!\n", kUsageStart, 255, ""},
      {"", "", "--version", "zenfit 5.2.1\n", "", 0, ""},
      {"", "", "nothere out.txt / /", "Error running ZENFIT!\n",
       "zenfit: cannot open the command file nothere.dat: No such file or directory\n", 255, ""},
      {"", "", "folder/ out.txt / /", "Error running ZENFIT!\n",
       "zenfit: cannot open the command file folder: it is a folder\n", 255, ""},
      // An initialisation file named but missing stops the session; the
      // default one missing does not.
      {"", "", "s.cmd out.txt / site", "Error running ZENFIT!\n",
       "zenfit: cannot open the initialisation file site.dat: No such file or directory\n", 255, ""},
      {"", "", "s.cmd out.txt / /", "Error running ZENFIT!\n", "", 1, "* end" + ended},
      {"COLOUR 5\nCOLOUR red\n", "", "s.cmd out.txt / /",
       "Error in ZENFIT initialization file! - \nCOLOUR 5\nError running ZENFIT!\n", "", 1,
       "* end" + ended},
      // Standard input; its end is taken as END.
      {"", "gscatter\\n", "/ out.txt / /", "Error running ZENFIT!\n", kFailedOne, 1,
       "* gscatter\nUnrecognized command!\n?\nEOF\n* END" + ended},
  };
  for (const auto& c : cases) {
    ScratchDir dir;
    dir.write("s.cmd", "end\n");
    std::filesystem::create_directory(dir.file("folder"));
    if (!c.ini.empty()) dir.write("zenfit.ini", c.ini);
    const Outcome run = runProgram(dir, c.arguments, c.input);
    EXPECT_EQ(run.out, c.out) << c.arguments;
    EXPECT_EQ(run.status, c.status) << c.arguments;
    EXPECT_TRUE(run.err.starts_with(c.err) && (c.err == kUsageStart || run.err == c.err))
        << c.arguments << ": " << run.err;
    EXPECT_EQ(dir.exists("out.txt"), c.status == 1) << c.arguments;
    EXPECT_TRUE(dir.read("out.txt").ends_with(c.transcriptEnd)) << dir.read("out.txt");
  }
  ScratchDir dir;
  const Outcome help = runProgram(dir, "--help");
  EXPECT_TRUE(help.out.starts_with(kUsageStart)) << help.out;
  EXPECT_EQ(help.err, "");
  EXPECT_EQ(help.status, 0);
}

// Odd, but kept: scripts that drive the batch program look for this line
// and this status at the end of every session, however well it went.
TEST(BatchProgram, EndsEvenAFlawlessSessionWithErrorRunningZenfitBecauseHostScriptsWaitForIt) {
  ScratchDir dir;
  dir.write("s.cmd", "show\nuse ih\nend\n");
  const Outcome run = runProgram(dir, "s.cmd out.txt / /");
  EXPECT_EQ(run.out, "Error running ZENFIT!\n");
  EXPECT_EQ(run.err, "");
  EXPECT_EQ(run.status, 1);
  const std::string transcript = dir.read("out.txt");
  const std::size_t ready = transcript.find("ZENFIT ready for use");
  ASSERT_NE(ready, std::string::npos) << transcript;
  EXPECT_EQ(transcript.find("\n?\n", ready), std::string::npos) << transcript;  // no command failed
}

TEST(BatchProgram, WritesTheWholeSessionWithoutPromptsAndWithPlainLineEnds) {
  ScratchDir dir;
  std::string script;
  for (int i = 0; i < 30; ++i) script += "show\n";  // far more than the 2000-byte buffer holds
  dir.write("long.dat", script + "vt 5 6\nend\n");
  const Outcome run = runProgram(dir, "long session.txt / /");  // ".dat" is implied
  EXPECT_EQ(run.out, "Error running ZENFIT!\n");  // the session's own last line
  EXPECT_EQ(run.status, 1);
  std::string expected = runBatchSession(dir.path(), "long.dat");
  for (auto at = expected.find("* * "); at != std::string::npos; at = expected.find("* * ", at)) {
    expected.erase(at, 2);
  }
  EXPECT_GT(expected.size(), 10000u);
  EXPECT_EQ(dir.read("session.txt"), expected);  // and so no CR either
}

// The transcript is written once per command (when the engine next waits
// for a line) and once at the end: standard output is a packet socket, so
// that each write arrives as one packet.
TEST(BatchProgram, WritesTheTranscriptOncePerCommand) {
  ScratchDir dir;
  dir.write("s.cmd", "show\n! a comment\nslist\nbogus\nend\n");
  int sockets[2];
  ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, sockets), 0);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    ::dup2(sockets[1], STDOUT_FILENO);
    ::close(sockets[0]);
    ::close(sockets[1]);
    if (::chdir(dir.path().c_str()) != 0) ::_exit(99);
    ::execl(ZENFIT_CLI_PATH, ZENFIT_CLI_PATH, "s.cmd", "/", "/", "/", static_cast<char*>(nullptr));
    ::_exit(98);
  }
  ::close(sockets[1]);
  std::vector<std::string> packets;
  std::vector<char> buffer(1 << 20);
  for (ssize_t n; (n = ::recv(sockets[0], buffer.data(), buffer.size(), 0)) > 0;) {
    packets.emplace_back(buffer.data(), static_cast<std::size_t>(n));
  }
  ::close(sockets[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 1);

  // Start-up, then one for each line read (the comment line is echoed
  // too), then the closing line.
  ASSERT_EQ(packets.size(), 7u);
  EXPECT_TRUE(packets[0].ends_with("ZENFIT ready for use:  type HELP for assistance, END to quit.\n\n"));
  EXPECT_TRUE(packets[1].starts_with("* show\n\nADJUST:"));
  EXPECT_EQ(packets[2], "* ! a comment\n");
  EXPECT_TRUE(packets[3].starts_with("* slist\n"));
  EXPECT_EQ(packets[4], "\n* bogus\nUnrecognized command!\n?\n");
  EXPECT_EQ(packets[5], "* end\n\n\n* END OF SESSION *\n\n\n");
  EXPECT_EQ(packets[6], "Error running ZENFIT!\n");
}

TEST(BatchProgram, RefusesAnOutputThatIsItsOwnInput) {
  const std::string command = "use ih\nend\n";
  for (const char* output : {"same.cmd", "link.cmd", "hard.cmd"}) {
    ScratchDir dir;
    dir.write("same.cmd", command);
    std::filesystem::create_symlink("same.cmd", dir.file("link.cmd"));
    std::filesystem::create_hard_link(dir.file("same.cmd"), dir.file("hard.cmd"));
    const Outcome run = runProgram(dir, "same.cmd " + std::string(output) + " / /");
    EXPECT_EQ(run.status, 255) << output;
    EXPECT_EQ(run.err, "zenfit: the output file " + std::string(output) +
                           " is the command file same.cmd; give the session another file\n");
    EXPECT_EQ(dir.read("same.cmd"), command) << output;
  }
}

TEST(BatchProgram, TranscriptThatCannotBeWrittenEndsTheSession) {
  // The session stops at the first command after the failure: the model is
  // never written.
  const std::string commands = "show\nuse ih\noutmod ../m\nend\n";
  if (std::filesystem::exists("/dev/full")) {
    ScratchDir dir;
    std::filesystem::create_directory(dir.file("sub"));
    dir.write("sub/s.cmd", commands);
    const Outcome run = runProgram(dir, "sub/s.cmd /dev/full/ / /");
    EXPECT_EQ(run.out, "Error running ZENFIT!\n");
    EXPECT_EQ(run.err, "zenfit: Cannot write /dev/full: No space left on device; the session was ended there\n");
    EXPECT_EQ(run.status, 255);
    EXPECT_FALSE(dir.exists("m.dat"));
  }
  // A real file system that fills up: what fitted is kept.
  ScratchDir dir;
  SmallFileSystem fs(dir.file("small"), "size=16k,mode=0777");
  SKIP_UNLESS_MOUNTED(fs);
  std::string many;
  for (int i = 0; i < 100; ++i) many += "show\n";
  dir.write("s.cmd", many + "outmod m\nend\n");
  const Outcome run = runProgram(dir, "s.cmd small/out.txt / /");
  EXPECT_EQ(run.err, "zenfit: Cannot write small/out.txt: No space left on device; the session was ended there\n");
  EXPECT_EQ(run.status, 255);
  EXPECT_FALSE(dir.exists("m.dat"));
  const std::string kept = dir.read("small/out.txt");
  EXPECT_GT(kept.size(), 8000u);
  EXPECT_TRUE(kept.starts_with("\n\n\n\n\n\n\n\n\n\n\n\n\n+ - - -"));
}

TEST(BatchProgram, CommandInputThatNeverEndsALine) {
  if (!std::filesystem::exists("/dev/zero")) GTEST_SKIP() << "this system has no /dev/zero";
  ScratchDir dir;
  const Outcome file = runProgram(dir, "/dev/zero/ out.txt / /");
  EXPECT_EQ(file.status, 1);
  EXPECT_EQ(file.err, "zenfit: the command input /dev/zero could not be read to its end: a line runs "
                      "on for more than 16 MB (not a text file); taken as its end\n");
  EXPECT_TRUE(dir.read("out.txt").ends_with("EOF\n* END\n\n\n* END OF SESSION *\n\n\n"));
  const Outcome piped = runProgram(dir, "/ out.txt / / < /dev/zero");
  EXPECT_EQ(piped.status, 1);
  EXPECT_EQ(piped.err, "zenfit: the command input (standard input) could not be read to its end: a line "
                       "runs on for more than 16 MB (not a text file); taken as its end\n");
}

// HELP answers from the help library into the transcript, where the
// command's output stands; "? FIT" is HELP FIT. The library in the working
// folder, named by the initialisation file, comes first.
TEST(BatchProgram, HelpAnswersInTheTranscript) {
  const help::Library library = *help::Library::parse(help::builtInText());
  auto answer = [&](const std::string& request) {
    std::string text;
    for (const std::string& line : library.answer(request)) text += line + "\n";
    return text;
  };
  ScratchDir dir;
  dir.write("s.cmd", "HELP\nhelp fit\n? FIT\nHELP HXSH2\nHELP NOSUCH\nEND\n");
  const Outcome run = runProgram(dir, "s.cmd out.txt / /");
  EXPECT_EQ(run.err, "");
  const std::string out = dir.read("out.txt");
  const std::string fit = answer("FIT");
  EXPECT_NE(out.find("* HELP\n" + answer("") + "* help fit\n" + fit + "* ? FIT\n" + fit +
                     "* HELP HXSH2\n" + answer("HXSH2") +
                     "* HELP NOSUCH\nNo help for NOSUCH; type HELP for the list of commands.\n* END\n"),
            std::string::npos)
      << out;
  // The site's own help file, named by the initialisation file.
  dir.write("zenfit.ini", "HELP_NAME site\nHELP_SUFFIX .hlp\n");
  dir.write("site.hlp", "== Commands: Site\n@ FIT | fit here\nAsk the night assistant.\n");
  dir.write("s.cmd", "HELP FIT\nEND\n");
  runProgram(dir, "s.cmd out.txt / /");
  EXPECT_NE(dir.read("out.txt").find("* HELP FIT\nAsk the night assistant.\n* END\n"),
            std::string::npos);
}

}  // namespace
}  // namespace zenfit::test
