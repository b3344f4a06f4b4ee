// The double logarithm's arithmetic shared by the kernels that build on it (Ln, Log2, Log10,
// Log1p): the scalar path, and the reciprocal-step evaluation of the LA and HA vector paths
// split into a leading part and a small rest, ln x = hi + lo.
#pragma once

#include <cmath>

#include "vector/explog/ln_data.hpp"
#include "vector/skeleton/map.hpp"

namespace zyn::vk {

using data::ln_ha;
using data::ln_la;
using data::ln_scalar;
using data::log2_ha;

inline constexpr double kLn2La = 0x1.62e42fefa39efp-1;       // 0x3fe62e42fefa39ef
inline constexpr double kLn2HaHigh = 0x1.62e42fefap-1;       // 0x3fe62e42fefa0000
inline constexpr double kLn2HaLow = 0x1.cf79abc9ep-40;       // 0x3d7cf79abc9e0000
inline constexpr double kLn2ScalarHigh = 0x1.62e42fefa38p-1; // 0x3fe62e42fefa3800
inline constexpr double kLn2ScalarLow = 0x1.ef35793c7673p-45;  // 0x3d2ef35793c76730

inline constexpr double kC2 = -0.49999999999988803, kC3 = 0.33333333333308374,
                 kC4 = -0.2500003054940248, kC5 = 0.2000003665949424;

// Degree-8 polynomial of the scalar path, coefficients from degree 2 up.
inline constexpr double kP8[7] = {-0.5, 0.33333333333334386, -0.25000000000003386, 0.19999999911565072,
                           -0.1666666651884978, 0.1428756883852146, -0.1250214602960357};

inline double p8(double d) {
  double p = kP8[6];
  for (int i = 5; i >= 0; --i) p = kP8[i] + d * p;
  return p;
}


// The scalar path of the LA and HA kernels and of the single kernels: any double, result and
// status. Error below 0.51 ulp.
inline int ln_scalar_d(double x, double *r) {
  uint64_t b = bits(x);
  int ex = static_cast<int>((b >> 52) & 0x7ff);
  if (ex == 0x7ff) {
    if (x == -INFINITY) {
      *r = runtime_div(0.0, 0.0);
      return 1;
    }
    *r = x * x;
    return 0;
  }
  int adj = 0;
  if (ex == 0) {
    x *= 0x1p60;
    adj = -60;
  }
  if (!(x > 0)) {
    if (x == 0) {
      *r = runtime_div(-1.0, 0.0);
      return 2;
    }
    *r = runtime_div(0.0, 0.0);
    return 1;
  }
  if (std::fabs(x - 1) <= 0.009765625) {
    double d = x - 1;
    *r = d + d * d * p8(d);
    return 0;
  }
  b = bits(x);
  double k = static_cast<double>(static_cast<int>((b >> 52) & 0x7ff) - 1023 + adj);
  double m = from_bits((b & 0x000fffffffffffffULL) | 0x3ff0000000000000ULL);
  int idx = static_cast<int>(bits(m + 70368744177665.0) & 0x7f);
  const double *t = ln_scalar[idx];
  double mh = (m + 2097152.0) - 2097152.0, ml = m - mh;
  double uh = mh * t[0] - 1, ul = ml * t[0], u = uh + ul;
  // k * LN2_HIGH + high is exact; its sum with uh is taken with the rounding error kept.
  double a = k * kLn2ScalarHigh + t[1], s = a + uh, bb = s - a;
  double e = (a - (s - bb)) + (uh - bb);
  *r = s + (e + (k * kLn2ScalarLow + t[2] + ul + u * u * p8(u)));
  return 0;
}

// a + b = s + e exactly (Knuth's two-sum, any magnitudes).
inline void two_sum(__m128d a, __m128d b, __m128d &s, __m128d &e) {
  s = _mm_add_pd(a, b);
  __m128d bb = _mm_sub_pd(s, a);
  e = _mm_add_pd(_mm_sub_pd(a, _mm_sub_pd(s, bb)), _mm_sub_pd(b, bb));
}

// A lane is bad below the smallest normal (zero, denormals, negatives) or not at or below the
// largest finite (plus infinity, NaN).
inline int bad_not_positive_normal(__m128d x) {
  __m128d lo = _mm_cmplt_pd(x, _mm_set1_pd(0x1p-1022));
  __m128d hi = _mm_cmpnle_pd(x, _mm_set1_pd(0x1.fffffffffffffp1023));
  return _mm_movemask_pd(_mm_or_pd(lo, hi));
}

// The biased exponent field of x, as a double.
inline __m128d ln_biased_exponent(__m128d x) {
  __m128i e = _mm_srli_epi64(_mm_castpd_si128(x), 52);
  return _mm_cvtepi32_pd(_mm_shuffle_epi32(e, _MM_SHUFFLE(3, 1, 2, 0)));
}

// The reduction of the LA and HA parts below: the significand m in [2^-10, 2^-9) meets a
// reciprocal r, an integer in [512, 1024] from the hardware estimate (rounded by the round
// instruction at LA, by adding 1.5 * 2^52 at HA), u = m r - 1 (|u| < 2^-9) from the exact
// product of m's high 27 bits, ln(1 + u) - u = p, and the table entries j = r - 512.
// kTaylor replaces Ln's degree-5 polynomial, whose coefficients are tuned for absolute error
// over the whole interval, by ln(1 + u) to degree 6 with exact Taylor coefficients: below
// 2^-66 absolute and 2^-58 relative also where u is small, that is near 1.
struct LnReduced {
  __m128d rr, u, p;
  int j0, j1;
};
template <bool kHa, bool kTaylor>
inline LnReduced ln_reduce(__m128d x) {
  using V = __m128d;
  const V mant = _mm_castsi128_pd(_mm_set1_epi64x(0x000fffffffffffffLL));
  V m = _mm_or_pd(_mm_and_pd(x, mant), _mm_castsi128_pd(_mm_set1_epi64x(0x3f50000000000000LL)));
  V rd = _mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(m)));
  LnReduced r;
  if constexpr (kHa) {
    const V shifter = _mm_set1_pd(0x1.8p52);
    r.rr = _mm_sub_pd(_mm_add_pd(rd, shifter), shifter);
  } else {
    r.rr = _mm_round_pd(rd, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
  }
  V mh = _mm_and_pd(m, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0xfffffffffc000000ULL))));
  V ml = _mm_sub_pd(m, mh);
  V uh = _mm_sub_pd(_mm_mul_pd(mh, r.rr), _mm_set1_pd(1.0));
  V ul = _mm_mul_pd(ml, r.rr);
  // u = uh + ul is exact: uh is a multiple of 2^-36 (mh has 27 bits from 2^-10, r is an
  // integer), ul one of 2^-62, and |u| < 2^-9. So near 1, where uh and ul cancel and the
  // table's part is 0, u keeps every bit.
  V u = _mm_add_pd(uh, ul);
  V u2 = _mm_mul_pd(u, u);
  if constexpr (kTaylor) {
    V a = _mm_add_pd(_mm_set1_pd(-0.5), _mm_mul_pd(_mm_set1_pd(1.0 / 3), u));
    V b = _mm_add_pd(_mm_set1_pd(-0.25), _mm_mul_pd(_mm_set1_pd(0.2), u));
    r.p = _mm_mul_pd(u2, _mm_add_pd(a, _mm_mul_pd(u2, _mm_add_pd(b, _mm_mul_pd(u2, _mm_set1_pd(-1.0 / 6))))));
  } else {
    r.p = _mm_mul_pd(u2, _mm_add_pd(_mm_add_pd(_mm_set1_pd(kC2), _mm_mul_pd(_mm_set1_pd(kC3), u)),
                                    _mm_mul_pd(u2, _mm_add_pd(_mm_set1_pd(kC4), _mm_mul_pd(_mm_set1_pd(kC5), u)))));
  }
  r.u = u;
  // table entry j = r - 512, from the bits of r
  __m128i j = _mm_srli_epi64(_mm_sub_epi64(_mm_castpd_si128(r.rr), _mm_set1_epi64x(0x4080000000000000LL)), 43);
  r.j0 = _mm_cvtsi128_si32(j);
  r.j1 = _mm_extract_epi32(j, 2);
  return r;
}

