// The observation list, the run state, and the host's two data areas.
//
// The list is a set of parallel arrays of 5000 slots; slot i of every array
// belongs to observation i (0-based, in input order). At most 4999 slots
// hold observations: the slot after the last one holds status -1. Readers
// walk from slot 0, stop at the first negative status (or after 5000 slots)
// and skip masked slots (status 0).
#pragma once

#include <cstddef>
#include <cstdint>

#include "constants.h"

namespace zenfit {

struct Engine;

inline constexpr int kStatusActive = 1;
inline constexpr int kStatusMasked = 0;
inline constexpr int kStatusEndOfList = -1;

struct ObservationList {
  int status[kObservationSlots];   // 1 active, 0 masked, -1 end of list
  int runFlag[kObservationSlots];  // kind of record the observation came from (RecordKind)
  int pierFlag[kObservationSlots]; // 1: the telescope read over the pole (far side of the pier)
  // Observed-frame positions, radians: input copy and working copy.
  double starHa[kObservationSlots];
  double starDec[kObservationSlots];
  double starHaWork[kObservationSlots];
  double starDecWork[kObservationSlots];
  double telHa[kObservationSlots];
  double telDec[kObservationSlots];
  double telHaWork[kObservationSlots];
  double telDecWork[kObservationSlots];
  double aux[kObservationSlots][3];  // optional trailing numbers of the record; aux[2] 0
};

// Run-level state, set by the run parameters record of the observation file.
struct RunState {
  double sinLat = 0.0;  // site latitude, as sine and cosine
  double cosLat = 1.0;
  double refA = 0.0;    // refraction constants (radians): A tan z + B tan^3 z
  double refB = 0.0;
  double diurab = 0.0;  // diurnal aberration constant (radians)
  char caption[kCaptionLength + 1] = "No observations";
  int obsPresent = -1;  // negative until a run parameters record is accepted
  int appendMode = 0;   // the next INDAT appends
  int briefEcho = 0;    // echo only rejected observation records
  char hostSetting = 0; // copied to byte 100 of the host run-parameter block
};

// What runFlag holds: the kind of record an observation was read from.
enum RecordKind : int {
  kRecordSynthetic = 0,      // made by PERFCT
  kRecordEquatorial = 1,     // star RA/Dec, telescope RA/Dec, sidereal time
  kRecordProperMotion = 2,   // the same with proper motion and epoch
  kRecordCatalogueStar = 3,  // '*' and a catalogue name
  kRecordHorizon = 4,        // azimuths and elevations
};

// Empties the list (status[0] = -1).
void clearObservations(ObservationList& list);

// Number of observations before the end mark, and how many are active.
int observationCount(const ObservationList& list);
int activeObservationCount(const ObservationList& list);

// Site latitude in radians, from sinLat and cosLat.
double siteLatitude(const RunState& run);

// Host run-parameter block (pObsParms): 192 bytes.
namespace obs_parms {
inline constexpr std::size_t kSize = 192;
inline constexpr std::size_t kCaption = 0;         // char[100], NUL-terminated
inline constexpr std::size_t kSetting = 100;       // char, 0 unless set
inline constexpr std::size_t kDated = 121;         // byte: 1 if the run carried a date
inline constexpr std::size_t kMode = 122;          // byte: reader mode
inline constexpr std::size_t kFrame = 123;         // char: frame letter, 'A' on entry
inline constexpr std::size_t kYear = 124;          // int32
inline constexpr std::size_t kDay = 128;           // int32 (integral part)
inline constexpr std::size_t kMonth = 132;         // int32
inline constexpr std::size_t kLatitude = 136;      // double, degrees
inline constexpr std::size_t kTemperature = 144;   // double, Celsius
inline constexpr std::size_t kPressure = 152;      // double, millibars
inline constexpr std::size_t kHeight = 160;        // double, metres
inline constexpr std::size_t kHumidity = 168;      // double, 0-1
inline constexpr std::size_t kWavelength = 176;    // double, micrometres
inline constexpr std::size_t kLapseRate = 184;     // double, K/m

// Bits of the mode byte: the option records the run carried.
inline constexpr unsigned char kModeNoDate = 1;    // ":NODA"
inline constexpr unsigned char kModeAllSky = 2;    // ":ALLSKY"
}  // namespace obs_parms

// Host point array (pMapPts): one entry of ten doubles (80 bytes) per
// observation. Doubles 0 and 9 are the host's own; the reader writes 1-8.
inline constexpr std::size_t kMapPointSize = 80;
namespace map_point {
inline constexpr int kStarHaHours = 1;     // star hour angle, hours 0-24
inline constexpr int kStarDecDegrees = 2;  // star declination, degrees
inline constexpr int kSiderealHours = 3;   // local sidereal time, hours 0-24
inline constexpr int kTelDecRadians = 4;   // telescope declination, radians
inline constexpr int kTelHaHours = 5;      // telescope hour angle, hours 0-24
inline constexpr int kAux0 = 6;
inline constexpr int kAux1 = 7;
inline constexpr int kZero = 8;
}  // namespace map_point

}  // namespace zenfit
