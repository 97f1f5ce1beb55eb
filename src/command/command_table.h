// The command table: each command word and its handler, in search order.
#pragma once

namespace zenfit {

struct Engine;

using CommandHandler = void (*)(Engine& engine);

struct Command {
  const char* word;
  CommandHandler handler;
};

// Looks the word up in table order (exact keyword match); null if absent.
CommandHandler findCommand(const char* word);

}  // namespace zenfit
