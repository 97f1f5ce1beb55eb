#include "plot/chart_kit.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace zenfit::plot::detail {

namespace {

constexpr double kReferenceWidth = 720.0;   // the page the sizes are chosen for
constexpr double kReferenceHeight = 540.0;
constexpr const char* kMinus = "\xE2\x88\x92";        // U+2212
constexpr const char* kDoublePrime = "\xE2\x80\xB3";  // U+2033

Rect zoneOnPage(const Rect& page, const double zone[4]) {
  const bool valid = std::isfinite(zone[0]) && std::isfinite(zone[1]) && std::isfinite(zone[2]) &&
                     std::isfinite(zone[3]) && zone[2] > zone[0] && zone[3] > zone[1];
  if (!valid) return page;
  const double x1 = std::clamp(zone[0], 0.0, 1.0), x2 = std::clamp(zone[2], 0.0, 1.0);
  const double y1 = std::clamp(zone[1], 0.0, 1.0), y2 = std::clamp(zone[3], 0.0, 1.0);
  if (x2 <= x1 || y2 <= y1) return page;
  // Zone fractions are measured from the lower left; the page's y runs down.
  return {page.x + x1 * page.width, page.y + (1.0 - y2) * page.height, (x2 - x1) * page.width,
          (y2 - y1) * page.height};
}

}  // namespace

int decimalsFor(double step) {
  if (!(step > 0.0) || !std::isfinite(step)) return 0;
  return std::clamp(static_cast<int>(-std::floor(std::log10(step) + 1e-9)), 0, 9);
}

std::vector<double> Axis::ticks() const {
  std::vector<double> values;
  if (!(step > 0.0) || !std::isfinite(min) || !std::isfinite(max)) return values;
  const double first = std::ceil(min / step - 1e-9);
  for (double k = first; k * step <= max + 1e-9 * step && values.size() < 100; k += 1.0) {
    const double v = k * step;
    values.push_back(std::fabs(v) < 1e-9 * step ? 0.0 : v);
  }
  return values;
}

double roundStep(double raw, StepKind kind) {
  if (!(raw > 0.0) || !std::isfinite(raw)) return 1.0;
  if (kind == StepKind::Hours && raw > 1.0) {
    for (double step : {2.0, 3.0, 6.0, 12.0}) {
      if (step >= raw) return step;
    }
    return 24.0;
  }
  if (kind == StepKind::Degrees && raw > 10.0) {
    for (double step : {15.0, 30.0, 45.0, 90.0, 180.0}) {
      if (step >= raw) return step;
    }
    return 360.0;
  }
  const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
  const double normal = raw / magnitude;
  const double factor = normal <= 1.0 + 1e-9 ? 1.0 : normal <= 2.0 + 1e-9 ? 2.0
                        : normal <= 5.0 + 1e-9 ? 5.0 : 10.0;
  return factor * magnitude;
}

// The largest 1-2-5 value not above `value`.
double roundDown(double value) {
  const double step = roundStep(value, StepKind::Plain);
  if (step <= value * (1.0 + 1e-9)) return step;
  const double magnitude = std::pow(10.0, std::floor(std::log10(value)));
  for (double f : {5.0, 2.0, 1.0}) {
    if (f * magnitude <= value * (1.0 + 1e-9)) return f * magnitude;
  }
  return magnitude;
}

// The 1-2-5 value nearest to `value` on a logarithmic scale.
double roundNearest(double value) {
  const double below = roundDown(value);
  const double above = roundStep(value, StepKind::Plain);
  return value / below <= above / value ? below : above;
}

