// Test support for the plot library: a small XML reader for the SVG pages,
// the marks read back from them, and a recording device that keeps every
// drawing call as data.
#pragma once

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "plot/cairo_render.h"
#include "plot/chart_types.h"
#include "plot/device.h"

namespace zenfit::plot::test {

// ---- XML ------------------------------------------------------------------

struct Element {
  std::string name;
  std::map<std::string, std::string> attributes;
  std::string text;  // character data directly inside, entities decoded
  std::vector<Element> children;

  std::string attribute(const std::string& key) const {
    auto found = attributes.find(key);
    return found == attributes.end() ? std::string() : found->second;
  }
  double number(const std::string& key) const { return std::stod(attribute(key)); }
};

// Reads a well-formed document (prolog, elements, attributes, character
// data and the five predefined entities); throws on anything malformed, such
// as a tag closed out of order.
class XmlReader {
 public:
  explicit XmlReader(std::string_view text) : text_(text) {}

  Element document() {
    skipSpace();
    if (text_.substr(pos_, 5) == "<?xml") {
      pos_ = text_.find("?>", pos_);
      if (pos_ == std::string_view::npos) fail("unterminated prolog");
      pos_ += 2;
    }
    skipSpace();
    Element root = element();
    skipSpace();
    if (pos_ != text_.size()) fail("text after the root element");
    return root;
  }

 private:
  [[noreturn]] void fail(const std::string& why) const {
    throw std::runtime_error("XML: " + why + " at " + std::to_string(pos_));
  }
  void skipSpace() {
    while (pos_ < text_.size() && std::isspace(static_cast<unsigned char>(text_[pos_]))) ++pos_;
  }
  std::string name() {
    const std::size_t start = pos_;
    while (pos_ < text_.size() && (std::isalnum(static_cast<unsigned char>(text_[pos_])) ||
                                   text_[pos_] == ':' || text_[pos_] == '-' || text_[pos_] == '_')) {
      ++pos_;
    }
    if (pos_ == start) fail("name expected");
    return std::string(text_.substr(start, pos_ - start));
  }
  std::string decode(std::string_view raw) const {
    std::string out;
    for (std::size_t i = 0; i < raw.size(); ++i) {
      if (raw[i] == '<') fail("'<' in character data");
      if (raw[i] != '&') {
        out += raw[i];
        continue;
      }
      const std::size_t end = raw.find(';', i);
      if (end == std::string_view::npos) fail("unterminated entity");
      const std::string_view entity = raw.substr(i + 1, end - i - 1);
      if (entity == "amp") out += '&';
      else if (entity == "lt") out += '<';
      else if (entity == "gt") out += '>';
      else if (entity == "quot") out += '"';
      else if (entity == "apos") out += '\'';
      else fail("unknown entity");
      i = end;
    }
    return out;
  }
  Element element() {
    if (text_[pos_] != '<') fail("'<' expected");
    ++pos_;
    Element e;
    e.name = name();
    for (;;) {
      skipSpace();
      if (pos_ >= text_.size()) fail("unterminated tag");
      if (text_.substr(pos_, 2) == "/>") {
        pos_ += 2;
        return e;
      }
      if (text_[pos_] == '>') {
        ++pos_;
        break;
      }
      const std::string key = name();
      if (text_.substr(pos_, 2) != "=\"") fail("attribute value expected");
      pos_ += 2;
      const std::size_t end = text_.find('"', pos_);
      if (end == std::string_view::npos) fail("unterminated attribute");
      if (!e.attributes.emplace(key, decode(text_.substr(pos_, end - pos_))).second) {
        fail("repeated attribute " + key);
      }
      pos_ = end + 1;
    }
    for (;;) {
      const std::size_t next = text_.find('<', pos_);
      if (next == std::string_view::npos) fail("unterminated element " + e.name);
      e.text += decode(text_.substr(pos_, next - pos_));
      pos_ = next;
      if (text_.substr(pos_, 2) == "</") {
        pos_ += 2;
        if (name() != e.name) fail("element " + e.name + " closed out of order");
        skipSpace();
        if (text_[pos_] != '>') fail("'>' expected");
        ++pos_;
        return e;
      }
      e.children.push_back(element());
    }
  }

