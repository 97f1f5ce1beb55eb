// The charts of residuals against position, the scatter diagram and the
// histograms.
#include "plot/charts.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <string>
#include <vector>

#include "plot/chart_kit.h"

namespace zenfit::plot {

using namespace detail;

namespace {

bool isResidual(Quantity q) {
  return q == Quantity::DX || q == Quantity::DD || q == Quantity::DS || q == Quantity::DZ ||
         q == Quantity::DR;
}

// Root mean square of a quantity over the observations in use, and their count.
struct Rms {
  double value = 0.0;
  int count = 0;
};
Rms rmsOf(std::span<const ObservationPoint> points, Quantity q) {
  double sum = 0.0;
  Rms rms;
  for (const ObservationPoint& p : points) {
    const double v = valueOf(p, q);
    if (!p.active || !std::isfinite(v)) continue;
    sum += v * v;
    ++rms.count;
  }
  if (rms.count > 0) rms.value = std::sqrt(sum / rms.count);
  return rms;
}

AxisRequest merged(const AxisRequest& a, const AxisRequest& b) {
  AxisRequest m = a;
  m.low = std::min(a.low, b.low);
  m.high = std::max(a.high, b.high);
  return m;
}

void zeroLines(GraphicsDevice& device, const Look& look, const Panel& panel, bool horizontal,
               bool vertical) {
  device.setPen(look.style.pens[kAxesPen]);
  device.setLineWidth(0.6 * look.lineWidth);
  device.setDash(Dash::Dotted);
  if (horizontal && panel.yMin < 0.0 && panel.yMax > 0.0) {
    const double y = panel.toPage(0.0, 0.0).y;
    device.line({panel.area.x, y}, {panel.area.right(), y});
  }
  if (vertical && panel.xMin < 0.0 && panel.xMax > 0.0) {
    const double x = panel.toPage(0.0, 0.0).x;
    device.line({x, panel.area.y}, {x, panel.area.bottom()});
  }
  device.setDash(Dash::Solid);
}

const char* shortName(Quantity q) {
  switch (q) {
    case Quantity::H: return "hour angle";
    case Quantity::D: return "declination";
    case Quantity::A: return "azimuth";
    case Quantity::Z: return "zenith distance";
    case Quantity::N: return "observation number";
    case Quantity::DX: return "dX";
    case Quantity::DD: return "dD";
    case Quantity::DS: return "dS";
    case Quantity::DZ: return "dZ";
    case Quantity::DR: return "dR";
  }
  return "";
}

// Panels in a grid: one row per y quantity, one column per x quantity; the
// rows share one y range (residuals compare at a glance), each column its x.
Chart gridChart(GraphicsDevice& device, std::span<const ObservationPoint> points,
                const Style& style, const std::string& title, const std::vector<Quantity>& ys,
                const std::vector<Quantity>& xs) {
  const Look look = lookFor(device, style);
  const Rect area = beginChart(device, look, title, markerLegend(look, points));
  AxisRequest yRequest = requestFor(ys.front(), points);
  for (Quantity q : ys) yRequest = merged(yRequest, requestFor(q, points));
  const int rows = static_cast<int>(ys.size());
  const int columns = static_cast<int>(xs.size());
  const double hGap = columns > 1 ? 1.5 * look.labelFont : 0.0;
  const double vGap = rows > 1 ? 0.8 * look.labelFont : 0.0;
  const double cellWidth = (area.width - hGap * (columns - 1)) / columns;
  const double cellHeight = (area.height - vGap * (rows - 1)) / rows;
  Chart chart;
  for (int r = 0; r < rows; ++r) {
    const bool residual = isResidual(ys[r]);
    for (int c = 0; c < columns; ++c) {
      const Rect cell{area.x + c * (cellWidth + hGap), area.y + r * (cellHeight + vGap), cellWidth,
                      cellHeight};
      const double topRoom = residual ? 1.2 * look.tickFont : 0.0;
      const PanelLayout layout =
          layoutPanel(device, look, cell, requestFor(xs[c], points), yRequest, false, topRoom);
      const Panel panel = cartesianPanel(device, look, layout, axisTitle(xs[c]), axisTitle(ys[r]));
      if (residual) {
        const Rms rms = rmsOf(points, ys[r]);
        if (rms.count > 0) {
          note(device, look, {panel.area.right(), panel.area.y - 0.35 * look.tickFont},
               "RMS " + formatArcsec(rms.value), HAlign::Right, VAlign::Bottom);
        }
        zeroLines(device, look, panel, true, false);
      }
      const Quantity qx = xs[c], qy = ys[r];
      drawObservationMarkers(device, look, points, look.markerSize, [&](const ObservationPoint& p) {
        return panel.toPage(valueOf(p, qx), valueOf(p, qy));
      });
      chart.panels.push_back(panel);
    }
  }
  device.endPlot();
  return chart;
}

}  // namespace

Chart drawQuantities(GraphicsDevice& device, std::span<const ObservationPoint> points,
                     const Style& style, Quantity y, Quantity x) {
  std::string title = shortName(y);
  title += " against ";
  title += shortName(x);
  title[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(title[0])));
  if (title[0] == 'D' && isResidual(y)) title[0] = 'd';
  return gridChart(device, points, style, title, {y}, {x});
}

