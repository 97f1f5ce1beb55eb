// Procedures: the procedure store, INPRO, CALL and RETURN.
#pragma once

#include "constants.h"

namespace zenfit {

struct Engine;

struct ProcedureStore {
  char lines[kProcedureLines][kLineLength + 1];
};

inline constexpr int kProcedureNameSize = 11;  // 10 characters and terminator

void cmdInpro(Engine& engine);
void cmdCall(Engine& engine);
void cmdReturn(Engine& engine);

}  // namespace zenfit
