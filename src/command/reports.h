// Reports: the texts the engine has always printed, made from the typed
// results of the core. Each is a function from a result to the messages
// that say it; none changes anything.
#pragma once

#include "command/output.h"
#include "data/observation_reader.h"
#include "fit/fit.h"
#include "fit/residuals.h"
#include "model/model.h"
#include "model/model_file.h"
#include "model/terms.h"

namespace zenfit {

struct Engine;

// The term space at start-up.
Report termSpaceReport(const TermSpace& space);

// CLIST: every entry of the model (position 0 or below), or the entry at
// a 1-based position alone.
Report coefficientListing(const Model& model, const TermTable& terms, int position = 0);

// INDAT: the records read, the refusals, and the run's constants.
// briefEcho: only refused records are echoed.
Report observationReadReport(const ObservationRead& read, const RunState& run, bool briefEcho);

// FIT: the coefficient table, sky RMS, population SD, terms that were
// always zero, the correlations and the ill-conditioning paragraph; or the
// message of a fit that ended early.
Report fitReport(const FitResult& result, const Model& model, const TermTable& terms,
                 double tolerance);

// SLIST: the residual listing. full: every star's line (REPLEN L);
// threshold in arcseconds.
Report residualListing(const ResidualTable& table, const RunState& run, bool full,
                       double thresholdArcsec);

// INMOD: the lines read, then the reason a file was refused.
Report modelFileReport(const ModelFileRead& read);

// SHOW: the settings and the observation count.
Report settingsReport(const Engine& engine);

}  // namespace zenfit
