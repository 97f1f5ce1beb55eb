// FIT over pointing runs built in place: recovery of a known model, the
// effect of noise and of observations over the pole, agreement with an
// independent least-squares solution, and the report's exact text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "fit/pointing_run.h"
#include "fit/reference_solution.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

// Twelve terms of an equatorial mount: index errors, collimation,
// non-perpendicularity, polar-axis misalignment, tube, fork and horseshoe
// flexure, declination-axis flexure and two harmonics. None is a
// first-order combination of the others.
const std::vector<TrueTerm> kEquatorialModel = {
    {"IH", -35.2}, {"ID", 18.7}, {"CH", 24.3},  {"NP", -9.6},   {"ME", 42.1}, {"MA", -27.5},
    {"TF", 11.4},  {"FO", -6.8}, {"HF", 5.2},   {"HDCH2", 3.9}, {"DAF", 4.4}, {"HHSH", -2.5}};

std::string format(const char* fmt, auto... values) {
  char text[512];
  std::snprintf(text, sizeof text, fmt, values...);
  return text;
}

double largestError(const std::vector<double>& got, const std::vector<TrueTerm>& truth) {
  double worst = 0.0;
  for (std::size_t i = 0; i < truth.size(); ++i) {
    worst = std::max(worst, std::fabs(got[i] - truth[i].arcsec));
  }
  return worst;
}

class Fit : public ::testing::Test {
 protected:
  ScratchDir dir;
  Session session{dir.path()};
  Engine& engine = session.engine();

  // A run made with the true model, whose coefficients are then zeroed.
  void simulate(const std::vector<TrueTerm>& model, const RunShape& shape) {
    setModel(engine, model);
    fillRun(engine, shape);
    setAllCoefficients(engine, 0.0);
  }
};

TEST_F(Fit, NoiselessRunIsRecoveredToAMilliarcsecondInTwoLinearisedSteps) {
  simulate(kEquatorialModel, RunShape{});
  EXPECT_EQ(session.run("FIT").substr(0, 6), "* FIT\n");
  // One step from zero with one-sided 10-arcsecond differences: a few
  // milliarcseconds short, from the curvature that the step ignores.
  const double first = largestError(coefficients(engine), kEquatorialModel);
  EXPECT_GT(first, 0.001);
  EXPECT_LT(first, 0.02);
  session.run("FIT");
  EXPECT_LT(largestError(coefficients(engine), kEquatorialModel), 0.001);
  EXPECT_LT(engine.fit.skyRms / kArcsecond, 0.001);
  EXPECT_EQ(engine.fit.illConditioned, 0);
}

TEST_F(Fit, RunWithAQuarterOfItsStarsOverThePoleIsRecoveredAsWell) {
  RunShape shape;
  shape.flipFraction = 0.25;
  simulate(kEquatorialModel, shape);
  int flipped = 0;
  for (int i = 0; i < shape.stars; ++i) flipped += engine.observations.pierFlag[i];
  EXPECT_GT(flipped, 35);
  EXPECT_LT(flipped, 65);

  session.run("FIT");
  EXPECT_LT(largestError(coefficients(engine), kEquatorialModel), 0.02);
  session.run("FIT");
  EXPECT_LT(largestError(coefficients(engine), kEquatorialModel), 0.001);

  // Without the pier flags the same readings cannot be fitted: ID, CH and
  // the other terms that change sense over the pole are no longer one
  // correction each.
  for (int i = 0; i < shape.stars; ++i) engine.observations.pierFlag[i] = 0;
  setAllCoefficients(engine, 0.0);
  session.run("FIT");
  session.run("FIT");
  EXPECT_GT(engine.fit.skyRms / kArcsecond, 5.0);
}

