#!/usr/bin/python3
"""Reference texts for ZENFIT's fit and residual reports, computed with numpy.

An independent implementation, from the published definitions, of what the
golden sessions of FIT, FIT N, FITTOL, SLIST and UNFIT must print for a run
of apparent places in an undated observation file (no refraction and no
aberration, so the file's places are the observed ones):

  - the terms IH, ID, ZH, NP, CH, ME, MA, TF, FO, AUX1H and AUX2H with their
    catalogue multipliers, applied as H/D, X/D, A/E and V corrections, with
    the over-the-pole rules, chained or in parallel;
  - the fit: one linearised step with one-sided 10-arcsecond differences,
    design matrix and residuals rounded to single precision, solved by
    LAPACK's singular value decomposition (numpy.linalg.svd) with singular
    values below FITTOL times the largest set to zero;
  - the residual listing, and the removal of the model by fixed-point
    iteration.

Usage: fit_reference.py SCRIPT

SCRIPT holds one command a line, as a golden session would: INDAT name
(the file name.dat beside the script), USE, FIX, LOSE, PARAL (with term
names), FIT, FIT N, FITTOL x, SLIST [threshold], UNFIT [N]. The output is
what the batch program prints for those lines, each after its echo
"* * LINE"; the start-up text and the end of the session are not included.
Run with Debian's /usr/bin/python3 (python3-numpy).
"""

import math
import os
import sys

import numpy as np

ARCSEC_PER_RADIAN = 206264.80624709636
RADIAN_PER_ARCSEC = 4.84813681109536e-6
RADIAN_PER_TIME_SECOND = 7.27220521664304e-5
DEGREES_PER_RADIAN = 57.29577951308232
STEP = 4.84813681109536e-5  # 10 arcseconds
DERIVATIVE_SCALE = 20626.480624709635

STANDARD_TERMS = (
    "IH ID ZH NP CH HF ZE ME MA TF TX FO IE IA HCES HCEC DCES DCEC DNP X2HC "
    "HGES HGEC DGES DGEC TFP CA CD4A CD4B CD5A CD5B AN AW NPAE ACES ACEC ECES "
    "ECEC NRX NRY AUX1H AUX1X AUX1D AUX1A AUX1S AUX1E AUX2H AUX2X AUX2D AUX2A "
    "AUX2S AUX2E DAF HFX HFD").split()


# ---------------------------------------------------------------- vectors

def spherical(lon, lat):
    return np.array([math.cos(lat) * math.cos(lon), math.cos(lat) * math.sin(lon), math.sin(lat)])


def angles(v):
    x, y, z = v
    lon = 0.0 if x == 0.0 and y == 0.0 else math.atan2(y, x)
    r = math.sqrt(x * x + y * y)
    lat = 0.0 if z == 0.0 and r == 0.0 else math.atan2(z, r)
    return lon, lat


class Site:
    def __init__(self, latitude):
        self.s = math.sin(latitude)
        self.c = math.cos(latitude)
        self.latitude = latitude

    def to_horizon(self, e):
        x, y, z = e
        return np.array([x * self.s - z * self.c, y, z * self.s + x * self.c])

    def to_equatorial(self, h):
        x, y, z = h
        return np.array([x * self.s + z * self.c, y, z * self.s - x * self.c])

    def direction(self, ha, dec):
        return self.to_horizon(spherical(-ha, dec))

    def ha_dec(self, v):
        lon, dec = angles(self.to_equatorial(v))
        return -lon, dec


def normalised(v):
    n = math.sqrt(float(v @ v))
    return v / n if n > 1e-20 else v


def wrap_pi(a):
    a = math.fmod(a, 2.0 * math.pi)
    if a > math.pi:
        a -= 2.0 * math.pi
    elif a < -math.pi:
        a += 2.0 * math.pi
    return a


# ----------------------------------------------------------- observations

class Observation:
    def __init__(self, star_ha, star_dec, tel_ha, tel_dec, pier, aux1, aux2):
        self.status = 1
        self.pier = pier
        self.aux = (aux1, aux2)
        self.star_ha = self.star_ha_work = star_ha
        self.star_dec = self.star_dec_work = star_dec
        self.tel_ha = self.tel_ha_work = tel_ha
        self.tel_dec = self.tel_dec_work = tel_dec


