#include "simulator.h"

#include <erfa.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <memory>
#include <random>

#include "astro/astro.h"
#include "astro/vectors.h"
#include "data/catalogue.h"
#include "data/decode.h"
#include "engine.h"
#include "model/evaluate.h"

namespace zenfit::sim {
namespace {

// The reader's position limits (radians): it refuses stars beyond them.
constexpr double kPoleLimit = 1.567305668290908;  // 89.8 degrees of declination
constexpr double kCelsiusToKelvin = 273.155;
constexpr double kRefractionPrecision = 1e-8;
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

// What the run contributes to the reduction of a star, as the reader
// derives it from the run parameters record.
struct RunContext {
  double sinLat = 0.0;
  double cosLat = 1.0;
  double refA = 0.0;
  double refB = 0.0;
  double diurab = 0.0;
  bool dated = false;
  double mjd = 0.0;
  astro::ApparentPlaceContext apparent;
};

// The run parameters record, and the context the reader will make of it.
bool runParameters(const RunSpec& spec, std::string& record, RunContext& run, std::string& error) {
  record = spec.latitude;
  if (spec.dated) {
    record += format(" %d %d %.5f", spec.year, spec.month, spec.day);
    if (spec.weather) {
      const Weather& w = spec.conditions;
      record += format(" %.1f %.1f %.0f %.2f %.2f %.4f", w.temperatureC, w.pressureMb, w.heightM,
                       w.humidity, w.wavelengthUm, w.lapseRateKPerM);
    }
  }
  const Fields f(record);
  double latitude = 0.0;
  if (f.count < 3 || checkSexagesimal(kSexDegrees, f.values, f.statuses, 3, latitude) != 0) {
    error = "bad latitude: " + spec.latitude;
    return false;
  }
  run.sinLat = std::sin(latitude);
  run.cosLat = std::cos(latitude);
  if (!spec.dated) return true;
  const double day = f.values[5];
  const double wholeDay = std::floor(day);
  if (astro::calendarToMjd(static_cast<int>(f.values[3]), static_cast<int>(f.values[4]),
                           static_cast<int>(wholeDay), run.mjd) != 0) {
    error = "bad date";
    return false;
  }
  run.mjd += day - wholeDay;
  run.dated = true;
  double height = 0.0;
  if (spec.weather) {
    height = f.values[8];
    if (f.values[7] > 1e-6) {
      astro::refractionConstants(height, f.values[6] + kCelsiusToKelvin, f.values[7], f.values[9],
                                 f.values[10], latitude, f.values[11], kRefractionPrecision,
                                 run.refA, run.refB);
    }
  }
  double fromAxis = 0.0;
  double fromEquator = 0.0;
  astro::siteDistances(latitude, height, fromAxis, fromEquator);
  run.diurab = astro::diurnalAberrationConstant(fromAxis);
  astro::prepareMeanToApparent(run.mjd, run.apparent);
  return true;
}

// A mean place: proper motion to the date, to FK5 J2000.0, then the
// apparent place of the date; as the reader reduces catalogue stars and
// proper-motion records.
void meanToApparentOfDate(const CatalogueStar& star, const RunContext& run, double& ra,
                          double& dec) {
  const bool fk4 = star.epochKind == kEpochBesselian;
  double r = star.ra;
  double d = star.dec;
  astro::applyProperMotion(r, d, star.pmRa, star.pmDec, star.epoch, fk4, run.mjd);
  if (fk4) {
    if (star.epoch != 1950.0) astro::precessFk4(star.epoch, 1950.0, r, d);
    double r5 = 0.0;
    double d5 = 0.0;
    astro::fk4ToFk5(r, d, astro::besselianEpoch(run.mjd), r5, d5);
    r = r5;
    d = d5;
  } else if (star.epoch != 2000.0) {
    astro::precessFk5(star.epoch, 2000.0, r, d);
  }
  astro::meanToApparent(r, d, run.apparent, ra, dec);
}

// Apparent place to the observed hour angle and declination at sidereal
// time lst: diurnal aberration, refraction. elevation receives the
// unrefracted elevation, against which the reader's limits are tested.
void apparentToObserved(double ra, double dec, double lst, const RunContext& run, double& ha,
                        double& observedDec, double& elevation) {
  double v[3];
  sphericalToVector(-wrapPi(lst - ra), dec, v);
  if (run.diurab != 0.0) {
    astro::applyDiurnalAberration(run.diurab, v);
    normalise(v);
  }
  double horizon[3];
  equatorialToHorizon(v, run.sinLat, run.cosLat, horizon);
  double longitude = 0.0;
  vectorToSpherical(horizon, longitude, elevation);
  if (run.refA != 0.0 || run.refB != 0.0) {
    double refracted[3];
    astro::refractHorizonVector(horizon, run.refA, run.refB, refracted);
    normalise(refracted);
    for (int i = 0; i < 3; ++i) horizon[i] = refracted[i];
  }
  horizonToEquatorial(horizon, run.sinLat, run.cosLat, v);
  vectorToSpherical(v, longitude, observedDec);
  ha = -longitude;
}

// Azimuth (from the north through the east) and elevation, radians, of a
// horizon-frame vector; and the reader's way back to hour angle and
// declination.
void horizonToAzEl(const double v[3], double& azimuth, double& elevation) {
  double longitude = 0.0;
  vectorToSpherical(v, longitude, elevation);
  azimuth = wrapTwoPi(kPi - longitude);
}

void azElToHaDec(double azimuth, double elevation, const RunContext& run, double& ha,
                 double& dec) {
  double horizon[3];
  sphericalToVector(kPi - azimuth, elevation, horizon);
  double v[3];
  horizonToEquatorial(horizon, run.sinLat, run.cosLat, v);
  double longitude = 0.0;
  vectorToSpherical(v, longitude, dec);
  ha = -longitude;
}

struct Star {
  std::string name;
  CatalogueStar place;
  double ra = 0.0;   // apparent place of the run's date (or the place itself, undated)
  double dec = 0.0;
};

// The catalogue's stars, decoded as the reader decodes them.
bool loadStars(Engine& engine, const CatalogueText& catalogue, const RunContext& run,
               std::vector<Star>& stars, std::string& error) {
  Catalogue& table = engine.catalogue;
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
      meanToApparentOfDate(star.place, run, star.ra, star.dec);
    } else {
      star.ra = star.place.ra;
      star.dec = star.place.dec;
    }
    stars.push_back(star);
  }
  if (stars.empty()) error = "no usable star in the catalogue";
  return !stars.empty();
}

