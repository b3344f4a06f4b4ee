// Pow and Powr (one exponent per element) against glibc's pow/powf in a loop, libmvec's SSE4
// _ZGVbN2vv_pow/_ZGVbN4vv_powf and SLEEF's u10 SSE4 pow (SLEEF has no u35 power), in the same
// run: HA against glibc and SLEEF, LA against libmvec, EP against LA. Bases over [2^-10, 2^10],
// exponents over [-10, 10].
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

extern "C" __m128d _ZGVbN2vv_pow(__m128d, __m128d);
extern "C" __m128 _ZGVbN4vv_powf(__m128, __m128);

using namespace zyn::bench;

namespace {
double expo_d(size_t i) { return (((i * 40503u) % 20001) / 1000.0) - 10.0; }
float expo_f(size_t i) { return static_cast<float>(expo_d(i)); }

template <class T, class V, V (*F)(V, V)>
void vec2(int n, const T *a, const T *b, T *y) {
  constexpr int L = 16 / sizeof(T);
  for (int i = 0; i + L <= n; i += L) {
    if constexpr (sizeof(T) == 8)
      _mm_storeu_pd(y + i, F(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
    else
      _mm_storeu_ps(y + i, F(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
  }
}
__m128d sleef_pow(__m128d x, __m128d y) { return Sleef_powd2_u10sse4(x, y); }
__m128 sleef_powf(__m128 x, __m128 y) { return Sleef_powf4_u10sse4(x, y); }

template <class T>
using Bin = void (*)(int, const T *, const T *, T *);

template <class T>
void group(const char *g, Bin<T> ha, Bin<T> la, Bin<T> ep, T (*a)(size_t), T (*b)(size_t)) {
  const std::vector<int> n = {1000};
  add_binary<T>(g, "HA", ha, a, b, n);
  add_binary<T>(g, "LA", la, a, b, n);
  add_binary<T>(g, "EP", ep, a, b, n);
  if constexpr (sizeof(T) == 8) {
    add_binary<T>(g, "glibc", [](int m, const T *x, const T *e, T *y) { for (int i = 0; i < m; ++i) y[i] = std::pow(x[i], e[i]); }, a, b, n);
    add_binary<T>(g, "libmvec", vec2<T, __m128d, _ZGVbN2vv_pow>, a, b, n);
    add_binary<T>(g, "sleef_u10", vec2<T, __m128d, sleef_pow>, a, b, n);
  } else {
    add_binary<T>(g, "glibc", [](int m, const T *x, const T *e, T *y) { for (int i = 0; i < m; ++i) y[i] = powf(x[i], e[i]); }, a, b, n);
    add_binary<T>(g, "libmvec", vec2<T, __m128, _ZGVbN4vv_powf>, a, b, n);
    add_binary<T>(g, "sleef_u10", vec2<T, __m128, sleef_powf>, a, b, n);
  }
}
}  // namespace

int main(int argc, char **argv) {
  group<double>("dPow", _vexdPow, _vexdPow_50, _vexdPow_26, pos_d, expo_d);
  group<float>("sPow", _vexsPow, _vexsPow_21, _vexsPow_11, pos_f, expo_f);
  group<double>("dPowr", _vexdPowr, _vexdPowr_50, _vexdPowr_26, pos_d, expo_d);
  group<float>("sPowr", _vexsPowr, _vexsPowr_21, _vexsPowr_11, pos_f, expo_f);
  std::vector<Comparison> cmp;
  for (const char *g : {"dPow", "sPow", "dPowr", "sPowr"}) {
    cmp.push_back({g, "HA", {"glibc", "sleef_u10"}});
    cmp.push_back({g, "LA", {"libmvec", "sleef_u10"}});
    cmp.push_back({g, "EP", {"LA", "libmvec"}});
  }
  return run_all(argc, argv, cmp);
}
