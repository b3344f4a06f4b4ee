// Complex Exp, Ln and Log10 (and the c rows of Pow) of the usual element on SSE, two elements a
// register (Ln, Log10 four a step); a lone element runs in both lanes, so an element's bits
// never depend on its place or stride. Only in round-to-nearest without flush-to-zero or
// denormals-are-zero (plain_nearest); the other elements, and every element in other states,
// take the row's scalar operation and its report.
//
// z rows at HA: each part from pieces carried as unrounded hi + lo pairs, rounded once.
//   Exp  x in [-708, 709] (|f| normal), y zero or |y| in [2^-500, 2^20): e^x = 2^m T (1 + t)
//        (T = 2^(j/128) from the table, t to 2^-60), cos y and sin y as hi + lo
//        (ddv::sin_cos, 2^-56); T times the high part by
//        Dekker's product (to 2^-105), the rest added once, then scaled by 2^m: exact, or for a
//        denormal part a rounding on the denormal grid, whose ulp is at least 2^21 times the
//        first rounding's. Measured 0.82 ulp.
//   Ln   parts zero or in [2^-480, 2^480], not both zero: x^2 + y^2 = S from exact squares;
//        where fl(S) is in [1/2, 2], S - 1 = W as a double-double (the sum of the squares' pieces
//        and -1 by two-sums) and ln(1 + W); elsewhere ln S = ln fl(S) + rest/fl(S). The
//        logarithm's table parts and the correction joined by a two-sum; arg z from atan2_parts.
//        Measured 1.20 ulp (the argument's quotient).
//   Log10 the same, both parts times log10(e) as double-double products. Measured 1.30 ulp.
// c rows: parts widened to double, plain double arithmetic (relative error below 2^-40 before
// the rounding to single): Exp x in [-87, 88], |y| < 2^20; Ln and Log10 finite, not both zero.
// Measured 0.51 ulp. EP kernels (and cExp, zExp LA) in cheaper forms, each stated where it is.
#pragma once

#include <immintrin.h>

#include "vector/complex/complex_map.hpp"
#include "vector/complex/sse_dd.hpp"
#include "vector/explog/exp_core.hpp"
#include "vector/explog/ln_core.hpp"
#include "vector/invtrig/invtrig_core.hpp"
#include "vector/trig/trig_core.hpp"

