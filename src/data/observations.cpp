#include "data/observations.h"

#include <cmath>

namespace zenfit {

void clearObservations(ObservationList& list) { list.status[0] = kStatusEndOfList; }

int observationCount(const ObservationList& list) {
  int count = 0;
  while (count < kObservationSlots && list.status[count] >= 0) ++count;
  return count;
}

int activeObservationCount(const ObservationList& list) {
  int active = 0;
  for (int i = 0; i < kObservationSlots && list.status[i] >= 0; ++i) {
    if (list.status[i] != kStatusMasked) ++active;
  }
  return active;
}

double siteLatitude(const RunState& run) { return std::atan2(run.sinLat, run.cosLat); }

}  // namespace zenfit
