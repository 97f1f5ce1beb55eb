// The charts checked as data: the display list of the page they draw and the
// SVG cairo writes for it, against the observations drawn.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "plot/chart_kit.h"
#include "plot/charts.h"
#include "plot/memory_device.h"
#include "plot/plot_test_support.h"
#include "plot/synthetic_run.h"

namespace zenfit::plot::test {
namespace {

const std::vector<ObservationPoint> kRun = syntheticRun(300);

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
      {"G DX H", [](auto& d, auto p, auto& s) { return drawQuantities(d, p, s, Q::DX, Q::H); }, {{Q::H, Q::DX}}},
      {"G DR N", [](auto& d, auto p, auto& s) { return drawQuantities(d, p, s, Q::DR, Q::N); }, {{Q::N, Q::DR}}},
      {"G Z A", [](auto& d, auto p, auto& s) { return drawQuantities(d, p, s, Q::Z, Q::A); }, {{Q::A, Q::Z}}},
      {"GC", [](auto& d, auto p, auto& s) { return drawEquatorialResiduals(d, p, s); }, {{Q::H, Q::DX}, {Q::D, Q::DX}, {Q::H, Q::DD}, {Q::D, Q::DD}}},
      {"GAM", [](auto& d, auto p, auto& s) { return drawAltazResiduals(d, p, s); }, {{Q::A, Q::DS}, {Q::Z, Q::DS}, {Q::A, Q::DZ}, {Q::Z, Q::DZ}}},
      {"GSCAT", [](auto& d, auto p, auto& s) { return drawScatter(d, p, s); }, {{Q::DX, Q::DD}}},
      {"GSCAT H", [](auto& d, auto p, auto& s) { return drawScatter(d, p, s, {.horizon = true}); }, {{Q::DS, Q::DZ}}},
      {"GDIST", [](auto& d, auto p, auto& s) { return drawDistribution(d, p, s); }, {}},
      {"GDIST E", [](auto& d, auto p, auto& s) { return drawDistribution(d, p, s, SkyPlot::Equatorial); }, {{Q::H, Q::D}}},
      {"GMAP", [](auto& d, auto p, auto& s) { return drawVectorMap(d, p, s); }, {}, 0.6},
      {"GMAP E", [](auto& d, auto p, auto& s) { return drawVectorMap(d, p, s, {.sky = SkyPlot::Equatorial}); }, {{Q::H, Q::D}}, 0.6},
      {"GHYST", [](auto& d, auto p, auto& s) { return drawHistograms(d, p, s); }, {}},
  };
}

// The markers of one look inside a panel's box (the legend's lie outside):
// filled in the points pen when in use, hollow in the offpoints pen when
// masked; triangles over the pole.
std::vector<Point> ofLook(const std::vector<Marker>& markers, const Rect& area, bool active, bool pole) {
  std::vector<Point> out;
  for (const Marker& m : markers) {
    if (m.filled == active && m.colour == (active ? "#0072B2" : "#999999") &&
        m.shape == (pole ? "triangle" : "circle") && inside(area, m.x, m.y, 0.05)) {
      out.push_back({m.x, m.y});
    }
  }
  return out;
}

double nearest(const std::vector<Point>& markers, Point p) {
  double best = INFINITY;
  for (const Point& m : markers) best = std::min(best, std::hypot(m.x - p.x, m.y - p.y));
  return best;
}

std::vector<const Op*> opsOf(const Page& page, std::initializer_list<Op::Kind> kinds) {
  std::vector<const Op*> out;
  for (const Op& op : page.ops) if (std::ranges::find(kinds, op.kind) != kinds.end()) out.push_back(&op);
  return out;
}

bool hasText(const Page& page, const std::string& text) {
  return std::ranges::any_of(opsOf(page, {Op::Kind::Text}), [&](const Op* op) { return op->text == text; });
}

std::vector<Segment> arrowsOf(const Page& page) {
  std::vector<Segment> out;
  for (const Op* op : opsOf(page, {Op::Kind::Arrows})) {
    for (std::uint32_t i = 0; i < op->count; i += 2) out.push_back({page.points[op->first + i], page.points[op->first + i + 1]});
  }
  return out;
}

