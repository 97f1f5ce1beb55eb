# Turns a text file into a C++ source whose zenfit::help::builtInText()
# returns it byte for byte, so that the program carries its own copy of the
# help library. Run as
#   cmake -DINPUT=share/zenfit.shl -DOUTPUT=help_builtin.cpp -P embed_text.cmake
file(READ "${INPUT}" hex HEX)
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
# Sixteen bytes a line.
string(REPEAT "0x..," 16 line)
string(REGEX REPLACE "(${line})" "\\1\n    " bytes "${bytes}")
string(LENGTH "${hex}" digits)
math(EXPR size "${digits} / 2")
get_filename_component(source "${INPUT}" NAME)
file(WRITE "${OUTPUT}.tmp"
"// Generated at build time from ${source}: edit that file, not this one.
#include <cstddef>
#include <string_view>

namespace zenfit::help {
namespace {
// The text and a final NUL, so that an empty file still gives an array.
const unsigned char kText[${size} + 1] = {
    ${bytes}0x00};
}  // namespace

std::string_view builtInText() {
  return std::string_view(reinterpret_cast<const char*>(kText), ${size});
}

}  // namespace zenfit::help
")
file(RENAME "${OUTPUT}.tmp" "${OUTPUT}")
