// Engines are independent: two of them run the example session at once,
// in two threads and two folders, and each says and writes exactly what
// one engine alone does, its plots included (cairo and fontconfig are
// shared by the two, and must draw the same pixels). Built also under
// ThreadSanitizer, which reports any state the two share.
#include <gtest/gtest.h>

#include <thread>

#include "support/session.h"

// cairo hands recently freed objects (contexts, patterns) from one thread
// to another through lock-free pools, by compare-and-swap in code that
// ThreadSanitizer does not see; what the engines themselves share, it
// still reports.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions() { return "race:libcairo.so\n"; }

namespace zenfit::test {
namespace {

struct Outcome {
  std::string transcript;
  std::string model;  // the model file the session writes
  std::string plots;  // the PNG files of its plots, one after the other
};

Outcome runExample(const ScratchDir& dir) {
  dir.copyFrom(ZENFIT_SOURCE_DIR "/examples");
  Outcome outcome;
  outcome.transcript = runBatchSession(dir.path(), "session.cmd");
  outcome.model = dir.read("model.dat");
  for (const char* png : {"gem-001.png", "gem-002.png", "gem-003.png", "gem-004.png"}) {
    outcome.plots += dir.read(png);
  }
  return outcome;
}

TEST(TwoEngines, RunTheExampleAtOnceInTwoFoldersAndSayTheSame) {
  const ScratchDir alone;
  const Outcome reference = runExample(alone);
  ASSERT_NE(reference.transcript.find("Popn SD"), std::string::npos) << reference.transcript;
  ASSERT_NE(reference.transcript.find("Plot written to gem-004.png"), std::string::npos);

  const ScratchDir first, second;
  Outcome a, b;
  std::thread one([&] { a = runExample(first); });
  std::thread two([&] { b = runExample(second); });
  one.join();
  two.join();
  EXPECT_EQ(a.transcript, reference.transcript);
  EXPECT_EQ(b.transcript, reference.transcript);
  EXPECT_EQ(a.model, reference.model);
  EXPECT_EQ(b.model, reference.model);
  EXPECT_TRUE(a.plots == reference.plots);  // not printed: megabytes of PNG
  EXPECT_TRUE(b.plots == reference.plots);
}

}  // namespace
}  // namespace zenfit::test
