// The pointing-run simulator: the files it writes, and runs that fit back
// to the model that made them.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "data/decode.h"
#include "fit/pointing_run.h"
#include "simulator.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

const std::vector<sim::ModelTerm> kModel = {
    {"IH", -35.2}, {"ID", 18.7}, {"CH", 24.3}, {"NP", -9.6, true}, {"ME", 42.1}, {"MA", -27.5},
    {"TF", 11.4},  {"FO", -6.8}, {"HF", 5.2},  {"HDCH2", 3.9},     {"AUX1H", 1.5}};

sim::RunPlan equatorialSpec() {
  sim::RunPlan plan;
  plan.observations = 250;
  plan.intervalMinutes = 3.0;
  plan.meanPlaceShare = 0.3;
  plan.besselianShare = 0.5;
  plan.apparentShare = 0.1;
  plan.flippedShare = 0.25;
  plan.decimals = 6;
  plan.aux1 = true;
  plan.aux1First = 9.0;
  plan.aux1Last = 2.0;
  plan.model = kModel;
  return plan;
}

std::vector<std::string> recordsOf(const std::string& text) {
  std::vector<std::string> records;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) records.push_back(line);
  return records;
}

int fieldCount(const std::string& text) {
  double values[kMaxFields];
  int statuses[kMaxFields];
  int kinds[kMaxFields];
  return splitFields(text.c_str(), values, statuses, kinds);
}

// The simulated observations put into the list as the reader stores them.
void load(Engine& engine, const sim::SimulatedRun& run, double latitude) {
  engine.run.sinLat = std::sin(latitude);
  engine.run.cosLat = std::cos(latitude);
  engine.run.obsPresent = 1;
  ObservationList& list = engine.observations;
  int i = 0;
  for (const sim::SimulatedObservation& o : run.observations) {
    list.status[i] = kStatusActive;
    list.pierFlag[i] = o.pierFlag;
    list.starHa[i] = list.starHaWork[i] = o.starHa;
    list.starDec[i] = list.starDecWork[i] = o.starDec;
    list.telHa[i] = list.telHaWork[i] = o.telHa;
    list.telDec[i] = list.telDecWork[i] = o.telDec;
    list.aux[i][0] = o.aux1;
    list.aux[i][1] = list.aux[i][2] = 0.0;
    ++i;
  }
  list.status[i] = kStatusEndOfList;
}

double largestError(const Engine& engine, const std::vector<sim::ModelTerm>& model) {
  const std::vector<double> got = coefficients(engine);
  double worst = 0.0;
  for (std::size_t j = 0; j < model.size(); ++j) {
    worst = std::max(worst, std::fabs(got[j] - model[j].arcsec));
  }
  return worst;
}

class Simulator : public ::testing::Test {
 protected:
  ScratchDir dir;
  Session session{dir.path()};
  Engine& engine = session.engine();
  const sim::CatalogueText catalogue = sim::syntheticCatalogue(400, -40.0, 17);

  void fitBack(const sim::RunPlan& plan, const sim::SimulatedRun& run) {
    for (const sim::ModelTerm& t : plan.model) {
      session.run("USE " + t.name);
      if (t.parallel) session.run("PARAL " + t.name);
    }
    load(engine, run, (28.0 + 45.0 / 60.0 + 36.0 / 3600.0) * kDegree);
    session.run("FIT");
    session.run("FIT");
  }
};

