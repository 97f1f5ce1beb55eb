// Files that are never half-written.
//
// writeFileAtomically writes a whole file through a temporary file in the
// target's folder and renames it over the target only when every byte has
// been written, flushed to the disk and the file closed: a reader (or the
// next session) sees either the old file or the new one, never a cut one,
// and a full disk leaves the old file as it was. StreamingFile is for a
// file that is followed while it grows (the session transcript): each
// write is checked and the first failure is kept.
//
// Error texts name the file as given and the system's reason, e.g.
// "Cannot write model.dat: No space left on device".
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace zenfit {

// Where a write failed: the file could not be created or opened at all
// (Open), or it was opened and a write, flush, sync, close or the final
// rename failed (Write).
enum class FileFailure { None, Open, Write };

struct FileResult {
  std::string error;  // empty on success
  FileFailure failure = FileFailure::None;
  int errorNumber = 0;  // the errno of the failure
  bool ok() const { return error.empty(); }
};

// Replaces path's content by bytes. A new file gets the usual mode (0666
// less the umask); a file that exists keeps its mode (and, for root, its
// owner). A symbolic link is written through, not replaced. A path that
// exists and is not a regular file (a device such as /dev/null, a FIFO) is
// written in place, never renamed over; a folder is refused. On failure the
// temporary file is removed and the old file is untouched.
FileResult writeFileAtomically(const std::string& path, std::string_view bytes);

// A stdio stream for writers that print with fprintf: the text collects in
// memory and reaches the disk through writeFileAtomically at commit().
// Without commit() (an abandoned write) nothing is written.
class AtomicFileStream {
 public:
  explicit AtomicFileStream(std::string path);
  ~AtomicFileStream();
  AtomicFileStream(const AtomicFileStream&) = delete;
  AtomicFileStream& operator=(const AtomicFileStream&) = delete;

  // The stream to print to; null when no memory could be had.
  std::FILE* stream() { return stream_; }
  // Closes the stream and writes its text to the file.
  FileResult commit();

 private:
  std::string path_;
  char* buffer_ = nullptr;
  std::size_t size_ = 0;
  std::FILE* stream_ = nullptr;
};

// A file written as it goes. Every write goes straight to the system, so
// that `tail -f` follows it; after the first failure nothing more is
// written and that failure is what error() and close() report.
class StreamingFile {
 public:
  StreamingFile() = default;
  ~StreamingFile();
  StreamingFile(const StreamingFile&) = delete;
  StreamingFile& operator=(const StreamingFile&) = delete;

  // Creates or empties path and opens it for writing.
  FileResult open(const std::string& path);
  // Writes to a descriptor opened elsewhere (standard output: adopt(1,
  // "standard output")); close() leaves it open.
  void adopt(int fd, std::string name);

  // False when this or an earlier write failed.
  bool write(std::string_view bytes);
  // Flushes the file to the disk (when it is one) and closes it; the first
  // error of the file's life, if any.
  FileResult close();

  bool isOpen() const { return fd_ >= 0; }
  const std::string& error() const { return error_; }

 private:
  void fail(int err);

  int fd_ = -1;
  bool owned_ = false;
  std::string name_;
  std::string error_;
};

}  // namespace zenfit
