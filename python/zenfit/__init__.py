"""ZENFIT from Python: telescope pointing analysis with results as arrays.

An :class:`Engine` is one independent interpreter of the ZENFIT command
language. Send it command lines with :meth:`Engine.run`, or use the thin
wrappers (:meth:`Engine.read_observations`, :meth:`Engine.use`,
:meth:`Engine.fit`, ...), and read its state as numpy arrays::

    import zenfit
    engine = zenfit.Engine("examples")          # loads stars.dat and procs.dat there
    engine.read_observations("run.dat")
    engine.use("IH ID CH NP ME MA TF DAF")
    engine.fit(); fit = engine.fit()             # two linearised steps
    for name, value, sigma in zip(fit.names, fit.value, fit.sigma):
        print(f"{name:8s} {value:+9.2f} {sigma:7.3f}")
    res = engine.residuals()                     # res.dx, res.dd in arcseconds

Units, everywhere in this module:

* hour angles and sidereal times in hours (hour angles in -12 .. +12);
* declinations, azimuths (from the north through the east, 0 .. 360),
  zenith distances and the site latitude in degrees;
* coefficients, sigmas, residuals and their RMS in arcseconds.

A command that fails raises :class:`CommandError` with the engine's own
message. Several engines may live at once, also in different threads: a
command runs without holding the GIL.
"""

from __future__ import annotations

import os
from dataclasses import dataclass
from typing import Iterable, Optional, Union

import numpy as np

from ._zenfit import _Engine, __version__, MAX_LINE

__all__ = [
    "Engine",
    "CommandError",
    "Observations",
    "Model",
    "FitResult",
    "Residuals",
    "RunParameters",
    "Svg",
    "RECORD_KINDS",
    "MAX_LINE",
    "__version__",
]

#: What ``Observations.kind`` means: the kind of record each observation was read from.
RECORD_KINDS = {
    0: "synthetic",        # PERFCT
    1: "equatorial",       # star RA/Dec, telescope RA/Dec, sidereal time
    2: "proper motion",    # the same with proper motion and epoch
    3: "catalogue star",   # '*' and a catalogue name
    4: "horizon",          # azimuths and elevations
}

PathLike = Union[str, "os.PathLike[str]"]


class CommandError(RuntimeError):
    """A command line failed.

    ``str(error)`` is the engine's message (the echo of the line and the
    closing ``?`` left out); ``error.line`` is the line that was sent and
    ``error.text`` everything the engine said, as :meth:`Engine.run` would
    have returned it.
    """

    def __init__(self, line: str, text: str):
        self.line = line
        self.text = text
        said = [
            part
            for part in text.split("\n")
            if part.strip() and part.strip() not in ("?", "!") and part != "* " + line.strip()
        ]
        message = "\n".join(said) if said else f"{line.strip()!r} failed"
        super().__init__(message)


class Svg:
    """A plot as SVG text. Jupyter shows it as a picture; ``str()`` gives the text."""

    def __init__(self, text: str):
        self.text = text

    def _repr_svg_(self) -> str:
        return self.text

    def __str__(self) -> str:
        return self.text

    def __repr__(self) -> str:
        return f"<zenfit.Svg, {len(self.text)} characters>"

    def save(self, path: PathLike) -> None:
        """Writes the SVG text to path."""
        with open(path, "w", encoding="utf-8") as out:
            out.write(self.text)


