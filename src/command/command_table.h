// The command table: each command word and its handler, in search order.
#pragma once

#include <string>
#include <vector>

namespace zenfit {

struct Engine;

using CommandHandler = void (*)(Engine& engine);

struct Command {
  const char* word;
  CommandHandler handler;
};

// Looks the word up in table order (exact keyword match); null if absent.
CommandHandler findCommand(const char* word);

// The words a user can type, in table order (the hidden "csrv" left out;
// the end words END, QUIT, QU and "." are the dispatcher's, not the table's).
std::vector<std::string> commandWords();

}  // namespace zenfit
