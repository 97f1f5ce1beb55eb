#include "web/server.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <httplib.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string_view>
#include <system_error>

#include "base/atomic_file.h"
#include "command/command_table.h"
#include "model/terms.h"
#include "web/assets.h"
#include "web/confine.h"
#include "web/plot_marks.h"
#include "web/state.h"

namespace zenfit::web {

using nlohmann::json;

namespace {

constexpr const char* kSessionCookie = "zenfit_session";
constexpr const char* kTokenCookie = "zenfit_token";
constexpr const char* kTokenHeader = "X-Zenfit-Token";

constexpr std::array<std::string_view, 8> kPlotCommands = {"G",    "GAM",   "GC",   "GDIST",
                                                           "GHYST", "GMAP", "GSCAT", "GSMAP"};

// The page may run its own scripts and styles and nothing else; downloads
// are never run at all.
constexpr const char* kPagePolicy =
    "default-src 'self'; script-src 'self'; style-src 'self'; img-src 'self' data: blob:; "
    "object-src 'none'; base-uri 'none'; form-action 'self'; frame-ancestors 'none'";
constexpr const char* kDownloadPolicy = "sandbox; default-src 'none'";

void sendJson(httplib::Response& res, int status, const json& body) {
  res.status = status;
  res.set_header("Cache-Control", "no-store");
  res.set_content(jsonText(body), "application/json");
}

void sendError(httplib::Response& res, int status, const std::string& reason,
               const std::string& message) {
  sendJson(res, status, {{"ok", false}, {"error", message}, {"reason", reason}});
}

// The value of one cookie, or "".
std::string cookie(const httplib::Request& req, std::string_view name) {
  const std::string header = req.get_header_value("Cookie");
  std::string_view rest = header;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(';'), rest.size());
    std::string_view pair = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    while (!pair.empty() && pair.front() == ' ') pair.remove_prefix(1);
    const std::size_t equals = pair.find('=');
    if (equals != std::string_view::npos && pair.substr(0, equals) == name) {
      return std::string(pair.substr(equals + 1));
    }
  }
  return "";
}

// Compares in time that does not depend on where the texts differ.
bool sameSecret(std::string_view a, std::string_view b) {
  unsigned char difference = a.size() == b.size() ? 0 : 1;
  for (std::size_t i = 0; i < a.size(); ++i) {
    difference |= static_cast<unsigned char>(a[i] ^ (i < b.size() ? b[i] : 0));
  }
  return difference == 0;
}

bool hasControlCharacters(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\t'; });
}

struct FolderUse {
  std::size_t bytes = 0;
  std::size_t files = 0;
};

FolderUse folderUse(const std::filesystem::path& folder, const std::string& except) {
  FolderUse use;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    if (!entry.is_regular_file(error) || entry.path().filename() == except) continue;
    use.bytes += static_cast<std::size_t>(entry.file_size(error));
    ++use.files;
  }
  return use;
}

json fileList(const std::filesystem::path& folder, const Limits& limits) {
  json files = json::array();
  std::error_code error;
  std::vector<std::filesystem::directory_entry> entries;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    const std::string name = entry.path().filename().string();
    // Links and the temporary files of writes in progress are not shown.
    if (!entry.is_regular_file(error) || entry.is_symlink(error) || name.front() == '.') continue;
    entries.push_back(entry);
  }
  std::sort(entries.begin(), entries.end());
  std::size_t used = 0;
  for (const auto& entry : entries) {
    struct stat info {};
    if (::lstat(entry.path().c_str(), &info) != 0) continue;
    used += static_cast<std::size_t>(info.st_size);
    files.push_back({{"name", entry.path().filename().string()},
                     {"size", static_cast<std::int64_t>(info.st_size)},
                     {"modified", static_cast<std::int64_t>(info.st_mtime) * 1000}});
  }
  return {{"files", files}, {"used", used}, {"quota", limits.folderQuota},
          {"maxUpload", limits.maxUpload}};
}