bool setModel(Engine& engine, const std::vector<ModelTerm>& terms, std::string& error) {
  for (const ModelTerm& term : terms) {
    if (useTerms(engine, term.name.c_str()) != 0) {
      error = "bad term: " + term.name;
      return false;
    }
    if (term.parallel) parallelTerms(engine, term.name.c_str());
    double value = term.arcsec * kRadianPerArcsec;
    setCoefficient(engine, term.name.c_str(), 0, 1, &value);
  }
  return true;
}

// Unrefracted elevation of an apparent place at sidereal time lst.
double elevationAt(const Star& star, double lst, const RunContext& run) {
  double ha = 0.0;
  double dec = 0.0;
  double elevation = 0.0;
  RunContext plain = run;
  plain.refA = plain.refB = 0.0;
  apparentToObserved(star.ra, star.dec, lst, plain, ha, dec, elevation);
  return elevation;
}

// A star visible at lst, preferring one not among the recent picks; -1 if
// none is visible.
int chooseStar(const std::vector<Star>& stars, double lst, const RunContext& run,
               const RunSpec& spec, std::vector<int>& recent, Random& random) {
  std::vector<int> visible;
  std::vector<int> fresh;
  const double low = spec.lowestElevation * kRadianPerDegree;
  const double high = spec.highestElevation * kRadianPerDegree;
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
std::string telescopeFields(const double corrected[3], const RunSpec& spec, const RunContext& run,
                            double lst, int pier, Random& random, SimulatedObservation& obs) {
  const double sigma = spec.noiseArcsec * kRadianPerArcsec;
  if (spec.mount == Mount::Altazimuth) {
    double azimuth = 0.0;
    double elevation = 0.0;
    horizonToAzEl(corrected, azimuth, elevation);
    azimuth += sigma * random.gauss() / std::cos(elevation);
    elevation += sigma * random.gauss();
    const int digits = spec.decimals + 3;
    const std::string text = format("%.*f %.*f", digits, wrapTwoPi(azimuth) * kDegreesPerRadian,
                                    digits, elevation * kDegreesPerRadian);
    const Fields f(text);
    azElToHaDec(f.values[0] * kRadianPerDegree, f.values[1] * kRadianPerDegree, run, obs.telHa,
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
  const std::string text = raText(ra, spec.decimals) + "  " + decText(dec, spec.decimals - 1);
  const Fields f(text);
  double raRead = 0.0;
  decodeRaDec(f, 0, raRead, obs.telDec);
  obs.telHa = wrapPi(lst - raRead);
  return text;
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

bool simulateRun(const RunSpec& spec, const CatalogueText& catalogue, SimulatedRun& run,
                 std::string& error) {
  auto engine = std::make_unique<Engine>();
  loadTermNames(*engine);
  clearModel(engine->model);
  RunContext context;
  std::string parameters;
  if (!runParameters(spec, parameters, context, error)) return false;
  engine->run.sinLat = context.sinLat;
  engine->run.cosLat = context.cosLat;
  if (!setModel(*engine, spec.model, error)) return false;
  std::vector<Star> stars;
  if (!loadStars(*engine, catalogue, context, stars, error)) return false;

  run.text = spec.caption + "\n" + parameters + "\n";
  run.observations.clear();
  Random random(spec.seed);
  std::vector<int> recent;
  ObservationList& list = engine->observations;
  for (int k = 0; k < spec.observations; ++k) {
    const std::string lstField =
        lstText(spec.startLstHours * kRadianPerHour +
                k * spec.intervalMinutes * 60.0 * kRadianPerTimeSecond);
    const double lst = decodeLst(lstField);
    const int pick = chooseStar(stars, lst, context, spec, recent, random);
    if (pick < 0) continue;
    const Star& star = stars[pick];

    Kind kind = Kind::Catalogue;
    const double draw = random.uniform();
    if (spec.mount == Mount::Altazimuth) {
      kind = Kind::Horizon;
    } else if (!spec.dated || draw < spec.apparentShare) {
      kind = Kind::Apparent;
    } else if (draw < spec.apparentShare + spec.meanPlaceShare) {
      kind = Kind::MeanPlace;
    }
    const bool besselian = random.uniform() < spec.besselianShare;
    const int pier =
        spec.mount == Mount::Equatorial && random.uniform() < spec.flippedShare ? 1 : 0;

    SimulatedObservation obs;
    obs.pierFlag = pier;
    std::string starFields;
    double ra = star.ra;
    double dec = star.dec;
    if (kind == Kind::MeanPlace) {
      starFields = meanPlaceFields(star, besselian, spec.decimals);
      meanToApparentOfDate(decodeMeanPlace(starFields), context, ra, dec);
    } else if (kind == Kind::Apparent) {
      starFields = raText(star.ra, spec.decimals + 1) + "  " + decText(star.dec, spec.decimals);
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
      const int digits = spec.decimals + 3;
      starFields = format("%.*f %.*f", digits, azimuth * kDegreesPerRadian, digits,
                          el * kDegreesPerRadian);
      const Fields f(starFields);
      azElToHaDec(f.values[0] * kRadianPerDegree, f.values[1] * kRadianPerDegree, context,
                  obs.starHa, obs.starDec);
      astro::haDecToHorizon(obs.starHa, obs.starDec, context.sinLat, context.cosLat, 0.0,
                            source);
    }

    std::string auxField;
    if (spec.aux1) {
      const double t = spec.observations > 1 ? static_cast<double>(k) / (spec.observations - 1)
                                             : 0.0;
      auxField = format("  %.3f", spec.aux1First + (spec.aux1Last - spec.aux1First) * t);
      obs.aux1 = Fields(auxField).values[0];
    }
    list.status[0] = kStatusActive;
    list.pierFlag[0] = pier;
    list.aux[0][0] = obs.aux1;
    list.aux[0][1] = list.aux[0][2] = 0.0;
    double corrected[3] = {source[0], source[1], source[2]};
    if (applyModelTerms(*engine, 0, corrected) < 0) continue;
    const std::string telescope =
        telescopeFields(corrected, spec, context, lst, pier, random, obs);

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

}  // namespace zenfit::sim
