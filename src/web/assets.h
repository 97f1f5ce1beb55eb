// The page's files, built into the program (see embed_assets.cmake).
#pragma once

#include <span>
#include <string_view>

namespace zenfit::web {

struct Asset {
  std::string_view path;  // "/index.html", "/app.js", ...
  std::string_view contentType;
  std::string_view content;
};

std::span<const Asset> assets();

}  // namespace zenfit::web
