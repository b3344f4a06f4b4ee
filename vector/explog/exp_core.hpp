// The arithmetic shared by the exponential kernels (Exp, Exp2, Exp10, Expm1).
//
// Double vector paths: n = round(t * 128) for t = x / ln2, x or x log2 10, a reduced argument r
// with |r| <= ln2 / 256 (natural scale), and 2^(n/128) from a 128-entry table whose entries
// carry the j = n mod 128 part so that one 64-bit integer addition of n << 45 builds the scale
// (see tools/gen_tables/exp_tables.cpp). Single HA paths work in double without a table:
// n = round(t), r = (t - n) ln2 with |r| <= ln2 / 2. Single LA and EP paths work in float.
// The double scalar path reduces with N = 64 and forms results near the ends of the range,
// denormals included, with one rounding.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstdint>

#include "vector/explog/exp_data.hpp"
#include "vector/explog/explog_common.hpp"
#include "zyn/vex.h"

namespace zyn::vk {

using data::exp128;
using data::exp64;

inline constexpr double kShift52 = 0x1.8p52;  // adding it rounds to an integer held in the low bits
inline constexpr float kShift23 = 0x1.8p23f;
inline constexpr double kLn2 = 0x1.62e42fefa39efp-1;
inline constexpr double kLn10 = 0x1.26bb1bbb55516p+1;
inline constexpr double kLog2e = 0x1.71547652b82fep+0;
inline constexpr double kLog2of10 = 0x1.a934f0979a371p+1;

// Products that must happen at run time, to give the IEEE result and raise the flag.
inline double runtime_mul(double a, double b) {
  asm volatile("" : "+x"(a), "+x"(b));
  return a * b;
}

// Lanes whose |x| does not compare below `limit` (NaN included).
inline int bad_abs_d(__m128d x, double limit) {
  return _mm_movemask_pd(_mm_cmpnlt_pd(abs_pd(x), _mm_set1_pd(limit)));
}
inline int bad_abs_s(__m128 x, float limit) {
  return _mm_movemask_ps(_mm_cmpnlt_ps(abs_ps(x), _mm_set1_ps(limit)));
}
// Nonzero denormal lanes (their results underflow for Expm1).
inline int denormal_d(__m128d x) {
  __m128d a = abs_pd(x);
  return _mm_movemask_pd(_mm_and_pd(_mm_cmplt_pd(a, _mm_set1_pd(DBL_MIN)), _mm_cmpgt_pd(a, _mm_setzero_pd())));
}
inline int denormal_s(__m128 x) {
  __m128i a = _mm_and_si128(_mm_castps_si128(x), _mm_set1_epi32(0x7fffffff));
  __m128i d = _mm_andnot_si128(_mm_cmpeq_epi32(a, _mm_setzero_si128()), _mm_cmplt_epi32(a, _mm_set1_epi32(0x800000)));
  return _mm_movemask_ps(_mm_castsi128_ps(d));
}

// ---- double vector paths, N = 128 -----------------------------------------------------------

enum class ExpBase { E, Two, Ten };

// Reduction constants: ln2/128 and log10(2)/128 split so that n * HIGH is exact for |n| < 2^17.
inline constexpr double kLn2N128High = 0x1.62e42fefa0000p-8, kLn2N128Low = 0x1.cf79abc9e3b3ap-47;
inline constexpr double kLn2N128 = 0x1.62e42fefa39efp-8;  // one constant (EP): 0x3f762e42fefa39ef
inline constexpr double kLg2N128High = 0x1.3441350a00000p-9, kLg2N128Low = -0x1.0c0219dc1da99p-46;

// t * 128 rounded: n in the low bits of the 64-bit lanes of `nbits`, its value in kd, and the
// reduced argument r on the natural scale (2^(x in base B) = 2^(n/128) e^r). kRound uses the
// round instruction, else the shifter; kOneConst reduces Exp with a single constant.
template <ExpBase B, bool kRound, bool kOneConst = false>
inline __m128d exp_reduce128(__m128d x, __m128i &nbits) {
  using V = __m128d;
  constexpr double scale = B == ExpBase::E ? 0x1.71547652b82fep+7 : B == ExpBase::Two ? 128.0 : 0x1.a934f0979a371p+8;
  V z = _mm_mul_pd(x, _mm_set1_pd(scale));
  V kd;
  if constexpr (kRound) {
    kd = _mm_round_pd(z, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    nbits = _mm_castpd_si128(_mm_add_pd(kd, _mm_set1_pd(kShift52)));  // exact: kd is an integer
  } else {
    V s = _mm_add_pd(z, _mm_set1_pd(kShift52));
    nbits = _mm_castpd_si128(s);
    kd = _mm_sub_pd(s, _mm_set1_pd(kShift52));
  }
  if constexpr (B == ExpBase::E) {
    if constexpr (kOneConst) return _mm_sub_pd(x, _mm_mul_pd(kd, _mm_set1_pd(kLn2N128)));
    V r = _mm_sub_pd(x, _mm_mul_pd(kd, _mm_set1_pd(kLn2N128High)));  // exact
    return _mm_sub_pd(r, _mm_mul_pd(kd, _mm_set1_pd(kLn2N128Low)));
  } else if constexpr (B == ExpBase::Two) {
    V f = _mm_sub_pd(x, _mm_mul_pd(kd, _mm_set1_pd(0x1p-7)));  // exact
    return _mm_mul_pd(f, _mm_set1_pd(kLn2));
  } else {
    V f = _mm_sub_pd(x, _mm_mul_pd(kd, _mm_set1_pd(kLg2N128High)));  // exact
    f = _mm_sub_pd(f, _mm_mul_pd(kd, _mm_set1_pd(kLg2N128Low)));
    return _mm_mul_pd(f, _mm_set1_pd(kLn10));
  }
}

// scale = 2^(m) T_hi for n = 128 m + j, and the relative tail of T_hi.
inline void exp_lookup128(__m128i nbits, __m128d &scale, __m128d &tail) {
  int j0 = _mm_cvtsi128_si32(nbits) & 127, j1 = _mm_extract_epi32(nbits, 2) & 127;
  __m128i e0 = _mm_load_si128(reinterpret_cast<const __m128i *>(exp128[j0]));
  __m128i e1 = _mm_load_si128(reinterpret_cast<const __m128i *>(exp128[j1]));
  tail = _mm_castsi128_pd(_mm_unpacklo_epi64(e0, e1));
  scale = _mm_castsi128_pd(_mm_add_epi64(_mm_unpackhi_epi64(e0, e1), _mm_slli_epi64(nbits, 45)));
}
inline __m128d exp_scale128(__m128i nbits) {
  int j0 = _mm_cvtsi128_si32(nbits) & 127, j1 = _mm_extract_epi32(nbits, 2) & 127;
  __m128d lo = _mm_load_sd(reinterpret_cast<const double *>(&exp128[j0][1]));
  __m128i s = _mm_castpd_si128(_mm_loadh_pd(lo, reinterpret_cast<const double *>(&exp128[j1][1])));
  return _mm_castsi128_pd(_mm_add_epi64(s, _mm_slli_epi64(nbits, 45)));
}

// e^r - 1 (plus the table's tail) on |r| <= ln2/256: Taylor to degree 5, truncation below
// 2^-60 (HA; LA of Expm1); degree 2 with the coefficient 0.49999908361121337, below 2^-28 (EP).
inline __m128d expm1_poly(__m128d r, __m128d tail) {
  using V = __m128d;
  V r2 = _mm_mul_pd(r, r);
  V a = _mm_add_pd(_mm_set1_pd(0.5), _mm_mul_pd(r, _mm_set1_pd(1.0 / 6)));
  V b = _mm_add_pd(_mm_set1_pd(1.0 / 24), _mm_mul_pd(r, _mm_set1_pd(1.0 / 120)));
  V t = _mm_add_pd(_mm_add_pd(tail, r), _mm_mul_pd(r2, a));
  return _mm_add_pd(t, _mm_mul_pd(_mm_mul_pd(r2, r2), b));
}
// scale (1 + tmp). In lanes below `low` (results within about 2^-1013 of zero) scale tmp would
// be rounded on the denormal grid: there the sum is formed 2^64 higher and brought back
// exactly, so that the normal result is rounded once.
inline __m128d exp_combine(__m128d x, double low, __m128d scale, __m128d tmp) {
  using V = __m128d;
  V y = _mm_add_pd(scale, _mm_mul_pd(scale, tmp));
  V m = _mm_cmplt_pd(x, _mm_set1_pd(low));
  if (__builtin_expect(_mm_movemask_pd(m) == 0, 1)) return y;
  V s2 = _mm_mul_pd(scale, _mm_set1_pd(0x1p64));
  V y2 = _mm_mul_pd(_mm_add_pd(s2, _mm_mul_pd(s2, tmp)), _mm_set1_pd(0x1p-64));
  return _mm_blendv_pd(y, y2, m);
}

// LA without the tail: r q(r) with q of degree 3 fitted to (e^r - 1)/r at Chebyshev nodes on
// |r| <= ln2/256; relative error of 1 + r q(r) below 1.6e-16 (0.72 ulp of [1, 2)).
inline __m128d expm1_poly_la(__m128d r) {
  using V = __m128d;
  V q = _mm_add_pd(_mm_set1_pd(0x1.55555db2a84edp-3), _mm_mul_pd(r, _mm_set1_pd(0x1.55555ae8e1f80p-5)));
  q = _mm_add_pd(_mm_set1_pd(0x1.fffffffffff51p-2), _mm_mul_pd(r, q));
  q = _mm_add_pd(_mm_set1_pd(0x1.ffffffffffdf3p-1), _mm_mul_pd(r, q));
  return _mm_mul_pd(r, q);
}
inline __m128d expm1_poly_ep(__m128d r) {
  return _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(_mm_set1_pd(0.49999908361121337), r), r));
}

