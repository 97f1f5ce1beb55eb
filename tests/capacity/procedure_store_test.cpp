// The procedure store at its capacity: 1999 stored lines and the end mark.
#include <gtest/gtest.h>

#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

// A library whose last stored line is the 1999th: INIT, filler, then a
// procedure whose RETURN would be the 2000th line and is not stored.
std::string fullLibrary(const std::string& lastStoredLine) {
  std::string library = "PROC INIT\nRETURN\n";
  for (int i = 0; i < 1995; ++i) library += "FRAME ON\n";
  library += "PROC LAST\n" + lastStoredLine + "\nRETURN\nPROC AFTER\nRETURN\n";
  return library;
}

TEST(ProcedureStoreCapacity, The1999thLineIsStoredAndRunsIntoTheEndMark) {
  ScratchDir dir;
  dir.write("procs.dat", fullLibrary("setcap 'Last line'"));
  Session session(dir.path());
  EXPECT_NE(session.startupText().find("1999 lines input.\n"), std::string::npos);
  // Without its RETURN the procedure runs on into the end mark, which ends
  // the session as an END command does.
  EXPECT_EQ(session.run("CALL LAST"),
            "* CALL LAST\n* SETCAP 'Last line'\n* END\n\n\n* END OF SESSION *\n\n\n");
  EXPECT_STREQ(session.engine().run.caption, "Last line");
  EXPECT_EQ(session.run("CALL AFTER"), "* CALL AFTER\nNo such procedure! - AFTER\n?\n");
}

// The end mark ends the session, and the procedure chain with it: the
// host's next line runs at once.
TEST(ProcedureStoreCapacity, AProcedureThatRunsIntoTheEndMarkLeavesTheEngineUsable) {
  ScratchDir dir;
  dir.write("procs.dat", "PROC INIT\nRETURN\nPROC NORET\nframe off\n");
  Session session(dir.path());
  EXPECT_EQ(session.run("CALL NORET"),
            "* CALL NORET\n* FRAME OFF\n* END\n\n\n* END OF SESSION *\n\n\n");
  EXPECT_EQ(session.engine().dispatch.procLevel, -1);
  EXPECT_TRUE(session.run("SHOW").starts_with("* SHOW\n\nADJUST:"));
  EXPECT_EQ(session.run("FRAME ON"), "* FRAME ON\n");
  EXPECT_EQ(session.run("CALL NORET").substr(0, 25), "* CALL NORET\n* FRAME OFF\n");
}

}  // namespace
}  // namespace zenfit::test
