"""Fits the example pointing run from Python and plots its residuals.

    python3 examples/analysis.py [picture.png]

Reads run.dat (beside this file), fits the model IH ID CH NP ME MA TF DAF,
prints the coefficient table from the typed fit result and draws the
residuals dX and dD against hour angle into a PNG (residuals.png in the
current folder unless a name is given).
"""

import os
import sys

here = os.path.dirname(os.path.abspath(__file__))

try:
    import numpy as np
    import matplotlib
except ImportError:
    # numpy and matplotlib come from Debian's packages, which Debian's
    # interpreter sees; another python3 first on the PATH may not.
    debian = "/usr/bin/python3"
    if os.path.exists(debian) and os.path.realpath(sys.executable) != os.path.realpath(debian):
        os.execv(debian, [debian, *sys.argv])
    sys.exit("analysis.py needs numpy and matplotlib (python3-numpy, python3-matplotlib)")

try:
    import zenfit
except ImportError:
    # Not installed: the module of a build in the source tree.
    sys.path.insert(0, os.path.join(here, os.pardir, "build", "python"))
    try:
        import zenfit
    except ImportError:
        sys.exit("the zenfit module is not built: run sh scripts/example.sh first")

matplotlib.use("Agg")  # draw to a file, no display needed
import matplotlib.pyplot as plt

picture = sys.argv[1] if len(sys.argv) > 1 else "residuals.png"

engine = zenfit.Engine(here)  # start-up loads stars.dat and procs.dat from here
observations = engine.read_observations("run.dat")
engine.use("IH ID CH NP ME MA TF DAF")
engine.fit()          # one linearised step from zero ...
fit = engine.fit()    # ... and a second one, which converges

print(engine.run_parameters().caption)
print(f"{len(observations)} observations, {fit.stars} used, {fit.q} terms fitted\n")
print("term        value    sigma  std.err.   (arcseconds)")
for name, value, sigma, error in zip(fit.names, fit.value, fit.sigma, fit.standard_error):
    print(f"{name:8s} {value:+9.2f} {sigma:8.3f} {error:8.3f}")
print(f"\nsky RMS {fit.sky_rms:.2f}\"   population SD {fit.population_sd:.2f}\"")
worst = np.unravel_index(np.argmax(np.abs(np.tril(fit.correlations, -1))), fit.correlations.shape)
print(f"largest correlation: {fit.fitted_names[worst[0]]} and {fit.fitted_names[worst[1]]}"
      f" {fit.correlations[worst]:+.3f}")

residuals = engine.residuals()
used = residuals.active
east = used & ~residuals.over_pole  # the telescope on its usual side of the pier
west = used & residuals.over_pole

figure, axes = plt.subplots(2, 1, sharex=True, figsize=(8, 6), constrained_layout=True)
for axis, values, label in ((axes[0], residuals.dx, "dX"), (axes[1], residuals.dd, "dD")):
    axis.axhline(0.0, color="0.6", linewidth=0.8)
    axis.plot(residuals.tel_ha[east], values[east], "o", markersize=4, label="normal")
    axis.plot(residuals.tel_ha[west], values[west], "s", markersize=4, label="over the pole")
    rms = residuals.rms[label.lower()]
    axis.set_ylabel(f'{label} (arcsec)  rms {rms:.2f}"')
    axis.grid(True, linewidth=0.3)
axes[0].legend(loc="upper right", fontsize="small")
axes[1].set_xlabel("telescope hour angle (hours)")
axes[1].set_xlim(-12, 12)
axes[1].set_xticks(range(-12, 13, 3))
figure.suptitle(f"Residuals after the fit: {fit.stars} stars, sky RMS {fit.sky_rms:.2f}\"")
figure.savefig(picture, dpi=100)
print(f"\nresiduals plotted in {picture}")
