// OUTDAT: writes the active observations as an undated observation file.
//
// The positions written are the observed-frame places of the input copy, as
// apparent places at sidereal time zero (the "RA" is minus the hour angle),
// so that INDAT reads them back without any further reduction.
#pragma once

namespace zenfit {

struct Engine;

// A sexagesimal angle rounded to a number of decimals of its seconds, with
// the carries taken into the minutes and the leading field.
struct Sexagesimal {
  char sign = '+';
  long lead = 0;  // hours or degrees
  long minutes = 0;
  long seconds = 0;
  long fraction = 0;  // seconds' decimals, as an integer
};

// value in hours or degrees (any sign); decimals from 0 to 9.
Sexagesimal toSexagesimal(double value, int decimals);

// Writes the file. Returns 0 (also when every observation is masked: then
// no file is written), -1 when the file cannot be opened, -2 when no
// observations have been read.
int writeObservations(Engine& engine, const char* name);

void cmdOutdat(Engine& engine);

}  // namespace zenfit
