// The arithmetic of the power kernels x^b with one exponent b for the whole call (Powx, Pow3o2,
// Pow2o3): the C pow special cases in double-double (any element), the vector paths for positive
// normal bases whose results are normal, and the loop that joins them.
//
// Every vector path is a function of its lane alone, and the scalar path of an element the
// vector path could take broadcasts it through the same vector arithmetic, so an element's
// result never depends on where it stands.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "vector/explog/exp_core.hpp"
#include "vector/explog/ln_core.hpp"
#include "vector/powx/powx_data.hpp"
#include "vector/skeleton/map.hpp"
#include "zyn/vex.h"

namespace zyn::vk::powx {

// ---- double-double scalar path --------------------------------------------------------------

struct DD {
  double h, l;
};
inline DD two_sum_dd(double a, double b) {
  double s = a + b, bb = s - a;
  return {s, (a - (s - bb)) + (b - bb)};
}
inline DD fast_two_sum(double a, double b) {  // |a| >= |b|
  double s = a + b;
  return {s, b - (s - a)};
}
inline void split(double a, double &h, double &l) {
  double c = 134217729.0 * a;  // 2^27 + 1
  h = c - (c - a);
  l = a - h;
}
inline DD two_prod(double a, double b) {  // exact for |a|, |b| below 2^995
  double ah, al, bh, bl, p = a * b;
  split(a, ah, al);
  split(b, bh, bl);
  return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

inline constexpr double kLn2Hi = 0x1.62e42fefa38p-1;  // 42 bits: k * kLn2Hi exact for |k| < 2^11
inline constexpr double kLn2Lo = 0x1.ef35793c7673p-45;
inline constexpr double kTwoThirdsHi = 0x1.5555555555555p-1, kTwoThirdsLo = 0x1.5555555555555p-55;

inline constexpr double kTwoFifthsHi = 0x1.999999999999ap-2, kTwoFifthsLo = -0x1.999999999999ap-56;

// ln x = h + l for a positive finite x, error below 2^-69 relative to |k ln2| + |ln m| (so that
// b ln x stays within 2^-58 absolute up to the overflow of x^b). x = 2^k m with m in
// [sqrt(1/2), sqrt(2)), s = (m - 1)/(m + 1) in double-double (|s| < 0.172), and
// ln m = 2s + 2s^3/3 + 2s^5/5 + s^7 (2/7 + 2s^2/9 + ...): the first three terms in
// double-double, the tail (below 2^-19.5) in double.
inline DD ln_dd(double x) {
  int k;
  double m = std::frexp(x, &k);
  if (m < 0x1.6a09e667f3bcdp-1) {
    m *= 2.0;
    --k;
  }
  double num = m - 1.0;  // exact
  DD den = two_sum_dd(m, 1.0);
  double sh = num / den.h;
  DD p = two_prod(sh, den.h);
  double sl = (((num - p.h) - p.l) - sh * den.l) / den.h;
  DD s2 = two_prod(sh, sh);
  s2.l += 2.0 * sh * sl;
  DD s3 = two_prod(s2.h, sh);
  s3.l += s2.h * sl + s2.l * sh;
  DD s5 = two_prod(s3.h, s2.h);
  s5.l += s3.h * s2.l + s3.l * s2.h;
  DD mid = two_prod(kTwoThirdsHi, s3.h);
  mid.l += kTwoThirdsHi * s3.l + kTwoThirdsLo * s3.h;
  DD fifth = two_prod(kTwoFifthsHi, s5.h);
  fifth.l += kTwoFifthsHi * s5.l + kTwoFifthsLo * s5.h;
  double t = s2.h;
  double tail = 2.0 / 23;
  for (int j = 21; j >= 7; j -= 2) tail = tail * t + 2.0 / j;
  tail *= s5.h * t;
  DD a = fast_two_sum(mid.h, fifth.h);
  a.l += mid.l + fifth.l + tail;
  DD lm = fast_two_sum(2.0 * sh, a.h);
  lm.l += 2.0 * sl + a.l;
  lm = fast_two_sum(lm.h, lm.l);
  double kd = k;
  DD r = two_sum_dd(kd * kLn2Hi, lm.h);
  r.l += lm.l + kd * kLn2Lo;
  return fast_two_sum(r.h, r.l);
}

// e^(h + l) for |h| <= 746: n = round(h / ln2), r = h + l - n ln2 in double-double
// (|r| < 0.35), e^r = 1 + r + r^2 (1/2! + ... + r^14/16!) with error below 2^-56, one scaling.
// A denormal result y 2^-1022 (y < 1) is rounded once, as (1 + y) - 1 on the grid of [1, 2).
inline double exp_dd(double h, double l) {
  double n = std::nearbyint(h * 0x1.71547652b82fep+0);
  DD r = two_sum_dd(h, -n * kLn2Hi);
  r.l += l - n * kLn2Lo;
  r = fast_two_sum(r.h, r.l);
  static constexpr double kInvFact[] = {
      1.0 / 2,          1.0 / 6,           1.0 / 24,           1.0 / 120,          1.0 / 720,
      1.0 / 5040,       1.0 / 40320,       1.0 / 362880,       1.0 / 3628800,      1.0 / 39916800,
      1.0 / 479001600,  1.0 / 6227020800., 1.0 / 87178291200., 1.0 / 1307674368000., 1.0 / 20922789888000.};
  double q = kInvFact[14];
  for (int j = 13; j >= 0; --j) q = q * r.h + kInvFact[j];
  q = q * r.h * r.h + r.l * r.h;
  DD e = two_sum_dd(1.0, r.h);
  e.l += r.l + q;
  int ni = static_cast<int>(n);
  if (ni < -1020) {
    double c = std::ldexp(1.0, ni + 1022), yh = e.h * c, yl = e.l * c;  // exact: n >= -1077
    if (yh < 1.0) {
      double hi = 1.0 + yh, lo = ((1.0 - hi) + yh) + yl;
      return ((hi + lo) - 1.0) * 0x1p-1022;
    }
  }
  return std::scalbn(e.h + e.l, ni);
}

// What the exponent b = y + lo decides once per call (lo is not 0 only for b = 2/3).
struct Expo {
  double y, lo;
  bool integer, odd;
  explicit Expo(double b, double b_lo = 0.0) : y(b), lo(b_lo) {
    integer = lo == 0.0 && std::isfinite(b) && std::trunc(b) == b;
    odd = integer && std::fabs(b) < 0x1p53 && std::fmod(b, 2.0) != 0.0;
  }
};

// ax^y for a positive finite ax other than 1 and a finite nonzero y, in double, and its status:
// the vector arithmetic through `mag` where it takes the element (a normal result), else the
// double-double path; `tiny` and `huge` are the target type's smallest normal and largest finite.
template <class Mag>
inline int pow_finite(double ax, const Expo &e, double tiny, double huge, double *r, const Mag &mag) {
  const double y = e.y, inf = HUGE_VAL;
  double v;
  if (mag(ax, &v)) {
    // the vector arithmetic on a lane it takes: a normal result
  } else if (std::fabs(y) > 0x1p65) {
    // |ln ax| >= 2^-54 for ax != 1, so |y ln ax| > 2^11: the result overflows or underflows.
    v = (ax > 1.0) == (y > 0.0) ? inf : 0.0;
  } else {
    DD l = ln_dd(ax);
    DD p = two_prod(y, l.h);
    p.l += y * l.l + e.lo * l.h;
    if (p.h > 710.0)
      v = inf;
    else if (p.h < -746.0)
      v = 0.0;
    else
      v = exp_dd(p.h, p.l);
  }
  // a single result rounds to infinity from FLT_MAX plus half its ulp; the double one already is
  if (v > huge && (huge == DBL_MAX || std::isinf(static_cast<float>(v)))) v = inf;
  *r = v;
  if (v == inf) return STATUS_OVERFLOW;
  if (v < tiny) return STATUS_UNDERFLOW;
  return 0;
}

// x^y with the C special cases, in double; `tiny` and `huge` are the target type's smallest
// normal and largest finite. `mag`, when given, computes |x|^y for a positive normal |x| and
// returns false when it can't (the double-double path then does). Returns the status.
template <class Mag>
inline int pow_element(double x, const Expo &e, double tiny, double huge, double *r, const Mag &mag) {
  const double y = e.y, inf = HUGE_VAL;
  if (y == 0.0 || x == 1.0) {
    *r = 1.0;
    return 0;
  }
  if (std::isnan(x) || std::isnan(y)) {
    *r = x + y;
    return 0;
  }
  double ax = std::fabs(x);
  if (std::isinf(y)) {
    *r = ax == 1.0 ? 1.0 : (ax < 1.0) == (y > 0.0) ? 0.0 : inf;
    return 0;
  }
  bool neg = std::signbit(x) && e.odd;
  if (x == 0.0) {
    if (y < 0.0) {
      *r = neg ? -inf : inf;
      return STATUS_SINGULARITY;
    }
    *r = neg ? x : 0.0;
    return 0;
  }
  if (std::isinf(x)) {
    double v = y < 0.0 ? 0.0 : inf;
    *r = neg ? -v : v;
    return 0;
  }
  if (x < 0.0 && !e.integer) {
    *r = std::nan("");
    return STATUS_DOMAIN;
  }
  if (ax == 1.0) {  // x = -1 with an integer exponent
    *r = neg ? -1.0 : 1.0;
    return 0;
  }
  double v;
  int status = pow_finite(ax, e, tiny, huge, &v, mag);
  *r = neg ? -v : v;
  return status;
}

// ---- double vector paths --------------------------------------------------------------------

enum class Level { LA, HA, EP };

// The exponent as the vector paths use it: b = bh + bl exactly (27-bit halves, Dekker's
// split), and the rest of an exponent that is not a double (2/3).
struct DExp {
  __m128d b, bh, bl, blo;
  DExp() = default;
  // One exponent per lane (Pow, Powr), |b| below 2^996 so that the split does not overflow.
  static DExp lanes(__m128d y) {
    DExp e;
    const __m128d c = _mm_mul_pd(y, _mm_set1_pd(134217729.0));  // 2^27 + 1
    e.b = y;
    e.bh = _mm_sub_pd(c, _mm_sub_pd(c, y));
    e.bl = _mm_sub_pd(y, e.bh);
    e.blo = _mm_setzero_pd();
    return e;
  }
  explicit DExp(double y, double lo = 0.0) {
    double h, l;
    split(y, h, l);
    b = _mm_set1_pd(y);
    bh = _mm_set1_pd(h);
    bl = _mm_set1_pd(l);
    blo = _mm_set1_pd(lo);
  }
};

// The vector paths take b ln x in [-700, 708]: the result is finite, and its scale times the
// polynomial (|.| > 2^-10 scale) is normal, so no product is rounded on the denormal grid.
inline constexpr double kArgMid = 4.0, kArgHalf = 704.0;

// ln x = hi + lo for positive normal lanes with relative error below 2^-67 (u = m r - 1 exact
// as in ln_parts, |u| < 2^-9.19):
//   ln x = (k ln2 + T) + u - u^2/2 + u^3 q(u),
// with k ln2_high + T_high exact (0 next to 1), u^2/2 split so that its leading part uh^2/2
// (uh: u to 26 bits) is exact, the two large sums taken with their errors (the second a fast
// two-sum: |y + u| > 2^-11 > u^2/2 where y is not 0), and q the Taylor series to u^7
// (truncation below u^7/8, 2^-67.3 relative where y is 0, and 2^-76.5 absolute elsewhere,
// where |ln x| > 2^-10).
inline void log_ha(__m128d x, __m128d &hi, __m128d &lo) {
  using V = __m128d;
  V k = ln_biased_exponent(x);
  V m = _mm_or_pd(_mm_and_pd(x, _mm_castsi128_pd(_mm_set1_epi64x(0x000fffffffffffffLL))),
                  _mm_castsi128_pd(_mm_set1_epi64x(0x3f50000000000000LL)));
  const V shifter = _mm_set1_pd(0x1.8p52);
  V rr = _mm_sub_pd(_mm_add_pd(_mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(m))), shifter), shifter);
  V mh = _mm_and_pd(m, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0xfffffffffc000000ULL))));
  V u = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(mh, rr), _mm_set1_pd(1.0)), _mm_mul_pd(_mm_sub_pd(m, mh), rr));
  __m128i j = _mm_srli_epi64(_mm_sub_epi64(_mm_castpd_si128(rr), _mm_set1_epi64x(0x4080000000000000LL)), 43);
  V e0 = _mm_load_pd(ln_ha[_mm_cvtsi128_si32(j)]), e1 = _mm_load_pd(ln_ha[_mm_extract_epi32(j, 2)]);
  V y = _mm_add_pd(_mm_mul_pd(k, _mm_set1_pd(kLn2HaHigh)), _mm_unpacklo_pd(e0, e1));  // exact
  V low = _mm_add_pd(_mm_mul_pd(k, _mm_set1_pd(kLn2HaLow)), _mm_unpackhi_pd(e0, e1));
  V uh = _mm_and_pd(u, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0xfffffffff8000000ULL))));
  V ul = _mm_sub_pd(u, uh);
  V a2 = _mm_mul_pd(_mm_mul_pd(uh, uh), _mm_set1_pd(-0.5));  // exact
  V a2l = _mm_mul_pd(_mm_mul_pd(ul, _mm_add_pd(uh, u)), _mm_set1_pd(-0.5));
  V u2 = _mm_mul_pd(u, u);
  V qa = _mm_add_pd(_mm_set1_pd(1.0 / 3), _mm_mul_pd(u, _mm_set1_pd(-0.25)));
  V qb = _mm_add_pd(_mm_set1_pd(0.2), _mm_mul_pd(u, _mm_set1_pd(-1.0 / 6)));
  V q = _mm_add_pd(qa, _mm_mul_pd(u2, _mm_add_pd(qb, _mm_mul_pd(u2, _mm_set1_pd(1.0 / 7)))));
  V poly = _mm_mul_pd(_mm_mul_pd(u2, u), q);
  V s1, e1s;
  two_sum(y, u, s1, e1s);
  V s2 = _mm_add_pd(s1, a2);
  V e2s = _mm_sub_pd(a2, _mm_sub_pd(s2, s1));
  hi = s2;
  lo = _mm_add_pd(_mm_add_pd(e1s, e2s), _mm_add_pd(low, _mm_add_pd(a2l, poly)));
}

