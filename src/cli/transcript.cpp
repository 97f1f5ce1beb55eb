#include "transcript.h"

namespace zenfit::cli {
namespace {

// Text held beyond this is written at once, so that a long listing streams.
constexpr std::size_t kHeldBytes = 64 * 1024;

// The dispatcher's line after a command that did not succeed.
bool isStatusLine(const Message& message) {
  const std::string& t = message.text;
  return message.severity == Severity::Warning && t.size() == 2 && t[1] == '\n' &&
         (t[0] == '?' || t[0] == '!');
}

}  // namespace

void Transcript::add(const std::string& text) {
  pending_ += text;
  if (pending_.size() >= kHeldBytes) flush();
}

bool Transcript::flush() {
  // What the engine printed on standard output itself (a bad line of the
  // initialisation file) goes first, as it was said first.
  std::fflush(stdout);
  if (pending_.empty()) return file_.error().empty();
  const bool written = file_.write(pending_);
  pending_.clear();
  return written;
}

void Transcript::write(const Message& message) {
  const std::string& text = message.text;
  if (message.kind == TextKind::Prompt) {
    if (prompt_.inTranscript) {
      add(text);
      atLineStart_ = false;
    } else if (prompt_.stream != nullptr) {
      flush();  // the session so far, then the prompt
      std::fputs(text.c_str(), prompt_.stream);
      std::fflush(prompt_.stream);
    }
    return;
  }
  if (message.kind == TextKind::EchoOfPromptedLine) {
    if (!typedEchoShown_) {
      atLineStart_ = true;  // the user's Return ended the line
      return;
    }
    // An echo always starts a line of its own.
    if (!atLineStart_) add("\n");
  }
  if (counting_ && isStatusLine(message)) ++failedCommands_;
  if (text.empty()) return;
  add(text);
  atLineStart_ = text.back() == '\n';
}

}  // namespace zenfit::cli
