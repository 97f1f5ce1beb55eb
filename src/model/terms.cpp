#include <cstdio>
#include <cstring>
#include <utility>

#include "engine.h"

namespace zenfit {

const char* const kStandardTermNames[kStandardTermCount] = {
    "IH",    "ID",    "ZH",    "NP",    "CH",    "HF",    "ZE",    "ME",    "MA",
    "TF",    "TX",    "FO",    "IE",    "IA",    "HCES",  "HCEC",  "DCES",  "DCEC",
    "DNP",   "X2HC",  "HGES",  "HGEC",  "DGES",  "DGEC",  "TFP",   "CA",    "CD4A",
    "CD4B",  "CD5A",  "CD5B",  "AN",    "AW",    "NPAE",  "ACES",  "ACEC",  "ECES",
    "ECEC",  "NRX",   "NRY",   "AUX1H", "AUX1X", "AUX1D", "AUX1A", "AUX1S", "AUX1E",
    "AUX2H", "AUX2X", "AUX2D", "AUX2A", "AUX2S", "AUX2E", "DAF",   "HFX",   "HFD",
};

void installLocalTerms(int& /*space*/, TermTable& /*table*/) {}

void installStandardTerms(int& space, TermTable& table, int first) {
  const int count = space < kStandardTermCount ? space : kStandardTermCount;
  for (int i = 0; i < count && first + i < kMaxTermNames; ++i) {
    std::snprintf(table.names[first + i], kTermNameSize, "%s", kStandardTermNames[i]);
  }
  space -= kStandardTermCount;
}

int loadTermNames(Engine& engine) {
  TermTable& table = engine.terms;
  for (int i = 0; i < kMaxTermNames; ++i) {
    table.names[i][0] = '\0';
    table.templates[i][0] = '\0';
  }
  int space = kMaxTermNames;
  installLocalTerms(space, table);
  if (space < 0) {
    msgOut(engine, 'S', "Insufficient space for some local terms!\n");
    space = 0;
  }
  table.localTermCount = kMaxTermNames - space;
  if (space == 0) {
    msgOut(engine, 'S', "No space for any standard terms!\n");
    return -1;
  }
  installStandardTerms(space, table, table.localTermCount);
  if (space < 0) {
    msgOut(engine, 'S', "Insufficient space for some standard terms!\n");
    space = 0;
  }
  table.fixedTermCount = kMaxTermNames - space;
  const int standard = table.fixedTermCount - table.localTermCount;
  if (table.localTermCount > 0) {
    msgOutF(engine, 'I', "There are%3d standard and%3d local pointing terms.\n", standard,
            table.localTermCount);
  } else {
    msgOutF(engine, 'I', "There are%3d standard pointing terms.\n", table.fixedTermCount);
  }
  if (space == 0) msgOut(engine, 'S', "No space for any generic terms!\n");
  table.termNameCount = table.fixedTermCount;
  return 0;
}

const char* termName(const TermTable& table, int termNumber) {
  if (termNumber < 1 || termNumber > kMaxTermNames) return "";
  return table.names[termNumber - 1];
}

void clearModel(Model& model) {
  for (int i = 0; i < kMaxModelTerms; ++i) model.termNumber[i] = 0;
}

void reverseModel(Model& model) {
  // Count up to the first negative entry. Free slots hold 0, not a negative
  // value, so a normal model is reversed over all 50 slots and its terms
  // end up at the top of the list; this is the settled behaviour hosts rely on.
  int n = kMaxModelTerms;
  for (int i = 1; i < kMaxModelTerms - 1; ++i) {
    if (model.termNumber[i] < 0) {
      n = i;
      break;
    }
  }
  for (int i = 0; i < n - 1 - i; ++i) {
    const int j = n - 1 - i;
    std::swap(model.termNumber[i], model.termNumber[j]);
    std::swap(model.coefValue[i], model.coefValue[j]);
    std::swap(model.coefSigma[i], model.coefSigma[j]);
    std::swap(model.floating[i], model.floating[j]);
    std::swap(model.chained[i], model.chained[j]);
  }
  // Each "parallel with the one before" relation stays with its pair.
  for (int k = n - 1; k >= 1; --k) model.chained[k] = model.chained[k - 1];
  model.chained[0] = 1;
}

}  // namespace zenfit
