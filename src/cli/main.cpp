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
#include <filesystem>
#include <memory>
#include <system_error>

#include "base/files.h"
#include "command/engine.h"

namespace {

using zenfit::Message;
using zenfit::TextKind;

// Presents the session on the output stream. At a terminal the user's own
// typing already shows each command after the prompt, so its echo is not
// repeated; when commands come from a file the prompt is left out and the
// echo shows each command instead.
class Transcript final : public zenfit::OutputSink {
 public:
  Transcript(std::FILE* out, std::FILE* promptStream, bool typedEchoShown)
      : out_(out), promptStream_(promptStream), typedEchoShown_(typedEchoShown) {}

  void write(const Message& message) override {
    const std::string& text = message.text;
    if (message.kind == TextKind::Prompt) {
      if (promptStream_ != nullptr) {
        std::fputs(text.c_str(), promptStream_);
        std::fflush(promptStream_);
        if (promptStream_ == out_) atLineStart_ = false;
      }
      return;
    }
    if (message.kind == TextKind::EchoOfPromptedLine) {
      if (!typedEchoShown_) {
        atLineStart_ = true;  // the user's Return ended the line
        return;
      }
      // An echo always starts a line of its own.
      if (!atLineStart_) std::fputc('\n', out_);
    }
    if (text.empty()) return;
    std::fputs(text.c_str(), out_);
    std::fflush(out_);
    atLineStart_ = text.back() == '\n';
  }

 private:
  std::FILE* out_;
  std::FILE* promptStream_;  // where the prompt is shown; null: nowhere
  bool typedEchoShown_;      // false when the terminal already shows the typing
  bool atLineStart_ = true;
};

bool isStandard(const char* name) {
  return name[0] == '\0' || zenfit::isKeyword(name, "/");
}

// Opens a command stream: standard input or output for "/" or an empty
// name, else the named file by the file-name rule.
zenfit::FileHandle openStream(const std::filesystem::path& folder, const char* name,
                              const char* mode) {
  const std::filesystem::path path = zenfit::resolveFileName(folder, name, zenfit::kFileNameSize);
  return zenfit::FileHandle(std::fopen(path.c_str(), mode));
}

int runBatch(const char* input, const char* output, const char* /*report*/, const char* ini) {
  std::error_code ignored;
  const std::filesystem::path here = std::filesystem::current_path(ignored);
  zenfit::FileHandle inputFile;
  zenfit::FileHandle outputFile;
  int status = 0;
  if (!isStandard(input)) {
    inputFile = openStream(here, input, "r");
    if (!inputFile) status = -1;
  }
  if (status == 0 && !isStandard(output)) {
    outputFile = openStream(here, output, "w");
    if (!outputFile) status = -1;
  }

  if (status == 0) {
    const bool terminalInput = isStandard(input) && isatty(STDIN_FILENO);
    const bool terminalOutput = isStandard(output) && isatty(STDOUT_FILENO);
    std::FILE* out = outputFile ? outputFile.get() : stdout;
    Transcript transcript(out, terminalInput ? (terminalOutput ? stdout : stderr) : nullptr,
                          !(terminalInput && terminalOutput));
    zenfit::StreamInput lines(inputFile ? inputFile.get() : stdin);

    auto engine = std::make_unique<zenfit::Engine>();
    engine->workdir = here;
    engine->hooks.output = &transcript;
    engine->hooks.input = &lines;
    zenfit::StartOptions options;
    options.initializationName = ini;
    status = zenfit::startEngine(*engine, options);
    if (status == 0) status = zenfit::runLine(*engine, "$");
    zenfit::shutdownEngine(*engine);
  }
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
