#include "data/observation_writer.h"

#include <cmath>
#include <cstdio>

#include "astro/vectors.h"
#include "base/constants.h"

namespace zenfit {
namespace {

constexpr double kHoursPerRadian = 3.819718634205488;  // 12 / pi

long long powerOfTen(int n) {
  long long p = 1;
  while (n-- > 0) p *= 10;
  return p;
}

bool isBlankText(const std::string& text) {
  return text.find_first_not_of(' ') == std::string::npos;
}

// printf into a string.
template <typename... Args>
void appendf(std::string& out, const char* format, Args... args) {
  char buffer[128];
  const int n = std::snprintf(buffer, sizeof buffer, format, args...);
  if (n > 0) out.append(buffer, static_cast<std::size_t>(n < 128 ? n : 127));
}

// Hour angle as an "RA" at sidereal time zero: -ha in 0-24 hours, with a
// value that rounds up to 24h written as 0h.
Sexagesimal raField(double ha) {
  Sexagesimal s = toSexagesimal(wrapTwoPi(-ha) * kHoursPerRadian, 6);
  if (s.lead >= 24) s.lead -= 24;
  return s;
}

void writeRa(std::string& file, const Sexagesimal& s) {
  appendf(file, "%02ld %02ld %02ld.%06ld ", s.lead, s.minutes, s.seconds, s.fraction);
}

void writeDec(std::string& file, const Sexagesimal& s) {
  appendf(file, "%c%02ld %02ld %02ld.%05ld ", s.sign, s.lead, s.minutes, s.seconds,
               s.fraction);
}

void writeHeader(std::string& file, const RunState& run) {
  file += isBlankText(run.caption) ? std::string("\"\"") : run.caption;
  file += "\n:NODA\n";
  const Sexagesimal lat = toSexagesimal(run.latitude() * kDegreesPerRadian, 1);
  appendf(file, "%c%02ld %02ld %02ld.%1ld\n", lat.sign, lat.lead, lat.minutes, lat.seconds,
               lat.fraction);
}

void writeObservation(std::string& file, const Observation& o) {
  writeRa(file, raField(o.starHa));
  writeDec(file, toSexagesimal(o.starDec * kDegreesPerRadian, 5));
  // A telescope that read over the pole is written as it read, so that the
  // file keeps the side of the pier.
  double telHa = o.telHa;
  double telDec = o.telDec * kDegreesPerRadian;
  if (o.pierFlag != 0) {
    telHa -= kPi;
    telDec = std::signbit(telDec) ? -180.0 - telDec : 180.0 - telDec;
  }
  writeRa(file, raField(telHa));
  const Sexagesimal dec = toSexagesimal(telDec, 5);
  appendf(file, "%c%02ld %02ld %02ld.%05ld 0 0", dec.sign, dec.lead, dec.minutes, dec.seconds,
               dec.fraction);
  const double* aux = o.aux;
  if (aux[0] != 0.0 || aux[1] != 0.0) appendf(file, "%+10.5f", aux[0]);
  if (aux[1] != 0.0) appendf(file, "%+10.5f", aux[1]);
  file += '\n';
}

}  // namespace

Sexagesimal toSexagesimal(double value, int decimals) {
  Sexagesimal s;
  if (!std::isfinite(value)) return s;
  s.sign = std::signbit(value) ? '-' : '+';
  const long long scale = powerOfTen(decimals);
  const auto total = static_cast<long long>(std::llround(std::fabs(value) * 3600.0 * scale));
  s.fraction = static_cast<long>(total % scale);
  const long long wholeSeconds = total / scale;
  s.seconds = static_cast<long>(wholeSeconds % 60);
  s.minutes = static_cast<long>((wholeSeconds / 60) % 60);
  s.lead = static_cast<long>(wholeSeconds / 3600);
  return s;
}

std::optional<std::string> formatObservationFile(const ObservationList& list,
                                                 const RunState& run) {
  std::optional<std::string> file;
  for (int slot = 0; slot < kObservationSlots && !list[slot].isEnd(); ++slot) {
    if (list[slot].status == kStatusMasked) continue;
    if (!file) {
      file.emplace();
      writeHeader(*file, run);
    }
    writeObservation(*file, list[slot]);
  }
  if (file) *file += "END\n";
  return file;
}

}  // namespace zenfit
