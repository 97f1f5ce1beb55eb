// Start-up: the initialisation file, defaults, term names, the banner and
// the start-up procedure.
#include <cstdio>
#include <cstring>

#include "base/decode.h"
#include "base/files.h"
#include "command/engine.h"
#include "command/file_input.h"
#include "command/plot_commands.h"
#include "command/reports.h"

namespace zenfit {
namespace {

bool isDefaultName(const std::string& name) { return name.empty() || isKeyword(name.c_str(), "/"); }

struct NameKey {
  const char* key;
  std::string* value;
  int size;  // the longest value kept, with its terminator
};

struct IntegerKey {
  const char* key;
  int* value;
};

// Reads the initialisation file. File-name keys store their value (case
// kept); other keys need an integer value, and an unknown key is reported
// only when its value is a number.
void readInitializationFile(Engine& engine, std::FILE* file) {
  Settings& settings = engine.settings;
  PlotState& plot = engine.plot;
  const NameKey nameKeys[] = {
      {"PROCEDURE_LIBRARY", &settings.procedureLibrary, kFileNameSize},
      {"STAR_CATALOG", &settings.starCatalog, kFileNameSize},
      {"HELP_NAME", &settings.helpName, 21},
      {"HELP_PREFIX", &settings.helpPrefix, kFileNameSize},
      {"HELP_SUFFIX", &settings.helpSuffix, kFileNameSize},
      {"PIC_INITIALIZATION", &settings.picInitialization, kFileNameSize},
      {"GRAPHICS_DEVICE_NAME", &settings.graphicsDeviceName, kFileNameSize},
      {"GRAPHICS_HARDCOPY", &settings.graphicsHardcopy, kFileNameSize},
  };
  const IntegerKey integerKeys[] = {
      {"PEN_FRAME", &plot.pens[0]},     {"PEN_CAPTION", &plot.pens[1]},
      {"PEN_AXES", &plot.pens[2]},      {"PEN_LABELS", &plot.pens[3]},
      {"PEN_POINTS", &plot.pens[4]},    {"PEN_OFFPOINTS", &plot.pens[5]},
      {"FONT_CAPTION", &plot.fonts[0]}, {"FONT_LABELS", &plot.fonts[1]},
      {"TEXT_PRECISION", &plot.textPrecision},
  };

  PreparedLine line;
  for (;;) {
    const int blank = readLine(file, line);
    if (blank < 0) break;
    if (blank == 1) continue;
    char key[kLineLength + 1];
    int cursor = 0;
    nextWord(sizeof key, line.command, cursor, key);
    const int valueStart = cursor;
    if (isKeyword(key, "END")) break;

    bool handled = false;
    for (const NameKey& entry : nameKeys) {
      if (!isKeyword(key, entry.key)) continue;
      char value[kFileNameSize];
      int at = valueStart;
      nextWord(entry.size, line.echo, at, value);
      *entry.value = value;
      handled = true;
      break;
    }
    if (handled) continue;

    int pos = valueStart + 1;
    const DecodedNumber value = decodeIntegerAt(line.command, pos);
    if (!value.present) continue;
    for (const IntegerKey& entry : integerKeys) {
      if (!isKeyword(key, entry.key)) continue;
      *entry.value = static_cast<int>(value.value);
      handled = true;
      break;
    }
    if (!handled) {
      std::fprintf(engine.hooks.console != nullptr ? engine.hooks.console : stdout,
                   "Error in ZENFIT initialization file! - \n%s\n", line.raw);
    }
  }
}

void writeBanner(Engine& engine) {
  say(engine, Severity::Prompt, "\n\n\n\n\n\n\n\n\n\n\n\n\n");
  say(engine, Severity::Prompt, "+ - - - - - - - - - - - - - - - - - - - - +\n");
  say(engine, Severity::Prompt, "|                 ZENFIT                  |\n");
  say(engine, Severity::Prompt, "|       Telescope pointing analysis       |\n");
  say(engine, Severity::Prompt, "|              Version 5.2-1              |\n");
  say(engine, Severity::Prompt, "+ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ +\n\n");
}

// Every session value that is not a setting read from the file.
void resetSessionState(Engine& engine) {
  engine.run.caption = "No observations";
  engine.model.clear();
  engine.observations.clear();
  engine.runDescription.reset();
  engine.run.obsPresent = -1;
  engine.run.appendMode = 0;
  engine.fit = FitSummary{};
  engine.catalogue.clear();
}

}  // namespace

int startEngine(Engine& engine, const StartOptions& options) {
  engine.settings = Settings{};
  PlotState& plot = engine.plot;
  for (int& pen : plot.pens) pen = -1;
  plot.fonts[0] = plot.fonts[1] = 1;
  plot.textPrecision = 2;

  const std::string iniName =
      isDefaultName(options.initializationName) ? "zenfit.ini" : options.initializationName;
  int status = 0;
  if (FileHandle ini = openNamedFile(engine, iniName, status)) {
    readInitializationFile(engine, ini.get());
    if (const std::string failure = readFailure(ini); !failure.empty()) {
      std::fprintf(engine.hooks.console != nullptr ? engine.hooks.console : stdout,
                   "ZENFIT initialization file could not be read to its end!  File = %s: %s\n",
                   iniName.c_str(), failure.c_str());
    }
  }

  writeBanner(engine);
  resetSessionState(engine);
  const TermSpace space = loadTermNames(engine.terms);
  emit(engine, termSpaceReport(space));
  if (space.noStandardRoom) return -1;
  resetGraphics(engine);

  engine.settings.echoFlag = 0;
  engine.dispatch = DispatchState{};
  std::snprintf(engine.procedures.lines[0], sizeof engine.procedures.lines[0], "END");

  runLine(engine, "INPRO");
  runLine(engine, "CALL INIT");
  runLine(engine, "INST");

  say(engine, Severity::Prompt, "\nZENFIT ready for use:  type HELP for assistance, END to quit.\n\n");
  return 0;
}

}  // namespace zenfit
