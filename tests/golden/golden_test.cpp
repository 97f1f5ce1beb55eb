// Golden sessions: each folder below tests/golden holds a command script
// (session.cmd), the exact text the engine must write for it (expected.out,
// the message-buffer text with plain LF line ends) and any files the session
// reads. The session runs in a scratch copy of the folder, in batch mode.
#include <gtest/gtest.h>

#include <set>

#include "support/session.h"

namespace zenfit::test {
namespace {

std::set<std::string> goldenCases() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(ZENFIT_GOLDEN_DIR)) {
    if (exists(entry.path() / "session.cmd")) names.insert(entry.path().filename().string());
  }
  return names;
}

class GoldenSession : public ::testing::TestWithParam<std::string> {};

TEST_P(GoldenSession, ProducesExactText) {
  const std::string source = std::string(ZENFIT_GOLDEN_DIR) + "/" + GetParam();
  ScratchDir scratch;
  scratch.copyFrom(source);
  const std::string actual = runBatchSession(scratch.path(), "session.cmd");
  const std::string expected = readFile(source + "/expected.out");
  if (actual == expected) return;
  // Kept beside the build for a line-by-line review; never copied back blindly.
  std::ofstream("golden-" + GetParam() + ".actual") << actual;
  std::istringstream e(expected), a(actual);
  std::string le, la;
  int line = 1;
  while (bool(std::getline(e, le)) & bool(std::getline(a, la)) && le == la) ++line;
  FAIL() << "line " << line << ":\n  expected: [" << le << "]\n  actual:   [" << la
         << "]\n(whole text in golden-" << GetParam() << ".actual)";
}

INSTANTIATE_TEST_SUITE_P(Sessions, GoldenSession, ::testing::ValuesIn(goldenCases()),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace zenfit::test
