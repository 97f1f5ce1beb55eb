// The devices: pages and their numbering, the files handed back in each
// format, checked by reading them (SVG as XML, PNG decoded).
#include <gtest/gtest.h>

#include <ranges>

#include "plot/charts.h"
#include "plot/file_device.h"
#include "plot/plot_test_support.h"
#include "plot/synthetic_run.h"

namespace zenfit::plot::test {
namespace {

const std::vector<ObservationPoint> kRun = syntheticRun(120, 11);

std::vector<std::string> names(const std::vector<PlotFile>& files) {
  const auto view = files | std::views::transform(&PlotFile::name);
  return {view.begin(), view.end()};
}

TEST(FileNames, TheExtensionChoosesTheFormatAndPagesAreNumbered) {
  const std::pair<const char*, std::optional<FileFormat>> formats[] = {
      {"resid.svg", FileFormat::Svg}, {"plots/Resid.PNG", FileFormat::Png}, {"run.7.pdf", FileFormat::Pdf},
      {"zenfit.ps", FileFormat::PostScript}, {"fig.eps", FileFormat::Eps}, {"resid.txt", std::nullopt},
      {"plots.d/resid", std::nullopt}, {".svg", std::nullopt}};
  for (const auto& [name, format] : formats) EXPECT_EQ(formatFromName(name), format) << name;
  EXPECT_EQ(numberedName("resid.svg", 1), "resid-001.svg");
  EXPECT_EQ(numberedName("out.d/resid.png", 12), "out.d/resid-012.png");
  EXPECT_EQ(numberedName("out.d/resid", 3), "out.d/resid-003");
  std::string error;
  EXPECT_EQ(FileDevice::create("resid.gif", &error), nullptr);
  EXPECT_NE(error.find("resid.gif"), std::string::npos);
}

TEST(FileDevices, SvgPagesComeBackOnceEachAfterEachPlot) {
  FileDevice device("resid.svg", FileFormat::Svg);
  EXPECT_TRUE(device.takeFiles().empty());
  drawEquatorialResiduals(device, kRun, Style{});
  EXPECT_EQ(device.lastPlot().page, 1);
  std::vector<PlotFile> first = device.takeFiles();
  ASSERT_EQ(names(first), std::vector<std::string>{"resid-001.svg"});
  EXPECT_EQ(svgMarkers(parseSvg(first[0].bytes)).size(), 4 * kRun.size() + 3);  // four panels, a legend
  EXPECT_TRUE(device.takeFiles().empty());  // nothing new
  drawScatter(device, kRun, Style{});
  EXPECT_EQ(names(device.takeFiles()), std::vector<std::string>{"resid-002.svg"});
  EXPECT_TRUE(device.close().empty());  // handed back already
}

TEST(FileDevices, ClearingTheZoneOrThePage) {
  MemoryDevice device;
  Style style;
  const auto markers = [&] { return svgMarkers(parseSvg(device.currentPageSvg())).size(); };
  drawScatter(device, kRun, style);
  const std::size_t scatter = markers();
  // Clearing a zone that covers the page leaves only the new plot.
  style.clearMode = ClearMode::Zone;
  drawScatter(device, kRun, style);
  EXPECT_EQ(device.pageNumber(), 1);
  EXPECT_EQ(markers(), scatter);
  // Clearing part of the page paints it white and draws over it.
  const double quarter[4] = {0, 0, 0.5, 0.5};
  std::copy(quarter, quarter + 4, style.zone);
  drawDistribution(device, kRun, style);
  const Page& page = device.currentPage();
  const auto clear = std::find_if(page.ops.begin(), page.ops.end(), [](const Op& op) { return op.kind == Op::Kind::Clear; });
  ASSERT_NE(clear, page.ops.end());
  EXPECT_TRUE(clear->rect.x == 0 && clear->rect.y == 270 && clear->rect.width == 360 && clear->rect.height == 270);
  EXPECT_EQ(markers(), 2 * scatter);
}

bool near(unsigned colour, unsigned expected, int tolerance) {
  for (int shift : {0, 8, 16}) {
    if (std::abs(int((colour >> shift) & 0xFF) - int((expected >> shift) & 0xFF)) > tolerance) return false;
  }
  return true;
}

TEST(FileDevices, PngPagesShowEachMarkerWhereItBelongs) {
  // Five stars well apart, one masked.
  std::vector<ObservationPoint> points;
  for (int i = 0; i < 5; ++i) points.push_back({i + 1, i != 2, false, -4.0 + 2 * i, 0, 0, 0, (i - 2) * 1.5 + 0.5});
  FileDevice device("g.png", FileFormat::Png);
  const Chart chart = drawQuantities(device, points, Style{}, Quantity::DX, Quantity::H);
  const std::vector<PlotFile> files = device.takeFiles();
  ASSERT_EQ(names(files), std::vector<std::string>{"g-001.png"});
  const Image image(files[0].bytes);
  ASSERT_TRUE(image.ok());
  const double scale = FileDevice::kPngScale;
  const int radius = static_cast<int>(0.008 * 540 / 2 * scale);  // pixels
  for (const ObservationPoint& p : points) {
    const Point at = chart.panels[0].toPage(p.haHours, p.dX);
    const int x = static_cast<int>(at.x * scale), y = static_cast<int>(at.y * scale);
    if (p.active) {
      // The middle of a filled marker in the points pen, clear a little
      // beyond its edge on either side.
      EXPECT_TRUE(near(image.pixel(x, y), 0x0072B2, 8)) << std::hex << image.pixel(x, y);
      EXPECT_EQ(image.pixel(x + radius + 2, y - 3), 0xFFFFFFu);
      EXPECT_EQ(image.pixel(x - radius - 2, y + 3), 0xFFFFFFu);
    } else {
      // Hollow: white inside, the offpoints grey on its rim.
      EXPECT_EQ(image.pixel(x, y), 0xFFFFFFu);
      bool rim = false;
      for (int dx = -radius - 1; dx <= 0; ++dx) rim |= near(image.pixel(x + dx, y), 0x999999, 40);
      EXPECT_TRUE(rim);
    }
  }
}

TEST(FileDevices, EveryKindOfMarkRendersInEveryFormatAndMalformedUtf8IsDrawnNotRefused) {
  Style style;
  style.captionText = "Run \xFF\xFE 7 \xE2\x88";
  for (const char* name : {"all.svg", "all.png", "all.pdf", "all.ps", "all.eps"}) {
    SCOPED_TRACE(name);
    std::unique_ptr<FileDevice> device = FileDevice::create(name);
    drawAltazResiduals(*device, kRun, style);
    drawScatter(*device, kRun, style);
    drawHistograms(*device, kRun, style, true);
    drawVectorMap(*device, kRun, style, {.modelCorrections = true});
    std::vector<PlotFile> files = device->takeFiles();
    for (PlotFile& f : device->close()) files.push_back(std::move(f));
    EXPECT_EQ(device->takeError(), "");
    const bool document = device->format() == FileFormat::Pdf || device->format() == FileFormat::PostScript;
    ASSERT_EQ(files.size(), document ? 1u : 4u);
    EXPECT_EQ(files.back().name, document ? name : std::string(name).insert(3, "-004"));
    for (const PlotFile& f : files) {
      EXPECT_TRUE(device->format() != FileFormat::Svg || !parseSvg(f.bytes).name.empty());  // throws if malformed
      EXPECT_TRUE(device->format() != FileFormat::Png || Image(f.bytes).ok());
      EXPECT_TRUE(device->format() != FileFormat::Eps ||
                  (f.bytes.rfind("%!PS-Adobe-3.0 EPSF-3.0", 0) == 0 && f.bytes.find("%%BoundingBox:") != std::string::npos));
      EXPECT_GT(f.bytes.size(), 1000u);
    }
  }
}

}  // namespace
}  // namespace zenfit::plot::test
