// INDAT: the observation file reader.
//
// An observation file holds, in order: a caption line; option records
// (":NODA", ":ALLSKY", or the frame of the telescope's places: ":A",
// ":B1950", ":J2000", ...); the run parameters record (see
// run_parameters.h); then one observation record per line up to "END" or
// the end of the file:
//
//   equatorial         star RA(h m s) Dec(d m s), telescope RA Dec, LST(h m) [aux [aux]]
//   proper motion      star RA Dec, pmRA(s/yr) pmDec("/yr) epoch, telescope RA Dec, LST [aux..]
//   catalogue star     *NAME telescope RA Dec, LST [aux [aux]]
//   horizon            star Az El, telescope Az El (degrees, azimuth N through E) [aux..]
//
// Every star is reduced to the observed frame (apparent place, hour angle,
// diurnal aberration, refraction) and stored in the observation list with
// the telescope's position.
#pragma once

#include <cstdio>

namespace zenfit {

struct Engine;

// Outcome of one read.
enum ReadResult : int {
  kReadDone = 0,
  kReadAborted = 1,
  kReadBadOption = -2,
  kReadBadRunParameters = -3,
  kReadUnexpectedEnd = -4,
};

// Reads an open observation file into the list (appending when the APPEND
// setting asks for it). rejected receives the number of observation records
// refused. Always leaves the end mark after the last observation and clears
// the APPEND setting.
int readObservations(Engine& engine, std::FILE* file, int& rejected);

void cmdIndat(Engine& engine);

}  // namespace zenfit
