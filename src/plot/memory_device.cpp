#include "plot/memory_device.h"

#include <cmath>

#include "plot/cairo_render.h"
#include "plot/geometry.h"

namespace zenfit::plot {

namespace {

constexpr const char* kPenHex[kPenCount] = {"#000000", "#0072B2", "#D55E00", "#009E73",
                                            "#CC79A7", "#E69F00", "#56B4E9", "#999999"};

int validPen(int pen) { return pen >= 1 && pen <= kPenCount ? pen : 1; }

int hexDigit(char c) { return c <= '9' ? c - '0' : c - 'A' + 10; }

}  // namespace

namespace detail {

std::string wellFormedUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const auto lead = static_cast<unsigned char>(text[i]);
    std::size_t length = lead < 0x80 ? 1 : lead >= 0xC2 && lead < 0xE0 ? 2
                         : lead >= 0xE0 && lead < 0xF0 ? 3 : lead >= 0xF0 && lead < 0xF5 ? 4 : 0;
    bool ok = length > 0 && i + length <= text.size();
    for (std::size_t k = 1; ok && k < length; ++k) {
      ok = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
    }
    if (ok && length >= 3) {
      // Overlong forms, surrogates and code points past U+10FFFF.
      const auto second = static_cast<unsigned char>(text[i + 1]);
      if (lead == 0xE0 && second < 0xA0) ok = false;
      if (lead == 0xED && second >= 0xA0) ok = false;
      if (lead == 0xF0 && second < 0x90) ok = false;
      if (lead == 0xF4 && second >= 0x90) ok = false;
    }
    if (ok) {
      out.append(text.substr(i, length));
      i += length;
    } else {
      out += '?';
      ++i;
    }
  }
  return out;
}

}  // namespace detail

Colour penColour(int pen) {
  const char* hex = kPenHex[validPen(pen) - 1];
  auto channel = [hex](int at) { return (hexDigit(hex[at]) * 16 + hexDigit(hex[at + 1])) / 255.0; };
  return {channel(1), channel(3), channel(5)};
}

const char* penHex(int pen) { return kPenHex[validPen(pen) - 1]; }

const char* fontFamily(int font) {
  switch (font) {
    case 2: return "DejaVu Serif";
    case 3: return "DejaVu Sans Mono";
    default: return "DejaVu Sans";
  }
}

const char* genericFamily(int font) {
  switch (font) {
    case 2: return "serif";
    case 3: return "monospace";
    default: return "sans-serif";
  }
}

double baselineOffset(VAlign align, double fontSize) {
  switch (align) {
    case VAlign::Top: return kCapHeight * fontSize;
    case VAlign::Middle: return 0.5 * kCapHeight * fontSize;
    case VAlign::Bottom: return -kDescent * fontSize;
    case VAlign::Baseline: break;
  }
  return 0.0;
}

void arrowHead(const Segment& arrow, double head, Point ends[2]) {
  const double dx = arrow.to.x - arrow.from.x;
  const double dy = arrow.to.y - arrow.from.y;
  const double length = std::hypot(dx, dy);
  if (length <= 0.0) {
    ends[0] = ends[1] = arrow.to;
    return;
  }
  const double h = std::min(head, 0.4 * length);
  const double ux = dx / length;
  const double uy = dy / length;
  const double c = std::cos(25.0 * M_PI / 180.0);
  const double s = std::sin(25.0 * M_PI / 180.0);
  // The shaft's direction turned by +-25 degrees, pointing back from the tip.
  ends[0] = {arrow.to.x - h * (c * ux - s * uy), arrow.to.y - h * (s * ux + c * uy)};
  ends[1] = {arrow.to.x - h * (c * ux + s * uy), arrow.to.y - h * (-s * ux + c * uy)};
}

MemoryDevice::MemoryDevice(double width, double height)
    : width_(width), height_(height), measure_(std::make_unique<TextMeasure>()) {
  page_.width = width;
  page_.height = height;
}

MemoryDevice::~MemoryDevice() = default;

void MemoryDevice::finishPage() {
  if (pageNumber_ == 0 || page_.empty()) return;
  pageFinished(page_, pageNumber_);
  page_ = Page{};
  page_.width = width_;
  page_.height = height_;
}

