// The residual listing, over observation lists built in place. Expected
// positions are written out by hand; azimuths, zenith distances and the
// differences come from the textbook alt-azimuth and haversine formulas,
// independently of the engine's vector code.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "support/session.h"

namespace zenfit::test {
namespace {

constexpr double kPiValue = 3.141592653589793;
constexpr double kDeg = kPiValue / 180.0;
constexpr double kArcsec = kDeg / 3600.0;
constexpr double kTimeSecond = 15.0 * kArcsec;

double hms(int sign, int h, int m, double s) { return sign * (h * 3600.0 + m * 60.0 + s) * kTimeSecond; }
double dms(int sign, int d, int m, double s) { return sign * (d * 3600.0 + m * 60.0 + s) * kArcsec; }

struct Star {
  int status;
  int pier;
  double ha, dec;          // telescope, radians
  double dHa, dDec;        // star minus telescope, seconds of time and arcseconds
  const char* haText;      // the telescope position as it must be printed
  const char* decText;
};

std::string format(const char* fmt, auto... values) {
  char text[512];
  std::snprintf(text, sizeof text, fmt, values...);
  return text;
}

// Elevation and azimuth (north through east) of an hour angle and
// declination at latitude phi: Smart, Spherical Astronomy, ch. 2.
void altAz(double ha, double dec, double phi, double& el, double& az) {
  el = std::asin(std::sin(phi) * std::sin(dec) + std::cos(phi) * std::cos(dec) * std::cos(ha));
  az = std::atan2(-std::cos(dec) * std::sin(ha),
                  std::sin(dec) * std::cos(phi) - std::cos(dec) * std::cos(ha) * std::sin(phi));
  if (az < 0.0) az += 2.0 * kPiValue;
}

double wrap(double a) {
  while (a > kPiValue) a -= 2.0 * kPiValue;
  while (a < -kPiValue) a += 2.0 * kPiValue;
  return a;
}

// dX, dD, dS, dZ, dR in arcseconds for a star.
std::vector<double> expectedDifferences(const Star& s, double phi) {
  const double haQ = s.ha + s.dHa * kTimeSecond;
  const double decQ = s.dec + s.dDec * kArcsec;
  double elP, azP, elQ, azQ;
  altAz(s.ha, s.dec, phi, elP, azP);
  altAz(haQ, decQ, phi, elQ, azQ);
  // Chord of the haversine separation.
  const double h = std::pow(std::sin((decQ - s.dec) / 2), 2) +
                   std::cos(s.dec) * std::cos(decQ) * std::pow(std::sin((haQ - s.ha) / 2), 2);
  const double chord = 2.0 * std::sqrt(h);
  return {std::cos(s.dec) * wrap(haQ - s.ha) / kArcsec, (decQ - s.dec) / kArcsec,
          std::cos(elP) * wrap(azP - azQ) / kArcsec, (elP - elQ) / kArcsec, chord / kArcsec};
}

std::string positionText(int number, const Star& s, double phi) {
  double el, az;
  altAz(s.ha, s.dec, phi, el, az);
  return format("%4d%c %s  %s%7.1f%6.1f", number, s.pier ? 'b' : ' ', s.haText, s.decText,
                az / kDeg, 90.0 - el / kDeg);
}

std::string differenceText(const std::vector<double>& d) {
  return format("%7.1f%7.1f%7.1f%7.1f%7.1f\n", d[0], d[1], d[2], d[3], d[4]);
}

std::string heading(const char* caption, const char* latitude) {
  return std::string("\f") + caption + "\nLatitude:  " + latitude +
         "\n\n          *HA           *Dec      *Az   *ZD     dX     dD     dS     dZ     dR\n\n";
}

std::string rmsBlock(const std::vector<Star>& stars, double phi) {
  std::vector<double> sums(5, 0.0);
  int n = 0;
  for (const Star& s : stars) {
    if (s.status == 0) continue;
    const std::vector<double> d = expectedDifferences(s, phi);
    for (int k = 0; k < 5; ++k) sums[k] += d[k] * d[k];
    ++n;
  }
  return std::string(43, ' ') + "     dX     dD     dS     dZ     dR\n" + std::string(40, ' ') +
         "RMS  " +
         format("%7.2f%7.2f%7.2f%7.2f%7.2f\n\n", std::sqrt(sums[0] / n), std::sqrt(sums[1] / n),
                std::sqrt(sums[2] / n), std::sqrt(sums[3] / n), std::sqrt(sums[4] / n));
}

class Slist : public ::testing::Test {
 protected:
  ScratchDir dir;
  Session session{dir.path()};

