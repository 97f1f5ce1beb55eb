// How a line from any file or device becomes the raw, echo and command
// lines the interpreter works on.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "base/text.h"

namespace zenfit {
namespace {

// Every line read until the end of input, as "status raw|echo|command".
std::string readAll(std::FILE* file) {
  PreparedLine line;
  std::string shown;
  for (int status = 0; status >= 0;) {
    status = readLine(file, line);
    shown += std::to_string(status) + " " + line.raw + "|" + line.echo + "|" + line.command + "\n";
  }
  std::fclose(file);
  return shown;
}

TEST(Lexer, PreparesEveryLineOfAStream) {
  const std::string cut(200, '7');
  const std::pair<std::string, std::string> cases[] = {
      {"  use ih   ! fix later\n", "0   use ih   ! fix later|use ih   |USE IH   \n"},
      {"! note\n      \n\n", "1 ! note||\n1 ||\n1 ||\n"},
      {"capt 'Run 3! ok'\n", "0 capt 'Run 3! ok'|capt 'Run 3! ok'|CAPT 'Run 3! ok'\n"},
      // An apostrophe inside double quotes is an ordinary character.
      {"setcap \"it's! here\" x ! gone\n",
       "0 setcap \"it's! here\" x ! gone|setcap \"it's! here\" x |SETCAP \"it's! here\" X \n"},
      {"\tshow\t\r\n", "0  show|show|SHOW\n"},
      // An unterminated quote runs to the end; a last line needs no line end.
      {"capt 'open ! still", "0 capt 'open ! still|capt 'open ! still|CAPT 'open ! still\n"},
      // The 200th character counts; the rest of a longer line is dropped.
      {std::string(250, '7') + "\nend\n", "0 " + cut + "|" + cut + "|" + cut + "\n0 end|end|END\n"},
  };
  for (auto [input, lines] : cases) {
    EXPECT_EQ(readAll(fmemopen(input.data(), input.size(), "r")), lines + "-1 ||\n") << input;
  }
  // A device that never ends a line is taken as the end of input.
  EXPECT_EQ(readAll(std::fopen("/dev/zero", "r")), "-1 ||\n");
}

}  // namespace
}  // namespace zenfit
