#include "web/plot_marks.h"

#include <cmath>

namespace zenfit::web {

nlohmann::json plotMarks(const Interpreter& interpreter) {
  nlohmann::json marks = nlohmann::json::array();
  const PlotState& plot = interpreter.engine().plot;
  const std::vector<plot::Panel>& panels = plot.lastChart.panels;
  if (plot.lastAxes.size() != panels.size()) return marks;
  for (std::size_t i = 0; i < panels.size(); ++i) {
    const plot::Panel& panel = panels[i];
    const PanelAxes& axes = plot.lastAxes[i];
    for (const plot::ObservationPoint& p : plot.lastPoints) {
      plot::Point at;
      if (!axes.sky) {
        at = panel.toPage(plot::valueOf(p, axes.x), plot::valueOf(p, axes.y));
      } else if (panel.kind == plot::Panel::Kind::Polar) {
        at = panel.polarToPage(p.azDegrees, p.zdDegrees);
      } else {
        at = panel.toPage(p.haHours, p.decDegrees);
      }
      if (!std::isfinite(at.x) || !std::isfinite(at.y)) continue;
      // Hundredths of a unit, as the SVG gives its coordinates.
      marks.push_back({{"n", p.number},
                       {"x", std::round(at.x * 100.0) / 100.0},
                       {"y", std::round(at.y * 100.0) / 100.0}});
    }
  }
  return marks;
}

}  // namespace zenfit::web
