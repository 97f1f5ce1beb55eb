// Astronomical refraction by ray tracing through a model atmosphere.
//
// The atmosphere is that of Hohenkerk & Sinclair (1985, NAO Technical Note
// 63; Explanatory Supplement to the Astronomical Almanac, 1992, 3.28):
// spherical shells about the Earth's centre, in hydrostatic equilibrium
// under constant gravity,
//   - a troposphere from the observer to the tropopause, 11 km above sea
//     level, whose temperature falls linearly with height at the lapse rate,
//     and whose water-vapour pressure falls as the temperature to the power
//     18.36 from the observer's value (relative humidity x the saturation
//     pressure of Buck 1981, a better fit below 0 C than the model's own
//     power law, which matters for radio waves);
//   - an isothermal, dry stratosphere from the tropopause to 80 km, above
//     which the refractive index is 1.
// The refractive index is continuous at the tropopause. An observer above
// 11 km is in the stratosphere. Where the model would trap horizontal rays
// (radio waves in saturated air above 35-50 C) the observer's vapour
// pressure is lowered to the most the model can carry without it.
//
// The refraction integral is taken over the zenith distance of the ray at
// each level, which stays well behaved where the ray's path length does not.
// This header is used by the refraction constants and by their tests.
#pragma once

namespace zenfit::astro {

// Conditions at the observer.
struct SiteWeather {
  double heightM = 0.0;           // height above sea level (m)
  double temperatureK = 283.15;   // ambient temperature (K)
  double pressureMb = 1013.25;    // pressure (mB = hPa)
  double humidity = 0.5;          // relative humidity (0-1)
  double wavelengthUm = 0.55;     // wavelength (micrometres); above 100, radio
  double latitude = 0.0;          // geodetic latitude (radians)
  double lapseRateKPerM = 0.0065; // tropospheric lapse rate (K/m)
};

// The model atmosphere built for one set of conditions. Radii are
// geocentric (m), pressures mB, temperatures K.
struct ModelAtmosphere {
  double observerRadius = 0.0;
  double tropopauseRadius = 0.0;
  double topRadius = 0.0;
  double temperature = 0.0;          // at the observer
  double lapseRate = 0.0;            // K/m
  double hydrostaticGradient = 0.0;  // g Md / R (K/m): T over it is the scale height
  double pressure = 0.0;             // total, at the observer
  double vapourPressure = 0.0;       // water vapour, at the observer
  double dryCoefficient = 0.0;       // n - 1 per P/T (K/mB)
  double vapourCoefficient = 0.0;    // n - 1 lost per Pw/T (K/mB)
  double radioVapourCoefficient = 0.0;  // n - 1 per Pw/T^2 (K^2/mB), radio only
  double tropopauseTemperature = 0.0;
  double tropopauseRefractivity = 0.0;  // n - 1 at the tropopause
  double stratosphereScaleHeight = 0.0;  // m
};

// The refractive index n and its radial gradient dn/dr (per metre).
struct RefractiveIndex {
  double n = 1.0;
  double dndr = 0.0;
};

// Builds the model atmosphere. Inputs are limited to physically safe
// values (temperature 150-400 K, lapse rate 0-0.01 K/m, humidity 0-1,
// height -1000 m to 70 km, wavelength at least 0.1 um, vapour pressure at
// most the total pressure); a pressure not above 0 gives an empty
// atmosphere (refractivity 0 everywhere).
ModelAtmosphere buildModelAtmosphere(const SiteWeather& weather);

// Index and gradient at geocentric radius r (m), in the troposphere and in
// the stratosphere formulae respectively.
RefractiveIndex troposphereIndex(const ModelAtmosphere& atmosphere, double r);
RefractiveIndex stratosphereIndex(const ModelAtmosphere& atmosphere, double r);

// Refraction (radians, true minus observed zenith distance) of a ray seen at
// observed zenith distance z (radians, 0 to a little under pi/2), by
// Simpson's rule with the step halved until two estimates of each layer's
// integral differ by no more than precision (radians).
double integratedRefraction(const ModelAtmosphere& atmosphere, double zObserved,
                            double precision);

}  // namespace zenfit::astro
