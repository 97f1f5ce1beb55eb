#include "data/observation_reader.h"

#include <cctype>
#include <cmath>
#include <cstring>

#include "astro/vectors.h"
#include "base/decode.h"
#include "base/text.h"
#include "data/reduction.h"

namespace zenfit {
namespace {

constexpr int kRecordLength = 120;  // characters kept of a file line

// Position limits (radians), unless the run says ALLSKY.
constexpr double kPoleLimit = 1.567305668290908;     // 89.8 degrees of declination
constexpr double kLowLimit = 0.17453292519943295;    // 10 degrees of elevation
constexpr double kZenithLimit = 1.567305668290908;   // 89.8 degrees of elevation




// An observation record as it will be stored.
struct Record {
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
  Reader(std::FILE* f, ObservationList& l, RunState& r, Catalogue& c)
      : file(f), list(l), state(r), catalogue(c) {}
  std::FILE* file;
  ObservationList& list;
  RunState& state;
  Catalogue& catalogue;
  ObservationRead result;
  char line[kRecordLength + 1] = "";
  int nextSlot = 0;
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

void log(Reader& reader, ReadRecord::Kind kind, const char* line,
         Rejection rejection = Rejection::None) {
  reader.result.records.push_back({kind, line, rejection});
}

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

void decodeAux(const Fields& f, int first, Record& obs) {
  if (f.count > first) obs.aux[0] = f.values[first];
  if (f.count > first + 1) obs.aux[1] = f.values[first + 1];
}

// Telescope RA, Dec and sidereal time starting at field i.
bool decodeTelescope(const Fields& f, int i, double& ra, double& dec, Record& obs) {
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
  if (!limitsOn(reader)) return Rejection::None;
  if (elevation < kLowLimit) return Rejection::TooLow;
  if (elevation > kZenithLimit) return Rejection::TooNearZenith;
  return Rejection::None;
}

// Star from its apparent place to the observed frame, with the limits.
Rejection reduceStar(const Reader& reader, double ra, double dec, Record& obs) {
  if (limitsOn(reader) && std::fabs(dec) > kPoleLimit) return Rejection::TooNearPole;
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
void reduceTelescope(const Reader& reader, double ra, double dec, Record& obs) {
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
                           double telRa, double telDec, Record& obs) {
  const bool meanTelescope = reader.frame != 'A';
  if ((meanStar || meanTelescope) && !reader.run.dated) return Rejection::MeanPlaceUndated;
  double ra = star.ra;
  double dec = star.dec;
  if (meanStar) meanToApparentOfDate(star, reader.run, ra, dec);
  const Rejection rejection = reduceStar(reader, ra, dec, obs);
  if (rejection != Rejection::None) return rejection;
  reduceTelescope(reader, telRa, telDec, obs);
  return Rejection::None;
}

Rejection readEquatorial(const Reader& reader, const Fields& f, Record& obs) {
  obs.kind = kRecordEquatorial;
  if (!allPlain(f, 0, f.count)) return Rejection::BadData;
  double ra = 0.0;
  double dec = 0.0;
  if (!decodeRa(f, 0, ra) || decodeDec(f, 3, ra, dec) < 0) return Rejection::BadData;
  double telRa = 0.0;
  double telDec = 0.0;
  if (!decodeTelescope(f, 6, telRa, telDec, obs)) return Rejection::BadData;
  decodeAux(f, 14, obs);
  return finishEquatorial(reader, reader.frame != 'A', framePlace(reader, ra, dec), telRa, telDec,
                          obs);
}

Rejection readProperMotion(const Reader& reader, const Fields& f, Record& obs) {
  obs.kind = kRecordProperMotion;
  if (!allPlain(f, 0, 8) || !allPlain(f, 9, f.count)) return Rejection::BadData;
  MeanPlace star;
  if (!decodeRa(f, 0, star.ra) || decodeDec(f, 3, star.ra, star.dec) < 0) return Rejection::BadData;
  star.pmRa = f.values[6] * kRadianPerTimeSecond;
  star.pmDec = f.values[7] * kRadianPerArcsec;
  if (f.statuses[8] != kDecodedNumber) return Rejection::BadData;
  star.epoch = f.values[8];
  star.fk4 = f.kinds[8] == kEpochBesselian;
  double telRa = 0.0;
  double telDec = 0.0;
  if (!decodeTelescope(f, 9, telRa, telDec, obs)) return Rejection::BadData;
  decodeAux(f, 17, obs);
  return finishEquatorial(reader, true, star, telRa, telDec, obs);
}

// "*NAME" then the telescope's RA and Dec, the sidereal time and the
// optional numbers.
Rejection readCatalogueStar(Reader& reader, const char* record, Record& obs) {
  obs.kind = kRecordCatalogueStar;
  const char* name = skipBlanks(record + 1);
  const char* end = name;
  while (*end != '\0' && *end != ' ' && *end != ',') ++end;
  char starName[kRecordLength + 1];
  const auto length = static_cast<std::size_t>(end - name);
  std::memcpy(starName, name, length);
  starName[length] = '\0';
  if (length == 0) return Rejection::BadData;

  Fields f;
  f.count = splitFields(end, f.values, f.statuses, f.kinds);
  if (f.count < 8 || f.count > 10 || !allPlain(f, 0, f.count)) return Rejection::BadData;
  double telRa = 0.0;
  double telDec = 0.0;
  if (!decodeTelescope(f, 0, telRa, telDec, obs)) return Rejection::BadData;
  decodeAux(f, 8, obs);

  CatalogueStar entry;
  const int found = findCatalogueStar(reader.catalogue, starName, entry);
  if (found < 0) return Rejection::NotInCatalogue;
  if (found > 0) return Rejection::IllegalCatalogueRecord;
  return finishEquatorial(reader, true, meanPlace(entry), telRa, telDec, obs);
}

// Azimuths and elevations in degrees: no date and no reduction needed.
Rejection readHorizon(const Reader& reader, const Fields& f, Record& obs) {
  obs.kind = kRecordHorizon;
  if (!allPlain(f, 0, f.count)) return Rejection::BadData;
  const double starAz = f.values[0] * kRadianPerDegree;
  const double starEl = f.values[1] * kRadianPerDegree;
  const double telAz = f.values[2] * kRadianPerDegree;
  const double telEl = f.values[3] * kRadianPerDegree;
  if (std::fabs(starEl) > kHalfPi || std::fabs(telEl) > kHalfPi) return Rejection::BadData;
  if (!std::isfinite(starAz) || !std::isfinite(telAz)) return Rejection::BadData;
  Rejection rejection = elevationLimits(reader, starEl);
  if (rejection == Rejection::None) rejection = elevationLimits(reader, telEl);
  if (rejection != Rejection::None) return rejection;
  decodeAux(f, 4, obs);
  horizonToHaDec(starAz, starEl, reader.run, obs.starHa, obs.starDec);
  horizonToHaDec(telAz, telEl, reader.run, obs.telHa, obs.telDec);
  return Rejection::None;
}

Rejection readObservation(Reader& reader, const char* record, Record& obs) {
  if (reader.nextSlot >= kMaxObservations) return Rejection::NoMoreRoom;
  if (*skipBlanks(record) == '*') return readCatalogueStar(reader, skipBlanks(record), obs);
  Fields f;
  f.count = splitFields(record, f.values, f.statuses, f.kinds);
  if (f.count >= 14 && f.count <= 16) return readEquatorial(reader, f, obs);
  if (f.count >= 17 && f.count <= 19) return readProperMotion(reader, f, obs);
  if (f.count >= 4 && f.count <= 6) return readHorizon(reader, f, obs);
  return Rejection::BadData;
}

void store(Reader& reader, const Record& record) {
  const int slot = reader.nextSlot;
  Observation& o = reader.list[slot];
  o.status = kStatusActive;
  o.kind = record.kind;
  o.pierFlag = record.pier;
  o.starHa = o.starHaWork = record.starHa;
  o.starDec = o.starDecWork = record.starDec;
  o.telHa = o.telHaWork = record.telHa;
  o.telDec = o.telDecWork = record.telDec;
  o.aux[0] = record.aux[0];
  o.aux[1] = record.aux[1];
  o.aux[2] = 0.0;
  o.siderealTime = record.siderealTime;
  reader.list[slot + 1].status = kStatusEndOfList;  // slot + 1 <= 4999
  reader.nextSlot = slot + 1;
}

// ---------------------------------------------------------------------------
// The file, record kind by record kind.

bool readCaption(Reader& reader) {
  if (!readTextLine(reader.file, kRecordLength, reader.line) || isEndRecord(reader.line)) return false;
  log(reader, ReadRecord::Kind::Caption, reader.line);
  if (!reader.keepCaption) reader.state.caption.assign(reader.line, strnlen(reader.line, kCaptionLength));
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
  const RunParameters& p = reader.params;
  RunReduction& run = reader.run;
  prepareRunReduction(p, p.dated && !reader.noDate, run);

  RunState& state = reader.state;
  static_cast<RunConstants&>(state) = run;
  state.obsPresent = 1;

  RunDescription description;
  description.params = p;
  description.frame = reader.frame;
  description.mode = static_cast<unsigned char>((reader.noDate ? 1 : 0) | (reader.allSky ? 2 : 0));
  reader.result.run = description;
}

// Caption, option records and the run parameters record.
ReadOutcome readHeader(Reader& reader) {
  if (!readCaption(reader)) return ReadOutcome::UnexpectedEnd;
  for (;;) {
    if (!readTextLine(reader.file, kRecordLength, reader.line) || isEndRecord(reader.line)) {
      return ReadOutcome::UnexpectedEnd;
    }
    if (reader.line[0] != ':') break;
    log(reader, ReadRecord::Kind::Option, reader.line);
    if (!readOption(reader, reader.line)) return ReadOutcome::BadOption;
  }
  if (!parseRunParameters(reader.line, reader.params)) return ReadOutcome::BadRunParameters;
  acceptRunParameters(reader);
  return ReadOutcome::Done;
}

ReadOutcome readObservationRecords(Reader& reader, const std::function<bool()>& cancelled) {
  while (readTextLine(reader.file, kRecordLength, reader.line) && !isEndRecord(reader.line)) {
    // Blank lines separate groups of observations; they are not records.
    if (reader.line[0] == '\0') continue;
    Record obs;
    const Rejection rejection = readObservation(reader, reader.line, obs);
    log(reader, ReadRecord::Kind::Observation, reader.line, rejection);
    if (rejection != Rejection::None) {
      ++reader.result.rejected;
      continue;
    }
    store(reader, obs);
    if (cancelled && cancelled()) return ReadOutcome::Aborted;
  }
  return ReadOutcome::Done;
}

}  // namespace

ObservationRead readObservations(std::FILE* file, ObservationList& list, RunState& run,
                                 Catalogue& catalogue, const std::function<bool()>& cancelled) {
  Reader reader(file, list, run, catalogue);
  const int present = list.count();
  if (run.appendMode == 1 && present > 0) {
    reader.nextSlot = present;
    reader.keepCaption = true;
  } else {
    list.clear();
    run.obsPresent = -1;
  }
  reader.result.firstSlot = reader.nextSlot;

  ReadOutcome outcome = readHeader(reader);
  if (outcome == ReadOutcome::Done) outcome = readObservationRecords(reader, cancelled);

  list[reader.nextSlot].status = kStatusEndOfList;
  run.appendMode = 0;
  reader.result.outcome = outcome;
  reader.result.endSlot = reader.nextSlot;
  return std::move(reader.result);
}

}  // namespace zenfit
