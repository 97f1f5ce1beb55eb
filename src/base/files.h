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

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// Opens a text file for reading by the rule. A folder is not a file: it
// fails to open like a missing file. status receives 0, kOpenFailed or
// kNoFileName.
FileHandle openForReading(const std::filesystem::path& folder, const char* name, int maxLength,
                          int& status);

}  // namespace zenfit
