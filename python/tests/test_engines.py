"""Lines and their errors, bad input, and engines that share nothing."""

import random
import threading

import numpy as np
import pytest

import zenfit
from conftest import EXAMPLES, MODEL


def test_run_returns_the_lines_text_and_raises_with_the_engines_message(tmp_path):
    engine = zenfit.Engine(tmp_path)
    assert "There are 54 standard pointing terms." in engine.startup_text
    assert engine.run("USE IH ID") == "* USE IH ID\n"
    assert engine.run("IH 5") == "* IH 5\nIH      :   old =   +0.00,   new =   +5.00\n"
    assert engine.run("") == ""
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


def test_bad_arguments_raise(tmp_path):
    engine = zenfit.Engine(tmp_path)
    with pytest.raises(FileNotFoundError):
        zenfit.Engine(tmp_path / "missing")
    with pytest.raises(TypeError):
        engine.read_observations(None)
    with pytest.raises(ValueError):
        engine.read_observations('say "hello".dat')
    with pytest.raises(TypeError):
        engine.use(["IH", 3])
    with pytest.raises(ValueError):
        engine.set_coefficient("IH", float("nan"))
    with pytest.raises(ValueError):
        engine.set_coefficient("IH ID", 1.0)
    with pytest.raises(TypeError):
        engine.mask(1.5)
    with pytest.raises(ValueError):
        engine.adjust("X")
    with pytest.raises(ValueError):
        engine.plot("GNONE")
    with pytest.raises(zenfit.CommandError, match="Unrecognized"):
        engine.set_coefficient("NOTATERM", 1.0)


def test_junk_never_crashes_the_engine(tmp_path):
    # Random printable and non-ASCII junk, and binary files given to
    # every reading command: each line either succeeds or raises
    # CommandError, and the engine keeps working.
    (tmp_path / "junk.dat").write_bytes(bytes(random.Random(7).randrange(256) for _ in range(4000)))
    engine = zenfit.Engine(tmp_path)
    for command in ("INDAT", "INMOD", "INST", "INPRO"):
        try:
            engine.run(f"{command} junk.dat")
        except zenfit.CommandError:
            pass
    rng = random.Random(11)
    alphabet = "IHDUSEFITMASK0123456789 ,.!*?$'\"-+\t" + "\xe9\xff\u20ac"
    for _ in range(300):
        line = "".join(rng.choice(alphabet) for _ in range(rng.randrange(60)))
        try:
            text = engine.run(line)
        except zenfit.CommandError as error:
            text = error.text
        assert "\r" not in text
    engine.lose()
    engine.use("IH")
    assert engine.model().names == ["IH"]


def test_two_engines_share_nothing(tmp_path):
    first = zenfit.Engine(EXAMPLES)
    first.read_observations("run.dat")
    first.use("IH ID")
    second = zenfit.Engine(tmp_path)
    assert len(second.observations()) == 0
    assert len(second.model()) == 0
    second.use("NP")
    second.set_coefficient("NP", 3.0)
    assert first.model().names == ["IH", "ID"]
    first.fit()
    assert second.last_fit() is None
    assert second.run_parameters().caption != first.run_parameters().caption


def _session(results, index):
    engine = zenfit.Engine(EXAMPLES)
    for _ in range(3):
        engine.read_observations("run.dat")
        engine.lose()
        engine.use(MODEL)
        engine.fit()
        fit = engine.fit()
        results[index].append((fit.value.copy(), engine.residuals().dr.copy()))


def test_engines_in_threads_give_what_one_engine_gives():
    alone = [[]]
    _session(alone, 0)
    results = [[] for _ in range(4)]
    threads = [threading.Thread(target=_session, args=(results, i)) for i in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    want_values, want_dr = alone[0][0]
    for runs in results:
        assert len(runs) == 3
        for values, dr in runs:
            np.testing.assert_array_equal(values, want_values)
            np.testing.assert_array_equal(dr, want_dr)


def test_one_engine_used_from_two_threads_runs_one_line_at_a_time():
    engine = zenfit.Engine(EXAMPLES)
    engine.read_observations("run.dat")
    engine.use(MODEL)
    errors = []

    def worker():
        try:
            for _ in range(5):
                engine.fit(adjust=False)
                assert len(engine.residuals()) == 170
        except Exception as error:  # noqa: BLE001 - reported below
            errors.append(error)

    threads = [threading.Thread(target=worker) for _ in range(2)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert errors == []
