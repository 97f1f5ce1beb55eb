// The graphics device the plot commands draw on.
//
// A device that draws (to a file, to memory) implements GraphicsDevice; the
// null device accepts everything and draws nothing.
#pragma once

namespace zenfit {

inline constexpr int kPenRoles = 6;  // frame, caption, axes, labels, points, offpoints

class GraphicsDevice {
 public:
  virtual ~GraphicsDevice() = default;
  virtual const char* name() const = 0;
  virtual int open() = 0;  // 0 on success
  virtual void close() = 0;
  virtual int penCount() const = 0;
  virtual void defaultPens(int pens[kPenRoles]) const = 0;
  // Plotting zone as fractions (0-1) of the display surface.
  virtual void setZone(double x1, double y1, double x2, double y2) = 0;
  virtual void clear(int mode) = 0;  // -1 whole surface, 1 the zone
  virtual void setPen(int pen) = 0;
  virtual void setFont(int font) = 0;
  virtual void setTextPrecision(int precision) = 0;  // 0 string, 1 char, 2 stroke
  // Drawing, in zone coordinates (0-1 across the zone).
  virtual void moveTo(double x, double y) = 0;
  virtual void lineTo(double x, double y) = 0;
  virtual void marker(double x, double y, double height) = 0;
  virtual void text(double x, double y, double height, const char* text) = 0;
  virtual void endPlot() = 0;
};

// A device that accepts everything and draws nothing.
class NullDevice final : public GraphicsDevice {
 public:
  const char* name() const override { return "null"; }
  int open() override { return 0; }
  void close() override {}
  int penCount() const override { return 8; }
  void defaultPens(int pens[kPenRoles]) const override {
    static const int kDefaults[kPenRoles] = {1, 1, 1, 1, 2, 3};
    for (int i = 0; i < kPenRoles; ++i) pens[i] = kDefaults[i];
  }
  void setZone(double, double, double, double) override {}
  void clear(int) override {}
  void setPen(int) override {}
  void setFont(int) override {}
  void setTextPrecision(int) override {}
  void moveTo(double, double) override {}
  void lineTo(double, double) override {}
  void marker(double, double, double) override {}
  void text(double, double, double, const char*) override {}
  void endPlot() override {}
};

}  // namespace zenfit
