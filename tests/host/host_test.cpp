// What a host sees: the message buffer it reads, the cancel handler it
// drives, and lines passed one at a time, bad ones included, which must get
// the ordinary messages without crashing or hanging the engine.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/message_buffer.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

TEST(MessageBuffer, OverflowCountsTheTextBeforeItsLineFeedsBecomeCrLf) {
  host::MessageBuffer buffer;
  auto say = [&](const std::string& text, Channel channel = Channel::Main) {
    buffer.write({Severity::Info, channel, TextKind::Text, text});
  };
  for (int i = 0; i < 5; ++i) say(std::string(398, 'y'));
  // 1990 bytes and ten line feeds make 2000: they fit, and are stored as CR LF.
  say("\n\n\n\n\n\n\n\n\n\n", Channel::Primary);
  EXPECT_EQ(std::string(buffer.text()).substr(1985),
            "yyyyy\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n");
  // Anything more passes 2000: the older text goes as a whole, the new stays.
  say("A\nB\n", Channel::Secondary);
  EXPECT_EQ(std::string(buffer.text()), "A\r\nB\r\n");
}

TEST(CancelHandler, ArmsTakesRequestsClearsAndDisarms) {
  host::CancelHandler handler;
  // (operation, result): 0 query, 1 arm, 2 clear, 3 disarm, 4 request.
  const int steps[][2] = {{4, 0}, {0, 0}, {1, 1}, {1, 0}, {4, 1},
                          {0, 1}, {2, 1}, {0, 0}, {3, 1}, {3, 0}};
  for (const auto& [op, result] : steps) EXPECT_EQ(handler(op), result) << op;
}

TEST(HostSession, ShowNeverPrintsTheMarkerHeightBecauseHostsParseTheListingAsItStands) {
  ScratchDir dir;
  Session session(dir.path());
  session.run("MARKH 0.8");  // stored as 0.4
  const std::string out = session.run("SHOW");
  for (const char* text : {"MARKH", "0.4", "0.8"}) EXPECT_EQ(out.find(text), out.npos) << text;
}

TEST(HostSession, BadLinesAndBinaryFilesGetTheOrdinaryMessages) {
  ScratchDir dir;
  std::string junk, binary;
  for (int i = 0; i < 5000; ++i) junk += static_cast<char>((i * 7919) % 256);
  for (int c = 1; c < 256; ++c) binary += static_cast<char>(c);
  for (const char* name : {"procs.dat", "zenfit.ini", "stars.dat"}) dir.write(name, junk);
  const std::string longName(194, 'n');  // with "INDAT " it fills the line, and still gets ".dat"
  dir.write(longName + ".dat", "Long name\n+50 00 00\n180 45 180 45\n");
  Session session(dir.path());
  EXPECT_EQ(session.startupStatus(), 0) << session.startupText();

  const std::string adjust200 = "ADJUST" + std::string(193, ' ') + "S";
  const std::string telescope = "Model will adjust telescope to fit stars.\n";
  // Each line with the exact text it gets, or "" for any text of at most 2000 bytes.
  const std::pair<std::string, std::string> cases[] = {
      {adjust200, "* " + adjust200 + "\nModel will adjust stars to fit telescope.\n"},
      {"ADJUST T", "* ADJUST T\n" + telescope},
      {"ADJUST" + std::string(194, ' ') + "S", "* ADJUST\n" + telescope},  // 201st cut
      {"INDAT " + longName, "* INDAT " + longName + "\n\f *  POINTING OBSERVATIONS  *\n\n" +
                                "Long name\n180 45 180 45\nREFA   (arcsec)  =   0.00000\n" +
                                "REFB   (arcsec)  =   0.000000\nDIURAB (arcsec)  =   0.0000\n\n\f"},
      {"   ", "* \n"}, {"! just a note", "* ! just a note\n"},
      {"MARKH " + std::string(400, '9'), ""}, {"CALL " + std::string(300, 'P'), ""},
      {"SETCAP '" + std::string(250, 'c'), ""}, {binary, ""},
  };
  for (const auto& [line, text] : cases) {
    const std::string out = session.run(line);
    EXPECT_LE(out.size(), 2000u) << line.substr(0, 20);
    if (!text.empty()) { EXPECT_EQ(out, text); }
  }
  EXPECT_EQ(session.run("FRAME"), "* FRAME\n");
}

}  // namespace
}  // namespace zenfit::test
