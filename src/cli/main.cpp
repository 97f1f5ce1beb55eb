// zenfit: the batch program.
//
//   zenfit INPUT OUTPUT REPORT INI
//
// INPUT is a command file ("/" for standard input), OUTPUT the file that
// receives the session ("/" for standard output); REPORT is accepted and
// unused; INI is the initialisation file ("/" for zenfit.ini). Everything
// the engine says is shown on OUTPUT as it is said, with plain LF line ends.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "command/startup.h"
#include "engine.h"

namespace {

// Presents the session on the output stream. At a terminal the user's own
// typing already shows each command after the prompt, so its echo is not
// repeated; when commands come from a file the prompt is left out and the
// echo shows each command instead.
struct Transcript {
  const zenfit::Engine* engine = nullptr;
  std::FILE* promptStream = nullptr;  // where the prompt is shown; null: nowhere
  bool typedEchoShown = true;          // false when the terminal already shows the typing
  bool atLineStart = true;

  std::FILE* out() const { return engine->host.output != nullptr ? engine->host.output : stdout; }
};

void writeTranscript(void* context, const char* text, zenfit::MessageKind kind) {
  auto& transcript = *static_cast<Transcript*>(context);
  if (kind == zenfit::MessageKind::Prompt) {
    if (transcript.promptStream != nullptr) {
      std::fputs(text, transcript.promptStream);
      std::fflush(transcript.promptStream);
      if (transcript.promptStream == transcript.out()) transcript.atLineStart = false;
    }
    return;
  }
  if (kind == zenfit::MessageKind::EchoOfPromptedLine) {
    if (!transcript.typedEchoShown) {
      transcript.atLineStart = true;  // the user's Return ended the line
      return;
    }
    // An echo always starts a line of its own.
    if (!transcript.atLineStart) std::fputc('\n', transcript.out());
  }
  if (text[0] == '\0') return;
  std::fputs(text, transcript.out());
  std::fflush(transcript.out());
  transcript.atLineStart = text[std::strlen(text) - 1] == '\n';
}

bool isStandard(const char* name) { return name[0] == '\0' || std::strcmp(name, "/") == 0; }

int runBatch(const char* input, const char* output, const char* report, const char* ini) {
  auto engine = std::make_unique<zenfit::Engine>();
  Transcript transcript;
  transcript.engine = engine.get();
  const bool terminalInput = isStandard(input) && isatty(STDIN_FILENO);
  const bool terminalOutput = isStandard(output) && isatty(STDOUT_FILENO);
  if (terminalInput) transcript.promptStream = terminalOutput ? stdout : stderr;
  transcript.typedEchoShown = !(terminalInput && terminalOutput);

  zenfit::StartupOptions options;
  options.inputName = input;
  options.outputName = output;
  options.reportName = report;
  options.initializationName = ini;
  options.sink = {&transcript, writeTranscript};

  int status = zenfit::startup(*engine, options);
  if (status == 0) status = zenfit::runLine(*engine, "$");
  zenfit::shutdown(*engine);
  // The session's run always reports 1, so every batch session closes with
  // this line and that status, as the program always has.
  if (status != 0) {
    std::printf("Error running ZENFIT!\n");
    return status;
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::printf("ZENFIT improperly invoked!\n");
    return -1;
  }
  return runBatch(argv[1], argv[2], argv[3], argv[4]);
}