@dataclass(frozen=True, eq=False)
class Observations:
    """The observation list, one array element per observation in input order.

    Masked observations are included (``active`` is False); ``number`` is
    the observation number that MASK and SLIST use (from 1). Positions are
    the working copies, which FIT and the residuals read (after a fit one
    side holds the fitted position); the ``*_input`` arrays hold what the
    file said, after reduction to the observed frame.

    Attributes (arrays of length n):
        number: int, from 1.
        active: bool, False for a masked observation.
        kind: int, the record kind (see RECORD_KINDS).
        over_pole: bool, the telescope read over the pole (far side of the pier).
        star_ha, tel_ha, star_ha_input, tel_ha_input: hour angles, hours (-12 .. +12).
        star_dec, tel_dec, star_dec_input, tel_dec_input: declinations, degrees.
        star_azimuth, tel_azimuth: azimuths of the working places, degrees,
            from the north through the east (0 .. 360).
        star_zenith_distance, tel_zenith_distance: degrees.
        sidereal_time: hours (0 .. 24); 0 for horizon and synthetic records.
        aux: shape (n, 3): the record's optional trailing numbers
            (columns 0 and 1; 0 when absent) and a third reading, 0 as read.
    """

    number: np.ndarray
    active: np.ndarray
    kind: np.ndarray
    over_pole: np.ndarray
    star_ha: np.ndarray
    star_dec: np.ndarray
    tel_ha: np.ndarray
    tel_dec: np.ndarray
    star_ha_input: np.ndarray
    star_dec_input: np.ndarray
    tel_ha_input: np.ndarray
    tel_dec_input: np.ndarray
    star_azimuth: np.ndarray
    star_zenith_distance: np.ndarray
    tel_azimuth: np.ndarray
    tel_zenith_distance: np.ndarray
    sidereal_time: np.ndarray
    aux: np.ndarray

    def __len__(self) -> int:
        return len(self.number)


@dataclass(frozen=True, eq=False)
class Model:
    """The pointing model, one element per term in model order.

    Attributes:
        names: list of term names.
        term: int array, the term numbers.
        value: coefficients, arcseconds.
        sigma: the sigma of the last fit that adjusted the term, arcseconds;
            NaN when there is none (never fitted, or set by hand).
        floating: bool, adjusted by FIT (False: held).
        chained: bool, applied after the terms before it (False: in
            parallel with the term before it).
        adjust: "T" (the model corrects the telescope) or "S" (the stars).
        fit_tolerance: the ill-conditioning criterion (FITTOL).
    """

    names: list
    term: np.ndarray
    value: np.ndarray
    sigma: np.ndarray
    floating: np.ndarray
    chained: np.ndarray
    adjust: str
    fit_tolerance: float

    def __len__(self) -> int:
        return len(self.names)

    def coefficients(self) -> dict:
        """The coefficients as a dict from term name to arcseconds."""
        return dict(zip(self.names, (float(v) for v in self.value)))


@dataclass(frozen=True, eq=False)
class FitResult:
    """What the last FIT found, as its report prints it and beside it the
    statistics a least-squares analysis expects.

    One element per term in use, in model order:
        names: list of term names.
        fitted: bool, the term was adjusted (False: held, or FIT N).
        change: the change this fit made, arcseconds (NaN for a held term).
        value: the coefficient after the fit, arcseconds.
        sigma: the sigma the report prints, arcseconds: sqrt(C_jj * S / n),
            with C = (A^T A)^-1 of the design matrix A (rows: the x, y, z
            components of each star's unit-vector difference, per
            arcsecond of coefficient), S the sum over the active stars of
            the squared distance between corrected and observed position,
            and n the number of those stars. NaN for a held term.
        standard_error: the least-squares standard error,
            sqrt(C_jj * S / (2n - q)), arcseconds: each star gives two
            independent components (its difference lies, to first order,
            in the plane of the sky), so 2n components and q fitted
            coefficients leave 2n - q degrees of freedom. About sigma /
            sqrt(2) for n much larger than q. NaN for a held term, and for
            all terms when 2n - q < 1.

    Over the q fitted terms (in model order):
        fitted_names: their names.
        correlations: q x q array, C_ij / sqrt(C_ii C_jj) (0 where a
            diagonal is 0), as the report prints them.
        covariance: q x q array, C * S / (2n - q), arcseconds squared: the
            covariance of the fitted coefficients (its diagonal is
            standard_error squared).
        always_zero: names of the terms whose column of the design was
            empty ("was always zero").

    Statistics:
        stars: n, the active stars used.
        q: the number of coefficients fitted.
        sum_squares: S, arcseconds squared.
        sky_rms: sqrt(S / n), arcseconds.
        population_sd: sqrt(S / (n - q)), arcseconds; NaN when n - q < 1.
        ill_conditioned: singular values below FITTOL times the largest
            were set to zero.
        zeroed_ratios: (smallest, largest) ratio of the zeroed singular
            values to the largest, or None when none was zeroed.
        withdrawn: numbers of the observations masked for good because a
            term could not be evaluated there.
    """

    names: list
    fitted: np.ndarray
    change: np.ndarray
    value: np.ndarray
    sigma: np.ndarray
    standard_error: np.ndarray
    fitted_names: list
    correlations: np.ndarray
    covariance: np.ndarray
    stars: int
    q: int
    sum_squares: float
    sky_rms: float
    population_sd: float
    always_zero: list
    ill_conditioned: bool
    zeroed_ratios: Optional[tuple]
    withdrawn: list

    def __len__(self) -> int:
        return len(self.names)