  std::string_view text_;
  std::size_t pos_ = 0;
};

inline Element parseSvg(const std::string& svg) { return XmlReader(svg).document(); }

// Every element below `root` with the given name, in document order.
inline void collect(const Element& root, const std::string& name, std::vector<const Element*>& out) {
  for (const Element& child : root.children) {
    if (child.name == name) out.push_back(&child);
    collect(child, name, out);
  }
}
inline std::vector<const Element*> all(const Element& root, const std::string& name) {
  std::vector<const Element*> out;
  collect(root, name, out);
  return out;
}

// A marker read back from an SVG page: cairo writes each marker set's shape
// once as a glyph (a symbol whose outline is centred on its origin), and
// each marker as a <use> of it at the marker's centre, inside a group that
// gives the pen's colour.
struct SvgMarker {
  double x, y;         // the centre, page units
  std::string shape;   // "circle", "triangle", "square"
  std::string colour;  // "#RRGGBB"
  bool filled;         // false: a ring, the outline of the shape
  double size;         // the glyph's width
};

// "rgb(0%,44.705882%,69.803922%)" as "#0072B2".
inline std::string hexOfSvgColour(const std::string& rgb) {
  double channel[3] = {};
  if (std::sscanf(rgb.c_str(), "rgb(%lf%%,%lf%%,%lf%%)", &channel[0], &channel[1], &channel[2]) != 3) {
    return rgb;
  }
  char hex[8];
  std::snprintf(hex, sizeof hex, "#%02X%02X%02X", static_cast<int>(std::lround(channel[0] * 2.55)),
                static_cast<int>(std::lround(channel[1] * 2.55)), static_cast<int>(std::lround(channel[2] * 2.55)));
  return hex;
}

// The value of one property of an SVG style attribute ("" when absent).
inline std::string styleProperty(const std::string& style, const std::string& name) {
  std::size_t at = 0;
  while ((at = style.find(name + ":", at)) != std::string::npos) {
    if (at == 0 || style[at - 1] == ';' || style[at - 1] == ' ') {
      const std::size_t start = at + name.size() + 1;
      return style.substr(start, style.find(';', start) - start);
    }
    at += name.size();
  }
  return {};
}

inline const Element* elementWithId(const Element& root, const std::string& id) {
  for (const Element& child : root.children) {
    if (child.attribute("id") == id) return &child;
    if (const Element* found = elementWithId(child, id)) return found;
  }
  return nullptr;
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
  char command = 0;
  bool drawing = false;
  std::vector<double> pending;
  while (in >> token) {
    if (std::isalpha(static_cast<unsigned char>(token[0]))) {
      command = token[0];
      if (command == 'M') drawing = false;
      if ((command == 'L' || command == 'C') && !drawing) drawing = true, ++o.contours;
      if (command == 'L' && o.contours == 1) ++o.corners;
      if (command == 'C') o.curved = true;
      continue;
    }
    pending.push_back(std::stod(token));
    if (pending.size() == 2) {
      o.xMin = std::min(o.xMin, pending[0]), o.xMax = std::max(o.xMax, pending[0]);
      o.yMin = std::min(o.yMin, pending[1]), o.yMax = std::max(o.yMax, pending[1]);
      pending.clear();
    }
  }
  return o;
}

// A glyph is a marker's when its origin (the marker's centre) lies well
// inside its box; a letter's origin is on its baseline at its left.
inline bool isMarkerGlyph(const Outline& o) {
  const double w = o.xMax - o.xMin, h = o.yMax - o.yMin;
  return w > 0 && h > 0 && o.xMin < -0.3 * w && o.xMax > 0.3 * w && o.yMin < -0.2 * h && o.yMax > 0.2 * h;
}

inline std::vector<SvgMarker> svgMarkers(const Element& svg) {
  std::map<std::string, Outline> glyphs;
  for (const Element* symbol : all(svg, "symbol")) {
    const std::vector<const Element*> paths = all(*symbol, "path");
    if (paths.size() == 1) glyphs["#" + symbol->attribute("id")] = outlineOf(paths[0]->attribute("d"));
  }
  std::vector<SvgMarker> markers;
  for (const Element* group : all(svg, "g")) {
    const std::string colour = hexOfSvgColour(styleProperty(group->attribute("style"), "fill"));
    for (const Element& use : group->children) {
      if (use.name != "use") continue;
      const auto glyph = glyphs.find(use.attribute("xlink:href"));
      if (glyph == glyphs.end() || !isMarkerGlyph(glyph->second)) continue;
      const Outline& o = glyph->second;
      const std::string shape = o.curved ? "circle" : o.corners == 2 ? "triangle" : "square";
      markers.push_back({use.number("x"), use.number("y"), shape, colour, o.contours == 1, o.xMax - o.xMin});
    }
  }
  return markers;
}

// How often `needle` occurs in `text`.
inline int occurrences(const std::string& text, const std::string& needle) {
  int n = 0;
  for (std::size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) ++n;
  return n;
}

// The page objects of a PDF document ("/Type /Page", not "/Type /Pages").
inline int pdfPages(const std::string& pdf) {
  return occurrences(pdf, "/Type /Page") - occurrences(pdf, "/Type /Pages");
}

inline bool inside(const Rect& r, double x, double y, double tolerance = 1e-6) {
  return x >= r.x - tolerance && x <= r.right() + tolerance && y >= r.y - tolerance &&
         y <= r.bottom() + tolerance;
}

// ---- A recording device ----------------------------------------------------

struct RecordedMarkers {
  std::vector<Point> centres;
  MarkerShape shape;
  double size;
  bool filled;
  int pen;
};
struct RecordedText {
  Point at;
  std::string text;
  HAlign h;
  VAlign v;
  double angle;
  int font;
  double size;
  int pen;
  double width;  // measured when drawn
};
struct RecordedLine {
  Segment segment;
  int pen;
  Dash dash;
  bool clipped;  // drawn while a clip was set
};
struct RecordedRect {
  Rect rect;
  int pen;
  bool filled;
};

class RecordingDevice : public GraphicsDevice {
 public:
  explicit RecordingDevice(double width = 720.0, double height = 540.0) : width_(width), height_(height) {}

