// Procedures (INPRO, CALL, RETURN) and the session's own commands (HELP,
// SPAWN, END).
#include <cstdio>
#include <cstring>

#include "command/file_input.h"
#include "command/arguments.h"
#include "command/command_table.h"
#include "command/engine.h"
#include "command/plot_commands.h"

namespace zenfit {
namespace {

// Stored procedure lines are cut to 80 characters, as the library format
// has always allowed; a longer line keeps the tail of whatever the slot
// held before, because the copy does not terminate it.
constexpr int kStoredLineLength = 80;

void storeLine(char* slot, const char* command) {
  const std::size_t length = strnlen(command, kStoredLineLength);
  std::memcpy(slot, command, length);
  std::memset(slot + length, 0, kStoredLineLength - length);
  slot[kLineLength] = '\0';
}

// Reads the first and second words of a stored line.
void procedureHeader(const char* line, char* first, char* second) {
  int cursor = 0;
  nextWord(kCommandWordSize, line, cursor, first);
  nextWord(kProcedureNameSize, line, cursor, second);
}

}  // namespace

void cmdInpro(Engine& engine, Arguments& arguments) {
  if (engine.dispatch.procLevel >= 0) {
    say(engine, Severity::Severe, "INPRO command not permitted within procedures!\n");
    return;
  }
  std::string name = arguments.fileName();
  if (name.empty()) name = engine.settings.procedureLibrary;
  FileHandle file =
      openOrReport(engine, name, "Library file cannot be opened!  File = %s, status = %d\n");
  if (!file) return;
  sayf(engine, Severity::Info, "Reading procedures from file %s ...\n", name.c_str());

  ProcedureStore& store = engine.procedures;
  PreparedLine line;
  int slot = 0;
  int last = 0;
  for (;;) {
    if (cancelRequested(engine)) {
      std::snprintf(store.lines[0], sizeof store.lines[0], "END");
      return;
    }
    const int blank = readLine(file.get(), line);
    if (blank < 0) break;
    if (blank == 1) continue;
    // An "END" line uses up its slot but is not stored in it.
    if (!isKeyword(line.command, "END")) {
      storeLine(store.lines[slot], line.command);
      last = slot;
    }
    if (++slot >= kProcedureLines - 1) break;
  }
  std::snprintf(store.lines[last + 1], sizeof store.lines[last + 1], "END");
  sayf(engine, Severity::Info, "%d lines input.\n", last + 1);
  if (readToTheEnd(engine, name, file)) done(engine);
}

void cmdCall(Engine& engine, Arguments& arguments) {
  DispatchState& dispatch = engine.dispatch;
  const std::string name = arguments.word(kProcedureNameSize);
  if (name.empty()) {
    say(engine, Severity::Error, "No procedure specified!\n");
    return;
  }
  if (dispatch.procLevel >= kProcedureLevels - 1) {
    say(engine, Severity::Severe, "Link stack overflow!\n");
    return;
  }
  // From the calling line onward, wrapping once at the end mark, so that a
  // procedure defined before its caller is still found.
  int slot = dispatch.procLevel < 0 ? 0 : dispatch.nextLine[dispatch.procLevel];
  int passes = dispatch.procLevel < 0 ? 1 : 2;
  if (slot < 0 || slot >= kProcedureLines) slot = 0;
  for (int steps = 0; steps < 2 * kProcedureLines; ++steps) {
    char first[kCommandWordSize];
    char second[kProcedureNameSize];
    procedureHeader(engine.procedures.lines[slot], first, second);
    if (isKeyword(first, "END")) {
      if (--passes <= 0) break;
      slot = 0;
      continue;
    }
    if (isKeyword(first, "PROC") && isKeyword(second, name.c_str())) {
      ++dispatch.procLevel;
      dispatch.nextLine[dispatch.procLevel] = slot + 1;
      done(engine);
      return;
    }
    if (++slot >= kProcedureLines) slot = 0;
  }
  sayf(engine, Severity::Error, "No such procedure! - %s\n", name.c_str());
}

void cmdReturn(Engine& engine, Arguments&) {
  if (engine.dispatch.procLevel < 0) {
    say(engine, Severity::Severe, "Not in library procedure!\n");
    return;
  }
  --engine.dispatch.procLevel;
  done(engine);
}

void cmdHelp(Engine& engine, Arguments&) {
  // The help hook has always been handed the command line from position 4,
  // whichever of HELP and "?" was typed: "? FIT" hands it "T". Hosts that
  // want the topic itself read the whole line, handed beside it.
  char text[81];
  std::snprintf(text, sizeof text, "%s", textFrom(engine.line.command, 4));
  if (engine.hooks.help) engine.hooks.help(text, engine.line.command);
  done(engine);
}

void cmdSpawn(Engine& engine, Arguments& arguments) {
  const std::string command = arguments.rest(kLineLength);
  if (engine.hooks.hostCommand) engine.hooks.hostCommand(command.c_str());
  done(engine);
}

void cmdEnd(Engine& engine, Arguments&) {
  // The session ends with every procedure in it, whether END was typed or a
  // procedure ran into the store's end mark; the host's next line starts afresh.
  engine.dispatch.procLevel = -1;
  say(engine, Severity::Prompt, "\n\n* END OF SESSION *\n\n\n");
  shutdownGraphics(engine);
  engine.dispatch.status = CommandStatus::End;
}

}  // namespace zenfit
