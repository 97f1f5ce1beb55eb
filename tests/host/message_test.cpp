// The message buffer hosts read and the cancel handler they drive.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "engine.h"

namespace zenfit {
namespace {

TEST(MessageBuffer, OverflowCountsTheTextBeforeItsLineFeedsBecomeCrLf) {
  auto engine = std::make_unique<Engine>();
  const char* buffer = engine->host.buffer;
  for (int i = 0; i < 5; ++i) msgOut(*engine, 'I', std::string(398, 'y').c_str());
  // 1990 bytes and ten line feeds make 2000: they fit, and are stored as CR LF.
  msgOut(*engine, 'I', "\n\n\n\n\n\n\n\n\n\n");
  EXPECT_EQ(std::string(buffer).size(), 2010u);
  EXPECT_TRUE(std::string(buffer).ends_with("y\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n\r\n"));
  // Anything more passes 2000: the older text goes as a whole, the new stays.
  msgOut(*engine, 'E', "A\nB\n");
  EXPECT_EQ(std::string(buffer), "A\r\nB\r\n");
}

TEST(CancelHandler, ArmsTakesRequestsClearsAndDisarms) {
  auto engine = std::make_unique<Engine>();
  // (operation, result): 0 query, 1 arm, 2 clear, 3 disarm, 4 request.
  const int steps[][2] = {{4, 0}, {0, 0}, {1, 1}, {1, 0}, {4, 1},
                          {0, 1}, {2, 1}, {0, 0}, {3, 1}, {3, 0}};
  for (const auto& step : steps) {
    EXPECT_EQ(builtinCancelHandler(*engine, step[0]), step[1]) << "operation " << step[0];
  }
  EXPECT_EQ(cancelPoll(*engine, 0), 0);  // the engine's own poll never cancels
}

}  // namespace
}  // namespace zenfit