Chart drawEquatorialResiduals(GraphicsDevice& device, std::span<const ObservationPoint> points,
                              const Style& style) {
  return gridChart(device, points, style,
                   "Residuals (star \xE2\x88\x92 telescope) against hour angle and declination",
                   {Quantity::DX, Quantity::DD}, {Quantity::H, Quantity::D});
}

Chart drawAltazResiduals(GraphicsDevice& device, std::span<const ObservationPoint> points,
                         const Style& style) {
  return gridChart(device, points, style,
                   "Residuals (star \xE2\x88\x92 telescope) against azimuth and zenith distance",
                   {Quantity::DS, Quantity::DZ}, {Quantity::A, Quantity::Z});
}

Chart drawScatter(GraphicsDevice& device, std::span<const ObservationPoint> points,
                  const Style& style, const ScatterOptions& options) {
  const Quantity qx = options.horizon ? Quantity::DS : Quantity::DX;
  const Quantity qy = options.horizon ? Quantity::DZ : Quantity::DD;
  const Look look = lookFor(device, style);
  const std::string title = std::string("Scatter diagram: ") + shortName(qy) + " against " +
                            shortName(qx);
  const Rect area = beginChart(device, look, title, markerLegend(look, points));

  double sum = 0.0, largest = 0.0;
  int active = 0;
  for (const ObservationPoint& p : points) {
    const double x = valueOf(p, qx), y = valueOf(p, qy);
    if (!std::isfinite(x) || !std::isfinite(y)) continue;
    largest = std::max({largest, std::fabs(x), std::fabs(y)});
    if (!p.active) continue;
    sum += x * x + y * y;
    ++active;
  }
  const double rms = options.skyRms > 0.0 && std::isfinite(options.skyRms)
                         ? options.skyRms
                         : (active > 0 ? std::sqrt(sum / active) : 0.0);
  largest = std::max(largest, 2.05 * rms);

  // The legend beside the diagram.
  const std::vector<std::string> lines = {
      "Sky RMS " + formatArcsec(rms), std::to_string(active) + " observations in use",
      "1 \xC3\x97 RMS", "2 \xC3\x97 RMS"};
  device.setFont(style.labelFont, look.labelFont);
  const double sample = 2.5 * look.labelFont;
  double legendWidth = 0.0;
  for (const std::string& line : lines) legendWidth = std::max(legendWidth, device.textWidth(line));
  legendWidth += sample + 2.0 * look.labelFont;
  legendWidth = std::min(legendWidth, 0.45 * area.width);

  const Rect cell{area.x, area.y, area.width - legendWidth, area.height};
  const AxisRequest request{-largest, largest, StepKind::Plain, -1e300, 1e300, true, false};
  const PanelLayout layout = layoutPanel(device, look, cell, request, request, true);
  const Panel panel = cartesianPanel(device, look, layout, axisTitle(qx), axisTitle(qy));
  zeroLines(device, look, panel, true, true);

  // The RMS circles, in arcseconds on both axes (equal scales).
  const double perArcsec = panel.area.width / (panel.xMax - panel.xMin);
  const Point origin = panel.toPage(0.0, 0.0);
  device.clip(panel.area);
  device.setPen(style.pens[kAxesPen]);
  device.setLineWidth(look.lineWidth);
  if (rms > 0.0) {
    device.setDash(Dash::Dashed);
    device.circle(origin, rms * perArcsec, false);
    device.setDash(Dash::Dotted);
    device.circle(origin, 2.0 * rms * perArcsec, false);
  }
  device.setDash(Dash::Solid);
  device.unclip();
  drawObservationMarkers(device, look, points, look.markerSize, [&](const ObservationPoint& p) {
    return panel.toPage(valueOf(p, qx), valueOf(p, qy));
  });

  const double x = panel.area.right() + 1.5 * look.labelFont;
  double y = panel.area.y;
  const double row = 1.5 * look.labelFont;
  device.setFont(style.labelFont, look.labelFont);
  device.setPen(style.pens[kLabelsPen]);
  device.text({x, y}, lines[0], HAlign::Left, VAlign::Top);
  device.text({x, y + row}, lines[1], HAlign::Left, VAlign::Top);
  for (int k = 0; k < 2; ++k) {
    const double ly = y + (2.6 + k) * row;
    device.setPen(style.pens[kAxesPen]);
    device.setLineWidth(look.lineWidth);
    device.setDash(k == 0 ? Dash::Dashed : Dash::Dotted);
    device.line({x, ly + 0.5 * kCapHeight * look.labelFont},
                {x + sample, ly + 0.5 * kCapHeight * look.labelFont});
    device.setDash(Dash::Solid);
    device.setPen(style.pens[kLabelsPen]);
    device.text({x + sample + 0.5 * look.labelFont, ly}, lines[2 + k], HAlign::Left, VAlign::Top);
  }
  device.endPlot();
  Chart chart;
  chart.panels.push_back(panel);
  return chart;
}

