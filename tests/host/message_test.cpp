#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "engine.h"
#include "support/session.h"

namespace zenfit {
namespace {

std::unique_ptr<Engine> bareEngine() {
  auto engine = std::make_unique<Engine>();
  engine->host.writer = msgBufferWrite;
  return engine;
}

TEST(MessageBuffer, StoresLineFeedsAsCarriageReturnLineFeed) {
  auto engine = bareEngine();
  msgOut(*engine, 'I', "A\nB\n");
  EXPECT_STREQ(engine->host.buffer, "A\r\nB\r\n");
}

TEST(MessageBuffer, OverflowDropsOlderTextAsAWholeAndKeepsTheNew) {
  auto engine = bareEngine();
  const std::string old(1990, 'x');
  msgOut(*engine, 'I', std::string(old.substr(0, 400)).c_str());
  for (int i = 0; i < 4; ++i) msgOut(*engine, 'I', old.substr(0, 397).c_str());
  ASSERT_EQ(std::strlen(engine->host.buffer), 1988u);
  msgOut(*engine, 'I', "12");  // 1990 bytes: still fits
  EXPECT_EQ(std::strlen(engine->host.buffer), 1990u);
  const std::string twenty = "twenty characters!!\n";
  msgOut(*engine, 'E', twenty.c_str());
  EXPECT_STREQ(engine->host.buffer, "twenty characters!!\r\n");
}

TEST(MessageBuffer, OverflowCountsTheTextBeforeExpansion) {
  auto engine = bareEngine();
  // 1990 bytes stored, then ten line feeds: 2000 before expansion, so they
  // are appended and the buffer holds 2010 bytes.
  for (int i = 0; i < 5; ++i) msgOut(*engine, 'I', std::string(398, 'y').c_str());
  msgOut(*engine, 'I', "\n\n\n\n\n\n\n\n\n\n");
  EXPECT_EQ(std::strlen(engine->host.buffer), 2010u);
}

TEST(MessageBuffer, SeverityCodesFollowTheLetters) {
  EXPECT_EQ(severityCode('P'), 1);
  EXPECT_EQ(severityCode('i'), 2);
  EXPECT_EQ(severityCode('W'), 3);
  EXPECT_EQ(severityCode('e'), 4);
  EXPECT_EQ(severityCode('S'), 5);
  EXPECT_EQ(severityCode('Q'), 0);
}

TEST(MessageBuffer, TheSinkSeesEveryTextInOrderBeforeExpansion) {
  auto engine = bareEngine();
  std::string seen;
  engine->host.sink = {&seen, [](void* context, const char* text, MessageKind) {
                         *static_cast<std::string*>(context) += text;
                       }};
  msgOut(*engine, 'I', "one\n");
  msgOutSecondary(*engine, 'I', "two\n");
  msgOutPrimaryF(*engine, 'P', "%s=%d\n", "three", 3);
  EXPECT_EQ(seen, "one\ntwo\nthree=3\n");
  clearMessageBuffer(*engine);
  EXPECT_STREQ(engine->host.buffer, "");
}

TEST(CancelHandler, ArmsRequestsClearsAndDisarms) {
  auto engine = bareEngine();
  Engine& e = *engine;
  EXPECT_EQ(builtinCancelHandler(e, 4), 0);  // not armed: refused
  EXPECT_EQ(builtinCancelHandler(e, 0), 0);
  EXPECT_EQ(builtinCancelHandler(e, 1), 1);
  EXPECT_EQ(builtinCancelHandler(e, 1), 0);  // already armed
  EXPECT_EQ(builtinCancelHandler(e, 4), 1);
  EXPECT_EQ(builtinCancelHandler(e, 0), 1);
  EXPECT_EQ(builtinCancelHandler(e, 2), 1);
  EXPECT_EQ(builtinCancelHandler(e, 0), 0);
  EXPECT_EQ(builtinCancelHandler(e, 3), 1);
  EXPECT_EQ(builtinCancelHandler(e, 3), 0);
  EXPECT_EQ(cancelPoll(e, 0), 0);  // the engine's poll never cancels
}

TEST(MessageBuffer, MeslevDoesNotFilterWhatTheBufferReceives) {
  test::ScratchDir dir;
  test::Session session(dir.path());
  EXPECT_EQ(session.run("MESLEV 9 9"), "* MESLEV 9 9\n");
  EXPECT_EQ(session.run("BOGUS"), "* BOGUS\nUnrecognized command!\n?\n");
}

}  // namespace
}  // namespace zenfit
