// Dated runs against an independent reduction of the same places (astropy;
// tools/reference_reduction.py made the table). Refraction aside, the two
// must agree to 0.05 arcsec; with refraction, to 0.2 arcsec above 20 degrees.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "astro/reference_table.h"
#include "observation_session.h"

namespace zenfit::test {
namespace {

TEST(DatedReduction, AgreesWithAnIndependentReduction) {
  std::ifstream in(std::string(ZENFIT_TEST_DATA_DIR) + "/observations/reduction_reference.txt");
  ObservationSession s;
  std::string file;
  int cases = 0, refractedCases = 0;
  for (std::string line; std::getline(in, line);) {
    const std::string key = line.substr(0, line.find(' '));
    const std::string rest = line.substr(line.find(' ') + 1);
    if (key == "case") file = rest + "\n:ALLSKY\n";  // the case name is the caption
    if (key == "option" || key == "run" || key == "obs") file += rest + "\n";
    if (key != "expect") continue;
    double ha = 0.0, dec = 0.0, elevation = 0.0;
    int refracted = 0, telescopeToo = 0;
    std::istringstream(rest) >> ha >> dec >> elevation >> refracted >> telescopeToo;
    const std::string out = s.indat(file + "END\n");
    ASSERT_EQ(s.count(), 1) << file << out;
    ASSERT_TRUE(!refracted || elevation > 20.0) << file;
    const double toleranceMas = refracted ? 200.0 : 50.0;
    const ObservationList& list = s.list();
    EXPECT_LT(separationMas(list[0].starHa, list[0].starDec, ha, dec), toleranceMas) << file;
    if (telescopeToo) {
      EXPECT_LT(separationMas(list[0].telHa, list[0].telDec, ha, dec), toleranceMas) << file;
    }
    ++cases;
    refractedCases += refracted;
  }
  EXPECT_GE(cases, 100);
  EXPECT_GT(refractedCases, 40);
}

}  // namespace
}  // namespace zenfit::test
