#include "base/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>
#include <utility>

namespace zenfit {
namespace {

std::string cannotWrite(const std::string& path, int err) {
  return "Cannot write " + path + ": " + std::strerror(err);
}

FileResult failed(const std::string& path, int err, FileFailure stage) {
  return {cannotWrite(path, err), stage, err};
}

// Writes every byte, resuming after signals and partial writes; 0 or the
// errno of the failure.
int writeAll(int fd, std::string_view bytes) {
  const char* p = bytes.data();
  std::size_t left = bytes.size();
  while (left > 0) {
    const ssize_t n = ::write(fd, p, left);
    if (n < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    if (n == 0) return EIO;  // no progress and no reason: never loop for ever
    p += n;
    left -= static_cast<std::size_t>(n);
  }
  return 0;
}

// fsync, where the file can be synced at all: pipes, terminals and
// character devices answer EINVAL (or EROFS, ENOTSUP), which is no fault.
int syncFile(int fd) {
  while (::fsync(fd) != 0) {
    if (errno == EINTR) continue;
    if (errno == EINVAL || errno == EROFS || errno == ENOTSUP) return 0;
    return errno;
  }
  return 0;
}

int closeFile(int fd) {
  // Linux closes the descriptor even when close reports EINTR: never retry.
  if (::close(fd) != 0 && errno != EINTR) return errno;
  return 0;
}

// The folder part of path ("." for a bare name) and the name part.
void splitPath(const std::string& path, std::string& folder, std::string& name) {
  const std::size_t slash = path.find_last_of('/');
  if (slash == std::string::npos) {
    folder = ".";
    name = path;
  } else {
    folder = slash == 0 ? "/" : path.substr(0, slash);
    name = path.substr(slash + 1);
  }
}

// A device, a FIFO or a socket: written where it is. Renaming a file over
// it would replace the node itself (as root, /dev/full would become a
// plain file).
FileResult writeInPlace(const std::string& path, const std::string& target,
                        std::string_view bytes) {
  const int fd = ::open(target.c_str(), O_WRONLY | O_CLOEXEC);
  if (fd < 0) return failed(path, errno, FileFailure::Open);
  int err = writeAll(fd, bytes);
  if (err == 0) err = syncFile(fd);
  const int closeErr = closeFile(fd);
  if (err == 0) err = closeErr;
  if (err != 0) return failed(path, err, FileFailure::Write);
  return {};
}

// Creates a new temporary file beside target (O_EXCL, so never someone
// else's), named after it so that a stray one is recognisable. The mode
// 0666 is reduced by the umask, as for any new file.
int createTemporary(const std::string& folder, const std::string& name, std::string& temp) {
  // A random part, not a shared counter: engines in several threads write
  // at once and share no state; O_EXCL settles the rare clash.
  std::random_device entropy;
  // Keep the temporary name within NAME_MAX (255) for any target name.
  const std::string stem = name.substr(0, 200);
  for (int attempt = 0; attempt < 100; ++attempt) {
    temp = folder + "/." + stem + "." + std::to_string(::getpid()) + "." +
           std::to_string(entropy()) + ".tmp";
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  errno = EEXIST;
  return -1;
}

}  // namespace

FileResult writeFileAtomically(const std::string& path, std::string_view bytes) {
  if (path.empty()) return failed(path, ENOENT, FileFailure::Open);

  // Write through a symbolic link to the file it names, so that the link
  // survives. A dangling link is written like a new file at its own path.
  std::string target = path;
  struct stat st {};
  if (::lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode)) {
    if (char* real = ::realpath(path.c_str(), nullptr); real != nullptr) {
      target = real;
      std::free(real);
    }
  }
  const bool exists = ::stat(target.c_str(), &st) == 0;
  if (exists && S_ISDIR(st.st_mode)) return failed(path, EISDIR, FileFailure::Open);
  if (exists && !S_ISREG(st.st_mode)) return writeInPlace(path, target, bytes);

  std::string folder;
  std::string name;
  splitPath(target, folder, name);
  if (name.empty()) return failed(path, EISDIR, FileFailure::Open);  // "notes/" is a folder's name

  std::string temp;
  const int fd = createTemporary(folder, name, temp);
  if (fd < 0) return failed(path, errno, FileFailure::Open);

  if (exists) {
    // The new file takes the old one's place, mode and owner (the owner can
    // be given away only by root; otherwise it is the writer's, as always).
    // Neither failure spoils the content, so neither fails the write.
    if (::fchmod(fd, st.st_mode & 07777) != 0) errno = 0;
    if (::geteuid() == 0 && ::fchown(fd, st.st_uid, st.st_gid) != 0) errno = 0;
  }
  int err = writeAll(fd, bytes);
  if (err == 0) err = syncFile(fd);
  const int closeErr = closeFile(fd);
  if (err == 0) err = closeErr;
  if (err == 0 && ::rename(temp.c_str(), target.c_str()) != 0) err = errno;
  if (err != 0) {
    ::unlink(temp.c_str());
    return failed(path, err, FileFailure::Write);
  }

  // Make the rename itself durable; a folder that cannot be synced is no
  // fault of the file's.
  const int dir = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (dir >= 0) {
    if (::fsync(dir) != 0) errno = 0;
    ::close(dir);
  }
  return {};
}

// ---- AtomicFileStream

AtomicFileStream::AtomicFileStream(std::string path) : path_(std::move(path)) {
  stream_ = ::open_memstream(&buffer_, &size_);
}

AtomicFileStream::~AtomicFileStream() {
  if (stream_ != nullptr) std::fclose(stream_);
  std::free(buffer_);
}

FileResult AtomicFileStream::commit() {
  if (stream_ == nullptr) return failed(path_, ENOMEM, FileFailure::Open);
  const bool printFailed = std::ferror(stream_) != 0;
  const bool closed = std::fclose(stream_) == 0;
  stream_ = nullptr;
  if (printFailed || !closed) return failed(path_, ENOMEM, FileFailure::Write);
  FileResult result = writeFileAtomically(path_, std::string_view(buffer_, size_));
  std::free(buffer_);
  buffer_ = nullptr;
  size_ = 0;
  return result;
}

// ---- StreamingFile

StreamingFile::~StreamingFile() { (void)close(); }

FileResult StreamingFile::open(const std::string& path) {
  (void)close();
  error_.clear();
  name_ = path;
  fd_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  owned_ = fd_ >= 0;
  if (fd_ < 0) fail(errno);
  return {error_};
}

void StreamingFile::adopt(int fd, std::string name) {
  (void)close();
  error_.clear();
  fd_ = fd;
  owned_ = false;
  name_ = std::move(name);
}

void StreamingFile::fail(int err) {
  if (error_.empty()) error_ = cannotWrite(name_, err);
}

bool StreamingFile::write(std::string_view bytes) {
  if (!error_.empty()) return false;
  if (fd_ < 0) {
    fail(EBADF);
    return false;
  }
  if (const int err = writeAll(fd_, bytes); err != 0) {
    fail(err);
    return false;
  }
  return true;
}

FileResult StreamingFile::close() {
  if (fd_ >= 0) {
    if (const int err = syncFile(fd_); err != 0) fail(err);
    if (owned_) {
      if (const int err = closeFile(fd_); err != 0) fail(err);
    }
    fd_ = -1;
    owned_ = false;
  }
  return {error_};
}

}  // namespace zenfit
