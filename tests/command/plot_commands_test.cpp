// The plot commands driven through an engine as a front end drives it: the
// files they write and what they say, the marks of the SVG they write read
// back against the observations, and the settings reaching the page.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "astro/vectors.h"
#include "base/constants.h"
#include "command/interpreter.h"
#include "fit/residuals.h"
#include "plot/plot_test_support.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

using plot::test::parseSvg;
using plot::test::Marker;

// The example run fitted, with a few observations masked.
class PlotCommands : public ::testing::Test {
 protected:
  void SetUp() override {
    dir.copyFrom(ZENFIT_SOURCE_DIR "/examples");
    zenfit = std::make_unique<Interpreter>(dir.path());
    for (const char* line : {"INDAT run", "USE IH ID CH NP ME MA TF DAF", "FIT", "FIT", "MASK 3 5", "MASK 40"}) {
      ASSERT_TRUE(zenfit->run(line).ok) << line;
    }
  }
  std::string run(const std::string& line) { return zenfit->run(line).text; }
  bool ok(const std::string& line) { return zenfit->run(line).ok; }
  const plot::Page& page() { return zenfit->engine().plot.lastPage; }

  ScratchDir dir;
  std::unique_ptr<Interpreter> zenfit;
};

// Every observation with its residuals star minus telescope, masked ones
// included (the fit corrects them too), from the residual table.
struct Reference {
  ResidualRow row;
  bool active;
  double ha;  // hours, -12..12
};
std::vector<Reference> reference(const Engine& engine) {
  ObservationList all = engine.observations;
  std::vector<bool> active;
  for (int i = 0; !all[i].isEnd(); ++i) active.push_back(all[i].isActive()), all[i].status = kStatusActive;
  std::vector<Reference> out;
  for (const ResidualRow& row : residualTable(all, engine.run).rows) {
    out.push_back({row, active[row.number - 1], std::remainder(row.telHa, 2 * kPi) * 12 / kPi});
  }
  return out;
}

// The data markers of an SVG page in document order: those below the
// header row with its legend (in the top 60 points of a whole-page zone).
std::vector<Marker> dataMarkers(const std::string& svg) {
  std::vector<Marker> markers = plot::test::svgMarkers(parseSvg(svg));
  std::erase_if(markers, [](const Marker& m) { return m.y < 60; });
  return markers;
}

TEST_F(PlotCommands, GcMarksEveryObservationWhereItsResidualsPutIt) {
  EXPECT_EQ(run("PLTON resid.svg"), "* PLTON resid.svg\n");
  EXPECT_EQ(run("GC"), "* GC\nPlot written to resid-001.svg\n");
  const std::vector<Reference> stars = reference(zenfit->engine());
  const std::vector<Marker> markers = dataMarkers(dir.read("resid-001.svg"));
  ASSERT_EQ(markers.size(), 4 * stars.size());
  // Each panel draws the masked (hollow, offpoints grey), then those in use
  // (filled, points blue); over the pole as triangles; each group in list order.
  std::vector<const Reference*> order;
  for (const Reference& s : stars) order.push_back(&s);
  std::ranges::stable_sort(order, {}, [](const Reference* s) { return std::pair(s->active, s->row.overPole); });
  EXPECT_EQ(std::count_if(stars.begin(), stars.end(), [](const Reference& s) { return !s.active; }), 4);
  // Panels: dX against hour angle and declination, then dD; linear axes,
  // x growing to the right and y upwards, each marker within half a unit
  // (the PNG's 0.75 pixel) of where its values map.
  const std::vector<plot::Panel>& panels = zenfit->engine().plot.lastChart.panels;
  ASSERT_EQ(panels.size(), 4u);
  for (std::size_t k = 0; k < 4; ++k) {
    SCOPED_TRACE(k);
    const plot::Panel& p = panels[k];
    for (std::size_t i = 0; i < order.size(); ++i) {
      const Marker& m = markers[k * order.size() + i];
      const Reference& s = *order[i];
      EXPECT_EQ(m.filled, s.active) << s.row.number;
      EXPECT_EQ(m.colour, s.active ? "#0072B2" : "#999999") << s.row.number;
      EXPECT_EQ(m.shape, s.row.overPole ? "triangle" : "circle") << s.row.number;
      const double x = k % 2 ? s.row.telDec * kDegreesPerRadian : s.ha, y = s.row.d[k < 2 ? kDx : kDd];
      EXPECT_NEAR(m.x, p.area.x + (x - p.xMin) / (p.xMax - p.xMin) * p.area.width, 0.5) << s.row.number;
      EXPECT_NEAR(m.y, p.area.bottom() - (y - p.yMin) / (p.yMax - p.yMin) * p.area.height, 0.5) << s.row.number;
    }
  }
  // The text a front end takes is the same page.
  EXPECT_EQ(dataMarkers(zenfit->lastPlotSvg()).size(), markers.size());
}