@dataclass(frozen=True, eq=False)
class Residuals:
    """The residual table (what SLIST lists), one element per observation.

    Each difference is star minus telescope between the working pairs, in
    arcseconds; NaN for a masked observation:
        dx: hour angle difference times cos(telescope declination),
            the hour angle difference taken in -12h .. +12h;
        dd: declination difference;
        ds: azimuth difference times cos(elevation);
        dz: zenith distance difference;
        dr: the distance on the sky, the total error.

    Other attributes:
        number, active, over_pole: as in Observations.
        tel_ha, star_ha: hours; tel_dec, star_dec: degrees (working pairs).
        azimuth, zenith_distance: the telescope's, degrees (azimuth from the
            north through the east).
        rms: dict "dx", "dd", "ds", "dz", "dr" -> the RMS over the active
            observations, arcseconds (0 with none active).
    """

    number: np.ndarray
    active: np.ndarray
    over_pole: np.ndarray
    tel_ha: np.ndarray
    tel_dec: np.ndarray
    star_ha: np.ndarray
    star_dec: np.ndarray
    azimuth: np.ndarray
    zenith_distance: np.ndarray
    dx: np.ndarray
    dd: np.ndarray
    ds: np.ndarray
    dz: np.ndarray
    dr: np.ndarray
    rms: dict

    def __len__(self) -> int:
        return len(self.number)


@dataclass(frozen=True)
class RunParameters:
    """The run: what the observation file's run parameters said, and what
    the engine derived from them.

    Attributes:
        caption: the run's caption.
        present: an observation file has been read.
        latitude: site latitude, degrees.
        refraction_a, refraction_b: refraction constants (A tan z + B tan^3 z),
            arcseconds; 0 without meteorological data.
        diurnal_aberration: arcseconds; 0 for an undated run.
    From the last observation file read (None before one):
        dated: the record carried a date; year, month, day (day may carry a
            fraction) and mjd, the modified Julian date (None when undated).
        meteorology: temperature and the rest were given.
        temperature: Celsius; pressure: millibars; height: metres (each
            of the last two given or derived from the other);
        humidity: 0-1; wavelength: micrometres; lapse_rate: K/m.
        frame: the telescope's places: "A" apparent, "B" FK4, "J" FK5 mean.
        no_date, all_sky: the ":NODA" and ":ALLSKY" options.
    """

    caption: str
    present: bool
    latitude: float
    refraction_a: float
    refraction_b: float
    diurnal_aberration: float
    dated: Optional[bool] = None
    year: Optional[int] = None
    month: Optional[int] = None
    day: Optional[float] = None
    mjd: Optional[float] = None
    meteorology: Optional[bool] = None
    temperature: Optional[float] = None
    pressure: Optional[float] = None
    height: Optional[float] = None
    humidity: Optional[float] = None
    wavelength: Optional[float] = None
    lapse_rate: Optional[float] = None
    frame: Optional[str] = None
    no_date: Optional[bool] = None
    all_sky: Optional[bool] = None


