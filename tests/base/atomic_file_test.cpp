// Files written whole or not at all, below the commands that use them (the
// full disk and /dev/full through OUTDAT and OUTMOD are in
// command/file_writing_test.cpp, the transcript in cli/cli_test.cpp): modes
// and links kept, devices and FIFOs written in place, and refusals that
// leave the old file and no temporary file behind.
#include "base/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

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
  for (const auto& entry : std::filesystem::directory_iterator(folder)) names.insert(entry.path().filename());
  return names;
}

TEST(AtomicFile, ReplacesContentAndKeepsModeAndLinks) {
  ScratchDir dir;
  const mode_t previousMask = ::umask(022);
  const std::string fresh = dir.file("fresh.dat");
  EXPECT_TRUE(writeFileAtomically(fresh, "one\n").ok());
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

TEST(AtomicFile, StreamOnAFullFileSystemLeavesTheOldFile) {
  ScratchDir dir;
  const std::string folder = dir.file("small");
  SmallFileSystem fs(folder, "size=64k,mode=0777");
  SKIP_UNLESS_MOUNTED(fs);
  const std::string model = folder + "/model.dat";
  ASSERT_TRUE(writeFileAtomically(model, "old model\n").ok());
  {
    AtomicFileStream out(model);
    for (int i = 0; i < 20000; ++i) std::fprintf(out.stream(), "  IH        -35.2136     0.10923\n");
    EXPECT_EQ(out.commit().error, "Cannot write " + model + ": No space left on device");
  }
  EXPECT_EQ(readFile(model), "old model\n");
  EXPECT_EQ(namesIn(folder), std::set<std::string>{"model.dat"});
}

// Renaming over a device would replace it (as root, /dev/null itself).
TEST(AtomicFile, DevicesAndFifosAreWrittenInPlaceNeverReplaced) {
  struct stat st {};
  EXPECT_TRUE(writeFileAtomically("/dev/null", "IH 1\n").ok());
  ASSERT_EQ(::stat("/dev/null", &st), 0);
  EXPECT_TRUE(S_ISCHR(st.st_mode));

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

TEST(AtomicFile, RefusalsNameTheFileAndTheReasonAndKeepTheOldFile) {
  ScratchDir dir;
  const std::string missing = dir.file("no-such-folder/model.dat");
  EXPECT_EQ(writeFileAtomically(missing, "x").error, "Cannot write " + missing + ": No such file or directory");
  // A target that is a folder.
  const std::string box = dir.file("box.dat");
  std::filesystem::create_directory(box);
  dir.write("box.dat/inside", "kept\n");
  EXPECT_EQ(writeFileAtomically(box, "x").error, "Cannot write " + box + ": Is a directory");
  EXPECT_EQ(writeFileAtomically(dir.path() + "/", "x").error, "Cannot write " + dir.path() + "/: Is a directory");
  StreamingFile transcript;
  EXPECT_EQ(transcript.open(box).error, "Cannot write " + box + ": Is a directory");
  EXPECT_FALSE(transcript.write("x"));
  EXPECT_EQ(readFile(box + "/inside"), "kept\n");
  EXPECT_EQ(namesIn(dir.path()), std::set<std::string>{"box.dat"});

  // A folder that refuses new files. Root writes whatever the permission
  // bits say, so root gets a read-only file system instead.
  const std::string folder = dir.file("locked");
  std::unique_ptr<SmallFileSystem> fs;
  if (::geteuid() == 0) {
    fs = std::make_unique<SmallFileSystem>(folder, "size=64k");
    SKIP_UNLESS_MOUNTED(*fs);
  } else {
    std::filesystem::create_directory(folder);
  }
  const std::string model = folder + "/model.dat";
  ASSERT_TRUE(writeFileAtomically(model, "old model\n").ok());
  ASSERT_TRUE(fs ? fs->makeReadOnly() : ::chmod(folder.c_str(), 0555) == 0);
  EXPECT_EQ(writeFileAtomically(model, "new model\n").error,
            "Cannot write " + model + ": " + (fs ? "Read-only file system" : "Permission denied"));
  EXPECT_EQ(readFile(model), "old model\n");
  EXPECT_EQ(namesIn(folder), std::set<std::string>{"model.dat"});
  if (!fs) ::chmod(folder.c_str(), 0755);
}

}  // namespace
}  // namespace zenfit
