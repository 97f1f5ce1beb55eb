// From the geocentric apparent place to the observed place at the site.
#include <gtest/gtest.h>

#include <cmath>

#include "astro/astro.h"
#include "astro/reference_table.h"

namespace zenfit::astro {
namespace {

TEST(DiurnalAberration, DisplacesTowardTheEastPointByTheConstant) {
  const double diurab = 0.3 * ERFA_DAS2R;
  const double sinLat = std::sin(0.5);
  const double cosLat = std::cos(0.5);
  for (double dec : {0.0, 1.0, -1.2}) {
    // On the meridian the place moves east, to negative hour angle, by
    // diurab on the sky; at the east point it does not move.
    double h[3];
    haDecToHorizon(0.0, dec, sinLat, cosLat, diurab, h);
    double ha = 0.0;
    double decSeen = 0.0;
    horizonToHaDec(h, sinLat, cosLat, ha, decSeen);
    EXPECT_NEAR(ha * std::cos(dec), -diurab, 1e-14);
    EXPECT_NEAR(decSeen, dec, 1e-11);  // second order in diurab
  }
  double east[3] = {0.0, 1.0, 0.0};
  applyDiurnalAberration(diurab, east);
  EXPECT_NEAR(east[0], 0.0, 1e-15);
  EXPECT_NEAR(east[1], 1.0, 1e-11);
  EXPECT_NEAR(east[2], 0.0, 1e-15);
}

// The whole chain the observation reader applies to a star, compared with
// ERFA's eraAtioq (CIRS to observed), which works from the same constants
// but solves the refraction in a single Newton step: that step is good to
// 0.3 mas down to 20 degrees elevation, and to 10 mas at 10 degrees.
TEST(ObservedPlace, MatchesErfaAtioqWithin1MasAboveTwentyDegreesElevation) {
  double refA = 0.0;
  double refB = 0.0;
  for (double latitudeDeg : {-33.0, 19.8, 52.0}) {
    const double latitude = latitudeDeg * ERFA_DD2R;
    refractionConstants(2400.0, 281.15, 760.0, 0.4, 0.65, latitude, 0.0065, 1e-8, refA, refB);
    eraASTROM astrom{};
    eraApio(0.0, 0.0, 0.0, latitude, 2400.0, 0.0, 0.0, refA, refB, &astrom);
    const double sinLat = std::sin(latitude);
    const double cosLat = std::cos(latitude);
    int compared = 0;
    for (double ha = -ERFA_DPI; ha < ERFA_DPI; ha += 0.1) {
      for (double dec = -1.5; dec <= 1.5; dec += 0.1) {
        double h[3];
        haDecToHorizon(ha, dec, sinLat, cosLat, astrom.diurab, h);
        if (h[2] < std::sin(20.0 * ERFA_DD2R)) continue;
        double observed[3];
        refractHorizonVector(h, refA, refB, observed);
        double haObserved = 0.0;
        double decObserved = 0.0;
        horizonToHaDec(observed, sinLat, cosLat, haObserved, decObserved);
        double aob = 0.0, zob = 0.0, hob = 0.0, dob = 0.0, rob = 0.0;
        eraAtioq(-ha, dec, &astrom, &aob, &zob, &hob, &dob, &rob);
        EXPECT_LT(test::separationMas(-haObserved, decObserved, -hob, dob), 1.0)
            << "ha " << ha << " dec " << dec << " latitude " << latitudeDeg;
        ++compared;
      }
    }
    EXPECT_GT(compared, 200);
  }
}

}  // namespace
}  // namespace zenfit::astro
