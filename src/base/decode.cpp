#include "base/decode.h"

#include "base/constants.h"

#include <cmath>
#include <cstring>

namespace zenfit {
namespace {

// Character classes of the decoder: the table "0123456789 \tDdEe.+-,".
enum CharClass { kDigit, kBlank, kExponent, kPoint, kPlus, kMinus, kComma, kOther, kEnd };

CharClass classAt(const char* text, int pos, int length) {
  if (pos < 1 || pos > length) return kEnd;
  const char c = text[pos - 1];
  if (c >= '0' && c <= '9') return kDigit;
  switch (c) {
    case ' ': case '\t': return kBlank;
    case 'D': case 'd': case 'E': case 'e': return kExponent;
    case '.': return kPoint;
    case '+': return kPlus;
    case '-': return kMinus;
    case ',': return kComma;
    default: return kOther;
  }
}

// Skips blanks and ends a field: a comma is consumed with the blanks after
// it, so the position rests on the next field; anything else is left.
void finishField(const char* text, int& pos, int length) {
  while (classAt(text, pos, length) == kBlank) ++pos;
  if (classAt(text, pos, length) == kComma) {
    ++pos;
    while (classAt(text, pos, length) == kBlank) ++pos;
  }
}

// Multiplies by 10^power in steps of 1e10 and then 10 (dividing for a
// negative power, which keeps decimal fractions exact to the last bit).
double scaleByPowerOfTen(double value, int power) {
  while (power >= 10) { value *= 1e10; power -= 10; }
  while (power <= -10) { value /= 1e10; power += 10; }
  while (power > 0) { value *= 10.0; --power; }
  while (power < 0) { value /= 10.0; ++power; }
  return value;
}

}  // namespace

void decodeNumber(const char* text, int& pos, double& value, int& status) {
  const int length = static_cast<int>(std::strlen(text));
  if (pos < 1) pos = 1;
  if (pos > length + 1) pos = length + 1;

  double mantissa = 0.0;
  int decimals = 0;
  int exponent = 0;
  int exponentSign = 1;
  bool negative = false;

  auto fail = [&] { status = kDecodedError; };

  // Start: skip blanks, then a sign (and blanks after it).
  while (classAt(text, pos, length) == kBlank) ++pos;
  CharClass c = classAt(text, pos, length);
  if (c == kComma || c == kEnd) {
    if (c == kComma) ++pos;
    status = kDecodedNull;
    return;
  }
  if (c == kOther) {
    status = kDecodedNull;
    return;
  }
  if (c == kPlus || c == kMinus) {
    negative = (c == kMinus);
    ++pos;
    while (classAt(text, pos, length) == kBlank) ++pos;
    c = classAt(text, pos, length);
    if (c != kDigit && c != kPoint && c != kExponent) return fail();
  }

  bool haveExponent = false;
  if (c == kDigit) {
    while ((c = classAt(text, pos, length)) == kDigit) {
      mantissa = 10.0 * mantissa + (text[pos - 1] - '0');
      ++pos;
    }
    if (c == kPoint) {
      ++pos;
      while ((c = classAt(text, pos, length)) == kDigit) {
        mantissa = 10.0 * mantissa + (text[pos - 1] - '0');
        ++decimals;
        ++pos;
      }
    }
    haveExponent = (c == kExponent);
  } else if (c == kPoint) {
    ++pos;
    while (classAt(text, pos, length) == kBlank) ++pos;
    if (classAt(text, pos, length) != kDigit) return fail();
    while ((c = classAt(text, pos, length)) == kDigit) {
      mantissa = 10.0 * mantissa + (text[pos - 1] - '0');
      ++decimals;
      ++pos;
    }
    haveExponent = (c == kExponent);
  } else {  // an exponent mark with an implied mantissa of 1
    mantissa = 1.0;
    haveExponent = true;
  }

  if (haveExponent) {
    ++pos;  // the D or E
    while (classAt(text, pos, length) == kBlank) ++pos;
    c = classAt(text, pos, length);
    if (c == kPlus || c == kMinus) {
      if (c == kMinus) exponentSign = -1;
      ++pos;
      while (classAt(text, pos, length) == kBlank) ++pos;
    }
    if (classAt(text, pos, length) != kDigit) return fail();
    while (classAt(text, pos, length) == kDigit) {
      exponent = 10 * exponent + (text[pos - 1] - '0');
      if (exponent > 100) return fail();
      ++pos;
    }
  }

  double result = scaleByPowerOfTen(mantissa, exponentSign * exponent - decimals);
  // A long run of digits can still overflow a double: refuse it rather than
  // let an infinity into the reduction.
  if (!std::isfinite(result)) return fail();
  if (negative) result = -result;
  finishField(text, pos, length);
  value = result;
  status = negative ? kDecodedNegative : kDecodedNumber;
}

DecodedNumber decodeNumberAt(const char* text, int& pos) {
  DecodedNumber number;
  int status = kDecodedNull;
  decodeNumber(text, pos, number.value, status);
  number.present = status == kDecodedNumber || status == kDecodedNegative;
  number.negative = status == kDecodedNegative;
  number.malformed = status == kDecodedError;
  return number;
}

DecodedNumber decodeIntegerAt(const char* text, int& pos) {
  DecodedNumber number = decodeNumberAt(text, pos);
  if (number.present &&
      (number.value != std::floor(number.value) || std::fabs(number.value) > 2147483647.0)) {
    number.present = false;
    number.malformed = true;
  }
  return number;
}

void decodeEpoch(const char* text, int& pos, double& value, int& status, int& kind) {
  kind = kEpochPlain;
  decodeNumber(text, pos, value, status);
  if (status != kDecodedNull) return;
  const int length = static_cast<int>(std::strlen(text));
  if (pos < 1 || pos > length) return;
  const char letter = text[pos - 1];
  int letterKind = kEpochPlain;
  if (letter == 'B' || letter == 'b') letterKind = kEpochBesselian;
  if (letter == 'J' || letter == 'j') letterKind = kEpochJulian;
  if (letterKind == kEpochPlain) return;

  int afterLetter = pos + 1;
  double epoch = value;
  int epochStatus = kDecodedNull;
  decodeNumber(text, afterLetter, epoch, epochStatus);
  if (epochStatus == kDecodedNumber || epochStatus == kDecodedNegative) {
    pos = afterLetter;
    value = epoch;
    status = epochStatus;
    kind = letterKind;
  }
}

int splitFields(const char* text, double values[kMaxFields], int statuses[kMaxFields],
                int kinds[kMaxFields]) {
  int pos = 1;
  int count = 0;
  while (count < kMaxFields) {
    double value = 0.0;
    int status = kDecodedNull;
    int kind = kEpochPlain;
    decodeEpoch(text, pos, value, status, kind);
    if (status == kDecodedError) return -1;
    if (status == kDecodedNull) return count;
    values[count] = value;
    statuses[count] = status;
    kinds[count] = kind;
    ++count;
  }
  double extra = 0.0;
  int extraStatus = kDecodedNull;
  int extraKind = kEpochPlain;
  decodeEpoch(text, pos, extra, extraStatus, extraKind);
  return extraStatus == kDecodedNull ? count : kMaxFields + 1;
}

int checkSexagesimal(int mode, const double fields[], const int statuses[], int count,
                     double& angle) {
  if (count < 2 || count > 3) return -1;
  const bool negative = (statuses[0] == kDecodedNegative);
  const double first = std::fabs(fields[0]);
  const double minutes = fields[1];
  const double seconds = count == 3 ? fields[2] : 0.0;
  const double firstLimit = (mode == kSexHours) ? 23.0 : 269.0;

  if (first != std::floor(first) || first > firstLimit) return -1;
  if (minutes != std::floor(minutes) || minutes < 0.0 || minutes > 59.0) return -1;
  if (!(seconds >= 0.0 && seconds < 60.0)) return -1;
  if (count == 3 && statuses[2] == kDecodedNegative) return -1;  // "-0" seconds
  if (statuses[1] == kDecodedNegative) return -1;

  const double totalSeconds = (first * 60.0 + minutes) * 60.0 + seconds;
  if (mode == kSexHours) {
    if (negative) return -1;
    angle = totalSeconds * kRadianPerTimeSecond;
    return 0;
  }
  const double value = totalSeconds * kRadianPerArcsec;
  if (first >= 90.0) {
    angle = negative ? -kPi + value : kPi - value;
    return 1;
  }
  angle = negative ? -value : value;
  return 0;
}

}  // namespace zenfit
