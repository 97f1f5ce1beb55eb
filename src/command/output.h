// What the engine says: messages with a severity, a channel and a kind,
// delivered one at a time to the host's output sink.
//
// The boundaries between messages are part of what a host sees (the C
// API's message buffer drops its older text as a whole when a message
// would overflow it), so every text is sent as the same message it has
// always been.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace zenfit {

// Every message carries one letter.
enum class Severity : char {
  Prompt = 'P',   // banners, the end of the session, the prompt
  Info = 'I',     // reports, listings, echoes of command lines
  Warning = 'W',  // warnings; the dispatcher's status line
  Error = 'E',    // errors
  Severe = 'S',   // refusals and capacity problems
};

// The writer a message goes through: the installed message writer (Main),
// or the buffer writer directly on the primary or the secondary channel.
enum class Channel { Main, Primary, Secondary };

// What a text is, for a host that presents the session (the batch
// program's transcript): plain text, the prompt, or the echo of a line
// just read at the prompt.
enum class TextKind { Text, Prompt, EchoOfPromptedLine };

struct Message {
  Severity severity = Severity::Info;
  Channel channel = Channel::Main;
  TextKind kind = TextKind::Text;
  std::string text;
};

// Where a host receives the messages.
class OutputSink {
 public:
  virtual ~OutputSink() = default;
  virtual void write(const Message& message) = 0;
};

// A sink that keeps the text of every message, joined.
class TextSink final : public OutputSink {
 public:
  void write(const Message& message) override { text_ += message.text; }
  const std::string& text() const { return text_; }
  std::string take() { return std::exchange(text_, {}); }

 private:
  std::string text_;
};

// The messages of one report, in order: a report is a function from a
// typed result to a Report, and the engine sends its messages on.
class Report {
 public:
  void add(Severity severity, std::string text, Channel channel = Channel::Main);
  // Formats as printf does, into a line of at most 511 characters.
  void addf(Severity severity, const char* format, ...) __attribute__((format(printf, 3, 4)));
  void addfOn(Channel channel, Severity severity, const char* format, ...)
      __attribute__((format(printf, 4, 5)));
  void append(const Report& other);

  const std::vector<Message>& messages() const { return messages_; }
  std::string text() const;  // every message's text, joined

 private:
  std::vector<Message> messages_;
};

// printf into a std::string, cut at 511 characters as the engine's
// formatting line has always cut it.
std::string formatLine(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace zenfit
