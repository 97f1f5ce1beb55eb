// Over-long lines in every text file the engine reads: each line is cut at
// its file's length (observations 120, catalogue 100, the rest 200), the
// rest of it is skipped however long it is, and the lines after it are read
// as usual; each file also ends in a long line with no line end. A line
// that never ends (/dev/zero) ends the file, and the command that read it
// says so and fails.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "data/catalogue.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

// 200 is just past every cut; 64 KiB and 1 MiB once ended the file unseen.
const std::size_t kLengths[] = {200, 64 * 1024, 1024 * 1024};

// start, blanks up to column keep, then 'x' up to length characters: what
// is kept of the line is start alone.
std::string longLine(const std::string& start, std::size_t keep, std::size_t length) {
  std::string line = start;
  line.resize(keep, ' ');
  line.resize(length, 'x');
  return line;
}

const std::string kEndless = "a line runs on for more than 16 MB (not a text file)";

// Observations, the catalogue, a model, a procedure library and the
// initialisation file, each with long lines inside and a long last line
// with no line end.
TEST(LongLines, EveryFileTheEngineReads) {
  for (const std::size_t length : kLengths) {
    ScratchDir dir;
    dir.write("run.dat", longLine("Long lines", 120, length) + "\n:ALLSKY\n+51 28 38\n" +
                             "12 00 00 +20 00 00  12 00 01 +20 00 02  12 00  1.5\n" +
                             longLine("06 00 00 -10 00 00  06 00 01 +100 00 02  08 30  0 -2.25", 120, length) +
                             "\n" + longLine("180 5 180 5.5", 120, length));
    dir.write("cat.dat", longLine("NAME   RA        DEC", 100, length) + "\n" +
                             "ALDEB  04 35 55.24  +16 30 33.5  0.0044 -0.189  J2000\n" +
                             longLine("VEGA   18 36 56.34  +38 47 01.3  0.0172  0.286  J2000", 100, length) +
                             "\n" + longLine("ALTAIR 19 50 47.00  +08 52 06.0  0.0036  0.386  J2000", 100, length));
    dir.write("model.dat", longLine("Test run 7", 200, length) + "\n" + "S   24   1.2345   58.123  -0.0678\n" +
                               longLine("  IH        +12.3457     0.54321", 200, length) + "\n" +
                               longLine("& NP         -3.5000     1.00000", 200, length));
    dir.write("lib.dat", "PROC A\n" + longLine("  setcap 'after a long line'", 200, length) +
                             "\n  frame off\nRETURN\nPROC B\n  frame on\n" + longLine("RETURN", 200, length));
    dir.write("zenfit.ini", "HELP_NAME site\n" + longLine("STAR_CATALOG mycat", 200, length) + "\n" +
                                longLine("PROCEDURE_LIBRARY mylib", 200, length));
    Session s(dir.path());
    const std::string read = s.run("INDAT run");
    EXPECT_EQ(s.engine().observations.count(), 3) << length << "\n" << read;
    EXPECT_EQ(s.engine().run.caption, "Long lines") << length;
    EXPECT_EQ(read.find("rejected"), std::string::npos) << length << "\n" << read;
    EXPECT_EQ(s.engine().dispatch.status, CommandStatus::Done) << length;
    EXPECT_EQ(s.engine().settings.starCatalog, "mycat") << length;
    EXPECT_EQ(s.engine().settings.procedureLibrary, "mylib") << length;
    EXPECT_EQ(s.run("INST cat"), "* INST cat\nReading star catalogue entries from file cat ...\n3 stars input.\n")
        << length;
    CatalogueStar star;
    EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "VEGA", star), 0) << length;
    EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "ALTAIR", star), 0) << length;
    const std::string out = s.run("INMOD model");
    EXPECT_EQ(s.engine().dispatch.status, CommandStatus::Done) << length << "\n" << out.substr(0, 400);
    EXPECT_EQ(s.engine().model.inUse(), 2) << length;
    EXPECT_NEAR(s.engine().model[0].sigma * kArcsecPerRadian, 0.54321, 1e-9) << length;
    EXPECT_EQ(s.run("INPRO lib"), "* INPRO lib\nReading procedures from file lib ...\n7 lines input.\n") << length;
    s.run("CALL A");
    EXPECT_EQ(s.engine().run.caption, "after a long line") << length;
  }
}

TEST(LongLines, CommandInput) {
  for (const std::size_t length : kLengths) {
    ScratchDir dir;
    dir.write("s.cmd", "SETCAP first\n" + longLine("SETCAP second", 200, length) + "\nVT\nEND\n");
    const std::string text = runBatchSession(dir.path(), "s.cmd");
    EXPECT_NE(text.find("* * SETCAP first\n* * SETCAP second\n* * VT\n"), std::string::npos) << length;
    EXPECT_EQ(text.find("EOF"), std::string::npos) << length;
  }
  // No line end at all: the one long line is the whole input.
  ScratchDir dir;
  dir.write("s.cmd", longLine("SETCAP only", 200, 1024 * 1024));
  const std::string text = runBatchSession(dir.path(), "s.cmd");
  EXPECT_NE(text.find("* * SETCAP only\n* EOF* END\n"), std::string::npos) << text.substr(0, 300);
}

// A device that never ends a line is read up to 16 MB of one line, taken as
// the end of the file; each command reports it after its usual report.
TEST(LongLines, LineThatNeverEnds) {
  if (!std::filesystem::exists("/dev/zero")) GTEST_SKIP() << "this system has no /dev/zero";
  ScratchDir dir;
  Session s(dir.path());
  const std::string cannot =
      "Input file could not be read to its end!  File = /dev/zero/: " + kEndless + "\n?\n";
  const std::string indat = s.run("INDAT /dev/zero/");
  EXPECT_TRUE(indat.ends_with("Unexpected end-of-file!\n\f" + cannot)) << indat;
  EXPECT_EQ(s.run("INST /dev/zero/"),
            "* INST /dev/zero/\nReading star catalogue entries from file /dev/zero/ ...\n"
            "0 stars input.\n" + cannot);
  EXPECT_EQ(s.run("INMOD /dev/zero/"),
            "* INMOD /dev/zero/\nFile has ended prematurely!\n" + cannot);
  EXPECT_EQ(s.run("INPRO /dev/zero/"),
            "* INPRO /dev/zero/\nReading procedures from file /dev/zero/ ...\n1 lines input.\n" +
                cannot);

  // The initialisation file: reported where its other problems are.
  std::filesystem::create_symlink("/dev/zero", dir.file("zenfit.ini"));
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> console(std::tmpfile(), std::fclose);
  Engine engine;
  engine.workdir = dir.path();
  engine.hooks.console = console.get();
  EXPECT_EQ(startEngine(engine, {}), 0);
  shutdownEngine(engine);
  std::rewind(console.get());
  char said[256] = "";
  std::fgets(said, sizeof said, console.get());
  EXPECT_EQ(std::string(said), "ZENFIT initialization file could not be read to its end!  File = "
                               "zenfit.ini: " + kEndless + "\n");
}

}  // namespace
}  // namespace zenfit::test
