#include "data/observation_reader.h"

#include <cctype>
#include <cmath>
#include <cstring>

#include "astro/vectors.h"
#include "command/startup.h"
#include "data/catalogue.h"
#include "data/decode.h"
#include "data/host_blocks.h"
#include "data/reduction.h"
#include "data/run_parameters.h"
#include "engine.h"

namespace zenfit {
namespace {

constexpr int kRecordLength = 120;  // characters kept of a file line

// Position limits (radians), unless the run says ALLSKY.
constexpr double kPoleLimit = 1.567305668290908;     // 89.8 degrees of declination
constexpr double kLowLimit = 0.17453292519943295;    // 10 degrees of elevation
constexpr double kZenithLimit = 1.567305668290908;   // 89.8 degrees of elevation


enum Rejection {
  kAccepted,
  kNoMoreRoom,
  kBadData,
  kNotInCatalogue,
  kIllegalCatalogueRecord,
  kMeanPlaceUndated,
  kTooNearPole,
  kTooLow,
  kTooNearZenith,
};

const char* rejectionText(Rejection rejection) {
  switch (rejection) {
    case kNoMoreRoom: return "******  No more room - observation rejected  ******\n";
    case kBadData: return "******  Bad data - observation rejected  ******\n";
    case kNotInCatalogue: return "******  Star not in catalog - observation rejected  ******\n";
    case kIllegalCatalogueRecord:
      return "******  Illegal record in catalog - observation rejected  ******\n";
    case kMeanPlaceUndated:
      return "******  Mean place rejected - date was not supplied  ******\n";
    case kTooNearPole: return "******  Too near pole - observation rejected  ******\n";
    case kTooLow: return "******  Too low - observation rejected  ******\n";
    case kTooNearZenith: return "******  Too near zenith - observation rejected  ******\n";
    case kAccepted: break;
  }
  return "";
}

// A bad catalogue entry is the catalogue's fault, not the observer's.
char rejectionSeverity(Rejection rejection) {
  return rejection == kIllegalCatalogueRecord ? 'S' : 'W';
}

// An observation as it will be stored.
struct Observation {
  int kind = kRecordEquatorial;
  double starHa = 0.0;
  double starDec = 0.0;
  double telHa = 0.0;
  double telDec = 0.0;
  int pier = 0;
  double siderealTime = 0.0;
  double aux[2] = {0.0, 0.0};
};

struct Reader {
  Reader(Engine& e, std::FILE* f) : engine(e), file(f) {}
  Engine& engine;
  std::FILE* file;
  char line[kRecordLength + 1] = "";
  int nextSlot = 0;
  int rejected = 0;
  bool keepCaption = false;
  bool noDate = false;
  bool allSky = false;
  char frame = 'A';           // frame of the telescope's places
  double frameEpoch = 2000.0;
  RunParameters params;
  RunReduction run;
};

const char* skipBlanks(const char* text) {
  while (*text == ' ') ++text;
  return text;
}

bool isEndRecord(const char* line) { return std::strcmp(skipBlanks(line), "END") == 0; }

void echo(Reader& reader, const char* line) { msgOutF(reader.engine, 'I', "%s\n", line); }

// ---------------------------------------------------------------------------
// Fields of an observation record.

struct Fields {
  int count = 0;
  double values[kMaxFields];
  int statuses[kMaxFields];
  int kinds[kMaxFields];
};

bool allPlain(const Fields& f, int first, int last) {
  for (int i = first; i < last; ++i) {
    if (f.kinds[i] != kEpochPlain) return false;
  }
  return true;
}

// Right ascension (h m s) at field i.
bool decodeRa(const Fields& f, int i, double& ra) {
  return checkSexagesimal(kSexHours, f.values + i, f.statuses + i, 3, ra) == 0;
}

// Declination (sign d m s) at field i. A reading of 90 degrees or more was
// taken over the pole: the declination folds back and the RA turns by 12h.
// Returns -1 invalid, 0 plain, 1 over the pole.
int decodeDec(const Fields& f, int i, double& ra, double& dec) {
  const int over = checkSexagesimal(kSexDegrees, f.values + i, f.statuses + i, 3, dec);
  if (over == 1) ra = wrapTwoPi(ra - kPi);
  return over;
}

// Local sidereal time (h m) at field i; the minutes may carry a fraction,
// since a whole minute of time is far coarser than any pointing.
bool decodeSiderealTime(const Fields& f, int i, double& lst) {
  const double hours = f.values[i];
  const double minutes = f.values[i + 1];
  if (f.statuses[i] != kDecodedNumber || f.statuses[i + 1] != kDecodedNumber) return false;
  if (hours != std::floor(hours) || hours > 23.0) return false;
  if (!(minutes >= 0.0 && minutes < 60.0)) return false;
  lst = (hours * 60.0 + minutes) * 60.0 * kRadianPerTimeSecond;
  return true;
}

void decodeAux(const Fields& f, int first, Observation& obs) {
  if (f.count > first) obs.aux[0] = f.values[first];
  if (f.count > first + 1) obs.aux[1] = f.values[first + 1];
}

// Telescope RA, Dec and sidereal time starting at field i.
bool decodeTelescope(const Fields& f, int i, double& ra, double& dec, Observation& obs) {
  if (!decodeRa(f, i, ra)) return false;
  const int over = decodeDec(f, i + 3, ra, dec);
  if (over < 0) return false;
  obs.pier = over;
  return decodeSiderealTime(f, i + 6, obs.siderealTime);
}

// ---------------------------------------------------------------------------
// Reduction of one record.

bool limitsOn(const Reader& reader) { return !reader.allSky; }

Rejection elevationLimits(const Reader& reader, double elevation) {
  if (!limitsOn(reader)) return kAccepted;
  if (elevation < kLowLimit) return kTooLow;
  if (elevation > kZenithLimit) return kTooNearZenith;
  return kAccepted;
}

// Star from its apparent place to the observed frame, with the limits.
Rejection reduceStar(const Reader& reader, double ra, double dec, Observation& obs) {
  if (limitsOn(reader) && std::fabs(dec) > kPoleLimit) return kTooNearPole;
  double elevation = 0.0;
  apparentToObserved(ra, dec, obs.siderealTime, reader.run, obs.starHa, obs.starDec, elevation);
  return elevationLimits(reader, elevation);
}

// A star place of the run's frame: apparent in frame A, else a mean place
// of the frame's epoch.
MeanPlace framePlace(const Reader& reader, double ra, double dec) {
  MeanPlace place;
  place.ra = ra;
  place.dec = dec;
  place.epoch = reader.frameEpoch;
  place.fk4 = reader.frame == 'B';
  return place;
}

// Telescope coordinates: as read for apparent places, else reduced from the
// run's frame like a star (without limits).
void reduceTelescope(const Reader& reader, double ra, double dec, Observation& obs) {
  if (reader.frame == 'A') {
    obs.telHa = wrapPi(obs.siderealTime - ra);
    obs.telDec = dec;
    return;
  }
  double raApparent = 0.0;
  double decApparent = 0.0;
  meanToApparentOfDate(framePlace(reader, ra, dec), reader.run, raApparent, decApparent);
  double elevation = 0.0;
  apparentToObserved(raApparent, decApparent, obs.siderealTime, reader.run, obs.telHa, obs.telDec,
                     elevation);
}

Rejection finishEquatorial(const Reader& reader, bool meanStar, const MeanPlace& star,
                           double telRa, double telDec, Observation& obs) {
  const bool meanTelescope = reader.frame != 'A';
  if ((meanStar || meanTelescope) && !reader.run.dated) return kMeanPlaceUndated;
  double ra = star.ra;
  double dec = star.dec;
  if (meanStar) meanToApparentOfDate(star, reader.run, ra, dec);
  const Rejection rejection = reduceStar(reader, ra, dec, obs);
  if (rejection != kAccepted) return rejection;
  reduceTelescope(reader, telRa, telDec, obs);
  return kAccepted;
}

Rejection readEquatorial(const Reader& reader, const Fields& f, Observation& obs) {
  obs.kind = kRecordEquatorial;
  if (!allPlain(f, 0, f.count)) return kBadData;
  double ra = 0.0;
  double dec = 0.0;
  if (!decodeRa(f, 0, ra) || decodeDec(f, 3, ra, dec) < 0) return kBadData;
  double telRa = 0.0;
  double telDec = 0.0;
  if (!decodeTelescope(f, 6, telRa, telDec, obs)) return kBadData;
  decodeAux(f, 14, obs);
  return finishEquatorial(reader, reader.frame != 'A', framePlace(reader, ra, dec), telRa, telDec,
                          obs);
}

Rejection readProperMotion(const Reader& reader, const Fields& f, Observation& obs) {
  obs.kind = kRecordProperMotion;
  if (!allPlain(f, 0, 8) || !allPlain(f, 9, f.count)) return kBadData;
  MeanPlace star;
  if (!decodeRa(f, 0, star.ra) || decodeDec(f, 3, star.ra, star.dec) < 0) return kBadData;
  star.pmRa = f.values[6] * kRadianPerTimeSecond;
  star.pmDec = f.values[7] * kRadianPerArcsec;
  if (f.statuses[8] != kDecodedNumber) return kBadData;
  star.epoch = f.values[8];
  star.fk4 = f.kinds[8] == kEpochBesselian;
  double telRa = 0.0;
  double telDec = 0.0;
  if (!decodeTelescope(f, 9, telRa, telDec, obs)) return kBadData;
  decodeAux(f, 17, obs);
  return finishEquatorial(reader, true, star, telRa, telDec, obs);
}

// "*NAME" then the telescope's RA and Dec, the sidereal time and the
// optional numbers.
Rejection readCatalogueStar(Reader& reader, const char* record, Observation& obs) {
  obs.kind = kRecordCatalogueStar;
  const char* name = skipBlanks(record + 1);
  const char* end = name;
  while (*end != '\0' && *end != ' ' && *end != ',') ++end;
  char starName[kRecordLength + 1];
  const auto length = static_cast<std::size_t>(end - name);
  std::memcpy(starName, name, length);
  starName[length] = '\0';
  if (length == 0) return kBadData;

  Fields f;
  f.count = splitFields(end, f.values, f.statuses, f.kinds);
  if (f.count < 8 || f.count > 10 || !allPlain(f, 0, f.count)) return kBadData;
  double telRa = 0.0;
  double telDec = 0.0;
  if (!decodeTelescope(f, 0, telRa, telDec, obs)) return kBadData;
  decodeAux(f, 8, obs);

  CatalogueStar entry;
  const int found = findCatalogueStar(reader.engine.catalogue, starName, entry);
  if (found < 0) return kNotInCatalogue;
  if (found > 0) return kIllegalCatalogueRecord;
  return finishEquatorial(reader, true, meanPlace(entry), telRa, telDec, obs);
}

// Azimuths and elevations in degrees: no date and no reduction needed.
Rejection readHorizon(const Reader& reader, const Fields& f, Observation& obs) {
  obs.kind = kRecordHorizon;
  if (!allPlain(f, 0, f.count)) return kBadData;
  const double starAz = f.values[0] * kRadianPerDegree;
  const double starEl = f.values[1] * kRadianPerDegree;
  const double telAz = f.values[2] * kRadianPerDegree;
  const double telEl = f.values[3] * kRadianPerDegree;
  if (std::fabs(starEl) > kHalfPi || std::fabs(telEl) > kHalfPi) return kBadData;
  if (!std::isfinite(starAz) || !std::isfinite(telAz)) return kBadData;
  Rejection rejection = elevationLimits(reader, starEl);
  if (rejection == kAccepted) rejection = elevationLimits(reader, telEl);
  if (rejection != kAccepted) return rejection;
  decodeAux(f, 4, obs);
  horizonToHaDec(starAz, starEl, reader.run, obs.starHa, obs.starDec);
  horizonToHaDec(telAz, telEl, reader.run, obs.telHa, obs.telDec);
  return kAccepted;
}

Rejection readObservation(Reader& reader, const char* record, Observation& obs) {
  if (reader.nextSlot >= kMaxObservations) return kNoMoreRoom;
  if (*skipBlanks(record) == '*') return readCatalogueStar(reader, skipBlanks(record), obs);
  Fields f;
  f.count = splitFields(record, f.values, f.statuses, f.kinds);
  if (f.count >= 14 && f.count <= 16) return readEquatorial(reader, f, obs);
  if (f.count >= 17 && f.count <= 19) return readProperMotion(reader, f, obs);
  if (f.count >= 4 && f.count <= 6) return readHorizon(reader, f, obs);
  return kBadData;
}

void store(Reader& reader, const Observation& obs) {
  ObservationList& list = reader.engine.observations;
  const int slot = reader.nextSlot;
  list.status[slot] = kStatusActive;
  list.runFlag[slot] = obs.kind;
  list.pierFlag[slot] = obs.pier;
  list.starHa[slot] = list.starHaWork[slot] = obs.starHa;
  list.starDec[slot] = list.starDecWork[slot] = obs.starDec;
  list.telHa[slot] = list.telHaWork[slot] = obs.telHa;
  list.telDec[slot] = list.telDecWork[slot] = obs.telDec;
  list.aux[slot][0] = obs.aux[0];
  list.aux[slot][1] = obs.aux[1];
  list.aux[slot][2] = 0.0;
  list.status[slot + 1] = kStatusEndOfList;  // slot + 1 <= 4999
  reader.nextSlot = slot + 1;
  writeHostMapPoint(reader.engine, slot, obs.siderealTime);
}

// ---------------------------------------------------------------------------
// The file, record kind by record kind.

bool readCaption(Reader& reader) {
  if (!readTextLine(reader.file, kRecordLength, reader.line) || isEndRecord(reader.line)) return false;
  Engine& engine = reader.engine;
  msgOut(engine, 'P', "\f *  POINTING OBSERVATIONS  *\n\n");
  echo(reader, reader.line);
  if (!reader.keepCaption) {
    std::snprintf(engine.run.caption, sizeof engine.run.caption, "%.*s", kCaptionLength,
                  reader.line);
  }
  return true;
}

bool isKeyword(const char* word, std::size_t length, const char* keyword) {
  if (length != std::strlen(keyword)) return false;
  for (std::size_t i = 0; i < length; ++i) {
    if (std::toupper(static_cast<unsigned char>(word[i])) != keyword[i]) return false;
  }
  return true;
}

// The word after the colon: NODA, ALLSKY, A, or an epoch (B1950, J2000, or
// a bare number, taken as Julian).
bool readOption(Reader& reader, const char* record) {
  const char* word = skipBlanks(record + 1);
  std::size_t length = 0;
  while (word[length] != '\0' && word[length] != ' ') ++length;
  if (isKeyword(word, length, "NODA")) {
    reader.noDate = true;
    return true;
  }
  if (isKeyword(word, length, "ALLSKY")) {
    reader.allSky = true;
    return true;
  }
  if (isKeyword(word, length, "A")) {
    reader.frame = 'A';
    return true;
  }
  char text[kRecordLength + 1];
  std::memcpy(text, word, length);
  text[length] = '\0';
  int pos = 1;
  double epoch = 0.0;
  int status = kDecodedNull;
  int kind = kEpochPlain;
  decodeEpoch(text, pos, epoch, status, kind);
  if (status != kDecodedNumber || pos != static_cast<int>(length) + 1) return false;
  reader.frame = kind == kEpochBesselian ? 'B' : 'J';
  reader.frameEpoch = epoch;
  return true;
}

// Sets the run's constants from an accepted run parameters record.
void acceptRunParameters(Reader& reader) {
  Engine& engine = reader.engine;
  const RunParameters& p = reader.params;
  RunReduction& run = reader.run;
  prepareRunReduction(p, p.dated && !reader.noDate, run);

  RunState& state = engine.run;
  state.sinLat = run.sinLat;
  state.cosLat = run.cosLat;
  state.refA = run.refA;
  state.refB = run.refB;
  state.diurab = run.diurab;
  state.obsPresent = 1;

  RunDescription description;
  description.params = &p;
  description.frame = reader.frame;
  description.mode = static_cast<unsigned char>((reader.noDate ? obs_parms::kModeNoDate : 0) |
                                                (reader.allSky ? obs_parms::kModeAllSky : 0));
  writeHostRunParameters(engine, description);
}

// Caption, option records and the run parameters record.
int readHeader(Reader& reader) {
  Engine& engine = reader.engine;
  if (!readCaption(reader)) {
    msgOut(engine, 'E', "Unexpected end-of-file!\n");
    return kReadUnexpectedEnd;
  }
  for (;;) {
    if (!readTextLine(reader.file, kRecordLength, reader.line) || isEndRecord(reader.line)) {
      msgOut(engine, 'E', "Unexpected end-of-file!\n");
      return kReadUnexpectedEnd;
    }
    if (reader.line[0] != ':') break;
    echo(reader, reader.line);
    if (!readOption(reader, reader.line)) {
      msgOut(engine, 'E', "Error in option record!\n");
      return kReadBadOption;
    }
  }
  if (!parseRunParameters(reader.line, reader.params)) {
    msgOut(engine, 'E', "Error in run parameters record!\n");
    return kReadBadRunParameters;
  }
  acceptRunParameters(reader);
  return kReadDone;
}

int readObservationRecords(Reader& reader) {
  Engine& engine = reader.engine;
  const bool brief = engine.run.briefEcho != 0;
  while (readTextLine(reader.file, kRecordLength, reader.line) && !isEndRecord(reader.line)) {
    // Blank lines separate groups of observations; they are not records.
    if (reader.line[0] == '\0') continue;
    if (!brief) echo(reader, reader.line);
    Observation obs;
    const Rejection rejection = readObservation(reader, reader.line, obs);
    if (rejection != kAccepted) {
      if (brief) echo(reader, reader.line);
      msgOut(engine, rejectionSeverity(rejection), rejectionText(rejection));
      ++reader.rejected;
      continue;
    }
    store(reader, obs);
    if (cancelPoll(engine, 0) != 0) {
      msgOut(engine, 'I', "*** aborted ***\n");
      return kReadAborted;
    }
  }
  msgOutF(engine, 'I',
          "REFA   (arcsec)  = %9.5f\nREFB   (arcsec)  = %10.6f\nDIURAB (arcsec)  = %8.4f\n\n",
          reader.run.refA * kArcsecPerRadian, reader.run.refB * kArcsecPerRadian,
          reader.run.diurab * kArcsecPerRadian);
  return kReadDone;
}

}  // namespace

int readObservations(Engine& engine, std::FILE* file, int& rejected) {
  ObservationList& list = engine.observations;
  Reader reader(engine, file);
  const int present = observationCount(list);
  if (engine.run.appendMode == 1 && present > 0) {
    reader.nextSlot = present;
    reader.keepCaption = true;
  } else {
    clearObservations(list);
    engine.run.obsPresent = -1;
  }

  int result = readHeader(reader);
  if (result == kReadDone) result = readObservationRecords(reader);

  list.status[reader.nextSlot] = kStatusEndOfList;
  engine.run.appendMode = 0;
  msgOut(engine, 'P', "\f");
  rejected = reader.rejected;
  return result;
}

void cmdIndat(Engine& engine) {
  char name[kFileNameSize];
  if (!requireFileName(engine, 5, name, "Input filename must be specified!\n")) return;
  std::FILE* file =
      openOrReport(engine, name, "r", "Input file cannot be opened!  File = %s, status = %d\n");
  if (file == nullptr) return;
  int rejected = 0;
  const int result = readObservations(engine, file, rejected);
  std::fclose(file);
  if (rejected > 0) msgOutF(engine, 'W', "Rejected observation count = %d.\n", rejected);
  if (result == kReadDone) engine.dispatch.status = kStatusDone;
}

}  // namespace zenfit
