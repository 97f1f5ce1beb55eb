// The C API: every export drives the one engine of the host library.
#include "zenfit.h"

#include <filesystem>
#include <system_error>

#include "command/engine.h"
#include "command/model_api.h"
#include "command/plot_commands.h"
#include "host/message_buffer.h"
#include "model/generic.h"

namespace {

// The host library's one engine, with its message buffer and cancel handler.
struct Host {
  zenfit::Engine engine;
  zenfit::host::MessageBuffer buffer;
  zenfit::host::CancelHandler cancelHandler;

  Host() {
    std::error_code ignored;
    engine.workdir = std::filesystem::current_path(ignored);
    engine.hooks.output = &buffer;
    buffer.attach(engine.settings);
  }
};

Host& host() {
  // Allocated once, on first use, and kept for the life of the process.
  static Host* instance = new Host();
  return *instance;
}

zenfit::Engine& theEngine() { return host().engine; }

}  // namespace

extern "C" {

void* pObsParms = nullptr;
void* pMapPts = nullptr;
int nPkzen = 0;

int zftZftini(void) { return zenfit::startEngine(theEngine(), {}); }

int zftZftrun(const char* line) { return zenfit::runLine(theEngine(), line != nullptr ? line : ""); }

void** SetDataPtrs(void* obsParms, void* mapPts) {
  pObsParms = obsParms;
  pMapPts = mapPts;
  theEngine().hostAreas.obsParms = obsParms;
  theEngine().hostAreas.mapPts = mapPts;
  return &pMapPts;
}

double* GetRMSPSD(double* skyRms, double* popSd) {
  zenfit::FitSummary& fit = theEngine().fit;
  if (skyRms != nullptr) *skyRms = fit.skyRms;
  if (popSd != nullptr) *popSd = fit.popSd;
  return &fit.popSd;
}

double GetMarkerHt(void) { return theEngine().settings.markerHeight; }

int GetTermInfo(const char* name, int32_t* floating, int32_t* chained) {
  return zenfit::termInfoCommand(theEngine(), name != nullptr ? name : "", floating, chained);
}

int zftCsrv(const char* name, int report, int set, double* value) {
  if (name == nullptr) return -1;
  return zenfit::coefficientCommand(theEngine(), name, report != 0, set != 0, value);
}

int zftParal(const char* text) {
  return zenfit::parallelCommand(theEngine(), text != nullptr ? text : "");
}

int zftTerm(const char* name, int addMode, char* matchedTemplate) {
  if (name == nullptr) return -1;
  return zenfit::resolveTermName(theEngine().terms, name, addMode, matchedTemplate);
}

const char* GetPlotSvg(void) { return zenfit::lastPlotSvg(theEngine()).c_str(); }

int GetTextJustification(int justification) { return justification; }

char* ClearMessageBuffer(void) {
  host().buffer.clear();
  return host().buffer.text();
}

char* GetMessagePtr(void) { return host().buffer.text(); }

int fnPkzen(void) { return 0; }

}  // extern "C"

CPkzen::CPkzen() = default;
CPkzen& CPkzen::operator=(const CPkzen&) = default;
