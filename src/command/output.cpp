#include "command/output.h"

#include <cstdarg>
#include <cstdio>

#include "base/constants.h"

namespace zenfit {
namespace {

std::string vformat(const char* format, va_list args) {
  char line[kMessageLineSize];
  std::vsnprintf(line, sizeof line, format, args);
  return line;
}

}  // namespace

std::string formatLine(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = vformat(format, args);
  va_end(args);
  return text;
}

void Report::add(Severity severity, std::string text, Channel channel) {
  messages_.push_back({severity, channel, TextKind::Text, std::move(text)});
}

void Report::addf(Severity severity, const char* format, ...) {
  va_list args;
  va_start(args, format);
  add(severity, vformat(format, args));
  va_end(args);
}

void Report::addfOn(Channel channel, Severity severity, const char* format, ...) {
  va_list args;
  va_start(args, format);
  add(severity, vformat(format, args), channel);
  va_end(args);
}

void Report::append(const Report& other) {
  messages_.insert(messages_.end(), other.messages_.begin(), other.messages_.end());
}

std::string Report::text() const {
  std::string text;
  for (const Message& message : messages_) text += message.text;
  return text;
}

}  // namespace zenfit
