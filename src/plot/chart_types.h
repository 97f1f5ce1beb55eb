// Plain input and result types of the plot rendering library. They know
// nothing of the engine: a caller fills them from its own observation list
// and settings.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zenfit::plot {

// One observation as the charts see it; masked ones are passed too (they are
// drawn in the offpoints pen so that the user sees what was masked).
struct ObservationPoint {
  int number = 0;          // 1-based observation number
  bool active = true;      // false: masked
  bool overPole = false;   // observed over the pole (the other side of the pier)
  double haHours = 0.0;    // hour angle, hours, east negative
  double decDegrees = 0.0;
  double azDegrees = 0.0;  // azimuth, degrees, north through east, 0..360
  double zdDegrees = 0.0;  // zenith distance, degrees
  // Star minus telescope, arcseconds (for a map of model corrections: the
  // model's own correction at this observation, in the same sense).
  // dX: along the parallel towards increasing hour angle (a true angle);
  // dD: declination; dS: across the vertical circle towards decreasing
  // azimuth (increasing horizon longitude from the south through the east),
  // a true angle; dZ: zenith distance (positive: the star is lower);
  // dR: the whole offset on the sky.
  double dX = 0.0, dD = 0.0, dS = 0.0, dZ = 0.0, dR = 0.0;
};

// The quantities of a one-panel plot.
enum class Quantity { H, D, A, Z, N, DX, DD, DS, DZ, DR };

// "H", "dx", ...: the quantity a name stands for, in either case.
std::optional<Quantity> quantityFromName(std::string_view name);
double valueOf(const ObservationPoint& point, Quantity quantity);
// An axis title with its unit, e.g. "Hour angle (h)".
std::string axisTitle(Quantity quantity);

// Pen roles, the index into Style::pens.
enum PenRole { kFramePen, kCaptionPen, kAxesPen, kLabelsPen, kPointsPen, kOffpointsPen, kPenRoleCount };

// How a plot treats what is already on the page.
enum class ClearMode { NewPage = -1, None = 0, Zone = 1 };

struct Style {
  // Pens 1..8 per role (frame, caption, axes, labels, points, offpoints); see
  // the colour table in device.h.
  int pens[kPenRoleCount] = {1, 1, 1, 1, 2, 8};
  int captionFont = 1;  // 1 sans, 2 serif, 3 monospace
  int labelFont = 1;
  // The engine's stored marker height, 0..0.5 (MARKH's value halved); 0.1
  // draws markers 0.8% of the zone height across.
  double markerHeight = 0.1;
  bool frame = true;
  bool caption = true;
  std::string captionText;
  // The plotting zone: x1, y1, x2, y2 as fractions of the page, measured from
  // its lower left corner.
  double zone[4] = {0.0, 0.0, 1.0, 1.0};
  ClearMode clearMode = ClearMode::NewPage;
  // 2 (stroke): text scales with the zone like every other mark; 1 (char)
  // and 0 (string): text keeps the size it has on a whole page.
  int textPrecision = 2;
};

// Page geometry, in page units (points, 1/72 inch), origin at the top left,
// y downwards.
struct Point {
  double x = 0.0;
  double y = 0.0;
};

struct Rect {
  double x = 0.0;
  double y = 0.0;
  double width = 0.0;
  double height = 0.0;
  double right() const { return x + width; }
  double bottom() const { return y + height; }
  Point centre() const { return {x + width / 2.0, y + height / 2.0}; }
};

// One panel of a drawn chart: where it is on the page and how data map to it.
// A Cartesian panel maps x from xMin at area.x to xMax at area.right() and y
// from yMin at area.bottom() to yMax at area.y. A polar (horizon) panel puts
// the zenith at area's centre, zenith distance rMax at radius area.width / 2,
// north up and east left (the sky seen from below).
struct Panel {
  enum class Kind { Cartesian, Polar };
  Kind kind = Kind::Cartesian;
  Rect area;
  double xMin = 0.0, xMax = 1.0, yMin = 0.0, yMax = 1.0;
  double rMax = 90.0;  // polar panels: zenith distance at the rim, degrees

  Point toPage(double x, double y) const;      // Cartesian data to the page
  Point polarToPage(double azDegrees, double zdDegrees) const;
};

// What a chart drew: its panels in drawing order; for a vector map, the
// magnification it used.
struct Chart {
  std::vector<Panel> panels;
  double mapScale = 0.0;
};

}  // namespace zenfit::plot
