#include "command/startup.h"

#include <cstdio>
#include <cstring>

#include "data/decode.h"
#include "engine.h"

namespace zenfit {
namespace {

bool isDefaultName(const char* name) {
  return name == nullptr || name[0] == '\0' || keywordEquals(name, "/") == 0;
}

// Opens a command stream: standard input or output for "/" or an empty name.
int openStream(const char* name, const char* mode, std::FILE* standard, std::FILE*& stream,
               bool& owned) {
  if (isDefaultName(name)) {
    stream = standard;
    owned = false;
    return 0;
  }
  std::FILE* file = nullptr;
  const int status = openNamedFile(name, kFileNameSize, mode, &file);
  if (status != 0) return status;
  stream = file;
  owned = true;
  return 0;
}

struct NameKey {
  const char* key;
  char* value;
  int size;
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
      {"PROCEDURE_LIBRARY", settings.procedureLibrary, sizeof settings.procedureLibrary},
      {"STAR_CATALOG", settings.starCatalog, sizeof settings.starCatalog},
      {"HELP_NAME", settings.helpName, sizeof settings.helpName},
      {"HELP_PREFIX", settings.helpPrefix, sizeof settings.helpPrefix},
      {"HELP_SUFFIX", settings.helpSuffix, sizeof settings.helpSuffix},
      {"PIC_INITIALIZATION", settings.picInitialization, sizeof settings.picInitialization},
      {"GRAPHICS_DEVICE_NAME", settings.graphicsDeviceName, sizeof settings.graphicsDeviceName},
      {"GRAPHICS_HARDCOPY", settings.graphicsHardcopy, sizeof settings.graphicsHardcopy},
  };
  const IntegerKey integerKeys[] = {
      {"PEN_FRAME", &plot.pens[0]},     {"PEN_CAPTION", &plot.pens[1]},
      {"PEN_AXES", &plot.pens[2]},      {"PEN_LABELS", &plot.pens[3]},
      {"PEN_POINTS", &plot.pens[4]},    {"PEN_OFFPOINTS", &plot.pens[5]},
      {"FONT_CAPTION", &plot.fonts[0]}, {"FONT_LABELS", &plot.fonts[1]},
      {"TEXT_PRECISION", &plot.textPrecision},
  };

  LineBuffers& lines = engine.lines;
  for (;;) {
    const int blank = readLine(file, kLineLength, lines.raw, lines.echo, lines.command);
    if (blank < 0) break;
    if (blank == 1) continue;
    char key[kLineLength + 1];
    int cursor = 0;
    nextWord(sizeof key, lines.command, cursor, key);
    const int valueStart = cursor;
    if (keywordEquals(key, "END") == 0) break;

    bool handled = false;
    for (const NameKey& entry : nameKeys) {
      if (keywordEquals(key, entry.key) != 0) continue;
      int at = valueStart;
      nextWord(entry.size, lines.echo, at, entry.value);
      handled = true;
      break;
    }
    if (handled) continue;

    int value = 0;
    int pos = valueStart + 1;
    const int status = readInteger(lines.command, pos, value);
    if (status != kDecodedNumber && status != kDecodedNegative) continue;
    for (const IntegerKey& entry : integerKeys) {
      if (keywordEquals(key, entry.key) != 0) continue;
      *entry.value = value;
      handled = true;
      break;
    }
    if (!handled) std::printf("Error in ZENFIT initialization file! - \n%s\n", lines.raw);
  }
}

void writeBanner(Engine& engine) {
  msgOut(engine, 'P', "\n\n\n\n\n\n\n\n\n\n\n\n\n");
  msgOut(engine, 'P', "+ - - - - - - - - - - - - - - - - - - - - +\n");
  msgOut(engine, 'P', "|                 ZENFIT                  |\n");
  msgOut(engine, 'P', "|       Telescope pointing analysis       |\n");
  msgOut(engine, 'P', "|              Version 5.2-1              |\n");
  msgOut(engine, 'P', "+ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ _ +\n\n");
}

// Every session value that is not a setting read from the file.
void resetSessionState(Engine& engine) {
  std::snprintf(engine.run.caption, sizeof engine.run.caption, "No observations");
  clearModel(engine.model);
  clearObservations(engine.observations);
  engine.run.obsPresent = -1;
  engine.run.appendMode = 0;
  engine.fit = FitState{};
  clearCatalogue(engine.catalogue);
}

}  // namespace

