// Refraction constants by ray tracing, and refraction of a direction.
#include "astro/refraction.h"

#include <algorithm>
#include <cmath>

#include <erfam.h>

#include "astro/astro.h"

namespace zenfit::astro {
namespace {

// Constants of the model atmosphere (Hohenkerk & Sinclair 1985; the gas
// constant is the CODATA 2018 value).
constexpr double kGasConstant = 8314.462618;   // universal gas constant, J/(kmol K)
constexpr double kDryAirMass = 28.966;         // molecular weight of dry air, kg/kmol
constexpr double kWaterMass = 18.016;          // molecular weight of water vapour, kg/kmol
constexpr double kVapourExponent = 18.36;      // vapour pressure goes as T^18.36
constexpr double kEarthRadius = 6378120.0;     // m
constexpr double kTropopauseHeight = 11000.0;  // above sea level, m
constexpr double kTopHeight = 80000.0;         // top of the model, above sea level, m
constexpr double kRadioWavelength = 100.0;     // micrometres; longer waves are radio

using IndexFunction = RefractiveIndex (*)(const ModelAtmosphere&, double);

// Gravity at the centroid of the atmospheric column above the site (m/s^2),
// from latitude (radians) and height (m).
double columnGravity(double latitude, double heightM) {
  return 9.784 * (1.0 - 0.0026 * std::cos(2.0 * latitude) - 0.00000028 * heightM);
}

// Pressure of saturated water vapour in moist air (mB) at temperature T (K)
// and total pressure P (mB): Buck (1981, J. Appl. Meteor. 20, 1527), over
// water, with his enhancement factor; within about 0.3% from -20 to +50 C.
double saturationVapourPressure(double temperatureK, double pressureMb) {
  const double celsius = temperatureK - 273.15;
  const double enhancement = 1.0007 + 3.46e-6 * pressureMb;
  return enhancement * 6.1121 * std::exp(17.502 * celsius / (240.97 + celsius));
}

// Coefficients of n - 1 = dry P/T - vapour Pw/T + radioVapour Pw/T^2, with
// P the total and Pw the water-vapour pressure (mB) and T in kelvin.
struct Refractivity {
  double dry;
  double vapour;
  double radioVapour;
};

Refractivity moistAirRefractivity(double wavelengthUm) {
  if (wavelengthUm > kRadioWavelength) {
    // Rueger (2002) "best average" radio formula, 77.6890 Pd/T +
    // 71.2952 Pw/T + 375463 Pw/T^2 (x 1e-6), rewritten with Pd = P - Pw.
    return {77.6890e-6, 6.3938e-6, 0.375463};
  }
  // Optical: dry air at 273.15 K and 1013.25 mB has (n - 1) x 1e6 =
  // 287.604 + 1.6288/l^2 + 0.0136/l^4 (l in micrometres); water vapour
  // refracts less than the dry air it displaces (Hohenkerk & Sinclair 1985).
  const double w2 = 1.0 / (wavelengthUm * wavelengthUm);
  const double standard = (287.604 + (1.6288 + 0.0136 * w2) * w2) * 1e-6;
  return {standard * 273.15 / 1013.25, 11.2684e-6, 0.0};
}

// ln(T/T0) / alpha at dr metres above the observer in a troposphere of lapse
// rate alpha (K/m), with its isothermal limit -dr/T0 as alpha goes to 0.
double logTemperatureRatioPerLapse(double alpha, double t0, double dr) {
  const double x = alpha * dr / t0;
  if (std::fabs(x) < 1e-9) return -(dr / t0) * (1.0 + 0.5 * x);
  return std::log1p(-x) / alpha;
}

// (e^u - 1) / u, and its limit 1 at u = 0.
double relativeExpm1(double u) {
  if (std::fabs(u) < 1e-12) return 1.0 + 0.5 * u;
  return std::expm1(u) / u;
}

// The radius (m) at which a ray with invariant n r sin z = invariant has
// zenith distance z, by Newton's method from a guess inside the layer.
double radiusAtZenithDistance(const ModelAtmosphere& atmosphere, IndexFunction index,
                              double invariant, double z, double guess) {
  const double target = invariant / std::sin(z);
  double r = guess;
  for (int iteration = 0; iteration < 30; ++iteration) {
    const RefractiveIndex here = index(atmosphere, r);
    const double step = (here.n * r - target) / (here.n + r * here.dndr);
    r -= step;
    if (std::fabs(step) < 1e-6) break;
  }
  return r;
}

// The refraction integral over one layer, from the zenith distance at its
// bottom to that at its top (radians): integral of r n' / (n + r n') dz,
// with n' = dn/dr (Explanatory Supplement 1992, 3.281).
double layerRefraction(const ModelAtmosphere& atmosphere, IndexFunction index, double invariant,
                       double zBottom, double rBottom, double zTop, double rTop,
                       double precision) {
  if (zBottom - zTop <= 0.0) return 0.0;
  const auto integrand = [&](double z) {
    const double guess = rBottom + (rTop - rBottom) * (z - zBottom) / (zTop - zBottom);
    const double r = radiusAtZenithDistance(atmosphere, index, invariant, z, guess);
    const RefractiveIndex here = index(atmosphere, r);
    return r * here.dndr / (here.n + r * here.dndr);
  };
  // Simpson's rule, halving the step until two estimates agree.
  constexpr int kInitialStrips = 8;
  constexpr int kMaxHalvings = 16;
  int strips = kInitialStrips;
  double step = (zTop - zBottom) / strips;
  const double ends = integrand(zBottom) + integrand(zTop);
  double odd = 0.0;
  double even = 0.0;
  for (int i = 1; i < strips; ++i) (i % 2 == 1 ? odd : even) += integrand(zBottom + i * step);
  double estimate = step / 3.0 * (ends + 4.0 * odd + 2.0 * even);
  for (int halving = 0; halving < kMaxHalvings; ++halving) {
    strips *= 2;
    step /= 2.0;
    even += odd;
    odd = 0.0;
    for (int i = 1; i < strips; i += 2) odd += integrand(zBottom + i * step);
    const double refined = step / 3.0 * (ends + 4.0 * odd + 2.0 * even);
    if (std::fabs(refined - estimate) <= precision) return refined;
    estimate = refined;
  }
  return estimate;
}

// Refraction A tan z + B tan^3 z at observed zenith distance z (radians).
double modelRefraction(double z, double refA, double refB) {
  const double t = std::tan(z);
  return (refA + refB * t * t) * t;
}

// The observer's water-vapour pressure (mB), lowered where needed so that
// d(n r)/dr stays at least kMinimumRise at the observer, where the
// refractive index falls fastest. Below that the model atmosphere would
// trap near-horizontal rays in a duct, and the ray's zenith distance would
// stop falling steadily with height; the model does this only for radio
// waves in nearly saturated air above 35-50 C, depending on the lapse rate.
// n and dn/dr at the observer are linear in the vapour pressure.
double vapourPressureWithoutDucting(ModelAtmosphere a) {
  constexpr double kMinimumRise = 0.05;
  const double wanted = a.vapourPressure;
  a.vapourPressure = 0.0;
  const RefractiveIndex dry = troposphereIndex(a, a.observerRadius);
  a.vapourPressure = 1.0;
  const RefractiveIndex perMb = troposphereIndex(a, a.observerRadius);
  const double riseDry = dry.n + a.observerRadius * dry.dndr;
  const double risePerMb = perMb.n + a.observerRadius * perMb.dndr - riseDry;
  if (risePerMb >= 0.0 || riseDry + risePerMb * wanted >= kMinimumRise) return wanted;
  return std::max(0.0, (kMinimumRise - riseDry) / risePerMb);
}

// The largest observed zenith distance (radians) at which the formula is
// used. The two-constant formula follows the traced refraction to about 20
// arcseconds at 85 degrees, falls behind fast beyond it, and with B < 0
// turns over near 87 degrees; past the limit the refraction is held at its
// value there, so that the observed zenith distance keeps rising with the
// true one, down to and below the horizon.
double formulaLimit(double refA, double refB) {
  constexpr double kLimit = 85.0 * ERFA_DD2R;
  if (refB >= 0.0) return refA >= 0.0 ? kLimit : 0.0;
  if (refA <= 0.0) return 0.0;
  return std::min(kLimit, std::atan(std::sqrt(-refA / (3.0 * refB))));
}

}  // namespace

ModelAtmosphere buildModelAtmosphere(const SiteWeather& weather) {
  ModelAtmosphere a;
  const double height = std::clamp(weather.heightM, -1000.0, 70000.0);
  a.observerRadius = kEarthRadius + height;
  a.tropopauseRadius = kEarthRadius + std::max(kTropopauseHeight, height);
  a.topRadius = kEarthRadius + kTopHeight;
  a.temperature = std::clamp(weather.temperatureK, 150.0, 400.0);
  a.lapseRate = std::clamp(weather.lapseRateKPerM, 0.0, 0.01);
  a.hydrostaticGradient = columnGravity(weather.latitude, height) * kDryAirMass / kGasConstant;
  a.pressure = std::max(weather.pressureMb, 0.0);
  const double humidity = std::clamp(weather.humidity, 0.0, 1.0);
  a.vapourPressure =
      std::min(a.pressure, humidity * saturationVapourPressure(a.temperature, a.pressure));
  const Refractivity coefficients = moistAirRefractivity(std::max(weather.wavelengthUm, 0.1));
  a.dryCoefficient = coefficients.dry;
  a.vapourCoefficient = coefficients.vapour;
  a.radioVapourCoefficient = coefficients.radioVapour;
  a.vapourPressure = vapourPressureWithoutDucting(a);
  a.tropopauseTemperature =
      a.temperature - a.lapseRate * (a.tropopauseRadius - a.observerRadius);
  a.tropopauseRefractivity = troposphereIndex(a, a.tropopauseRadius).n - 1.0;
  a.stratosphereScaleHeight = a.tropopauseTemperature / a.hydrostaticGradient;
  return a;
}

RefractiveIndex troposphereIndex(const ModelAtmosphere& a, double r) {
  // Temperature T = T0 - alpha dr. With Pw = Pw0 (T/T0)^delta, hydrostatic
  // equilibrium dP/dr = -(g/RT)(Md P - (Md - Mw) Pw) integrates to
  //   P = (T/T0)^gamma [P0 + (1 - Mw/Md) Pw0 gamma ((T/T0)^(delta-gamma) - 1)/(gamma-delta)],
  // gamma = g Md/(R alpha); written here to stay exact as alpha goes to 0
  // and as gamma passes delta (alpha near 0.0019 K/m).
  const double dr = r - a.observerRadius;
  const double perLapse = logTemperatureRatioPerLapse(a.lapseRate, a.temperature, dr);
  const double logRatio = a.lapseRate * perLapse;
  const double gammaLog = a.hydrostaticGradient * perLapse;  // gamma ln(T/T0)
  const double lightness = 1.0 - kWaterMass / kDryAirMass;
  const double t = a.temperature - a.lapseRate * dr;
  const double pw = a.vapourPressure * std::exp(kVapourExponent * logRatio);
  const double p =
      std::exp(gammaLog) *
      (a.pressure - lightness * a.vapourPressure * gammaLog *
                        relativeExpm1(kVapourExponent * logRatio - gammaLog));
  const double dtdr = -a.lapseRate;
  const double dpdr = -(a.hydrostaticGradient / t) * (p - lightness * pw);
  const double dpwdr = kVapourExponent * pw / t * dtdr;
  const double t2 = t * t;
  RefractiveIndex index;
  index.n = 1.0 + (a.dryCoefficient * p - a.vapourCoefficient * pw) / t +
            a.radioVapourCoefficient * pw / t2;
  index.dndr = a.dryCoefficient * (dpdr / t - p * dtdr / t2) -
               a.vapourCoefficient * (dpwdr / t - pw * dtdr / t2) +
               a.radioVapourCoefficient * (dpwdr / t2 - 2.0 * pw * dtdr / (t2 * t));
  return index;
}

RefractiveIndex stratosphereIndex(const ModelAtmosphere& a, double r) {
  // Isothermal: refractivity falls exponentially with the scale height.
  const double refractivity =
      a.tropopauseRefractivity * std::exp(-(r - a.tropopauseRadius) / a.stratosphereScaleHeight);
  return {1.0 + refractivity, -refractivity / a.stratosphereScaleHeight};
}

double integratedRefraction(const ModelAtmosphere& a, double zObserved, double precision) {
  const double z0 = std::clamp(zObserved, 0.0, ERFA_DPI / 2.0);
  if (a.pressure <= 0.0 || z0 == 0.0) return 0.0;
  const double tolerance = std::max(precision, 1e-14);
  const RefractiveIndex observer = troposphereIndex(a, a.observerRadius);
  // Bouguer's invariant n r sin z is the same at every level of the ray.
  const double invariant = observer.n * a.observerRadius * std::sin(z0);
  const double nTropopause = 1.0 + a.tropopauseRefractivity;
  const double zTropopause = std::asin(invariant / (nTropopause * a.tropopauseRadius));
  const double nTop = stratosphereIndex(a, a.topRadius).n;
  const double zTop = std::asin(invariant / (nTop * a.topRadius));
  return layerRefraction(a, troposphereIndex, invariant, z0, a.observerRadius, zTropopause,
                         a.tropopauseRadius, tolerance) +
         layerRefraction(a, stratosphereIndex, invariant, zTropopause, a.tropopauseRadius, zTop,
                         a.topRadius, tolerance);
}

void refractionConstants(double heightM, double temperatureK, double pressureMb, double humidity,
                         double wavelengthUm, double latitude, double lapseRateKPerM,
                         double precision, double& refA, double& refB) {
  refA = 0.0;
  refB = 0.0;
  if (!(pressureMb > 0.0)) return;
  SiteWeather weather;
  weather.heightM = heightM;
  weather.temperatureK = temperatureK;
  weather.pressureMb = pressureMb;
  weather.humidity = humidity;
  weather.wavelengthUm = wavelengthUm;
  weather.latitude = latitude;
  weather.lapseRateKPerM = lapseRateKPerM;
  const ModelAtmosphere atmosphere = buildModelAtmosphere(weather);
  // Traced at tan z = 1 and tan z = 4: R1 = A + B and R4 = 4 A + 64 B.
  const double r1 = integratedRefraction(atmosphere, ERFA_DPI / 4.0, precision);
  const double r4 = integratedRefraction(atmosphere, std::atan(4.0), precision);
  refB = (r4 - 4.0 * r1) / 60.0;
  refA = r1 - refB;
}

void refractHorizonVector(const double trueDirection[3], double refA, double refB,
                          double observed[3]) {
  const double x = trueDirection[0];
  const double y = trueDirection[1];
  const double rxy = std::hypot(x, y);
  if ((refA == 0.0 && refB == 0.0) || rxy == 0.0) {
    observed[0] = x;
    observed[1] = y;
    observed[2] = trueDirection[2];
    return;
  }
  const double zTrue = std::atan2(rxy, trueDirection[2]);
  const double cap = formulaLimit(refA, refB);
  const double refractionAtCap = modelRefraction(cap, refA, refB);
  double zObs = 0.0;
  if (zTrue >= cap + refractionAtCap) {
    zObs = zTrue - refractionAtCap;
  } else {
    // Newton's method on z + A tan z + B tan^3 z = zTrue, kept in [0, cap],
    // where the left side rises steadily.
    zObs = zTrue - modelRefraction(std::min(zTrue, cap), refA, refB);
    for (int iteration = 0; iteration < 10; ++iteration) {
      const double t = std::tan(zObs);
      const double slope = 1.0 + (refA + 3.0 * refB * t * t) * (1.0 + t * t);
      const double step = (zObs + modelRefraction(zObs, refA, refB) - zTrue) / slope;
      zObs = std::clamp(zObs - step, 0.0, cap);
      if (std::fabs(step) < 1e-13) break;
    }
  }
  const double scale = std::sin(zObs) / rxy;
  observed[0] = x * scale;
  observed[1] = y * scale;
  observed[2] = std::cos(zObs);
}

}  // namespace zenfit::astro
