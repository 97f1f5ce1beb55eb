// The engine at its limits: 49 fitted coefficients over 4999 observations,
// and the reports they make passing through the 2000-byte message buffer.
#include <gtest/gtest.h>

#include <string>

#include "fit/pointing_run.h"
#include "host/message_buffer.h"
#include "support/session.h"

namespace zenfit::test {
namespace {

// The host's message buffer, watched after every message: it holds at
// most 2000 bytes before the message's own CR LF expansion, and it ends
// with the message.
struct BufferWatch final : OutputSink {
  host::MessageBuffer buffer;
  std::string text;
  int faults = 0;

  void write(const Message& message) override {
    buffer.write(message);
    std::string expanded;
    for (const char c : message.text) expanded += c == '\n' ? "\r\n" : std::string(1, c);
    const std::string held = buffer.text();
    const std::size_t lineFeeds = expanded.size() - message.text.size();
    if (held.size() > 2000 + lineFeeds || !held.ends_with(expanded)) ++faults;
    text += message.text;
  }
};

TEST(Capacity, FortyNineCoefficientsAreFittedToAFullListAndTheReportsPassThroughTheBuffer) {
  ScratchDir dir;
  Session session(dir.path());
  Engine& engine = session.engine();
  // Every standard term but the second-auxiliary ones (the run has no second
  // reading), and four harmonics: 49 terms.
  modelledRun(engine,
              "IH ID ZH NP CH HF ZE ME MA TF TX FO IE IA HCES HCEC DCES DCEC DNP X2HC HGES HGEC "
              "DGES DGEC TFP CA CD4A CD4B CD5A CD5B AN AW NPAE ACES ACEC ECES ECEC NRX NRY AUX1H "
              "AUX1X AUX1D AUX1A AUX1S AUX1E HDSH2 HDCH2 HHSH3 HHCH3",
              "", [](int i) { return i % 9 - 4.0; },
              {.stars = kMaxObservations, .flipFraction = 0.3, .aux1First = -1.0,
               .aux1Step = 0.0004});
  session.runAll("USE HDSH3\nFIX HDSH3");  // and a fiftieth term, held at zero

  BufferWatch watch;
  engine.hooks.output = &watch;
  session.run("FIT");
  const std::string report = watch.text;
  EXPECT_NE(report.find("\n 50     HDSH3" + std::string(17, ' ') + "+0.00\n"), std::string::npos);
  // The model that made the run is found again.
  EXPECT_NE(report.find("\nSky RMS =   0.00\nPopn SD =   0.00\n"), std::string::npos);
  // The correlations of 49 terms: four blocks of at most 14 columns.
  EXPECT_NE(report.find("\n          AUX1A   AUX1S   AUX1E   HDSH2   HDCH2   HHSH3   \n"),
            std::string::npos);

  session.run("SLIST");
  const std::string listing = watch.text.substr(report.size());
  EXPECT_TRUE(listing.find("\n4999") != listing.npos && listing.ends_with("\f"));
  EXPECT_EQ(watch.faults, 0);
  // The host finds the tail of the listing, with its RMS lines.
  std::string buffer = watch.buffer.text();
  std::erase(buffer, '\r');
  EXPECT_NE(buffer.find("RMS"), std::string::npos);
  EXPECT_TRUE(listing.ends_with(buffer));
}

}  // namespace
}  // namespace zenfit::test
