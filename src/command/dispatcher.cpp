#include "command/dispatcher.h"

#include <cstdio>
#include <cstring>

#include "command/command_table.h"
#include "engine.h"

namespace zenfit {
namespace {

bool procedureRunning(const Engine& engine) { return engine.dispatch.procLevel >= 0; }

// Takes the next line of the innermost procedure into the raw line (a slot
// outside the store, which the caller never asks for, reads as the end mark).
void takeProcedureLine(Engine& engine) {
  DispatchState& dispatch = engine.dispatch;
  int& next = dispatch.nextLine[dispatch.procLevel];
  if (next < 0 || next >= kProcedureLines) {
    std::snprintf(engine.lines.raw, sizeof engine.lines.raw, "END");
  } else {
    std::snprintf(engine.lines.raw, sizeof engine.lines.raw, "%s", engine.procedures.lines[next]);
  }
  ++next;
}

// Gets the next non-blank line, prepared and echoed. Returns false for a
// blank host line, which has nothing to run.
bool getLine(Engine& engine, const char* hostLine) {
  LineBuffers& lines = engine.lines;
  bool prompted = false;
  for (;;) {
    prompted = false;
    if (procedureRunning(engine)) {
      takeProcedureLine(engine);
    } else if (engine.dispatch.batch) {
      if (lines.raw[0] == '\0') {
        prompted = true;
        if (promptRead(engine, "*") < 0) {
          std::snprintf(lines.raw, sizeof lines.raw, "END");
          msgOutSecondary(engine, 'I', "EOF");
        }
      }
    } else {
      std::snprintf(lines.raw, sizeof lines.raw, "%s", hostLine);
    }
    const int blank = prepareLine(kLineLength, lines.raw, lines.echo, lines.command);
    if (procedureRunning(engine)) {
      std::snprintf(lines.message, sizeof lines.message, "> %s\n", lines.echo);
      if (engine.settings.echoFlag && engine.plot.graphicsState != 2) {
        msgOutPrimary(engine, 'I', lines.message);
      }
    }
    std::snprintf(lines.message, sizeof lines.message, "* %s\n", lines.raw);
    if (prompted) engine.host.pendingKind = MessageKind::EchoOfPromptedLine;
    msgOutSecondary(engine, 'I', lines.message);
    if (!blank) return true;
    // A blank line: take another. In batch mode the next one is read at the
    // prompt. A host line that is blank would be taken again for ever; it is
    // dropped instead.
    if (!procedureRunning(engine)) {
      if (!engine.dispatch.batch) return false;
      lines.raw[0] = '\0';
    }
  }
}

// Waits for the user to acknowledge a finished plot; a line typed then is
// taken as the next command.
void startLine(Engine& engine) {
  engine.lines.raw[0] = '\0';
  if (procedureRunning(engine)) return;
  if (engine.plot.graphicsState == 2) {
    std::FILE* input = engine.host.input != nullptr ? engine.host.input : stdin;
    LineBuffers& lines = engine.lines;
    if (readLine(input, kLineLength, lines.raw, lines.echo, lines.command) < 0) {
      lines.raw[0] = '\0';
    }
    engine.plot.graphicsState = 1;
  }
}

bool isEndWord(const char* word) {
  return keywordEquals(word, "END") == 0 || keywordEquals(word, "QUIT") == 0 ||
         keywordEquals(word, "QU") == 0 || keywordEquals(word, ".") == 0;
}

void runCommand(Engine& engine) {
  char word[kCommandWordSize];
  int cursor = 0;
  nextWord(kCommandWordSize, engine.lines.command, cursor, word);

  // A word that names a term sets or shows that term's coefficient.
  const TermTable& terms = engine.terms;
  for (int i = 0; i < terms.termNameCount && i < kMaxTermNames; ++i) {
    if (keywordEquals(word, terms.names[i]) == 0) {
      std::snprintf(word, sizeof word, "csrv");
      break;
    }
  }

  if (siteCommandHook(engine, word) != 0) return;
  if (CommandHandler handler = findCommand(word)) {
    handler(engine);
  } else if (isEndWord(word)) {
    cmdEnd(engine);
  } else {
    msgOut(engine, 'E', "Unrecognized command!\n");
  }
}

}  // namespace

int runLine(Engine& engine, const char* line) {
  DispatchState& dispatch = engine.dispatch;
  dispatch.batch = keywordEquals(line, "$") == 0;
  dispatch.status = 0;
  for (;;) {
    startLine(engine);
    dispatch.status = kStatusFailed;
    if (!getLine(engine, line)) break;
    runCommand(engine);

    if (cancelPoll(engine, 0) != 0) {
      dispatch.procLevel = -1;
      msgOutSecondary(engine, 'I', "\n* CANCELLED *\n\n");
    } else if (dispatch.status != kStatusDone && dispatch.status != kStatusEnd) {
      msgOutF(engine, 'W', "%c\n", static_cast<char>(dispatch.status));
      if (!procedureRunning(engine)) {
        if (!dispatch.batch) break;
        continue;
      }
      if (!engine.settings.echoFlag) {
        std::snprintf(engine.lines.message, sizeof engine.lines.message,
                      "The command which failed was:\n%s\n", engine.lines.echo);
        msgOutPrimary(engine, 'E', engine.lines.message);
      }
      dispatch.procLevel = -1;
    }

    if (procedureRunning(engine)) {
      if (dispatch.status == kStatusEnd) break;
      continue;
    }
    if (!dispatch.batch || dispatch.status == kStatusEnd) break;
  }
  cancelPoll(engine, 3);
  return 1;
}

void cmdEnd(Engine& engine) {
  // The session ends with every procedure in it, whether END was typed or a
  // procedure ran into the store's end mark; the host's next line starts afresh.
  engine.dispatch.procLevel = -1;
  msgOut(engine, 'P', "\n\n* END OF SESSION *\n\n\n");
  shutdownGraphics(engine);
  engine.dispatch.status = kStatusEnd;
}

void cmdHelp(Engine& engine) {
  char topic[81];
  std::snprintf(topic, sizeof topic, "%s", textFrom(engine.lines.command, 4));
  helpHook(engine, topic);
  engine.dispatch.status = kStatusDone;
}

void cmdSpawn(Engine& engine) {
  char command[kLineLength];
  restOfLine(textFrom(engine.lines.echo, 5), kLineLength, command);
  hostCommandHook(engine, command);
  engine.dispatch.status = kStatusDone;
}

int siteCommandHook(Engine&, const char*) { return 0; }
int helpHook(Engine&, const char*) { return 0; }
int hostCommandHook(Engine&, const char*) { return 0; }

}  // namespace zenfit
