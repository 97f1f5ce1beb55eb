// Calendar dates, and catalogue places carried to the place of date,
// against independent references (astropy; Lieske et al. 1977).
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "astro/astro.h"
#include "astro/reference_table.h"

namespace zenfit::astro {
namespace {

TEST(Calendar, FollowsTheGregorianRulesAndRefusesBadDates) {
  struct Case { int year, month, day, status; double mjd; };
  const Case cases[] = {
      {1858, 11, 17, 0, 0.0},    {2000, 1, 1, 0, 51544.0},  {1582, 10, 15, 0, -100840.0},
      {2024, 2, 29, 0, 60369.0}, {2000, 2, 29, 0, 51603.0}, {1600, 2, 29, 0, -94494.0},
      {1900, 3, 1, 0, 15079.0},  {2000, 12, 31, 0, 51909.0}, {1900, 2, 29, -3, 0.0},
      {2023, 2, 29, -3, 0.0},    {2100, 2, 29, -3, 0.0},    {2000, 4, 31, -3, 0.0},
      {2000, 1, 0, -3, 0.0},     {2000, 1, 32, -3, 0.0},    {2000, 0, 1, -2, 0.0},
      {2000, 13, 1, -2, 0.0},    {-4800, 1, 1, -1, 0.0}};
  for (const Case& c : cases) {
    double mjd = 123.0;  // a refused date leaves it alone
    EXPECT_EQ(calendarToMjd(c.year, c.month, c.day, mjd), c.status) << c.year << "-" << c.month;
    EXPECT_EQ(mjd, c.status == 0 ? c.mjd : 123.0) << c.year << "-" << c.month << "-" << c.day;
  }
}

// Largest separation (mas) between the place in the last two columns of
// each row of a table and what transform makes of the row.
template <typename Transform>
double worstErrorMas(const char* table, Transform transform) {
  const auto rows = test::loadReferenceTable(table);
  EXPECT_GE(rows.size(), 100u) << table;
  double worst = 0.0;
  for (const auto& row : rows) {
    double ra = 0.0;
    double dec = 0.0;
    transform(row, ra, dec);
    worst = std::max(worst, test::separationMas(ra, dec, row[row.size() - 2], row.back()));
  }
  return worst;
}

TEST(Places, MatchIndependentReferencesOverTheCenturiesAtAllDeclinations) {
  // Mean J2000.0 to apparent place of date, 1980-2040 (astropy ICRS to TETE).
  EXPECT_LT(worstErrorMas("apparent_places.txt", [](const auto& row, double& ra, double& dec) {
              ApparentPlaceContext context;
              prepareMeanToApparent(row[0], context);
              meanToApparent(row[1], row[2], context, ra, dec);
            }), 5.0);
  // Precession between epochs: FK4 (Newcomb, astropy) and FK5 (IAU 1976).
  using Precess = void (*)(double, double, double&, double&);
  const std::pair<const char*, Precess> precessions[] = {{"fk4_precession.txt", precessFk4},
                                                         {"fk5_precession.txt", precessFk5}};
  for (const auto& [table, precess] : precessions) {
    EXPECT_LT(worstErrorMas(table, [precess](const auto& row, double& ra, double& dec) {
                ra = row[2];
                dec = row[3];
                precess(row[0], row[1], ra, dec);
              }), 10.0) << table;
  }
  // FK4 B1950.0 to FK5 J2000.0, E-terms and all (astropy FK4 to FK5).
  EXPECT_LT(worstErrorMas("fk4_to_fk5.txt", [](const auto& row, double& ra, double& dec) {
              fk4ToFk5(row[0], row[1], row[2], ra, dec);
            }), 50.0);
}

}  // namespace
}  // namespace zenfit::astro