// e^x - 1 = hi + lo for |x| < 1/4: x + x^2/2 + x^3 q(x), x^2/2 exact in two parts (Dekker), q of
// degree 8 fitted at Chebyshev nodes (relative error below 2^-55), led by a fast two-sum.
inline void expm1_small_parts(__m128d x, __m128d &hi, __m128d &lo) {
  using V = __m128d;
  constexpr double q[9] = {0x1.5555555555555p-3, 0x1.55555555554b4p-5, 0x1.11111111110dfp-7,
                           0x1.6c16c16d23f39p-10, 0x1.a01a01a0bfa62p-13, 0x1.a019f27bf31e8p-16,
                           0x1.71de310450957p-19, 0x1.2835b8ece4a58p-22, 0x1.aec7b4155fbf9p-26};
  V x2 = _mm_mul_pd(x, x);
  V x4 = _mm_mul_pd(x2, x2);
  V a = _mm_add_pd(_mm_set1_pd(q[0]), _mm_mul_pd(x, _mm_set1_pd(q[1])));
  V b = _mm_add_pd(_mm_set1_pd(q[2]), _mm_mul_pd(x, _mm_set1_pd(q[3])));
  V c = _mm_add_pd(_mm_set1_pd(q[4]), _mm_mul_pd(x, _mm_set1_pd(q[5])));
  V d = _mm_add_pd(_mm_set1_pd(q[6]), _mm_mul_pd(x, _mm_set1_pd(q[7])));
  V top = _mm_add_pd(c, _mm_mul_pd(x2, _mm_add_pd(d, _mm_mul_pd(x2, _mm_set1_pd(q[8])))));
  V poly = _mm_add_pd(_mm_add_pd(a, _mm_mul_pd(x2, b)), _mm_mul_pd(x4, top));
  // x^2 = sq + sq_lo exactly, from the halves of x
  V xs = _mm_mul_pd(x, _mm_set1_pd(134217729.0));
  V xh = _mm_sub_pd(xs, _mm_sub_pd(xs, x));
  V xl = _mm_sub_pd(x, xh);
  V sq_lo = _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(xh, xh), x2), _mm_mul_pd(_mm_add_pd(xh, xh), xl)),
                       _mm_mul_pd(xl, xl));
  V h = _mm_mul_pd(x2, _mm_set1_pd(0.5));
  V s = _mm_add_pd(x, h);  // |x| > x^2/2: fast two-sum
  V e = _mm_add_pd(_mm_sub_pd(x, s), h);
  V rest = _mm_add_pd(_mm_mul_pd(sq_lo, _mm_set1_pd(0.5)), _mm_mul_pd(_mm_mul_pd(x2, x), poly));
  hi = s;
  lo = _mm_add_pd(e, rest);
}

