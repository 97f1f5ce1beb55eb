// zenfit-web: the browser host. Serves the page and its API until
// interrupted (Ctrl-C or SIGTERM); every session's folder is removed when
// the session ends or the server stops.
//
//   zenfit-web [--bind ADDR] [--port N] [--data DIR] [--token T] [--seed DIR]
//              [--max-sessions N] [--idle-minutes N] [--max-upload-kib N]
#include <signal.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>

#include "web/server.h"

namespace {

const char* const kUsage =
    "Usage: zenfit-web [options]\n"
    "  --bind ADDR          address to listen on (default 127.0.0.1; any other needs --token)\n"
    "  --port N             port (default 8080; 0: any free port)\n"
    "  --data DIR           where session folders are made (default: a new folder in /tmp)\n"
    "  --token T            a secret every request must carry (the printed address has it)\n"
    "  --seed DIR           files every new session starts with (e.g. the examples folder)\n"
    "  --max-sessions N     sessions at once (default 32)\n"
    "  --idle-minutes N     a session idle this long ends, and its files go (default 60)\n"
    "  --max-upload-kib N   largest file upload (default 4096)\n";

bool positive(const char* text, long& value) {
  char* end = nullptr;
  value = std::strtol(text, &end, 10);
  return end != text && *end == '\0' && value >= 0;
}

}  // namespace

int main(int argc, char** argv) {
  zenfit::web::ServerOptions options;
  bool madeData = false;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "--help" || option == "-h") {
      std::fputs(kUsage, stdout);
      return 0;
    }
    if (i + 1 >= argc) {
      std::fprintf(stderr, "zenfit-web: %s needs a value.\n%s", option.c_str(), kUsage);
      return 2;
    }
    const char* value = argv[++i];
    long number = 0;
    if (option == "--bind") {
      options.bind = value;
    } else if (option == "--data") {
      options.data = value;
    } else if (option == "--token") {
      options.token = value;
    } else if (option == "--seed") {
      options.seed = value;
    } else if (!positive(value, number)) {
      std::fprintf(stderr, "zenfit-web: %s wants a number, not \"%s\".\n", option.c_str(), value);
      return 2;
    } else if (option == "--port" && number <= 65535) {
      options.port = static_cast<int>(number);
    } else if (option == "--max-sessions" && number >= 1) {
      options.limits.maxSessions = static_cast<int>(number);
    } else if (option == "--idle-minutes" && number >= 1) {
      options.limits.idleTimeout = std::chrono::minutes(number);
    } else if (option == "--max-upload-kib" && number >= 1) {
      options.limits.maxUpload = static_cast<std::size_t>(number) * 1024;
    } else {
      std::fprintf(stderr, "zenfit-web: bad option %s %s\n%s", option.c_str(), value, kUsage);
      return 2;
    }
  }
  std::error_code error;
  if (!options.seed.empty() && !std::filesystem::is_directory(options.seed, error)) {
    std::fprintf(stderr, "zenfit-web: --seed %s is not a folder.\n", options.seed.c_str());
    return 2;
  }
  if (options.data.empty()) {
    std::string folder = (std::filesystem::temp_directory_path() / "zenfit-web-XXXXXX").string();
    if (mkdtemp(folder.data()) == nullptr) {
      std::perror("zenfit-web: cannot make a data folder");
      return 1;
    }
    options.data = folder;
    madeData = true;
  } else if (!std::filesystem::is_directory(options.data, error) &&
             !std::filesystem::create_directories(options.data, error)) {
    std::fprintf(stderr, "zenfit-web: cannot make the data folder %s: %s\n",
                 options.data.c_str(), error.message().c_str());
    return 1;
  }
  options.data = std::filesystem::absolute(options.data);

  // The signals are taken by a thread of their own, which stops the server.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  const std::filesystem::path data = options.data;
  {
    zenfit::web::Server server(std::move(options));
    std::string reason;
    if (server.bind(reason) < 0) {
      std::fprintf(stderr, "zenfit-web: %s\n", reason.c_str());
      if (madeData) std::filesystem::remove_all(data, error);
      return 1;
    }
    std::printf("ZENFIT browser host: open %s\n", server.url().c_str());
    std::printf("Session folders are made in %s; stop with Ctrl-C.\n", data.c_str());
    std::fflush(stdout);

    std::thread waiter([&server, signals] {
      int received = 0;
      sigwait(&signals, &received);
      server.stop();
    });
    server.serve();
    // serve() also returns when the socket fails: wake the waiter then.
    pthread_kill(waiter.native_handle(), SIGTERM);
    waiter.join();
  }  // the sessions end here, and their folders go
  if (madeData) std::filesystem::remove_all(data, error);
  std::printf("ZENFIT browser host stopped.\n");
  return 0;
}
