#include "command/command_table.h"

#include "command/lexer.h"
#include "engine.h"
#include "fit/fit.h"
#include "fit/slist.h"

namespace zenfit {
namespace {

// Searched in this order; each word is matched exactly. "END", "QUIT",
// "QU" and "." are handled by the dispatcher after the table.
const Command kCommandTable[] = {
    {"ADJUST", cmdAdjust},
    {"APPEND", cmdAppend},
    {"CALL", cmdCall},
    {"CAPT", cmdCapt},
    {"CLRNG", cmdClrng},
    {"ECHO", cmdEcho},
    {"FITTOL", cmdFittol},
    {"FRAME", cmdFrame},
    {"G", cmdPlot},
    {"GAM", cmdPlot},
    {"GC", cmdPlot},
    {"GDIST", cmdPlot},
    {"GHYST", cmdPlot},
    {"GMAP", cmdPlot},
    {"GSCAT", cmdPlot},
    {"GSMAP", cmdPlot},
    {"HELP", cmdHelp},
    {"?", cmdHelp},
    {"INPRO", cmdInpro},
    {"INST", cmdInst},
    {"MARKH", cmdMarkh},
    {"MESLEV", cmdMeslev},
    {"PENS", cmdPens},
    {"PLTOFF", cmdPltoff},
    {"PLTON", cmdPlton},
    {"PLTZ", cmdPltz},
    {"REPLEN", cmdReplen},
    {"RETURN", cmdReturn},
    {"SETCAP", cmdSetcap},
    {"SHOW", cmdShow},
    {"SLIST", cmdSlist},
    {"SPAWN", cmdSpawn},
    {"TXF", cmdTxf},
    {"TXP", cmdTxp},
    {"VT", cmdVt},
};

}  // namespace

CommandHandler findCommand(const char* word) {
  for (const Command& command : kCommandTable) {
    if (keywordEquals(word, command.word) == 0) return command.handler;
  }
  return nullptr;
}

}  // namespace zenfit
