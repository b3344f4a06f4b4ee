// Exact element-wise binary arithmetic (Add, Sub, Mul): every element is one IEEE operation,
// nothing is ever reported.
//
// Double form (masks-only entry, so the caller's rounding and denormal controls hold): below 8
// elements one scalar loop; a peel of 0 or 1 elements brings y to 16 bytes (a y not 8-byte
// aligned runs the scalar loop); two main loops of 8 elements, chosen once by whether b is
// 16-byte aligned at the peel position; the remainder one by one.
//
// Single form (mode-driven entry: round to nearest, denormals by the mode): blocks of 32, a
// peel of up to 3 elements to align y (a y not 4-byte aligned runs the scalar loop), and a
// separate copy of the loops for a equal to y and for b equal to y.
#pragma once

#include <cstdint>
#include <cstring>

#include "vector/skeleton/fpenv.hpp"
#include "vector/skeleton/simd.hpp"

namespace zyn::vk {

struct OpAdd {
  static double apply(double a, double b) { return a + b; }
  static float apply(float a, float b) { return a + b; }
  static __m128d apply(__m128d a, __m128d b) { return _mm_add_pd(a, b); }
  static __m128 apply(__m128 a, __m128 b) { return _mm_add_ps(a, b); }
};
struct OpSub {
  static double apply(double a, double b) { return a - b; }
  static float apply(float a, float b) { return a - b; }
  static __m128d apply(__m128d a, __m128d b) { return _mm_sub_pd(a, b); }
  static __m128 apply(__m128 a, __m128 b) { return _mm_sub_ps(a, b); }
};
struct OpMul {
  static double apply(double a, double b) { return a * b; }
  static float apply(float a, float b) { return a * b; }
  static __m128d apply(__m128d a, __m128d b) { return _mm_mul_pd(a, b); }
  static __m128 apply(__m128 a, __m128 b) { return _mm_mul_ps(a, b); }
};

// Element by element, through memcpy: a caller's vectors need not be aligned to their type.
template <class Op, class T>
inline void scalar_loop(int from, int to, const T *a, const T *b, T *y) {
  for (int i = from; i < to; ++i) {
    T x, z;
    memcpy(&x, a + i, sizeof x);
    memcpy(&z, b + i, sizeof z);
    T r = Op::apply(x, z);
    memcpy(y + i, &r, sizeof r);
  }
}

template <class Op, bool kAlignedB>
inline void main_loop_d(int from, int to, const double *a, const double *b, double *y) {
  for (int i = from; i < to; i += 8) {
    for (int j = 0; j < 8; j += 2) {
      __m128d vb = kAlignedB ? _mm_load_pd(b + i + j) : _mm_loadu_pd(b + i + j);
      _mm_store_pd(y + i + j, Op::apply(_mm_loadu_pd(a + i + j), vb));
    }
  }
}

template <class Op>
void elementwise_d(int n, const double *a, const double *b, double *y) {
  FpScope<X87Kind::MasksOnly, MxKind::MasksOnly> fp;
  if (n <= 0) return;
  const uintptr_t ya = reinterpret_cast<uintptr_t>(y);
  int peel = (ya & 15) == 0 ? 0 : (ya & 7) == 0 ? 1 : -1;
  if (n < 8 || peel < 0 || n < peel + 8) {
    scalar_loop<Op>(0, n, a, b, y);
    return;
  }
  const int main_end = n - ((n - peel) & 7);
  scalar_loop<Op>(0, peel, a, b, y);
  if ((reinterpret_cast<uintptr_t>(b + peel) & 15) == 0)
    main_loop_d<Op, true>(peel, main_end, a, b, y);
  else
    main_loop_d<Op, false>(peel, main_end, a, b, y);
  scalar_loop<Op>(main_end, n, a, b, y);
}

// kAlias: 0 distinct, 1 a is y, 2 b is y. The copies differ only in which operand they reread.
template <class Op, int kAlias>
inline void main_loop_s(int from, int to, const float *a, const float *b, float *y) {
  for (int i = from; i < to; i += 32) {
    for (int j = 0; j < 32; j += 4) {
      __m128 va = kAlias == 1 ? _mm_load_ps(y + i + j) : _mm_loadu_ps(a + i + j);
      __m128 vb = kAlias == 2 ? _mm_load_ps(y + i + j) : _mm_loadu_ps(b + i + j);
      _mm_store_ps(y + i + j, Op::apply(va, vb));
    }
  }
}

template <class Op>
void elementwise_s(int n, const float *a, const float *b, float *y) {
  FpScope<X87Kind::MasksOnly, MxKind::ModeDriven> fp;
  if (n <= 0) return;
  const uintptr_t ya = reinterpret_cast<uintptr_t>(y);
  int peel = (ya & 15) == 0 ? 0 : (ya & 3) == 0 ? static_cast<int>((16 - (ya & 15)) / 4) : -1;
  if (n < 32 || peel < 0 || n < peel + 32) {
    scalar_loop<Op>(0, n, a, b, y);
    return;
  }
  const int main_end = n - ((n - peel) & 31);
  scalar_loop<Op>(0, peel, a, b, y);
  if (a == y)
    main_loop_s<Op, 1>(peel, main_end, a, b, y);
  else if (b == y)
    main_loop_s<Op, 2>(peel, main_end, a, b, y);
  else
    main_loop_s<Op, 0>(peel, main_end, a, b, y);
  scalar_loop<Op>(main_end, n, a, b, y);
}

}  // namespace zyn::vk
