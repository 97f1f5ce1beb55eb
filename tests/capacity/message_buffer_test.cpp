// The 2000-byte message buffer under the longest listing: a fit of 4999
// observations and their SLIST, watched after every message the engine
// writes.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "capacity/full_run.h"
#include "command/startup.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

// Checks the buffer after every message: it holds at most 2000 bytes
// before the message's own CR LF expansion, and it ends with the message.
struct BufferWatch {
  Engine* engine = nullptr;
  std::string transcript;
  int messages = 0;
  int emptied = 0;
  int faults = 0;
  std::size_t previous = 0;

  static void write(void* context, const char* text, MessageKind) {
    auto& watch = *static_cast<BufferWatch*>(context);
    std::string expanded;
    int lineFeeds = 0;
    for (const char* c = text; *c != '\0'; ++c) {
      if (*c == '\n') {
        expanded += '\r';
        ++lineFeeds;
      }
      expanded += *c;
    }
    const std::string buffer = watch.engine->host.buffer;
    if (buffer.size() > 2000u + lineFeeds || !buffer.ends_with(expanded)) ++watch.faults;
    if (buffer.size() == expanded.size() && watch.previous > 0) ++watch.emptied;
    watch.previous = buffer.size();
    watch.transcript += text;
    ++watch.messages;
  }
};

TEST(MessageBufferCapacity, TheLongestListingNeverOverfillsTheBuffer) {
  ScratchDir dir;
  dir.write("full.dat", fullHorizonFile());
  WorkingDirectory here(dir.path());
  auto engine = std::make_unique<Engine>();
  BufferWatch watch;
  watch.engine = engine.get();
  StartupOptions options;
  options.sink = {&watch, &BufferWatch::write};
  ASSERT_EQ(startup(*engine, options), 0);
  engine->run.briefEcho = 1;
  runLine(*engine, "INDAT full");
  ASSERT_EQ(observationCount(engine->observations), kMaxObservations);

  runLine(*engine, "USE IH ID NP CH ME MA TF FO HF DAF");
  runLine(*engine, "FIT");
  ASSERT_EQ(engine->dispatch.status, ' ');
  const std::size_t before = watch.transcript.size();
  const int messagesBefore = watch.messages;
  runLine(*engine, "SLIST");
  const std::string listing = watch.transcript.substr(before);
  EXPECT_GT(watch.messages - messagesBefore, kMaxObservations);
  EXPECT_EQ(watch.faults, 0);
  // Every 2000 bytes or so the old text went as a whole.
  EXPECT_GT(watch.emptied, static_cast<int>(listing.size() / 2000) - 1);
  EXPECT_NE(listing.find("\n4999  "), std::string::npos);
  EXPECT_TRUE(listing.ends_with("\f")) << listing.substr(listing.size() - 200);

  // What the host finds at the end is the tail of the listing, with its
  // RMS lines.
  std::string buffer;
  for (const char* c = engine->host.buffer; *c != '\0'; ++c) {
    if (*c != '\r') buffer += *c;
  }
  EXPECT_NE(buffer.find("RMS"), std::string::npos);
  EXPECT_TRUE(listing.ends_with(buffer));
  shutdown(*engine);
}

}  // namespace
}  // namespace zenfit::test
