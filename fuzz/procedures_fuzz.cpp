// A procedure library: loaded at start-up (which calls INIT), then its
// procedures are called by the names it uses.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text;
  if (!zenfit::fuzz::inputText(data, size, text, false)) return 0;
  zenfit::fuzz::writeFile("procs.dat", text);
  zenfit::Engine& engine = zenfit::fuzz::startEngine();
  zenfit::runLine(engine, "CALL A");
  zenfit::runLine(engine, "CALL MAIN");
  zenfit::runLine(engine, "INPRO");
  zenfit::runLine(engine, "CALL INIT");
  zenfit::fuzz::cleanScratch();
  return 0;
}