std::string downloadType(const std::string& name) {
  const std::string extension = std::filesystem::path(name).extension().string();
  if (extension == ".svg") return "image/svg+xml";
  if (extension == ".png") return "image/png";
  if (extension == ".pdf") return "application/pdf";
  if (extension == ".ps" || extension == ".eps") return "application/postscript";
  return "text/plain";
}

// A whole regular file of the folder, never through a link; nullopt if
// there is none.
std::optional<std::string> readPlainFile(const std::filesystem::path& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  struct stat info {};
  std::optional<std::string> content;
  if (::fstat(fd, &info) == 0 && S_ISREG(info.st_mode)) {
    content.emplace();
    char buffer[65536];
    ssize_t got;
    while ((got = ::read(fd, buffer, sizeof buffer)) > 0) {
      content->append(buffer, static_cast<std::size_t>(got));
    }
    if (got < 0) content.reset();
  }
  ::close(fd);
  return content;
}

// "localhost", "127.0.0.1" or "[::1]", with or without a port.
bool isLoopbackHost(std::string host) {
  if (!host.empty() && host.front() == '[') {
    const std::size_t close = host.find(']');
    return close != std::string::npos && host.substr(1, close - 1) == "::1";
  }
  host = host.substr(0, host.find(':'));
  return host == "localhost" || isLoopback(host);
}

}  // namespace

bool isLoopback(const std::string& address) {
  if (address == "localhost" || address == "::1") return true;
  unsigned a = 0, b = 0, c = 0, d = 0;
  char extra = 0;
  return std::sscanf(address.c_str(), "%u.%u.%u.%u%c", &a, &b, &c, &d, &extra) == 4 &&
         a == 127 && b < 256 && c < 256 && d < 256;
}

struct Server::Impl {
  explicit Impl(ServerOptions o)
      : options(std::move(o)),
        help(help::Library::parse(help::builtInText())),
        sessions(options.data, options.seed, options.limits, help ? &*help : nullptr,
                 options.clock) {}

  ServerOptions options;
  std::optional<help::Library> help;
  SessionStore sessions;
  httplib::Server http;
  int port = -1;
  Clock::time_point lastSweep{};
  std::mutex sweepMutex;

  void routes();
  httplib::Server::HandlerResponse admit(const httplib::Request& req, httplib::Response& res);
  std::shared_ptr<Session> session(const httplib::Request& req, httplib::Response& res);

  void newSession(const httplib::Request& req, httplib::Response& res);
  void command(const httplib::Request& req, httplib::Response& res);
  void state(const httplib::Request& req, httplib::Response& res);
  void listFiles(const httplib::Request& req, httplib::Response& res);
  void upload(const httplib::Request& req, httplib::Response& res);
  void download(const httplib::Request& req, httplib::Response& res);
  void removeFile(const httplib::Request& req, httplib::Response& res);
  void plot(const httplib::Request& req, httplib::Response& res);
  void lastPlot(const httplib::Request& req, httplib::Response& res);
  void sendPlot(const httplib::Request& req, httplib::Response& res, Session& current,
                const std::string& text);
  void vocabulary(const httplib::Request& req, httplib::Response& res);
  void page(const httplib::Request& req, httplib::Response& res);

  // The file name of a /api/files/NAME request, or "" after an error.
  std::string fileName(const httplib::Request& req, httplib::Response& res);
};