TEST_F(PlotCommands, EachCommandWritesAFileAndSaysSo) {
  ASSERT_TRUE(ok("PLTON all.png"));
  const char* commands[] = {"G DR N", "G dz a", "GC", "GAM", "GSCAT", "GSCAT H", "GHYST", "GHYST H",
                            "GDIST", "GDIST E", "GMAP", "GMAP E 5000", "GSMAP", "GSMAP E"};
  int page = 0;
  for (const char* command : commands) {
    const std::string file = "all-" + std::to_string(1001 + page++).substr(1) + ".png";
    EXPECT_EQ(run(command), std::string("* ") + command + "\nPlot written to " + file + "\n");
    // A real PNG of the page, with ink on it.
    const plot::test::Image image(dir.read(file));
    ASSERT_TRUE(image.ok()) << file;
    EXPECT_EQ(image.width(), 1080);
    EXPECT_EQ(image.height(), 810);
    EXPECT_GT(image.inked(), 1080 * 810 / 100) << command;
  }
  EXPECT_EQ(run("PLTOFF"), "* PLTOFF\n");
}

TEST_F(PlotCommands, PdfAndPostScriptHoldOnePagePerPlotWrittenWhenClosed) {
  EXPECT_EQ(run("PLTON night.pdf"), "* PLTON night.pdf\n");
  EXPECT_EQ(run("GC"), "* GC\nPlot drawn on page 1 of night.pdf (written at PLTOFF or END)\n");
  EXPECT_EQ(run("GSCAT"), "* GSCAT\nPlot drawn on page 2 of night.pdf (written at PLTOFF or END)\n");
  // Drawn over the same page: still two pages.
  ASSERT_TRUE(ok("CLRNG OFF"));
  EXPECT_EQ(run("GDIST"), "* GDIST\nPlot drawn on page 2 of night.pdf (written at PLTOFF or END)\n");
  EXPECT_FALSE(dir.exists("night.pdf"));
  EXPECT_EQ(run("PLTOFF"), "* PLTOFF\nnight.pdf written with 2 pages\n");
  const std::string pdf = dir.read("night.pdf");
  EXPECT_EQ(pdf.rfind("%PDF-", 0), 0u);
  EXPECT_EQ(plot::test::pdfPages(pdf), 2);

  // With no device open a plot opens the hard copy; END writes it.
  ASSERT_TRUE(ok("CLRNG"));
  EXPECT_EQ(run("GHYST"), "* GHYST\nPlot drawn on page 1 of zenfit.ps (written at PLTOFF or END)\n");
  EXPECT_EQ(run("END"), "* END\n\n\n* END OF SESSION *\n\n\nzenfit.ps written with 1 page\n");
  EXPECT_NE(dir.read("zenfit.ps").find("%%Pages: 1"), std::string::npos);

  // The initialisation file names the hard copy, the pens and the fonts; a
  // graphics device that names a plot file is where plots go by default.
  dir.write("zenfit.ini", "GRAPHICS_HARDCOPY  Night.PDF\nPEN_POINTS 4\nPEN_OFFPOINTS 9\nFONT_LABELS 2\nEND\n");
  zenfit = std::make_unique<Interpreter>(dir.path());
  ASSERT_TRUE(ok("INDAT run") && ok("PLTON"));
  EXPECT_EQ(run("GDIST"), "* GDIST\nPlot drawn on page 1 of Night.PDF (written at PLTOFF or END)\n");
  for (const plot::Op& op : page().ops) {
    EXPECT_TRUE(op.kind != plot::Op::Kind::Markers || op.count < 50 || op.pen == 4);
    EXPECT_TRUE(op.kind != plot::Op::Kind::Text || op.text.rfind("Observed", 0) != 0 || op.font == 2) << op.text;
  }
  zenfit.reset();  // the engine's shutdown writes the document
  EXPECT_EQ(dir.read("Night.PDF").rfind("%PDF-", 0), 0u);
  dir.write("zenfit.ini", "GRAPHICS_DEVICE_NAME screen.svg\nEND\n");
  zenfit = std::make_unique<Interpreter>(dir.path());
  ASSERT_TRUE(ok("INDAT run"));
  EXPECT_EQ(run("GMAP"), "* GMAP\nPlot written to screen-001.svg\n");
}

