// The block evaluation (model/evaluator.h) against evaluateTerm, the
// definition: every standard term and generic names of every kind, alone
// and in chains with parallel runs, both ADJUST senses, over the pole and
// not, north and south, with small coefficients and with large ones (whose
// shifts leave the Taylor series); the same failures; lanes that do not
// see each other; and the wide loops' results, derivatives too, those of
// the baseline ones. (The derivatives against the one-sided differences of
// evaluateTerm are FIT's design matrix, held to them in fit_route_test.cpp.)
#include "model/evaluator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "astro/vectors.h"
#include "model/generic.h"
#include "model/model.h"

namespace zenfit::test {
namespace {

constexpr int B = kPlaceBlock;

// Generic names: each coordinate and each quantity letter, multiples from
// none to 360, two factors, and polynomials.
const char* const kGenericNames[] = {
    "HHSH",   "HXCH2", "HDSD", "HDCD3", "HASA", "HSCA2",  "HZSZ",    "HZCZ4",   "HUSQ",
    "HLCQ2",  "HPCH",  "HNSA", "HWCD",  "HVCZ", "HHSH40", "HHSH360", "HDSH2CD", "HXSHCD2",
    "HUSZCQ", "PHH",   "PDZ2", "PXH2D", "PAQ",  "PXH2D3", "PSA2",    "PZZ",
};

struct Place {
  double v[3];
  double aux[3];
  int pier;
};

class BlockEvaluation : public ::testing::Test {
 protected:
  TermTable terms;
  std::mt19937_64 random{2024};

  void SetUp() override {
    loadTermNames(terms);
    for (const char* name : kGenericNames) ASSERT_GT(resolveTermName(terms, name, 1, nullptr), 0);
  }

  EvaluationContext context(double latitude, AdjustSense sense) const {
    RunState run;
    run.sinLat = std::sin(latitude);
    run.cosLat = std::cos(latitude);
    return evaluationContext(terms, run, sense);
  }

  // Places spread over the whole sphere, a third of them over the pole.
  std::vector<Place> places(int count) {
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    std::vector<Place> all(count);
    for (Place& p : all) {
      sphericalToVector(kPi * uniform(random), std::asin(uniform(random)), p.v);
      p.aux[0] = 2.0 * uniform(random);
      p.aux[1] = uniform(random);
      p.aux[2] = 0.0;
      p.pier = uniform(random) > 0.33 ? 0 : 1;
    }
    return all;
  }

  // The places as the evaluator takes them, in one block.
  static void load(const std::vector<Place>& at, LaneData& lanes, DirectionBlock& v) {
    lanes.count = static_cast<int>(at.size());
    for (int i = 0; i < B; ++i) {
      const Place& p = at[std::min<std::size_t>(i, at.size() - 1)];
      lanes.flip[i] = p.pier != 0 ? -1.0 : 1.0;
      lanes.aux1[i] = p.aux[0];
      lanes.aux2[i] = p.aux[1];
      v.x[i] = p.v[0];
      v.y[i] = p.v[1];
      v.z[i] = p.v[2];
    }
  }

  // The model applied to the places by the block evaluator; failed marks
  // the lanes that failed.
  std::vector<Place> applyBlock(const EvaluationContext& c, const Model& model,
                                std::vector<Place> at, std::vector<bool>& failed) const {
    LaneData lanes;
    DirectionBlock v;
    load(at, lanes, v);
    bool fail[B] = {};
    ModelEvaluator(c, model).apply(lanes, v, fail);
    failed.assign(fail, fail + at.size());
    for (std::size_t i = 0; i < at.size(); ++i) {
      at[i].v[0] = v.x[i];
      at[i].v[1] = v.y[i];
      at[i].v[2] = v.z[i];
    }
    return at;
  }

