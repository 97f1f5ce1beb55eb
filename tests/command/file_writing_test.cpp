// Files written whole or not at all. The writer keeps modes and links,
// writes devices and FIFOs in place and leaves the old file and no
// temporary file behind when it is refused; OUTDAT and OUTMOD on a full file
// system and /dev/full name the file and the reason, fail, and leave the old
// file as it was; a file that cannot be created at all, or a folder given as
// a file, keeps the old open-failure text. (The transcript on a full disk is
// in cli/cli_test.cpp.)
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "base/atomic_file.h"
#include "support/session.h"
#include "support/small_file_system.h"

namespace zenfit::test {
namespace {

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

// Takes every free byte of the file system that holds folder.
void fill(const std::string& folder) {
  const int fd = ::open((folder + "/filler").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ASSERT_GE(fd, 0);
  const std::string block(4096, '#');
  while (::write(fd, block.data(), block.size()) > 0) continue;
  while (::write(fd, "#", 1) > 0) continue;
  ::close(fd);
}

TEST(OutputFiles, FullFileSystemLeavesTheOldFiles) {
  ScratchDir dir;
  const std::string folder = dir.file("small");
  SmallFileSystem fs(folder, "size=64k,mode=0777");
  SKIP_UNLESS_MOUNTED(fs);

  Session s(folder);
  s.runAll("PERFCT 40\nUSE IH ID NP\nIH 12.5");
  s.run("OUTDAT run");
  ASSERT_EQ(s.engine().dispatch.status, CommandStatus::Done);
  s.run("OUTMOD model");
  ASSERT_EQ(s.engine().dispatch.status, CommandStatus::Done);
  const std::string oldRun = readFile(folder + "/run.dat");
  const std::string oldModel = readFile(folder + "/model.dat");
  ASSERT_GT(oldRun.size(), 1000u);

  fill(folder);
  s.run("IH 20");
  for (const std::string line : {"OUTDAT run", "OUTMOD model"}) {
    EXPECT_EQ(s.run(line), "* " + line + "\nOutput file cannot be written!  File = " + line.substr(7) +
                               ": No space left on device\n?\n");
  }
  // The writer's stdio form, too.
  {
    AtomicFileStream out(folder + "/model.dat");
    for (int i = 0; i < 20000; ++i) std::fprintf(out.stream(), "  IH        -35.2136     0.10923\n");
    EXPECT_EQ(out.commit().error, "Cannot write " + folder + "/model.dat: No space left on device");
  }
  EXPECT_EQ(readFile(folder + "/run.dat"), oldRun);
  EXPECT_EQ(readFile(folder + "/model.dat"), oldModel);
  EXPECT_EQ(namesIn(folder), (std::set<std::string>{"filler", "model.dat", "run.dat"}));
}

TEST(OutputFiles, DevFullAndFilesThatCannotBeCreated) {
  ScratchDir dir;
  std::filesystem::create_directory(dir.file("sub"));
  std::filesystem::create_directory(dir.file("box.dat"));
  Session s(dir.path());
  s.runAll("PERFCT 40\nUSE IH");
  if (std::filesystem::exists("/dev/full")) {
    for (const std::string command : {"OUTDAT", "OUTMOD"}) {
      EXPECT_EQ(s.run(command + " /dev/full/"), "* " + command + " /dev/full/\n"
                "Output file cannot be written!  File = /dev/full/: No space left on device\n?\n");
    }
  }
  // No such folder, or a folder of that name (box is box.dat; sub/ is sub).
  for (const char* name : {"nodir/run", "box", "sub/"}) {
    for (const char* command : {"OUTDAT", "OUTMOD"}) {
      const std::string line = std::string(command) + " " + name;
      EXPECT_EQ(s.run(line), "* " + line + "\nOutput file cannot be opened!  File = " + name +
                                 ", status = -1\n?\n");
    }
  }
  // A folder is no file to read either.
  EXPECT_EQ(s.run("INDAT sub/"),
            "* INDAT sub/\nInput file cannot be opened!  File = sub/, status = -1\n?\n");
  EXPECT_EQ(s.run("INMOD box"),
            "* INMOD box\nInput file cannot be opened!  File = box, status  = -1\n?\n");
  EXPECT_EQ(s.run("INPRO sub/"),
            "* INPRO sub/\nLibrary file cannot be opened!  File = sub/, status = -1\n?\n");
  EXPECT_EQ(s.run("INST box"),
            "* INST box\nStar catalogue file cannot be opened!  File = box, status = -1\n?\n");
  EXPECT_EQ(namesIn(dir.path()), (std::set<std::string>{"box.dat", "sub"}));
}

}  // namespace
}  // namespace zenfit::test
