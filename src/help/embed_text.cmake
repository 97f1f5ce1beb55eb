# Turns a text file into a C++ source whose zenfit::help::builtInText()
# returns it byte for byte, so that the program carries its own copy of the
# help library. Run as
#   cmake -DINPUT=share/zenfit.shl -DOUTPUT=help_builtin.cpp -P embed_text.cmake
include("${CMAKE_CURRENT_LIST_DIR}/../embed_bytes.cmake")
zenfit_file_bytes("${INPUT}" bytes size)
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
