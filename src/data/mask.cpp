#include "data/mask.h"

#include <cctype>
#include <cmath>
#include <cstring>
#include <utility>

#include "astro/vectors.h"
#include "data/decode.h"
#include "engine.h"
#include "model/residual.h"

namespace zenfit {
namespace {

bool isQuantity(char q) { return q != '\0' && std::strchr("HDAZRN", q) != nullptr; }

// +1 above, -1 below, 0 not a condition.
int conditionSense(char c) {
  if (c == '<' || c == 'L') return -1;
  if (c == '>' || c == 'G') return 1;
  return 0;
}

// The range a value of each quantity may take, in the quantity's own unit.
bool valueInRange(const Engine& engine, char q, double v) {
  switch (q) {
    case 'H': return v >= -12.0 && v <= 12.0;
    case 'D': return v >= -90.0 && v <= 90.0;
    case 'A': return v >= 0.0 && v <= 360.0;
    case 'Z': return v >= 0.0 && v <= 90.0;
    case 'R': return v >= 0.0 && std::isfinite(v);
    // 0 is allowed: "N > 0" is what MASK alone means.
    case 'N': return v == std::floor(v) && v >= 0.0 && v <= observationCount(engine.observations);
    default: return false;
  }
}

double toInternalUnit(char q, double v) {
  switch (q) {
    case 'H': return v * kRadianPerHour;
    case 'D': case 'A': case 'Z': return v * kRadianPerDegree;
    case 'R': return v * kRadianPerArcsec;
    default: return v;
  }
}

double quantityOf(const Engine& engine, char q, int slot) {
  const ObservationList& list = engine.observations;
  const double h = list.starHa[slot];
  const double d = list.starDec[slot];
  const double sinLat = engine.run.sinLat;
  const double cosLat = engine.run.cosLat;
  switch (q) {
    case 'H': return h;
    case 'D': return d;
    case 'A':
      return wrapTwoPi(std::atan2(-std::sin(h) * std::cos(d),
                                  cosLat * std::sin(d) - sinLat * std::cos(d) * std::cos(h)));
    case 'Z': {
      const double c = std::cos(h) * std::cos(d) * cosLat + std::sin(d) * sinLat;
      const double s2 = 1.0 - c * c;
      return std::atan2(s2 > 0.0 ? std::sqrt(s2) : 0.0, c);
    }
    case 'R': return observationResidual(engine, slot);
    default: return slot + 1.0;
  }
}

char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

void skipSeparators(const char* line, int& pos) {
  const int length = static_cast<int>(std::strlen(line));
  while (pos <= length && (line[pos - 1] == ' ' || line[pos - 1] == ',')) ++pos;
}

char characterAt(const char* line, int pos) {
  return pos >= 1 && pos <= static_cast<int>(std::strlen(line)) ? line[pos - 1] : '\0';
}

void reportWorkerCode(Engine& engine, int code) {
  if (code == kMaskBadValue) msgOut(engine, 'E', "Illegal value!\n");
  if (code == kMaskBadCondition) msgOut(engine, 'E', "Illegal condition!\n");
  if (code == kMaskBadQuantity) msgOut(engine, 'E', "Illegal quantity!\n");
}

// "MASK first [last]".
void maskNumbers(Engine& engine, const char* line, int pos, double first, int newStatus) {
  if (first < 1.0 || first != std::floor(first)) {
    msgOut(engine, 'E', "Illegal value!\n");
    return;
  }
  double last = first;
  int status = kDecodedNull;
  decodeArgument(line, pos, last, status);
  if (status == kDecodedError) {
    msgOut(engine, 'E', "Second argument must be number!\n");
    return;
  }
  const double count = observationCount(engine.observations);
  if (first > count || last < 1.0 || last > count || last != std::floor(last)) {
    msgOut(engine, 'E', "Illegal value!\n");
    return;
  }
  const int code =
      maskByNumber(engine, static_cast<int>(first), static_cast<int>(last), newStatus);
  if (code != 0) {
    reportWorkerCode(engine, code);
    return;
  }
  engine.dispatch.status = kStatusDone;
}

// "MASK quantity condition [value]".
void maskCondition(Engine& engine, const char* line, int pos, int newStatus) {
  const char quantity = upper(characterAt(line, pos));
  if (!isQuantity(quantity)) {
    msgOut(engine, 'E', "Quantity must be H, D, A, Z, R, N or number!\n");
    return;
  }
  ++pos;
  skipSeparators(line, pos);
  const char condition = upper(characterAt(line, pos));
  if (conditionSense(condition) == 0) {
    msgOut(engine, 'E', "Condition must be <, L, G or > !\n");
    return;
  }
  ++pos;
  double value = 0.0;
  int status = kDecodedNull;
  decodeArgument(line, pos, value, status);
  if (status == kDecodedError || !valueInRange(engine, quantity, value)) {
    msgOut(engine, 'E', "Third argument out of range!\n");
    return;
  }
  const int code = maskByCondition(engine, quantity, condition, value, newStatus);
  if (code != 0) {
    reportWorkerCode(engine, code);
    return;
  }
  engine.dispatch.status = kStatusDone;
}

void maskCommand(Engine& engine, int wordLength, int newStatus) {
  const char* line = engine.lines.command;
  int pos = wordLength + 1;
  skipSeparators(line, pos);
  if (std::isalpha(static_cast<unsigned char>(characterAt(line, pos)))) {
    maskCondition(engine, line, pos, newStatus);
    return;
  }
  double first = 0.0;
  int status = kDecodedNull;
  int after = pos;
  decodeArgument(line, after, first, status);
  if (status == kDecodedNull) {  // no argument: every observation
    if (maskByCondition(engine, 'N', 'G', 0.0, newStatus) == 0) {
      engine.dispatch.status = kStatusDone;
    }
  } else if (status == kDecodedError) {
    maskCondition(engine, line, pos, newStatus);
  } else {
    maskNumbers(engine, line, after, first, newStatus);
  }
}

}  // namespace

int maskByCondition(Engine& engine, char quantity, char condition, double value, int newStatus) {
  quantity = upper(quantity);
  condition = upper(condition);
  if (!isQuantity(quantity)) return kMaskBadQuantity;
  const int sense = conditionSense(condition);
  if (sense == 0) return kMaskBadCondition;
  if (!valueInRange(engine, quantity, value)) return kMaskBadValue;
  const double v = toInternalUnit(quantity, value);
  ObservationList& list = engine.observations;
  for (int slot = 0; slot < kObservationSlots && list.status[slot] >= 0; ++slot) {
    const double q = quantityOf(engine, quantity, slot);
    if (sense > 0 ? q > v : q < v) list.status[slot] = newStatus;
  }
  return 0;
}

int maskByNumber(Engine& engine, int first, int last, int newStatus) {
  const int count = observationCount(engine.observations);
  if (first < 1 || first > count || last < 1 || last > count) return kMaskBadValue;
  if (first > last) std::swap(first, last);
  for (int n = first; n <= last; ++n) engine.observations.status[n - 1] = newStatus;
  return 0;
}

void cmdMask(Engine& engine) { maskCommand(engine, 4, kStatusMasked); }
void cmdUnmask(Engine& engine) { maskCommand(engine, 6, kStatusActive); }

}  // namespace zenfit
