// Square root and its reciprocal, double and single.
//
// Sqrt: the hardware square root is correctly rounded and is the fastest exact method, so every
// double level and single HA and LA use it; single EP takes x rsqrt(x) (relative error below
// 1.5 2^-12 + 2^-24 < 2^-11). Negative input (with -inf): NaN and STATUS_DOMAIN.
//
// InvSqrt.
//   double HA  y = 1/sqrt(x), then one correction with the residual e = 1 - x y^2 computed
//              exactly (Dekker products): y + y e/2, below 0.51 ulp. x outside [2^-960, 2^960]
//              is scaled by 2^(-+1000) in the scalar path so the products stay normal.
//   double LA = EP  1/sqrt(x), two roundings: below 1.5 ulp.
//   single HA, LA   1/sqrt(x) in double, rounded once: below 0.51 ulp.
//   single EP  the hardware estimate rsqrt(x), below 1.5 2^-12.
// Zero gives the infinity of its sign with STATUS_SINGULARITY, negative input NaN with
// STATUS_DOMAIN.
#include <cmath>

#include "vector/roots/policy.hpp"
#include "vector/trig/dd.hpp"

namespace zyn::vk {
namespace {
using V = __m128d;
using dd::set;


int sqrt_scalar(double x, double *r) {
  if (x < 0) {
    *r = runtime_div(0.0, 0.0);
    return STATUS_DOMAIN;
  }
  *r = std::sqrt(x);
  return 0;
}

template <bool kDouble>
struct SqrtF {
  static constexpr const char *kName = kDouble ? "vdSqrt" : "vsSqrt";
  static V eval_d(V x) { return _mm_sqrt_pd(x); }
  static int bad_d(V x) { return _mm_movemask_pd(_mm_cmplt_pd(x, _mm_setzero_pd())); }
  static __m128 eval_s(__m128 x) { return _mm_sqrt_ps(x); }
  static int bad_s(__m128 x) { return _mm_movemask_ps(_mm_cmplt_ps(x, _mm_setzero_ps())); }
  static int scalar(double x, double *r) { return sqrt_scalar(x, r); }
};

// Lanes outside the normal single range [FLT_MIN, FLT_MAX] (zeros, denormals, negatives,
// infinities, NaN), where the hardware estimate is not taken.
int bad_not_normal_s(__m128 x) {
  __m128 ok = _mm_and_ps(_mm_cmpge_ps(x, _mm_set1_ps(0x1p-126f)), _mm_cmple_ps(x, _mm_set1_ps(0x1.fffffep127f)));
  return _mm_movemask_ps(ok) ^ 0xf;
}

struct SqrtSEp : SqrtF<false> {
  static __m128 eval_s(__m128 x) { return _mm_mul_ps(x, _mm_rsqrt_ps(x)); }
  static int bad_s(__m128 x) { return bad_not_normal_s(x); }
};

int invsqrt_special(double x, double *r) {
  if (std::isnan(x)) {
    *r = x + x;
    return 0;
  }
  if (x < 0) {
    *r = runtime_div(0.0, 0.0);
    return STATUS_DOMAIN;
  }
  if (x == 0) {
    *r = runtime_div(1.0, x);
    return STATUS_SINGULARITY;
  }
  *r = 1 / std::sqrt(x);  // +inf gives 0
  return 0;
}

// 1/sqrt(x) with one exact-residual correction, for x in [2^-960, 2^960].
V invsqrt_accurate(V x) {
  V y = _mm_div_pd(set(1.0), _mm_sqrt_pd(x));
  V p, pe, q, qe;
  dd::two_prod(y, y, p, pe);  // y^2 = p + pe
  dd::two_prod(x, p, q, qe);  // x p = q + qe, q within 2^-51 of 1
  V e = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(set(1.0), q), qe), _mm_mul_pd(x, pe));  // 1 - x y^2
  return _mm_add_pd(y, _mm_mul_pd(y, _mm_mul_pd(set(0.5), e)));
}

struct InvSqrtDHa {
  static constexpr const char *kName = "vdInvSqrt";
  static V eval_d(V x) { return invsqrt_accurate(x); }
  static int bad_d(V x) {
    V ok = _mm_and_pd(_mm_cmpge_pd(x, set(0x1p-960)), _mm_cmple_pd(x, set(0x1p960)));
    return _mm_movemask_pd(ok) ^ 3;
  }
  static int scalar(double x, double *r) {
    if (!(x > 0) || std::isinf(x)) return invsqrt_special(x, r);
    double scale = 1;
    if (x < 0x1p-960) x *= 0x1p1000, scale = 0x1p500;
    if (x > 0x1p960) x *= 0x1p-1000, scale = 0x1p-500;
    *r = eval_one<InvSqrtDHa>(x) * scale;
    return 0;
  }
};

// 1/sqrt(x) with two roundings; zeros and negatives go to the scalar path.
template <bool kDouble>
struct InvSqrtPlain {
  static constexpr const char *kName = kDouble ? "vdInvSqrt" : "vsInvSqrt";
  static V eval_d(V x) { return _mm_div_pd(set(1.0), _mm_sqrt_pd(x)); }
  static int bad_d(V x) { return _mm_movemask_pd(_mm_cmple_pd(x, _mm_setzero_pd())); }
  static int bad_s(__m128 x) { return _mm_movemask_ps(_mm_cmple_ps(x, _mm_setzero_ps())); }
  static int scalar(double x, double *r) { return invsqrt_special(x, r); }
};

struct InvSqrtSEp : InvSqrtPlain<false> {
  static __m128 eval_s(__m128 x) { return _mm_rsqrt_ps(x); }
  static int bad_s(__m128 x) { return bad_not_normal_s(x); }
};

using DSqrt = UnaryK<double, SqrtF<true>>;
using SSqrt = UnaryK<float, SqrtF<false>>;
using SSqrtEp = UnaryK<float, SqrtSEp>;
using DInvSqrtHa = UnaryK<double, InvSqrtDHa>;
using DInvSqrtEp = UnaryK<double, InvSqrtPlain<true>>;
using SInvSqrt = UnaryK<float, InvSqrtPlain<false>>;
using SInvSqrtEp = UnaryK<float, InvSqrtSEp>;
}  // namespace

ZYN_UNARY_KERNELS(dSqrt, HA, DSqrt)
ZYN_UNARY_KERNELS(dSqrt, LA, DSqrt)
ZYN_UNARY_KERNELS(dSqrt, EP, DSqrt)
ZYN_UNARY_KERNELS(sSqrt, HA, SSqrt)
ZYN_UNARY_KERNELS(sSqrt, LA, SSqrt)
ZYN_UNARY_KERNELS(sSqrt, EP, SSqrtEp)
ZYN_UNARY_KERNELS(dInvSqrt, HA, DInvSqrtHa)
ZYN_UNARY_KERNELS(dInvSqrt, EP, DInvSqrtEp)
ZYN_UNARY_KERNELS(sInvSqrt, HA, SInvSqrt)
ZYN_UNARY_KERNELS(sInvSqrt, LA, SInvSqrt)
ZYN_UNARY_KERNELS(sInvSqrt, EP, SInvSqrtEp)

}  // namespace zyn::vk