// b (hi + lo) = ph + pl: b hi exactly (Dekker), the rest rounded (relative 2^-79 of the sum).
inline void times_b(const DExp &e, __m128d hi, __m128d lo, __m128d &ph, __m128d &pl) {
  using V = __m128d;
  V hh = _mm_and_pd(hi, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0xfffffffff8000000ULL))));
  V hl = _mm_sub_pd(hi, hh);
  ph = _mm_mul_pd(e.b, hi);
  V err = _mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(e.bh, hh), ph), _mm_mul_pd(e.bh, hl)), _mm_mul_pd(e.bl, hh));
  err = _mm_add_pd(err, _mm_mul_pd(e.bl, hl));
  pl = _mm_add_pd(err, _mm_add_pd(_mm_mul_pd(e.b, lo), _mm_mul_pd(e.blo, hi)));
}

// x^b for lanes with positive normal x; `bad` gets the lanes it can't take (x not positive
// normal, b ln x outside [-700, 708], NaN).
//   HA: e^(ph + pl) with the 128-entry table and its tails, Taylor to degree 5 (2^-60): within
//       0.52 ulp.
//   EP (|b| <= 16 only): ln x to 2^-30 absolute without the table's low part, b ln x rounded,
//       the single-constant reduction and degree 2: relative error below 2^-26.
template <Level kLevel>  // HA or EP
inline __m128d pow_d(__m128d x, const DExp &e, int &bad) {
  using V = __m128d;
  V ph, pl;
  if constexpr (kLevel == Level::EP) {
    V hi, lo;
    ln_parts_ep<3>(x, ln_biased_exponent(x), hi, lo);
    ph = _mm_mul_pd(e.b, _mm_add_pd(hi, lo));
  } else {
    V hi, lo;
    log_ha(x, hi, lo);
    times_b(e, hi, lo, ph, pl);
  }
  V out = _mm_cmpnle_pd(abs_pd(_mm_sub_pd(ph, _mm_set1_pd(kArgMid))), _mm_set1_pd(kArgHalf));
  bad = _mm_movemask_pd(out) | bad_not_positive_normal(x);
  __m128i nbits;
  if constexpr (kLevel == Level::HA) {
    V r = _mm_add_pd(exp_reduce128<ExpBase::E, false>(ph, nbits), pl);
    V scale, tail;
    exp_lookup128(nbits, scale, tail);
    return _mm_add_pd(scale, _mm_mul_pd(scale, expm1_poly(r, tail)));
  } else {
    V r = exp_reduce128<ExpBase::E, false, true>(ph, nbits);
    V scale = exp_scale128(nbits);
    return _mm_add_pd(scale, _mm_mul_pd(scale, expm1_poly_ep(r)));
  }
}

