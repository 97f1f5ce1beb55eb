// The browser host's API over HTTP: a whole pointing analysis, the state
// the page shows against the engine's own reports, and what every kind of
// bad request is answered with.
#include <regex>

#include "command/interpreter.h"
#include "web/confine.h"
#include "web_support.h"

namespace zenfit::test {
namespace {

const std::vector<std::string> kAnalysis = {"INST stars", "INDAT run", "USE IH ID CH NP ME MA TF DAF",
                                            "FIT", "FIT", "SLIST", "OUTMOD model"};

// The lines of a FIT report: name -> {change, value, sigma} as printed.
std::map<std::string, std::array<double, 3>> coefficientLines(const std::string& text) {
  std::map<std::string, std::array<double, 3>> lines;
  const std::regex line(R"(\n\s*\d+\s+&?\s*(\w+)\s+([-+][\d.]+)\s+([-+][\d.]+)\s+([\d.]+)(?=\n))");
  for (auto it = std::sregex_iterator(text.begin(), text.end(), line); it != std::sregex_iterator(); ++it) {
    lines[(*it)[1]] = {std::stod((*it)[2]), std::stod((*it)[3]), std::stod((*it)[4])};
  }
  return lines;
}

TEST(WebApi, WholePointingAnalysisMatchesTheEngineAndItsReports) {
  TestServer server;
  Client browser(server.port);
  browser.startSession();

  for (const char* name : {"run.dat", "stars.dat"}) EXPECT_EQ(browser.upload(name, exampleFile(name)), 200);
  EXPECT_EQ(browser.getJson("/api/files")["files"][0]["size"], exampleFile("run.dat").size());

  // The same lines in an engine of this process, in a folder with the same files.
  ScratchDir reference;
  reference.write("run.dat", exampleFile("run.dat"));
  reference.write("stars.dat", exampleFile("stars.dat"));
  Interpreter engine(reference.path());
  std::string fitText;  // the last FIT's
  for (const std::string& line : kAnalysis) {
    const json got = browser.command(line);
    const Interpreter::Outcome want = engine.run(line);
    EXPECT_EQ(got["status"], 200) << line;
    EXPECT_EQ(got["ok"], want.ok) << line;
    EXPECT_EQ(got["text"], want.text) << line;
    if (line == "FIT") fitText = got["text"];
  }

  // The written model, downloaded, is the engine's file byte for byte.
  const httplib::Result model = browser.get("/api/files/model.dat");
  ASSERT_TRUE(model);
  EXPECT_EQ(model->status, 200);
  EXPECT_EQ(model->body, reference.read("model.dat"));
  EXPECT_EQ(model->get_header_value("Content-Disposition"), "attachment; filename=\"model.dat\"");

  // The state: the fit the page shows agrees with the engine's printed report
  // (the Python tests compare the other fields with the reports).
  const json state = browser.getJson("/api/state");
  ASSERT_EQ(state["status"], 200);
  EXPECT_EQ(state["caption"], "1.0-m GEM, pointing run of 2024 March 14/15 (simulated)");

  const auto printedLines = coefficientLines(fitText);
  ASSERT_EQ(printedLines.size(), 8u) << fitText;
  const json& fit = state["fit"];
  ASSERT_TRUE(fit.is_object());
  EXPECT_EQ((json{fit["stars"], fit["fitted"], fit["current"]}), (json{170, 8, true}));
  EXPECT_NEAR(fit["skyRms"].get<double>(), std::stod(fitText.substr(fitText.rfind("Sky RMS =") + 9)), 0.005);
  ASSERT_EQ(fit["terms"].size(), 8u);
  for (const json& term : fit["terms"]) {
    const auto& [change, value, sigma] = printedLines.at(term["name"]);
    EXPECT_NEAR(term["change"].get<double>(), change, 0.0005) << term;
    EXPECT_NEAR(term["value"].get<double>(), value, 0.005) << term;
    EXPECT_NEAR(term["sigma"].get<double>(), sigma, 0.0005) << term;
  }

  ASSERT_EQ(state["model"].size(), 8u);
  EXPECT_EQ(state["model"][0], (json{{"name", "IH"}, {"value", fit["terms"][0]["value"]},
                                     {"sigma", fit["terms"][0]["sigma"]}, {"floating", true},
                                     {"chained", true}}));

  EXPECT_EQ((json{state["observations"]["count"], state["observations"]["active"]}), (json{170, 170}));

  // Masking by number changes what the next FIT uses, and the state says the fit is stale.
  EXPECT_EQ(browser.command("MASK 5")["ok"], true);
  json masked = browser.getJson("/api/state");
  EXPECT_EQ(masked["observations"]["active"], 169);
  EXPECT_FALSE(masked["observations"]["rows"][4]["active"].get<bool>());
  EXPECT_EQ(masked["fit"]["stars"], 170);  // the next FIT's 169: WebSessions
  // A term lost after the fit: the fit keeps its own names and says it is not current.
  EXPECT_EQ(browser.command("LOSE IH")["ok"], true);
  const json lost = browser.getJson("/api/state");
  EXPECT_EQ(lost["fit"]["terms"][0]["name"], "IH");
  EXPECT_FALSE(lost["fit"]["current"].get<bool>());
  EXPECT_EQ(lost["model"][0]["name"], "ID");

  // HELP answers from the built-in text; SPAWN runs nothing.
  const std::string help = browser.command("HELP FITTOL")["text"];
  EXPECT_EQ(help.rfind("* HELP FITTOL\nFITTOL", 0), 0u) << help;
  const json spawn = browser.command("SPAWN touch spawned");
  EXPECT_EQ(spawn["text"], "* SPAWN touch spawned\nSPAWN runs nothing in the browser host.\n");
  EXPECT_FALSE(std::filesystem::exists(server.sessionFolders().at(0) / "spawned"));
}

TEST(WebApi, BadRequestsAreAnsweredInJsonWithTheirStatus) {
  web::ServerOptions options;
  options.limits.maxUpload = 64 * 1024;
  options.limits.maxRequest = 4096;
  TestServer server(options);
  Client browser(server.port);

  // No session yet.
  EXPECT_EQ(browser.command("SHOW"), (json{{"ok", false}, {"reason", "no-session"}, {"status", 401},
                                          {"error", "No session: POST /api/session starts one."}}));
  browser.cookie = "zenfit_session=0123456789abcdef0123456789abcdef";
  EXPECT_EQ(browser.getJson("/api/files")["reason"], "no-session");
  browser.startSession();

  struct Case {
    std::string body, type;
    int status;
    std::string reason;
  };
  const Case cases[] = {
      {"{\"line\": \"SHOW\"", "application/json", 400, "bad-json"},
      {"[\"SHOW\"]", "application/json", 400, "bad-json"},
      {"{\"line\": 7}", "application/json", 400, "bad-json"},
      {"{\"command\": \"SHOW\"}", "application/json", 400, "bad-json"},
      {"{\"line\": \"SHOW\\nFIT\"}", "application/json", 400, "bad-line"},
      {"{\"line\": \"SHOW\"}", "text/plain", 415, "content-type"},
      {"{\"line\": \"" + std::string(5000, 'X') + "\"}", "application/json", 413, "too-large"},
      {"{\"line\": \"" + std::string(2000, 'X') + "\"}", "application/json", 400, "bad-line"},
  };
  for (const Case& c : cases) {
    const httplib::Result result = browser.post("/api/command", c.body, c.type);
    ASSERT_TRUE(result) << c.body;
    EXPECT_EQ(result->status, c.status) << c.body;
    EXPECT_EQ(result->get_header_value("Content-Type"), "application/json");
    const json body = json::parse(result->body);
    EXPECT_EQ(body["reason"], c.reason) << c.body;
    EXPECT_EQ(body["ok"], false);
  }
  // A caption in Latin-1, read from a file: bytes that are not UTF-8 come
  // back as U+FFFD.
  std::string latin = exampleFile("run.dat");
  latin.replace(0, latin.find('\n'), "Caf\xe9 run");
  ASSERT_EQ(browser.upload("latin.dat", latin), 200);
  const std::string read = browser.command("INDAT latin")["text"];
  EXPECT_NE(read.find("\nCaf\xef\xbf\xbd run\n"), std::string::npos) << read;
  EXPECT_EQ(browser.getJson("/api/state")["caption"], "Caf\xef\xbf\xbd run");

  // An upload over the limit, and the body limit of the HTTP library itself.
  EXPECT_EQ(browser.upload("big.dat", std::string(64 * 1024 + 1, 'x')), 413);
  EXPECT_EQ(browser.upload("fits.dat", std::string(64 * 1024, 'x')), 200);
  EXPECT_EQ(browser.del("/api/files/fits.dat")->status, 200);
  EXPECT_EQ(browser.get("/api/files/fits.dat")->status, 404);
  EXPECT_EQ(browser.del("/api/files/fits.dat")->status, 404);
  EXPECT_FALSE(std::filesystem::exists(server.sessionFolders().at(0) / "big.dat"));

  // Unknown routes and plots.
  EXPECT_EQ(browser.getJson("/api/nothing")["status"], 404);
  EXPECT_EQ(browser.getJson("/api/plot/FIT")["reason"], "not-a-plot");
  EXPECT_EQ(browser.getJson("/nothing/here")["status"], 404);

  // A name other than this host's (DNS rebinding).
  const httplib::Result evil = browser.get("/api/state", {{"Host", "attacker.example"}});
  EXPECT_EQ(evil->status, 403);
  EXPECT_EQ(json::parse(evil->body)["reason"], "host");

  // The page itself, with its policy.
  const httplib::Result page = browser.get("/");
  ASSERT_TRUE(page);
  EXPECT_EQ(page->status, 200);
  EXPECT_NE(page->body.find("<script src=\"/app.js\""), std::string::npos);
  EXPECT_NE(page->get_header_value("Content-Security-Policy").find("script-src 'self'"), std::string::npos);
  EXPECT_EQ(browser.get("/app.js")->get_header_value("Content-Type"), "text/javascript; charset=utf-8");
}

TEST(WebApi, NonLoopbackNeedsATokenThatEveryRequestCarries) {
  for (const char* host : {"127.0.0.1", "127.1.2.3", "::1", "localhost"}) EXPECT_TRUE(web::isLoopback(host)) << host;
  for (const char* host : {"0.0.0.0", "192.168.1.4", "127.0.0.1.evil"}) EXPECT_FALSE(web::isLoopback(host)) << host;

  web::ServerOptions open;
  open.bind = "0.0.0.0";
  try {
    TestServer refused(open);
    ADD_FAILURE() << "served 0.0.0.0 without a token";
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("--token"), std::string::npos) << error.what();
  }