TEST_F(Fit, WithOneArcsecondOfNoiseEveryTermIsWithinThreeSigmaAndTheRmsIsTheNoise) {
  RunShape shape;
  shape.stars = 400;
  shape.noiseArcsec = 1.0;
  shape.flipFraction = 0.25;
  shape.seed = 7;
  simulate(kEquatorialModel, shape);
  session.run("FIT");
  session.run("FIT");
  const std::vector<double> got = coefficients(engine);
  const std::vector<double> sigma = sigmas(engine);
  for (std::size_t i = 0; i < kEquatorialModel.size(); ++i) {
    EXPECT_GT(sigma[i], 0.02) << kEquatorialModel[i].name;
    EXPECT_LT(sigma[i], 0.5) << kEquatorialModel[i].name;
    EXPECT_LT(std::fabs(got[i] - kEquatorialModel[i].arcsec), 3.0 * sigma[i])
        << kEquatorialModel[i].name;
  }
  // One arcsecond in each coordinate is sqrt(2) on the sky.
  const double skyRms = engine.fit.skyRms / kArcsecond;
  const double popSd = engine.fit.popSd / kArcsecond;
  EXPECT_NEAR(skyRms, std::sqrt(2.0), 0.1);
  EXPECT_NEAR(popSd, std::sqrt(2.0), 0.1);
  const int n = shape.stars;
  const int q = static_cast<int>(kEquatorialModel.size());
  EXPECT_NEAR(popSd * popSd, skyRms * skyRms * n / (n - q), 1e-9);
}

TEST_F(Fit, CoefficientsSigmasAndCorrelationsAgreeWithNormalEquations) {
  RunShape shape;
  shape.stars = 150;
  shape.noiseArcsec = 1.0;
  shape.flipFraction = 0.3;
  shape.seed = 11;
  simulate(kEquatorialModel, shape);
  session.run("FIT");
  session.run("FIT");
  session.run("FIT");
  const ReferenceSolution reference = referenceSolution(engine, 2);
  const std::vector<double> got = coefficients(engine);
  const std::vector<double> sigma = sigmas(engine);
  // FIT's fixed point uses its own derivatives (one-sided, each term's
  // alone in the chain), good to about 1e-4 of themselves; with residuals
  // of an arcsecond that moves the solution by a few tenths of a
  // milliarcsecond.
  for (std::size_t j = 0; j < got.size(); ++j) {
    EXPECT_NEAR(got[j], reference.value[j], 1e-3) << kEquatorialModel[j].name;
    EXPECT_NEAR(sigma[j], reference.sigma[j], 1e-4 * reference.sigma[j])
        << kEquatorialModel[j].name;
  }
  EXPECT_NEAR(engine.fit.skyRms / kArcsecond, reference.skyRms, 1e-6);
  EXPECT_NEAR(engine.fit.popSd / kArcsecond, reference.popSd, 1e-6);
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) result.push_back(line);
  return result;
}

// Compares two reports line by line. The correlation values may differ by
// the tolerance: FIT's derivatives are one-sided differences over 10
// arcseconds, each term's own within the chain, while an independent
// solution's are exact; the two normal matrices differ by some 1e-5 of
// themselves, which shows in the fourth decimal of a correlation now and
// then. Everything else, including every column position, must be equal.
void expectSameReport(const std::string& actual, const std::string& expected, double tolerance) {
  const std::vector<std::string> a = lines(actual);
  const std::vector<std::string> e = lines(expected);
  ASSERT_EQ(a.size(), e.size()) << actual;
  bool inMatrix = false;
  for (std::size_t i = 0; i < e.size(); ++i) {
    if (e[i] == "* Correlations between terms:") inMatrix = true;
    if (!inMatrix || e[i].size() < 16 || e[i][0] == ' ' || a[i] == e[i]) {
      EXPECT_EQ(a[i], e[i]) << "line " << i + 1;
      continue;
    }
    ASSERT_EQ(a[i].size(), e[i].size()) << "line " << i + 1 << ": " << a[i];
    EXPECT_EQ(a[i].substr(0, 8), e[i].substr(0, 8));
    for (std::size_t k = 8; k < e[i].size(); k += 8) {
      EXPECT_NEAR(std::stod(a[i].substr(k, 8)), std::stod(e[i].substr(k, 8)), tolerance)
          << "line " << i + 1 << ": " << a[i];
    }
  }
}

