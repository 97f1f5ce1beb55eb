// The host's two data areas: the run-parameter block and the point array.
//
// Both belong to the host; the engine fills them when it reads an
// observation file, at the byte offsets of the host's own layout, in the
// host's native byte order. These functions only encode.
#pragma once

#include <cstddef>
#include <string>

#include "data/observation_reader.h"
#include "data/observations.h"

namespace zenfit {

// Host run-parameter block: 192 bytes.
namespace obs_parms {
inline constexpr std::size_t kSize = 192;
inline constexpr std::size_t kCaption = 0;         // char[100], NUL-terminated
inline constexpr std::size_t kSetting = 100;       // char, 0 unless set
inline constexpr std::size_t kDated = 121;         // byte: 1 if the run carried a date
inline constexpr std::size_t kMode = 122;          // byte: 1 ":NODA" plus 2 ":ALLSKY"
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
}  // namespace obs_parms

// Host point array: one entry of ten doubles (80 bytes) per observation.
// Doubles 0 and 9 are the host's own; the reader writes 1-8.
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

// Fills the bytes of the run-parameter block that the engine owns; the
// others are left as they are.
void encodeRunParameters(const RunDescription& run, const std::string& caption, char setting,
                         unsigned char block[obs_parms::kSize]);

// Fills doubles 1-8 of one point entry from a stored observation.
void encodeMapPoint(const Observation& observation, unsigned char entry[kMapPointSize]);

}  // namespace zenfit
