// The drawing interface beneath the charts, and the pens and fonts every
// device shares.
//
// Coordinates are page units (points, 1/72 inch) with the origin at the top
// left of the page and y downwards. Sizes (line widths, marker sizes, font
// sizes) are in the same units.
//
// Pens (colour-blind-safe: black, then colours of the Okabe & Ito palette,
// "Color Universal Design", 2008, and a neutral grey):
//   1 black          #000000
//   2 blue           #0072B2
//   3 vermillion     #D55E00
//   4 bluish green   #009E73
//   5 reddish purple #CC79A7
//   6 orange         #E69F00
//   7 sky blue       #56B4E9
//   8 grey           #999999
// Default pens per role: frame 1, caption 1, axes 1, labels 1, points 2,
// offpoints 8. A pen outside 1..8 draws as pen 1.
//
// Fonts: 1 sans (DejaVu Sans), 2 serif (DejaVu Serif), 3 monospace (DejaVu
// Sans Mono); any other number draws as 1.
#pragma once

#include <span>
#include <string_view>

#include "plot/chart_types.h"

namespace zenfit::plot {

inline constexpr int kPenCount = 8;
inline constexpr int kDefaultPens[kPenRoleCount] = {1, 1, 1, 1, 2, 8};

struct Colour {
  double red, green, blue;  // 0..1
};
Colour penColour(int pen);
const char* penHex(int pen);      // "#0072B2"
const char* fontFamily(int font);  // "DejaVu Sans"
const char* genericFamily(int font);  // "sans-serif": the fallback a browser may use

// Nominal metrics of the DejaVu faces (fractions of the font size), used by
// every device to place text by its vertical alignment.
inline constexpr double kCapHeight = 0.73;
inline constexpr double kDescent = 0.24;

enum class MarkerShape { Circle, Triangle, Square, Diamond };
enum class HAlign { Left, Centre, Right };
// Top and Bottom: the capital letters' top, the descenders' bottom.
enum class VAlign { Top, Middle, Baseline, Bottom };
enum class Dash { Solid, Dashed, Dotted };

struct Segment {
  Point from;
  Point to;
};

// The baseline's offset below an anchor for a vertical alignment.
double baselineOffset(VAlign align, double fontSize);
// The two ends of an arrow's open head: strokes back from `to`, 25 degrees
// either side of the shaft, `head` long but never more than 40% of the arrow.
void arrowHead(const Segment& arrow, double head, Point ends[2]);

class GraphicsDevice {
 public:
  virtual ~GraphicsDevice() = default;

  // A screen that a user must look at answers true: the engine then waits
  // for a line after each plot. Files and memory never wait.
  virtual bool awaitsAcknowledgement() const { return false; }

  // The page: {0, 0, width, height}.
  virtual Rect page() const = 0;
  // Starts a plot in `zone`: NewPage finishes the page in hand and starts a
  // new one, Zone clears the zone, None draws over what is there. The first
  // plot always starts a page.
  virtual void beginPlot(const Rect& zone, ClearMode mode) = 0;
  virtual void endPlot() = 0;

  // Drawing state, kept until changed.
  virtual void setPen(int pen) = 0;
  virtual void setLineWidth(double width) = 0;
  virtual void setDash(Dash dash) = 0;
  virtual void setFont(int font, double size) = 0;
  // The advance width of a text in the current font.
  virtual double textWidth(std::string_view text) const = 0;

  virtual void polyline(std::span<const Point> points, bool closed) = 0;
  virtual void segments(std::span<const Segment> segments) = 0;
  virtual void arrows(std::span<const Segment> arrows, double head) = 0;
  // Markers `size` across, centred on each point; a hollow one is outlined
  // with the current line width.
  virtual void markers(std::span<const Point> centres, MarkerShape shape, double size,
                       bool filled) = 0;
  virtual void circle(Point centre, double radius, bool filled) = 0;
  // tint: 0 the pen's colour, towards 1 lighter (mixed with white).
  virtual void fillRect(const Rect& rect, double tint) = 0;
  virtual void strokeRect(const Rect& rect) = 0;
  // UTF-8 text anchored at `at`; angle in degrees, counter-clockwise.
  virtual void text(Point at, std::string_view text, HAlign h, VAlign v, double angle) = 0;
  // Drawing is clipped to `rect` until unclip().
  virtual void clip(const Rect& rect) = 0;
  virtual void unclip() = 0;

  void line(Point from, Point to) {
    const Segment segment{from, to};
    segments({&segment, 1});
  }
  void arrow(Point from, Point to, double head) {
    const Segment segment{from, to};
    arrows({&segment, 1}, head);
  }
  void marker(Point centre, MarkerShape shape, double size, bool filled) {
    markers({&centre, 1}, shape, size, filled);
  }
  void text(Point at, std::string_view text, HAlign h, VAlign v) { this->text(at, text, h, v, 0.0); }
};

}  // namespace zenfit::plot
