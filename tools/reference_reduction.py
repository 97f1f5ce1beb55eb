#!/usr/bin/python3
"""Reference reductions of star places to the observed frame, for the tests.

Writes tests/data/observations/reduction_reference.txt: cases of one run
parameters record and one observation record each, with the hour angle and
declination an independent reduction (astropy's ICRS -> HADec chain, with
its own aberration, nutation and refraction code) gives for the star.

Run with Debian's interpreter, which has python3-astropy:

    /usr/bin/python3 tools/reference_reduction.py > tests/data/observations/reduction_reference.txt

Conventions kept equal to ZENFIT's so that only the reduction differs:
- the run's date is TT;
- an FK5 J2000.0 place is taken as an ICRS place (no frame bias);
- FK5 places of other equinoxes are precessed to J2000.0 with the IAU 1976
  precession (Lieske et al. 1977, A&A 58, 1), the FK5 system's own, from
  the published series below (astropy's FK5 frame precesses with the IAU
  2006 model, which drifts from it by about 0.3 arcsec a century);
- polar motion is zero (ZENFIT works in the frame of the site's geodetic
  latitude); UT1 comes from the bundled IERS-B table, and the sidereal time
  written into each record is astropy's apparent sidereal time for the same
  instant, so UT1 cancels;
- proper motion is applied linearly from the place's epoch to the date, in
  Julian years for FK5 places and in Besselian (tropical) years for FK4.

Each case block:

    case NAME
    option :B1950           (zero or more option records)
    run RECORD
    obs RECORD
    expect HA DEC ELEVATION REFRACTED TELESCOPE
      HA, DEC: radians, the star's observed place (and, when TELESCOPE is 1,
      also the telescope's, whose record holds the same place);
      ELEVATION: degrees, for information; REFRACTED: 1 when meteorological
      data are given.
"""

import math
import sys
import warnings

import numpy as np
from astropy.utils import iers

iers.conf.auto_download = False

import astropy.units as u  # noqa: E402
from astropy.coordinates import (FK4, FK5, HADec, ICRS, SkyCoord,  # noqa: E402
                                 EarthLocation, TETE)
from astropy.time import Time  # noqa: E402

warnings.simplefilter("ignore")

SITES = [  # (latitude as written: sign, degrees, minutes, seconds; height metres)
    ("+", 51, 28, 38, 46.0),
    ("-", 29, 15, 24, 2400.0),
    ("+", 19, 49, 34, 4205.0),
    ("-", 70, 30, 0, 300.0),
    ("+", 68, 0, 0, 1000.0),
    ("-", 0, 10, 0, 100.0),
]

DATES = [  # (year, month, day with fraction), TT
    (1998, 7, 14.3125),
    (2005, 1, 2.875),
    (2012, 11, 30.5),
    (2021, 3, 21.0625),
]

METEOROLOGY = [  # (temperature C, pressure mB, humidity, wavelength um, lapse K/m)
    (10.0, 1005.0, 0.6, 0.55, 0.0065),
    (-5.0, 620.0, 0.2, 0.8, 0.0065),
    (20.0, 770.0, 0.9, 0.45, 0.006),
]


def eop_without_polar_motion():
    table = iers.IERS_B.open()
    table["PM_x"][:] = 0.0 * table["PM_x"].unit
    table["PM_y"][:] = 0.0 * table["PM_y"].unit
    return table


def sexagesimal(value, decimals, signed):
    """value (hours or degrees) as 'd m s' with the seconds to decimals."""
    sign = "-" if value < 0 else "+"
    scale = 10 ** decimals
    total = int(round(abs(value) * 3600 * scale))
    frac = total % scale
    seconds = total // scale
    text = "%02d %02d %02d.%0*d" % (seconds // 3600, seconds // 60 % 60, seconds % 60,
                                     decimals, frac)
    return (sign + text) if signed else text