// The HA table's part of ln x for biased exponent k: y = k LN2_HIGH + high, exact and on the
// 2^-37 grid (0 next to 1), and low = k LN2_LOW + low.
inline void ln_ha_table(const LnReduced &r, __m128d k, __m128d &y, __m128d &low) {
  __m128d e0 = _mm_load_pd(ln_ha[r.j0]), e1 = _mm_load_pd(ln_ha[r.j1]);  // (high, low) pairs
  y = _mm_add_pd(_mm_mul_pd(k, _mm_set1_pd(kLn2HaHigh)), _mm_unpacklo_pd(e0, e1));  // exact
  low = _mm_add_pd(_mm_mul_pd(k, _mm_set1_pd(kLn2HaLow)), _mm_unpackhi_pd(e0, e1));
}

// ln x = hi + lo for a positive normal x whose biased exponent is k (a caller that scaled x
// passes k with its adjustment), from the reduction above.
//   HA: the table's high part with k * LN2_HIGH is exact; hi and lo come from a two-sum, lo
//       below 2^-52 |hi|.
//   LA: exponent offset 1022/1023 so that hi is 0 near 1.
template <bool kHa, bool kTaylor = false>
inline void ln_parts(__m128d x, __m128d k, __m128d &hi, __m128d &lo) {
  using V = __m128d;
  const LnReduced r = ln_reduce<kHa, kTaylor>(x);
  if constexpr (kHa) {
    V y, low, s, err;
    ln_ha_table(r, k, y, low);
    two_sum(y, r.u, s, err);  // y and u added with the rounding error kept
    hi = s;
    lo = _mm_add_pd(_mm_add_pd(low, err), r.p);
  } else {
    V t = _mm_setr_pd(ln_la[r.j0], ln_la[r.j1]);
    // exponent offset 1023 above r = 724, else 1022
    V big = _mm_cmpgt_pd(r.rr, _mm_set1_pd(724.0));
    V off = _mm_or_pd(_mm_and_pd(big, _mm_set1_pd(1023.0)), _mm_andnot_pd(big, _mm_set1_pd(1022.0)));
    hi = _mm_add_pd(_mm_mul_pd(_mm_sub_pd(k, off), _mm_set1_pd(kLn2La)), t);
    lo = _mm_add_pd(r.u, r.p);  // hi is 0 near 1, where u + p is the result
  }
}

