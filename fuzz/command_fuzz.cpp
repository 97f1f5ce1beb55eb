// Command lines run one by one through the dispatcher, as a host sends them.
#include <sstream>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text;
  if (!zenfit::fuzz::inputText(data, size, text, false)) return 0;
  zenfit::Engine& engine = zenfit::fuzz::startEngine();
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (line.find_first_not_of(" \t\r\f\v") == std::string::npos) continue;  // a host never sends blank lines
    zenfit::runLine(engine, line.c_str());
  }
  zenfit::fuzz::cleanScratch();
  return 0;
}
