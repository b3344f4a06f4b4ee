// Square root and its reciprocal, double and single.
//
// The fast paths start from the hardware single estimate r ~ 1/sqrt(x) (relative error below
// 1.5 2^-12, plus 2^-25 when x is a double rounded to single) and correct it with the binomial
// series of the residual e = 1 - x r^2:
//   1/sqrt(x) = r (1 - e)^(-1/2) = r (1 + e/2 + 3/8 e^2 + 5/16 e^3 + 35/128 e^4 + 63/256 e^5 + ...).
// They take x in the normal single range (narrower where noted); other lanes go to the scalar
// path, which scales x by an even power of two into that range (double) or computes in double
// and rounds once (single).
//
// Sqrt.
//   double HA, LA, single HA, LA  the hardware square root: correctly rounded.
//   double EP  s = x r, t = s r = 1 - e, sqrt(x) = s (1 + e/2 + 3/8 e^2) = s (15/8 - 5/4 t + 3/8 t^2):
//              |e| < 2^-10.4, so the truncation is below 5/16 e^3 < 2^-32.
//   single EP  x rsqrt(x): below 1.5 2^-12 + 2^-24 < 2^-11.
// Negative input (with -inf): NaN and STATUS_DOMAIN.
//
// InvSqrt.
//   double HA  r cut to 13 bits so that r^2 is exact, x split into 27 and 26 bits so that
//              x_hi r^2 is exact and 1 - x_hi r^2 too (Sterbenz): e to within 2^-62; |e| < 2^-9.6
//              and the series to e^5 leaves 2^-60. Below 0.51 ulp.
//   double LA = EP  r^2 exact (48 bits), e = 1 - x r^2 rounded once (error 2^-53), series to
//              e^4 (truncation 2^-54): below 1.5 ulp.
//   single HA  the same exact residual in single: r cut to 12 bits, r^2 and x split into
//              12-bit halves, four exact products; |e| < 2^-9.2, series to e^3 (2^-38): below
//              0.51 ulp. Vector path for x in [2^-126, 2^100] so that the halves of r^2 stay
//              normal.
//   single LA  e = 1 - x r r in single (error 2^-23), series to e^2: below 1.6 ulp.
//   single EP  rsqrt(x), below 1.5 2^-12.
// Zero gives the infinity of its sign with STATUS_SINGULARITY, negative input NaN with
// STATUS_DOMAIN.
#include <cmath>

#include "vector/roots/policy.hpp"
#include "vector/trig/dd.hpp"

