// Arg of double complex elements at HA: atan2(im, re) in round-to-nearest without FTZ/DAZ for
// the usual element (both parts in [2^-500, 2^500] in magnitude, the smaller over the larger at
// least 2^-8). With n = min(|im|, |re|), d = max, q = n/d and c = q cut to 7 significant bits
// (so q - c < 2^-6 q):
//   atan(q) = atan(c) + atan(r),  r = (n - c d) / (d + c n),  |r| < 2^-6 q.
// c d is exact as c dh + c dl (d split at 46 bits) and n - c dh is exact (within a factor 2), so
// r carries about 4 rounding errors relative to itself, below 2^-57 q in all. atan(r) is its
// series to r^9 (remainder below 2^-60 r), atan(c) a table of hi + lo (long double). The
// quadrant (0, pi/2 or pi, plus or minus) is added to atan(c) exactly and the rest rounded once:
// error below 0.6 ulp. Other elements, and every element in other floating-point states, take
// the real Atan2 lanes unchanged.
#pragma once

#include <immintrin.h>

#include <cmath>
#include <cstdint>

#include "vector/invtrig/invtrig_core.hpp"

namespace zyn::vk::cx::arg {

// atan(c) as hi + lo for c = (1 + m/64) 2^(e-8), index 64 e + m, e = 0..8 (the last c = 1).
struct AtanTable {
  static constexpr int kSize = 8 * 64 + 1;
  alignas(16) double v[kSize][2] = {};
  // Folded by the compiler (its arbitrary-precision builtins): no code runs at load, so loading
  // the module leaves the floating-point state as it was.
  constexpr AtanTable() {
    for (int i = 0; i < kSize; ++i) {
      const long double t = __builtin_atanl(__builtin_ldexpl(1 + (i % 64) / 64.0L, i / 64 - 8));
      v[i][0] = static_cast<double>(t);
      v[i][1] = static_cast<double>(t - v[i][0]);
    }
  }
};
inline constexpr AtanTable kAtanTable{};

// The real HA Atan2 lanes, with the table form in front for the usual element.
struct ArgHa : invtrig::Atan2Fn<double, invtrig::DHa, invtrig::kAtan2> {
  static constexpr bool kNearestOnly = true;

  // Lane mask (movemask bits) of the elements of (y, x) = (im, re) with both parts in range.
  static int usual(__m128d y, __m128d x) {
    const __m128d sg = _mm_set1_pd(-0.0), lo = _mm_set1_pd(0x1p-500), hi = _mm_set1_pd(0x1p500);
    const __m128d ay = _mm_andnot_pd(sg, y), ax = _mm_andnot_pd(sg, x);
    const __m128d in_y = _mm_and_pd(_mm_cmpge_pd(ay, lo), _mm_cmple_pd(ay, hi));
    const __m128d in_x = _mm_and_pd(_mm_cmpge_pd(ax, lo), _mm_cmple_pd(ax, hi));
    return _mm_movemask_pd(_mm_and_pd(in_y, in_x));
  }

