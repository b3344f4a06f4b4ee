// Test helpers: a threading table that runs each worker on its own std::thread, and data.
#pragma once

#include <algorithm>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

#include "zyn/fitting.h"

namespace dftest {

inline int g_threads = 1;
inline int g_runs = 0;  // calls of run, to see that threads were asked for

inline void run_on_threads(int threads, int, void *params, zyn_thread_body worker) {
  ++g_runs;
  std::vector<std::thread> pool;
  for (int k = 1; k < threads; ++k) pool.emplace_back(worker, k, threads, params);
  worker(0, threads, params);
  for (auto &t : pool) t.join();
}
inline int thread_limit() { return g_threads; }
inline const ZynThreading kThreading = {run_on_threads, nullptr, nullptr, nullptr, thread_limit};

// Sorted breakpoints with irregular steps in [0, 10).
template <class T>
std::vector<T> partition(int64_t nx, uint32_t seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(0.2, 1.8);
  std::vector<double> h(nx - 1);
  double sum = 0;
  for (auto &v : h) sum += (v = u(g));
  std::vector<T> x(nx);
  double acc = 0;
  for (int64_t i = 0; i < nx; ++i) {
    x[i] = static_cast<T>(10.0 * acc / sum);
    if (i + 1 < nx) acc += h[i];
  }
  x[nx - 1] = T(10);
  return x;
}

// The same span, uniform when asked.
template <class T>
std::vector<T> grid(int64_t nx, uint32_t seed, bool uniform) {
  std::vector<T> x = partition<T>(nx, seed);
  if (uniform)
    for (int64_t i = 0; i + 1 < nx; ++i) x[i] = static_cast<T>(i) * (T(10) / static_cast<T>(nx - 1));
  return x;
}

// Reference cell: 0 below x[0], i for x[i-1] <= s < x[i], nx - 1 on the last breakpoint, nx above.
template <class T>
int64_t scan_cell(const std::vector<T> &x, T s) {
  const int64_t nx = static_cast<int64_t>(x.size());
  if (s == x[nx - 1]) return nx - 1;
  int64_t c = 0;
  while (c < nx && x[c] <= s) ++c;
  return c;
}

// The same cell by binary search, for callbacks that must be quick.
template <class T>
int64_t bsearch_cell(const std::vector<T> &x, T s) {
  const int64_t nx = static_cast<int64_t>(x.size());
  if (s == x[nx - 1]) return nx - 1;
  return std::upper_bound(x.begin(), x.end(), s) - x.begin();
}

// Sites: random inside and around the partition, the breakpoints themselves, the ends.
template <class T>
std::vector<T> sites(const std::vector<T> &x, int64_t n, uint32_t seed) {
  std::mt19937_64 g(seed);
  const double lo = x.front(), hi = x.back(), w = hi - lo;
  std::uniform_real_distribution<double> u(lo - 0.05 * w, hi + 0.05 * w);
  std::uniform_int_distribution<size_t> pick(0, x.size() - 1);
  std::vector<T> s;
  for (int64_t i = 0; i < n; ++i) {
    switch (i % 4) {
      case 0: case 1: s.push_back(static_cast<T>(u(g))); break;
      case 2: s.push_back(x[pick(g)]); break;
      default: s.push_back(i % 8 == 3 ? x.front() : x.back()); break;
    }
  }
  return s;
}

// Moves sites off the breakpoints of a uniform partition (ends excepted): their cell there
// depends on rounding by design.
template <class T>
void off_grid(std::vector<T> &s, const std::vector<T> &xu) {
  for (auto &v : s)
    if (v != xu.front() && v != xu.back()) v += static_cast<T>(0.25) * (xu[1] - xu[0]);
}

}  // namespace dftest