// The cheap variant of the parts: r rounded by the shifter, u = m r - 1 in one product (its
// rounding is 2^-53 absolute, and none near 1 where r is 512 or 1024), ln(1 + u) to degree
// kDegree (2: error below 2^-30 absolute; 3: below 2^-41), and only the high part of the HA
// table (error below 2^-37 absolute). Next to 1 (r = 512 or 1024) hi is exactly 0 and lo keeps
// its relative accuracy; r = 513 or 1023 occurs only where |ln x| exceeds 1.2e-4.
template <int kDegree>
inline void ln_parts_ep(__m128d x, __m128d k, __m128d &hi, __m128d &lo) {
  using V = __m128d;
  V m = _mm_or_pd(_mm_and_pd(x, _mm_castsi128_pd(_mm_set1_epi64x(0x000fffffffffffffLL))),
                  _mm_castsi128_pd(_mm_set1_epi64x(0x3f50000000000000LL)));
  const V shifter = _mm_set1_pd(0x1.8p52);
  V rr = _mm_sub_pd(_mm_add_pd(_mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(m))), shifter), shifter);
  V u = _mm_sub_pd(_mm_mul_pd(m, rr), _mm_set1_pd(1.0));
  V p;
  if constexpr (kDegree == 2)
    p = _mm_mul_pd(_mm_mul_pd(u, u), _mm_set1_pd(-0.5));
  else
    p = _mm_mul_pd(_mm_mul_pd(u, u), _mm_add_pd(_mm_set1_pd(-0.5), _mm_mul_pd(u, _mm_set1_pd(1.0 / 3))));
  __m128i j = _mm_srli_epi64(_mm_sub_epi64(_mm_castpd_si128(rr), _mm_set1_epi64x(0x4080000000000000LL)), 43);
  V th = _mm_setr_pd(ln_ha[_mm_cvtsi128_si32(j)][0], ln_ha[_mm_extract_epi32(j, 2)][0]);
  hi = _mm_add_pd(_mm_mul_pd(k, _mm_set1_pd(kLn2HaHigh)), th);  // exact, 0 next to 1
  lo = _mm_add_pd(u, p);
}

// ln x = hi + lo at level L (0 LA, 1 HA, 2 EP) for x positive normal with biased exponent k;
// at EP with a polynomial of degree kEpDegree.
template <int L, int kEpDegree = 2>
inline void log_parts(__m128d x, __m128d k, __m128d &hi, __m128d &lo) {
  if constexpr (L == 1)
    ln_parts<true, true>(x, k, hi, lo);
  else if constexpr (L == 0)
    ln_parts<false>(x, k, hi, lo);
  else
    ln_parts_ep<kEpDegree>(x, k, hi, lo);
}