// Each observation has one marker of its look where its values put it:
// exactly in the display list, and within half a unit (half a pixel of the
// page) in the SVG cairo writes for it.
TEST(Charts, EachObservationHasOneMarkerOfItsLookWhereItsValuesPutIt) {
  for (const MarkerChart& chart : markerCharts()) {
    if (std::string(chart.name) == "GHYST") continue;
    SCOPED_TRACE(chart.name);
    MemoryDevice device;
    const Chart drawn = chart.draw(device, kRun, Style{});
    std::vector<Placement> places;
    for (std::size_t k = 0; k < chart.panels.size(); ++k) {
      places.push_back(cartesian(drawn.panels.at(k), chart.panels[k].first, chart.panels[k].second));
    }
    if (chart.panels.empty()) places.push_back(polar(drawn.panels.at(0)));
    ASSERT_EQ(drawn.panels.size(), places.size());
    const std::vector<Marker> drawnMarkers = pageMarkers(device.currentPage());
    const std::pair<std::vector<Marker>, double> sources[] = {
        {drawnMarkers, 1e-9}, {svgMarkers(parseSvg(device.currentPageSvg())), 0.5}};
    for (const auto& [markers, tolerance] : sources) {
      for (std::size_t k = 0; k < places.size(); ++k) {
        const Rect& area = drawn.panels[k].area;
        const std::vector<Point> looks[2][2] = {
            {ofLook(markers, area, false, false), ofLook(markers, area, false, true)},
            {ofLook(markers, area, true, false), ofLook(markers, area, true, true)}};
        std::size_t expected[2][2] = {};
        for (const ObservationPoint& p : kRun) {
          ++expected[p.active][p.overPole];
          EXPECT_LE(nearest(looks[p.active][p.overPole], places[k](p)), tolerance) << "observation " << p.number;
        }
        for (int a = 0; a < 4; ++a) EXPECT_EQ(looks[a / 2][a % 2].size(), expected[a / 2][a % 2]);
        EXPECT_TRUE(expected[0][0] > 0 && expected[1][1] > 0);  // the run has every look
      }
    }
    for (const Marker& m : drawnMarkers) {  // in the boxes, at the style's size
      const bool boxed = std::ranges::any_of(drawn.panels, [&](const Panel& p) { return inside(p.area, m.x, m.y); });
      EXPECT_TRUE(!boxed || std::fabs(m.size - chart.sizeFactor * 0.008 * 540) < 1e-9) << m.size;
    }
  }
}

// (That the axes hold all the data the marker test shows: a marker outside
// its box is not counted there.)
TEST(Charts, ResidualAxesAreSymmetricAndTicksRound) {
  for (const MarkerChart& chart : markerCharts()) {
    if (chart.panels.empty()) continue;
    SCOPED_TRACE(chart.name);
    MemoryDevice device;
    const Chart drawn = chart.draw(device, kRun, Style{});
    for (std::size_t k = 0; k < chart.panels.size(); ++k) {
      const Quantity y = chart.panels[k].second;
      if (y == Quantity::DX || y == Quantity::DD || y == Quantity::DS || y == Quantity::DZ) {
        EXPECT_DOUBLE_EQ(drawn.panels[k].yMin, -drawn.panels[k].yMax);
      }
    }
    // Tick labels below and beside each box, each where its value maps, with
    // a true minus sign, evenly spaced by a round step (1, 2 or 5 times a
    // power of ten; for hours also 3 and 6, for degrees 15, 30, 45 and 90).
    for (const Panel& panel : drawn.panels) {
      const Rect& a = panel.area;
      std::vector<double> ticks[2];  // below, beside
      for (const Op* t : opsOf(device.currentPage(), {Op::Kind::Text})) {
        const double x = t->rect.x, y = t->rect.y;
        const bool below = t->vAlign == VAlign::Top && t->hAlign == HAlign::Centre && y > a.bottom() &&
                           y < a.bottom() + 10 && inside(a, x, a.y, 1e-9);
        const bool beside = t->hAlign == HAlign::Right && t->vAlign == VAlign::Middle && x < a.x && x > a.x - 10 &&
                            inside(a, a.x, y, 1e-9);
        if (!below && !beside) continue;
        ASSERT_EQ(t->text.find('-'), std::string::npos) << t->text;
        const double value = std::stod(t->text.rfind("\xE2\x88\x92", 0) == 0 ? "-" + t->text.substr(3) : t->text);
        EXPECT_NEAR(below ? x : y, below ? panel.toPage(value, panel.yMin).x : panel.toPage(panel.xMin, value).y, 1e-9);
        ticks[beside].push_back(value);
      }
      for (std::vector<double>& v : ticks) {
        ASSERT_GE(v.size(), 3u);
        std::sort(v.begin(), v.end());
        const double step = v[1] - v[0], mantissa = step / std::pow(10.0, std::floor(std::log10(step) + 1e-12));
        EXPECT_TRUE(std::ranges::any_of(std::array{1.0, 2.0, 5.0, 3.0, 6.0, 1.5, 4.5, 9.0},
                                        [&](double m) { return std::fabs(mantissa - m) < 1e-9; })) << step;
        for (std::size_t i = 1; i < v.size(); ++i) EXPECT_NEAR(v[i] - v[i - 1], step, 1e-9 * step);
        EXPECT_NEAR(std::remainder(v[0], step), 0.0, 1e-9 * step);
      }
    }
  }
}

