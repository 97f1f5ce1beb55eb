// Browser sessions: one engine each, in a folder of its own.
//
// A session is made by POST /api/session and known by a random identifier
// that the browser keeps in a cookie. Its engine works in its own folder
// below the data folder, every file it names is kept there (confine.h),
// and the session's mutex lets one request at a time use the engine.
// Sessions idle for longer than the timeout are dropped, and their folders
// removed with everything in them.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "command/interpreter.h"
#include "help/help.h"
#include "web/state.h"

namespace zenfit::web {

using Clock = std::chrono::steady_clock;

struct Limits {
  int maxSessions = 32;
  std::chrono::seconds idleTimeout{60 * 60};
  std::size_t maxUpload = 4u << 20;     // bytes in one uploaded file
  std::size_t folderQuota = 64u << 20;  // bytes in all of a session's files
  std::size_t maxFiles = 256;           // files in a session's folder
  std::size_t maxRequest = 64u << 10;   // bytes in a JSON request
};

class Session {
 public:
  // Starts an engine in folder (which exists and holds the seed files).
  Session(std::filesystem::path folder, const help::Library* help, Clock::time_point now);
  // Removes the folder and everything in it.
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Held while a request uses the engine or the folder.
  std::mutex mutex;

  const std::filesystem::path& folder() const { return folder_; }
  Interpreter& interpreter() { return *interpreter_; }
  const FitLabels& fitLabels() const { return labels_; }

  // Runs one command line (the mutex held).
  Interpreter::Outcome run(const std::string& line);

  void touch(Clock::time_point now) { lastUsed_.store(now.time_since_epoch().count()); }
  Clock::time_point lastUsed() const {
    return Clock::time_point(Clock::duration(lastUsed_.load()));
  }

 private:
  // The hooks: every file the engine names is kept in the folder; HELP
  // answers from the built-in help text; SPAWN runs nothing.
  HostHooks hooks(const help::Library* help);

  std::filesystem::path folder_;
  std::unique_ptr<Interpreter> interpreter_;
  FitLabels labels_;
  std::atomic<Clock::rep> lastUsed_{0};
};

class SessionStore {
 public:
  // Session folders are made in data, each starting with a copy of the
  // regular files in seed (none when seed is empty).
  SessionStore(std::filesystem::path data, std::filesystem::path seed, const Limits& limits,
               const help::Library* help, std::function<Clock::time_point()> clock = Clock::now);
  ~SessionStore();

  struct Created {
    std::string id;  // empty on failure
    std::shared_ptr<Session> session;
    std::string error;
  };
  // A new session, unless there are already as many as the limit allows
  // (after dropping idle ones) or its folder cannot be made.
  Created create();
  // The session with this identifier, marked as used now; null if there is
  // none (never was, or it was dropped).
  std::shared_ptr<Session> find(const std::string& id);
  // Drops every session idle for longer than the timeout.
  void sweep();
  int count() const;

  const Limits& limits() const { return limits_; }

 private:
  std::filesystem::path data_;
  std::filesystem::path seed_;
  Limits limits_;
  const help::Library* help_;
  std::function<Clock::time_point()> clock_;
  mutable std::mutex mutex_;
  std::map<std::string, std::shared_ptr<Session>> sessions_;
  int starting_ = 0;  // sessions being made, counted against the limit
};

// 32 hexadecimal digits from the system's random source.
std::string randomIdentifier();

}  // namespace zenfit::web
