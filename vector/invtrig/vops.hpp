// Type-generic operations on one register of doubles (__m128d) or floats (__m128), for kernels
// written once for both types: arithmetic uses the vector types' own operators, the rest is
// here. Masks are all-ones lanes in the vector type itself.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "vector/trig/dd.hpp"

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

inline D splat(D, double v) { return _mm_set1_pd(v); }
inline F splat(F, double v) { return _mm_set1_ps(static_cast<float>(v)); }
template <class V>
inline V k(double v) {
  return splat(V{}, v);
}

inline D band(D a, D b) { return _mm_and_pd(a, b); }
inline F band(F a, F b) { return _mm_and_ps(a, b); }
inline D bandn(D a, D b) { return _mm_andnot_pd(a, b); }  // ~a & b
inline F bandn(F a, F b) { return _mm_andnot_ps(a, b); }
inline D bor(D a, D b) { return _mm_or_pd(a, b); }
inline F bor(F a, F b) { return _mm_or_ps(a, b); }
inline D bxor(D a, D b) { return _mm_xor_pd(a, b); }
inline F bxor(F a, F b) { return _mm_xor_ps(a, b); }
inline D blend(D a, D b, D m) { return _mm_blendv_pd(a, b, m); }  // m ? b : a
inline F blend(F a, F b, F m) { return _mm_blendv_ps(a, b, m); }
inline D lt(D a, D b) { return _mm_cmplt_pd(a, b); }
inline F lt(F a, F b) { return _mm_cmplt_ps(a, b); }
inline D le(D a, D b) { return _mm_cmple_pd(a, b); }
inline F le(F a, F b) { return _mm_cmple_ps(a, b); }
inline D eq(D a, D b) { return _mm_cmpeq_pd(a, b); }
inline F eq(F a, F b) { return _mm_cmpeq_ps(a, b); }
inline D neq(D a, D b) { return _mm_cmpneq_pd(a, b); }
inline F neq(F a, F b) { return _mm_cmpneq_ps(a, b); }
inline D nlt(D a, D b) { return _mm_cmpnlt_pd(a, b); }  // true also for NaN
inline F nlt(F a, F b) { return _mm_cmpnlt_ps(a, b); }
inline D nle(D a, D b) { return _mm_cmpnle_pd(a, b); }
inline F nle(F a, F b) { return _mm_cmpnle_ps(a, b); }
inline D unord(D a, D b) { return _mm_cmpunord_pd(a, b); }
inline F unord(F a, F b) { return _mm_cmpunord_ps(a, b); }
inline D vmin(D a, D b) { return _mm_min_pd(a, b); }  // b when either is NaN
inline F vmin(F a, F b) { return _mm_min_ps(a, b); }
inline D vmax(D a, D b) { return _mm_max_pd(a, b); }
inline F vmax(F a, F b) { return _mm_max_ps(a, b); }
inline D vsqrt(D a) { return _mm_sqrt_pd(a); }
inline F vsqrt(F a) { return _mm_sqrt_ps(a); }
inline D vround(D a) { return _mm_round_pd(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC); }
inline F vround(F a) { return _mm_round_ps(a, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC); }
inline int movemask(D m) { return _mm_movemask_pd(m); }
inline int movemask(F m) { return _mm_movemask_ps(m); }
inline double lane0(D v) { return _mm_cvtsd_f64(v); }
inline float lane0(F v) { return _mm_cvtss_f32(v); }
// The element type of a register type.
template <class V>
using Elem = decltype(lane0(V{}));

template <class V>
inline V sign_bit() {
  return k<V>(-0.0);
}
template <class V>
inline V vabs(V x) {
  return bandn(sign_bit<V>(), x);
}
template <class V>
inline V sign_of(V x) {
  return band(sign_bit<V>(), x);
}
// -0 becomes +0, everything else stays (exact).
template <class V>
inline V plus_zero(V x) {
  return x + k<V>(0.0);
}

// Bit j of the integer-valued lanes of n (|n| < 2^22 in float, 2^51 in double) moved to the sign
// bit: n + 1.5 2^(p-1) holds n in its low bits.
inline D bit_to_sign(D n, int j) {
  __m128i b = _mm_castpd_si128(n + _mm_set1_pd(0x1.8p52));
  return _mm_castsi128_pd(_mm_slli_epi64(_mm_srli_epi64(b, j), 63));
}
inline F bit_to_sign(F n, int j) {
  __m128i b = _mm_castps_si128(n + _mm_set1_ps(0x1.8p23f));
  return _mm_castsi128_ps(_mm_slli_epi32(_mm_srli_epi32(b, j), 31));
}
// All-ones lanes where bit j of the integer-valued n is set.
inline D bit_mask(D n, int j) {
  __m128i b = _mm_slli_epi64(_mm_castpd_si128(n + _mm_set1_pd(0x1.8p52)), 63 - j);
  return _mm_castsi128_pd(_mm_srai_epi32(_mm_shuffle_epi32(b, _MM_SHUFFLE(3, 3, 1, 1)), 31));
}
inline F bit_mask(F n, int j) {
  __m128i b = _mm_slli_epi32(_mm_castps_si128(n + _mm_set1_ps(0x1.8p23f)), 31 - j);
  return _mm_castsi128_ps(_mm_srai_epi32(b, 31));
}

// p(z) = c[0] + c[1] z + ... + c[N-1] z^(N-1), Horner.
template <int N, class V, class T>
inline V horner(V z, const T *c) {
  V p = k<V>(c[N - 1]);
  for (int i = N - 2; i >= 0; --i) p = p * z + k<V>(c[i]);
  return p;
}

// Error-free transformations (double): a + b = s + e (any order), a * b = p + e.
inline void two_sum(D a, D b, D &s, D &e) { dd::two_sum(a, b, s, e); }
inline void fast_two_sum(D a, D b, D &s, D &e) { dd::fast_two_sum(a, b, s, e); }
inline void two_prod(D a, D b, D &p, D &e) { dd::two_prod(a, b, p, e); }

// 1/x to 12 bits (relative error below 1.5 2^-12) for x within the single range.
inline D rcp_approx(D x) { return _mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(x))); }

}  // namespace zyn::vk::vo
