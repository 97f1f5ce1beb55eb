#include "support/session.h"

#include "command/startup.h"

namespace zenfit::test {

void ScratchDir::copyFrom(const std::string& folder) const {
  using enum std::filesystem::copy_options;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_regular_file()) copy_file(entry, file(entry.path().filename()), overwrite_existing);
  }
}

Session::Session(const std::string& folder, const char* input)
    : folder_(folder), engine_(std::make_unique<Engine>()) {
  WorkingDirectory here(folder_);
  StartupOptions options;
  options.inputName = input;
  options.sink = {this, [](void* self, const char* text, MessageKind) {
                    static_cast<Session*>(self)->captured_ += text;
                  }};
  status_ = startup(*engine_, options);
  startup_ = captured_;
}

Session::~Session() { shutdown(*engine_); }

std::string Session::run(const std::string& line) {
  WorkingDirectory here(folder_);
  const std::size_t before = captured_.size();
  runLine(*engine_, line.c_str());
  return captured_.substr(before);
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
