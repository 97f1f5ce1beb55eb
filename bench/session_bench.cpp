// Speed of whole commands as a host runs them: start-up, reading a full
// observation file of catalogue stars with refraction, the residual listing
// of a full list, and a whole session at the largest size. Every figure includes the message buffer and the
// echo of every record. peak_rss_MB is the process's peak resident size so
// far (run one benchmark alone with --benchmark_filter for its own figure).
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "base/constants.h"
#include "command/engine.h"
#include "host/message_buffer.h"

namespace {

using namespace zenfit;
namespace fs = std::filesystem;

constexpr int kCatalogueStars = kCatalogueSlots - 2;  // a heading, then the stars
constexpr double kLatitudeDeg = 30.0;

// A scratch folder that is the working directory while it lives.
class Folder {
 public:
  Folder() : previous_(fs::current_path()) {
    std::string pattern = (fs::temp_directory_path() / "zenfit-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    path_ = pattern;
    fs::current_path(path_);
  }
  ~Folder() {
    std::error_code ignored;
    fs::current_path(previous_, ignored);
    fs::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  void write(const char* name, const std::string& text) const {
    std::ofstream(fs::path(path_) / name, std::ios::binary) << text;
  }

 private:
  fs::path previous_;
  std::string path_;
};

std::string format(const char* pattern, auto... values) {
  char text[kLineLength + 1];
  std::snprintf(text, sizeof text, pattern, values...);
  return text;
}

// "hh mm ss.ss" from hours, "+dd mm ss.s" from degrees.
std::string hms(double hours) {
  hours = std::fmod(hours + 24.0, 24.0);
  const int centiseconds = static_cast<int>(std::lround(hours * 360000.0)) % (24 * 360000);
  return format("%02d %02d %05.2f", centiseconds / 360000, centiseconds / 6000 % 60,
                centiseconds % 6000 / 100.0);
}
std::string dms(double degrees) {
  const int tenths = static_cast<int>(std::lround(std::fabs(degrees) * 36000.0));
  return format("%c%02d %02d %04.1f", degrees < 0.0 ? '-' : '+', tenths / 36000,
                tenths / 600 % 60, tenths % 600 / 10.0);
}

struct Star {
  double raHours;
  double decDeg;
};

// Catalogue stars spread evenly over the sky that a telescope at latitude
// +30 reaches comfortably: declinations -20 to +80.
Star catalogueStar(int k) {
  const double goldenTurn = 0.5 * (3.0 - std::sqrt(5.0));
  const double sinLow = std::sin(-20.0 * kRadianPerDegree);
  const double sinHigh = std::sin(80.0 * kRadianPerDegree);
  const double u = (k + 0.5) / kCatalogueStars;
  return {std::fmod(k * goldenTurn, 1.0) * 24.0,
          std::asin(sinLow + (sinHigh - sinLow) * u) * kDegreesPerRadian};
}

// A full catalogue; one star in ten has an FK4 place.
std::string catalogueFile() {
  std::string text = "NAME   RA           DEC          PMRA     PMDEC   EPOCH\n";
  for (int k = 0; k < kCatalogueStars; ++k) {
    const Star star = catalogueStar(k);
    text += format("S%04d  %s  %s  %+.4f  %+.3f  %s\n", k, hms(star.raHours).c_str(),
                   dms(star.decDeg).c_str(), 0.001 * (k % 17 - 8), 0.01 * (k % 13 - 6),
                   k % 10 == 0 ? "B1950" : "J2000");
  }
  return text;
}

// 4999 dated observations of catalogue stars with full weather (so with
// refraction), each within 3 hours of the meridian. In catalogue order the
// lookup always finds the next star at once; scattered, every lookup walks
// on average half the catalogue.
std::string observationFile(bool scattered) {
  std::string text =
      "Full run of catalogue stars\n"
      "+30 00 00  2024 3 15.25  10 780 2200 0.4 0.55 0.0065\n";
  for (int i = 0; i < kMaxObservations; ++i) {
    const int k = scattered ? (i * 997) % kCatalogueStars : i % kCatalogueStars;
    const Star star = catalogueStar(k);
    const double hourAngle = 3.0 * std::sin(i * 0.7);
    const double lst = std::fmod(star.raHours + hourAngle + 48.0, 24.0);
    const double lstHours = std::floor(lst);
    text += format("*S%04d %s %s %02d %07.4f %.3f\n", k,
                   hms(star.raHours + 0.0003 * std::cos(i)).c_str(),
                   dms(star.decDeg + 0.004 * std::sin(i)).c_str(), static_cast<int>(lstHours),
                   (lst - lstHours) * 60.0, 0.01 * (i % 100));
  }
  text += "END\n";
  return text;
}

// A procedure library of ordinary size with an INIT procedure.
std::string procedureLibrary() {
  std::string text = "PROC INIT\n  ECHO OFF\n  REPLEN S\nRETURN\n";
  for (int p = 0; p < 40; ++p) {
    text += format("PROC P%02d\n  USE IH ID NP CH ME MA TF\n  CLIST\n  SHOW\nRETURN\n", p);
  }
  return text;
}

double peakRssMb() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss / 1024.0;  // kilobytes on Linux
}

// An engine in the working folder that reports into the C API's message
// buffer, as a host's engine does.
struct HostEngine {
  Engine engine;
  host::MessageBuffer buffer;
};

std::unique_ptr<HostEngine> startEngine() {
  auto host = std::make_unique<HostEngine>();
  host->engine.workdir = fs::current_path();
  host->engine.hooks.output = &host->buffer;
  host->buffer.attach(host->engine.settings);
  if (zenfit::startEngine(host->engine, {}) != 0) std::abort();
  return host;
}

void shutdown(Engine& engine) { shutdownEngine(engine); }

int stored(Engine& engine) { return engine.observations.count(); }

void BM_Startup(benchmark::State& state) {
  Folder folder;
  const bool withFiles = state.range(0) != 0;
  if (withFiles) {
    folder.write("stars.dat", catalogueFile());
    folder.write("procs.dat", procedureLibrary());
  }
  for (auto _ : state) {
    auto engine = startEngine();
    benchmark::DoNotOptimize(engine->buffer.text());
    shutdown(engine->engine);
  }
  state.SetLabel(withFiles ? "with a 1998-star catalogue and a procedure library" : "no files");
  state.counters["peak_rss_MB"] = peakRssMb();
}
BENCHMARK(BM_Startup)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void BM_IndatCatalogueStars(benchmark::State& state) {
  Folder folder;
  const bool scattered = state.range(0) != 0;
  folder.write("stars.dat", catalogueFile());
  folder.write("obs.dat", observationFile(scattered));
  auto engine = startEngine();
  for (auto _ : state) {
    runLine(engine->engine, "INDAT obs");
  }
  if (stored(engine->engine) != kMaxObservations) state.SkipWithError("not every observation was stored");
  state.SetLabel(scattered ? "4999, scattered over the catalogue" : "4999, in catalogue order");
  state.SetItemsProcessed(state.iterations() * kMaxObservations);
  state.counters["peak_rss_MB"] = peakRssMb();
  shutdown(engine->engine);
}
BENCHMARK(BM_IndatCatalogueStars)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_SlistFullListCommand(benchmark::State& state) {
  Folder folder;
  folder.write("stars.dat", catalogueFile());
  folder.write("obs.dat", observationFile(false));
  auto engine = startEngine();
  for (const char* line : {"INDAT obs", "USE IH ID NP CH ME MA TF FO HCES HCEC", "IH 12.5",
                           "ID -8", "NP 3", "CH -20", "ME 15", "MA -4", "TF 7"}) {
    runLine(engine->engine, line);
  }
  if (stored(engine->engine) != kMaxObservations) state.SkipWithError("not every observation was stored");
  for (auto _ : state) {
    runLine(engine->engine, "SLIST");
  }
  state.SetLabel("4999 observations, 10 terms");
  state.SetItemsProcessed(state.iterations() * kMaxObservations);
  state.counters["peak_rss_MB"] = peakRssMb();
  shutdown(engine->engine);
}
BENCHMARK(BM_SlistFullListCommand)->Unit(benchmark::kMillisecond);

// A whole session at the largest size a host meets: start-up with a full
// catalogue and a procedure library, INDAT of 4999 catalogue stars, a
// model of 30 terms, FIT, SLIST and OUTMOD.
void BM_MaximumSession(benchmark::State& state) {
  Folder folder;
  folder.write("stars.dat", catalogueFile());
  folder.write("procs.dat", procedureLibrary());
  folder.write("obs.dat", observationFile(true));
  const char* const session[] = {
      "INDAT obs",
      "USE IH ID NP CH ME MA TF FO HF DAF HCES HCEC DCES DCEC HDSH2 HDCH2",
      "USE HHSH HHCH HHSH2 HHCH2 HDSH HDCH HXSH2 HXCH2 HDSH3 HDCH3 HHSH3 HHCH3 HXSH HXCH",
      "FIT",
      "SLIST",
      "OUTMOD model",
  };
  bool complete = true;
  for (auto _ : state) {
    auto engine = startEngine();
    for (const char* line : session) {
      runLine(engine->engine, line);
      complete = complete && engine->engine.dispatch.status == CommandStatus::Done;
    }
    complete = complete && stored(engine->engine) == kMaxObservations;
    shutdown(engine->engine);
  }
  if (!complete) state.SkipWithError("a command of the session failed");
  state.SetLabel("4999 observations, 30 terms");
  state.counters["peak_rss_MB"] = peakRssMb();
}
BENCHMARK(BM_MaximumSession)->Unit(benchmark::kMillisecond);

}  // namespace
