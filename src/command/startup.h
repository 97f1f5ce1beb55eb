// Start-up: streams, the initialisation file, defaults, term names, the
// banner and the start-up procedure.
#pragma once

#include "constants.h"
#include "host/message.h"

namespace zenfit {

struct Engine;

struct StartupOptions {
  CancelHandler cancelHandler = builtinCancelHandler;
  MessageWriter writer = msgBufferWrite;
  int levelOne = 0;
  int levelTwo = 0;
  const char* inputName = "";           // "/" or empty: standard input
  const char* outputName = "";          // "/" or empty: standard output
  const char* reportName = "";          // accepted, without effect
  const char* initializationName = "";  // "/" or empty: "zenfit.ini"
  MessageSink sink;                     // observer of every buffered text
};

// Returns 0 on success; -1 when a stream cannot be opened or no standard
// term fits the name table.
int startup(Engine& engine, const StartupOptions& options);

// Closes the streams start-up opened.
void shutdown(Engine& engine);

// The common file opener: trims the name; a trailing "/" is dropped and the
// name used as it is; a name without "." of at most maxLength - 4
// characters gets ".dat". Returns 0, -1 when the open fails, -2 for an
// empty name.
int openNamedFile(const char* name, int maxLength, const char* mode, std::FILE** file);

// The file name after a command word of the given length: the rest of the
// echo line (case kept) with one level of quotes removed and trailing
// blanks trimmed; empty when there is none.
void fileNameArgument(const Engine& engine, int commandLength, char name[kFileNameSize]);

// As fileNameArgument, for a command that needs a name: none is reported
// with missingMessage and gives false.
bool requireFileName(Engine& engine, int commandLength, char name[kFileNameSize],
                     const char* missingMessage);

// Opens name with the common opener. A failure is reported with
// failureFormat, which takes the name and the opener's status, and gives null.
std::FILE* openOrReport(Engine& engine, const char* name, const char* mode,
                        const char* failureFormat);

}  // namespace zenfit
