import os
import pathlib

import pytest

import zenfit

SOURCE = pathlib.Path(os.environ.get("ZENFIT_SOURCE_DIR", pathlib.Path(__file__).parents[2]))
EXAMPLES = SOURCE / "examples"
MODEL = "IH ID CH NP ME MA TF DAF"


@pytest.fixture
def fitted():
    """An engine that has read the example run and fitted its model twice,
    with the text of the second FIT."""
    engine = zenfit.Engine(EXAMPLES)
    engine.read_observations("run.dat")
    engine.use(MODEL)
    engine.fit()
    result = engine.fit()
    return engine, result, engine.last_text
