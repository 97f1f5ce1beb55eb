// The `*` prompt at a terminal, typed at through a pseudo-terminal as a
// user types: line editing, a history that the next session sees, and Tab
// completion of command words and term names. The session goes to a file,
// where the engine's echo shows each line exactly as it was received.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>

#include "support/session.h"

namespace zenfit::test {
namespace {

// Key strokes, as an xterm sends them.
const std::string kUp = "\x1b[A", kLeft = "\x1b[D", kCtrlA = "\x01", kCtrlE = "\x05", kCtrlU = "\x15";
const std::string kTab = "\t", kEnter = "\r";

// One batch program on a pseudo-terminal: zenfit / TRANSCRIPT / / in the
// folder, with home as its home folder.
class Terminal {
 public:
  Terminal(const ScratchDir& dir, const std::string& home, const std::string& transcript)
      : dir_(dir), transcript_(transcript) {
    winsize size{30, 100, 0, 0};
    child_ = ::forkpty(&master_, nullptr, nullptr, &size);
    if (child_ == 0) {
      if (::chdir(dir.path().c_str()) != 0) ::_exit(99);
      ::setenv("HOME", home.c_str(), 1);
      ::setenv("TERM", "xterm", 1);
      ::execl(ZENFIT_CLI_PATH, ZENFIT_CLI_PATH, "/", transcript.c_str(), "/", "/", static_cast<char*>(nullptr));
      ::_exit(98);
    }
  }
  ~Terminal() {
    if (child_ > 0 && !exited_) {
      ::kill(child_, SIGKILL);
      ::waitpid(child_, nullptr, 0);
    }
    if (master_ >= 0) ::close(master_);
  }

  bool started() const { return child_ > 0; }
  void type(const std::string& keys) {
    ASSERT_EQ(::write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }
  // Everything the terminal has shown so far.
  const std::string& screen() const { return screen_; }
  std::string transcript() const { return dir_.read(transcript_); }

  // Waits, reading what the terminal shows, until done() holds; false
  // when it never does (a generous limit, so that a slow machine passes).
  bool waitUntil(const std::function<bool()>& done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!done()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      pollfd p{master_, POLLIN, 0};
      char buffer[4096];
      const ssize_t n = ::poll(&p, 1, 50) > 0 ? ::read(master_, buffer, sizeof buffer) : 0;
      if (n > 0) screen_.append(buffer, static_cast<std::size_t>(n));
    }
    return true;
  }
  bool shows(const std::string& text) { return waitUntil([&] { return screen_.find(text) != std::string::npos; }); }
  bool received(const std::string& text) {
    return waitUntil([&] { return transcript().find(text) != std::string::npos; });
  }
  bool ends() { return waitUntil([&] { return exited_ = exited_ || ::waitpid(child_, nullptr, WNOHANG) == child_; }); }

 private:
  const ScratchDir& dir_;
  std::string transcript_;
  int master_ = -1;
  pid_t child_ = -1;
  bool exited_ = false;
  std::string screen_;
};

TEST(TerminalPrompt, EditsCompletesAndRemembers) {
  ScratchDir dir;
  const std::string home = dir.file("home");
  std::filesystem::create_directory(home);
  {
    Terminal terminal(dir, home, "one.txt");
    ASSERT_TRUE(terminal.started()) << "no pseudo-terminal could be opened";
    ASSERT_TRUE(terminal.received("type HELP for assistance, END to quit.")) << terminal.transcript();
    ASSERT_TRUE(terminal.shows("* ")) << terminal.screen();

    // Editing: to the start of the line, back over a word, in the middle.
    terminal.type("etcap world" + kCtrlA + "s" + kCtrlE + kLeft + kLeft + kLeft + kLeft + kLeft +
                  "hello " + kEnter);
    EXPECT_TRUE(terminal.received("* setcap hello world\n")) << terminal.transcript();

    // Completion: a command word in the case typed; a list where words
    // agree no further; term names, a generic one made in this session too.
    terminal.type("sho" + kTab + kEnter);
    EXPECT_TRUE(terminal.received("* show\n")) << terminal.transcript();
    terminal.type("FIT" + kTab);
    EXPECT_TRUE(terminal.shows("\r\nFIT     FITTOL\r\n")) << terminal.screen();
    terminal.type(kCtrlU + "USE NPA" + kTab + "HXSH2" + kEnter);
    EXPECT_TRUE(terminal.received("* USE NPAE HXSH2\n")) << terminal.transcript();
    terminal.type("fix hxs" + kTab + kEnter);
    EXPECT_TRUE(terminal.received("* fix hxsh2\n")) << terminal.transcript();

    // History: Up recalls the line before.
    terminal.type(kUp + kEnter);
    EXPECT_TRUE(terminal.received("* fix hxsh2\n* fix hxsh2\n")) << terminal.transcript();
    // After HELP, the help topics too.
    terminal.type("help ter" + kTab + kEnter);
    EXPECT_TRUE(terminal.received("* help terms\n")) << terminal.transcript();
    terminal.type(std::string("help fit") + kEnter + "end" + kEnter);
    EXPECT_TRUE(terminal.ends());
  }
  // A second session sees the first one's history: Up twice is its last
  // line but one.
  Terminal terminal(dir, home, "two.txt");
  ASSERT_TRUE(terminal.shows("* ")) << terminal.screen();
  terminal.type(kUp + kUp + kEnter + "end" + kEnter);
  EXPECT_TRUE(terminal.ends());
  EXPECT_NE(terminal.transcript().find("END to quit.\n\n* help fit\n"), std::string::npos)
      << terminal.transcript();
}

}  // namespace
}  // namespace zenfit::test