namespace zyn::vk::cx::sse {

using V = __m128d;
using ddv::square;
inline V k(double v) { return _mm_set1_pd(v); }
inline V vabs(V x) { return _mm_andnot_pd(k(-0.0), x); }
inline V sign_of(V x) { return _mm_and_pd(k(-0.0), x); }
inline V within(V a, double lo, double hi) { return _mm_and_pd(_mm_cmpge_pd(a, k(lo)), _mm_cmple_pd(a, k(hi))); }

// The lanes Exp takes (all-ones).
template <class P>
inline __attribute__((always_inline)) V exp_usual(V x, V y) {
  if constexpr (sizeof(P) == 4) return _mm_and_pd(within(x, -87, 88), _mm_cmplt_pd(vabs(y), k(0x1p20)));
  return _mm_and_pd(within(x, -708, 709),
                    _mm_or_pd(within(vabs(y), 0x1p-500, 0x1.fffffffffffffp19), _mm_cmpeq_pd(y, _mm_setzero_pd())));
}

// e^(x + iy); false when a lane is not usual.
template <class P, bool kCheap = false>
inline __attribute__((always_inline)) bool exp_lanes(V x, V y, V &re, V &im) {
  const V y0 = _mm_cmpeq_pd(y, _mm_setzero_pd());
  if (_mm_movemask_pd(exp_usual<P>(x, y)) != 3) return false;
  if constexpr (sizeof(P) == 4) {
    const V e = exp2_wide<false>(x * k(kLog2e));
    const trig::Reduced r = trig::reduce<false>(y);
    V s, c;
    trig::sincos_quadrant<kCheap ? trig::kSLa : trig::kDLa>(r.hi, r.lo, r.n, &s, &c);
    re = e * c, im = _mm_blendv_pd(e * s, y, y0);
    return true;
  } else {
    __m128i n;
    const V r = exp_reduce128<ExpBase::E, false>(x, n);
    const __m128i j = _mm_and_si128(n, _mm_set1_epi64x(127)), js = _mm_slli_epi64(j, 45);
    const __m128i e0 = _mm_load_si128(reinterpret_cast<const __m128i *>(exp128[_mm_cvtsi128_si32(j)]));
    const __m128i e1 = _mm_load_si128(reinterpret_cast<const __m128i *>(exp128[_mm_extract_epi32(j, 2)]));
    const V t = _mm_castsi128_pd(_mm_add_epi64(_mm_unpackhi_epi64(e0, e1), js));  // 2^(j/128)
    const V tmp = expm1_poly(r, _mm_castsi128_pd(_mm_unpacklo_epi64(e0, e1)));    // e^x = 2^m t (1 + tmp)
    const V scale = _mm_castsi128_pd(
        _mm_add_epi64(_mm_sub_epi64(_mm_slli_epi64(n, 45), js), _mm_set1_epi64x(0x3ff0000000000000LL)));
    const ddv::Trig sc = ddv::sin_cos<false, false, false>(y);
    // t h = p + e: Dekker's product with the halves cut by masks (26 high bits, the 27 others),
    // exact but for the rounding of the last partial product, below 2^-105 |t h|
    const V top = _mm_castsi128_pd(_mm_set1_epi64x(~0x7ffffffLL)), th = _mm_and_pd(t, top), tl = t - th;
    auto part = [&](V h, V l) {  // t (1 + tmp) (h + l), rounded once (twice when cheap: 2.6 ulp)
      if constexpr (kCheap) return t * (h + (l + (h + l) * tmp)) * scale;
      const V hh = _mm_and_pd(h, top), hl = h - hh;
      const V p = t * h, e = (((th * hh - p) + th * hl) + tl * hh) + tl * hl;
      return (p + (e + t * (l + (h + l) * tmp))) * scale;
    };
    re = part(sc.c.hi, sc.c.lo), im = _mm_blendv_pd(part(sc.s.hi, sc.s.lo), y, y0);
    return true;
  }
}

// atan2(y, x) = hi + lo (unrounded, |lo| below 2^-50 |hi|) from |y|, |x| (not both zero, the
// smaller 0 or above 2^-960 times the larger) and the signs of x and y: the real rows' HA
// reduction (u/v about c = 0, 1/2, 1; u - c v exact) and polynomial (2^-58), with the quotient
// t rounded twice at most (below 0.5 ulp of the result, as |t| is below 0.2 of it where c is not
// 0) and the sums with atan c and the quadrant's base carried by fast two-sums.
inline __attribute__((always_inline)) void atan2_parts(V ay, V ax, V xs, V ys, V &hi, V &lo) {
  using invtrig::DHa;
  const auto &c = DHa::kc();
  const V swap = _mm_cmplt_pd(ax, ay), u = _mm_min_pd(ay, ax), v = _mm_max_pd(ay, ax), zero = _mm_setzero_pd();
  const V m1 = _mm_cmple_pd(v * k(7.0 / 16), u), m2 = _mm_cmple_pd(v * k(11.0 / 16), u);
  const V cc = _mm_blendv_pd(_mm_and_pd(m1, k(0.5)), k(1), m2);
  const V t = (u - cc * v) / (v + cc * u), z = t * t;
  const V tl = t * (z * vo::poly<DHa::kAtanDeg>(z, DHa::set().atan));
  const V ah = _mm_blendv_pd(_mm_and_pd(m1, k(c.atan_c[1][0])), k(c.atan_c[2][0]), m2);
  const V al = _mm_blendv_pd(_mm_and_pd(m1, k(c.atan_c[1][1])), k(c.atan_c[2][1]), m2);
  const V bh = _mm_blendv_pd(_mm_blendv_pd(zero, k(c.pi[0]), xs), k(c.pio2[0]), swap);  // xs: a sign as a mask
  const V bl = _mm_blendv_pd(_mm_blendv_pd(zero, k(c.pi[1]), xs), k(c.pio2[1]), swap);
  const V flip = _mm_xor_pd(_mm_and_pd(swap, k(-0.0)), xs);
  V wh, we, sh, se;
  dd::fast_two_sum(ah, t, wh, we);  // |atan c| > |t| or c = 0
  const V wl = we + (al + tl);
  dd::fast_two_sum(bh, _mm_xor_pd(wh, flip), sh, se);  // base 0 or above pi/4 >= |w|
  hi = _mm_xor_pd(sh, ys), lo = _mm_xor_pd(se + (bl + _mm_xor_pd(wl, flip)), ys);
}

// ln sqrt(u^2 + v^2) for single parts u <= v, v > 0, in double (relative error below 2^-50):
// squares of singles are exact, so S = v^2 + u^2 and, where v^2 is in [1/2, 2], W = S - 1 come
// with one rounding each; there ln(1 + W), elsewhere ln S.
inline __attribute__((always_inline)) V ln_modulus_c(V u, V v) {
  const V one = k(1.0), v2 = v * v, s = v2 + u * u, w = (v2 - one) + u * u, near = within(v2, 0.5, 2);
  const V mx = _mm_max_pd(w, one), mn = _mm_min_pd(w, one), un = mx + mn;
  const V uu = _mm_blendv_pd(s, un, near), c = _mm_and_pd(near, (mx - un) + mn);
  V hi, lo;
  log_parts<0>(uu, ln_biased_exponent(uu), hi, lo);
  return (hi + (lo + c / uu)) * k(0.5);
}

// The cheap logarithm (EP, z rows): ln S, from W = (v - 1)(v + 1) + u^2 where S is in [1/2, 2]
// (v - 1 exact there), and the argument by the degree-4 atan2 (2^-27).
inline __attribute__((always_inline)) void ln_cheap(V x, V y, V u, V v, V &re, V &im) {
  const V one = k(1.0), s = v * v + u * u, w = (v - one) * (v + one) + u * u, near = within(s, 0.5, 2);
  const V un = one + w, uu = _mm_blendv_pd(s, un, near), c = _mm_and_pd(near, (one - un) + w);
  // ln uu: the reduction of the EP parts (r = 512 or 1024 next to 1, u from one product), both
  // parts of the HA table, ln(1 + u) to degree 4 (2^-50 absolute): 2^-37 of ln uu at most
  const V m = _mm_or_pd(_mm_and_pd(uu, _mm_castsi128_pd(_mm_set1_epi64x(0x000fffffffffffffLL))),
                        _mm_castsi128_pd(_mm_set1_epi64x(0x3f50000000000000LL)));
  const V rr = (_mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(m))) + k(0x1.8p52)) - k(0x1.8p52), t = m * rr - one;
  const V p = (t * t) * (k(-0.5) + t * (k(1.0 / 3) + t * k(-0.25)));
  const __m128i j = _mm_srli_epi64(_mm_sub_epi64(_mm_castpd_si128(rr), _mm_set1_epi64x(0x4080000000000000LL)), 43);
  const V e0 = _mm_load_pd(ln_ha[_mm_cvtsi128_si32(j)]), e1 = _mm_load_pd(ln_ha[_mm_extract_epi32(j, 2)]);
  const V kk = ln_biased_exponent(uu), hi = kk * k(kLn2HaHigh) + _mm_unpacklo_pd(e0, e1);  // exact, 0 next to 1
  const V lo = t + (p + (kk * k(kLn2HaLow) + _mm_unpackhi_pd(e0, e1)));
  re = (hi + (lo + c * (k(2.0) - uu))) * k(0.5);  // c / uu to 2^-53 of the result, uu in [1/2, 2]
  im = invtrig::atan_core<invtrig::DEp, false, false>(vabs(y), vabs(x), sign_of(x), sign_of(y));
}

