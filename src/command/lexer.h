// The command-line lexer: line preparation, words, keywords.
//
// A line is prepared once into three shared buffers: the raw line (white
// space turned into blanks, trailing blanks removed), the echo line
// (leading blanks and any "!" comment removed, case kept) and the command
// line (the echo line upper-cased outside quotes). Handlers then read their
// own arguments from the command or echo line, starting just after their
// command word.
#pragma once

#include <cstdio>

#include "constants.h"

namespace zenfit {

struct LineBuffers {
  char raw[kLineLength + 1];
  char echo[kLineLength + 1];
  char command[kLineLength + 1];
  char message[kMessageLineSize];  // the shared formatting line for messages
};

// Prepares raw (in place) into echo and command. Returns 1 when the line
// holds nothing (empty, blank or only a comment), else 0. n is the most
// characters copied (200).
int prepareLine(int n, char* raw, char* echo, char* command);

// Reads one line of at most n characters into line, with white space and
// NUL bytes made blanks and trailing blanks removed; the rest of a longer
// line is read and dropped. False at end of input, or when a line runs on
// for 64 KiB without ending (a device or a binary stream, not text).
bool readTextLine(std::FILE* stream, int n, char* line);

// Reads one line of at most n characters from the stream (the rest of a
// longer line is read and dropped) and prepares it. Returns -1 at end of
// input or on a read error, with all three buffers emptied.
int readLine(std::FILE* stream, int n, char* raw, char* echo, char* command);

// Reads one word of at most m - 1 characters from line at cursor (0-based,
// in/out). The cursor is left on the separator after the word.
void nextWord(int m, const char* line, int& cursor, char* word);

// 0 when a and b are equal once trailing white space is ignored (exact,
// case-sensitive), else the sign of the first differing byte.
int keywordEquals(const char* a, const char* b);

// Index just past the last non-white-space character.
int trimmedLength(const char* text);

// Cuts text after its last non-white-space character; returns text.
char* trimRight(char* text);

// Copies source to destination, upper-casing outside quotes.
void upperOutsideQuotes(const char* source, char* destination);

// Copies source without leading blanks and with one level of quotes removed,
// at most m - 1 characters. Returns the length of source.
int restOfLine(const char* source, int m, char* destination);

// Reads an integer at 1-based position pos (in/out) with the free-format
// decoder. Returns its status: 2 when the field is not a valid integer;
// otherwise the value was read or, for an absent field, left as it was.
int readInteger(const char* line, int& pos, int& value);

// The text of line from 0-based index start, or "" when start is past its end.
const char* textFrom(const char* line, int start);

}  // namespace zenfit
