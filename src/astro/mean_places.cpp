// Mean places: proper motion, precession within FK4 and FK5, and FK4 to FK5.
#include <cmath>

#include <erfam.h>

#include "astro/astro.h"

namespace zenfit::astro {
namespace {

// Rotates a place (ra, dec) by the precession matrix R3(-z) R2(theta)
// R3(-zeta) of the three equatorial precession angles (radians).
void rotateByPrecessionAngles(double zeta, double z, double theta, double& ra, double& dec) {
  double matrix[3][3];
  eraIr(matrix);
  eraRz(-zeta, matrix);
  eraRy(theta, matrix);
  eraRz(-z, matrix);
  double before[3];
  double after[3];
  eraS2c(ra, dec, before);
  eraRxp(matrix, before, after);
  eraC2s(after, &ra, &dec);
  ra = eraAnp(ra);
}

// Newcomb's precession angles (radians) from Besselian epoch `from` to `to`,
// in the form of Andoyer (1911) as given by Kinoshita (1975) and Lieske
// (1979, A&A 73, 282) for the FK4 system: T in tropical centuries from
// B1850.0 to the starting epoch, t in tropical centuries of the interval;
// the coefficients are arcseconds.
void newcombAngles(double from, double to, double& zeta, double& z, double& theta) {
  const double bigT = (from - 1850.0) / 100.0;
  const double t = (to - from) / 100.0;
  const double rate = 2303.5548 + (1.39720 + 0.000059 * bigT) * bigT;
  const double zetaArcsec = (rate + (0.30242 - 0.000269 * bigT + 0.017996 * t) * t) * t;
  const double zArcsec = zetaArcsec + (0.79280 + 0.000411 * bigT + 0.000205 * t) * t * t;
  const double thetaArcsec =
      ((2005.1125 + (-0.85294 - 0.000365 * bigT) * bigT) +
       (-0.42647 - 0.000365 * bigT - 0.041802 * t) * t) *
      t;
  zeta = zetaArcsec * ERFA_DAS2R;
  z = zArcsec * ERFA_DAS2R;
  theta = thetaArcsec * ERFA_DAS2R;
}

}  // namespace

void applyProperMotion(double& ra, double& dec, double pmRa, double pmDec, double epoch,
                       bool besselian, double mjd) {
  const double years = (besselian ? besselianEpoch(mjd) : julianEpoch(mjd)) - epoch;
  // Uniform motion in a straight line at constant (unknown, so effectively
  // infinite) distance: the direction moves along the great circle of its
  // motion rather than along constant-RA and constant-Dec lines, which keeps
  // stars near the poles right.
  const double sa = std::sin(ra);
  const double ca = std::cos(ra);
  const double sd = std::sin(dec);
  const double cd = std::cos(dec);
  const double p[3] = {cd * ca, cd * sa, sd};
  const double velocity[3] = {-pmRa * cd * sa - pmDec * sd * ca,
                              pmRa * cd * ca - pmDec * sd * sa, pmDec * cd};
  double moved[3];
  for (int i = 0; i < 3; ++i) moved[i] = p[i] + years * velocity[i];
  eraC2s(moved, &ra, &dec);
  ra = eraAnp(ra);
}

void precessFk4(double fromEpoch, double toEpoch, double& ra, double& dec) {
  double zeta = 0.0;
  double z = 0.0;
  double theta = 0.0;
  newcombAngles(fromEpoch, toEpoch, zeta, z, theta);
  rotateByPrecessionAngles(zeta, z, theta, ra, dec);
}

void precessFk5(double fromEpoch, double toEpoch, double& ra, double& dec) {
  double from1 = 0.0;
  double from2 = 0.0;
  double to1 = 0.0;
  double to2 = 0.0;
  eraEpj2jd(fromEpoch, &from1, &from2);
  eraEpj2jd(toEpoch, &to1, &to2);
  double zeta = 0.0;
  double z = 0.0;
  double theta = 0.0;
  eraPrec76(from1, from2, to1, to2, &zeta, &z, &theta);  // IAU 1976 (Lieske et al. 1977)
  rotateByPrecessionAngles(zeta, z, theta, ra, dec);
}

void fk4ToFk5(double raB1950, double decB1950, double besselianEpoch, double& raJ2000,
              double& decJ2000) {
  // Removes the B1950 E-terms, applies the Standish (1982) / Aoki et al.
  // (1983) matrix, and allows for the fictitious FK4 proper motion that a
  // star fixed in FK5 shows, evaluated at the observation's epoch.
  eraFk45z(raB1950, decB1950, besselianEpoch, &raJ2000, &decJ2000);
}

}  // namespace zenfit::astro
