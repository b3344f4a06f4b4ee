// Sine and cosine on vectors of doubles: argument reduction by pi/2 and the two polynomials.
// It serves the HA rows of both types (single HA widens to double) and the scalar path of the
// lanes the native LA and EP kernels (fast.hpp) leave: beyond their limit, where Payne-Hanek
// takes over from 2^20. Every row and level goes through one algorithm wherever an element
// stands, so Sin, Cos and SinCos of one level agree bit for bit.
//
// Reduction: x = n pi/2 + r, |r| <= pi/4 (a little more after rounding n).
//   Accurate (4 pieces, for |x| < 2^20): x - n C1 is exact (Sterbenz), n C2 and n C3 are exact
//   (32-bit pieces, |n| < 2^20), both subtractions keep their rounding error (two-sum), and
//   n C4 adds an error below 2^-127. The result hi + lo has absolute error below 2^-125, so
//   below 2^-60 relative even for the closest double to a multiple of pi/2 (|r| > 2^-62).
//   Short (2 pieces, for |x| < 2^20): r = (x - n C1) - n C2', absolute error below 2^-64.
//   Huge arguments: Payne-Hanek with 2/pi to 1536 bits (reduce_huge, scalar).
#pragma once

#include <immintrin.h>

#include "vector/trig/dd.hpp"
#include "vector/trig/trig_data.hpp"
#include "zyn/vex.h"

