#include "command/command_table.h"

#include "base/text.h"

namespace zenfit {
namespace {

// Searched in this order; each word is matched exactly. "END", "QUIT",
// "QU" and "." end the session; they are looked for after the table.
const Command kCommandTable[] = {
    {"ADJUST", cmdAdjust},
    {"APPEND", cmdAppend},
    {"CALL", cmdCall},
    {"CAPT", cmdCapt},
    {"CHAIN", cmdChain},
    {"CLIST", cmdClist},
    {"CLRNG", cmdClrng},
    {"csrv", cmdCsrv},  // hidden: a line that starts with a term name
    {"ECHO", cmdEcho},
    {"FIT", cmdFit},
    {"FITTOL", cmdFittol},
    {"FIX", cmdFix},
    {"FRAME", cmdFrame},
    {"G", cmdG},
    {"GAM", cmdGam},
    {"GC", cmdGc},
    {"GDIST", cmdGdist},
    {"GHYST", cmdGhyst},
    {"GMAP", cmdGmap},
    {"GSCAT", cmdGscat},
    {"GSMAP", cmdGsmap},
    {"HELP", cmdHelp},
    {"?", cmdHelp},
    {"INDAT", cmdIndat},
    {"INMOD", cmdInmod},
    {"INPRO", cmdInpro},
    {"INST", cmdInst},
    {"LOSE", cmdLose},
    {"MARKH", cmdMarkh},
    {"MASK", cmdMask},
    {"MESLEV", cmdMeslev},
    {"OUTDAT", cmdOutdat},
    {"OUTMOD", cmdOutmod},
    {"PARAL", cmdParal},
    {"PENS", cmdPens},
    {"PERFCT", cmdPerfct},
    {"PLTOFF", cmdPltoff},
    {"PLTON", cmdPlton},
    {"PLTZ", cmdPltz},
    {"REPLEN", cmdReplen},
    {"RESET", cmdReset},
    {"RETURN", cmdReturn},
    {"SETCAP", cmdSetcap},
    {"SHOW", cmdShow},
    {"SLIST", cmdSlist},
    {"SPAWN", cmdSpawn},
    {"UNMASK", cmdUnmask},
    {"TXF", cmdTxf},
    {"TXP", cmdTxp},
    {"UNFIT", cmdUnfit},
    {"USE", cmdUse},
    {"VT", cmdVt},
};

const char* const kEndWords[] = {"END", "QUIT", "QU", "."};

}  // namespace

const Command* findCommand(const char* word) {
  for (const Command& command : kCommandTable) {
    if (isKeyword(word, command.word)) return &command;
  }
  return nullptr;
}

std::vector<std::string> commandWords() {
  std::vector<std::string> words;
  for (const Command& command : kCommandTable) {
    if (command.handler != cmdCsrv) words.emplace_back(command.word);
  }
  return words;
}

bool isEndWord(const char* word) {
  for (const char* end : kEndWords) {
    if (isKeyword(word, end)) return true;
  }
  return false;
}

}  // namespace zenfit
