#include "simulator.h"

#include <erfa.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <sstream>

#include "astro/astro.h"
#include "astro/vectors.h"
#include "base/decode.h"
#include "data/catalogue.h"
#include "data/reduction.h"
#include "data/run_parameters.h"
#include "model/evaluate.h"
#include "model/model.h"

namespace zenfit::sim {
namespace {

// The reader's limit of declination (radians): it refuses stars beyond it.
constexpr double kPoleLimit = 1.567305668290908;  // 89.8 degrees
constexpr double kMinutesPerDay = 1440.0;

// A generator whose sequence is fixed by its seed on every platform: the
// 64-bit Mersenne Twister, uniform deviates from its top 53 bits and
// normal deviates by the Box-Muller transform.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  double uniform() { return static_cast<double>(engine_() >> 11) * 0x1.0p-53; }
  double gauss() {
    if (haveSpare_) {
      haveSpare_ = false;
      return spare_;
    }
    double u = 0.0;
    while (u <= 0.0) u = uniform();
    const double v = uniform();
    const double r = std::sqrt(-2.0 * std::log(u));
    spare_ = r * std::sin(kTwoPi * v);
    haveSpare_ = true;
    return r * std::cos(kTwoPi * v);
  }

 private:
  std::mt19937_64 engine_;
  bool haveSpare_ = false;
  double spare_ = 0.0;
};

std::string format(const char* fmt, auto... values) {
  char text[256];
  std::snprintf(text, sizeof text, fmt, values...);
  return text;
}

// Fields of a text as the reader decodes them.
struct Fields {
  int count = 0;
  double values[kMaxFields] = {};
  int statuses[kMaxFields] = {};
  int kinds[kMaxFields] = {};
  explicit Fields(const std::string& text) {
    count = splitFields(text.c_str(), values, statuses, kinds);
  }
};

double wrapHours(double angle) { return wrapTwoPi(angle); }

// Hours (or degrees), minutes and seconds with the given decimals, rounded
// as a whole so that 59.9996 s never prints as 60.000.
void splitSexagesimal(double units, int decimals, long long& first, int& minutes, double& seconds) {
  const double scale = std::pow(10.0, decimals);
  const long long total = std::llround(units * scale);
  const long long perMinute = 60LL * static_cast<long long>(scale);
  const long long perFirst = 60LL * perMinute;
  first = total / perFirst;
  minutes = static_cast<int>((total % perFirst) / perMinute);
  seconds = static_cast<double>(total % perMinute) / scale;
}

// Right ascension (radians, 0 .. 2pi) as "hh mm ss.s..".
std::string raText(double ra, int decimals) {
  const double seconds = wrapHours(ra) / kRadianPerTimeSecond;
  long long hours = 0;
  int minutes = 0;
  double s = 0.0;
  splitSexagesimal(seconds, decimals, hours, minutes, s);
  if (hours >= 24) hours -= 24;
  return format("%02lld %02d %0*.*f", hours, minutes, decimals + 3, decimals, s);
}

// A signed angle of declination type (radians, up to 269 degrees in size)
// as "+dd mm ss.s..".
std::string decText(double dec, int decimals) {
  long long degrees = 0;
  int minutes = 0;
  double s = 0.0;
  splitSexagesimal(std::fabs(dec) / kRadianPerArcsec, decimals, degrees, minutes, s);
  return format("%c%02lld %02d %0*.*f", dec < 0.0 ? '-' : '+', degrees, minutes,
                decimals > 0 ? decimals + 3 : 2, decimals, s);
}

// Local sidereal time as "hh mm.mmmm" (the reader takes hours and minutes).
std::string lstText(double lst) {
  const long long total = std::llround(wrapTwoPi(lst) / kTwoPi * kMinutesPerDay * 1e4);
  const long long wrapped = total % static_cast<long long>(kMinutesPerDay * 1e4);
  return format("%02lld %07.4f", wrapped / 600000, static_cast<double>(wrapped % 600000) / 1e4);
}

double decodeLst(const std::string& text) {
  const Fields f(text);
  return (f.values[0] * 60.0 + f.values[1]) * 60.0 * kRadianPerTimeSecond;
}

// An RA and declination (six fields) as the reader turns them into radians,
// with the declination's over-the-pole fold. Returns the fold (1 over the
// pole, 0 not, -1 invalid).
int decodeRaDec(const Fields& f, int first, double& ra, double& dec) {
  if (checkSexagesimal(kSexHours, f.values + first, f.statuses + first, 3, ra) != 0) return -1;
  const int over = checkSexagesimal(kSexDegrees, f.values + first + 3, f.statuses + first + 3, 3,
                                    dec);
  if (over == 1) ra = wrapTwoPi(ra - kPi);
  return over;
}

// The run parameters record, and what the reader will make of it: its
// parser, then the run's constants as the reader derives them.
bool runParameters(const RunPlan& plan, std::string& record, RunReduction& run,
                   std::string& error) {
  record = plan.latitude;
  if (plan.dated) {
    record += format(" %d %d %.5f", plan.year, plan.month, plan.day);
    if (plan.weather) {
      const Weather& w = plan.conditions;
      record += format(" %.1f %.1f %.0f %.2f %.2f %.4f", w.temperatureC, w.pressureMb, w.heightM,
                       w.humidity, w.wavelengthUm, w.lapseRateKPerM);
    }
  }
  RunParameters p;
  if (!parseRunParameters(record.c_str(), p)) {
    error = "bad run parameters: " + record;
    return false;
  }
  prepareRunReduction(p, p.dated, run);
  return true;
}

// Azimuth (from the north through the east) and elevation, radians, of a
// horizon-frame vector; and the reader's way back to hour angle and
// declination.
void horizonToAzEl(const double v[3], double& azimuth, double& elevation) {
  double longitude = 0.0;
  vectorToSpherical(v, longitude, elevation);
  azimuth = wrapTwoPi(kPi - longitude);
}

struct Star {
  std::string name;
  CatalogueStar place;
  double ra = 0.0;   // apparent place of the run's date (or the place itself, undated)
  double dec = 0.0;
};

// The catalogue's stars, decoded as the reader decodes them.
bool loadStars(Catalogue& table, const CatalogueText& catalogue, const RunReduction& run,
               std::vector<Star>& stars, std::string& error) {
  const int lines = std::min(static_cast<int>(catalogue.lines.size()), kCatalogueSlots - 1);
  for (int i = 0; i < lines; ++i) {
    std::snprintf(table.lines[i], sizeof table.lines[i], "%s", catalogue.lines[i].c_str());
  }
  std::snprintf(table.lines[lines], sizeof table.lines[lines], "END");
  table.lookupPosition = -1;
  for (int i = 1; i < lines; ++i) {  // line 0 is the heading
    Star star;
    star.name = catalogue.lines[i].substr(0, 6);
    star.name.erase(star.name.find_last_not_of(' ') + 1);
    if (star.name.empty() || findCatalogueStar(table, star.name.c_str(), star.place) != 0) {
      continue;
    }
    if (run.dated) {
      meanToApparentOfDate(meanPlace(star.place), run, star.ra, star.dec);
    } else {
      star.ra = star.place.ra;
      star.dec = star.place.dec;
    }
    stars.push_back(star);
  }
  if (stars.empty()) error = "no usable star in the catalogue";
  return !stars.empty();
}

bool setModel(Model& model, TermTable& table, const std::vector<ModelTerm>& terms,
              std::string& error) {
  for (const ModelTerm& term : terms) {
    const TermList list = readTermList(table, term.name.c_str());
    if (list.status < 0 || useTerms(model, table, list) != UseResult::Done) {
      error = "bad term: " + term.name;
      return false;
    }
    if (term.parallel) parallelTerms(model, list);
    setCoefficient(model, table, term.name.c_str(), true, term.arcsec * kRadianPerArcsec);
  }
  return true;
}

// Unrefracted elevation of an apparent place at sidereal time lst.
double elevationAt(const Star& star, double lst, const RunReduction& run) {
  double ha = 0.0;
  double dec = 0.0;
  double elevation = 0.0;
  RunReduction plain = run;
  plain.refA = plain.refB = 0.0;
  apparentToObserved(star.ra, star.dec, lst, plain, ha, dec, elevation);
  return elevation;
}

// A star visible at lst, preferring one not among the recent picks; -1 if
// none is visible.
int chooseStar(const std::vector<Star>& stars, double lst, const RunReduction& run,
               const RunPlan& plan, std::vector<int>& recent, Random& random) {
  std::vector<int> visible;
  std::vector<int> fresh;
  const double low = plan.lowestElevation * kRadianPerDegree;
  const double high = plan.highestElevation * kRadianPerDegree;
  for (int i = 0; i < static_cast<int>(stars.size()); ++i) {
    if (std::fabs(stars[i].dec) > kPoleLimit) continue;
    const double elevation = elevationAt(stars[i], lst, run);
    if (elevation < low || elevation > high) continue;
    visible.push_back(i);
    if (std::find(recent.begin(), recent.end(), i) == recent.end()) fresh.push_back(i);
  }
  if (visible.empty()) return -1;
  const std::vector<int>& pool = fresh.empty() ? visible : fresh;
  const int pick = pool[std::min(static_cast<std::size_t>(random.uniform() * pool.size()),
                                 pool.size() - 1)];
  recent.push_back(pick);
  const std::size_t memory = std::max<std::size_t>(1, visible.size() / 2);
  while (recent.size() > memory) recent.erase(recent.begin());
  return pick;
}

enum class Kind { Catalogue, MeanPlace, Apparent, Horizon };

// The mean-place fields of a star: J2000.0 as catalogued, or converted to
// FK4 B1950.0 (ERFA's FK5 to FK4 transformation, Standish 1982).
std::string meanPlaceFields(const Star& star, bool besselian, int decimals) {
  const CatalogueStar& p = star.place;
  double ra = p.ra;
  double dec = p.dec;
  double pmRa = p.pmRa;
  double pmDec = p.pmDec;
  std::string epoch = p.epochKind == kEpochBesselian ? format("B%.1f", p.epoch)
                                                     : format("J%.1f", p.epoch);
  if (besselian && p.epochKind != kEpochBesselian && p.epoch == 2000.0) {
    double parallax = 0.0;
    double velocity = 0.0;
    eraFk524(p.ra, p.dec, p.pmRa, p.pmDec, 0.0, 0.0, &ra, &dec, &pmRa, &pmDec, &parallax,
             &velocity);
    epoch = "B1950.0";
  }
  return raText(ra, decimals + 1) + "  " + decText(dec, decimals) + "  " +
         format("%+.5f %+.4f", pmRa / kRadianPerTimeSecond, pmDec / kRadianPerArcsec) + "  " +
         epoch;
}

// Decodes the mean-place fields written above into the place the reader
// will reduce.
CatalogueStar decodeMeanPlace(const std::string& fields) {
  const Fields f(fields);
  CatalogueStar place;
  decodeRaDec(f, 0, place.ra, place.dec);
  place.pmRa = f.values[6] * kRadianPerTimeSecond;
  place.pmDec = f.values[7] * kRadianPerArcsec;
  place.epoch = f.values[8];
  place.epochKind = f.kinds[8];
  return place;
}

// The telescope's reading of the corrected direction: equatorial (RA,
// Dec, folded over the pole when the mount is flipped) or horizon.
std::string telescopeFields(const double corrected[3], const RunPlan& plan, const RunReduction& run,
                            double lst, int pier, Random& random, SimulatedObservation& obs) {
  const double sigma = plan.noiseArcsec * kRadianPerArcsec;
  if (plan.mount == Mount::Altazimuth) {
    double azimuth = 0.0;
    double elevation = 0.0;
    horizonToAzEl(corrected, azimuth, elevation);
    azimuth += sigma * random.gauss() / std::cos(elevation);
    elevation += sigma * random.gauss();
    const int digits = plan.decimals + 3;
    const std::string text = format("%.*f %.*f", digits, wrapTwoPi(azimuth) * kDegreesPerRadian,
                                    digits, elevation * kDegreesPerRadian);
    const Fields f(text);
    horizonToHaDec(f.values[0] * kRadianPerDegree, f.values[1] * kRadianPerDegree, run, obs.telHa,
                obs.telDec);
    return text;
  }
  double e[3];
  horizonToEquatorial(corrected, run.sinLat, run.cosLat, e);
  double longitude = 0.0;
  double dec = 0.0;
  vectorToSpherical(e, longitude, dec);
  double ha = -longitude + sigma * random.gauss() / std::cos(dec);
  dec += sigma * random.gauss();
  double ra = lst - ha;
  if (pier != 0) {
    // Over the pole the mount reads 180 degrees less the declination (for
    // a southern site minus 180 less it) and 12 hours round in RA.
    dec = run.sinLat < 0.0 ? -kPi - dec : kPi - dec;
    ra += kPi;
  }
  const std::string text = raText(ra, plan.decimals) + "  " + decText(dec, plan.decimals - 1);
  const Fields f(text);
  double raRead = 0.0;
  decodeRaDec(f, 0, raRead, obs.telDec);
  obs.telHa = wrapPi(lst - raRead);
  return text;
}

namespace fs = std::filesystem;


std::string restOf(std::istringstream& in) {
  std::string rest;
  std::getline(in, rest);
  const std::size_t first = rest.find_first_not_of(" \t");
  return first == std::string::npos ? "" : rest.substr(first);
}

bool readSetting(const std::string& key, std::istringstream& in, Description& d,
                 const fs::path& folder) {
  RunPlan& s = d.plan;
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
    Weather& c = s.conditions;
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

bool readDescriptionFile(const fs::path& path, Description& d, std::string& error) {
  std::ifstream in(path);
  if (!in) {
    error = "cannot read " + path.string();
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
      error = path.string() + ":" + std::to_string(number) + ": cannot read \"" + line + "\"";
      return false;
    }
  }
  if (d.catalogue.empty() || d.output.empty()) {
    error = path.string() + ": a catalogue and an output file are needed";
    return false;
  }
  return true;
}

}  // namespace

