// The engine: all state, one struct per subsystem.
//
// The C API drives one static instance; tests make fresh ones. Nothing else
// in the engine holds mutable state.
#pragma once

#include "command/dispatcher.h"
#include "command/lexer.h"
#include "command/procedures.h"
#include "command/settings.h"
#include "data/catalogue.h"
#include "data/observations.h"
#include "fit/fit_state.h"
#include "host/message.h"
#include "model/model.h"
#include "plot/plot.h"

namespace zenfit {

struct Engine {
  HostState host;
  LineBuffers lines;
  DispatchState dispatch;
  ProcedureStore procedures;
  Settings settings;
  TermTable terms;
  Model model;
  ObservationList observations;
  RunState run;
  Catalogue catalogue;
  FitState fit;
  PlotState plot;

  Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
};

}  // namespace zenfit
