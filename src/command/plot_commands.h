// The graphics device's life within a session.
#pragma once

#include <string>

namespace zenfit {

struct Engine;

// Start-up: settles the pens against the device's pens and defaults.
void resetGraphics(Engine& engine);
// Closes the device at the end of a session, writing a PDF or PostScript
// document it holds (a write error is reported).
void shutdownGraphics(Engine& engine);
// The last plot drawn in this engine as SVG text ("" before the first). The
// text stays as it is until the next plot.
const std::string& lastPlotSvg(Engine& engine);

}  // namespace zenfit