// e^x - 1 = hi + lo for |x| < 708.39 (the HA arithmetic of dExpm1; hi + lo is not normalized:
// |lo| may reach 1/64 of |hi|): below 1/4 the series above; elsewhere the N = 128 table path
// with scale - 1 split by a two-sum, where scale tmp is below 1/64 of the result.
inline void expm1_ha_parts(__m128d x, __m128d &hi, __m128d &lo) {
  using V = __m128d;
  V m = _mm_cmplt_pd(abs_pd(x), _mm_set1_pd(0.25));
  int small = _mm_movemask_pd(m);
  if (small == 3) {
    expm1_small_parts(x, hi, lo);
    return;
  }
  __m128i n;
  V scale, tail;
  V red = exp_reduce128<ExpBase::E, false>(x, n);
  exp_lookup128(n, scale, tail);
  V b = _mm_mul_pd(scale, expm1_poly(red, tail));
  V a = _mm_sub_pd(scale, _mm_set1_pd(1.0));  // two-sum of scale and -1
  V bb = _mm_sub_pd(a, scale);
  V e = _mm_add_pd(_mm_sub_pd(scale, _mm_sub_pd(a, bb)), _mm_sub_pd(_mm_set1_pd(-1.0), bb));
  hi = a;
  lo = _mm_add_pd(e, b);
  if (small != 0) {
    V sh, sl;
    expm1_small_parts(x, sh, sl);
    hi = _mm_blendv_pd(hi, sh, m);
    lo = _mm_blendv_pd(lo, sl, m);
  }
}

