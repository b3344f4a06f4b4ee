// Shared pieces of the statistics benchmarks: a process-CPU timer, the core pool with a fixed
// thread count, and random data made once.
#pragma once

#include <benchmark/benchmark.h>

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

// The covariance anchor: CPU time of _rnxdSSBasic's fast covariance of x (n observations of p
// variables, by observation) on one thread.
inline double basic_cov_time(benchmark::State &state, const double *x, int64_t p, int64_t n) {
  int64_t storage = SsStorageByObservation, full = SsMatrixFull;
  std::vector<double> mean(p), cov(p * p);
  double accw[2];
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, x, nullptr, nullptr, 1);
  __rnxdSSEditCovCor(task, mean.data(), cov.data(), &full, nullptr, nullptr);
  _rnxdSSEditTask(task, SsEditAccumulatedWeights, accw);
  CpuTimer t;
  for (auto _ : state) {
    accw[0] = accw[1] = 0;
    if (_rnxdSSBasic(task, SsEstimateCov, SsMethodFast, threader(1)) != 0) state.SkipWithError("status");
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  return t.mean();
}
