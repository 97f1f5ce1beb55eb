// INST and the catalogue lookup.
#include <gtest/gtest.h>

#include <string>

#include "constants.h"
#include "data/catalogue.h"
#include "data/decode.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

const char kHeading[] = "NAME   RA           DEC          PMRA    PMDEC  EPOCH\n";

TEST(Catalogue, LoadReportsTheIndexOfTheLastLine) {
  ObservationSession s;
  s.write("one.dat", "VEGA   18 36 56.34  +38 47 01.3  0.0172  0.286  J2000\n");
  EXPECT_EQ(s.run("INST one"),
            "* INST one\nReading star catalogue entries from file one ...\n0 stars input.\n");
  std::string big;
  for (int i = 1; i <= 2500; ++i) {
    char line[64];
    std::snprintf(line, sizeof line, "S%04d  01 00 00 +10 00 00 0 0 J2000\n", i);
    big += line;
  }
  s.write("big.dat", big);
  EXPECT_EQ(s.run("INST big"),
            "* INST big\nReading star catalogue entries from file big ...\n1998 stars input.\n");
  CatalogueStar star;
  EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "S1999", star), 0);
  EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "S2000", star), -1);
  EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "S0001", star), 0);
}

TEST(Catalogue, DecodesAnEntry) {
  ObservationSession s;
  s.write("cat.dat", std::string(kHeading) +
                         "VEGA   18 36 56.34  +38 47 01.3  0.0172  0.286  J2000\n"
                         "SOUTH  06 00 00     -00 30 00   -0.001  -1.5   B1950\n"
                         "FLIP   06 00 00     +100 00 00   0       0     1975.5\n");
  s.run("INST cat");
  Catalogue& catalogue = s.engine().catalogue;
  CatalogueStar star;
  ASSERT_EQ(findCatalogueStar(catalogue, "VEGA", star), 0);
  EXPECT_NEAR(star.ra, (18 * 3600 + 36 * 60 + 56.34) * kRadianPerTimeSecond, 1e-15);
  EXPECT_NEAR(star.dec, (38 * 3600 + 47 * 60 + 1.3) * kRadianPerArcsec, 1e-15);
  EXPECT_NEAR(star.pmRa, 0.0172 * kRadianPerTimeSecond, 1e-20);
  EXPECT_NEAR(star.pmDec, 0.286 * kRadianPerArcsec, 1e-20);
  EXPECT_EQ(star.epoch, 2000.0);
  EXPECT_EQ(star.epochKind, kEpochJulian);
  ASSERT_EQ(findCatalogueStar(catalogue, "SOUTH", star), 0);
  EXPECT_NEAR(star.dec, -0.5 * kRadianPerDegree, 1e-15);
  EXPECT_EQ(star.epochKind, kEpochBesselian);
  ASSERT_EQ(findCatalogueStar(catalogue, "FLIP", star), 0);
  EXPECT_NEAR(star.dec, 80.0 * kRadianPerDegree, 1e-15);
  EXPECT_NEAR(star.ra, 18.0 * kRadianPerHour, 1e-15);
  EXPECT_EQ(star.epochKind, kEpochPlain);
  EXPECT_EQ(star.epoch, 1975.5);
}

TEST(Catalogue, BadEntriesFailOnlyTheirOwnStar) {
  ObservationSession s;
  s.write("cat.dat", std::string(kHeading) +
                         "NOEPO  18 36 56.34  +38 47 01.3  0.0172  0.286\n"
                         "LETTER 18 36 56.34  +38 47 J01.3 0.0172  0.286  J2000\n"
                         "HOUR24 24 00 00     +38 47 01.3  0.0172  0.286  J2000\n"
                         "NEGEP  18 36 56.34  +38 47 01.3  0.0172  0.286  -2000\n"
                         "MORE   18 36 56.34  +38 47 01.3  0.0172  0.286  J2000 5\n"
                         "GOOD   18 36 56.34  +38 47 01.3  0.0172  0.286  J2000\n");
  s.run("INST cat");
  CatalogueStar star;
  for (const char* name : {"NOEPO", "LETTER", "HOUR24", "NEGEP", "MORE"}) {
    EXPECT_EQ(findCatalogueStar(s.engine().catalogue, name, star), 1) << name;
  }
  EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "GOOD", star), 0);
}

