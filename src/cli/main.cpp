// zenfit: the batch program.
//
//   zenfit INPUT OUTPUT REPORT INI
//
// INPUT is a command file ("/" for standard input), OUTPUT the file that
// receives the session ("/" for standard output); REPORT is accepted and
// unused; INI is the initialisation file ("/" for zenfit.ini). Everything
// the engine says is shown on OUTPUT as the session goes, with plain LF
// line ends. At a terminal the `*` prompt has line editing, a history and
// Tab completion; HELP answers from the help library.
//
// Standard output carries what the program has always printed there
// ("ZENFIT improperly invoked!", "Error running ZENFIT!", bad lines of the
// initialisation file); the program's own explanations go to standard
// error, after those, so that standard error stays empty exactly when a
// session ran and every command in it succeeded.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "base/atomic_file.h"
#include "base/files.h"
#include "command/command_table.h"
#include "command/engine.h"
#include "help/help.h"
#include "line_editor.h"
#include "transcript.h"

#ifndef ZENFIT_VERSION
#define ZENFIT_VERSION "unknown"
#endif

namespace {

using zenfit::cli::LineEditor;
using zenfit::cli::Transcript;

constexpr const char* kUsage =
    "Usage: zenfit INPUT OUTPUT REPORT INI\n"
    "       zenfit --help | --version\n"
    "\n"
    "Runs a ZENFIT pointing-analysis session.\n"
    "  INPUT   command file, or / to type commands at the * prompt\n"
    "  OUTPUT  file that receives the session, or / for standard output\n"
    "  REPORT  accepted and unused (give /)\n"
    "  INI     initialisation file, or / for zenfit.ini here (if there is one)\n"
    "A name without \".\" gets \".dat\" (run7 is run7.dat); a trailing \"/\" keeps\n"
    "the name as it is (notes/ is notes).\n"
    "\n"
    "The session ends with the line \"Error running ZENFIT!\" and exit status 1;\n"
    "status 255 means it could not run: wrong arguments, a file that cannot be\n"
    "opened, or a transcript that cannot be written. Standard error is empty\n"
    "when the session ran and every command in it succeeded.\n";

// Messages of the program's own, on standard error, after whatever was
// printed on standard output.
void complain(const std::string& text) {
  std::fflush(stdout);
  std::fprintf(stderr, "zenfit: %s\n", text.c_str());
}

bool isStandard(const char* name) {
  return name[0] == '\0' || zenfit::isKeyword(name, "/");
}

// The file a name leads to by the file-name rule, relative to the working
// folder as the user gave it (so that messages show what was typed, with
// any ".dat" the rule added).
std::string pathOf(const char* name) { return zenfit::applyFileNameRule(name, zenfit::kFileNameSize); }

// Why a file could not be opened for reading (errno just after the open).
std::string openError(const std::string& path, int err) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return "it is a folder";
  return std::strerror(err != 0 ? err : ENOENT);
}

// A regular file, by device and inode: the same file under any name.
struct FileIdentity {
  bool known = false;
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const FileIdentity& other) const {
    return known && other.known && device == other.device && inode == other.inode;
  }
};

FileIdentity identify(int statResult, const struct stat& st) {
  if (statResult != 0 || !S_ISREG(st.st_mode)) return {};
  return {true, st.st_dev, st.st_ino};
}
FileIdentity identifyPath(const std::string& path) {
  struct stat st {};
  return identify(::stat(path.c_str(), &st), st);
}
FileIdentity identifyDescriptor(int fd) {
  struct stat st {};
  return identify(::fstat(fd, &st), st);
}

// Reads the command lines: first writes out the transcript, so that all
// the session so far is there whenever the engine waits. A transcript that
// can no longer be written ends the session, as the end of input does.
class SessionInput final : public zenfit::LineInput {
 public:
  SessionInput(Transcript& transcript, zenfit::LineInput& source)
      : transcript_(transcript), source_(source) {}
  bool readLine(const char* prompt, std::string& line) override {
    if (!transcript_.flush()) return false;
    return source_.readLine(prompt, line);
  }

 private:
  Transcript& transcript_;
  zenfit::LineInput& source_;
};

