#!/usr/bin/python3
"""Writes the reference tables that the positional-astronomy tests check
against, into tests/data/astro/.

The references are independent of the engine's code:
  - apparent places: astropy, ICRS to TETE (true equator and equinox of
    date), geocentric, via GCRS;
  - FK4 to FK5: astropy, FK4 (B1950.0, observed at the given epoch) to FK5
    (J2000.0);
  - FK4 precession: astropy, FK4NoETerms between two equinoxes (Newcomb);
  - FK5 precession: the IAU 1976 angles of Lieske et al. (1977) written out
    below, checked against erfa.prec76;
  - refraction: a ray trace through the Hohenkerk & Sinclair (1985) model
    atmosphere written out below, with the pressure found by integrating
    hydrostatic equilibrium numerically and the refraction integral taken
    over the radius, where the engine uses closed forms and integrates over
    the zenith distance.

Run with Debian's interpreter, which has python3-astropy, python3-erfa,
python3-numpy and python3-scipy:

    /usr/bin/python3 tools/astro_reference.py

The output is deterministic (fixed random seed); commit the tables.
"""

import math
import os
import sys
import warnings

import astropy
import erfa
import numpy as np
from astropy import units as u
from astropy.coordinates import FK4, FK5, ICRS, TETE, FK4NoETerms, SkyCoord
from astropy.time import Time
from astropy.utils import iers
from astropy.utils.exceptions import AstropyWarning
from scipy.integrate import quad, solve_ivp

# A geocentric frame needs no Earth orientation data; keep astropy from
# looking for it (and from warning about dates after its tables).
iers.conf.auto_download = False
iers.conf.iers_degraded_accuracy = "ignore"
warnings.simplefilter("ignore", erfa.ErfaWarning)
warnings.simplefilter("ignore", AstropyWarning)

OUT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "data", "astro")
RNG = np.random.default_rng(19850101)
AS2R = math.pi / (180.0 * 3600.0)


def write_table(name, header, rows):
    path = os.path.join(OUT, name)
    with open(path, "w") as f:
        for line in header:
            f.write("# " + line + "\n")
        f.write("# made by tools/astro_reference.py with astropy %s, pyerfa %s\n"
                % (astropy.__version__, erfa.__version__))
        for row in rows:
            f.write(" ".join("%.17g" % v for v in row) + "\n")
    print("wrote %s (%d rows)" % (path, len(rows)))


def random_places(n):
    """RA uniform, declination uniform on the sphere, plus the poles' edges."""
    ra = RNG.uniform(0.0, 2.0 * math.pi, n)
    dec = np.arcsin(RNG.uniform(-1.0, 1.0, n))
    dec[:4] = np.radians([89.9, -89.9, 89.99, -89.99])
    return ra, dec


# --- Mean J2000 to apparent place of date ----------------------------------

def apparent_places():
    n = 240
    mjd = RNG.uniform(Time("1980-01-01").mjd, Time("2041-01-01").mjd, n)
    ra, dec = random_places(n)
    mjd[0], mjd[1] = Time("1980-01-01").mjd, Time("2040-12-31").mjd
    t = Time(mjd, format="mjd", scale="tt")
    c = SkyCoord(ra=ra * u.rad, dec=dec * u.rad, frame=ICRS())
    app = c.transform_to(TETE(obstime=t))
    rows = list(zip(mjd, ra, dec, app.ra.rad, app.dec.rad))
    write_table("apparent_places.txt", [
        "Mean place J2000.0 (ICRS) to geocentric apparent place of date",
        "(true equator and equinox), astropy ICRS -> TETE, date as TT.",
        "columns: MJD(TT) ra dec ra_apparent dec_apparent (radians)",
    ], rows)


# --- FK4 B1950.0 to FK5 J2000.0 -------------------------------------------

