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