TEST(Charts, VectorMapsPutNorthUpEastLeftAndMagnifyToARoundScale) {
  // Four stars 45 degrees from the zenith at N, E, S and W, each with a
  // residual of 1 arcsec along one horizon component; two also with
  // equatorial residuals.
  std::vector<ObservationPoint> points(4);
  for (int i = 0; i < 4; ++i) {
    points[i] = {.number = i + 1, .haHours = 2.0 * i - 3, .decDegrees = 20.0 * i, .azDegrees = 90.0 * i, .zdDegrees = 45};
  }
  points[0].dZ = 1;  // north, star lower: away from the zenith, up the page
  points[1].dS = 1;  // east, towards smaller azimuth: up (towards the north)
  points[2].dS = 1;  // south, towards smaller azimuth: left (towards the east)
  points[3].dZ = -1; // west, star higher: towards the zenith, left
  points[0].dX = 2;  // along the hour angle: to the right
  points[1].dD = -1; // south: down the page
  MemoryDevice device;
  const Chart chart = drawVectorMap(device, points, Style{}, {.scale = 3600});
  const Panel& panel = chart.panels.at(0);
  const Point c = panel.area.centre();
  const double oneDegree = panel.area.width / 2 / 90, r45 = 45 * oneDegree;  // the rim at 90 degrees
  ASSERT_EQ(panel.rMax, 90);
  const Point base[4] = {{c.x, c.y - r45}, {c.x - r45, c.y}, {c.x, c.y + r45}, {c.x + r45, c.y}};
  const Point step[4] = {{0, -1}, {0, -1}, {-1, 0}, {-1, 0}};
  std::vector<Segment> arrows = arrowsOf(device.currentPage());
  ASSERT_EQ(arrows.size(), 5u);  // and the scale arrow
  for (int i = 0; i < 4; ++i) {
    EXPECT_NEAR(std::hypot(arrows[i].from.x - base[i].x, arrows[i].from.y - base[i].y), 0, 1e-9) << i;
    // Magnified 3600 times: 1 arcsec is drawn as a degree of zenith distance.
    const Point end{arrows[i].from.x + step[i].x * oneDegree, arrows[i].from.y + step[i].y * oneDegree};
    EXPECT_NEAR(std::hypot(arrows[i].to.x - end.x, arrows[i].to.y - end.y), 0, 1e-9) << i;
  }
  for (const char* side : {"N", "E", "S", "W"}) EXPECT_TRUE(hasText(device.currentPage(), side)) << side;
  for (const Op* t : opsOf(device.currentPage(), {Op::Kind::Text})) {
    EXPECT_TRUE(t->text != "E" || t->rect.x < c.x - panel.area.width / 2);  // left of the rim
    EXPECT_TRUE(t->text != "N" || t->rect.y < c.y - panel.area.width / 2);  // above it
  }

  // Equatorial: dX along the hour angle, dD north; the scale arrow a round
  // number of arcseconds at the same scale.
  MemoryDevice equatorial;
  const Chart eq = drawVectorMap(equatorial, points, Style{}, {.sky = SkyPlot::Equatorial, .scale = 7200});
  const Panel& sky = eq.panels.at(0);
  const double perArcsec = 7200 * sky.area.height / (sky.yMax - sky.yMin) / 3600;
  arrows = arrowsOf(equatorial.currentPage());
  ASSERT_EQ(arrows.size(), 5u);
  EXPECT_NEAR(arrows[0].to.x - arrows[0].from.x, 2 * perArcsec, 1e-9);
  EXPECT_NEAR(arrows[0].to.y, arrows[0].from.y, 1e-9);
  EXPECT_NEAR(arrows[1].to.y - arrows[1].from.y, perArcsec, 1e-9);
  EXPECT_NEAR(arrows[1].to.x, arrows[1].from.x, 1e-9);
  const double length = (arrows[4].to.x - arrows[4].from.x) / perArcsec;
  EXPECT_NEAR(length, detail::roundStep(length, detail::StepKind::Plain), 1e-9);
  EXPECT_TRUE(std::ranges::any_of(opsOf(equatorial.currentPage(), {Op::Kind::Text}), [](const Op* t) {
    return t->text.find("(vectors magnified \xC3\x97" "7200)") != std::string::npos;
  }));

  // Scaled automatically: a round magnification drawing the RMS vector of
  // those in use a few per cent of the plot (masked ones are drawn first).
  const auto masked = std::count_if(kRun.begin(), kRun.end(), [](auto& q) { return !q.active; });
  for (SkyPlot sky : {SkyPlot::Horizon, SkyPlot::Equatorial}) {
    MemoryDevice device;
    const Chart chart = drawVectorMap(device, kRun, Style{}, {.sky = sky});
    const double mantissa = chart.mapScale / std::pow(10.0, std::floor(std::log10(chart.mapScale)));
    EXPECT_TRUE(std::ranges::any_of(std::array{1, 2, 5}, [&](int m) { return std::fabs(mantissa - m) < 1e-9; })) << chart.mapScale;
    const std::vector<Segment> arrows = arrowsOf(device.currentPage());
    const std::size_t used = kRun.size() - masked;
    ASSERT_GE(arrows.size(), kRun.size());
    double sum = 0;
    for (std::size_t i = masked; i < masked + used; ++i) {
      sum += std::pow(arrows[i].to.x - arrows[i].from.x, 2) + std::pow(arrows[i].to.y - arrows[i].from.y, 2);
    }
    const double share = std::sqrt(sum / used) / chart.panels[0].area.height;
    EXPECT_GT(share, 0.035 / 1.6);
    EXPECT_LT(share, 0.035 * 1.6);
  }
}

