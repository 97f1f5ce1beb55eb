// Pages as display lists, and the device that keeps them in memory. The
// memory device's only output is the current page as SVG text (a host shows
// it); the file devices build on it and render finished pages to files.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "plot/device.h"

namespace zenfit::plot {

// One drawing operation with the state it was drawn in.
struct Op {
  enum class Kind { Polyline, Segments, Arrows, Markers, Circle, FillRect, StrokeRect, Text,
                    Clip, Unclip, Clear };
  Kind kind = Kind::Polyline;
  int pen = 1;
  double lineWidth = 1.0;
  Dash dash = Dash::Solid;
  // Points of a polyline or marker set, or the ends of segments and arrows in
  // pairs: Page::points[first, first + count).
  std::uint32_t first = 0;
  std::uint32_t count = 0;
  bool closed = false;
  bool filled = false;
  MarkerShape shape = MarkerShape::Circle;
  double size = 0.0;  // marker size, circle radius, arrow head or fill tint
  Rect rect;          // rectangles, clip and clear areas; a circle's centre in x, y
  int font = 1;
  double fontSize = 10.0;
  HAlign hAlign = HAlign::Left;
  VAlign vAlign = VAlign::Baseline;
  double angle = 0.0;
  std::string text;
};

struct Page {
  double width = 720.0;
  double height = 540.0;
  std::vector<Op> ops;
  std::vector<Point> points;
  bool empty() const { return ops.empty(); }
};

// The page as an SVG document, its user units the page units.
std::string pageToSvg(const Page& page);

class TextMeasure;

// Frees cairo's and fontconfig's process-wide caches (fonts, patterns), for
// leak checkers at the end of a program: no device may be in use then, in
// any thread, nor afterwards.
void releaseFontCaches();

class MemoryDevice : public GraphicsDevice {
 public:
  // A landscape page of 10 by 7.5 inches.
  explicit MemoryDevice(double width = 720.0, double height = 540.0);
  ~MemoryDevice() override;
  MemoryDevice(const MemoryDevice&) = delete;
  MemoryDevice& operator=(const MemoryDevice&) = delete;

  Rect page() const override { return {0.0, 0.0, width_, height_}; }
  void beginPlot(const Rect& zone, ClearMode mode) override;
  void endPlot() override;
  void setPen(int pen) override { pen_ = pen; }
  void setLineWidth(double width) override { lineWidth_ = width; }
  void setDash(Dash dash) override { dash_ = dash; }
  void setFont(int font, double size) override;
  double textWidth(std::string_view text) const override;
  void polyline(std::span<const Point> points, bool closed) override;
  void segments(std::span<const Segment> segments) override;
  void arrows(std::span<const Segment> arrows, double head) override;
  void markers(std::span<const Point> centres, MarkerShape shape, double size,
               bool filled) override;
  void circle(Point centre, double radius, bool filled) override;
  void fillRect(const Rect& rect, double tint) override;
  void strokeRect(const Rect& rect) override;
  void text(Point at, std::string_view text, HAlign h, VAlign v, double angle) override;
  void clip(const Rect& rect) override;
  void unclip() override;
  using GraphicsDevice::text;

  // The page being drawn on and its number (1-based; 0 before the first plot).
  const Page& currentPage() const { return page_; }
  int pageNumber() const { return pageNumber_; }
  // The current page as SVG text ("" before the first plot).
  std::string currentPageSvg() const;

 protected:
  // A page is finished when a new one starts; file devices render it then.
  virtual void pageFinished(Page& /*page*/, int /*number*/) {}
  // Called by endPlot after the plot is recorded.
  virtual void plotFinished() {}
  // Ends the page in hand (if it holds anything), as a new page would.
  void finishPage();
  // Forgets every page: the next plot starts page 1.
  void restart();

 private:
  Op& add(Op::Kind kind);
  void addPoints(Op& op, std::span<const Point> points);

  double width_;
  double height_;
  Page page_;
  int pageNumber_ = 0;
  int pen_ = 1;
  double lineWidth_ = 1.0;
  Dash dash_ = Dash::Solid;
  int font_ = 1;
  double fontSize_ = 10.0;
  int clipDepth_ = 0;
  std::unique_ptr<TextMeasure> measure_;
};

}  // namespace zenfit::plot
