"""Plots as SVG text for Jupyter."""

import shutil

import pytest

import zenfit
from conftest import EXAMPLES, MODEL


def test_plot_returns_the_svg_of_the_page_drawn(tmp_path):
    # A folder of its own: the plot device writes its hardcopy there at the end.
    for name in ("run.dat", "stars.dat"):
        shutil.copy(EXAMPLES / name, tmp_path)
    engine = zenfit.Engine(tmp_path)
    engine.read_observations("run.dat")
    engine.use(MODEL)
    engine.fit()
    if "Plot drawn" not in engine.run("GC"):
        pytest.skip("the plot commands of this build draw nothing")
    residuals = engine.plot("GC")
    assert isinstance(residuals, zenfit.Svg)
    assert "<svg" in residuals.text and residuals.text.rstrip().endswith("</svg>")
    assert residuals._repr_svg_() == str(residuals) == residuals.text
    assert engine.last_text.startswith("* GC\n")
    sky = engine.plot("gmap")
    assert sky.text != residuals.text
    residuals.save(tmp_path / "gc.svg")
    assert (tmp_path / "gc.svg").read_text(encoding="utf-8") == residuals.text
    with pytest.raises(zenfit.CommandError):
        engine.plot("G", "NONSENSE")
