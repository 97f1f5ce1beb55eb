// The longest line a text file may hold: a line of exactly
// kMaxTextLineBytes is read (cut to the caller's length) and the file goes
// on; one byte more and the file ends before that line, with the reason.
#include <gtest/gtest.h>

#include <string>

#include "base/files.h"
#include "base/text.h"
#include "support/session.h"

namespace zenfit {
namespace {

TEST(TextFile, LongestLineAndOneByteMore) {
  for (const long extra : {0L, 1L}) {
    test::ScratchDir dir;
    // The long line in the middle of the file, after a line that leaves the
    // stream's blocks out of step with it.
    dir.write("f.dat", "first\n" + std::string(static_cast<std::size_t>(kMaxTextLineBytes + extra), 'x') +
                           "\nnext\n");
    int status = 0;
    const FileHandle file = openForReading(dir.path(), "f", kLineLength, status);
    ASSERT_TRUE(file);
    char line[kLineLength + 1];
    ASSERT_TRUE(readTextLine(file.get(), 8, line));
    EXPECT_STREQ(line, "first");
    if (extra == 0) {
      ASSERT_TRUE(readTextLine(file.get(), 8, line));
      EXPECT_STREQ(line, "xxxxxxxx");
      ASSERT_TRUE(readTextLine(file.get(), 8, line));
      EXPECT_STREQ(line, "next");
      EXPECT_FALSE(readTextLine(file.get(), 8, line));
      EXPECT_EQ(readFailure(file), "");
    } else {
      EXPECT_FALSE(readTextLine(file.get(), 8, line));
      EXPECT_EQ(readFailure(file), "a line runs on for more than 16 MB (not a text file)");
    }
  }
}

}  // namespace
}  // namespace zenfit