// ---- single vector paths (double inside) ----------------------------------------------------

using data::powx_log2f;

// log2(1 + r) / r to degree kDegree - 1: Taylor coefficients (-1)^(k+1) / (k ln2).
template <int kDegree>
inline __m128d log2_1p_over_r(__m128d r) {
  constexpr double c[7] = {1 / 0x1.62e42fefa39efp-1,     -1 / (2 * 0x1.62e42fefa39efp-1),
                           1 / (3 * 0x1.62e42fefa39efp-1), -1 / (4 * 0x1.62e42fefa39efp-1),
                           1 / (5 * 0x1.62e42fefa39efp-1), -1 / (6 * 0x1.62e42fefa39efp-1),
                           1 / (7 * 0x1.62e42fefa39efp-1)};
  __m128d p = _mm_set1_pd(c[kDegree - 1]);
  for (int i = kDegree - 2; i >= 0; --i) p = _mm_add_pd(_mm_set1_pd(c[i]), _mm_mul_pd(r, p));
  return p;
}

// Degrees per level (HA, LA; EP works in float below): log2(1 + r) on |r| <= 2^-8 (2^-7 next
// to 1, where the table's entry is exact and the error relative) and 2^(f/128) - 1 on
// |f| <= 1/2.
//   HA: 5 and 2 (2^-50 absolute, r^5/6 = 2^-37.6 relative next to 1; 2^-28.2): within 0.56 ulp.
//   LA: 4 and 2 (2^-41.8, 2^-30.3 relative; 2^-28.2): within 2 ulp.
template <Level kLevel>
struct SDegrees {
  static constexpr int kLog = kLevel == Level::HA ? 5 : 4;
};