def lst_field(hours):
    hours %= 24.0
    h = int(hours)
    minutes = (hours - h) * 60.0
    return "%02d %.9f" % (h, minutes)


def date_mjd(year, month, day):
    whole = int(day)
    t = Time("%04d-%02d-%02d" % (year, month, whole), scale="tt")
    return t.mjd + (day - whole)


def observed(icrs, when, site, met):
    frame = HADec(obstime=when, location=site)
    if met is not None:
        temperature, pressure, humidity, wavelength, _ = met
        frame = HADec(obstime=when, location=site, pressure=pressure * u.hPa,
                      temperature=temperature * u.deg_C, relative_humidity=humidity,
                      obswl=wavelength * u.micron)
    return icrs.transform_to(frame)


def elevation_deg(ha, dec, lat):
    s = math.sin(dec) * math.sin(lat) + math.cos(dec) * math.cos(lat) * math.cos(ha)
    return math.degrees(math.asin(s))


class Case:
    def __init__(self, name, site, date, met):
        sign, d, m, s, height = site
        self.name = name
        self.lat_text = "%s%02d %02d %02d" % (sign, d, m, s)
        self.lat = site_latitude(site)
        self.height = height
        self.date = date
        self.met = met
        self.options = []

    def run_record(self):
        year, month, day = self.date
        record = "%s %d %d %.6f" % (self.lat_text, year, month, day)
        if self.met is not None:
            temperature, pressure, humidity, wavelength, lapse = self.met
            record += " %.2f %.2f %.1f %.2f %.2f %.4f" % (temperature, pressure, self.height,
                                                          humidity, wavelength, lapse)
        return record


def site_latitude(site):
    sign, d, m, s, _ = site
    return (-1.0 if sign == "-" else 1.0) * (d + m / 60.0 + s / 3600.0)


def pick_star(rng, lat, lst_hours, min_elevation, max_elevation, near_lower_meridian=False):
    """A star (HA hours, Dec degrees) between the two elevations."""
    while True:
        if near_lower_meridian:
            ha = 12.0 + rng.uniform(-0.4, 0.4)
            dec = math.copysign(rng.uniform(60.0, 80.0), lat)
        else:
            ha = rng.uniform(-5.0, 5.0)
            dec = rng.uniform(-80.0, 80.0)
        el = elevation_deg(math.radians(ha * 15.0), math.radians(dec), math.radians(lat))
        if min_elevation < el < max_elevation:
            return ha, dec


def main():
    eop = eop_without_polar_motion()
    rng = np.random.RandomState(20240517)
    out = sys.stdout
    out.write("# Made by tools/reference_reduction.py; see that script for the conventions.\n")
    with iers.earth_orientation_table.set(eop):
        number = 0
        for site_index, site_fields in enumerate(SITES):
            lat = site_latitude(site_fields)
            height = site_fields[4]
            site = EarthLocation.from_geodetic(lon=0.0 * u.deg, lat=lat * u.deg, height=height * u.m)
            for date_index, date in enumerate(DATES):
                when = Time(date_mjd(*date), format="mjd", scale="tt")
                lst = when.sidereal_time("apparent", longitude=0.0 * u.deg, model="IAU2006A").hour
                # Four kinds of case per site and date, refraction on and off.
                for met_on in (False, True):
                    met = METEOROLOGY[(site_index + date_index) % len(METEOROLOGY)] if met_on else None
                    min_el = 20.0 if met_on else 12.0
                    for kind in ("fk5", "fk4", "frame_j", "frame_b", "apparent"):
                        number += 1
                        lower = (kind == "fk5" and abs(lat) > 45.0 and date_index % 2 == 0)
                        ha, dec = pick_star(rng, lat, lst, min_el, 85.0, lower)
                        case = Case("%s-%d" % (kind, number), site_fields, date, met)
                        write_case(out, case, kind, rng, when, lst, ha, dec, site)