def fk4_to_fk5():
    n = 120
    ra, dec = random_places(n)
    bepoch = RNG.uniform(1900.0, 2050.0, n)
    bepoch[0] = 1950.0
    obstime = Time(bepoch, format="byear")
    c = SkyCoord(ra=ra * u.rad, dec=dec * u.rad,
                 frame=FK4(equinox=Time("B1950"), obstime=obstime))
    j = c.transform_to(FK5(equinox=Time("J2000")))
    rows = list(zip(ra, dec, bepoch, j.ra.rad, j.dec.rad))
    write_table("fk4_to_fk5.txt", [
        "FK4 B1950.0 place (E-terms included, zero FK5 proper motion) at a",
        "Besselian epoch to FK5 J2000.0, astropy FK4 -> FK5.",
        "columns: ra_B1950 dec_B1950 besselian_epoch ra_J2000 dec_J2000 (radians)",
    ], rows)


# --- FK4 precession (Newcomb) ----------------------------------------------

def fk4_precession():
    n = 120
    ra, dec = random_places(n)
    start = RNG.uniform(1850.0, 2050.0, n)
    span = RNG.uniform(-100.0, 100.0, n)
    end = np.clip(start + span, 1800.0, 2100.0)
    rows = []
    for i in range(n):
        c = SkyCoord(ra=ra[i] * u.rad, dec=dec[i] * u.rad,
                     frame=FK4NoETerms(equinox=Time(start[i], format="byear")))
        p = c.transform_to(FK4NoETerms(equinox=Time(end[i], format="byear")))
        rows.append((start[i], end[i], ra[i], dec[i], p.ra.rad, p.dec.rad))
    write_table("fk4_precession.txt", [
        "Precession within FK4 between Besselian epochs (Newcomb), astropy",
        "FK4NoETerms -> FK4NoETerms.",
        "columns: from_epoch to_epoch ra dec ra_precessed dec_precessed (radians)",
    ], rows)


# --- FK5 precession (IAU 1976) ---------------------------------------------

def lieske_angles(epoch0, epoch1):
    """IAU 1976 precession angles zeta, z, theta (radians) between Julian
    epochs (Lieske et al. 1977, A&A 58, 1)."""
    big_t = (epoch0 - 2000.0) / 100.0
    t = (epoch1 - epoch0) / 100.0
    w = 2306.2181 + (1.39656 - 0.000139 * big_t) * big_t
    zeta = (w + ((0.30188 - 0.000344 * big_t) + 0.017998 * t) * t) * t
    z = (w + ((1.09468 + 0.000066 * big_t) + 0.018203 * t) * t) * t
    theta = ((2004.3109 + (-0.85330 - 0.000217 * big_t) * big_t)
             + ((-0.42665 - 0.000217 * big_t) - 0.041833 * t) * t) * t
    return zeta * AS2R, z * AS2R, theta * AS2R


def rotate(zeta, z, theta, ra, dec):
    """Applies R3(-z) R2(theta) R3(-zeta) to a place."""
    a = ra + zeta
    x = math.cos(dec) * math.cos(a)
    y = math.cos(dec) * math.sin(a)
    s = math.sin(dec)
    x2 = x * math.cos(theta) - s * math.sin(theta)
    s2 = x * math.sin(theta) + s * math.cos(theta)
    ra2 = math.atan2(y, x2) + z
    return ra2 % (2.0 * math.pi), math.atan2(s2, math.hypot(x2, y))


def fk5_precession():
    n = 120
    ra, dec = random_places(n)
    start = RNG.uniform(1900.0, 2100.0, n)
    span = RNG.uniform(-100.0, 100.0, n)
    end = np.clip(start + span, 1850.0, 2150.0)
    rows = []
    for i in range(n):
        angles = lieske_angles(start[i], end[i])
        check = erfa.prec76(*erfa.epj2jd(start[i]), *erfa.epj2jd(end[i]))
        if max(abs(a - b) for a, b in zip(angles, check)) > 1e-6 * AS2R:
            sys.exit("Lieske angles disagree with erfa.prec76")
        rows.append((start[i], end[i], ra[i], dec[i]) + rotate(*angles, ra[i], dec[i]))
    write_table("fk5_precession.txt", [
        "Precession within FK5 between Julian epochs, IAU 1976 angles of",
        "Lieske et al. (1977) evaluated independently of the engine.",
        "columns: from_epoch to_epoch ra dec ra_precessed dec_precessed (radians)",
    ], rows)


