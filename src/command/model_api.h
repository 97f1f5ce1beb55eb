// Model commands that hosts also call directly (zftCsrv, zftParal), and
// USE for the front ends. Each writes its own messages.
#pragma once

#include <cstdint>

namespace zenfit {

struct Engine;

// USE on a term list. 0, -1 for a word that is no term name, -2 when the
// model is full.
int useCommand(Engine& engine, const char* text);

// PARAL on a term list. 0; -1 for a word that is no term name (nothing is
// said) or a term not in the model (reported).
int parallelCommand(Engine& engine, const char* text);

// Shows or sets one coefficient (the zftCsrv export): name is any case;
// with set, *value (radians) is stored and the sigma cleared; with report,
// the old and new values (or the value alone) are written in arcseconds.
// On return *value holds the coefficient in force. 0, -1 when the name is
// no term name, -2 when the term is not in the model.
int coefficientCommand(Engine& engine, const char* name, bool report, bool set, double* value);

// The host query behind GetTermInfo: reads name as a term list (a new
// generic name is created as USE would); when its first term is in the
// model, writes that entry's floating and chained flags. Returns the term
// number (positive) for a term name; 0 for no name or no room for a new
// generic name; -1 for a word that is no term name.
int termInfoCommand(Engine& engine, const char* name, std::int32_t* floating,
                    std::int32_t* chained);

}  // namespace zenfit
