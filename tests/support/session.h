// Test support: scratch folders and engine sessions that capture every text
// the engine writes to its message buffer (before the CR LF expansion).
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>

#include "command/engine.h"

namespace zenfit::test {

// The text of a file, or "" when it cannot be read.
inline std::string readFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// A fresh temporary folder, removed with everything in it when destroyed.
class ScratchDir {
 public:
  ScratchDir() : path_((std::filesystem::temp_directory_path() / "zenfit-test-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw std::filesystem::filesystem_error("mkdtemp", {});
  }
  ~ScratchDir() { std::error_code ignored; std::filesystem::remove_all(path_, ignored); }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  void write(const std::string& name, const std::string& content) const {
    std::ofstream(file(name), std::ios::binary) << content;
  }
  std::string read(const std::string& name) const { return readFile(file(name)); }
  bool exists(const std::string& name) const { return std::filesystem::exists(file(name)); }
  void copyFrom(const std::string& folder) const;  // its every regular file, here

 private:
  std::string path_;
};

// Makes a folder the working directory for the life of the guard.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const std::string& path) : previous_(std::filesystem::current_path()) {
    std::filesystem::current_path(path);
  }
  ~WorkingDirectory() { std::error_code ignored; std::filesystem::current_path(previous_, ignored); }
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;

 private:
  std::string previous_;
};

// An engine started in a folder in host mode, driven a line at a time as a host drives it.
class Session {
 public:
  explicit Session(const std::string& folder) : Session(folder, "") {}
  ~Session();

  std::string run(const std::string& line);      // the text the line produced
  std::string runAll(const std::string& lines);  // lines separated by '\n'
  Engine& engine() { return *engine_; }
  const std::string& startupText() const { return startup_; }
  int startupStatus() const { return status_; }
  const std::string& transcript() const { return captured_.text(); }  // all text so far

 private:
  friend std::string runBatchSession(const std::string& folder, const std::string& script);
  Session(const std::string& folder, const char* input);  // input: a command file, "" standard input

  std::string folder_;
  std::unique_ptr<Engine> engine_;
  TextSink captured_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> input_{nullptr, std::fclose};
  std::unique_ptr<StreamInput> lines_;
  std::string startup_;
  int status_ = 0;
};

// Runs a whole batch session in folder over the command file script (a file
// name inside the folder) and returns the captured text.
std::string runBatchSession(const std::string& folder, const std::string& script);

}  // namespace zenfit::test
