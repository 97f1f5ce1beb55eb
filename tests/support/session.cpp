#include "support/session.h"

#include <gtest/gtest.h>

#include "plot/memory_device.h"

namespace zenfit::test {

namespace {

// cairo and fontconfig keep the fonts of the plots for the life of the
// process; freed when every test is done, so that the leak check of the
// sanitizer build sees only real leaks.
class FontCaches : public ::testing::Environment {
 public:
  void TearDown() override { plot::releaseFontCaches(); }
};
::testing::Environment* const kFontCaches = ::testing::AddGlobalTestEnvironment(new FontCaches);

}  // namespace

void ScratchDir::copyFrom(const std::string& folder) const {
  using enum std::filesystem::copy_options;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_regular_file()) copy_file(entry, file(entry.path().filename()), overwrite_existing);
  }
}

Session::Session(const std::string& folder, const char* input)
    : folder_(folder), engine_(std::make_unique<Engine>()) {
  engine_->workdir = folder_;
  engine_->hooks.output = &captured_;
  if (input != nullptr && input[0] != '\0') {
    input_.reset(std::fopen((folder_ + "/" + input).c_str(), "r"));
    lines_ = std::make_unique<StreamInput>(input_.get());
    engine_->hooks.input = lines_.get();
  }
  status_ = startEngine(*engine_, {});
  startup_ = captured_.text();
}

Session::~Session() { shutdownEngine(*engine_); }

std::string Session::run(const std::string& line) {
  const std::size_t before = captured_.text().size();
  runLine(*engine_, line.c_str());
  return captured_.text().substr(before);
}

std::string Session::runAll(const std::string& lines) {
  std::string out;
  std::istringstream in(lines);
  for (std::string line; std::getline(in, line);) out += run(line);
  return out;
}

std::string runBatchSession(const std::string& folder, const std::string& script) {
  Session batch(folder, script.c_str());
  if (batch.startupStatus() == 0) batch.run("$");  // "$" runs the command file to its end
  return batch.transcript();
}

}  // namespace zenfit::test