namespace zyn::vk::trig {

using V = __m128d;
using dd::set;

// Largest |x| of the vector reductions; beyond, Payne-Hanek.
constexpr double kFastLimit = 0x1p20;
constexpr double kTwoOverPi = 0x1.45f306dc9c883p-1;

// x = n pi/2 + hi + lo.
struct Reduced {
  V hi, lo, n;
};

template <bool kAccurate>
inline Reduced reduce(V x) {
  using data::trig_pio2_2;
  using data::trig_pio2_4;
  Reduced r;
  r.n = _mm_round_pd(_mm_mul_pd(x, set(kTwoOverPi)), _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
  V t = _mm_sub_pd(x, _mm_mul_pd(r.n, set(trig_pio2_4[0])));  // exact
  if constexpr (kAccurate) {
    V s1, e1, s2, e2;
    dd::two_sum(t, _mm_mul_pd(r.n, set(-trig_pio2_4[1])), s1, e1);
    dd::two_sum(s1, _mm_mul_pd(r.n, set(-trig_pio2_4[2])), s2, e2);
    V lo = _mm_sub_pd(_mm_add_pd(e1, e2), _mm_mul_pd(r.n, set(trig_pio2_4[3])));
    dd::fast_two_sum(s2, lo, r.hi, r.lo);
  } else {
    r.hi = _mm_sub_pd(t, _mm_mul_pd(r.n, set(trig_pio2_2[1])));
    r.lo = _mm_setzero_pd();
  }
  return r;
}

// Payne-Hanek reduction of a finite |x| >= 2^20 (scalar): x = (q + f) pi/2 with q returned
// modulo 4 and f pi/2 = hi + lo, |f| <= 1/2, absolute error below 2^-120.
int reduce_huge(double x, double *hi, double *lo);

// Polynomials on z = r^2 for |r| <= pi/4 (plus rounding):
//   sin r = r + r z S(z), S = s[0] + z s[1] + ...
//   cos r = 1 - z/2 + z^2 C(z), C = c[0] + z c[1] + ...
// kForm: 0 plain (lo ignored), 1 lo added to sin's small part, 2 also lo cos(r) ~ lo (1 - z/2).
// The cosine keeps 1 - z/2 with its rounding error (w + ((1 - w) - z/2)) when kForm > 0.
struct Poly {
  int form;
  int ns, nc;
  double s[8], c[8];
};

// The polynomials of each level (single levels evaluate in double).
// Minimax coefficients on [-pi/4, pi/4] (the classic degree-13 sine and degree-14 cosine).
inline constexpr Poly kDHa = {2, 6, 6,
                       {-1.66666666666666324348e-01, 8.33333333332248946124e-03, -1.98412698298579493134e-04,
                        2.75573137070700676789e-06, -2.50507602534068634195e-08, 1.58969099521155010221e-10},
                       {4.16666666666666019037e-02, -1.38888888888741095749e-03, 2.48015872894767294178e-05,
                        -2.75573143513906633035e-07, 2.08757232129817482790e-09, -1.13596475577881948265e-11}};
inline constexpr Poly kDLa = {1, 6, 6, {kDHa.s[0], kDHa.s[1], kDHa.s[2], kDHa.s[3], kDHa.s[4], kDHa.s[5]},
                       {kDHa.c[0], kDHa.c[1], kDHa.c[2], kDHa.c[3], kDHa.c[4], kDHa.c[5]}};
// Taylor: the first omitted terms are below 2^-28 of the result on [-pi/4, pi/4].
inline constexpr Poly kDEp = {0, 4, 4, {-1.0 / 6, 1.0 / 120, -1.0 / 5040, 1.0 / 362880},
                       {1.0 / 24, -1.0 / 720, 1.0 / 40320, -1.0 / 3628800}};
inline constexpr Poly kSLa = {0, 4, 3, {-1.0 / 6, 1.0 / 120, -1.0 / 5040, 1.0 / 362880}, {1.0 / 24, -1.0 / 720, 1.0 / 40320}};
inline constexpr Poly kSEp = {0, 2, 2, {-1.0 / 6, 1.0 / 120}, {1.0 / 24, -1.0 / 720}};

template <int N>
inline V horner(V z, const double *c) {
  V p = set(c[N - 1]);
  for (int i = N - 2; i >= 0; --i) p = _mm_add_pd(set(c[i]), _mm_mul_pd(z, p));
  return p;
}

// sin r = sh + sl and cos r = ch + cl, the small parts not yet added.
struct Parts {
  V sh, sl, ch, cl;
};
template <const Poly &P>
inline __attribute__((always_inline)) Parts sincos_parts(V hi, V lo) {
  V z = _mm_mul_pd(hi, hi);
  V sp = _mm_mul_pd(_mm_mul_pd(hi, z), horner<P.ns>(z, P.s));
  V cp = _mm_mul_pd(_mm_mul_pd(z, z), horner<P.nc>(z, P.c));
  V hz = _mm_mul_pd(set(0.5), z);
  Parts r;
  r.sh = hi;
  r.ch = _mm_sub_pd(set(1.0), hz);
  if constexpr (P.form == 0) {
    r.sl = sp;
    r.cl = cp;
  } else {
    V slo = P.form == 2 ? _mm_mul_pd(lo, _mm_sub_pd(set(1.0), hz)) : lo;
    r.sl = _mm_add_pd(sp, slo);
    V tail = _mm_sub_pd(_mm_sub_pd(set(1.0), r.ch), hz);
    r.cl = _mm_add_pd(tail, _mm_sub_pd(cp, _mm_mul_pd(hi, lo)));
  }
  return r;
}

template <const Poly &P>
inline __attribute__((always_inline)) void sincos_reduced(V hi, V lo, V &s, V &c) {
  Parts p = sincos_parts<P>(hi, lo);
  s = _mm_add_pd(p.sh, p.sl);
  c = _mm_add_pd(p.ch, p.cl);
}

// Lanes of n that are odd, as a full 64-bit mask.
inline V odd_mask(V n) {
  __m128i q = _mm_cvtpd_epi32(n);
  q = _mm_unpacklo_epi32(q, q);
  __m128i ones = _mm_set1_epi32(1);
  return _mm_castsi128_pd(_mm_cmpeq_epi32(_mm_and_si128(q, ones), ones));
}

// tan x = sin r / cos r for even n, -cos r / sin r for odd n. kCorrected false: one division of
// the rounded sums; true: the quotient of the unrounded parts corrected by its exact residual
// (t + (N - t D) q with q = 1/D rounded, t = N q within 1.5 ulp, t D from a Dekker product, one
// division), within 0.1 ulp of the quotient of the sums.
template <const Poly &P, bool kCorrected>
inline __attribute__((always_inline)) V tan_reduced(V hi, V lo, V n) {
  Parts p = sincos_parts<P>(hi, lo);
  V odd = odd_mask(n);
  V nh = _mm_blendv_pd(p.sh, _mm_xor_pd(p.ch, set(-0.0)), odd);
  V nl = _mm_blendv_pd(p.sl, _mm_xor_pd(p.cl, set(-0.0)), odd);
  V dh = _mm_blendv_pd(p.ch, p.sh, odd);
  V dl = _mm_blendv_pd(p.cl, p.sl, odd);
  if constexpr (!kCorrected) return _mm_div_pd(_mm_add_pd(nh, nl), _mm_add_pd(dh, dl));
  // N and D as double-doubles with |low| <= 0.3 |high|: renormalise first
  V Nh, Nl, Dh, Dl;
  dd::fast_two_sum(nh, nl, Nh, Nl);
  dd::fast_two_sum(dh, dl, Dh, Dl);
  V q = _mm_div_pd(set(1.0), Dh);
  V t = _mm_mul_pd(Nh, q);
  V pp, pe;
  dd::two_prod(t, Dh, pp, pe);
  V rem = _mm_sub_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(Nh, pp), pe), Nl), _mm_mul_pd(t, Dl));  // Nh - pp exact
  return _mm_add_pd(t, _mm_mul_pd(rem, q));
}

