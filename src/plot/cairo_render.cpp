#include "plot/cairo_render.h"

#include <cairo-svg.h>
#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "plot/geometry.h"

namespace zenfit::plot {

namespace {

// Unhinted outlines and metrics, so that text measured at one scale has the
// same width when drawn at another (an image at 1.5 pixels per point, a PDF).
void useLinearMetrics(cairo_t* cr) {
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_set_font_options(cr, options);
  cairo_font_options_destroy(options);
}

void selectFont(cairo_t* cr, int font, double size) {
  cairo_select_font_face(cr, fontFamily(font), CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  cairo_set_font_size(cr, size);
}

void setColour(cairo_t* cr, Colour c) { cairo_set_source_rgb(cr, c.red, c.green, c.blue); }

void setStroke(cairo_t* cr, int pen, double width, Dash dash) {
  setColour(cr, penColour(pen));
  cairo_set_line_width(cr, width);
  cairo_set_line_cap(cr, CAIRO_LINE_CAP_BUTT);
  cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
  if (dash == Dash::Solid) {
    cairo_set_dash(cr, nullptr, 0, 0.0);
  } else {
    const detail::DashPattern pattern = detail::dashPattern(dash, width);
    const double dashes[2] = {pattern.on, pattern.off};
    cairo_set_dash(cr, dashes, 2, 0.0);
    if (pattern.round) cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
  }
}

void setStroke(cairo_t* cr, const Op& op) { setStroke(cr, op.pen, op.lineWidth, op.dash); }

bool finite(Point p) { return std::isfinite(p.x) && std::isfinite(p.y); }

// cairo keeps coordinates in 24.8 fixed point: points far outside the page
// (a marker of a wild value) are dropped rather than wrapped onto it.
bool drawable(Point p) { return finite(p) && std::fabs(p.x) < 1e6 && std::fabs(p.y) < 1e6; }

// Adds one marker's outline, centred on `at`, to the path.
void markerPath(cairo_t* cr, Point at, MarkerShape shape, double size) {
  std::array<Point, 4> corners;
  const int n = detail::markerPolygon(shape, size, corners);
  cairo_new_sub_path(cr);
  if (n == 0) {
    cairo_arc(cr, at.x, at.y, size / 2.0, 0.0, 2.0 * M_PI);
  } else {
    for (int i = 0; i < n; ++i) cairo_line_to(cr, at.x + corners[i].x, at.y + corners[i].y);
  }
  cairo_close_path(cr);
}

// Fills or outlines the path in the marker's pen (an outline always solid).
void finishMarker(cairo_t* cr, const Op& op) {
  setStroke(cr, op.pen, op.lineWidth, Dash::Solid);
  if (op.filled) {
    cairo_fill(cr);
  } else {
    cairo_stroke(cr);
  }
}

// Half the side of a square that holds a marker of the op with its outline.
double markerReach(const Op& op) { return 0.65 * op.size + op.lineWidth + 1.0; }

// SVG: the markers as the glyphs of a font made for the set (cairo's user
// font), one glyph the marker one em across, centred on its origin, all
// shown at once. cairo writes the glyph once as a symbol and each marker as
// a <use> of it at the marker's centre, in a group of the pen's colour: a
// small file, quickly written, one element per marker. (A path of
// thousands of sub-paths is one element; a fill per marker takes seconds;
// a recording surface painted at each centre gives uses as well, but
// cairo 1.16 loses memory with it.)
struct MarkerGlyph {
  MarkerShape shape;
  bool filled;
  double outline;  // a hollow marker's line width, in ems
};
const cairo_user_data_key_t kMarkerGlyphKey{};

// One outline of the marker scaled by `scale` about its centre, in ems;
// `reverse` runs it the other way (the inside of a ring).
void glyphOutline(cairo_t* cr, MarkerShape shape, double scale, bool reverse) {
  std::array<Point, 4> corners;
  const int n = detail::markerPolygon(shape, scale, corners);
  cairo_new_sub_path(cr);
  if (n == 0) {
    if (reverse) {
      cairo_arc_negative(cr, 0.0, 0.0, scale / 2.0, 2.0 * M_PI, 0.0);
    } else {
      cairo_arc(cr, 0.0, 0.0, scale / 2.0, 0.0, 2.0 * M_PI);
    }
  } else {
    for (int i = 0; i < n; ++i) {
      const Point& c = corners[reverse ? n - 1 - i : i];
      cairo_line_to(cr, c.x, c.y);
    }
  }
  cairo_close_path(cr);
}

cairo_status_t renderMarkerGlyph(cairo_scaled_font_t* font, unsigned long, cairo_t* cr,
                                 cairo_text_extents_t* extents) {
  const auto* glyph = static_cast<const MarkerGlyph*>(
      cairo_font_face_get_user_data(cairo_scaled_font_get_font_face(font), &kMarkerGlyphKey));
  if (glyph == nullptr) return CAIRO_STATUS_USER_FONT_ERROR;
  cairo_set_tolerance(cr, 0.001);  // ems: arcs as smooth as at the page's tolerance
  if (glyph->filled) {
    glyphOutline(cr, glyph->shape, 1.0, false);
  } else {  // a ring: the outline's width straddling the marker's edge
    glyphOutline(cr, glyph->shape, 1.0 + glyph->outline, false);
    glyphOutline(cr, glyph->shape, std::max(0.0, 1.0 - glyph->outline), true);
  }
  cairo_fill(cr);
  const double half = 0.65 * (1.0 + glyph->outline);
  *extents = {-half, -half, 2.0 * half, 2.0 * half, 0.0, 0.0};
  return CAIRO_STATUS_SUCCESS;
}

void svgMarkers(cairo_t* cr, const Page& page, const Op& op) {
  if (!(op.size > 0.0) || !(op.size < 1e4)) return;
  // The glyph is drawn when the surface writes it, at the end of the page:
  // the face owns its description.
  cairo_font_face_t* face = cairo_user_font_face_create();
  cairo_user_font_face_set_render_glyph_func(face, renderMarkerGlyph);
  cairo_font_face_set_user_data(face, &kMarkerGlyphKey, new MarkerGlyph{op.shape, op.filled, op.lineWidth / op.size},
                                [](void* glyph) { delete static_cast<MarkerGlyph*>(glyph); });
  std::vector<cairo_glyph_t> glyphs;
  glyphs.reserve(op.count);
  for (std::uint32_t i = 0; i < op.count; ++i) {
    const Point p = page.points[op.first + i];
    if (drawable(p)) glyphs.push_back({0, p.x, p.y});
  }
  cairo_save(cr);
  cairo_set_font_face(cr, face);
  cairo_set_font_size(cr, op.size);
  setColour(cr, penColour(op.pen));
  cairo_show_glyphs(cr, glyphs.data(), static_cast<int>(glyphs.size()));
  cairo_restore(cr);  // the face is no longer in use ...
  cairo_font_face_destroy(face);  // ... and goes with its last scaled font
}

// PDF and PostScript: every marker of the set a sub-path of one path.
void pathMarkers(cairo_t* cr, const Page& page, const Op& op) {
  for (std::uint32_t i = 0; i < op.count; ++i) {
    const Point p = page.points[op.first + i];
    if (drawable(p)) markerPath(cr, p, op.shape, op.size);
  }
  finishMarker(cr, op);
}

// Pixels: the marker drawn by cairo into small images, one for each
// quarter-pixel offset of its centre, each marker then painted from the
// image for its offset at whole pixels (a rectangle filled from it). For
// thousands of markers this is several times quicker than filling their
// arcs; the centres stay within an eighth of a pixel.
void imageMarkers(cairo_t* cr, const Page& page, const Op& op, double scale) {
  constexpr int kPhases = 4;
  const double reach = markerReach(op) * scale;
  const int extent = static_cast<int>(std::ceil(2.0 * reach)) + 2;
  if (extent > 2000) return;  // an absurd size: nothing sensible to draw
  const int half = extent / 2;
  cairo_surface_t* sprites[kPhases][kPhases] = {};
  cairo_save(cr);
  cairo_identity_matrix(cr);  // device space: whole pixels
  for (std::uint32_t i = 0; i < op.count; ++i) {
    const Point p = page.points[op.first + i];
    if (!drawable(p)) continue;
    const double qx = std::round(p.x * scale * kPhases);
    const double qy = std::round(p.y * scale * kPhases);
    const double baseX = std::floor(qx / kPhases);
    const double baseY = std::floor(qy / kPhases);
    const int phaseX = static_cast<int>(qx - baseX * kPhases);
    const int phaseY = static_cast<int>(qy - baseY * kPhases);
    cairo_surface_t*& sprite = sprites[phaseY][phaseX];
    if (sprite == nullptr) {
      sprite = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, extent, extent);
      cairo_t* s = cairo_create(sprite);
      cairo_scale(s, scale, scale);
      markerPath(s, {(half + double(phaseX) / kPhases) / scale, (half + double(phaseY) / kPhases) / scale},
                 op.shape, op.size);
      finishMarker(s, op);
      cairo_destroy(s);
    }
    const double left = baseX - half, top = baseY - half;
    cairo_set_source_surface(cr, sprite, left, top);
    cairo_rectangle(cr, left, top, extent, extent);
    cairo_fill(cr);
  }
  cairo_restore(cr);
  for (auto& row : sprites) {
    for (cairo_surface_t* sprite : row) {
      if (sprite != nullptr) cairo_surface_destroy(sprite);
    }
  }
}

void drawText(cairo_t* cr, const Op& op) {
  if (!drawable({op.rect.x, op.rect.y})) return;
  selectFont(cr, op.font, op.fontSize);
  setColour(cr, penColour(op.pen));
  cairo_text_extents_t extents;
  cairo_text_extents(cr, op.text.c_str(), &extents);
  double dx = 0.0;
  if (op.hAlign == HAlign::Centre) dx = -extents.x_advance / 2.0;
  if (op.hAlign == HAlign::Right) dx = -extents.x_advance;
  cairo_save(cr);
  cairo_translate(cr, op.rect.x, op.rect.y);
  cairo_rotate(cr, -op.angle * M_PI / 180.0);
  cairo_move_to(cr, dx, baselineOffset(op.vAlign, op.fontSize));
  cairo_show_text(cr, op.text.c_str());
  cairo_new_path(cr);
  cairo_restore(cr);
}

// Segments or arrows (an open head of two strokes at the tip), as one path
// stroked once. On an image, thin solid lines are drawn with cairo's fast
// antialiasing, which serves hair lines as well at a fraction of the time.
void drawSegments(cairo_t* cr, const Page& page, const Op& op, bool arrows, detail::Target target,
                  double scale) {
  setStroke(cr, op);
  const bool fast = target == detail::Target::Image && op.dash == Dash::Solid && op.lineWidth * scale <= 2.5;
  // Thousands of lines (a map of a full list) crowd the page: drawn without
  // antialiasing, at least a pixel wide so that none vanishes between pixel
  // centres, they look the same in a third less time, and the PNG is half
  // the size.
  const bool crowded = fast && op.count > 4000;
  if (crowded) {
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
    cairo_set_line_width(cr, std::max(op.lineWidth, 1.0 / scale));
  } else if (fast) {
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_FAST);
  }
  for (std::uint32_t i = 0; i + 1 < op.count; i += 2) {
    const Segment s{page.points[op.first + i], page.points[op.first + i + 1]};
    if (!drawable(s.from) || !drawable(s.to)) continue;
    cairo_move_to(cr, s.from.x, s.from.y);
    cairo_line_to(cr, s.to.x, s.to.y);
    if (arrows) {
      Point ends[2];
      arrowHead(s, op.size, ends);
      cairo_move_to(cr, ends[0].x, ends[0].y);
      cairo_line_to(cr, s.to.x, s.to.y);
      cairo_line_to(cr, ends[1].x, ends[1].y);
    }
  }
  cairo_stroke(cr);
  if (fast) cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
}

std::string failureOf(cairo_status_t status) {
  return status == CAIRO_STATUS_SUCCESS ? std::string() : cairo_status_to_string(status);
}

}  // namespace

