// The fit commands.
#pragma once

namespace zenfit {

struct Engine;

// Last-command status of a fit command stopped by the host's cancel request.
inline constexpr int kStatusInterrupted = '!';

// FITTOL [x]: sets and echoes the ill-conditioning criterion
// (engine.settings.fitTolerance): a singular value below this fraction of
// the largest is zeroed before the solution. Accepted range 0 <= x < 1;
// with no argument the current value is echoed.
void cmdFittol(Engine& engine);

}  // namespace zenfit