Axis looseAxis(double low, double high, int intervals, StepKind kind, double limitLow,
               double limitHigh) {
  if (!std::isfinite(low) || !std::isfinite(high)) low = high = 0.0;
  if (high < low) std::swap(low, high);
  if (high - low < 1e-9 * std::max(1.0, std::fabs(low))) {
    const double half = std::max(0.5, 0.05 * std::fabs(low));
    low -= half;
    high += half;
  }
  low = std::max(low, limitLow);
  high = std::min(high, limitHigh);
  Axis axis;
  axis.step = roundStep((high - low) / std::max(1, intervals), kind);
  axis.min = std::max(std::floor(low / axis.step + 1e-9) * axis.step, limitLow);
  axis.max = std::min(std::ceil(high / axis.step - 1e-9) * axis.step, limitHigh);
  axis.decimals = decimalsFor(axis.step);
  return axis;
}

Axis symmetricAxis(double largest, int intervals, bool fromZero) {
  const double extent = std::isfinite(largest) && largest > 0.0 ? largest : 1.0;
  // Of the round steps that give two to `most` steps a side, the one that
  // wastes least room beyond the data (then the larger step).
  const int most = fromZero ? std::max(2, intervals + 1) : std::max(2, intervals / 2 + 1);
  Axis axis;
  double best = INFINITY;
  for (int n = 2; n <= most; ++n) {
    const double step = roundStep(extent / n, StepKind::Plain);
    const double reach = std::ceil(extent / step - 1e-9) * step;
    if (reach / step > most + 1e-9) continue;
    if (reach < best * (1.0 - 1e-9)) {
      best = reach;
      axis.step = step;
    }
  }
  if (!std::isfinite(best)) {
    axis.step = roundStep(extent / 2.0, StepKind::Plain);
    best = std::ceil(extent / axis.step - 1e-9) * axis.step;
  }
  axis.min = fromZero ? 0.0 : -best;
  axis.max = best;
  axis.decimals = decimalsFor(axis.step);
  return axis;
}

std::string formatNumber(double value, int decimals) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", std::clamp(decimals, 0, 9), value);
  std::string text = buffer;
  if (text[0] == '-') {
    if (text.find_first_not_of("-0.") == std::string::npos) return text.substr(1);  // "-0.0"
    return kMinus + text.substr(1);
  }
  return text;
}

std::string formatArcsec(double value) {
  const double size = std::fabs(value);
  const int decimals = size >= 100.0 ? 0 : size >= 10.0 ? 1 : size >= 0.01 || size == 0.0 ? 2 : 4;
  return formatNumber(value, decimals) + kDoublePrime;
}

Look lookFor(const GraphicsDevice& device, const Style& style) {
  Look look;
  look.style = style;
  for (int& pen : look.style.pens) {
    if (pen < 1 || pen > kPenCount) pen = 1;
  }
  look.zone = zoneOnPage(device.page(), style.zone);
  const double fit = std::min(look.zone.width / kReferenceWidth, look.zone.height / kReferenceHeight);
  const double s = std::clamp(std::sqrt(fit), 0.6, 1.4);
  // Stroke precision: text is drawn to the zone's scale like every other
  // mark; char and string precision: at the page's size whatever the zone,
  // as a device's own characters would be.
  const double t = style.textPrecision >= 2 ? s : 1.0;
  look.tickFont = 9.5 * t;
  look.labelFont = 10.5 * t;
  look.captionFont = 13.0 * t;
  look.lineWidth = std::max(0.5, 0.8 * s);
  look.tickLength = 4.5 * s;
  const double height = std::isfinite(style.markerHeight) ? std::clamp(style.markerHeight, 0.0, 0.5) : 0.1;
  look.markerSize = std::max(1.0, height * 0.08 * look.zone.height);
  return look;
}

std::vector<LegendEntry> markerLegend(const Look& look, std::span<const ObservationPoint> points) {
  // Fill tells whether an observation is in use, the triangle that it was
  // observed over the pole; each kind is counted whatever the other.
  int active = 0, pole = 0, masked = 0;
  for (const ObservationPoint& p : points) {
    (p.active ? active : masked) += 1;
    pole += p.overPole ? 1 : 0;
  }
  const int points_pen = look.style.pens[kPointsPen];
  std::vector<LegendEntry> legend;
  if (active > 0) legend.push_back({MarkerShape::Circle, true, points_pen, "in use " + std::to_string(active)});
  if (pole > 0) legend.push_back({MarkerShape::Triangle, true, points_pen, "over the pole " + std::to_string(pole)});
  if (masked > 0) {
    legend.push_back({MarkerShape::Circle, false, look.style.pens[kOffpointsPen],
                      "masked " + std::to_string(masked)});
  }
  return legend;
}