  web::ServerOptions options;
  options.bind = "0.0.0.0";
  options.token = "s3cret-token";
  TestServer server(options);
  EXPECT_EQ(server.server().url(), "http://HOST:" + std::to_string(server.port) + "/?token=s3cret-token");
  Client stranger(server.port);
  EXPECT_EQ(stranger.getJson("/api/vocabulary")["status"], 403);
  EXPECT_EQ(stranger.get("/")->status, 403);
  const httplib::Result noSession = stranger.post("/api/session", "");
  EXPECT_EQ(noSession->status, 403);
  EXPECT_EQ(json::parse(noSession->body)["reason"], "token");
  EXPECT_EQ(stranger.get("/?token=wrong")->status, 403);
  EXPECT_EQ(stranger.get("/", {{"X-Zenfit-Token", "s3cret-tokeN"}})->status, 403);
  EXPECT_TRUE(server.sessionFolders().empty());

  // The printed address: the token goes into a cookie, and the address bar loses it.
  const httplib::Result entry = stranger.get("/?token=s3cret-token");
  EXPECT_EQ(entry->status, 303);
  EXPECT_EQ(entry->get_header_value("Location"), "/");
  const std::string set = entry->get_header_value("Set-Cookie");
  EXPECT_EQ(set, "zenfit_token=s3cret-token; Path=/; HttpOnly; SameSite=Strict");
  Client member(server.port);
  member.cookie = set.substr(0, set.find(';'));
  EXPECT_EQ(member.get("/")->status, 200);
  EXPECT_EQ(member.get("/api/vocabulary", {{"Authorization", "Bearer s3cret-token"}})->status, 200);
  EXPECT_EQ(member.get("/api/vocabulary", {{"X-Zenfit-Token", "s3cret-token"}})->status, 200);
}

TEST(WebApi, SessionsAreLimitedAndEndWhenIdleWithTheirFolders) {
  std::atomic<long> minutes{0};
  web::ServerOptions options;
  options.limits.maxSessions = 3;
  options.limits.idleTimeout = std::chrono::minutes(10);
  options.clock = [&] { return web::Clock::time_point(std::chrono::minutes(minutes.load())); };
  TestServer server(options);

  std::vector<std::unique_ptr<Client>> clients;
  for (int i = 0; i < 3; ++i) {
    clients.push_back(std::make_unique<Client>(server.port));
    clients.back()->startSession();
  }
  EXPECT_EQ(server.sessionFolders().size(), 3u);
  Client late(server.port);
  const httplib::Result full = late.post("/api/session", "");
  EXPECT_EQ(full->status, 503);
  EXPECT_EQ(json::parse(full->body)["reason"], "too-many-sessions");

  // Eight minutes on, the first is used; eight more, the other two have been idle too long.
  minutes = 8;
  EXPECT_EQ(clients[0]->command("SHOW")["status"], 200);
  minutes = 16;
  EXPECT_EQ(clients[0]->command("SHOW")["status"], 200);
  EXPECT_EQ(clients[1]->command("SHOW")["reason"], "no-session");
  EXPECT_EQ(server.sessionFolders().size(), 1u);
  EXPECT_EQ(server.server().sessions().count(), 1);
  EXPECT_FALSE(late.startSession().empty());
}

}  // namespace
}  // namespace zenfit::test
