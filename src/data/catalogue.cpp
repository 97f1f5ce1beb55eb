#include "data/catalogue.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "base/decode.h"
#include "base/text.h"

namespace zenfit {
namespace {

constexpr int kNameLength = 6;

bool isEndMark(const char* line) { return keywordEquals(line, "END") == 0; }

bool isWhite(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// Whether a line's name (its first 6 characters without trailing white
// space) is the given name, which has length characters without trailing
// white space: the keyword comparison, without copying the name out of the
// line, since a lookup may walk the whole table for every observation.
bool lineHasName(const char* line, const char* name, int length) {
  if (length > kNameLength || std::strncmp(line, name, static_cast<std::size_t>(length)) != 0) {
    return false;
  }
  for (int i = length; i < kNameLength && line[i] != '\0'; ++i) {
    if (!isWhite(line[i])) return false;
  }
  return true;
}

// Decodes the 9 fields after the name: RA, Dec, proper motions, epoch.
bool decodeEntry(const char* line, CatalogueStar& star) {
  const int length = static_cast<int>(std::strlen(line));
  const char* fields = line + (length < kNameLength ? length : kNameLength);
  double values[kMaxFields];
  int statuses[kMaxFields];
  int kinds[kMaxFields];
  if (splitFields(fields, values, statuses, kinds) != 9) return false;
  for (int i = 0; i < 8; ++i) {
    if (kinds[i] != kEpochPlain) return false;
  }
  double ra = 0.0;
  double dec = 0.0;
  if (checkSexagesimal(kSexHours, values, statuses, 3, ra) < 0) return false;
  const int pole = checkSexagesimal(kSexDegrees, values + 3, statuses + 3, 3, dec);
  if (pole < 0) return false;
  if (pole == 1) {  // over the pole: the RA is 12 hours round
    ra -= kPi;
    if (ra < 0.0) ra += kTwoPi;
  }
  if (statuses[8] != kDecodedNumber) return false;
  star.ra = ra;
  star.dec = dec;
  star.pmRa = values[6] * kRadianPerTimeSecond;
  star.pmDec = values[7] * kRadianPerArcsec;
  star.epoch = values[8];
  star.epochKind = kinds[8];
  return true;
}

}  // namespace

void Catalogue::clear() {
  std::snprintf(lines[0], sizeof lines[0], "END");
  lookupPosition = -1;
  fileName.clear();
}

CatalogueLoad loadCatalogue(Catalogue& catalogue, std::FILE* file,
                            const std::function<bool()>& cancelled) {
  CatalogueLoad load;
  catalogue.lookupPosition = -1;
  int slot = 0;
  int last = -1;
  char line[kCatalogueLineLength + 1];
  while (slot < kCatalogueSlots - 1) {
    if (cancelled && cancelled()) {
      std::snprintf(catalogue.lines[0], sizeof catalogue.lines[0], "END");
      load.interrupted = true;
      return load;
    }
    if (!readTextLine(file, kCatalogueLineLength, line)) break;
    // An "END" line uses up its slot but stores nothing in it.
    if (!isEndMark(line)) {
      std::memcpy(catalogue.lines[slot], line, sizeof line);
      last = slot;
    }
    ++slot;
  }
  std::snprintf(catalogue.lines[last + 1], sizeof catalogue.lines[last + 1], "END");
  load.stars = last > 0 ? last : 0;
  return load;
}

int findCatalogueStar(Catalogue& catalogue, const char* name, CatalogueStar& star) {
  int slot = catalogue.lookupPosition >= 0 && catalogue.lookupPosition < kCatalogueSlots
                 ? catalogue.lookupPosition
                 : 0;
  const int length = trimmedLength(name);
  bool wrapped = false;
  for (int steps = 0; steps <= 2 * kCatalogueSlots; ++steps) {
    const char* line = catalogue.lines[slot];
    if (line[0] == 'E' && isEndMark(line)) {
      if (wrapped) break;
      wrapped = true;
      slot = 0;
      continue;
    }
    if (lineHasName(line, name, length)) {
      catalogue.lookupPosition = slot;
      return decodeEntry(line, star) ? 0 : 1;
    }
    if (++slot >= kCatalogueSlots) slot = 0;
  }
  catalogue.lookupPosition = -1;
  return -1;
}


}  // namespace zenfit
