// The batch program's transcript: every text the engine says, as the
// session goes, on standard output or in the file named for it.
//
// Text is kept in memory while a command runs and written when the engine
// next asks for a line (and at the end of the session): one write per
// command, not one per line, and still complete up to the last command
// whenever the user looks (tail -f). A write that fails is kept as the
// transcript's error; nothing more is written after it.
#pragma once

#include <cstdio>
#include <string>

#include "base/atomic_file.h"
#include "command/output.h"

namespace zenfit::cli {

// Where the prompt is shown: nowhere (commands come from a file, or the
// line editor shows it), in the transcript itself (a terminal that is both
// input and output), or on another stream.
struct PromptDisplay {
  bool inTranscript = false;
  std::FILE* stream = nullptr;
};

class Transcript final : public OutputSink {
 public:
  // typedEchoShown: false when the terminal already shows what the user
  // typed, so that the engine's echo of a typed line is left out.
  Transcript(StreamingFile& file, PromptDisplay prompt, bool typedEchoShown)
      : file_(file), prompt_(prompt), typedEchoShown_(typedEchoShown) {}

  void write(const Message& message) override;

  // Writes what is held. False when this or an earlier write failed.
  bool flush();
  const std::string& error() const { return file_.error(); }

  // From now on, count the commands that fail (the dispatcher's "?" or "!"
  // status line), so that start-up's own commands are not counted.
  void startCounting() { counting_ = true; }
  int failedCommands() const { return failedCommands_; }

 private:
  void add(const std::string& text);

  StreamingFile& file_;
  PromptDisplay prompt_;
  bool typedEchoShown_;
  bool atLineStart_ = true;
  bool counting_ = false;
  int failedCommands_ = 0;
  std::string pending_;
};

}  // namespace zenfit::cli
