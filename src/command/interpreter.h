// An engine for a front end (the Python module, the browser host): it
// collects what each line says, and tells whether the line succeeded.
//
//   Interpreter zenfit("/data/run7");
//   const auto [ok, text] = zenfit.run("INDAT run7");
//   const FitResult* fit = zenfit.lastFit();
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "command/engine.h"

namespace zenfit {

class Interpreter {
 public:
  // Starts an engine in folder (relative file names are taken there) with
  // the initialisation file ini ("" for zenfit.ini in the folder). The
  // hooks are connected before start-up, so that they see its files too;
  // their output sink is the interpreter's own.
  explicit Interpreter(const std::filesystem::path& folder, const std::string& ini = "",
                       const HostHooks& hooks = {});
  ~Interpreter();
  Interpreter(const Interpreter&) = delete;
  Interpreter& operator=(const Interpreter&) = delete;

  struct Outcome {
    bool ok = false;   // the line (and any procedure it ran) succeeded
    std::string text;  // everything it said, with LF line ends
  };
  // Runs one command line. A blank line does nothing and succeeds; a batch
  // line ("$") is not run: front ends send lines one at a time.
  Outcome run(const std::string& line);

  const std::string& startupText() const { return startupText_; }
  bool started() const { return started_; }
  // The name of each of lastFit()->terms, as that fit saw the model.
  const std::vector<std::string>& lastFitNames() const { return engine_->fit.lastNames; }

  Engine& engine() { return *engine_; }
  const Engine& engine() const { return *engine_; }
  // The last fit that reached its report, or null.
  const FitResult* lastFit() const;
  // The last plot drawn, as SVG text ("" before the first): the whole page
  // it was drawn on, as a file device would write it. Made when first asked
  // for after a plot; the reference stays valid until the next line is run.
  const std::string& lastPlotSvg() const;

 private:
  std::unique_ptr<Engine> engine_;
  TextSink sink_;
  std::string startupText_;
  bool started_ = false;
};

}  // namespace zenfit
