// Lane arithmetic shared by the error-function kernels, written once for vectors of two doubles
// and of four floats, and polynomials by Estrin's scheme.
#pragma once

#include <immintrin.h>

namespace zyn::vk::errfun {
using V = __m128d;

// The same lane arithmetic on doubles and floats.
inline V splat(V, double a) { return _mm_set1_pd(a); }
inline __m128 splat(__m128, double a) { return _mm_set1_ps(static_cast<float>(a)); }
inline V add(V a, V b) { return _mm_add_pd(a, b); }
inline V sub(V a, V b) { return _mm_sub_pd(a, b); }
inline V mul(V a, V b) { return _mm_mul_pd(a, b); }
inline V lt(V a, V b) { return _mm_cmplt_pd(a, b); }
inline V blend(V a, V b, V m) { return _mm_blendv_pd(a, b, m); }
inline V abs_v(V a) { return _mm_andnot_pd(_mm_set1_pd(-0.0), a); }
inline __m128 add(__m128 a, __m128 b) { return _mm_add_ps(a, b); }
inline __m128 sub(__m128 a, __m128 b) { return _mm_sub_ps(a, b); }
inline __m128 mul(__m128 a, __m128 b) { return _mm_mul_ps(a, b); }
inline __m128 lt(__m128 a, __m128 b) { return _mm_cmplt_ps(a, b); }
inline __m128 blend(__m128 a, __m128 b, __m128 m) { return _mm_blendv_ps(a, b, m); }
inline __m128 abs_v(__m128 a) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), a); }

// p(v) = sum c(N - i) v^i by Estrin's scheme, the coefficients from c(i) (highest degree first),
// depth log2 N instead of N; with kLow the constant term is c(N) + c(N + 1), c(N + 1) added first.
// With |v| <= 1 and decreasing terms its rounding error is near Horner's, but the last sums add
// terms of the result's size and can cost an ulp more: where a bound is tight, finish with Horner
// steps instead.
template <int N, bool kLow = false, class W, class C>
inline __attribute__((always_inline)) W estrin_g(W v, C c) {
  W a[N / 2 + 1];
  for (int i = 0; i <= N; i += 2) {
    const W lo = c(N - i);
    if (i + 1 > N) {
      a[i / 2] = lo;
      continue;
    }
    const W t = mul(c(N - i - 1), v);
    a[i / 2] = kLow && i == 0 ? add(add(t, c(N + 1)), lo) : add(lo, t);
  }
  W p = mul(v, v);
  for (int m = N / 2 + 1; m > 1; m = (m + 1) / 2) {
    for (int k = 0; 2 * k < m; ++k) a[k] = 2 * k + 1 < m ? add(a[2 * k], mul(a[2 * k + 1], p)) : a[2 * k];
    p = mul(p, p);
  }
  return a[0];
}
// The same on scalar coefficients c[0..N], and c_low as c(N + 1).
template <int N, bool kLow = false, class W, class C>
inline __attribute__((always_inline)) W estrin(W v, const C *c, C c_low = 0) {
  return estrin_g<N, kLow>(v, [&](int i) { return splat(v, i > N ? c_low : c[i]); });
}

}  // namespace zyn::vk::errfun
