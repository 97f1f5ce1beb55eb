// The committed reference tables of tests/data/astro (made by
// tools/astro_reference.py): whitespace-separated numbers, '#' comments.
#pragma once

#include <erfa.h>
#include <erfam.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace zenfit::test {

inline std::vector<std::vector<double>> loadReferenceTable(const std::string& name) {
  std::vector<std::vector<double>> rows;
  std::ifstream in(std::string(ZENFIT_TEST_DATA_DIR) + "/astro/" + name);
  for (std::string line; std::getline(in, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    rows.emplace_back();
    for (double value = 0.0; fields >> value;) rows.back().push_back(value);
  }
  return rows;
}

// Angle between two places, in milliarcseconds.
inline double separationMas(double ra1, double dec1, double ra2, double dec2) {
  return eraSeps(ra1, dec1, ra2, dec2) * ERFA_DR2AS * 1000.0;
}

}  // namespace zenfit::test
