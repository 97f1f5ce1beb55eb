#include "data/observation_writer.h"

#include <cmath>
#include <cstdio>

#include "astro/vectors.h"
#include "command/startup.h"
#include "engine.h"

namespace zenfit {
namespace {

constexpr double kHoursPerRadian = 3.819718634205488;  // 12 / pi

long long powerOfTen(int n) {
  long long p = 1;
  while (n-- > 0) p *= 10;
  return p;
}

bool isBlankText(const char* text) {
  for (; *text != '\0'; ++text) {
    if (*text != ' ') return false;
  }
  return true;
}

// Hour angle as an "RA" at sidereal time zero: -ha in 0-24 hours, with a
// value that rounds up to 24h written as 0h.
Sexagesimal raField(double ha) {
  Sexagesimal s = toSexagesimal(wrapTwoPi(-ha) * kHoursPerRadian, 6);
  if (s.lead >= 24) s.lead -= 24;
  return s;
}

void writeRa(std::FILE* file, const Sexagesimal& s) {
  std::fprintf(file, "%02ld %02ld %02ld.%06ld ", s.lead, s.minutes, s.seconds, s.fraction);
}

void writeDec(std::FILE* file, const Sexagesimal& s) {
  std::fprintf(file, "%c%02ld %02ld %02ld.%05ld ", s.sign, s.lead, s.minutes, s.seconds,
               s.fraction);
}

void writeHeader(std::FILE* file, const Engine& engine) {
  std::fprintf(file, "%s\n", isBlankText(engine.run.caption) ? "\"\"" : engine.run.caption);
  std::fputs(":NODA\n", file);
  const Sexagesimal lat = toSexagesimal(siteLatitude(engine.run) * kDegreesPerRadian, 1);
  std::fprintf(file, "%c%02ld %02ld %02ld.%1ld\n", lat.sign, lat.lead, lat.minutes, lat.seconds,
               lat.fraction);
}

void writeObservation(std::FILE* file, const ObservationList& list, int slot) {
  writeRa(file, raField(list.starHa[slot]));
  writeDec(file, toSexagesimal(list.starDec[slot] * kDegreesPerRadian, 5));
  // A telescope that read over the pole is written as it read, so that the
  // file keeps the side of the pier.
  double telHa = list.telHa[slot];
  double telDec = list.telDec[slot] * kDegreesPerRadian;
  if (list.pierFlag[slot] != 0) {
    telHa -= kPi;
    telDec = std::signbit(telDec) ? -180.0 - telDec : 180.0 - telDec;
  }
  writeRa(file, raField(telHa));
  const Sexagesimal dec = toSexagesimal(telDec, 5);
  std::fprintf(file, "%c%02ld %02ld %02ld.%05ld 0 0", dec.sign, dec.lead, dec.minutes, dec.seconds,
               dec.fraction);
  const double* aux = list.aux[slot];
  if (aux[0] != 0.0 || aux[1] != 0.0) std::fprintf(file, "%+10.5f", aux[0]);
  if (aux[1] != 0.0) std::fprintf(file, "%+10.5f", aux[1]);
  std::fputc('\n', file);
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

int writeObservations(Engine& engine, const char* name) {
  if (engine.run.obsPresent < 0) {
    msgOut(engine, 'W', "List of observations is empty -  file not written.\n");
    return -2;
  }
  const ObservationList& list = engine.observations;
  std::FILE* file = nullptr;
  for (int slot = 0; slot < kObservationSlots && list.status[slot] >= 0; ++slot) {
    if (list.status[slot] == kStatusMasked) continue;
    if (file == nullptr) {
      file = openOrReport(engine, name, "w",
                          "Output file cannot be opened!  File = %s, status = %d\n");
      if (file == nullptr) return -1;
      writeHeader(file, engine);
    }
    writeObservation(file, list, slot);
  }
  if (file != nullptr) {
    std::fputs("END\n", file);
    std::fclose(file);
  }
  return 0;
}

void cmdOutdat(Engine& engine) {
  char name[kFileNameSize];
  if (!requireFileName(engine, 6, name, "Output filename must be specified!\n")) return;
  if (writeObservations(engine, name) == 0) engine.dispatch.status = kStatusDone;
}

}  // namespace zenfit