// ---- double scalar path, N = 64 --------------------------------------------------------------

inline constexpr double kInvLn2N64 = 0x1.71547652b82fep+6;  // 0x40571547652b82fe
inline constexpr double kLn2N64High = 0x1.62e42fefa0000p-7, kLn2N64Low = 0x1.cf79abc9e3b3ap-46;
inline constexpr double kLg2N64High = 0x1.3441350a00000p-8, kLg2N64Low = -0x1.0c0219dc1da99p-45;
// e^r = 1 + r + r^2 (c2 + c3 r + ... + c6 r^4) on |r| <= ln2/128.
inline constexpr double kE6[5] = {0.5, 0.1666666666665788, 0.04166666666677052, 0.008333341995140497,
                                  0.0013888870459233254};

inline double round_shift(double z) { return (z + kShift52) - kShift52; }

// 2^(kd/64) e^r for an integer kd and |r| <= ln2/128 (a little more is harmless): the scale
// 2^m T_hi is built in the exponent field, moved by 2^1009 or 2^1022 near the ends of the
// range. A denormal result is formed as 1 + y and the 1 taken off exactly, so it is rounded
// once, by the addition, on the denormal grid.
inline double exp64_finish(double kd, double r) {
  int64_t ki = static_cast<int64_t>(kd);
  const uint64_t *e = exp64[ki & 63];
  double tail = from_bits(e[0]);
  uint64_t sbits = e[1] + (static_cast<uint64_t>(ki) << 46);
  double r2 = r * r;
  double p = kE6[4];
  for (int i = 3; i >= 0; --i) p = kE6[i] + r * p;
  double tmp = tail + r + r2 * p;
  int64_t m = ki >> 6;
  if (m > 1020) {
    double s = from_bits(sbits - (1009ULL << 52));
    return runtime_mul(0x1p1009, s + s * tmp);
  }
  if (m < -1000) {  // also where s tmp alone would be denormal
    double s = from_bits(sbits + (1022ULL << 52));
    double y = s + s * tmp;
    if (y < 1.0) {
      double lo = s - y + s * tmp;
      double hi = 1.0 + y;
      lo = 1.0 - hi + y + lo;
      y = (hi + lo) - 1.0;
    }
    return runtime_mul(0x1p-1022, y);
  }
  double s = from_bits(sbits);
  return s + s * tmp;
}

// NaN, infinities: NaN, plus infinity, +0, no status. Returns true when x was one of them.
inline bool exp_nonfinite(double x, double *y, double at_minus_inf = 0.0) {
  if (std::isfinite(x)) return false;
  *y = std::isnan(x) ? x * 1.0 : x > 0 ? x : at_minus_inf;
  return true;
}

// Status of a finite argument's result: infinity overflows, below the smallest normal (and not
// an exact zero) underflows.
inline int exp_status(double y) {
  if (std::isinf(y)) return STATUS_OVERFLOW;
  if (std::fabs(y) < DBL_MIN) return STATUS_UNDERFLOW;
  return STATUS_OK;
}

