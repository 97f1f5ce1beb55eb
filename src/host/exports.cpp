// The C API: every export drives the one engine of the host library.
#include "zenfit.h"

#include <memory>

#include "command/startup.h"
#include "engine.h"
#include "model/generic.h"

namespace {

zenfit::Engine& theEngine() {
  // Allocated once, on first use, and kept for the life of the process.
  static zenfit::Engine* engine = new zenfit::Engine();
  return *engine;
}

}  // namespace

extern "C" {

void* pObsParms = nullptr;
void* pMapPts = nullptr;
int nPkzen = 0;

int zftZftini(void) {
  zenfit::StartupOptions options;
  return zenfit::startup(theEngine(), options);
}

int zftZftrun(const char* line) { return zenfit::runLine(theEngine(), line != nullptr ? line : ""); }

void** SetDataPtrs(void* obsParms, void* mapPts) {
  pObsParms = obsParms;
  pMapPts = mapPts;
  theEngine().host.obsParms = obsParms;
  theEngine().host.mapPts = mapPts;
  return &pMapPts;
}

double* GetRMSPSD(double* skyRms, double* popSd) {
  zenfit::FitState& fit = theEngine().fit;
  if (skyRms != nullptr) *skyRms = fit.skyRms;
  if (popSd != nullptr) *popSd = fit.popSd;
  return &fit.popSd;
}

double GetMarkerHt(void) { return theEngine().settings.markerHeight; }

int GetTermInfo(const char* name, int32_t* floating, int32_t* chained) {
  return zenfit::termInfo(theEngine(), name != nullptr ? name : "", floating, chained);
}

int zftCsrv(const char* name, int report, int set, double* value) {
  return zenfit::setCoefficient(theEngine(), name, report, set, value);
}

int zftParal(const char* text) {
  return zenfit::parallelTerms(theEngine(), text != nullptr ? text : "");
}

int zftTerm(const char* name, int addMode, char* matchedTemplate) {
  if (name == nullptr) return -1;
  return zenfit::resolveTermName(theEngine(), name, addMode, matchedTemplate);
}

int GetTextJustification(int justification) { return justification; }

char* ClearMessageBuffer(void) {
  zenfit::clearMessageBuffer(theEngine());
  return theEngine().host.buffer;
}

char* GetMessagePtr(void) { return theEngine().host.buffer; }

int fnPkzen(void) { return 0; }

}  // extern "C"

CPkzen::CPkzen() = default;
CPkzen& CPkzen::operator=(const CPkzen&) = default;
