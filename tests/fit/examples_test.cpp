// The shipped example sessions, run as the README runs them, and the
// simulated files of the examples and the golden sessions, which must stay
// what their descriptions make.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>
#include <string>

#include "simulator.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

const std::string kSource = ZENFIT_SOURCE_DIR;

TEST(ShippedRuns, AreWhatTheirDescriptionsMake) {
  for (const char* description :
       {"examples/equatorial.sim", "examples/altaz.sim", "tests/fit/data/golden_run.sim",
        "tests/fit/data/equator.sim"}) {
    sim::Description d;
    sim::CatalogueText catalogue;
    sim::SimulatedRun run;
    std::string error;
    ASSERT_TRUE(sim::readDescription(kSource + "/" + description, d, error)) << error;
    ASSERT_TRUE(sim::simulateDescription(d, catalogue, run, error)) << error;
    EXPECT_EQ(run.text, readFile(d.output)) << description << " no longer makes " << d.output;
  }
}

struct Fitted {
  double value;
  double sigma;
};

// The table of the last FIT in a session's text: name -> value, sigma.
std::map<std::string, Fitted> lastFit(const std::string& text) {
  std::map<std::string, Fitted> table;
  const std::string heading = "       coeff       change     value    sigma\n\n";
  const std::size_t at = text.rfind(heading);
  if (at == std::string::npos) return table;
  std::istringstream lines(text.substr(at + heading.size()));
  for (std::string line; std::getline(lines, line) && !line.empty();) {
    if (line.size() > 6 && line[6] == '&') line[6] = ' ';
    int number = 0;
    char name[9] = "";
    double change = 0.0;
    Fitted f{};
    if (std::sscanf(line.c_str(), "%d %8s %lf %lf %lf", &number, name, &change, &f.value,
                    &f.sigma) == 5) {
      table[name] = f;
    }
  }
  return table;
}

// Runs an example session in a scratch copy of examples/ and checks that
// every fitted term is within three sigma of the value the description
// gave it, and that the population SD is the noise's (one coordinate's
// noise sigma is sqrt(2) times less than the sky's).
void checkExample(const char* script, const char* description, const char* model,
                  int observations) {
  ScratchDir dir;
  dir.copyFrom(kSource + "/examples");
  const std::string out = runBatchSession(dir.path(), script);
  EXPECT_EQ(out.find("ejected"), std::string::npos) << out;
  EXPECT_EQ(out.find("\n?\n"), std::string::npos) << "a command failed:\n" << out;
  // The model file's statistics record counts every observation.
  char statistics[16];
  std::snprintf(statistics, sizeof statistics, "\nT%5d ", observations);
  EXPECT_NE(dir.read(model).find(statistics), std::string::npos) << dir.read(model);

  sim::Description d;
  std::string error;
  ASSERT_TRUE(sim::readDescription(kSource + "/examples/" + description, d, error)) << error;
  const std::map<std::string, Fitted> fitted = lastFit(out);
  ASSERT_GE(fitted.size(), 7u) << out;
  for (const sim::ModelTerm& t : d.plan.model) {
    const auto f = fitted.find(t.name);
    if (f == fitted.end()) continue;  // a term of the mount that the model leaves out
    EXPECT_LT(std::fabs(f->second.value - t.arcsec), 3.0 * f->second.sigma + 0.01) << t.name;
  }
  double popSd = 0.0;
  const std::size_t at = out.rfind("Popn SD =");
  ASSERT_NE(at, std::string::npos);
  std::sscanf(out.c_str() + at, "Popn SD =%lf", &popSd);
  EXPECT_NEAR(popSd, d.plan.noiseArcsec * std::sqrt(2.0), 0.25 * d.plan.noiseArcsec);
}

TEST(Examples, EquatorialSessionFitsItsMountWithinThreeSigma) {
  checkExample("session.cmd", "equatorial.sim", "model.dat", 170);
}

TEST(Examples, AltazimuthSessionFitsItsMountWithinThreeSigma) {
  checkExample("altaz.cmd", "altaz.sim", "altmod.dat", 160);
}

}  // namespace
}  // namespace zenfit::test
