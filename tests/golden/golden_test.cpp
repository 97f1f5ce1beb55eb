// Golden sessions: each folder below tests/golden holds a command script
// (session.cmd), the exact text the engine must write for it (expected.out,
// the message-buffer text with plain LF line ends) and any files the session
// reads. The session runs in a scratch copy of the folder, in batch mode.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/session.h"

namespace zenfit::test {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> goldenCases() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(ZENFIT_GOLDEN_DIR)) {
    if (entry.is_directory() && fs::exists(entry.path() / "session.cmd")) {
      names.push_back(entry.path().filename().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

// The first line at which two texts differ, for a readable failure.
std::string firstDifference(const std::string& expected, const std::string& actual) {
  std::istringstream e(expected);
  std::istringstream a(actual);
  std::string le;
  std::string la;
  for (int line = 1;; ++line) {
    const bool he = static_cast<bool>(std::getline(e, le));
    const bool ha = static_cast<bool>(std::getline(a, la));
    if (!he && !ha) return "texts differ only in their final line end";
    if (!he || !ha || le != la) {
      return "line " + std::to_string(line) + ":\n  expected: [" + (he ? le : "<end>") +
             "]\n  actual:   [" + (ha ? la : "<end>") + "]";
    }
  }
}

class GoldenSession : public ::testing::TestWithParam<std::string> {};

TEST_P(GoldenSession, ProducesExactText) {
  const fs::path source = fs::path(ZENFIT_GOLDEN_DIR) / GetParam();
  ScratchDir scratch;
  scratch.copyFrom(source.string());
  const std::string expected = readFile((source / "expected.out").string());
  const std::string actual = runBatchSession(scratch.path(), "session.cmd");
  if (actual != expected) {
    // Kept beside the build for a line-by-line review; never copied back blindly.
    const fs::path review = fs::current_path() / ("golden-" + GetParam() + ".actual");
    std::ofstream(review) << actual;
    FAIL() << GetParam() << ": " << firstDifference(expected, actual)
           << "\n(actual text written to " << review.string() << ")";
  }
}

INSTANTIATE_TEST_SUITE_P(Sessions, GoldenSession, ::testing::ValuesIn(goldenCases()),
                         [](const auto& info) { return info.param; });

}  // namespace
}  // namespace zenfit::test
