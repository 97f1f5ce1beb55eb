// The run parameters record of an observation file: site latitude, date
// and the meteorological data for refraction.
//
//   lat(d m s) [year month day [temp [pressure [height [humidity
//       [wavelength [lapse rate]]]]]]]
//
// Fields are free-format numbers separated by blanks or commas. An empty
// field between two commas marks a value as not supplied; so does a field
// left off the end of the record. A value not supplied takes its default,
// except pressure and height, which are derived from each other.
#pragma once

namespace zenfit {

inline constexpr int kRunParameterFields = 12;

struct RunParameters {
  int fieldCount = 0;          // 3 (latitude only) or 6 to 12
  bool supplied[kRunParameterFields] = {};
  double latitude = 0.0;       // radians
  double latitudeDegrees = 0.0;
  int year = 1996;
  int month = 1;
  double day = 1.0;            // may carry a fraction of a day
  double temperature = 0.0;    // Celsius
  double pressure = 0.0;       // millibars, as given
  double height = 0.0;         // metres above sea level, as given
  double humidity = 0.5;       // 0-1
  double wavelength = 0.55;    // micrometres
  double lapseRate = 0.0065;   // K/m
  // Derived.
  bool dated = false;          // year, month and day were given
  bool meteorology = false;    // temperature onward were given
  double mjd = 0.0;            // date and fraction of day (dated runs)
  double effectivePressure = 0.0;  // pressure given or derived from the height
  double effectiveHeight = 0.0;    // height given or derived from the pressure
};

// Field positions (0-based) in the record.
namespace run_field {
inline constexpr int kYear = 3;
inline constexpr int kMonth = 4;
inline constexpr int kDay = 5;
inline constexpr int kTemperature = 6;
inline constexpr int kPressure = 7;
inline constexpr int kHeight = 8;
inline constexpr int kHumidity = 9;
inline constexpr int kWavelength = 10;
inline constexpr int kLapseRate = 11;
}  // namespace run_field

// Decodes and checks a run parameters record (field count, latitude,
// calendar date, ranges, the pressure and height rule). Returns false on
// any violation; params then holds what was decoded so far.
bool parseRunParameters(const char* record, RunParameters& params);

}  // namespace zenfit
