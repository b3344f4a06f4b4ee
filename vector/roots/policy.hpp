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

// Quotients that must be computed at run time, to produce the IEEE result and raise the flag.
inline double runtime_div(double a, double b) {
  asm volatile("" : "+x"(a), "+x"(b));
  return a / b;
}

}  // namespace zyn::vk
