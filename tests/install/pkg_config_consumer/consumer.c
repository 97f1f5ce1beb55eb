/* Drives the installed library through its C API from C, built with the
 * flags pkg-config gives. */
#include <stdio.h>
#include <string.h>
#include <zenfit.h>

int main(void) {
  int32_t floating = -1;
  int32_t chained = -1;
  if (zftZftini() != 0) return 2;
  ClearMessageBuffer();
  zftZftrun("USE IH NP");
  zftZftrun("FIX NP");
  if (GetTermInfo("NP", &floating, &chained) <= 0 || floating != 0 || chained != 1) return 3;
  if (GetTextJustification(7) != 7 || fnPkzen() != 0 || nPkzen != 0) return 4;
  zftZftrun("CLIST");
  printf("%s", GetMessagePtr());
  return strstr(GetMessagePtr(), "NP") != NULL ? 0 : 1;
}