# --- Refraction: ray trace through the Hohenkerk & Sinclair atmosphere -----

GAS = 8314.462618          # J/(kmol K)
DRY = 28.966               # kg/kmol
WATER = 18.016             # kg/kmol
DELTA = 18.36              # vapour pressure falls as T^DELTA
EARTH = 6378120.0          # m
TROPOPAUSE = 11000.0       # m above sea level
TOP = 80000.0              # m above sea level


def saturation(temp_k, pressure):
    """Buck (1981) saturation vapour pressure over water in moist air, mB."""
    c = temp_k - 273.15
    return (1.0007 + 3.46e-6 * pressure) * 6.1121 * math.exp(17.502 * c / (240.97 + c))


def refractivity_coefficients(wavelength):
    if wavelength > 100.0:
        return 77.6890e-6, 6.3938e-6, 0.375463
    w2 = 1.0 / wavelength ** 2
    return (287.604 + 1.6288 * w2 + 0.0136 * w2 * w2) * 1e-6 * 273.15 / 1013.25, 11.2684e-6, 0.0


class Atmosphere:
    def __init__(self, height, temp, pressure, humidity, wavelength, latitude, lapse):
        self.r0 = EARTH + height
        self.rt = EARTH + max(TROPOPAUSE, height)
        self.rs = EARTH + TOP
        self.t0 = temp
        self.p0 = pressure
        self.lapse = lapse
        self.g = 9.784 * (1.0 - 0.0026 * math.cos(2.0 * latitude) - 0.00000028 * height)
        self.pw0 = min(pressure, humidity * saturation(temp, pressure))
        self.a, self.b, self.c = refractivity_coefficients(wavelength)
        # Pressure by integrating hydrostatic equilibrium upward.
        self.tropo = None
        if self.rt > self.r0:
            sol = solve_ivp(lambda r, p: [self.dpdr(r, p[0])], (self.r0, self.rt), [pressure],
                            method="DOP853", rtol=1e-13, atol=1e-12, dense_output=True)
            self.tropo = sol.sol
        self.tt = self.temp(self.rt)
        self.nt = self.index(self.rt)[0]
        self.scale = GAS * self.tt / (self.g * DRY)

    def temp(self, r):
        return self.t0 - self.lapse * (r - self.r0)

    def vapour(self, r):
        return self.pw0 * (self.temp(r) / self.t0) ** DELTA

    def dpdr(self, r, p):
        return -self.g / (GAS * self.temp(r)) * (DRY * p - (DRY - WATER) * self.vapour(r))

    def pressure(self, r):
        return float(self.tropo(r)[0]) if self.tropo is not None else self.p0

    def index(self, r):
        """n and dn/dr in the troposphere."""
        t = self.temp(r)
        p = self.pressure(r)
        pw = self.vapour(r)
        dt = -self.lapse
        dp = self.dpdr(r, p)
        dpw = DELTA * pw / t * dt
        n = 1.0 + (self.a * p - self.b * pw) / t + self.c * pw / t ** 2
        dn = (self.a * (dp / t - p * dt / t ** 2) - self.b * (dpw / t - pw * dt / t ** 2)
              + self.c * (dpw / t ** 2 - 2.0 * pw * dt / t ** 3))
        return n, dn

    def strat_index(self, r):
        e = (self.nt - 1.0) * math.exp(-(r - self.rt) / self.scale)
        return 1.0 + e, -e / self.scale

    def refraction(self, z0):
        n0 = self.index(self.r0)[0]
        k = n0 * self.r0 * math.sin(z0)

        def integrand(r, fn):
            n, dn = fn(r)
            return -k * dn / (n * math.sqrt(n * n * r * r - k * k))

        total = 0.0
        if self.rt > self.r0:
            total += quad(integrand, self.r0, self.rt, args=(self.index,),
                          epsabs=1e-15, epsrel=1e-12, limit=400)[0]
        total += quad(integrand, self.rt, self.rs, args=(self.strat_index,),
                      epsabs=1e-15, epsrel=1e-12, limit=400)[0]
        return total


