#include "fuzz_support.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include "host/message_buffer.h"
#include "plot/memory_device.h"

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

// An engine with the C API's message buffer as its output, so that the
// buffer's overflow rule is driven too; nothing is kept.
struct FuzzEngine {
  Engine engine;
  host::MessageBuffer buffer;
  FILE* input = nullptr;
  std::unique_ptr<StreamInput> lines;

  FuzzEngine() {
    engine.workdir = scratch().path;
    engine.hooks.output = &buffer;
    buffer.attach(engine.settings);
  }
  ~FuzzEngine() {
    shutdownEngine(engine);
    if (input != nullptr) std::fclose(input);
  }
};

std::unique_ptr<FuzzEngine>& engineSlot() {
  static std::unique_ptr<FuzzEngine> engine;
  return engine;
}

// cairo and fontconfig keep the fonts the plots load for the life of the
// process; they are freed at its end (every input's engine is gone by
// then), so that the leak check sees only what the engine loses.
void releaseCachesAtExit() {
  static const bool registered = [] {
    std::atexit([] { plot::releaseFontCaches(); });
    return true;
  }();
  (void)registered;
}

}  // namespace

bool inputText(const std::uint8_t* data, std::size_t size, std::string& text, bool allowPaths) {
  releaseCachesAtExit();
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
  auto& slot = engineSlot();
  slot = std::make_unique<FuzzEngine>();
  startEngine(slot->engine, {});
  return slot->engine;
}

void runBatch() {
  auto& slot = engineSlot();
  slot = std::make_unique<FuzzEngine>();
  slot->input = std::fopen("session.cmd", "r");
  if (slot->input == nullptr) return;
  slot->lines = std::make_unique<StreamInput>(slot->input);
  slot->engine.hooks.input = slot->lines.get();
  if (startEngine(slot->engine, {}) == 0) runLine(slot->engine, "$");
  slot.reset();
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
  engineSlot().reset();
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

// fontconfig keeps its patterns' values behind encoded offsets that the
// leak checker cannot follow, so that the fonts it has loaded for the plots
// look lost while they are in use; libFuzzer checks for leaks after inputs,
// long before the caches are freed at exit.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
