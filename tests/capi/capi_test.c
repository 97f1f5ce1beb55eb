/* The host interface driven from C, through the public header only. */
#include <stdio.h>
#include <string.h>

#include "zenfit.h"

static int failures = 0;

#define CHECK(condition)                                              \
  do {                                                                \
    if (!(condition)) {                                               \
      fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, \
              #condition);                                            \
      ++failures;                                                     \
    }                                                                 \
  } while (0)

int main(void) {
  unsigned char parms[192];
  unsigned char points[80 * 4];
  double rms = 99.0, sd = 99.0;
  const char *text;

  CHECK(zftZftini() == 0);
  text = GetMessagePtr();
  CHECK(strstr(text, "|                 ZENFIT                  |\r\n") != NULL);
  CHECK(strstr(text, "There are 54 standard pointing terms.\r\n") != NULL);
  CHECK(strstr(text, "ZENFIT ready for use:  type HELP for assistance, END to quit.\r\n") != NULL);

  CHECK(ClearMessageBuffer() == GetMessagePtr());
  CHECK(GetMessagePtr()[0] == '\0');

  CHECK(zftZftrun("gscatter") == 1);
  CHECK(strcmp(GetMessagePtr(), "* gscatter\r\nUnrecognized command!\r\n?\r\n") == 0);

  ClearMessageBuffer();
  CHECK(zftZftrun("MARKH 1") == 1);
  CHECK(strcmp(GetMessagePtr(), "* MARKH 1\r\n") == 0);
  CHECK(GetMarkerHt() == 0.5);

  CHECK(SetDataPtrs(parms, points) == &pMapPts);
  CHECK(pObsParms == parms && pMapPts == points);
  CHECK(sizeof pObsParms == sizeof(void *));

  CHECK(GetRMSPSD(&rms, &sd) != NULL);
  CHECK(rms == 0.0 && sd == 0.0);
  CHECK(GetTextJustification(7) == 7);
  CHECK(fnPkzen() == 0 && nPkzen == 0);

  {
    char matched[9] = "";
    int32_t floating = -1, chained = -1;
    double value = 0.0;
    CHECK(zftTerm("HXSH2", 1, matched) == 55);
    CHECK(strcmp(matched, "HRFCI") == 0);
    CHECK(zftTerm("NOTATERM", 1, NULL) < 0);
    CHECK(zftCsrv("IH", 0, 0, &value) == -2); /* a name, not in the model */
    CHECK(zftCsrv("XX", 0, 0, &value) == -1);
    zftZftrun("USE IH ID");
    value = 30.0 * 4.84813681109536e-6;
    CHECK(zftCsrv("ih", 0, 1, &value) == 0);
    CHECK(GetTermInfo("IH", &floating, &chained) > 0);
    CHECK(floating == 1 && chained == 1);
    CHECK(zftParal("ID") == 0);
    CHECK(GetTermInfo("ID", &floating, &chained) > 0);
    CHECK(chained == 0);
    floating = chained = 7;
    CHECK(GetTermInfo("ME", &floating, &chained) > 0); /* valid, not in the model */
    CHECK(floating == 7 && chained == 7);
    CHECK(GetTermInfo("???", &floating, &chained) <= 0);
    ClearMessageBuffer();
    zftZftrun("CLIST");
    CHECK(strstr(GetMessagePtr(), "IH") != NULL);
    zftZftrun("LOSE");
  }

  ClearMessageBuffer();
  CHECK(zftZftrun("END") == 1);
  CHECK(strcmp(GetMessagePtr(), "* END\r\n\r\n\r\n* END OF SESSION *\r\n\r\n\r\n") == 0);

  /* The engine stays usable after the end of a session. */
  ClearMessageBuffer();
  zftZftrun("APPEND");
  CHECK(strcmp(GetMessagePtr(),
               "* APPEND\r\nNo observations; cannot append!\r\n?\r\n") == 0);

  if (failures == 0) printf("C API: all checks passed\n");
  return failures == 0 ? 0 : 1;
}
