// Text lines: reading, preparing and cutting into words.
//
// A line is prepared once into three forms: the raw line (white space
// turned into blanks, trailing blanks removed), the echo line (leading
// blanks and any "!" comment removed, case kept) and the command line (the
// echo line upper-cased outside quotes). Command lines, procedure
// libraries, the initialisation file and model files are all read this
// way; observation files and catalogues are read as raw lines.
#pragma once

#include <cstdio>

#include "base/constants.h"

namespace zenfit {

// One line in its three prepared forms.
struct PreparedLine {
  char raw[kLineLength + 1] = "";
  char echo[kLineLength + 1] = "";
  char command[kLineLength + 1] = "";
};

// Prepares raw (in place) into echo and command. Returns 1 when the line
// holds nothing (empty, blank or only a comment), else 0. n is the most
// characters copied (200).
int prepareLine(int n, char* raw, char* echo, char* command);
inline int prepareLine(PreparedLine& line) {
  return prepareLine(kLineLength, line.raw, line.echo, line.command);
}

// The longest line a text file can hold (bytes, without its line end). A
// line that runs on for longer has no end in sight: a device such as
// /dev/zero, or a file that is not text. Such a line is not delivered and
// the file is taken to end before it.
inline constexpr long kMaxTextLineBytes = 16L << 20;

// Reads one line of at most n characters into line, with white space and
// NUL bytes made blanks and trailing blanks removed; the rest of a longer
// line is read and dropped, however long it is. False at end of input, on
// a read error, or at a line longer than kMaxTextLineBytes.
bool readTextLine(std::FILE* stream, int n, char* line);

// Reads one line of at most 200 characters from the stream (the rest of a
// longer line is read and dropped) and prepares it. Returns -1 at end of
// input or on a read error, with all three forms emptied.
int readLine(std::FILE* stream, PreparedLine& line);

// Reads one word of at most m - 1 characters from line at cursor (0-based,
// in/out). The cursor is left on the separator after the word.
void nextWord(int m, const char* line, int& cursor, char* word);

// 0 when a and b are equal once trailing white space is ignored (exact,
// case-sensitive), else the sign of the first differing byte.
int keywordEquals(const char* a, const char* b);
inline bool isKeyword(const char* a, const char* b) { return keywordEquals(a, b) == 0; }

// Index just past the last non-white-space character.
int trimmedLength(const char* text);

// Cuts text after its last non-white-space character; returns text.
char* trimRight(char* text);

// Copies source to destination, upper-casing outside quotes.
void upperOutsideQuotes(const char* source, char* destination);

// Copies source without leading blanks and with one level of quotes removed,
// at most m - 1 characters. Returns the length of source.
int restOfLine(const char* source, int m, char* destination);

// The text of line from 0-based index start, or "" when start is past its end.
const char* textFrom(const char* line, int start);

}  // namespace zenfit