// The lanes Ln and Log10 take (all-ones).
template <class P>
inline __attribute__((always_inline)) V ln_usual(V x, V y) {
  const V ax = vabs(x), ay = vabs(y), v = _mm_max_pd(ax, ay), u = _mm_min_pd(ax, ay), zero = _mm_setzero_pd();
  if constexpr (sizeof(P) == 4)
    return _mm_and_pd(_mm_and_pd(_mm_cmple_pd(v, k(0x1.fffffffffffffp1023)), _mm_cmpgt_pd(v, zero)),
                      _mm_cmpord_pd(x, y));
  return _mm_and_pd(
      _mm_and_pd(_mm_or_pd(_mm_cmpeq_pd(u, zero), _mm_cmpge_pd(u, k(0x1p-480))), within(v, 0x1p-480, 0x1p480)),
      _mm_cmpord_pd(x, y));
}

// ln|z| and arg z (times log10(e) for kLog10); false when a lane is not usual (kChecked: known
// usual).
template <class P, bool kLog10, bool kCheap = false, bool kChecked = false>
inline __attribute__((always_inline)) bool ln_lanes(V x, V y, V &re, V &im) {
  constexpr double kL10h = 0x1.bcb7b1526e50ep-2, kL10l = 0x1.95355baaafad3p-57;  // log10(e)
  const V ax = vabs(x), ay = vabs(y), v = _mm_max_pd(ax, ay), u = _mm_min_pd(ax, ay);
  const V one = k(1.0), zero = _mm_setzero_pd();
  if (!kChecked && _mm_movemask_pd(ln_usual<P>(x, y)) != 3) return false;
  if constexpr (sizeof(P) == 4) {
    // EP: S rounded once, ln S by the EP parts of degree 2 (2^-30 absolute, so 2^-17 of ln S
    // where that is above 2^-13; next to 1, u^2/3 of it), the argument by the float atan2
    if constexpr (kCheap) {
      const V s = v * v + u * u;
      V hi, lo;
      log_parts<2, 2>(s, ln_biased_exponent(s), hi, lo);
      re = (hi + lo) * k(0.5);
      const __m128 f = invtrig::atan_core<invtrig::SEp, false, false>(
          _mm_cvtpd_ps(ay), _mm_cvtpd_ps(ax), _mm_cvtpd_ps(sign_of(x)), _mm_cvtpd_ps(sign_of(y)));
      im = _mm_cvtps_pd(f);
      // the float form's range: its quotients and sums stay normal
      const V fine =
          _mm_and_pd(within(v, 0x1p-100, 0x1p100), _mm_or_pd(_mm_cmpeq_pd(u, zero), _mm_cmpge_pd(u, v * k(0x1p-100))));
      if (_mm_movemask_pd(fine) != 3)
        im = _mm_blendv_pd(invtrig::atan_core<invtrig::DEp, false, false>(ay, ax, sign_of(x), sign_of(y)), im, fine);
      return true;
    }
    re = ln_modulus_c(u, v);
    im = invtrig::atan_core<invtrig::SHa, false, false>(ay, ax, sign_of(x), sign_of(y));
    if constexpr (kLog10) re = re * k(kL10h), im = im * k(kL10h);
    return true;
  } else {
    if constexpr (kCheap) return ln_cheap(x, y, u, v, re, im), true;
    V px, ex, py, ey, sh, t0, e, f, g, h, wh = zero, wl = zero;
    square(v, px, ex);
    square(u, py, ey);
    dd::fast_two_sum(px, py, sh, t0);
    dd::two_sum(ex, ey, e, f);
    dd::two_sum(t0, e, g, h);
    const V rest = h + f;  // S = sh + g + rest
    const V near = within(sh, 0.5, 2);
    V uu = sh, c = g + rest, tiny = zero;
    if (_mm_movemask_pd(near) != 0) {    // per lane the same with or without the other lane
      dd::two_sum(sh - one, g, wh, wl);  // sh - 1 exact on [1/2, 2]
      wl = wl + rest;
      const V mx = _mm_max_pd(wh, one), mn = _mm_min_pd(wh, one), un = mx + mn;
      uu = _mm_blendv_pd(sh, un, near), c = _mm_blendv_pd(c, ((mx - un) + mn) + wl, near);
      tiny = _mm_and_pd(near, _mm_cmplt_pd(vabs(wh), k(0x1p-40)));
    }
    V hi, lo, rh, rl;
    log_parts<1>(uu, ln_biased_exponent(uu), hi, lo);
    dd::two_sum(hi, c / uu, rh, rl);
    rl = rl + lo;
    // below 2^-40 the quotient's rounding would show: W - W^2/2 is exact to 2^-80 there
    if (_mm_movemask_pd(tiny) != 0)
      rh = _mm_blendv_pd(rh, wh, tiny), rl = _mm_blendv_pd(rl, wl - wh * wh * k(0.5), tiny);
    V ah, al;
    atan2_parts(ay, ax, sign_of(x), sign_of(y), ah, al);
    if constexpr (kLog10) {
      auto times = [&](V h, V l) {  // (h + l) log10(e), rounded once; the sign of h kept (zeros)
        V p, pe;
        dd::two_prod(h, k(kL10h), p, pe);
        return _mm_or_pd(p + (pe + (h * k(kL10l) + l * k(kL10h))), sign_of(h));
      };
      re = times(rh, rl) * k(0.5), im = times(ah, al);
    } else {
      re = (rh + rl) * k(0.5), im = ah + al;
    }
    return true;
  }
}