TEST_F(Simulator, WritesEveryKindOfRecordTheReaderKnows) {
  const sim::RunPlan plan = equatorialSpec();
  sim::SimulatedRun run;
  std::string error;
  ASSERT_TRUE(sim::simulateRun(plan, catalogue, run, error)) << error;
  const std::vector<std::string> lines = recordsOf(run.text);
  ASSERT_EQ(lines.size(), run.observations.size() + 3);
  EXPECT_EQ(lines[0], "Simulated pointing run");
  EXPECT_EQ(lines[1], "+28 45 36.0 2024 3 14.85000 10.0 1013.2 0 0.50 0.55 0.0065");
  EXPECT_EQ(fieldCount(lines[1]), 12);
  EXPECT_EQ(lines.back(), "END");

  int catalogueStars = 0, meanPlaces = 0, apparent = 0, flipped = 0;
  for (std::size_t k = 0; k < run.observations.size(); ++k) {
    const std::string& record = lines[k + 2];
    ASSERT_LE(record.size(), 120u) << record;
    const sim::SimulatedObservation& o = run.observations[k];
    const bool named = record[0] == '*';
    const std::string fields = named ? record.substr(8) : record;
    const int count = fieldCount(fields);
    int telescope = 0;
    if (named) {
      ++catalogueStars;
      EXPECT_EQ(count, 9) << record;
      EXPECT_NE(catalogue.text().find("\n" + record.substr(1, 6) + " "), std::string::npos);
    } else if (count == 18) {
      ++meanPlaces;
      telescope = 9;
    } else {
      EXPECT_EQ(count, 15) << record;
      ++apparent;
      telescope = 6;
    }
    // The telescope's declination reads 90 degrees or more over the pole.
    double values[kMaxFields];
    int statuses[kMaxFields];
    int kinds[kMaxFields];
    splitFields(fields.c_str(), values, statuses, kinds);
    EXPECT_EQ(std::fabs(values[telescope + 3]) >= 90.0, o.pierFlag == 1) << record;
    flipped += o.pierFlag;
  }
  EXPECT_GT(catalogueStars, 120);
  EXPECT_GT(meanPlaces, 50);
  EXPECT_GT(apparent, 10);
  EXPECT_GT(flipped, 40);
  EXPECT_LT(flipped, 90);
  EXPECT_NE(run.text.find("B1950.0"), std::string::npos);
  EXPECT_NE(run.text.find("J2000.0"), std::string::npos);

  // A fixed seed makes a fixed file.
  sim::SimulatedRun again;
  ASSERT_TRUE(sim::simulateRun(plan, catalogue, again, error));
  EXPECT_EQ(again.text, run.text);
}

TEST_F(Simulator, NoiselessEquatorialRunFitsBackToItsModel) {
  const sim::RunPlan plan = equatorialSpec();
  sim::SimulatedRun run;
  std::string error;
  ASSERT_TRUE(sim::simulateRun(plan, catalogue, run, error)) << error;
  fitBack(plan, run);
  EXPECT_LT(largestError(engine, plan.model), 0.001);
  EXPECT_LT(engine.fit.skyRms / kArcsecond, 0.001);
}

TEST_F(Simulator, NoisyRunFitsWithinItsSigmasAndTheNoiseShowsInTheRms) {
  sim::RunPlan plan = equatorialSpec();
  plan.noiseArcsec = 1.0;
  plan.decimals = 2;  // as an observer writes them: 0.01 s and 0.1 arcsec
  sim::SimulatedRun run;
  std::string error;
  ASSERT_TRUE(sim::simulateRun(plan, catalogue, run, error)) << error;
  fitBack(plan, run);
  const std::vector<double> got = coefficients(engine);
  const std::vector<double> sigma = sigmas(engine);
  for (std::size_t j = 0; j < plan.model.size(); ++j) {
    EXPECT_LT(std::fabs(got[j] - plan.model[j].arcsec), 3.0 * sigma[j]) << plan.model[j].name;
  }
  EXPECT_NEAR(engine.fit.popSd / kArcsecond, std::sqrt(2.0), 0.15);
}

TEST_F(Simulator, AltazimuthRunWithHorizonRecordsFitsBackToItsModel) {
  sim::RunPlan plan;
  plan.mount = sim::Mount::Altazimuth;
  plan.observations = 150;
  plan.decimals = 6;
  plan.model = {{"IA", -52.0}, {"IE", 14.0}, {"CA", 21.0}, {"NPAE", -8.0},
                {"AN", 11.0},  {"AW", -6.5}, {"TF", 9.0},  {"HASA2", 2.5}};
  sim::SimulatedRun run;
  std::string error;
  ASSERT_TRUE(sim::simulateRun(plan, catalogue, run, error)) << error;
  for (const sim::SimulatedObservation& o : run.observations) {
    EXPECT_EQ(fieldCount(o.record), 4) << o.record;
    EXPECT_EQ(o.pierFlag, 0);
  }
  fitBack(plan, run);
  EXPECT_LT(largestError(engine, plan.model), 0.001);
}

