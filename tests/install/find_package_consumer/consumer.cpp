// Drives the installed library through its C API from C++.
#include <zenfit.h>

#include <cmath>
#include <cstdio>
#include <cstring>

int main() {
  if (zftZftini() != 0) return 2;
  ClearMessageBuffer();
  zftZftrun("USE IH ID");
  zftZftrun("IH 12.5");
  double value = 0.0;
  if (zftCsrv("IH", 0, 0, &value) != 0) return 3;
  if (std::fabs(value * 206264.80624709636 - 12.5) > 1e-9) return 4;
  CPkzen inert;
  inert = CPkzen();
  std::printf("%s", GetMessagePtr());
  return std::strstr(GetMessagePtr(), "new =  +12.50\r\n") != nullptr ? 0 : 1;
}
