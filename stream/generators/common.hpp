// Shared pieces of the basic generators: where their numbers go. A generator produces raw
// 32-bit words one at a time (one) or four at a time (four); an output writes them as words or
// maps them to uniform numbers r = u * scale + shift, with u the word taken as unsigned and the
// scale fixed once per call, so that every element sees the same arithmetic whatever path made it.
#pragma once

#include <smmintrin.h>

#include <bit>
#include <cstdint>
#include <type_traits>

#include "stream/stream_internal.hpp"

namespace zyn::rng {

// Raw words.
struct U32Out {
  uint32_t *r;
  void one(int i, uint32_t x) const { r[i] = x; }
  void four(int i, __m128i v) const { _mm_storeu_si128(reinterpret_cast<__m128i *>(r + i), v); }
};

// Exact conversion of the low two unsigned words of v to doubles: 2^52 + u as bits, minus 2^52.
inline __m128d u32x2_to_pd(__m128i v) {
  const __m128i magic = _mm_set1_epi64x(0x4330000000000000LL);
  return _mm_sub_pd(_mm_castsi128_pd(_mm_or_si128(_mm_cvtepu32_epi64(v), magic)),
                    _mm_castsi128_pd(magic));
}

// Doubles: r = (double)u * scale + shift.
struct F64Out {
  double *r;
  double scale, shift;
  void one(int i, uint32_t x) const { r[i] = static_cast<double>(x) * scale + shift; }
  void four(int i, __m128i v) const {
    const __m128d s = _mm_set1_pd(scale), t = _mm_set1_pd(shift);
    _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(u32x2_to_pd(v), s), t));
    _mm_storeu_pd(r + i + 2, _mm_add_pd(_mm_mul_pd(u32x2_to_pd(_mm_srli_si128(v, 8)), s), t));
  }
};

// Singles computed in double on the widened bounds and rounded once.
struct F32ViaF64Out {
  float *r;
  double scale, shift;
  void one(int i, uint32_t x) const {
    r[i] = static_cast<float>(static_cast<double>(x) * scale + shift);
  }
  void four(int i, __m128i v) const {
    const __m128d s = _mm_set1_pd(scale), t = _mm_set1_pd(shift);
    __m128 lo = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(u32x2_to_pd(v), s), t));
    __m128 hi = _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(u32x2_to_pd(_mm_srli_si128(v, 8)), s), t));
    _mm_storeu_ps(r + i, _mm_movelh_ps(lo, hi));
  }
};

// Words taken as signed, s = (int32)(u ^ flip), mapped to r = s * scale + mid, computed in C and
// stored as R: doubles, singles through doubles, or singles throughout.
template <class R, class C>
struct SignedOut {
  R *r;
  C scale, mid;
  uint32_t flip;
  void one(int i, uint32_t x) const {
    r[i] = static_cast<R>(static_cast<C>(static_cast<int32_t>(x ^ flip)) * scale + mid);
  }
  void four(int i, __m128i v) const {
    const __m128i s = _mm_xor_si128(v, _mm_set1_epi32(static_cast<int>(flip)));
    if constexpr (std::is_same_v<C, float>) {
      _mm_storeu_ps(r + i, _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(s), _mm_set1_ps(scale)),
                                      _mm_set1_ps(mid)));
    } else {
      const __m128d k = _mm_set1_pd(scale), m = _mm_set1_pd(mid);
      __m128d lo = _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(s), k), m);
      __m128d hi = _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(s, 8)), k), m);
      if constexpr (std::is_same_v<R, double>) {
        _mm_storeu_pd(r + i, lo);
        _mm_storeu_pd(r + i + 2, hi);
      } else {
        _mm_storeu_ps(r + i, _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)));
      }
    }
  }
};

// r = s (b - a) 2^-32 + (a + b) / 2 with the scale and midpoint formed once in C.
template <class R, class C>
inline SignedOut<R, C> signed_out(R *r, C a, C b, uint32_t flip) {
  return {r, (b - a) * C(0x1p-32), (a + b) * C(0.5), flip};
}

inline F64Out double_out(double *r, double a, double b, double c) { return {r, (b - a) * c, a}; }
inline F32ViaF64Out float_out(float *r, float a, float b, double c) {
  double da = a, db = b;
  return {r, (db - da) * c, da};
}

// The status of an init method that a generator lacks, or of a method outside 0 to 3.
inline int lacking(int method) {
  switch (method) {
    case RNX_METHOD_LEAPFROG:
      return RNX_STATUS_NO_LEAPFROG;
    case RNX_METHOD_SKIP:
      return RNX_STATUS_NO_SKIP;
    case RNX_METHOD_SKIP_EX:
      return RNX_STATUS_NO_SKIP_EX;
    default:
      return RNX_STATUS_BAD_METHOD;
  }
}

// The double and single output functions of a generator whose words u map to u * scale with
// scale (b - a) * c, through its run(stream, n, out).
#define ZYN_RNX_UNIFORM_OUTPUTS(name, run, c)                                                  \
  ZYN_API int __rnxdBRng##name(StreamState *stream, int n, double *r, double a, double b) {    \
    return run(stream, n, zyn::rng::double_out(r, a, b, c));                                   \
  }                                                                                            \
  ZYN_API int __rnxsBRng##name(StreamState *stream, int n, float *r, float a, float b) {       \
    return run(stream, n, zyn::rng::float_out(r, a, b, c));                                    \
  }

// Feeds raw words from a buffer to an output, four at a time.
template <class Out>
inline void emit_words(const Out &out, int at, const uint32_t *u, int n) {
  int i = 0;
  for (; i + 4 <= n; i += 4)
    out.four(at + i, _mm_loadu_si128(reinterpret_cast<const __m128i *>(u + i)));
  for (; i < n; ++i) out.one(at + i, u[i]);
}

// The words of a stack buffer for generators that build integers in blocks and convert them
// afterwards: 4 KiB, L1-resident.
constexpr int kBlockWords = 1024;

}  // namespace zyn::rng
