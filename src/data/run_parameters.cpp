#include "data/run_parameters.h"

#include <cmath>
#include <cstring>

#include "astro/astro.h"
#include "base/constants.h"
#include "base/decode.h"

namespace zenfit {
namespace {

// Standard atmosphere at sea level (mB) and the pressure scale height (m)
// that relate pressure and height when only one of them is given.
constexpr double kSeaLevelPressure = 1013.25;
constexpr double kScaleHeight = 8149.9415;
constexpr double kInverseScaleHeight = 0.00012270026723504703;

// More fields than a record can hold: the count is then simply too large.
constexpr int kMaxRecordFields = 21;

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Splits the record into numbers. A comma with nothing before it since the
// last field is a field not supplied. Returns the count, or -1 for a field
// that is not a plain number (a letter, a B or J epoch, a malformed number).
int splitRecord(const char* record, double values[], int statuses[], bool supplied[]) {
  const int length = static_cast<int>(std::strlen(record));
  int pos = 1;
  int count = 0;
  for (;;) {
    while (pos <= length && isBlank(record[pos - 1])) ++pos;
    if (pos > length) return count;
    if (count == kMaxRecordFields) return count + 1;
    if (record[pos - 1] == ',') {
      supplied[count] = false;
      statuses[count] = kDecodedNull;
      values[count++] = 0.0;
      ++pos;
      continue;
    }
    double value = 0.0;
    int status = kDecodedNull;
    decodeNumber(record, pos, value, status);
    if (status != kDecodedNumber && status != kDecodedNegative) return -1;
    supplied[count] = true;
    statuses[count] = status;
    values[count++] = value;
  }
}

bool isIntegral(double x) { return std::isfinite(x) && x == std::floor(x); }

// Site latitude from degrees, minutes and seconds; at most 90 degrees. The
// sign lives in the degrees field, also for "-00".
bool decodeLatitude(const double fields[3], const int statuses[3], RunParameters& params) {
  const double degrees = std::fabs(fields[0]);
  if (degrees > 90.0 || (degrees == 90.0 && (fields[1] != 0.0 || fields[2] != 0.0))) return false;
  double angle = 0.0;
  const int over = checkSexagesimal(kSexDegrees, fields, statuses, 3, angle);
  if (over < 0) return false;
  if (over == 1) angle = statuses[0] == kDecodedNegative ? -kHalfPi : kHalfPi;  // a pole
  params.latitude = angle;
  params.latitudeDegrees = angle * kDegreesPerRadian;
  return true;
}

bool inRange(double x, double low, double high) { return x >= low && x <= high; }

// Year and month must be whole numbers that a calendar can hold.
bool decodeDate(RunParameters& params, const double values[]) {
  const bool* supplied = params.supplied;
  double year = supplied[run_field::kYear] ? values[run_field::kYear] : 1996.0;
  double month = supplied[run_field::kMonth] ? values[run_field::kMonth] : 1.0;
  double day = supplied[run_field::kDay] ? values[run_field::kDay] : 1.0;
  if (!isIntegral(year) || !isIntegral(month) || !std::isfinite(day)) return false;
  if (!inRange(year, -1.0e6, 1.0e6) || !inRange(month, -1.0e6, 1.0e6)) return false;
  if (!inRange(day, -1.0e6, 1.0e6)) return false;
  params.year = static_cast<int>(year);
  params.month = static_cast<int>(month);
  params.day = day;
  const double wholeDay = std::floor(day);
  double mjd = 0.0;
  if (astro::calendarToMjd(params.year, params.month, static_cast<int>(wholeDay), mjd) != 0) {
    return false;
  }
  params.mjd = mjd + (day - wholeDay);
  return true;
}

bool decodeMeteorology(RunParameters& params, const double values[]) {
  const bool* supplied = params.supplied;
  auto valueOr = [&](int field, double fallback) {
    return supplied[field] ? values[field] : fallback;
  };
  params.temperature = valueOr(run_field::kTemperature, 0.0);
  params.pressure = valueOr(run_field::kPressure, 0.0);
  params.height = valueOr(run_field::kHeight, 0.0);
  params.humidity = valueOr(run_field::kHumidity, 0.5);
  params.wavelength = valueOr(run_field::kWavelength, 0.55);
  params.lapseRate = valueOr(run_field::kLapseRate, 0.0065);
  if (!inRange(params.temperature, -50.0, 50.0) || !inRange(params.pressure, 0.0, 2000.0) ||
      !inRange(params.height, -1000.0, 20000.0) || !inRange(params.humidity, 0.0, 1.0) ||
      !(params.wavelength >= 0.1 && std::isfinite(params.wavelength)) ||
      !inRange(params.lapseRate, 0.0, 0.01)) {
    return false;
  }

  const bool havePressure = supplied[run_field::kPressure];
  const bool haveHeight = supplied[run_field::kHeight];
  if (!havePressure && !haveHeight) return false;
  params.effectivePressure = params.pressure;
  params.effectiveHeight = params.height;
  if (!havePressure) {
    params.effectivePressure = kSeaLevelPressure * std::exp(-params.height * kInverseScaleHeight);
  } else if (!haveHeight) {
    params.effectiveHeight =
        params.pressure > 0.0 ? -kScaleHeight * std::log(params.pressure / kSeaLevelPressure) : 0.0;
  }
  return true;
}

}  // namespace

bool parseRunParameters(const char* record, RunParameters& params) {
  params = RunParameters{};
  double values[kMaxRecordFields];
  int statuses[kMaxRecordFields];
  bool supplied[kMaxRecordFields] = {};
  const int count = splitRecord(record, values, statuses, supplied);
  if (count != 3 && (count < 6 || count > kRunParameterFields)) return false;
  params.fieldCount = count;
  for (int i = 0; i < count; ++i) params.supplied[i] = supplied[i];

  if (!supplied[0] || !supplied[1] || !supplied[2]) return false;
  if (!decodeLatitude(values, statuses, params)) return false;

  params.dated = count >= 6;
  if (params.dated && !decodeDate(params, values)) return false;

  params.meteorology = count >= 7;
  if (params.meteorology && !decodeMeteorology(params, values)) return false;
  return true;
}

}  // namespace zenfit