// Every request passes here first: the Host header (against pages of other
// sites that rename themselves to this address), then the token.
httplib::Server::HandlerResponse Server::Impl::admit(const httplib::Request& req,
                                                     httplib::Response& res) {
  res.set_header("X-Content-Type-Options", "nosniff");
  res.set_header("Referrer-Policy", "no-referrer");
  if (isLoopback(options.bind) && !isLoopbackHost(req.get_header_value("Host"))) {
    sendError(res, 403, "host", "This server answers only requests addressed to this machine.");
    return httplib::Server::HandlerResponse::Handled;
  }
  if (!options.token.empty()) {
    const std::string query = req.get_param_value("token");
    if (req.method == "GET" && req.path == "/" && !query.empty()) {
      // The address printed at start-up carries the token: keep it in a
      // cookie and take it out of the address bar.
      if (!sameSecret(query, options.token)) {
        sendError(res, 403, "token", "Wrong token.");
      } else {
        res.status = 303;
        res.set_header("Set-Cookie", std::string(kTokenCookie) + "=" + options.token +
                                         "; Path=/; HttpOnly; SameSite=Strict");
        res.set_header("Location", "/");
      }
      return httplib::Server::HandlerResponse::Handled;
    }
    std::string given = req.get_header_value(kTokenHeader);
    const std::string authorization = req.get_header_value("Authorization");
    if (given.empty() && authorization.rfind("Bearer ", 0) == 0) given = authorization.substr(7);
    if (given.empty()) given = cookie(req, kTokenCookie);
    if (!sameSecret(given, options.token)) {
      sendError(res, 403, "token",
                given.empty() ? "This server needs its token: open the address it printed."
                              : "Wrong token.");
      return httplib::Server::HandlerResponse::Handled;
    }
  }
  {
    // Idle sessions are dropped as requests come, at most once a second.
    std::lock_guard lock(sweepMutex);
    const Clock::time_point now = options.clock();
    if (now - lastSweep >= std::chrono::seconds(1)) {
      lastSweep = now;
      sessions.sweep();
    }
  }
  return httplib::Server::HandlerResponse::Unhandled;
}

std::shared_ptr<Session> Server::Impl::session(const httplib::Request& req,
                                               httplib::Response& res) {
  const std::string id = cookie(req, kSessionCookie);
  std::shared_ptr<Session> found = id.empty() ? nullptr : sessions.find(id);
  if (!found) {
    sendError(res, 401, "no-session",
              id.empty() ? "No session: POST /api/session starts one."
                         : "The session has ended (it was idle too long): start a new one.");
  }
  return found;
}

void Server::Impl::newSession(const httplib::Request&, httplib::Response& res) {
  SessionStore::Created created = sessions.create();
  if (!created.session) {
    const bool full = created.error.rfind("Too many", 0) == 0;
    sendError(res, full ? 503 : 500, full ? "too-many-sessions" : "no-folder", created.error);
    return;
  }
  res.set_header("Set-Cookie", std::string(kSessionCookie) + "=" + created.id +
                                   "; Path=/; HttpOnly; SameSite=Strict");
  std::lock_guard lock(created.session->mutex);
  const Interpreter& interpreter = created.session->interpreter();
  sendJson(res, 200,
           {{"ok", interpreter.started()},
            {"text", interpreter.startupText()},
            {"idleMinutes", options.limits.idleTimeout.count() / 60},
            {"files", fileList(created.session->folder(), options.limits)}});
}

void Server::Impl::command(const httplib::Request& req, httplib::Response& res) {
  if (req.body.size() > options.limits.maxRequest) {
    sendError(res, 413, "too-large", "The request is too large.");
    return;
  }
  // A page of another site cannot send JSON here without the browser
  // asking this server first, which it never allows.
  if (req.get_header_value("Content-Type").rfind("application/json", 0) != 0) {
    sendError(res, 415, "content-type", "Send the command as application/json.");
    return;
  }
  const json body = json::parse(req.body, nullptr, false);
  if (body.is_discarded() || !body.is_object() || !body.contains("line") ||
      !body["line"].is_string()) {
    sendError(res, 400, "bad-json", "Send {\"line\": \"a command\"} as JSON.");
    return;
  }
  const std::string line = body["line"].get<std::string>();
  if (hasControlCharacters(line)) {
    sendError(res, 400, "bad-line", "One command line at a time, without line breaks.");
    return;
  }
  if (line.size() > 1000) {
    sendError(res, 400, "bad-line", "The command line is too long.");
    return;
  }
  const std::shared_ptr<Session> current = session(req, res);
  if (!current) return;
  std::lock_guard lock(current->mutex);
  const Interpreter::Outcome outcome = current->run(line);
  sendJson(res, 200, {{"ok", outcome.ok}, {"text", outcome.text}});
}

