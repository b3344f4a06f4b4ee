// Logarithms to base 2 and 10, ln(1 + x), and the exponent logb, double and single.
//
// Double Log2, Log10, Log1p work as dLn at LA and HA (ln_core.hpp): ln x = hi + lo from the
// reciprocal step (at HA with a degree-6 polynomial exact near 1), then
//   HA  dLog2: k + a base-2 table, plus u/ln 2 as a double-double product (log2_ha_d).
//       dLog10: hi_h C_h + (hi_l C_h + (hi C_l + lo C)) with hi = hi_h + hi_l split at 26 bits
//       and C = 1/ln 10 = C_h + C_l, C_h of 26 bits, so the two leading products are exact.
//   LA  hi C + lo C.
//   EP  the cheap reciprocal step (one product for u, degree 3), then as LA. dLog10 has no EP
//       of its own: its LA kernel serves both levels.
// Log1p: 1 + x = u + c exactly, the terms ordered by packed max and min of x and 1 so that a
// fast two-sum applies, then ln(1 + x) = ln u + c/u: a quotient at HA (and x - x^2/2 below
// 2^-40), c (2 - u) at LA and EP.
// Single Log10, Log1p: HA in double through the LA step, rounded to float once; sLog2 HA in
// double without a table, by atanh of s = (m - 1)/(m + 1) and one division. LA and EP in float
// as sLn (with the polynomials of sLn HA and EP), the base change one product.
// Logb: the exponent field converted; zeros, denormals, infinities and NaN go to the scalar
// path, which answers as C's logb (zero: minus infinity, STATUS_SINGULARITY).
// Measured worst errors (10^6 inputs, docs/accuracy.md): dLog2 LA 2.61, HA 0.500 ulp, EP 30.2
// bits (absolute near 1); dLog10 HA 0.500, LA/EP 3.08 ulp; dLog1p LA 2.16, HA 0.500 ulp, EP 26.5
// bits relative; single HA 0.500 ulp (sLog2 0.526), LA at most 1.87 ulp, EP at least 12.8
// bits; Logb exact.
#include <cfloat>

#include "vector/explog/explog_common.hpp"
#include "vector/explog/ln_core.hpp"

namespace zyn::vk {
namespace {

enum class LogBase { Two, Ten, E };

template <LogBase B>
struct LogConst;
template <>
struct LogConst<LogBase::Two> {
  static constexpr double c = 0x1.71547652b82fep+0, c_high = 0x1.7154768p+0, c_low = -0x1.6a3e80f444178p-27;
  static constexpr float cf = 0x1.715476p+0f;
  static constexpr const char *d_name = "vdLog2", *s_name = "vsLog2";
};
template <>
struct LogConst<LogBase::Ten> {
  static constexpr double c = 0x1.bcb7b1526e50ep-2, c_high = 0x1.bcb7b18p-2, c_low = -0x1.6c8d78e6acaa4p-29;
  static constexpr float cf = 0x1.bcb7b2p-2f;
  static constexpr const char *d_name = "vdLog10", *s_name = "vsLog10";
};

// HA log2 from the ln reduction and a base-2 table: y = k + high is exact (0 next to 1), u is
// split at 26 bits so that uh C_h is exact, the leading sum keeps its rounding error, and the
// rest, below 2^-8 and relative to u near 1, adds an error near 2^-60.
inline __m128d log2_ha_d(__m128d x, __m128d k) {
  using V = __m128d;
  using C = LogConst<LogBase::Two>;
  const LnReduced r = ln_reduce<true, true>(x);
  V e0 = _mm_load_pd(log2_ha[r.j0]), e1 = _mm_load_pd(log2_ha[r.j1]);  // (high, low) pairs
  V uh = _mm_and_pd(r.u, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0xfffffffff8000000ULL))));
  V s, err;
  two_sum(_mm_add_pd(k, _mm_unpacklo_pd(e0, e1)), _mm_mul_pd(uh, _mm_set1_pd(C::c_high)), s, err);
  V rest = _mm_mul_pd(_mm_add_pd(_mm_sub_pd(r.u, uh), r.p), _mm_set1_pd(C::c));  // (ul + p) C
  rest = _mm_add_pd(rest, _mm_mul_pd(uh, _mm_set1_pd(C::c_low)));
  return _mm_add_pd(s, _mm_add_pd(_mm_add_pd(_mm_unpackhi_pd(e0, e1), err), rest));
}

