#include "host/message.h"

#include <cctype>
#include <cstdarg>
#include <cstring>

#include "engine.h"

namespace zenfit {

int severityCode(char letter) {
  switch (std::toupper(static_cast<unsigned char>(letter))) {
    case 'P': return 1;
    case 'I': return 2;
    case 'W': return 3;
    case 'E': return 4;
    case 'S': return 5;
    default: return 0;
  }
}

int msgBufferWrite(Engine& engine, std::FILE*, std::FILE*, int, int, int, const char* text) {
  HostState& host = engine.host;
  const MessageKind kind = host.pendingKind;
  host.pendingKind = MessageKind::Text;

  // Longer texts are cut to the shared line; no caller writes one.
  const std::size_t length = strnlen(text, kMessageLineSize - 1);
  const std::size_t used = std::strlen(host.buffer);
  if (length + used > static_cast<std::size_t>(kMessageBufferSize)) host.buffer[0] = '\0';

  char* out = host.buffer + std::strlen(host.buffer);
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] == '\n') *out++ = '\r';
    *out++ = text[i];
  }
  *out = '\0';

  if (host.sink.write != nullptr) {
    char copy[kMessageLineSize];
    std::memcpy(copy, text, length);
    copy[length] = '\0';
    host.sink.write(host.sink.context, copy, kind);
  }
  return 1;
}

void msgOut(Engine& engine, char severity, const char* text) {
  HostState& host = engine.host;
  MessageWriter writer = host.writer != nullptr ? host.writer : msgBufferWrite;
  writer(engine, host.output, host.secondary, severityCode(severity), host.levelOne,
         host.levelTwo, text);
}

void msgOutPrimary(Engine& engine, char severity, const char* text) {
  msgBufferWrite(engine, engine.host.output, nullptr, severityCode(severity),
                 engine.host.levelOne, 0, text);
}

void msgOutSecondary(Engine& engine, char severity, const char* text) {
  msgBufferWrite(engine, nullptr, engine.host.secondary, severityCode(severity), 0,
                 engine.host.levelTwo, text);
}

namespace {

const char* formatMessage(Engine& engine, const char* format, va_list args) {
  std::vsnprintf(engine.lines.message, sizeof engine.lines.message, format, args);
  return engine.lines.message;
}

}  // namespace

void msgOutF(Engine& engine, char severity, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const char* text = formatMessage(engine, format, args);
  va_end(args);
  msgOut(engine, severity, text);
}

void msgOutPrimaryF(Engine& engine, char severity, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const char* text = formatMessage(engine, format, args);
  va_end(args);
  msgOutPrimary(engine, severity, text);
}

void msgOutSecondaryF(Engine& engine, char severity, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const char* text = formatMessage(engine, format, args);
  va_end(args);
  msgOutSecondary(engine, severity, text);
}

int promptRead(Engine& engine, const char* prompt) {
  engine.host.pendingKind = MessageKind::Prompt;
  msgOutPrimary(engine, 'P', prompt);
  engine.host.pendingKind = MessageKind::Prompt;
  msgOutPrimary(engine, 'P', " ");
  std::FILE* input = engine.host.input != nullptr ? engine.host.input : stdin;
  LineBuffers& lines = engine.lines;
  return readLine(input, kLineLength, lines.raw, lines.echo, lines.command);
}

int builtinCancelHandler(Engine& engine, int operation) {
  HostState& host = engine.host;
  switch (operation) {
    case 0:
      return host.cancelArmed ? host.cancelRequested : 0;
    case 1:
      if (host.cancelArmed) return 0;
      host.cancelArmed = 1;
      host.cancelRequested = 0;
      return 1;
    case 2:
      if (!host.cancelArmed) return 0;
      host.cancelRequested = 0;
      return 1;
    case 3:
      if (!host.cancelArmed) return 0;
      host.cancelArmed = 0;
      host.cancelRequested = 0;
      return 1;
    case 4:
      if (!host.cancelArmed) return 0;
      host.cancelRequested = 1;
      return 1;
    default:
      return 0;
  }
}

int cancelPoll(Engine&, int) { return 0; }

void clearMessageBuffer(Engine& engine) { engine.host.buffer[0] = '\0'; }

}  // namespace zenfit
