// A star catalogue: loaded by INST at start-up, then every entry is looked
// up by a dated run and an undated one whose catalogue-star records name
// the first word of each line, and the catalogue is loaded again.
#include "fuzz_support.h"

namespace {

constexpr int kMostLookups = 60;

// "*NAME" records for the first words of the catalogue's lines, plus names
// that are not there, behind the given header.
std::string observationFile(const std::string& catalogue, const char* header) {
  std::string file = header;
  std::string::size_type start = 0;
  int lookups = 0;
  while (start < catalogue.size() && lookups < kMostLookups) {
    std::string::size_type end = catalogue.find('\n', start);
    if (end == std::string::npos) end = catalogue.size();
    const std::string line = catalogue.substr(start, end - start);
    const std::string::size_type name = line.find_first_not_of(" \t\r");
    if (name != std::string::npos) {
      const std::string::size_type nameEnd = line.find_first_of(" \t\r,", name);
      file += "*" + line.substr(name, nameEnd == std::string::npos ? nameEnd : nameEnd - name) +
              " 12 30 10 +25 01 00 12 00 0.5 -0.5\n";
      ++lookups;
    }
    start = end + 1;
  }
  file += "*NOSUCH 12 30 10 +25 01 00 12 00\nEND\n";
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text;
  if (!zenfit::fuzz::inputText(data, size, text, true)) return 0;
  zenfit::fuzz::writeFile("stars.dat", text);
  zenfit::fuzz::writeFile("dated.dat",
                          observationFile(text, "Dated\n:ALLSKY\n+40 00 00 2010 6 15.5 10 1000\n"));
  zenfit::fuzz::writeFile("undated.dat", observationFile(text, "Undated\n+40 00 00\n"));
  zenfit::Engine& engine = zenfit::fuzz::startEngine();
  zenfit::fuzz::runLines(engine,
                         "INDAT dated\n"
                         "INDAT undated\n"
                         "INST stars\n"
                         "INDAT dated\n"
                         "INST\n"
                         "APPEND\n"
                         "INDAT dated\n");
  zenfit::fuzz::cleanScratch();
  return 0;
}
