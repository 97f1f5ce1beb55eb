// The plot settings of an engine and the device its plot commands draw on.
#pragma once

#include <string>

#include "plot/device.h"

namespace zenfit {

struct PlotState {
  NullDevice nullDevice;
  GraphicsDevice* installed = nullptr;  // the device PLTON opens (null device if unset)
  GraphicsDevice* current = nullptr;    // the open device, null when none
  int graphicsState = 0;                // 2: a finished plot awaits acknowledgement
  int pens[kPenRoles] = {-1, -1, -1, -1, -1, -1};
  int fonts[2] = {1, 1};                // caption, labels
  int textPrecision = 2;
  double zone[4] = {0.0, 0.0, 1.0, 1.0};
  std::string lastSvg;                  // the last plot drawn, as SVG text
};

}  // namespace zenfit