inline constexpr double kMaxArgS = 125.0 * 128;  // 2^(t/128) normal and finite in float for |t| <= 125 * 128

// 2^(t/128) for two lanes with |t| <= 16000: t = n + f, |f| <= 1/2 (exact), 2^(n/128) from the
// table and 2^(f/128) - 1 = c1 f + c2 f^2 with c_i = (ln2/128)^i / i! (error below 2^-28.2).
inline __m128d exp2_128_s(__m128d t) {
  using V = __m128d;
  constexpr double c1 = 0x1.62e42fefa39efp-1 / 128, c2 = c1 * c1 / 2;
  V sh = _mm_add_pd(t, _mm_set1_pd(kShift52));
  V f = _mm_sub_pd(t, _mm_sub_pd(sh, _mm_set1_pd(kShift52)));
  V p = _mm_mul_pd(f, _mm_add_pd(_mm_set1_pd(c1), _mm_mul_pd(f, _mm_set1_pd(c2))));
  V scale = exp_scale128(_mm_castpd_si128(sh));
  return _mm_add_pd(scale, _mm_mul_pd(scale, p));
}

// x^b for four float lanes: x = 2^k z with z in [0.699, 1.398), log2 x = k + log2(1/c) +
// log2(1 + r), r = z/c - 1 (one rounding, 2^-53), in double; t = 128 b log2 x and 2^(t/128) in
// double, one rounding to float. vb[h] holds 128 b (exact) for lanes 2h and 2h + 1. `bad`: x not
// positive normal, |b log2 x| above 125, NaN.
template <Level kLevel>  // HA or LA
inline __m128 pow_s(__m128 x, const __m128d (&vb)[2], int &bad) {
  using V = __m128d;
  using D = SDegrees<kLevel>;
  __m128i ix = _mm_castps_si128(x);
  __m128i d = _mm_sub_epi32(ix, _mm_set1_epi32(0x00800000));
  __m128i ok = _mm_and_si128(_mm_cmpgt_epi32(_mm_set1_epi32(0x7f000000), d), _mm_cmpgt_epi32(d, _mm_set1_epi32(-1)));
  __m128i tmp = _mm_sub_epi32(ix, _mm_set1_epi32(0x3f330000));
  __m128i idx = _mm_and_si128(_mm_srli_epi32(tmp, 16), _mm_set1_epi32(127));
  __m128i top = _mm_and_si128(tmp, _mm_set1_epi32(static_cast<int>(0xff800000u)));
  __m128 z = _mm_castsi128_ps(_mm_sub_epi32(ix, top));
  __m128i k = _mm_srai_epi32(top, 23);
  alignas(16) int32_t ib[4];
  _mm_store_si128(reinterpret_cast<__m128i *>(ib), idx);
  int outm = 0;
  V res[2];
  for (int h = 0; h < 2; ++h) {
    V e0 = _mm_load_pd(powx_log2f[ib[2 * h]]), e1 = _mm_load_pd(powx_log2f[ib[2 * h + 1]]);
    V zd = _mm_cvtps_pd(h == 0 ? z : _mm_movehl_ps(z, z));
    V kd = _mm_cvtepi32_pd(h == 0 ? k : _mm_shuffle_epi32(k, _MM_SHUFFLE(3, 2, 3, 2)));
    V r = _mm_sub_pd(_mm_mul_pd(zd, _mm_unpacklo_pd(e0, e1)), _mm_set1_pd(1.0));
    V l2 = _mm_add_pd(_mm_add_pd(kd, _mm_unpackhi_pd(e0, e1)), _mm_mul_pd(r, log2_1p_over_r<D::kLog>(r)));
    V t = _mm_mul_pd(vb[h], l2);
    outm |= _mm_movemask_pd(_mm_cmpnle_pd(abs_pd(t), _mm_set1_pd(kMaxArgS))) << (2 * h);
    res[h] = exp2_128_s(t);
  }
  bad = outm | (_mm_movemask_ps(_mm_castsi128_ps(ok)) ^ 15);
  return _mm_movelh_ps(_mm_cvtpd_ps(res[0]), _mm_cvtpd_ps(res[1]));
}