def star_place(kind, rng, when, lst, ha, dec):
    """The place to write and the ICRS place it stands for, at the date."""
    ra_of_date = (lst - ha) % 24.0
    if kind == "apparent":
        tete = SkyCoord(ra=ra_of_date * 15.0 * u.deg, dec=dec * u.deg,
                        frame=TETE(obstime=when))
        return (ra_of_date, dec, 0.0, 0.0, None), tete.transform_to(ICRS())
    if kind in ("fk4", "frame_b"):
        # FK4 places: a proper-motion record, or the B1950 frame of the telescope.
        epoch_year = 1950.0 if kind == "frame_b" else [1950.0, 1900.0, 1875.0][rng.randint(3)]
        pm_ra = 0.0 if kind == "frame_b" else rng.uniform(-0.02, 0.02)  # s of time per year
        pm_dec = 0.0 if kind == "frame_b" else rng.uniform(-0.3, 0.3)   # arcsec per year
        # Start from a place near the wanted one: precess the place of date back.
        guess = SkyCoord(ra=ra_of_date * 15.0 * u.deg, dec=dec * u.deg, frame=FK5(equinox=when))
        at_epoch = guess.transform_to(FK4(equinox=Time(epoch_year, format="byear"),
                                          obstime=when))
        years = when.byear - epoch_year
        ra0 = at_epoch.ra.hour - pm_ra * years / 3600.0
        dec0 = at_epoch.dec.deg - pm_dec * years / 3600.0
        place = rounded(ra0 % 24.0, dec0)
        ra_now = place[0] + pm_ra * years / 3600.0
        dec_now = place[1] + pm_dec * years / 3600.0
        fk4 = SkyCoord(ra=ra_now * 15.0 * u.deg, dec=dec_now * u.deg,
                       frame=FK4(equinox=Time(epoch_year, format="byear"), obstime=when))
        fk5 = fk4.transform_to(FK5(equinox="J2000"))
        return (place[0], place[1], pm_ra, pm_dec, "B%.1f" % epoch_year), as_icrs(fk5)
    # FK5 places: a proper-motion record, or the J2000 frame of the telescope.
    epoch_year = 2000.0 if kind == "frame_j" else [2000.0, 1975.0, 2010.5][rng.randint(3)]
    pm_ra = 0.0 if kind == "frame_j" else rng.uniform(-0.02, 0.02)
    pm_dec = 0.0 if kind == "frame_j" else rng.uniform(-0.3, 0.3)
    guess = SkyCoord(ra=ra_of_date * 15.0 * u.deg, dec=dec * u.deg, frame=FK5(equinox=when))
    at_epoch = guess.transform_to(FK5(equinox=Time(epoch_year, format="jyear")))
    years = when.jyear - epoch_year
    place = rounded((at_epoch.ra.hour - pm_ra * years / 3600.0) % 24.0,
                    at_epoch.dec.deg - pm_dec * years / 3600.0)
    ra_now = place[0] + pm_ra * years / 3600.0
    dec_now = place[1] + pm_dec * years / 3600.0
    ra2000, dec2000 = precess_iau1976(ra_now * 15.0, dec_now, epoch_year, 2000.0)
    icrs = SkyCoord(ra=ra2000 * u.deg, dec=dec2000 * u.deg, frame=ICRS())
    return (place[0], place[1], pm_ra, pm_dec, "J%.1f" % epoch_year), icrs


