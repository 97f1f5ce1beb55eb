// A tmpfs of a few pages mounted for one test, in the test process's own
// mount namespace, so that nothing is seen outside it (programs the test
// starts inherit it) and nothing outlives the process. Needs root or
// CAP_SYS_ADMIN; tests skip with the reason when it cannot be had.
#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>

namespace zenfit::test {

class SmallFileSystem {
 public:
  SmallFileSystem(const std::string& folder, const char* options) : folder_(folder) {
    static std::string namespaceError = enterPrivateNamespace();
    if (!namespaceError.empty()) {
      error_ = namespaceError;
      return;
    }
    std::filesystem::create_directory(folder_);
    if (::mount("zenfit-test", folder_.c_str(), "tmpfs", 0, options) != 0) {
      error_ = std::string("mount: ") + std::strerror(errno);
      return;
    }
    mounted_ = true;
  }
  ~SmallFileSystem() {
    if (mounted_) ::umount2(folder_.c_str(), MNT_DETACH);
  }
  SmallFileSystem(const SmallFileSystem&) = delete;
  SmallFileSystem& operator=(const SmallFileSystem&) = delete;

  // Why it could not be mounted ("" when it is).
  const std::string& error() const { return error_; }
  bool makeReadOnly() {
    return ::mount(nullptr, folder_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }

 private:
  static std::string enterPrivateNamespace() {
    if (::unshare(CLONE_NEWNS) != 0) return std::string("unshare: ") + std::strerror(errno);
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
      return std::string("making mounts private: ") + std::strerror(errno);
    }
    return "";
  }

  std::string folder_;
  std::string error_;
  bool mounted_ = false;
};

#define SKIP_UNLESS_MOUNTED(fs)                                                         \
  if (!(fs).error().empty())                                                            \
  GTEST_SKIP() << "cannot mount a small tmpfs for this test (" << (fs).error()          \
               << "); it needs root or CAP_SYS_ADMIN"

}  // namespace zenfit::test