TEST(Charts, ScatterHasEqualScalesAndCirclesAtOneAndTwoRms) {
  double sum = 0, n = 0;
  for (const ObservationPoint& p : kRun) n += p.active, sum += p.active * (p.dX * p.dX + p.dD * p.dD);
  for (double given : {0.0, 1.75}) {
    MemoryDevice device;
    const Chart chart = drawScatter(device, kRun, Style{}, {.skyRms = given});
    const Panel& panel = chart.panels.at(0);
    EXPECT_DOUBLE_EQ(panel.area.width, panel.area.height);
    EXPECT_TRUE(panel.xMin == panel.yMin && panel.xMax == panel.yMax);
    const double rms = given > 0 ? given : std::sqrt(sum / n);
    const double perArcsec = panel.area.width / (panel.xMax - panel.xMin);
    const std::vector<const Op*> circles = opsOf(device.currentPage(), {Op::Kind::Circle});
    ASSERT_EQ(circles.size(), 2u);
    EXPECT_NEAR(circles[0]->size, rms * perArcsec, 1e-9);
    EXPECT_NEAR(circles[1]->size, 2 * rms * perArcsec, 1e-9);
    EXPECT_TRUE(hasText(device.currentPage(), "Sky RMS " + detail::formatArcsec(rms)));
    EXPECT_TRUE(hasText(device.currentPage(), std::to_string(int(n)) + " observations in use"));
  }
}