  Rect page() const override { return {0.0, 0.0, width_, height_}; }
  void beginPlot(const Rect& zone, ClearMode mode) override {
    ++plots;
    zones.push_back(zone);
    modes.push_back(mode);
  }
  void endPlot() override { ++ended; }
  void setPen(int pen) override { pen_ = pen; }
  void setLineWidth(double) override {}
  void setDash(Dash dash) override { dash_ = dash; }
  void setFont(int font, double size) override {
    font_ = font;
    size_ = size;
  }
  double textWidth(std::string_view text) const override {
    return measure_.width(font_, size_, std::string(text));
  }
  void polyline(std::span<const Point> points, bool) override {
    for (std::size_t i = 1; i < points.size(); ++i) lines.push_back({{points[i - 1], points[i]}, pen_, dash_, depth_ > 0});
  }
  void segments(std::span<const Segment> list) override {
    for (const Segment& s : list) lines.push_back({s, pen_, dash_, depth_ > 0});
  }
  void arrows(std::span<const Segment> list, double) override {
    for (const Segment& s : list) arrowList.push_back({s, pen_, dash_, depth_ > 0});
  }
  void markers(std::span<const Point> centres, MarkerShape shape, double size, bool filled) override {
    markerSets.push_back({{centres.begin(), centres.end()}, shape, size, filled, pen_});
  }
  void circle(Point centre, double radius, bool filled) override {
    circles.push_back({{centre.x - radius, centre.y - radius, 2 * radius, 2 * radius}, pen_, filled});
  }
  void fillRect(const Rect& rect, double) override { rects.push_back({rect, pen_, true}); }
  void strokeRect(const Rect& rect) override { rects.push_back({rect, pen_, false}); }
  void text(Point at, std::string_view text, HAlign h, VAlign v, double angle) override {
    texts.push_back({at, std::string(text), h, v, angle, font_, size_, pen_, textWidth(text)});
  }
  void clip(const Rect& rect) override {
    clips.push_back(rect);
    ++depth_;
  }
  void unclip() override { depth_ = std::max(0, depth_ - 1); }
  using GraphicsDevice::text;

  // The markers of every set drawn with this pen, shape and fill.
  std::vector<Point> markersOf(int pen, MarkerShape shape, bool filled) const {
    std::vector<Point> out;
    for (const RecordedMarkers& set : markerSets) {
      if (set.pen == pen && set.shape == shape && set.filled == filled) {
        out.insert(out.end(), set.centres.begin(), set.centres.end());
      }
    }
    return out;
  }
  bool hasText(const std::string& text) const {
    for (const RecordedText& t : texts) {
      if (t.text == text) return true;
    }
    return false;
  }
  // The box a text covers on the page (capitals to descenders; accents
  // reach a little higher).
  static Rect textBox(const RecordedText& t) {
    const double along0 = t.h == HAlign::Left ? 0.0 : t.h == HAlign::Centre ? -t.width / 2 : -t.width;
    const double base = baselineOffset(t.v, t.size);
    const double top = base - 0.95 * t.size, bottom = base + kDescent * t.size;
    if (t.angle == 0.0) return {t.at.x + along0, t.at.y + top, t.width, bottom - top};
    // Turned a quarter counter-clockwise: along runs up, "down" runs right.
    return {t.at.x + top, t.at.y - along0 - t.width, bottom - top, t.width};
  }

  int plots = 0;
  int ended = 0;
  std::vector<Rect> zones;
  std::vector<ClearMode> modes;
  std::vector<RecordedMarkers> markerSets;
  std::vector<RecordedText> texts;
  std::vector<RecordedLine> lines;
  std::vector<RecordedLine> arrowList;
  std::vector<RecordedRect> rects;
  std::vector<RecordedRect> circles;
  std::vector<Rect> clips;

 private:
  double width_, height_;
  int pen_ = 1;
  Dash dash_ = Dash::Solid;
  int depth_ = 0;
  int font_ = 1;
  double size_ = 10.0;
  mutable TextMeasure measure_;
};

}  // namespace zenfit::plot::test
