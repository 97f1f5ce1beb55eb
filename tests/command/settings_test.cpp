#include <gtest/gtest.h>

#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

class Settings : public ::testing::Test {
 protected:
  ScratchDir dir;
  Session session{dir.path()};
};

TEST_F(Settings, MarkerHeightIsHalfTheValueGiven) {
  session.run("MARKH 1");
  EXPECT_DOUBLE_EQ(session.engine().settings.markerHeight, 0.5);
  session.run("MARKH");
  EXPECT_DOUBLE_EQ(session.engine().settings.markerHeight, 0.1);
  session.run("MARKH 1.5");
  EXPECT_DOUBLE_EQ(session.engine().settings.markerHeight, 0.1);
}

TEST_F(Settings, ShowNeverPrintsTheMarkerHeightBecauseHostsParseTheListingAsItStands) {
  session.run("MARKH 0.8");
  const std::string out = session.run("SHOW");
  EXPECT_EQ(out.find("MARKH"), std::string::npos);
  EXPECT_EQ(out.find("0.8"), std::string::npos);
  // The line is still formatted into the shared line and overwritten there.
  EXPECT_NE(out.find("FRAME:   a frame will be plotted.\nMESLEV:"), std::string::npos);
}

TEST_F(Settings, MeslevWithOneLevelSetsBoth) {
  session.run("MESLEV 4");
  EXPECT_EQ(session.engine().host.levelOne, 4);
  EXPECT_EQ(session.engine().host.levelTwo, 4);
  session.run("MESLEV 2 0");
  EXPECT_EQ(session.engine().host.levelTwo, 0);
}

TEST_F(Settings, VtSwapsItsLinesIntoOrderAndRefusesANarrowRegion) {
  EXPECT_EQ(session.run("VT 20 3"), "* VT 20 3\n");
  EXPECT_EQ(session.engine().settings.vtTop, 3);
  EXPECT_EQ(session.engine().settings.vtBottom, 20);
  EXPECT_EQ(session.run("VT 5 6"), "* VT 5 6\nIllegal arguments!\n?\n");
  EXPECT_EQ(session.engine().settings.vtTop, 3);
}

TEST_F(Settings, ClrngAloneClearsTheWholeSurfaceNotTheZone) {
  session.run("CLRNG ON");
  session.run("CLRNG");
  EXPECT_EQ(session.engine().settings.clearMode, -1);
}

TEST_F(Settings, AppendWithNoObservationsIsRefusedAndTheFlagStaysOff) {
  EXPECT_EQ(session.run("APPEND ON"), "* APPEND ON\nNo observations; cannot append!\n?\n");
  EXPECT_EQ(session.engine().run.appendMode, 0);
  session.engine().run.obsPresent = 1;
  EXPECT_EQ(session.run("APPEND"), "* APPEND\n");
  EXPECT_EQ(session.engine().run.appendMode, 1);
}

TEST_F(Settings, AdjustChangeReversesTheModelOverAllFiftySlotsBecauseHostsRelyOnTheOldOrder) {
  Model& model = session.engine().model;
  model.termNumber[0] = 1;  // IH
  model.termNumber[1] = 2;  // ID, parallel with IH
  model.chained[0] = 1;
  model.chained[1] = 0;
  model.coefValue[0] = 10.0;
  EXPECT_EQ(session.run("ADJUST S"), "* ADJUST S\nModel will adjust stars to fit telescope.\n");
  // The free slots are reversed too: the two terms end up in slots 49 and 48,
  // behind 48 empty slots, so the list now reads as empty from the top.
  EXPECT_EQ(model.termNumber[0], 0);
  EXPECT_EQ(model.termNumber[48], 2);
  EXPECT_EQ(model.termNumber[49], 1);
  EXPECT_DOUBLE_EQ(model.coefValue[49], 10.0);
  EXPECT_EQ(model.chained[0], 1);
  EXPECT_EQ(model.chained[49], 0);  // the parallel link stays with the IH-ID pair
  session.run("ADJUST S");           // no change of sense: no reversal
  EXPECT_EQ(model.termNumber[49], 1);
  session.run("ADJUST T");
  EXPECT_EQ(model.termNumber[0], 1);
  EXPECT_EQ(model.termNumber[1], 2);
}

}  // namespace
}  // namespace zenfit::test
