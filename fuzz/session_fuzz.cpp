// A whole batch session: the input is the command file.
#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text;
  if (!zenfit::fuzz::inputText(data, size, text, false)) return 0;
  zenfit::fuzz::writeFile("session.cmd", text);
  zenfit::fuzz::runBatch();
  zenfit::fuzz::cleanScratch();
  return 0;
}
