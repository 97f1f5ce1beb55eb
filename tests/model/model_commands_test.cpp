// The model commands as a host sees them: model state after each command,
// the coefficient and PARAL exports, and the term-info query.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

class ModelCommands : public ::testing::Test {
 protected:
  ScratchDir dir;
  Session session{dir.path()};
  Engine& engine = session.engine();
  Model& model = engine.model;

  int number(const char* name) {
    for (int i = 0; i < engine.terms.termNameCount; ++i) {
      if (std::string(engine.terms.names[i]) == name) return i + 1;
    }
    return 0;
  }
  int count() {
    int n = 0;
    while (n < kMaxModelTerms && model.termNumber[n] != 0) ++n;
    return n;
  }
};

TEST_F(ModelCommands, UseFloatsATermAlreadyPresentAndAppendsTheRestUnset) {
  session.run("USE IH");
  session.run("IH 5");
  session.run("FIX IH");
  EXPECT_EQ(session.run("USE IH ID"), "* USE IH ID\n");
  ASSERT_EQ(count(), 2);
  EXPECT_EQ(model.floating[0], 1);
  EXPECT_NEAR(model.coefValue[0] * kArcsecPerRadian, 5.0, 1e-12);
  EXPECT_EQ(model.termNumber[1], number("ID"));
  EXPECT_EQ(model.coefValue[1], 0.0);
  EXPECT_EQ(model.coefSigma[1], -1.0);
  EXPECT_EQ(model.chained[1], 1);
  EXPECT_EQ(model.floating[1], 1);
}

TEST_F(ModelCommands, LoseClosesTheGapMovingEveryColumn) {
  session.run("USE IH ID NP CH");
  model.coefValue[2] = 1e-5;
  model.coefSigma[2] = 2e-6;
  model.floating[2] = 0;
  model.chained[2] = 0;
  session.run("LOSE ID IH");
  ASSERT_EQ(count(), 2);
  EXPECT_EQ(model.termNumber[0], number("NP"));
  EXPECT_EQ(model.coefValue[0], 1e-5);
  EXPECT_EQ(model.coefSigma[0], 2e-6);
  EXPECT_EQ(model.floating[0], 0);
  EXPECT_EQ(model.chained[0], 0);
  EXPECT_EQ(model.termNumber[1], number("CH"));
}

TEST_F(ModelCommands, LoseOfTheWholeModelForgetsGenericNamesSoTheyAreNumberedAfresh) {
  session.run("USE HXSH2 PDZ2");
  EXPECT_EQ(model.termNumber[1], 56);
  session.run("LOSE");
  EXPECT_EQ(count(), 0);
  EXPECT_EQ(engine.terms.termNameCount, 54);
  EXPECT_EQ(session.run("HXSH2 1"), "* HXSH2 1\nUnrecognized command!\n?\n");
  session.run("USE PDZ2");
  EXPECT_EQ(model.termNumber[0], 55);
}

TEST_F(ModelCommands, ChainOfAnAbsentTermIsSilentWhileParalReportsItAsScriptsExpect) {
  session.run("USE IH");
  EXPECT_EQ(session.run("CHAIN ID"), "* CHAIN ID\n");
  EXPECT_EQ(session.run("PARAL ID"),
            "* PARAL ID\nTerm <ID> is not in model and has not been flagged!\n?\n");
  // And the other way round for a word that is no term at all.
  EXPECT_EQ(session.run("CHAIN XYZ"), "* CHAIN XYZ\nInvalid coefficient name: XYZ!\n?\n");
  EXPECT_EQ(session.run("PARAL XYZ"), "* PARAL XYZ\n?\n");
}

TEST_F(ModelCommands, ParalListsReachTheFirstFortyNineEntriesOnly) {
  std::string a = "USE", b = "USE";
  for (int n = 1; n <= 25; ++n) a += std::string(" ") + engine.terms.names[n - 1];
  for (int n = 26; n <= 50; ++n) b += std::string(" ") + engine.terms.names[n - 1];
  session.run(a);
  session.run(b);
  ASSERT_EQ(count(), 50);
  EXPECT_EQ(parallelTerms(engine, "aux2s"), -1);  // entry 50
  EXPECT_EQ(model.chained[49], 1);
  EXPECT_EQ(parallelTerms(engine, "aux2a aux2d"), 0);
  EXPECT_EQ(model.chained[48], 0);
  EXPECT_EQ(model.chained[47], 0);
  EXPECT_EQ(parallelTerms(engine, ""), 0);
  EXPECT_EQ(model.chained[0], 0);
  EXPECT_EQ(model.chained[49], 0);
}

