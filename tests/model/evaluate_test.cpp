// Terms: evaluation against the classical first-order effect of each term,
// computed here from closed forms; the rules of applying a model (the
// ADJUST sense, the pier side, chained and parallel terms); and the
// grammar of generic term names.
#include "model/evaluate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <memory>
#include <utility>

#include "data/observations.h"
#include "model/generic.h"
#include "model/model.h"

namespace zenfit::test {
namespace {

using std::cos;
using std::sin;
using std::tan;
using P = std::pair<double, double>;

// A place on the sky at latitude phi: hour angle, declination, azimuth
// (from the south through the east) and elevation.
struct Sky {
  double h, d, A, E, phi;
};

constexpr double kAux[3] = {0.3, -0.7, 0.0};
double sec(double x) { return 1.0 / cos(x); }

// Classical small-angle effect of one unit of each term: (dh, dd) or, for
// the horizon-referred ones, (dA, dE). NP: dh = tan d; CH: dh = sec d;
// ME: dh = sin h tan d, dd = cos h; and so on.
struct Law {
  const char* name;
  bool horizon;
  P (*effect)(const Sky&);
};
constexpr bool kEq = false, kHz = true;

const Law kLaws[] = {
    // The standard terms in catalogue order, all but HFD.
    {"IH", kEq, [](const Sky&) { return P{1, 0}; }},
    {"ID", kEq, [](const Sky&) { return P{0, 1}; }},
    {"ZH", kEq, [](const Sky&) { return P{kAux[0], 0}; }},
    {"NP", kEq, [](const Sky& s) { return P{tan(s.d), 0}; }},
    {"CH", kEq, [](const Sky& s) { return P{sec(s.d), 0}; }},
    {"HF", kEq, [](const Sky& s) { return P{sin(s.h) * sec(s.d), 0}; }},
    {"ZE", kEq,
     [](const Sky& s) { return P{0, cos(s.phi) * sin(s.d) * cos(s.h) - sin(s.phi) * cos(s.d)}; }},
    {"ME", kEq, [](const Sky& s) { return P{sin(s.h) * tan(s.d), cos(s.h)}; }},
    {"MA", kEq, [](const Sky& s) { return P{-cos(s.h) * tan(s.d), sin(s.h)}; }},
    {"TF", kHz, [](const Sky& s) { return P{0, -cos(s.E)}; }},
    {"TX", kHz, [](const Sky& s) { return P{0, -1.0 / tan(s.E)}; }},
    {"FO", kEq, [](const Sky& s) { return P{0, cos(s.h)}; }},
    {"IE", kHz, [](const Sky&) { return P{0, 1}; }},
    {"IA", kHz, [](const Sky&) { return P{1, 0}; }},
    {"HCES", kEq, [](const Sky& s) { return P{sin(s.h), 0}; }},
    {"HCEC", kEq, [](const Sky& s) { return P{cos(s.h), 0}; }},
    {"DCES", kEq, [](const Sky& s) { return P{0, sin(s.d)}; }},
    {"DCEC", kEq, [](const Sky& s) { return P{0, cos(s.d)}; }},
    {"DNP", kEq, [](const Sky& s) { return P{sin(s.h) * tan(s.d), 0}; }},
    {"X2HC", kEq, [](const Sky& s) { return P{cos(2 * s.h) * sec(s.d), 0}; }},
    {"HGES", kEq, [](const Sky& s) { return P{sin(40 * s.h), 0}; }},
    {"HGEC", kEq, [](const Sky& s) { return P{cos(40 * s.h), 0}; }},
    {"DGES", kEq, [](const Sky& s) { return P{0, sin(40 * s.d)}; }},
    {"DGEC", kEq, [](const Sky& s) { return P{0, cos(40 * s.d)}; }},
    {"TFP", kHz, [](const Sky& s) { return P{0, -sin(s.E) * cos(s.E)}; }},
    {"CA", kHz, [](const Sky& s) { return P{sec(s.E), 0}; }},
    {"CD4A", kEq, [](const Sky& s) { return P{-tan(s.d), cos(s.d)}; }},
    {"CD4B", kEq, [](const Sky& s) { return P{1, sin(s.d)}; }},
    {"CD5A", kEq, [](const Sky& s) { return P{cos(s.h - s.d) * sec(s.d), -sin(s.h - s.d)}; }},
    {"CD5B", kEq, [](const Sky& s) { return P{sin(s.h - s.d) * sec(s.d), cos(s.h - s.d)}; }},
    {"AN", kHz, [](const Sky& s) { return P{sin(s.A) * tan(s.E), cos(s.A)}; }},
    {"AW", kHz, [](const Sky& s) { return P{-cos(s.A) * tan(s.E), sin(s.A)}; }},
    {"NPAE", kHz, [](const Sky& s) { return P{tan(s.E), 0}; }},
    {"ACES", kHz, [](const Sky& s) { return P{sin(s.A), 0}; }},
    {"ACEC", kHz, [](const Sky& s) { return P{cos(s.A), 0}; }},
    {"ECES", kHz, [](const Sky& s) { return P{0, sin(s.A)}; }},
    {"ECEC", kHz, [](const Sky& s) { return P{0, cos(s.A)}; }},
    {"NRX", kHz, [](const Sky& s) { return P{1, -sin(s.E)}; }},
    {"NRY", kHz, [](const Sky& s) { return P{tan(s.E), cos(s.E)}; }},
    {"AUX1H", kEq, [](const Sky&) { return P{kAux[0], 0}; }},
    {"AUX1X", kEq, [](const Sky& s) { return P{kAux[0] * sec(s.d), 0}; }},
    {"AUX1D", kEq, [](const Sky&) { return P{0, kAux[0]}; }},
    {"AUX1A", kHz, [](const Sky&) { return P{kAux[0], 0}; }},
    {"AUX1S", kHz, [](const Sky& s) { return P{kAux[0] * sec(s.E), 0}; }},
    {"AUX1E", kHz, [](const Sky&) { return P{0, kAux[0]}; }},
    {"AUX2H", kEq, [](const Sky&) { return P{kAux[1], 0}; }},
    {"AUX2X", kEq, [](const Sky& s) { return P{kAux[1] * sec(s.d), 0}; }},
    {"AUX2D", kEq, [](const Sky&) { return P{0, kAux[1]}; }},
    {"AUX2A", kHz, [](const Sky&) { return P{kAux[1], 0}; }},
    {"AUX2S", kHz, [](const Sky& s) { return P{kAux[1] * sec(s.E), 0}; }},
    {"AUX2E", kHz, [](const Sky&) { return P{0, kAux[1]}; }},
    // Declination-axis flexure: -sin E along the parallel.
    {"DAF", kEq, [](const Sky& s) { return P{-sin(s.E) * sec(s.d), 0}; }},
    // Horseshoe flexure along the parallel, the published weights in order.
    {"HFX", kEq,
     [](const Sky& s) {
       const double h = s.h, d = s.d, z = M_PI / 2 - s.E;
       const double f = 0.723 * sin(h) + 0.633 * sin(2 * h) + 1.279 * sin(3 * h) +
                        1.718 * sin(h) * cos(d) + 1.202 * sin(h) * sin(d) +
                        0.219 * sin(2 * h) * cos(d) + 0.368 * sin(2 * h) * sin(d) +
                        0.195 * sin(h) * cos(2 * d) + 1.928 * sin(h) * sin(z) +
                        3.662 * sin(h) * cos(z) + 0.381 * sin(3 * h) * cos(d) +
                        1.156 * sin(h) * sin(2 * d);
       return P{f * sec(d), 0};
     }},
    // Generic terms: products of sines, cosines and powers of coordinates,
    // applied in each of the ways a generic name can ask for.
    {"HXSH2", kEq, [](const Sky& s) { return P{sin(2 * s.h) * sec(s.d), 0}; }},
    {"PDZ2", kEq, [](const Sky& s) { return P{0, (M_PI / 2 - s.E) * (M_PI / 2 - s.E)}; }},
    {"PXH2D", kEq, [](const Sky& s) { return P{s.h * s.h * s.d * sec(s.d), 0}; }},
    {"PHQ", kEq,  // the parallactic angle
     [](const Sky& s) {
       return P{std::atan2(sin(s.h), tan(s.phi) * cos(s.d) - sin(s.d) * cos(s.h)), 0};
     }},
    {"HASA", kHz, [](const Sky& s) { return P{sin(s.A), 0}; }},
    {"HSCA", kHz, [](const Sky& s) { return P{cos(s.A) * sec(s.E), 0}; }},
    {"HZCZ", kHz, [](const Sky& s) { return P{0, -sin(s.E)}; }},
    {"HUCH", kHz, [](const Sky& s) { return P{cos(s.h) * tan(s.E), cos(s.h) * cos(s.E)}; }},
    {"HLCH", kHz, [](const Sky& s) { return P{cos(s.h), -cos(s.h) * sin(s.E)}; }},
    {"HPCH", kEq, [](const Sky& s) { return P{0, cos(s.h) * cos(s.d)}; }},
    {"HNCH", kHz,
     [](const Sky& s) {
       return P{cos(s.h) * sin(s.A) * sec(s.E), cos(s.h) * sin(s.E) * cos(s.A)};
     }},
    {"HWCH", kHz,
     [](const Sky& s) {
       return P{-cos(s.h) * cos(s.A) * sec(s.E), cos(s.h) * sin(s.E) * sin(s.A)};
     }},
    {"HVCH", kHz, [](const Sky& s) { return P{0, cos(s.h) * cos(s.E)}; }},
};

// Sites (latitude) and places (h, d) well above the horizon, north and south.
struct Site {
  double phi, h, d;
};
const Site kSites[] = {
    {0.6, 0.7, 0.3}, {0.6, -1.2, 0.1}, {0.6, 2.6, 1.1}, {0.6, -0.4, 0.9}, {-0.5, 0.5, -0.8},
};

// Radians: small enough that second-order terms stay below 1e-7 relative.
constexpr double kC = 1e-8;

class Evaluation : public ::testing::Test {
 protected:
  TermTable terms;
  AdjustSense sense = AdjustSense::Telescope;
  void SetUp() override { loadTermNames(terms); }

