// The initialisation file read at start-up.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text;
  if (!zenfit::fuzz::inputText(data, size, text, false)) return 0;
  zenfit::fuzz::writeFile("zenfit.ini", text);
  zenfit::Engine& engine = zenfit::fuzz::startEngine();
  zenfit::runLine(engine, "PLTON");
  zenfit::runLine(engine, "SHOW");
  // A plot with the pens, fonts and devices the file chose.
  zenfit::runLine(engine, "PERFCT 20");
  zenfit::runLine(engine, "GDIST");
  zenfit::runLine(engine, "PLTOFF");
  zenfit::runLine(engine, "GMAP");
  zenfit::fuzz::cleanScratch();
  return 0;
}
