// Helpers for the observation tests: a host-mode session in a scratch
// folder, with files written into it and the list read back.
#pragma once

#include <string>

#include "support/session.h"

namespace zenfit::test {

// A session whose folder is a fresh scratch directory.
class ObservationSession {
 public:
  ObservationSession() : session_(scratch_.path()) {}

  void write(const std::string& name, const std::string& text) const { scratch_.write(name, text); }
  std::string read(const std::string& name) const { return scratch_.read(name); }
  bool exists(const std::string& name) const { return scratch_.exists(name); }
  std::string run(const std::string& line) { return session_.run(line); }
  Engine& engine() { return session_.engine(); }
  const ObservationList& list() { return session_.engine().observations; }
  int count() { return observationCount(list()); }

  // Writes text as obs.dat and reads it with INDAT; returns what INDAT said.
  std::string indat(const std::string& text) {
    write("obs.dat", text);
    return run("INDAT obs");
  }

 private:
  ScratchDir scratch_;
  Session session_;
};

// The text INDAT writes around an accepted undated, refraction-free file:
// the page header, the echoed lines, the constants and the closing form feed.
inline std::string indatText(const std::string& echoed, const std::string& command = "INDAT obs") {
  return "* " + command + "\n\f *  POINTING OBSERVATIONS  *\n\n" + echoed +
         "REFA   (arcsec)  =   0.00000\nREFB   (arcsec)  =   0.000000\n"
         "DIURAB (arcsec)  =   0.0000\n\n\f";
}

}  // namespace zenfit::test