TextMeasure::TextMeasure()
    : surface_(cairo_image_surface_create(CAIRO_FORMAT_A8, 1, 1)), cr_(cairo_create(surface_)) {
  useLinearMetrics(cr_);
}

TextMeasure::~TextMeasure() {
  cairo_destroy(cr_);
  cairo_surface_destroy(surface_);
}

double TextMeasure::width(int font, double size, const std::string& text) {
  selectFont(cr_, font, size);
  cairo_text_extents_t extents;
  cairo_text_extents(cr_, text.c_str(), &extents);
  return extents.x_advance;
}

void releaseFontCaches() {
  cairo_debug_reset_static_data();
  FcFini();
}

std::string pageToSvg(const Page& page) {
  std::string bytes, error;
  return detail::svgOfPage(page, bytes, error) ? bytes : std::string();
}

namespace detail {

cairo_status_t appendToString(void* closure, const unsigned char* data, unsigned int length) {
  static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
}

void drawPage(cairo_t* cr, const Page& page, Target target, double pixelScale) {
  cairo_save(cr);
  useLinearMetrics(cr);
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_rectangle(cr, 0, 0, page.width, page.height);
  cairo_fill(cr);
  int depth = 0;
  for (const Op& op : page.ops) {
    switch (op.kind) {
      case Op::Kind::Polyline: {
        bool started = false;
        for (std::uint32_t i = 0; i < op.count; ++i) {
          const Point p = page.points[op.first + i];
          if (!drawable(p)) {
            started = false;
            continue;
          }
          if (started) {
            cairo_line_to(cr, p.x, p.y);
          } else {
            cairo_move_to(cr, p.x, p.y);
            started = true;
          }
        }
        if (op.closed) cairo_close_path(cr);
        setStroke(cr, op);
        cairo_stroke(cr);
        break;
      }
      case Op::Kind::Segments:
      case Op::Kind::Arrows:
        drawSegments(cr, page, op, op.kind == Op::Kind::Arrows, target, pixelScale);
        break;
      case Op::Kind::Markers:
        switch (target) {
          case Target::Svg: svgMarkers(cr, page, op); break;
          case Target::Vector: pathMarkers(cr, page, op); break;
          case Target::Image: imageMarkers(cr, page, op, pixelScale); break;
        }
        break;
      case Op::Kind::Circle:
        if (!drawable({op.rect.x, op.rect.y}) || !(op.size < 1e6)) break;
        setStroke(cr, op);
        cairo_new_sub_path(cr);
        cairo_arc(cr, op.rect.x, op.rect.y, op.size, 0.0, 2.0 * M_PI);
        if (op.filled) {
          cairo_fill(cr);
        } else {
          cairo_stroke(cr);
        }
        break;
      case Op::Kind::FillRect:
        setColour(cr, tinted(penColour(op.pen), op.size));
        cairo_rectangle(cr, op.rect.x, op.rect.y, op.rect.width, op.rect.height);
        cairo_fill(cr);
        break;
      case Op::Kind::StrokeRect:
        setStroke(cr, op);
        cairo_rectangle(cr, op.rect.x, op.rect.y, op.rect.width, op.rect.height);
        cairo_stroke(cr);
        break;
      case Op::Kind::Clear:
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_rectangle(cr, op.rect.x, op.rect.y, op.rect.width, op.rect.height);
        cairo_fill(cr);
        break;
      case Op::Kind::Text: drawText(cr, op); break;
      case Op::Kind::Clip:
        cairo_save(cr);
        cairo_rectangle(cr, op.rect.x, op.rect.y, op.rect.width, op.rect.height);
        cairo_clip(cr);
        ++depth;
        break;
      case Op::Kind::Unclip:
        if (depth > 0) {
          cairo_restore(cr);
          --depth;
        }
        break;
    }
  }
  while (depth-- > 0) cairo_restore(cr);
  cairo_restore(cr);
}

bool svgOfPage(const Page& page, std::string& bytes, std::string& error) {
  bytes.clear();
  bytes.reserve(4096 + page.points.size() * 64);
  cairo_surface_t* surface = cairo_svg_surface_create_for_stream(appendToString, &bytes, page.width, page.height);
  cairo_t* cr = cairo_create(surface);
  drawPage(cr, page, Target::Svg);
  error = failureOf(cairo_status(cr));
  cairo_destroy(cr);
  cairo_surface_finish(surface);
  if (error.empty()) error = failureOf(cairo_surface_status(surface));
  cairo_surface_destroy(surface);
  if (!error.empty()) bytes.clear();
  return error.empty();
}

bool pngOfPage(const Page& page, double scale, std::string& bytes, std::string& error) {
  const int width = std::max(1, static_cast<int>(std::lround(page.width * scale)));
  const int height = std::max(1, static_cast<int>(std::lround(page.height * scale)));
  bytes.clear();
  // RGB24: the page is opaque, and cairo writes it as an RGB PNG.
  cairo_surface_t* image = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
  cairo_t* cr = cairo_create(image);
  cairo_scale(cr, scale, scale);
  drawPage(cr, page, Target::Image, scale);
  error = failureOf(cairo_status(cr));
  cairo_destroy(cr);
  if (error.empty()) error = failureOf(cairo_surface_write_to_png_stream(image, appendToString, &bytes));
  cairo_surface_destroy(image);
  if (!error.empty()) bytes.clear();
  return error.empty();
}

}  // namespace detail
}  // namespace zenfit::plot
