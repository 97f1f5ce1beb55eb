// OUTDAT: writes the active observations as an undated observation file.
//
// The positions written are the observed-frame places of the input copy, as
// apparent places at sidereal time zero (the "RA" is minus the hour angle),
// so that INDAT reads them back without any further reduction.
#pragma once

#include <optional>
#include <string>

#include "data/observations.h"

namespace zenfit {

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

// The text of the file: caption, ":NODA", the latitude, one record per
// active observation and "END". Nothing when no observation is active.
std::optional<std::string> formatObservationFile(const ObservationList& list,
                                                 const RunState& run);

}  // namespace zenfit
