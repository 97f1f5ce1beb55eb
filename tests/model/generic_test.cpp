// Generic term names: the template grammar, the numbering of new names and
// the eight-character rule.
#include "model/generic.h"

#include <gtest/gtest.h>

#include <memory>

#include "engine.h"

namespace zenfit::test {
namespace {

TEST(GenericNames, FollowTheTemplateGrammarAndAreNumberedOnceInOrder) {
  auto engine = std::make_unique<Engine>();
  loadTermNames(*engine);
  const struct {
    const char* name;
    const char* slots;
  } good[] = {{"PXH2D3", "PRCICI"},   {"PAQ", "PRC"},          {"HHSH360", "HRFCIII"},
              {"HVCA", "HRFC"},       {"HXSH2CD", "HRFCIFC"}, {"HXSHCD2", "HRFCFCI"},
              {"HUSZCQ", "HRFCFC"}};
  for (const auto& c : good) {
    char matched[kTermNameSize] = "?";
    EXPECT_EQ(resolveTermName(*engine, c.name, 0, matched), 0) << c.name;
    EXPECT_STREQ(matched, c.slots) << c.name;
  }
  for (const char* bad : {"", "HX", "HXSB", "HQSH", "PXHD2", "PXH22", "hxsh2", "HXSH1234", "HX SH"}) {
    EXPECT_EQ(resolveTermName(*engine, bad, 1, nullptr), -1) << '"' << bad << '"';
  }
  // Eight-letter names fit HRFCFCII, HRFCIFCI or HRFCIIFC letter by letter
  // but are never generic terms: model files written over the years rely on
  // such names being refused.
  for (const char* name : {"HXSHCD12", "HXSH2CD3", "HXSH12CD"}) {
    EXPECT_EQ(resolveTermName(*engine, name, 1, nullptr), -1) << name;
  }
  EXPECT_EQ(engine->terms.termNameCount, 54) << "nothing added so far";
  EXPECT_EQ(resolveTermName(*engine, "HXSH2", 1, nullptr), 55);
  EXPECT_EQ(resolveTermName(*engine, "PDZ2", 1, nullptr), 56);
  EXPECT_EQ(resolveTermName(*engine, "HXSH2", 1, nullptr), 55);
  EXPECT_EQ(resolveTermName(*engine, "IH", 1, nullptr), 1);
}

}  // namespace
}  // namespace zenfit::test
