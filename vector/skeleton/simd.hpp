// The SIMD vocabulary of the kernels: one vector register of the element type and its lane
// count. Kernels are written against these traits so that wider members of the family can
// reuse them with other traits.
#pragma once

#include <immintrin.h>

#include <cstdint>
#include <cstring>

namespace zyn::vk {

template <class T>
struct Simd;

template <>
struct Simd<double> {
  using V = __m128d;
  using I = __m128i;
  static constexpr int L = 2;
  static V load(const double *p) { return _mm_loadu_pd(p); }
  static void store(double *p, V v) { _mm_storeu_pd(p, v); }
  static V set1(double x) { return _mm_set1_pd(x); }
  static int movemask(V m) { return _mm_movemask_pd(m); }
};

template <>
struct Simd<float> {
  using V = __m128;
  using I = __m128i;
  static constexpr int L = 4;
  static V load(const float *p) { return _mm_loadu_ps(p); }
  static void store(float *p, V v) { _mm_storeu_ps(p, v); }
  static V set1(float x) { return _mm_set1_ps(x); }
  static int movemask(V m) { return _mm_movemask_ps(m); }
};

inline uint64_t bits(double x) {
  uint64_t u;
  memcpy(&u, &x, 8);
  return u;
}
inline double from_bits(uint64_t u) {
  double x;
  memcpy(&x, &u, 8);
  return x;
}
inline uint32_t bits(float x) {
  uint32_t u;
  memcpy(&u, &x, 4);
  return u;
}
inline float from_bits32(uint32_t u) {
  float x;
  memcpy(&x, &u, 4);
  return x;
}

}  // namespace zyn::vk
