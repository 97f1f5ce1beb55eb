#include "command/settings.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "data/decode.h"
#include "engine.h"

namespace zenfit {
namespace {

// Reads the word after a command word of the given length.
void argumentWord(Engine& engine, int commandLength, char* word, int size) {
  int cursor = commandLength;
  nextWord(size, engine.lines.command, cursor, word);
}

bool isAbsent(const char* word) { return word[0] == '\0'; }
bool is(const char* word, const char* keyword) { return keywordEquals(word, keyword) == 0; }

void done(Engine& engine) { engine.dispatch.status = kStatusDone; }

// ON or nothing selects 1, OFF selects 0; -1 for anything else.
int onOffArgument(Engine& engine, int commandLength) {
  char word[kCommandWordSize];
  argumentWord(engine, commandLength, word, sizeof word);
  if (isAbsent(word) || is(word, "ON")) return 1;
  if (is(word, "OFF")) return 0;
  return -1;
}

// The common shape of CAPT, ECHO and FRAME.
void switchCommand(Engine& engine, int commandLength, int& flag) {
  const int value = onOffArgument(engine, commandLength);
  if (value < 0) {
    msgOut(engine, 'E', "Illegal argument!\n");
    return;
  }
  flag = value;
  done(engine);
}

void reportAdjustSense(Engine& engine) {
  msgOut(engine, 'I', engine.settings.adjustSense == 1
                          ? "Model will adjust telescope to fit stars.\n"
                          : "Model will adjust stars to fit telescope.\n");
}

}  // namespace

void resetSettings(Settings& settings) { settings = Settings{}; }

int setAdjust(Engine& engine, int sense) {
  if (sense != 0 && sense != 1 && sense != 2) {
    msgOut(engine, 'E', "Illegal method!\n");
    return -1;
  }
  if (sense != 0 && sense != engine.settings.adjustSense) {
    reverseModel(engine.model);
    engine.settings.adjustSense = sense;
  }
  reportAdjustSense(engine);
  return 0;
}

int setAppend(Engine& engine, int flag) {
  if (flag == 1 && engine.run.obsPresent < 0) {
    msgOut(engine, 'W', "No observations; cannot append!\n");
    return -1;
  }
  engine.run.appendMode = flag;
  return 0;
}

int setClearMode(Engine& engine, int mode) {
  if (mode < -1 || mode > 1) {
    msgOut(engine, 'E', "Illegal option!\n");
    return -1;
  }
  engine.settings.clearMode = mode;
  return 0;
}

int setVt(Engine& engine, int top, int bottom) {
  Settings& settings = engine.settings;
  if (top == 0 && bottom == 0) {
    settings.vtMode = 0;
    settings.vtTop = settings.vtBottom = 0;
    return 0;
  }
  if (top > bottom) std::swap(top, bottom);
  if (top < 1 || bottom - top < 2) {
    msgOut(engine, 'I', "Illegal arguments!\n");
    return -1;
  }
  settings.vtMode = 1;
  settings.vtTop = top;
  settings.vtBottom = bottom;
  return 0;
}

void cmdAdjust(Engine& engine) {
  char word[kCommandWordSize];
  argumentWord(engine, 6, word, sizeof word);
  int sense = 0;
  if (is(word, "T")) {
    sense = 1;
  } else if (is(word, "S")) {
    sense = 2;
  } else if (!isAbsent(word)) {
    msgOut(engine, 'E', "Illegal argument!\n");
    return;
  }
  if (setAdjust(engine, sense) == 0) done(engine);
}

void cmdAppend(Engine& engine) {
  const int value = onOffArgument(engine, 6);
  if (value < 0) {
    msgOut(engine, 'E', "Illegal argument!\n");
    return;
  }
  if (setAppend(engine, value) == 0) done(engine);
}

void cmdCapt(Engine& engine) { switchCommand(engine, 4, engine.settings.captionFlag); }

void cmdClrng(Engine& engine) {
  char word[kCommandWordSize];
  argumentWord(engine, 5, word, sizeof word);
  int mode = 0;
  if (isAbsent(word)) {
    mode = -1;
  } else if (is(word, "OFF")) {
    mode = 0;
  } else if (is(word, "ON")) {
    mode = 1;
  } else {
    msgOut(engine, 'E', "Illegal argument!\n");
    return;
  }
  if (setClearMode(engine, mode) == 0) done(engine);
}

void cmdEcho(Engine& engine) {
  // The word is read with a limit of 5 (4 characters).
  char word[5];
  argumentWord(engine, 4, word, sizeof word);
  if (isAbsent(word) || is(word, "ON")) {
    engine.settings.echoFlag = 1;
  } else if (is(word, "OFF")) {
    engine.settings.echoFlag = 0;
  } else {
    msgOut(engine, 'E', "Illegal argument!\n");
    return;
  }
  done(engine);
}

void cmdFrame(Engine& engine) { switchCommand(engine, 5, engine.settings.frameFlag); }

void cmdMarkh(Engine& engine) {
  double height = 0.2;
  int pos = 6;
  int status = kDecodedNull;
  decodeArgument(engine.lines.command, pos, height, status);
  if (status == kDecodedError || height < 0.0 || height > 1.0) {
    msgOut(engine, 'E', "Illegal argument!\n");
    return;
  }
  engine.settings.markerHeight = height * 0.5;
  done(engine);
}

void cmdMeslev(Engine& engine) {
  int pos = 7;
  int levelOne = 0;
  if (readInteger(engine.lines.command, pos, levelOne) == kDecodedError) {
    msgOut(engine, 'E', "Error in first argument!\n");
    return;
  }
  int levelTwo = levelOne;  // an absent second level takes the first
  if (readInteger(engine.lines.command, pos, levelTwo) == kDecodedError) {
    msgOut(engine, 'E', "Error in second argument!\n");
    return;
  }
  engine.host.levelOne = levelOne;
  engine.host.levelTwo = levelTwo;
  done(engine);
}

void cmdReplen(Engine& engine) {
  char word[kCommandWordSize];
  argumentWord(engine, 6, word, sizeof word);
  if (isAbsent(word) || is(word, "L")) {
    engine.settings.reportLength = 0;
  } else if (is(word, "S")) {
    engine.settings.reportLength = 1;
  } else if (is(word, "N")) {
    engine.settings.reportLength = 2;
  } else {
    msgOut(engine, 'E', "Illegal argument!\n");
    return;
  }
  done(engine);
}

void cmdSetcap(Engine& engine) {
  char caption[kCaptionLength + 1];
  restOfLine(textFrom(engine.lines.echo, 6), sizeof caption, caption);
  std::snprintf(engine.run.caption, sizeof engine.run.caption, "%s", caption);
  done(engine);
}

void cmdVt(Engine& engine) {
  char word[kCommandWordSize];
  argumentWord(engine, 2, word, sizeof word);
  int top = 1;
  int bottom = 24;
  if (is(word, "N")) {
    top = bottom = 0;
  } else if (!isAbsent(word)) {
    int pos = 3;
    if (readInteger(engine.lines.command, pos, top) != kDecodedNumber || top < 1 ||
        readInteger(engine.lines.command, pos, bottom) != kDecodedNumber || bottom < 1) {
      msgOut(engine, 'E', "Illegal argument!\n");
      return;
    }
  }
  if (setVt(engine, top, bottom) == 0) done(engine);
}

void cmdShow(Engine& engine) {
  const Settings& settings = engine.settings;
  const PlotState& plot = engine.plot;
  msgOut(engine, 'I', settings.adjustSense == 1
                          ? "\nADJUST:  the model adjusts the telescope to fit the stars.\n"
                          : "\nADJUST:  the model adjusts the stars to fit the telescope.\n");
  msgOut(engine, 'I', engine.run.appendMode
                          ? "APPEND:  the next input file will be appended to the current data list.\n"
                          : "APPEND:  the next input file will overwrite the current data list.\n");
  msgOut(engine, 'I', settings.captionFlag ? "CAPT:    caption plotting is enabled.\n"
                                           : "CAPT:    caption plotting is disabled.\n");
  if (settings.clearMode == 1) {
    msgOut(engine, 'I', "CLRNG:   the plotting zone is cleared before each plot.\n");
  } else if (settings.clearMode == 0) {
    msgOut(engine, 'I', "CLRNG:   no clearing is done before each plot.\n");
  } else {
    msgOut(engine, 'I', "CLRNG:   the whole display surface is cleared before each plot.\n");
  }
  msgOut(engine, 'I', settings.echoFlag ? "ECHO:    library procedures are echoed to the screen.\n"
                                        : "ECHO:    library procedures execute silently.\n");
  msgOutF(engine, 'I', "FITTOL:  the ill-conditioning criterion is %g.\n", settings.fitTolerance);
  msgOut(engine, 'I', settings.frameFlag ? "FRAME:   a frame will be plotted.\n"
                                         : "FRAME:   no frame will be plotted.\n");
  // The marker height is formatted and then overwritten by the next line
  // before it is written, so SHOW never shows it; hosts rely on the listing
  // as it stands.
  std::snprintf(engine.lines.message, sizeof engine.lines.message, "MARKH:   the marker height is %g",
                2.0 * settings.markerHeight);
  if (engine.host.levelOne != 0) {
    msgOutF(engine, 'I', "MESLEV:  messages above severity level %d are displayed.\n",
            engine.host.levelOne);
  } else {
    msgOut(engine, 'I', "MESLEV:  messages of all levels are displayed.\n");
  }
  if (engine.host.levelTwo != 0) {
    msgOutF(engine, 'I', "         messages above severity level %d are logged.\n",
            engine.host.levelTwo);
  } else {
    msgOut(engine, 'I', "         messages of all levels are logged.\n");
  }
  if (plot.current != nullptr) {
    msgOutF(engine, 'I', "PENS:    current pens are %d, %d, %d, %d, %d, %d.\n", plot.pens[0],
            plot.pens[1], plot.pens[2], plot.pens[3], plot.pens[4], plot.pens[5]);
    msgOutF(engine, 'I', "PLTZ:    the plotting zone is from (%5.3f, %5.3f) to (%5.3f, %5.3f).\n",
            plot.zone[0], plot.zone[1], plot.zone[2], plot.zone[3]);
  }
  msgOut(engine, 'I', settings.reportLength != 0 ? "REPLEN:  long reports are summarized.\n"
                                                 : "REPLEN:  long reports are given in full.\n");
  if (plot.current != nullptr) {
    msgOutF(engine, 'I', "TXF:     text fonts %d (caption) and %d ( labels ) will be used.\n",
            plot.fonts[0], plot.fonts[1]);
    static const char* const kPrecision[] = {"TXP:     text precision is 0 (string).\n",
                                             "TXP:     text precision is 1 (char).\n",
                                             "TXP:     text precision is 2 (stroke).\n"};
    if (plot.textPrecision >= 0 && plot.textPrecision <= 2) {
      msgOut(engine, 'I', kPrecision[plot.textPrecision]);
    }
  }
  if (settings.vtMode) {
    msgOut(engine, 'I', "VT:      the screen is VT100;  the scrolling region is lines ");
    msgOutF(engine, 'I', "%d thru %d.", settings.vtTop, settings.vtBottom);
  } else {
    msgOut(engine, 'I', "VT:      the screen is assumed to be non-vt100.\n");
  }
  const int count = observationCount(engine.observations);
  const int active = activeObservationCount(engine.observations);
  if (count == 0) {
    msgOut(engine, 'I', "\nThere are no observations in the data list.\n\n");
  } else if (active == count) {
    msgOutF(engine, 'I', "\nThere are %d observations in the data list, all active.\n", count);
  } else {
    msgOutF(engine, 'I', "\nThere are %d observations in the data list, of which %d are active.\n",
            count, active);
  }
  done(engine);
}

}  // namespace zenfit