template <int L, LogBase B>
inline __m128d log_base(__m128d x, __m128d k) {
  using V = __m128d;
  using C = LogConst<B>;
  if constexpr (L == 1 && B == LogBase::Two) return log2_ha_d(x, k);
  V hi, lo;
  log_parts<L>(x, k, hi, lo);
  if constexpr (L == 1) {
    V hh = _mm_and_pd(hi, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0xfffffffff8000000ULL))));
    V hl = _mm_sub_pd(hi, hh);
    V rest = _mm_add_pd(_mm_mul_pd(hi, _mm_set1_pd(C::c_low)), _mm_mul_pd(lo, _mm_set1_pd(C::c)));
    return _mm_add_pd(_mm_mul_pd(hh, _mm_set1_pd(C::c_high)), _mm_add_pd(_mm_mul_pd(hl, _mm_set1_pd(C::c_high)), rest));
  } else {
    return _mm_add_pd(_mm_mul_pd(hi, _mm_set1_pd(C::c)), _mm_mul_pd(lo, _mm_set1_pd(C::c)));
  }
}

inline double lane0(__m128d v) { return _mm_cvtsd_f64(v); }

// Single HA log2 in double without a table: x = 2^k m with m in [sqrt(1/2), sqrt 2), u = m - 1
// exact in float, s = u / (2 + u) and log2 x = k + (2/ln 2) atanh s, atanh to degree 9 in s.
// |s| < 0.1716, so the truncation is below 2^-28.9 of s P and the roundings near 2^-52: one
// float rounding at the end gives below 0.54 ulp, and near 1 (k = 0) the error stays relative.
inline __m128d log2_from_parts(__m128d k, __m128d u) {
  constexpr double c = 0x1.71547652b82fep+1;  // 2/ln 2
  __m128d s = _mm_div_pd(u, _mm_add_pd(_mm_set1_pd(2.0), u));
  __m128d z = _mm_mul_pd(s, s);
  __m128d p = _mm_add_pd(_mm_set1_pd(c / 7), _mm_mul_pd(z, _mm_set1_pd(c / 9)));
  p = _mm_add_pd(_mm_set1_pd(c / 5), _mm_mul_pd(z, p));
  p = _mm_add_pd(_mm_set1_pd(c / 3), _mm_mul_pd(z, p));
  p = _mm_add_pd(_mm_set1_pd(c), _mm_mul_pd(z, p));
  return _mm_add_pd(k, _mm_mul_pd(s, p));
}
inline __m128 log2_single_ha(__m128 x) {
  __m128i e = _mm_sub_epi32(_mm_castps_si128(x), _mm_set1_epi32(0x3f3504f3));  // sqrt(1/2)
  __m128 k = _mm_cvtepi32_ps(_mm_srai_epi32(e, 23));
  __m128i mb = _mm_add_epi32(_mm_and_si128(e, _mm_set1_epi32(0x7fffff)), _mm_set1_epi32(0x3f3504f3));
  __m128 u = _mm_sub_ps(_mm_castsi128_ps(mb), _mm_set1_ps(1.0f));
  __m128d lo = log2_from_parts(_mm_cvtps_pd(k), _mm_cvtps_pd(u));
  __m128d hi = log2_from_parts(_mm_cvtps_pd(_mm_movehl_ps(k, k)), _mm_cvtps_pd(_mm_movehl_ps(u, u)));
  return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
}

// Scalar path of the double base-2 and base-10 logarithms: specials as Ln, denormals scaled by
// 2^60 with the exponent corrected, so they keep the vector path's accuracy.
template <int L, LogBase B>
int log_base_scalar(double x, double *r) {
  if (x > 0 && x <= DBL_MAX) {
    __m128d xs = _mm_set_sd(x < DBL_MIN ? x * 0x1p60 : x);
    __m128d k = ln_biased_exponent(xs);
    if (x < DBL_MIN) k = _mm_sub_pd(k, _mm_set1_pd(60.0));
    *r = lane0(log_base<L, B>(xs, k));
    return STATUS_OK;
  }
  double v;
  int status = ln_scalar_d(x, &v);  // NaN, infinities, zeros, negatives
  *r = v;
  return status;
}

template <int L>
int log1p_scalar(double x, double *r) {
  if (std::isnan(x)) {
    *r = x * 1.0;
    return STATUS_OK;
  }
  if (x == -1.0) {
    *r = runtime_div(-1.0, 0.0);
    return STATUS_SINGULARITY;
  }
  if (x < -1.0) {
    *r = runtime_div(0.0, 0.0);
    return STATUS_DOMAIN;
  }
  *r = std::isinf(x) ? x : lane0(log1p_d<L>(_mm_set_sd(x)));
  return STATUS_OK;
}

