// FIT and the model statistics of OUTMOD against the straightforward path
// they replaced (reference_fit.h: evaluateTerm along the chain,
// svdDecompose, svdSolve, svdCovariance): the coefficients, sigmas,
// covariance, statistics, singular-value editing and fitted positions of
// two successive fits agree to 1e-9 relative on the shipped examples, the
// fit goldens' data and pointing runs with stars over the pole, aux terms,
// generic terms, parallel terms, the stars corrected instead of the
// telescope, and a full list; and UNFIT is undone by the model.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fit/pointing_run.h"
#include "fit/reference_fit.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

constexpr double kRelative = 1e-9;

// What rounding alone makes of a sum of squared chords over n stars: each
// chord is good to some 1e-14 radians. A fit with no degree of freedom
// (three stars, six coefficients) leaves nothing else.
double roundingFloor(int n, double sumSquares) {
  constexpr double chord = 1e-14;
  return n * (2.0 * std::sqrt(sumSquares / std::max(n, 1)) * chord + chord * chord);
}

// Both pairs of hour angle and declination name the same place to bound
// radians (hour angles taken round the circle).
void expectSamePlace(double ha, double dec, double wantHa, double wantDec, int slot,
                     double bound = 1e-12) {
  EXPECT_LT(std::fabs(std::remainder(ha - wantHa, kTwoPi)) * std::cos(wantDec), bound) << slot;
  EXPECT_LT(std::fabs(dec - wantDec), bound) << slot;
}

ReferenceFit reference(const Engine& engine) {
  return referenceFit(engine.model, engine.terms, engine.observations, engine.run,
                      engine.settings.adjustSense, engine.settings.fitTolerance);
}

// One FIT of the engine's model against the reference; the engine is
// left as it was.
void expectSameFit(Engine& engine, const ReferenceFit& want) {
  const AdjustSense sense = engine.settings.adjustSense;
  auto list = std::make_unique<ObservationList>(engine.observations);
  FitOptions options;
  options.tolerance = engine.settings.fitTolerance;
  options.sense = sense;
  const FitResult got = fit(engine.model, engine.terms, *list, engine.run, options);
  ASSERT_EQ(want.status, 0);
  ASSERT_EQ(got.outcome, FitOutcome::Completed);
  const int q = static_cast<int>(want.slot.size());
  ASSERT_EQ(got.fitted, q);
  EXPECT_EQ(got.stars, want.stars);
  const double floor = roundingFloor(want.stars, want.sumSquares);
  EXPECT_NEAR(got.sumSquares, want.sumSquares, kRelative * want.sumSquares + floor);
  EXPECT_EQ(got.illConditioned, want.zeroed);
  EXPECT_NEAR(got.smallestRatio, want.smallestRatio, kRelative * want.smallestRatio);
  EXPECT_NEAR(got.largestRatio, want.largestRatio, kRelative * want.largestRatio);
  // The coefficients as a vector: each within 1e-9 of the largest. (A
  // coefficient that is zero but for the noise is not known to 1e-9 of
  // itself: the data are single precision, and the two routes' rounding
  // puts about one datum in fifty on the neighbouring single.)
  double largest = 0.0;
  for (const double value : want.value) largest = std::max(largest, std::fabs(value));
  for (int j = 0; j < q; ++j) {
    const FittedTerm& term = got.terms[want.slot[j]];
    const char* name = engine.terms.name(engine.model[want.slot[j]].term);
    EXPECT_NEAR(term.value, want.value[j], kRelative * largest) << name;
    EXPECT_NEAR(term.sigma, want.sigma[j],
                want.sigma[j] * (kRelative + floor / (2.0 * want.sumSquares)))
        << name;
    for (int k = 0; k < q; ++k) {
      EXPECT_NEAR(got.covarianceAt(j, k), want.covariance[j * q + k],
                  kRelative * std::sqrt(want.covariance[j * q + j] * want.covariance[k * q + k]))
          << name << " with column " << k;
    }
  }
  // The fitted positions written back.
  for (int i = 0; i < static_cast<int>(want.fitted.size()); ++i) {
    const Observation& o = (*list)[i];
    if (std::isnan(want.fitted[i][0])) {
      EXPECT_EQ(o.status, kStatusMasked) << i;
      continue;
    }
    const bool telescope = sense != AdjustSense::Stars;
    expectSamePlace(telescope ? o.starHaWork : o.telHaWork,
                    telescope ? o.starDecWork : o.telDecWork, want.fitted[i][0], want.fitted[i][1],
                    i);
  }
}

