// A command's arguments: the prepared line, read from just after the
// command word.
//
// Every handler reads its arguments through one Arguments object, which
// keeps the reading position: words come from the command line (upper
// case outside quotes), texts whose case matters (file names, captions)
// from the echo line at the same place, and numbers through the free-format
// decoder. Positions are 0-based here; the decoder's 1-based positions are
// converted in this one place.
#pragma once

#include <string>

#include "base/decode.h"
#include "base/text.h"

namespace zenfit {

class Arguments {
 public:
  // start: the index just after the command word.
  Arguments(const PreparedLine& line, int start) : line_(line), cursor_(start), start_(start) {}

  // The next word, at most size - 1 characters (a longer one is cut);
  // "" when there is none.
  std::string word(int size);
  // The next free-format number. A field that starts with a letter is
  // absent, and the position stays on the letter.
  DecodedNumber number();
  // The next whole number that fits 32 bits (a fraction is malformed).
  DecodedNumber integer();
  // The character at the position after blanks and commas ('\0' at the
  // end), and a step past it.
  char peek();
  void advance() { ++cursor_; }

  // The rest of the echo line from the start (case kept), leading blanks
  // and one level of quotes removed, at most size - 1 characters.
  std::string rest(int size) const;
  // The same, trimmed: a file name; "" when there is none.
  std::string fileName() const;
  // The command line from the start, as a term list reads it.
  const char* listText() const { return textFrom(line_.command, start_); }

  int position() const { return cursor_; }
  const PreparedLine& line() const { return line_; }

 private:
  const PreparedLine& line_;
  int cursor_;
  int start_;
};

}  // namespace zenfit