// A double lane is bad for Log1p when not above -1 or not finite.
inline int bad_log1p_d(__m128d x) {
  return _mm_movemask_pd(_mm_or_pd(_mm_cmpngt_pd(x, _mm_set1_pd(-1.0)), _mm_cmpnle_pd(x, _mm_set1_pd(DBL_MAX))));
}
inline int bad_log1p_s(__m128 x) {
  return _mm_movemask_ps(_mm_or_ps(_mm_cmpngt_ps(x, _mm_set1_ps(-1.0f)), _mm_cmpnle_ps(x, _mm_set1_ps(FLT_MAX))));
}
// Float lanes that are not positive normal (as sLn).
inline int bad_not_positive_normal_s(__m128 x) {
  __m128i t = _mm_add_epi32(_mm_castps_si128(x), _mm_set1_epi32(0x800000));
  return _mm_movemask_ps(_mm_castsi128_ps(_mm_cmplt_epi32(t, _mm_set1_epi32(0x1000000))));
}

template <int L, LogBase B>
struct LogDouble : ExplogPolicy<double, 8> {
  static constexpr T kPad[1] = {0.75};
  static constexpr const char *kName = LogConst<B>::d_name;
  static int bad(const V *x) { return bad_not_positive_normal(x[0]); }
  static void eval(const V *x, V *r) { r[0] = log_base<L, B>(x[0], ln_biased_exponent(x[0])); }
  static int scalar(const T *x, T *r) { return log_base_scalar<L, B>(*x, r); }
};

template <int L>
struct Log1pDouble : ExplogPolicy<double, 8> {
  static constexpr T kPad[1] = {0.75};
  static constexpr const char *kName = "vdLog1p";
  static int bad(const V *x) { return bad_log1p_d(x[0]); }
  static void eval(const V *x, V *r) { r[0] = log1p_d<L>(x[0]); }
  static int scalar(const T *x, T *r) { return log1p_scalar<L>(*x, r); }
};

template <int L, LogBase B>
struct LogSingle : ExplogPolicy<float, 16> {
  static constexpr T kPad[1] = {0.75f};
  static constexpr const char *kName = LogConst<B>::s_name;
  static int bad(const V *x) { return bad_not_positive_normal_s(x[0]); }
  static void eval(const V *x, V *r) {
    if constexpr (L == 1 && B == LogBase::Two)
      r[0] = log2_single_ha(x[0]);
    else if constexpr (L == 1)
      r[0] = via_double(x[0], [](__m128d d) { return log_base<0, B>(d, ln_biased_exponent(d)); });
    else
      r[0] = _mm_mul_ps(ln_single<L == 0 ? kSLnHa : kSLnEp>(x[0]), _mm_set1_ps(LogConst<B>::cf));
  }
  static int scalar(const T *x, T *r) {
    double v;
    int status = ln_scalar_d(static_cast<double>(*x), &v);
    *r = static_cast<float>(v * LogConst<B>::c);
    return status;
  }
};

template <int L>
struct Log1pSingle : ExplogPolicy<float, L == 0 ? 32 : 16> {
  using T = float;
  using V = __m128;
  static constexpr T kPad[1] = {0.75f};
  static constexpr const char *kName = "vsLog1p";
  static int bad(const V *x) { return bad_log1p_s(x[0]); }
  static void eval(const V *x, V *r) {
    if constexpr (L == 1) {
      r[0] = via_double(x[0], [](__m128d d) { return log1p_d<0>(d); });
    } else {
      r[0] = log1p_single<L == 0 ? kSLnHa : kSLnEp>(x[0]);
    }
  }
  static int scalar(const T *x, T *r) {
    double v;
    int status = log1p_scalar<0>(static_cast<double>(*x), &v);
    *r = static_cast<float>(v);
    return status;
  }
};

// logb of any double: infinities give plus infinity and NaN a NaN without status; a zero gives
// minus infinity with STATUS_SINGULARITY; a denormal is scaled by 2^64 first.
int logb_scalar(double v, double *r) {
  if (!std::isfinite(v)) {
    *r = v * v;
    return STATUS_OK;
  }
  if (v == 0) {
    *r = runtime_div(-1.0, 0.0);
    return STATUS_SINGULARITY;
  }
  int adj = 0;
  if (std::fabs(v) < DBL_MIN) {
    v *= 0x1p64;
    adj = 64;
  }
  *r = static_cast<double>(static_cast<int>((bits(v) >> 52) & 0x7ff) - 1023 - adj);
  return STATUS_OK;
}