TEST(Catalogue, LookupStartsFromTheLastMatchAndWrapsOnce) {
  ObservationSession s;
  s.write("cat.dat", std::string(kHeading) +
                         "TWIN   01 00 00 +10 00 00 0 0 J2000\n"
                         "OTHER  02 00 00 +20 00 00 0 0 J2000\n"
                         "TWIN   03 00 00 +30 00 00 0 0 J2000\n");
  s.run("INST cat");
  Catalogue& catalogue = s.engine().catalogue;
  CatalogueStar star;
  ASSERT_EQ(findCatalogueStar(catalogue, "TWIN", star), 0);
  EXPECT_NEAR(star.ra, 1.0 * kRadianPerHour, 1e-15);
  ASSERT_EQ(findCatalogueStar(catalogue, "OTHER", star), 0);
  ASSERT_EQ(findCatalogueStar(catalogue, "TWIN", star), 0);
  EXPECT_NEAR(star.ra, 3.0 * kRadianPerHour, 1e-15);  // the twin after OTHER
  ASSERT_EQ(findCatalogueStar(catalogue, "TWIN", star), 0);
  EXPECT_NEAR(star.ra, 3.0 * kRadianPerHour, 1e-15);  // found where it stands
  ASSERT_EQ(findCatalogueStar(catalogue, "OTHER", star), 0);  // after wrapping
  EXPECT_EQ(findCatalogueStar(catalogue, "NOBODY", star), -1);
  EXPECT_EQ(catalogue.lookupPosition, -1);
  ASSERT_EQ(findCatalogueStar(catalogue, "TWIN", star), 0);
  EXPECT_NEAR(star.ra, 1.0 * kRadianPerHour, 1e-15);
}

TEST(Catalogue, EndLinesUseTheirSlots) {
  ObservationSession s;
  s.write("cat.dat", std::string(kHeading) +
                         "FIRST  01 00 00 +10 00 00 0 0 J2000\n"
                         "END\n"
                         "AFTER  02 00 00 +20 00 00 0 0 J2000\n");
  EXPECT_EQ(s.run("INST cat"),
            "* INST cat\nReading star catalogue entries from file cat ...\n3 stars input.\n");
  CatalogueStar star;
  EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "AFTER", star), 0);
}

TEST(Catalogue, OpenFailureKeepsTheOldCatalogue) {
  ObservationSession s;
  s.write("cat.dat", std::string(kHeading) + "KEPT   01 00 00 +10 00 00 0 0 J2000\n");
  s.run("INST cat");
  EXPECT_EQ(s.run("INST nothing"),
            "* INST nothing\n"
            "Star catalogue file cannot be opened!  File = nothing, status = -1\n?\n");
  CatalogueStar star;
  EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "KEPT", star), 0);
  // With no name, the last name is used again.
  s.write("nothing.dat", std::string(kHeading) + "NEW    01 00 00 +10 00 00 0 0 J2000\n");
  EXPECT_EQ(s.run("INST"),
            "* INST\nReading star catalogue entries from file nothing ...\n1 stars input.\n");
  EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "NEW", star), 0);
}

TEST(Catalogue, LongLinesAreCutAtOneHundredCharacters) {
  ObservationSession s;
  s.write("cat.dat", std::string(kHeading) + "CUT    01 00 00 +10 00 00 0 0" +
                         std::string(80, ' ') + "J2000\n" +
                         "WHOLE  01 00 00 +10 00 00 0 0 J2000\n");
  s.run("INST cat");
  CatalogueStar star;
  EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "CUT", star), 1);
  EXPECT_EQ(findCatalogueStar(s.engine().catalogue, "WHOLE", star), 0);
}

}  // namespace
}  // namespace zenfit::test
