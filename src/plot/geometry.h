// Shapes and colours of the marks, shared by the renderer and the memory
// device.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>

#include "plot/device.h"

namespace zenfit::plot::detail {

// The corners of a polygonal marker `size` across, around the origin; the
// shapes have about the area of a circle of that diameter, the triangle
// points up with its centroid at the origin. Returns the corner count (0 for
// a circle).
inline int markerPolygon(MarkerShape shape, double size, std::array<Point, 4>& corners) {
  const double r = size / 2.0;
  switch (shape) {
    case MarkerShape::Triangle: {
      const double R = 1.25 * r;
      corners[0] = {0.0, -R};
      corners[1] = {R * std::sqrt(3.0) / 2.0, R / 2.0};
      corners[2] = {-R * std::sqrt(3.0) / 2.0, R / 2.0};
      return 3;
    }
    case MarkerShape::Square: {
      const double h = 0.886 * r;
      corners[0] = {-h, -h};
      corners[1] = {h, -h};
      corners[2] = {h, h};
      corners[3] = {-h, h};
      return 4;
    }
    case MarkerShape::Diamond: {
      const double h = 1.25 * r;
      corners[0] = {0.0, -h};
      corners[1] = {h, 0.0};
      corners[2] = {0.0, h};
      corners[3] = {-h, 0.0};
      return 4;
    }
    case MarkerShape::Circle: break;
  }
  return 0;
}

// Dash and gap lengths for a line of `width`; a dot is a zero-length dash
// drawn with round caps.
struct DashPattern {
  double on;
  double off;
  bool round;
};
inline DashPattern dashPattern(Dash dash, double width) {
  const double w = std::max(width, 0.5);
  if (dash == Dash::Dotted) return {0.0, 2.5 * w, true};
  return {4.0 * w, 3.0 * w, false};
}

// A colour mixed with white: tint 0 keeps it, 1 is white.
inline Colour tinted(Colour colour, double tint) {
  const double t = std::clamp(tint, 0.0, 1.0);
  return {colour.red + (1.0 - colour.red) * t, colour.green + (1.0 - colour.green) * t,
          colour.blue + (1.0 - colour.blue) * t};
}

}  // namespace zenfit::plot::detail

#include <string>
#include <string_view>

namespace zenfit::plot::detail {

// The text with every byte that is not part of a well-formed UTF-8 sequence
// replaced by '?': cairo refuses to draw malformed text, XML to hold it.
std::string wellFormedUtf8(std::string_view text);

}  // namespace zenfit::plot::detail
