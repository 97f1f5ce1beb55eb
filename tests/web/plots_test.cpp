// The plots the page shows: each plot command's SVG over HTTP, and the
// marks by which the page finds the star under a click, against the
// markers the plot itself drew (its page's display list).
#include <algorithm>
#include <cmath>
#include <iterator>
#include <tuple>

#include "command/interpreter.h"
#include "web/plot_marks.h"
#include "web_support.h"

namespace zenfit::test {
namespace {

// (x, y in hundredths, filled, triangle) of a marker.
using Marker = std::tuple<long, long, bool, bool>;

long hundredths(double value) { return std::lround(value * 100.0); }

// Every marker on the last plot's page but those of the legend above its
// panels.
std::vector<Marker> drawnMarkers(const Engine& engine) {
  std::vector<Marker> markers;
  const plot::Page& page = engine.plot.lastPage;
  double top = page.height;
  for (const plot::Panel& panel : engine.plot.lastChart.panels) top = std::min(top, panel.area.y);
  for (const plot::Op& op : page.ops) {
    if (op.kind != plot::Op::Kind::Markers) continue;
    for (std::uint32_t i = 0; i < op.count; ++i) {
      const plot::Point& p = page.points[op.first + i];
      if (p.y >= top - 1.0) markers.emplace_back(hundredths(p.x), hundredths(p.y), op.filled, op.shape == plot::MarkerShape::Triangle);
    }
  }
  std::sort(markers.begin(), markers.end());
  return markers;
}

// The marks, with the look each observation's marker must have: filled
// when in use, a triangle when observed over the pole.
std::vector<Marker> markedObservations(const Interpreter& interpreter) {
  std::vector<Marker> markers;
  const ObservationList& list = interpreter.engine().observations;
  for (const nlohmann::json& mark : web::plotMarks(interpreter)) {
    const Observation& o = list[mark["n"].get<int>() - 1];
    markers.emplace_back(hundredths(mark["x"]), hundredths(mark["y"]), o.isActive(), o.pierFlag != 0);
  }
  std::sort(markers.begin(), markers.end());
  return markers;
}

TEST(WebPlots, EachMarkIsWhereThePlotDrewItsObservation) {
  ScratchDir dir;
  dir.write("run.dat", exampleFile("run.dat"));
  dir.write("stars.dat", exampleFile("stars.dat"));
  Interpreter zenfit(dir.path());
  EXPECT_TRUE(web::plotMarks(zenfit).empty());
  // Masked stars low in the sky, so that filled and hollow markers tell the
  // observations apart.
  for (const char* line : {"INDAT run", "USE IH ID CH NP ME MA TF DAF", "FIT", "MASK Z > 60"}) {
    ASSERT_TRUE(zenfit.run(line).ok) << line;
  }
  const int active = zenfit.engine().observations.activeCount();
  ASSERT_GT(active, 20);
  ASSERT_LT(active, 150);
  const std::pair<const char*, std::size_t> plots[] = {
      {"GC", 4 * 170}, {"GAM", 4 * 170}, {"GSCAT", 170}, {"GSCAT H", 170}, {"G DR Z", 170},
      {"GDIST", 170},  {"GDIST E", 170}, {"GMAP", 170},  {"GMAP E 50", 170}, {"GSMAP", 170},
      {"GHYST", 0}};
  for (const auto& [line, count] : plots) {
    ASSERT_TRUE(zenfit.run(line).ok) << line;
    const std::vector<Marker> drawn = drawnMarkers(zenfit.engine());
    const std::vector<Marker> marked = markedObservations(zenfit);
    EXPECT_EQ(marked.size(), count) << line;
    std::vector<Marker> onlyMarked, onlyDrawn;
    std::set_difference(marked.begin(), marked.end(), drawn.begin(), drawn.end(), std::back_inserter(onlyMarked));
    std::set_difference(drawn.begin(), drawn.end(), marked.begin(), marked.end(), std::back_inserter(onlyDrawn));
    EXPECT_EQ(onlyMarked, onlyDrawn) << line;
  }
}

TEST(WebPlots, PlotsOverHttpWithTheirMarks) {
  TestServer server;
  Client browser(server.port);
  browser.startSession();
  for (const char* name : {"run.dat", "stars.dat"}) ASSERT_EQ(browser.upload(name, exampleFile(name)), 200);
  EXPECT_EQ(browser.getJson("/api/plot")["reason"], "no-plot");
  for (const char* line : {"INST stars", "INDAT run", "USE IH ID CH NP", "FIT"}) {
    ASSERT_EQ(browser.command(line)["ok"], true) << line;
  }
  const httplib::Result svg = browser.get("/api/plot/gc");
  ASSERT_TRUE(svg);
  EXPECT_EQ(svg->status, 200);
  EXPECT_EQ(svg->get_header_value("Content-Type"), "image/svg+xml");
  EXPECT_NE(svg->body.find("viewBox=\"0 0 720 540\""), std::string::npos);

  json gmap = browser.getJson("/api/plot/GMAP?args=E%2050&format=json");
  EXPECT_EQ(gmap["status"], 200);
  EXPECT_EQ(gmap["marks"].size(), 170u);
  EXPECT_EQ(gmap["text"], "* GMAP E 50\nPlot drawn on page 2 of zenfit.ps (written at PLTOFF or END)\n");
  EXPECT_EQ(gmap["svg"].get<std::string>().rfind("<?xml", 0), 0u);
  // A plot typed in the console is the last plot.
  ASSERT_EQ(browser.command("G DX H")["ok"], true);
  const json last = browser.getJson("/api/plot?format=json");
  EXPECT_EQ(last["marks"].size(), 170u);
  EXPECT_EQ(last["marks"][16]["n"], 17);
  // A plot command that fails says why.
  const json bad = browser.getJson("/api/plot/G?args=DX%20Q");
  EXPECT_EQ(bad["status"], 400);
  EXPECT_EQ(bad["text"], "* G DX Q\nIllegal argument!\n?\n");
  // The document the plots went to is the session's, written at PLTOFF.
  ASSERT_EQ(browser.command("PLTOFF")["ok"], true);
  const httplib::Result ps = browser.get("/api/files/zenfit.ps");
  ASSERT_TRUE(ps);
  EXPECT_EQ(ps->status, 200);
  EXPECT_EQ(ps->body.rfind("%!PS", 0), 0u);
  EXPECT_EQ(ps->get_header_value("Content-Type"), "application/postscript");
}

}  // namespace
}  // namespace zenfit::test
