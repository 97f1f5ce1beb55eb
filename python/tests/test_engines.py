"""Lines and their errors, bad input, and engines that share nothing."""

import random
import threading

import numpy as np
import pytest

import zenfit
from conftest import EXAMPLES, MODEL, fit_example


def test_run_returns_the_lines_text_and_raises_with_the_engines_message(tmp_path):
    # The texts themselves are checked in tests/command.
    engine = zenfit.Engine(tmp_path)
    assert "There are 54 standard pointing terms." in engine.startup_text
    assert engine.run("USE IH ID") == "* USE IH ID\n"
    with pytest.raises(zenfit.CommandError) as error:
        engine.run("GSCATTER")
    assert str(error.value) == "Unrecognized command!"
    assert error.value.line == "GSCATTER"
    assert error.value.text == "* GSCATTER\nUnrecognized command!\n?\n"
    with pytest.raises(zenfit.CommandError, match="cannot be opened"):
        engine.read_observations("no/such/file.dat")
    with pytest.raises(zenfit.CommandError):
        engine.fit()  # no observations
    with pytest.raises(zenfit.CommandError, match="Parameter error"):
        engine.fit_tolerance(1.5)
    assert engine.last_fit() is None


@pytest.mark.parametrize("bad, error", [
    (None, TypeError),
    (b"USE IH", TypeError),
    (42, TypeError),
    ("USE " + "IH " * 3332, ValueError),  # 10,000 characters
    ("USE IH\nFIT", ValueError),
    ("USE\x00IH", ValueError),
])
def test_bad_lines_raise_before_the_engine(tmp_path, bad, error):
    engine = zenfit.Engine(tmp_path)
    with pytest.raises(error):
        engine.run(bad)
    assert len(engine.model()) == 0


@pytest.mark.parametrize("call, error", [
    (lambda e, d: zenfit.Engine(d / "missing"), FileNotFoundError),
    (lambda e, d: e.read_observations(None), TypeError),
    (lambda e, d: e.read_observations('say "hello".dat'), ValueError),
    (lambda e, d: e.use(["IH", 3]), TypeError),
    (lambda e, d: e.set_coefficient("IH", float("nan")), ValueError),
    (lambda e, d: e.set_coefficient("IH ID", 1.0), ValueError),
    (lambda e, d: e.mask(1.5), TypeError),
    (lambda e, d: e.adjust("X"), ValueError),
    (lambda e, d: e.plot("GNONE"), ValueError),
    (lambda e, d: e.set_coefficient("NOTATERM", 1.0), zenfit.CommandError),
])
def test_bad_arguments_raise(tmp_path, call, error):
    with pytest.raises(error):
        call(zenfit.Engine(tmp_path), tmp_path)


def test_junk_never_crashes_the_engine(tmp_path):
    # Random printable and non-ASCII junk, and binary files given to
    # every reading command: each line either succeeds or raises
    # CommandError, and the engine keeps working.
    (tmp_path / "junk.dat").write_bytes(bytes(random.Random(7).randrange(256) for _ in range(4000)))
    engine = zenfit.Engine(tmp_path)
    rng = random.Random(11)
    alphabet = "IHDUSEFITMASK0123456789 ,.!*?$'\"-+\t" + "\xe9\xff\u20ac"
    lines = [f"{command} junk.dat" for command in ("INDAT", "INMOD", "INST", "INPRO")]
    lines += ["".join(rng.choice(alphabet) for _ in range(rng.randrange(60))) for _ in range(300)]
    for line in lines:
        try:
            text = engine.run(line)
        except zenfit.CommandError as error:
            text = error.text
        assert "\r" not in text
    engine.lose()
    engine.use("IH")
    assert engine.model().names == ["IH"]


def _fit_example():
    engine, fit = fit_example()
    return fit.value, engine.residuals().dr


def test_engines_in_threads_give_what_one_engine_gives_and_a_shared_one_runs_a_line_at_a_time():
    want_values, want_dr = _fit_example()
    shared = zenfit.Engine(EXAMPLES)
    shared.read_observations("run.dat")
    shared.use(MODEL)
    results, errors = [], []

    def own():
        results.extend(_fit_example() for _ in range(3))

    def share():
        try:
            for _ in range(5):
                shared.fit(adjust=False)
                assert len(shared.residuals()) == 170
        except Exception as error:  # noqa: BLE001 - reported below
            errors.append(error)

    threads = [threading.Thread(target=f) for f in (own, own, own, own, share, share)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert len(results) == 12 and errors == []
    for values, dr in results:
        np.testing.assert_array_equal(values, want_values)
        np.testing.assert_array_equal(dr, want_dr)
