// The plot commands and the settings of the graphics device: PLTON,
// PLTOFF, PLTZ, PENS, TXF, TXP and the plots themselves.
#include "command/plot_commands.h"

#include <cstdio>

#include "command/arguments.h"
#include "command/command_table.h"
#include "command/engine.h"
#include "command/texts.h"

namespace zenfit {
namespace {

bool requireDevice(Engine& engine) {
  if (engine.plot.current != nullptr) return true;
  say(engine, Severity::Error, texts::kNoGraphicsDevice);
  return false;
}

// Hands the session's pens, fonts, precision and zone to the open device.
void applySettings(PlotState& plot) {
  if (plot.current == nullptr) return;
  plot.current->setZone(plot.zone[0], plot.zone[1], plot.zone[2], plot.zone[3]);
  plot.current->setFont(plot.fonts[0]);
  plot.current->setTextPrecision(plot.textPrecision);
}

}  // namespace

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

void cmdPlton(Engine& engine, Arguments&) {
  PlotState& plot = engine.plot;
  GraphicsDevice& device = installedDevice(engine);
  if (plot.current != &device) {
    if (plot.current != nullptr) plot.current->close();
    if (device.open() != 0) {
      plot.current = nullptr;
      say(engine, Severity::Error, texts::kNoGraphicsDevice);
      return;
    }
    plot.current = &device;
  }
  plot.graphicsState = 1;
  applySettings(plot);
  done(engine);
}

void cmdPltoff(Engine& engine, Arguments&) {
  shutdownGraphics(engine);
  done(engine);
}

void cmdPltz(Engine& engine, Arguments& arguments) {
  double zone[4] = {0.0, 0.0, 1.0, 1.0};
  for (double& value : zone) {
    const DecodedNumber number = arguments.number();
    if (number.malformed) {
      say(engine, Severity::Error, texts::kParameterError);
      return;
    }
    if (number.present) value = number.value;
  }
  const bool inside = zone[0] >= 0.0 && zone[1] >= 0.0 && zone[2] <= 1.0 && zone[3] <= 1.0;
  if (!inside || zone[0] >= zone[2] || zone[1] >= zone[3]) {
    say(engine, Severity::Error, texts::kParameterError);
    return;
  }
  for (int i = 0; i < 4; ++i) engine.plot.zone[i] = zone[i];
  applySettings(engine.plot);
  done(engine);
}

void cmdPens(Engine& engine, Arguments& arguments) {
  static const char* const kRoles[kPenRoles] = {"     frame", "   caption", "      axes",
                                                "    labels", "    points", " offpoints"};
  PlotState& plot = engine.plot;
  const int penCount = installedDevice(engine).penCount();
  int pens[kPenRoles];
  for (int i = 0; i < kPenRoles; ++i) {
    pens[i] = plot.pens[i];
    const DecodedNumber pen = arguments.integer();
    if (pen.malformed) {
      say(engine, Severity::Error, texts::kParameterError);
      return;
    }
    if (!pen.present) continue;
    pens[i] = static_cast<int>(pen.value);
    if (pens[i] < 1 || pens[i] > penCount) {
      sayf(engine, Severity::Error, "Unacceptable pen: %d!\n", pens[i]);
      return;
    }
  }
  for (int i = 0; i < kPenRoles; ++i) {
    plot.pens[i] = pens[i];
    sayf(engine, Severity::Info, "%s will be plotted with pen %d\n", kRoles[i], pens[i]);
  }
  done(engine);
}

void cmdTxf(Engine& engine, Arguments& arguments) {
  if (!requireDevice(engine)) return;
  PlotState& plot = engine.plot;
  int fonts[2] = {plot.fonts[0], plot.fonts[1]};
  for (int& font : fonts) {
    const DecodedNumber number = arguments.integer();
    if (number.malformed) {
      say(engine, Severity::Error, texts::kIllegalArgument);
      return;
    }
    if (!number.present) continue;
    font = static_cast<int>(number.value);
    if (font <= 0) return;  // refused without a message
  }
  plot.fonts[0] = fonts[0];
  plot.fonts[1] = fonts[1];
  plot.current->setFont(fonts[0]);
  sayf(engine, Severity::Info, " Caption will be plotted using font %d\n", fonts[0]);
  sayf(engine, Severity::Info, " Labels  will be plotted using font %d\n", fonts[1]);
  done(engine);
}

void cmdTxp(Engine& engine, Arguments& arguments) {
  if (!requireDevice(engine)) return;
  PlotState& plot = engine.plot;
  const DecodedNumber number = arguments.integer();
  const int precision = number.present ? static_cast<int>(number.value) : plot.textPrecision;
  // A precision from the initialisation file may be out of range too.
  if (number.malformed || precision < -1 || precision > 2) {
    say(engine, Severity::Error, texts::kIllegalArgument);
    return;
  }
  if (precision == -1) return;  // refused without a message
  static const char* const kNames[] = {"STRING", "CHAR", "STROKE"};
  plot.textPrecision = precision;
  plot.current->setTextPrecision(precision);
  say(engine, Severity::Info, " Text will be plotted using ");
  say(engine, Severity::Info, kNames[precision]);
  say(engine, Severity::Info, " precision.\n");
  done(engine);
}

void cmdPlot(Engine& engine, Arguments&) {
  // The plots draw nothing on this engine's device; they poll for a cancel
  // as a drawing plot would.
  cancelRequested(engine);
  done(engine);
}

}  // namespace zenfit
