// The charts checked as data: the marks a recording device receives and the
// SVG page the memory device writes, against the observations drawn.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "plot/chart_kit.h"
#include "plot/charts.h"
#include "plot/memory_device.h"
#include "plot/plot_test_support.h"
#include "plot/synthetic_run.h"

namespace zenfit::plot::test {
namespace {

const std::vector<ObservationPoint>& run() {
  static const std::vector<ObservationPoint> points = syntheticRun(300);
  return points;
}

// Where an observation's marker belongs in a panel, computed here from the
// panel's box and ranges rather than by the library's own mapping.
using Placement = std::function<Point(const ObservationPoint&)>;

Placement cartesian(const Panel& panel, Quantity x, Quantity y) {
  return [panel, x, y](const ObservationPoint& p) {
    const Rect& a = panel.area;
    return Point{a.x + (valueOf(p, x) - panel.xMin) / (panel.xMax - panel.xMin) * a.width,
                 a.bottom() - (valueOf(p, y) - panel.yMin) / (panel.yMax - panel.yMin) * a.height};
  };
}

Placement polar(const Panel& panel) {
  return [panel](const ObservationPoint& p) {
    const double r = p.zdDegrees / panel.rMax * panel.area.width / 2;
    const double a = p.azDegrees * M_PI / 180;
    return Point{panel.area.centre().x - r * std::sin(a), panel.area.centre().y - r * std::cos(a)};
  };
}

// A chart that marks each observation, with the quantities of its panels.
struct MarkerChart {
  const char* name;
  std::function<Chart(GraphicsDevice&, std::span<const ObservationPoint>, const Style&)> draw;
  std::vector<std::pair<Quantity, Quantity>> panels;  // x, y; empty: one polar panel
  double sizeFactor = 1.0;                             // marker size relative to the style's
};

std::vector<MarkerChart> markerCharts() {
  using Q = Quantity;
  return {
      {"G DX H", [](GraphicsDevice& d, auto p, const Style& s) { return drawQuantities(d, p, s, Q::DX, Q::H); },
       {{Q::H, Q::DX}}},
      {"G DR N", [](GraphicsDevice& d, auto p, const Style& s) { return drawQuantities(d, p, s, Q::DR, Q::N); },
       {{Q::N, Q::DR}}},
      {"G Z A", [](GraphicsDevice& d, auto p, const Style& s) { return drawQuantities(d, p, s, Q::Z, Q::A); },
       {{Q::A, Q::Z}}},
      {"GC", [](GraphicsDevice& d, auto p, const Style& s) { return drawEquatorialResiduals(d, p, s); },
       {{Q::H, Q::DX}, {Q::D, Q::DX}, {Q::H, Q::DD}, {Q::D, Q::DD}}},
      {"GAM", [](GraphicsDevice& d, auto p, const Style& s) { return drawAltazResiduals(d, p, s); },
       {{Q::A, Q::DS}, {Q::Z, Q::DS}, {Q::A, Q::DZ}, {Q::Z, Q::DZ}}},
      {"GSCAT", [](GraphicsDevice& d, auto p, const Style& s) { return drawScatter(d, p, s); },
       {{Q::DX, Q::DD}}},
      {"GSCAT H", [](GraphicsDevice& d, auto p, const Style& s) { return drawScatter(d, p, s, {.horizon = true}); },
       {{Q::DS, Q::DZ}}},
      {"GDIST", [](GraphicsDevice& d, auto p, const Style& s) { return drawDistribution(d, p, s); }, {}},
      {"GDIST E", [](GraphicsDevice& d, auto p, const Style& s) { return drawDistribution(d, p, s, SkyPlot::Equatorial); },
       {{Q::H, Q::D}}},
      {"GMAP", [](GraphicsDevice& d, auto p, const Style& s) { return drawVectorMap(d, p, s); }, {}, 0.6},
      {"GMAP E", [](GraphicsDevice& d, auto p, const Style& s) { return drawVectorMap(d, p, s, {.sky = SkyPlot::Equatorial}); },
       {{Q::H, Q::D}}, 0.6},
  };
}

std::vector<Placement> placements(const MarkerChart& chart, const Chart& drawn) {
  std::vector<Placement> out;
  if (chart.panels.empty()) {
    out.push_back(polar(drawn.panels.at(0)));
  } else {
    for (std::size_t k = 0; k < chart.panels.size(); ++k) {
      out.push_back(cartesian(drawn.panels.at(k), chart.panels[k].first, chart.panels[k].second));
    }
  }
  return out;
}

// Markers of one kind inside a panel's box (the legend's lie outside).
std::vector<Point> within(const std::vector<Point>& markers, const Rect& area) {
  std::vector<Point> out;
  for (const Point& m : markers) {
    if (inside(area, m.x, m.y, 1e-6)) out.push_back(m);
  }
  return out;
}

double nearest(const std::vector<Point>& markers, Point p) {
  double best = std::numeric_limits<double>::infinity();
  for (const Point& m : markers) best = std::min(best, std::hypot(m.x - p.x, m.y - p.y));
  return best;
}

TEST(Charts, EachObservationHasOneMarkerOfItsKindWhereItsValuesPutIt) {
  const Style style;
  for (const MarkerChart& chart : markerCharts()) {
    SCOPED_TRACE(chart.name);
    RecordingDevice device;
    const Chart drawn = chart.draw(device, run(), style);
    EXPECT_EQ(device.plots, 1);
    EXPECT_EQ(device.ended, 1);
    const std::vector<Placement> places = placements(chart, drawn);
    ASSERT_EQ(drawn.panels.size(), places.size());
    for (std::size_t k = 0; k < places.size(); ++k) {
      const Rect& area = drawn.panels[k].area;
      // Filled in the points pen when in use, hollow in the offpoints pen
      // when masked; triangles over the pole.
      const std::vector<Point> kinds[2][2] = {
          {within(device.markersOf(8, MarkerShape::Circle, false), area),
           within(device.markersOf(8, MarkerShape::Triangle, false), area)},
          {within(device.markersOf(2, MarkerShape::Circle, true), area),
           within(device.markersOf(2, MarkerShape::Triangle, true), area)}};
      int expected[2][2] = {};
      for (const ObservationPoint& p : run()) {
        ++expected[p.active][p.overPole];
        const Point where = places[k](p);
        EXPECT_LT(nearest(kinds[p.active][p.overPole], where), 1e-9) << "observation " << p.number;
      }
      for (int a = 0; a < 2; ++a) {
        for (int o = 0; o < 2; ++o) EXPECT_EQ(kinds[a][o].size(), static_cast<std::size_t>(expected[a][o]));
      }
      EXPECT_GT(expected[0][0], 0);  // the run has every kind
      EXPECT_GT(expected[1][1], 0);
      // Every marker is drawn at the style's size.
      for (const RecordedMarkers& set : device.markerSets) {
        if (inside(area, set.centres[0].x, set.centres[0].y)) {
          EXPECT_NEAR(set.size, chart.sizeFactor * 0.008 * 540, 1e-9);
        }
      }
    }
  }
}

TEST(Charts, AxesHoldAllTheDataAndTickAtRoundValues) {
  for (const MarkerChart& chart : markerCharts()) {
    if (chart.panels.empty()) continue;
    SCOPED_TRACE(chart.name);
    RecordingDevice device;
    const Chart drawn = chart.draw(device, run(), Style{});
    for (std::size_t k = 0; k < chart.panels.size(); ++k) {
      const Panel& panel = drawn.panels[k];
      for (const ObservationPoint& p : run()) {
        EXPECT_GE(valueOf(p, chart.panels[k].first), panel.xMin);
        EXPECT_LE(valueOf(p, chart.panels[k].first), panel.xMax);
        EXPECT_GE(valueOf(p, chart.panels[k].second), panel.yMin);
        EXPECT_LE(valueOf(p, chart.panels[k].second), panel.yMax);
      }
      // Residual axes are symmetric about zero.
      const Quantity y = chart.panels[k].second;
      if (y == Quantity::DX || y == Quantity::DD || y == Quantity::DS || y == Quantity::DZ) {
        EXPECT_DOUBLE_EQ(panel.yMin, -panel.yMax);
      }
    }
    // Tick labels below and beside each box: evenly spaced by a round step
    // (1, 2 or 5 times a power of ten; for hours also 3 and 6, for degrees
    // 15, 30, 45 and 90), with a true minus sign, each where its value maps.
    for (const Panel& panel : drawn.panels) {
      std::vector<double> xs, ys;
      for (const RecordedText& t : device.texts) {
        const bool below = t.v == VAlign::Top && t.h == HAlign::Centre && t.at.y > panel.area.bottom() &&
                           t.at.y < panel.area.bottom() + 10 && t.at.x >= panel.area.x - 1e-9 &&
                           t.at.x <= panel.area.right() + 1e-9;
        const bool beside = t.h == HAlign::Right && t.v == VAlign::Middle && t.at.x < panel.area.x &&
                            t.at.x > panel.area.x - 10 && t.at.y >= panel.area.y - 1e-9 &&
                            t.at.y <= panel.area.bottom() + 1e-9;
        if (!below && !beside) continue;
        std::string text = t.text;
        ASSERT_EQ(text.find('-'), std::string::npos) << text;
        if (text.rfind("\xE2\x88\x92", 0) == 0) text = "-" + text.substr(3);
        const double value = std::stod(text);
        const Point at = below ? panel.toPage(value, panel.yMin) : panel.toPage(panel.xMin, value);
        EXPECT_NEAR(below ? t.at.x : t.at.y, below ? at.x : at.y, 1e-9) << text;
        (below ? xs : ys).push_back(value);
      }
      for (std::vector<double>* values : {&xs, &ys}) {
        ASSERT_GE(values->size(), 3u);
        std::sort(values->begin(), values->end());
        const double step = (*values)[1] - (*values)[0];
        const double mantissa = step / std::pow(10.0, std::floor(std::log10(step) + 1e-12));
        bool round = false;
        for (double m : {1.0, 2.0, 5.0, 3.0, 6.0, 1.5, 4.5, 9.0}) round |= std::fabs(mantissa - m) < 1e-9;
        EXPECT_TRUE(round) << step;
        for (std::size_t i = 1; i < values->size(); ++i) {
          EXPECT_NEAR((*values)[i] - (*values)[i - 1], step, 1e-9 * step);
        }
        EXPECT_NEAR(std::remainder((*values)[0], step), 0.0, 1e-9 * step);
      }
    }
  }
}

TEST(Charts, PolarPlotsPutNorthUpEastLeftAndVectorsTheirWay) {
  // Four stars 45 degrees from the zenith at N, E, S and W, each with a
  // residual of 1 arcsec along one component.
  std::vector<ObservationPoint> points(4);
  const double az[4] = {0, 90, 180, 270};
  for (int i = 0; i < 4; ++i) {
    points[i].number = i + 1;
    points[i].azDegrees = az[i];
    points[i].zdDegrees = 45;
  }
  points[0].dZ = 1;  // north, star lower: away from the zenith, up the page
  points[1].dS = 1;  // east, towards smaller azimuth: up (towards the north)
  points[2].dS = 1;  // south, towards smaller azimuth: left (towards the east)
  points[3].dZ = -1; // west, star higher: towards the zenith, left
  RecordingDevice device;
  const Chart chart = drawVectorMap(device, points, Style{}, {.scale = 3600});
  const Panel& panel = chart.panels.at(0);
  const Point c = panel.area.centre();
  const double r45 = panel.area.width / 4;  // 45 of the rim's 90 degrees
  const double oneDegree = panel.area.width / 2 / 90;
  ASSERT_EQ(panel.rMax, 90);
  const Point base[4] = {{c.x, c.y - r45}, {c.x - r45, c.y}, {c.x, c.y + r45}, {c.x + r45, c.y}};
  const Point step[4] = {{0, -1}, {0, -1}, {-1, 0}, {-1, 0}};
  ASSERT_EQ(device.arrowList.size(), 5u);  // and the scale arrow
  for (int i = 0; i < 4; ++i) {
    const Segment& s = device.arrowList[i].segment;
    EXPECT_NEAR(s.from.x, base[i].x, 1e-9);
    EXPECT_NEAR(s.from.y, base[i].y, 1e-9);
    // Magnified 3600 times: 1 arcsec is drawn as a degree of zenith distance.
    EXPECT_NEAR(s.to.x - s.from.x, step[i].x * oneDegree, 1e-9) << i;
    EXPECT_NEAR(s.to.y - s.from.y, step[i].y * oneDegree, 1e-9) << i;
  }
  EXPECT_EQ(chart.mapScale, 3600);
  EXPECT_TRUE(device.hasText("N") && device.hasText("E") && device.hasText("S") && device.hasText("W"));
  for (const RecordedText& t : device.texts) {
    if (t.text == "E") {
      EXPECT_LT(t.at.x, c.x - panel.area.width / 2);
    }
    if (t.text == "N") {
      EXPECT_LT(t.at.y, c.y - panel.area.width / 2);
    }
  }
}

TEST(Charts, EquatorialMapsDrawDxAlongHourAngleAndDdNorth) {
  std::vector<ObservationPoint> points(2);
  points[0] = {.number = 1, .haHours = -2, .decDegrees = 10, .dX = 2};
  points[1] = {.number = 2, .haHours = 3, .decDegrees = 40, .dD = -1};
  RecordingDevice device;
  const Chart chart = drawVectorMap(device, points, Style{}, {.sky = SkyPlot::Equatorial, .scale = 7200});
  const Panel& panel = chart.panels.at(0);
  const double perArcsec = 7200 * panel.area.height / (panel.yMax - panel.yMin) / 3600;
  const Segment& east = device.arrowList.at(0).segment;
  const Segment& south = device.arrowList.at(1).segment;
  EXPECT_NEAR(east.to.x - east.from.x, 2 * perArcsec, 1e-9);
  EXPECT_NEAR(east.to.y, east.from.y, 1e-9);
  EXPECT_NEAR(south.to.y - south.from.y, perArcsec, 1e-9);  // down the page
  EXPECT_NEAR(south.to.x, south.from.x, 1e-9);
  // The scale arrow is a round number of arcseconds at the same scale.
  const Segment& scale = device.arrowList.back().segment;
  const double length = (scale.to.x - scale.from.x) / perArcsec;
  EXPECT_NEAR(length, detail::roundStep(length, detail::StepKind::Plain), 1e-9);
  bool labelled = false;
  for (const RecordedText& t : device.texts) {
    labelled |= t.text.find("(vectors magnified \xC3\x97" "7200)") != std::string::npos;
  }
  EXPECT_TRUE(labelled);
}

TEST(Charts, AutomaticMapScaleIsRoundAndDrawsTheRmsVectorAFewPerCentOfThePlot) {
  for (SkyPlot sky : {SkyPlot::Horizon, SkyPlot::Equatorial}) {
    RecordingDevice device;
    const Chart chart = drawVectorMap(device, run(), Style{}, {.sky = sky});
    const double mantissa = chart.mapScale / std::pow(10.0, std::floor(std::log10(chart.mapScale)));
    EXPECT_TRUE(std::fabs(mantissa - 1) < 1e-9 || std::fabs(mantissa - 2) < 1e-9 || std::fabs(mantissa - 5) < 1e-9)
        << chart.mapScale;
    double sum = 0;
    int n = 0, k = 0;
    for (const ObservationPoint& p : run()) {
      if (!p.active) continue;
      // Arrows are drawn masked first, then those in use, in list order.
      const Segment& s = device.arrowList.at(std::count_if(run().begin(), run().end(),
                                                           [](auto& q) { return !q.active; }) + k++).segment;
      sum += std::pow(s.to.x - s.from.x, 2) + std::pow(s.to.y - s.from.y, 2);
      ++n;
    }
    const double share = std::sqrt(sum / n) / chart.panels[0].area.height;
    EXPECT_GT(share, 0.035 / 1.6);
    EXPECT_LT(share, 0.035 * 1.6);
  }
}

TEST(Charts, ScatterHasEqualScalesAndCirclesAtOneAndTwoRms) {
  double sum = 0;
  int n = 0;
  for (const ObservationPoint& p : run()) {
    if (p.active) sum += p.dX * p.dX + p.dD * p.dD, ++n;
  }
  const double rms = std::sqrt(sum / n);
  for (double given : {0.0, 1.75}) {
    RecordingDevice device;
    const Chart chart = drawScatter(device, run(), Style{}, {.skyRms = given});
    const Panel& panel = chart.panels.at(0);
    EXPECT_DOUBLE_EQ(panel.area.width, panel.area.height);
    EXPECT_EQ(panel.xMin, panel.yMin);
    EXPECT_EQ(panel.xMax, panel.yMax);
    const double expected = given > 0 ? given : rms;
    const double perArcsec = panel.area.width / (panel.xMax - panel.xMin);
    ASSERT_EQ(device.circles.size(), 2u);
    EXPECT_NEAR(device.circles[0].rect.width / 2, expected * perArcsec, 1e-9);
    EXPECT_NEAR(device.circles[1].rect.width / 2, 2 * expected * perArcsec, 1e-9);
    EXPECT_TRUE(device.hasText("Sky RMS " + detail::formatArcsec(expected)));
    EXPECT_TRUE(device.hasText(std::to_string(n) + " observations in use"));
  }
}

TEST(Charts, HistogramsCountEveryObservationInUseUnderTheExpectedCurve) {
  for (bool horizon : {false, true}) {
    RecordingDevice device;
    const Chart chart = drawHistograms(device, run(), Style{}, horizon);
    ASSERT_EQ(chart.panels.size(), 3u);
    const Quantity qs[3] = {horizon ? Quantity::DS : Quantity::DX, horizon ? Quantity::DZ : Quantity::DD,
                            Quantity::DR};
    for (int k = 0; k < 3; ++k) {
      const Panel& panel = chart.panels[k];
      // Bars: filled rectangles in the points pen standing on the axis.
      double total = 0, width = 0;
      for (const RecordedRect& bar : device.rects) {
        if (!bar.filled || !inside(panel.area, bar.rect.centre().x, bar.rect.centre().y)) continue;
        EXPECT_NEAR(bar.rect.bottom(), panel.area.bottom(), 1e-9);
        const double count = bar.rect.height / panel.area.height * (panel.yMax - panel.yMin);
        EXPECT_NEAR(count, std::round(count), 1e-9);
        total += count;
        width = bar.rect.width / panel.area.width * (panel.xMax - panel.xMin);
      }
      int n = 0;
      double squares = 0;
      for (const ObservationPoint& p : run()) {
        if (p.active) ++n, squares += valueOf(p, qs[k]) * valueOf(p, qs[k]);
      }
      EXPECT_NEAR(total, n, 1e-6);
      // The curve's peak: n w / (sigma sqrt(2 pi)) for a normal law;
      // n w e^(-1/2) / s at r = s for the Rayleigh law, s = RMS / sqrt 2.
      const double rms = std::sqrt(squares / n);
      const double s = k == 2 ? rms / std::sqrt(2.0) : rms;
      const double peak = k == 2 ? n * width * std::exp(-0.5) / s : n * width / (s * std::sqrt(2 * M_PI));
      double highest = 0, at = 0;
      for (const RecordedLine& line : device.lines) {
        const Point& p = line.segment.to;
        if (!line.clipped || !inside(panel.area, p.x, p.y)) continue;
        const double value = (panel.area.bottom() - p.y) / panel.area.height * (panel.yMax - panel.yMin);
        if (value > highest) highest = value, at = panel.xMin + (p.x - panel.area.x) / panel.area.width * (panel.xMax - panel.xMin);
      }
      EXPECT_NEAR(highest, peak, 0.01 * peak) << k;
      EXPECT_NEAR(at, k == 2 ? s : 0.0, (panel.xMax - panel.xMin) / 100) << k;
    }
  }
}

// Every mark of every chart lies inside the zone: nothing is cut off at its
// edges, whatever zone the plot is given.
TEST(Charts, NothingLeavesTheZone) {
  std::vector<MarkerChart> charts = markerCharts();
  charts.push_back({"GHYST", [](GraphicsDevice& d, auto p, const Style& s) { return drawHistograms(d, p, s); }, {}});
  charts.push_back({"GSMAP E", [](GraphicsDevice& d, auto p, const Style& s) {
                      return drawVectorMap(d, p, s, {.sky = SkyPlot::Equatorial, .modelCorrections = true});
                    }, {}});
  const double zones[3][4] = {{0, 0, 1, 1}, {0.5, 0, 1, 0.5}, {0.1, 0.6, 0.45, 0.95}};
  for (const auto& zone : zones) {
    Style style;
    std::copy(zone, zone + 4, style.zone);
    style.captionText = "Run 7 of the night of 14 March, after the new secondary mirror";
    for (const MarkerChart& chart : charts) {
      SCOPED_TRACE(std::string(chart.name) + " in zone " + std::to_string(zone[0]) + "," + std::to_string(zone[1]));
      RecordingDevice device;
      chart.draw(device, run(), style);
      const Rect z = device.zones.at(0);
      EXPECT_NEAR(z.x, zone[0] * 720, 1e-9);
      EXPECT_NEAR(z.bottom(), (1 - zone[1]) * 540, 1e-9);  // zones count from the lower left
      for (const RecordedText& t : device.texts) {
        const Rect box = RecordingDevice::textBox(t);
        EXPECT_TRUE(inside(z, box.x, box.y, 0.01) && inside(z, box.right(), box.bottom(), 0.01)) << t.text;
      }
      for (const RecordedMarkers& set : device.markerSets) {
        for (const Point& m : set.centres) {
          EXPECT_TRUE(inside(z, m.x - set.size / 2, m.y - set.size / 2, 0.01) &&
                      inside(z, m.x + set.size / 2, m.y + set.size / 2, 0.01));
        }
      }
      for (const RecordedLine& line : device.lines) {
        EXPECT_TRUE(inside(z, line.segment.from.x, line.segment.from.y, 0.01) &&
                    inside(z, line.segment.to.x, line.segment.to.y, 0.01));
      }
      for (const Rect& clip : device.clips) {
        EXPECT_TRUE(inside(z, clip.x, clip.y, 0.01) && inside(z, clip.right(), clip.bottom(), 0.01));
      }
      EXPECT_TRUE(device.hasText(style.captionText));
    }
  }
}

TEST(Charts, StyleChoosesPensFontsMarkersFrameAndCaption) {
  Style style;
  const int pens[6] = {3, 4, 5, 6, 7, 1};
  std::copy(pens, pens + 6, style.pens);
  style.captionFont = 2;
  style.labelFont = 3;
  style.markerHeight = 0.25;
  style.captionText = "Run 7";
  RecordingDevice device;
  const Chart chart = drawQuantities(device, run(), style, Quantity::DD, Quantity::D);
  const Rect& zone = device.zones.at(0);
  ASSERT_FALSE(device.rects.empty());
  EXPECT_EQ(device.rects[0].pen, 3);  // the frame, round the zone
  EXPECT_NEAR(device.rects[0].rect.x, zone.x, 2);
  for (const RecordedText& t : device.texts) {
    if (t.text == "Run 7") {
      EXPECT_EQ(t.pen, 4);
      EXPECT_EQ(t.font, 2);
    } else {
      EXPECT_EQ(t.font, 3) << t.text;
      EXPECT_EQ(t.pen, 6) << t.text;
    }
  }
  bool box = false;
  for (const RecordedRect& r : device.rects) box |= r.pen == 5 && r.rect.x == chart.panels[0].area.x;
  EXPECT_TRUE(box);
  EXPECT_FALSE(within(device.markersOf(7, MarkerShape::Circle, true), chart.panels[0].area).empty());
  EXPECT_FALSE(within(device.markersOf(1, MarkerShape::Circle, false), chart.panels[0].area).empty());
  for (const RecordedMarkers& set : device.markerSets) {
    if (inside(chart.panels[0].area, set.centres[0].x, set.centres[0].y)) {
      EXPECT_NEAR(set.size, 0.02 * 540, 1e-9);
    }
  }

  // Text scales with a small zone at stroke precision, and keeps its page
  // size at string precision.
  const double quarter[4] = {0, 0, 0.5, 0.5};
  std::copy(quarter, quarter + 4, style.zone);
  double size[3] = {};
  for (int precision : {0, 2}) {
    style.textPrecision = precision;
    RecordingDevice small;
    drawQuantities(small, run(), style, Quantity::DD, Quantity::D);
    size[precision] = small.texts.at(0).size;
  }
  EXPECT_NEAR(size[2], size[0] * std::sqrt(0.5), 1e-9);
  std::fill(std::begin(style.zone), std::end(style.zone), 0.0);
  style.zone[2] = style.zone[3] = 1.0;

  style.frame = false;
  style.caption = false;
  RecordingDevice plain;
  drawQuantities(plain, run(), style, Quantity::DD, Quantity::D);
  EXPECT_FALSE(plain.hasText("Run 7"));
  for (const RecordedRect& r : plain.rects) EXPECT_NE(r.pen, 3);
}

TEST(Charts, EmptyAndNonFiniteListsDrawEmptyAxes) {
  std::vector<ObservationPoint> odd(3);
  odd[0].dX = NAN;
  odd[1].haHours = INFINITY;
  odd[2].zdDegrees = NAN;
  for (const auto& points : {std::vector<ObservationPoint>{}, odd}) {
    std::vector<MarkerChart> charts = markerCharts();
    charts.push_back({"GHYST", [](GraphicsDevice& d, auto p, const Style& s) { return drawHistograms(d, p, s); }, {}});
    for (const MarkerChart& chart : charts) {
      SCOPED_TRACE(chart.name);
      MemoryDevice device;
      const Chart drawn = chart.draw(device, points, Style{});
      EXPECT_FALSE(drawn.panels.empty());
      const std::string svg = device.currentPageSvg();
      EXPECT_EQ(svg.find("nan"), std::string::npos);
      EXPECT_EQ(svg.find("inf"), std::string::npos);
      EXPECT_NO_THROW(parseSvg(svg));
    }
  }
}

// The SVG cairo writes for the memory device's page, read back: one marker
// per observation in the right colour and shape, within half a unit (half a
// pixel of the page) of where its values put it.
TEST(ChartsSvg, MarkersMapBackToTheirObservations) {
  for (const MarkerChart& chart : markerCharts()) {
    SCOPED_TRACE(chart.name);
    MemoryDevice device;
    const Chart drawn = chart.draw(device, run(), Style{});
    const Element svg = parseSvg(device.currentPageSvg());
    const std::vector<SvgMarker> markers = svgMarkers(svg);
    const std::vector<Placement> places = placements(chart, drawn);
    for (std::size_t k = 0; k < places.size(); ++k) {
      const Rect& area = drawn.panels[k].area;
      auto kind = [&](bool active, bool pole) {
        std::vector<Point> out;
        for (const SvgMarker& m : markers) {
          if (m.filled == active && m.colour == (active ? "#0072B2" : "#999999") &&
              m.shape == (pole ? "triangle" : "circle") && inside(area, m.x, m.y, 0.05)) {
            out.push_back({m.x, m.y});
          }
        }
        return out;
      };
      const std::vector<Point> kinds[2][2] = {{kind(false, false), kind(false, true)},
                                              {kind(true, false), kind(true, true)}};
      std::size_t expected[2][2] = {};
      for (const ObservationPoint& p : run()) {
        ++expected[p.active][p.overPole];
        EXPECT_LE(nearest(kinds[p.active][p.overPole], places[k](p)), 0.5) << "observation " << p.number;
      }
      for (int a = 0; a < 2; ++a) {
        for (int o = 0; o < 2; ++o) EXPECT_EQ(kinds[a][o].size(), expected[a][o]);
      }
    }
  }
}

TEST(ChartsKit, TicksAreRoundAndNumbersReadWell) {
  using namespace detail;
  EXPECT_EQ(roundStep(0.7, StepKind::Plain), 1);
  EXPECT_EQ(roundStep(1.3, StepKind::Plain), 2);
  EXPECT_EQ(roundStep(3.1, StepKind::Plain), 5);
  EXPECT_EQ(roundStep(0.031, StepKind::Plain), 0.05);
  EXPECT_EQ(roundStep(2.4, StepKind::Hours), 3);
  EXPECT_EQ(roundStep(4.5, StepKind::Hours), 6);
  EXPECT_EQ(roundStep(72, StepKind::Degrees), 90);
  EXPECT_EQ(roundStep(22, StepKind::Degrees), 30);
  const Axis hours = looseAxis(-5.2, 4.1, 4, StepKind::Hours, -12, 12);
  EXPECT_EQ(hours.min, -6);
  EXPECT_EQ(hours.max, 6);
  EXPECT_EQ(hours.ticks(), (std::vector<double>{-6, -3, 0, 3, 6}));
  const Axis dec = looseAxis(-35, 89, 5, StepKind::Degrees, -90, 90);
  EXPECT_EQ(dec.min, -60);
  EXPECT_EQ(dec.max, 90);
  const Axis residual = symmetricAxis(3.2, 6);
  EXPECT_EQ(residual.min, -4);
  EXPECT_EQ(residual.max, 4);
  EXPECT_EQ(residual.ticks().size(), 5u);
  EXPECT_EQ(symmetricAxis(10.5, 4).max, 15);  // not 20: the step that wastes least
  EXPECT_EQ(symmetricAxis(0.8, 4, true).max, 0.8);
  EXPECT_EQ(formatNumber(-2.5, 1), "\xE2\x88\x92" "2.5");
  EXPECT_EQ(formatNumber(-0.001, 1), "0.0");
  EXPECT_EQ(formatArcsec(2.314), "2.31\xE2\x80\xB3");
  EXPECT_EQ(formatArcsec(12.34), "12.3\xE2\x80\xB3");
}

}  // namespace
}  // namespace zenfit::plot::test