void MemoryDevice::restart() {
  page_ = Page{};
  page_.width = width_;
  page_.height = height_;
  pageNumber_ = 0;
  clipDepth_ = 0;
}

void MemoryDevice::beginPlot(const Rect& zone, ClearMode mode) {
  clipDepth_ = 0;
  if (pageNumber_ == 0 || mode == ClearMode::NewPage) {
    if (pageNumber_ > 0 && page_.empty()) return;  // nothing drawn yet: keep the blank page
    finishPage();
    ++pageNumber_;
    return;
  }
  if (mode != ClearMode::Zone) return;
  const bool wholePage = zone.x <= 0.0 && zone.y <= 0.0 && zone.right() >= width_ &&
                         zone.bottom() >= height_;
  if (wholePage) {
    page_.ops.clear();
    page_.points.clear();
    return;
  }
  add(Op::Kind::Clear).rect = zone;
}

void MemoryDevice::endPlot() {
  while (clipDepth_ > 0) unclip();
  plotFinished();
}

void MemoryDevice::setFont(int font, double size) {
  font_ = font;
  fontSize_ = size;
}

double MemoryDevice::textWidth(std::string_view text) const {
  return measure_->width(font_, fontSize_, detail::wellFormedUtf8(text));
}

Op& MemoryDevice::add(Op::Kind kind) {
  if (pageNumber_ == 0) pageNumber_ = 1;  // drawing outside a plot still lands on a page
  Op& op = page_.ops.emplace_back();
  op.kind = kind;
  op.pen = pen_;
  op.lineWidth = lineWidth_;
  op.dash = dash_;
  return op;
}

void MemoryDevice::addPoints(Op& op, std::span<const Point> points) {
  op.first = static_cast<std::uint32_t>(page_.points.size());
  op.count = static_cast<std::uint32_t>(points.size());
  page_.points.insert(page_.points.end(), points.begin(), points.end());
}

void MemoryDevice::polyline(std::span<const Point> points, bool closed) {
  if (points.size() < 2) return;
  Op& op = add(Op::Kind::Polyline);
  op.closed = closed;
  addPoints(op, points);
}

void MemoryDevice::segments(std::span<const Segment> segments) {
  if (segments.empty()) return;
  Op& op = add(Op::Kind::Segments);
  addPoints(op, {&segments.front().from, segments.size() * 2});
}

void MemoryDevice::arrows(std::span<const Segment> arrows, double head) {
  if (arrows.empty()) return;
  Op& op = add(Op::Kind::Arrows);
  op.size = head;
  addPoints(op, {&arrows.front().from, arrows.size() * 2});
}

void MemoryDevice::markers(std::span<const Point> centres, MarkerShape shape, double size,
                           bool filled) {
  if (centres.empty()) return;
  Op& op = add(Op::Kind::Markers);
  op.shape = shape;
  op.size = size;
  op.filled = filled;
  addPoints(op, centres);
}

void MemoryDevice::circle(Point centre, double radius, bool filled) {
  Op& op = add(Op::Kind::Circle);
  op.rect = {centre.x, centre.y, 0.0, 0.0};
  op.size = radius;
  op.filled = filled;
}

void MemoryDevice::fillRect(const Rect& rect, double tint) {
  Op& op = add(Op::Kind::FillRect);
  op.rect = rect;
  op.size = tint;
}

void MemoryDevice::strokeRect(const Rect& rect) { add(Op::Kind::StrokeRect).rect = rect; }

void MemoryDevice::text(Point at, std::string_view text, HAlign h, VAlign v, double angle) {
  if (text.empty()) return;
  Op& op = add(Op::Kind::Text);
  op.rect = {at.x, at.y, 0.0, 0.0};
  op.text = detail::wellFormedUtf8(text);
  op.font = font_;
  op.fontSize = fontSize_;
  op.hAlign = h;
  op.vAlign = v;
  op.angle = angle;
}

void MemoryDevice::clip(const Rect& rect) {
  add(Op::Kind::Clip).rect = rect;
  ++clipDepth_;
}

void MemoryDevice::unclip() {
  if (clipDepth_ == 0) return;
  add(Op::Kind::Unclip);
  --clipDepth_;
}

std::string MemoryDevice::currentPageSvg() const {
  if (pageNumber_ == 0) return {};
  return pageToSvg(page_);
}

}  // namespace zenfit::plot
