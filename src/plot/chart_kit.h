// What the charts share: round tick steps, the look derived from the zone
// and the style, the frame, caption and header, and axes.
#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "plot/chart_types.h"
#include "plot/device.h"

namespace zenfit::plot::detail {

// Which steps count as round on an axis: 1-2-5 for plain numbers; for hours
// also 3 and 6; for degrees also 15, 30, 45 and 90.
enum class StepKind { Plain, Hours, Degrees };

struct Axis {
  double min = 0.0;
  double max = 1.0;
  double step = 0.2;  // between ticks
  int decimals = 1;   // of the tick labels
  std::vector<double> ticks() const;
};

// The smallest round step not below `raw`.
double roundStep(double raw, StepKind kind);
// The largest 1-2-5 value not above `value`, and the one nearest to it on a
// logarithmic scale.
double roundDown(double value);
double roundNearest(double value);
// An axis through [low, high] widened to whole steps, about `intervals`
// steps long, kept within [limitLow, limitHigh].
Axis looseAxis(double low, double high, int intervals, StepKind kind,
               double limitLow = -1e300, double limitHigh = 1e300);
// An axis from -extent to +extent (0 to +extent when `fromZero`), extent a
// whole number of round steps not below `largest`.
Axis symmetricAxis(double largest, int intervals, bool fromZero = false);
// A tick label with a true minus sign, and never "-0".
std::string formatNumber(double value, int decimals);
// Arcseconds with the double prime: "2.31″".
std::string formatArcsec(double value);
// The decimals that show a multiple of `step` exactly.
int decimalsFor(double step);

// The sizes of a chart's text, lines and markers for its zone and style.
struct Look {
  Style style;
  Rect zone;           // page units
  double tickFont;     // tick labels and small notes
  double labelFont;    // axis titles and the header
  double captionFont;  // the caption
  double lineWidth;    // axes and data lines
  double markerSize;   // marker diameter
  double tickLength;
};
Look lookFor(const GraphicsDevice& device, const Style& style);

// Starts the plot: frame, caption and the header row (the chart's title and
// the marker legend). Returns the area left for the panels.
struct LegendEntry {
  MarkerShape shape;
  bool filled;
  int pen;
  std::string text;
  bool line = false;  // a short line instead of a marker
};
Rect beginChart(GraphicsDevice& device, const Look& look, std::string_view title,
                const std::vector<LegendEntry>& legend);
// The legend of observation markers for these points (only kinds present).
std::vector<LegendEntry> markerLegend(const Look& look, std::span<const ObservationPoint> points);

// The number of tick intervals that suits an axis `length` long.
int intervalsFor(const Look& look, double length);

// What an axis is asked to show: the data's range and how to round it.
struct AxisRequest {
  double low, high;
  StepKind kind;
  double limitLow, limitHigh;
  bool symmetric;  // residuals: symmetric about zero
  bool fromZero;   // magnitudes: from zero
};
AxisRequest requestFor(Quantity quantity, std::span<const ObservationPoint> points);
Axis axisFor(const AxisRequest& request, int intervals);

// A Cartesian panel laid out in `cell`: the box left once the tick labels
// and titles have room (and `topRoom` above for a note), and axes with as
// many ticks as the box's size suits. `square`: a square box, both axes
// with the same number of intervals (equal scales for equal requests).
struct PanelLayout {
  Rect box;
  Axis x, y;
};
PanelLayout layoutPanel(GraphicsDevice& device, const Look& look, const Rect& cell,
                        const AxisRequest& xRequest, const AxisRequest& yRequest,
                        bool square = false, double topRoom = 0.0);
// Draws the box with ticks inside it, the tick labels and the titles.
Panel cartesianPanel(GraphicsDevice& device, const Look& look, const PanelLayout& layout,
                     std::string_view xTitle, std::string_view yTitle);

// The observations' markers in a panel: masked ones (hollow, offpoints pen)
// under the active ones (filled, points pen); stars over the pole as
// triangles. `place` gives a point's page position.
template <typename Place>
void drawObservationMarkers(GraphicsDevice& device, const Look& look,
                            std::span<const ObservationPoint> points, double size, Place place);

// A note in the tick font, e.g. a panel's RMS.
void note(GraphicsDevice& device, const Look& look, Point at, std::string_view text, HAlign h,
          VAlign v);

}  // namespace zenfit::plot::detail

#include <cmath>

namespace zenfit::plot::detail {

template <typename Place>
void drawObservationMarkers(GraphicsDevice& device, const Look& look,
                            std::span<const ObservationPoint> points, double size, Place place) {
  std::vector<Point> groups[4];  // masked, masked over the pole, active, active over the pole
  for (const ObservationPoint& p : points) {
    const Point at = place(p);
    if (!std::isfinite(at.x) || !std::isfinite(at.y)) continue;
    groups[(p.active ? 2 : 0) + (p.overPole ? 1 : 0)].push_back(at);
  }
  device.setLineWidth(std::max(0.5, 0.15 * size));
  device.setPen(look.style.pens[kOffpointsPen]);
  device.markers(groups[0], MarkerShape::Circle, size, false);
  device.markers(groups[1], MarkerShape::Triangle, size, false);
  device.setPen(look.style.pens[kPointsPen]);
  device.markers(groups[2], MarkerShape::Circle, size, true);
  device.markers(groups[3], MarkerShape::Triangle, size, true);
}

}  // namespace zenfit::plot::detail