// The scalar path of dExp (form B) at every level.
inline int exp_scalar_d(double x, double *y) {
  if (exp_nonfinite(x, y)) return STATUS_OK;
  if (((bits(x) >> 52) & 0x7ff) <= 0x3ca) {  // |x| below about 2^-53
    *y = 1.0 + x;
    return STATUS_OK;
  }
  if (x > 0x1.62e42fefa39efp+9) {  // 709.782712893384
    *y = runtime_mul(0x1p1000, 0x1p1000);
    return STATUS_OVERFLOW;
  }
  if (x < -0x1.74910d52d3051p+9) {  // -745.1332191019411
    *y = runtime_mul(0x1p-1000, 0x1p-1000);
    return STATUS_UNDERFLOW;
  }
  double kd = round_shift(x * kInvLn2N64);
  double r = (x - kd * kLn2N64High) - kd * kLn2N64Low;
  *y = exp64_finish(kd, r);
  return x < -0x1.6232bdd7abcd2p+9 ? STATUS_UNDERFLOW : STATUS_OK;  // -708.3964185322641
}

// The scalar path of dExp2 and dExp10 (and, through double, of their single rows).
inline int exp2_scalar_d(double x, double *y) {
  if (exp_nonfinite(x, y)) return STATUS_OK;
  if (x >= 1024) {
    *y = runtime_mul(0x1p1000, 0x1p1000);
    return STATUS_OVERFLOW;
  }
  if (x < -1080) {
    *y = runtime_mul(0x1p-1000, 0x1p-1000);
    return STATUS_UNDERFLOW;
  }
  double kd = round_shift(x * 64);
  *y = exp64_finish(kd, (x - kd * 0x1p-6) * kLn2);
  return exp_status(*y);
}
inline int exp10_scalar_d(double x, double *y) {
  if (exp_nonfinite(x, y)) return STATUS_OK;
  if (x > 310) {
    *y = runtime_mul(0x1p1000, 0x1p1000);
    return STATUS_OVERFLOW;
  }
  if (x < -330) {
    *y = runtime_mul(0x1p-1000, 0x1p-1000);
    return STATUS_UNDERFLOW;
  }
  double kd = round_shift(x * (64 * kLog2of10));
  double f = (x - kd * kLg2N64High) - kd * kLg2N64Low;
  *y = exp64_finish(kd, f * kLn10);
  return exp_status(*y);
}

// A single row's scalar path through a double one: the status of the double path where it
// has one, else overflow for an infinite float and underflow for a float below the smallest
// normal that is not exact.
template <int (*F)(double, double *)>
inline int single_via_double(const float *x, float *y) {
  double d;
  int status = F(static_cast<double>(*x), &d);
  float f = static_cast<float>(d);
  *y = f;
  if (status != STATUS_OK || !std::isfinite(*x)) return status;
  if (std::isinf(f)) return STATUS_OVERFLOW;
  if (std::fabs(f) < FLT_MIN && d != 0) return STATUS_UNDERFLOW;
  return STATUS_OK;
}

// ---- single HA: double without a table ---------------------------------------------------------

// 2^t = 2^n e^r for |t| < 1000: n = round(t), r = (t - n) ln2, e^r - 1 = r + r^2 g(r) with g of
// degree 6 fitted at Chebyshev nodes on |r| <= 0.35 (error below 2^-38, far under a float ulp).
// kMinus1 gives 2^t - 1 as 2^n (e^r - 1) + (2^n - 1), exact in its parts for small |n|.
template <bool kMinus1>
inline __m128d exp2_wide(__m128d t) {
  using V = __m128d;
  V s = _mm_add_pd(t, _mm_set1_pd(kShift52));
  V kd = _mm_sub_pd(s, _mm_set1_pd(kShift52));
  V r = _mm_mul_pd(_mm_sub_pd(t, kd), _mm_set1_pd(kLn2));
  constexpr double g[7] = {0.5, 0x1.555555686bc5ap-3, 0x1.5555555cf7462p-5, 0x1.1110c32facbd0p-7,
                           0x1.6c168322fc79ep-10, 0x1.a157ae7c78603p-13, 0x1.a118166a38fc2p-16};
  V r2 = _mm_mul_pd(r, r);
  V a = _mm_add_pd(_mm_set1_pd(g[0]), _mm_mul_pd(r, _mm_set1_pd(g[1])));
  V b = _mm_add_pd(_mm_set1_pd(g[2]), _mm_mul_pd(r, _mm_set1_pd(g[3])));
  V c = _mm_add_pd(_mm_set1_pd(g[4]), _mm_mul_pd(r, _mm_set1_pd(g[5])));
  V r4 = _mm_mul_pd(r2, r2);
  V poly = _mm_add_pd(_mm_add_pd(a, _mm_mul_pd(r2, b)), _mm_mul_pd(r4, _mm_add_pd(c, _mm_mul_pd(r2, _mm_set1_pd(g[6])))));
  V p = _mm_add_pd(r, _mm_mul_pd(r2, poly));
  // 2^n: (2^51 + n + 1023) << 52 keeps n + 1023 in the exponent field
  V scale = _mm_castsi128_pd(_mm_slli_epi64(_mm_add_epi64(_mm_castpd_si128(s), _mm_set1_epi64x(1023)), 52));
  if constexpr (kMinus1) return _mm_add_pd(_mm_mul_pd(scale, p), _mm_sub_pd(scale, _mm_set1_pd(1.0)));
  return _mm_add_pd(scale, _mm_mul_pd(scale, p));
}

