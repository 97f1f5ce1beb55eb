// A host-mode session in a scratch folder, with files written into it.
#pragma once

#include <string>

#include "support/session.h"

namespace zenfit::test {

class ObservationSession {
 public:
  ObservationSession() : session_(scratch_.path()) {}
  void write(const std::string& name, const std::string& text) const { scratch_.write(name, text); }
  std::string read(const std::string& name) const { return scratch_.read(name); }
  std::string run(const std::string& line) { return session_.run(line); }
  Engine& engine() { return session_.engine(); }
  ObservationList& list() { return session_.engine().observations; }
  int count() { return list().count(); }
  // Writes text as obs.dat and reads it with INDAT; returns what INDAT said.
  std::string indat(const std::string& text) {
    write("obs.dat", text);
    return run("INDAT obs");
  }

 private:
  ScratchDir scratch_;
  Session session_;
};

}  // namespace zenfit::test