namespace zyn::vk {
namespace {
using V = __m128d;
using W = __m128;
using dd::set;

inline W set_s(float x) { return _mm_set1_ps(x); }

// 1/sqrt(x) from the single estimate, for x in the normal single range.
inline V rsqrt_d(V x) { return _mm_cvtps_pd(_mm_rsqrt_ps(_mm_cvtpd_ps(x))); }

// The vector range of the double paths, [2^-126, 2^126): x and its estimate normal in single.
constexpr double kLoD = 0x1p-126, kHiD = 0x1p126;
inline int outside_range_d(V x) { return outside_d(x, 0x38100000u, 0x47cfffffu); }
inline bool in_range_d(double x) { return x >= kLoD && x < kHiD; }

// Positive finite x outside [kLoD, kHiD) through eval at x 2^(-2k) in [1/2, 4): f(x) = f(x') 2^(pk)
// for f(x) = x^p, p = +-1/2.
template <class F>
double scaled(double x, int sign_of_p) {
  int k = std::ilogb(x) / 2;
  return std::ldexp(eval_one<F>(std::ldexp(x, -2 * k)), sign_of_p * k);
}

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
  static W eval_s(W x) { return _mm_sqrt_ps(x); }
  static int bad_s(W x) { return _mm_movemask_ps(_mm_cmplt_ps(x, _mm_setzero_ps())); }
  static int scalar(double x, double *r) { return sqrt_scalar(x, r); }
};

struct SqrtDEp : SqrtF<true> {
  static V eval_d(V x) {
    V r = rsqrt_d(x);
    V s = _mm_mul_pd(x, r);
    V t = _mm_mul_pd(s, r);  // 1 - e
    V p = _mm_add_pd(set(15.0 / 8), _mm_mul_pd(t, _mm_add_pd(set(-5.0 / 4), _mm_mul_pd(t, set(3.0 / 8)))));
    return _mm_mul_pd(s, p);
  }
  static int bad_d(V x) { return outside_range_d(x); }
  static int scalar(double x, double *r) {
    if (!(x > 0) || std::isinf(x)) return sqrt_scalar(x, r);
    *r = in_range_d(x) ? eval_one<SqrtDEp>(x) : scaled<SqrtDEp>(x, 1);
    return 0;
  }
};

struct SqrtSEp : SqrtF<false> {
  static W eval_s(W x) { return _mm_mul_ps(x, _mm_rsqrt_ps(x)); }
  static int bad_s(W x) { return not_normal_s(x); }
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
  *r = 1 / std::sqrt(x);  // +inf gives 0; single denormals: two roundings in double, then one
  return 0;
}

// Double 1/sqrt(x) for x in [kLoD, kHiD); kExact: the HA residual.
template <bool kExact>
struct InvSqrtD {
  static constexpr const char *kName = "vdInvSqrt";
  static V eval_d(V x) {
    V r = rsqrt_d(x), e;
    if constexpr (kExact) {
      r = _mm_and_pd(r, mask_d(0xffffff0000000000ULL));      // 13 bits
      V r2 = _mm_mul_pd(r, r);                               // exact, 26 bits
      V xh = _mm_and_pd(x, mask_d(0xfffffffffc000000ULL));   // 27 bits
      V xl = _mm_sub_pd(x, xh);                              // exact, 26 bits
      e = _mm_sub_pd(_mm_sub_pd(set(1.0), _mm_mul_pd(xh, r2)), _mm_mul_pd(xl, r2));
    } else {
      e = _mm_sub_pd(set(1.0), _mm_mul_pd(x, _mm_mul_pd(r, r)));
    }
    V p = set(35.0 / 128);
    if constexpr (kExact) p = _mm_add_pd(p, _mm_mul_pd(e, set(63.0 / 256)));
    p = _mm_add_pd(set(5.0 / 16), _mm_mul_pd(e, p));
    p = _mm_add_pd(set(3.0 / 8), _mm_mul_pd(e, p));
    p = _mm_add_pd(set(0.5), _mm_mul_pd(e, p));
    return _mm_add_pd(r, _mm_mul_pd(r, _mm_mul_pd(e, p)));
  }
  static int bad_d(V x) { return outside_range_d(x); }
  static int scalar(double x, double *r) {
    if (!(x > 0) || std::isinf(x)) return invsqrt_special(x, r);
    *r = in_range_d(x) ? eval_one<InvSqrtD>(x) : scaled<InvSqrtD>(x, -1);
    return 0;
  }
};

// Single kernels: zeros, negatives, denormals, infinities and NaN (and x > 2^100 at HA) go to
// invsqrt_special in double.
struct InvSqrtS {
  static constexpr const char *kName = "vsInvSqrt";
  static int bad_s(W x) { return not_normal_s(x); }
  static int scalar(double x, double *r) { return invsqrt_special(x, r); }
};

struct InvSqrtSHa : InvSqrtS {
  static W eval_s(W x) {
    const W hi12 = mask_s(0xfffff000u);
    W r = _mm_and_ps(_mm_rsqrt_ps(x), hi12);
    W s = _mm_mul_ps(r, r);
    W sh = _mm_and_ps(s, hi12), sl = _mm_sub_ps(s, sh);
    W xh = _mm_and_ps(x, hi12), xl = _mm_sub_ps(x, xh);
    W mid = _mm_add_ps(_mm_add_ps(_mm_mul_ps(xh, sl), _mm_mul_ps(xl, sh)), _mm_mul_ps(xl, sl));
    W e = _mm_sub_ps(_mm_sub_ps(set_s(1.0f), _mm_mul_ps(xh, sh)), mid);
    W p = _mm_add_ps(set_s(0.375f), _mm_mul_ps(e, set_s(0.3125f)));
    p = _mm_mul_ps(e, _mm_add_ps(set_s(0.5f), _mm_mul_ps(e, p)));
    return _mm_add_ps(r, _mm_mul_ps(r, p));
  }
  static int bad_s(W x) { return outside_s(x, 0x00800000u, 0x71800000u); }  // [2^-126, 2^100]
  static int scalar(double x, double *r) {
    if (x >= 0x1p-126 && x <= 0x1p100) {
      *r = eval_one_s<InvSqrtSHa>(static_cast<float>(x));
      return 0;
    }
    return invsqrt_special(x, r);
  }
};

struct InvSqrtSLa : InvSqrtS {
  static W eval_s(W x) {
    W r = _mm_rsqrt_ps(x);
    W e = _mm_sub_ps(set_s(1.0f), _mm_mul_ps(_mm_mul_ps(x, r), r));
    W p = _mm_mul_ps(e, _mm_add_ps(set_s(0.5f), _mm_mul_ps(e, set_s(0.375f))));
    return _mm_add_ps(r, _mm_mul_ps(r, p));
  }
};

struct InvSqrtSEp : InvSqrtS {
  static W eval_s(W x) { return _mm_rsqrt_ps(x); }
};

using DSqrt = UnaryK<double, SqrtF<true>>;
using DSqrtEp = UnaryK<double, SqrtDEp>;
using SSqrt = UnaryK<float, SqrtF<false>>;
using SSqrtEp = UnaryK<float, SqrtSEp>;
using DInvSqrtHa = UnaryK<double, InvSqrtD<true>>;
using DInvSqrtEp = UnaryK<double, InvSqrtD<false>>;
using SInvSqrtHa = UnaryK<float, InvSqrtSHa>;
using SInvSqrtLa = UnaryK<float, InvSqrtSLa>;
using SInvSqrtEp = UnaryK<float, InvSqrtSEp>;
}  // namespace

ZYN_UNARY_KERNELS(dSqrt, HA, DSqrt)
ZYN_UNARY_KERNELS(dSqrt, LA, DSqrt)
ZYN_UNARY_KERNELS(dSqrt, EP, DSqrtEp)
ZYN_UNARY_KERNELS(sSqrt, HA, SSqrt)
ZYN_UNARY_KERNELS(sSqrt, LA, SSqrt)
ZYN_UNARY_KERNELS(sSqrt, EP, SSqrtEp)
ZYN_UNARY_KERNELS(dInvSqrt, HA, DInvSqrtHa)
ZYN_UNARY_KERNELS(dInvSqrt, EP, DInvSqrtEp)
ZYN_UNARY_KERNELS(sInvSqrt, HA, SInvSqrtHa)
ZYN_UNARY_KERNELS(sInvSqrt, LA, SInvSqrtLa)
ZYN_UNARY_KERNELS(sInvSqrt, EP, SInvSqrtEp)

}  // namespace zyn::vk
