// The observation list and the run it belongs to.
//
// The list has 5000 slots; slot i holds observation i + 1 in input order.
// At most 4999 slots hold observations: the slot after the last one holds
// status -1. Readers walk from slot 0, stop at the first negative status
// (or after 5000 slots) and skip masked slots (status 0). Slots past the
// end mark keep what an earlier list left in them; a synthetic list
// (PERFCT) relies on that for its aux readings.
#pragma once

#include <array>
#include <string>

#include "base/constants.h"

namespace zenfit {

inline constexpr int kStatusActive = 1;
inline constexpr int kStatusMasked = 0;
inline constexpr int kStatusEndOfList = -1;

// The kind of record an observation was read from.
enum RecordKind : int {
  kRecordSynthetic = 0,      // made by PERFCT
  kRecordEquatorial = 1,     // star RA/Dec, telescope RA/Dec, sidereal time
  kRecordProperMotion = 2,   // the same with proper motion and epoch
  kRecordCatalogueStar = 3,  // '*' and a catalogue name
  kRecordHorizon = 4,        // azimuths and elevations
};

// One observation. Positions are observed-frame hour angles and
// declinations in radians, each kept twice: the input copy (what the file
// said, after reduction) and the working copy (what fitting, listing,
// masking and plotting read; FIT replaces one side by the fitted position).
struct Observation {
  int status = kStatusMasked;  // 1 active, 0 masked, -1 end of list
  int kind = kRecordSynthetic; // RecordKind
  int pierFlag = 0;            // 1: the telescope read over the pole (far side of the pier)
  double starHa = 0.0;
  double starDec = 0.0;
  double starHaWork = 0.0;
  double starDecWork = 0.0;
  double telHa = 0.0;
  double telDec = 0.0;
  double telHaWork = 0.0;
  double telDecWork = 0.0;
  double aux[3] = {0.0, 0.0, 0.0};  // optional trailing numbers of the record; aux[2] 0
  double siderealTime = 0.0;        // radians; 0 for horizon and synthetic records

  bool isEnd() const { return status < 0; }
  bool isActive() const { return status != kStatusMasked && status >= 0; }
};

struct ObservationList {
  std::array<Observation, kObservationSlots> slots;

  Observation& operator[](int slot) { return slots[static_cast<std::size_t>(slot)]; }
  const Observation& operator[](int slot) const { return slots[static_cast<std::size_t>(slot)]; }

  // Empties the list (slot 0 becomes the end mark).
  void clear() { slots[0].status = kStatusEndOfList; }
  // Observations before the end mark, and how many of them are active.
  int count() const;
  int activeCount() const;
  bool empty() const { return slots[0].isEnd(); }
};

// What a run's parameters record fixes for every observation of the run.
struct RunConstants {
  double sinLat = 0.0;  // site latitude, as sine and cosine
  double cosLat = 1.0;
  double refA = 0.0;    // refraction constants (radians): A tan z + B tan^3 z
  double refB = 0.0;
  double diurab = 0.0;  // diurnal aberration constant (radians)
};

// Run-level state: the run's constants, and what the session keeps with
// the list.
struct RunState : RunConstants {
  std::string caption = "No observations";  // at most 80 characters
  int obsPresent = -1;  // negative until a run parameters record is accepted
  int appendMode = 0;   // the next INDAT appends
  int briefEcho = 0;    // echo only rejected observation records
  char hostSetting = 0; // copied to byte 100 of the host run-parameter block

  double latitude() const;  // radians, from sinLat and cosLat
};

// Angular distance (radians) between the working star position and the
// working telescope position of an observation.
double residualAngle(const Observation& observation);

}  // namespace zenfit