def refraction_table():
    rows = []
    # Ordinary conditions: sea level to 4 km with the pressure near its
    # mean for the height, -10 to +25 C, any humidity, optical and radio.
    for i in range(40):
        height = RNG.uniform(0.0, 4000.0)
        pressure = 1013.25 * math.exp(-height / 8149.9415) * RNG.uniform(0.96, 1.03)
        temp = 273.15 + RNG.uniform(-10.0, 25.0)
        humidity = RNG.uniform(0.0, 1.0)
        wavelength = 1.0e4 if i % 8 == 7 else RNG.uniform(0.4, 2.2)
        latitude = math.radians(RNG.uniform(-70.0, 70.0))
        lapse = RNG.uniform(0.0055, 0.0075)
        rows.append((1, height, temp, pressure, humidity, wavelength, latitude, lapse))
    # The edges of what the engine accepts, and the model's awkward places:
    # an isothermal troposphere, the lapse rate at which the dry and vapour
    # pressure exponents coincide, a site above the tropopause.
    g = 9.784 * (1.0 - 0.0026 * math.cos(math.radians(80.0)))
    equal_exponents = g * DRY / (GAS * DELTA)
    rows += [
        (0, 0.0, 283.15, 1013.25, 0.5, 0.55, math.radians(40.0), 0.0),
        (0, 0.0, 283.15, 1013.25, 1.0, 0.55, math.radians(40.0), equal_exponents),
        (0, 0.0, 283.15, 1013.25, 1.0, 1.0e4, math.radians(40.0), equal_exponents),
        (0, 0.0, 283.15, 1013.25, 0.5, 0.55, math.radians(40.0), 0.01),
        (0, 15000.0, 223.15, 120.0, 0.1, 0.55, math.radians(20.0), 0.0065),
        (0, -1000.0, 303.15, 1140.0, 0.9, 0.55, math.radians(32.0), 0.0065),
        (0, 0.0, 223.15, 2000.0, 0.0, 0.55, math.radians(-60.0), 0.0065),
        (0, 0.0, 313.15, 1013.25, 1.0, 1.0e4, 0.0, 0.0065),
        (0, 2000.0, 283.15, 790.0, 0.3, 0.1, math.radians(-30.0), 0.0065),
        (0, 2000.0, 283.15, 790.0, 0.3, 100.0, math.radians(-30.0), 0.0065),
        (0, 20000.0, 220.0, 55.0, 0.0, 0.7, math.radians(10.0), 0.0),
    ]
    zeniths = (math.pi / 4.0, math.atan(4.0), math.radians(60.0), math.radians(70.0))
    out = []
    for row in rows:
        atm = Atmosphere(*row[1:])
        out.append(row + tuple(atm.refraction(z) for z in zeniths))
    write_table("refraction.txt", [
        "Refraction traced through the Hohenkerk & Sinclair (1985) model atmosphere",
        "(optical refractivity of H&S, radio of Rueger 2002, saturation vapour",
        "pressure of Buck 1981, tropopause 11 km, top 80 km).",
        "columns: ordinary(1/0) height_m temperature_K pressure_mB humidity",
        "  wavelength_um latitude_rad lapse_K_per_m, then the refraction (radians)",
        "  at observed zenith distances 45 deg, atan 4, 60 deg, 70 deg",
    ], out)


def main():
    os.makedirs(OUT, exist_ok=True)
    apparent_places()
    fk4_to_fk5()
    fk4_precession()
    fk5_precession()
    refraction_table()


if __name__ == "__main__":
    main()
