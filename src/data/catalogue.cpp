#include "data/catalogue.h"

#include <cstdio>
#include <cstring>

#include "command/startup.h"
#include "data/decode.h"
#include "engine.h"

namespace zenfit {
namespace {

constexpr int kNameLength = 6;

bool isEndMark(const char* line) { return keywordEquals(line, "END") == 0; }

// Keys of the lookup. A name of at most 6 characters (without trailing
// white space) is packed with its length, so two keys are equal exactly
// when the keyword comparison finds the two names equal.
constexpr std::uint64_t kEndMarkKey = std::uint64_t{1} << 63;
constexpr std::uint64_t kNoSuchKey = std::uint64_t{1} << 62;  // longer than any slot's name

std::uint64_t packName(const char* text, int length) {
  std::uint64_t key = static_cast<std::uint64_t>(length) << 48;
  for (int i = 0; i < length; ++i) {
    key |= static_cast<std::uint64_t>(static_cast<unsigned char>(text[i])) << (8 * i);
  }
  return key;
}

std::uint64_t nameKey(const char* name) {
  const int length = trimmedLength(name);
  return length <= kNameLength ? packName(name, length) : kNoSuchKey;
}

std::uint64_t lineKey(const char* line) {
  if (isEndMark(line)) return kEndMarkKey;
  char slotName[kNameLength + 1];
  std::snprintf(slotName, sizeof slotName, "%.6s", line);
  return packName(slotName, trimmedLength(slotName));
}

void setLine(Catalogue& catalogue, int slot, const char* text) {
  std::snprintf(catalogue.lines[slot], sizeof catalogue.lines[slot], "%s", text);
  catalogue.keys[slot] = lineKey(catalogue.lines[slot]);
}

// Reads one line of at most kCatalogueLineLength characters; the rest of a
// longer line is read and dropped. Returns false at end of file.
bool readCatalogueLine(std::FILE* file, char* line) {
  int count = 0;
  int c = EOF;
  bool any = false;
  while ((c = std::fgetc(file)) != EOF) {
    any = true;
    if (c == '\n') break;
    if (c == '\0' || c == '\r') c = ' ';
    if (count < kCatalogueLineLength) line[count++] = static_cast<char>(c);
  }
  line[count] = '\0';
  trimRight(line);
  return any;
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

void clearCatalogue(Catalogue& catalogue) {
  setLine(catalogue, 0, "END");
  catalogue.lookupPosition = -1;
  catalogue.fileName[0] = '\0';
}

int loadCatalogue(Engine& engine, const char* name) {
  Catalogue& catalogue = engine.catalogue;
  std::FILE* file = nullptr;
  const int opened = openNamedFile(name, kFileNameSize, "r", &file);
  if (opened != 0) {
    msgOutF(engine, 'E', "Star catalogue file cannot be opened!  File = %s, status = %d\n", name,
            opened);
    return -1;
  }
  msgOutF(engine, 'I', "Reading star catalogue entries from file %s ...\n", name);
  catalogue.lookupPosition = -1;

  int slot = 0;
  int last = -1;
  char line[kCatalogueLineLength + 1];
  while (slot < kCatalogueSlots - 1) {
    if (cancelPoll(engine, 0) != 0) {
      setLine(catalogue, 0, "END");
      std::fclose(file);
      return 1;
    }
    if (!readCatalogueLine(file, line)) break;
    // An "END" line uses up its slot but stores nothing in it.
    if (!isEndMark(line)) {
      setLine(catalogue, slot, line);
      last = slot;
    }
    ++slot;
  }
  setLine(catalogue, last + 1, "END");
  std::fclose(file);
  // The count leaves out the first line, which catalogues use as a heading.
  msgOutF(engine, 'I', "%d stars input.\n", last > 0 ? last : 0);
  return 0;
}

int findCatalogueStar(Catalogue& catalogue, const char* name, CatalogueStar& star) {
  int slot = catalogue.lookupPosition >= 0 && catalogue.lookupPosition < kCatalogueSlots
                 ? catalogue.lookupPosition
                 : 0;
  const std::uint64_t wanted = nameKey(name);
  bool wrapped = false;
  for (int steps = 0; steps <= 2 * kCatalogueSlots; ++steps) {
    const std::uint64_t key = catalogue.keys[slot];
    if (key == kEndMarkKey) {
      if (wrapped) break;
      wrapped = true;
      slot = 0;
      continue;
    }
    if (key == wanted) {
      catalogue.lookupPosition = slot;
      return decodeEntry(catalogue.lines[slot], star) ? 0 : 1;
    }
    if (++slot >= kCatalogueSlots) slot = 0;
  }
  catalogue.lookupPosition = -1;
  return -1;
}

void cmdInst(Engine& engine) {
  Catalogue& catalogue = engine.catalogue;
  char name[kFileNameSize];
  restOfLine(textFrom(engine.lines.echo, 4), sizeof name, name);
  trimRight(name);
  if (name[0] != '\0') {
    std::snprintf(catalogue.fileName, sizeof catalogue.fileName, "%s", name);
  } else if (catalogue.fileName[0] == '\0') {
    std::snprintf(catalogue.fileName, sizeof catalogue.fileName, "%s",
                  engine.settings.starCatalog);
  }
  char file[kFileNameSize];
  std::snprintf(file, sizeof file, "%s", catalogue.fileName);
  if (loadCatalogue(engine, file) == 0) engine.dispatch.status = kStatusDone;
}

}  // namespace zenfit
