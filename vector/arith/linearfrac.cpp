// LinearFrac: y = (scalea * a + shifta) / (scaleb * b + shiftb), the scalars taken as given.
// Nothing is noticed or reported: a zero denominator or a NaN gives what IEEE division gives.
//
// Main loop, blocks of 16: the denominator's reciprocal from the hardware's 12-bit estimate
// refined by Newton steps r = r (2 - d r) (one in single, two in double, on a double
// widened from the single estimate: relative error about 2^-22 and 2^-46), then q = n r cut to
// its leading half qh, and one correction qh + r e with the residual e = (n - qh dh) - qh dl
// (d = dh + dl split in halves, so both products are exact and the first difference is exact
// by Sterbenz's lemma). The correction carries the error of r only on the small difference
// q - qh, so the result is the correctly rounded quotient of the rounded numerator and
// denominator up to a few 2^-10 ulp. Lanes where the estimate is out of its range (|d|
// outside [2^-125, 2^125]) or q is not finite get a true division, as does the tail, element
// by element. Double rows keep the caller's rounding and
// denormal controls (masks-only entry); single rows are mode-driven.
#include "vector/arith/arith_policy.hpp"

namespace zyn::vk {
namespace {
using namespace arith;

inline __m128 recip(__m128 d) {
  const __m128 r = _mm_rcp_ps(d);
  return r * (_mm_set1_ps(2.0f) - d * r);
}
inline __m128d recip(__m128d d) {
  __m128d r = _mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(d)));
  const __m128d two = _mm_set1_pd(2.0);
  r = r * (two - d * r);
  return r * (two - d * r);
}

// Veltkamp's split constant 2^ceil(p/2) + 1 and the mask keeping the leading half of a value.
inline __m128 split_c(__m128) { return _mm_set1_ps(4097.0f); }
inline __m128d split_c(__m128d) { return _mm_set1_pd(134217729.0); }
inline __m128 high_half(__m128 x) { return vand(x, vfrom<__m128>(_mm_set1_epi32(static_cast<int>(0xfffff000u)))); }
inline __m128d high_half(__m128d x) {
  return vand(x, vfrom<__m128d>(_mm_set1_epi64x(static_cast<long long>(0xfffffffff8000000ull))));
}

template <class V>
inline V divide(V num, V den) {
  const V r = recip(den), qh = high_half(num * r);
  const V t = split_c(den) * den, dh = t - (t - den), dl = den - dh;
  return qh + r * ((num - qh * dh) - qh * dl);
}

template <class T>
struct LinearFrac {
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr int L = S::L, kBlock = 16, NV = kBlock / L;
  static constexpr MxKind kMx = sizeof(T) == 8 ? MxKind::MasksOnly : MxKind::ModeDriven;

  template <class Lay>
  static void run(int n, const Lay &lay, T sa, T ha, T sb, T hb) {
    FpScope<X87Kind::MasksOnly, kMx> fp;
    if (n <= 0) return;
    const V vsa = S::set1(sa), vha = S::set1(ha), vsb = S::set1(sb), vhb = S::set1(hb);
    const V lo = vsplat<V>(0x1p-125), hi = vsplat<V>(0x1p125);
    int i = 0;
    for (; i + kBlock <= n; i += kBlock) {
      V y[NV];
      int mask = 0;
      for (int v = 0; v < NV; ++v) {
        const V num = vsa * lay.load(0, i + v * L) + vha, den = vsb * lay.load(1, i + v * L) + vhb;
        y[v] = divide(num, den);
        // NaN denominators are zeroed before the ordered compares, which would raise the
        // invalid flag on them; a NaN or infinite quotient is found by the integer unit
        const V ad = vabs(vand(den, vord(den, den)));
        const V ok = vandnot(vnonfinite(y[v]), vand(vle(lo, ad), vle(ad, hi)));
        mask |= (vmask(ok) ^ ((1 << L) - 1)) << (v * L);
      }
      if (__builtin_expect(mask != 0, 0)) {
        alignas(16) T buf[kBlock];
        for (int v = 0; v < NV; ++v) S::store(buf + v * L, y[v]);
        for (; mask != 0; mask &= mask - 1) {
          const int j = __builtin_ctz(static_cast<unsigned>(mask));
          buf[j] = one(lay, i + j, sa, ha, sb, hb);
        }
        for (int v = 0; v < NV; ++v) y[v] = S::load(buf + v * L);
      }
      for (int v = 0; v < NV; ++v) lay.store(0, i + v * L, y[v]);
    }
    for (; i < n; ++i) *lay.out_at(0, i) = one(lay, i, sa, ha, sb, hb);
  }

  template <class Lay>
  static T one(const Lay &lay, int i, T sa, T ha, T sb, T hb) {
    const T num = sa * *lay.in_at(0, i) + ha, den = sb * *lay.in_at(1, i) + hb;
    return opaque(num) / opaque(den);
  }
};

}  // namespace

#define ZYN_LINEARFRAC_ROW(t, T)                                                                       \
  extern "C" void zyn_vk_##t##LinearFrac_HA(int n, const T *a, const T *b, T sa, T ha, T sb, T hb,      \
                                            T *y) {                                                      \
    LinearFrac<T>::run(n, Contiguous<T, 2, 1>{{a, b}, {y}}, sa, ha, sb, hb);                            \
  }                                                                                                      \
  extern "C" void zyn_vk_##t##LinearFracI_HA(int n, const T *a, int inca, const T *b, int incb, T sa,   \
                                             T ha, T sb, T hb, T *y, int incy) {                         \
    LinearFrac<T>::run(n, Strided<T, 2, 1>{{a, b}, {inca, incb}, {y}, {incy}}, sa, ha, sb, hb);         \
  }
ZYN_LINEARFRAC_ROW(d, double)
ZYN_LINEARFRAC_ROW(s, float)

}  // namespace zyn::vk
