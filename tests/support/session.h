// Test support: scratch folders and engine sessions that capture every text
// the engine writes to its message buffer (before the CR LF expansion).
#pragma once

#include <memory>
#include <string>

#include "engine.h"

namespace zenfit::test {

// A fresh temporary folder, removed with everything in it when destroyed.
class ScratchDir {
 public:
  ScratchDir();
  ~ScratchDir();
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }
  void write(const std::string& name, const std::string& content) const;
  std::string read(const std::string& name) const;
  bool exists(const std::string& name) const;
  // Copies every regular file of a folder into this one.
  void copyFrom(const std::string& folder) const;

 private:
  std::string path_;
};

// Makes a folder the working directory for the life of the guard.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(const std::string& path);
  ~WorkingDirectory();
  WorkingDirectory(const WorkingDirectory&) = delete;
  WorkingDirectory& operator=(const WorkingDirectory&) = delete;

 private:
  std::string previous_;
};

// An engine started in a folder, driven line by line as a host drives it.
class Session {
 public:
  // Starts the engine in folder (host mode: input and output standard).
  explicit Session(const std::string& folder);
  ~Session();

  // Runs one line; returns the text it produced.
  std::string run(const std::string& line);
  // Runs several lines separated by '\n'; returns all the text produced.
  std::string runAll(const std::string& lines);

  Engine& engine() { return *engine_; }
  const std::string& startupText() const { return startup_; }
  int startupStatus() const { return status_; }
  // All text captured so far.
  const std::string& transcript() const { return captured_; }

 private:
  static void capture(void* context, const char* text, MessageKind kind);

  std::string folder_;
  std::unique_ptr<Engine> engine_;
  std::string captured_;
  std::string startup_;
  int status_ = 0;
};

// Runs a whole batch session in folder over the command file script (a file
// name inside the folder) and returns the captured text.
std::string runBatchSession(const std::string& folder, const std::string& script);

// The text of a file, or "" when it cannot be read.
std::string readFile(const std::string& path);

}  // namespace zenfit::test
