#include "command/engine.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "command/plot_commands.h"

namespace zenfit {

Engine::Engine() { observations.clear(); }

Engine::~Engine() = default;

bool StreamInput::readLine(const char* /*prompt*/, std::string& line) {
  char text[kLineLength + 1];
  if (stream_ == nullptr || !readTextLine(stream_, kLineLength, text)) return false;
  line = text;
  return true;
}

void say(Engine& engine, Severity severity, const std::string& text, Channel channel,
         TextKind kind) {
  if (engine.hooks.output == nullptr) return;
  Message message;
  message.severity = severity;
  message.channel = channel;
  message.kind = kind;
  // No text is longer than the engine's formatting line.
  message.text = text.substr(0, kMessageLineSize - 1);
  engine.hooks.output->write(message);
}

void sayf(Engine& engine, Severity severity, const char* format, ...) {
  char line[kMessageLineSize];
  va_list args;
  va_start(args, format);
  std::vsnprintf(line, sizeof line, format, args);
  va_end(args);
  say(engine, severity, line);
}

void emit(Engine& engine, const Report& report) {
  for (const Message& message : report.messages()) {
    say(engine, message.severity, message.text, message.channel, message.kind);
  }
}

bool cancelRequested(Engine& engine) {
  return engine.hooks.cancelPoll && engine.hooks.cancelPoll(0) != 0;
}

std::function<bool()> cancelCheck(Engine& engine) {
  return [&engine] { return cancelRequested(engine); };
}

EvaluationContext evaluationContext(const Engine& engine) {
  return evaluationContext(engine.terms, engine.run, engine.settings.adjustSense);
}

void shutdownEngine(Engine& engine) { shutdownGraphics(engine); }

}  // namespace zenfit
