// The browser host: an HTTP server for one page and a small JSON API over
// browser sessions, each with an engine of its own (session.h).
//
//   Server server(options);
//   if (server.bind(error) < 0) ...;   // the port (the system's choice for port 0)
//   server.serve();                    // until stop()
//
// The API (every error is JSON {"ok": false, "error": text, "reason": word}):
//   POST /api/session            a new session; its identifier in a cookie
//   POST /api/command            {"line": "..."} -> {"ok": bool, "text": "..."}
//   GET  /api/state              run, model, last fit and observations
//   GET  /api/files              the session's files
//   PUT  /api/files/NAME         upload (the body is the file)
//   GET  /api/files/NAME         download
//   DELETE /api/files/NAME       remove
//   GET  /api/plot/CMD[?args=]   run a plot command, answer its SVG
//   GET  /api/plot               the last plot drawn, as SVG
//   GET  /api/vocabulary         command words and standard term names
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "web/session.h"

namespace zenfit::web {

struct ServerOptions {
  std::string bind = "127.0.0.1";
  int port = 8080;               // 0: any free port
  std::filesystem::path data;    // session folders are made here (it must exist)
  std::filesystem::path seed;    // files every new session starts with ("" none)
  std::string token;             // required of every request when not empty
  Limits limits;
  int threads = 24;              // requests served at once
  std::function<Clock::time_point()> clock = Clock::now;
};

// True for an address that only this machine can reach (127.0.0.0/8, ::1,
// localhost).
bool isLoopback(const std::string& address);

class Server {
 public:
  explicit Server(ServerOptions options);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  // Binds the listening socket; the port, or -1 with the reason in error.
  // A non-loopback address without a token is refused.
  int bind(std::string& error);
  // Serves requests until stop(); false if the socket was not bound.
  bool serve();
  void stop();

  // The address to open in a browser (with the token when there is one).
  std::string url() const;
  SessionStore& sessions();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zenfit::web
