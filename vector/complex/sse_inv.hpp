// The inverse trigonometric and hyperbolic rows on SSE: two usual elements a register (one
// element in both lanes for a single call), each lane the same arithmetic, so an element's bits
// do not depend on its place or stride.
//
// Kahan's forms in the first quadrant, with the principal roots taken by magnitude,
// (p, q) = (Re, |Im|) sqrt(a + iv) for v > 0, and (p1, q1) of a = 1 - u, (p2, q2) of 1 + u:
//   Asinh(v + iu) = (asinh M, atan2(u, N)),  M = p1 q2 + q1 p2,  N = p1 p2 + q1 q2   (u > 0)
//   Acos(u + iv)  = (2 atan2(p1, p2), -asinh M),  Acosh(u + iv) = (asinh M, 2 atan2(p1, p2))
//   Atanh(x + iy) = (log1p(4x / D) / 4, atan2(2y, E) / 2),  D = (1 - x)^2 + y^2,
//                   E = (1 - x)(1 + x) - y^2;
//   Asin z = -i Asinh(iz), Atan z = -i Atanh(iz), and the odd and conjugate symmetries.
// Every sum above has terms of one sign, except E, taken exactly from exact products.
// z rows (kDD) carry each root, product, D, E and the argument of asinh as double-doubles
// (relative error near 2^-100), so the parts come from log1p and atan2 of a double-double:
// log1p's HA parts (0.52 ulp), atan2's HA core with the first-order term of the low parts,
// 0.70 ulp per part measured. c rows take the same forms in plain double (relative error below
// 2^-48) and round once to single.
// Lanes decline (the scalar path takes the element) a part zero, non-finite or outside
// [2^-300, 2^300] (so no sum, square or quotient overflows or leaves the normal range), and in
// c rows a result part below the smallest normal single. The element loop runs the lanes only
// where the call starts in round-to-nearest with FTZ and DAZ off (kNearestOnly), else every
// element goes the scalar way.
#pragma once

#include <immintrin.h>

#include "vector/complex/complex_map.hpp"
// before ln_core.hpp: its two_sum (in zyn::vk) would make the core's own ambiguous
#include "vector/invtrig/invtrig_core.hpp"
#include "vector/explog/ln_core.hpp"
#include "vector/trig/dd.hpp"

