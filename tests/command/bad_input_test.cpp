// Bad input never crashes the interpreter, overruns a buffer or hangs it;
// it gets the ordinary messages and the engine stays usable.
#include <gtest/gtest.h>

#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

TEST(BadCommandLines, AreRefusedAndTheEngineCarriesOn) {
  ScratchDir dir;
  Session session(dir.path());
  std::string binary;
  for (int c = 1; c < 256; ++c) binary += static_cast<char>(c);
  const std::string lines[] = {
      std::string(300, 'x'),                   // longer than a line
      "CALL " + std::string(300, 'P'),         // name far beyond its limit
      "SETCAP '" + std::string(250, 'c'),      // unterminated quote, overlong caption
      "MARKH 1e999999",                        // exponent far beyond 100
      "MARKH " + std::string(400, '9'),        // a number too large for a double
      "MESLEV 99999999999999 1",               // integer beyond 32 bits
      "VT 1e5 3",
      "PENS 1 2 3 4 5 6 7 8 9",
      binary,
      "\x01\x02\x03 \x7f",
      "INPRO " + std::string(260, 'f'),        // file name beyond its limit
      "INST '" + std::string(199, 'n') + "'",
  };
  for (const std::string& line : lines) {
    const std::string out = session.run(line);
    EXPECT_LE(out.size(), 2000u) << line.substr(0, 20);
  }
  EXPECT_EQ(session.run("MARKH 1e999999"), "* MARKH 1e999999\nIllegal argument!\n?\n");
  EXPECT_EQ(session.run("MESLEV 99999999999999 1"),
            "* MESLEV 99999999999999 1\nError in first argument!\n?\n");
  EXPECT_EQ(session.run("FRAME"), "* FRAME\n");
}

TEST(BadCommandLines, ABlankHostLineRunsNothing) {
  ScratchDir dir;
  Session session(dir.path());
  EXPECT_EQ(session.run("   "), "* \n");
  EXPECT_EQ(session.run("! just a note"), "* ! just a note\n");
}

TEST(BadFiles, BinaryProcedureLibraryAndInitialisationFileAreSurvived) {
  ScratchDir dir;
  std::string junk;
  for (int i = 0; i < 5000; ++i) junk += static_cast<char>((i * 7919) % 256);
  dir.write("procs.dat", junk);
  dir.write("zenfit.ini", junk);
  dir.write("stars.dat", junk);
  Session session(dir.path());
  EXPECT_EQ(session.startupStatus(), 0);
  EXPECT_NE(session.startupText().find("ZENFIT ready for use:"), std::string::npos);
  EXPECT_EQ(session.run("FRAME OFF"), "* FRAME OFF\n");
}

TEST(BadFiles, ProcedureLibraryBeyondTheStoreIsCutAtItsCapacity) {
  ScratchDir dir;
  std::string library = "PROC INIT\nRETURN\n";
  for (int i = 0; i < 2500; ++i) library += "FRAME ON\n";
  dir.write("procs.dat", library);
  Session session(dir.path());
  EXPECT_NE(session.startupText().find("1999 lines input.\n"), std::string::npos);
}

TEST(BadFiles, ACatalogueOfManyLinesKeepsTheFirst1999) {
  ScratchDir dir;
  std::string catalogue;
  for (int i = 0; i < 2500; ++i) catalogue += "S" + std::to_string(i) + " 1 2 3 +4 5 6 0 0 2000\n";
  dir.write("stars.dat", catalogue);
  Session session(dir.path());
  EXPECT_NE(session.startupText().find("1998 stars input.\n"), std::string::npos);
}

}  // namespace
}  // namespace zenfit::test
