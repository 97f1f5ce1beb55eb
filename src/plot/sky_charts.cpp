// Where the observations are on the sky, and vector maps of residuals or
// model corrections over it.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "plot/chart_kit.h"
#include "plot/charts.h"

namespace zenfit::plot {

using namespace detail;

namespace {

constexpr double kArcsecPerDegree = 3600.0;

// The horizon panel in `cell`: a circle as large as the cell allows once the
// azimuth labels have room around it.
Panel horizonPanel(GraphicsDevice& device, const Look& look, const Rect& cell,
                   std::span<const ObservationPoint> points) {
  double rMax = 90.0;
  for (const ObservationPoint& p : points) {
    if (std::isfinite(p.zdDegrees) && p.zdDegrees > rMax) rMax = std::ceil(p.zdDegrees / 15.0) * 15.0;
  }
  rMax = std::min(rMax, 180.0);
  device.setFont(look.style.labelFont, look.tickFont);
  const double sideRoom = device.textWidth("300\xC2\xB0") + 0.8 * look.tickFont;
  const double endRoom = 1.6 * look.tickFont;
  const double radius = std::max(1.0, std::min(cell.width / 2.0 - sideRoom, cell.height / 2.0 - endRoom));
  const Point centre = cell.centre();
  Panel panel;
  panel.kind = Panel::Kind::Polar;
  panel.area = {centre.x - radius, centre.y - radius, 2.0 * radius, 2.0 * radius};
  panel.rMax = rMax;
  return panel;
}

void drawHorizonGrid(GraphicsDevice& device, const Look& look, const Panel& panel) {
  const Style& style = look.style;
  const Point centre = panel.area.centre();
  const double radius = panel.area.width / 2.0;
  const double ring = radius >= 110.0 ? 15.0 : 30.0;
  device.setPen(style.pens[kAxesPen]);
  device.setLineWidth(0.5 * look.lineWidth);
  device.setDash(Dash::Dotted);
  for (double z = ring; z < panel.rMax - 1e-9; z += ring) {
    device.circle(centre, radius * z / panel.rMax, false);
  }
  std::vector<Segment> spokes;
  for (int a = 0; a < 360; a += 30) spokes.push_back({centre, panel.polarToPage(a, panel.rMax)});
  device.segments(spokes);
  device.setDash(Dash::Solid);
  device.setLineWidth(look.lineWidth);
  device.circle(centre, radius, false);
  if (panel.rMax > 90.0) {  // the horizon, inside a rim that reaches below it
    device.setLineWidth(0.8 * look.lineWidth);
    device.setDash(Dash::Dashed);
    device.circle(centre, radius * 90.0 / panel.rMax, false);
    device.setDash(Dash::Solid);
  }
  // A small cross at the zenith.
  const double arm = 0.4 * look.tickFont;
  device.setLineWidth(0.8 * look.lineWidth);
  device.line({centre.x - arm, centre.y}, {centre.x + arm, centre.y});
  device.line({centre.x, centre.y - arm}, {centre.x, centre.y + arm});

  device.setPen(style.pens[kLabelsPen]);
  device.setFont(style.labelFont, look.tickFont);
  // Zenith distances along the spoke at azimuth 330 (up and to the right).
  for (double z = ring; z < panel.rMax - 1e-9; z += ring) {
    const Point at = panel.polarToPage(330.0, z);
    device.text({at.x + 0.25 * look.tickFont, at.y - 0.15 * look.tickFont},
                formatNumber(z, 0) + "\xC2\xB0", HAlign::Left, VAlign::Bottom);
  }
  // Azimuths outside the rim: the cardinal points by name.
  const double gap = 0.5 * look.tickFont;
  for (int a = 0; a < 360; a += 30) {
    const double s = std::sin(a * M_PI / 180.0), c = std::cos(a * M_PI / 180.0);
    const Point at{centre.x - (radius + gap) * s, centre.y - (radius + gap) * c};
    const HAlign h = s > 0.3 ? HAlign::Right : s < -0.3 ? HAlign::Left : HAlign::Centre;
    const VAlign v = c > 0.3 ? VAlign::Bottom : c < -0.3 ? VAlign::Top : VAlign::Middle;
    static const char* const kCardinal[] = {"N", "E", "S", "W"};
    const std::string label = a % 90 == 0 ? kCardinal[a / 90] : std::to_string(a) + "\xC2\xB0";
    device.text(at, label, h, v);
  }
}

// The equatorial panel: hour angle across, declination up.
Panel equatorialPanel(GraphicsDevice& device, const Look& look, const Rect& cell,
                      std::span<const ObservationPoint> points) {
  const PanelLayout layout = layoutPanel(device, look, cell, requestFor(Quantity::H, points),
                                         requestFor(Quantity::D, points));
  return cartesianPanel(device, look, layout, axisTitle(Quantity::H), axisTitle(Quantity::D));
}

Point skyPosition(const Panel& panel, const ObservationPoint& p) {
  return panel.kind == Panel::Kind::Polar ? panel.polarToPage(p.azDegrees, p.zdDegrees)
                                          : panel.toPage(p.haHours, p.decDegrees);
}

// The offset on the page, per arcsecond of magnified vector, of the vector's
// two components at an observation: horizon (dS towards decreasing azimuth,
// dZ away from the zenith) or equatorial (dX towards increasing hour angle,
// dD north).
Point vectorOnPage(const Panel& panel, const ObservationPoint& p) {
  if (panel.kind == Panel::Kind::Polar) {
    const double a = p.azDegrees * M_PI / 180.0;
    const double s = std::sin(a), c = std::cos(a);
    return {p.dS * c - p.dZ * s, -p.dS * s - p.dZ * c};
  }
  return {p.dX, -p.dD};
}

// Page units per arcsecond of the plot's reference axis (zenith distance or
// declination).
double pagePerArcsec(const Panel& panel) {
  if (panel.kind == Panel::Kind::Polar) return panel.area.width / 2.0 / (panel.rMax * kArcsecPerDegree);
  return panel.area.height / ((panel.yMax - panel.yMin) * kArcsecPerDegree);
}

std::string formatScale(double scale) {
  if (scale >= 1.0 && scale < 1e9) return formatNumber(scale, 0);
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.3g", scale);
  return buffer;
}

}  // namespace

Chart drawDistribution(GraphicsDevice& device, std::span<const ObservationPoint> points,
                       const Style& style, SkyPlot sky) {
  const Look look = lookFor(device, style);
  const char* title = sky == SkyPlot::Horizon
                          ? "Observed positions on the sky (seen from below: north up, east left)"
                          : "Observed positions: hour angle (east left) and declination";
  const Rect area = beginChart(device, look, title, markerLegend(look, points));
  Panel panel;
  if (sky == SkyPlot::Horizon) {
    panel = horizonPanel(device, look, area, points);
    drawHorizonGrid(device, look, panel);
  } else {
    panel = equatorialPanel(device, look, area, points);
  }
  drawObservationMarkers(device, look, points, look.markerSize,
                         [&](const ObservationPoint& p) { return skyPosition(panel, p); });
  device.endPlot();
  Chart chart;
  chart.panels.push_back(panel);
  return chart;
}

Chart drawVectorMap(GraphicsDevice& device, std::span<const ObservationPoint> points,
                    const Style& style, const MapOptions& options) {
  const Look look = lookFor(device, style);
  std::string title = options.modelCorrections ? "Model corrections" : "Residuals (star \xE2\x88\x92 telescope)";
  title += options.sky == SkyPlot::Horizon ? " on the sky (seen from below: north up, east left)"
                                           : " over hour angle (east left) and declination";
  const Rect area = beginChart(device, look, title, markerLegend(look, points));
  // A row at the bottom for the scale arrow.
  const double scaleRow = 2.2 * look.labelFont;
  const Rect cell{area.x, area.y, area.width, std::max(1.0, area.height - scaleRow)};
  Panel panel;
  if (options.sky == SkyPlot::Horizon) {
    panel = horizonPanel(device, look, cell, points);
    drawHorizonGrid(device, look, panel);
  } else {
    panel = equatorialPanel(device, look, cell, points);
  }

  // The magnification: given, or a round one that draws the RMS vector of
  // the observations in use about 3.5% of the plot's height long.
  const double unit = pagePerArcsec(panel);
  double sum = 0.0;
  int active = 0;
  for (const ObservationPoint& p : points) {
    const Point v = vectorOnPage(panel, p);
    if (!p.active || !std::isfinite(v.x) || !std::isfinite(v.y)) continue;
    sum += v.x * v.x + v.y * v.y;
    ++active;
  }
  const double rmsLength = active > 0 ? std::sqrt(sum / active) : 0.0;
  const double reference = panel.area.height;
  double scale = options.scale;
  if (!(scale > 0.0) || !std::isfinite(scale)) {
    scale = rmsLength > 0.0 && unit > 0.0 ? roundNearest(0.035 * reference / (rmsLength * unit)) : 1.0;
  }
  const double perArcsec = scale * unit;

  std::vector<Segment> arrows[2];  // masked, in use
  for (const ObservationPoint& p : points) {
    const Point from = skyPosition(panel, p);
    const Point v = vectorOnPage(panel, p);
    const Point to{from.x + v.x * perArcsec, from.y + v.y * perArcsec};
    if (!std::isfinite(from.x) || !std::isfinite(from.y) || !std::isfinite(to.x) || !std::isfinite(to.y)) {
      continue;
    }
    arrows[p.active ? 1 : 0].push_back({from, to});
  }
  drawObservationMarkers(device, look, points, 0.6 * look.markerSize,
                         [&](const ObservationPoint& p) { return skyPosition(panel, p); });
  const double head = 3.0 * look.lineWidth / 0.8;
  device.clip(cell);
  device.setLineWidth(0.75 * look.lineWidth);
  device.setPen(style.pens[kOffpointsPen]);
  device.arrows(arrows[0], head);
  device.setPen(style.pens[kPointsPen]);
  device.arrows(arrows[1], head);
  device.unclip();

  // The scale arrow: a round length of about a twelfth of the plot's height
  // (never more than a quarter of the width).
  const double room = std::min(0.08 * reference, 0.25 * area.width);
  const double length = perArcsec > 0.0 ? roundDown(room / perArcsec) : 1.0;
  const double y = area.bottom() - 0.6 * look.labelFont;
  const double x = panel.area.x;
  device.setPen(style.pens[kPointsPen]);
  device.setLineWidth(look.lineWidth);
  device.arrow({x, y}, {x + length * perArcsec, y}, 1.3 * head);
  device.setFont(style.labelFont, look.labelFont);
  device.setPen(style.pens[kLabelsPen]);
  const std::string label = formatNumber(length, decimalsFor(length)) + "\xE2\x80\xB3   (vectors magnified \xC3\x97" +
                            formatScale(scale) + ")";
  device.text({x + length * perArcsec + 0.6 * look.labelFont, y}, label, HAlign::Left, VAlign::Middle);
  device.endPlot();
  Chart chart;
  chart.panels.push_back(panel);
  chart.mapScale = scale;
  return chart;
}

}  // namespace zenfit::plot
