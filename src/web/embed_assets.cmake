# Turns the page's files (HTML, CSS, JavaScript, SVG) into a C++ source
# whose zenfit::web::assets() returns each file byte for byte with its path
# and content type, so that the browser host serves its page without
# reading any file at run time. Run as
#   cmake -DINPUTS="a.html;b.js" -DOUTPUT=web_assets.cpp -P embed_assets.cmake
include("${CMAKE_CURRENT_LIST_DIR}/../embed_bytes.cmake")
set(arrays "")
set(table "")
set(index 0)
foreach(input IN LISTS INPUTS)
  zenfit_file_bytes("${input}" bytes size)
  get_filename_component(name "${input}" NAME)
  get_filename_component(extension "${input}" LAST_EXT)
  if(extension STREQUAL ".html")
    set(type "text/html; charset=utf-8")
  elseif(extension STREQUAL ".css")
    set(type "text/css; charset=utf-8")
  elseif(extension STREQUAL ".js")
    set(type "text/javascript; charset=utf-8")
  elseif(extension STREQUAL ".svg")
    set(type "image/svg+xml")
  else()
    set(type "application/octet-stream")
  endif()
  string(APPEND arrays "// ${name}\nconst unsigned char k${index}[${size} + 1] = {\n    ${bytes}0x00};\n")
  string(APPEND table "    {\"/${name}\", \"${type}\", std::string_view(reinterpret_cast<const char*>(k${index}), ${size})},\n")
  math(EXPR index "${index} + 1")
endforeach()
file(WRITE "${OUTPUT}.tmp"
"// Generated at build time from src/web/static: edit those files, not this one.
#include \"web/assets.h\"

namespace zenfit::web {
namespace {
${arrays}
const Asset kAssets[] = {
${table}};
}  // namespace

std::span<const Asset> assets() { return kAssets; }

}  // namespace zenfit::web
")
file(RENAME "${OUTPUT}.tmp" "${OUTPUT}")