void Server::Impl::state(const httplib::Request& req, httplib::Response& res) {
  const std::shared_ptr<Session> current = session(req, res);
  if (!current) return;
  std::lock_guard lock(current->mutex);
  sendJson(res, 200, stateJson(current->interpreter(), current->fitLabels()));
}

std::string Server::Impl::fileName(const httplib::Request& req, httplib::Response& res) {
  const std::string name = req.matches[1];
  // A name that leads elsewhere is refused as such; other bad names are
  // simply malformed.
  if (name.find('/') != std::string::npos || name.find('\\') != std::string::npos ||
      name.find("..") != std::string::npos || name.front() == '~') {
    sendError(res, 403, "outside-folder",
              "File name refused: \"" + name + "\" leads out of the session's folder.");
    return "";
  }
  if (const std::string refusal = plainNameRefusal(name); !refusal.empty()) {
    sendError(res, 400, "bad-name", refusal);
    return "";
  }
  return name;
}

void Server::Impl::listFiles(const httplib::Request& req, httplib::Response& res) {
  const std::shared_ptr<Session> current = session(req, res);
  if (!current) return;
  std::lock_guard lock(current->mutex);
  sendJson(res, 200, fileList(current->folder(), options.limits));
}

void Server::Impl::upload(const httplib::Request& req, httplib::Response& res) {
  const std::string name = fileName(req, res);
  if (name.empty()) return;
  const std::shared_ptr<Session> current = session(req, res);
  if (!current) return;
  const Limits& limits = options.limits;
  if (req.body.size() > limits.maxUpload) {
    sendError(res, 413, "too-large",
              "The file is too large: " + std::to_string(limits.maxUpload / 1024) +
                  " KiB at most.");
    return;
  }
  std::lock_guard lock(current->mutex);
  const std::filesystem::path path = current->folder() / name;
  if (!staysInside(current->folder(), path)) {
    sendError(res, 403, "outside-folder", "File name refused: \"" + name + "\" is a link.");
    return;
  }
  const FolderUse use = folderUse(current->folder(), name);
  if (use.bytes + req.body.size() > limits.folderQuota) {
    sendError(res, 413, "quota",
              "The session's folder is full: " + std::to_string(limits.folderQuota >> 20) +
                  " MiB at most.");
    return;
  }
  if (use.files + 1 > limits.maxFiles) {
    sendError(res, 413, "quota",
              "The session's folder holds too many files: " + std::to_string(limits.maxFiles) +
                  " at most.");
    return;
  }
  const FileResult written = writeFileAtomically(path.string(), req.body);
  if (!written.ok()) {
    sendError(res, 500, "write-failed", written.error);
    return;
  }
  sendJson(res, 200, {{"ok", true}, {"name", name}, {"size", req.body.size()}});
}

void Server::Impl::download(const httplib::Request& req, httplib::Response& res) {
  const std::string name = fileName(req, res);
  if (name.empty()) return;
  const std::shared_ptr<Session> current = session(req, res);
  if (!current) return;
  std::lock_guard lock(current->mutex);
  std::optional<std::string> content = readPlainFile(current->folder() / name);
  if (!content) {
    sendError(res, 404, "no-such-file", "The session has no file \"" + name + "\".");
    return;
  }
  res.set_header("Content-Disposition", "attachment; filename=\"" + name + "\"");
  res.set_header("Content-Security-Policy", kDownloadPolicy);
  res.set_header("Cache-Control", "no-store");
  res.set_content(std::move(*content), downloadType(name));
}

