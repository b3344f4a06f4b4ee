// Process CPU time per iteration: the machine is shared, so wall-clock ratios would measure the
// neighbours. With one thread this is the cost of the call; with two, the total work of both.
#pragma once

#include <cstdint>
#include <ctime>

struct CpuTimer {
  static double now() {
    timespec ts;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec + 1e-9 * ts.tv_nsec;
  }
  double start = now(), total = 0;
  int64_t count = 0;
  void lap() {
    const double t = now();
    total += t - start;
    ++count;
    start = t;
  }
  // Leaves out what happened since the last lap (set-up inside the loop).
  void skip() { start = now(); }
  double mean() const { return count ? total / count : 0; }
};
