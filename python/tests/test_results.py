"""The typed results against what the engine prints, against the example
file, and against independent computations."""

import math

import numpy as np
import pytest

import zenfit
from conftest import EXAMPLES


def test_typed_fit_prints_as_the_report(fitted):
    engine, fit, text = fitted
    assert fit.q == 8 and fit.stars == 170 and fit.fitted.all()
    lines = text.split("\n")
    # Every coefficient line, rebuilt from the typed result.
    for i, name in enumerate(fit.names):
        want = f"{i + 1:3d}     {name:<8s}{fit.change[i]:+9.3f}{fit.value[i]:+10.2f}{fit.sigma[i]:9.3f}"
        assert want in lines
    assert f"Sky RMS ={fit.sky_rms:7.2f}" in lines
    assert f"Popn SD ={fit.population_sd:7.2f}" in lines
    # The correlation triangle (8 terms: one block of rows ID .. DAF).
    for i in range(1, fit.q):
        row = f"{fit.fitted_names[i]:<8s}" + "".join(f"{r:+8.4f}" for r in fit.correlations[i, :i])
        assert row in lines
    assert "          " + "".join(f"{n:<8s}" for n in fit.fitted_names[:-1]) in lines
    # The model holds what the fit found.
    model = engine.model()
    np.testing.assert_array_equal(model.value, fit.value)
    np.testing.assert_array_equal(model.sigma, fit.sigma)


def test_fit_statistics_agree_with_the_residuals(fitted):
    # The sigmas themselves are checked against an independent least-squares
    # solution in tests/fit; here the typed fields must belong together.
    engine, fit, _ = fitted
    res = engine.residuals()
    # The sky RMS is the RMS of the total error dR; S its sum of squares.
    assert fit.sky_rms == pytest.approx(res.rms["dr"], rel=1e-9)
    assert fit.sum_squares == pytest.approx(np.sum(res.dr ** 2), rel=1e-9)
    np.testing.assert_allclose(np.sqrt(np.diag(fit.covariance)), fit.standard_error, rtol=1e-12)


def test_observations_have_their_shapes_and_units_and_match_the_sky(fitted):
    engine, _, _ = fitted
    obs = engine.observations()
    # The shapes of the rest: the comparisons below would broadcast a wrong one and fail.
    n = 170
    for name in ("number", "active", "kind", "over_pole", "sidereal_time"):
        assert getattr(obs, name).shape == (n,), name
    assert obs.aux.shape == (n, 3)
    np.testing.assert_array_equal(obs.number, np.arange(1, n + 1))
    assert obs.active.all() and set(obs.kind) == {2, 3} and 0 < obs.over_pole.sum() < n
    # Units: hours and degrees.
    for ha in (obs.star_ha, obs.tel_ha, obs.star_ha_input, obs.tel_ha_input):
        assert np.all(np.abs(ha) <= 12.0) and np.ptp(ha) > 12.0
    for dec in (obs.star_dec, obs.tel_dec):
        assert np.all(np.abs(dec) <= 90.0) and np.ptp(dec) > 60.0
    assert np.all((obs.sidereal_time >= 0) & (obs.sidereal_time < 24))
    # The sidereal time of the first record is 06 40.0000.
    assert obs.sidereal_time[0] == pytest.approx(6 + 40 / 60, abs=1e-9)
    # Azimuth (north through east) and zenith distance by spherical
    # trigonometry, from hour angle, declination and the site latitude.
    lat = math.radians(engine.run_parameters().latitude)
    for ha, dec, az, zd in ((obs.star_ha, obs.star_dec, obs.star_azimuth, obs.star_zenith_distance),
                            (obs.tel_ha, obs.tel_dec, obs.tel_azimuth, obs.tel_zenith_distance)):
        h, d = np.radians(ha * 15.0), np.radians(dec)
        cos_z = math.sin(lat) * np.sin(d) + math.cos(lat) * np.cos(d) * np.cos(h)
        azimuth = np.degrees(np.arctan2(-np.cos(d) * np.sin(h),
                                        np.sin(d) * math.cos(lat) - np.cos(d) * np.cos(h) * math.sin(lat)))
        np.testing.assert_allclose(zd, np.degrees(np.arccos(cos_z)), atol=1e-9)
        np.testing.assert_allclose((az - azimuth % 360.0 + 180.0) % 360.0 - 180.0, 0.0, atol=1e-7)
    # The fit replaced the star side (ADJUST T); the telescope side is as read.
    np.testing.assert_array_equal(obs.tel_ha, obs.tel_ha_input)
    assert np.max(np.abs(obs.star_ha - obs.star_ha_input)) * 54000 > 10.0  # arcsec


