#include "base/files.h"

#include <cstring>
#include <system_error>

#include "base/text.h"

namespace zenfit {

bool isMissingFileName(const char* name) { return trimmedLength(name) == 0; }

std::string applyFileNameRule(const char* name, int maxLength) {
  std::string path(name, static_cast<std::size_t>(trimmedLength(name)));
  if (path.empty()) return path;
  if (path.back() == '/') {
    path.pop_back();
  } else if (path.find('.') == std::string::npos &&
             static_cast<int>(path.size()) <= maxLength - 4) {
    path += ".dat";
  }
  return path;
}

std::filesystem::path resolveFileName(const std::filesystem::path& folder, const char* name,
                                      int maxLength) {
  const std::filesystem::path path = applyFileNameRule(name, maxLength);
  if (path.empty() || path.is_absolute() || folder.empty()) return path;
  return folder / path;
}

FileHandle openForReading(const std::filesystem::path& folder, const char* name, int maxLength,
                          int& status) {
  if (isMissingFileName(name)) {
    status = kNoFileName;
    return nullptr;
  }
  const std::filesystem::path path = resolveFileName(folder, name, maxLength);
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) {
    status = kOpenFailed;
    return nullptr;
  }
  FileHandle file(std::fopen(path.c_str(), "r"));
  status = file ? 0 : kOpenFailed;
  return file;
}

}  // namespace zenfit
