// Files written whole or not at all: a full file system, /dev/full, a
// folder that refuses new files and a target that is a folder. In every
// failure the old file keeps its content, the error names the file and the
// system's reason, and no temporary file is left behind.
#include "base/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <set>
#include <string>

#include "support/session.h"
#include "support/small_file_system.h"

namespace zenfit {
namespace {

using test::readFile;
using test::ScratchDir;
using test::SmallFileSystem;

std::set<std::string> namesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

TEST(AtomicFile, ReplacesContentAndKeepsModeAndLinks) {
  ScratchDir dir;
  const mode_t previousMask = ::umask(022);
  const std::string fresh = dir.file("fresh.dat");
  EXPECT_TRUE(writeFileAtomically(fresh, "one\n").ok());
  EXPECT_EQ(readFile(fresh), "one\n");
  struct stat st {};
  ASSERT_EQ(::stat(fresh.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0644u);

  // An existing file keeps its mode; a link keeps pointing at it.
  ::chmod(fresh.c_str(), 0600);
  std::filesystem::create_symlink("fresh.dat", dir.file("link.dat"));
  EXPECT_TRUE(writeFileAtomically(dir.file("link.dat"), "two\n").ok());
  EXPECT_TRUE(std::filesystem::is_symlink(dir.file("link.dat")));
  EXPECT_EQ(readFile(fresh), "two\n");
  ASSERT_EQ(::stat(fresh.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 07777, 0600u);

  // The stdio form: what was printed reaches the file at commit, and an
  // abandoned stream writes nothing.
  {
    AtomicFileStream out(fresh);
    std::fprintf(out.stream(), "IH %+.4f\n", -35.2136);
    EXPECT_TRUE(out.commit().ok());
  }
  { AtomicFileStream abandoned(fresh); std::fputs("half", abandoned.stream()); }
  EXPECT_EQ(readFile(fresh), "IH -35.2136\n");
  EXPECT_EQ(namesIn(dir.path()), (std::set<std::string>{"fresh.dat", "link.dat"}));
  ::umask(previousMask);
}

TEST(AtomicFile, FullFileSystemLeavesTheOldFile) {
  ScratchDir dir;
  const std::string folder = dir.file("small");
  SmallFileSystem fs(folder, "size=64k,mode=0777");
  SKIP_UNLESS_MOUNTED(fs);

  const std::string model = folder + "/model.dat";
  ASSERT_TRUE(writeFileAtomically(model, "old model\n").ok());
  const std::string full = "Cannot write " + model + ": No space left on device";
  EXPECT_EQ(writeFileAtomically(model, std::string(256 * 1024, 'x')).error, full);
  {
    AtomicFileStream out(model);
    for (int i = 0; i < 20000; ++i) std::fprintf(out.stream(), "  IH        -35.2136     0.10923\n");
    EXPECT_EQ(out.commit().error, full);
  }
  EXPECT_EQ(readFile(model), "old model\n");
  EXPECT_EQ(namesIn(folder), std::set<std::string>{"model.dat"});

  // A transcript keeps what fitted, and reports the first failure once.
  StreamingFile transcript;
  const std::string log = folder + "/session.out";
  ASSERT_TRUE(transcript.open(log).ok());
  const std::string line(1000, '*');
  int written = 0;
  while (written < 1000 && transcript.write(line)) ++written;
  EXPECT_LT(written, 1000);
  EXPECT_FALSE(transcript.write("more\n"));
  EXPECT_EQ(transcript.close().error, "Cannot write " + log + ": No space left on device");
  EXPECT_GE(readFile(log).size(), written * line.size());
}

TEST(AtomicFile, DevicesAreWrittenInPlaceNeverReplaced) {
  struct stat st {};
  if (::stat("/dev/full", &st) != 0) GTEST_SKIP() << "this system has no /dev/full";
  EXPECT_EQ(writeFileAtomically("/dev/full", "IH 1\n").error,
            "Cannot write /dev/full: No space left on device");
  ASSERT_EQ(::stat("/dev/full", &st), 0);
  EXPECT_TRUE(S_ISCHR(st.st_mode));

  StreamingFile transcript;
  ASSERT_TRUE(transcript.open("/dev/full").ok());
  EXPECT_FALSE(transcript.write("* FIT\n"));
  EXPECT_EQ(transcript.close().error, "Cannot write /dev/full: No space left on device");

  EXPECT_TRUE(writeFileAtomically("/dev/null", "IH 1\n").ok());
  ASSERT_EQ(::stat("/dev/null", &st), 0);
  EXPECT_TRUE(S_ISCHR(st.st_mode));

  // A FIFO with a reader: the bytes go through it and it stays a FIFO.
  ScratchDir dir;
  const std::string fifo = dir.file("pipe");
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  EXPECT_TRUE(writeFileAtomically(fifo, "END\n").ok());
  char buffer[16] = {};
  EXPECT_EQ(::read(reader, buffer, sizeof buffer), 4);
  EXPECT_STREQ(buffer, "END\n");
  ::close(reader);
  EXPECT_TRUE(std::filesystem::is_fifo(fifo));
  EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"pipe"});
}

TEST(AtomicFile, FolderThatRefusesNewFiles) {
  ScratchDir dir;
  const std::string folder = dir.file("locked");
  std::string reason;
  // Root writes anywhere it has permission bits against it, so root gets a
  // read-only file system instead of a read-only folder.
  std::unique_ptr<SmallFileSystem> fs;
  if (::geteuid() == 0) {
    fs = std::make_unique<SmallFileSystem>(folder, "size=64k");
    SKIP_UNLESS_MOUNTED(*fs);
    reason = "Read-only file system";
  } else {
    std::filesystem::create_directory(folder);
    reason = "Permission denied";
  }
  const std::string model = folder + "/model.dat";
  ASSERT_TRUE(writeFileAtomically(model, "old model\n").ok());
  if (fs) {
    ASSERT_TRUE(fs->makeReadOnly());
  } else {
    ::chmod(folder.c_str(), 0555);
  }
  EXPECT_EQ(writeFileAtomically(model, "new model\n").error, "Cannot write " + model + ": " + reason);
  EXPECT_EQ(readFile(model), "old model\n");
  EXPECT_EQ(namesIn(folder), std::set<std::string>{"model.dat"});
  if (!fs) ::chmod(folder.c_str(), 0755);

  const std::string missing = dir.file("no-such-folder/model.dat");
  EXPECT_EQ(writeFileAtomically(missing, "x").error,
            "Cannot write " + missing + ": No such file or directory");
}

TEST(AtomicFile, TargetThatIsAFolder) {
  ScratchDir dir;
  const std::string folder = dir.file("model.dat");
  std::filesystem::create_directory(folder);
  dir.write("model.dat/inside", "kept\n");
  EXPECT_EQ(writeFileAtomically(folder, "x").error, "Cannot write " + folder + ": Is a directory");
  EXPECT_EQ(writeFileAtomically(dir.path() + "/", "x").error,
            "Cannot write " + dir.path() + "/: Is a directory");
  StreamingFile transcript;
  EXPECT_EQ(transcript.open(folder).error, "Cannot write " + folder + ": Is a directory");
  EXPECT_FALSE(transcript.write("x"));

  EXPECT_TRUE(std::filesystem::is_directory(folder));
  EXPECT_EQ(readFile(folder + "/inside"), "kept\n");
  EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"model.dat"});
}

}  // namespace
}  // namespace zenfit
