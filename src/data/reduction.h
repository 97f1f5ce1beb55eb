// Reduction of a star's place to the observed frame of the telescope:
// mean place to apparent place of date, hour angle, diurnal aberration and
// refraction. Angles in radians.
#pragma once

#include "astro/astro.h"
#include "data/catalogue.h"
#include "data/observations.h"
#include "data/run_parameters.h"

namespace zenfit {

// Everything a run contributes to the reduction.
struct RunReduction : RunConstants {
  bool dated = false;
  double mjd = 0.0;     // TT
  astro::ApparentPlaceContext apparent;  // prepared for the date when dated
};

// A catalogue (mean) place: FK4 with a Besselian epoch or FK5 with a
// Julian one; the epoch is both the equinox and the epoch of the place.
struct MeanPlace {
  double ra = 0.0;
  double dec = 0.0;
  double pmRa = 0.0;   // radians of RA per year
  double pmDec = 0.0;  // radians per year
  double epoch = 2000.0;
  bool fk4 = false;
};

// The run's reduction constants from an accepted run parameters record:
// the latitude, the refraction constants when there are meteorological
// data and an atmosphere, and, for a dated run, the diurnal aberration
// constant and the mean-to-apparent parameters of the date. dated is false
// for a run whose observations carry no date, whatever the record says.
void prepareRunReduction(const RunParameters& params, bool dated, RunReduction& run);

// A catalogue entry as a mean place (a Besselian epoch makes it FK4).
MeanPlace meanPlace(const CatalogueStar& star);

// Mean place to geocentric apparent place of the run's date: proper motion
// to the date, precession to B1950.0 and FK4 to FK5 (FK4 places) or
// precession to J2000.0 (FK5 places), then nutation, aberration and light
// deflection. The run must be dated.
void meanToApparentOfDate(const MeanPlace& place, const RunReduction& run, double& ra,
                          double& dec);

// Apparent place to observed hour angle and declination at local sidereal
// time lst: hour angle, diurnal aberration, refraction. elevation receives
// the unrefracted elevation, against which the limits are tested.
void apparentToObserved(double ra, double dec, double lst, const RunReduction& run, double& ha,
                        double& observedDec, double& elevation);

// Azimuth (from the north through the east) and elevation to hour angle
// and declination at the run's latitude; no refraction or aberration.
void horizonToHaDec(double azimuth, double elevation, const RunReduction& run, double& ha,
                    double& dec);

}  // namespace zenfit
