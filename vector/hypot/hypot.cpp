// Hypot, sqrt(x^2 + y^2), double and single, at three levels, written once for both types.
//
// The vector paths scale both arguments by the power of two 2^-e that brings v = max(|x|, |y|)
// to [1, 2) (exact; the smaller may underflow only where its square no longer counts), so that
// no square overflows or underflows, and scale the root back by 2^e, exactly. They take v in
// [smallest normal, 2^(emax - 1)); zeros, denormals, the top binade, infinities and NaN take
// the scalar path.
//   double HA  x^2 + y^2 as a double-double (exact squares), its root s = sqrt(hi) corrected by
//              (hi - s^2 + lo)/(2s) with s^2 exact and 1/s to 12 bits: below 0.5 + 2^-40 ulp
//              before the final rounding.
//   double LA, single LA  sqrt(x^2 + y^2) rounded three times: below 1 ulp.
//   double EP  the single root of the double sum refined by one Newton step with the single
//              reciprocal estimate: relative error below 2^-34.
//   single HA  widened lanes: x^2 + y^2 in double (exact squares, one rounding), its root
//              rounded twice: below 0.5 + 2^-28 ulp. No scaling is needed in double.
//   single EP  x^2 + y^2 times its reciprocal square-root estimate: 2^-11.4.
// Measured worst errors (10^6 inputs per row and level, docs/accuracy.md), at the input:
//   (filled in after the sweep)
//
// Scalar path: an infinite argument gives +inf, also with a NaN (C99 Annex F); else NaN gives
// NaN; zeros +0. Other lanes in long double, rounded once: a result beyond the largest finite
// is +inf with STATUS_OVERFLOW; tiny results are not reported.
#include <cmath>
#include <limits>

#include "frame/kernels.hpp"
#include "vector/invtrig/kern.hpp"

namespace zyn::vk {
namespace {
using namespace vo;

template <class T>
inline constexpr T kTop = sizeof(T) == 8 ? 0x1p1023 : 0x1p127f;

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

enum Level { kHA, kLA, kEP };

template <class T, class Arith, Level kL>
struct HypotFn {
  using A = Arith;
  static constexpr int kArgs = 2;
  static constexpr const char *kName = sizeof(T) == 8 ? "vdHypot" : "vsHypot";
  static constexpr bool kWide = sizeof(A) > sizeof(T);  // single in double: no scaling

  template <class V>
  ZYN_VO_INLINE static V eval(V x, V y) {
    V ax = vabs(x), ay = vabs(y);
    if constexpr (kWide) return vsqrt(ax * ax + ay * ay);
    const V v = vmax(ax, ay), u = vmin(ax, ay);
    V down, up;
    binade(v, down, up);
    const V vs = v * down, us = u * down;
    if constexpr (kL == kHA) {
      D vh, vl, uh, ul, sh, sl, s2, s2e;
      two_sqr(vs, vh, vl);
      two_sqr(us, uh, ul);
      fast_two_sum(vh, uh, sh, sl);
      sl = sl + (vl + ul);
      const D s = vsqrt(sh);
      two_sqr(s, s2, s2e);
      return (s + (((sh - s2) - s2e) + sl) * (rcp_approx(s) * 0.5)) * up;
    } else if constexpr (kL == kLA) {
      return vsqrt(vs * vs + us * us) * up;
    } else if constexpr (sizeof(A) == 8) {
      const D S = vs * vs + us * us;
      const __m128 rf = _mm_sqrt_ps(_mm_cvtpd_ps(S));
      const D s = _mm_cvtps_pd(rf), r = _mm_cvtps_pd(_mm_rcp_ps(rf));
      return (s + (S - s * s) * (r * 0.5)) * up;  // s has 24 bits: s * s is exact
    } else {
      const F S = vs * vs + us * us;
      return S * _mm_rsqrt_ps(S) * up;
    }
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

template <class T, class Arith, Level kL>
using K = Kern<T, HypotFn<T, Arith, kL>>;
using dHypotHA = K<double, double, kHA>;
using dHypotLA = K<double, double, kLA>;
using dHypotEP = K<double, double, kEP>;
using sHypotHA = K<float, double, kHA>;
using sHypotLA = K<float, float, kLA>;
using sHypotEP = K<float, float, kEP>;
}  // namespace

ZYN_BINARY_KERNELS(dHypot, HA, dHypotHA)
ZYN_BINARY_KERNELS(dHypot, LA, dHypotLA)
ZYN_BINARY_KERNELS(dHypot, EP, dHypotEP)
ZYN_BINARY_KERNELS(sHypot, HA, sHypotHA)
ZYN_BINARY_KERNELS(sHypot, LA, sHypotLA)
ZYN_BINARY_KERNELS(sHypot, EP, sHypotEP)

}  // namespace zyn::vk
