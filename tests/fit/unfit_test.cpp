// UNFIT: the model taken off the fitted positions, group by group.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "fit/pointing_run.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

// Chained terms with parallel ones after them, so that the groups matter:
// (IH), (ID & NP & CH), (ME & MA), (TF), (HDCH2 & FO).
const std::vector<TrueTerm> kGroupedModel = {
    {"IH", -35.2},     {"ID", 18.7},     {"NP", -9.6, true}, {"CH", 24.3, true},
    {"ME", 42.1},      {"MA", -27.5, true}, {"TF", 11.4},    {"HDCH2", 3.9},
    {"FO", -6.8, true}};

class Unfit : public ::testing::Test {
 protected:
  ScratchDir dir;
  Session session{dir.path()};
  Engine& engine = session.engine();
  ObservationList& list = engine.observations;

  void simulateAndFit(const RunShape& shape) {
    setModel(engine, kGroupedModel);
    fillRun(engine, shape);
    setAllCoefficients(engine, 0.0);
    session.run("FIT");
    session.run("FIT");
  }
};

TEST_F(Unfit, RestoresInputPositionsFromWhichTheModelReproducesTheFittedOnes) {
  RunShape shape;
  shape.noiseArcsec = 1.0;
  shape.flipFraction = 0.25;
  simulateAndFit(shape);
  const int n = shape.stars;
  const std::vector<double> inputHa(list.starHa, list.starHa + n);
  const std::vector<double> inputDec(list.starDec, list.starDec + n);
  const std::vector<double> fittedHa(list.starHaWork, list.starHaWork + n);
  const std::vector<double> fittedDec(list.starDecWork, list.starDecWork + n);
  for (int i = 0; i < n; ++i) list.starHa[i] = list.starDec[i] = 0.0;

  EXPECT_EQ(session.run("UNFIT"), "* UNFIT\n");
  const double bound = 1e-10;  // radians: the square root of the convergence bound
  for (int i = 0; i < n; ++i) {
    EXPECT_NEAR(std::remainder(list.starHa[i] - inputHa[i], 2.0 * kPi) * std::cos(inputDec[i]),
                0.0, bound);
    EXPECT_NEAR(list.starDec[i], inputDec[i], bound);
  }
  // The working positions are the fit's; FIT N applies the model again.
  EXPECT_EQ(std::vector<double>(list.starHaWork, list.starHaWork + n), fittedHa);
  for (int i = 0; i < n; ++i) list.starHaWork[i] = list.starDecWork[i] = 0.0;
  session.run("FIT N");
  for (int i = 0; i < n; ++i) {
    EXPECT_NEAR(std::remainder(list.starHaWork[i] - fittedHa[i], 2.0 * kPi) *
                    std::cos(fittedDec[i]),
                0.0, bound);
    EXPECT_NEAR(list.starDecWork[i], fittedDec[i], bound);
    EXPECT_EQ(list.status[i], kStatusActive);
  }
}

TEST_F(Unfit, UnfitNAndAnEmptyModelCopyTheFittedPair) {
  RunShape shape;
  shape.stars = 20;
  simulateAndFit(shape);
  EXPECT_EQ(session.run("UNFIT N"), "* UNFIT N\n");
  for (int i = 0; i < shape.stars; ++i) {
    EXPECT_EQ(list.starHa[i], list.starHaWork[i]);
    EXPECT_EQ(list.starDec[i], list.starDecWork[i]);
  }
  list.starHaWork[3] += 1e-3;
  session.run("LOSE");
  session.run("UNFIT");
  for (int i = 0; i < shape.stars; ++i) {
    EXPECT_NEAR(list.starHa[i], list.starHaWork[i], 1e-14);
    EXPECT_NEAR(list.starDec[i], list.starDecWork[i], 1e-14);
  }
}

TEST_F(Unfit, UnderAdjustStarsTheTelescopeInputIsRestored) {
  session.run("ADJUST S");
  RunShape shape;
  shape.stars = 50;
  shape.flipFraction = 0.25;
  simulateAndFit(shape);
  const std::vector<double> telHa(list.telHa, list.telHa + shape.stars);
  const std::vector<double> starHa(list.starHa, list.starHa + shape.stars);
  for (int i = 0; i < shape.stars; ++i) list.telHa[i] = 0.0;
  session.run("UNFIT");
  for (int i = 0; i < shape.stars; ++i) {
    EXPECT_NEAR(std::remainder(list.telHa[i] - telHa[i], 2.0 * kPi), 0.0, 1e-9);
    EXPECT_EQ(list.starHa[i], starHa[i]);
  }
}

TEST_F(Unfit, BadArgumentsEmptyListsAndUnusableObservations) {
  EXPECT_EQ(session.run("UNFIT Y"), "* UNFIT Y\nBad argument!\n?\n");
  EXPECT_EQ(session.run("UNFIT N 2"), "* UNFIT N 2\nBad argument!\n?\n");
  EXPECT_EQ(session.run("UNFIT"), "* UNFIT\n");  // nothing to do

  // At the pole a star on the celestial equator is on the horizon, where
  // TX cannot be evaluated: that observation is withdrawn and kept as it was.
  setModel(engine, {{"IH", 5.0}, {"TX", 2.0}});
  RunShape shape;
  shape.stars = 10;
  shape.latitudeDegrees = 90.0;
  fillRun(engine, shape);
  engine.run.sinLat = 1.0;
  engine.run.cosLat = 0.0;
  list.starDecWork[2] = 0.0;
  const double ha = list.starHa[2];
  const double dec = list.starDec[2];
  EXPECT_EQ(session.run("UNFIT"), "* UNFIT\n");
  EXPECT_EQ(list.status[2], kStatusMasked);
  EXPECT_EQ(list.starHa[2], ha);
  EXPECT_EQ(list.starDec[2], dec);
  EXPECT_EQ(list.status[3], kStatusActive);
}

}  // namespace
}  // namespace zenfit::test
