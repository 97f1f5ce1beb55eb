// Engines are independent: two of them run the example session at once,
// in two threads and two folders, and each says and writes exactly what
// one engine alone does. Built also under ThreadSanitizer, which reports
// any state the two share.
#include <gtest/gtest.h>

#include <thread>

#include "support/session.h"

namespace zenfit::test {
namespace {

struct Outcome {
  std::string transcript;
  std::string model;  // the model file the session writes
};

Outcome runExample(const ScratchDir& dir) {
  dir.copyFrom(ZENFIT_SOURCE_DIR "/examples");
  Outcome outcome;
  outcome.transcript = runBatchSession(dir.path(), "session.cmd");
  outcome.model = dir.read("model.dat");
  return outcome;
}

TEST(TwoEngines, RunTheExampleAtOnceInTwoFoldersAndSayTheSame) {
  const ScratchDir alone;
  const Outcome reference = runExample(alone);
  ASSERT_NE(reference.transcript.find("Popn SD"), std::string::npos) << reference.transcript;

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
}

}  // namespace
}  // namespace zenfit::test