TEST(Charts, HistogramsCountEveryObservationInUseUnderTheExpectedCurve) {
  for (bool horizon : {false, true}) {
    MemoryDevice device;
    const Page& page = device.currentPage();
    const Chart chart = drawHistograms(device, kRun, Style{}, horizon);
    ASSERT_EQ(chart.panels.size(), 3u);
    const Quantity qs[3] = {horizon ? Quantity::DS : Quantity::DX, horizon ? Quantity::DZ : Quantity::DD, Quantity::DR};
    for (int k = 0; k < 3; ++k) {
      const Panel& panel = chart.panels[k];
      const Rect& a = panel.area;
      // Bars: filled rectangles standing on the axis, whole counts high.
      double total = 0, width = 0, squares = 0;
      for (const Op* bar : opsOf(page, {Op::Kind::FillRect})) {
        if (!inside(a, bar->rect.centre().x, bar->rect.centre().y)) continue;
        EXPECT_NEAR(bar->rect.bottom(), a.bottom(), 1e-9);
        const double count = bar->rect.height / a.height * (panel.yMax - panel.yMin);
        EXPECT_NEAR(count, std::round(count), 1e-9);
        total += count, width = bar->rect.width / a.width * (panel.xMax - panel.xMin);
      }
      int n = 0;
      for (const ObservationPoint& p : kRun) n += p.active, squares += p.active * std::pow(valueOf(p, qs[k]), 2);
      EXPECT_NEAR(total, n, 1e-6);
      // The curve's peak: n w / (sigma sqrt(2 pi)) for a normal law;
      // n w e^(-1/2) / s at r = s for the Rayleigh law, s = RMS / sqrt 2.
      const double rms = std::sqrt(squares / n);
      const double s = k == 2 ? rms / std::sqrt(2.0) : rms;
      const double peak = k == 2 ? n * width * std::exp(-0.5) / s : n * width / (s * std::sqrt(2 * M_PI));
      double highest = 0, at = 0;
      int clipped = 0;  // the curve is drawn clipped to the box
      for (const Op& op : page.ops) {
        clipped += op.kind == Op::Kind::Clip ? 1 : op.kind == Op::Kind::Unclip ? -1 : 0;
        if (!clipped || (op.kind != Op::Kind::Polyline && op.kind != Op::Kind::Segments)) continue;
        for (const Point& p : pointsOf(page, op)) {
          const double value = (a.bottom() - p.y) / a.height * (panel.yMax - panel.yMin);
          if (inside(a, p.x, p.y) && value > highest) {
            highest = value, at = panel.xMin + (p.x - a.x) / a.width * (panel.xMax - panel.xMin);
          }
        }
      }
      EXPECT_NEAR(highest, peak, 0.01 * peak) << k;
      EXPECT_NEAR(at, k == 2 ? s : 0.0, (panel.xMax - panel.xMin) / 100) << k;
    }
  }
}

