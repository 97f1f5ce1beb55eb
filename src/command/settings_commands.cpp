// Session settings: the switch and value commands and SHOW.
#include <cstdio>
#include <utility>

#include "command/arguments.h"
#include "command/command_table.h"
#include "command/engine.h"
#include "command/reports.h"
#include "command/texts.h"

namespace zenfit {
namespace {

bool is(const std::string& word, const char* keyword) { return isKeyword(word.c_str(), keyword); }

// ON or nothing selects 1, OFF selects 0; anything else is reported and
// gives -1.
int onOff(Engine& engine, Arguments& arguments, int wordSize = kCommandWordSize) {
  const std::string word = arguments.word(wordSize);
  if (word.empty() || is(word, "ON")) return 1;
  if (is(word, "OFF")) return 0;
  say(engine, Severity::Error, texts::kIllegalArgument);
  return -1;
}

// The common shape of CAPT, ECHO and FRAME.
void switchCommand(Engine& engine, Arguments& arguments, int& flag,
                   int wordSize = kCommandWordSize) {
  const int value = onOff(engine, arguments, wordSize);
  if (value < 0) return;
  flag = value;
  done(engine);
}

void reportAdjustSense(Engine& engine) {
  say(engine, Severity::Info, engine.settings.adjustSense == AdjustSense::Telescope
                                  ? "Model will adjust telescope to fit stars.\n"
                                  : "Model will adjust stars to fit telescope.\n");
}

// Sets the ADJUST sense (none: only the report). A change reverses the
// model in place.
void setAdjust(Engine& engine, std::optional<AdjustSense> sense) {
  if (sense && *sense != engine.settings.adjustSense) {
    engine.model.reverse();
    engine.settings.adjustSense = *sense;
  }
  reportAdjustSense(engine);
}

bool setVt(Engine& engine, int top, int bottom) {
  Settings& settings = engine.settings;
  if (top == 0 && bottom == 0) {
    settings.vtMode = 0;
    settings.vtTop = settings.vtBottom = 0;
    return true;
  }
  if (top > bottom) std::swap(top, bottom);
  if (top < 1 || bottom - top < 2) {
    say(engine, Severity::Info, "Illegal arguments!\n");
    return false;
  }
  settings.vtMode = 1;
  settings.vtTop = top;
  settings.vtBottom = bottom;
  return true;
}

}  // namespace

void cmdAdjust(Engine& engine, Arguments& arguments) {
  const std::string word = arguments.word(kCommandWordSize);
  std::optional<AdjustSense> sense;
  if (is(word, "T")) {
    sense = AdjustSense::Telescope;
  } else if (is(word, "S")) {
    sense = AdjustSense::Stars;
  } else if (!word.empty()) {
    say(engine, Severity::Error, texts::kIllegalArgument);
    return;
  }
  setAdjust(engine, sense);
  done(engine);
}

void cmdAppend(Engine& engine, Arguments& arguments) {
  const int value = onOff(engine, arguments);
  if (value < 0) return;
  if (value == 1 && engine.run.obsPresent < 0) {
    say(engine, Severity::Warning, "No observations; cannot append!\n");
    return;
  }
  engine.run.appendMode = value;
  done(engine);
}

void cmdCapt(Engine& engine, Arguments& arguments) {
  switchCommand(engine, arguments, engine.settings.captionFlag);
}

void cmdClrng(Engine& engine, Arguments& arguments) {
  const std::string word = arguments.word(kCommandWordSize);
  if (word.empty()) {
    engine.settings.clearMode = -1;
  } else if (is(word, "OFF")) {
    engine.settings.clearMode = 0;
  } else if (is(word, "ON")) {
    engine.settings.clearMode = 1;
  } else {
    say(engine, Severity::Error, texts::kIllegalArgument);
    return;
  }
  done(engine);
}

void cmdEcho(Engine& engine, Arguments& arguments) {
  // The word is read with a limit of 5 (4 characters).
  switchCommand(engine, arguments, engine.settings.echoFlag, 5);
}

void cmdFrame(Engine& engine, Arguments& arguments) {
  switchCommand(engine, arguments, engine.settings.frameFlag);
}

void cmdMarkh(Engine& engine, Arguments& arguments) {
  const DecodedNumber height = arguments.number();
  const double value = height.present ? height.value : 0.2;
  if (height.malformed || value < 0.0 || value > 1.0) {
    say(engine, Severity::Error, texts::kIllegalArgument);
    return;
  }
  engine.settings.markerHeight = value * 0.5;
  done(engine);
}

void cmdMeslev(Engine& engine, Arguments& arguments) {
  const DecodedNumber first = arguments.integer();
  if (first.malformed) {
    say(engine, Severity::Error, "Error in first argument!\n");
    return;
  }
  const int levelOne = first.present ? static_cast<int>(first.value) : 0;
  const DecodedNumber second = arguments.integer();
  if (second.malformed) {
    say(engine, Severity::Error, "Error in second argument!\n");
    return;
  }
  // An absent second level takes the first.
  engine.settings.levelOne = levelOne;
  engine.settings.levelTwo = second.present ? static_cast<int>(second.value) : levelOne;
  done(engine);
}

void cmdReplen(Engine& engine, Arguments& arguments) {
  const std::string word = arguments.word(kCommandWordSize);
  if (word.empty() || is(word, "L")) {
    engine.settings.reportLength = 0;
  } else if (is(word, "S")) {
    engine.settings.reportLength = 1;
  } else if (is(word, "N")) {
    engine.settings.reportLength = 2;
  } else {
    say(engine, Severity::Error, texts::kIllegalArgument);
    return;
  }
  done(engine);
}

void cmdSetcap(Engine& engine, Arguments& arguments) {
  engine.run.caption = arguments.rest(kCaptionLength + 1);
  done(engine);
}

void cmdVt(Engine& engine, Arguments& arguments) {
  Arguments numbers = arguments;  // the two line numbers are read from just after VT
  const std::string word = arguments.word(kCommandWordSize);
  int top = 1;
  int bottom = 24;
  if (is(word, "N")) {
    top = bottom = 0;
  } else if (!word.empty()) {
    const DecodedNumber first = numbers.integer();
    if (!first.present || first.negative || first.value < 1) {
      say(engine, Severity::Error, texts::kIllegalArgument);
      return;
    }
    const DecodedNumber second = numbers.integer();
    if (!second.present || second.negative || second.value < 1) {
      say(engine, Severity::Error, texts::kIllegalArgument);
      return;
    }
    top = static_cast<int>(first.value);
    bottom = static_cast<int>(second.value);
  }
  if (setVt(engine, top, bottom)) done(engine);
}

void cmdShow(Engine& engine, Arguments&) {
  emit(engine, settingsReport(engine));
  done(engine);
}

}  // namespace zenfit
