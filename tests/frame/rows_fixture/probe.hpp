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

ZYN_API_DATA RowsProbe zyn_test_rows_probe;
