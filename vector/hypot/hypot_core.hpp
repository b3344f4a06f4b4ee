// The Hypot lanes (hypot.cpp documents the method and its measured errors), in a header so
// that the complex Abs rows run them on the parts of their elements.
#pragma once

#include <cmath>
#include <limits>

#include "vector/invtrig/kern.hpp"
#include "zyn/vex.h"

namespace zyn::vk::hyp {
using namespace vo;

template <class T>
inline constexpr T kTop = sizeof(T) == 8 ? 0x1p1023 : 0x1p127f;
template <class T>
inline constexpr T kFastLo = sizeof(T) == 8 ? 0x1p-100 : 0x1p-60f;
template <class T>
inline constexpr T kFastHi = sizeof(T) == 8 ? 0x1p100 : 0x1p60f;

// 2^-e and 2^e for v in [2^e, 2^(e+1)), v normal and below kTop.
ZYN_VO_INLINE void binade(D v, D &down, D &up) {
  const __m128i e = _mm_and_si128(_mm_castpd_si128(v), _mm_set1_epi64x(0x7ff0000000000000));
  down = _mm_castsi128_pd(_mm_sub_epi64(_mm_set1_epi64x(0x7fe0000000000000), e));
  up = _mm_castsi128_pd(e);
}
ZYN_VO_INLINE void binade(F v, F &down, F &up) {
  const __m128i e = _mm_and_si128(_mm_castps_si128(v), _mm_set1_epi32(0x7f800000));
  down = _mm_castsi128_ps(_mm_sub_epi32(_mm_set1_epi32(0x7f000000), e));
  up = _mm_castsi128_ps(e);
}

// a^2 = p + e exactly (Dekker, one split).
ZYN_VO_INLINE void two_sqr(D a, D &p, D &e) {
  D h, l;
  dd::split(a, h, l);
  p = a * a;
  e = ((h * h - p) + (h + h) * l) + l * l;
}

// kHAMasked: HA with each square split by masking (the complex Abs rows).
enum Level { kHA, kLA, kEP, kHAMasked };

template <class T, class Arith, Level kL>
struct HypotFn {
  using A = Arith;
  static constexpr int kArgs = 2;
  static constexpr const char *kName = sizeof(T) == 8 ? "vdHypot" : "vsHypot";
  static constexpr bool kWide = sizeof(A) > sizeof(T);  // single in double: no scaling

  // The root of vs^2 + us^2 at the level, vs >= us, neither square overflowing.
  template <class V>
  ZYN_VO_INLINE static V root(V vs, V us) {
    if constexpr (kL == kHA) {
      D vh, vl, uh, ul, sh, sl, s2, s2e;
      two_sqr(vs, vh, vl);
      two_sqr(us, uh, ul);
      fast_two_sum(vh, uh, sh, sl);
      sl = sl + (vl + ul);
      const D s = vsqrt(sh);
      two_sqr(s, s2, s2e);
      return s + (((sh - s2) - s2e) + sl) * (rcp_approx(s) * 0.5);
    } else if constexpr (kL == kHAMasked) {
      // a^2 = p + e unnormalized: hi = a's top 26 bits by masking, p = hi^2 (exact), e = (a - hi)
      // (hi + a) >= 0 (rounded: 2^-76 a^2 at most), five operations a square where Dekker's
      // split takes twelve; pv - q exact (both on pv's grid, below 2^3 pv). The correction as
      // kHA's; the squares' roundings add below 2^-20 ulp.
      auto square = [](D a, D &p, D &e) {
        const D hi = band(a, _mm_castsi128_pd(_mm_set1_epi64x(~0x7ffffffLL)));
        p = hi * hi, e = (a - hi) * (hi + a);
      };
      D pv, ev, pu, eu, q, qe;
      square(vs, pv, ev);
      square(us, pu, eu);
      const D es = ev + eu, s = vsqrt((pv + pu) + es);
      square(s, q, qe);
      return s + (((pv - q) + pu) + (es - qe)) * (rcp_approx(s) * 0.5);
    } else if constexpr (kL == kEP && sizeof(A) == 4) {
      const F S = vs * vs + us * us;
      return S * _mm_rsqrt_ps(S);
    } else {
      return vsqrt(vs * vs + us * us);
    }
  }
  // The common case alone, for callers that test it first: the lanes' results (eval's bits)
  // and true where every lane is ordered with max(|x|, |y|) within [kFastLo, kFastHi].
  template <class V>
  ZYN_VO_INLINE static bool common(V x, V y, V &r)
    requires(!kWide)
  {
    const V ax = vabs(x), ay = vabs(y), v = vmax(ax, ay);
    if (movemask(bor(unord(x, y), bor(lt(v, k<V>(kFastLo<T>)), nle(v, k<V>(kFastHi<T>)))))) return false;
    r = root(v, vmin(ax, ay));
    return true;
  }
  template <class V>
  ZYN_VO_INLINE static V eval(V x, V y) {
    V ax = vabs(x), ay = vabs(y);
    if constexpr (kWide) return vsqrt(ax * ax + ay * ay);
    const V v = vmax(ax, ay), u = vmin(ax, ay);
    // With v in [kFastLo, kFastHi] no square overflows, an underflowing u^2 is below 2^-800
    // (single 2^-29) of v^2, and the HA root is within the single estimate's range: the common
    // case needs no scaling.
    if (!movemask(bor(lt(v, k<V>(kFastLo<T>)), nle(v, k<V>(kFastHi<T>))))) return root(v, u);
    V down, up;
    binade(v, down, up);
    return root(v * down, u * down) * up;
  }
  template <class V>
  static V bad(V x, V y) {
    const V v = vmax(vabs(x), vabs(y));
    return bor(unord(x, y), bor(nlt(v, k<V>(kTop<T>)), lt(v, k<V>(std::numeric_limits<T>::min()))));
  }
  static int special(T x, T y, T *r) {
    if (std::isinf(x) || std::isinf(y)) return *r = std::numeric_limits<T>::infinity(), 0;
    if (std::isnan(x) || std::isnan(y)) return *r = x + y, 0;
    const long double xl = x, yl = y;
    *r = static_cast<T>(std::sqrt(xl * xl + yl * yl));
    return std::isinf(*r) ? STATUS_OVERFLOW : 0;
  }
};

}  // namespace zyn::vk::hyp
