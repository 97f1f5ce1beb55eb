// The term name table and the pointing model.
//
// A term is known everywhere by its term number, its 1-based position in
// the name table: local terms first, then the 54 standard terms, then the
// generic names introduced during the session. The model is an ordered list
// of up to 50 terms, each with a coefficient (radians), a sigma (radians,
// -1 for none) and two flags; the first zero term number ends it.
#pragma once

#include <cstdint>
#include <cstdio>

#include "constants.h"

namespace zenfit {

struct Engine;

struct TermTable {
  char names[kMaxTermNames][kTermNameSize];      // entry i holds term number i + 1
  char templates[kMaxTermNames][kTermNameSize];  // generic terms: the template matched
  int localTermCount = 0;
  int fixedTermCount = 0;  // local plus standard
  int termNameCount = 0;   // names in use
};

struct Model {
  int termNumber[kMaxModelTerms];  // 0 ends the list
  double coefValue[kMaxModelTerms];
  double coefSigma[kMaxModelTerms];
  int floating[kMaxModelTerms];    // 1 adjusted by FIT, 0 held
  int chained[kMaxModelTerms];     // 1 applied after the terms before it, 0 in parallel
};

inline constexpr int kStandardTermCount = 54;

// The standard term names in catalogue order (index 1..54 is entry 0..53).
extern const char* const kStandardTermNames[kStandardTermCount];

// Start-up hook for site terms: installs none and leaves space unchanged.
void installLocalTerms(int& space, TermTable& table);
// Copies min(space, 54) standard names from entry first (0-based), then
// lowers space by 54.
void installStandardTerms(int& space, TermTable& table, int first);

// Clears and refills the name table, reporting the term space. Returns -1
// when no standard term fits (start-up then fails), else 0.
int loadTermNames(Engine& engine);

// Name of a term number, or "" outside the table.
const char* termName(const TermTable& table, int termNumber);

// Empties the model (every term number 0).
void clearModel(Model& model);

// Reverses the model in place when the ADJUST sense changes: undoing a chain
// of corrections means applying the inverse corrections in reverse order.
void reverseModel(Model& model);

// ---- The term-list reader and the model commands (model_commands.cpp).

// Reads term names from text, word by word (8 characters at most each,
// upper-cased outside quotes), resolving each with resolveTermName in add
// mode, so that a new well-formed generic name is created. Fills list with
// the term numbers, zeros after the last. Returns 1 when at least one word
// was read, 0 for no word at all (which the commands take as "every term"),
// -1 at the first word that is not a term name (copied to badName, 9
// bytes). A new generic name for which the table has no room writes "Too
// many terms: no room for <name>" and is stored as 0; reading goes on.
int readTermList(Engine& engine, const char* text, int list[kMaxModelTerms], char* badName);

// The model commands on their argument text. Each returns 0 on success,
// negative on failure, having written its own messages.
int useTerms(Engine& engine, const char* text);       // USE: float, adding when absent
int loseTerms(Engine& engine, const char* text);      // LOSE: remove (all: forget generics)
int fixTerms(Engine& engine, const char* text);       // FIX: hold
int chainTerms(Engine& engine, const char* text);     // CHAIN: apply in sequence
int parallelTerms(Engine& engine, const char* text);  // PARAL: apply in parallel (zftParal)

// Shows or sets one coefficient (the zftCsrv export). name is upper-cased
// and looked up in the name table (-1 when absent), then among all 50 model
// slots (-2 when absent). With set, *value (radians) is stored and the
// sigma cleared; with report, the old and new values (or the value alone)
// are written in arcseconds. On return *value holds the coefficient in
// force. Flags are never changed.
int setCoefficient(Engine& engine, const char* name, int report, int set, double* value);

// RESET: every coefficient to 0 and every sigma to none (list and flags
// kept); observations, when present, get their working positions back
// from their input copies.
void resetModel(Engine& engine);

// The host query behind GetTermInfo: reads name as a term list; when its
// first term is in the model, writes that entry's floating and chained
// flags. Returns the term number (positive) for a term name; 0 for no name
// or no room for a new generic name; -1 for a word that is no term name.
int termInfo(Engine& engine, const char* name, std::int32_t* floating, std::int32_t* chained);

// ---- Model files (model_file.cpp).

// Writes the model file: caption, statistics record (recomputed by
// applying the model to the active observations), one record per term,
// "END". Returns 0.
int writeModelFile(Engine& engine, std::FILE* file);

// Reads a model file, replacing the model and restoring the ADJUST sense,
// the refraction constants and the fit statistics. Returns 0 on success,
// -2 for a file that ends early, -3 for a bad statistics record, -4 for a
// bad term record, and for a full name table the header's number of
// observations; failed is set on every failure. After any failure the model
// is empty.
int readModelFile(Engine& engine, std::FILE* file, bool& failed);

// ---- Coefficient listing (listing.cpp).

// Lists the model (position 0 or below) or model entry position (1-based)
// alone. Returns 0.
int listCoefficients(Engine& engine, int position);

// ---- Command handlers.
void cmdUse(Engine& engine);
void cmdLose(Engine& engine);
void cmdFix(Engine& engine);
void cmdChain(Engine& engine);
void cmdParal(Engine& engine);
void cmdCsrv(Engine& engine);  // reached by a line that starts with a term name
void cmdReset(Engine& engine);
void cmdInmod(Engine& engine);
void cmdOutmod(Engine& engine);
void cmdClist(Engine& engine);

}  // namespace zenfit
