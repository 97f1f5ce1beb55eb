// Test support for the plot library: a small XML reader for the SVG pages,
// the markers read back from them or from a page's display list, and the
// PNG pages decoded.
#pragma once

#include <cairo.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "plot/device.h"
#include "plot/memory_device.h"

namespace zenfit::plot::test {

// ---- XML ------------------------------------------------------------------

struct Element {
  std::string name;
  std::map<std::string, std::string> attributes;
  std::vector<Element> children;

  std::string attribute(const std::string& key) const { return attributes.contains(key) ? attributes.at(key) : ""; }
};

// Reads a well-formed document (a prolog, elements, quoted attributes,
// character data and the five predefined entities); throws on anything
// malformed, such as a tag closed out of order.
inline Element parseSvg(const std::string& s) {
  std::size_t i = 0;
  const auto fail = [&](const std::string& why) { throw std::runtime_error("XML: " + why + " at " + std::to_string(i)); };
  const auto space = [&] {
    while (i < s.size() && std::isspace(static_cast<unsigned char>(s[i]))) ++i;
  };
  const auto expect = [&](const std::string& what) {
    if (s.compare(i, what.size(), what) != 0) fail("'" + what + "' expected");
    i += what.size();
  };
  const auto name = [&] {
    const std::size_t start = i;
    while (i < s.size() && (std::isalnum(static_cast<unsigned char>(s[i])) || (s[i] && std::strchr(":-_", s[i])))) ++i;
    if (i == start) fail("name expected");
    return s.substr(start, i - start);
  };
  const auto data = [&](char stop) {  // character data up to `stop`, entities decoded
    static const std::map<std::string, char> kEntities = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    std::string out;
    for (; i < s.size() && s[i] != stop; ++i) {
      if (s[i] == '<') fail("'<' in character data");
      if (s[i] != '&') {
        out += s[i];
        continue;
      }
      const std::size_t semi = s.find(';', i);
      const auto entity = semi == std::string::npos ? kEntities.end() : kEntities.find(s.substr(i + 1, semi - i - 1));
      if (entity == kEntities.end()) fail("unknown entity");
      out += entity->second;
      i = semi;
    }
    if (i == s.size()) fail("unexpected end");
    return out;
  };
  const std::function<Element()> element = [&] {
    expect("<");
    Element e{name(), {}, {}};
    for (space(); s.compare(i, 1, ">") != 0; space()) {
      if (s.compare(i, 2, "/>") == 0) return i += 2, e;
      const std::string key = name();
      expect("=\"");
      std::string value = data('"');
      ++i;
      if (!e.attributes.emplace(key, std::move(value)).second) fail("repeated attribute " + key);
    }
    for (++i, data('<'); s.compare(i, 2, "</") != 0; data('<')) e.children.push_back(element());
    i += 2;
    if (name() != e.name) fail("element " + e.name + " closed out of order");
    space();
    expect(">");
    return e;
  };
  space();
  if (s.compare(i, 5, "<?xml") == 0) {
    if ((i = s.find("?>", i)) == std::string::npos) fail("unended prolog");
    i += 2, space();
  }
  Element root = element();
  space();
  if (i != s.size()) fail("text after the root element");
  return root;
}

// Every element below `root` with the given name, in document order.
inline std::vector<const Element*> all(const Element& root, const std::string& name) {
  std::vector<const Element*> out;
  for (const Element& child : root.children) {
    if (child.name == name) out.push_back(&child);
    for (const Element* below : all(child, name)) out.push_back(below);
  }
  return out;
}

// ---- Markers ----------------------------------------------------------------

struct Marker {
  double x, y;         // the centre, page units
  std::string shape;   // "circle", "triangle", "square"
  std::string colour;  // "#RRGGBB"
  bool filled;         // false: a ring, the outline of the shape
  double size;         // across
};

inline std::span<const Point> pointsOf(const Page& page, const Op& op) {
  return {page.points.data() + op.first, op.count};
}

// The markers of a page's display list, exactly as the chart drew them.
inline std::vector<Marker> pageMarkers(const Page& page) {
  static const char* const kShapes[] = {"circle", "triangle", "square", "diamond"};
  std::vector<Marker> out;
  for (const Op& op : page.ops) {
    if (op.kind != Op::Kind::Markers) continue;
    for (const Point& p : pointsOf(page, op)) {
      out.push_back({p.x, p.y, kShapes[static_cast<int>(op.shape)], penHex(op.pen), op.filled, op.size});
    }
  }
  return out;
}

// An outline read from a symbol's path data: its box and its contours.
struct Outline {
  double xMin = 1e300, xMax = -1e300, yMin = 1e300, yMax = -1e300;
  int contours = 0;  // sub-paths that draw something
  int corners = 0;   // of the first contour: its line segments
  bool curved = false;
};
inline Outline outlineOf(const std::string& d) {
  Outline o;
  std::istringstream in(d);
  std::string token;
  bool drawing = false, haveX = false;
  double x = 0;
  for (char command; in >> token;) {
    if (!std::isalpha(static_cast<unsigned char>(command = token[0]))) {
      const double v = std::stod(token);  // an x, then its y
      if (haveX) o.xMin = std::min(o.xMin, x), o.xMax = std::max(o.xMax, x), o.yMin = std::min(o.yMin, v), o.yMax = std::max(o.yMax, v);
      x = v, haveX = !haveX;
      continue;
    }
    drawing &= command != 'M';
    if ((command == 'L' || command == 'C') && !drawing) drawing = true, ++o.contours;
    if (command == 'L' && o.contours == 1) ++o.corners;
    o.curved |= command == 'C';
  }
  return o;
}

// The markers of an SVG page: cairo writes each marker set's shape once as a
// glyph (a symbol whose outline is centred on its origin; a letter's origin
// is on its baseline at its left), and each marker as a <use> of it at the
// marker's centre, inside a group whose fill, "rgb(0%,44.705882%,69.803922%)",
// gives the pen's colour.
inline std::vector<Marker> svgMarkers(const Element& svg) {
  std::map<std::string, Outline> glyphs;
  for (const Element* symbol : all(svg, "symbol")) {
    const std::vector<const Element*> paths = all(*symbol, "path");
    if (paths.size() == 1) glyphs["#" + symbol->attribute("id")] = outlineOf(paths[0]->attribute("d"));
  }
  std::vector<Marker> markers;
  for (const Element* group : all(svg, "g")) {
    const std::string style = group->attribute("style");
    double rgb[3] = {};
    const std::size_t fill = style.find("fill:rgb(");
    if (fill == std::string::npos ||
        std::sscanf(style.c_str() + fill, "fill:rgb(%lf%%,%lf%%,%lf%%)", &rgb[0], &rgb[1], &rgb[2]) != 3) {
      continue;
    }
    char colour[8];
    std::snprintf(colour, sizeof colour, "#%02X%02X%02X", static_cast<int>(std::lround(rgb[0] * 2.55)),
                  static_cast<int>(std::lround(rgb[1] * 2.55)), static_cast<int>(std::lround(rgb[2] * 2.55)));
    for (const Element& use : group->children) {
      const auto glyph = glyphs.find(use.attribute("xlink:href"));
      if (use.name != "use" || glyph == glyphs.end()) continue;
      const Outline& o = glyph->second;
      const double w = o.xMax - o.xMin, h = o.yMax - o.yMin;
      if (!(w > 0 && h > 0 && o.xMin < -0.3 * w && o.xMax > 0.3 * w && o.yMin < -0.2 * h && o.yMax > 0.2 * h)) continue;
      const std::string shape = o.curved ? "circle" : o.corners == 2 ? "triangle" : "square";
      markers.push_back({std::stod(use.attribute("x")), std::stod(use.attribute("y")), shape, colour,
                         o.contours == 1, w});
    }
  }
  return markers;
}

inline bool inside(const Rect& r, double x, double y, double tolerance = 1e-6) {
  return x >= r.x - tolerance && x <= r.right() + tolerance && y >= r.y - tolerance &&
         y <= r.bottom() + tolerance;
}

// ---- Documents ----------------------------------------------------------------

// The page objects of a PDF document ("/Type /Page", not "/Type /Pages").
inline int pdfPages(const std::string& pdf) {
  int n = 0;
  for (std::size_t at = pdf.find("/Type /Page"); at != std::string::npos; at = pdf.find("/Type /Page", at + 1)) {
    n += pdf.compare(at, 12, "/Type /Pages") != 0;
  }
  return n;
}

// A PNG page decoded, released when done.
struct Image {
  explicit Image(const std::string& png) {
    std::pair<const std::string*, std::size_t> source{&png, 0};
    surface = cairo_image_surface_create_from_png_stream(
        [](void* closure, unsigned char* data, unsigned int length) {
          auto* s = static_cast<std::pair<const std::string*, std::size_t>*>(closure);
          if (s->second + length > s->first->size()) return CAIRO_STATUS_READ_ERROR;
          std::copy_n(s->first->data() + s->second, length, data);
          s->second += length;
          return CAIRO_STATUS_SUCCESS;
        },
        &source);
  }
  ~Image() { cairo_surface_destroy(surface); }
  Image(const Image&) = delete;
  Image& operator=(const Image&) = delete;
  bool ok() const { return cairo_surface_status(surface) == CAIRO_STATUS_SUCCESS; }
  int width() const { return cairo_image_surface_get_width(surface); }
  int height() const { return cairo_image_surface_get_height(surface); }
  unsigned pixel(int x, int y) const {  // 0xRRGGBB
    const unsigned char* row = cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface);
    return reinterpret_cast<const std::uint32_t*>(row)[x] & 0xFFFFFF;
  }
  int inked() const {  // pixels that are not white
    int n = 0;
    for (int y = 0; y < height(); ++y) {
      for (int x = 0; x < width(); ++x) n += pixel(x, y) != 0xFFFFFF;
    }
    return n;
  }
  cairo_surface_t* surface;
};

}  // namespace zenfit::plot::test
