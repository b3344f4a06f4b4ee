// Pieces of the complex rows' SSE forms carried as unrounded hi + lo pairs: the pair itself,
// Dekker's square and product rounded once, and sine and cosine of one argument as pairs.
#pragma once

#include <immintrin.h>

#include "vector/trig/dd.hpp"
#include "vector/trig/trig_core.hpp"

namespace zyn::vk::cx::ddv {

using V = __m128d;
using dd::set;

// A value hi + lo, not normalized: |lo| below 2^-6 |hi| for the exponential's pairs, 0.2 |hi|
// for the sine and cosine the quotients take.
struct DD {
  V hi, lo;
};
inline __attribute__((always_inline)) DD norm(V hi, V lo) {  // |hi| >= |lo|
  DD r;
  dd::fast_two_sum(hi, lo, r.hi, r.lo);
  return r;
}
inline __attribute__((always_inline)) DD neg_if(DD a, V sign) { return {_mm_xor_pd(a.hi, sign), _mm_xor_pd(a.lo, sign)}; }
// a b rounded once: p + e exactly by Dekker, the cross terms rounded (b normalized or a.lo b.lo
// below 2^-59 of the product).
inline __attribute__((always_inline)) V mul_round(DD a, DD b) {
  V p, e;
  dd::two_prod(a.hi, b.hi, p, e);
  return _mm_add_pd(p, _mm_add_pd(e, _mm_add_pd(_mm_mul_pd(a.hi, b.lo), _mm_mul_pd(a.lo, b.hi))));
}
// a^2 = p + e exactly (Dekker, one split), |a| within [2^-480, 2^480].
inline __attribute__((always_inline)) void square(V a, V &p, V &e) {
  V h, l;
  dd::split(a, h, l);
  p = _mm_mul_pd(a, a);
  const V hl = _mm_mul_pd(h, l);
  e = _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(h, h), p), _mm_add_pd(hl, hl)), _mm_mul_pd(l, l));
}

inline __attribute__((always_inline)) V estrin6(V z, V z2, V z4, const double *k) {
  auto pair = [&](int i) { return _mm_add_pd(set(k[i]), _mm_mul_pd(z, set(k[i + 1]))); };
  return _mm_add_pd(_mm_add_pd(pair(0), _mm_mul_pd(z2, pair(2))), _mm_mul_pd(z4, pair(4)));
}
// t = n pi/2 + hi + lo. For |t| < 2^10 and |hi| >= 2^-8: t - n C1 exact, n C2 (pi/2 - C1 - C2
// below 2^-85) and its rounding below 2^-75, the subtraction's error kept by a fast two-sum, so
// below 2^-67 relative; other lanes by the four-piece reduction (absolute error below 2^-125).
inline __attribute__((always_inline)) trig::Reduced reduce(V t) {
  using data::trig_pio2_2;
  trig::Reduced r;
  r.n = _mm_round_pd(_mm_mul_pd(t, set(trig::kTwoOverPi)), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
  const V t1 = _mm_sub_pd(t, _mm_mul_pd(r.n, set(trig_pio2_2[0])));
  dd::fast_two_sum(t1, _mm_mul_pd(r.n, set(-trig_pio2_2[1])), r.hi, r.lo);
  const V sign = set(-0.0);
  const V slow = _mm_or_pd(_mm_cmplt_pd(_mm_andnot_pd(sign, r.hi), set(0x1p-8)),
                           _mm_cmpge_pd(_mm_andnot_pd(sign, t), set(0x1p10)));
  if (__builtin_expect(_mm_movemask_pd(slow) != 0, 0)) {
    const trig::Reduced a = trig::reduce<true>(t);  // the same n
    r.hi = _mm_blendv_pd(r.hi, a.hi, slow), r.lo = _mm_blendv_pd(r.lo, a.lo, slow);
  }
  return r;
}

// sin t and cos t for t zero or 2^-500 <= |t| < 2^20: the reduction to r = hi + lo (reduce), the
// polynomials of the real rows on z = hi^2 by Estrin's scheme, and the rounding error of z
// (Dekker) kept in cos r = 1 - z/2 + ..., so each below 2^-56 relative (without kExactZ the
// rounding of z dropped: cos below 2^-54). kNorm: the pairs normalized (for products), else
// |lo| below 0.2 |hi|.
// With kCp also 1 + cos t, where it would cancel (n = 2 mod 4) as 1 - cos r = z/2 + ... .
struct Trig {
  DD s, c, cp;
};
template <bool kCp, bool kNorm = !kCp, bool kExactZ = true>
inline __attribute__((always_inline)) Trig sin_cos(V t) {
  const trig::Reduced r = reduce(t);
  constexpr const trig::Poly &P = trig::kDHa;
  V z = _mm_mul_pd(r.hi, r.hi), ze = _mm_setzero_pd();
  if constexpr (kExactZ) square(r.hi, z, ze);
  const V z2 = _mm_mul_pd(z, z), z4 = _mm_mul_pd(z2, z2), hz = _mm_mul_pd(set(0.5), z);
  const V sp = _mm_mul_pd(_mm_mul_pd(r.hi, z), estrin6(z, z2, z4, P.s));
  const V cp = _mm_mul_pd(z2, estrin6(z, z2, z4, P.c));
  const V ch = _mm_sub_pd(set(1.0), hz), one_hz = ch;
  const V tail = _mm_sub_pd(_mm_sub_pd(set(1.0), ch), hz);
  const V cl = _mm_add_pd(_mm_sub_pd(tail, _mm_mul_pd(set(0.5), ze)), _mm_sub_pd(cp, _mm_mul_pd(r.hi, r.lo)));
  const V sl = _mm_add_pd(sp, _mm_mul_pd(r.lo, one_hz));
  const DD s = kNorm ? norm(r.hi, sl) : DD{r.hi, sl}, c = kNorm ? norm(ch, cl) : DD{ch, cl};
  __m128i q = _mm_cvtpd_epi32(r.n);
  q = _mm_unpacklo_epi32(q, q);
  const __m128i one = _mm_set1_epi64x(1), two = _mm_set1_epi64x(2);
  const V swap = _mm_castsi128_pd(_mm_cmpeq_epi64(_mm_and_si128(q, one), one));
  const V sign_s = _mm_castsi128_pd(_mm_slli_epi64(_mm_and_si128(q, two), 62));
  const V sign_c = _mm_castsi128_pd(_mm_slli_epi64(_mm_and_si128(_mm_add_epi64(q, one), two), 62));
  auto pick = [&](DD a, DD b, V sign) {
    return neg_if(DD{_mm_blendv_pd(a.hi, b.hi, swap), _mm_blendv_pd(a.lo, b.lo, swap)}, sign);
  };
  Trig res{pick(s, c, sign_s), pick(c, s, sign_c), {}};
  if constexpr (kCp) {
    V g, ge;
    dd::fast_two_sum(set(1.0), res.c.hi, g, ge);
    const V near = _mm_castsi128_pd(_mm_cmpeq_epi64(_mm_and_si128(q, _mm_set1_epi64x(3)), two));
    const V lo = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(set(0.5), ze), cp), _mm_mul_pd(r.hi, r.lo));
    res.cp = {_mm_blendv_pd(g, hz, near), _mm_blendv_pd(_mm_add_pd(ge, res.c.lo), lo, near)};
  }
  return res;
}

}  // namespace zyn::vk::cx::ddv