// sin x and cos x from the reduced argument and n (any integral double below 2^31).
template <const Poly &P>
inline void sincos_quadrant(V hi, V lo, V n, V *sinx, V *cosx) {
  V s, c;
  sincos_reduced<P>(hi, lo, s, c);
  __m128i q = _mm_cvtpd_epi32(n);
  q = _mm_unpacklo_epi32(q, q);  // each 64-bit lane: q in both halves
  __m128i one = _mm_set1_epi64x(1), two = _mm_set1_epi64x(2);
  V swap = odd_mask(n);
  V sign_s = _mm_castsi128_pd(_mm_slli_epi64(_mm_and_si128(q, two), 62));
  V sign_c = _mm_castsi128_pd(_mm_slli_epi64(_mm_and_si128(_mm_add_epi64(q, one), two), 62));
  if (sinx) *sinx = _mm_xor_pd(_mm_blendv_pd(s, c, swap), sign_s);
  if (cosx) *cosx = _mm_xor_pd(_mm_blendv_pd(c, s, swap), sign_c);
}

// The whole evaluation for |x| < kFastLimit, x not 0 (a zero would lose its sign).
template <bool kAccurate, const Poly &P>
inline void sincos_fast(V x, V *sinx, V *cosx) {
  Reduced r = reduce<kAccurate>(x);
  sincos_quadrant<P>(r.hi, r.lo, r.n, sinx, cosx);
}

// Scalar path of sine and cosine for any double: the same polynomials after the same reduction
// (the vector one below kFastLimit, Payne-Hanek above). Returns STATUS_DOMAIN for infinities.
template <bool kAccurate, const Poly &P>
inline int sincos_scalar(double x, double *sinx, double *cosx) {
  double ax = __builtin_fabs(x);
  if (!(ax <= 0x1.fffffffffffffp1023)) {  // infinity or NaN
    double r = x - x;                       // NaN, invalid raised for infinities
    if (sinx) *sinx = r;
    if (cosx) *cosx = r;
    return __builtin_isnan(x) ? 0 : STATUS_DOMAIN;
  }
  if (x == 0) {
    if (sinx) *sinx = x;
    if (cosx) *cosx = 1.0;
    return 0;
  }
  V s, c;
  if (ax < kFastLimit) {
    sincos_fast<kAccurate, P>(_mm_set1_pd(x), &s, &c);
  } else {
    double hi, lo;
    int q = reduce_huge(x, &hi, &lo);
    sincos_quadrant<P>(_mm_set1_pd(hi), _mm_set1_pd(lo), _mm_set1_pd(q), &s, &c);
  }
  if (sinx) *sinx = _mm_cvtsd_f64(s);
  if (cosx) *cosx = _mm_cvtsd_f64(c);
  return 0;
}

// Scalar path of the tangent, as sincos_scalar.
template <bool kAccurate, const Poly &P, bool kCorrected>
inline int tan_scalar(double x, double *r) {
  double ax = __builtin_fabs(x);
  if (!(ax <= 0x1.fffffffffffffp1023)) {
    *r = x - x;
    return __builtin_isnan(x) ? 0 : STATUS_DOMAIN;
  }
  if (x == 0) {
    *r = x;
    return 0;
  }
  V t;
  if (ax < kFastLimit) {
    Reduced red = reduce<kAccurate>(_mm_set1_pd(x));
    t = tan_reduced<P, kCorrected>(red.hi, red.lo, red.n);
  } else {
    double hi, lo;
    int q = reduce_huge(x, &hi, &lo);
    t = tan_reduced<P, kCorrected>(_mm_set1_pd(hi), _mm_set1_pd(lo), _mm_set1_pd(q));
  }
  *r = _mm_cvtsd_f64(t);
  return 0;
}

// Lanes the vector path can't take: |x| >= kFastLimit, infinities, NaN, and zeros.
inline int bad_d(V x) {
  V ax = _mm_andnot_pd(set(-0.0), x);
  return _mm_movemask_pd(_mm_or_pd(_mm_cmpnlt_pd(ax, set(kFastLimit)), _mm_cmpeq_pd(x, _mm_setzero_pd())));
}
inline int bad_s(__m128 x) {
  __m128 ax = _mm_andnot_ps(_mm_set1_ps(-0.0f), x);
  return _mm_movemask_ps(_mm_or_ps(_mm_cmpnlt_ps(ax, _mm_set1_ps(static_cast<float>(kFastLimit))),
                                   _mm_cmpeq_ps(x, _mm_setzero_ps())));
}

}  // namespace zyn::vk::trig