  // Fills the list as the observation reader would: both copies of both
  // pairs, the run's latitude and caption, and the end mark.
  void load(const std::vector<Star>& stars, double phi, const char* caption) {
    Engine& e = session.engine();
    ObservationList& list = e.observations;
    for (std::size_t i = 0; i < stars.size(); ++i) {
      const Star& s = stars[i];
      list.status[i] = s.status;
      list.pierFlag[i] = s.pier;
      list.telHa[i] = list.telHaWork[i] = s.ha;
      list.telDec[i] = list.telDecWork[i] = s.dec;
      list.starHa[i] = list.starHaWork[i] = s.ha + s.dHa * kTimeSecond;
      list.starDec[i] = list.starDecWork[i] = s.dec + s.dDec * kArcsec;
    }
    list.status[stars.size()] = -1;
    e.run.sinLat = std::sin(phi);
    e.run.cosLat = std::cos(phi);
    std::snprintf(e.run.caption, sizeof e.run.caption, "%s", caption);
    e.run.obsPresent = 1;
  }
};

const double kNorth = dms(1, 19, 49, 35.6);  // printed rounded to +19 49 36

const std::vector<Star> kStars = {
    {1, 0, hms(1, 1, 2, 3.45), dms(1, 45, 30, 12.3), 2.0, -15.0, "+01 02 03.45", "+45 30 12.3"},
    {0, 0, hms(-1, 3, 15, 0.0), dms(-1, 10, 20, 30.0), -0.5, 8.0, "-03 15 00.00", "-10 20 30.0"},
    {1, 1, hms(1, 5, 40, 10.2), dms(1, 60, 0, 0.0), 1.0, 3.0, "+05 40 10.20", "+60 00 00.0"},
    {1, 0, hms(-1, 0, 30, 0.0), dms(1, 19, 49, 35.6), -3.0, -25.0, "-00 30 00.00", "+19 49 35.6"},
};

TEST_F(Slist, ListsEveryStarAtThresholdZeroInactiveOnesWithoutDifferences) {
  load(kStars, kNorth, "Run 12: 2.5-m, east of pier");
  const std::vector<unsigned char> before(
      reinterpret_cast<const unsigned char*>(&session.engine().observations),
      reinterpret_cast<const unsigned char*>(&session.engine().observations + 1));

  std::string expected = "* SLIST\n" + heading("Run 12: 2.5-m, east of pier", "+19 49 36");
  for (std::size_t i = 0; i < kStars.size(); ++i) {
    expected += positionText(static_cast<int>(i) + 1, kStars[i], kNorth);
    expected += kStars[i].status ? differenceText(expectedDifferences(kStars[i], kNorth)) : "\n";
  }
  expected += rmsBlock(kStars, kNorth) + "\f";
  EXPECT_EQ(session.run("SLIST"), expected);
  EXPECT_EQ(session.run("SLIST 0"), "* SLIST 0\n" + expected.substr(8));

  // The listing changes nothing.
  EXPECT_EQ(std::memcmp(before.data(), &session.engine().observations, before.size()), 0);
}

TEST_F(Slist, PositiveThresholdListsOnlyActiveStarsReachingItButTheRmsCoversAll) {
  load(kStars, kNorth, "threshold");
  std::vector<double> dr;
  for (const Star& s : kStars) dr.push_back(expectedDifferences(s, kNorth)[4]);
  ASSERT_LT(dr[2], 20.0);  // star 3 falls below 20 arcsec, stars 1 and 4 reach it
  ASSERT_GT(dr[0], 20.0);
  ASSERT_GT(dr[3], 20.0);

  std::string expected = "* SLIST 20\n" + heading("threshold", "+19 49 36");
  for (int i : {0, 3}) {
    expected += positionText(i + 1, kStars[i], kNorth) +
                differenceText(expectedDifferences(kStars[i], kNorth));
  }
  expected += rmsBlock(kStars, kNorth) + "\f";
  EXPECT_EQ(session.run("SLIST 20"), expected);

  // A threshold above every error lists no star, only the RMS.
  EXPECT_EQ(session.run("SLIST 1E4"),
            "* SLIST 1E4\n" + heading("threshold", "+19 49 36") + rmsBlock(kStars, kNorth) + "\f");
}

TEST_F(Slist, SummaryAndThirdFormsGiveOnlyTheCountAndTheRms) {
  load(kStars, kNorth, "summary");
  const std::string body = heading("summary", "+19 49 36") + "Number of active stars:    3\n" +
                           rmsBlock(kStars, kNorth) + "\f";
  session.run("REPLEN S");
  EXPECT_EQ(session.run("SLIST"), "* SLIST\n" + body);
  session.run("REPLEN N");
  EXPECT_EQ(session.run("SLIST 5"), "* SLIST 5\n" + body);
}

TEST_F(Slist, StarNearTwelveHoursGivesASmallHourAngleDifference) {
  // Telescope at +11h59m59s, star at -11h59m59s: 2 seconds of time apart
  // across the +-12h boundary, not 24 hours less 2 seconds.
  const double dec = dms(1, 5, 0, 0.0);
  Star s = {1, 0, hms(1, 11, 59, 59.0), dec, 0.0, 0.0, "+11 59 59.00", "+05 00 00.0"};
  load({s}, kNorth, "meridian below the pole");
  Engine& e = session.engine();
  e.observations.starHa[0] = e.observations.starHaWork[0] = hms(-1, 11, 59, 59.0);

  s.dHa = 2.0;  // the same star as an offset, for the independent reference
  const std::vector<double> d = expectedDifferences(s, kNorth);
  EXPECT_NEAR(d[0], 30.0 * std::cos(dec), 1e-6);
  const std::string out = session.run("SLIST");
  EXPECT_NE(out.find(positionText(1, s, kNorth) + differenceText(d)), std::string::npos) << out;
}

TEST_F(Slist, SouthernSiteShowsANegativeLatitudeAndSouthernAzimuths) {
  const double south = dms(-1, 33, 56, 2.7);
  const std::vector<Star> stars = {
      {1, 0, hms(1, 2, 0, 0.0), dms(-1, 60, 0, 0.0), 1.5, 12.0, "+02 00 00.00", "-60 00 00.0"},
      {1, 1, hms(-1, 4, 10, 5.55), dms(1, 10, 0, 0.06), -1.0, -4.0, "-04 10 05.55", "+10 00 00.1"},
  };
  load(stars, south, "Southern run");
  std::string expected = "* SLIST\n" + heading("Southern run", "-33 56 03");
  for (std::size_t i = 0; i < stars.size(); ++i) {
    expected += positionText(static_cast<int>(i) + 1, stars[i], south) +
                differenceText(expectedDifferences(stars[i], south));
  }
  expected += rmsBlock(stars, south) + "\f";
  EXPECT_EQ(session.run("SLIST"), expected);
}

TEST_F(Slist, WithNoActiveStarTheListingEndsWithoutAnRmsBlock) {
  std::vector<Star> stars = kStars;
  for (Star& s : stars) s.status = 0;
  load(stars, kNorth, "all masked");
  std::string expected = "* SLIST\n" + heading("all masked", "+19 49 36");
  for (std::size_t i = 0; i < stars.size(); ++i)
    expected += positionText(static_cast<int>(i) + 1, stars[i], kNorth) + "\n";
  EXPECT_EQ(session.run("SLIST"), expected + "\f");
  session.run("REPLEN S");
  EXPECT_EQ(session.run("SLIST"),
            "* SLIST\n" + heading("all masked", "+19 49 36") + "Number of active stars:    0\n\f");
}

TEST_F(Slist, LongListingKeepsTheLastMessagesInTheBufferAndEverythingInTheTranscript) {
  std::vector<Star> stars;
  std::vector<std::string> lines;
  for (int i = 0; i < 40; ++i) {
    stars.push_back({1, i % 3 == 0, hms(1, 0, i, 0.0), dms(1, i, 0, 0.0), 0.5, 2.0 + i % 7,
                     nullptr, nullptr});
    lines.push_back(format("%4d%c %s", i + 1, i % 3 == 0 ? 'b' : ' ',
                           format("+00%3.2d 00.00  +%2.2d 00 00.0", i, i).c_str()));
  }
  load(stars, kNorth, "forty stars");
  clearMessageBuffer(session.engine());
  const std::string out = session.run("SLIST");

  // The transcript has every line.
  EXPECT_EQ(out.rfind("* SLIST\n" + heading("forty stars", "+19 49 36"), 0), 0u);
  for (const std::string& line : lines) EXPECT_NE(out.find("\n" + line), std::string::npos) << line;
  EXPECT_TRUE(out.ends_with(rmsBlock(stars, kNorth) + "\f"));

  // The buffer was emptied on the way and holds whole lines from the end.
  std::string buffer;
  for (const char* c = session.engine().host.buffer; *c != '\0'; ++c) {
    if (*c == '\r') continue;
    buffer += *c;
  }
  EXPECT_LE(buffer.size(), 2000u);
  EXPECT_GT(buffer.size(), 1000u);
  ASSERT_TRUE(out.ends_with(buffer));
  EXPECT_EQ(out[out.size() - buffer.size() - 1], '\n');
  EXPECT_EQ(buffer.find("Latitude"), std::string::npos);
  EXPECT_NE(buffer.find(lines.back()), std::string::npos);
}

TEST_F(Slist, BadThresholdIsRefusedBeforeAnythingIsListed) {
  load(kStars, kNorth, "bad");
  for (const char* line : {"SLIST X", "SLIST -2", "SLIST -0"}) {
    EXPECT_EQ(session.run(line),
              std::string("* ") + line + "\nInvalid argument (error threshold)!\n?\n");
  }
}

}  // namespace
}  // namespace zenfit::test