// The help library as the settings name it (HELP_PREFIX + HELP_NAME +
// HELP_SUFFIX), from the working folder, the installed data folder or
// the copy built in.
zenfit::help::Loaded loadHelp(const zenfit::Engine& engine) {
  const zenfit::Settings& settings = engine.settings;
  return zenfit::help::load(
      engine.workdir,
      zenfit::help::helpFileName(settings.helpPrefix, settings.helpName, settings.helpSuffix));
}

// HELP and "? word": the answer from the help library. It goes out as
// the engine's own information lines, so it stands in the transcript
// where the command's output would.
int answerHelp(zenfit::Engine& engine, const char* commandLine) {
  int cursor = 0;
  char word[zenfit::kCommandWordSize];
  zenfit::nextWord(zenfit::kCommandWordSize, commandLine, cursor, word);  // HELP or ?
  const zenfit::help::Loaded loaded = loadHelp(engine);
  for (const std::string& note : loaded.notes) complain("help: " + note + "; passed over");
  for (const std::string& line : loaded.library.answer(zenfit::textFrom(commandLine, cursor))) {
    zenfit::say(engine, zenfit::Severity::Info, line + "\n");
  }
  return 0;
}

// The words Tab offers: command words and term names (those of the
// session, generic ones included) first on a line; those and every help
// topic after HELP; term names after the commands that take them.
std::vector<std::string> completionWords(const zenfit::Engine& engine,
                                         const std::vector<std::string>& before) {
  std::string first = before.empty() ? "" : before[0];
  for (char& c : first) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  const bool commandWord = before.empty();
  const bool help = !commandWord && (first == "HELP" || first == "?");
  bool terms = commandWord || help;
  for (const char* takesTerms : {"USE", "LOSE", "FIX", "CHAIN", "PARAL"}) {
    if (first == takesTerms) terms = true;
  }
  std::vector<std::string> words;
  if (commandWord || help) {
    words = zenfit::commandWords();
    words.insert(words.end(), {"END", "QUIT"});
  }
  if (terms) {
    const zenfit::TermTable& table = engine.terms;
    for (int n = 1; n <= table.termNameCount; ++n) words.emplace_back(table.name(n));
  }
  if (help) {
    const zenfit::help::Loaded loaded = loadHelp(engine);
    for (const zenfit::help::Entry& entry : loaded.library.entries()) {
      words.insert(words.end(), entry.words.begin(), entry.words.end());
    }
  }
  return words;
}