def test_residuals_are_star_minus_telescope_in_arcseconds(fitted):
    engine, _, _ = fitted
    obs = engine.observations()
    res = engine.residuals()
    assert res.dx.shape == res.dr.shape == (len(obs),)
    dha = (obs.star_ha - obs.tel_ha + 12.0) % 24.0 - 12.0
    np.testing.assert_allclose(res.dx, dha * 54000.0 * np.cos(np.radians(obs.tel_dec)), atol=1e-6)
    np.testing.assert_allclose(res.dd, (obs.star_dec - obs.tel_dec) * 3600.0, atol=1e-6)
    # Two tangent-plane components of one small displacement, to first order.
    np.testing.assert_allclose(res.dr, np.hypot(res.dx, res.dd), atol=1e-3)
    np.testing.assert_allclose(res.dr, np.hypot(res.ds, res.dz), atol=1e-3)
    np.testing.assert_array_equal(res.azimuth, obs.tel_azimuth)
    # SLIST's RMS line, from the typed table.
    text = engine.run("SLIST")
    rms = "".join(f"{res.rms[k]:7.2f}" for k in ("dx", "dd", "ds", "dz", "dr"))
    assert "RMS  " + rms in text
    # A masked observation has a place but no differences, and leaves the RMS.
    engine.mask(5)
    masked = engine.residuals()
    assert not masked.active[4] and np.isnan(masked.dx[4]) and not np.isnan(masked.tel_ha[4])
    keep = np.arange(len(obs)) != 4
    assert masked.rms["dr"] == pytest.approx(math.sqrt(np.mean(res.dr[keep] ** 2)), rel=1e-12)
    assert not engine.observations().active[4]


def test_model_and_run_parameters(tmp_path):
    engine = zenfit.Engine(tmp_path)
    assert len(engine.model()) == 0 and engine.last_fit() is None
    engine.use(["IH", "ID", "hxsh2"])
    engine.fix("ID")
    engine.parallel("HXSH2")
    assert engine.set_coefficient("ih", 12.5) == 12.5
    model = engine.model()
    assert model.names == ["IH", "ID", "HXSH2"]
    np.testing.assert_array_equal(model.value, [12.5, 0.0, 0.0])
    np.testing.assert_array_equal(model.floating, [True, False, True])
    np.testing.assert_array_equal(model.chained, [True, True, False])
    assert np.isnan(model.sigma).all()
    assert model.adjust == "T" and model.fit_tolerance == 0.01
    assert model.coefficients() == {"IH": 12.5, "ID": 0.0, "HXSH2": 0.0}
    with pytest.raises(KeyError):
        engine.coefficient("NP")

    engine = zenfit.Engine(EXAMPLES)
    assert engine.run_parameters().present is False
    engine.read_observations("run")  # run.dat, by the file-name rule
    run = engine.run_parameters()
    # +28 45 36.0 2024 3 14.85000 8.5 775.0 2330 0.35 0.55 0.0065
    assert run.latitude == pytest.approx(28 + 45 / 60 + 36 / 3600, abs=1e-12)
    assert (run.year, run.month, run.day) == (2024, 3, pytest.approx(14.85))
    assert (run.temperature, run.pressure, run.height, run.humidity) == (8.5, 775.0, 2330.0, 0.35)
    assert run.wavelength == 0.55 and run.lapse_rate == pytest.approx(0.0065)
    assert run.frame == "A" and run.dated and run.meteorology and not run.no_date
    assert run.caption.startswith("1.0-m GEM, pointing run of 2024 March 14/15")


def test_write_and_read_a_model(fitted, tmp_path):
    engine, fit, _ = fitted
    engine.write_model(tmp_path / "fitted model.dat")
    other = zenfit.Engine(tmp_path)
    model = other.read_model("fitted model.dat")
    assert model.names == fit.names
    np.testing.assert_allclose(model.value, fit.value, atol=0.005)
