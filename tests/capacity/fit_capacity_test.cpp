// FIT at its capacity: 49 fitted coefficients in a model of 50 terms.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "fit/pointing_run.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

// Every standard term but the four second-auxiliary ones (the run has no
// second reading), and four harmonics: 49 terms.
const char* const kNames[] = {
    "IH",   "ID",   "ZH",   "NP",   "CH",    "HF",    "ZE",    "ME",    "MA",    "TF",
    "TX",   "FO",   "IE",   "IA",   "HCES",  "HCEC",  "DCES",  "DCEC",  "DNP",   "X2HC",
    "HGES", "HGEC", "DGES", "DGEC", "TFP",   "CA",    "CD4A",  "CD4B",  "CD5A",  "CD5B",
    "AN",   "AW",   "NPAE", "ACES", "ACEC",  "ECES",  "ECEC",  "NRX",   "NRY",   "AUX1H",
    "AUX1X", "AUX1D", "AUX1A", "AUX1S", "AUX1E", "HDSH2", "HDCH2", "HHSH3", "HHCH3"};
constexpr int kFitted = 49;

TEST(FitCapacity, FortyNineCoefficientsAreFittedBesideAFixedFiftiethTerm) {
  ScratchDir dir;
  Session session(dir.path());
  Engine& engine = session.engine();
  std::vector<TrueTerm> truth;
  for (int i = 0; i < kFitted; ++i) truth.push_back({kNames[i], (i % 9) - 4.0});
  setModel(engine, truth);
  RunShape shape;
  shape.stars = 1000;
  shape.flipFraction = 0.3;
  shape.aux1First = -1.0;
  shape.aux1Step = 0.002;
  fillRun(engine, shape);
  setAllCoefficients(engine, 0.0);
  session.run("USE HDSH3");
  session.run("FIX HDSH3");

  const std::string report = session.run("FIT");
  EXPECT_EQ(engine.dispatch.status, ' ');
  EXPECT_NE(report.find(" 49     HHCH3  "), std::string::npos);
  EXPECT_NE(report.find("\n 50     HDSH3" + std::string(17, ' ') + "+0.00\n"), std::string::npos);
  EXPECT_NE(report.find("\nSky RMS =   0.00\nPopn SD =   0.00\n"), std::string::npos);
  // The run was made by the model, so the fitted model reproduces it (to
  // the single-precision rows and the one linearised step).
  EXPECT_LT(engine.fit.skyRms / kArcsecond, 0.01);
  for (int i = 0; i < kFitted; ++i) EXPECT_GE(engine.model.coefSigma[i], 0.0) << kNames[i];
  // The correlations of 49 terms fill four blocks of at most 14 columns.
  int blocks = 0;
  for (std::size_t at = report.find("\n\n          "); at != std::string::npos;
       at = report.find("\n\n          ", at + 1)) {
    ++blocks;
  }
  EXPECT_EQ(blocks, 4);
  EXPECT_NE(report.find("\n          AUX1A   AUX1S   AUX1E   HDSH2   HDCH2   HHSH3   \n"),
            std::string::npos);
}

}  // namespace
}  // namespace zenfit::test
