#include "base/text.h"

#include <cctype>
#include <cstring>


namespace zenfit {
namespace {

bool isWhite(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
bool isQuote(char c) { return c == '"' || c == '\''; }

// Opens a section when none is open, closes it with the same quote.
void updateQuote(char c, char& open) {
  if (open == 0) {
    open = c;
  } else if (c == open) {
    open = 0;
  }
}

}  // namespace

int trimmedLength(const char* text) {
  int length = static_cast<int>(std::strlen(text));
  while (length > 0 && isWhite(text[length - 1])) --length;
  return length;
}

char* trimRight(char* text) {
  text[trimmedLength(text)] = '\0';
  return text;
}

void upperOutsideQuotes(const char* source, char* destination) {
  char open = 0;
  for (int i = 0;; ++i) {
    char c = source[i];
    if (isQuote(c)) updateQuote(c, open);
    if (open == 0) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    destination[i] = c;
    if (c == '\0') break;
  }
}

int prepareLine(int n, char* raw, char* echo, char* command) {
  trimRight(raw);
  char open = 0;
  bool comment = false;
  bool blank = true;
  int count = 0;
  for (int i = 0; raw[i] != '\0'; ++i) {
    if (isWhite(raw[i])) raw[i] = ' ';
    const char c = raw[i];
    if (!comment && isQuote(c)) updateQuote(c, open);
    if (!comment && open == 0 && c == '!') comment = true;
    if (comment) continue;
    if (c == ' ' && blank) continue;
    if (count < n) echo[count++] = c;
    blank = false;
  }
  echo[count] = '\0';
  upperOutsideQuotes(echo, command);
  return blank ? 1 : 0;
}

bool readTextLine(std::FILE* stream, int n, char* line) {
  int count = 0;
  long length = 0;
  int c = EOF;
  bool any = false;
  // Each stream is read by one engine at a time: no locking per character.
  while ((c = getc_unlocked(stream)) != EOF) {
    any = true;
    if (c == '\n') break;
    if (++length > kMaxTextLineBytes) {
      any = false;  // no text file has such a line: a device or a binary stream
      break;
    }
    if (count >= n) continue;  // the rest of a long line is read and dropped
    // A NUL byte would end the text early; it is a blank like white space.
    if (c == '\0' || isWhite(static_cast<char>(c))) c = ' ';
    line[count++] = static_cast<char>(c);
  }
  // A read that failed part-way gives no part of a line.
  if (std::ferror(stream)) any = false;
  line[count] = '\0';
  trimRight(line);
  return any;
}

int readLine(std::FILE* stream, PreparedLine& line) {
  if (!readTextLine(stream, kLineLength, line.raw)) {
    line.raw[0] = line.echo[0] = line.command[0] = '\0';
    return -1;
  }
  return prepareLine(line);
}

void nextWord(int m, const char* line, int& cursor, char* word) {
  word[0] = '\0';
  const int length = trimmedLength(line);
  const int end = static_cast<int>(std::strlen(line));
  if (cursor < 0) cursor = 0;
  if (cursor > end) cursor = end;
  if (isWhite(line[cursor])) {
    while (cursor < length - 1 && isWhite(line[cursor])) ++cursor;
  }
  int copied = 0;
  if (!isWhite(line[cursor])) {
    while (copied < m - 1 && cursor < length && !isWhite(line[cursor])) {
      word[copied++] = line[cursor++];
    }
  }
  word[copied] = '\0';
}

int keywordEquals(const char* a, const char* b) {
  const int la = trimmedLength(a);
  const int lb = trimmedLength(b);
  const int n = la > lb ? la : lb;
  return std::strncmp(a, b, static_cast<std::size_t>(n));
}

int restOfLine(const char* source, int m, char* destination) {
  char open = 0;
  int count = 0;
  int i = 0;
  for (; source[i] != '\0' && count < m - 1; ++i) {
    const char c = source[i];
    if (isQuote(c) && (open == 0 || c == open)) {
      updateQuote(c, open);
      continue;
    }
    if (c == ' ' && open == 0 && count == 0) continue;
    destination[count++] = c;
  }
  destination[count] = '\0';
  return static_cast<int>(std::strlen(source));
}

const char* textFrom(const char* line, int start) {
  const int length = static_cast<int>(std::strlen(line));
  return start <= length ? line + start : line + length;
}

}  // namespace zenfit
