// FIT over a pointing run made by a known model: recovery of the model with
// stars over the pole; the numbers of the residual listing; and the shipped
// examples end to end, their simulated mounts recovered within three sigma.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "fit/pointing_run.h"
#include "simulator.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

// A run made by twelve terms of an equatorial mount, none a first-order
// combination of the others, NP and MA in parallel with the terms before
// them, with no noise and a quarter of the stars over the pole.
TEST(Fit, RecoversTheModelThatMadeTheRunToAMilliarcsecondInTwoSteps) {
  static constexpr double kMount[] = {-35.2, 18.7, 24.3, -9.6, 42.1, -27.5,
                                      11.4,  -6.8, 5.2,  3.9,  4.4,  -2.5};
  ScratchDir dir;
  Session session(dir.path());
  Engine& engine = session.engine();
  modelledRun(engine, "IH ID CH NP ME MA TF FO HF HDCH2 DAF HHSH", "NP MA",
              [](int i) { return kMount[i]; }, {.flipFraction = 0.25});
  const auto largestError = [&] {
    double worst = 0.0;
    for (int j = 0; j < 12; ++j) {
      worst = std::max(worst, std::fabs(engine.model[j].value / kArcsecond - kMount[j]));
    }
    return worst;
  };
  // One step from zero with one-sided 10-arcsecond differences falls a few
  // milliarcseconds short, from the curvature the step ignores.
  session.run("FIT");
  EXPECT_GT(largestError(), 0.001);
  EXPECT_LT(largestError(), 0.02);
  session.run("FIT");
  EXPECT_LT(largestError(), 0.001);
  EXPECT_LT(engine.fit.skyRms / kArcsecond, 0.001);
}

// Elevation and azimuth (north through east) of (h, d) at latitude phi:
// Smart, Spherical Astronomy, ch. 2.
void altAz(double h, double d, double phi, double& el, double& az) {
  el = std::asin(std::sin(phi) * std::sin(d) + std::cos(phi) * std::cos(d) * std::cos(h));
  az = std::atan2(-std::cos(d) * std::sin(h),
                  std::sin(d) * std::cos(phi) - std::cos(d) * std::cos(h) * std::sin(phi));
  if (az < 0.0) az += 2 * kPi;
}

// The numbers at the start of a text, up to the first word that is none.
std::vector<double> numbers(const std::string& text) {
  std::istringstream in(text);
  std::vector<double> values;
  for (double x; in >> x;) values.push_back(x);
  return values;
}

