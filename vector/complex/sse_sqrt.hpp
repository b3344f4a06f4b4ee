// Complex Sqrt of the usual element on SSE, two elements a register and four a loop step (their
// chains are long: two square roots and two divisions), contiguous and strided alike: every lane
// computes its element the same way, so the bits never depend on the place or the stride.
//
// The fast path runs only in round-to-nearest with flush-to-zero and denormals-are-zero off
// (the rows keep the caller's MXCSR); otherwise, and for the other elements, the row's scalar
// operation and its report.
//   z: |x| + |y| within [2^-500, 2^500]: t = sqrt((|x| + |z|)/2) below 0.5 + 2^-20 ulp
//      (see lanes), the other part |y|/(2t) from the unrounded t below 1 + 2^-20 ulp (1.000
//      measured on 10^6 inputs).
//   c: finite parts, not both zero, in double without corrections: a relative error below
//      2^-51 before the rounding to single, so below 0.5 + 2^-27 ulp.
#pragma once

#include <immintrin.h>

#include "vector/complex/complex_map.hpp"

namespace zyn::vk::cx::sse_sqrt {

// MXCSR's rounding control, flush-to-zero and denormals-are-zero.
inline constexpr unsigned kNotNearest = 0x6000 | 0x8000 | 0x40;

// a^2 = p + e, unnormalized: hi = a's top 26 bits (by masking), lo = a - hi (27 bits), p = hi^2
// (exact), e = lo (hi + a) >= 0 for a >= 0 (rounded: off by at most 2^-76 a^2), e < 2^-23 p.
inline void square(__m128d a, __m128d &p, __m128d &e) {
  const __m128d hi = _mm_and_pd(a, _mm_castsi128_pd(_mm_set1_epi64x(~0x7ffffffLL)));
  p = hi * hi, e = (a - hi) * (hi + a);
}

// Lanes whose element takes the fast path, as a mask: |x| + |y| (NaN for a NaN part) within
// [2^-500, 2^500] (z; a smaller part may be anything, its square counting below 2^-70 of
// x^2 + y^2 where it underflows), or finite and not both zero (c: [2^-1000, 2^1000]).
template <class C>
inline __m128d usual(__m128d x, __m128d y) {
  constexpr bool kSingle = sizeof(decltype(C::re)) == 4;
  const __m128d sign = _mm_set1_pd(-0.0), s = _mm_andnot_pd(sign, x) + _mm_andnot_pd(sign, y);
  return _mm_and_pd(_mm_cmpge_pd(s, _mm_set1_pd(kSingle ? 0x1p-1000 : 0x1p-500)),
                    _mm_cmple_pd(s, _mm_set1_pd(kSingle ? 0x1p1000 : 0x1p500)));
}

// The parts of sqrt(x + iy) for two usual elements. z: with v = max(|x|, |y|), u the other,
// m0 = sqrt(fl(v^2 + u^2)) (m0 >= |x|) and B = x^2 + y^2 - m0^2 from exact squares, |z| =
// m0 + B/(2 m0); t0 = sqrt((|x| + m0)/2), A = |x| + m0 - 2 t0^2 exactly, and
// t = t0 (1 + w), w = (2 m0 A + B)/(8 m0 t0^2), one Newton step on both roots (below 2^-74
// relative error before the rounding, from the squares' last products; so t below 0.5 + 2^-20
// ulp); the other part |y|/(2t) = o0 (1 - w), o0 = |y|/(2 t0) rounded: below 1 + 2^-20 ulp.
template <class C>
inline void lanes(__m128d x, __m128d y, __m128d &re, __m128d &im) {
  const __m128d sign = _mm_set1_pd(-0.0), half = _mm_set1_pd(0.5);
  const __m128d ax = _mm_andnot_pd(sign, x), ay = _mm_andnot_pd(sign, y);
  __m128d t, o;
  if constexpr (sizeof(decltype(C::re)) == 4) {  // squares of singles are exact in double
    t = _mm_sqrt_pd((ax + _mm_sqrt_pd(ax * ax + ay * ay)) * half);
    o = ay / (t + t);
  } else {
    __m128d pv, ev, pu, eu, q, qe;
    square(_mm_max_pd(ax, ay), pv, ev);
    square(_mm_min_pd(ax, ay), pu, eu);
    const __m128d es = ev + eu, m0 = _mm_sqrt_pd((pv + pu) + es);  // m0 >= max(|x|, |y|)
    square(m0, q, qe);
    // pv - q exact: both on pv's grid of 2^-50 of its binade, and below 2^3 of it
    const __m128d b = ((pv - q) + pu) + (es - qe);
    const __m128d hs = ax + m0, hl = (m0 - hs) + ax, t0 = _mm_sqrt_pd(hs * half);
    const __m128d o0 = ay / (t0 + t0);
    square(t0, q, qe);
    const __m128d a = (hs - (q + q)) + (hl - (qe + qe));  // hs - 2q exact (Sterbenz)
    // t = t0 (1 + w), |y|/(2t) = o0 (1 - w) to 2^-100
    const __m128d w = ((m0 + m0) * a + b) / (_mm_set1_pd(8.0) * (m0 * t0) * t0);
    t = t0 + t0 * w, o = o0 - o0 * w;
  }
  const __m128d neg = _mm_cmplt_pd(x, _mm_setzero_pd());
  re = _mm_blendv_pd(t, o, neg), im = _mm_or_pd(_mm_blendv_pd(o, t, neg), _mm_and_pd(y, sign));
}

// The element loop of a Sqrt row (Op: the scalar operation with its entry kinds and name);
// kUnit for contiguous vectors (the same steps with constant strides).
template <class Op, bool kUnit, class C>
void loop(int n, Vec<const C> a, Vec<C> y, bool fast) {
  if constexpr (kUnit) a.inc = y.inc = 1;
  auto one = [&](int i) {
    if (fast) {
      const __m128d v = load(&a[i]), x = _mm_unpacklo_pd(v, v), w = _mm_unpackhi_pd(v, v);
      if (_mm_movemask_pd(usual<C>(x, w)) == 3) {
        __m128d re, im;
        lanes<C>(x, w, re, im);
        return store(&y[i], _mm_unpacklo_pd(re, im));
      }
    }
    C r;
    const int status = Op::eval(a[i], a[i], r);
    y[i] = r;
    if (status != 0) report(status, i, a.p, a.p, y.p, Op::kName);
  };
  int i = 0;
  if (fast) {
    for (; i + 4 <= n; i += 4) {
      __m128d x[2], w[2], re[2], im[2];
      for (int k = 0; k < 2; ++k) {
        const __m128d e0 = load(&a[i + 2 * k]), e1 = load(&a[i + 2 * k + 1]);
        x[k] = _mm_unpacklo_pd(e0, e1), w[k] = _mm_unpackhi_pd(e0, e1);
      }
      if (_mm_movemask_pd(_mm_and_pd(usual<C>(x[0], w[0]), usual<C>(x[1], w[1]))) != 3) {
        for (int k = 0; k < 4; ++k) one(i + k);
        continue;
      }
      lanes<C>(x[0], w[0], re[0], im[0]);
      lanes<C>(x[1], w[1], re[1], im[1]);
      for (int k = 0; k < 2; ++k) {
        store(&y[i + 2 * k], _mm_unpacklo_pd(re[k], im[k]));
        store(&y[i + 2 * k + 1], _mm_unpackhi_pd(re[k], im[k]));
      }
    }
  }
  for (; i < n; ++i) one(i);
}

template <class Op, class C>
void each(int n, Vec<const C> a, Vec<C> y) {
  FpScope<Op::kX87, Op::kMx> fp;
  const bool fast = (_mm_getcsr() & kNotNearest) == 0;
  if (a.inc == 1 && y.inc == 1) return loop<Op, true>(n, a, y, fast);
  loop<Op, false>(n, a, y, fast);
}

}  // namespace zyn::vk::cx::sse_sqrt

// The contiguous and strided kernels of a Sqrt row at one level.
#define ZYN_CX_SQRT(row, lvl, C, ...)                                                           \
  extern "C" void zyn_vk_##row##_##lvl(int n, const C *a, C *y) {                               \
    sse_sqrt::each<__VA_ARGS__>(n, Vec<const C>{a, 1}, Vec<C>{y, 1});                           \
  }                                                                                             \
  extern "C" void zyn_vk_##row##I_##lvl(int n, const C *a, int inca, C *y, int incy) {         \
    sse_sqrt::each<__VA_ARGS__>(n, Vec<const C>{a, inca}, Vec<C>{y, incy});                     \
  }
