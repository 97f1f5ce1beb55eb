#include "command/arguments.h"

#include <cstring>
#include <vector>

#include "base/constants.h"

namespace zenfit {

std::string Arguments::word(int size) {
  std::vector<char> word(static_cast<std::size_t>(size > 0 ? size : 1));
  nextWord(size, line_.command, cursor_, word.data());
  return word.data();
}

DecodedNumber Arguments::number() {
  int pos = cursor_ + 1;
  const DecodedNumber number = decodeNumberAt(line_.command, pos);
  cursor_ = pos - 1;
  return number;
}

DecodedNumber Arguments::integer() {
  int pos = cursor_ + 1;
  const DecodedNumber number = decodeIntegerAt(line_.command, pos);
  cursor_ = pos - 1;
  return number;
}

char Arguments::peek() {
  const int length = static_cast<int>(std::strlen(line_.command));
  while (cursor_ < length && (line_.command[cursor_] == ' ' || line_.command[cursor_] == ',')) {
    ++cursor_;
  }
  return cursor_ >= 0 && cursor_ < length ? line_.command[cursor_] : '\0';
}

std::string Arguments::rest(int size) const {
  std::vector<char> text(static_cast<std::size_t>(size > 0 ? size : 1));
  restOfLine(textFrom(line_.echo, start_), size, text.data());
  return text.data();
}

std::string Arguments::fileName() const {
  std::string name = rest(kFileNameSize);
  name.resize(static_cast<std::size_t>(trimmedLength(name.c_str())));
  return name;
}

}  // namespace zenfit
