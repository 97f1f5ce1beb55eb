// An observation file: read with a star catalogue in place, read again
// appended to itself, written back and re-read, masked, fitted, listed,
// plotted and unfitted.
#include "fuzz_support.h"

namespace {

// Catalogue stars for the '*' records, in both frames.
const char kCatalogue[] =
    "NAME   RA           DEC          PMRA    PMDEC  EPOCH\n"
    "HIGH   12 30 00.00  +25 00 00.0  0.0100  -0.100 J2000\n"
    "OLD    12 27 30.00  +25 16 30.0  0.0100  -0.100 B1950\n"
    "VEGA   18 36 56.34  +38 47 01.3  0.0172   0.286 J2000\n"
    "POLE   02 31 49.09  +89 15 50.8  0.0445  -0.012 J2000\n"
    "SOUTH  06 45 08.92  -16 42 58.0 -0.0388  -1.209 1991.25\n";

const char kCommands[] =
    "INDAT obs\n"
    "APPEND\n"
    "INDAT obs\n"
    "SHOW\n"
    "MASK 2 3\n"
    "OUTDAT copy\n"
    "USE IH ID NP CH TF ME MA\n"
    "IH 10\nNP -5\nME 3\n"
    "FIT\n"
    "SLIST\n"
    "PLTON plots.svg\n"
    "GC\n"
    "GAM\n"
    "GHYST\n"
    "GMAP\n"
    "GSMAP E\n"
    "PLTON plots.pdf\n"
    "GSCAT H\n"
    "GDIST E\n"
    "PLTOFF\n"
    "UNFIT\n"
    "FIT N\n"
    "OUTMOD model\n"
    "UNMASK\n"
    "INDAT copy\n"
    "SLIST 1\n";

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text;
  if (!zenfit::fuzz::inputText(data, size, text, true)) return 0;
  zenfit::fuzz::writeFile("stars.dat", kCatalogue);
  zenfit::fuzz::writeFile("obs.dat", text);
  zenfit::Engine& engine = zenfit::fuzz::startEngine();
  zenfit::fuzz::runLines(engine, kCommands);
  zenfit::fuzz::cleanScratch();
  return 0;
}
