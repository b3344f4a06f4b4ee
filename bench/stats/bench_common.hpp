// Shared pieces of the statistics benchmarks: a process-CPU timer, the core pool with a fixed
// thread count, and random data made once.
#pragma once

#include <cstdint>
#include <ctime>
#include <random>
#include <vector>

#include "zyn/stats.h"

// Process CPU time per iteration: the machine is shared, so wall-clock ratios would measure the
// neighbours. With one thread this is the cost of the call; with two, the total work of both.
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

// The core library's pool, with the thread count fixed by the benchmark.
inline int g_bench_threads = 1;
inline const ZynThreader *threader(int threads) {
  static ZynThreader t = [] {
    ZynThreader c = zyn_serv_ss_threader;
    c.limit = [] { return g_bench_threads; };
    return c;
  }();
  g_bench_threads = threads;
  return &t;
}

// n draws of `dist` from a generator seeded with `seed`.
template <class Dist>
std::vector<double> draws(int64_t n, uint64_t seed, Dist dist) {
  std::vector<double> v(n);
  std::mt19937_64 g(seed);
  for (auto &e : v) e = dist(g);
  return v;
}