// After that FIT: UNFIT undone by the model, and OUTMOD's statistics. The
// model applied to the input places UNFIT gives yields the fitted ones to
// 1e-10 radians (the square root of UNFIT's convergence bound) for each
// group of terms (a chained term and the parallel ones after it) undone.
void expectUnfitUndoneAndStatistics(Engine& engine, const ReferenceFit& fitted) {
  const AdjustSense sense = engine.settings.adjustSense;
  const bool telescope = sense != AdjustSense::Stars;
  auto list = std::make_unique<ObservationList>(engine.observations);
  unfit(engine.model, engine.terms, *list, engine.run, sense, true);
  int groups = 0;
  for (int k = 0; k < engine.model.inUse(); ++k) groups += k == 0 || engine.model[k].chained != 0;
  const EvaluationContext context = evaluationContext(engine.terms, engine.run, sense);
  for (int i = 0; i < kObservationSlots && !(*list)[i].isEnd(); ++i) {
    const Observation& o = (*list)[i];
    double source[3], target[3], ha = 0.0, dec = 0.0;
    observationDirections(context, o, source, target);
    EXPECT_EQ(applyModelTerms(context, engine.model, o, source), 0) << i;
    directionToHaDec(context, source, ha, dec);
    expectSamePlace(ha, dec, telescope ? o.starHaWork : o.telHaWork,
                    telescope ? o.starDecWork : o.telDecWork, i, 1e-10 * groups);
  }
  const ModelStatistics got =
      modelStatistics(engine.model, engine.terms, engine.observations, engine.run, sense);
  const double sum = fitted.sumSquares;
  EXPECT_EQ(got.used, fitted.stars);
  EXPECT_NEAR(got.rms * got.rms * got.used, sum, kRelative * sum + roundingFloor(got.used, sum));
}

struct Case {
  const char* name;
  const char* folder;    // copied into the session's folder, or null
  const char* commands;  // run first
  std::function<void(Session&)> run = nullptr;  // then builds a run, if need be
  std::vector<const char*> steps = {""};  // a line before each FIT after the first ("" for none)
};

// A pointing run made by a model and then fitted from zero.
std::function<void(Session&)> pointingRun(const char* terms, const char* parallel, double arcsec,
                                          RunShape shape) {
  return [=](Session& session) {
    modelledRun(session.engine(), terms, parallel,
                [=](int i) { return arcsec * ((i * 7) % 11 - 5) / 5.0; }, shape);
  };
}

const RunShape kFlips{.stars = 400, .flipFraction = 0.3, .noiseArcsec = 1.0, .seed = 11};

const Case kCases[] = {
    {"the equatorial example", ZENFIT_SOURCE_DIR "/examples",
     "INDAT run\nUSE IH ID CH NP ME MA TF DAF"},
    {"the altazimuth example", ZENFIT_SOURCE_DIR "/examples",
     "INDAT altaz\nUSE IA IE CA NPAE AN AW TF"},
    {"FIT's report golden", ZENFIT_GOLDEN_DIR "/fit_report",
     "INDAT run\nUSE IH ID CH NP ME MA TF\nPARAL NP"},
    {"the ill-conditioning golden", ZENFIT_GOLDEN_DIR "/fit_ill_conditioning",
     "INDAT equator\nUSE IH ID CH", nullptr, {"FITTOL 0.1", "USE AUX2H", "FITTOL 0"}},
    {"three stars, six coefficients", ZENFIT_GOLDEN_DIR "/fit_limits",
     "INDAT three\nUSE IH ID CH NP ME MA"},
    {"a mount over the pole, with parallel terms and then a held one", nullptr, "",
     pointingRun("IH ID CH NP ME MA TF FO HF HDCH2 DAF HHSH", "NP MA", 30.0, kFlips),
     {"FIX HF"}},
    {"aux terms", nullptr, "",
     pointingRun("IH ID CH NP AUX1H AUX1X AUX1D AUX1A AUX1S AUX1E", "", 20.0,
                 {.stars = 300, .flipFraction = 0.2, .noiseArcsec = 0.5, .seed = 3,
                  .aux1First = -1.0, .aux1Step = 0.007})},
    {"generic terms", nullptr, "",
     pointingRun("IH ID CH HXSH2 HDCH2 HHSH3 HZSZ HUCQ HLSQ2 HNSA HVCZ HPCH HHSH40 PDZ2 PXH2D PHQ",
                 "HDCH2 HZSZ", 8.0, kFlips)},
    {"the stars corrected instead of the telescope", nullptr, "ADJUST S",
     pointingRun("IH ID CH NP ME MA TF DAF", "MA", 25.0, kFlips)},
    {"a full list", nullptr, "",
     pointingRun("IH ID NP CH ME MA TF FO HF HDSD2 HCES HCEC DCES DCEC HDSH2 HDCH2 HHSH4 HHCH4 "
                 "HHSH2 HHCH2 HDSH HDCH4 HXSH2 HXCH2 HDSH3 HDCH3 HHSH3 HHCH3 HXSH4 HXCH",
                 "", 6.0, {.stars = kMaxObservations, .flipFraction = 0.25, .noiseArcsec = 1.0})},
};

TEST(FitRoute, AgreesWithTheStraightforwardPathOverTwoSteps) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    ScratchDir dir;
    if (c.folder != nullptr) dir.copyFrom(c.folder);
    Session session(dir.path());
    session.runAll(c.commands);
    if (c.run) c.run(session);
    Engine& engine = session.engine();
    ASSERT_GT(engine.model.inUse(), 0);
    ReferenceFit want = reference(engine);
    expectSameFit(engine, want);
    for (const char* step : c.steps) {
      session.run("FIT");
      if (step[0] != '\0') session.run(step);
      want = reference(engine);
      expectSameFit(engine, want);
    }
    session.run("FIT");
    expectUnfitUndoneAndStatistics(engine, want);
  }
}

}  // namespace
}  // namespace zenfit::test
