// The `*` prompt at a terminal: line editing, a history kept across
// sessions, and Tab completion, from libedit (Emacs key bindings by
// default; ~/.editrc may change them).
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "command/engine.h"

typedef struct editline EditLine;
typedef struct history History;

namespace zenfit::cli {

// The words Tab may complete, given the words of the line before the one
// being typed (none: the command word). Any case; the completion takes the
// case the user typed in.
using CompletionWords = std::function<std::vector<std::string>(const std::vector<std::string>& before)>;

class LineEditor final : public LineInput {
 public:
  // in must be a terminal; out is where the prompt and the line are shown.
  // historyFile "" keeps no history.
  LineEditor(std::FILE* in, std::FILE* out, CompletionWords words, std::string historyFile);
  ~LineEditor() override;
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;

  // False when the terminal could not be set up for editing.
  bool ready() const { return editor_ != nullptr; }
  bool readLine(const char* prompt, std::string& line) override;
  // Why the history could not be saved, once; "" when it was.
  const std::string& historyError() const { return historyError_; }

  // For libedit's callbacks.
  unsigned char complete();
  const char* promptText() const { return prompt_.c_str(); }

 private:
  void remember(const std::string& line);

  EditLine* editor_ = nullptr;
  History* history_ = nullptr;
  std::FILE* out_;
  CompletionWords words_;
  std::string historyFile_;
  std::string historyError_;
  std::string prompt_;
};

// ~/.zenfit_history, or "" when there is no home folder.
std::string defaultHistoryFile();

}  // namespace zenfit::cli
