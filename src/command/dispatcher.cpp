// The dispatcher: one command line, or a batch session, through the
// command table.
#include <cstdio>
#include <cstring>

#include "command/arguments.h"
#include "command/command_table.h"
#include "command/engine.h"

namespace zenfit {
namespace {

bool procedureRunning(const Engine& engine) { return engine.dispatch.procLevel >= 0; }

// Puts a line into the raw form as a text file's line is read: at most 200
// characters, white space and NUL bytes made blanks, trailing blanks cut.
void takeRaw(Engine& engine, const std::string& text) {
  char* raw = engine.line.raw;
  std::size_t n = 0;
  for (; n < text.size() && n < static_cast<std::size_t>(kLineLength); ++n) {
    raw[n] = text[n] == '\0' ? ' ' : text[n];
  }
  raw[n] = '\0';
  prepareLine(engine.line);
}

// Reads one line from the input hook (standard input when there is none).
bool readInput(Engine& engine, const char* prompt) {
  StreamInput standardInput(stdin);
  LineInput& input = engine.hooks.input != nullptr ? *engine.hooks.input : standardInput;
  std::string text;
  if (!input.readLine(prompt, text)) {
    engine.line.raw[0] = engine.line.echo[0] = engine.line.command[0] = '\0';
    return false;
  }
  takeRaw(engine, text);
  return true;
}

// Shows the prompt and reads the line typed at it.
bool promptRead(Engine& engine, const char* prompt) {
  say(engine, Severity::Prompt, prompt, Channel::Primary, TextKind::Prompt);
  say(engine, Severity::Prompt, " ", Channel::Primary, TextKind::Prompt);
  return readInput(engine, prompt);
}

// Takes the next line of the innermost procedure into the raw line (a slot
// outside the store, which the caller never asks for, reads as the end mark).
void takeProcedureLine(Engine& engine) {
  DispatchState& dispatch = engine.dispatch;
  int& next = dispatch.nextLine[dispatch.procLevel];
  if (next < 0 || next >= kProcedureLines) {
    std::snprintf(engine.line.raw, sizeof engine.line.raw, "END");
  } else {
    std::snprintf(engine.line.raw, sizeof engine.line.raw, "%s", engine.procedures.lines[next]);
  }
  ++next;
}

// Gets the next non-blank line, prepared and echoed. Returns false for a
// blank host line, which has nothing to run.
bool getLine(Engine& engine, const char* hostLine) {
  PreparedLine& line = engine.line;
  for (;;) {
    bool prompted = false;
    if (procedureRunning(engine)) {
      takeProcedureLine(engine);
    } else if (engine.dispatch.batch) {
      if (line.raw[0] == '\0') {
        prompted = true;
        if (!promptRead(engine, "*")) {
          std::snprintf(line.raw, sizeof line.raw, "END");
          say(engine, Severity::Info, "EOF", Channel::Secondary);
        }
      }
    } else {
      std::snprintf(line.raw, sizeof line.raw, "%s", hostLine);
    }
    const int blank = prepareLine(line);
    if (procedureRunning(engine) && engine.settings.echoFlag && engine.plot.graphicsState != 2) {
      say(engine, Severity::Info, formatLine("> %s\n", line.echo), Channel::Primary);
    }
    say(engine, Severity::Info, formatLine("* %s\n", line.raw), Channel::Secondary,
        prompted ? TextKind::EchoOfPromptedLine : TextKind::Text);
    if (!blank) return true;
    // A blank line: take another. In batch mode the next one is read at the
    // prompt. A host line that is blank would be taken again for ever; it is
    // dropped instead.
    if (!procedureRunning(engine)) {
      if (!engine.dispatch.batch) return false;
      line.raw[0] = '\0';
    }
  }
}

// Waits for the user to acknowledge a finished plot on a screen; a line
// typed then is taken as the next command.
void startLine(Engine& engine) {
  engine.line.raw[0] = '\0';
  if (procedureRunning(engine)) return;
  if (engine.plot.graphicsState == 2) {
    if (!readInput(engine, nullptr)) engine.line.raw[0] = '\0';
    engine.plot.graphicsState = 1;
  }
}

void runCommand(Engine& engine) {
  char word[kCommandWordSize];
  int cursor = 0;
  nextWord(kCommandWordSize, engine.line.command, cursor, word);

  // A word that names a term sets or shows that term's coefficient.
  if (engine.terms.find(word) > 0) std::snprintf(word, sizeof word, "csrv");

  if (engine.hooks.siteCommand && engine.hooks.siteCommand(word) != 0) return;
  Arguments arguments(engine.line, cursor);
  if (const Command* command = findCommand(word)) {
    command->handler(engine, arguments);
  } else if (isEndWord(word)) {
    cmdEnd(engine, arguments);
  } else {
    say(engine, Severity::Error, "Unrecognized command!\n");
  }
}

int cancelPoll(Engine& engine, int operation) {
  return engine.hooks.cancelPoll ? engine.hooks.cancelPoll(operation) : 0;
}

}  // namespace

int runLine(Engine& engine, const char* line) {
  DispatchState& dispatch = engine.dispatch;
  dispatch.batch = keywordEquals(line, "$") == 0;
  dispatch.status = CommandStatus::None;
  for (;;) {
    startLine(engine);
    dispatch.status = CommandStatus::Failed;
    if (!getLine(engine, line)) break;
    runCommand(engine);

    if (cancelPoll(engine, 0) != 0) {
      dispatch.procLevel = -1;
      say(engine, Severity::Info, "\n* CANCELLED *\n\n", Channel::Secondary);
    } else if (dispatch.status != CommandStatus::Done && dispatch.status != CommandStatus::End) {
      sayf(engine, Severity::Warning, "%c\n", static_cast<char>(dispatch.status));
      if (!procedureRunning(engine)) {
        if (!dispatch.batch) break;
        continue;
      }
      if (!engine.settings.echoFlag) {
        say(engine, Severity::Error,
            formatLine("The command which failed was:\n%s\n", engine.line.echo),
            Channel::Primary);
      }
      dispatch.procLevel = -1;
    }

    if (procedureRunning(engine)) {
      if (dispatch.status == CommandStatus::End) break;
      continue;
    }
    if (!dispatch.batch || dispatch.status == CommandStatus::End) break;
  }
  cancelPoll(engine, 3);
  return 1;
}

}  // namespace zenfit
