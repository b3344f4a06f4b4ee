// Double-double building blocks on vectors of two doubles, without fused multiply-add.
#pragma once

#include <immintrin.h>

namespace zyn::vk::dd {

using V = __m128d;

inline V set(double x) { return _mm_set1_pd(x); }

// a + b = s + e exactly (any magnitudes).
inline void two_sum(V a, V b, V &s, V &e) {
  s = _mm_add_pd(a, b);
  V bb = _mm_sub_pd(s, a);
  e = _mm_add_pd(_mm_sub_pd(a, _mm_sub_pd(s, bb)), _mm_sub_pd(b, bb));
}
// a + b = s + e exactly when |a| >= |b| or a is 0.
inline void fast_two_sum(V a, V b, V &s, V &e) {
  s = _mm_add_pd(a, b);
  e = _mm_sub_pd(b, _mm_sub_pd(s, a));
}
// Splits a into 26 and 27 high and low bits (Veltkamp), so that products of halves are exact.
inline void split(V a, V &h, V &l) {
  V c = _mm_mul_pd(a, set(134217729.0));  // 2^27 + 1
  h = _mm_sub_pd(c, _mm_sub_pd(c, a));
  l = _mm_sub_pd(a, h);
}
// a * b = p + e exactly (Dekker), barring overflow and underflow.
inline void two_prod(V a, V b, V &p, V &e) {
  V ah, al, bh, bl;
  split(a, ah, al);
  split(b, bh, bl);
  p = _mm_mul_pd(a, b);
  e = _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(ah, bh), p), _mm_mul_pd(ah, bl)),
                            _mm_mul_pd(al, bh)),
                 _mm_mul_pd(al, bl));
}

}  // namespace zyn::vk::dd