// a^b = exp(b ln a) for single elements, in double: ln a to 2^-52 (the argument by the
// double-double atan2 above), b ln a by plain products, then Exp's single lanes, whose range
// (Re in [-87, 88], |Im| < 2^20) keeps the result normal and finite. With |b| |ln a| (1-norms)
// up to 2^10, b ln a is off by less than 2^-40, which moves a part of at least 2^-12 |f| by
// less than 2^-28 of itself. Not usual: a zero, infinite or NaN part of a, b beyond 2^20 or
// NaN, and a real integer b of at most 64 in size (the scalar path's exact powers, b = 0 among
// them).
inline __attribute__((always_inline)) bool pow_lanes_c(V ar, V ai, V br, V bi, V &re, V &im) {
  const V ax = vabs(ar), ay = vabs(ai), v = _mm_max_pd(ax, ay), u = _mm_min_pd(ax, ay), abr = vabs(br);
  const V whole = _mm_and_pd(_mm_and_pd(_mm_cmpeq_pd(bi, _mm_setzero_pd()), _mm_cmple_pd(abr, k(64))),
                             _mm_cmpeq_pd(_mm_round_pd(br, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC), br));
  V ok = _mm_and_pd(_mm_and_pd(_mm_cmple_pd(v, k(0x1.fffffffffffffp1023)), _mm_cmpgt_pd(v, _mm_setzero_pd())),
                    _mm_cmpord_pd(ar, ai));
  ok = _mm_and_pd(ok, _mm_and_pd(_mm_cmplt_pd(abr, k(0x1p20)), _mm_cmplt_pd(vabs(bi), k(0x1p20))));
  if (_mm_movemask_pd(_mm_andnot_pd(whole, ok)) != 3) return false;
  V lh, ll;
  atan2_parts(ay, ax, sign_of(ar), sign_of(ai), lh, ll);
  const V lr = ln_modulus_c(u, v), li = lh + ll, wi = br * li + bi * lr;
  const V size = (abr + vabs(bi)) * (vabs(lr) + vabs(li));
  if (_mm_movemask_pd(_mm_cmple_pd(size, k(1024))) != 3 || !exp_lanes<float>(br * lr - bi * li, wi, re, im))
    return false;
  im = _mm_andnot_pd(_mm_cmpeq_pd(wi, _mm_setzero_pd()), im);  // +0 for a real power, as the scalar path
  return true;
}

