// The star catalogue: INST and the lookup by star name.
//
// The catalogue is kept as the text of its lines (at most 1999, each cut to
// 100 characters); an entry is decoded only when an observation names it.
// A line: the star's name in its first 6 characters, then 9 free-format
// fields: RA (h m s), Dec (sign d m s), proper motions (seconds of time per
// year, arcseconds per year) and the epoch, optionally led by B or J.
#pragma once

#include "constants.h"

namespace zenfit {

struct Engine;

struct Catalogue {
  char lines[kCatalogueSlots][kCatalogueLineLength + 1];
  int lookupPosition = -1;             // slot of the last match, -1 for none
  char fileName[kFileNameSize] = "";   // name used by the last INST
};

// A decoded catalogue entry.
struct CatalogueStar {
  double ra = 0.0;         // radians
  double dec = 0.0;        // radians
  double pmRa = 0.0;       // radians of RA per year
  double pmDec = 0.0;      // radians per year
  double epoch = 2000.0;   // years
  int epochKind = 0;       // 1 Besselian (FK4), 2 Julian (FK5), 0 plain
};

// Empties the catalogue.
void clearCatalogue(Catalogue& catalogue);

// Loads a catalogue file. Returns 0, -1 when the file cannot be opened
// (the old catalogue stays), 1 when interrupted.
int loadCatalogue(Engine& engine, const char* name);

// Finds a star by name (compared with the first 6 characters of each line),
// starting at the last match and wrapping once. Returns 0 with the entry,
// -1 when the name is not there, 1 when its entry cannot be decoded.
int findCatalogueStar(Catalogue& catalogue, const char* name, CatalogueStar& star);

void cmdInst(Engine& engine);

}  // namespace zenfit
