// Sine, cosine and tangent of pi x and of x degrees, written once for doubles and floats
// (vops.hpp), and the levels they run at. trigpi.cpp documents the methods and their errors.
#pragma once

#include <cmath>

#include "vector/invtrig/invtrig_core.hpp"
#include "vector/trig/fast.hpp"
#include "vector/trig/trig_core.hpp"
#include "vector/trigpi/trigpi_data.hpp"

namespace zyn::vk::trigpi {
using namespace vo;
using invtrig::domain_nan;
using invtrig::kPiL;
using invtrig::tiny_result;

// A level: the arithmetic type and the coefficient set of trigpi_data.hpp; set -1 is double HA,
// which scales the reduced argument by pi/U as a double-double into the radian core.
template <class Arith, int kSet>
struct Level {
  using A = Arith;
  static constexpr bool kHA = kSet < 0;
  static constexpr int kSinDeg = kHA ? 0 : data::kTrigpiSinDeg[kSet], kCosDeg = kHA ? 0 : data::kTrigpiCosDeg[kSet];
  // the radian tangent's rational function of the level (fast.hpp)
  static constexpr const trig::Fast<A> &tan_set() {
    if constexpr (sizeof(A) == 8)
      return kSet == 0 ? trig::kFastDLa : trig::kFastDEp;
    else
      return kSet == 3 ? trig::kFastSLa : trig::kFastSEp;
  }
  static const data::TrigpiSet<A> &set(int unit) {
    if constexpr (sizeof(A) == 8)
      return data::trigpi_d[unit][kSet];
    else
      return data::trigpi_s[unit][kSet - 3];
  }
};
using DHa = Level<double, -1>;
using DLa = Level<double, 0>;
using DEp = Level<double, 1>;
using SHa = Level<double, 2>;
using SLa = Level<float, 3>;
using SEp = Level<float, 4>;

enum Which { kSin, kCos, kTan };
enum Unit { kPiUnit, kDegree };

template <class T>
constexpr const char *name(Which w, Unit u) {
  constexpr bool d = sizeof(T) == 8;
  if (u == kPiUnit) {
    if (w == kSin) return d ? "vdSinpi" : "vsSinpi";
    if (w == kCos) return d ? "vdCospi" : "vsCospi";
    return d ? "vdTanpi" : "vsTanpi";
  }
  if (w == kSin) return d ? "vdSind" : "vsSind";
  if (w == kCos) return d ? "vdCosd" : "vsCosd";
  return d ? "vdTand" : "vsTand";
}

// The half period U/2 of the unit (1/2 or 90), the vector paths' range (|x| below it the
// quotient q fits the integer tricks and q U/2 is exact), and the threshold below which sin and
// tan take the scalar path: there sind and tand fall under the smallest normal, and in double
// the double-double products would.
template <Unit U>
inline constexpr double kHalf = U == kPiUnit ? 0.5 : 90;
template <class T>
inline constexpr T kLimit = sizeof(T) == 8 ? 0x1p30 : 0x1p21f;
template <class T>
inline constexpr T kTiny = sizeof(T) == 8 ? 0x1p-1000 : 0x1p-119f;

// th + tl = r pi/U to about 2^-105 (r exact, pi/U a double-double); |r| >= 2^-1000 or 0.
template <Unit U>
ZYN_VO_INLINE void theta_dd(D r, D &th, D &tl) {
  two_prod(r, k<D>(data::trigpi_scale[U][0]), th, tl);
  fast_two_sum(th, tl + r * k<D>(data::trigpi_scale[U][1]), th, tl);
}

// f(|x|) with |x| = q U/2 + r exactly, |r| <= U/4: the quadrant q mod 4 picks +-sin or +-cos of
// pi r/U (both polynomials on every lane). The tangent is N/D or -D/N with the radian
// tangent's rational function of the level at theta = r pi/U (fast.hpp: theta rounded once, up
// to 0.8 ulp more), and at HA the radian core's corrected quotient on theta as a double-double.
// Exact values: the sine polynomial is 1/2 at 30 degrees, the tangent +-1 at |r| = U/4; sin
// and tan of a multiple of U/2, and cos at an odd one, are zeros with the signs of the pi forms
// (see trigpi.cpp).
template <class L, Unit U, Which W, class V>
ZYN_VO_INLINE V trigpi_eval(V x) {
  const V a = vabs(x);
  const V q = vround(a * k<V>(1 / kHalf<U>));
  const V r = a - q * k<V>(kHalf<U>);  // exact
  const V odd = bit_to_sign(q, 0);
  V val;
  if constexpr (W == kTan) {
    if constexpr (L::kHA) {
      V th, tl;
      theta_dd<U>(r, th, tl);
      val = trig::tan_reduced<trig::kDHa, true>(th, tl, q);
    } else {
      constexpr const trig::Fast<typename L::A> &F = L::tan_set();
      const V th = r * k<V>(data::trigpi_scale[U][0]), z = th * th;
      const V d = k<V>(1) + trig::horner_fast<F.ntq>(z, F.tq);
      const V n = th * (d + trig::horner_fast<F.ntp>(z, F.tp));
      val = bxor(blend(n, d, odd), odd) / blend(d, n, odd);
    }
    const V one = bxor(k<V>(1), bxor(sign_of(r), odd));
    val = blend(val, one, eq(vabs(r), k<V>(kHalf<U> / 2)));
  } else {
    V S, C;
    if constexpr (L::kHA) {
      V th, tl;
      theta_dd<U>(r, th, tl);
      trig::sincos_reduced<trig::kDHa>(th, tl, S, C);
    } else {
      const auto &c = L::set(U);
      const V z = r * r;
      S = r * horner<L::kSinDeg>(z, c.sin);
      C = k<V>(1) + z * horner<L::kCosDeg>(z, c.cos);
    }
    if constexpr (U == kDegree) S = blend(S, bxor(k<V>(0.5), sign_of(r)), eq(vabs(r), k<V>(30)));
    if constexpr (W == kSin) {
      val = bxor(blend(S, C, odd), bit_to_sign(q, 1));
    } else {
      val = bxor(blend(C, S, odd), bit_to_sign(q + k<V>(1), 1));
    }
  }
  if constexpr (W == kCos) return plus_zero(val);
  if constexpr (W == kTan) val = bxor(val, band(eq(val, k<V>(0)), bit_to_sign(q, 1)));
  else val = plus_zero(val);
  return bxor(val, sign_of(x));
}

template <class T, class L, Which W, Unit U>
struct TrigpiFn {
  using A = typename L::A;
  static constexpr int kArgs = 1;
  static constexpr const char *kName = name<T>(W, U);
  static constexpr bool kTinyPath = W != kCos;  // sin and tan of tiny arguments: x pi/U
  template <class V>
  ZYN_VO_INLINE static V eval(V x) {
    return trigpi_eval<L, U, W>(x);
  }
  // NaN, infinities, |x| beyond the vector range; tiny arguments; the tangent's poles
  template <class V>
  static V bad(V x) {
    const V a = vabs(x);
    V m = nlt(a, k<V>(kLimit<T>));
    if constexpr (kTinyPath) m = bor(m, band(lt(a, k<V>(kTiny<T>)), neq(a, k<V>(0))));
    if constexpr (W == kTan) {
      const V q = vround(a * k<V>(1 / kHalf<U>));
      m = bor(m, band(bit_mask(q, 0), eq(a - q * k<V>(kHalf<U>), k<V>(0))));
    }
    return m;
  }
  // Beyond the vector range x is reduced modulo 2U first, exactly (fmod); the poles of the
  // tangent, x = (2n + 1) U/2, give +inf for even n and -inf for odd n.
  static int special(T x, T *r) {
    if (std::isnan(x)) return *r = x + x, 0;
    if (std::isinf(x)) return *r = domain_nan(x), STATUS_DOMAIN;
    const T a = std::fabs(x), period = static_cast<T>(4 * kHalf<U>);
    if (kTinyPath && a < kTiny<T> && a != 0) return tiny_result(x * (U == kPiUnit ? kPiL : kPiL / 180), x, r);
    const T xr = std::fmod(x, period);
    if (W == kTan && std::fabs(std::fmod(xr, period / 2)) == period / 4) {
      const bool plus = xr == period / 4 || xr == -3 * period / 4;
      *r = plus ? std::numeric_limits<T>::infinity() : -std::numeric_limits<T>::infinity();
      return STATUS_SINGULARITY;
    }
    if (a < kLimit<T>) return -1;
    *r = static_cast<T>(lane0(eval(k<VOf<A>>(xr))));
    return 0;
  }
};

}  // namespace zyn::vk::trigpi
