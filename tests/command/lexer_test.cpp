#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "command/lexer.h"

namespace zenfit {
namespace {

struct Prepared {
  int blank;
  std::string raw, echo, command;
};

Prepared prepare(const std::string& text) {
  char raw[kLineLength + 1];
  char echo[kLineLength + 1];
  char command[kLineLength + 1];
  std::snprintf(raw, sizeof raw, "%s", text.c_str());
  const int blank = prepareLine(kLineLength, raw, echo, command);
  return {blank, raw, echo, command};
}

TEST(PrepareLine, DropsLeadingBlanksAndCommentKeepsBlanksBeforeIt) {
  const Prepared p = prepare("  use ih   ! fix later");
  EXPECT_EQ(p.blank, 0);
  EXPECT_EQ(p.echo, "use ih   ");
  EXPECT_EQ(p.command, "USE IH   ");
}

TEST(PrepareLine, CommentOnlyAndBlankLinesHoldNothing) {
  EXPECT_EQ(prepare("! only a comment").blank, 1);
  EXPECT_EQ(prepare("! only a comment").echo, "");
  EXPECT_EQ(prepare("      ").blank, 1);
  EXPECT_EQ(prepare("").blank, 1);
}

TEST(PrepareLine, QuotesProtectCommentMarkAndCase) {
  const Prepared p = prepare("capt 'Run 3! ok'");
  EXPECT_EQ(p.command, "CAPT 'Run 3! ok'");
  // Inside a double-quoted section an apostrophe is an ordinary character.
  const Prepared q = prepare("setcap \"it's! here\" x ! gone");
  EXPECT_EQ(q.echo, "setcap \"it's! here\" x ");
  EXPECT_EQ(q.command, "SETCAP \"it's! here\" X ");
}

TEST(PrepareLine, WhiteSpaceBecomesBlankInRawLineAndTrailingIsTrimmed) {
  const Prepared p = prepare("\tshow\t\r\n");
  EXPECT_EQ(p.raw, " show");
  EXPECT_EQ(p.echo, "show");
  EXPECT_EQ(p.command, "SHOW");
}

TEST(PrepareLine, UnterminatedQuoteRunsToTheEndOfTheLine) {
  const Prepared p = prepare("capt 'open ! still quoted");
  EXPECT_EQ(p.command, "CAPT 'open ! still quoted");
}

TEST(NextWord, CutsAtTheLimitAndLeavesCursorOnSeparator) {
  char word[9];
  int cursor = 0;
  nextWord(9, "GSCATTERPLOT 1", cursor, word);
  EXPECT_STREQ(word, "GSCATTER");
  cursor = 3;
  nextWord(9, "USE   IH ID", cursor, word);
  EXPECT_STREQ(word, "IH");
  EXPECT_EQ(cursor, 8);
  nextWord(9, "USE   IH ID", cursor, word);
  EXPECT_STREQ(word, "ID");
  nextWord(9, "USE   IH ID", cursor, word);
  EXPECT_STREQ(word, "");
}

TEST(NextWord, CursorPastTheEndReadsNothing) {
  char word[9];
  int cursor = 50;
  nextWord(9, "END", cursor, word);
  EXPECT_STREQ(word, "");
}

TEST(KeywordEquals, IsExactApartFromTrailingBlanks) {
  EXPECT_NE(keywordEquals("GC", "GCX"), 0);
  EXPECT_EQ(keywordEquals("GC ", "GC"), 0);
  EXPECT_NE(keywordEquals("SHO", "SHOW"), 0);
  EXPECT_NE(keywordEquals("show", "SHOW"), 0);
  EXPECT_EQ(keywordEquals("", "   "), 0);
}

TEST(RestOfLine, DropsLeadingBlanksAndOneLevelOfQuotes) {
  char out[81];
  restOfLine("   'Site A, \"north\" pier'", sizeof out, out);
  EXPECT_STREQ(out, "Site A, \"north\" pier");
  restOfLine("  plain text ", sizeof out, out);
  EXPECT_STREQ(out, "plain text ");
  char small[5];
  restOfLine("abcdefgh", sizeof small, small);
  EXPECT_STREQ(small, "abcd");
}

TEST(ReadInteger, ReadsLeavesAbsentAndRefusesBadFields) {
  int pos = 7;
  int value = 42;
  EXPECT_EQ(readInteger("MESLEV 3, -4", pos, value), 0);
  EXPECT_EQ(value, 3);
  EXPECT_EQ(readInteger("MESLEV 3, -4", pos, value), -1);
  EXPECT_EQ(value, -4);
  EXPECT_EQ(readInteger("MESLEV 3, -4", pos, value), 1);
  EXPECT_EQ(value, -4);
  pos = 1;
  EXPECT_EQ(readInteger("2.5", pos, value), 2);
  pos = 1;
  EXPECT_EQ(readInteger("X", pos, value), 2);
  pos = 1;
  EXPECT_EQ(readInteger("1E20", pos, value), 2);
  EXPECT_EQ(value, -4);
}

TEST(ReadLine, CutsLongLinesAndDropsTheRest) {
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  const std::string longLine = std::string(250, 'a') + "\nshow\n";
  std::fputs(longLine.c_str(), file);
  std::rewind(file);
  char raw[kLineLength + 1];
  char echo[kLineLength + 1];
  char command[kLineLength + 1];
  EXPECT_EQ(readLine(file, kLineLength, raw, echo, command), 0);
  EXPECT_EQ(std::string(raw).size(), 200u);
  EXPECT_EQ(readLine(file, kLineLength, raw, echo, command), 0);
  EXPECT_STREQ(command, "SHOW");
  EXPECT_EQ(readLine(file, kLineLength, raw, echo, command), -1);
  EXPECT_STREQ(raw, "");
  std::fclose(file);
}

TEST(ReadLine, AStreamThatNeverEndsALineIsTakenAsTheEndOfInput) {
  std::FILE* file = std::fopen("/dev/zero", "r");
  ASSERT_NE(file, nullptr);
  char raw[kLineLength + 1];
  char echo[kLineLength + 1];
  char command[kLineLength + 1];
  EXPECT_EQ(readLine(file, kLineLength, raw, echo, command), -1);
  std::fclose(file);
}

TEST(ReadLine, LastLineWithoutLineEndIsRead) {
  std::FILE* file = std::tmpfile();
  ASSERT_NE(file, nullptr);
  std::fputs("end", file);
  std::rewind(file);
  char raw[kLineLength + 1];
  char echo[kLineLength + 1];
  char command[kLineLength + 1];
  EXPECT_EQ(readLine(file, kLineLength, raw, echo, command), 0);
  EXPECT_STREQ(command, "END");
  std::fclose(file);
}

}  // namespace
}  // namespace zenfit
