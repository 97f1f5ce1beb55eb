// The star catalogue: INST and the lookup by star name.
//
// The catalogue is kept as the text of its lines (at most 1999, each cut to
// 100 characters); an entry is decoded only when an observation names it.
// A line: the star's name in its first 6 characters, then 9 free-format
// fields: RA (h m s), Dec (sign d m s), proper motions (seconds of time per
// year, arcseconds per year) and the epoch, optionally led by B or J.
#pragma once

#include <cstdio>
#include <functional>
#include <string>

#include "base/constants.h"

namespace zenfit {

struct Catalogue {
  char lines[kCatalogueSlots][kCatalogueLineLength + 1] = {};
  int lookupPosition = -1;  // slot of the last match, -1 for none
  std::string fileName;     // name used by the last INST

  Catalogue() { clear(); }
  // Empties the catalogue.
  void clear();
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

// What a load found.
struct CatalogueLoad {
  int stars = 0;           // entries, leaving out the first line (a heading)
  bool interrupted = false;
};

// Loads a catalogue from an open file, replacing the one held. cancelled
// is asked after every line; an interrupted load leaves an empty catalogue.
CatalogueLoad loadCatalogue(Catalogue& catalogue, std::FILE* file,
                            const std::function<bool()>& cancelled);

// Finds a star by name (compared with the first 6 characters of each line),
// starting at the last match and wrapping once. Returns 0 with the entry,
// -1 when the name is not there, 1 when its entry cannot be decoded.
int findCatalogueStar(Catalogue& catalogue, const char* name, CatalogueStar& star);

}  // namespace zenfit