// The whole report, with every number taken from the independent
// solution: the fit starts a few tenths of an arcsecond from the optimum,
// where one linearised step lands on it to far better than the printed
// digits.
TEST_F(Fit, ReportMatchesTheIndependentSolutionLineByLine) {
  const std::vector<TrueTerm> model = {{"IH", 2.0},  {"ID", -1.5}, {"NP", 0.6, true},
                                       {"CH", -1.2}, {"ME", 3.0},  {"MA", 1.0, true}};
  RunShape shape;
  shape.stars = 40;
  shape.noiseArcsec = 2.0;
  shape.flipFraction = 0.5;
  shape.seed = 3;
  setModel(engine, model);
  fillRun(engine, shape);
  const ReferenceSolution reference = referenceSolution(engine, 3);
  const std::vector<double> start = {1.7, -1.2, 0.8, -1.9, 3.3, 1.0};
  for (std::size_t j = 0; j < start.size(); ++j) {
    engine.model.coefValue[j] = start[j] * kArcsecond;
  }

  std::string expected = "* FIT\n\n       coeff       change     value    sigma\n\n";
  const char marks[] = {' ', ' ', '&', ' ', ' ', '&'};
  for (std::size_t j = 0; j < model.size(); ++j) {
    expected += format("%3d   %c %-8s%+9.3f%+10.2f%9.3f\n", static_cast<int>(j) + 1, marks[j],
                       model[j].name, reference.value[j] - start[j], reference.value[j],
                       reference.sigma[j]);
  }
  expected += format("\nSky RMS =%7.2f\n", reference.skyRms);
  expected += format("Popn SD =%7.2f\n\n", reference.popSd);
  expected += "* Correlations between terms:\n\n";
  const auto& c = reference.covariance;
  for (std::size_t i = 1; i < model.size(); ++i) {
    expected += format("%-8s", model[i].name);
    for (std::size_t j = 0; j < i; ++j) {
      expected += format("%+8.4f", c[i][j] / std::sqrt(c[i][i] * c[j][j]));
    }
    expected += "\n";
  }
  expected += "\n          IH      ID      NP      CH      ME      \n\n";
  expectSameReport(session.run("FIT"), expected, 2e-4);
  EXPECT_EQ(engine.dispatch.status, ' ');
  for (std::size_t j = 0; j < model.size(); ++j) {
    EXPECT_NEAR(engine.model.coefSigma[j] / kArcsecond, reference.sigma[j], 1e-4);
  }
}

TEST_F(Fit, FitNReportsTheModelAsItStandsAndChangesNoCoefficient) {
  setModel(engine, {{"IH", 20.0}, {"ID", -15.0}, {"CH", 8.0, true}});
  RunShape shape;
  shape.stars = 30;
  shape.noiseArcsec = 1.5;
  fillRun(engine, shape);
  engine.model.coefValue[0] = 18.0 * kArcsecond;  // IH now 2 arcsec off
  engine.model.floating[1] = 0;
  std::vector<double> r = residuals(engine);
  double sum = 0.0;
  for (double x : r) sum += x * x;
  const double skyRms = std::sqrt(sum / shape.stars);

  const std::string expected =
      "* FIT N\n\n       coeff       change     value    sigma\n\n"
      "  1     IH                   +18.00\n"
      "  2     ID                   -15.00\n"
      "  3   & CH                    +8.00\n" +
      format("\nSky RMS =%7.2f\n", skyRms) +
      // With nothing fitted the degrees of freedom are the stars.
      format("Popn SD =%7.2f\n\n", skyRms);
  EXPECT_EQ(session.run("FIT N"), expected);
  EXPECT_EQ(coefficients(engine), (std::vector<double>{18.0, -15.0, 8.0}));
  EXPECT_EQ(engine.model.coefSigma[0], -1.0);
  EXPECT_NEAR(engine.fit.skyRms / kArcsecond, skyRms, 1e-9);
  EXPECT_EQ(engine.fit.popSd, engine.fit.skyRms);

  // The fitted positions are the model as it stands, for SLIST to show.
  double corrected[3], target[3];
  applyModel(engine, 4, corrected, target);
  double ha = 0.0, dec = 0.0;
  directionToHaDec(engine, corrected, ha, dec);
  EXPECT_NEAR(engine.observations.starHaWork[4], ha, 1e-15);
  EXPECT_NEAR(engine.observations.starDecWork[4], dec, 1e-15);

  // A model with no fitted term gives the same report under plain FIT.
  session.run("FIX");
  EXPECT_EQ(session.run("FIT"), "* FIT\n" + expected.substr(8));
}

