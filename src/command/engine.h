// The engine: one interpreter of the command language with all its state.
//
// Engines are independent values: each has its own model, observations,
// settings and working folder, and nothing is shared between two of them,
// so several may run at once in different threads. A host creates one,
// connects its hooks, starts it and hands it command lines:
//
//   Engine engine;
//   engine.workdir = "/data/run7";
//   engine.hooks.output = &sink;
//   startEngine(engine, {});
//   runLine(engine, "INDAT run7");
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/constants.h"
#include "base/text.h"
#include "command/output.h"
#include "command/plot_state.h"
#include "data/catalogue.h"
#include "data/observation_reader.h"
#include "data/observations.h"
#include "fit/fit.h"
#include "model/evaluate.h"
#include "model/model.h"
#include "model/terms.h"

namespace zenfit {

// The outcome of the current command, shown after a failed one.
enum class CommandStatus : char {
  None = 0,
  Failed = '?',       // failed, or not confirmed
  Done = ' ',         // succeeded
  End = 'E',          // the session ends
  Interrupted = '!',  // a fit or listing stopped by the host, or a fit that ended early
};

// Where the engine reads lines in a batch session (and the line that
// acknowledges a finished plot on a screen).
class LineInput {
 public:
  virtual ~LineInput() = default;
  // Reads one line (without its line end). prompt is what the user was
  // shown ("*"), or null when nothing was. False at the end of input.
  virtual bool readLine(const char* prompt, std::string& line) = 0;
};

// A LineInput over a C stream (standard input, or a command file).
class StreamInput final : public LineInput {
 public:
  explicit StreamInput(std::FILE* stream) : stream_(stream) {}
  bool readLine(const char* prompt, std::string& line) override;

 private:
  std::FILE* stream_;
};

// What a host connects to the engine. Every hook may be left empty.
struct HostHooks {
  OutputSink* output = nullptr;  // every message; none: messages are dropped
  LineInput* input = nullptr;    // batch lines; none: standard input
  // The cancel poll that long loops consult: operation 0 asks, 3 ends the
  // call; non-zero cancels. None: never.
  std::function<int(int operation)> cancelPoll;
  // HELP and "?": the text the command hands on (the command line from
  // position 4, at most 80 characters) and the whole command line.
  std::function<int(const char* text, const char* commandLine)> help;
  // SPAWN: the rest of the line, for a shell.
  std::function<int(const char* command)> hostCommand;
  // A site's own commands, offered each command word before the table;
  // non-zero when handled.
  std::function<int(const char* word)> siteCommand;
  // Where bad lines of the initialisation file are reported (standard
  // output unless set).
  std::FILE* console = nullptr;
  // Every file the engine reads or writes by a name (the initialisation
  // file, INDAT, INST, INMOD, INPRO, OUTDAT, OUTMOD, plot files) is shown
  // here first: the name as given, the path it leads to (the file-name
  // rule applied, in the working folder) and whether it is to be written.
  // An empty answer lets the file be used; any other text refuses it, and
  // the text is reported as the error. None: every file may be used.
  std::function<std::string(const std::string& name, const std::filesystem::path& path,
                            bool writing)>
      fileAccess;
};

// The settings that last for the life of the engine.
struct Settings {
  AdjustSense adjustSense = AdjustSense::Telescope;
  int captionFlag = 1;          // captions are plotted
  int clearMode = -1;           // -1 whole surface, 0 none, 1 plotting zone
  int echoFlag = 0;             // procedure lines are echoed
  int frameFlag = 1;            // a frame is plotted
  double markerHeight = 0.1;    // half the value given to MARKH
  int reportLength = 0;         // 0 full, 1 summarised, 2 third form
  int vtMode = 0;               // 1 VT100 with a scrolling region
  int vtTop = 0;
  int vtBottom = 0;
  double fitTolerance = 0.01;   // ill-conditioning criterion (FITTOL)
  int levelOne = 0;             // message levels (MESLEV); the writers may use them
  int levelTwo = 0;
  std::string procedureLibrary = "procs";
  std::string starCatalog = "stars";
  std::string helpName = "zenfit";
  std::string helpPrefix;
  std::string helpSuffix = ".shl";
  std::string picInitialization = "pic.ini";
  std::string graphicsDeviceName = "zenfit";
  std::string graphicsHardcopy = "zenfit.ps";
};

inline constexpr int kProcedureNameSize = 11;  // 10 characters and terminator

struct ProcedureStore {
  char lines[kProcedureLines][kLineLength + 1] = {};
};

struct DispatchState {
  CommandStatus status = CommandStatus::None;
  bool batch = false;                   // reading lines from the input
  int procLevel = -1;                   // innermost running procedure, -1 for none
  int nextLine[kProcedureLevels] = {};  // next procedure-store line per level
};

// What the last fit left for the host.
struct FitSummary {
  double skyRms = 0.0;     // radians
  double popSd = 0.0;      // radians; -1 with fewer than one degree of freedom
  int illConditioned = 0;  // 1 when the last fit zeroed a singular value
  std::optional<FitResult> last;  // the last fit that reached its report
  std::vector<std::string> lastNames;  // the name of each of last->terms, as that fit saw it
};

// The host's two data areas (SetDataPtrs), filled by INDAT.
struct HostAreas {
  void* obsParms = nullptr;  // 192-byte run-parameter block
  void* mapPts = nullptr;    // 80-byte point entries
};

struct Engine {
  std::filesystem::path workdir;  // relative file names are taken here
  HostHooks hooks;
  HostAreas hostAreas;

  PreparedLine line;  // the command being run
  DispatchState dispatch;
  ProcedureStore procedures;
  Settings settings;
  TermTable terms;
  Model model;
  ObservationList observations;
  RunState run;
  std::optional<RunDescription> runDescription;  // what the last INDAT's run parameters said
  Catalogue catalogue;
  FitSummary fit;
  PlotState plot;

  Engine();
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
};

// What start-up reads.
struct StartOptions {
  std::string initializationName;  // "" or "/": zenfit.ini in the working folder
};

// Start-up: the initialisation file, every default, the term names, the
// banner, then INPRO, CALL INIT and INST. Returns 0, or -1 when no
// standard term fits the name table.
int startEngine(Engine& engine, const StartOptions& options);

// Runs one line, and any procedure it starts; the line "$" runs a batch
// session from the input hook instead. Returns 1.
int runLine(Engine& engine, const char* line);

// The end of the session: closes the graphics (writing what a file device
// still holds).
void shutdownEngine(Engine& engine);

// ---- What the handlers share.

// Writes a message to the host.
void say(Engine& engine, Severity severity, const std::string& text,
         Channel channel = Channel::Main, TextKind kind = TextKind::Text);
void sayf(Engine& engine, Severity severity, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void emit(Engine& engine, const Report& report);

// The cancel poll of the long loops.
bool cancelRequested(Engine& engine);
std::function<bool()> cancelCheck(Engine& engine);

// The current command succeeded.
inline void done(Engine& engine) { engine.dispatch.status = CommandStatus::Done; }

// Helpers for the typed core.
EvaluationContext evaluationContext(const Engine& engine);

}  // namespace zenfit