// EP in float, without a table: x = 2^k z with z in [0.699, 1.398), ln z = 2 atanh(s) with
// s = (z - 1)/(z + 1), |s| < 0.167, to s^7 (truncation below 2^-23.9 relative; z - 1 exact, so
// ln x keeps its relative accuracy next to 1); p = b ln x rounded to float (2^-17 absolute at
// |p| = 86) and e^p by the float EP exponential (2^-16.4): 15 good bits.
inline __m128 pow_s_ep(__m128 x, __m128 b, int &bad) {
  using V = __m128;
  __m128i ix = _mm_castps_si128(x);
  __m128i d = _mm_sub_epi32(ix, _mm_set1_epi32(0x00800000));
  __m128i ok = _mm_and_si128(_mm_cmpgt_epi32(_mm_set1_epi32(0x7f000000), d), _mm_cmpgt_epi32(d, _mm_set1_epi32(-1)));
  __m128i top = _mm_and_si128(_mm_sub_epi32(ix, _mm_set1_epi32(0x3f330000)), _mm_set1_epi32(static_cast<int>(0xff800000u)));
  V z = _mm_castsi128_ps(_mm_sub_epi32(ix, top));
  V k = _mm_cvtepi32_ps(_mm_srai_epi32(top, 23));
  V s = _mm_div_ps(_mm_sub_ps(z, _mm_set1_ps(1.0f)), _mm_add_ps(z, _mm_set1_ps(1.0f)));
  V s2 = _mm_mul_ps(s, s);
  V q = _mm_add_ps(_mm_set1_ps(0.2f), _mm_mul_ps(s2, _mm_set1_ps(1.0f / 7)));
  q = _mm_add_ps(_mm_set1_ps(1.0f / 3), _mm_mul_ps(s2, q));
  V ln = _mm_add_ps(_mm_mul_ps(k, _mm_set1_ps(0x1.62e43p-1f)),
                    _mm_mul_ps(_mm_add_ps(s, s), _mm_add_ps(_mm_set1_ps(1.0f), _mm_mul_ps(s2, q))));
  V p = _mm_mul_ps(b, ln);
  V out = _mm_cmpnle_ps(abs_ps(p), _mm_set1_ps(86.0f));
  bad = _mm_movemask_ps(_mm_or_ps(out, _mm_castsi128_ps(_mm_xor_si128(ok, _mm_set1_epi32(-1)))));
  return exp_float<false, false>(p);
}

