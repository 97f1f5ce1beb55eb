// The compiled half of the Python module: one engine per object, its
// command lines, and its typed state copied out as numpy arrays in
// dictionaries. The Python half (zenfit/__init__.py) turns these into
// dataclasses and adds the documented interface.
//
// Units at this boundary: hour angles and sidereal times in hours,
// declinations, azimuths and zenith distances in degrees, coefficients,
// sigmas and residuals in arcseconds.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cmath>
#include <limits>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "astro/astro.h"
#include "astro/vectors.h"
#include "base/constants.h"
#include "command/interpreter.h"
#include "fit/residuals.h"

namespace py = pybind11;

namespace zenfit {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kHoursPerRadian = 12.0 / kPi;

// Engine texts are bytes: captions and echoed lines may hold anything a
// file held. Invalid UTF-8 becomes U+FFFD rather than an exception.
py::str text(const std::string& bytes) {
  PyObject* decoded =
      PyUnicode_DecodeUTF8(bytes.data(), static_cast<Py_ssize_t>(bytes.size()), "replace");
  if (decoded == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(decoded);
}

// An hour angle in hours, in -12 .. +12.
double hours(double radians) { return wrapPi(radians) * kHoursPerRadian; }
double degrees(double radians) { return radians * kDegreesPerRadian; }
double arcsec(double radians) { return radians * kArcsecPerRadian; }

template <typename T>
py::array_t<T> column(std::size_t n) {
  return py::array_t<T>(static_cast<py::ssize_t>(n));
}

// Azimuth (north through east, 0-360) and zenith distance, degrees, of an
// observed-frame hour angle and declination: the same horizon turn as the
// residual listing, so the two agree to the last bit.
void azimuthZenith(const RunState& run, double ha, double dec, double& azimuth, double& zenith) {
  double v[3];
  astro::haDecToHorizon(ha, dec, run.sinLat, run.cosLat, v);
  double longitude = 0.0;
  double elevation = 0.0;
  vectorToSpherical(v, longitude, elevation);
  azimuth = wrapTwoPi(kPi - longitude) * kDegreesPerRadian;
  zenith = (kHalfPi - elevation) * kDegreesPerRadian;
}

class PyEngine {
 public:
  PyEngine(const std::string& folder, const std::string& ini) {
    py::gil_scoped_release release;  // start-up reads files
    interpreter_ = std::make_unique<Interpreter>(folder, ini);
  }

  bool started() const { return interpreter_->started(); }
  py::str startupText() const { return text(interpreter_->startupText()); }

  // One command line: (succeeded, text). The interpreter runs without the
  // GIL so that engines in other threads go on; the lock keeps two
  // threads from sharing this one.
  py::tuple run(const std::string& line) {
    Interpreter::Outcome outcome;
    {
      py::gil_scoped_release release;
      std::lock_guard<std::mutex> lock(mutex_);
      outcome = interpreter_->run(line);
    }
    return py::make_tuple(outcome.ok, text(outcome.text));
  }

  py::dict observations() {
    std::lock_guard<std::mutex> lock(mutex_);
    const Engine& engine = interpreter_->engine();
    const ObservationList& list = engine.observations;
    const RunState& run = engine.run;
    const std::size_t n = static_cast<std::size_t>(list.count());
    auto number = column<int>(n);
    auto active = column<bool>(n);
    auto kind = column<int>(n);
    auto overPole = column<bool>(n);
    std::vector<py::array_t<double>> angles;
    const char* const angleNames[] = {
        "star_ha", "star_dec", "tel_ha", "tel_dec",
        "star_ha_input", "star_dec_input", "tel_ha_input", "tel_dec_input",
        "star_azimuth", "star_zenith_distance", "tel_azimuth", "tel_zenith_distance",
        "sidereal_time"};
    for (std::size_t k = 0; k < std::size(angleNames); ++k) angles.push_back(column<double>(n));
    py::array_t<double> aux({static_cast<py::ssize_t>(n), py::ssize_t{3}});
    {
      auto num = number.mutable_unchecked<1>();
      auto act = active.mutable_unchecked<1>();
      auto knd = kind.mutable_unchecked<1>();
      auto pole = overPole.mutable_unchecked<1>();
      auto ax = aux.mutable_unchecked<2>();
      std::vector<double*> a;
      for (auto& array : angles) a.push_back(array.mutable_data());
      for (std::size_t i = 0; i < n; ++i) {
        const Observation& o = list[static_cast<int>(i)];
        num(i) = static_cast<int>(i) + 1;
        act(i) = o.isActive();
        knd(i) = o.kind;
        pole(i) = o.pierFlag != 0;
        a[0][i] = hours(o.starHaWork);
        a[1][i] = degrees(o.starDecWork);
        a[2][i] = hours(o.telHaWork);
        a[3][i] = degrees(o.telDecWork);
        a[4][i] = hours(o.starHa);
        a[5][i] = degrees(o.starDec);
        a[6][i] = hours(o.telHa);
        a[7][i] = degrees(o.telDec);
        azimuthZenith(run, o.starHaWork, o.starDecWork, a[8][i], a[9][i]);
        azimuthZenith(run, o.telHaWork, o.telDecWork, a[10][i], a[11][i]);
        a[12][i] = wrapTwoPi(o.siderealTime) * kHoursPerRadian;
        for (int k = 0; k < 3; ++k) ax(i, k) = o.aux[k];
      }
    }
    py::dict out;
    out["number"] = number;
    out["active"] = active;
    out["kind"] = kind;
    out["over_pole"] = overPole;
    for (std::size_t k = 0; k < angles.size(); ++k) out[angleNames[k]] = angles[k];
    out["aux"] = aux;
    return out;
  }

  py::dict model() {
    std::lock_guard<std::mutex> lock(mutex_);
    const Engine& engine = interpreter_->engine();
    const Model& model = engine.model;
    const std::size_t n = static_cast<std::size_t>(model.inUse());
    py::list names;
    auto term = column<int>(n);
    auto value = column<double>(n);
    auto sigma = column<double>(n);
    auto floating = column<bool>(n);
    auto chained = column<bool>(n);
    for (std::size_t i = 0; i < n; ++i) {
      const ModelEntry& e = model[static_cast<int>(i)];
      names.append(text(engine.terms.name(e.term)));
      term.mutable_at(i) = e.term;
      value.mutable_at(i) = arcsec(e.value);
      sigma.mutable_at(i) = e.hasSigma() ? arcsec(e.sigma) : kNaN;
      floating.mutable_at(i) = e.floating != 0;
      chained.mutable_at(i) = e.chained != 0;
    }
    py::dict out;
    out["names"] = names;
    out["term"] = term;
    out["value"] = value;
    out["sigma"] = sigma;
    out["floating"] = floating;
    out["chained"] = chained;
    out["adjust"] = engine.settings.adjustSense == AdjustSense::Stars ? "S" : "T";
    out["fit_tolerance"] = engine.settings.fitTolerance;
    return out;
  }

  // The last fit that reached its report, or None.
  py::object lastFit() {
    std::lock_guard<std::mutex> lock(mutex_);
    const FitResult* fit = interpreter_->lastFit();
    if (fit == nullptr) return py::none();
    const std::vector<std::string>& termNames = interpreter_->lastFitNames();
    const std::size_t n = fit->terms.size();
    const int q = fit->fitted;
    const int stars = fit->stars;
    // Residual variance per independent component: each star gives two
    // (the difference of two unit vectors lies, to first order, in the
    // plane of the sky), so 2n components and q parameters.
    const int freedom = 2 * stars - q;
    const double variance = freedom > 0 ? fit->sumSquares / freedom : kNaN;  // radians^2

    py::list names;
    py::list fittedNames;
    auto fitted = column<bool>(n);
    auto change = column<double>(n);
    auto value = column<double>(n);
    auto sigma = column<double>(n);
    auto standardError = column<double>(n);
    for (std::size_t i = 0; i < n; ++i) {
      const FittedTerm& t = fit->terms[i];
      const std::string name = i < termNames.size() ? termNames[i] : std::string();
      names.append(text(name));
      const bool isFitted = t.column >= 0;
      fitted.mutable_at(i) = isFitted;
      value.mutable_at(i) = arcsec(t.value);
      change.mutable_at(i) = isFitted ? t.change : kNaN;
      sigma.mutable_at(i) = isFitted ? arcsec(t.sigma) : kNaN;
      standardError.mutable_at(i) =
          isFitted ? arcsec(std::sqrt(fit->covarianceAt(t.column, t.column) * variance)) : kNaN;
      if (isFitted) fittedNames.append(text(name));
    }
    // Fitted columns in column order (the order of the correlation matrix),
    // which is model order.
    py::array_t<double> correlations({static_cast<py::ssize_t>(q), static_cast<py::ssize_t>(q)});
    py::array_t<double> covariance({static_cast<py::ssize_t>(q), static_cast<py::ssize_t>(q)});
    {
      auto r = correlations.mutable_unchecked<2>();
      auto c = covariance.mutable_unchecked<2>();
      const double scale = variance * kArcsecPerRadian * kArcsecPerRadian;
      for (int i = 0; i < q; ++i) {
        for (int j = 0; j < q; ++j) {
          r(i, j) = fit->correlation(i, j);
          c(i, j) = fit->covarianceAt(i, j) * scale;
        }
      }
    }
    py::list alwaysZero;
    for (int columnIndex : fit->alwaysZero) {
      for (std::size_t i = 0; i < n; ++i) {
        if (fit->terms[i].column == columnIndex && i < termNames.size()) {
          alwaysZero.append(text(termNames[i]));
        }
      }
    }
    py::list withdrawn;
    for (int slot : fit->withdrawn) withdrawn.append(slot + 1);

    py::dict out;
    out["names"] = names;
    out["fitted"] = fitted;
    out["change"] = change;
    out["value"] = value;
    out["sigma"] = sigma;
    out["standard_error"] = standardError;
    out["fitted_names"] = fittedNames;
    out["correlations"] = correlations;
    out["covariance"] = covariance;
    out["stars"] = stars;
    out["q"] = q;
    out["sum_squares"] = fit->sumSquares * kArcsecPerRadian * kArcsecPerRadian;
    out["sky_rms"] = arcsec(fit->skyRms);
    out["population_sd"] = fit->popSd < 0.0 ? kNaN : arcsec(fit->popSd);
    out["always_zero"] = alwaysZero;
    out["ill_conditioned"] = fit->illConditioned;
    out["zeroed_ratios"] = fit->illConditioned
                               ? py::object(py::make_tuple(fit->smallestRatio, fit->largestRatio))
                               : py::object(py::none());
    out["withdrawn"] = withdrawn;
    return out;
  }

  py::dict residuals() {
    std::lock_guard<std::mutex> lock(mutex_);
    const Engine& engine = interpreter_->engine();
    const ResidualTable table = residualTable(engine.observations, engine.run);
    const std::size_t n = table.rows.size();
    auto number = column<int>(n);
    auto active = column<bool>(n);
    auto overPole = column<bool>(n);
    auto telHa = column<double>(n);
    auto telDec = column<double>(n);
    auto starHa = column<double>(n);
    auto starDec = column<double>(n);
    auto azimuth = column<double>(n);
    auto zenith = column<double>(n);
    py::array_t<double> d({static_cast<py::ssize_t>(n), py::ssize_t{kResidualComponents}});
    {
      auto dd = d.mutable_unchecked<2>();
      for (std::size_t i = 0; i < n; ++i) {
        const ResidualRow& row = table.rows[i];
        number.mutable_at(i) = row.number;
        active.mutable_at(i) = row.active;
        overPole.mutable_at(i) = row.overPole;
        telHa.mutable_at(i) = hours(row.telHa);
        telDec.mutable_at(i) = degrees(row.telDec);
        starHa.mutable_at(i) = hours(row.starHa);
        starDec.mutable_at(i) = degrees(row.starDec);
        azimuth.mutable_at(i) = row.azimuth;
        zenith.mutable_at(i) = row.zenithDistance;
        for (int k = 0; k < kResidualComponents; ++k) dd(i, k) = row.active ? row.d[k] : kNaN;
      }
    }
    py::array_t<double> rms(kResidualComponents);
    for (int k = 0; k < kResidualComponents; ++k) rms.mutable_at(k) = table.rms[k];
    py::dict out;
    out["number"] = number;
    out["active"] = active;
    out["over_pole"] = overPole;
    out["tel_ha"] = telHa;
    out["tel_dec"] = telDec;
    out["star_ha"] = starHa;
    out["star_dec"] = starDec;
    out["azimuth"] = azimuth;
    out["zenith_distance"] = zenith;
    out["d"] = d;
    out["rms"] = rms;
    return out;
  }

  py::dict runParameters() {
    std::lock_guard<std::mutex> lock(mutex_);
    const Engine& engine = interpreter_->engine();
    const RunState& run = engine.run;
    py::dict out;
    out["caption"] = text(run.caption);
    out["present"] = run.obsPresent > 0;
    out["latitude"] = degrees(run.latitude());
    out["refraction_a"] = arcsec(run.refA);
    out["refraction_b"] = arcsec(run.refB);
    out["diurnal_aberration"] = arcsec(run.diurab);
    if (engine.runDescription) {
      const RunDescription& d = *engine.runDescription;
      const RunParameters& p = d.params;
      out["dated"] = p.dated;
      out["year"] = p.dated ? py::object(py::int_(p.year)) : py::object(py::none());
      out["month"] = p.dated ? py::object(py::int_(p.month)) : py::object(py::none());
      out["day"] = p.dated ? py::object(py::float_(p.day)) : py::object(py::none());
      out["mjd"] = p.dated ? py::object(py::float_(p.mjd)) : py::object(py::none());
      out["meteorology"] = p.meteorology;
      out["temperature"] = p.temperature;
      out["pressure"] = p.effectivePressure;
      out["height"] = p.effectiveHeight;
      out["humidity"] = p.humidity;
      out["wavelength"] = p.wavelength;
      out["lapse_rate"] = p.lapseRate;
      out["frame"] = std::string(1, d.frame);
      out["no_date"] = (d.mode & 1) != 0;
      out["all_sky"] = (d.mode & 2) != 0;
    }
    return out;
  }

  py::str plotSvg() {
    std::lock_guard<std::mutex> lock(mutex_);
    return text(interpreter_->lastPlotSvg());
  }

 private:
  std::unique_ptr<Interpreter> interpreter_;
  std::mutex mutex_;
};

}  // namespace
}  // namespace zenfit

