#include "plot/plot.h"

#include <cstdio>

#include "data/decode.h"
#include "engine.h"

namespace zenfit {
namespace {

void done(Engine& engine) { engine.dispatch.status = kStatusDone; }

bool requireDevice(Engine& engine) {
  if (engine.plot.current != nullptr) return true;
  msgOut(engine, 'E', "No graphics device!\n");
  return false;
}

// Reads an optional integer argument; false for a malformed one.
bool optionalInteger(const char* line, int& pos, int& value, bool& present) {
  int read = value;
  const int status = readInteger(line, pos, read);
  if (status == kDecodedError) return false;
  present = (status != kDecodedNull);
  if (present) value = read;
  return true;
}

// Hands the session's pens, fonts, precision and zone to the open device.
void applySettings(PlotState& plot) {
  if (plot.current == nullptr) return;
  plot.current->setZone(plot.zone[0], plot.zone[1], plot.zone[2], plot.zone[3]);
  plot.current->setFont(plot.fonts[0]);
  plot.current->setTextPrecision(plot.textPrecision);
}

}  // namespace

void NullDevice::defaultPens(int pens[kPenRoles]) const {
  static const int kDefaults[kPenRoles] = {1, 1, 1, 1, 2, 3};
  for (int i = 0; i < kPenRoles; ++i) pens[i] = kDefaults[i];
}

GraphicsDevice& installedDevice(Engine& engine) {
  return engine.plot.installed != nullptr ? *engine.plot.installed : engine.plot.nullDevice;
}

void resetGraphics(Engine& engine) {
  PlotState& plot = engine.plot;
  const GraphicsDevice& device = installedDevice(engine);
  int defaults[kPenRoles];
  device.defaultPens(defaults);
  for (int i = 0; i < kPenRoles; ++i) {
    if (plot.pens[i] < 1 || plot.pens[i] > device.penCount()) plot.pens[i] = defaults[i];
  }
  plot.zone[0] = plot.zone[1] = 0.0;
  plot.zone[2] = plot.zone[3] = 1.0;
  plot.current = nullptr;
  plot.graphicsState = 0;
}

void shutdownGraphics(Engine& engine) {
  PlotState& plot = engine.plot;
  if (plot.current != nullptr) plot.current->close();
  plot.current = nullptr;
  plot.graphicsState = 0;
}

void cmdPlton(Engine& engine) {
  PlotState& plot = engine.plot;
  GraphicsDevice& device = installedDevice(engine);
  if (plot.current != &device) {
    if (plot.current != nullptr) plot.current->close();
    if (device.open() != 0) {
      plot.current = nullptr;
      msgOut(engine, 'E', "No graphics device!\n");
      return;
    }
    plot.current = &device;
  }
  plot.graphicsState = 1;
  applySettings(plot);
  done(engine);
}

void cmdPltoff(Engine& engine) {
  shutdownGraphics(engine);
  done(engine);
}

void cmdPltz(Engine& engine) {
  double zone[4] = {0.0, 0.0, 1.0, 1.0};
  int pos = 5;
  for (double& value : zone) {
    int status = kDecodedNull;
    decodeArgument(engine.lines.command, pos, value, status);
    if (status == kDecodedError) {
      msgOut(engine, 'E', "Parameter error!\n");
      return;
    }
  }
  const bool inside = zone[0] >= 0.0 && zone[1] >= 0.0 && zone[2] <= 1.0 && zone[3] <= 1.0;
  if (!inside || zone[0] >= zone[2] || zone[1] >= zone[3]) {
    msgOut(engine, 'E', "Parameter error!\n");
    return;
  }
  for (int i = 0; i < 4; ++i) engine.plot.zone[i] = zone[i];
  applySettings(engine.plot);
  done(engine);
}

void cmdPens(Engine& engine) {
  static const char* const kRoles[kPenRoles] = {"     frame", "   caption", "      axes",
                                                "    labels", "    points", " offpoints"};
  PlotState& plot = engine.plot;
  const int penCount = installedDevice(engine).penCount();
  int pens[kPenRoles];
  int pos = 5;
  for (int i = 0; i < kPenRoles; ++i) {
    pens[i] = plot.pens[i];
    bool present = false;
    if (!optionalInteger(engine.lines.command, pos, pens[i], present)) {
      msgOut(engine, 'E', "Parameter error!\n");
      return;
    }
    if (present && (pens[i] < 1 || pens[i] > penCount)) {
      msgOutF(engine, 'E', "Unacceptable pen: %d!\n", pens[i]);
      return;
    }
  }
  for (int i = 0; i < kPenRoles; ++i) {
    plot.pens[i] = pens[i];
    msgOutF(engine, 'I', "%s will be plotted with pen %d\n", kRoles[i], pens[i]);
  }
  done(engine);
}

void cmdTxf(Engine& engine) {
  if (!requireDevice(engine)) return;
  PlotState& plot = engine.plot;
  int fonts[2] = {plot.fonts[0], plot.fonts[1]};
  int pos = 4;
  for (int& font : fonts) {
    bool present = false;
    if (!optionalInteger(engine.lines.command, pos, font, present)) {
      msgOut(engine, 'E', "Illegal argument!\n");
      return;
    }
    if (present && font <= 0) return;  // refused without a message
  }
  plot.fonts[0] = fonts[0];
  plot.fonts[1] = fonts[1];
  plot.current->setFont(fonts[0]);
  msgOutF(engine, 'I', " Caption will be plotted using font %d\n", fonts[0]);
  msgOutF(engine, 'I', " Labels  will be plotted using font %d\n", fonts[1]);
  done(engine);
}

void cmdTxp(Engine& engine) {
  if (!requireDevice(engine)) return;
  PlotState& plot = engine.plot;
  int precision = plot.textPrecision;
  int pos = 4;
  bool present = false;
  if (!optionalInteger(engine.lines.command, pos, precision, present) ||
      (present && (precision < -1 || precision > 2))) {
    msgOut(engine, 'E', "Illegal argument!\n");
    return;
  }
  if (present && precision == -1) return;  // refused without a message
  static const char* const kNames[] = {"STRING", "CHAR", "STROKE"};
  plot.textPrecision = precision;
  plot.current->setTextPrecision(precision);
  msgOut(engine, 'I', " Text will be plotted using ");
  msgOut(engine, 'I', kNames[precision]);
  msgOut(engine, 'I', " precision.\n");
  done(engine);
}

void cmdPlot(Engine& engine) {
  // The plots draw nothing on this engine's device; they poll for a cancel
  // as a drawing plot would.
  cancelPoll(engine, 0);
  done(engine);
}

}  // namespace zenfit
