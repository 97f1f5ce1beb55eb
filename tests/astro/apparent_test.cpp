// Mean J2000.0 to apparent place of date, against astropy's ICRS to TETE.
#include <gtest/gtest.h>

#include <algorithm>

#include "astro/astro.h"
#include "astro/reference_table.h"

namespace zenfit::astro {
namespace {

TEST(ApparentPlace, MatchesAstropyWithin5MasFrom1980To2040AtAllDeclinations) {
  const auto rows = test::loadReferenceTable("apparent_places.txt");
  ASSERT_GE(rows.size(), 200u);
  double worst = 0.0;
  double earliest = 1e9;
  double latest = -1e9;
  for (const auto& row : rows) {
    ApparentPlaceContext context;
    prepareMeanToApparent(row[0], context);
    double ra = 0.0;
    double dec = 0.0;
    meanToApparent(row[1], row[2], context, ra, dec);
    worst = std::max(worst, test::separationMas(ra, dec, row[3], row[4]));
    EXPECT_GE(ra, 0.0);
    EXPECT_LT(ra, ERFA_D2PI);
    earliest = std::min(earliest, row[0]);
    latest = std::max(latest, row[0]);
  }
  EXPECT_LT(worst, 5.0);
  EXPECT_LT(julianEpoch(earliest), 1980.01);  // the table spans the whole range
  EXPECT_GT(julianEpoch(latest), 2040.99);
}

}  // namespace
}  // namespace zenfit::astro
