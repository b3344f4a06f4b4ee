// Complex Sinh, Cosh, Tanh, Sin, Cos, Tan of the usual element on SSE, two elements per call
// (one element runs the same lane code in both lanes, so every element gets the same bits
// wherever it stands). With h the hyperbolic argument (x for Sinh, Cosh, Tanh; y for Sin, Cos,
// Tan) and t the trigonometric one:
//   Sinh (sh(x) c(y), ch(x) s(y))   Cosh (ch(x) c(y), sh(x) s(y))
//   Sin  (s(x) ch(y), c(x) sh(y))   Cos  (c(x) ch(y), -s(x) sh(y))
//   Tanh (sinh 2x, sin 2y) / ((cosh 2x - 1) + (1 + cos 2y)), Tan (sin 2x, sinh 2y) / ((1 + cos 2x)
//        + (cosh 2y - 1)): both terms of each denominator >= 0, each free of cancellation.
// Each factor is a double-double with relative error below 2^-55: e^|h| and e^-|h| from the
// exponential's table path kept unrounded (2^-59), sinh from them for |h| >= 1/2 (cancellation
// at most coth(1/2) = 2.2) and from its odd series below; sin and cos of t as pairs
// (ddv::sin_cos). Products by Dekker's exact product, the quotients corrected
// by their exact residual, each part rounded once: below 1 ulp (z rows), and 0.5 + 2^-28 ulp
// after the rounding to single (c rows).
// Taken: 2^-500 <= |h| <= 680 (340 for Tanh, Tan), 2^-500 <= |t| < 2^20 (2^19), nothing to
// report (c rows: the larger part in [2 min, max / 2] of single), and the call starting in
// round-to-nearest without flush-to-zero or denormals-are-zero (kNearestOnly, read once a call
// by the element loop); every other element takes the scalar path.
#pragma once

#include <immintrin.h>

#include <limits>

#include "vector/complex/complex_map.hpp"
#include "vector/complex/sse_dd.hpp"
#include "vector/explog/exp_core.hpp"
#include "vector/trig/trig_core.hpp"

namespace zyn::vk::cx::trighyp {

using V = __m128d;
using dd::set;
using namespace ddv;

enum class Kind { Sinh, Cosh, Tanh, Sin, Cos, Tan };

// a + b for a, b >= 0.
inline __attribute__((always_inline)) DD add(DD a, DD b) {
  V s, e;
  dd::two_sum(a.hi, b.hi, s, e);
  return {s, _mm_add_pd(e, _mm_add_pd(a.lo, b.lo))};
}
// n / d rounded once, given inv = 1/d.hi and d.hi split: t = n.hi inv, then t + (n - t d) inv
// (n.hi - t d.hi exact by Sterbenz, t d.hi exact by Dekker).
struct Divisor {
  DD d;
  V inv, h, l;
};
inline __attribute__((always_inline)) Divisor divisor(DD unnormalized) {
  const DD d = norm(unnormalized.hi, unnormalized.lo);  // the correction divides by hi alone
  Divisor r{d, _mm_div_pd(set(1.0), d.hi), {}, {}};
  dd::split(d.hi, r.h, r.l);
  return r;
}
inline __attribute__((always_inline)) V quotient(DD n, const Divisor &d) {
  const V t = _mm_mul_pd(n.hi, d.inv);
  V th, tl;
  dd::split(t, th, tl);
  const V p = _mm_mul_pd(t, d.d.hi);
  const V e = _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(th, d.h), p), _mm_mul_pd(th, d.l)),
                                    _mm_mul_pd(tl, d.h)), _mm_mul_pd(tl, d.l));
  const V rem = _mm_sub_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(n.hi, p), e), n.lo), _mm_mul_pd(t, d.d.lo));
  return _mm_add_pd(t, _mm_mul_pd(rem, d.inv));
}

