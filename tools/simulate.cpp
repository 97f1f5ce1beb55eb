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
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "simulator.h"

namespace {

namespace fs = std::filesystem;
using zenfit::sim::CatalogueText;
using zenfit::sim::ModelTerm;
using zenfit::sim::Mount;
using zenfit::sim::RunSpec;

struct Description {
  RunSpec spec;
  std::string catalogue;
  bool synthetic = false;
  int syntheticCount = 0;
  double syntheticMinDec = -90.0;
  std::uint64_t syntheticSeed = 1;
  std::string output;
};

std::string restOf(std::istringstream& in) {
  std::string rest;
  std::getline(in, rest);
  const std::size_t first = rest.find_first_not_of(" \t");
  return first == std::string::npos ? "" : rest.substr(first);
}

bool readSetting(const std::string& key, std::istringstream& in, Description& d,
                 const fs::path& folder) {
  RunSpec& s = d.spec;
  if (key == "caption") {
    s.caption = restOf(in);
    return true;
  }
  if (key == "latitude") {
    s.latitude = restOf(in);
    return !s.latitude.empty();
  }
  if (key == "date") {
    const std::string rest = restOf(in);
    if (rest == "none") {
      s.dated = false;
      return true;
    }
    std::istringstream date(rest);
    return static_cast<bool>(date >> s.year >> s.month >> s.day);
  }
  if (key == "weather") {
    const std::string rest = restOf(in);
    if (rest == "none") {
      s.weather = false;
      return true;
    }
    std::istringstream w(rest);
    zenfit::sim::Weather& c = s.conditions;
    return static_cast<bool>(w >> c.temperatureC >> c.pressureMb >> c.heightM >> c.humidity >>
                             c.wavelengthUm >> c.lapseRateKPerM);
  }
  if (key == "mount") {
    std::string mount;
    in >> mount;
    s.mount = mount == "altazimuth" ? Mount::Altazimuth : Mount::Equatorial;
    return mount == "altazimuth" || mount == "equatorial";
  }
  if (key == "start") {
    double hours = 0.0, minutes = 0.0;
    if (!(in >> hours >> minutes)) return false;
    s.startLstHours = hours + minutes / 60.0;
    return true;
  }
  if (key == "interval") return static_cast<bool>(in >> s.intervalMinutes);
  if (key == "observations") return static_cast<bool>(in >> s.observations);
  if (key == "elevation") return static_cast<bool>(in >> s.lowestElevation >> s.highestElevation);
  if (key == "meanplaces") return static_cast<bool>(in >> s.meanPlaceShare);
  if (key == "besselian") return static_cast<bool>(in >> s.besselianShare);
  if (key == "apparent") return static_cast<bool>(in >> s.apparentShare);
  if (key == "flipped") return static_cast<bool>(in >> s.flippedShare);
  if (key == "noise") return static_cast<bool>(in >> s.noiseArcsec);
  if (key == "seed") return static_cast<bool>(in >> s.seed);
  if (key == "decimals") return static_cast<bool>(in >> s.decimals) && s.decimals >= 1;
  if (key == "aux1") {
    s.aux1 = true;
    return static_cast<bool>(in >> s.aux1First >> s.aux1Last);
  }
  if (key == "term") {
    ModelTerm term;
    if (!(in >> term.name >> term.arcsec)) return false;
    if (term.name[0] == '&') {
      term.parallel = true;
      term.name.erase(0, 1);
    }
    s.model.push_back(term);
    return true;
  }
  if (key == "catalogue") {
    std::string name;
    in >> name;
    d.catalogue = (folder / name).string();
    return !name.empty();
  }
  if (key == "synthetic") {
    std::string name;
    if (!(in >> d.syntheticCount >> d.syntheticMinDec >> d.syntheticSeed >> name)) return false;
    d.synthetic = true;
    d.catalogue = (folder / name).string();
    return true;
  }
  if (key == "output") {
    std::string name;
    in >> name;
    d.output = (folder / name).string();
    return !name.empty();
  }
  return false;
}

bool readDescription(const fs::path& path, Description& d) {
  std::ifstream in(path);
  if (!in) {
    std::cerr << "cannot read " << path.string() << "\n";
    return false;
  }
  const fs::path folder = path.parent_path();
  int number = 0;
  for (std::string line; std::getline(in, line);) {
    ++number;
    const std::size_t comment = line.find('!');
    const bool isCaption = line.rfind("caption", 0) == 0;
    if (comment != std::string::npos && !isCaption) line.erase(comment);
    std::istringstream words(line);
    std::string key;
    if (!(words >> key)) continue;
    if (!readSetting(key, words, d, folder)) {
      std::cerr << path.string() << ":" << number << ": cannot read \"" << line << "\"\n";
      return false;
    }
  }
  if (d.catalogue.empty() || d.output.empty()) {
    std::cerr << path.string() << ": a catalogue and an output file are needed\n";
    return false;
  }
  return true;
}

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
  Description d;
  if (!readDescription(argv[1], d)) return 1;
  CatalogueText catalogue;
  if (d.synthetic) {
    catalogue = zenfit::sim::syntheticCatalogue(d.syntheticCount, d.syntheticMinDec,
                                                d.syntheticSeed);
    if (!writeFile(d.catalogue, catalogue.text())) {
      std::cerr << "cannot write " << d.catalogue << "\n";
      return 1;
    }
  } else if (!zenfit::sim::readCatalogue(d.catalogue, catalogue)) {
    std::cerr << "cannot read " << d.catalogue << "\n";
    return 1;
  }
  zenfit::sim::SimulatedRun run;
  std::string error;
  if (!zenfit::sim::simulateRun(d.spec, catalogue, run, error)) {
    std::cerr << argv[1] << ": " << error << "\n";
    return 1;
  }
  if (!writeFile(d.output, run.text)) {
    std::cerr << "cannot write " << d.output << "\n";
    return 1;
  }
  std::printf("%zu observations written to %s\n", run.observations.size(), d.output.c_str());
  return 0;
}
