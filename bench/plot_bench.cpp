// Speed of the plots on a full observation list: 4999 observations drawn and
// rendered to the bytes of an SVG or PNG page (a PDF document for
// comparison). GC (four panels, 20000 markers) is the heaviest marker chart,
// GMAP (4999 arrows) the heaviest line chart. The Command benchmarks run the
// whole command in an engine: the residual table, the chart, the page and
// its file written to the disk.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <functional>

#include "base/constants.h"
#include "command/engine.h"
#include "plot/charts.h"
#include "plot/file_device.h"
#include "plot/synthetic_run.h"

namespace {

using namespace zenfit::plot;

const std::vector<ObservationPoint>& fullList() {
  static const std::vector<ObservationPoint> points = test::syntheticRun(4999);
  return points;
}

using ChartCall = std::function<void(GraphicsDevice&, const Style&)>;

void plotToBytes(benchmark::State& state, const char* name, const ChartCall& chart) {
  Style style;
  style.captionText = "Benchmark run: 4999 observations";
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::unique_ptr<FileDevice> device = FileDevice::create(name);
    chart(*device, style);
    std::vector<PlotFile> files = device->takeFiles();
    for (PlotFile& file : device->close()) files.push_back(std::move(file));
    bytes = files.empty() ? 0 : files[0].bytes.size();
    benchmark::DoNotOptimize(files);
  }
  state.counters["kB"] = static_cast<double>(bytes) / 1000.0;
}

const ChartCall kGc = [](GraphicsDevice& d, const Style& s) { drawEquatorialResiduals(d, fullList(), s); };
const ChartCall kGmap = [](GraphicsDevice& d, const Style& s) { drawVectorMap(d, fullList(), s); };
const ChartCall kGmapE = [](GraphicsDevice& d, const Style& s) {
  drawVectorMap(d, fullList(), s, {.sky = SkyPlot::Equatorial});
};
const ChartCall kGscat = [](GraphicsDevice& d, const Style& s) { drawScatter(d, fullList(), s); };
const ChartCall kGhyst = [](GraphicsDevice& d, const Style& s) { drawHistograms(d, fullList(), s); };
const ChartCall kGdist = [](GraphicsDevice& d, const Style& s) { drawDistribution(d, fullList(), s); };

void BM_PlotGcSvg(benchmark::State& state) { plotToBytes(state, "gc.svg", kGc); }
void BM_PlotGcPng(benchmark::State& state) { plotToBytes(state, "gc.png", kGc); }
void BM_PlotGcPdf(benchmark::State& state) { plotToBytes(state, "gc.pdf", kGc); }
void BM_PlotGmapSvg(benchmark::State& state) { plotToBytes(state, "gmap.svg", kGmap); }
void BM_PlotGmapPng(benchmark::State& state) { plotToBytes(state, "gmap.png", kGmap); }
void BM_PlotGmapEquatorialPng(benchmark::State& state) { plotToBytes(state, "gmap.png", kGmapE); }
void BM_PlotGscatPng(benchmark::State& state) { plotToBytes(state, "gscat.png", kGscat); }
void BM_PlotGhystPng(benchmark::State& state) { plotToBytes(state, "ghyst.png", kGhyst); }
void BM_PlotGdistPng(benchmark::State& state) { plotToBytes(state, "gdist.png", kGdist); }

// The memory device: the page as SVG text for a host.
void BM_PlotGcMemorySvg(benchmark::State& state) {
  Style style;
  for (auto _ : state) {
    MemoryDevice device;
    drawEquatorialResiduals(device, fullList(), style);
    benchmark::DoNotOptimize(device.currentPageSvg());
  }
}

// An engine in a scratch folder holding the synthetic run as its
// observations: the telescope where the run puts it, the star offset by the
// run's residuals.
struct PlottingEngine {
  PlottingEngine() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zenfit-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    folder = pattern;
    engine.workdir = folder;
    zenfit::startEngine(engine, {});
    engine.run.sinLat = std::sin(30.0 / zenfit::kDegreesPerRadian);
    engine.run.cosLat = std::cos(30.0 / zenfit::kDegreesPerRadian);
    int i = 0;
    for (const ObservationPoint& p : fullList()) {
      zenfit::Observation& o = engine.observations[i++];
      o.status = p.active ? zenfit::kStatusActive : zenfit::kStatusMasked;
      o.pierFlag = p.overPole ? 1 : 0;
      o.telHa = o.telHaWork = p.haHours * 15.0 / zenfit::kDegreesPerRadian;
      o.telDec = o.telDecWork = p.decDegrees / zenfit::kDegreesPerRadian;
      o.starHa = o.starHaWork = o.telHa + p.dX / std::cos(o.telDec) / zenfit::kArcsecPerRadian;
      o.starDec = o.starDecWork = o.telDec + p.dD / zenfit::kArcsecPerRadian;
    }
    engine.observations[i].status = zenfit::kStatusEndOfList;
  }
  ~PlottingEngine() {
    zenfit::shutdownEngine(engine);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  zenfit::Engine engine;
  std::filesystem::path folder;
};

void command(benchmark::State& state, const char* device, const char* line) {
  PlottingEngine plotting;
  zenfit::runLine(plotting.engine, device);
  for (auto _ : state) {
    zenfit::runLine(plotting.engine, line);
    if (plotting.engine.dispatch.status != zenfit::CommandStatus::Done) state.SkipWithError("the plot failed");
  }
}

void BM_CommandGcSvg(benchmark::State& state) { command(state, "PLTON gc.svg", "GC"); }
void BM_CommandGcPng(benchmark::State& state) { command(state, "PLTON gc.png", "GC"); }
void BM_CommandGmapSvg(benchmark::State& state) { command(state, "PLTON gmap.svg", "GMAP"); }
void BM_CommandGmapPng(benchmark::State& state) { command(state, "PLTON gmap.png", "GMAP"); }

}  // namespace

BENCHMARK(BM_CommandGcSvg)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CommandGcPng)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CommandGmapSvg)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CommandGmapPng)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGcSvg)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGcPng)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGcPdf)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGmapSvg)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGmapPng)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGmapEquatorialPng)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGscatPng)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGhystPng)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGdistPng)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PlotGcMemorySvg)->Unit(benchmark::kMillisecond);