TEST_F(PlotCommands, RefusalsSayWhyAndFail) {
  const std::pair<const char*, const char*> refused[] = {
      {"G", "Illegal argument!\n"},           {"G DX", "Illegal argument!\n"},
      {"G DX Q", "Illegal argument!\n"},      {"GSCAT X", "Illegal argument!\n"},
      {"GHYST E", "Illegal argument!\n"},     {"GDIST H", "Illegal argument!\n"},
      {"GMAP X", "Illegal argument!\n"},      {"GMAP 0", "Illegal argument!\n"},
      {"GSMAP E -3", "Illegal argument!\n"},  {"GMAP E E", "Illegal argument!\n"},
      {"PLTON resid.txt", "Plot file must be .svg, .png, .pdf, .ps or .eps!  File = resid.txt\n"},
      {"PLTON resid", "Plot file must be .svg, .png, .pdf, .ps or .eps!  File = resid.dat\n"},
  };
  for (const auto& [line, text] : refused) {
    const Interpreter::Outcome outcome = zenfit->run(line);
    EXPECT_FALSE(outcome.ok) << line;
    EXPECT_EQ(outcome.text, std::string("* ") + line + "\n" + text + "?\n");
  }
  EXPECT_TRUE(zenfit->lastPlotSvg().empty());
  // A file that cannot be written: reported by name, the command fails.
  ASSERT_TRUE(ok("PLTON nowhere/resid.svg"));
  EXPECT_EQ(run("GC"), "* GC\nPlot file cannot be written!  File = nowhere/resid-001.svg: No such file or directory\n?\n");
  // An empty list.
  ASSERT_TRUE(ok("MASK"));
  EXPECT_EQ(run("GHYST"), "* GHYST\nNo observations in use to plot!\n?\n");
  ScratchDir empty;
  Interpreter fresh(empty.path());
  for (const char* line : {"GC", "GAM", "G DX H", "GSCAT", "GHYST", "GDIST", "GMAP", "GSMAP"}) {
    EXPECT_EQ(fresh.run(line).text, std::string("* ") + line + "\nNo observations to plot!\n?\n");
  }
  EXPECT_TRUE(std::filesystem::is_empty(empty.path()));
}

