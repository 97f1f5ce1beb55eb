// Model files: what OUTMOD writes, INMOD brings back.
#include <gtest/gtest.h>

#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

TEST(ModelFiles, RoundTripRestoresOrderFlagsValuesAndSigmasToThePrintedPrecision) {
  ScratchDir dir;
  Session session(dir.path());
  Model& model = session.engine().model;
  session.run("USE IH HXSH2 NP PDZ2");
  session.run("PARAL NP");
  const char* names[] = {"IH", "HXSH2", "NP", "PDZ2"};
  const double values[] = {12.345678, -0.00004, 1234.56789, -7.5};  // arcseconds
  const double sigmas[] = {0.123456, 0.0000049, 2000.0, 0.5};
  for (int i = 0; i < 4; ++i) {
    model.coefValue[i] = values[i] * kRadianPerArcsec;
    model.coefSigma[i] = sigmas[i] * kRadianPerArcsec;
  }
  session.run("OUTMOD round");
  session.run("LOSE");
  EXPECT_EQ(session.run("INMOD round").find('?'), std::string::npos);
  for (int i = 0; i < 4; ++i) {
    EXPECT_STREQ(termName(session.engine().terms, model.termNumber[i]), names[i]);
    EXPECT_NEAR(model.coefValue[i] * kArcsecPerRadian, values[i], 0.5e-4) << names[i];
    EXPECT_NEAR(model.coefSigma[i] * kArcsecPerRadian, sigmas[i], 0.5e-5) << names[i];
    EXPECT_EQ(model.floating[i], 1) << names[i];
    EXPECT_EQ(model.chained[i], i == 2 ? 0 : 1) << names[i];
  }
  EXPECT_EQ(model.termNumber[4], 0);
}

}  // namespace
}  // namespace zenfit::test
