// Twenty browsers at once, each running the example analysis in its own
// session: every one gets the same answers, and none sees another's files.
#include <thread>

#include "web_support.h"

namespace zenfit::test {
namespace {

// Everything one session saw: each command's {"ok", "text"}, the state, the
// files listed (its own file under one name), and any failure to upload or
// download.
json analyse(int port, int index) {
  json run = {{"answers", json::array()}, {"files", json::array()}, {"errors", json::array()}};
  Client browser(port);
  browser.startSession();
  for (const char* name : {"run.dat", "stars.dat", "procs.dat"}) {
    if (browser.upload(name, exampleFile(name)) != 200) run["errors"].push_back(std::string("upload ") + name);
  }
  // A file of this session's own: no other may see it.
  const std::string mine = "mine-" + std::to_string(index) + ".txt";
  browser.upload(mine, std::to_string(index));
  for (const char* line : {"INST stars", "INDAT run", "INPRO procs", "CALL GEM", "FIT", "FIT", "SLIST", "MASK 7", "FIT",
                           "OUTMOD model", "OUTDAT active"}) {
    json answer = browser.command(line);
    answer.erase("status");
    run["answers"].push_back(answer);
  }
  run["state"] = browser.getJson("/api/state");
  const json listing = browser.getJson("/api/files");
  for (const json& file : listing["files"]) {
    run["files"].push_back(file["name"] == mine ? "mine" : file["name"]);
  }
  const httplib::Result model = browser.get("/api/files/model.dat");
  if (!model || model->status != 200) run["errors"].push_back("no model.dat");
  return run;
}

TEST(WebSessions, TwentyAtOnceGiveIdenticalResultsWithoutCrossTalk) {
  web::ServerOptions options;
  options.threads = 24;
  TestServer server(options);
  constexpr int kSessions = 20;
  std::vector<json> runs(kSessions);
  std::vector<std::thread> threads;
  for (int i = 0; i < kSessions; ++i) threads.emplace_back([&, i] { runs[i] = analyse(server.port, i); });
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(server.sessionFolders().size(), static_cast<std::size_t>(kSessions));
  const json& first = runs[0];
  EXPECT_EQ(first["errors"], json::array());
  ASSERT_EQ(first["answers"].size(), 11u);
  for (const json& answer : first["answers"]) EXPECT_EQ(answer["ok"], true) << answer;
  EXPECT_EQ(first["state"]["fit"]["stars"], 169);
  EXPECT_EQ(first["files"], json({"active.dat", "mine", "model.dat", "procs.dat", "run.dat", "stars.dat"}));
  for (int i = 1; i < kSessions; ++i) EXPECT_EQ(runs[i], first) << "session " << i;
}

}  // namespace
}  // namespace zenfit::test
