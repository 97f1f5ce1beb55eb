#include "data/host_blocks.h"

#include <cstdint>
#include <cstring>

#include "base/constants.h"

namespace zenfit {
namespace {

constexpr double kHoursPerRadian = 3.819718634205488;  // 12 / pi

void putDouble(unsigned char* block, std::size_t offset, double value) {
  std::memcpy(block + offset, &value, sizeof value);
}

void putInt32(unsigned char* block, std::size_t offset, std::int32_t value) {
  std::memcpy(block + offset, &value, sizeof value);
}

// An hour angle or time in hours, brought into 0-24.
double hours24(double radians) {
  double hours = radians * kHoursPerRadian;
  if (hours < 0.0) hours += 24.0;
  return hours;
}

}  // namespace

void encodeRunParameters(const RunDescription& run, const std::string& caption, char setting,
                         unsigned char block[obs_parms::kSize]) {
  const RunParameters& p = run.params;
  // The caption field is filled to its end, as strncpy would.
  constexpr std::size_t kCaptionField = obs_parms::kSetting - obs_parms::kCaption;
  const std::size_t length = strnlen(caption.c_str(), kCaptionLength);
  std::memset(block + obs_parms::kCaption, 0, kCaptionField);
  std::memcpy(block + obs_parms::kCaption, caption.data(), length);
  block[obs_parms::kSetting] = static_cast<unsigned char>(setting);
  block[obs_parms::kDated] = p.dated ? 1 : 0;
  block[obs_parms::kMode] = run.mode;
  block[obs_parms::kFrame] = static_cast<unsigned char>(run.frame);
  putInt32(block, obs_parms::kYear, p.year);
  putInt32(block, obs_parms::kDay, static_cast<std::int32_t>(p.day));
  putInt32(block, obs_parms::kMonth, p.month);
  putDouble(block, obs_parms::kLatitude, p.latitudeDegrees);
  putDouble(block, obs_parms::kTemperature, p.temperature);
  putDouble(block, obs_parms::kPressure, p.pressure);
  putDouble(block, obs_parms::kHeight, p.height);
  putDouble(block, obs_parms::kHumidity, p.humidity);
  putDouble(block, obs_parms::kWavelength, p.wavelength);
  putDouble(block, obs_parms::kLapseRate, p.lapseRate);
}

void encodeMapPoint(const Observation& o, unsigned char entry[kMapPointSize]) {
  auto put = [entry](int index, double value) {
    putDouble(entry, static_cast<std::size_t>(index) * sizeof(double), value);
  };
  put(map_point::kStarHaHours, hours24(o.starHa));
  put(map_point::kStarDecDegrees, o.starDec * kDegreesPerRadian);
  put(map_point::kSiderealHours, hours24(o.siderealTime));
  put(map_point::kTelDecRadians, o.telDec);
  put(map_point::kTelHaHours, hours24(o.telHa));
  put(map_point::kAux0, o.aux[0]);
  put(map_point::kAux1, o.aux[1]);
  put(map_point::kZero, 0.0);
}

}  // namespace zenfit