TEST_F(ModelCommands, TheCoefficientExportShowsAndSetsInRadians) {
  session.run("USE IH ID");
  session.run("FIX ID");
  model.coefSigma[0] = 1e-6;
  double value = 2e-5;
  EXPECT_EQ(setCoefficient(engine, "ih", 0, 1, &value), 0);
  EXPECT_EQ(model.coefValue[0], 2e-5);
  EXPECT_EQ(model.coefSigma[0], -1.0);
  EXPECT_EQ(model.floating[0], 1);
  value = 0.0;
  EXPECT_EQ(setCoefficient(engine, "IH", 0, 0, &value), 0);
  EXPECT_EQ(value, 2e-5);
  EXPECT_EQ(setCoefficient(engine, "NP", 1, 1, &value), -2);
  EXPECT_EQ(setCoefficient(engine, "NOPE", 1, 1, &value), -1);
  EXPECT_EQ(setCoefficient(engine, std::string(300, 'I').c_str(), 1, 0, &value), -1);
  EXPECT_EQ(setCoefficient(engine, ("IH" + std::string(250, ' ')).c_str(), 1, 0, &value), -1);
  EXPECT_EQ(setCoefficient(engine, "ID", 0, 1, nullptr), 0);
  EXPECT_EQ(model.floating[1], 0) << "flags are never changed";
  EXPECT_EQ(session.transcript().find("IH      :"), std::string::npos) << "report flag off";
}

TEST_F(ModelCommands, TheCoefficientCommandRefusesMalformedValues) {
  session.run("USE IH");
  for (const char* bad : {"IH 1E999", "IH NAN", "IH --1", "IH 1D400", "IH ,X"}) {
    EXPECT_EQ(session.run(bad), std::string("* ") + bad + "\nBad argument!\n?\n");
  }
  EXPECT_EQ(session.run("IH 1E2"), "* IH 1E2\nIH      :   old =   +0.00,   new = +100.00\n");
  // A huge value is printed in full, however long.
  const std::string huge = session.run("IH 1E90");
  EXPECT_EQ(huge.rfind("* IH 1E90\nIH      :   old = +100.00,   new =+1", 0), 0u);
  EXPECT_EQ(huge.size(),
            std::string("* IH 1E90\nIH      :   old = +100.00,   new =+").size() + 91 + 4);
}

TEST_F(ModelCommands, ResetClearsValuesAndSigmasAndGivesTheObservationsBackTheirInputPlaces) {
  session.run("USE IH ID");
  session.run("IH 3");
  model.coefSigma[1] = 1e-6;
  ObservationList& list = engine.observations;
  list.status[0] = 0;
  list.status[1] = 1;
  list.status[2] = -1;
  for (int i = 0; i < 2; ++i) {
    list.starHa[i] = 0.1 * i;
    list.starDec[i] = 0.2;
    list.telHa[i] = 0.3;
    list.telDec[i] = 0.4 * i;
    list.starHaWork[i] = list.starDecWork[i] = list.telHaWork[i] = list.telDecWork[i] = 9.0;
  }
  engine.run.obsPresent = 1;
  EXPECT_EQ(session.run("RESET"), "* RESET\n");
  EXPECT_EQ(count(), 2);
  EXPECT_EQ(model.coefValue[0], 0.0);
  EXPECT_EQ(model.coefSigma[1], -1.0);
  EXPECT_EQ(list.starHaWork[1], 0.1);
  EXPECT_EQ(list.starDecWork[0], 0.2);
  EXPECT_EQ(list.telHaWork[0], 0.3);
  EXPECT_EQ(list.telDecWork[1], 0.4);
}

TEST_F(ModelCommands, TermInfoGivesTheFlagsOfTermsInTheModelOnly) {
  session.run("USE IH ID");
  session.run("PARAL ID");
  session.run("FIX IH");
  std::int32_t floating = -7, chained = -7;
  EXPECT_EQ(termInfo(engine, "ih", &floating, &chained), 1);
  EXPECT_EQ(floating, 0);
  EXPECT_EQ(chained, 1);
  EXPECT_EQ(termInfo(engine, "ID NP", &floating, &chained), 2);
  EXPECT_EQ(floating, 1);
  EXPECT_EQ(chained, 0);
  floating = chained = -7;
  EXPECT_EQ(termInfo(engine, "NP", &floating, &chained), 4);
  EXPECT_EQ(floating, -7);
  EXPECT_EQ(termInfo(engine, "BOGUS", &floating, &chained), -1);
  EXPECT_EQ(termInfo(engine, "   ", &floating, &chained), 0);
  EXPECT_EQ(termInfo(engine, "HXSH3", &floating, &chained), 55) << "created as USE would";
  EXPECT_EQ(chained, -7);
}

TEST_F(ModelCommands, TermListsOfAnyLengthAndContentAreReadSafely) {
  // Long words are cut at 8 characters; the cut word is reported.
  EXPECT_EQ(session.run("USE " + std::string(190, 'Q')),
            "* USE " + std::string(190, 'Q') + "\nInvalid coefficient name: QQQQQQQQ !\n?\n");
  // More than 50 names: the first 50 are read.
  std::string many = "USE";
  for (int i = 0; i < 60; ++i) many += " IH";
  session.run(many.substr(0, 200));
  EXPECT_EQ(count(), 1);
  // Quotes and control characters are just part of a bad name.
  EXPECT_EQ(session.run("LOSE 'IH'"), "* LOSE 'IH'\nInvalid coefficient name: 'IH' !\n?\n");
  EXPECT_EQ(session.run("FIX \x01\x02"),
            "* FIX \x01\x02\nInvalid coefficient name: \x01\x02 !\n?\n");
  char bad[kTermNameSize];
  int list[kMaxModelTerms];
  EXPECT_EQ(readTermList(engine, std::string(5000, ' ').c_str(), list, bad), 0);
  EXPECT_EQ(list[0], 0);
}

}  // namespace
}  // namespace zenfit::test
