// A kernel policy for zyn::vk::Map from a function written once for both types (vops.hpp):
//
//   struct Fn {
//     using A = double;                   // the type eval computes in
//     static constexpr int kArgs;         // 1 or 2
//     static constexpr const char *kName; // "vdAsin" (the row's name for Kern's element type)
//     template <class V> static V eval(V a [, V b]);  // fast path, V = VOf<A>
//     template <class V> static V bad(V a [, V b]);   // mask of the lanes eval can't take
//     template <class T> static int special(T a, [T b,] T *r);
//         // the scalar path of such lanes: the status with *r set, or -1 for an ordinary
//         // element, which then goes through eval on lane 0
//   };
//
// With A = double and float elements the kernel widens its lanes, evaluates in double and
// rounds once. bad() always sees the elements, so thresholds are those of the element type.
#pragma once

#include <type_traits>

#include "vector/invtrig/vops.hpp"
#include "vector/skeleton/map.hpp"

namespace zyn::vk {

template <class Elem, class Fn>
struct Kern {
  using T = Elem;
  using S = Simd<T>;
  using V = typename S::V;
  using A = typename Fn::A;
  using VA = vo::VOf<A>;
  static constexpr int kInputs = Fn::kArgs, kOutputs = 1, kBlock = 2 * S::L;
  static constexpr X87Kind kX87 = X87Kind::MasksOnly;
  static constexpr MxKind kMxcsr = MxKind::ModeDriven;
  static constexpr Tail kTail = Tail::Padded;
  static constexpr BadBlock kBadBlock = BadBlock::Lanes;
  static constexpr T kPad[2] = {T(0.75), T(0.75)};
  static constexpr const char *kName = Fn::kName;

  __attribute__((always_inline)) static VA eval_a(const VA *x) {
    if constexpr (kInputs == 1)
      return Fn::eval(x[0]);
    else
      return Fn::eval(x[0], x[1]);
  }
  static int bad(const V *x) {
    if constexpr (kInputs == 1)
      return vo::movemask(Fn::bad(x[0]));
    else
      return vo::movemask(Fn::bad(x[0], x[1]));
  }
  __attribute__((always_inline)) static void eval(const V *x, V *r) {
    if constexpr (std::is_same_v<A, T>) {
      r[0] = eval_a(x);
    } else {  // float elements, double arithmetic: two halves
      __m128d lo[2], hi[2];
      for (int k = 0; k < kInputs; ++k) {
        lo[k] = _mm_cvtps_pd(x[k]);
        hi[k] = _mm_cvtps_pd(_mm_movehl_ps(x[k], x[k]));
      }
      r[0] = _mm_movelh_ps(_mm_cvtpd_ps(eval_a(lo)), _mm_cvtpd_ps(eval_a(hi)));
    }
  }
  static int scalar(const T *x, T *r) {
    int status;
    if constexpr (kInputs == 1)
      status = Fn::special(x[0], r);
    else
      status = Fn::special(x[0], x[1], r);
    if (status >= 0) return status;
    V v[2] = {S::set1(x[0]), S::set1(x[kInputs - 1])}, out[1];
    eval(v, out);
    *r = vo::lane0(out[0]);
    return 0;
  }
};

}  // namespace zyn::vk
