// Pages drawn with cairo: text measurement, the replay of a display list on
// a cairo context, and pages as SVG, PNG, PDF and PostScript bytes. Every
// mark and every byte of every format is made by cairo; this file only
// chooses how to hand the marks to it.
//
// An internal header of the plot library (it needs cairo's own headers,
// which the library links privately).
#pragma once

#include <cairo.h>

#include <string>

#include "plot/memory_device.h"

namespace zenfit::plot {

// Advance widths of text in the DejaVu faces, from a scratch cairo context.
class TextMeasure {
 public:
  TextMeasure();
  ~TextMeasure();
  TextMeasure(const TextMeasure&) = delete;
  TextMeasure& operator=(const TextMeasure&) = delete;
  double width(int font, double size, const std::string& text);

 private:
  cairo_surface_t* surface_;
  cairo_t* cr_;
};

namespace detail {

// What the page is drawn for; it decides how markers reach cairo.
enum class Target {
  Svg,     // each marker a <use> of one glyph per marker set
  Vector,  // PDF, PostScript: each marker set one path, filled or stroked once
  Image,   // pixels: each marker painted from a small pre-drawn image
};

// Draws a page on a context whose user space is the page. For an image,
// `pixelScale` is the number of pixels per page unit.
void drawPage(cairo_t* cr, const Page& page, Target target, double pixelScale = 1.0);

// The page as an SVG document (user units the page's points). False with a
// reason in `error` when cairo could not make it.
bool svgOfPage(const Page& page, std::string& bytes, std::string& error);

// The page as a PNG image of `scale` pixels per page unit.
bool pngOfPage(const Page& page, double scale, std::string& bytes, std::string& error);

// cairo's stream callback appending to a std::string.
cairo_status_t appendToString(void* closure, const unsigned char* data, unsigned int length);

}  // namespace detail
}  // namespace zenfit::plot
