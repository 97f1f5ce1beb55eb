// The C API's side of the engine: the message buffer every text goes
// into, the message writer with its stream and level parameters, and the
// cancel handler.
//
// Everything the engine says is appended to one text buffer that the host
// reads and empties. Line ends are stored as CR LF. When a message would
// take the buffer past 2000 bytes (counted before the CR LF expansion),
// the older text is dropped as a whole and the new message is kept.
#pragma once

#include <cstdio>

#include "base/constants.h"
#include "command/engine.h"
#include "command/output.h"

namespace zenfit::host {

// Severity codes: P 1, I 2, W 3, E 4, S 5, anything else 0.
int severityCode(char letter);

class MessageBuffer;

// The message writer: (primary stream, secondary stream, code, level one,
// level two, text). The buffer writer ignores everything but the text: the
// levels do not filter what the buffer receives. A host-supplied writer
// with the same parameters would be the place for filtering.
using MessageWriter = int (*)(MessageBuffer& buffer, std::FILE* primary, std::FILE* secondary,
                              int code, int levelOne, int levelTwo, const char* text);

// The buffer writer: appends text with the overflow and CR LF rules. Returns 1.
int bufferWriter(MessageBuffer& buffer, std::FILE* primary, std::FILE* secondary, int code,
                 int levelOne, int levelTwo, const char* text);

class MessageBuffer final : public OutputSink {
 public:
  MessageBuffer() { text_[0] = '\0'; }

  // The engine's messages: the main channel goes through the installed
  // writer; the primary and secondary channels to the buffer writer directly.
  void write(const Message& message) override;

  // The message levels (MESLEV) handed to the writer are the engine's.
  void attach(const Settings& settings) { settings_ = &settings; }
  void setWriter(MessageWriter writer) { writer_ = writer; }

  void clear() { text_[0] = '\0'; }
  char* text() { return text_; }
  void append(const char* text);  // the buffer writer's work

 private:
  // 2000 bytes plus headroom for the CR of every LF of the last message.
  char text_[kMessageBufferSize + 2 * kMessageLineSize + 1];
  MessageWriter writer_ = bufferWriter;
  std::FILE* primary_ = stdout;    // the primary output stream (the writer's first parameter)
  std::FILE* secondary_ = nullptr; // never set; stays null
  const Settings* settings_ = nullptr;
};

// The built-in cancel handler, by operation: 0 query, 1 arm, 2 clear,
// 3 disarm, 4 request. The engine's cancel poll is not connected to it
// (it always answers 0); a host build may connect the two.
class CancelHandler {
 public:
  int operator()(int operation);

 private:
  int armed_ = 0;
  int requested_ = 0;
};

}  // namespace zenfit::host
