// A unary kernel policy for zyn::vk::Map from a small function description F:
//
//   struct F {
//     static constexpr const char *kName;    // "vdCbrt"
//     static __m128d eval_d(__m128d x);     // fast path on two doubles
//     static int bad_d(__m128d x);          // lanes eval_d can't take
//     static int scalar(double x, double *r);  // any element; returns the status
//     // optional: kMasksOnly = true for a kernel that keeps the caller's MXCSR controls;
//     // single rows may also give eval_s(__m128) and bad_s(__m128); without eval_s the
//     // single kernel widens its lanes to double, evaluates eval_d and rounds once.
//   };
//
// The single scalar path widens too, so a single row is its double algorithm rounded once
// wherever an element stands.
#pragma once

#include "vector/skeleton/map.hpp"

namespace zyn::vk {

template <class F>
constexpr MxKind mxcsr_kind() {
  if constexpr (requires { F::kMasksOnly; })
    return F::kMasksOnly ? MxKind::MasksOnly : MxKind::ModeDriven;
  else
    return MxKind::ModeDriven;
}

template <class Elem, class F>
struct UnaryK {
  using T = Elem;
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr int kInputs = 1, kOutputs = 1, kBlock = 4 * S::L;
  static constexpr X87Kind kX87 = X87Kind::MasksOnly;
  static constexpr MxKind kMxcsr = mxcsr_kind<F>();
  static constexpr Tail kTail = Tail::Padded;
  static constexpr BadBlock kBadBlock = BadBlock::Lanes;
  static constexpr T kPad[1] = {T(0.75)};
  static constexpr const char *kName = F::kName;

  static int bad(const V *x) {
    if constexpr (sizeof(T) == 8) {
      return F::bad_d(x[0]);
    } else if constexpr (requires { F::bad_s(x[0]); }) {
      return F::bad_s(x[0]);
    } else {
      return F::bad_d(_mm_cvtps_pd(x[0])) | F::bad_d(_mm_cvtps_pd(_mm_movehl_ps(x[0], x[0]))) << 2;
    }
  }
  static void eval(const V *x, V *r) {
    if constexpr (sizeof(T) == 8) {
      r[0] = F::eval_d(x[0]);
    } else if constexpr (requires { F::eval_s(x[0]); }) {
      r[0] = F::eval_s(x[0]);
    } else {
      __m128d lo = F::eval_d(_mm_cvtps_pd(x[0]));
      __m128d hi = F::eval_d(_mm_cvtps_pd(_mm_movehl_ps(x[0], x[0])));
      r[0] = _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
    }
  }
  static int scalar(const T *x, T *r) {
    double d;
    int status = F::scalar(static_cast<double>(*x), &d);
    *r = static_cast<T>(d);
    return status;
  }
};

// One element through eval_d (lane 0), for scalar paths that reuse the vector formula.
template <class F>
inline double eval_one(double x) {
  return _mm_cvtsd_f64(F::eval_d(_mm_set1_pd(x)));
}

// One element through eval_s (lane 0).
template <class F>
inline float eval_one_s(float x) {
  return _mm_cvtss_f32(F::eval_s(_mm_set1_ps(x)));
}

inline __m128d mask_d(uint64_t m) { return _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(m))); }
inline __m128 mask_s(uint32_t m) { return _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(m))); }

// Lanes whose bits (single) or high 32 bits (double) lie outside [lo, hi] as unsigned numbers:
// the sign bit flipped turns the unsigned range test into one signed comparison, so zeros,
// negatives, infinities and NaN are outside of any positive finite range.
inline __m128i outside_hi32(__m128i b, uint32_t lo, uint32_t hi) {
  return _mm_cmpgt_epi32(_mm_add_epi32(b, _mm_set1_epi32(static_cast<int>(0x80000000u - lo))),
                         _mm_set1_epi32(static_cast<int>(0x80000000u + (hi - lo))));
}
inline int outside_d(__m128d x, uint32_t lo, uint32_t hi) {
  return _mm_movemask_pd(_mm_castsi128_pd(outside_hi32(_mm_castpd_si128(x), lo, hi)));
}
inline int outside_s(__m128 x, uint32_t lo, uint32_t hi) {
  return _mm_movemask_ps(_mm_castsi128_ps(outside_hi32(_mm_castps_si128(x), lo, hi)));
}
// Lanes outside the normal single range [2^-126, FLT_MAX].
inline int not_normal_s(__m128 x) { return outside_s(x, 0x00800000u, 0x7f7fffffu); }


}  // namespace zyn::vk
