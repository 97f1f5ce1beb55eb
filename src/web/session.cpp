#include "web/session.h"

#include <cstdio>
#include <random>
#include <system_error>

#include "web/confine.h"

namespace zenfit::web {

std::string randomIdentifier() {
  std::random_device random;  // the system's random source (getrandom)
  std::string id;
  for (int i = 0; i < 4; ++i) {
    char part[9];
    std::snprintf(part, sizeof part, "%08x", static_cast<unsigned>(random()));
    id += part;
  }
  return id;
}

Session::Session(std::filesystem::path folder, const help::Library* help, Clock::time_point now)
    : folder_(std::move(folder)) {
  touch(now);
  interpreter_ = std::make_unique<Interpreter>(folder_, "", hooks(help));
}

Session::~Session() {
  interpreter_.reset();
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

HostHooks Session::hooks(const help::Library* help) {
  HostHooks hooks;
  const std::filesystem::path folder = folder_;
  hooks.fileAccess = [folder](const std::string& name, const std::filesystem::path& path,
                              bool) { return engineFileRefusal(folder, name, path); };
  hooks.hostCommand = [this](const char*) {
    say(interpreter_->engine(), Severity::Info, "SPAWN runs nothing in the browser host.\n");
    return 0;
  };
  hooks.help = [this, help](const char*, const char* commandLine) {
    if (help == nullptr) return 0;
    // The topic is what follows the command word (HELP or ?).
    std::string request(commandLine);
    const std::size_t word = request.find_first_not_of(' ');
    const std::size_t after = word == std::string::npos ? word : request.find(' ', word);
    request = after == std::string::npos ? "" : request.substr(after + 1);
    for (const std::string& line : help->answer(request)) {
      say(interpreter_->engine(), Severity::Info, line + "\n");
    }
    return 0;
  };
  return hooks;
}

Interpreter::Outcome Session::run(const std::string& line) {
  Interpreter::Outcome outcome = interpreter_->run(line);
  labelLastFit(*interpreter_, labels_);
  return outcome;
}

SessionStore::SessionStore(std::filesystem::path data, std::filesystem::path seed,
                           const Limits& limits, const help::Library* help,
                           std::function<Clock::time_point()> clock)
    : data_(std::move(data)), seed_(std::move(seed)), limits_(limits), help_(help),
      clock_(std::move(clock)) {}

SessionStore::~SessionStore() {
  std::lock_guard lock(mutex_);
  sessions_.clear();
}

SessionStore::Created SessionStore::create() {
  sweep();
  {
    std::lock_guard lock(mutex_);
    if (static_cast<int>(sessions_.size()) + starting_ >= limits_.maxSessions) {
      return {"", nullptr,
              "Too many sessions (" + std::to_string(limits_.maxSessions) +
                  "): try again when one has ended."};
    }
    ++starting_;
  }
  Created created;
  std::error_code error;
  // The folder's name is not the identifier: a listing of the data folder
  // gives no one a way into a session.
  const std::filesystem::path folder = data_ / ("session-" + randomIdentifier().substr(0, 16));
  if (!std::filesystem::create_directory(folder, error) || error) {
    created.error = "Cannot make a folder for the session in " + data_.string() + ": " +
                    (error ? error.message() : "it exists");
  } else {
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::replace, error);
    if (!seed_.empty()) {
      for (const auto& entry : std::filesystem::directory_iterator(seed_, error)) {
        if (!entry.is_regular_file()) continue;
        std::error_code copyError;
        std::filesystem::copy_file(entry.path(), folder / entry.path().filename(), copyError);
      }
    }
    created.session = std::make_shared<Session>(folder, help_, clock_());
    created.id = randomIdentifier();
  }
  std::lock_guard lock(mutex_);
  --starting_;
  if (created.session) sessions_.emplace(created.id, created.session);
  return created;
}

std::shared_ptr<Session> SessionStore::find(const std::string& id) {
  std::lock_guard lock(mutex_);
  const auto found = sessions_.find(id);
  if (found == sessions_.end()) return nullptr;
  found->second->touch(clock_());
  return found->second;
}

void SessionStore::sweep() {
  std::vector<std::shared_ptr<Session>> dropped;  // destroyed outside the lock
  {
    std::lock_guard lock(mutex_);
    const Clock::time_point now = clock_();
    for (auto it = sessions_.begin(); it != sessions_.end();) {
      if (now - it->second->lastUsed() > limits_.idleTimeout) {
        dropped.push_back(std::move(it->second));
        it = sessions_.erase(it);
      } else {
        ++it;
      }
    }
  }
}

int SessionStore::count() const {
  std::lock_guard lock(mutex_);
  return static_cast<int>(sessions_.size());
}

}  // namespace zenfit::web
