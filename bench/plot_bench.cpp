// Speed of the plots on a full observation list: 4999 observations drawn and
// rendered to the bytes of an SVG or PNG page (a PDF document for
// comparison). GC (four panels, 20000 markers) is the heaviest marker chart,
// GMAP (4999 arrows) the heaviest line chart.
#include <benchmark/benchmark.h>

#include <functional>

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

}  // namespace

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
