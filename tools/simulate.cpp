// zenfit_simulate: writes a simulated pointing run from a description file.
//
//   zenfit_simulate DESCRIPTION
//
// The description holds one setting a line ("!" starts a comment); file
// names in it are taken relative to the description's folder:
//
//   caption      text of the run's caption line
//   latitude     +28 45 36.0             site latitude, degrees minutes seconds
//   date         2024 3 14.85            year, month, day with its fraction; or "none"
//   weather      8.5 775 2330 0.35 0.55 0.0065
//                temperature C, pressure mB, height m, humidity 0-1,
//                wavelength um, lapse rate K/m; or "none"
//   mount        equatorial | altazimuth
//   start        5 30                    sidereal time of the first observation, h m
//   interval     2.5                     sidereal minutes between observations
//   observations 160
//   elevation    15 85                   lowest and highest elevation, degrees
//   meanplaces   0.3                     share written as proper-motion records
//   besselian    0.5                     of those, share written as FK4 B1950.0 places
//   apparent     0.1                     share written as apparent places
//   flipped      0.4                     share taken over the pole (equatorial mounts)
//   noise        0.8                     arcseconds per coordinate
//   seed         20240314
//   decimals     2                       of the seconds of time of the telescope's RA
//   aux1         9.0 4.5                 a first auxiliary reading, drifting over the run
//   term         IH -35.2                a model term and its coefficient (arcsec);
//   term         &NP 5.1                 "&" applies it in parallel with the one before
//   catalogue    stars.dat               the stars to observe
//   synthetic    300 -30 99 stars.dat    or make a catalogue: count, lowest Dec (deg),
//                                        seed, and the file to write it to
//   output       run.dat                 the observation file to write
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string>

#include "simulator.h"

namespace {

bool writeFile(const std::string& name, const std::string& text) {
  std::ofstream out(name);
  out << text;
  return static_cast<bool>(out);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: zenfit_simulate DESCRIPTION\n";
    return 2;
  }
  zenfit::sim::Description d;
  zenfit::sim::CatalogueText catalogue;
  zenfit::sim::SimulatedRun run;
  std::string error;
  if (!zenfit::sim::readDescription(argv[1], d, error) ||
      !zenfit::sim::simulateDescription(d, catalogue, run, error)) {
    std::cerr << error << "\n";
    return 1;
  }
  if (d.synthetic && !writeFile(d.catalogue, catalogue.text())) {
    std::cerr << "cannot write " << d.catalogue << "\n";
    return 1;
  }
  if (!writeFile(d.output, run.text)) {
    std::cerr << "cannot write " << d.output << "\n";
    return 1;
  }
  std::printf("%zu observations written to %s\n", run.observations.size(), d.output.c_str());
  return 0;
}
