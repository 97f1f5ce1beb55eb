// INDAT: records, rejections, echo, appending and the end mark.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "constants.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

constexpr double kTimeSecond = kRadianPerTimeSecond;

double degrees(double d, double m = 0.0, double s = 0.0) {
  return (d + m / 60.0 + s / 3600.0) * kRadianPerDegree;
}

// The list always ends with the -1 mark right after its observations.
void expectConsistent(ObservationSession& s) {
  const int n = s.count();
  ASSERT_LE(n, kMaxObservations);
  EXPECT_EQ(s.list().status[n], kStatusEndOfList);
}

TEST(ObservationReader, StoresPlainRecordsAsApparentPlaces) {
  ObservationSession s;
  const std::string out = s.indat(
      "Plain records\n"
      "+51 28 38\n"
      "12 00 00 +20 00 00  12 00 01 +20 00 02  12 00  1.5\n"
      "06 00 00 -10 00 00  05 59 58 -10 00 03  08 30 0 -2.25\n"
      "END\n");
  EXPECT_EQ(out, indatText("Plain records\n"
                           "12 00 00 +20 00 00  12 00 01 +20 00 02  12 00  1.5\n"
                           "06 00 00 -10 00 00  05 59 58 -10 00 03  08 30 0 -2.25\n"));
  EXPECT_EQ(s.engine().dispatch.status, kStatusDone);
  ASSERT_EQ(s.count(), 2);
  const ObservationList& list = s.list();
  EXPECT_NEAR(list.starHa[0], 0.0, 1e-12);
  EXPECT_NEAR(list.starDec[0], degrees(20), 1e-12);
  EXPECT_NEAR(list.telHa[0], -1.0 * kTimeSecond, 1e-12);
  EXPECT_NEAR(list.telDec[0], degrees(20, 0, 2), 1e-12);
  EXPECT_NEAR(list.starHa[1], 2.5 * kRadianPerHour, 1e-12);
  EXPECT_NEAR(list.starDec[1], -degrees(10), 1e-12);
  EXPECT_NEAR(list.telHa[1], (2.5 * 3600 + 2) * kTimeSecond, 1e-12);
  EXPECT_NEAR(list.telDec[1], -degrees(10, 0, 3), 1e-12);
  EXPECT_EQ(list.starHaWork[1], list.starHa[1]);
  EXPECT_EQ(list.telDecWork[1], list.telDec[1]);
  EXPECT_EQ(list.aux[0][0], 1.5);
  EXPECT_EQ(list.aux[0][1], 0.0);
  EXPECT_EQ(list.aux[1][0], 0.0);
  EXPECT_EQ(list.aux[1][1], -2.25);
  EXPECT_EQ(list.runFlag[0], kRecordEquatorial);
  EXPECT_EQ(list.pierFlag[0], 0);
  EXPECT_EQ(std::string(s.engine().run.caption), "Plain records");
  EXPECT_NEAR(std::asin(s.engine().run.sinLat), degrees(51, 28, 38), 1e-14);
  EXPECT_EQ(s.engine().run.obsPresent, 1);
  expectConsistent(s);
}

TEST(ObservationReader, NodaMakesADatedRecordUndated) {
  ObservationSession s;
  s.indat("Undated\n:NODA\n+51 28 38 2020 5 17.5\n"
          "12 00 00 +20 00 00 0.01 0.1 J2000 12 00 01 +20 00 02 12 00\n"
          "12 00 00 +20 00 00  12 00 01 +20 00 02  12 00\nEND\n");
  EXPECT_EQ(s.count(), 1);
  EXPECT_EQ(s.engine().run.diurab, 0.0);
}

TEST(ObservationReader, AllSkyLiftsThePositionLimits) {
  ObservationSession s;
  // Star and telescope 5 degrees above the southern horizon at latitude +50.
  const std::string records = "12 00 00 -35 00 00  12 00 00 -35 00 00  12 00\n"
                              "180 5 180 5\n"
                              "12 00 00 +89 59 00  12 00 00 +89 59 00  12 00\n";
  s.indat("Limits on\n+50 00 00\n" + records);
  EXPECT_EQ(s.count(), 0);
  const std::string out = s.indat("Limits off\n:ALLSKY\n+50 00 00\n" + records);
  EXPECT_EQ(out, indatText("Limits off\n:ALLSKY\n" + records));
  ASSERT_EQ(s.count(), 3);
  double elevation = std::asin(std::sin(s.list().starDec[0]) * std::sin(degrees(50)) +
                               std::cos(s.list().starDec[0]) * std::cos(degrees(50)));
  EXPECT_NEAR(elevation, degrees(5), 1e-12);
  EXPECT_NEAR(s.list().starDec[1], -degrees(35), 1e-12);
  EXPECT_NEAR(s.list().starHa[1], 0.0, 1e-12);
}

