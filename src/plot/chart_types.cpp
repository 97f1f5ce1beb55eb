#include "plot/chart_types.h"

#include <cctype>
#include <cmath>

namespace zenfit::plot {

std::optional<Quantity> quantityFromName(std::string_view name) {
  static constexpr struct {
    const char* name;
    Quantity quantity;
  } kNames[] = {{"H", Quantity::H},   {"D", Quantity::D},   {"A", Quantity::A},
                {"Z", Quantity::Z},   {"N", Quantity::N},   {"DX", Quantity::DX},
                {"DD", Quantity::DD}, {"DS", Quantity::DS}, {"DZ", Quantity::DZ},
                {"DR", Quantity::DR}};
  std::string upper;
  for (char c : name) upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  for (const auto& entry : kNames) {
    if (upper == entry.name) return entry.quantity;
  }
  return std::nullopt;
}

double valueOf(const ObservationPoint& point, Quantity quantity) {
  switch (quantity) {
    case Quantity::H: return point.haHours;
    case Quantity::D: return point.decDegrees;
    case Quantity::A: return point.azDegrees;
    case Quantity::Z: return point.zdDegrees;
    case Quantity::N: return point.number;
    case Quantity::DX: return point.dX;
    case Quantity::DD: return point.dD;
    case Quantity::DS: return point.dS;
    case Quantity::DZ: return point.dZ;
    case Quantity::DR: return point.dR;
  }
  return 0.0;
}

std::string axisTitle(Quantity quantity) {
  switch (quantity) {
    case Quantity::H: return "Hour angle h (hours)";
    case Quantity::D: return "Declination \xCE\xB4 (\xC2\xB0)";
    case Quantity::A: return "Azimuth A (\xC2\xB0, N through E)";
    case Quantity::Z: return "Zenith distance z (\xC2\xB0)";
    case Quantity::N: return "Observation number";
    case Quantity::DX: return "dX (arcsec)";
    case Quantity::DD: return "dD (arcsec)";
    case Quantity::DS: return "dS (arcsec)";
    case Quantity::DZ: return "dZ (arcsec)";
    case Quantity::DR: return "dR (arcsec)";
  }
  return {};
}

Point Panel::toPage(double x, double y) const {
  const double fx = xMax != xMin ? (x - xMin) / (xMax - xMin) : 0.5;
  const double fy = yMax != yMin ? (y - yMin) / (yMax - yMin) : 0.5;
  return {area.x + fx * area.width, area.bottom() - fy * area.height};
}

Point Panel::polarToPage(double azDegrees, double zdDegrees) const {
  const double r = (rMax > 0.0 ? zdDegrees / rMax : 0.0) * area.width / 2.0;
  const double a = azDegrees * M_PI / 180.0;
  // North up, east left: the sky seen from below.
  const Point centre = area.centre();
  return {centre.x - r * std::sin(a), centre.y - r * std::cos(a)};
}

}  // namespace zenfit::plot