// 2 sinh a and 2 cosh a for 2^-500 <= a <= 680, as unnormalized pairs: e^a and e^-a from the
// table at n and -n with the reduced argument r and -r.
// With kCm also 2 (cosh a - 1) = e^a + e^-a - 2 (from its even series for a < 1/2).
struct Hyp {
  DD sh2, ch2, cm;
};
template <bool kCm>
inline __attribute__((always_inline)) Hyp sinh_cosh2(V a) {
  __m128i n;
  V scale, tail, scale_m, tail_m;
  const V red = exp_reduce128<ExpBase::E, false>(a, n);
  exp_lookup128(n, scale, tail);
  exp_lookup128(_mm_sub_epi64(_mm_setzero_si128(), n), scale_m, tail_m);  // only n's low bits count
  // e^r - 1 and e^-r - 1 from the even and odd parts of the degree-5 Taylor polynomial of
  // expm1_poly (truncation below 2^-60)
  const V r2 = _mm_mul_pd(red, red), r4 = _mm_mul_pd(r2, r2);
  const V even = _mm_add_pd(_mm_mul_pd(r2, set(0.5)), _mm_mul_pd(r4, set(1.0 / 24)));
  const V odd3 = _mm_add_pd(set(1.0 / 6), _mm_mul_pd(r2, set(1.0 / 120)));
  const V odd = _mm_add_pd(red, _mm_mul_pd(_mm_mul_pd(red, r2), odd3));
  const DD e{scale, _mm_mul_pd(scale, _mm_add_pd(_mm_add_pd(tail, odd), even))};
  const DD r{scale_m, _mm_mul_pd(scale_m, _mm_add_pd(_mm_sub_pd(tail_m, odd), even))};
  Hyp h;
  V s, se;
  dd::fast_two_sum(e.hi, r.hi, s, se);  // e.hi >= r.hi: n >= 0
  h.ch2 = {s, _mm_add_pd(se, _mm_add_pd(e.lo, r.lo))};
  if constexpr (kCm) {
    V m, me;
    dd::fast_two_sum(s, set(-2.0), m, me);  // exact: s >= 2, or just below it (Sterbenz)
    h.cm = {m, _mm_add_pd(me, h.ch2.lo)};
  }
  dd::fast_two_sum(e.hi, _mm_xor_pd(r.hi, set(-0.0)), s, se);
  h.sh2 = {s, _mm_add_pd(se, _mm_sub_pd(e.lo, r.lo))};
  const V small = _mm_cmplt_pd(a, set(0.5));
  if (_mm_movemask_pd(small) != 0) {
    // 2a + 2a^3 (1/3! + a^2/5! + ... + a^12/15!); the first omitted term is below 2^-62 of it
    constexpr double k[7] = {2.0 / 6,        2.0 / 120,          2.0 / 5040,          2.0 / 362880,
                             2.0 / 39916800, 2.0 / 6227020800.0, 2.0 / 1307674368000.0};
    const V z = _mm_mul_pd(a, a);
    const DD series = norm(_mm_add_pd(a, a), _mm_mul_pd(_mm_mul_pd(a, z), trig::horner<7>(z, k)));
    h.sh2.hi = _mm_blendv_pd(h.sh2.hi, series.hi, small);
    h.sh2.lo = _mm_blendv_pd(h.sh2.lo, series.lo, small);
    if constexpr (kCm) {
      // a^2 + a^4 (2/4! + a^2 2/6! + ... + a^12 2/16!), a^2 exact; omitted terms below 2^-57
      constexpr double c[7] = {2.0 / 24,           2.0 / 720,            2.0 / 40320,         2.0 / 3628800,
                               2.0 / 479001600.0, 2.0 / 87178291200.0, 2.0 / 20922789888000.0};
      V zz, ze;
      square(a, zz, ze);
      const V lo = _mm_add_pd(ze, _mm_mul_pd(_mm_mul_pd(zz, z), trig::horner<7>(z, c)));
      h.cm.hi = _mm_blendv_pd(h.cm.hi, zz, small);
      h.cm.lo = _mm_blendv_pd(h.cm.lo, lo, small);
    }
  }
  return h;
}

