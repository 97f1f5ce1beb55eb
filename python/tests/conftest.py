import os
import pathlib

import pytest

import zenfit

SOURCE = pathlib.Path(os.environ.get("ZENFIT_SOURCE_DIR", pathlib.Path(__file__).parents[2]))
EXAMPLES = SOURCE / "examples"
MODEL = "IH ID CH NP ME MA TF DAF"


def fit_example():
    """An engine that has read the example run and fitted its model twice,
    and the second fit."""
    engine = zenfit.Engine(EXAMPLES)
    engine.read_observations("run.dat")
    engine.use(MODEL)
    engine.fit()
    return engine, engine.fit()


@pytest.fixture
def fitted():
    """fit_example, with the text of the second FIT."""
    engine, result = fit_example()
    return engine, result, engine.last_text