// logb: the unbiased exponent. Lanes with exponent field 0 or all ones are bad.
struct LogbDouble : ExplogPolicy<double, 16> {
  static constexpr T kPad[1] = {0.75};
  static constexpr const char *kName = "vdLogb";
  static __m128i field(V x) {  // exponent fields in both halves of each lane
    __m128i e = _mm_and_si128(_mm_srli_epi64(_mm_castpd_si128(x), 52), _mm_set1_epi64x(0x7ff));
    return _mm_shuffle_epi32(e, _MM_SHUFFLE(2, 2, 0, 0));
  }
  static int bad(const V *x) {
    __m128i e = field(x[0]);
    __m128i b = _mm_or_si128(_mm_cmpeq_epi32(e, _mm_setzero_si128()), _mm_cmpeq_epi32(e, _mm_set1_epi32(0x7ff)));
    return _mm_movemask_pd(_mm_castsi128_pd(b));
  }
  static void eval(const V *x, V *r) {
    __m128i e = _mm_shuffle_epi32(field(x[0]), _MM_SHUFFLE(3, 1, 2, 0));
    r[0] = _mm_cvtepi32_pd(_mm_sub_epi32(e, _mm_set1_epi32(1023)));
  }
  static int scalar(const T *x, T *r) { return logb_scalar(*x, r); }
};

struct LogbSingle : ExplogPolicy<float, 32> {
  static constexpr T kPad[1] = {0.75f};
  static constexpr const char *kName = "vsLogb";
  static __m128i field(V x) { return _mm_and_si128(_mm_srli_epi32(_mm_castps_si128(x), 23), _mm_set1_epi32(0xff)); }
  static int bad(const V *x) {
    __m128i e = field(x[0]);
    __m128i b = _mm_or_si128(_mm_cmpeq_epi32(e, _mm_setzero_si128()), _mm_cmpeq_epi32(e, _mm_set1_epi32(0xff)));
    return _mm_movemask_ps(_mm_castsi128_ps(b));
  }
  static void eval(const V *x, V *r) { r[0] = _mm_cvtepi32_ps(_mm_sub_epi32(field(x[0]), _mm_set1_epi32(127))); }
  static int scalar(const T *x, T *r) {
    double d;
    int status = logb_scalar(static_cast<double>(*x), &d);
    *r = static_cast<float>(d);
    return status;
  }
};

using Log2DoubleLa = LogDouble<0, LogBase::Two>;
using Log2DoubleHa = LogDouble<1, LogBase::Two>;
using Log2DoubleEp = LogDouble<2, LogBase::Two>;
using Log10DoubleLa = LogDouble<0, LogBase::Ten>;
using Log10DoubleHa = LogDouble<1, LogBase::Ten>;
using Log2SingleLa = LogSingle<0, LogBase::Two>;
using Log2SingleHa = LogSingle<1, LogBase::Two>;
using Log2SingleEp = LogSingle<2, LogBase::Two>;
using Log10SingleLa = LogSingle<0, LogBase::Ten>;
using Log10SingleHa = LogSingle<1, LogBase::Ten>;
using Log10SingleEp = LogSingle<2, LogBase::Ten>;

}  // namespace

ZYN_UNARY_KERNELS(dLog2, LA, Log2DoubleLa)
ZYN_UNARY_KERNELS(dLog2, HA, Log2DoubleHa)
ZYN_UNARY_KERNELS(dLog2, EP, Log2DoubleEp)
ZYN_UNARY_KERNELS(dLog10, HA, Log10DoubleHa)
ZYN_UNARY_KERNELS(dLog10, EP, Log10DoubleLa)  // serves LA and EP
ZYN_UNARY_KERNELS(dLog1p, LA, Log1pDouble<0>)
ZYN_UNARY_KERNELS(dLog1p, HA, Log1pDouble<1>)
ZYN_UNARY_KERNELS(dLog1p, EP, Log1pDouble<2>)
ZYN_UNARY_KERNELS(sLog2, LA, Log2SingleLa)
ZYN_UNARY_KERNELS(sLog2, HA, Log2SingleHa)
ZYN_UNARY_KERNELS(sLog2, EP, Log2SingleEp)
ZYN_UNARY_KERNELS(sLog10, LA, Log10SingleLa)
ZYN_UNARY_KERNELS(sLog10, HA, Log10SingleHa)
ZYN_UNARY_KERNELS(sLog10, EP, Log10SingleEp)
ZYN_UNARY_KERNELS(sLog1p, LA, Log1pSingle<0>)
ZYN_UNARY_KERNELS(sLog1p, HA, Log1pSingle<1>)
ZYN_UNARY_KERNELS(sLog1p, EP, Log1pSingle<2>)
ZYN_UNARY_KERNELS(dLogb, HA, LogbDouble)
ZYN_UNARY_KERNELS(sLogb, HA, LogbSingle)

}  // namespace zyn::vk
