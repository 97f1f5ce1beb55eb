#include "command/interpreter.h"

#include "command/plot_commands.h"

namespace zenfit {

Interpreter::Interpreter(const std::filesystem::path& folder, const std::string& ini,
                         const HostHooks& hooks)
    : engine_(std::make_unique<Engine>()) {
  engine_->workdir = std::filesystem::absolute(folder);
  engine_->hooks = hooks;
  engine_->hooks.output = &sink_;
  StartOptions options;
  options.initializationName = ini;
  started_ = startEngine(*engine_, options) == 0;
  startupText_ = sink_.take();
}

Interpreter::~Interpreter() { shutdownEngine(*engine_); }

Interpreter::Outcome Interpreter::run(const std::string& line) {
  Outcome outcome;
  if (trimmedLength(line.c_str()) == 0) {  // nothing to run
    outcome.ok = true;
    return outcome;
  }
  if (isKeyword(line.c_str(), "$")) {
    outcome.text = "A front end runs one line at a time.\n";
    return outcome;
  }
  runLine(*engine_, line.c_str());
  const CommandStatus status = engine_->dispatch.status;
  outcome.ok = status == CommandStatus::Done || status == CommandStatus::End;
  outcome.text = sink_.take();
  return outcome;
}

const std::string& Interpreter::lastPlotSvg() const { return zenfit::lastPlotSvg(*engine_); }

const FitResult* Interpreter::lastFit() const {
  return engine_->fit.last ? &*engine_->fit.last : nullptr;
}

}  // namespace zenfit
