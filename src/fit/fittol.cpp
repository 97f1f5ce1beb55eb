#include <cstdio>

#include "data/decode.h"
#include "engine.h"
#include "fit/fit.h"

namespace zenfit {

void cmdFittol(Engine& engine) {
  double tolerance = engine.settings.fitTolerance;
  int pos = 7;  // just after "FITTOL"
  int status = kDecodedNull;
  decodeArgument(engine.lines.command, pos, tolerance, status);
  if (status == kDecodedError || !(tolerance >= 0.0 && tolerance < 1.0)) {
    msgOut(engine, 'E', "Parameter error!\n");
    return;
  }
  engine.settings.fitTolerance = tolerance + 0.0;  // "-0" is stored and shown as 0
  msgOutF(engine, 'I', "Ill-conditioning criterion = %g\n", engine.settings.fitTolerance);
  engine.dispatch.status = kStatusDone;
}

}  // namespace zenfit