// ln(1 + x + xl) for finite x > -1 and a low part xl below an ulp of x (0 for a plain x).
template <int L>
inline __attribute__((always_inline)) __m128d log1p_d(__m128d x, __m128d xl = _mm_setzero_pd()) {
  using V = __m128d;
  V one = _mm_set1_pd(1.0);
  V mx = _mm_max_pd(x, one), mn = _mm_min_pd(x, one);
  V u = _mm_add_pd(mx, mn);
  V c = _mm_add_pd(_mm_add_pd(_mm_sub_pd(mx, u), mn), xl);
  V hi, lo;
  log_parts<L, 3>(u, ln_biased_exponent(u), hi, lo);
  if constexpr (L == 1) {
    V corr = _mm_div_pd(c, u);
    // near 0 ln u and the correction may cancel: join them with the rounding error kept
    V s, e;
    two_sum(hi, corr, s, e);
    V y = _mm_add_pd(s, _mm_add_pd(lo, e));
    // below 2^-40 the quotient's rounding would show: x - x^2/2 is exact to 2^-80 there
    V tiny = _mm_cmplt_pd(_mm_andnot_pd(_mm_set1_pd(-0.0), x), _mm_set1_pd(0x1p-40));
    if (__builtin_expect(_mm_movemask_pd(tiny) != 0, 0))
      y = _mm_blendv_pd(y, _mm_sub_pd(x, _mm_sub_pd(_mm_mul_pd(_mm_mul_pd(x, x), _mm_set1_pd(0.5)), xl)), tiny);
    return y;
  }
  // c/u as c (2 - u): c is 0 below u = 1/2 (1 + x is exact there), and above 2 the correction
  // is below 2^-53 of the result and is dropped; between, the error c (u - 1)^2 / u is below
  // 2^-53 of the result.
  V corr = _mm_mul_pd(c, _mm_sub_pd(_mm_set1_pd(2.0), _mm_min_pd(u, _mm_set1_pd(2.0))));
  return _mm_add_pd(hi, _mm_add_pd(lo, corr));
}

// ---- single: no table ------------------------------------------------------------------------

// Single logarithm coefficients per level: ln 2 (split when ln2_low is not 0) and the
// polynomial from degree 2 up.
struct SLnCoeffs {
  float ln2_high, ln2_low;
  int count;  // coefficients from degree 2 up
  float c[9];
};
inline constexpr SLnCoeffs kSLnEp = {0x1.62e43p-1f, 0.0f, 4, {-0.5f, 0.33289623f, -0.26740259f, 0.21988373f}};
inline constexpr SLnCoeffs kSLnLa = {0x1.62e43p-1f, 0.0f, 7,
                              {-0.5f, 0.33336565f, -0.25004664f, 0.19822504f, -0.16462457f,
                               0.16964881f, -0.15177205f}};
inline constexpr SLnCoeffs kSLnHa = {0x1.62e4p-1f, 0x1.7f7d1cp-20f, 9,
                              {-0.5f, 0.33333215f, -0.24999797f, 0.20010406f, -0.16680488f,
                               0.14005870f, -0.12184261f, 0.13984437f, -0.12891686f}};

// ln x for float lanes known to be positive normal: m is the significand moved into [2/3, 4/3),
// u = m - 1, and ln x = k ln2 + u + u^2 p(u).
template <const SLnCoeffs &C>
inline __m128 ln_single(__m128 x) {
  using V = __m128;
  __m128i e = _mm_sub_epi32(_mm_castps_si128(x), _mm_set1_epi32(0x3f2aaaab));
  V k = _mm_cvtepi32_ps(_mm_srai_epi32(e, 23));
  V m = _mm_castsi128_ps(_mm_add_epi32(_mm_and_si128(e, _mm_set1_epi32(0x7fffff)), _mm_set1_epi32(0x3f2aaaab)));
  V u = _mm_sub_ps(m, _mm_set1_ps(1.0f));
  V p = _mm_set1_ps(C.c[C.count - 1]);
  for (int i = C.count - 2; i >= 0; --i) p = _mm_add_ps(_mm_set1_ps(C.c[i]), _mm_mul_ps(u, p));
  V q = _mm_mul_ps(_mm_mul_ps(u, u), p);
  if constexpr (C.ln2_low != 0.0f) {
    // k ln2_high is exact; its sum with u is taken with its rounding error (fast two-sum:
    // |k ln2| >= 0.69 > |u| whenever k is not 0, and the sum is exact when it is).
    V kh = _mm_mul_ps(k, _mm_set1_ps(C.ln2_high));
    V s = _mm_add_ps(kh, u);
    V e = _mm_add_ps(_mm_sub_ps(kh, s), u);
    return _mm_add_ps(s, _mm_add_ps(e, _mm_add_ps(_mm_mul_ps(k, _mm_set1_ps(C.ln2_low)), q)));
  } else {
    return _mm_add_ps(_mm_add_ps(_mm_mul_ps(k, _mm_set1_ps(C.ln2_high)), u), q);
  }
}

// ln(1 + x) for float lanes above -1 and finite: 1 + x = u + c exactly (terms ordered by max and
// min), then ln u + c/u.
template <const SLnCoeffs &C>
inline __m128 log1p_single(__m128 x) {
  using V = __m128;
  V one = _mm_set1_ps(1.0f);
  V mx = _mm_max_ps(x, one), mn = _mm_min_ps(x, one);
  V u = _mm_add_ps(mx, mn);
  V c = _mm_add_ps(_mm_sub_ps(mx, u), mn);
  return _mm_add_ps(ln_single<C>(u), _mm_div_ps(c, u));
}

}  // namespace zyn::vk
