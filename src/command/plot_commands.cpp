// The plot commands and the settings of the graphics device: PLTON,
// PLTOFF, PLTZ, PENS, TXF, TXP and the plots G, GC, GAM, GSCAT, GHYST,
// GDIST, GMAP and GSMAP.
//
// A plot draws on the open file device (PLTON), or on the default one that
// it opens itself. SVG and PNG devices hand back a numbered file per page
// after every plot; PDF and PostScript devices keep their pages and hand
// back one document when closed (PLTOFF, END, the engine's shutdown). Every
// file is written here, in the engine's working folder, through a
// temporary file renamed when complete.
#include "command/plot_commands.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "astro/vectors.h"
#include "base/files.h"
#include "command/arguments.h"
#include "command/command_table.h"
#include "command/engine.h"
#include "command/file_output.h"
#include "command/texts.h"
#include "fit/residuals.h"
#include "plot/charts.h"

namespace zenfit {
namespace {

constexpr const char* kNoObservations = "No observations to plot!\n";
constexpr const char* kNoActiveObservations = "No observations in use to plot!\n";

bool requireDevice(Engine& engine) {
  if (engine.plot.current != nullptr) return true;
  say(engine, Severity::Error, texts::kNoGraphicsDevice);
  return false;
}

// ---- Files ------------------------------------------------------------------

// Writes the files a device hands back; false (reported, severity E,
// naming the file) when one cannot be written.
bool writePlotFiles(Engine& engine, const std::vector<plot::PlotFile>& files) {
  bool ok = true;
  for (const plot::PlotFile& file : files) {
    ok = writeNamedFile(engine, file.name, file.bytes, WrittenFile::Plot) && ok;
  }
  return ok;
}

// A page the device could not render (cairo out of memory, say).
bool reportRenderError(Engine& engine, plot::FileDevice& device) {
  const std::string error = device.takeError();
  if (error.empty()) return true;
  sayf(engine, Severity::Error, "Plot cannot be drawn!  %s\n", error.c_str());
  return false;
}

const char* pages(int count) { return count == 1 ? "page" : "pages"; }

// Closes the open device: a PDF or PostScript document is written and
// reported. False when something could not be written.
bool closeDevice(Engine& engine) {
  PlotState& plot = engine.plot;
  if (plot.current == nullptr) return true;
  const int documentPages = plot.current->documentPages();
  std::vector<plot::PlotFile> files = plot.current->close();
  bool ok = reportRenderError(engine, *plot.current);
  if (!files.empty()) {
    const bool written = writePlotFiles(engine, files);
    if (written && documentPages > 0 && !plot.current->perPageFiles()) {
      sayf(engine, Severity::Info, "%s written with %d %s\n", plot.current->name().c_str(),
           documentPages, pages(documentPages));
    }
    ok = ok && written;
  }
  plot.current.reset();
  plot.graphicsState = 0;
  return ok;
}

// Opens a file device for `name` (by the file-name rule); reported and
// false when the name says no plot format.
bool openDevice(Engine& engine, const std::string& name) {
  if (!fileAccessAllowed(engine, name, resolveFileName(engine.workdir, name.c_str(), kFileNameSize),
                         true)) {
    return false;
  }
  const std::string fileName = applyFileNameRule(name.c_str(), kFileNameSize);
  std::unique_ptr<plot::FileDevice> device = plot::FileDevice::create(fileName);
  if (device == nullptr) {
    sayf(engine, Severity::Error,
         "Plot file must be .svg, .png, .pdf, .ps or .eps!  File = %s\n", fileName.c_str());
    return false;
  }
  engine.plot.current = std::move(device);
  engine.plot.graphicsState = 1;
  return true;
}

// The device a plot opens when none is open: the graphics device named in
// the initialisation file when that names a plot file, else (the screen
// this engine does not have) the hard-copy file.
std::string defaultDeviceName(const Engine& engine) {
  const std::string screen = applyFileNameRule(engine.settings.graphicsDeviceName.c_str(), kFileNameSize);
  if (plot::formatFromName(screen)) return engine.settings.graphicsDeviceName;
  return engine.settings.graphicsHardcopy;
}

// ---- What the charts are given -------------------------------------------------

plot::Style styleOf(const Engine& engine) {
  const PlotState& plot = engine.plot;
  const Settings& settings = engine.settings;
  plot::Style style;
  for (int i = 0; i < kPenRoles; ++i) style.pens[i] = plot.pens[i];
  style.captionFont = plot.fonts[0];
  style.labelFont = plot.fonts[1];
  style.markerHeight = settings.markerHeight;
  style.frame = settings.frameFlag != 0;
  style.caption = settings.captionFlag != 0;
  style.captionText = engine.run.caption;
  for (int i = 0; i < 4; ++i) style.zone[i] = plot.zone[i];
  style.clearMode = settings.clearMode == 0   ? plot::ClearMode::None
                    : settings.clearMode == 1 ? plot::ClearMode::Zone
                                              : plot::ClearMode::NewPage;
  style.textPrecision = plot.textPrecision;
  return style;
}

// The residual table's rows as chart points. Masked observations keep
// their differences too (the fit corrects every observation's working
// place), so that the user sees where the masked ones lie.
std::vector<plot::ObservationPoint> pointsOf(const ResidualTable& table,
                                             const std::vector<bool>& active) {
  std::vector<plot::ObservationPoint> points;
  points.reserve(table.rows.size());
  for (const ResidualRow& row : table.rows) {
    plot::ObservationPoint p;
    p.number = row.number;
    p.active = active[static_cast<std::size_t>(row.number - 1)];
    p.overPole = row.overPole;
    p.haHours = wrapPi(row.telHa) * kDegreesPerRadian / 15.0;  // east negative
    p.decDegrees = row.telDec * kDegreesPerRadian;
    p.azDegrees = row.azimuth;
    p.zdDegrees = row.zenithDistance;
    p.dX = row.d[kDx];
    p.dD = row.d[kDd];
    p.dS = row.d[kDs];
    p.dZ = row.d[kDz];
    p.dR = row.d[kDr];
    points.push_back(p);
  }
  return points;
}

// Every observation, masked or not, with its residuals star minus telescope.
std::vector<plot::ObservationPoint> residualPoints(const Engine& engine) {
  ObservationList all = engine.observations;
  std::vector<bool> active;
  for (int i = 0; i < kObservationSlots && !all[i].isEnd(); ++i) {
    active.push_back(all[i].isActive());
    all[i].status = kStatusActive;
  }
  return pointsOf(residualTable(all, engine.run), active);
}

// The model's own correction at every observation: the source direction
// corrected by the model minus the source direction, in the components of
// a residual, drawn at the source's place. An observation where the model
// cannot be evaluated is left out.
std::vector<plot::ObservationPoint> correctionPoints(const Engine& engine) {
  const EvaluationContext context = evaluationContext(engine);
  ObservationList pairs = engine.observations;
  std::vector<bool> active, evaluated;
  for (int i = 0; i < kObservationSlots && !pairs[i].isEnd(); ++i) {
    Observation& o = pairs[i];
    active.push_back(o.isActive());
    double source[3], target[3];
    observationDirections(context, o, source, target);
    double corrected[3] = {source[0], source[1], source[2]};
    evaluated.push_back(applyModelTerms(context, engine.model, o, corrected) == 0);
    directionToHaDec(context, source, o.telHaWork, o.telDecWork);
    directionToHaDec(context, corrected, o.starHaWork, o.starDecWork);
    o.status = kStatusActive;
  }
  std::vector<plot::ObservationPoint> points = pointsOf(residualTable(pairs, engine.run), active);
  std::vector<plot::ObservationPoint> kept;
  for (const plot::ObservationPoint& p : points) {
    if (evaluated[static_cast<std::size_t>(p.number - 1)]) kept.push_back(p);
  }
  return kept;
}

// ---- Arguments -------------------------------------------------------------

// An optional letter (H, E) alone: true when given; nullopt (reported) for
// any other word.
std::optional<bool> optionalLetter(Engine& engine, Arguments& arguments, const char* letter) {
  const std::string word = arguments.word(kCommandWordSize);
  if (word.empty()) return false;
  if (word == letter) return true;
  say(engine, Severity::Error, texts::kIllegalArgument);
  return std::nullopt;
}

// GMAP and GSMAP: [E] [scale].
struct MapArguments {
  bool equatorial = false;
  double scale = 0.0;  // 0: automatic
};
std::optional<MapArguments> mapArguments(Engine& engine, Arguments& arguments) {
  MapArguments map;
  Arguments probe(arguments.line(), arguments.position());
  const std::string word = probe.word(kCommandWordSize);
  map.equatorial = word == "E";
  Arguments rest(arguments.line(), map.equatorial ? probe.position() : arguments.position());
  const DecodedNumber scale = rest.number();
  const bool badScale = scale.malformed || (scale.present && !(scale.value > 0.0 && scale.value < 1e9));
  // A word that is neither E nor a number.
  const bool badWord = !scale.present && !word.empty() && !map.equatorial;
  if (badScale || badWord) {
    say(engine, Severity::Error, texts::kIllegalArgument);
    return std::nullopt;
  }
  if (scale.present) map.scale = scale.value;
  return map;
}

// ---- Drawing -----------------------------------------------------------------

using Chart = std::function<plot::Chart(plot::GraphicsDevice&, std::span<const plot::ObservationPoint>,
                                 const plot::Style&)>;

// Draws one plot on the open device (opening the default one if need be),
// writes what the device hands back and reports where the plot went.
void drawPlot(Engine& engine, const std::vector<plot::ObservationPoint>& points,
              std::vector<PanelAxes> axes, const Chart& chart) {
  PlotState& plot = engine.plot;
  if (cancelRequested(engine)) {
    engine.dispatch.status = CommandStatus::Interrupted;
    return;
  }
  if (plot.current == nullptr && !openDevice(engine, defaultDeviceName(engine))) return;
  plot::FileDevice& device = *plot.current;
  plot.lastChart = chart(device, points, styleOf(engine));
  plot.lastPoints = points;
  plot.lastAxes = std::move(axes);
  plot.lastPage = device.currentPage();
  plot.svgStale = true;
  if (device.awaitsAcknowledgement()) plot.graphicsState = 2;
  bool ok = reportRenderError(engine, device);
  const std::vector<plot::PlotFile> files = device.takeFiles();
  ok = reportRenderError(engine, device) && ok;
  if (!writePlotFiles(engine, files) || !ok) return;
  const plot::PlotPlace place = device.lastPlot();
  if (device.perPageFiles()) {
    sayf(engine, Severity::Info, "Plot written to %s\n", place.file.c_str());
  } else {
    sayf(engine, Severity::Info, "Plot drawn on page %d of %s (written at PLTOFF or END)\n",
         place.page, place.file.c_str());
  }
  done(engine);
}

bool requireObservations(Engine& engine) {
  if (!engine.observations.empty()) return true;
  say(engine, Severity::Error, kNoObservations);
  return false;
}

}  // namespace

// ---- The device's life ---------------------------------------------------------

void resetGraphics(Engine& engine) {
  PlotState& plot = engine.plot;
  for (int i = 0; i < kPenRoles; ++i) {
    if (plot.pens[i] < 1 || plot.pens[i] > plot::kPenCount) plot.pens[i] = plot::kDefaultPens[i];
  }
  plot.zone[0] = plot.zone[1] = 0.0;
  plot.zone[2] = plot.zone[3] = 1.0;
  plot.current.reset();
  plot.graphicsState = 0;
  plot.lastPage = plot::Page{};
  plot.svgStale = false;
  plot.lastSvg.clear();
  plot.lastChart = plot::Chart{};
  plot.lastPoints.clear();
  plot.lastAxes.clear();
}

void shutdownGraphics(Engine& engine) { closeDevice(engine); }

const std::string& lastPlotSvg(Engine& engine) {
  PlotState& plot = engine.plot;
  if (plot.svgStale) {
    plot.lastSvg = plot::pageToSvg(plot.lastPage);
    plot.svgStale = false;
  }
  return plot.lastSvg;
}

// ---- The settings commands -------------------------------------------------------

void cmdPlton(Engine& engine, Arguments& arguments) {
  PlotState& plot = engine.plot;
  std::string name = arguments.fileName();
  if (name.empty()) name = engine.settings.graphicsHardcopy;
  const std::string fileName = applyFileNameRule(name.c_str(), kFileNameSize);
  // The device already open on that file stays open (its document goes on).
  if (plot.current == nullptr || plot.current->name() != fileName) {
    if (!closeDevice(engine)) return;
    if (!openDevice(engine, name)) return;
  }
  plot.graphicsState = 1;
  done(engine);
}

void cmdPltoff(Engine& engine, Arguments&) {
  if (closeDevice(engine)) done(engine);
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
  done(engine);
}

void cmdPens(Engine& engine, Arguments& arguments) {
  static const char* const kRoles[kPenRoles] = {"     frame", "   caption", "      axes",
                                                "    labels", "    points", " offpoints"};
  PlotState& plot = engine.plot;
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
    if (pens[i] < 1 || pens[i] > plot::kPenCount) {
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
  say(engine, Severity::Info, " Text will be plotted using ");
  say(engine, Severity::Info, kNames[precision]);
  say(engine, Severity::Info, " precision.\n");
  done(engine);
}

// ---- The plots ---------------------------------------------------------------------

void cmdG(Engine& engine, Arguments& arguments) {
  const std::optional<plot::Quantity> y = plot::quantityFromName(arguments.word(kCommandWordSize));
  const std::optional<plot::Quantity> x = plot::quantityFromName(arguments.word(kCommandWordSize));
  if (!y || !x) {
    say(engine, Severity::Error, texts::kIllegalArgument);
    return;
  }
  if (!requireObservations(engine)) return;
  drawPlot(engine, residualPoints(engine), {{false, *x, *y}}, [&](auto& device, auto points, const auto& style) {
    return plot::drawQuantities(device, points, style, *y, *x);
  });
}

void cmdGc(Engine& engine, Arguments&) {
  if (!requireObservations(engine)) return;
  // Rows dX, dD; columns h, d.
  const std::vector<PanelAxes> axes = {{false, plot::Quantity::H, plot::Quantity::DX}, {false, plot::Quantity::D, plot::Quantity::DX},
                                       {false, plot::Quantity::H, plot::Quantity::DD}, {false, plot::Quantity::D, plot::Quantity::DD}};
  drawPlot(engine, residualPoints(engine), axes, [](auto& device, auto points, const auto& style) {
    return plot::drawEquatorialResiduals(device, points, style);
  });
}

void cmdGam(Engine& engine, Arguments&) {
  if (!requireObservations(engine)) return;
  // Rows dS, dZ; columns A, z.
  const std::vector<PanelAxes> axes = {{false, plot::Quantity::A, plot::Quantity::DS}, {false, plot::Quantity::Z, plot::Quantity::DS},
                                       {false, plot::Quantity::A, plot::Quantity::DZ}, {false, plot::Quantity::Z, plot::Quantity::DZ}};
  drawPlot(engine, residualPoints(engine), axes, [](auto& device, auto points, const auto& style) {
    return plot::drawAltazResiduals(device, points, style);
  });
}

void cmdGscat(Engine& engine, Arguments& arguments) {
  const std::optional<bool> horizon = optionalLetter(engine, arguments, "H");
  if (!horizon || !requireObservations(engine)) return;
  const PanelAxes axes = *horizon ? PanelAxes{false, plot::Quantity::DS, plot::Quantity::DZ} : PanelAxes{false, plot::Quantity::DX, plot::Quantity::DD};
  drawPlot(engine, residualPoints(engine), {axes}, [&](auto& device, auto points, const auto& style) {
    return plot::drawScatter(device, points, style, {.horizon = *horizon});
  });
}

void cmdGhyst(Engine& engine, Arguments& arguments) {
  const std::optional<bool> horizon = optionalLetter(engine, arguments, "H");
  if (!horizon || !requireObservations(engine)) return;
  if (engine.observations.activeCount() == 0) {
    say(engine, Severity::Error, kNoActiveObservations);
    return;
  }
  drawPlot(engine, residualPoints(engine), {}, [&](auto& device, auto points, const auto& style) {
    return plot::drawHistograms(device, points, style, *horizon);
  });
}

void cmdGdist(Engine& engine, Arguments& arguments) {
  const std::optional<bool> equatorial = optionalLetter(engine, arguments, "E");
  if (!equatorial || !requireObservations(engine)) return;
  const plot::SkyPlot sky = *equatorial ? plot::SkyPlot::Equatorial : plot::SkyPlot::Horizon;
  drawPlot(engine, residualPoints(engine), {{true}}, [&](auto& device, auto points, const auto& style) {
    return plot::drawDistribution(device, points, style, sky);
  });
}

namespace {

// GMAP draws the residuals, GSMAP the model's own corrections, the same way.
void drawMap(Engine& engine, Arguments& arguments, bool corrections) {
  const std::optional<MapArguments> map = mapArguments(engine, arguments);
  if (!map || !requireObservations(engine)) return;
  const plot::MapOptions options{map->equatorial ? plot::SkyPlot::Equatorial : plot::SkyPlot::Horizon,
                                 map->scale, corrections};
  drawPlot(engine, corrections ? correctionPoints(engine) : residualPoints(engine), {{true}},
           [&](auto& device, auto points, const auto& style) {
             return plot::drawVectorMap(device, points, style, options);
           });
}

}  // namespace

void cmdGmap(Engine& engine, Arguments& arguments) { drawMap(engine, arguments, false); }

void cmdGsmap(Engine& engine, Arguments& arguments) { drawMap(engine, arguments, true); }

}  // namespace zenfit