Rect beginChart(GraphicsDevice& device, const Look& look, std::string_view title,
                const std::vector<LegendEntry>& legend) {
  const Style& style = look.style;
  const Rect& zone = look.zone;
  device.beginPlot(zone, style.clearMode);
  if (style.frame) {
    const double w = std::max(0.6, look.lineWidth * 1.2);
    device.setPen(style.pens[kFramePen]);
    device.setLineWidth(w);
    device.setDash(Dash::Solid);
    device.strokeRect({zone.x + w / 2, zone.y + w / 2, zone.width - w, zone.height - w});
  }
  const double pad = 0.8 * look.labelFont;
  const double inner = zone.width - 2.0 * pad;
  double y = zone.y + pad;
  if (style.caption && !style.captionText.empty()) {
    double size = look.captionFont;
    device.setFont(style.captionFont, size);
    const double width = device.textWidth(style.captionText);
    if (width > inner && width > 0.0) size = std::max(4.0, size * inner / width);
    device.setFont(style.captionFont, size);
    device.setPen(style.pens[kCaptionPen]);
    device.text({zone.x + zone.width / 2.0, y}, style.captionText, HAlign::Centre, VAlign::Top);
    y += 1.35 * size;
  }

  // The header row: the title on the left, the marker legend on the right
  // (on a row of its own when both do not fit).
  const double font = look.labelFont;
  const double mark = 0.65 * font;
  device.setFont(style.labelFont, font);
  double legendWidth = 0.0;
  for (const LegendEntry& entry : legend) {
    legendWidth += (entry.line ? 2.0 : 1.0) * mark + 0.4 * font + device.textWidth(entry.text) + 1.2 * font;
  }
  if (!legend.empty()) legendWidth -= 1.2 * font;
  double titleSize = font;
  const double titleWidth = device.textWidth(title);
  const bool oneRow = titleWidth + 2.0 * font + legendWidth <= inner;
  if (titleWidth > inner && titleWidth > 0.0) titleSize = std::max(4.0, font * inner / titleWidth);
  device.setFont(style.labelFont, titleSize);
  device.setPen(style.pens[kLabelsPen]);
  device.text({zone.x + pad, y}, title, HAlign::Left, VAlign::Top);
  if (!legend.empty()) {
    if (!oneRow) y += 1.35 * titleSize;
    device.setFont(style.labelFont, font);
    double x = zone.right() - pad - std::min(legendWidth, inner);
    const double middle = y + 0.5 * kCapHeight * font;
    for (const LegendEntry& entry : legend) {
      device.setPen(entry.pen);
      if (entry.line) {
        device.setLineWidth(1.4 * look.lineWidth);
        device.line({x, middle}, {x + 2.0 * mark, middle});
        x += 2.0 * mark + 0.4 * font;
      } else {
        device.setLineWidth(std::max(0.5, 0.15 * mark));
        device.marker({x + mark / 2.0, middle}, entry.shape, mark, entry.filled);
        x += mark + 0.4 * font;
      }
      device.setPen(style.pens[kLabelsPen]);
      device.text({x, y}, entry.text, HAlign::Left, VAlign::Top);
      x += device.textWidth(entry.text) + 1.2 * font;
    }
  }
  y += 1.35 * font + 0.4 * font;
  const double bottom = zone.bottom() - pad;
  return {zone.x + pad, y, inner, std::max(1.0, bottom - y)};
}

int intervalsFor(const Look& look, double length) {
  return std::clamp(static_cast<int>(length / (5.5 * look.tickFont)), 2, 8);
}

