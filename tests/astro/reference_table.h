// Reading the committed reference tables of tests/data/astro (made by
// tools/astro_reference.py): whitespace-separated numbers, '#' comments.
#pragma once

#include <erfa.h>
#include <erfam.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace zenfit::test {

using ReferenceRow = std::vector<double>;

inline std::vector<ReferenceRow> loadReferenceTable(const std::string& name) {
  std::vector<ReferenceRow> rows;
  std::ifstream in(std::string(ZENFIT_TEST_DATA_DIR) + "/astro/" + name);
  std::string line;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream fields(line);
    ReferenceRow row;
    for (double value = 0.0; fields >> value;) row.push_back(value);
    rows.push_back(row);
  }
  return rows;
}

// Angle between two places, in milliarcseconds.
inline double separationMas(double ra1, double dec1, double ra2, double dec2) {
  return eraSeps(ra1, dec1, ra2, dec2) * ERFA_DR2AS * 1000.0;
}

}  // namespace zenfit::test
