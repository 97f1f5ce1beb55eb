// The plot commands driven through an engine as a front end drives it: the
// files they write and what they say, the marks of the SVG they write read
// back against the observations, and the settings reaching the page.
#include <cairo.h>
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "astro/vectors.h"
#include "base/constants.h"
#include "command/interpreter.h"
#include "fit/residuals.h"
#include "plot/plot_test_support.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

using plot::test::parseSvg;
using plot::test::SvgMarker;

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
  for (int i = 0; !all[i].isEnd(); ++i) {
    active.push_back(all[i].isActive());
    all[i].status = kStatusActive;
  }
  std::vector<Reference> out;
  for (const ResidualRow& row : residualTable(all, engine.run).rows) {
    out.push_back({row, active[row.number - 1], std::remainder(row.telHa, 2 * kPi) * 12 / kPi});
  }
  return out;
}

// The data markers of an SVG page in document order: those below the
// header row with its legend (in the top 60 points of a whole-page zone);
// the smallest marker's size to *sizes.
std::vector<SvgMarker> dataMarkers(const std::string& svg, std::vector<double>* sizes = nullptr) {
  std::vector<SvgMarker> out;
  double smallest = 1e300;
  for (const SvgMarker& m : plot::test::svgMarkers(parseSvg(svg))) {
    if (m.y < 60) continue;
    out.push_back(m);
    smallest = std::min(smallest, m.size);
  }
  if (sizes) sizes->push_back(smallest);
  return out;
}

// The largest distance of a mark from the straight line that maps values to
// page coordinates, fitted by least squares; slope's sign in *slope.
double worstLinearFit(const std::vector<double>& value, const std::vector<double>& page, double* slope) {
  const double n = static_cast<double>(value.size());
  double sv = 0, sp = 0, svv = 0, svp = 0;
  for (std::size_t i = 0; i < value.size(); ++i) {
    sv += value[i], sp += page[i], svv += value[i] * value[i], svp += value[i] * page[i];
  }
  const double b = (n * svp - sv * sp) / (n * svv - sv * sv);
  const double a = (sp - b * sv) / n;
  double worst = 0;
  for (std::size_t i = 0; i < value.size(); ++i) worst = std::max(worst, std::fabs(a + b * value[i] - page[i]));
  *slope = b;
  return worst;
}

