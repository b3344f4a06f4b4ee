// The inverse trigonometric algorithms, written once for doubles and floats (vops.hpp), and the
// levels they run at. invtrig.cpp documents the methods and their measured errors.
#pragma once

#include <cfloat>
#include <cmath>
#include <limits>

#include "vector/invtrig/invtrig_data.hpp"
#include "vector/invtrig/vops.hpp"
#include "zyn/vex.h"

namespace zyn::vk::invtrig {
using namespace vo;

// A level: the arithmetic type and the coefficient set (invtrig_data.hpp). Set 0 carries
// double-doubles.
template <class Arith, int kSet>
struct Level {
  using A = Arith;
  static constexpr bool kDD = kSet == 0;
  static constexpr bool kLow = kSet == 2 || kSet == 5;  // EP: the low parts of constants go
  static constexpr int kAsinDeg = data::kAsinDeg[kSet], kAtanDeg = data::kAtanDeg[kSet];
  static const data::InvtrigSet<A> &set() {
    if constexpr (sizeof(A) == 8)
      return data::invtrig_d[kSet];
    else
      return data::invtrig_s[kSet - 4];
  }
  static const data::InvtrigConst<A> &kc() {
    if constexpr (sizeof(A) == 8)
      return data::invtrig_kd;
    else
      return data::invtrig_ks;
  }
};
using DHa = Level<double, 0>;
using DLa = Level<double, 1>;
using DEp = Level<double, 2>;
using SHa = Level<double, 3>;
using SLa = Level<float, 4>;
using SEp = Level<float, 5>;

enum Which { kAsin, kAcos, kAsinpi, kAcospi, kAtan, kAtanpi, kAtan2, kAtan2pi };
constexpr bool pi_form(Which w) { return w == kAsinpi || w == kAcospi || w == kAtanpi || w == kAtan2pi; }

template <class T>
constexpr const char *name(Which w) {
  constexpr bool d = sizeof(T) == 8;
  switch (w) {
    case kAsin: return d ? "vdAsin" : "vsAsin";
    case kAcos: return d ? "vdAcos" : "vsAcos";
    case kAsinpi: return d ? "vdAsinpi" : "vsAsinpi";
    case kAcospi: return d ? "vdAcospi" : "vsAcospi";
    case kAtan: return d ? "vdAtan" : "vsAtan";
    case kAtanpi: return d ? "vdAtanpi" : "vsAtanpi";
    case kAtan2: return d ? "vdAtan2" : "vsAtan2";
    default: return d ? "vdAtan2pi" : "vsAtan2pi";
  }
}

// Below kTiny (of the element type) the pi forms' results, and Atan2's quotients, come near
// the denormals: such lanes take the scalar path (which reports underflow). kHuge bounds the
// larger Atan2 argument so that sums and the double-double products stay finite.
template <class T>
inline constexpr T kTiny = sizeof(T) == 8 ? 0x1p-960 : 0x1p-100f;
template <class T>
inline constexpr T kHuge = sizeof(T) == 8 ? 0x1p990 : 0x1p120f;

// asin, acos and their pi forms. With t = |x| (|x| <= 1/2) or t = sqrt((1 - |x|)/2), whose
// argument is exact, asin t = t + t z P(z), and
//   asin x = sign (t + t z P),  or sign (pi/2 - 2 asin t) for |x| > 1/2
//   acos x = pi/2 - sign (t + t z P),  or 2 asin t (x > 1/2), pi - 2 asin t (x < -1/2)
// all of the form K + M w, w = asin t, M = +-1, +-2 (the pi forms: K/pi exact, w/pi). HA keeps
// sqrt and w/pi as double-doubles and adds K by a two-sum.
template <class L, Which W, class V>
ZYN_VO_INLINE V asin_eval(V x) {
  using A = typename L::A;
  const auto &c = L::kc();
  constexpr bool kPi = pi_form(W), kCos = W == kAcos || W == kAcospi;
  const V a = vabs(x);
  const V big = lt(k<V>(0.5), a);
  const V zb = (k<V>(1) - a) * k<V>(0.5);
  const V z = blend(a * a, zb, big);
  const V s = vsqrt(zb);
  const V u = blend(a, s, big);
  V lo = u * (z * poly<L::kAsinDeg>(z, L::set().asin));
  const A q = kPi ? 0.5 : c.pio2[0], ql = kPi ? 0 : c.pio2[1], h = kPi ? 1 : c.pi[0], hl = kPi ? 0 : c.pi[1];
  V Kh, Kl, M;
  if constexpr (!kCos) {
    Kh = band(big, k<V>(q));
    Kl = band(big, k<V>(ql));
    M = blend(k<V>(1), k<V>(-2), big);
  } else {
    Kh = blend(k<V>(q), blend(k<V>(0), k<V>(h), x), big);
    Kl = blend(k<V>(ql), blend(k<V>(0), k<V>(hl), x), big);
    M = bxor(blend(k<V>(-1), k<V>(2), big), sign_of(x));
  }
  V hi = u;
  if constexpr (L::kDD) {  // s = sqrt(zb) + (zb - s^2)/(2s), the quotient to 12 bits
    V sh, sl;
    two_prod(s, s, sh, sl);
    V slo = ((zb - sh) - sl) * (rcp_approx(vmax(s, k<V>(0x1p-60))) * k<V>(0.5));
    lo = lo + band(big, slo);
  }
  if constexpr (kPi) {
    if constexpr (L::kDD) {
      V e;
      two_prod(u, k<V>(c.inv_pi[0]), hi, e);
      lo = e + (u * k<V>(c.inv_pi[1]) + lo * k<V>(c.inv_pi[0]));
    } else {
      hi = u * k<V>(c.inv_pi[0]);
      lo = u * k<V>(c.inv_pi[1]) + lo * k<V>(c.inv_pi[0]);
    }
  }
  V r;
  if constexpr (L::kDD) {
    V S, E;
    two_sum(Kh, M * hi, S, E);
    r = S + (E + (Kl + M * lo));
  } else if constexpr (L::kLow) {
    r = Kh + M * (hi + lo);
  } else {
    r = (Kh + M * hi) + (Kl + M * lo);
  }
  return kCos ? r : bxor(r, sign_of(x));
}

// atan2 from |y|, |x| and the signs: u = min, v = max, q = u/v in [0, 1] reduced around a
// point c to t = (u - c v)/(v + c u), with c v exact; atan(u/v) = atan c + t + t z Q(z).
//   HA: c = 0, 1/2, 1 for q below 7/16, below 11/16, above: |t| <= 7/16 and u - c v exact
//       (Sterbenz), so t is nearly exact and small beside atan c where c > 0.
//   LA, EP: c = 0, 1 split at tan(pi/8): |t| <= tan(pi/8), one compare; the constants' low
//       parts only at double LA (in float they cost a quarter of the time for 0.1 ulp).
// The octant: base + s atan(u/v), base pi/2 if |y| > |x|, else pi for x < 0, else 0; s = -1
// when exactly one of those holds. HA carries t's rounding error from the exact residual of the
// quotient (kOneArg: atan of one argument, where the quotient is |x| itself below 7/16 and its
// rounding immaterial elsewhere) and adds the pieces by two-sums. The pi forms scale by 1/pi
// (HA: as a double-double); their bases and atan(1)/pi = 1/4 are exact.
// kLow (HA only): `low`, a term below an ulp of the result in its orientation before ysign,
// joins the low parts before the last rounding.
template <class L, bool kPi, bool kOneArg, class V, bool kLow = false>
ZYN_VO_INLINE V atan_core(V ay, V ax, V xsign, V ysign, V low = V{}) {
  using A = typename L::A;
  const auto &c = L::kc();
  const auto &at = kPi ? c.atan_c_pi : c.atan_c;
  const V swap = lt(ax, ay);
  const V u = vmin(ay, ax), v = vmax(ay, ax);
  const A b1 = kPi ? 0.5 : c.pio2[0], b1l = kPi ? 0 : c.pio2[1], b2 = kPi ? 1 : c.pi[0], b2l = kPi ? 0 : c.pi[1];
  V bh, bl, flip;
  if constexpr (kOneArg) {
    bh = band(swap, k<V>(b1));
    bl = band(swap, k<V>(b1l));
    flip = band(swap, sign_bit<V>());
  } else {
    bh = blend(blend(k<V>(0), k<V>(b2), xsign), k<V>(b1), swap);
    bl = blend(blend(k<V>(0), k<V>(b2l), xsign), k<V>(b1l), swap);
    flip = bxor(band(swap, sign_bit<V>()), xsign);
  }
  V r;
  if constexpr (L::kDD) {
    const V m1 = le(v * k<V>(7.0 / 16), u), m2 = le(v * k<V>(11.0 / 16), u);
    const V cc = blend(band(m1, k<V>(0.5)), k<V>(1), m2);
    const V cu = cc * u, num = u - cc * v;
    V den = v + cu;
    const V t = num / den;
    const V z = t * t;
    V tl = t * (z * poly<L::kAtanDeg>(z, L::set().atan));
    const V Ah = blend(band(m1, k<V>(at[1][0])), k<V>(at[2][0]), m2);
    const V Al = blend(band(m1, k<V>(at[1][1])), k<V>(at[2][1]), m2);
    if constexpr (!kOneArg) {
      V de, p, pe;
      two_sum(v, cu, den, de);
      two_prod(t, den, p, pe);
      tl = tl + (((num - p) - pe) - t * de) / den;
    }
    V th = t;
    if constexpr (kPi) {
      V e;
      two_prod(t, k<V>(c.inv_pi[0]), th, e);
      tl = e + (t * k<V>(c.inv_pi[1]) + tl * k<V>(c.inv_pi[0]));
    }
    V wh, we, S, E;
    two_sum(Ah, th, wh, we);
    const V wl = we + (Al + tl);
    two_sum(bh, bxor(wh, flip), S, E);
    if constexpr (kLow)
      r = S + (E + ((bl + bxor(wl, flip)) + low));
    else
      r = S + (E + (bl + bxor(wl, flip)));
  } else {
    const V m = le(v * k<V>(0.41421356237309503), u);
    const V num = u - band(m, v), den = v + band(m, u);
    const V t = num / den;
    const V z = t * t;
    const V pz = t * (z * poly<L::kAtanDeg>(z, L::set().atan));
    V w;
    if constexpr (kPi)
      w = band(m, k<V>(at[2][0])) + (t + pz) * k<V>(c.inv_pi[0]);
    else if constexpr (L::kLow || sizeof(A) == 4)
      w = band(m, k<V>(at[2][0])) + (t + pz);
    else
      w = band(m, k<V>(at[2][0])) + (t + (pz + band(m, k<V>(at[2][1]))));
    r = bh + bxor(w, flip);
    if constexpr (!L::kLow && sizeof(A) == 8) r = r + bxor(bl, flip);
  }
  return bxor(r, ysign);
}

// Scalar paths shared by the rows (the lanes bad() selects).

template <class T>
inline T domain_nan(T x) {  // NaN, raising invalid
  volatile T z = x - x;
  return z / z;
}
template <class T>
inline T min_normal() {
  return std::numeric_limits<T>::min();
}
inline const long double kPiL = 3.141592653589793238462643383279502884L;

// A result q (computed in long double from a normal or denormal argument) that may lie below
// the smallest normal: rounded once; STATUS_UNDERFLOW when it does and the argument is normal.
template <class T>
inline int tiny_result(long double q, T arg, T *r) {
  *r = static_cast<T>(q);
  return std::fabs(q) < min_normal<T>() && std::isnormal(arg) ? STATUS_UNDERFLOW : 0;
}

template <class T, class L, Which W>
struct AsinFn {
  using A = typename L::A;
  static constexpr int kArgs = 1;
  static constexpr const char *kName = name<T>(W);
  template <class V>
  ZYN_VO_INLINE static V eval(V x) {
    return asin_eval<L, W>(x);
  }
  template <class V>
  static V bad(V x) {
    V a = vabs(x), m = nle(a, k<V>(1));  // |x| > 1, infinities, NaN
    if constexpr (W == kAsinpi) m = bor(m, band(lt(a, k<V>(kTiny<T>)), neq(a, k<V>(0))));
    return m;
  }
  static int special(T x, T *r) {
    if (std::isnan(x)) return *r = x + x, 0;
    if (!(std::fabs(x) <= 1)) return *r = domain_nan(x), STATUS_DOMAIN;
    if (W == kAsinpi && std::fabs(x) < kTiny<T> && x != 0) return tiny_result(x / kPiL, x, r);
    return -1;
  }
};

template <class T, class L, Which W>
struct AtanFn {
  using A = typename L::A;
  static constexpr int kArgs = 1;
  static constexpr const char *kName = name<T>(W);
  static constexpr bool kPi = W == kAtanpi;
  template <class V>
  ZYN_VO_INLINE static V eval(V x) {
    // beyond the clamp atan x = pi/2 - 1/x loses nothing; it keeps the products finite
    const V a = vmin(k<V>(sizeof(Elem<V>) == 8 ? 0x1p512 : 0x1p60), vabs(x));
    return atan_core<L, kPi, true>(a, k<V>(1), k<V>(0), sign_of(x));
  }
  template <class V>
  static V bad(V x) {
    V m = unord(x, x);
    if constexpr (kPi) {
      V a = vabs(x);
      m = bor(m, band(lt(a, k<V>(kTiny<T>)), neq(a, k<V>(0))));
    }
    return m;
  }
  static int special(T x, T *r) {
    if (std::isnan(x)) return *r = x + x, 0;
    if (kPi && std::fabs(x) < kTiny<T> && x != 0) return tiny_result(x / kPiL, x, r);
    return -1;
  }
};

template <class T, class L, Which W>
struct Atan2Fn {
  using A = typename L::A;
  static constexpr int kArgs = 2;
  static constexpr const char *kName = name<T>(W);
  static constexpr bool kPi = W == kAtan2pi;
  template <class V>
  ZYN_VO_INLINE static V eval(V y, V x) {
    return atan_core<L, kPi, false>(vabs(y), vabs(x), sign_of(x), sign_of(y));
  }
  // NaN, an infinity, max(|x|, |y|) beyond kHuge or below kTiny (zeros), and a nonzero smaller
  // argument below kTiny or kTiny times the larger
  template <class V>
  static V bad(V y, V x) {
    const V ay = vabs(y), ax = vabs(x), u = vmin(ay, ax), v = vmax(ay, ax);
    const V tiny = k<V>(kTiny<T>);
    V m = bor(unord(y, x), bor(nlt(v, k<V>(kHuge<T>)), lt(v, tiny)));
    return bor(m, band(neq(u, k<V>(0)), bor(lt(u, tiny), lt(u, v * tiny))));
  }
  // Annex F's zeros and infinities; other arguments scaled by a power of two that brings the
  // larger to [1, 2) (exact for it; the smaller may underflow where it no longer counts), and
  // a quotient below kTiny, where atan2 = y/x, in long double.
  static int special(T y, T x, T *r) {
    if (std::isnan(y) || std::isnan(x)) return *r = y + x, 0;
    const long double p = kPi ? 1 : kPiL;
    const T pi = static_cast<T>(p), half = static_cast<T>(p / 2), quarter = static_cast<T>(p / 4),
            three = static_cast<T>(p * 0.75L);
    if (y == 0) return *r = std::copysign(std::signbit(x) ? pi : T(0), y), 0;
    if (std::isinf(y)) return *r = std::copysign(std::isinf(x) ? (x > 0 ? quarter : three) : half, y), 0;
    if (std::isinf(x)) return *r = std::copysign(x > 0 ? T(0) : pi, y), 0;
    if (x == 0) return *r = std::copysign(half, y), 0;
    const T ay = std::fabs(y), ax = std::fabs(x);
    if (x > 0 && ay < ax && ay < ax * kTiny<T>) {
      long double q = static_cast<long double>(y) / x;
      return tiny_result(kPi ? q / kPiL : q, y, r);
    }
    const int e = std::ilogb(std::fmax(ay, ax));
    using V = VOf<A>;
    *r = static_cast<T>(lane0(eval(k<V>(std::ldexp(y, -e)), k<V>(std::ldexp(x, -e)))));
    return 0;
  }
};

}  // namespace zyn::vk::invtrig
