// The observation file reader.
//
// An observation file holds, in order: a caption line; option records
// (":NODA", ":ALLSKY", or the frame of the telescope's places: ":A",
// ":B1950", ":J2000", ...); the run parameters record (see
// run_parameters.h); then one observation record per line up to "END" or
// the end of the file:
//
//   equatorial         star RA(h m s) Dec(d m s), telescope RA Dec, LST(h m) [aux [aux]]
//   proper motion      star RA Dec, pmRA(s/yr) pmDec("/yr) epoch, telescope RA Dec, LST [aux..]
//   catalogue star     *NAME telescope RA Dec, LST [aux [aux]]
//   horizon            star Az El, telescope Az El (degrees, azimuth N through E) [aux..]
//
// Every star is reduced to the observed frame (apparent place, hour angle,
// diurnal aberration, refraction) and stored in the observation list with
// the telescope's position.
#pragma once

#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "data/catalogue.h"
#include "data/observations.h"
#include "data/run_parameters.h"

namespace zenfit {

// How a read ended.
enum class ReadOutcome {
  Done,              // the records were read to "END" or the end of the file
  Aborted,           // the host asked to stop
  UnexpectedEnd,     // the file ended before its run parameters record
  BadOption,         // an option record that names nothing
  BadRunParameters,  // the run parameters record was refused
};

// Why an observation record was refused.
enum class Rejection {
  None,
  NoMoreRoom,
  BadData,
  NotInCatalogue,
  IllegalCatalogueRecord,
  MeanPlaceUndated,
  TooNearPole,
  TooLow,
  TooNearZenith,
};

// One line of the file as the reader took it, in file order: the caption,
// each option record, and each observation record with its outcome. (The
// run parameters record is not among them.)
struct ReadRecord {
  enum class Kind { Caption, Option, Observation } kind = Kind::Observation;
  std::string text;
  Rejection rejection = Rejection::None;
};

// What the run parameters record said, for the host's run-parameter block.
struct RunDescription {
  RunParameters params;
  unsigned char mode = 0;  // 1 ":NODA", plus 2 ":ALLSKY"
  char frame = 'A';        // 'A' apparent, 'B' FK4, 'J' FK5 telescope places
};

struct ObservationRead {
  ReadOutcome outcome = ReadOutcome::Done;
  std::vector<ReadRecord> records;
  int rejected = 0;
  int firstSlot = 0;  // the observations stored are slots firstSlot .. endSlot - 1
  int endSlot = 0;
  std::optional<RunDescription> run;  // once the run parameters were accepted
};

// Reads an open observation file into the list and the run: after the
// list's last observation when the run's APPEND setting is on (keeping the
// caption), else from slot 0. Always leaves the end mark after the last
// observation and clears the APPEND setting. The catalogue's lookup
// position moves as stars are found. cancelled is asked after every
// stored observation.
ObservationRead readObservations(std::FILE* file, ObservationList& list, RunState& run,
                                 Catalogue& catalogue, const std::function<bool()>& cancelled);

}  // namespace zenfit