int openNamedFile(const char* name, int maxLength, const char* mode, std::FILE** file) {
  char path[kFileNameSize + 8];
  std::snprintf(path, sizeof path, "%s", name);
  trimRight(path);
  const int length = static_cast<int>(std::strlen(path));
  if (length == 0) return -2;
  if (path[length - 1] == '/') {
    path[length - 1] = '\0';
  } else if (std::strchr(path, '.') == nullptr && length <= maxLength - 4) {
    std::strcat(path, ".dat");
  }
  *file = std::fopen(path, mode);
  return *file != nullptr ? 0 : -1;
}

void fileNameArgument(const Engine& engine, int commandLength, char name[kFileNameSize]) {
  restOfLine(textFrom(engine.lines.echo, commandLength), kFileNameSize, name);
  trimRight(name);
}

bool requireFileName(Engine& engine, int commandLength, char name[kFileNameSize],
                     const char* missingMessage) {
  fileNameArgument(engine, commandLength, name);
  if (name[0] != '\0') return true;
  msgOut(engine, 'E', missingMessage);
  return false;
}

std::FILE* openOrReport(Engine& engine, const char* name, const char* mode,
                        const char* failureFormat) {
  std::FILE* file = nullptr;
  const int opened = openNamedFile(name, kFileNameSize, mode, &file);
  if (opened == 0) return file;
  msgOutF(engine, 'E', failureFormat, name, opened);
  return nullptr;
}

int startup(Engine& engine, const StartupOptions& options) {
  HostState& host = engine.host;
  host.cancelHandler = options.cancelHandler;
  host.writer = options.writer;
  host.levelOne = options.levelOne;
  host.levelTwo = options.levelTwo;
  host.sink = options.sink;
  host.secondary = nullptr;

  if (openStream(options.inputName, "r", stdin, host.input, host.ownsInput) != 0) return -1;
  if (openStream(options.outputName, "w", stdout, host.output, host.ownsOutput) != 0) {
    shutdown(engine);
    return -1;
  }

  resetSettings(engine.settings);
  engine.plot.pens[0] = engine.plot.pens[1] = engine.plot.pens[2] = -1;
  engine.plot.pens[3] = engine.plot.pens[4] = engine.plot.pens[5] = -1;
  engine.plot.fonts[0] = engine.plot.fonts[1] = 1;
  engine.plot.textPrecision = 2;

  const char* iniName = isDefaultName(options.initializationName) ? "zenfit.ini"
                                                                  : options.initializationName;
  std::FILE* ini = nullptr;
  if (openNamedFile(iniName, kFileNameSize, "r", &ini) == 0) {
    readInitializationFile(engine, ini);
    std::fclose(ini);
  }

  writeBanner(engine);
  resetSessionState(engine);
  if (loadTermNames(engine) != 0) {
    shutdown(engine);
    return -1;
  }
  resetGraphics(engine);

  engine.settings.echoFlag = 0;
  engine.dispatch = DispatchState{};
  std::snprintf(engine.procedures.lines[0], sizeof engine.procedures.lines[0], "END");

  runLine(engine, "INPRO");
  runLine(engine, "CALL INIT");
  runLine(engine, "INST");

  msgOut(engine, 'P', "\nZENFIT ready for use:  type HELP for assistance, END to quit.\n\n");
  return 0;
}

void shutdown(Engine& engine) {
  HostState& host = engine.host;
  if (host.ownsInput && host.input != nullptr) std::fclose(host.input);
  if (host.ownsOutput && host.output != nullptr) std::fclose(host.output);
  host.input = host.output = nullptr;
  host.ownsInput = host.ownsOutput = false;
}

}  // namespace zenfit
