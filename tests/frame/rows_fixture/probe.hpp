// What the fixture's last kernel call received.
#pragma once

#include "zyn/vex.h"

struct RowsProbe {
  const char *kernel;
  long long i[3];
  const void *p[3];
  double d[4];
  bool aligned;
};

// A function rather than exported data: sanitizer builds add symbols beside exported data.
ZYN_API RowsProbe *zyn_test_rows_probe(void);
