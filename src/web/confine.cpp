#include "web/confine.h"

#include <algorithm>
#include <system_error>

namespace zenfit::web {

namespace {

std::string_view trimmed(std::string_view text) {
  const auto blank = [](char c) { return c == ' ' || c == '\t'; };
  while (!text.empty() && blank(text.front())) text.remove_prefix(1);
  while (!text.empty() && blank(text.back())) text.remove_suffix(1);
  return text;
}

std::string refused(std::string_view name, const char* why) {
  return "File name refused: \"" + std::string(name) + "\" " + why +
         " (a browser session reads and writes only the files of its own folder).";
}

}  // namespace

bool staysInside(const std::filesystem::path& folder, const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::path root = std::filesystem::canonical(folder, error);
  if (error) return false;
  // weakly_canonical follows every link of the part that exists and
  // normalises the rest.
  const std::filesystem::path target = std::filesystem::weakly_canonical(path, error);
  if (error) return false;
  auto r = root.begin();
  auto t = target.begin();
  for (; r != root.end(); ++r, ++t) {
    if (t == target.end() || *r != *t) return false;
  }
  return true;
}

std::string engineFileRefusal(const std::filesystem::path& folder, std::string_view name,
                              const std::filesystem::path& path) {
  const std::string_view given = trimmed(name);
  if (!given.empty() && given.front() == '/') return refused(given, "is an absolute path");
  if (!given.empty() && given.front() == '~') return refused(given, "starts with '~'");
  for (const std::filesystem::path& part : std::filesystem::path(std::string(given))) {
    if (part == "..") return refused(given, "goes up a folder with \"..\"");
  }
  if (path.is_absolute() && !staysInside(folder, path)) {
    return refused(given, "leads out of the session's folder through a link");
  }
  return "";
}

std::string plainNameRefusal(std::string_view name) {
  if (name.empty()) return "A file name is needed.";
  if (name.size() > 64) return "File name too long (64 characters at most).";
  if (name.front() == '.' || name.front() == '-') {
    return "File names may not start with '.' or '-'.";
  }
  const bool plain = std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
           c == '.' || c == '_' || c == '-';
  });
  if (!plain) {
    return "File names are plain names of letters, digits, '.', '_' and '-' "
           "(no folders): \"" + std::string(name.substr(0, 64)) + "\" is not one.";
  }
  return "";
}

}  // namespace zenfit::web
