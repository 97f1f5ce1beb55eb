// A model file: read by INMOD with observations loaded, listed, applied to
// the observations (FIT N, UNFIT, SLIST), written by OUTMOD and read back,
// reversed, and fitted.
#include "fuzz_support.h"

namespace {

// Observations over the sky on both sides of the pier, with aux readings,
// so that every kind of term is evaluated.
const char kObservations[] =
    "Horizon run\n"
    ":ALLSKY\n"
    "+40 00 00\n"
    "180 45 180.01 45.02 0.5 -1.5\n"
    "90 30 90.02 30.01 2 3\n"
    "10 80 10.1 80.1\n"
    "270 15 270 15.05 -7 0\n"
    "12 00 00 +20 00 00  12 00 01 +20 00 02  12 00  1.5\n"
    "06 00 00 -10 00 00  06 00 01 +100 00 02  08 30  0 -2.25\n"
    "END\n";

const char kCommands[] =
    "INDAT obs\n"
    "INMOD model\n"
    "CLIST\n"
    "FIT N\n"
    "UNFIT\n"
    "SLIST\n"
    "OUTMOD copy\n"
    "INMOD copy\n"
    "CLIST\n"
    "ADJUST S\n"
    "OUTMOD copy\n"
    "RESET\n"
    "LOSE\n"
    "INMOD copy\n"
    "FIT\n"
    "CLIST\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text;
  if (!zenfit::fuzz::inputText(data, size, text, true)) return 0;
  zenfit::fuzz::writeFile("obs.dat", kObservations);
  zenfit::fuzz::writeFile("model.dat", text);
  zenfit::Engine& engine = zenfit::fuzz::startEngine();
  zenfit::fuzz::runLines(engine, kCommands);
  zenfit::fuzz::cleanScratch();
  return 0;
}
