// OUTDAT and OUTMOD on bad disks: a full file system and /dev/full give a
// message naming the file and the reason, the command fails and the old
// file keeps its content; a file that cannot be created at all, or a
// folder given as a file, keeps the old open-failure text.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "support/session.h"
#include "support/small_file_system.h"

namespace zenfit::test {
namespace {

std::set<std::string> namesIn(const std::string& folder) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    names.insert(entry.path().filename().string());
  }
  return names;
}

// Takes every free byte of the file system that holds folder.
void fill(const std::string& folder) {
  const int fd = ::open((folder + "/filler").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  ASSERT_GE(fd, 0);
  const std::string block(4096, '#');
  while (::write(fd, block.data(), block.size()) > 0) {
  }
  while (::write(fd, "#", 1) > 0) {
  }
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
  EXPECT_EQ(s.run("OUTDAT run"),
            "* OUTDAT run\nOutput file cannot be written!  File = run: No space left on device\n?\n");
  EXPECT_EQ(s.run("OUTMOD model"),
            "* OUTMOD model\n"
            "Output file cannot be written!  File = model: No space left on device\n?\n");
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
    EXPECT_EQ(s.run("OUTDAT /dev/full/"),
              "* OUTDAT /dev/full/\n"
              "Output file cannot be written!  File = /dev/full/: No space left on device\n?\n");
    EXPECT_EQ(s.run("OUTMOD /dev/full/"),
              "* OUTMOD /dev/full/\n"
              "Output file cannot be written!  File = /dev/full/: No space left on device\n?\n");
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