def precess_iau1976(ra_deg, dec_deg, from_year, to_year):
    """Precession between two Julian epochs (Lieske et al. 1977, Table 5)."""
    big_t = (from_year - 2000.0) / 100.0
    t = (to_year - from_year) / 100.0
    w = 2306.2181 + (1.39656 - 0.000139 * big_t) * big_t
    arcsec = math.pi / (180.0 * 3600.0)
    zeta = (w + ((0.30188 - 0.000344 * big_t) + 0.017998 * t) * t) * t * arcsec
    z = (w + ((1.09468 + 0.000066 * big_t) + 0.018203 * t) * t) * t * arcsec
    theta = ((2004.3109 + (-0.85330 - 0.000217 * big_t) * big_t)
             + ((-0.42665 - 0.000217 * big_t) - 0.041833 * t) * t) * t * arcsec

    def rot_z(a):
        c, s = math.cos(a), math.sin(a)
        return np.array([[c, s, 0.0], [-s, c, 0.0], [0.0, 0.0, 1.0]])

    def rot_y(a):
        c, s = math.cos(a), math.sin(a)
        return np.array([[c, 0.0, -s], [0.0, 1.0, 0.0], [s, 0.0, c]])

    matrix = rot_z(-z) @ rot_y(theta) @ rot_z(-zeta)
    ra, dec = math.radians(ra_deg), math.radians(dec_deg)
    v = np.array([math.cos(ra) * math.cos(dec), math.sin(ra) * math.cos(dec), math.sin(dec)])
    x, y, zz = matrix @ v
    return math.degrees(math.atan2(y, x)) % 360.0, math.degrees(math.atan2(zz, math.hypot(x, y)))


def rounded(ra_hours, dec_deg):
    """The place as it will be read back from the record's fields."""
    def back(text, signed):
        sign = -1.0 if text.startswith("-") else 1.0
        d, m, s = (float(x) for x in text.lstrip("+-").split())
        return sign * (d + m / 60.0 + s / 3600.0) if signed else d + m / 60.0 + s / 3600.0
    return (back(sexagesimal(ra_hours, 6, False), False), back(sexagesimal(dec_deg, 5, True), True))


def as_icrs(fk5_j2000):
    """FK5 J2000.0 numbers taken as ICRS, as ZENFIT takes them."""
    return SkyCoord(ra=fk5_j2000.ra, dec=fk5_j2000.dec, frame=ICRS())


def write_case(out, case, kind, rng, when, lst, ha, dec, site):
    (ra_h, dec_d, pm_ra, pm_dec, epoch), icrs = star_place(kind, rng, when, lst, ha, dec)
    result = observed(icrs, when, site, case.met)
    ha_obs = result.ha.to(u.rad).value
    dec_obs = result.dec.to(u.rad).value
    ha_obs = math.atan2(math.sin(ha_obs), math.cos(ha_obs))
    star = "%s %s" % (sexagesimal(ra_h, 6, False), sexagesimal(dec_d, 5, True))
    # The telescope reads a few arcminutes off the star (or, in a frame of
    # mean places, the star's own place, reduced the same way).
    tel_ra = (ra_h + 0.01) % 24.0
    tel_dec = max(min(dec_d + 0.05, 89.0), -89.0)
    telescope = "%s %s" % (sexagesimal(tel_ra, 6, False), sexagesimal(tel_dec, 5, True))
    lst_text = lst_field(lst)
    if kind in ("frame_j", "frame_b"):
        case.options.append(":J2000" if kind == "frame_j" else ":B1950")
        record = "%s %s %s" % (star, star, lst_text)
    elif kind == "apparent":
        record = "%s %s %s" % (star, telescope, lst_text)
    else:
        record = "%s %+.6f %+.5f %s %s %s" % (star, pm_ra, pm_dec, epoch, telescope, lst_text)
    out.write("case %s\n" % case.name)
    for option in case.options:
        out.write("option %s\n" % option)
    out.write("run %s\n" % case.run_record())
    out.write("obs %s\n" % record)
    elevation = elevation_deg(ha_obs, dec_obs, math.radians(case.lat))
    out.write("expect %.15e %.15e %.3f %d %d\n" % (ha_obs, dec_obs, elevation,
                                                   1 if case.met else 0,
                                                   1 if kind.startswith("frame") else 0))


if __name__ == "__main__":
    main()