std::string CatalogueText::text() const {
  std::string all;
  for (const std::string& line : lines) all += line + "\n";
  return all;
}

CatalogueText syntheticCatalogue(int count, double minDecDegrees, std::uint64_t seed) {
  CatalogueText catalogue;
  catalogue.lines.push_back("Name  RA (J2000)      Dec         pmRA s/y  pmDec \"/y  epoch");
  Random random(seed);
  const double sinLow = std::sin(minDecDegrees * kRadianPerDegree);
  const double goldenAngle = kPi * (3.0 - std::sqrt(5.0));
  for (int i = 0; i < count; ++i) {
    // A Fibonacci lattice over the zone: even cover without clumps.
    const double sinDec = sinLow + (1.0 - sinLow) * (i + 0.5) / count;
    const double dec = std::asin(std::min(sinDec, std::sin(89.5 * kRadianPerDegree)));
    const double ra = wrapTwoPi(i * goldenAngle);
    const double pmRa = (random.uniform() - 0.5) * 0.02;   // seconds of time per year
    const double pmDec = (random.uniform() - 0.5) * 0.3;   // arcseconds per year
    catalogue.lines.push_back(format("S%05d", i + 1) + " " + raText(ra, 4) + "  " +
                              decText(dec, 3) + format("  %+.5f %+.4f  J2000.0", pmRa, pmDec));
  }
  return catalogue;
}

