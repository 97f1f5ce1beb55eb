// The dispatcher: one command line, or a batch session, through the
// command table.
#pragma once

#include "constants.h"

namespace zenfit {

struct Engine;

// Status character values of the last command.
inline constexpr int kStatusFailed = '?';
inline constexpr int kStatusDone = ' ';
inline constexpr int kStatusEnd = 'E';

struct DispatchState {
  int status = 0;         // outcome of the current command
  bool batch = false;     // reading lines from the input stream
  int procLevel = -1;     // innermost running procedure, -1 for none
  int nextLine[kProcedureLevels] = {};  // next procedure-store line per level
};

// Runs one host line ("$" starts a batch session). Returns 1.
int runLine(Engine& engine, const char* line);

// The end-of-session handler (END, QUIT, QU, ".").
void cmdEnd(Engine& engine);
void cmdHelp(Engine& engine);
void cmdSpawn(Engine& engine);

// Hooks a site build can fill: a site command (0 = not handled), the help
// viewer and the host command. All do nothing here.
int siteCommandHook(Engine& engine, const char* word);
int helpHook(Engine& engine, const char* text);
int hostCommandHook(Engine& engine, const char* text);

}  // namespace zenfit