TEST_F(Fit, EnoughStarsMeansTwoRowsForEveryCoefficient) {
  setModel(engine, {{"IH", 1}, {"ID", 2}, {"CH", 3}, {"NP", 4}, {"ME", 5}, {"MA", 6}, {"FO", 7}});
  RunShape shape;
  shape.stars = 4;
  fillRun(engine, shape);
  engine.observations.status[1] = kStatusMasked;  // three active stars
  setAllCoefficients(engine, 0.0);

  EXPECT_EQ(session.run("FIT"), "* FIT\nNot enough stars for fit!\n!\n");
  EXPECT_EQ(engine.dispatch.status, '!');
  EXPECT_EQ(coefficients(engine), std::vector<double>(7, 0.0));

  session.run("FIX FO");
  const std::string out = session.run("FIT");
  EXPECT_NE(out.find("  7     FO                    +0.00\n\nSky RMS ="), std::string::npos) << out;
  // Three stars and six terms leave no degree of freedom: the report stops
  // after the sky RMS and the host reads a population SD of -1.
  EXPECT_EQ(out.substr(out.size() - 18), "\nSky RMS =   0.00\n");
  EXPECT_EQ(engine.fit.popSd, -1.0);
  EXPECT_EQ(engine.dispatch.status, ' ');
}

TEST_F(Fit, ArgumentsAndAnEmptyListAreRefused) {
  EXPECT_EQ(session.run("FIT X"), "* FIT X\nBad argument!\n?\n");
  EXPECT_EQ(session.run("FIT N N"), "* FIT N N\nBad argument!\n?\n");
  // No observations: nothing to fit to and nothing to say.
  session.run("USE IH");
  EXPECT_EQ(session.run("FIT"), "* FIT\n!\n");
  EXPECT_EQ(engine.fit.skyRms, 0.0);
  EXPECT_EQ(engine.fit.popSd, 0.0);
}

TEST_F(Fit, AnObservationWhereATermCannotBeEvaluatedIsWithdrawnForGood) {
  setModel(engine, {{"IH", 5.0}, {"TX", 2.0}});
  RunShape shape;
  shape.stars = 20;
  shape.latitudeDegrees = 90.0;
  fillRun(engine, shape);
  // At the pole, star 6 on the celestial equator is exactly on the horizon,
  // where TX (tan z) has no value.
  engine.run.sinLat = 1.0;
  engine.run.cosLat = 0.0;
  ObservationList& list = engine.observations;
  list.starDec[5] = 0.0;
  setAllCoefficients(engine, 0.0);
  session.run("FIT");
  EXPECT_EQ(list.status[5], kStatusMasked);
  EXPECT_EQ(list.status[6], kStatusActive);
  session.run("FIT");
  EXPECT_NEAR(coefficients(engine)[0], 5.0, 1e-3);
  EXPECT_NEAR(coefficients(engine)[1], 2.0, 1e-3);
  EXPECT_EQ(activeObservationCount(list), 19);
}

TEST_F(Fit, UnderAdjustStarsTheTelescopeSideIsCorrectedAndWritten) {
  session.run("ADJUST S");
  RunShape shape;
  shape.flipFraction = 0.25;
  simulate(kEquatorialModel, shape);
  const ObservationList& list = engine.observations;
  const double starHaWork = list.starHaWork[9];
  session.run("FIT");
  session.run("FIT");
  EXPECT_LT(largestError(coefficients(engine), kEquatorialModel), 0.001);
  // The star side is the target and stays; the telescope side is fitted.
  EXPECT_EQ(list.starHaWork[9], starHaWork);
  EXPECT_NEAR(list.telHaWork[9], list.starHaWork[9], 1e-12);
  EXPECT_NEAR(list.telDecWork[9], list.starDecWork[9], 1e-12);
  EXPECT_NE(list.telHaWork[9], list.telHa[9]);
}