  static Model oneTerm(int term, double value) {
    Model model;
    model[0] = ModelEntry{term, value, -1.0, 1, 1};
    return model;
  }
};

double distance(const double a[3], const double b[3]) {
  return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

TEST_F(BlockEvaluation, EveryTermMovesEveryPlaceAsTheDefinitionDoes) {
  const std::vector<Place> at = places(B);
  for (const double latitude : {0.5, -0.9}) {
    for (const AdjustSense sense : {AdjustSense::Telescope, AdjustSense::Stars}) {
      const EvaluationContext c = context(latitude, sense);
      for (int term = 1; term <= terms.termNameCount; ++term) {
        // Arcseconds to a third of a radian: the larger shifts go past the
        // Taylor series to std::sin and std::cos.
        for (const double value : {3e-5, -2e-3, 0.3}) {
          SCOPED_TRACE(testing::Message() << terms.name(term) << " " << value << " at " << latitude
                                          << " sense " << int(sense));
          std::vector<bool> failed;
          const std::vector<Place> got = applyBlock(c, oneTerm(term, value), at, failed);
          for (int i = 0; i < B; ++i) {
            double want[3] = {at[i].v[0], at[i].v[1], at[i].v[2]};
            const int status = evaluateTerm(c, term, value, at[i].aux, at[i].pier, at[i].v, want);
            ASSERT_EQ(failed[i], status < 0) << "lane " << i;
            if (status < 0) continue;
            // A few units in the last place, and a shift's error in
            // proportion to it: some 1e-16 of a multiplier (cot E of TX
            // is large near the horizon), n times that for sin(n h) of
            // the gear terms (n = 40) and HHSH360.
            const std::string name = terms.name(term);
            const double relative = name.find("360") != std::string::npos ? 3e-13
                                    : name.find("GE") == 1 || name.find("40") != std::string::npos
                                        ? 5e-14
                                        : 2e-14;
            const double bound = 1e-15 + relative * std::fabs(value);
            EXPECT_LT(distance(got[i].v, want), bound) << "lane " << i;
          }
        }
      }
    }
  }
}

TEST_F(BlockEvaluation, ChainsAreTheModelAppliedTermByTermAndFailWhereItFails) {
  // Chained and parallel entries mixed, a parallel first entry, a held
  // term and an entry whose number is no term at all (which does nothing);
  // TX, in parallel with the first entry, fails on the horizon (cot E).
  Model model;
  useTerms(model, terms,
           readTermList(terms, "IH TX ID CH NP ME MA TF HXSH2 AN AW HDSH2CD PDZ2 FO NRX CA"));
  parallelTerms(model, readTermList(terms, "IH TX MA TF AW NRX"));
  const int count = model.inUse();
  for (int i = 0; i < count; ++i) model[i].value = (0.7 * i - 4.0) * 4.8e-5;
  model[7].floating = 0;
  model[count] = ModelEntry{terms.termNameCount + 1, 0.1, -1.0, 1, 1};
  model[count + 1] = ModelEntry{};
  std::vector<Place> at = places(B);
  at[3].v[0] = 0.6;
  at[3].v[1] = 0.8;
  at[3].v[2] = 0.0;
  for (const AdjustSense sense : {AdjustSense::Telescope, AdjustSense::Stars}) {
    const EvaluationContext c = context(0.4, sense);
    std::vector<bool> failed;
    const std::vector<Place> got = applyBlock(c, model, at, failed);
    for (int i = 0; i < B; ++i) {
      Observation o;
      o.pierFlag = at[i].pier;
      std::copy(at[i].aux, at[i].aux + 3, o.aux);
      double want[3] = {at[i].v[0], at[i].v[1], at[i].v[2]};
      ASSERT_EQ(applyModelTerms(c, model, o, want) < 0, i == 3) << i;
      EXPECT_EQ(failed[i], i == 3) << i;
      if (i != 3) {
        EXPECT_LT(distance(got[i].v, want), 1e-14) << "lane " << i;
      }
    }
  }
  // A coefficient that is not a number, and a generic name that does not
  // read as its template, fail everywhere.
  const EvaluationContext c = context(0.3, AdjustSense::Telescope);
  std::vector<bool> failed;
  applyBlock(c, oneTerm(terms.find("TX"), std::nan("")), at, failed);
  EXPECT_EQ(std::count(failed.begin(), failed.end(), true), B);
  TermTable broken = terms;
  std::snprintf(broken.templates[terms.find("HHSH") - 1], kTermNameSize, "%s", "HRFCII");
  const EvaluationContext b = evaluationContext(broken, RunState{}, AdjustSense::Telescope);
  applyBlock(b, oneTerm(terms.find("HHSH"), 1e-4), at, failed);
  EXPECT_EQ(std::count(failed.begin(), failed.end(), true), B);
}

TEST_F(BlockEvaluation, TheWideLoopsGiveTheBaselineResultsToTheLastBit) {
  Model model;
  useTerms(model, terms, readTermList(terms, "IH ID CH NP ME MA TF TX IA IE CA NPAE AN AW NRX"));
  useTerms(model, terms, readTermList(terms, "NRY HGES DGEC CD5A HFX HFD AUX1S HHSH360 PDZ2 HUCQ"));
  parallelTerms(model, readTermList(terms, "MA IE AW HFD"));
  int column[kMaxModelTerms];
  for (int i = 0; i < model.inUse(); ++i) {
    model[i].value = (i % 7 - 3) * (i % 2 == 0 ? 1e-4 : 0.2);  // some shifts past the series
    column[i] = i;
  }
  const EvaluationContext c = context(-0.6, AdjustSense::Stars);
  const std::vector<Place> at = places(B);
  LaneData lanes;
  DirectionBlock v[2];
  load(at, lanes, v[0]);
  v[1] = v[0];
  std::vector<double> rows[2];
  bool failed[2][B] = {};
  for (int wide = 0; wide < 2; ++wide) {
    ModelEvaluator evaluator(c, model);
    evaluator.useWideVectors(wide == 1);
    rows[wide].assign(3 * B * model.inUse(), 0.0);
    evaluator.differentiate(lanes, v[wide], failed[wide],
                            {rows[wide].data(), model.inUse(), column});
  }
  EXPECT_EQ(std::memcmp(&v[0], &v[1], sizeof v[0]), 0);
  EXPECT_EQ(std::memcmp(failed[0], failed[1], sizeof failed[0]), 0);
  EXPECT_EQ(std::memcmp(rows[0].data(), rows[1].data(), rows[0].size() * sizeof(double)), 0);
}

}  // namespace
}  // namespace zenfit::test