template <class C, bool (*F)(V, V, V &, V &)>
using Fast = Lanes<C, F>;

// Four elements a step: U (the usual lanes) on both pairs first, then G, F on lanes known to be
// usual, so that the two pairs' long dependency chains interleave.
template <class C, bool (*F)(V, V, V &, V &), V (*U)(V, V), bool (*G)(V, V, V &, V &)>
struct Fast4 : Fast<C, F> {
  static bool vec4(const C *p, C *r) {
    V x0, y0, x1, y1, re0, im0, re1, im1;
    load2(p, x0, y0), load2(p + 2, x1, y1);
    if (_mm_movemask_pd(_mm_and_pd(U(x0, y0), U(x1, y1))) != 3) return false;
    G(x0, y0, re0, im0), G(x1, y1, re1, im1);
    store2(r, re0, im0), store2(r + 2, re1, im1);
    return true;
  }
};

// The SSE forms of a two-input row: F(ar, ai, br, bi, re, im) on two lanes.
template <class C, bool (*F)(V, V, V, V, V &, V &)>
struct Fast2 {
  static constexpr bool kNearestOnly = true;
  static bool vec(const C *a, const C *b, C *r) {
    const V ea = load(a), eb = load(b);
    V re, im;
    if (!F(_mm_unpacklo_pd(ea, ea), _mm_unpackhi_pd(ea, ea), _mm_unpacklo_pd(eb, eb), _mm_unpackhi_pd(eb, eb), re, im))
      return false;
    store(r, _mm_unpacklo_pd(re, im));
    return true;
  }
  static bool vec2(const C *a, const C *b, C *r) {
    V ar, ai, br, bi, re, im;
    load2(a, ar, ai);
    load2(b, br, bi);
    if (!F(ar, ai, br, bi, re, im)) return false;
    store2(r, re, im);
    return true;
  }
};

}  // namespace zyn::vk::cx::sse