// ---- single LA and EP: float -------------------------------------------------------------------

// e^x (or e^x - 1) in float for |x| < 87: n = round(x / ln2), r = x - n ln2 in two parts (one at
// EP), e^r - 1 = r + r^2 g(r) with g fitted at Chebyshev nodes on |r| <= 0.35: degree 4 at LA
// (below 2^-26.9 relative), degree 2 at EP (below 2^-16.4).
// g(r) from degree 0 up: LA (degree 4), EP (degree 2).
inline constexpr float kExpFloatLa[5] = {0.5f, 0x1.5554d8p-3f, 0x1.555516p-5f, 0x1.12106cp-7f, 0x1.6d1606p-10f};
inline constexpr float kExpFloatEp[3] = {0.5f, 0x1.56e7b6p-3f, 0x1.56617p-5f};
// n = round(x / ln2) held in the low bits of s (s = n + 1.5 * 2^23), and r = x - n ln2, in two
// parts at LA and one at EP.
template <bool kLa>
inline __m128 exp_float_reduce(__m128 x, __m128 &s) {
  using V = __m128;
  s = _mm_add_ps(_mm_mul_ps(x, _mm_set1_ps(0x1.715476p+0f)), _mm_set1_ps(kShift23));
  V kd = _mm_sub_ps(s, _mm_set1_ps(kShift23));
  if constexpr (kLa) {
    V r = _mm_sub_ps(x, _mm_mul_ps(kd, _mm_set1_ps(0x1.62e4p-1f)));  // exact
    return _mm_sub_ps(r, _mm_mul_ps(kd, _mm_set1_ps(0x1.7f7d1cp-20f)));
  }
  return _mm_sub_ps(x, _mm_mul_ps(kd, _mm_set1_ps(0x1.62e43p-1f)));
}
template <bool kLa, bool kMinus1>
inline __m128 exp_float(__m128 x) {
  using V = __m128;
  V s, r = exp_float_reduce<kLa>(x, s);
  V r2 = _mm_mul_ps(r, r);
  V g;
  if constexpr (kLa) {
    const float *c = kExpFloatLa;
    V a = _mm_add_ps(_mm_set1_ps(c[0]), _mm_mul_ps(r, _mm_set1_ps(c[1])));
    V b = _mm_add_ps(_mm_set1_ps(c[2]), _mm_mul_ps(r, _mm_set1_ps(c[3])));
    g = _mm_add_ps(a, _mm_mul_ps(r2, _mm_add_ps(b, _mm_mul_ps(r2, _mm_set1_ps(c[4])))));
  } else {
    const float *c = kExpFloatEp;
    g = _mm_add_ps(_mm_set1_ps(c[0]), _mm_mul_ps(r, _mm_add_ps(_mm_set1_ps(c[1]), _mm_mul_ps(r, _mm_set1_ps(c[2])))));
  }
  V p = _mm_add_ps(r, _mm_mul_ps(r2, g));
  // 2^n: (2^22 + n + 127) << 23 keeps n + 127 in the exponent field
  V scale = _mm_castsi128_ps(_mm_slli_epi32(_mm_add_epi32(_mm_castps_si128(s), _mm_set1_epi32(127)), 23));
  if constexpr (kMinus1) return _mm_add_ps(_mm_mul_ps(scale, p), _mm_sub_ps(scale, _mm_set1_ps(1.0f)));
  return _mm_add_ps(scale, _mm_mul_ps(scale, p));
}

}  // namespace zyn::vk