Chart drawHistograms(GraphicsDevice& device, std::span<const ObservationPoint> points,
                     const Style& style, bool horizon) {
  const Quantity quantities[3] = {horizon ? Quantity::DS : Quantity::DX,
                                  horizon ? Quantity::DZ : Quantity::DD, Quantity::DR};
  const Look look = lookFor(device, style);
  int active = 0;
  for (const ObservationPoint& p : points) active += p.active ? 1 : 0;
  const std::string title = "Distribution of the residuals of the " + std::to_string(active) +
                            (active == 1 ? " observation" : " observations") + " in use";
  const std::vector<LegendEntry> legend = {
      {MarkerShape::Circle, false, look.style.pens[kAxesPen],
       "expected of a normal law of the same RMS (for dR: Rayleigh)", true}};
  const Rect area = beginChart(device, look, title, legend);
  const double gap = 1.5 * look.labelFont;
  const double cellWidth = (area.width - 2.0 * gap) / 3.0;
  // About 2 n^(1/3) bins (Rice's rule), within reason.
  const int bins = std::clamp(static_cast<int>(std::ceil(2.0 * std::cbrt(std::max(active, 1)))), 6, 40);
  Chart chart;
  // The largest size of each quantity in use.
  double largestOf[3] = {0.0, 0.0, 0.0};
  for (int k = 0; k < 3; ++k) {
    for (const ObservationPoint& p : points) {
      const double v = valueOf(p, quantities[k]);
      if (p.active && std::isfinite(v)) largestOf[k] = std::max(largestOf[k], std::fabs(v));
    }
  }
  // One bin width for all three, the round width nearest to the rule's for
  // the components, and one range for the two components: the panels
  // compare at a glance.
  double largestComponent = std::max(largestOf[0], largestOf[1]);
  if (!(largestComponent > 0.0)) largestComponent = 1.0;
  const double width = roundNearest(2.0 * largestComponent / bins);
  for (int k = 0; k < 3; ++k) {
    const Quantity q = quantities[k];
    const bool radial = q == Quantity::DR;
    std::vector<double> values;
    for (const ObservationPoint& p : points) {
      const double v = valueOf(p, q);
      if (p.active && std::isfinite(v)) values.push_back(v);
    }
    const Rms rms = rmsOf(points, q);
    const double largest = radial ? std::max(largestOf[2], width) : largestComponent;
    const double edge = std::ceil(largest / width - 1e-9) * width;
    const double low = radial ? 0.0 : -edge;
    const int count = std::max(1, static_cast<int>(std::lround((edge - low) / width)));
    std::vector<int> counts(count, 0);
    for (double v : values) {
      const int b = std::clamp(static_cast<int>(std::floor((v - low) / width)), 0, count - 1);
      ++counts[b];
    }
    // The expected count per bin: n * width * density.
    const double sigma = radial ? rms.value / std::sqrt(2.0) : rms.value;
    auto expected = [&](double v) {
      if (!(sigma > 0.0)) return 0.0;
      const double u = v / sigma;
      const double density = radial ? u / sigma * std::exp(-0.5 * u * u)
                                    : std::exp(-0.5 * u * u) / (sigma * std::sqrt(2.0 * M_PI));
      return values.size() * width * density;
    };
    double peak = 1.0;
    for (int c : counts) peak = std::max(peak, static_cast<double>(c));
    const double mode = radial ? sigma : 0.0;
    peak = std::max(peak, expected(mode));

    const Rect cell{area.x + k * (cellWidth + gap), area.y, cellWidth, area.height};
    const AxisRequest xRequest{low, edge, StepKind::Plain, -1e300, 1e300, !radial, radial};
    const AxisRequest yRequest{0.0, peak * 1.05, StepKind::Plain, 0.0, 1e300, false, false};
    PanelLayout layout = layoutPanel(device, look, cell, xRequest, yRequest, false,
                                     1.2 * look.tickFont);
    // The axis spans the bins exactly, with at least three ticks across.
    layout.x.min = low;
    layout.x.max = edge;
    layout.x.step = roundStep((edge - low) / std::max(4, intervalsFor(look, layout.box.width)),
                              StepKind::Plain);
    layout.x.decimals = decimalsFor(layout.x.step);
    layout.y.min = 0.0;
    const Panel panel = cartesianPanel(device, look, layout, axisTitle(q), "Number of observations");

    std::vector<Segment> outline;
    for (int b = 0; b < count; ++b) {
      if (counts[b] == 0) continue;
      const Point top = panel.toPage(low + b * width, counts[b]);
      const Point base = panel.toPage(low + (b + 1) * width, 0.0);
      device.setPen(style.pens[kPointsPen]);
      device.fillRect({top.x, top.y, base.x - top.x, base.y - top.y}, 0.6);
      device.setLineWidth(0.6 * look.lineWidth);
      device.strokeRect({top.x, top.y, base.x - top.x, base.y - top.y});
    }
    std::vector<Point> curve;
    const int samples = 160;
    for (int i = 0; i <= samples; ++i) {
      const double v = low + (edge - low) * i / samples;
      curve.push_back(panel.toPage(v, expected(v)));
    }
    if (sigma > 0.0) {
      device.clip(panel.area);
      device.setPen(style.pens[kAxesPen]);
      device.setLineWidth(1.4 * look.lineWidth);
      device.polyline(curve, false);
      device.unclip();
    }
    note(device, look, {panel.area.right(), panel.area.y - 0.35 * look.tickFont},
         "RMS " + formatArcsec(rms.value), HAlign::Right, VAlign::Bottom);
    chart.panels.push_back(panel);
  }
  device.endPlot();
  return chart;
}

}  // namespace zenfit::plot
