// The command table: each command word and its handler, in search order.
#pragma once

#include <string>
#include <vector>

namespace zenfit {

struct Engine;
class Arguments;

// A handler reads its arguments, acts, reports, and marks the command done
// when it succeeded.
using CommandHandler = void (*)(Engine& engine, Arguments& arguments);

struct Command {
  const char* word;
  CommandHandler handler;
};

// Looks the word up in table order (exact keyword match); null if absent.
const Command* findCommand(const char* word);

// Whether a word ends the session (END, QUIT, QU, ".").
bool isEndWord(const char* word);

// ---- The handlers, by subsystem.

// Settings (settings_commands.cpp).
void cmdAdjust(Engine&, Arguments&);
void cmdAppend(Engine&, Arguments&);
void cmdCapt(Engine&, Arguments&);
void cmdClrng(Engine&, Arguments&);
void cmdEcho(Engine&, Arguments&);
void cmdFrame(Engine&, Arguments&);
void cmdMarkh(Engine&, Arguments&);
void cmdMeslev(Engine&, Arguments&);
void cmdReplen(Engine&, Arguments&);
void cmdSetcap(Engine&, Arguments&);
void cmdShow(Engine&, Arguments&);
void cmdVt(Engine&, Arguments&);

// Procedures and the session (session_commands.cpp).
void cmdInpro(Engine&, Arguments&);
void cmdCall(Engine&, Arguments&);
void cmdReturn(Engine&, Arguments&);
void cmdHelp(Engine&, Arguments&);
void cmdSpawn(Engine&, Arguments&);
void cmdEnd(Engine&, Arguments&);

// The model (model_commands.cpp).
void cmdUse(Engine&, Arguments&);
void cmdLose(Engine&, Arguments&);
void cmdFix(Engine&, Arguments&);
void cmdChain(Engine&, Arguments&);
void cmdParal(Engine&, Arguments&);
void cmdCsrv(Engine&, Arguments&);
void cmdReset(Engine&, Arguments&);
void cmdClist(Engine&, Arguments&);
void cmdInmod(Engine&, Arguments&);
void cmdOutmod(Engine&, Arguments&);

// Observations (data_commands.cpp).
void cmdIndat(Engine&, Arguments&);
void cmdInst(Engine&, Arguments&);
void cmdOutdat(Engine&, Arguments&);
void cmdMask(Engine&, Arguments&);
void cmdUnmask(Engine&, Arguments&);
void cmdPerfct(Engine&, Arguments&);

// Fitting (fit_commands.cpp).
void cmdFit(Engine&, Arguments&);
void cmdFittol(Engine&, Arguments&);
void cmdSlist(Engine&, Arguments&);
void cmdUnfit(Engine&, Arguments&);

// Plotting (plot_commands.cpp).
void cmdPlton(Engine&, Arguments&);
void cmdPltoff(Engine&, Arguments&);
void cmdPltz(Engine&, Arguments&);
void cmdPens(Engine&, Arguments&);
void cmdTxf(Engine&, Arguments&);
void cmdTxp(Engine&, Arguments&);
void cmdG(Engine&, Arguments&);
void cmdGam(Engine&, Arguments&);
void cmdGc(Engine&, Arguments&);
void cmdGdist(Engine&, Arguments&);
void cmdGhyst(Engine&, Arguments&);
void cmdGmap(Engine&, Arguments&);
void cmdGscat(Engine&, Arguments&);
void cmdGsmap(Engine&, Arguments&);

// The words a user can type, in table order (the hidden "csrv" left out;
// the end words END, QUIT, QU and "." are the dispatcher's, not the table's).
std::vector<std::string> commandWords();

}  // namespace zenfit
