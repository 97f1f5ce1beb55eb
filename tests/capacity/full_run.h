// A full observation file for the capacity tests.
#pragma once

#include <cstdio>
#include <string>

#include "constants.h"

namespace zenfit::test {

// count horizon observations (4999 by default) spread over the sky, each
// telescope reading a little off its star; undated, at latitude +30.
inline std::string fullHorizonFile(int count = kMaxObservations) {
  std::string file = "Full horizon run\n+30 00 00\n";
  char line[80];
  for (int i = 0; i < count; ++i) {
    const double az = (i * 137) % 3600 / 10.0;
    const double el = 12.0 + (i * 61) % 760 / 10.0;
    std::snprintf(line, sizeof line, "%.1f %.1f %.4f %.4f\n", az, el, az + 0.01 * (i % 7),
                  el - 0.003 * (i % 5));
    file += line;
  }
  return file + "END\n";
}

}  // namespace zenfit::test