namespace zyn::vk::cx::inv {

using V = __m128d;
using vk::dd::fast_two_sum;
using vk::dd::two_prod;
using vk::dd::two_sum;

ZYN_VO_INLINE V set(double v) { return _mm_set1_pd(v); }
ZYN_VO_INLINE V vabs(V a) { return _mm_andnot_pd(set(-0.0), a); }
ZYN_VO_INLINE V sign(V a) { return _mm_and_pd(set(-0.0), a); }

// hi + lo; lo is 0 in plain double (kDD false).
struct DD {
  V h, l;
};

// (p, q) = (Re, |Im|) sqrt(a + iv), v > 0: t = sqrt((|a| + |a + iv|) / 2), o = v / (2t),
// (p, q) = (t, o) for a >= 0, (o, t) below. kDD: |a + iv| from the exact squares, t and o
// corrected by one Newton step each from exact residuals; one division for the reciprocals of
// |a + iv| and t (a few ulp, which only scale the corrections).
template <bool kDD>
ZYN_VO_INLINE void csqrt_abs(DD a, V v, DD &p, DD &q, DD &m) {
  const V ah = vabs(a.h), hv = v * set(0.5);
  DD t, o;
  if constexpr (kDD) {
    V s1, e1, s2, e2, sh, se, mm, me, hs, he, tt, te, oo, oe;
    two_prod(a.h, a.h, s1, e1);
    two_prod(v, v, s2, e2);
    two_sum(s1, s2, sh, se);
    const V sl = se + ((e1 + e2) + set(2.0) * a.h * a.l);
    const V m0 = _mm_sqrt_pd(sh);
    two_sum(ah, m0, hs, he);
    const V h = hs * set(0.5);
    const V t0 = _mm_sqrt_pd(h);
    const V r = set(1.0) / (m0 * t0), inv_m = t0 * r, inv_t = m0 * r;
    two_prod(m0, m0, mm, me);
    const V ml = (((sh - mm) - me) + sl) * set(0.5) * inv_m;
    m = {m0, ml};
    const V hl = (he + (_mm_xor_pd(a.l, sign(a.h)) + ml)) * set(0.5);
    two_prod(t0, t0, tt, te);
    t = {t0, (((h - tt) - te) + hl) * set(0.5) * inv_t};
    const V o0 = hv * inv_t;
    two_prod(o0, t0, oo, oe);
    o = {o0, (((hv - oo) - oe) - o0 * t.l) * inv_t};
  } else {
    m = {_mm_sqrt_pd(a.h * a.h + v * v), _mm_setzero_pd()};
    const V t0 = _mm_sqrt_pd((ah + m.h) * set(0.5));
    t = {t0, _mm_setzero_pd()};
    o = {hv / t0, _mm_setzero_pd()};
  }
  const V neg = _mm_cmplt_pd(a.h, _mm_setzero_pd());
  p = {_mm_blendv_pd(t.h, o.h, neg), _mm_blendv_pd(t.l, o.l, neg)};
  q = {_mm_blendv_pd(o.h, t.h, neg), _mm_blendv_pd(o.l, t.l, neg)};
}

// a b + c d for positive terms, renormalised (|lo| at most half an ulp of hi).
template <bool kDD>
ZYN_VO_INLINE DD dot2(DD a, DD b, DD c, DD d) {
  if constexpr (kDD) {
    V x1, e1, x2, e2, s, se;
    two_prod(a.h, b.h, x1, e1);
    two_prod(c.h, d.h, x2, e2);
    two_sum(x1, x2, s, se);
    const V l = se + ((e1 + (a.h * b.l + a.l * b.h)) + (e2 + (c.h * d.l + c.l * d.h)));
    DD r;
    fast_two_sum(s, l, r.h, r.l);
    return r;
  } else {
    return {a.h * b.h + c.h * d.h, _mm_setzero_pd()};
  }
}

// asinh m for m > 0 given c = sqrt(1 + m^2): log1p(m + m^2 / (1 + c)), each step a
// double-double in kDD.
template <bool kDD>
ZYN_VO_INLINE V asinh_pos(DD m, DD c) {
  if constexpr (kDD) {
    V sq, se, dh, de, qq, qe, wh, we, w, wl;
    two_prod(m.h, m.h, sq, se);
    const V sql = se + set(2.0) * m.h * m.l;
    two_sum(c.h, set(1.0), dh, de);
    const V dl = de + c.l, inv_d = set(1.0) / dh;
    const V q0 = sq * inv_d;
    two_prod(q0, dh, qq, qe);
    const V ql = ((((sq - qq) - qe) + sql) - q0 * dl) * inv_d;
    two_sum(m.h, q0, wh, we);
    fast_two_sum(wh, we + (m.l + ql), w, wl);
    return log1p_d<1>(w, wl);
  } else {
    return log1p_d<0>(m.h + m.h * m.h / (set(1.0) + c.h));
  }
}

// atan2(y, x) for y > 0 and x of either sign, both double-doubles: the HA core on the high
// parts with the first-order term (x dy - y dx) / (x^2 + y^2) of the low parts joined before its
// last rounding, that term taken on both scaled by a power of two that brings the larger to
// [1, 2).
template <bool kDD>
ZYN_VO_INLINE V atan2_pos(DD y, DD x) {
  const V ax = vabs(x.h);
  if constexpr (!kDD) {
    return invtrig::atan_core<invtrig::DLa, false, false>(y.h, ax, sign(x.h), _mm_setzero_pd());
  } else {
    const __m128i big = _mm_and_si128(_mm_castpd_si128(_mm_max_pd(y.h, ax)), _mm_set1_epi64x(0x7ff0000000000000LL));
    const V s = _mm_castsi128_pd(_mm_sub_epi64(_mm_set1_epi64x(0x7fe0000000000000LL), big));
    const V xs = x.h * s, ys = y.h * s;
    const V low = (xs * (y.l * s) - ys * (x.l * s)) * invtrig::rcp_approx(xs * xs + ys * ys);
    return invtrig::atan_core<invtrig::DHa, false, false, V, true>(y.h, ax, sign(x.h), _mm_setzero_pd(), low);
  }
}

// The asin family's core for u (either sign) and v > 0: asinh M, and atan2(|u|, N) or, kAcos,
// 2 atan2(p1, p2).
template <bool kDD, bool kAcos>
ZYN_VO_INLINE void asin_core(V u, V v, V &sh, V &at) {
  DD a1, a2, p1, q1, p2, q2, m1, m2;
  if constexpr (kDD) {
    two_sum(set(1.0), -u, a1.h, a1.l);
    two_sum(set(1.0), u, a2.h, a2.l);
  } else {
    a1 = {set(1.0) - u, _mm_setzero_pd()}, a2 = {set(1.0) + u, _mm_setzero_pd()};
  }
  csqrt_abs<kDD>(a1, v, p1, q1, m1);
  csqrt_abs<kDD>(a2, v, p2, q2, m2);
  // sqrt(1 + M^2) = (|1 - w| + |1 + w|) / 2 for w = u + iv (cosh of the imaginary part)
  DD c;
  if constexpr (kDD) {
    V ce;
    two_sum(m1.h, m2.h, c.h, ce);
    c = {c.h * set(0.5), (ce + (m1.l + m2.l)) * set(0.5)};
  } else {
    c = {(m1.h + m2.h) * set(0.5), _mm_setzero_pd()};
  }
  sh = asinh_pos<kDD>(dot2<kDD>(p1, q2, q1, p2), c);
  if constexpr (kAcos)
    at = set(2.0) * atan2_pos<kDD>(p1, p2);
  else
    at = atan2_pos<kDD>(DD{u, _mm_setzero_pd()}, dot2<kDD>(p1, p2, q1, q2));
}

// Atanh for x, y > 0: (log1p(4x / D) / 4, atan2(2y, E) / 2).
template <bool kDD>
ZYN_VO_INLINE void atanh_core(V x, V y, V &re, V &im) {
  const V zero = _mm_setzero_pd();
  DD q, e;
  if constexpr (kDD) {
    V dh, dl, ph, pl, d1, d1e, yy, ye, Dh, De, qq, qe, e1, e1e, Eh, Ee;
    two_sum(set(1.0), -x, dh, dl);
    two_sum(set(1.0), x, ph, pl);
    two_prod(dh, dh, d1, d1e);
    two_prod(y, y, yy, ye);
    two_sum(d1, yy, Dh, De);
    const V Dl = De + ((d1e + ye) + set(2.0) * dh * dl);
    const V inv = set(1.0) / Dh, fx = set(4.0) * x;
    const V q0 = fx * inv;
    two_prod(q0, Dh, qq, qe);
    fast_two_sum(q0, (((fx - qq) - qe) - q0 * Dl) * inv, q.h, q.l);
    two_prod(dh, ph, e1, e1e);
    two_sum(e1, -yy, Eh, Ee);
    two_sum(Eh, Ee + ((e1e + (dh * pl + dl * ph)) - ye), e.h, e.l);
    re = set(0.25) * log1p_d<1>(q.h, q.l);
  } else {
    const V d = set(1.0) - x;
    q = {set(4.0) * x / (d * d + y * y), zero};
    e = {d * (set(1.0) + x) - y * y, zero};
    re = set(0.25) * log1p_d<0>(q.h);
  }
  im = set(0.5) * atan2_pos<kDD>(DD{y + y, zero}, e);
}

// The lanes of each row: re and im parts of two elements in, the results out.
struct AsinhL {
  template <bool kDD>
  static void run(V x, V y, V &re, V &im) {
    asin_core<kDD, false>(vabs(y), vabs(x), re, im);
    re = _mm_xor_pd(re, sign(x)), im = _mm_xor_pd(im, sign(y));
  }
};
struct AsinL {
  template <bool kDD>
  static void run(V x, V y, V &re, V &im) {
    asin_core<kDD, false>(vabs(x), vabs(y), im, re);
    re = _mm_xor_pd(re, sign(x)), im = _mm_xor_pd(im, sign(y));
  }
};
struct AcosL {
  template <bool kDD>
  static void run(V x, V y, V &re, V &im) {
    asin_core<kDD, true>(x, vabs(y), im, re);
    im = _mm_xor_pd(im, _mm_xor_pd(sign(y), set(-0.0)));
  }
};
struct AcoshL {
  template <bool kDD>
  static void run(V x, V y, V &re, V &im) {
    asin_core<kDD, true>(x, vabs(y), re, im);
    im = _mm_xor_pd(im, sign(y));
  }
};
struct AtanhL {
  template <bool kDD>
  static void run(V x, V y, V &re, V &im) {
    atanh_core<kDD>(vabs(x), vabs(y), re, im);
    re = _mm_xor_pd(re, sign(x)), im = _mm_xor_pd(im, sign(y));
  }
};
struct AtanL {
  template <bool kDD>
  static void run(V x, V y, V &re, V &im) {
    atanh_core<kDD>(vabs(y), vabs(x), im, re);
    re = _mm_xor_pd(re, sign(x)), im = _mm_xor_pd(im, sign(y));
  }
};

// Lanes whose parts are both in [2^-300, 2^300] in magnitude (false for zeros and NaN).
ZYN_VO_INLINE V usual(V x, V y) {
  const V lo = set(0x1p-300), hi = set(0x1p300), ax = vabs(x), ay = vabs(y);
  return _mm_and_pd(_mm_and_pd(_mm_cmpge_pd(ax, lo), _mm_cmple_pd(ax, hi)),
                    _mm_and_pd(_mm_cmpge_pd(ay, lo), _mm_cmple_pd(ay, hi)));
}

// The two lanes' results of L, or false when a lane is not usual (or, in single, a result part
// falls below the normal range).
template <class C, class L>
bool inv_lanes(V x, V y, V &re, V &im) {
  constexpr bool kDD = sizeof(C::re) == 8;
  if (_mm_movemask_pd(usual(x, y)) != 3) return false;
  L::template run<kDD>(x, y, re, im);
  if constexpr (!kDD) {
    const V m = set(static_cast<double>(std::numeric_limits<float>::min()));
    if (_mm_movemask_pd(_mm_or_pd(_mm_cmplt_pd(vabs(re), m), _mm_cmplt_pd(vabs(im), m))) != 0) return false;
  }
  return true;
}

// The row: Elem's scalar path, with vec and vec2 on the lanes of L.
template <class C, class F, class L>
struct InvRow : Elem<C, F>, Lanes<C, inv_lanes<C, L>> {};

}  // namespace zyn::vk::cx::inv