// The parts of two elements (x, y lanes); false where either element is not taken.
template <Kind K, class P>
inline __attribute__((always_inline)) bool lanes(V x, V y, V &re, V &im) {
  constexpr bool kTrig = K == Kind::Sin || K == Kind::Cos || K == Kind::Tan;
  constexpr bool kQuot = K == Kind::Tanh || K == Kind::Tan;
  const V h = kTrig ? y : x, t = kTrig ? x : y, sign = set(-0.0);
  const V ah = _mm_andnot_pd(sign, h), at = _mm_andnot_pd(sign, t), tiny = set(0x1p-500);
  // the quotients take sinh, cosh of 2|h| and sin, cos of 2t
  const V ok = _mm_and_pd(_mm_and_pd(_mm_cmpge_pd(ah, tiny), _mm_cmple_pd(ah, set(kQuot ? 340.0 : 680.0))),
                          _mm_and_pd(_mm_cmpge_pd(at, tiny), _mm_cmplt_pd(at, set(kQuot ? 0x1p19 : 0x1p20))));
  if (_mm_movemask_pd(ok) != 3) return false;
  const V hsign = _mm_and_pd(h, sign);
  const V half = set(0.5);
  auto half_of = [&](V v) { return _mm_mul_pd(v, half); };  // exact: no part near underflow
  if constexpr (kQuot) {
    // tanh(x + iy) = (sinh 2x + i sin 2y) / (cosh 2x + cos 2y)
    //              = (2 sinh 2x + 2i sin 2y) / (2 (cosh 2x - 1) + 2 (1 + cos 2y)), both terms >= 0
    const Hyp hp = sinh_cosh2<true>(_mm_add_pd(ah, ah));
    const Trig tr = sin_cos<true>(_mm_add_pd(t, t));
    const DD d = add(hp.cm, {_mm_add_pd(tr.cp.hi, tr.cp.hi), _mm_add_pd(tr.cp.lo, tr.cp.lo)});
    const Divisor dv = divisor(d);
    const V a = quotient(neg_if(hp.sh2, hsign), dv);
    const V b2 = quotient(tr.s, dv), b = _mm_add_pd(b2, b2);
    re = kTrig ? b : a, im = kTrig ? a : b;
  } else {
    Hyp hp = sinh_cosh2<false>(ah);
    hp.sh2 = neg_if(hp.sh2, hsign);
    const Trig tr = sin_cos<false>(t);
    const DD &hs = hp.sh2, &hc = hp.ch2;
    if constexpr (K == Kind::Sinh) re = mul_round(hs, tr.c), im = mul_round(hc, tr.s);
    if constexpr (K == Kind::Cosh) re = mul_round(hc, tr.c), im = mul_round(hs, tr.s);
    if constexpr (K == Kind::Sin) re = mul_round(tr.s, hc), im = mul_round(tr.c, hs);
    if constexpr (K == Kind::Cos) re = mul_round(tr.c, hc), im = _mm_xor_pd(mul_round(tr.s, hs), sign);
    re = half_of(re), im = half_of(im);
  }
  // Nothing to report. z rows: |f| >= min(|h|, |t|) / 2 >= 2^-501 and the parts stay below e^680
  // on the taken inputs; c rows: the larger part well inside the normal range of single.
  if constexpr (sizeof(P) == 8) return true;
  const V m = _mm_max_pd(_mm_andnot_pd(sign, re), _mm_andnot_pd(sign, im));
  constexpr double lo = 2.0 * std::numeric_limits<P>::min(), hi = 0.5 * std::numeric_limits<P>::max();
  return _mm_movemask_pd(_mm_and_pd(_mm_cmpge_pd(m, set(lo)), _mm_cmple_pd(m, set(hi)))) == 3;
}

// The row's element operation: the scalar evaluation F, with the SSE form of kind K.
template <class C, class F, Kind K>
struct Sse : Elem<C, F>, Lanes<C, lanes<K, decltype(C::re)>> {};

}  // namespace zyn::vk::cx::trighyp