  EvaluationContext at(double phi) const {
    RunState run;
    run.sinLat = sin(phi);
    run.cosLat = cos(phi);
    return evaluationContext(terms, run, sense);
  }

  // The effect of one unit of a term at a site, from the change of the
  // place a small coefficient makes, in the frame asked for.
  P effect(const char* name, const Site& site, bool horizon, int pier = 0) {
    double base[3], moved[3];
    directionOf(site, base);
    directionOf(site, moved);
    const int term = resolveTermName(terms, name, 1, nullptr);
    EXPECT_EQ(evaluateTerm(at(site.phi), term, kC, kAux, pier, base, moved), 0) << name;
    const Sky b = skyOf(base, site.phi), a = skyOf(moved, site.phi);
    if (horizon) return {std::remainder(a.A - b.A, 2 * M_PI) / kC, (a.E - b.E) / kC};
    return {std::remainder(a.h - b.h, 2 * M_PI) / kC, (a.d - b.d) / kC};
  }

  // Textbook rotations between the equatorial and the horizon frames
  // (x south, y east, z zenith).
  static void directionOf(const Site& s, double v[3]) {
    v[0] = sin(s.phi) * cos(s.d) * cos(s.h) - cos(s.phi) * sin(s.d);
    v[1] = -cos(s.d) * sin(s.h);
    v[2] = cos(s.phi) * cos(s.d) * cos(s.h) + sin(s.phi) * sin(s.d);
  }
  static Sky skyOf(const double v[3], double phi) {
    const double ex = v[0] * sin(phi) + v[2] * cos(phi), ey = v[1];
    const double ez = v[2] * sin(phi) - v[0] * cos(phi);
    return {std::atan2(-ey, ex), std::atan2(ez, std::hypot(ex, ey)), std::atan2(v[1], v[0]),
            std::atan2(v[2], std::hypot(v[0], v[1])), phi};
  }
};

TEST_F(Evaluation, EveryTermGivesItsClassicalFirstOrderEffect) {
  for (int i = 0; i < kStandardTermCount - 1; ++i) {
    ASSERT_STREQ(kLaws[i].name, terms.name(i + 1)) << "every standard term, in order";
  }
  for (const Law& law : kLaws) {
    for (const Site& site : kSites) {
      SCOPED_TRACE(testing::Message() << law.name << " at h=" << site.h << " d=" << site.d);
      double v[3];
      directionOf(site, v);
      const P want = law.effect(skyOf(v, site.phi)), got = effect(law.name, site, law.horizon);
      EXPECT_NEAR(got.first, want.first, 1e-6 * std::max(1.0, std::fabs(want.first)));
      EXPECT_NEAR(got.second, want.second, 1e-6 * std::max(1.0, std::fabs(want.second)));
    }
  }
}

TEST_F(Evaluation, AdjustStarsReversesEveryCorrectionAndOverThePoleTermsOfTheMountReverse) {
  // Over the pole the declination reading runs the other way, and so does
  // the sense along the parallel; index errors in h, horizon terms, the tilt
  // of the polar axis and tube flexure (which follows gravity) do not change.
  const std::map<std::string, double> overPole = {{"ID", -1}, {"CH", -1}, {"NP", -1}, {"IH", 1},
                                                  {"IE", 1},  {"ME", 1},  {"ZE", 1}};
  for (const Law& law : kLaws) resolveTermName(terms, law.name, 1, nullptr);
  for (int term = 1; term <= terms.termNameCount; ++term) {
    const char* name = terms.name(term);
    for (const Site& site : kSites) {
      P telescope[2];
      for (int pier = 0; pier <= 1; ++pier) {
        sense = AdjustSense::Telescope;
        telescope[pier] = effect(name, site, kEq, pier);
        sense = AdjustSense::Stars;
        const P stars = effect(name, site, kEq, pier);
        const P& t = telescope[pier];
        const double size = std::max(1.0, std::hypot(t.first, t.second));
        EXPECT_NEAR(stars.first, -t.first, 1e-6 * size) << name << " pier " << pier;
        EXPECT_NEAR(stars.second, -t.second, 1e-6 * size) << name << " pier " << pier;
      }
      const auto flip = overPole.find(name);
      if (flip == overPole.end()) continue;
      const double size = std::max(1.0, std::fabs(telescope[0].first));
      EXPECT_NEAR(telescope[1].first, flip->second * telescope[0].first, 1e-6 * size) << name;
      EXPECT_NEAR(telescope[1].second, flip->second * telescope[0].second, 1e-6) << name;
    }
  }
}

TEST_F(Evaluation, ChainedTermsSeeTheCorrectedPlaceAndParallelTermsTheSameBase) {
  // IH then HCES (dh = c sin h), with coefficients large enough for the
  // point HCES is evaluated at to show.
  const EvaluationContext context = at(0.6);
  Observation observation;
  observation.starHa = 0.5;
  observation.starDec = 0.2;
  Model model;
  useTerms(model, terms, readTermList(terms, "IH HCES"));
  model[0].value = 0.1;
  model[1].value = 0.05;
  for (const bool parallel : {false, true}) {
    if (parallel) parallelTerms(model, readTermList(terms, "HCES"));
    double corrected[3], target[3], h = 0, d = 0;
    observationDirections(context, observation, corrected, target);
    ASSERT_EQ(applyModelTerms(context, model, observation, corrected), 0);
    directionToHaDec(context, corrected, h, d);
    EXPECT_NEAR(h, 0.6 + 0.05 * sin(parallel ? 0.5 : 0.6), 1e-12) << "parallel " << parallel;
    EXPECT_NEAR(d, 0.2, 1e-12);
  }
}

TEST_F(Evaluation, GenericNamesFollowTheTemplateGrammar) {
  const std::pair<const char*, const char*> good[] = {
      {"PXH2D3", "PRCICI"}, {"PAQ", "PRC"},          {"HHSH360", "HRFCIII"}, {"HVCA", "HRFC"},
      {"HXSH2CD", "HRFCIFC"}, {"HXSHCD2", "HRFCFCI"}, {"HUSZCQ", "HRFCFC"}};
  for (const auto& [name, slots] : good) {
    char matched[kTermNameSize] = "?";
    EXPECT_EQ(resolveTermName(terms, name, 0, matched), 0) << name;
    EXPECT_STREQ(matched, slots) << name;
  }
  // Eight-letter names (the last three) fit HRFCFCII, HRFCIFCI or HRFCIIFC
  // letter by letter but are never generic terms: model files written over
  // the years rely on such names being refused.
  for (const char* bad : {"", "HX", "HXSB", "HQSH", "PXHD2", "PXH22", "hxsh2", "HX SH", "HXSHCD12",
                          "HXSH2CD3", "HXSH12CD"}) {
    EXPECT_EQ(resolveTermName(terms, bad, 1, nullptr), -1) << '"' << bad << '"';
  }
  EXPECT_EQ(terms.termNameCount, 54) << "nothing added";
}

}  // namespace
}  // namespace zenfit::test
