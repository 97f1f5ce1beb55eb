#include "support/session.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "command/startup.h"

namespace zenfit::test {

namespace fs = std::filesystem;

ScratchDir::ScratchDir() {
  std::string pattern = (fs::temp_directory_path() / "zenfit-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  path_ = pattern;
}

ScratchDir::~ScratchDir() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

void ScratchDir::write(const std::string& name, const std::string& content) const {
  std::ofstream out(file(name), std::ios::binary);
  out << content;
}

std::string ScratchDir::read(const std::string& name) const { return readFile(file(name)); }

bool ScratchDir::exists(const std::string& name) const { return fs::exists(file(name)); }

void ScratchDir::copyFrom(const std::string& folder) const {
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      fs::copy_file(entry.path(), fs::path(path_) / entry.path().filename(),
                    fs::copy_options::overwrite_existing);
    }
  }
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

WorkingDirectory::WorkingDirectory(const std::string& path) : previous_(fs::current_path()) {
  fs::current_path(path);
}

WorkingDirectory::~WorkingDirectory() {
  std::error_code ignored;
  fs::current_path(previous_, ignored);
}

Session::Session(const std::string& folder) : folder_(folder), engine_(std::make_unique<Engine>()) {
  WorkingDirectory here(folder_);
  StartupOptions options;
  options.sink = {this, &Session::capture};
  status_ = startup(*engine_, options);
  startup_ = captured_;
}

Session::~Session() { shutdown(*engine_); }

void Session::capture(void* context, const char* text, MessageKind) {
  static_cast<Session*>(context)->captured_ += text;
}

std::string Session::run(const std::string& line) {
  WorkingDirectory here(folder_);
  const std::size_t before = captured_.size();
  runLine(*engine_, line.c_str());
  return captured_.substr(before);
}

std::string Session::runAll(const std::string& lines) {
  std::string out;
  std::istringstream in(lines);
  std::string line;
  while (std::getline(in, line)) out += run(line);
  return out;
}

namespace {

void appendText(void* context, const char* text, MessageKind) {
  *static_cast<std::string*>(context) += text;
}

}  // namespace

std::string runBatchSession(const std::string& folder, const std::string& script) {
  WorkingDirectory here(folder);
  auto engine = std::make_unique<Engine>();
  std::string captured;
  StartupOptions options;
  options.inputName = script.c_str();
  options.outputName = "/";
  options.sink = {&captured, appendText};
  if (startup(*engine, options) == 0) runLine(*engine, "$");
  shutdown(*engine);
  return captured;
}

}  // namespace zenfit::test
