#include "base/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "base/text.h"

namespace zenfit {

struct TextStreamState {
  int fd = -1;
  bool owned = false;
  long lineBytes = 0;  // bytes read since the last line end
  bool endless = false;
  int error = 0;       // errno of a failed read
};

namespace {

// The stream's read function: the bytes of the descriptor, until a line
// runs on past kMaxTextLineBytes; then the bytes up to that point, and a
// read error. readTextLine gives no part of a line a failed read cut.
ssize_t readText(void* cookie, char* buffer, std::size_t size) {
  auto* state = static_cast<TextStreamState*>(cookie);
  if (state->endless || state->error != 0) {
    errno = state->endless ? EFBIG : state->error;
    return -1;
  }
  ssize_t n = 0;
  do {
    n = ::read(state->fd, buffer, size);
  } while (n < 0 && errno == EINTR);
  if (n < 0) {
    state->error = errno;
    return -1;
  }
  // Only the bytes before the first line end continue the line already
  // running; the rest of the block (at most one buffer) cannot pass the limit.
  const auto count = static_cast<std::size_t>(n);
  const auto* firstEnd = static_cast<const char*>(std::memchr(buffer, '\n', count));
  const long head = static_cast<long>(firstEnd != nullptr ? firstEnd - buffer : n);
  if (state->lineBytes + head > kMaxTextLineBytes) {
    state->endless = true;
    const long upToLimit = kMaxTextLineBytes - state->lineBytes;
    if (upToLimit > 0) return upToLimit;
    errno = EFBIG;
    return -1;
  }
  if (firstEnd == nullptr) {
    state->lineBytes += n;
  } else {
    const auto* lastEnd = static_cast<const char*>(::memrchr(buffer, '\n', count));
    state->lineBytes = static_cast<long>(buffer + n - 1 - lastEnd);
  }
  return n;
}

int closeText(void* cookie) {
  auto* state = static_cast<TextStreamState*>(cookie);
  if (state->owned && state->fd >= 0) ::close(state->fd);
  state->fd = -1;
  return 0;
}

}  // namespace

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
  status = kOpenFailed;
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return nullptr;
  struct stat st {};
  if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    ::close(fd);
    return nullptr;
  }
  FileHandle file = openTextDescriptor(fd, true);
  if (file) status = 0;
  return file;
}

FileHandle openTextDescriptor(int fd, bool owned) {
  auto state = std::make_shared<TextStreamState>();
  state->fd = fd;
  state->owned = owned;
  const cookie_io_functions_t functions{readText, nullptr, nullptr, closeText};
  std::FILE* stream = ::fopencookie(state.get(), "r", functions);
  if (stream == nullptr) {
    closeText(state.get());
    return nullptr;
  }
  std::setvbuf(stream, nullptr, _IOFBF, 64 * 1024);
  return FileHandle(stream, FileCloser{std::move(state)});
}

std::string readFailure(const FileHandle& file) {
  const TextStreamState* state = file.get_deleter().state.get();
  if (state != nullptr && state->endless) {
    return "a line runs on for more than " + std::to_string(kMaxTextLineBytes >> 20) +
           " MB (not a text file)";
  }
  if (state != nullptr && state->error != 0) return std::strerror(state->error);
  if (file && std::ferror(file.get())) return "read error";
  return "";
}

}  // namespace zenfit