TEST(ObservationReader, TelescopeOverThePoleSetsThePierFlag) {
  ObservationSession s;
  s.indat("Pier sides\n+30 00 00\n"
          "02 00 00 +60 00 00  14 00 00 +120 00 00  03 00\n"
          "02 00 00 -20 00 00  14 00 00 -100 00 00  03 00\n"
          "14 00 00 +120 00 00  02 00 00 +60 00 00  03 00\n"
          "02 00 00 +60 00 00  02 00 00 +60 00 00  03 00\n");
  ASSERT_EQ(s.count(), 4);
  const ObservationList& list = s.list();
  // 120 degrees read over the pole is declination 60 at the RA 12h round.
  EXPECT_EQ(list.pierFlag[0], 1);
  EXPECT_NEAR(list.telDec[0], degrees(60), 1e-12);
  EXPECT_NEAR(list.telHa[0], kRadianPerHour, 1e-12);
  EXPECT_EQ(list.pierFlag[1], 1);
  EXPECT_NEAR(list.telDec[1], -degrees(80), 1e-12);
  // A star written over the pole is folded the same way, but the pier flag
  // belongs to the telescope alone.
  EXPECT_EQ(list.pierFlag[2], 0);
  EXPECT_NEAR(list.starDec[2], degrees(60), 1e-12);
  EXPECT_NEAR(list.starHa[2], kRadianPerHour, 1e-12);
  EXPECT_EQ(list.pierFlag[3], 0);
}

TEST(ObservationReader, HorizonRecordsTurnIntoHourAngleAndDeclination) {
  ObservationSession s;
  s.indat("Horizon\n:ALLSKY\n+50 00 00\n"
          "180 30 180.5 30.25 7\n"  // south meridian
          "0 30 0 70\n"             // north, below and above the pole
          "90 0 270 0\n");          // east and west points
  ASSERT_EQ(s.count(), 3);
  const ObservationList& list = s.list();
  EXPECT_NEAR(list.starHa[0], 0.0, 1e-12);
  EXPECT_NEAR(list.starDec[0], degrees(-10), 1e-12);
  EXPECT_EQ(list.aux[0][0], 7.0);
  EXPECT_EQ(list.runFlag[0], kRecordHorizon);
  EXPECT_NEAR(std::fabs(list.starHa[1]), kPi, 1e-12);
  EXPECT_NEAR(list.starDec[1], degrees(70), 1e-12);
  EXPECT_NEAR(list.telHa[1], 0.0, 1e-12);
  EXPECT_NEAR(list.telDec[1], degrees(70), 1e-12);
  EXPECT_NEAR(list.starHa[2], -kHalfPi, 1e-12);
  EXPECT_NEAR(list.starDec[2], 0.0, 1e-12);
  EXPECT_NEAR(list.telHa[2], kHalfPi, 1e-12);
  EXPECT_EQ(list.pierFlag[2], 0);
}

TEST(ObservationReader, BriefEchoShowsOnlyRejectedRecords) {
  ObservationSession s;
  s.engine().run.briefEcho = 1;
  const std::string out = s.indat(
      "Brief\n:ALLSKY\n+50 00 00\n180 40 180 40\n180 40 180\n180 41 180 41\nEND\n");
  EXPECT_EQ(out, indatText("Brief\n:ALLSKY\n180 40 180\n"
                           "******  Bad data - observation rejected  ******\n") +
                     "Rejected observation count = 1.\n");
  EXPECT_EQ(s.count(), 2);
}

TEST(ObservationReader, AppendAddsOneFileAndKeepsTheCaption) {
  ObservationSession s;
  s.indat("First file\n+50 00 00\n180 40 180 40\n180 41 180 41\n180 42 180 42\n");
  s.engine().observations.status[1] = kStatusMasked;
  EXPECT_EQ(s.run("APPEND"), "* APPEND\n");
  EXPECT_EQ(s.engine().run.appendMode, 1);
  s.write("more.dat", "Second file\n-30 00 00\n180 50 180 50\n");
  s.run("INDAT more");
  ASSERT_EQ(s.count(), 4);
  EXPECT_EQ(s.list().status[1], kStatusMasked);
  EXPECT_EQ(s.list().status[3], kStatusActive);
  EXPECT_NEAR(s.list().starDec[3], degrees(-70), 1e-12);  // read at the new latitude
  EXPECT_EQ(std::string(s.engine().run.caption), "First file");
  EXPECT_EQ(s.engine().run.appendMode, 0);  // for one INDAT only
  s.run("INDAT more");
  EXPECT_EQ(s.count(), 1);
  EXPECT_EQ(std::string(s.engine().run.caption), "Second file");
}

