// Simulated pointing runs: observation files as an observer's telescope
// would write them, from a site, a date, the weather, a star catalogue and
// a known pointing model, with Gaussian noise from a fixed seed.
//
// Every star is reduced from the place written in the file to the observed
// frame with the same astrometry and the same decoding as the observation
// reader, and the telescope reading is the model (applied by the engine's
// own term evaluation, the model correcting the telescope) applied to that
// place. A noiseless run therefore fits back to the model exactly, short
// of the rounding of the fields written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zenfit::sim {

// One term of the model that makes the readings.
struct ModelTerm {
  std::string name;      // a standard or generic term name
  double arcsec = 0.0;   // coefficient
  bool parallel = false; // applied in parallel with the term before it
};

enum class Mount { Equatorial, Altazimuth };

struct Weather {
  double temperatureC = 10.0;
  double pressureMb = 1013.25;
  double heightM = 0.0;
  double humidity = 0.5;
  double wavelengthUm = 0.55;
  double lapseRateKPerM = 0.0065;
};

struct RunPlan {
  std::string caption = "Simulated pointing run";
  std::string latitude = "+28 45 36.0";  // degrees, minutes, seconds as written
  bool dated = true;          // false: a latitude-only record, apparent places
  int year = 2024;
  int month = 3;
  double day = 14.85;         // with the fraction of the day
  bool weather = true;        // write the meteorological fields (dated runs)
  Weather conditions;
  Mount mount = Mount::Equatorial;
  double startLstHours = 6.0; // local sidereal time of the first observation
  double intervalMinutes = 2.5;  // sidereal minutes between observations
  int observations = 100;
  double lowestElevation = 15.0;   // degrees (unrefracted)
  double highestElevation = 85.0;  // degrees
  double meanPlaceShare = 0.0;     // written as proper-motion records
  double besselianShare = 0.0;     // of those, written as FK4 B1950.0 places
  double apparentShare = 0.0;      // written as apparent places (dated runs)
  double flippedShare = 0.0;       // taken over the pole (equatorial mounts)
  double noiseArcsec = 0.0;        // per coordinate on the sky
  std::uint64_t seed = 1;
  int decimals = 2;                // seconds of time in RA; arcsec get one fewer
  bool aux1 = false;               // write a first auxiliary reading
  double aux1First = 0.0;          // drifting linearly over the run
  double aux1Last = 0.0;
  std::vector<ModelTerm> model;
};

// What the reader will make of one record.
struct SimulatedObservation {
  std::string record;
  double starHa = 0.0;   // observed frame, radians
  double starDec = 0.0;
  double telHa = 0.0;    // the reading, after the over-the-pole fold
  double telDec = 0.0;
  int pierFlag = 0;
  double aux1 = 0.0;
};

struct SimulatedRun {
  std::string text;  // the observation file
  std::vector<SimulatedObservation> observations;
};

// A star catalogue as its file's lines; the first line is a heading.
struct CatalogueText {
  std::vector<std::string> lines;
  std::string text() const;
};

// Stars spread evenly over the sky (declinations above minDec degrees),
// named S00001 and on, J2000.0 places with small proper motions.
CatalogueText syntheticCatalogue(int count, double minDecDegrees, std::uint64_t seed);

// Reads a catalogue file. False when it cannot be read.
bool readCatalogue(const std::string& path, CatalogueText& catalogue);

// Simulates a run. False, with the reason in error, for a plan that cannot
// be honoured (a bad latitude, date or term name; no star ever visible).
bool simulateRun(const RunPlan& plan, const CatalogueText& catalogue, SimulatedRun& run,
                 std::string& error);

// A simulation as its description file gives it (the settings are listed
// in tools/simulate.cpp); file names are resolved from the file's folder.
struct Description {
  RunPlan plan;
  std::string catalogue;
  bool synthetic = false;
  int syntheticCount = 0;
  double syntheticMinDec = -90.0;
  std::uint64_t syntheticSeed = 1;
  std::string output;
};

bool readDescription(const std::string& path, Description& description, std::string& error);

// The catalogue (read, or made when the description asks for a synthetic
// one) and the run of a description.
bool simulateDescription(const Description& description, CatalogueText& catalogue,
                         SimulatedRun& run, std::string& error);

}  // namespace zenfit::sim