AxisRequest requestFor(Quantity quantity, std::span<const ObservationPoint> points) {
  double low = INFINITY, high = -INFINITY;
  for (const ObservationPoint& p : points) {
    const double v = valueOf(p, quantity);
    if (!std::isfinite(v)) continue;
    low = std::min(low, v);
    high = std::max(high, v);
  }
  const bool none = low > high;
  if (none) low = high = 0.0;
  AxisRequest request{low, high, StepKind::Plain, -1e300, 1e300, false, false};
  switch (quantity) {
    case Quantity::H: request = {low, high, StepKind::Hours, -12.0, 12.0, false, false}; break;
    case Quantity::D: request = {low, high, StepKind::Degrees, -90.0, 90.0, false, false}; break;
    case Quantity::A: request = {low, high, StepKind::Degrees, 0.0, 360.0, false, false}; break;
    case Quantity::Z: request = {low, high, StepKind::Degrees, 0.0, 180.0, false, false}; break;
    case Quantity::N: request = {low, high, StepKind::Plain, 0.0, 1e300, false, false}; break;
    case Quantity::DR: request.fromZero = true; break;
    default: request.symmetric = true; break;
  }
  if (none) {  // no positions: the whole sky
    switch (quantity) {
      case Quantity::H: request.low = -12.0, request.high = 12.0; break;
      case Quantity::D: request.low = -90.0, request.high = 90.0; break;
      case Quantity::A: request.low = 0.0, request.high = 360.0; break;
      case Quantity::Z: request.low = 0.0, request.high = 90.0; break;
      default: break;
    }
  }
  return request;
}

Axis axisFor(const AxisRequest& request, int intervals) {
  if (request.symmetric || request.fromZero) {
    const double largest = std::max(std::fabs(request.low), std::fabs(request.high));
    return symmetricAxis(largest, intervals, request.fromZero);
  }
  Axis axis = looseAxis(request.low, request.high, intervals, request.kind, request.limitLow,
                        request.limitHigh);
  if (request.kind == StepKind::Plain && request.limitLow == 0.0 && axis.step < 1.0) {
    // Counts and observation numbers: whole steps.
    axis.step = 1.0;
    axis.min = std::floor(axis.min);
    axis.max = std::max(std::ceil(axis.max), axis.min + 1.0);
    axis.decimals = 0;
  }
  return axis;
}

namespace {

double widestLabel(const GraphicsDevice& device, const Axis& axis) {
  double widest = 0.0;
  for (double v : axis.ticks()) widest = std::max(widest, device.textWidth(formatNumber(v, axis.decimals)));
  return widest;
}

// Margins around the box: below, the tick labels and the title; left, the
// title and the widest tick label.
double bottomMargin(const Look& look) {
  return 0.5 * look.tickFont + kCapHeight * look.tickFont +
         0.6 * look.tickFont + (kCapHeight + kDescent) * look.labelFont + 0.2 * look.labelFont;
}

}  // namespace

namespace {

Rect plotBox(const GraphicsDevice& device, const Look& look, const Rect& cell, const Axis& y,
             double topRoom) {
  // The device's font is the tick font (set by layoutPanel).
  const double top = 0.6 * look.tickFont + topRoom;
  const double left = (kCapHeight + kDescent + 0.2) * look.labelFont + 0.6 * look.tickFont +
                      widestLabel(device, y) + 0.5 * look.tickFont;
  const double right = 1.5 * look.tickFont;
  return {cell.x + left, cell.y + top, std::max(1.0, cell.width - left - right),
          std::max(1.0, cell.height - top - bottomMargin(look))};
}

}  // namespace

