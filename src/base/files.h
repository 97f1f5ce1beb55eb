// Files named by the user: the naming rule, and where a name leads.
//
// Every command that opens a file by name applies one rule: trailing white
// space is trimmed; a name ending in "/" is used as it is without that
// "/"; otherwise a name without a "." gets ".dat" (so "run7" opens
// "run7.dat" and "notes/" opens "notes"). A relative name is taken in the
// working folder of the engine that opens it, never in the process's
// current directory, so that engines in different folders do not meet.
#pragma once

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace zenfit {

// Status of an open by the rule: 0 opened, -1 the open failed, -2 no name.
inline constexpr int kOpenFailed = -1;
inline constexpr int kNoFileName = -2;

// True when name is empty once trimmed: there is no file to open.
bool isMissingFileName(const char* name);

// The file name the rule makes of name. A name of more than maxLength - 4
// characters gets no extension.
std::string applyFileNameRule(const char* name, int maxLength);

// name (after the rule) in folder; an absolute name stays as it is.
std::filesystem::path resolveFileName(const std::filesystem::path& folder, const char* name,
                                      int maxLength);

// What a text stream opened here has met: a read error, or a line that
// never ends (see kMaxTextLineBytes in base/text.h).
struct TextStreamState;

struct FileCloser {
  std::shared_ptr<const TextStreamState> state;  // only for streams opened here
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// Opens a text file for reading by the rule. A folder is not a file: it
// fails to open like a missing file. status receives 0, kOpenFailed or
// kNoFileName. The stream stops with a read error after a line of more
// than kMaxTextLineBytes, so that a device that never ends a line
// (/dev/zero) reads as a file that ends there; readFailure says so.
FileHandle openForReading(const std::filesystem::path& folder, const char* name, int maxLength,
                          int& status);

// The same reading stream over a descriptor opened elsewhere (standard
// input); closing the stream closes the descriptor only when owned.
FileHandle openTextDescriptor(int fd, bool owned);

// Why a stream from openForReading or openTextDescriptor stopped before
// its end: "" when it did not (it reached its end, or is still being
// read), else the reason, e.g. "Input/output error" or "a line runs on for
// more than 16 MB (not a text file)".
std::string readFailure(const FileHandle& file);

}  // namespace zenfit