PYBIND11_MODULE(_zenfit, m) {
  using zenfit::PyEngine;
  m.doc() = "The compiled engine behind the zenfit package (use zenfit.Engine).";
  m.attr("__version__") = ZENFIT_VERSION;
  m.attr("MAX_LINE") = zenfit::kLineLength;
  py::class_<PyEngine>(m, "_Engine", "One engine; see zenfit.Engine.")
      .def(py::init<const std::string&, const std::string&>(), py::arg("folder"), py::arg("ini"),
           "Starts an engine in folder with the initialisation file ini ('' for zenfit.ini).")
      .def_property_readonly("started", &PyEngine::started, "Start-up succeeded.")
      .def_property_readonly("startup_text", &PyEngine::startupText, "What start-up said.")
      .def("run", &PyEngine::run, py::arg("line"),
           "Runs one line; returns (succeeded, text). Releases the GIL while it runs.")
      .def("observations", &PyEngine::observations, "The observation list as arrays.")
      .def("model", &PyEngine::model, "The model as arrays.")
      .def("last_fit", &PyEngine::lastFit, "The last fit as arrays, or None.")
      .def("residuals", &PyEngine::residuals, "The residual table as arrays.")
      .def("run_parameters", &PyEngine::runParameters, "The run as a dict.")
      .def("plot_svg", &PyEngine::plotSvg, "The last plot as SVG text ('' before the first).");
}