int runBatch(const char* input, const char* output, const char* /*report*/, const char* ini) {
  std::error_code ignored;
  const std::filesystem::path here = std::filesystem::current_path(ignored);
  auto cannotRun = [](const std::string& why) {
    std::printf("Error running ZENFIT!\n");
    complain(why);
    return -1;
  };

  // The command input.
  zenfit::FileHandle inputFile;
  FileIdentity inputIdentity;
  const std::string inputPath = isStandard(input) ? "" : pathOf(input);
  if (isStandard(input)) {
    inputIdentity = identifyDescriptor(STDIN_FILENO);
  } else {
    int status = 0;
    errno = 0;
    inputFile = zenfit::openForReading(here, input, zenfit::kFileNameSize, status);
    if (!inputFile) {
      return cannotRun("cannot open the command file " + inputPath + ": " +
                       openError(inputPath, errno));
    }
    inputIdentity = identifyPath(inputPath);
  }

  // The initialisation file: one named on the command line must be there;
  // zenfit.ini need not be.
  const std::string iniPath = pathOf(isStandard(ini) ? "zenfit.ini" : ini);
  if (!isStandard(ini)) {
    int status = 0;
    errno = 0;
    if (!zenfit::openForReading(here, ini, zenfit::kFileNameSize, status)) {
      return cannotRun("cannot open the initialisation file " + iniPath + ": " +
                       openError(iniPath, errno));
    }
  }
  const FileIdentity iniIdentity = identifyPath(iniPath);

  // The transcript: never the command file or the initialisation file,
  // whatever name leads to them. Checked before the output is opened, as
  // opening empties it.
  const std::string outputPath = isStandard(output) ? "" : pathOf(output);
  const FileIdentity outputIdentity =
      isStandard(output) ? identifyDescriptor(STDOUT_FILENO) : identifyPath(outputPath);
  const std::string outputName = isStandard(output) ? "standard output" : "the output file " + outputPath;
  std::string clash;
  if (outputIdentity == inputIdentity) {
    clash = isStandard(input) ? std::string("the command input (standard input)")
                              : "the command file " + inputPath;
  } else if (outputIdentity == iniIdentity) {
    clash = "the initialisation file " + iniPath;
  }
  if (!clash.empty()) {
    const std::string why = outputName + " is " + clash + "; give the session another file";
    // When standard output is that file, even the closing line would
    // write into it: the file is left alone and standard error explains.
    if (isStandard(output)) {
      complain(why);
      return -1;
    }
    return cannotRun(why);
  }
  zenfit::StreamingFile transcriptFile;
  if (isStandard(output)) {
    transcriptFile.adopt(STDOUT_FILENO, "standard output");
  } else if (const zenfit::FileResult opened = transcriptFile.open(outputPath); !opened.ok()) {
    return cannotRun(opened.error);
  }

  const bool terminalInput = isStandard(input) && ::isatty(STDIN_FILENO);
  const bool terminalOutput = isStandard(output) && ::isatty(STDOUT_FILENO);
  auto engine = std::make_unique<zenfit::Engine>();
  engine->workdir = here;

  // Where the lines come from: the line editor at a terminal (showing its
  // prompt where the user looks), else the file or standard input as text.
  std::unique_ptr<LineEditor> editor;
  std::FILE* editorScreen = ::isatty(STDOUT_FILENO) ? stdout : ::isatty(STDERR_FILENO) ? stderr : nullptr;
  if (terminalInput && editorScreen != nullptr) {
    editor = std::make_unique<LineEditor>(
        stdin, editorScreen,
        [&engine](const std::vector<std::string>& before) { return completionWords(*engine, before); },
        zenfit::cli::defaultHistoryFile());
    if (!editor->ready()) editor.reset();
  }
  zenfit::FileHandle standardInput;
  if (!editor && isStandard(input)) standardInput = zenfit::openTextDescriptor(STDIN_FILENO, false);
  const zenfit::FileHandle& textInput = inputFile ? inputFile : standardInput;
  zenfit::StreamInput textLines(textInput.get());
  zenfit::LineInput& source = editor ? static_cast<zenfit::LineInput&>(*editor) : textLines;

  zenfit::cli::PromptDisplay prompt;
  if (terminalInput && !editor) {
    if (terminalOutput) {
      prompt.inTranscript = true;
    } else {
      prompt.stream = stderr;
    }
  }
  Transcript transcript(transcriptFile, prompt, !(terminalInput && terminalOutput));
  SessionInput lines(transcript, source);

  engine->hooks.output = &transcript;
  engine->hooks.input = &lines;
  zenfit::Engine& running = *engine;
  engine->hooks.help = [&running](const char*, const char* commandLine) {
    return answerHelp(running, commandLine);
  };
  zenfit::StartOptions options;
  options.initializationName = ini;
  int status = zenfit::startEngine(*engine, options);
  transcript.startCounting();
  if (status == 0) status = zenfit::runLine(*engine, "$");
  zenfit::shutdownEngine(*engine);

  transcript.flush();
  const zenfit::FileResult closed = transcriptFile.close();
  // The session's run always reports 1, so every batch session closes with
  // this line and that status, as the program always has; a transcript
  // that could not be written is a session that could not run.
  if (!closed.ok()) status = -1;
  if (status != 0) std::printf("Error running ZENFIT!\n");
  if (!closed.ok()) complain(closed.error + "; the session was ended there");
  if (const std::string failure = zenfit::readFailure(textInput); !failure.empty()) {
    complain("the command input " + (inputPath.empty() ? "(standard input)" : inputPath) +
             " could not be read to its end: " + failure + "; taken as its end");
  }
  if (editor && !editor->historyError().empty()) {
    complain("history not saved: " + editor->historyError());
  }
  if (const int failed = transcript.failedCommands(); failed > 0) {
    complain(std::to_string(failed) + (failed == 1 ? " command" : " commands") +
             " failed; each is followed by a line holding \"?\" in the session");
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc == 2 && std::strcmp(argv[1], "--help") == 0) {
    std::fputs(kUsage, stdout);
    return 0;
  }
  if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
    std::printf("zenfit %s\n", ZENFIT_VERSION);
    return 0;
  }
  if (argc != 5) {
    std::printf("ZENFIT improperly invoked!\n");
    std::fflush(stdout);
    std::fputs(kUsage, stderr);
    return -1;
  }
  return runBatch(argv[1], argv[2], argv[3], argv[4]);
}
