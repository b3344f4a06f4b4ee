// Hypot, sqrt(x^2 + y^2), double and single, at three levels, written once for both types.
//
// With v = max(|x|, |y|) in [2^-100, 2^100] (single 2^+-60) in every lane the arguments are
// taken as they are. Otherwise the vector paths scale both by the power of two 2^-e that brings
// v to [1, 2) (exact; the smaller may underflow only where its square no longer counts), so that
// no square overflows or underflows, and scale the root back by 2^e, exactly. They take v in
// [smallest normal, 2^(emax - 1)); zeros, denormals, the top binade, infinities and NaN take
// the scalar path.
//   double HA  x^2 + y^2 as a double-double (exact squares), its root s = sqrt(hi) corrected by
//              (hi - s^2 + lo)/(2s) with s^2 exact and 1/s to 12 bits: below 0.5 + 2^-40 ulp
//              before the final rounding.
//   double LA, EP, single LA  sqrt(x^2 + y^2) rounded three times: below 1 ulp (the double
//              root is already cheaper than refining the single one).
//   single HA  widened lanes: x^2 + y^2 in double (exact squares, one rounding), its root
//              rounded twice: below 0.5 + 2^-28 ulp. No scaling is needed in double.
//   single EP  x^2 + y^2 times its reciprocal square-root estimate: 2^-11.4.
// Measured worst errors (10^6 inputs per row and level, docs/accuracy.md), at the input:
//   sHypot  HA 0.500 ulp at -0x1.6c6244p+7, 0x1.9ff334p+3
//           LA 1.156 ulp at -0x1.f7f106p-53, 0x1.6dee7ap-43
//           EP 11.9 bits at -0x1.ef5252p+108, 0x1.039d9ap+22
//   dHypot  HA 0.500 ulp at 0x0.fffffd5ff5f23p-1022, 0x0.ffffffffffcf1p-1022
//           LA 1.173 ulp at 0x1.0ba30ccb91a62p+0, 0x1.003b537da72e7p+0
//           EP 52.1 bits at 0x1.0ba30ccb91a62p+0, 0x1.003b537da72e7p+0
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

enum Level { kHA, kLA, kEP };

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
    } else if constexpr (kL == kEP && sizeof(A) == 4) {
      const F S = vs * vs + us * us;
      return S * _mm_rsqrt_ps(S);
    } else {
      return vsqrt(vs * vs + us * us);
    }
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
