// Free-format numbers, epochs and sexagesimal angles.
//
// Every number the engine reads from a command argument, an observation
// file, a run parameters record or a catalogue goes through decodeNumber.
// Positions are 1-based character positions into a NUL-terminated text;
// a position before the start or past the end reads as the end of text.
#pragma once

namespace zenfit {

// One number read from a text field.
struct DecodedNumber {
  double value = 0.0;      // meaningful when present
  bool present = false;    // a number was read
  bool negative = false;   // it carried a minus sign (also "-0")
  bool malformed = false;  // the field is not a number
  // No number here (an empty field, a comma, the end, or a letter).
  bool absent() const { return !present && !malformed; }
};

// Outcome of one decode.
enum DecodeStatus : int {
  kDecodedNumber = 0,     // a number, not negative
  kDecodedNegative = -1,  // a number with a minus sign (also minus zero)
  kDecodedNull = 1,       // no number here; the value is left unchanged
  kDecodedError = 2,      // malformed; the value is left unchanged
};

// Kind of an epoch: no letter, 'B' (Besselian, FK4) or 'J' (Julian, FK5).
enum EpochKind : int { kEpochPlain = 0, kEpochBesselian = 1, kEpochJulian = 2 };

inline constexpr int kMaxFields = 20;

// Decodes one number starting at position pos (1-based, in/out). Accepts
// integers, decimals, exponents with D or E (E3 alone is 1000; exponent at
// most 100), a sign, surrounding blanks and a comma ending a field. On
// success pos is left at the start of the next field.
void decodeNumber(const char* text, int& pos, double& value, int& status);

// decodeNumber as one result; pos is 1-based and moves as decodeNumber
// moves it. A field that starts with a letter is absent, and pos stays on
// the letter.
DecodedNumber decodeNumberAt(const char* text, int& pos);

// A whole number that fits 32 bits: a fraction or a larger value is
// malformed.
DecodedNumber decodeIntegerAt(const char* text, int& pos);

// As decodeNumber; a number led by B/b gives kind 1, by J/j kind 2.
void decodeEpoch(const char* text, int& pos, double& value, int& status, int& kind);

// Decodes fields from position 1 until a null field or an error, at most 20.
// Returns the count: -1 when a field was in error, 21 when a 21st field
// follows the 20th. values, statuses and kinds are filled alongside.
int splitFields(const char* text, double values[kMaxFields], int statuses[kMaxFields],
                int kinds[kMaxFields]);

// Sexagesimal angle modes.
enum SexagesimalMode : int {
  kSexHours = 0,    // hours, minutes, seconds of time; no sign allowed
  kSexDegrees = 1,  // signed degrees, minutes, seconds of arc (0-269 degrees)
};

// Turns (first, minutes[, seconds]) into radians. The sign is the first
// field's decode status (kDecodedNegative also for "-00"). count is 2 or 3.
// Returns 0 for a plain angle, 1 for a declination of 90 degrees or more
// (a reading over the pole: the angle becomes pi - angle, or -pi - angle
// when negative), -1 for an invalid field (angle unchanged).
int checkSexagesimal(int mode, const double fields[], const int statuses[], int count,
                     double& angle);

}  // namespace zenfit