void Server::Impl::removeFile(const httplib::Request& req, httplib::Response& res) {
  const std::string name = fileName(req, res);
  if (name.empty()) return;
  const std::shared_ptr<Session> current = session(req, res);
  if (!current) return;
  std::lock_guard lock(current->mutex);
  const std::filesystem::path path = current->folder() / name;
  std::error_code error;
  if (std::filesystem::symlink_status(path, error).type() != std::filesystem::file_type::regular ||
      !std::filesystem::remove(path, error)) {
    sendError(res, 404, "no-such-file", "The session has no file \"" + name + "\".");
    return;
  }
  sendJson(res, 200, {{"ok", true}});
}

void Server::Impl::plot(const httplib::Request& req, httplib::Response& res) {
  std::string word = req.matches[1];
  std::transform(word.begin(), word.end(), word.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  if (std::find(kPlotCommands.begin(), kPlotCommands.end(), word) == kPlotCommands.end()) {
    sendError(res, 404, "not-a-plot",
              "\"" + word + "\" is not a plot command (G, GAM, GC, GDIST, GHYST, GMAP, GSCAT, GSMAP).");
    return;
  }
  const std::string args = req.get_param_value("args");
  if (hasControlCharacters(args) || args.size() > 100) {
    sendError(res, 400, "bad-line", "Bad plot arguments.");
    return;
  }
  const std::shared_ptr<Session> current = session(req, res);
  if (!current) return;
  std::lock_guard lock(current->mutex);
  const Interpreter::Outcome outcome = current->run(args.empty() ? word : word + " " + args);
  const std::string& svg = current->interpreter().lastPlotSvg();
  if (!outcome.ok) {
    sendJson(res, 400, {{"ok", false}, {"error", outcome.text}, {"reason", "command-failed"},
                        {"text", outcome.text}});
    return;
  }
  if (svg.empty()) {
    sendError(res, 404, "no-plot", "The engine drew no plot.");
    return;
  }
  sendPlot(req, res, *current, outcome.text);
}

void Server::Impl::lastPlot(const httplib::Request& req, httplib::Response& res) {
  const std::shared_ptr<Session> current = session(req, res);
  if (!current) return;
  std::lock_guard lock(current->mutex);
  if (current->interpreter().lastPlotSvg().empty()) {
    sendError(res, 404, "no-plot", "No plot has been drawn yet.");
    return;
  }
  sendPlot(req, res, *current, "");
}

// The last plot as SVG, or with ?format=json as {"svg", "marks", "text"}:
// marks are where each observation's marker is, in the SVG's units.
void Server::Impl::sendPlot(const httplib::Request& req, httplib::Response& res,
                            Session& current, const std::string& text) {
  const std::string& svg = current.interpreter().lastPlotSvg();
  if (req.get_param_value("format") == "json") {
    sendJson(res, 200, {{"ok", true}, {"svg", svg}, {"marks", plotMarks(current.interpreter())},
                        {"text", text}});
    return;
  }
  res.set_header("Cache-Control", "no-store");
  res.set_content(svg, "image/svg+xml");
}

void Server::Impl::vocabulary(const httplib::Request&, httplib::Response& res) {
  json terms = json::array();
  for (const TermDefinition& term : kStandardTerms) terms.push_back(term.name);
  json plots = json::array();
  for (std::string_view word : kPlotCommands) plots.push_back(word);
  sendJson(res, 200, {{"commands", commandWords()}, {"terms", terms}, {"plots", plots}});
}

void Server::Impl::page(const httplib::Request& req, httplib::Response& res) {
  const std::string path = req.path == "/" ? "/index.html" : req.path;
  for (const Asset& asset : assets()) {
    if (asset.path == path) {
      res.set_header("Content-Security-Policy", kPagePolicy);
      res.set_header("X-Frame-Options", "DENY");
      res.set_header("Cache-Control", "no-cache");
      res.set_content(std::string(asset.content), std::string(asset.contentType));
      return;
    }
  }
  sendError(res, 404, "not-found", "Nothing here: " + req.path);
}

void Server::Impl::routes() {
  using Req = const httplib::Request&;
  using Res = httplib::Response&;
  http.set_pre_routing_handler([this](Req req, Res res) { return admit(req, res); });
  http.Post("/api/session", [this](Req req, Res res) { newSession(req, res); });
  http.Post("/api/command", [this](Req req, Res res) { command(req, res); });
  http.Get("/api/state", [this](Req req, Res res) { state(req, res); });
  http.Get("/api/files", [this](Req req, Res res) { listFiles(req, res); });
  http.Get("/api/files/(.+)", [this](Req req, Res res) { download(req, res); });
  http.Put("/api/files/(.+)", [this](Req req, Res res) { upload(req, res); });
  http.Delete("/api/files/(.+)", [this](Req req, Res res) { removeFile(req, res); });
  http.Get("/api/plot", [this](Req req, Res res) { lastPlot(req, res); });
  http.Get("/api/plot/([^/]+)", [this](Req req, Res res) { plot(req, res); });
  http.Get("/api/vocabulary", [this](Req req, Res res) { vocabulary(req, res); });
  http.Get("/api/.*", [](Req req, Res res) {
    sendError(res, 404, "not-found", "No such API: " + req.path);
  });
  http.Get("/[A-Za-z0-9_.-]*", [this](Req req, Res res) { page(req, res); });
  // Errors the HTTP library finds itself (a malformed request, a body over
  // the limit, no such route) are answered in JSON too.
  http.set_error_handler([](Req, Res res) {
    if (!res.body.empty()) return;
    switch (res.status) {
      case 400: sendError(res, 400, "bad-request", "Malformed request."); break;
      case 404: sendError(res, 404, "not-found", "Nothing here."); break;
      case 413: sendError(res, 413, "too-large", "The request is too large."); break;
      default:
        sendError(res, res.status, "error", "The request failed (HTTP " +
                                                std::to_string(res.status) + ").");
    }
  });
  http.set_exception_handler([](Req, Res res, std::exception_ptr error) {
    std::string what = "unknown error";
    try {
      if (error) std::rethrow_exception(error);
    } catch (const std::exception& e) {
      what = e.what();
    } catch (...) {
    }
    sendError(res, 500, "internal", "Internal error: " + what);
  });
  // Uploads are the largest bodies; a JSON request is held to less in its handler.
  http.set_payload_max_length(options.limits.maxUpload);
  const int threads = std::max(options.threads, 2);
  http.new_task_queue = [threads] { return new httplib::ThreadPool(static_cast<size_t>(threads)); };
}

Server::Server(ServerOptions options) : impl_(std::make_unique<Impl>(std::move(options))) {
  impl_->routes();
}

Server::~Server() { stop(); }

int Server::bind(std::string& error) {
  const ServerOptions& options = impl_->options;
  if (!isLoopback(options.bind) && options.token.empty()) {
    error = "Listening on " + options.bind +
            " lets other machines in: give a --token that every request must carry.";
    return -1;
  }
  if (options.port == 0) {
    impl_->port = impl_->http.bind_to_any_port(options.bind);
  } else if (impl_->http.bind_to_port(options.bind, options.port)) {
    impl_->port = options.port;
  } else {
    impl_->port = -1;
  }
  if (impl_->port < 0) {
    error = "Cannot listen on " + options.bind + " port " + std::to_string(options.port) +
            " (in use, or not an address of this machine?)";
  }
  return impl_->port;
}

bool Server::serve() { return impl_->port >= 0 && impl_->http.listen_after_bind(); }

void Server::stop() {
  if (impl_->http.is_running()) impl_->http.stop();
}

std::string Server::url() const {
  const ServerOptions& options = impl_->options;
  std::string host = options.bind;
  if (host == "0.0.0.0" || host == "::") host = "HOST";
  if (host.find(':') != std::string::npos) host = "[" + host + "]";
  std::string address = "http://" + host + ":" + std::to_string(impl_->port) + "/";
  if (!options.token.empty()) address += "?token=" + options.token;
  return address;
}

SessionStore& Server::sessions() { return impl_->sessions; }

}  // namespace zenfit::web
