// Speed of star reduction: what is prepared once per run, and the per-star
// chain for a full observation list.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "astro/astro.h"
#include "astro/vectors.h"
#include "base/constants.h"

namespace {

using namespace zenfit;
using namespace zenfit::astro;

constexpr double kMjd = 60310.25;  // 2024 January 1, 6h
constexpr double kLatitude = 0.5;  // radians
constexpr double kHeightM = 2000.0;

struct Star {
  double ra;
  double dec;
};

// A full observation list of stars spread evenly over the sky.
std::vector<Star> fullListOfStars() {
  std::vector<Star> stars(kMaxObservations);
  const double goldenAngle = kPi * (3.0 - std::sqrt(5.0));
  for (int i = 0; i < kMaxObservations; ++i) {
    stars[i].ra = std::fmod(i * goldenAngle, kTwoPi);
    stars[i].dec = std::asin(-1.0 + (2.0 * i + 1.0) / kMaxObservations);
  }
  return stars;
}

void BM_PrepareMeanToApparent(benchmark::State& state) {
  for (auto _ : state) {
    ApparentPlaceContext context;
    prepareMeanToApparent(kMjd, context);
    benchmark::DoNotOptimize(context);
  }
}
BENCHMARK(BM_PrepareMeanToApparent)->Unit(benchmark::kMicrosecond);

void BM_RefractionConstants(benchmark::State& state) {
  for (auto _ : state) {
    double refA = 0.0;
    double refB = 0.0;
    refractionConstants(kHeightM, 283.15, 795.0, 0.5, 0.55, kLatitude, 0.0065, 1e-8, refA, refB);
    benchmark::DoNotOptimize(refA);
    benchmark::DoNotOptimize(refB);
  }
}
BENCHMARK(BM_RefractionConstants)->Unit(benchmark::kMicrosecond);

// Mean J2000.0 place to observed hour angle and declination for every star:
// apparent place, hour angle, diurnal aberration and the horizon turn,
// refraction, and back.
void BM_ReduceFullListOfStars(benchmark::State& state) {
  const std::vector<Star> stars = fullListOfStars();
  ApparentPlaceContext context;
  prepareMeanToApparent(kMjd, context);
  double refA = 0.0;
  double refB = 0.0;
  refractionConstants(kHeightM, 283.15, 795.0, 0.5, 0.55, kLatitude, 0.0065, 1e-8, refA, refB);
  double fromAxis = 0.0;
  double fromEquator = 0.0;
  siteDistances(kLatitude, kHeightM, fromAxis, fromEquator);
  const double diurab = diurnalAberrationConstant(fromAxis);
  const double sinLat = std::sin(kLatitude);
  const double cosLat = std::cos(kLatitude);
  const double siderealTime = 1.7;
  for (auto _ : state) {
    double sum = 0.0;
    for (const Star& star : stars) {
      double ra = 0.0;
      double dec = 0.0;
      meanToApparent(star.ra, star.dec, context, ra, dec);
      double horizon[3];
      haDecToHorizon(wrapPi(siderealTime - ra), dec, sinLat, cosLat, diurab, horizon);
      double observed[3];
      refractHorizonVector(horizon, refA, refB, observed);
      double ha = 0.0;
      horizonToHaDec(observed, sinLat, cosLat, ha, dec);
      sum += ha + dec;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(stars.size()));
}
BENCHMARK(BM_ReduceFullListOfStars)->Unit(benchmark::kMillisecond);

// The catalogue path of an FK4 star before the chain above: proper motion
// to the date, precession to B1950.0, FK4 to FK5.
void BM_Fk4PlacesToJ2000(benchmark::State& state) {
  const std::vector<Star> stars = fullListOfStars();
  const double epoch = besselianEpoch(kMjd);
  const double pm = 0.01 * kRadianPerArcsec;
  for (auto _ : state) {
    double sum = 0.0;
    for (const Star& star : stars) {
      double ra = star.ra;
      double dec = star.dec;
      applyProperMotion(ra, dec, pm, pm, 1900.0, true, kMjd);
      precessFk4(1900.0, 1950.0, ra, dec);
      fk4ToFk5(ra, dec, epoch, ra, dec);
      sum += ra + dec;
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(stars.size()));
}
BENCHMARK(BM_Fk4PlacesToJ2000)->Unit(benchmark::kMillisecond);

}  // namespace
