#include "fuzz_support.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "command/dispatcher.h"
#include "command/startup.h"

namespace zenfit::fuzz {
namespace {

namespace fs = std::filesystem;

// Open file descriptors of the process: a command that forgets to close a
// file shows here, long before the process runs out of them.
int openDescriptors() {
  std::error_code ignored;
  int count = 0;
  for (auto it = fs::directory_iterator("/proc/self/fd", ignored); it != fs::directory_iterator();
       it.increment(ignored)) {
    ++count;
  }
  return count;
}

struct Scratch {
  Scratch() {
    std::string pattern = (fs::temp_directory_path() / "zenfit-fuzz-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    path = pattern;
    fs::current_path(path);
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
  std::string path;
  int descriptors = 0;  // open when the current input began
};

Scratch& scratch() {
  static Scratch folder;
  return folder;
}

std::unique_ptr<Engine>& engineSlot() {
  static std::unique_ptr<Engine> engine;
  return engine;
}

}  // namespace

bool inputText(const std::uint8_t* data, std::size_t size, std::string& text, bool allowPaths) {
  scratch().descriptors = openDescriptors();
  text.assign(reinterpret_cast<const char*>(data), size);
  if (!allowPaths && text.find_first_of("/\\") != std::string::npos) return false;
  return true;
}

void writeFile(const char* name, const std::string& content) {
  std::FILE* file = std::fopen(name, "wb");
  if (file == nullptr) return;
  std::fwrite(content.data(), 1, content.size(), file);
  std::fclose(file);
}

Engine& startEngine() {
  auto& engine = engineSlot();
  if (engine) shutdown(*engine);
  engine = std::make_unique<Engine>();
  StartupOptions options;
  options.outputName = "/dev/null/";  // nothing is written to the primary stream
  startup(*engine, options);
  return *engine;
}

void runBatch() {
  auto& engine = engineSlot();
  if (engine) shutdown(*engine);
  engine = std::make_unique<Engine>();
  StartupOptions options;
  options.inputName = "session.cmd";
  options.outputName = "/dev/null/";
  if (startup(*engine, options) == 0) runLine(*engine, "$");
  shutdown(*engine);
}

void runLines(Engine& engine, const std::string& text) {
  std::string::size_type start = 0;
  while (start < text.size()) {
    std::string::size_type end = text.find('\n', start);
    if (end == std::string::npos) end = text.size();
    const std::string line = text.substr(start, end - start);
    if (line.find_first_not_of(" \t\r\f\v") != std::string::npos) runLine(engine, line.c_str());
    start = end + 1;
  }
}

void cleanScratch() {
  auto& engine = engineSlot();
  if (engine) shutdown(*engine);
  const int open = openDescriptors();
  if (open > scratch().descriptors) {
    std::fprintf(stderr, "file descriptor leak: %d open, %d when the input began\n", open,
                 scratch().descriptors);
    std::abort();
  }
  std::error_code ignored;
  for (const auto& entry : fs::directory_iterator(scratch().path, ignored)) {
    fs::remove_all(entry.path(), ignored);
  }
}

}  // namespace zenfit::fuzz
