// Test support for the browser host: the server in this process on a free
// loopback port, and a client that keeps its session's cookie.
#pragma once

#include <httplib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/session.h"
#include "web/server.h"

namespace zenfit::test {

using nlohmann::json;

inline std::string exampleFile(const std::string& name) { return readFile(ZENFIT_SOURCE_DIR "/examples/" + name); }
inline void writeOrFail(const std::filesystem::path& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  ASSERT_TRUE(file.good()) << path;
}

// A server on 127.0.0.1 and a port the system chose, serving until destroyed.
class TestServer {
 public:
  explicit TestServer(web::ServerOptions options = {}) {
    options.bind = options.bind.empty() ? "127.0.0.1" : options.bind;
    options.port = 0;
    if (options.data.empty()) options.data = data_.path();
    data = options.data;
    server_ = std::make_unique<web::Server>(std::move(options));
    std::string error;
    port = server_->bind(error);
    if (port < 0) throw std::runtime_error(error);
    thread_ = std::thread([this] { server_->serve(); });
  }
  ~TestServer() {
    server_->stop();
    thread_.join();
  }
  TestServer(const TestServer&) = delete;
  TestServer& operator=(const TestServer&) = delete;

  web::Server& server() { return *server_; }
  // The session folders under the data folder.
  std::vector<std::filesystem::path> sessionFolders() const {
    std::vector<std::filesystem::path> folders;
    for (const auto& entry : std::filesystem::directory_iterator(data)) {
      if (entry.is_directory()) folders.push_back(entry.path());
    }
    return folders;
  }

  int port = -1;
  std::filesystem::path data;

 private:
  ScratchDir data_;
  std::unique_ptr<web::Server> server_;
  std::thread thread_;
};

// A browser: an HTTP client with the session cookie it was given.
class Client {
 public:
  explicit Client(int port) : http_("127.0.0.1", port) {
    http_.set_read_timeout(60, 0);
    http_.set_write_timeout(60, 0);
  }

  httplib::Headers headers(httplib::Headers extra = {}) const {
    if (!cookie.empty()) extra.emplace("Cookie", cookie);
    return extra;
  }
  httplib::Result get(const std::string& path, httplib::Headers extra = {}) { return http_.Get(path, headers(extra)); }
  httplib::Result post(const std::string& path, const std::string& body, const std::string& type = "application/json") {
    return http_.Post(path, headers(), body, type);
  }
  httplib::Result put(const std::string& path, const std::string& body) {
    return http_.Put(path, headers(), body, "application/octet-stream");
  }
  httplib::Result del(const std::string& path) { return http_.Delete(path, headers()); }

  // POST /api/session, keeping the cookie; the start-up text.
  std::string startSession() {
    const httplib::Result result = http_.Post("/api/session", httplib::Headers{}, "", "text/plain");
    if (!result || result->status != 200) {
      ADD_FAILURE() << "no session: " << (result ? result->body : httplib::to_string(result.error()));
      return "";
    }
    const std::string set = result->get_header_value("Set-Cookie");
    cookie = set.substr(0, set.find(';'));
    return json::parse(result->body)["text"].get<std::string>();
  }
  // POST /api/command: {"ok", "text"} (or an error body).
  json command(const std::string& line) { return answer(post("/api/command", json{{"line", line}}.dump())); }
  json getJson(const std::string& path) { return answer(get(path)); }
  // The body with its HTTP status as "status".
  static json answer(const httplib::Result& result) {
    if (!result) return {{"transport", httplib::to_string(result.error())}};
    json body = json::parse(result->body, nullptr, false);
    if (body.is_object()) body["status"] = result->status;
    return body;
  }
  // PUT /api/files/NAME with an example file's bytes.
  int upload(const std::string& name, const std::string& bytes) {
    const httplib::Result result = put("/api/files/" + name, bytes);
    return result ? result->status : -1;
  }

  std::string cookie;

 private:
  httplib::Client http_;
};

}  // namespace zenfit::test
