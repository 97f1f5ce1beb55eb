// The plot settings of an engine and the device its plot commands draw on.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "plot/chart_types.h"
#include "plot/file_device.h"
#include "plot/memory_device.h"

namespace zenfit {

inline constexpr int kPenRoles = plot::kPenRoleCount;  // frame, caption, axes, labels, points, offpoints

// What one panel of a plot shows: two quantities against each other, or
// the observations' places on the sky (the panel's own sky projection).
struct PanelAxes {
  bool sky = false;
  plot::Quantity x = plot::Quantity::H;
  plot::Quantity y = plot::Quantity::D;
};

struct PlotState {
  std::unique_ptr<plot::FileDevice> current;  // the open device, null when none
  int graphicsState = 0;                      // 2: a finished plot awaits acknowledgement
  int pens[kPenRoles] = {-1, -1, -1, -1, -1, -1};
  int fonts[2] = {1, 1};                      // caption, labels
  int textPrecision = 2;
  double zone[4] = {0.0, 0.0, 1.0, 1.0};
  // The page of the last plot, as drawn (with any plots it was drawn over),
  // kept after its device is closed; lastSvg is made from it when asked for.
  plot::Page lastPage;
  bool svgStale = false;  // lastSvg does not show lastPage yet
  std::string lastSvg;    // the last plot drawn, as SVG text
  // What the last plot drew, for a host that maps a point of the plot back
  // to an observation: its panels, the observations as plotted, and what
  // each panel shows (none for the histograms, which draw no observation).
  plot::Chart lastChart;
  std::vector<plot::ObservationPoint> lastPoints;
  std::vector<PanelAxes> lastAxes;
};

}  // namespace zenfit
