// Positional astronomy for the observation reader.
//
// All angles are in radians, dates are Modified Julian Dates (TT; the run's
// date is taken as TT, since the reader works to a small fraction of an
// arcsecond and TT - UTC, about a minute, moves a star by far less than
// that through precession, nutation and annual aberration), epochs are in
// years. Frames: see astro/vectors.h.
#pragma once

#include <erfa.h>

namespace zenfit::astro {

// Calendar date (Gregorian; year, month, integral day) to MJD at 0h.
// Returns 0, or -1 bad year, -2 bad month, -3 bad day (mjd unchanged).
int calendarToMjd(int year, int month, int day, double& mjd);

// Besselian and Julian epochs of an MJD.
double besselianEpoch(double mjd);
double julianEpoch(double mjd);

// The site's distance from the Earth's spin axis and from the equator
// plane (negative south of it), in AU, from geodetic latitude and height
// above sea level (m), on the WGS84 ellipsoid.
void siteDistances(double latitude, double heightM, double& fromAxisAu, double& fromEquatorAu);

// Everything the quick mean-to-apparent transformation needs, prepared once
// per run for the date.
struct ApparentPlaceContext {
  eraASTROM astrom{};   // star-independent parameters (ERFA)
  double eo = 0.0;      // equation of the origins (radians)
  double mjd = 0.0;     // the date prepared for
};

// Prepares for mean places of equinox J2000.0 and the date mjd (TT).
void prepareMeanToApparent(double mjd, ApparentPlaceContext& context);

// Mean place J2000.0 (FK5/ICRS) to geocentric apparent place of date, with
// an equinox-based right ascension: light deflection, annual aberration,
// precession-nutation.
void meanToApparent(double ra, double dec, const ApparentPlaceContext& context, double& raApparent,
                    double& decApparent);

// Applies proper motion (radians of RA per year, radians of Dec per year)
// from the place's epoch to the date mjd; Besselian epochs and tropical
// years when besselian is set, else Julian. Zero parallax and radial velocity.
void applyProperMotion(double& ra, double& dec, double pmRa, double pmDec, double epoch,
                       bool besselian, double mjd);

// Precession within FK4 (Besselian epochs, Newcomb) and within FK5 (Julian
// epochs, IAU 1976), from one epoch to another, in place.
void precessFk4(double fromEpoch, double toEpoch, double& ra, double& dec);
void precessFk5(double fromEpoch, double toEpoch, double& ra, double& dec);

// FK4 B1950.0 place to FK5 J2000.0, with the elliptic terms of aberration
// removed, taking the FK5 proper motion as zero at the given Besselian epoch.
void fk4ToFk5(double raB1950, double decB1950, double besselianEpoch, double& raJ2000,
              double& decJ2000);

// Refraction constants A and B (refraction = A tan z + B tan^3 z, z the
// observed zenith distance) by integrating the refraction integral through
// a model atmosphere (described in astro/refraction.h) at z = 45 degrees and
// z = atan 4, each integral to within precision (radians). Zero pressure
// gives A = B = 0.
void refractionConstants(double heightM, double temperatureK, double pressureMb, double humidity,
                         double wavelengthUm, double latitude, double lapseRateKPerM,
                         double precision, double& refA, double& refB);

// Refracts a horizon-frame unit vector (the true direction) with A and B,
// giving the observed unit vector (raised toward the zenith, same azimuth):
// the observed zenith distance z solves z + A tan z + B tan^3 z = true
// zenith distance. Beyond z = 85 degrees (or sooner, where the formula's
// refraction would stop growing) the formula fails; the refraction is held
// at its value there, so that the result is finite and rises steadily with
// the true direction down to and below the horizon.
void refractHorizonVector(const double trueDirection[3], double refA, double refB,
                          double observed[3]);

// Diurnal aberration of an equatorial unit vector, in place: with
// f = 1 - diurab * y, x' = f x, y' = f (y + diurab), z' = f z.
void applyDiurnalAberration(double diurab, double v[3]);

// The diurnal aberration constant (radians) for a site's distance from the
// spin axis (AU): fromAxisAu * 2 pi * 1.0027379093 / 173.14463331.
double diurnalAberrationConstant(double fromAxisAu);

// A geocentric apparent place (hour angle, declination) as seen from the
// site, as a horizon-frame unit vector: the equatorial vector of (-ha, dec),
// displaced by diurnal aberration, turned through the colatitude.
void haDecToHorizon(double ha, double dec, double sinLat, double cosLat, double diurab,
                    double horizon[3]);

// A place (hour angle, declination) as a horizon-frame unit vector, with
// no aberration: the exact inverse of horizonToHaDec.
void haDecToHorizon(double ha, double dec, double sinLat, double cosLat, double horizon[3]);

// Hour angle and declination of a horizon-frame vector (the inverse turn;
// no aberration is removed).
void horizonToHaDec(const double horizon[3], double sinLat, double cosLat, double& ha,
                    double& dec);

// An angle (radians) split for printing into sign, hours (or degrees),
// minutes, seconds and the given number of decimals of the seconds,
// rounded (ERFA eraA2tf and eraA2af).
void splitHours(int decimals, double angle, char& sign, int fields[4]);
void splitDegrees(int decimals, double angle, char& sign, int fields[4]);

}  // namespace zenfit::astro
