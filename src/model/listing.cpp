// CLIST: the coefficient listing.
#include "engine.h"

namespace zenfit {
namespace {

void listEntry(Engine& engine, int slot) {
  const Model& model = engine.model;
  msgOutF(engine, 'I', "%3d   %c %-8s%+10.3f", slot + 1, model.chained[slot] != 0 ? ' ' : '&',
          termName(engine.terms, model.termNumber[slot]), model.coefValue[slot] * kArcsecPerRadian);
  const double sigma = model.coefSigma[slot] * kArcsecPerRadian;
  if (model.floating[slot] == 0) {
    msgOut(engine, 'I', "     fixed\n");
  } else if (model.coefSigma[slot] < 0.0) {
    msgOut(engine, 'I', "\n");  // never fitted
  } else if (sigma < 999.999) {
    msgOutF(engine, 'I', "   %7.3f\n", sigma);
  } else {
    msgOutF(engine, 'I', "   %-.4g\n", sigma);
  }
}

}  // namespace

int listCoefficients(Engine& engine, int position) {
  const Model& model = engine.model;
  if (position >= 1) {
    if (position <= kMaxModelTerms && model.termNumber[position - 1] != 0) {
      listEntry(engine, position - 1);
    }
    return 0;
  }
  for (int i = 0; i < kMaxModelTerms && model.termNumber[i] != 0; ++i) listEntry(engine, i);
  return 0;
}

void cmdClist(Engine& engine) {
  listCoefficients(engine, 0);
  engine.dispatch.status = kStatusDone;
}

}  // namespace zenfit