def sexagesimal(fields, unit):
    """Angle of (first, minutes, seconds); the sign is the first field's.
    A first field of 90 or more folds over the pole. Returns (angle, fold)."""
    negative = fields[0].startswith("-")
    first = abs(float(fields[0]))
    value = ((first * 60.0 + float(fields[1])) * 60.0 + float(fields[2])) * unit
    if unit == RADIAN_PER_ARCSEC and first >= 90.0:
        return (-math.pi + value if negative else math.pi - value), True
    return (-value if negative else value), False


def read_run(path):
    """Caption, latitude and the observations of an undated file of
    equatorial records: star RA, Dec, telescope RA, Dec, sidereal time
    (h m) and up to two auxiliary readings."""
    with open(path) as f:
        lines = [line.rstrip("\n") for line in f]
    caption = lines[0]
    lat, _ = sexagesimal(lines[1].split()[0:3], RADIAN_PER_ARCSEC)
    observations = []
    for line in lines[2:]:
        if line.strip() == "END":
            break
        f = line.split()
        star_ra, _ = sexagesimal(f[0:3], RADIAN_PER_TIME_SECOND)
        star_dec, _ = sexagesimal(f[3:6], RADIAN_PER_ARCSEC)
        tel_ra, _ = sexagesimal(f[6:9], RADIAN_PER_TIME_SECOND)
        tel_dec, over = sexagesimal(f[9:12], RADIAN_PER_ARCSEC)
        if over:
            tel_ra = math.fmod(tel_ra - math.pi + 2.0 * math.pi, 2.0 * math.pi)
        lst = (float(f[12]) * 60.0 + float(f[13])) * 60.0 * RADIAN_PER_TIME_SECOND
        aux = [float(x) for x in f[14:16]] + [0.0, 0.0]
        observations.append(Observation(wrap_pi(lst - star_ra), star_dec, wrap_pi(lst - tel_ra),
                                        tel_dec, 1 if over else 0, aux[0], aux[1]))
    return lines, caption, Site(lat), observations


# ------------------------------------------------------------------ terms

def multipliers(name, site, base, aux, pier):
    """(kind, m) of a term at the base point, before the sign rules."""
    azimuth, elevation = angles(base)
    e = site.to_equatorial(base)
    lon, d = angles(e)
    h = -lon
    if pier:
        h += math.pi
        d = (-1.0 if site.s < 0.0 else 1.0) * math.pi - d
    x, y, z = e
    table = {
        "IH": ("HD", (1.0, 0.0)),
        "ID": ("HD", (0.0, 1.0)),
        "ZH": ("HD", (aux[0], 0.0)),
        "AUX1H": ("HD", (aux[0], 0.0)),
        "AUX2H": ("HD", (aux[1], 0.0)),
        "FO": ("HD", (0.0, math.cos(h))),
        "NP": ("XD", (math.sin(d), 0.0)),
        "CH": ("XD", (1.0, 0.0)),
        "ME": ("V", (-z, 0.0, x)),
        "MA": ("V", (0.0, z, -y)),
        "TF": ("AE", (0.0, -math.cos(elevation))),
    }
    if name not in table:
        sys.exit("fit_reference: no multiplier for " + name)
    return table[name]


def evaluate(name, coefficient, site, obs, base, current, sense):
    kind, m = multipliers(name, site, base, obs.aux, obs.pier)
    m = list(m)
    if obs.pier and kind == "HD":
        m[1] = -m[1]
    if obs.pier and kind == "XD":
        m = [-m[0], -m[1]]
    if sense == 2:
        m = [-v for v in m]
    if kind == "HD":
        lon, lat = angles(site.to_equatorial(current))
        moved = site.to_horizon(spherical(lon - coefficient * m[0], lat + coefficient * m[1]))
    elif kind == "XD":
        x, y, z = site.to_equatorial(current)
        r = math.sqrt(x * x + y * y)
        sy, sx = (y / r, x / r) if r > 1e-20 else (0.0, 1.0)
        p, q = coefficient * m[0], coefficient * m[1]
        moved = site.to_horizon(np.array([x + p * sy - q * z * sx, y - p * sx - q * z * sy,
                                          z + q * r]))
    elif kind == "AE":
        lon, lat = angles(current)
        moved = spherical(lon + coefficient * m[0], lat + coefficient * m[1])
    else:
        moved = site.to_horizon(site.to_equatorial(current) + coefficient * np.array(m))
    return normalised(moved)


