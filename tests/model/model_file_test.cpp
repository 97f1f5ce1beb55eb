// Model files: the statistics OUTMOD writes, the state INMOD restores, and
// files that are damaged in every way a file can be.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <sstream>
#include <string>

#include "model/generic.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

class ModelFiles : public ::testing::Test {
 protected:
  ScratchDir dir;
  Session session{dir.path()};
  Engine& engine = session.engine();
  Model& model = engine.model;

  // Reads a model file written into the scratch folder; returns the result.
  int load(const std::string& text, bool& failed) {
    dir.write("m.dat", text);
    std::FILE* file = std::fopen(dir.file("m.dat").c_str(), "r");
    const int result = readModelFile(engine, file, failed);
    std::fclose(file);
    return result;
  }

  std::string line(const std::string& text, int n) {
    std::istringstream in(text);
    std::string l;
    for (int i = 0; i <= n; ++i) std::getline(in, l);
    return l;
  }

  // One observation: the star at (h, d), the telescope dDec arcseconds
  // north of it.
  void observe(int slot, double h, double d, double dDecArcsec, int status, int pier = 0) {
    ObservationList& list = engine.observations;
    list.status[slot] = status;
    list.pierFlag[slot] = pier;
    list.starHa[slot] = list.starHaWork[slot] = h;
    list.starDec[slot] = list.starDecWork[slot] = d;
    list.telHa[slot] = list.telHaWork[slot] = h;
    list.telDec[slot] = list.telDecWork[slot] = d + dDecArcsec * kRadianPerArcsec;
    list.aux[slot][0] = list.aux[slot][1] = list.aux[slot][2] = 0.0;
    list.status[slot + 1] = -1;
  }
};

TEST_F(ModelFiles, TheStatisticsRecordIsTheSkyRmsOfTheModelOverTheActiveObservations) {
  engine.run.obsPresent = 1;
  engine.run.sinLat = std::sin(0.5);
  engine.run.cosLat = std::cos(0.5);
  engine.run.refA = 61.25 * kRadianPerArcsec;
  engine.run.refB = -0.0725 * kRadianPerArcsec;
  std::snprintf(engine.run.caption, sizeof engine.run.caption, "Run A");
  observe(0, 0.3, 0.2, 1.0, 1);
  observe(1, -0.8, 0.6, 2.0, 1);
  observe(2, 1.1, -0.3, 3.0, 1);
  observe(3, 0.1, 0.1, 500.0, 0);  // masked: not counted

  session.run("OUTMOD a");
  const std::string a = dir.read("a.dat");
  EXPECT_EQ(line(a, 0), "Run A");
  // sqrt((1 + 4 + 9) / 3) = 2.1602 arcseconds.
  EXPECT_EQ(line(a, 1), "T    3   2.1602   61.250  -0.0725");
  EXPECT_EQ(line(a, 2), "END");

  // ID 2 moves each star 2" north: residuals -1, 0, 1; and an observation
  // over the pole, whose telescope reads 2" low, is met exactly.
  observe(3, 0.1, 0.1, -2.0, 1, 1);
  session.run("USE ID");
  session.run("ID 2");
  session.run("OUTMOD b");
  const std::string b = dir.read("b.dat");
  EXPECT_EQ(line(b, 1), "T    4   0.7071   61.250  -0.0725");
  EXPECT_EQ(line(b, 2), "  ID         +2.0000");
  EXPECT_EQ(observationCount(engine.observations), 4) << "OUTMOD changes nothing";
}

TEST_F(ModelFiles, RoundTripRestoresOrderFlagsValuesAndSigmasToThePrintedPrecision) {
  session.run("USE IH HXSH2 NP PDZ2");
  session.run("PARAL NP");
  const double values[] = {12.345678, -0.00004, 1234.56789, -7.5};
  const double sigmas[] = {0.123456, 0.0000049, 2000.0, 0.5};
  for (int i = 0; i < 4; ++i) {
    model.coefValue[i] = values[i] * kRadianPerArcsec;
    model.coefSigma[i] = sigmas[i] * kRadianPerArcsec;
  }
  engine.run.refA = 58.0 * kRadianPerArcsec;
  session.run("OUTMOD round");
  session.run("LOSE");
  engine.run.refA = 0.0;
  EXPECT_EQ(session.run("INMOD round").find('?'), std::string::npos);

  const char* names[] = {"IH", "HXSH2", "NP", "PDZ2"};
  for (int i = 0; i < 4; ++i) {
    EXPECT_STREQ(termName(engine.terms, model.termNumber[i]), names[i]);
    EXPECT_NEAR(model.coefValue[i] * kArcsecPerRadian, values[i], 0.5e-4) << names[i];
    EXPECT_NEAR(model.coefSigma[i] * kArcsecPerRadian, sigmas[i], 0.5e-5) << names[i];
    EXPECT_EQ(model.floating[i], 1);
    EXPECT_EQ(model.chained[i], i == 2 ? 0 : 1);
  }
  EXPECT_EQ(model.termNumber[4], 0);
  EXPECT_EQ(engine.settings.adjustSense, 1);
  EXPECT_NEAR(engine.run.refA * kArcsecPerRadian, 58.0, 1e-9);
  EXPECT_EQ(engine.fit.popSd, -1.0) << "no observations: 0 - 4 floating terms";
}

