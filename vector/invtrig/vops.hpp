// Type-generic operations on one register of doubles (__m128d) or floats (__m128), for kernels
// written once for both types: arithmetic uses the vector types' own operators, the rest is
// here. Masks are all-ones lanes in the vector type itself.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "vector/trig/dd.hpp"

// Every helper is forced inline: the kernels' blocks interleave their vectors only when the
// whole evaluation is one body.
#define ZYN_VO_INLINE inline __attribute__((always_inline))

namespace zyn::vk::vo {

using D = __m128d;
using F = __m128;

template <class T>
struct Of;
template <>
struct Of<double> {
  using V = D;
  using I = int64_t;
};
template <>
struct Of<float> {
  using V = F;
  using I = int32_t;
};
template <class T>
using VOf = typename Of<T>::V;

ZYN_VO_INLINE D splat(D, double v) { return _mm_set1_pd(v); }
ZYN_VO_INLINE F splat(F, double v) { return _mm_set1_ps(static_cast<float>(v)); }
template <class V>
ZYN_VO_INLINE V k(double v) {
  return splat(V{}, v);
}

ZYN_VO_INLINE D band(D a, D b) { return _mm_and_pd(a, b); }
ZYN_VO_INLINE F band(F a, F b) { return _mm_and_ps(a, b); }
ZYN_VO_INLINE D bandn(D a, D b) { return _mm_andnot_pd(a, b); }  // ~a & b
ZYN_VO_INLINE F bandn(F a, F b) { return _mm_andnot_ps(a, b); }
ZYN_VO_INLINE D bor(D a, D b) { return _mm_or_pd(a, b); }
ZYN_VO_INLINE F bor(F a, F b) { return _mm_or_ps(a, b); }
ZYN_VO_INLINE D bxor(D a, D b) { return _mm_xor_pd(a, b); }
ZYN_VO_INLINE F bxor(F a, F b) { return _mm_xor_ps(a, b); }
ZYN_VO_INLINE D blend(D a, D b, D m) { return _mm_blendv_pd(a, b, m); }  // m ? b : a
ZYN_VO_INLINE F blend(F a, F b, F m) { return _mm_blendv_ps(a, b, m); }
ZYN_VO_INLINE D lt(D a, D b) { return _mm_cmplt_pd(a, b); }
ZYN_VO_INLINE F lt(F a, F b) { return _mm_cmplt_ps(a, b); }
ZYN_VO_INLINE D le(D a, D b) { return _mm_cmple_pd(a, b); }
ZYN_VO_INLINE F le(F a, F b) { return _mm_cmple_ps(a, b); }
ZYN_VO_INLINE D eq(D a, D b) { return _mm_cmpeq_pd(a, b); }
ZYN_VO_INLINE F eq(F a, F b) { return _mm_cmpeq_ps(a, b); }
ZYN_VO_INLINE D neq(D a, D b) { return _mm_cmpneq_pd(a, b); }
ZYN_VO_INLINE F neq(F a, F b) { return _mm_cmpneq_ps(a, b); }
ZYN_VO_INLINE D nlt(D a, D b) { return _mm_cmpnlt_pd(a, b); }  // true also for NaN
ZYN_VO_INLINE F nlt(F a, F b) { return _mm_cmpnlt_ps(a, b); }
ZYN_VO_INLINE D nle(D a, D b) { return _mm_cmpnle_pd(a, b); }
ZYN_VO_INLINE F nle(F a, F b) { return _mm_cmpnle_ps(a, b); }
ZYN_VO_INLINE D unord(D a, D b) { return _mm_cmpunord_pd(a, b); }
ZYN_VO_INLINE F unord(F a, F b) { return _mm_cmpunord_ps(a, b); }
ZYN_VO_INLINE D vmin(D a, D b) { return _mm_min_pd(a, b); }  // b when either is NaN
ZYN_VO_INLINE F vmin(F a, F b) { return _mm_min_ps(a, b); }
ZYN_VO_INLINE D vmax(D a, D b) { return _mm_max_pd(a, b); }
ZYN_VO_INLINE F vmax(F a, F b) { return _mm_max_ps(a, b); }
ZYN_VO_INLINE D vsqrt(D a) { return _mm_sqrt_pd(a); }
ZYN_VO_INLINE F vsqrt(F a) { return _mm_sqrt_ps(a); }
ZYN_VO_INLINE D vround(D a) { return _mm_round_pd(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC); }
ZYN_VO_INLINE F vround(F a) { return _mm_round_ps(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC); }
ZYN_VO_INLINE int movemask(D m) { return _mm_movemask_pd(m); }
ZYN_VO_INLINE int movemask(F m) { return _mm_movemask_ps(m); }
ZYN_VO_INLINE double lane0(D v) { return _mm_cvtsd_f64(v); }
ZYN_VO_INLINE float lane0(F v) { return _mm_cvtss_f32(v); }
// The element type of a register type.
template <class V>
using Elem = decltype(lane0(V{}));

template <class V>
ZYN_VO_INLINE V sign_bit() {
  return k<V>(-0.0);
}
template <class V>
ZYN_VO_INLINE V vabs(V x) {
  return bandn(sign_bit<V>(), x);
}
template <class V>
ZYN_VO_INLINE V sign_of(V x) {
  return band(sign_bit<V>(), x);
}
// -0 becomes +0, everything else stays (exact).
template <class V>
ZYN_VO_INLINE V plus_zero(V x) {
  return x + k<V>(0.0);
}

// Bit j of the integer-valued lanes of n (|n| < 2^22 in float, 2^51 in double) moved to the sign
// bit: n + 1.5 2^(p-1) holds n in its low bits.
ZYN_VO_INLINE D bit_to_sign(D n, int j) {
  __m128i b = _mm_castpd_si128(n + _mm_set1_pd(0x1.8p52));
  return _mm_castsi128_pd(_mm_slli_epi64(_mm_srli_epi64(b, j), 63));
}
ZYN_VO_INLINE F bit_to_sign(F n, int j) {
  __m128i b = _mm_castps_si128(n + _mm_set1_ps(0x1.8p23f));
  return _mm_castsi128_ps(_mm_slli_epi32(_mm_srli_epi32(b, j), 31));
}
// All-ones lanes where bit j of the integer-valued n is set.
ZYN_VO_INLINE D bit_mask(D n, int j) {
  __m128i b = _mm_slli_epi64(_mm_castpd_si128(n + _mm_set1_pd(0x1.8p52)), 63 - j);
  return _mm_castsi128_pd(_mm_srai_epi32(_mm_shuffle_epi32(b, _MM_SHUFFLE(3, 3, 1, 1)), 31));
}
ZYN_VO_INLINE F bit_mask(F n, int j) {
  __m128i b = _mm_slli_epi32(_mm_castps_si128(n + _mm_set1_ps(0x1.8p23f)), 31 - j);
  return _mm_castsi128_ps(_mm_srai_epi32(b, 31));
}

// p(z) of degree N with coefficients c[0] (highest) to c[N]. Horner: the last steps add the
// result's leading terms one at a time, for polynomials whose value is the result. Estrin: depth
// log2 N instead of N, which long polynomials' latency needs; its last sums add terms of the
// polynomial's size, so it serves polynomials that feed a small correction.
template <int N, class V, class T>
ZYN_VO_INLINE V horner(V z, const T *c) {
  V p = k<V>(c[0]);
  for (int i = 1; i <= N; ++i) p = p * z + k<V>(c[i]);
  return p;
}
template <int N, class V, class T>
ZYN_VO_INLINE V poly(V z, const T *c) {
  if constexpr (N <= 4) return horner<N>(z, c);  // as shallow, and fewer products
  V a[N / 2 + 1];
  for (int i = 0; i <= N; i += 2)
    a[i / 2] = i + 1 > N ? k<V>(c[N - i]) : k<V>(c[N - i]) + k<V>(c[N - i - 1]) * z;
  V p = z * z;
  for (int m = N / 2 + 1; m > 1; m = (m + 1) / 2) {
    for (int j = 0; 2 * j < m; ++j) a[j] = 2 * j + 1 < m ? a[2 * j] + a[2 * j + 1] * p : a[2 * j];
    p = p * p;
  }
  return a[0];
}

// Error-free transformations (double): a + b = s + e (any order), a * b = p + e.
ZYN_VO_INLINE void two_sum(D a, D b, D &s, D &e) { dd::two_sum(a, b, s, e); }
ZYN_VO_INLINE void fast_two_sum(D a, D b, D &s, D &e) { dd::fast_two_sum(a, b, s, e); }
ZYN_VO_INLINE void two_prod(D a, D b, D &p, D &e) { dd::two_prod(a, b, p, e); }

// 1/x to 12 bits (relative error below 1.5 2^-12) for x within the single range.
ZYN_VO_INLINE D rcp_approx(D x) { return _mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(x))); }

}  // namespace zyn::vk::vo