TEST_F(Simulator, RefusesWhatItCannotSimulate) {
  sim::RunPlan plan = equatorialSpec();
  sim::SimulatedRun run;
  std::string error;
  plan.model.push_back({"NOTERM", 1.0});
  EXPECT_FALSE(sim::simulateRun(plan, catalogue, run, error));
  EXPECT_EQ(error, "bad term: NOTERM");
  plan = equatorialSpec();
  plan.latitude = "+28 75 00";
  EXPECT_FALSE(sim::simulateRun(plan, catalogue, run, error));
  plan = equatorialSpec();
  sim::CatalogueText headingOnly;
  headingOnly.lines = {"Name"};
  EXPECT_FALSE(sim::simulateRun(plan, headingOnly, run, error));
  EXPECT_EQ(error, "no usable star in the catalogue");
}

// Through the observation reader: the files read back to the very places
// the simulator reduced, and fit back to their models.
class SimulatedFiles : public ::testing::Test {
 protected:
  ScratchDir dir;
  Session session{dir.path()};
  Engine& engine = session.engine();
  const sim::CatalogueText catalogue = sim::syntheticCatalogue(400, -40.0, 17);

  sim::SimulatedRun read(const sim::RunPlan& plan) {
    sim::SimulatedRun run;
    std::string error;
    EXPECT_TRUE(sim::simulateRun(plan, catalogue, run, error)) << error;
    dir.write("cat.dat", catalogue.text());
    dir.write("run.dat", run.text);
    session.run("INST cat");
    const std::string out = session.run("INDAT run");
    EXPECT_EQ(out.find("rejected"), std::string::npos) << out;
    EXPECT_EQ(out.find("Rejected"), std::string::npos);
    return run;
  }

  void fitTwice(const std::vector<sim::ModelTerm>& model) {
    for (const sim::ModelTerm& t : model) {
      session.run("USE " + t.name);
      if (t.parallel) session.run("PARAL " + t.name);
    }
    session.run("FIT");
    session.run("FIT");
  }
};

TEST_F(SimulatedFiles, ReadBackToThePlacesTheSimulatorReduced) {
  const sim::SimulatedRun run = read(equatorialSpec());
  const ObservationList& list = engine.observations;
  ASSERT_EQ(observationCount(list), static_cast<int>(run.observations.size()));
  for (std::size_t i = 0; i < run.observations.size(); ++i) {
    const sim::SimulatedObservation& o = run.observations[i];
    EXPECT_NEAR(std::remainder(list.starHa[i] - o.starHa, 2.0 * kPi), 0.0, 1e-12) << o.record;
    EXPECT_NEAR(list.starDec[i], o.starDec, 1e-12) << o.record;
    EXPECT_NEAR(std::remainder(list.telHa[i] - o.telHa, 2.0 * kPi), 0.0, 1e-12) << o.record;
    EXPECT_NEAR(list.telDec[i], o.telDec, 1e-12) << o.record;
    EXPECT_EQ(list.pierFlag[i], o.pierFlag) << o.record;
    EXPECT_EQ(list.aux[i][0], o.aux1) << o.record;
  }
}

TEST_F(SimulatedFiles, AQuarterOverThePoleFitsAsWellAsNoneThroughTheReader) {
  for (double flipped : {0.0, 0.25}) {
    sim::RunPlan plan = equatorialSpec();
    plan.flippedShare = flipped;
    read(plan);
    session.run("LOSE");
    fitTwice(plan.model);
    EXPECT_LT(largestError(engine, plan.model), 0.001) << "flipped share " << flipped;
    EXPECT_LT(engine.fit.skyRms / kArcsecond, 0.001);
  }
}

TEST_F(SimulatedFiles, HorizonRecordsFitBackThroughTheReader) {
  sim::RunPlan plan;
  plan.mount = sim::Mount::Altazimuth;
  plan.observations = 150;
  plan.decimals = 6;
  plan.model = {{"IA", -52.0}, {"IE", 14.0}, {"CA", 21.0}, {"NPAE", -8.0},
                {"AN", 11.0},  {"AW", -6.5}, {"TF", 9.0},  {"HASA2", 2.5}};
  read(plan);
  fitTwice(plan.model);
  EXPECT_LT(largestError(engine, plan.model), 0.001);
}

}  // namespace
}  // namespace zenfit::test
