// FIT's least-squares problem made the straightforward way: evaluateTerm
// called term by term along the model's chain for every active star, once
// as the term stands and once more with its coefficient 10 arcseconds
// larger, three rows a star of one-sided differences and the residual
// rows, all rounded to single precision. This is the reference the fast
// evaluation is held to; shared by the tests and the benchmarks.
#pragma once

#include <cstring>
#include <vector>

#include "data/observations.h"
#include "model/evaluate.h"
#include "model/model.h"

namespace zenfit::test {

struct DesignMatrix {
  int rows = 0;
  int columns = 0;
  std::vector<double> a;       // rows x columns, row by row
  std::vector<double> b;       // rows
  std::vector<int> withdrawn;  // slots of the active stars at which a term failed
};

inline DesignMatrix designMatrix(const EvaluationContext& context, const Model& model,
                                 const ObservationList& list, bool adjust = true) {
  constexpr double step = 4.84813681109536e-5;  // 10 arcseconds
  constexpr double scale = 20626.480624709635;  // arcseconds per radian / 10
  auto single = [](double x) {
    volatile float rounded = static_cast<float>(x);  // kept by any optimiser
    return static_cast<double>(rounded);
  };
  int inUse = 0;
  DesignMatrix d;
  while (inUse < kMaxModelTerms && model[inUse].term != 0) {
    d.columns += adjust && model[inUse++].floating != 0;
  }
  for (int i = 0; i < kObservationSlots && !list[i].isEnd(); ++i) {
    const Observation& o = list[i];
    if (o.status == kStatusMasked) continue;
    double source[3], observed[3], row[3][kMaxModelTerms];
    observationDirections(context, o, source, observed);
    double base[3], running[3];
    std::memcpy(base, source, sizeof base);
    std::memcpy(running, source, sizeof running);
    bool failed = false;
    for (int t = 0, column = 0; t < inUse && !failed; ++t) {
      if (model[t].chained != 0) std::memcpy(base, running, sizeof base);
      double kept[3];
      std::memcpy(kept, running, sizeof kept);
      failed = evaluateTerm(context, model[t].term, model[t].value, o.aux, o.pierFlag, base,
                            running) < 0;
      if (failed || !adjust || model[t].floating == 0) continue;
      failed = evaluateTerm(context, model[t].term, model[t].value + step, o.aux, o.pierFlag, base,
                            kept) < 0;
      for (int c = 0; c < 3; ++c) row[c][column] = single((kept[c] - running[c]) * scale);
      ++column;
    }
    if (failed) {
      d.withdrawn.push_back(i);
      continue;
    }
    for (int c = 0; c < 3; ++c) {
      d.a.insert(d.a.end(), row[c], row[c] + d.columns);
      d.b.push_back(single((observed[c] - running[c]) * kArcsecPerRadian));
    }
    d.rows += 3;
  }
  return d;
}

}  // namespace zenfit::test