TEST_F(PlotCommands, SettingsReachThePage) {
  using Kind = plot::Op::Kind;
  const auto texts = [&] {
    std::vector<plot::Op> out;
    std::ranges::copy_if(page().ops, std::back_inserter(out), [](auto& op) { return op.kind == Kind::Text; });
    return out;
  };
  const auto smallest = [](const std::vector<Marker>& markers) { return std::ranges::min(markers, {}, &Marker::size).size; };
  ASSERT_TRUE(ok("PLTON s.svg") && ok("G DD D"));
  const double defaultSize = smallest(dataMarkers(dir.read("s-001.svg")));
  const std::string caption = zenfit->engine().run.caption;
  ASSERT_EQ(texts().at(0).text, caption);  // the caption on top
  EXPECT_EQ(texts()[0].font, 1);
  EXPECT_EQ(page().ops.at(0).kind, Kind::StrokeRect);  // the frame

  // Pens for frame, caption, axes, labels, points and offpoints.
  for (const char* line : {"PENS 3 4 5 6 7 1", "TXF 2 3", "MARKH 0.5"}) ASSERT_TRUE(ok(line)) << line;
  EXPECT_EQ(run("G DD D"), "* G DD D\nPlot written to s-002.svg\n");
  EXPECT_EQ(page().ops.at(0).pen, 3);
  const plot::Rect area = zenfit->engine().plot.lastChart.panels.at(0).area;
  const auto axes = [&](const plot::Op& op) { return op.kind == Kind::StrokeRect && op.pen == 5 && op.rect.x == area.x; };
  EXPECT_TRUE(std::ranges::any_of(page().ops, axes));
  for (const plot::Op& op : texts()) {
    EXPECT_EQ(op.pen, op.text == caption ? 4 : 6) << op.text;
    EXPECT_EQ(op.font, op.text == caption ? 2 : 3) << op.text;
  }
  const std::vector<Marker> markers = dataMarkers(dir.read("s-002.svg"));
  for (const Marker& m : markers) EXPECT_EQ(m.colour, m.filled ? "#56B4E9" : "#000000");  // pens 7 and 1
  EXPECT_EQ(std::count_if(markers.begin(), markers.end(), [](const Marker& m) { return !m.filled; }), 4);
  EXPECT_GT(smallest(markers), 2 * defaultSize);  // markers 0.5 high, not 0.2

  ASSERT_TRUE(ok("CAPT OFF") && ok("FRAME OFF"));
  EXPECT_EQ(run("G DD D"), "* G DD D\nPlot written to s-003.svg\n");
  for (const plot::Op& op : texts()) EXPECT_NE(op.text, caption);
  for (const plot::Op& op : page().ops) EXPECT_FALSE(op.kind == Kind::StrokeRect && op.pen == 3);

  // Text scales with a small zone at stroke precision, and keeps its page
  // size at string precision.
  ASSERT_TRUE(ok("PLTZ 0 0 0.5 0.5"));
  double size[3] = {};
  for (int precision : {0, 2}) {
    ASSERT_TRUE(ok("TXP " + std::to_string(precision)) && ok("G DD D"));
    size[precision] = texts().at(0).fontSize;
  }
  EXPECT_NEAR(size[2], size[0] * std::sqrt(0.5), 1e-9);

  // Two plots side by side on one page, each in its zone: a new page for
  // the first, no clearing for the second.
  ASSERT_TRUE(ok("PLTZ 0 0 0.5 1"));
  EXPECT_EQ(run("GDIST"), "* GDIST\nPlot written to s-006.svg\n");
  ASSERT_TRUE(ok("CLRNG OFF") && ok("PLTZ 0.5 0 1 1"));
  EXPECT_EQ(run("GDIST E"), "* GDIST E\nPlot written to s-006.svg\n");
  const std::vector<Marker> both = dataMarkers(dir.read("s-006.svg"));
  EXPECT_TRUE(std::any_of(both.begin(), both.end(), [](const Marker& m) { return m.x < 360; }));
  EXPECT_TRUE(std::any_of(both.begin(), both.end(), [](const Marker& m) { return m.x > 360; }));
  EXPECT_FALSE(dir.exists("s-007.svg"));
}

TEST(PlotDevices, GsmapDrawsTheModelsOwnCorrections) {
  // An index error in hour angle alone: every correction runs along the
  // parallel, as long as 30 arcsec times cos(declination).
  ScratchDir dir;
  Interpreter zenfit(dir.path());
  for (const char* line : {"PERFCT 30", "USE IH", "IH 30", "PLTON map.svg"}) ASSERT_TRUE(zenfit.run(line).ok) << line;
  EXPECT_EQ(zenfit.run("GSMAP E 3600").text, "* GSMAP E 3600\nPlot written to map-001.svg\n");
  const Engine& engine = zenfit.engine();
  const plot::Page& page = engine.plot.lastPage;
  std::vector<double> ratio;
  for (const plot::Op& op : page.ops) {
    if (op.kind != plot::Op::Kind::Arrows || op.count < 4) continue;
    for (std::uint32_t i = 0; i < op.count; i += 2) {
      const plot::Point from = page.points[op.first + i], to = page.points[op.first + i + 1];
      EXPECT_NEAR(to.y, from.y, 1e-6);
      ratio.push_back((to.x - from.x) / std::cos(engine.observations[static_cast<int>(i / 2)].starDec));
    }
  }
  ASSERT_EQ(ratio.size(), static_cast<std::size_t>(engine.observations.count()));
  for (double r : ratio) EXPECT_NEAR(r, ratio[0], 1e-3 * std::fabs(ratio[0]));
  EXPECT_GT(std::fabs(ratio[0]), 1.0);
}

}  // namespace
}  // namespace zenfit::test
