// The help library: the text behind HELP, read from a plain-text help file.
//
// The file (share/zenfit.shl in the source tree) holds one entry per topic
// word, grouped in sections:
//
//   # a comment line (anywhere)
//   == Commands: Fitting and reports        a section: kind, then title
//   @ FIT | fit the floating terms          an entry: topic words | summary
//   FIT [N]                                 the entry's text, as shown
//   ...
//
// Topic words are matched without regard to case; the first word of an
// entry names it in the indexes. A text line "{index KIND}" is replaced by
// an index of every section of that kind: each section's title, then one
// line per entry, its name and summary. A line longer than 78 characters
// is wrapped at a blank when shown.
//
// The library knows nothing of the engine: it turns a request (the text
// after HELP) into lines of text.
#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zenfit::help {

// The widest line an answer holds.
inline constexpr std::size_t kLineWidth = 78;

struct Entry {
  std::vector<std::string> words;  // upper case; words[0] names the entry
  std::string kind;                // of its section: "Commands", "Terms", "Topics", ...
  std::string title;               // of its section
  std::string summary;             // one line for the index
  std::vector<std::string> text;   // as written in the file
};

class Library {
 public:
  // Reads help text. Fails (nullopt, with the reason in error) only when the
  // text holds no entry at all; anything else is read as well as it can be.
  static std::optional<Library> parse(std::string_view text, std::string* error = nullptr);

  const std::vector<Entry>& entries() const { return entries_; }
  // The entry holding word (any case), or null.
  const Entry* find(std::string_view word) const;

  // The answer to "HELP request": with no word, the list of commands; for a
  // topic word, its entry; for a generic term name, what the name says; else
  // a line saying there is no help for it. Lines of at most kLineWidth.
  std::vector<std::string> answer(std::string_view request) const;

 private:
  std::vector<std::string> show(const Entry& entry) const;
  std::vector<std::string> index(std::string_view kind) const;

  std::vector<Entry> entries_;
};

// ---- Generic term names (harmonic and polynomial terms named by what they do).

// True when name reads as a generic term name: H, the quantity, then one
// or two factors of S or C, a coordinate and an optional multiple (up to
// three digits in all); or P, the quantity, a coordinate and a one-digit
// power, optionally a second coordinate after a power and its own power.
// At most 7 characters. Upper case expected.
bool isGenericName(std::string_view name);

// What a generic name does, in words and as a formula, for HELP; empty
// when it is not one.
std::vector<std::string> explainGenericName(std::string_view name);

// ---- Where the help text comes from.

// HELP_PREFIX + HELP_NAME + HELP_SUFFIX, as the initialisation file gives
// them (defaults "", "zenfit", ".shl").
std::string helpFileName(std::string_view prefix = "", std::string_view name = "zenfit",
                         std::string_view suffix = ".shl");

// The folder the help file is installed in (<datadir>/zenfit).
std::filesystem::path installedDataFolder();

// The help file as built into the library, byte for byte.
std::string_view builtInText();

struct Loaded {
  Library library;
  std::string origin;               // the file read, or "built-in"
  std::vector<std::string> notes;   // files found but passed over, and why
};

// Reads the help library: fileName in workingFolder, else in dataFolder,
// else the built-in copy. An absolute fileName is looked for only where it
// points (then the built-in copy). A file that cannot be read or holds no
// entry is passed over with a note.
Loaded load(const std::filesystem::path& workingFolder, const std::string& fileName,
            const std::filesystem::path& dataFolder = installedDataFolder());

// Lines of at most width characters: a longer line is broken at its last
// blank that fits (a word longer than the width is cut), its continuation
// indented like the line plus hang more blanks.
std::vector<std::string> wrap(std::string_view line, std::size_t width = kLineWidth,
                              std::size_t hang = 2);

}  // namespace zenfit::help