TEST_F(ModelFiles, TheHeaderGivesTheSkyRmsAndThePopulationSd) {
  bool failed = true;
  const std::string head = "cap\nS   10   2.0000   10.000  -0.0100\n";
  EXPECT_EQ(load(head + "  IH        +1.0000     0.10000\n&=ID        +2.0000     0.20000\n"
                        " =NP        +3.0000     0.30000\nEND\n",
                 failed),
            0);
  EXPECT_FALSE(failed);
  EXPECT_EQ(engine.settings.adjustSense, 2);
  EXPECT_NEAR(engine.fit.skyRms * kArcsecPerRadian, 2.0, 1e-12);
  // One floating term: sqrt(10 * 2^2 / 9).
  EXPECT_NEAR(engine.fit.popSd * kArcsecPerRadian, std::sqrt(40.0 / 9.0), 1e-12);
  EXPECT_EQ(model.floating[1], 0);
  EXPECT_EQ(model.chained[1], 0);
  EXPECT_NEAR(model.coefSigma[2] * kArcsecPerRadian, 0.3, 1e-12) << "kept for fixed terms";
  EXPECT_NEAR(engine.run.refB * kArcsecPerRadian, -0.01, 1e-12);

  // As many floating terms as observations: the division by zero is kept.
  EXPECT_EQ(load("cap\nT    1   2.0000\n  IH        1 1\n", failed), 0);
  EXPECT_TRUE(std::isinf(engine.fit.popSd));
  // No count at all reads as 0 observations.
  EXPECT_EQ(load("cap\nT\n", failed), -3) << "but the RMS is required";
  EXPECT_EQ(load("cap\nT12345 1.5\n", failed), 0) << "a five-digit count touches the letter";
  EXPECT_NEAR(engine.fit.popSd * kArcsecPerRadian, 1.5, 1e-12);
}

TEST_F(ModelFiles, EveryDamagedFileGivesItsCodeAndAnEmptyModel) {
  const std::string head = "cap\nT   10   1.0000    0.000   0.0000\n";
  const std::string good = "  IH        +1.0000     0.10000\n";
  const struct {
    std::string text;
    int result;
  } cases[] = {
      {"", -2},
      {"\n\n! nothing\n", -2},
      {"END\n", -2},
      {"cap\n", -2},
      {"cap\nEND now\n", -2},
      {"cap\n" + std::string(1000, 'T') + "\n", -3},  // a long count field
      {"cap\nT 1E3 1 0 0\n", 0},
      {"cap\nT 1E999 1 0 0\n", -3},
      {"cap\nT 99999999999 1 0 0\n", -3},
      {"cap\nT 10 1D200 0 0\n", -3},
      {"cap\nT 10 1 -0.5 0\n", -3},
      {"cap\nT 10 1 0 nan\n", -3},
      {"cap\nQ\n", -3},
      {head + "X" + good.substr(1), -4},
      {head + " ?IH 1 1\n", -4},
      {head + "&\n", -4},
      {head + "  \x01\xff\n", -4},
      {head + "  IHXXXXXXX  1.0  0.1\n", -4},
      {head + "  IH      \n", -4},
      {head + "  IH       1.0\n", -4},
      {head + "  IH       1.0 0.1E999\n", -4},
      {head + "  IH       inf 0.1\n", -4},
      {head + good + "  IH       1.0  -\n", -4},
      // Only the first 200 characters of a line count: this one is blank.
      {head + good + std::string(500, ' ') + "x\n", 0},
  };
  for (const auto& c : cases) {
    session.run("USE IH ID");
    bool failed = false;
    const int result = load(c.text, failed);
    EXPECT_EQ(result, c.result) << '"' << c.text.substr(0, 60) << '"';
    EXPECT_EQ(failed, c.result != 0);
    if (c.result != 0) {
      EXPECT_EQ(model.termNumber[0], 0) << c.text.substr(0, 60);
    }
  }
}

TEST_F(ModelFiles, LongLinesAreCutAndRecordsBeyondFiftyAreLeftAside) {
  // A 300-character caption and a record padded far past the line length.
  std::string text = std::string(300, 'c') + "\nT   70   1.0000    0.000   0.0000\n";
  text += "  IH       1.0  0.1" + std::string(400, ' ') + "junk\n";
  for (int i = 1; i <= 59; ++i) {
    text += "  HXSH" + std::to_string(i % 10) + "    +1.0  0.1\n";
  }
  text += "  @@@@  not a record at all\nEND\n";
  bool failed = true;
  EXPECT_EQ(load(text, failed), 0);
  EXPECT_FALSE(failed);
  int count = 0;
  while (count < kMaxModelTerms && model.termNumber[count] != 0) ++count;
  EXPECT_EQ(count, 50);
  // 70 observations, 50 floating terms.
  EXPECT_NEAR(engine.fit.popSd * kArcsecPerRadian, std::sqrt(70.0 / 20.0), 1e-12);
}

TEST_F(ModelFiles, AFullNameTableRefusesTheModelAndReturnsTheObservationCount) {
  for (int i = 0; i < 45; ++i) {
    const std::string name = "HDS" + std::string(1, "HDAZQ"[i % 5]) + std::to_string(i / 5 + 1);
    resolveTermName(engine, name.c_str(), 1, nullptr);
  }
  bool failed = false;
  const std::string text = "cap\nT   17   1.0 0 0\n  HDSH1   +1.0 1.0\n  PDZ2    +1.0 1.0\nEND\n";
  EXPECT_EQ(load(text, failed), 17);
  EXPECT_TRUE(failed);
  EXPECT_EQ(model.termNumber[0], 0);
  EXPECT_EQ(session.run("INMOD m"),
            "* INMOD m\ncap\nT   17   1.0 0 0\n  HDSH1   +1.0 1.0\n"
            "  PDZ2    +1.0 1.0\nModel full!\n?\n");
}

}  // namespace
}  // namespace zenfit::test