TEST_F(PlotCommands, GcMarksEveryObservationWhereItsResidualsPutIt) {
  EXPECT_EQ(run("PLTON resid.svg"), "* PLTON resid.svg\n");
  EXPECT_EQ(run("GC"), "* GC\nPlot written to resid-001.svg\n");
  ASSERT_TRUE(dir.exists("resid-001.svg"));
  const std::vector<Reference> stars = reference(zenfit->engine());
  const std::vector<SvgMarker> markers = dataMarkers(dir.read("resid-001.svg"));
  ASSERT_EQ(markers.size(), 4 * stars.size());
  // Each panel draws the masked (hollow, offpoints grey), then those in use
  // (filled, points blue); over the pole as triangles; each group in list order.
  std::vector<const Reference*> order;
  for (bool active : {false, true}) {
    for (bool pole : {false, true}) {
      for (const Reference& s : stars) {
        if (s.active == active && s.row.overPole == pole) order.push_back(&s);
      }
    }
  }
  int masked = 0;
  for (const Reference& s : stars) masked += !s.active;
  EXPECT_EQ(masked, 4);
  const auto dx = [](const Reference* s) { return s->row.d[kDx]; };
  const auto dd = [](const Reference* s) { return s->row.d[kDd]; };
  const auto ha = [](const Reference* s) { return s->ha; };
  const auto dec = [](const Reference* s) { return s->row.telDec * kDegreesPerRadian; };
  const std::function<double(const Reference*)> xs[4] = {ha, dec, ha, dec}, ys[4] = {dx, dx, dd, dd};
  for (int panel = 0; panel < 4; ++panel) {
    SCOPED_TRACE(panel);
    std::vector<double> xValue, yValue, xPage, yPage;
    for (std::size_t i = 0; i < order.size(); ++i) {
      const SvgMarker& m = markers[panel * order.size() + i];
      const Reference& s = *order[i];
      EXPECT_EQ(m.filled, s.active) << s.row.number;
      EXPECT_EQ(m.colour, s.active ? "#0072B2" : "#999999") << s.row.number;
      EXPECT_EQ(m.shape, s.row.overPole ? "triangle" : "circle") << s.row.number;
      xValue.push_back(xs[panel](&s)), yValue.push_back(ys[panel](&s));
      xPage.push_back(m.x), yPage.push_back(m.y);
    }
    // Linear axes: every marker within half a unit (the PNG's 0.75 pixel)
    // of the line through them all; x grows to the right, y upwards.
    double slope = 0;
    EXPECT_LT(worstLinearFit(xValue, xPage, &slope), 0.5);
    EXPECT_GT(slope, 0);
    EXPECT_LT(worstLinearFit(yValue, yPage, &slope), 0.5);
    EXPECT_LT(slope, 0);
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
    char file[32];
    std::snprintf(file, sizeof file, "all-%03d.png", ++page);
    EXPECT_EQ(run(command), std::string("* ") + command + "\nPlot written to " + file + "\n");
    // A real PNG of the page, with ink on it.
    cairo_surface_t* image = cairo_image_surface_create_from_png(dir.file(file).c_str());
    ASSERT_EQ(cairo_surface_status(image), CAIRO_STATUS_SUCCESS) << file;
    EXPECT_EQ(cairo_image_surface_get_width(image), 1080);
    EXPECT_EQ(cairo_image_surface_get_height(image), 810);
    const unsigned char* data = cairo_image_surface_get_data(image);
    const int stride = cairo_image_surface_get_stride(image);
    int inked = 0;
    for (int y = 0; y < 810; ++y) {
      for (int x = 0; x < 1080; ++x) inked += (reinterpret_cast<const std::uint32_t*>(data + y * stride)[x] & 0xFFFFFF) != 0xFFFFFF;
    }
    EXPECT_GT(inked, 1080 * 810 / 100) << command;
    cairo_surface_destroy(image);
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
  ASSERT_TRUE(ok("PLTON s.svg"));
  ASSERT_TRUE(ok("GSCAT"));
  std::vector<double> sizes;
  dataMarkers(dir.read("s-001.svg"), &sizes);
  const auto texts = [&] {
    std::vector<plot::Op> out;
    for (const plot::Op& op : page().ops) {
      if (op.kind == plot::Op::Kind::Text) out.push_back(op);
    }
    return out;
  };
  const std::string caption = zenfit->engine().run.caption;
  ASSERT_EQ(texts().at(0).text, caption);  // the caption on top
  EXPECT_EQ(texts()[0].font, 1);
  EXPECT_EQ(page().ops.at(0).kind, plot::Op::Kind::StrokeRect);  // the frame

  for (const char* line : {"PENS 3 4 5 6 7 1", "TXF 2 3", "MARKH 0.5", "CAPT OFF", "FRAME OFF"}) {
    ASSERT_TRUE(ok(line)) << line;
  }
  EXPECT_EQ(run("GSCAT"), "* GSCAT\nPlot written to s-002.svg\n");
  for (const plot::Op& op : texts()) {
    EXPECT_NE(op.text, caption);
    EXPECT_EQ(op.font, 3) << op.text;
  }
  for (const plot::Op& op : page().ops) EXPECT_NE(op.kind == plot::Op::Kind::StrokeRect && op.pen == 3, true);
  const std::vector<SvgMarker> markers = dataMarkers(dir.read("s-002.svg"), &sizes);
  for (const SvgMarker& m : markers) EXPECT_EQ(m.colour, m.filled ? "#56B4E9" : "#000000");  // pens 7 and 1
  EXPECT_GT(sizes[1], 2 * sizes[0]);  // markers 0.5 high, not 0.2

  // Two plots side by side on one page, each in its zone: a new page for
  // the first, no clearing for the second.
  ASSERT_TRUE(ok("PLTZ 0 0 0.5 1"));
  EXPECT_EQ(run("GDIST"), "* GDIST\nPlot written to s-003.svg\n");
  ASSERT_TRUE(ok("CLRNG OFF"));
  ASSERT_TRUE(ok("PLTZ 0.5 0 1 1"));
  EXPECT_EQ(run("GDIST E"), "* GDIST E\nPlot written to s-003.svg\n");
  double left = 1e9, right = -1e9;
  for (const SvgMarker& m : dataMarkers(dir.read("s-003.svg"))) left = std::min(left, m.x), right = std::max(right, m.x);
  EXPECT_LT(left, 360);
  EXPECT_GT(right, 360);
  EXPECT_FALSE(dir.exists("s-004.svg"));
}

TEST(PlotDevices, TheInitialisationFileNamesTheDevices) {
  ScratchDir dir;
  dir.copyFrom(ZENFIT_SOURCE_DIR "/examples");
  dir.write("zenfit.ini", "GRAPHICS_HARDCOPY  Night.PDF\nPEN_POINTS 4\nPEN_OFFPOINTS 9\nFONT_LABELS 2\nEND\n");
  {
    Interpreter zenfit(dir.path());
    ASSERT_TRUE(zenfit.run("INDAT run").ok);
    EXPECT_EQ(zenfit.run("PLTON").text, "* PLTON\n");
    EXPECT_EQ(zenfit.run("GDIST").text, "* GDIST\nPlot drawn on page 1 of Night.PDF (written at PLTOFF or END)\n");
    const plot::Page& page = zenfit.engine().plot.lastPage;
    for (const plot::Op& op : page.ops) {
      if (op.kind == plot::Op::Kind::Markers && op.count > 50) {
        EXPECT_EQ(op.pen, 4);
      }
      if (op.kind == plot::Op::Kind::Text && op.text.rfind("Observed", 0) == 0) {
        EXPECT_EQ(op.font, 2);
      }
    }
  }  // the engine's shutdown writes the document
  EXPECT_EQ(dir.read("Night.PDF").rfind("%PDF-", 0), 0u);

  // A graphics device that names a plot file is where plots go by default.
  dir.write("zenfit.ini", "GRAPHICS_DEVICE_NAME screen.svg\nEND\n");
  Interpreter zenfit(dir.path());
  ASSERT_TRUE(zenfit.run("INDAT run").ok);
  EXPECT_EQ(zenfit.run("GMAP").text, "* GMAP\nPlot written to screen-001.svg\n");
}

TEST(PlotDevices, GsmapDrawsTheModelsOwnCorrections) {
  // An index error in hour angle alone: every correction runs along the
  // parallel, as long as 30 arcsec times cos(declination).
  ScratchDir dir;
  Interpreter zenfit(dir.path());
  for (const char* line : {"PERFCT 30", "USE IH", "IH 30", "PLTON map.svg"}) ASSERT_TRUE(zenfit.run(line).ok) << line;
  EXPECT_EQ(zenfit.run("GSMAP E 3600").text, "* GSMAP E 3600\nPlot written to map-001.svg\n");
  const plot::Page& page = zenfit.engine().plot.lastPage;
  const Engine& engine = zenfit.engine();
  std::vector<double> ratio;
  for (const plot::Op& op : page.ops) {
    if (op.kind != plot::Op::Kind::Arrows || op.count < 4) continue;
    for (std::uint32_t i = 0; i < op.count; i += 2) {
      const plot::Point from = page.points[op.first + i], to = page.points[op.first + i + 1];
      EXPECT_NEAR(to.y, from.y, 1e-6);
      const double dec = engine.observations[static_cast<int>(i / 2)].starDec;
      ratio.push_back((to.x - from.x) / std::cos(dec));
    }
  }
  ASSERT_EQ(ratio.size(), static_cast<std::size_t>(engine.observations.count()));
  for (double r : ratio) EXPECT_NEAR(r, ratio[0], 1e-3 * std::fabs(ratio[0]));
  EXPECT_GT(std::fabs(ratio[0]), 1.0);
}

}  // namespace
}  // namespace zenfit::test