// Blocks of 14 columns: with 16 fitted terms the second block holds the
// last row alone, against the fifteenth term.
TEST_F(Fit, CorrelationMatrixComesInBlocksOfFourteenColumns) {
  const std::vector<TrueTerm> model = {
      {"IH", 1},    {"ID", 1},    {"CH", 1},    {"NP", 1},    {"ME", 1},    {"MA", 1},
      {"TF", 1},    {"FO", 1},    {"HDCH2", 1}, {"HHSH2", 1}, {"HHCH2", 1}, {"HDSH2", 1},
      {"HDSH", 1},  {"HHSH3", 1}, {"HDCH3", 1}, {"HHCH3", 1}};
  RunShape shape;
  shape.stars = 200;
  shape.noiseArcsec = 0.5;
  shape.flipFraction = 0.25;
  simulate(model, shape);
  const std::string out = session.run("FIT");
  const std::string matrix = out.substr(out.find("* Correlations between terms:\n"));
  std::istringstream lines(matrix);
  std::vector<std::string> l;
  for (std::string line; std::getline(lines, line);) l.push_back(line);
  // Heading, blank, 15 rows, blank, labels; blank, 1 row, blank, labels; blank.
  ASSERT_EQ(l.size(), 24u);
  EXPECT_EQ(l[1], "");
  for (int i = 1; i <= 15; ++i) {
    const std::string& row = l[1 + i];
    EXPECT_EQ(row.substr(0, 8), format("%-8s", model[i].name));
    EXPECT_EQ(row.size(), 8u + 8u * std::min(i, 14)) << row;
  }
  EXPECT_EQ(l[17], "");
  std::string labels = "          ";
  for (int j = 0; j < 14; ++j) labels += format("%-8s", model[j].name);
  EXPECT_EQ(l[18], labels);
  EXPECT_EQ(l[19], "");
  EXPECT_EQ(l[20].substr(0, 8), "HHCH3   ");
  EXPECT_EQ(l[20].size(), 16u);
  EXPECT_EQ(l[21], "");
  EXPECT_EQ(l[22], "          HDCH3   ");
  EXPECT_EQ(l[23], "");
  EXPECT_EQ(out.substr(out.size() - 21), "\n          HDCH3   \n\n");
}

// A term that does nothing to these observations (AUX2H with no second
// auxiliary reading) has a zero column: its singular value is zeroed, its
// covariance is exactly zero and the report says so.
TEST_F(Fit, ATermThatNeverActsIsReportedAsAlwaysZero) {
  RunShape shape;
  shape.stars = 30;
  simulate({{"IH", 3.0}, {"AUX2H", 0.0}, {"ID", -2.0}}, shape);
  const std::string out = session.run("FIT");
  const std::string tail =
      "AUX2H was always zero.\n"
      "* Correlations between terms:\n\n"
      "AUX2H    +0.0000\n"
      "ID       -0.0000 +0.0000\n";
  EXPECT_NE(out.find(tail), std::string::npos) << out;
  EXPECT_NE(out.find("          IH      AUX2H   \n\n"
                     "Action was taken to correct ill-conditioning.  The\n"
                     "current FITTOL tolerance is 0.01, which exceeds\n"
                     "the value 0 encountered during the fit.\n\n"),
            std::string::npos)
      << out;
  EXPECT_EQ(out.substr(out.size() - 17), "during the fit.\n\n");
  EXPECT_EQ(engine.fit.illConditioned, 1);
  EXPECT_NEAR(coefficients(engine)[0], 3.0, 0.01);
  EXPECT_EQ(coefficients(engine)[1], 0.0);

  // With the term gone the flag is cleared by the next fit.
  session.run("LOSE AUX2H");
  session.run("FIT");
  EXPECT_EQ(engine.fit.illConditioned, 0);
}

// ZH and AUX1H are the same correction: the fit cannot tell them apart,
// warns, and with the weak direction zeroed keeps their sum, shared
// equally (the shortest solution).
TEST_F(Fit, IdenticalTermsAreFlaggedAndTheirSumIsKept) {
  RunShape shape;
  shape.stars = 40;
  shape.aux1First = 0.5;
  shape.aux1Step = 0.02;
  simulate({{"IH", 2.0}, {"ZH", 4.0}}, shape);
  session.run("USE AUX1H");
  const std::string out = session.run("FIT");
  EXPECT_NE(out.find("AUX1H and ZH cannot reliably be distinguished.\n"), std::string::npos)
      << out;
  EXPECT_NE(out.find("Action was taken to correct ill-conditioning.  The\n"), std::string::npos);
  const std::vector<double> c = coefficients(engine);
  EXPECT_NEAR(c[0], 2.0, 0.01);
  EXPECT_NEAR(c[1] + c[2], 4.0, 0.01);
  EXPECT_NEAR(c[1], c[2], 0.01);
  EXPECT_EQ(engine.fit.illConditioned, 1);
}

}  // namespace
}  // namespace zenfit::test