bool readCatalogue(const std::string& path, CatalogueText& catalogue) {
  std::ifstream in(path);
  if (!in) return false;
  catalogue.lines.clear();
  for (std::string line; std::getline(in, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    catalogue.lines.push_back(line);
  }
  return true;
}

bool simulateRun(const RunPlan& plan, const CatalogueText& catalogue, SimulatedRun& run,
                 std::string& error) {
  TermTable terms;
  loadTermNames(terms);
  Model model;
  model.clear();
  RunReduction context;
  std::string parameters;
  if (!runParameters(plan, parameters, context, error)) return false;
  RunState site;
  site.sinLat = context.sinLat;
  site.cosLat = context.cosLat;
  if (!setModel(model, terms, plan.model, error)) return false;
  const EvaluationContext evaluation = evaluationContext(terms, site, AdjustSense::Telescope);
  std::vector<Star> stars;
  auto table = std::make_unique<Catalogue>();
  if (!loadStars(*table, catalogue, context, stars, error)) return false;

  run.text = plan.caption + "\n" + parameters + "\n";
  run.observations.clear();
  Random random(plan.seed);
  std::vector<int> recent;
  for (int k = 0; k < plan.observations; ++k) {
    const std::string lstField =
        lstText(plan.startLstHours * kRadianPerHour +
                k * plan.intervalMinutes * 60.0 * kRadianPerTimeSecond);
    const double lst = decodeLst(lstField);
    const int pick = chooseStar(stars, lst, context, plan, recent, random);
    if (pick < 0) continue;
    const Star& star = stars[pick];

    Kind kind = Kind::Catalogue;
    const double draw = random.uniform();
    if (plan.mount == Mount::Altazimuth) {
      kind = Kind::Horizon;
    } else if (!plan.dated || draw < plan.apparentShare) {
      kind = Kind::Apparent;
    } else if (draw < plan.apparentShare + plan.meanPlaceShare) {
      kind = Kind::MeanPlace;
    }
    const bool besselian = random.uniform() < plan.besselianShare;
    const int pier =
        plan.mount == Mount::Equatorial && random.uniform() < plan.flippedShare ? 1 : 0;

    SimulatedObservation obs;
    obs.pierFlag = pier;
    std::string starFields;
    double ra = star.ra;
    double dec = star.dec;
    if (kind == Kind::MeanPlace) {
      starFields = meanPlaceFields(star, besselian, plan.decimals);
      meanToApparentOfDate(meanPlace(decodeMeanPlace(starFields)), context, ra, dec);
    } else if (kind == Kind::Apparent) {
      starFields = raText(star.ra, plan.decimals + 1) + "  " + decText(star.dec, plan.decimals);
      const Fields f(starFields);
      decodeRaDec(f, 0, ra, dec);
    }
    double elevation = 0.0;
    apparentToObserved(ra, dec, lst, context, obs.starHa, obs.starDec, elevation);
    double source[3];
    astro::haDecToHorizon(obs.starHa, obs.starDec, context.sinLat, context.cosLat, 0.0, source);
    if (kind == Kind::Horizon) {
      double azimuth = 0.0;
      double el = 0.0;
      horizonToAzEl(source, azimuth, el);
      const int digits = plan.decimals + 3;
      starFields = format("%.*f %.*f", digits, azimuth * kDegreesPerRadian, digits,
                          el * kDegreesPerRadian);
      const Fields f(starFields);
      horizonToHaDec(f.values[0] * kRadianPerDegree, f.values[1] * kRadianPerDegree, context,
                  obs.starHa, obs.starDec);
      astro::haDecToHorizon(obs.starHa, obs.starDec, context.sinLat, context.cosLat, 0.0,
                            source);
    }

    std::string auxField;
    if (plan.aux1) {
      const double t = plan.observations > 1 ? static_cast<double>(k) / (plan.observations - 1)
                                             : 0.0;
      auxField = format("  %.3f", plan.aux1First + (plan.aux1Last - plan.aux1First) * t);
      obs.aux1 = Fields(auxField).values[0];
    }
    Observation observed;
    observed.status = kStatusActive;
    observed.pierFlag = pier;
    observed.aux[0] = obs.aux1;
    double corrected[3] = {source[0], source[1], source[2]};
    if (applyModelTerms(evaluation, model, observed, corrected) < 0) continue;
    const std::string telescope =
        telescopeFields(corrected, plan, context, lst, pier, random, obs);

    switch (kind) {
      case Kind::Catalogue:
        obs.record = format("*%-6s  ", star.name.c_str()) + telescope + "  " + lstField;
        break;
      case Kind::MeanPlace:
      case Kind::Apparent:
        obs.record = starFields + "  " + telescope + "  " + lstField;
        break;
      case Kind::Horizon:
        obs.record = starFields + "  " + telescope;
        break;
    }
    obs.record += auxField;
    run.text += obs.record + "\n";
    run.observations.push_back(obs);
  }
  run.text += "END\n";
  if (run.observations.empty()) {
    error = "no star was ever visible";
    return false;
  }
  return true;
}

bool readDescription(const std::string& path, Description& description, std::string& error) {
  description = Description{};
  return readDescriptionFile(path, description, error);
}

bool simulateDescription(const Description& d, CatalogueText& catalogue, SimulatedRun& run,
                         std::string& error) {
  if (d.synthetic) {
    catalogue = syntheticCatalogue(d.syntheticCount, d.syntheticMinDec, d.syntheticSeed);
  } else if (!readCatalogue(d.catalogue, catalogue)) {
    error = "cannot read " + d.catalogue;
    return false;
  }
  return simulateRun(d.plan, catalogue, run, error);
}

}  // namespace zenfit::sim
