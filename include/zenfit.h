/*
 * ZENFIT: telescope pointing analysis engine - host interface.
 *
 * A host initialises the engine once with zftZftini, then hands it one
 * command line at a time with zftZftrun. Everything the engine says is
 * appended to a message buffer (line ends stored as CR LF) that the host
 * reads with GetMessagePtr and empties with ClearMessageBuffer; when a new
 * message would take the buffer past 2000 bytes, the older text is dropped.
 *
 * The host may lend the engine two data areas with SetDataPtrs: a 192-byte
 * run-parameter block and an array of 80-byte point entries (ten doubles
 * per observation), which INDAT fills for the host to display.
 *
 * Angles returned to the host are in radians unless stated otherwise.
 * The engine is single-threaded: never call it from two threads at once,
 * and never call zftZftrun from inside the engine.
 */
#ifndef ZENFIT_H
#define ZENFIT_H

#include <stdint.h>

#if defined(_WIN32)
#  if defined(ZENFIT_BUILDING_LIBRARY)
#    define ZENFIT_API __declspec(dllexport)
#  else
#    define ZENFIT_API __declspec(dllimport)
#  endif
#else
#  define ZENFIT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Initialises the engine: banner, term names, procedure library, start-up
 * procedure INIT and star catalogue. Returns 0 on success. Call once. */
ZENFIT_API int zftZftini(void);

/* Runs one command line (at most 200 characters are used), together with
 * any procedure it starts. The line "$" runs a whole session from standard
 * input instead. Always returns 1: success and failure are reported only as
 * text in the message buffer. */
ZENFIT_API int zftZftrun(const char *line);

/* Stores the host's run-parameter block and point array; returns the
 * address of the pMapPts variable. */
ZENFIT_API void **SetDataPtrs(void *obsParms, void *mapPts);

/* Copies the sky RMS and population SD of the last fit (radians; the SD
 * is -1 with fewer than one degree of freedom; both 0 before any fit).
 * Returns the address of the engine's SD value. */
ZENFIT_API double *GetRMSPSD(double *skyRms, double *popSd);

/* The plot marker height (half the value given to MARKH; 0.1 at start). */
ZENFIT_API double GetMarkerHt(void);

/* Parses name as a term name (a new well-formed generic name is added to
 * the name table, as USE would). When the term is in the current model,
 * writes its floating flag (1 fitted, 0 fixed) and chained flag (1
 * chained, 0 parallel) through the pointers; otherwise leaves them
 * untouched. Returns the term number (positive) for a term name; 0 for an
 * empty name or a generic name with no room left; -1 otherwise. */
ZENFIT_API int GetTermInfo(const char *name, int32_t *floating, int32_t *chained);

/* Shows or sets one model coefficient, as typing the term's name does.
 * name: a term name (any case). report non-zero: write the report line to
 * the message buffer (arcseconds). set non-zero: store *value (radians)
 * and clear the term's sigma. On return *value holds the coefficient in
 * force (radians). Returns 0; -1 when the name is no known term name; -2
 * when the term is not in the model. */
ZENFIT_API int zftCsrv(const char *name, int report, int set, double *value);

/* The PARAL command: text is a list of term names separated by blanks (any
 * case); each is made parallel (evaluated at the same point as the term
 * before it). An empty list makes every term of the model parallel.
 * Returns 0; -1 for a word that is no term name (nothing written) or a
 * term that is not in the model (reported in the message buffer). */
ZENFIT_API int zftParal(const char *text);

/* Turns a term name (upper case) into its term number. A known name
 * returns its number. A harmonic or polynomial name that fits one of the
 * generic templates copies the template (at most 8 letters and a NUL) to
 * matchedTemplate when that is not null, and then returns 0 when addMode
 * is 0 or no room is left, else adds the name and returns its new number.
 * Returns -1 for a name that is neither. */
ZENFIT_API int zftTerm(const char *name, int addMode, char *matchedTemplate);

/* The last plot drawn (G, GC, GAM, GSCAT, GHYST, GDIST, GMAP, GSMAP) as the
 * text of an SVG document: the whole page the plot was drawn on, whatever
 * device the plot went to (page units are points, 720 by 540). Returns ""
 * before the first plot; a plot command that fails leaves the text of the
 * plot before it. The text belongs to the engine: the pointer stays valid,
 * and the text unchanged, until the next call of zftZftrun or zftZftini. */
ZENFIT_API const char *GetPlotSvg(void);

/* Inert: returns its argument. */
ZENFIT_API int GetTextJustification(int justification);

/* Empties the message buffer; returns its address. */
ZENFIT_API char *ClearMessageBuffer(void);

/* The message buffer (NUL-terminated text, CR LF line ends). */
ZENFIT_API char *GetMessagePtr(void);

/* The host's data areas as last given to SetDataPtrs (null until then). */
ZENFIT_API extern void *pObsParms;
ZENFIT_API extern void *pMapPts;

/* Inert exports kept for hosts that link against them. */
ZENFIT_API int fnPkzen(void);
ZENFIT_API extern int nPkzen;

#ifdef __cplusplus
}  /* extern "C" */

class ZENFIT_API CPkzen {
 public:
  CPkzen();
  CPkzen &operator=(const CPkzen &other);
};
#endif

#endif /* ZENFIT_H */
