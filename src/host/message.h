// The message buffer and the writers every command reports through.
//
// Everything the engine says goes into one text buffer that the host reads
// and empties. Line ends are stored as CR LF. When a message would take the
// buffer past 2000 bytes (counted before the CR LF expansion), the older
// text is dropped as a whole and the new message is kept.
#pragma once

#include <cstdio>

#include "constants.h"

namespace zenfit {

struct Engine;

// Severity codes: P 1, I 2, W 3, E 4, S 5, anything else 0.
int severityCode(char letter);

// The writer installed at start-up: (primary, secondary, code, level one,
// level two, text). The buffer writer ignores everything but the text.
using MessageWriter = int (*)(Engine& engine, std::FILE* primary, std::FILE* secondary, int code,
                              int levelOne, int levelTwo, const char* text);

// The cancel handler installed at start-up: operation 0 query, 1 arm,
// 2 clear, 3 disarm, 4 request.
using CancelHandler = int (*)(Engine& engine, int operation);

// What a text written to the buffer is, for an observer that presents the
// session (the batch program's transcript).
enum class MessageKind { Text, Prompt, EchoOfPromptedLine };

// An observer of every text stored in the buffer, before CR LF expansion.
struct MessageSink {
  void* context = nullptr;
  void (*write)(void* context, const char* text, MessageKind kind) = nullptr;
};

struct HostState {
  // 2000 bytes plus headroom for the CR of every LF of the last message.
  char buffer[kMessageBufferSize + 2 * kMessageLineSize + 1];
  MessageWriter writer = nullptr;
  CancelHandler cancelHandler = nullptr;
  int levelOne = 0;
  int levelTwo = 0;
  std::FILE* input = nullptr;      // command input (batch mode, plot acknowledgement)
  std::FILE* output = nullptr;     // primary output stream
  std::FILE* secondary = nullptr;  // never set; stays null
  bool ownsInput = false;
  bool ownsOutput = false;
  MessageSink sink;
  MessageKind pendingKind = MessageKind::Text;  // kind of the next text stored
  int cancelArmed = 0;
  int cancelRequested = 0;
  void* obsParms = nullptr;  // host run-parameter block (192 bytes)
  void* mapPts = nullptr;    // host point array (80-byte entries)
};

// The buffer writer: appends text with the overflow and CR LF rules. Returns 1.
int msgBufferWrite(Engine& engine, std::FILE* primary, std::FILE* secondary, int code,
                   int levelOne, int levelTwo, const char* text);

// Main output, through the installed writer.
void msgOut(Engine& engine, char severity, const char* text);
// The buffer writer on the primary channel (level one only).
void msgOutPrimary(Engine& engine, char severity, const char* text);
// The buffer writer on the secondary channel (level two only).
void msgOutSecondary(Engine& engine, char severity, const char* text);

// Format into the shared message line, then write as the plain forms do.
void msgOutF(Engine& engine, char severity, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void msgOutPrimaryF(Engine& engine, char severity, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void msgOutSecondaryF(Engine& engine, char severity, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Writes the prompt and reads one prepared command line from the input
// stream into the shared line buffers. Returns the preparer's result, or -1
// at end of input.
int promptRead(Engine& engine, const char* prompt);

// The built-in cancel handler (a small state machine; see CancelHandler).
int builtinCancelHandler(Engine& engine, int operation);

// The cancel poll that long loops consult after every observation. It is
// not connected to the handler and always answers 0 (no cancel).
int cancelPoll(Engine& engine, int operation);

// Empties the message buffer.
void clearMessageBuffer(Engine& engine);

}  // namespace zenfit
