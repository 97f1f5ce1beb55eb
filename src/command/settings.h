// Session settings: the switch and value commands and SHOW.
#pragma once

#include "constants.h"

namespace zenfit {

struct Engine;

struct Settings {
  int adjustSense = 1;          // 1 model adjusts telescope to stars, 2 stars to telescope
  int captionFlag = 1;          // captions are plotted
  int clearMode = -1;           // -1 whole surface, 0 none, 1 plotting zone
  int echoFlag = 0;             // procedure lines are echoed
  int frameFlag = 1;            // a frame is plotted
  double markerHeight = 0.1;    // half the value given to MARKH
  int reportLength = 0;         // 0 full, 1 summarised, 2 third form
  int vtMode = 0;               // 1 VT100 with a scrolling region
  int vtTop = 0;
  int vtBottom = 0;
  double fitTolerance = 0.01;   // ill-conditioning criterion (FITTOL)
  char procedureLibrary[kFileNameSize] = "procs";
  char starCatalog[kFileNameSize] = "stars";
  char helpName[21] = "zenfit";
  char helpPrefix[kFileNameSize] = "";
  char helpSuffix[kFileNameSize] = ".shl";
  char picInitialization[kFileNameSize] = "pic.ini";
  char graphicsDeviceName[kFileNameSize] = "zenfit";
  char graphicsHardcopy[kFileNameSize] = "zenfit.ps";
};

// Resets every setting to its start-up value.
void resetSettings(Settings& settings);

// Setters: validate, store and report. 0 on success, non-zero on failure.
int setAdjust(Engine& engine, int sense);
int setAppend(Engine& engine, int flag);
int setClearMode(Engine& engine, int mode);
int setVt(Engine& engine, int top, int bottom);

// Command handlers.
void cmdAdjust(Engine& engine);
void cmdAppend(Engine& engine);
void cmdCapt(Engine& engine);
void cmdClrng(Engine& engine);
void cmdEcho(Engine& engine);
void cmdFrame(Engine& engine);
void cmdMarkh(Engine& engine);
void cmdMeslev(Engine& engine);
void cmdReplen(Engine& engine);
void cmdSetcap(Engine& engine);
void cmdShow(Engine& engine);
void cmdVt(Engine& engine);

}  // namespace zenfit