// The residual listing against the textbook alt-azimuth and haversine
// formulas, independent of the engine's vector code.
TEST(Slist, PositionsDifferencesAndRmsAreThoseOfTheTextbookFormulas) {
  ScratchDir dir;
  Session session(dir.path());
  Engine& engine = session.engine();
  const double phi = -33.9475 * kRadianPerDegree;
  // The telescope at (h, d); the star offset by (dh, dd); pier side, status.
  const struct {
    double h, d, dh, dd;
    int pier, status;
  } stars[] = {{0.52, -1.05, 2e-4, 6e-5, 0, 1},
               {-1.09, 0.17, -7e-5, -2e-5, 1, 1},
               {0.3, -0.4, 1e-4, 1e-4, 0, kStatusMasked}};
  ObservationList& list = engine.observations;
  for (int i = 0; i < 3; ++i) {
    list[i].status = stars[i].status;
    list[i].pierFlag = stars[i].pier;
    list[i].telHa = list[i].telHaWork = stars[i].h;
    list[i].telDec = list[i].telDecWork = stars[i].d;
    list[i].starHa = list[i].starHaWork = stars[i].h + stars[i].dh;
    list[i].starDec = list[i].starDecWork = stars[i].d + stars[i].dd;
  }
  list[3].status = kStatusEndOfList;
  engine.run.sinLat = std::sin(phi);
  engine.run.cosLat = std::cos(phi);
  engine.run.obsPresent = 1;
  std::istringstream out(session.run("SLIST"));
  std::vector<std::string> lines;
  for (std::string line; std::getline(out, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 13u);
  EXPECT_EQ(lines[2], "Latitude:  -33 56 51");

  std::vector<double> sums(5, 0.0);
  for (int i = 0; i < 3; ++i) {
    const auto& s = stars[i];
    const std::string& line = lines[6 + i];
    EXPECT_EQ(line.substr(0, 5), std::string("   ") + char('1' + i) + (s.pier ? 'b' : ' '));
    double elP, azP, elQ, azQ;
    altAz(s.h, s.d, phi, elP, azP);
    altAz(s.h + s.dh, s.d + s.dd, phi, elQ, azQ);
    const double haversine = std::pow(std::sin(s.dd / 2), 2) +
                             std::cos(s.d) * std::cos(s.d + s.dd) * std::pow(std::sin(s.dh / 2), 2);
    const double k = kArcsecPerRadian;
    const double want[7] = {azP / kRadianPerDegree,       90.0 - elP / kRadianPerDegree,
                            std::cos(s.d) * s.dh * k,     s.dd * k,
                            std::cos(elP) * (azP - azQ) * k, (elP - elQ) * k,
                            2 * std::sqrt(haversine) * k};
    // Az, ZD, dX, dD, dS, dZ, dR after the position; none of the differences
    // for a masked star.
    const std::vector<double> got = numbers(line.substr(31));
    ASSERT_EQ(got.size(), s.status ? 7u : 2u) << line;
    for (std::size_t k = 0; k < got.size(); ++k) EXPECT_NEAR(got[k], want[k], 0.051) << line << k;
    for (int k = 0; k < 5 && s.status; ++k) sums[k] += want[2 + k] * want[2 + k] / 2;
  }
  const std::vector<double> rms = numbers(lines[10].substr(lines[10].find("RMS") + 3));
  ASSERT_EQ(rms.size(), 5u) << lines[10];
  for (int k = 0; k < 5; ++k) EXPECT_NEAR(rms[k], std::sqrt(sums[k]), 0.0051) << k;
}

// The shipped example sessions, run as the README runs them: every term of
// the last FIT within three sigma of the value the mount was simulated
// with, and the population SD that of the noise (one coordinate's noise on
// the sky is the square root of two times less).
TEST(Examples, RunEndToEndAndFitTheirMountsWithinThreeSigma) {
  const std::string examples = ZENFIT_SOURCE_DIR "/examples";
  for (const auto& [script, description] :
       {std::pair{"session.cmd", "equatorial.sim"}, std::pair{"altaz.cmd", "altaz.sim"}}) {
    SCOPED_TRACE(script);
    ScratchDir dir;
    dir.copyFrom(examples);
    const std::string out = runBatchSession(dir.path(), script);
    EXPECT_EQ(out.find("ejected"), std::string::npos) << out;
    EXPECT_EQ(out.find("\n?\n"), std::string::npos) << "a command failed:\n" << out;
    sim::Description d;
    std::string error;
    ASSERT_TRUE(sim::readDescription(examples + "/" + description, d, error)) << error;
    const std::string heading = "       coeff       change     value    sigma\n\n";
    ASSERT_NE(out.rfind(heading), std::string::npos) << out;
    std::istringstream table(out.substr(out.rfind(heading) + heading.size()));
    int fitted = 0;
    for (std::string line; std::getline(table, line) && !line.empty();) {
      const std::vector<double> v = numbers(line.substr(16));  // change, value, sigma
      for (const sim::ModelTerm& t : d.plan.model) {
        if (v.size() != 3 || line.compare(8, t.name.size() + 1, t.name + " ") != 0) continue;
        ++fitted;  // terms of the mount that the model leaves out are skipped
        EXPECT_LT(std::fabs(v[1] - t.arcsec), 3.0 * v[2] + 0.01) << line;
      }
    }
    EXPECT_GE(fitted, 7);
    const double popSd = numbers(out.substr(out.rfind("Popn SD =") + 9)).at(0);
    EXPECT_NEAR(popSd, d.plan.noiseArcsec * std::sqrt(2.0), 0.25 * d.plan.noiseArcsec);
  }
}

}  // namespace
}  // namespace zenfit::test
