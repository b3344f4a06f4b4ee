// Inputs and loop adapters shared by the vector benchmarks of the root, trigonometric and
// error-function families.
#pragma once

#include <immintrin.h>

#include <cmath>
#include <cstddef>

#include "bench/common/harness.hpp"
#include "zyn/vex.h"

namespace zyn::bench {
inline double trig_d(size_t i) { return ((i * 2654435761u) % 20001) / 100.0 - 100.0; }  // [-100, 100]
inline float trig_f(size_t i) { return static_cast<float>(trig_d(i)); }
inline double pos_d(size_t i) { return std::exp2(((i * 2654435761u) % 20000) / 1000.0 - 10.0); }
inline float pos_f(size_t i) { return static_cast<float>(pos_d(i)); }
inline double unit_d(size_t i) { return (((i * 2654435761u) % 19999) + 1) / 10000.0 - 1.0; }  // (-1, 1)
inline float unit_f(size_t i) { return static_cast<float>(unit_d(i)); }

template <class F>
auto vec_d(F f) {
  return [f](int n, const double *a, double *y) {
    int i = 0;
    for (; i + 2 <= n; i += 2) _mm_storeu_pd(y + i, f(_mm_loadu_pd(a + i)));
  };
}
template <class F>
auto vec_s(F f) {
  return [f](int n, const float *a, float *y) {
    int i = 0;
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(y + i, f(_mm_loadu_ps(a + i)));
  };
}
template <class F>
auto loop(F f) {
  return [f](int n, const auto *a, auto *y) {
    for (int i = 0; i < n; ++i) y[i] = f(a[i]);
  };
}
}  // namespace zyn::bench

#define ZYN_LEVELS_D(stem, make)                   \
  add_unary<double>("d" #stem, "HA", _vexd##stem, make);    \
  add_unary<double>("d" #stem, "LA", _vexd##stem##_50, make); \
  add_unary<double>("d" #stem, "EP", _vexd##stem##_26, make)
#define ZYN_LEVELS_S(stem, make)                   \
  add_unary<float>("s" #stem, "HA", _vexs##stem, make);     \
  add_unary<float>("s" #stem, "LA", _vexs##stem##_21, make); \
  add_unary<float>("s" #stem, "EP", _vexs##stem##_11, make)
