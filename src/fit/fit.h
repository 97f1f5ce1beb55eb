// The fit commands: FIT, FITTOL and UNFIT.
#pragma once

namespace zenfit {

struct Engine;

// Last-command status of a fit command stopped by the host's cancel request,
// or of a FIT that ended before its report.
inline constexpr int kStatusInterrupted = '!';

// FIT [N]: one linearised least-squares step for the floating coefficients,
// then the coefficient table, sky RMS, population SD, correlations and the
// ill-conditioning report. "N" adjusts nothing and reports on the model as
// it stands. Status blank when the report was reached, '!' when the fit
// ended early.
void cmdFit(Engine& engine);

// Reads the optional "N" after FIT or UNFIT (a command word of the given
// length): adjust is false for "N". Anything else is reported as a bad
// argument and gives false.
bool readAdjustOption(Engine& engine, int commandLength, bool& adjust);

// The fit itself. adjust false is FIT N. Returns 0 when the report was
// written, 1 after an early failure or an interruption.
int fitModel(Engine& engine, bool adjust);

// FITTOL [x]: sets and echoes the ill-conditioning criterion
// (engine.settings.fitTolerance): a singular value below this fraction of
// the largest is zeroed before the solution. Accepted range 0 <= x < 1;
// with no argument the current value is echoed.
void cmdFittol(Engine& engine);

// UNFIT [N]: removes the model from every observation's fitted pair (the
// working copy of the side the model is applied to) and stores the result
// as that side's input copy, so that applying the model again reproduces
// the fitted pair. "N" copies the fitted pair unchanged.
void cmdUnfit(Engine& engine);

// The removal itself; adjust false is UNFIT N. Returns 0.
int unfitModel(Engine& engine, bool adjust);

}  // namespace zenfit
