// The typed results the reports are made from: a fit's values, sigmas,
// statistics and correlations are the numbers its report prints; the
// residual table is the listing's; the observation list holds what the
// file said. A second consumer (a plot, the Python module, the browser)
// reads these, so they must agree with the text to the last printed digit.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "fit/residuals.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> all;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) all.push_back(line);
  return all;
}

std::string format(const char* pattern, double value) {
  char text[64];
  std::snprintf(text, sizeof text, pattern, value);
  return text;
}

class Example : public ::testing::Test {
 protected:
  ScratchDir dir;
  Session session{(dir.copyFrom(ZENFIT_SOURCE_DIR "/examples"), dir.path())};
  Engine& engine = session.engine();
};

TEST_F(Example, TheFitResultIsTheReportItPrints) {
  session.run("INDAT run");
  session.run("USE IH ID CH NP ME MA TF DAF");
  session.run("FIT");
  const std::vector<std::string> report = lines(session.run("FIT"));
  ASSERT_TRUE(engine.fit.last.has_value());
  const FitResult& fit = *engine.fit.last;
  EXPECT_EQ(fit.outcome, FitOutcome::Completed);
  ASSERT_EQ(fit.terms.size(), 8u);
  EXPECT_EQ(fit.fitted, 8);
  EXPECT_EQ(fit.stars, engine.observations.activeCount());

  // "  1     IH          -0.001    -35.21    0.109": change, value, sigma.
  for (const FittedTerm& term : fit.terms) {
    const std::string start = format("%3.0f", term.slot + 1.0) + "     ";
    const auto line = std::find_if(report.begin(), report.end(),
                                   [&](const std::string& l) { return l.starts_with(start); });
    ASSERT_NE(line, report.end()) << term.slot;
    EXPECT_EQ(line->substr(16), format("%+9.3f", term.change) +
                                    format("%+10.2f", term.value * kArcsecPerRadian) +
                                    format("%9.3f", term.sigma * kArcsecPerRadian));
    // The model holds what the fit found.
    EXPECT_EQ(engine.model[term.slot].value, term.value);
    EXPECT_EQ(engine.model[term.slot].sigma, term.sigma);
  }
  const std::string text = session.transcript();
  EXPECT_NE(text.find("Sky RMS =" + format("%7.2f", fit.skyRms * kArcsecPerRadian)), text.npos);
  EXPECT_NE(text.find("Popn SD =" + format("%7.2f", fit.popSd * kArcsecPerRadian)), text.npos);
  EXPECT_DOUBLE_EQ(fit.skyRms, std::sqrt(fit.sumSquares / fit.stars));
  EXPECT_EQ(engine.fit.skyRms, fit.skyRms);

  // The correlation rows: "ID       +0.0164" and so on, lower triangle.
  for (int i = 1; i < fit.fitted; ++i) {
    std::string row = engine.terms.name(engine.model[i].term);
    row.resize(8, ' ');
    for (int j = 0; j < i; ++j) {
      row += format("%+8.4f", fit.correlation(i, j));
      EXPECT_EQ(fit.correlation(i, j), fit.correlation(j, i));
    }
    EXPECT_NE(std::find(report.begin(), report.end(), row), report.end()) << row;
  }
}

TEST_F(Example, TheResidualTableIsTheListing) {
  session.run("INDAT run");
  session.run("USE IH ID CH NP ME MA TF DAF");
  session.run("FIT");
  session.run("MASK 3 4");
  const std::vector<std::string> listing = lines(session.run("SLIST"));
  const ResidualTable table = residualTable(engine.observations, engine.run);
  ASSERT_EQ(static_cast<int>(table.rows.size()), engine.observations.count());
  EXPECT_EQ(table.active, engine.observations.count() - 2);
  for (const ResidualRow& row : table.rows) {
    const std::string start = format("%4.0f", row.number) + (row.overPole ? "b" : " ");
    const auto line = std::find_if(listing.begin(), listing.end(),
                                   [&](const std::string& l) { return l.starts_with(start); });
    ASSERT_NE(line, listing.end()) << row.number;
    EXPECT_EQ(line->substr(31, 13),
              format("%7.1f", row.azimuth) + format("%6.1f", row.zenithDistance));
    if (!row.active) {
      EXPECT_EQ(line->size(), 44u) << *line;  // a masked star's line has no differences
      continue;
    }
    std::string differences;
    for (const double d : row.d) differences += format("%7.1f", d);
    EXPECT_EQ(line->substr(44), differences);
  }
  std::string rms = "                                        RMS  ";
  for (const double r : table.rms) rms += format("%7.2f", r);
  EXPECT_NE(std::find(listing.begin(), listing.end(), rms), listing.end()) << rms;
}

TEST_F(Example, TheObservationListHoldsWhatTheFileSaid) {
  session.run("INDAT run");
  const ObservationList& list = engine.observations;
  const std::vector<std::string> file = lines(dir.read("run.dat"));
  // Caption and run parameters, then one record a line up to END.
  ASSERT_EQ(list.count(), static_cast<int>(file.size()) - 3);
  EXPECT_EQ(engine.run.caption, file[0]);
  int overPole = 0;
  for (int i = 0; i < list.count(); ++i) {
    const std::string& record = file[2 + i];
    const Observation& o = list[i];
    EXPECT_EQ(o.status, kStatusActive);
    EXPECT_EQ(o.kind, record[0] == '*' ? kRecordCatalogueStar : kRecordProperMotion) << record;
    // A telescope declination of 90 degrees or more was read over the pole:
    // the record ends with the telescope's RA and Dec and the sidereal time.
    std::istringstream in(record);
    std::vector<std::string> fields;
    for (std::string field; in >> field;) fields.push_back(field);
    const double degrees = std::stod(fields[fields.size() - 5]);
    EXPECT_EQ(o.pierFlag, std::fabs(degrees) >= 90.0 ? 1 : 0) << record;
    overPole += o.pierFlag;
    EXPECT_EQ(o.starHaWork, o.starHa);
    EXPECT_EQ(o.telDecWork, o.telDec);
  }
  EXPECT_GT(overPole, 20);
  EXPECT_TRUE(list[list.count()].isEnd());
}

}  // namespace
}  // namespace zenfit::test
