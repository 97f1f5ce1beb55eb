#include "data/host_blocks.h"

#include <cstdint>
#include <cstring>

#include "engine.h"

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

void writeHostRunParameters(Engine& engine, const RunDescription& run) {
  auto* block = static_cast<unsigned char*>(engine.host.obsParms);
  if (block == nullptr) return;
  const RunParameters& p = *run.params;
  // The caption field is filled to its end, as strncpy would.
  constexpr std::size_t kCaptionField = obs_parms::kSetting - obs_parms::kCaption;
  const std::size_t length = strnlen(engine.run.caption, kCaptionLength);
  std::memset(block + obs_parms::kCaption, 0, kCaptionField);
  std::memcpy(block + obs_parms::kCaption, engine.run.caption, length);
  block[obs_parms::kSetting] = static_cast<unsigned char>(engine.run.hostSetting);
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

void writeHostMapPoint(Engine& engine, int slot, double siderealTime) {
  auto* points = static_cast<unsigned char*>(engine.host.mapPts);
  if (points == nullptr || slot < 0 || slot >= kMaxObservations) return;
  const ObservationList& list = engine.observations;
  unsigned char* entry = points + static_cast<std::size_t>(slot) * kMapPointSize;
  auto put = [entry](int index, double value) {
    putDouble(entry, static_cast<std::size_t>(index) * sizeof(double), value);
  };
  put(map_point::kStarHaHours, hours24(list.starHa[slot]));
  put(map_point::kStarDecDegrees, list.starDec[slot] * kDegreesPerRadian);
  put(map_point::kSiderealHours, hours24(siderealTime));
  put(map_point::kTelDecRadians, list.telDec[slot]);
  put(map_point::kTelHaHours, hours24(list.telHa[slot]));
  put(map_point::kAux0, list.aux[slot][0]);
  put(map_point::kAux1, list.aux[slot][1]);
  put(map_point::kZero, 0.0);
}

}  // namespace zenfit