TEST(ObservationReader, AppendIsClearedEvenWhenTheReadFails) {
  ObservationSession s;
  s.indat("First\n+50 00 00\n180 40 180 40\n");
  s.run("APPEND ON");
  s.write("bad.dat", "Bad\n+50 00\n180 40 180 40\n");
  EXPECT_EQ(s.run("INDAT bad"), "* INDAT bad\n\f *  POINTING OBSERVATIONS  *\n\nBad\n"
                                "Error in run parameters record!\n\f?\n");
  EXPECT_EQ(s.engine().run.appendMode, 0);
  EXPECT_EQ(s.count(), 1);  // the old observations stay
  expectConsistent(s);
}

TEST(ObservationReader, TheFiveThousandthObservationFindsNoRoom) {
  ObservationSession s;
  std::string file = "Full\n+50 00 00\n";
  for (int i = 0; i < kMaxObservations + 2; ++i) file += "180 45 180 45\n";
  s.engine().run.briefEcho = 1;
  const std::string out = s.indat(file);
  const std::string refused = "180 45 180 45\n******  No more room - observation rejected  ******\n";
  EXPECT_EQ(out, indatText("Full\n" + refused + refused) + "Rejected observation count = 2.\n");
  EXPECT_EQ(s.count(), kMaxObservations);
  expectConsistent(s);
  // Appending to a full list refuses every record.
  s.run("APPEND");
  s.write("one.dat", "One\n+50 00 00\n180 45 180 45\n");
  EXPECT_NE(s.run("INDAT one").find("Rejected observation count = 1.\n"), std::string::npos);
  expectConsistent(s);
}

TEST(ObservationReader, HeaderFaultsEmptyTheListAndEndIt) {
  struct Case {
    const char* file;
    const char* text;
  };
  const Case cases[] = {
      {"END\n", "Unexpected end-of-file!\n\f?\n"},
      {"Cap\n:NODA\nEND\n",
       "\f *  POINTING OBSERVATIONS  *\n\nCap\n:NODA\nUnexpected end-of-file!\n\f?\n"},
      {"Cap\n:\n+50 00 00\n",
       "\f *  POINTING OBSERVATIONS  *\n\nCap\n:\nError in option record!\n\f?\n"},
      {"Cap\n+50 00 00 1996 1\n",
       "\f *  POINTING OBSERVATIONS  *\n\nCap\nError in run parameters record!\n\f?\n"},
  };
  for (const Case& c : cases) {
    ObservationSession s;
    s.indat("Old\n+50 00 00\n180 45 180 45\n");
    EXPECT_EQ(s.indat(c.file), std::string("* INDAT obs\n") + c.text) << c.file;
    EXPECT_EQ(s.count(), 0) << c.file;
    EXPECT_EQ(s.engine().run.obsPresent, -1) << c.file;
    expectConsistent(s);
  }
}
TEST(ObservationReader, OptionWordsSetTheFrame) {
  ObservationSession s;
  for (const char* option : {":A", ":a", ":B1950", ":J2000", ":2000", ":noda", ":AllSky"}) {
    const std::string out = s.indat(std::string("Cap\n") + option + "\n+50 00 00\n");
    EXPECT_EQ(out.find("Error"), std::string::npos) << option;
  }
  for (const char* option : {":B", ":J2000X", ":-5", ":NODAX"}) {
    const std::string out = s.indat(std::string("Cap\n") + option + "\n+50 00 00\n");
    EXPECT_NE(out.find("Error in option record!\n"), std::string::npos) << option;
  }
}

TEST(ObservationReader, FileNameFaultsLeaveTheListAlone) {
  ObservationSession s;
  s.indat("Kept\n+50 00 00\n180 45 180 45\n");
  s.run("INDAT");
  s.run("INDAT missing");
  EXPECT_EQ(s.count(), 1);
  EXPECT_EQ(std::string(s.engine().run.caption), "Kept");
}

TEST(ObservationReader, BlankLinesBetweenRecordsAreSkipped) {
  ObservationSession s;
  const std::string out = s.indat("Cap\n+50 00 00\n180 45 180 45\n\n   \n180 46 180 46\n");
  EXPECT_EQ(out, indatText("Cap\n180 45 180 45\n180 46 180 46\n"));
  EXPECT_EQ(s.count(), 2);
}

TEST(ObservationReader, SiderealMinutesMayCarryAFraction) {
  ObservationSession s;
  s.indat("Cap\n+50 00 00\n12 00 00 +20 00 00  12 00 00 +20 00 00  12 30.5\n"
          "12 00 00 +20 00 00  12 00 00 +20 00 00  12 60\n");
  ASSERT_EQ(s.count(), 1);
  EXPECT_NEAR(s.list().starHa[0], 30.5 * 60.0 * kTimeSecond, 1e-12);
}

}  // namespace
}  // namespace zenfit::test
