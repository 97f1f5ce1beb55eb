// A browser session reads and writes the files of its own folder and no
// others: every file command, the initialisation file, procedure lines,
// uploads and downloads, against names that lead out by "..", by an
// absolute path and by a link.
#include "base/constants.h"
#include "base/files.h"
#include "web/confine.h"
#include "web_support.h"

namespace zenfit::test {
namespace {

TEST(Confinement, NamesThatLeadOutAreRefused) {
  ScratchDir dir;
  const std::filesystem::path folder = dir.path();
  std::filesystem::create_directory(folder / "sub");
  std::filesystem::create_symlink("/etc", folder / "etc");
  std::filesystem::create_symlink(folder / "sub", folder / "inside");
  struct Case {
    const char* name;
    const char* why;  // "" when allowed
  };
  const Case cases[] = {
      {"run.dat", ""}, {"run", ""}, {"sub/run", ""}, {"inside/run", ""}, {"./run", ""}, {"  run  ", ""},
      {"../run", "goes up a folder"}, {"sub/../../run", "goes up a folder"}, {"..", "goes up a folder"},
      {"/etc/passwd", "is an absolute path"}, {" /etc/passwd", "is an absolute path"},
      {"~/run", "starts with '~'"}, {"etc/passwd/", "through a link"}, {"etc/", "through a link"}, {"etc", ""},
  };
  for (const Case& c : cases) {
    const std::filesystem::path path = resolveFileName(folder, c.name, kFileNameSize);
    const std::string refusal = web::engineFileRefusal(folder, c.name, path);
    if (*c.why == '\0') {
      EXPECT_EQ(refusal, "") << c.name;
    } else {
      EXPECT_NE(refusal.find(c.why), std::string::npos) << c.name << ": " << refusal;
      EXPECT_EQ(refusal.rfind("File name refused: \"", 0), 0u) << refusal;
    }
  }
  const std::string longest(64, 'a');
  for (const std::string& good : std::vector<std::string>{"run.dat", "a", "model_7.dat", "x-y.svg", "A1.B2", longest}) {
    EXPECT_EQ(web::plainNameRefusal(good), "") << good;
  }
  for (const std::string& bad : std::vector<std::string>{"", ".hidden", "-rf", "a b", "a/b", "..", "caf\xc3\xa9",
                                                         "a\\b", "x;y", longest + "a"}) {
    EXPECT_NE(web::plainNameRefusal(bad), "") << bad;
  }
}

TEST(Confinement, EveryFileCommandOfASessionStaysInItsFolder) {
  TestServer server;
  // A file beside the session folders, and one in another session.
  const std::filesystem::path outside = server.data / "outside.dat";
  writeOrFail(outside, exampleFile("run.dat"));
  Client other(server.port);
  other.startSession();
  ASSERT_EQ(server.sessionFolders().size(), 1u);
  const std::filesystem::path otherFolder = server.sessionFolders()[0];
  ASSERT_EQ(other.upload("stars.dat", exampleFile("stars.dat")), 200);

  Client browser(server.port);
  browser.startSession();
  auto folders = server.sessionFolders();
  std::erase(folders, otherFolder);
  ASSERT_EQ(folders.size(), 1u);
  const std::filesystem::path folder = folders[0];
  ASSERT_EQ(browser.upload("run.dat", exampleFile("run.dat")), 200);
  // A link planted in the folder (no session can make one) must not lead out either.
  std::filesystem::create_symlink(outside, folder / "link.dat");
  std::filesystem::create_symlink(otherFolder, folder / "theirs");

  const std::string otherName = otherFolder.filename().string();
  const std::string names[] = {"../outside", "../outside.dat", "/etc/passwd", server.data.string() + "/outside.dat",
                                "link", "link.dat", "theirs/stars", "../" + otherName + "/stars", "./../outside",
                                "sub/../../outside"};
  ASSERT_EQ(browser.command("INDAT run")["ok"], true);
  ASSERT_EQ(browser.command("USE IH ID")["ok"], true);
  ASSERT_EQ(browser.command("FIT")["ok"], true);
  const json before = browser.getJson("/api/state");
  for (const std::string command : {"INDAT", "INST", "INMOD", "INPRO", "OUTDAT", "OUTMOD", "PLTON"}) {
    for (const std::string& name : names) {
      const json answer = browser.command(command + " " + name);
      EXPECT_EQ(answer["ok"], false) << command << " " << name;
      const std::string text = answer["text"];
      EXPECT_NE(text.find("File name refused: \"" + name + "\""), std::string::npos)
          << command << " " << name << ":\n" << text;
    }
  }
  // Nothing outside changed, nothing was read from it, and nothing new appeared.
  EXPECT_EQ(readFile(outside.string()), exampleFile("run.dat"));
  EXPECT_EQ(readFile((otherFolder / "stars.dat").string()), exampleFile("stars.dat"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(otherFolder), {}), 1);
  EXPECT_EQ(browser.getJson("/api/state"), before);

  // Procedure lines are checked as they run.
  ASSERT_EQ(browser.upload("p.dat", "PROC SNEAK\n  use ih\n  outdat ../sneaked\nRETURN\n"), 200);
  ASSERT_EQ(browser.command("INPRO p")["ok"], true);
  const json called = browser.command("CALL SNEAK");
  EXPECT_EQ(called["ok"], false);
  EXPECT_NE(called["text"].get<std::string>().find("File name refused: \"../SNEAKED\""), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(server.data / "SNEAKED.dat"));

  // Uploads and downloads take plain names only, and never follow a link.
  for (const char* path : {"/api/files/..%2Foutside.dat", "/api/files/../outside.dat", "/api/files/%2Fetc%2Fpasswd",
                           "/api/files/theirs%2Fstars.dat", "/api/files/..", "/api/files/~root"}) {
    const httplib::Result up = browser.put(path, "overwritten");
    ASSERT_TRUE(up) << path;
    EXPECT_EQ(up->status, 403) << path << " " << up->body;
    EXPECT_EQ(browser.get(path)->status, 403) << path;
    EXPECT_EQ(browser.del(path)->status, 403) << path;
  }
  for (const char* path : {"/api/files/.hidden", "/api/files/a%20b", "/api/files/caf%C3%A9"}) {
    EXPECT_EQ(browser.put(path, "x")->status, 400) << path;
  }
  EXPECT_EQ(browser.put("/api/files/link.dat", "overwritten")->status, 403);
  EXPECT_EQ(browser.get("/api/files/link.dat")->status, 404);
  EXPECT_EQ(browser.del("/api/files/link.dat")->status, 404);
  EXPECT_EQ(readFile(outside.string()), exampleFile("run.dat"));
  EXPECT_EQ(readFile((otherFolder / "stars.dat").string()), exampleFile("stars.dat"));
  // The listing shows the session's own regular files only.
  std::vector<std::string> listed;
  const json listing = browser.getJson("/api/files");
  for (const json& file : listing["files"]) listed.push_back(file["name"]);
  EXPECT_EQ(listed, (std::vector<std::string>{"p.dat", "run.dat"}));
}

TEST(Confinement, TheInitialisationFileIsHeldToTheFolderToo) {
  ScratchDir seed;
  // The start-up's procedure library and catalogue, named out of the folder.
  seed.write("zenfit.ini",
             "PROCEDURE_LIBRARY ../procs\nSTAR_CATALOG /etc/passwd\nGRAPHICS_HARDCOPY ../plots.ps\nEND\n");
  seed.write("run.dat", exampleFile("run.dat"));
  web::ServerOptions options;
  options.seed = seed.path();
  TestServer server(options);
  writeOrFail(server.data / "procs.dat", "PROC INIT\n  use ih\nRETURN\n");
  Client browser(server.port);
  const std::string startup = browser.startSession();
  EXPECT_NE(startup.find("File name refused: \"../procs\""), std::string::npos) << startup;
  EXPECT_NE(startup.find("File name refused: \"/etc/passwd\""), std::string::npos) << startup;
  EXPECT_EQ(browser.getJson("/api/state")["model"].size(), 0u);
  // The plot device the file names.
  ASSERT_EQ(browser.command("INDAT run")["ok"], true);
  const json plotted = browser.command("GC");
  EXPECT_EQ(plotted["ok"], false);
  EXPECT_NE(plotted["text"].get<std::string>().find("File name refused: \"../plots.ps\""), std::string::npos)
      << plotted["text"];
  ASSERT_EQ(browser.command("END")["ok"], true);
  EXPECT_FALSE(std::filesystem::exists(server.data / "plots.ps"));
}

}  // namespace
}  // namespace zenfit::test