  // r[h] = atan2(in[h][0], in[h][1]) for two vectors whose lanes are usual() (all) or given 1 + i
  // where not. Returns the lanes (bit h * 2 + lane) declined for a quotient below 2^-8.
  __attribute__((always_inline)) static int fast(const __m128d (&in)[2][2], __m128d (&r)[2], bool all = false) {
    const __m128d sg = _mm_set1_pd(-0.0), one = _mm_set1_pd(1.0), z = _mm_setzero_pd();
    const __m128d mhi = _mm_castsi128_pd(_mm_set1_epi64x(static_cast<int64_t>(0xffffc00000000000ull)));
    const __m128d m46 = _mm_castsi128_pd(_mm_set1_epi64x(static_cast<int64_t>(0xffffffffffffff80ull)));
    int declined = 0;
    for (int h = 0; h < 2; ++h) {
      __m128d y = in[h][0], x = in[h][1];
      if (!all) {
        const int u = usual(y, x);
        const __m128d m = _mm_castsi128_pd(_mm_set_epi64x(u & 2 ? -1 : 0, u & 1 ? -1 : 0));
        y = _mm_blendv_pd(one, y, m), x = _mm_blendv_pd(one, x, m);
      }
      const __m128d ay = _mm_andnot_pd(sg, y), ax = _mm_andnot_pd(sg, x);
      const __m128d sw = _mm_cmpgt_pd(ay, ax);
      const __m128d n = _mm_blendv_pd(ay, ax, sw), d = _mm_blendv_pd(ax, ay, sw);
      const __m128d q = _mm_div_pd(n, d), small = _mm_cmplt_pd(q, _mm_set1_pd(0x1p-8));
      declined |= _mm_movemask_pd(small) << 2 * h;
      const __m128d c = _mm_and_pd(_mm_max_pd(q, _mm_set1_pd(0x1p-8)), mhi);
      const __m128i idx = _mm_sub_epi64(_mm_srli_epi64(_mm_castpd_si128(c), 46), _mm_set1_epi64x((1023 - 8) << 6));
      const __m128d t0 = _mm_load_pd(kAtanTable.v[_mm_cvtsi128_si64(idx)]);
      const __m128d t1 = _mm_load_pd(kAtanTable.v[_mm_extract_epi64(idx, 1)]);
      const __m128d th = _mm_unpacklo_pd(t0, t1), tl = _mm_unpackhi_pd(t0, t1);
      const __m128d dh = _mm_and_pd(d, m46), dl = _mm_sub_pd(d, dh);
      const __m128d N = _mm_sub_pd(_mm_sub_pd(n, _mm_mul_pd(c, dh)), _mm_mul_pd(c, dl));
      const __m128d rr = _mm_div_pd(N, _mm_add_pd(d, _mm_mul_pd(c, n)));
      // atan(r) = r + r^3 (-1/3 + r^2/5 - r^4/7 + r^6/9)
      const __m128d u = _mm_mul_pd(rr, rr);
      __m128d P = _mm_sub_pd(_mm_mul_pd(u, _mm_set1_pd(1.0 / 9)), _mm_set1_pd(1.0 / 7));
      P = _mm_add_pd(_mm_mul_pd(P, u), _mm_set1_pd(1.0 / 5));
      P = _mm_sub_pd(_mm_mul_pd(P, u), _mm_set1_pd(1.0 / 3));
      const __m128d low = _mm_add_pd(tl, _mm_add_pd(rr, _mm_mul_pd(_mm_mul_pd(rr, u), P)));
      // theta = Q + s atan(q): Q = pi/2 swapped, else pi where re < 0, else 0; s = -1 where swapped xor re < 0
      const __m128d flip = _mm_and_pd(sg, _mm_xor_pd(sw, x));
      const __m128d ah = _mm_xor_pd(th, flip), al = _mm_xor_pd(low, flip);
      const __m128d qh = _mm_blendv_pd(_mm_blendv_pd(z, _mm_set1_pd(0x1.921fb54442d18p+1), x),
                                       _mm_set1_pd(0x1.921fb54442d18p+0), sw);
      const __m128d ql = _mm_blendv_pd(_mm_blendv_pd(z, _mm_set1_pd(0x1.1a62633145c07p-53), x),
                                       _mm_set1_pd(0x1.1a62633145c07p-54), sw);
      const __m128d H = _mm_add_pd(qh, ah), E = _mm_add_pd(_mm_sub_pd(qh, H), ah);  // |qh| >= |ah| or qh = 0
      const __m128d res = _mm_add_pd(H, _mm_add_pd(E, _mm_add_pd(ql, al)));
      r[h] = _mm_xor_pd(res, _mm_and_pd(sg, y));
    }
    return declined;
  }
};

}  // namespace zyn::vk::cx::arg
