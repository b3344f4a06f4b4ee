// Ln and Add against their anchors: glibc's scalar functions in a loop, libmvec's SSE4 variant,
// SLEEF's SSE4 functions, and a plain SSE loop for Add.
#include <immintrin.h>
#include <sleef.h>

#include <cmath>

#include "bench/common/harness.hpp"
#include "zyn/vex.h"

extern "C" __m128d _ZGVbN2v_log(__m128d);

using zyn::bench::add_binary;
using zyn::bench::add_unary;

namespace {
double pos_d(size_t i) { return std::exp2(((i * 2654435761u) % 20000) / 1000.0 - 10.0); }
float pos_f(size_t i) { return static_cast<float>(pos_d(i)); }
double any_d(size_t i) { return ((i * 2654435761u) % 20001) / 100.0 - 100.0; }
float any_f(size_t i) { return static_cast<float>(any_d(i)); }

template <class F>
void loop_d(int n, const double *a, double *y, F f) {
  for (int i = 0; i < n; ++i) y[i] = f(a[i]);
}

__m128d sleef_logd_u10(__m128d v) { return Sleef_logd2_u10sse4(v); }
__m128d sleef_logd_u35(__m128d v) { return Sleef_logd2_u35sse4(v); }
__m128 sleef_logf_u10(__m128 v) { return Sleef_logf4_u10sse4(v); }
__m128 sleef_logf_u35(__m128 v) { return Sleef_logf4_u35sse4(v); }

// A vector function of one SSE register applied over an array, the tail by the scalar one.
template <__m128d (*Vec)(__m128d)>
void over_pd(int n, const double *a, double *y) {
  int i = 0;
  for (; i + 2 <= n; i += 2) _mm_storeu_pd(y + i, Vec(_mm_loadu_pd(a + i)));
  for (; i < n; ++i) y[i] = std::log(a[i]);
}
template <__m128 (*Vec)(__m128)>
void over_ps(int n, const float *a, float *y) {
  int i = 0;
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(y + i, Vec(_mm_loadu_ps(a + i)));
  for (; i < n; ++i) y[i] = std::log(a[i]);
}
}  // namespace

int main(int argc, char **argv) {
  add_unary<double>("dLn", "HA", _vexdLn, pos_d);
  add_unary<double>("dLn", "LA", _vexdLn_50, pos_d);
  add_unary<double>("dLn", "EP", _vexdLn_26, pos_d);
  add_unary<double>("dLn", "glibc", [](int n, const double *a, double *y) { loop_d(n, a, y, [](double x) { return std::log(x); }); }, pos_d);
  add_unary<double>("dLn", "libmvec", over_pd<_ZGVbN2v_log>, pos_d);
  add_unary<double>("dLn", "sleef_u10", over_pd<sleef_logd_u10>, pos_d);
  add_unary<double>("dLn", "sleef_u35", over_pd<sleef_logd_u35>, pos_d);

  add_unary<float>("sLn", "HA", _vexsLn, pos_f);
  add_unary<float>("sLn", "LA", _vexsLn_21, pos_f);
  add_unary<float>("sLn", "EP", _vexsLn_11, pos_f);
  add_unary<float>("sLn", "glibc", [](int n, const float *a, float *y) { for (int i = 0; i < n; ++i) y[i] = std::log(a[i]); }, pos_f);
  add_unary<float>("sLn", "sleef_u10", over_ps<sleef_logf_u10>, pos_f);
  add_unary<float>("sLn", "sleef_u35", over_ps<sleef_logf_u35>, pos_f);

  add_binary<double>("dAdd", "HA", _vexdAdd, any_d, any_d);
  add_binary<double>("dAdd", "sse_loop", [](int n, const double *a, const double *b, double *y) {
    int i = 0;
    for (; i + 2 <= n; i += 2) _mm_storeu_pd(y + i, _mm_add_pd(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
    for (; i < n; ++i) y[i] = a[i] + b[i];
  }, any_d, any_d);
  add_binary<float>("sAdd", "HA", _vexsAdd, any_f, any_f);
  add_binary<float>("sAdd", "sse_loop", [](int n, const float *a, const float *b, float *y) {
    int i = 0;
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(y + i, _mm_add_ps(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
    for (; i < n; ++i) y[i] = a[i] + b[i];
  }, any_f, any_f);

  return zyn::bench::run_all(argc, argv, {
      {"dLn", "HA", {"glibc", "sleef_u10"}},
      {"dLn", "LA", {"libmvec", "sleef_u35"}},
      {"dLn", "EP", {"LA", "libmvec"}},
      {"sLn", "HA", {"glibc", "sleef_u10"}},
      {"sLn", "LA", {"sleef_u35"}},
      {"sLn", "EP", {"LA", "sleef_u35"}},
      {"dAdd", "HA", {"sse_loop"}},
      {"sAdd", "HA", {"sse_loop"}},
  });
}
