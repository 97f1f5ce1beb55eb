// Dated runs against an independent reduction of the same places (astropy;
// tools/reference_reduction.py made the table). Refraction aside, the two
// must agree to 0.05 arcsec; with refraction, to 0.2 arcsec above 20 degrees.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "astro/vectors.h"
#include "constants.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

struct ReferenceCase {
  std::string name;
  std::vector<std::string> options;
  std::string run;
  std::string observation;
  double ha = 0.0;
  double dec = 0.0;
  double elevationDeg = 0.0;
  bool refracted = false;
  bool telescopeToo = false;
};

std::vector<ReferenceCase> loadReference() {
  std::ifstream in(std::string(ZENFIT_TEST_DATA_DIR) + "/observations/reduction_reference.txt");
  std::vector<ReferenceCase> cases;
  std::string line;
  while (std::getline(in, line)) {
    const std::size_t space = line.find(' ');
    const std::string key = line.substr(0, space);
    const std::string rest = space == std::string::npos ? "" : line.substr(space + 1);
    if (key == "case") {
      cases.push_back(ReferenceCase{});
      cases.back().name = rest;
    } else if (key == "option") {
      cases.back().options.push_back(rest);
    } else if (key == "run") {
      cases.back().run = rest;
    } else if (key == "obs") {
      cases.back().observation = rest;
    } else if (key == "expect") {
      std::istringstream fields(rest);
      int refracted = 0;
      int telescope = 0;
      fields >> cases.back().ha >> cases.back().dec >> cases.back().elevationDeg >> refracted >>
          telescope;
      cases.back().refracted = refracted != 0;
      cases.back().telescopeToo = telescope != 0;
    }
  }
  return cases;
}

// Angle between two (HA, Dec) places, arcseconds.
double separationArcsec(double ha1, double dec1, double ha2, double dec2) {
  double a[3];
  double b[3];
  sphericalToVector(-ha1, dec1, a);
  sphericalToVector(-ha2, dec2, b);
  const double cx = a[1] * b[2] - a[2] * b[1];
  const double cy = a[2] * b[0] - a[0] * b[2];
  const double cz = a[0] * b[1] - a[1] * b[0];
  const double dot = a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  return std::atan2(std::sqrt(cx * cx + cy * cy + cz * cz), dot) * kArcsecPerRadian;
}

TEST(DatedReduction, AgreesWithAnIndependentReduction) {
  const std::vector<ReferenceCase> cases = loadReference();
  ASSERT_GE(cases.size(), 100u);
  ObservationSession s;
  int refractedCases = 0;
  double worstPlain = 0.0;
  double worstRefracted = 0.0;
  for (const ReferenceCase& c : cases) {
    std::string file = c.name + "\n:ALLSKY\n";
    for (const std::string& option : c.options) file += option + "\n";
    file += c.run + "\n" + c.observation + "\nEND\n";
    const std::string out = s.indat(file);
    ASSERT_EQ(s.count(), 1) << c.name << "\n" << out;
    const ObservationList& list = s.list();
    const double tolerance = c.refracted ? 0.2 : 0.05;
    if (c.refracted) {
      ASSERT_GT(c.elevationDeg, 20.0) << c.name;
      ++refractedCases;
    }
    const double star = separationArcsec(list.starHa[0], list.starDec[0], c.ha, c.dec);
    EXPECT_LT(star, tolerance) << c.name;
    double& worst = c.refracted ? worstRefracted : worstPlain;
    worst = std::fmax(worst, star);
    if (c.telescopeToo) {
      EXPECT_LT(separationArcsec(list.telHa[0], list.telDec[0], c.ha, c.dec), tolerance)
          << c.name << " (telescope)";
    }
  }
  EXPECT_GT(refractedCases, 40);
  RecordProperty("worst_unrefracted_arcsec", std::to_string(worstPlain));
  RecordProperty("worst_refracted_arcsec", std::to_string(worstRefracted));
}

// The same star given by catalogue name and by a proper-motion record.
TEST(DatedReduction, CatalogueStarMatchesTheSamePlaceGivenInFull) {
  ObservationSession s;
  s.write("cat.dat",
          "NAME   RA           DEC          PMRA    PMDEC  EPOCH\n"
          "ALTAIR 19 50 47.00  +08 52 06.0  0.0363  0.385  J2000\n"
          "OLD    19 48 20.59  +08 44 05.2  0.0360  0.380  B1950\n");
  s.run("INST cat");
  s.indat("Catalogue against full places\n+28 45 00 2015 8 1.9 12 780 2300\n"
          "*ALTAIR 19 50 50 +08 52 00 18 40 1.5\n"
          "19 50 47.00 +08 52 06.0 0.0363 0.385 J2000 19 50 50 +08 52 00 18 40 1.5\n"
          "*OLD 19 50 50 +08 52 00 18 40\n"
          "19 48 20.59 +08 44 05.2 0.0360 0.380 B1950 19 50 50 +08 52 00 18 40\n");
  ASSERT_EQ(s.count(), 4);
  const ObservationList& list = s.list();
  for (int i : {0, 2}) {
    EXPECT_EQ(list.starHa[i], list.starHa[i + 1]);
    EXPECT_EQ(list.starDec[i], list.starDec[i + 1]);
    EXPECT_EQ(list.telHa[i], list.telHa[i + 1]);
    EXPECT_EQ(list.runFlag[i], kRecordCatalogueStar);
    EXPECT_EQ(list.runFlag[i + 1], kRecordProperMotion);
  }
  EXPECT_EQ(list.aux[0][0], 1.5);
}

// Site constants of a dated run with meteorological data. The diurnal
// aberration constant is 2 pi x 1.0027379093 / 173.14463331 AU/day times
// the distance from the spin axis: at latitude 60 on the WGS84 ellipsoid
// 3197.10 km, 0.160404 arcsec. ERFA's refco gives A = 58.205 and
// B = -0.0652 arcsec for these conditions; an integrated model atmosphere
// agrees to a few tenths.
TEST(DatedReduction, RunConstantsAreReportedAndKept) {
  ObservationSession s;
  const std::string out = s.indat("Constants\n+60 00 00 2010 1 1 10 1013.25 0\n");
  const RunState& run = s.engine().run;
  const double diurab = run.diurab * kArcsecPerRadian;
  EXPECT_NEAR(diurab, 0.160404, 0.0002);
  EXPECT_NEAR(run.refA * kArcsecPerRadian, 58.205, 0.3);
  EXPECT_NEAR(run.refB * kArcsecPerRadian, -0.0652, 0.01);
  char expected[200];
  std::snprintf(expected, sizeof expected,
                "REFA   (arcsec)  = %9.5f\nREFB   (arcsec)  = %10.6f\nDIURAB (arcsec)  = %8.4f\n\n",
                run.refA * kArcsecPerRadian, run.refB * kArcsecPerRadian, diurab);
  EXPECT_NE(out.find(expected), std::string::npos);
  // No pressure: no refraction.
  s.indat("Constants\n+60 00 00 2010 1 1 10 0\n");
  EXPECT_EQ(s.engine().run.refA, 0.0);
  EXPECT_EQ(s.engine().run.refB, 0.0);
}

}  // namespace
}  // namespace zenfit::test