class Model:
    def __init__(self):
        self.terms = []  # [name, value (radians), sigma, floating, chained]

    def find(self, name):
        for t in self.terms:
            if t[0] == name:
                return t
        return None

    def apply(self, site, obs, v, sense):
        base = v.copy()
        for name, value, _, _, chained in self.terms:
            if chained:
                base = v.copy()
            v = evaluate(name, value, site, obs, base, v, sense)
        return v


# -------------------------------------------------------------- the session

class Session:
    def __init__(self, folder):
        self.folder = folder
        self.site = Site(0.0)
        self.obs = []
        self.caption = "No observations"
        self.model = Model()
        self.tolerance = 0.01
        self.sense = 1
        self.out = []

    def say(self, text):
        self.out.append(text)

    def sides(self, o):
        """Source and target directions, and the setter of the fitted pair."""
        if self.sense == 1:
            return (self.site.direction(o.star_ha, o.star_dec),
                    self.site.direction(o.tel_ha_work, o.tel_dec_work))
        return (self.site.direction(o.tel_ha, o.tel_dec),
                self.site.direction(o.star_ha_work, o.star_dec_work))

    def store_fitted(self, o, v):
        ha, dec = self.site.ha_dec(v)
        if self.sense == 1:
            o.star_ha_work, o.star_dec_work = ha, dec
        else:
            o.tel_ha_work, o.tel_dec_work = ha, dec

    def fit(self, adjust):
        terms = self.model.terms
        fitted = [i for i, t in enumerate(terms) if adjust and t[3]]
        q = len(fitted)
        if q >= 50:
            self.say("Too many coefficients to fit!\n")
            return 1
        if 2 * sum(1 for o in self.obs if o.status != 0) < q:
            self.say("Not enough stars for fit!\n")
            return 1
        column = {i: k for k, i in enumerate(fitted)}
        rows, resid, sources, targets = [], [], [], []
        for o in self.obs:
            src, tgt = self.sides(o)
            sources.append(src)
            targets.append(tgt)
            if o.status == 0:
                continue
            base, running = src.copy(), src.copy()
            d = np.zeros((3, max(q, 1)))
            for i, (name, value, _, _, chained) in enumerate(terms):
                if chained:
                    base = running.copy()
                kept = running.copy()
                running = evaluate(name, value, self.site, o, base, running, self.sense)
                if i in column:
                    plus = evaluate(name, value + STEP, self.site, o, base, kept, self.sense)
                    d[:, column[i]] = [np.float32((plus[c] - running[c]) * DERIVATIVE_SCALE)
                                       for c in range(3)]
            rows.append(d)
            resid.extend(np.float32((tgt[c] - running[c]) * ARCSEC_PER_RADIAN) for c in range(3))
        n = len(rows)
        if 2 * n < q:
            self.say("Not enough stars for fit!\n")
            return 1
        change = np.zeros(q)
        cov = np.zeros((q, q))
        zeroed, smallest, largest = False, 0.0, 0.0
        if q > 0:
            a = np.vstack(rows)[:, :q].astype(np.float64)
            b = np.array(resid, dtype=np.float64)
            u, w, vt = np.linalg.svd(a, full_matrices=False)
            wmax = float(w.max())
            if wmax > 0.0:
                smallest, largest = wmax, 0.0
                for j in range(q):
                    ratio = float(w[j]) / wmax
                    if ratio < self.tolerance:
                        w[j] = 0.0
                        zeroed = True
                        smallest = min(smallest, ratio)
                        largest = max(largest, ratio)
            inv = np.array([1.0 / x if x != 0.0 else 0.0 for x in w])
            change = vt.T @ (inv * (u.T @ b))
            cov = vt.T @ np.diag(inv * inv) @ vt
            # A term the data never touch has no covariance at all.
            for j in range(q):
                if not a[:, j].any():
                    cov[j, :] = 0.0
                    cov[:, j] = 0.0
            for k, i in enumerate(fitted):
                terms[i][1] += change[k] * RADIAN_PER_ARCSEC
        total, n = 0.0, 0
        for o, src, tgt in zip(self.obs, sources, targets):
            v = self.model.apply(self.site, o, src.copy(), self.sense)
            self.store_fitted(o, v)
            if o.status != 0:
                total += float((v - tgt) @ (v - tgt))
                n += 1
        self.report(fitted, change, cov, total / n if n else 0.0, n, zeroed, smallest, largest)
        return 0

    def report(self, fitted, change, cov, mean_square, n, zeroed, smallest, largest):
        terms = self.model.terms
        q = len(fitted)
        if terms:
            self.say("\n       coeff       change     value    sigma\n\n")
        for i, t in enumerate(terms):
            mark = " " if t[4] else "&"
            if i in fitted:
                k = fitted.index(i)
                t[2] = math.sqrt(cov[k, k] * mean_square)
                self.say("%3d   %c %-8s%+9.3f%+10.2f%9.3f\n" % (
                    i + 1, mark, t[0], change[k], t[1] * ARCSEC_PER_RADIAN,
                    t[2] * ARCSEC_PER_RADIAN))
            else:
                self.say("%3d   %c %-8s%+19.2f\n" % (i + 1, mark, t[0], t[1] * ARCSEC_PER_RADIAN))
        self.say("\nSky RMS =%7.2f\n" % (math.sqrt(mean_square) * ARCSEC_PER_RADIAN))
        if n - q < 1:
            return
        self.say("Popn SD =%7.2f\n\n" % (math.sqrt(n * mean_square / (n - q))
                                         * ARCSEC_PER_RADIAN))
        names = [terms[i][0] for i in fitted]
        for k in range(q):
            if cov[k, k] == 0.0:
                self.say("%s was always zero.\n" % names[k])
        if q >= 2:
            self.say("* Correlations between terms:\n")
            for c0 in range(0, q - 1, 14):
                self.say("\n")
                for i in range(c0 + 1, q):
                    row = "%-8s" % names[i]
                    for j in range(c0, min(c0 + 13, i - 1) + 1):
                        product = cov[i, i] * cov[j, j]
                        r = cov[i, j] / float(np.float32(math.sqrt(product))) if product else 0.0
                        if abs(r) > 0.995:
                            self.say("%s and %s cannot reliably be distinguished.\n"
                                     % (names[i], names[j]))
                        row += "%+8.4f" % r
                    self.say(row + "\n")
                self.say("\n          " + "".join("%-8s" % names[j] for j in
                                                  range(c0, min(c0 + 13, q - 2) + 1)) + "\n")
            self.say("\n")
        if zeroed:
            self.say("Action was taken to correct ill-conditioning.  The\n")
            self.say("current FITTOL tolerance is %.3g, which exceeds\n" % self.tolerance)
            if smallest == largest:
                self.say("the value %.3g encountered " % smallest)
            else:
                self.say("values from %.3g to %.3g encountered\n" % (smallest, largest))
            self.say("during the fit.\n\n")

    def unfit(self, adjust):
        for o in self.obs:
            ha, dec = (o.star_ha_work, o.star_dec_work) if self.sense == 1 else \
                      (o.tel_ha_work, o.tel_dec_work)
            if adjust:
                v = self.site.direction(ha, dec)
                terms = self.model.terms
                last = len(terms) - 1
                while last >= 0:
                    first = last
                    while first >= 1 and not terms[first][4]:
                        first -= 1
                    guess = v.copy()
                    for _ in range(10):
                        current = guess.copy()
                        for name, value, _, _, _ in terms[first:last + 1]:
                            current = evaluate(name, value, self.site, o, guess, current,
                                               self.sense)
                        d = current - v
                        if float(d @ d) < 1e-20:
                            break
                        guess = normalised(guess - d)
                    v = guess
                    last = first - 1
                ha, dec = self.site.ha_dec(v)
            if self.sense == 1:
                o.star_ha, o.star_dec = ha, dec
            else:
                o.tel_ha, o.tel_dec = ha, dec

    def slist(self, threshold):
        self.say("\f")
        self.say(self.caption + "\n")
        _, d, m, s, _ = split(abs(self.site.latitude) * ARCSEC_PER_RADIAN, 0)
        self.say("Latitude:  %c%02d%3.2d%3.2d\n" % ("-" if self.site.latitude < 0 else "+",
                                                     d, m, s))
        self.say("\n          *HA           *Dec      *Az   *ZD"
                 "     dX     dD     dS     dZ     dR\n\n")
        sums = [0.0] * 5
        n = 0
        for number, o in enumerate(self.obs, 1):
            active = o.status != 0
            if not active and threshold != 0.0:
                continue
            p = self.site.direction(o.tel_ha_work, o.tel_dec_work)
            p_lon, p_el = angles(p)
            h = split(abs(o.tel_ha_work) * ARCSEC_PER_RADIAN / 15.0, 2)
            dd = split(abs(o.tel_dec_work) * ARCSEC_PER_RADIAN, 1)
            azimuth = math.fmod(math.pi - p_lon + 4.0 * math.pi, 2.0 * math.pi)
            line = "%4d%c %c%02d%3.2d%3.2d.%02d  %c%02d%3.2d%3.2d.%1d%7.1f%6.1f" % (
                number, "b" if o.pier else " ", "-" if o.tel_ha_work < 0 else "+",
                h[1], h[2], h[3], h[4], "-" if o.tel_dec_work < 0 else "+",
                dd[1], dd[2], dd[3], dd[4], azimuth * DEGREES_PER_RADIAN,
                (math.pi / 2 - p_el) * DEGREES_PER_RADIAN)
            if not active:
                self.say(line + "\n")
                continue
            qv = self.site.direction(o.star_ha_work, o.star_dec_work)
            q_lon, q_el = angles(qv)
            diffs = [math.cos(o.tel_dec_work) * wrap_pi(o.star_ha_work - o.tel_ha_work),
                     o.star_dec_work - o.tel_dec_work,
                     math.cos(p_el) * wrap_pi(q_lon - p_lon),
                     p_el - q_el,
                     math.sqrt(float((qv - p) @ (qv - p)))]
            diffs = [x * ARCSEC_PER_RADIAN for x in diffs]
            for k in range(5):
                sums[k] += diffs[k] ** 2
            n += 1
            if diffs[4] >= threshold:
                self.say(line + "%7.1f%7.1f%7.1f%7.1f%7.1f\n" % tuple(diffs))
        if n:
            self.say(" " * 43 + "     dX     dD     dS     dZ     dR\n")
            self.say(" " * 40 + "RMS  " + "%7.2f%7.2f%7.2f%7.2f%7.2f\n\n"
                     % tuple(math.sqrt(x / n) for x in sums))
        self.say("\f")

    def run(self, raw):
        line = raw.replace("\t", " ").rstrip()
        self.say("* * %s\n" % line)
        words = line.split("!")[0].split()
        if not words:
            return
        command, args = words[0].upper(), [w.upper() for w in words[1:]]
        if command in ("FIT", "UNFIT") and args and args != ["N"]:
            self.say("Bad argument!\n?\n")
            return
        if command == "INDAT":
            lines, self.caption, self.site, self.obs = read_run(
                os.path.join(self.folder, words[1] + ".dat"))
            self.say("\f *  POINTING OBSERVATIONS  *\n\n")
            for number, record in enumerate(lines):
                if record.strip() == "END":
                    break
                if number != 1:  # the run parameters record is not echoed
                    self.say(record + "\n")
            self.say("REFA   (arcsec)  = %9.5f\nREFB   (arcsec)  = %10.6f\n"
                     "DIURAB (arcsec)  = %8.4f\n\n" % (0.0, 0.0, 0.0))
            self.say("\f")
        elif command == "USE":
            for name in args:
                if name not in STANDARD_TERMS:
                    sys.exit("fit_reference: unknown term " + name)
                t = self.model.find(name)
                if t:
                    t[3] = 1
                else:
                    self.model.terms.append([name, 0.0, -1.0, 1, 1])
        elif command == "LOSE":
            self.model.terms = [t for t in self.model.terms if args and t[0] not in args]
        elif command == "FIX":
            for t in self.model.terms:
                if not args or t[0] in args:
                    t[3] = 0
        elif command == "PARAL":
            for t in self.model.terms:
                if t[0] in args:
                    t[4] = 0
        elif command == "END":
            self.say("\n\n* END OF SESSION *\n\n\n")
        elif command == "FITTOL":
            self.tolerance = float(args[0])
            self.say("Ill-conditioning criterion = %g\n" % self.tolerance)
        elif command == "FIT":
            if self.fit(not args) != 0:
                self.say("!\n")
        elif command == "UNFIT":
            self.unfit(not args)
        elif command == "SLIST":
            self.slist(float(args[0]) if args else 0.0)
        else:
            sys.exit("fit_reference: cannot do " + line)


def split(units, decimals):
    """Sign, and whole units of 60^2, 60, 1 and the decimals of a count of
    seconds, rounded to the decimals."""
    scale = 10 ** decimals
    total = int(math.floor(units * scale + 0.5))
    return (0, total // (3600 * scale), total // (60 * scale) % 60, total // scale % 60,
            total % scale)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    session = Session(os.path.dirname(sys.argv[1]))
    with open(sys.argv[1]) as f:
        for line in f:
            session.run(line.rstrip("\n"))
    sys.stdout.write("".join(session.out))


if __name__ == "__main__":
    main()
