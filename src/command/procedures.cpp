#include "command/procedures.h"

#include <cstdio>
#include <cstring>

#include "command/startup.h"
#include "engine.h"

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

void cmdInpro(Engine& engine) {
  if (engine.dispatch.procLevel >= 0) {
    msgOut(engine, 'S', "INPRO command not permitted within procedures!\n");
    return;
  }
  char name[kFileNameSize];
  fileNameArgument(engine, 5, name);
  if (name[0] == '\0') {
    std::snprintf(name, sizeof name, "%s", engine.settings.procedureLibrary);
  }
  std::FILE* file =
      openOrReport(engine, name, "r", "Library file cannot be opened!  File = %s, status = %d\n");
  if (file == nullptr) return;
  msgOutF(engine, 'I', "Reading procedures from file %s ...\n", name);

  ProcedureStore& store = engine.procedures;
  char raw[kLineLength + 1];
  char echo[kLineLength + 1];
  char command[kLineLength + 1];
  int slot = 0;
  int last = 0;
  for (;;) {
    if (cancelPoll(engine, 0) != 0) {
      std::snprintf(store.lines[0], sizeof store.lines[0], "END");
      std::fclose(file);
      return;
    }
    const int blank = readLine(file, kLineLength, raw, echo, command);
    if (blank < 0) break;
    if (blank == 1) continue;
    // An "END" line uses up its slot but is not stored in it.
    if (keywordEquals(command, "END") != 0) {
      storeLine(store.lines[slot], command);
      last = slot;
    }
    if (++slot >= kProcedureLines - 1) break;
  }
  std::snprintf(store.lines[last + 1], sizeof store.lines[last + 1], "END");
  msgOutF(engine, 'I', "%d lines input.\n", last + 1);
  std::fclose(file);
  engine.dispatch.status = kStatusDone;
}

void cmdCall(Engine& engine) {
  DispatchState& dispatch = engine.dispatch;
  char name[kProcedureNameSize];
  int cursor = 4;
  nextWord(kProcedureNameSize, engine.lines.command, cursor, name);
  if (name[0] == '\0') {
    msgOut(engine, 'E', "No procedure specified!\n");
    return;
  }
  if (dispatch.procLevel >= kProcedureLevels - 1) {
    msgOut(engine, 'S', "Link stack overflow!\n");
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
    if (keywordEquals(first, "END") == 0) {
      if (--passes <= 0) break;
      slot = 0;
      continue;
    }
    if (keywordEquals(first, "PROC") == 0 && keywordEquals(second, name) == 0) {
      ++dispatch.procLevel;
      dispatch.nextLine[dispatch.procLevel] = slot + 1;
      dispatch.status = kStatusDone;
      return;
    }
    if (++slot >= kProcedureLines) slot = 0;
  }
  msgOutF(engine, 'E', "No such procedure! - %s\n", name);
}

void cmdReturn(Engine& engine) {
  if (engine.dispatch.procLevel < 0) {
    msgOut(engine, 'S', "Not in library procedure!\n");
    return;
  }
  --engine.dispatch.procLevel;
  engine.dispatch.status = kStatusDone;
}

}  // namespace zenfit