_RESIDUAL_NAMES = ("dx", "dd", "ds", "dz", "dr")


def _terms(terms: Union[str, Iterable[str], None]) -> str:
    """A term list as the commands read it: names separated by blanks."""
    if terms is None:
        return ""
    if isinstance(terms, str):
        return terms
    names = list(terms)
    for name in names:
        if not isinstance(name, str):
            raise TypeError(f"a term name is a str, not {type(name).__name__}")
    return " ".join(names)


def _file_argument(path: PathLike) -> str:
    """A file name as a command argument. Names with blanks, commas or '!'
    are quoted; a name cannot hold a double quote or a line break."""
    name = os.fspath(path)
    if not isinstance(name, str):
        raise TypeError(f"a file name is a str or a path, not {type(name).__name__}")
    if not name.strip():
        raise ValueError("empty file name")
    if any(c in name for c in '"\n\r\0'):
        raise ValueError(f"a file name cannot hold quotes or line breaks: {name!r}")
    if any(c in name for c in " \t,!'"):
        return '"' + name + '"'
    return name


def _number(value: float) -> str:
    value = float(value)
    if not np.isfinite(value):
        raise ValueError(f"not a finite number: {value}")
    return repr(value)


class Engine:
    """One ZENFIT engine: a model, an observation list, settings and a
    working folder of its own.

    Args:
        workdir: the folder where relative file names are taken (the
            current directory when None). Start-up reads zenfit.ini, the
            procedure library procs.dat and the star catalogue stars.dat
            from there when they exist.
        ini: the initialisation file (None: zenfit.ini in workdir).

    Raises:
        FileNotFoundError: workdir is not a folder.
        RuntimeError: start-up failed.
    """

    def __init__(self, workdir: Optional[PathLike] = None, ini: Optional[PathLike] = None):
        folder = os.path.abspath(os.fspath(workdir) if workdir is not None else os.getcwd())
        if not os.path.isdir(folder):
            raise FileNotFoundError(f"no such folder: {folder}")
        ini_name = "" if ini is None else os.fspath(ini)
        if not isinstance(ini_name, str) or "\0" in ini_name:
            raise TypeError(f"ini is a file name, not {ini!r}")
        self._engine = _Engine(folder, ini_name)
        #: The folder where relative file names are taken.
        self.workdir = folder
        #: The text of the last line run by a method that returns a typed
        #: result (read_observations, read_model, fit, plot).
        self.last_text = ""
        if not self._engine.started:
            raise RuntimeError("ZENFIT start-up failed:\n" + self._engine.startup_text)

    @property
    def startup_text(self) -> str:
        """What the engine said at start-up (banner, INIT procedure, catalogue)."""
        return self._engine.startup_text

    def run(self, line: str) -> str:
        """Runs one command line and returns the text it produced (LF line ends).

        Raises:
            CommandError: the command failed; the error carries the text.
            TypeError: line is not a str.
            ValueError: line holds a line break or a NUL, or is longer than
                the engine's 200 characters (it would be cut).
        """
        if not isinstance(line, str):
            raise TypeError(f"a command line is a str, not {type(line).__name__}")
        if any(c in line for c in "\n\r\0"):
            raise ValueError("one command line at a time: no line breaks or NUL characters")
        size = len(line.encode("utf-8", "surrogateescape"))
        if size > MAX_LINE:
            raise ValueError(f"a command line holds at most {MAX_LINE} characters, not {size}")
        ok, text = self._engine.run(line)
        if not ok:
            raise CommandError(line, text)
        return text

    # ---- Observations

    def read_observations(self, path: PathLike, append: bool = False) -> Observations:
        """Reads an observation file (INDAT) and returns the observation list.

        path is taken in the working folder when relative; a name without
        a '.' gets '.dat' ("run" reads run.dat). append=True adds the
        observations to the list (APPEND, then INDAT). The engine's report
        (rejected records, refraction constants) is in last_text.
        """
        if append:
            self.run("APPEND ON")
        self.last_text = self.run("INDAT " + _file_argument(path))
        return self.observations()

    def write_observations(self, path: PathLike) -> str:
        """Writes the active observations as an undated file (OUTDAT)."""
        return self.run("OUTDAT " + _file_argument(path))

    def load_catalogue(self, path: PathLike) -> str:
        """Loads a star catalogue (INST)."""
        return self.run("INST " + _file_argument(path))

    def mask(self, first: Optional[int] = None, last: Optional[int] = None,
             condition: Optional[str] = None) -> str:
        """Takes observations out of use (MASK): all of them; one number;
        numbers first to last; or a condition such as "Z > 70" (zenith
        distance over 70 degrees) or "R > 5" (residual over 5 arcseconds)."""
        return self.run("MASK " + self._mask_arguments(first, last, condition))

    def unmask(self, first: Optional[int] = None, last: Optional[int] = None,
               condition: Optional[str] = None) -> str:
        """Puts observations back into use (UNMASK); arguments as mask()."""
        return self.run("UNMASK " + self._mask_arguments(first, last, condition))

    @staticmethod
    def _mask_arguments(first, last, condition) -> str:
        if condition is not None:
            if first is not None or last is not None:
                raise ValueError("give observation numbers or a condition, not both")
            return str(condition)
        numbers = [n for n in (first, last) if n is not None]
        for n in numbers:
            if isinstance(n, bool) or not isinstance(n, (int, np.integer)):
                raise TypeError(f"an observation number is an int, not {type(n).__name__}")
        return " ".join(str(int(n)) for n in numbers)

    # ---- The model

    def use(self, terms: Union[str, Iterable[str], None] = None) -> str:
        """Adds terms to the model, or makes them floating again (USE).
        terms: "IH ID CH" or a list of names; None floats every term."""
        return self.run(("USE " + _terms(terms)).strip())

    def lose(self, terms: Union[str, Iterable[str], None] = None) -> str:
        """Removes terms from the model (LOSE); None empties it."""
        return self.run(("LOSE " + _terms(terms)).strip())

    def fix(self, terms: Union[str, Iterable[str], None] = None) -> str:
        """Holds terms at their values (FIX); None holds every term."""
        return self.run(("FIX " + _terms(terms)).strip())

    def chain(self, terms: Union[str, Iterable[str], None] = None) -> str:
        """Applies terms after the terms before them (CHAIN); None: all."""
        return self.run(("CHAIN " + _terms(terms)).strip())

    def parallel(self, terms: Union[str, Iterable[str], None] = None) -> str:
        """Evaluates terms at the same point as the term before them (PARAL); None: all."""
        return self.run(("PARAL " + _terms(terms)).strip())

    def set_coefficient(self, term: str, value: float) -> float:
        """Sets a term's coefficient in arcseconds (as typing "IH 12.5"
        does); returns the value in force."""
        if not isinstance(term, str) or not term.strip() or len(term.split()) != 1:
            raise ValueError(f"one term name, not {term!r}")
        self.run(f"{term.strip()} {_number(value)}")
        return self.coefficient(term)

    def coefficient(self, term: str) -> float:
        """A term's coefficient in arcseconds.

        Raises:
            KeyError: the term is not in the model.
        """
        model = self.model()
        key = term.strip().upper()
        for name, value in zip(model.names, model.value):
            if name == key:
                return float(value)
        raise KeyError(f"{term} is not in the model")

    def reset(self) -> str:
        """Sets every coefficient to 0 and the observations back to their input places (RESET)."""
        return self.run("RESET")

    def adjust(self, sense: str) -> str:
        """"T": the model adjusts the telescope to the stars; "S": the stars to the telescope."""
        if sense not in ("T", "S", "t", "s"):
            raise ValueError(f'adjust takes "T" or "S", not {sense!r}')
        return self.run("ADJUST " + sense.upper())

    def read_model(self, path: PathLike) -> Model:
        """Reads a model file (INMOD) and returns the model."""
        self.last_text = self.run("INMOD " + _file_argument(path))
        return self.model()

    def write_model(self, path: PathLike) -> str:
        """Writes the model to a file (OUTMOD); the old file survives a failed write."""
        return self.run("OUTMOD " + _file_argument(path))

    # ---- Fitting

    def fit(self, adjust: bool = True) -> FitResult:
        """Fits the floating terms (FIT; adjust=False runs FIT N, which
        changes nothing and describes the model as it stands) and returns
        the result. The printed report is in last_text.

        Raises:
            CommandError: no observations, not enough stars, too many terms.
        """
        self.last_text = self.run("FIT" if adjust else "FIT N")
        result = self.last_fit()
        if result is None:  # a FIT that succeeds always leaves its result
            raise RuntimeError("FIT left no result")
        return result

    def fit_tolerance(self, tolerance: float) -> str:
        """Sets the ill-conditioning criterion (FITTOL), 0 <= tolerance < 1."""
        return self.run("FITTOL " + _number(tolerance))

    def unfit(self, adjust: bool = True) -> str:
        """Removes the model from the observations (UNFIT, or UNFIT N)."""
        return self.run("UNFIT" if adjust else "UNFIT N")

    def call(self, procedure: str) -> str:
        """Runs a procedure of the library (CALL)."""
        return self.run("CALL " + str(procedure))

    def set_caption(self, caption: str) -> str:
        """Sets the caption (SETCAP)."""
        return self.run("SETCAP " + str(caption))

    def plot(self, kind: str = "GC", *arguments: str) -> Svg:
        """Draws a plot (G, GAM, GC, GDIST, GHYST, GMAP, GSCAT, GSMAP, with
        their arguments) and returns it as SVG, which Jupyter shows. The
        engine's plot device also keeps each page for its hardcopy file
        (GRAPHICS_HARDCOPY, zenfit.ps in workdir), written when the
        device closes (PLTOFF, or the end of the engine)."""
        kind = str(kind).strip().upper()
        if kind not in ("G", "GAM", "GC", "GDIST", "GHYST", "GMAP", "GSCAT", "GSMAP"):
            raise ValueError(f"no such plot: {kind!r}")
        self.last_text = self.run(" ".join([kind, *map(str, arguments)]))
        svg = self._engine.plot_svg()
        if not svg:
            raise RuntimeError(f"{kind} drew nothing")
        return Svg(svg)

    # ---- Typed state

    def observations(self) -> Observations:
        """The observation list as arrays (see Observations)."""
        return Observations(**self._engine.observations())

    def model(self) -> Model:
        """The pointing model as arrays (see Model)."""
        return Model(**self._engine.model())

    def last_fit(self) -> Optional[FitResult]:
        """The last fit that reached its report (see FitResult), or None."""
        data = self._engine.last_fit()
        return None if data is None else FitResult(**data)

    def residuals(self) -> Residuals:
        """Every observation's residuals (what SLIST lists; see Residuals)."""
        data = self._engine.residuals()
        d = data.pop("d")
        rms = data.pop("rms")
        columns = {name: np.ascontiguousarray(d[:, k]) for k, name in enumerate(_RESIDUAL_NAMES)}
        return Residuals(**data, **columns, rms=dict(zip(_RESIDUAL_NAMES, map(float, rms))))

    def run_parameters(self) -> RunParameters:
        """The run's site, date and weather, and the constants derived (see RunParameters)."""
        return RunParameters(**self._engine.run_parameters())


