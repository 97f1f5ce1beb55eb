/* The host interface driven from C, through the public header only. */
#include <stdio.h>
#include <string.h>

#include "zenfit.h"

/* The host's engine lives as long as the process, and so do the fonts its
 * plots loaded; fontconfig keeps its patterns' values behind encoded
 * offsets that the leak checker of the sanitizer build cannot follow, so
 * that they look lost at exit. */
const char *__lsan_default_suppressions(void) { return "leak:libfontconfig.so\n"; }

static int failures = 0;
#define CHECK(c) (void)((c) || (++failures, fprintf(stderr, "line %d: %s\n", __LINE__, #c)))

/* Runs a line into an emptied buffer: true when it succeeds and leaves text there. */
static int run(const char *line, const char *text) {
  ClearMessageBuffer();
  return zftZftrun(line) == 1 && strcmp(GetMessagePtr(), text) == 0;
}

int main(void) {
  unsigned char parms[192], points[80 * 4];
  double rms = 99.0, sd = 99.0, value = 0.0;
  int32_t floating = 7, chained = 7;
  char matched[9] = "";

  CHECK(zftZftini() == 0);
  CHECK(strstr(GetMessagePtr(), "terms.\r\n* INPRO\r\n") && strstr(GetMessagePtr(), "quit.\r\n"));
  CHECK(ClearMessageBuffer() == GetMessagePtr() && GetMessagePtr()[0] == '\0');
  CHECK(run("gscatter", "* gscatter\r\nUnrecognized command!\r\n?\r\n"));
  CHECK(run("MARKH 1", "* MARKH 1\r\n") && GetMarkerHt() == 0.5); /* half the value given */
  CHECK(run("MARKH", "* MARKH\r\n") && GetMarkerHt() == 0.1);

  CHECK(SetDataPtrs(parms, points) == &pMapPts && pObsParms == parms && pMapPts == points);
  CHECK(GetRMSPSD(&rms, &sd) != NULL && rms == 0.0 && sd == 0.0);
  CHECK(GetTextJustification(7) == 7 && fnPkzen() == 0 && nPkzen == 0);

  CHECK(zftTerm("HXSH2", 1, matched) == 55 && strcmp(matched, "HRFCI") == 0);
  CHECK(zftTerm("NOTATERM", 1, NULL) < 0);
  CHECK(zftCsrv("IH", 0, 0, &value) == -2); /* a name, not in the model */
  CHECK(zftCsrv("XX", 0, 0, &value) == -1);
  CHECK(GetTermInfo("ME", &floating, &chained) > 0 && floating == 7 && chained == 7);
  CHECK(GetTermInfo("???", &floating, &chained) <= 0);
  zftZftrun("USE IH ID");
  value = 30.0 * 4.84813681109536e-6; /* 30 arcseconds */
  CHECK(zftCsrv("ih", 0, 1, &value) == 0 && zftParal("ID") == 0);
  CHECK(GetTermInfo("IH", &floating, &chained) > 0 && floating == 1 && chained == 1);
  CHECK(GetTermInfo("ID", &floating, &chained) > 0 && chained == 0);
  CHECK(run("CLIST", "* CLIST\r\n  1     IH         +30.000\r\n  2   & ID          +0.000\r\n"));

  /* A procedure that runs into the end of the library ends the session; the
     next line runs at once, in a usable engine. */
  CHECK(run("CALL NORET",
            "* CALL NORET\r\n* FRAME OFF\r\n* END\r\n\r\n\r\n* END OF SESSION *\r\n\r\n\r\n"));
  CHECK(run("APPEND", "* APPEND\r\nNo observations; cannot append!\r\n?\r\n"));

  /* The last plot as SVG text. The PDF device stays open to the end (the
     host's engine is never shut down), so no file is written here. */
  CHECK(GetPlotSvg() != NULL && GetPlotSvg()[0] == '\0');
  CHECK(run("GDIST", "* GDIST\r\nNo observations to plot!\r\n?\r\n") && GetPlotSvg()[0] == '\0');
  zftZftrun("PERFCT 30");
  CHECK(run("PLTON sky.pdf", "* PLTON sky.pdf\r\n"));
  CHECK(run("GDIST", "* GDIST\r\nPlot drawn on page 1 of sky.pdf (written at PLTOFF or END)\r\n"));
  CHECK(strncmp(GetPlotSvg(), "<?xml", 5) == 0 && strstr(GetPlotSvg(), "</svg>") != NULL);
  if (failures == 0) printf("C API: all checks passed\n");
  return failures == 0 ? 0 : 1;
}