Panel cartesianPanel(GraphicsDevice& device, const Look& look, const PanelLayout& layout,
                     std::string_view xTitle, std::string_view yTitle) {
  const Style& style = look.style;
  const Rect& box = layout.box;
  const Axis& x = layout.x;
  const Axis& y = layout.y;
  Panel panel;
  panel.kind = Panel::Kind::Cartesian;
  panel.area = box;
  panel.xMin = x.min;
  panel.xMax = x.max;
  panel.yMin = y.min;
  panel.yMax = y.max;

  device.setPen(style.pens[kAxesPen]);
  device.setLineWidth(look.lineWidth);
  device.setDash(Dash::Solid);
  device.strokeRect(box);
  // Ticks inside the box on all four sides.
  std::vector<Segment> ticks;
  const std::vector<double> xs = x.ticks();
  const std::vector<double> ys = y.ticks();
  const double t = std::min(look.tickLength, 0.1 * std::min(box.width, box.height));
  for (double v : xs) {
    const double px = panel.toPage(v, y.min).x;
    ticks.push_back({{px, box.bottom()}, {px, box.bottom() - t}});
    ticks.push_back({{px, box.y}, {px, box.y + t}});
  }
  for (double v : ys) {
    const double py = panel.toPage(x.min, v).y;
    ticks.push_back({{box.x, py}, {box.x + t, py}});
    ticks.push_back({{box.right(), py}, {box.right() - t, py}});
  }
  device.segments(ticks);

  device.setPen(style.pens[kLabelsPen]);
  device.setFont(style.labelFont, look.tickFont);
  const double gap = 0.5 * look.tickFont;
  for (double v : xs) {
    device.text({panel.toPage(v, y.min).x, box.bottom() + gap}, formatNumber(v, x.decimals),
                HAlign::Centre, VAlign::Top);
  }
  double widest = 0.0;
  for (double v : ys) {
    const std::string label = formatNumber(v, y.decimals);
    widest = std::max(widest, device.textWidth(label));
    device.text({box.x - gap, panel.toPage(x.min, v).y}, label, HAlign::Right, VAlign::Middle);
  }
  device.setFont(style.labelFont, look.labelFont);
  const double titleY = box.bottom() + gap + kCapHeight * look.tickFont + 0.6 * look.tickFont;
  device.text({box.centre().x, titleY}, xTitle, HAlign::Centre, VAlign::Top);
  const double titleX = box.x - gap - widest - 0.6 * look.tickFont;
  device.text({titleX, box.centre().y}, yTitle, HAlign::Centre, VAlign::Bottom, 90.0);
  return panel;
}

PanelLayout layoutPanel(GraphicsDevice& device, const Look& look, const Rect& cell,
                        const AxisRequest& xRequest, const AxisRequest& yRequest, bool square,
                        double topRoom) {
  device.setFont(look.style.labelFont, look.tickFont);
  PanelLayout layout;
  const double top = 0.6 * look.tickFont + topRoom;
  const double height = std::max(1.0, cell.height - top - bottomMargin(look));
  layout.y = axisFor(yRequest, intervalsFor(look, height));
  layout.box = plotBox(device, look, cell, layout.y, topRoom);
  layout.x = axisFor(xRequest, intervalsFor(look, layout.box.width));
  if (square) {
    const double side = std::min(layout.box.width, layout.box.height);
    const int intervals = intervalsFor(look, side);
    layout.x = axisFor(xRequest, intervals);
    layout.y = axisFor(yRequest, intervals);
    const Rect box = plotBox(device, look, cell, layout.y, topRoom);
    const double s = std::min(box.width, box.height);
    layout.box = {box.x + (box.width - s) / 2.0, box.y + (box.height - s) / 2.0, s, s};
  }
  // Room on the right for half of the last x label.
  const std::vector<double> xs = layout.x.ticks();
  if (!xs.empty()) {
    const double half = 0.5 * device.textWidth(formatNumber(xs.back(), layout.x.decimals));
    const double spare = cell.right() - layout.box.right();
    if (half > spare) layout.box.width = std::max(1.0, layout.box.width - (half - spare));
  }
  return layout;
}

void note(GraphicsDevice& device, const Look& look, Point at, std::string_view text, HAlign h,
          VAlign v) {
  device.setFont(look.style.labelFont, look.tickFont);
  device.setPen(look.style.pens[kLabelsPen]);
  device.text(at, text, h, v);
}

}  // namespace zenfit::plot::detail