// Every mark of every chart lies inside the zone: nothing is cut off at its
// edges, whatever zone the plot is given (zones count from the lower left).
TEST(Charts, NothingLeavesTheZone) {
  std::vector<MarkerChart> charts = markerCharts();
  charts.push_back({"GSMAP E", [](auto& d, auto p, auto& s) { return drawVectorMap(d, p, s, {.sky = SkyPlot::Equatorial, .modelCorrections = true}); }, {}});
  const double zones[3][4] = {{0, 0, 1, 1}, {0.5, 0, 1, 0.5}, {0.1, 0.6, 0.45, 0.95}};
  for (const auto& zone : zones) {
    Style style;
    std::copy(zone, zone + 4, style.zone);
    style.captionText = "Run 7 of the night of 14 March, after the new secondary mirror";
    const Rect z{zone[0] * 720, (1 - zone[3]) * 540, (zone[2] - zone[0]) * 720, (zone[3] - zone[1]) * 540};
    const auto within = [&z](double x0, double y0, double x1, double y1) { return inside(z, x0, y0, 0.01) && inside(z, x1, y1, 0.01); };
    for (const MarkerChart& chart : charts) {
      SCOPED_TRACE(std::string(chart.name) + " in zone " + std::to_string(zone[0]) + "," + std::to_string(zone[1]));
      MemoryDevice device;
      chart.draw(device, kRun, style);
      const Page& page = device.currentPage();
      for (const Op& op : page.ops) {
        if (op.kind == Op::Kind::Text) {
          // The box it covers, capitals to descenders (accents reach a little
          // higher); turned a quarter counter-clockwise, along runs up.
          device.setFont(op.font, op.fontSize);
          const double w = device.textWidth(op.text), size = op.fontSize;
          const double along = op.hAlign == HAlign::Left ? 0.0 : op.hAlign == HAlign::Centre ? -w / 2 : -w;
          const double top = baselineOffset(op.vAlign, size) - 0.95 * size, bottom = top + (0.95 + kDescent) * size;
          const double x = op.rect.x, y = op.rect.y;
          EXPECT_TRUE(op.angle == 0.0 ? within(x + along, y + top, x + along + w, y + bottom)
                                      : within(x + top, y - along - w, x + bottom, y - along))
              << op.text;
        } else if (op.kind == Op::Kind::Markers) {
          const double h = op.size / 2;
          for (const Point& m : pointsOf(page, op)) EXPECT_TRUE(within(m.x - h, m.y - h, m.x + h, m.y + h));
        } else if (op.kind == Op::Kind::Polyline || op.kind == Op::Kind::Segments) {
          for (const Point& p : pointsOf(page, op)) EXPECT_TRUE(within(p.x, p.y, p.x, p.y));
        } else if (op.kind == Op::Kind::Clip) {
          EXPECT_TRUE(within(op.rect.x, op.rect.y, op.rect.right(), op.rect.bottom()));
        }
      }
      EXPECT_TRUE(hasText(page, style.captionText));
    }
  }
}

TEST(Charts, EmptyAndNonFiniteListsDrawEmptyAxes) {
  const std::vector<ObservationPoint> odd{{.dX = NAN}, {.haHours = INFINITY}, {.zdDegrees = NAN}};
  for (const auto& points : {std::vector<ObservationPoint>{}, odd}) {
    for (const MarkerChart& chart : markerCharts()) {
      SCOPED_TRACE(chart.name);
      MemoryDevice device;
      EXPECT_FALSE(chart.draw(device, points, Style{}).panels.empty());
      const std::string svg = device.currentPageSvg();
      EXPECT_TRUE(svg.find("nan") == std::string::npos && svg.find("inf") == std::string::npos);
      EXPECT_NO_THROW(parseSvg(svg));
    }
  }
}

TEST(ChartsKit, TicksAreRoundAndNumbersReadWell) {
  using namespace detail;
  EXPECT_EQ(roundStep(0.031, StepKind::Plain), 0.05);
  EXPECT_EQ(roundStep(4.5, StepKind::Hours), 6);
  const Axis hours = looseAxis(-5.2, 4.1, 4, StepKind::Hours, -12, 12);
  EXPECT_EQ(hours.ticks(), (std::vector<double>{-6, -3, 0, 3, 6}));
  const Axis dec = looseAxis(-35, 89, 5, StepKind::Degrees, -90, 90);
  EXPECT_TRUE(dec.min == -60 && dec.max == 90) << dec.min << " " << dec.max;
  const Axis residual = symmetricAxis(3.2, 6);
  EXPECT_TRUE(residual.min == -4 && residual.max == 4) << residual.max;
  EXPECT_EQ(residual.ticks().size(), 5u);
  EXPECT_EQ(symmetricAxis(10.5, 4).max, 15);  // not 20: the step that wastes least
  EXPECT_EQ(symmetricAxis(0.8, 4, true).max, 0.8);
  EXPECT_EQ(formatNumber(-0.001, 1), "0.0");
  EXPECT_EQ(formatArcsec(2.314), "2.31\xE2\x80\xB3");
  EXPECT_EQ(formatArcsec(12.34), "12.3\xE2\x80\xB3");
}

}  // namespace
}  // namespace zenfit::plot::test