// ---- the loop -------------------------------------------------------------------------------

// K: using T, V; V eval(const V *x, int &bad) const (lanewise, one vector per input);
// int scalar(const T *x, T *r) const (any element; for one the vector path takes, the same bits);
// const char *name. Elements one vector at a time; bad lanes through the scalar path and the
// reporter, whose value (possibly set by the callback) is what is stored. NI inputs: the base
// (Powx) or the base and the exponent (Pow, Powr); filler lanes hold 1.
template <class K, int NI>
void run(const K &k, int n, const typename K::T *const (&in)[NI], const ptrdiff_t (&inc)[NI], typename K::T *y,
         ptrdiff_t incy) {
  using T = typename K::T;
  using S = Simd<T>;
  constexpr int L = S::L;
  FpScope<X87Kind::MasksOnly, MxKind::ModeDriven> fp;
  alignas(16) T buf[L];
  for (int i0 = 0; i0 < n; i0 += L) {
    int count = n - i0 < L ? n - i0 : L;
    typename S::V x[NI];
    bool unit = true;
    for (int m = 0; m < NI; ++m) {
      unit = unit && inc[m] == 1;
      if (inc[m] == 1 && count == L) {
        x[m] = S::load(in[m] + i0);
      } else {
        for (int j = 0; j < L; ++j) buf[j] = j < count ? in[m][(i0 + j) * inc[m]] : T(1);
        x[m] = S::load(buf);
      }
    }
    int bad;
    typename S::V r = k.eval(x, bad);
    bad &= (1 << count) - 1;
    if (__builtin_expect(bad == 0 && count == L && incy == 1, 1)) {
      S::store(y + i0, r);
      continue;
    }
    S::store(buf, r);
    while (bad != 0) {
      int j = __builtin_ctz(bad);
      bad &= bad - 1;
      T v, xs[NI];
      for (int m = 0; m < NI; ++m) xs[m] = in[m][(i0 + j) * inc[m]];
      int status = k.scalar(xs, &v);
      buf[j] = v;
      if (status != 0) {
        T *out = y + (i0 + j) * incy;
        *out = v;
        report(status, i0 + j, in[0], in[NI - 1], y, y, k.name);
        buf[j] = *out;
      }
    }
    for (int j = 0; j < count; ++j) y[(i0 + j) * incy] = buf[j];
  }
}

}  // namespace zyn::vk::powx
