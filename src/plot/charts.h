// The charts: each draws one plot of the observations on a device, as one
// plot (beginPlot .. endPlot) in the style's zone, and returns its panels.
// Residuals are star minus telescope, in arcseconds. Masked observations are
// drawn hollow in the offpoints pen, stars observed over the pole as
// triangles. An empty list draws empty axes.
#pragma once

#include <span>

#include "plot/chart_types.h"
#include "plot/device.h"

namespace zenfit::plot {

// One panel: quantity y against quantity x.
Chart drawQuantities(GraphicsDevice& device, std::span<const ObservationPoint> points,
                     const Style& style, Quantity y, Quantity x);

// Four panels: dX against h and d (top row), dD against h and d.
Chart drawEquatorialResiduals(GraphicsDevice& device, std::span<const ObservationPoint> points,
                              const Style& style);

// Four panels: dS against A and z (top row), dZ against A and z.
Chart drawAltazResiduals(GraphicsDevice& device, std::span<const ObservationPoint> points,
                         const Style& style);

struct ScatterOptions {
  bool horizon = false;  // dS against dZ instead of dX against dD
  // The sky RMS for the circles and the legend, arcseconds; 0: the RMS of
  // the observations in use, sqrt(mean(dX^2 + dD^2)).
  double skyRms = 0.0;
};
// The scatter diagram: equal scales, circles at 1 and 2 times the sky RMS.
Chart drawScatter(GraphicsDevice& device, std::span<const ObservationPoint> points,
                  const Style& style, const ScatterOptions& options = {});

// Histograms of dX, dD and dR (with `horizon`: dS, dZ and dR) of the
// observations in use, each with the curve a normal distribution of the same
// RMS predicts: for dX and dD (dS, dZ) a normal law of zero mean and
// sigma = RMS; for dR, the distribution of the length of a 2-D isotropic
// normal offset whose RMS length is dR's RMS (Rayleigh, sigma = RMS / sqrt 2).
Chart drawHistograms(GraphicsDevice& device, std::span<const ObservationPoint> points,
                     const Style& style, bool horizon = false);

enum class SkyPlot {
  Horizon,     // polar: azimuth around, zenith distance out from the centre,
               // north up and east left (the sky seen from below)
  Equatorial,  // hour angle (east left) against declination
};

// Where the observations are on the sky.
Chart drawDistribution(GraphicsDevice& device, std::span<const ObservationPoint> points,
                       const Style& style, SkyPlot sky = SkyPlot::Horizon);

struct MapOptions {
  SkyPlot sky = SkyPlot::Horizon;
  // Magnification: a vector of 1 arcsec is drawn as long as `scale` arcsec of
  // zenith distance (horizon) or declination (equatorial) on the plot; 0
  // chooses a round value that draws the RMS vector about 3.5% of the
  // plot's height long.
  double scale = 0.0;
  // The vectors are the model's own corrections, not residuals (the title
  // says so).
  bool modelCorrections = false;
};
// Residual (or model-correction) vectors at each observation on a sky plot,
// with a labelled scale arrow. Horizon: dS across and dZ along the vertical
// circle; equatorial: dX along the parallel and dD.
Chart drawVectorMap(GraphicsDevice& device, std::span<const ObservationPoint> points,
                    const Style& style, const MapOptions& options = {});

}  // namespace zenfit::plot
