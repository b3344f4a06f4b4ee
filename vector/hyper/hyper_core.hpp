// Pieces shared by the hyperbolic kernels: the policy, signs, double-double steps, the
// logarithm of a double-double, and the scalar path of the rows that go through double.
#pragma once

#include <cfloat>
#include <cmath>
#include <type_traits>

#include "vector/errfun/lanes.hpp"
#include "vector/explog/exp_core.hpp"
#include "vector/explog/ln_core.hpp"
#include "vector/trig/dd.hpp"
#include "zyn/vex.h"

// The kernels' arithmetic is inlined into the block loop so that its vectors interleave.
#define ZYN_HYPER_INLINE inline __attribute__((always_inline))
// A policy's vector evaluation and the lambdas of its pieces, inlined into the block loop.
#define ZYN_HYPER_EVAL __attribute__((always_inline))
#define ZYN_HYPER_LAMBDA __attribute__((always_inline))

namespace zyn::vk::hyper {

using errfun::estrin;
using VD = __m128d;
using VS = __m128;

// Blocks of 8 doubles and 16 floats; levels 0 LA, 1 HA, 2 EP.
template <class T>
using Policy = ExplogPolicy<T, std::is_same_v<T, double> ? 8 : 16>;

inline VD sign_of(VD x) { return _mm_and_pd(x, _mm_set1_pd(-0.0)); }
inline VS sign_of(VS x) { return _mm_and_ps(x, _mm_set1_ps(-0.0f)); }
inline VD or_v(VD a, VD b) { return _mm_or_pd(a, b); }
inline VS or_v(VS a, VS b) { return _mm_or_ps(a, b); }
inline VD div_v(VD a, VD b) { return _mm_div_pd(a, b); }
inline VS div_v(VS a, VS b) { return _mm_div_ps(a, b); }
inline VD sqrt_v(VD a) { return _mm_sqrt_pd(a); }
inline VS sqrt_v(VS a) { return _mm_sqrt_ps(a); }
inline VD min_v(VD a, VD b) { return _mm_min_pd(a, b); }
inline VS min_v(VS a, VS b) { return _mm_min_ps(a, b); }
inline VD cmp_nle(VD a, VD b) { return _mm_cmpnle_pd(a, b); }
inline VS cmp_nle(VS a, VS b) { return _mm_cmpnle_ps(a, b); }
inline VD cmp_nlt(VD a, VD b) { return _mm_cmpnlt_pd(a, b); }
inline VS cmp_nlt(VS a, VS b) { return _mm_cmpnlt_ps(a, b); }
inline VD cmp_nge(VD a, VD b) { return _mm_cmpnge_pd(a, b); }
inline VS cmp_nge(VS a, VS b) { return _mm_cmpnge_ps(a, b); }
// The lanes of a compare result, and the value with every lane set.
inline int mask_of(VD m) { return _mm_movemask_pd(m); }
inline int mask_of(VS m) { return _mm_movemask_ps(m); }
inline int all_of(VD) { return 3; }
inline int all_of(VS) { return 15; }
using errfun::abs_v;
using errfun::add;
using errfun::blend;
using errfun::lt;
using errfun::mul;
using errfun::splat;
using errfun::sub;

// `fast` where every lane of `small` is set, `slow` where none is, else both blended: the
// arithmetic of a piece runs only when some lane needs it.
template <class W, class F, class G>
ZYN_HYPER_INLINE W pick(W small, F fast, G slow) {
  const int m = mask_of(small);
  if (m == all_of(small)) return fast();
  if (m == 0) return slow();
  return blend(slow(), fast(), small);
}

// ---- double-double steps --------------------------------------------------------------------

using dd::fast_two_sum;
using dd::two_prod;

// 1/x within 2^-22 for x in [2^-100, 2^100]: the hardware estimate and one Newton step. Enough
// for the corrections below, which are themselves below 2^-52 of what they correct.
ZYN_HYPER_INLINE VD recip22(VD x) {
  VD r = _mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(x)));
  return _mm_mul_pd(r, _mm_sub_pd(_mm_set1_pd(2.0), _mm_mul_pd(x, r)));
}
// sqrt(h + l) = s + c for h + l >= 0 with |l| below an ulp of h: the root rounded and its
// correction (h - s^2 + l) / 2s (0 at h = 0), relative error below 2^-72.
ZYN_HYPER_INLINE void sqrt_dd(VD h, VD l, VD &s, VD &c) {
  s = _mm_sqrt_pd(h);
  VD p, e;
  two_prod(s, s, p, e);
  VD half_inv = _mm_mul_pd(_mm_set1_pd(0.5), recip22(_mm_max_pd(s, _mm_set1_pd(0x1p-100))));
  c = _mm_mul_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(h, p), e), l), half_inv);
}
// ln(h + l) for h in [1, 2^100] and |l| below an ulp of h: the logarithm of h (ln_core's parts
// at level L), the correction l/h joined with the rounding error kept, as log1p does.
template <int L>
ZYN_HYPER_INLINE VD ln_dd(VD h, VD l, VD k) {
  VD hi, lo;
  log_parts<L, 3>(h, k, hi, lo);
  VD corr = _mm_mul_pd(l, recip22(h));
  if constexpr (L != 1) return _mm_add_pd(hi, _mm_add_pd(lo, corr));
  VD s, e;
  two_sum(hi, corr, s, e);
  return _mm_add_pd(s, _mm_add_pd(lo, e));
}

// ---- scalar paths ---------------------------------------------------------------------------

// One double through a vector evaluation (lane 0).
template <class F>
inline double one_lane(double x, F f) {
  return _mm_cvtsd_f64(f(_mm_set_sd(x)));
}

// A float row's scalar path through the double one, rounded once: the double path's status,
// and overflow where only the float result is infinite. (No underflow: a tiny result of these
// functions is exact or nearly so.)
template <int (*F)(double, double *)>
inline int via_double_scalar(const float *x, float *y) {
  double d;
  int status = F(static_cast<double>(*x), &d);
  *y = static_cast<float>(d);
  if (status == STATUS_OK && std::isinf(*y) && std::isfinite(*x)) status = STATUS_OVERFLOW;
  return status;
}

// The common part of a row's policy: element type T and the double scalar path F, through which
// a float row's bad lanes go, rounded once.
template <class T, int (*F)(double, double *)>
struct Row : Policy<T> {
  static constexpr T kPad[1] = {T(0.75)};
  static int scalar(const T *x, T *r) {
    if constexpr (std::is_same_v<T, double>) return F(*x, r);
    else return via_double_scalar<F>(x, r);
  }
};

}  // namespace zyn::vk::hyper
