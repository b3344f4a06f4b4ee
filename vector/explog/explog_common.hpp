// Pieces shared by the kernels of the exponential and logarithm family.
#pragma once

#include "vector/skeleton/map.hpp"
#include "zyn/vex.h"

namespace zyn::vk {

// Policy fields common to the kernels of this family: masks-only x87, mode-driven MXCSR, only
// bad lanes to the scalar path, a padded tail.
template <class TT, int B>
struct ExplogPolicy {
  using T = TT;
  using V = typename Simd<TT>::V;
  static constexpr int kInputs = 1, kOutputs = 1, kBlock = B;
  static constexpr X87Kind kX87 = X87Kind::MasksOnly;
  static constexpr MxKind kMxcsr = MxKind::ModeDriven;
  static constexpr Tail kTail = Tail::Padded;
  static constexpr BadBlock kBadBlock = BadBlock::Lanes;
};

inline __m128d abs_pd(__m128d x) { return _mm_andnot_pd(_mm_set1_pd(-0.0), x); }
inline __m128 abs_ps(__m128 x) { return _mm_andnot_ps(_mm_set1_ps(-0.0f), x); }

// Four floats through a double function of two lanes.
template <class F>
inline __m128 via_double(__m128 x, F f) {
  __m128d lo = f(_mm_cvtps_pd(x));
  __m128d hi = f(_mm_cvtps_pd(_mm_movehl_ps(x, x)));
  return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
}

}  // namespace zyn::vk
