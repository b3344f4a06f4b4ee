// Natural logarithm, double and single, at three levels.
//
// Double. All levels split x into exponent and significand and use a reciprocal table.
//   EP  block 4, table of 513 (reciprocal, -log) pairs indexed by 9 rounded significand bits,
//       u = m r - 1 and ln x = k ln2 + T + u - u^2/2. A block with any bad element goes whole
//       through the scalar path (same formula), so there is no lane logic at all. Relative
//       accuracy falls near 1; measured worst error: see docs/accuracy.md.
//   LA  block 8, reciprocal from the hardware's single-precision estimate rounded to an
//       integer r in [512, 1024] by the round instruction, one double per r, exponent offset
//       1022/1023 so that exponent and table terms vanish near 1, degree-5 polynomial.
//   HA  as LA, r rounded by adding 1.5 * 2^52, a high/low table that carries -1023 ln2 so
//       that k * LN2_HIGH + T_high is exact, and a two-sum of the leading terms.
// Bad elements (zero, denormal, negative, infinity, NaN) of LA and HA go one by one through
// the scalar path: near 1 a degree-8 polynomial, else a 65-entry table of reciprocals with
// 21 bits so that u = mh c - 1 is exact.
//
// Single. No table: m is the significand moved into [2/3, 4/3), u = m - 1, and
// ln x = k ln2 + u + u^2 p(u) with a polynomial per level. Bad lanes go through the double
// scalar path and are narrowed once.
#include <cmath>

#include "vector/explog/ln_data.hpp"
#include "vector/skeleton/map.hpp"

namespace zyn::vk {
namespace {

using data::ln_ep;
using data::ln_ha;
using data::ln_la;
using data::ln_scalar;

constexpr double kLn2Ep = 0x1.62e42fefa38p-1;         // 0x3fe62e42fefa3800
constexpr double kLn2La = 0x1.62e42fefa39efp-1;       // 0x3fe62e42fefa39ef
constexpr double kLn2HaHigh = 0x1.62e42fefap-1;       // 0x3fe62e42fefa0000
constexpr double kLn2HaLow = 0x1.cf79abc9ep-40;       // 0x3d7cf79abc9e0000
constexpr double kLn2ScalarHigh = 0x1.62e42fefa38p-1; // 0x3fe62e42fefa3800
constexpr double kLn2ScalarLow = 0x1.ef35793c7673p-45;  // 0x3d2ef35793c76730

constexpr double kC2 = -0.49999999999988803, kC3 = 0.33333333333308374,
                 kC4 = -0.2500003054940248, kC5 = 0.2000003665949424;

// Degree-8 polynomial of the scalar path, coefficients from degree 2 up.
constexpr double kP8[7] = {-0.5, 0.33333333333334386, -0.25000000000003386, 0.19999999911565072,
                           -0.1666666651884978, 0.1428756883852146, -0.1250214602960357};

double p8(double d) {
  double p = kP8[6];
  for (int i = 5; i >= 0; --i) p = kP8[i] + d * p;
  return p;
}

// Quotients that must be computed at run time, to produce the IEEE result and raise the flag.
double runtime_div(double a, double b) {
  asm volatile("" : "+x"(a), "+x"(b));
  return a / b;
}

// The scalar path of the LA and HA kernels and of the single kernels: any double, result and
// status. Error below 0.51 ulp.
int ln_scalar_d(double x, double *r) {
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

// ---- double, EP ------------------------------------------------------------------------------

// The EP formula on one element known to be a positive normal (or scaled denormal).
double ln_ep_formula(double x, double extra) {
  uint32_t h = static_cast<uint32_t>(bits(x) >> 32);
  int idx = static_cast<int>((((h & 0xffc00) + 0x400) >> 10) & ~1u) >> 1;
  double k = static_cast<double>(static_cast<int32_t>(h - 0x3fe7fc00) >> 20);
  double m = from_bits((bits(x) & 0x000fffffffffffffULL) | 0x3ff0000000000000ULL);
  double u = m * ln_ep[idx][0] - 1;
  return (k * kLn2Ep + ln_ep[idx][1]) + ((u + (-0.5) * u * u) + extra);
}

struct LnDoubleEp {
  using T = double;
  using V = __m128d;
  static constexpr int kInputs = 1, kOutputs = 1, kBlock = 4;
  static constexpr X87Kind kX87 = X87Kind::Double;
  static constexpr MxKind kMxcsr = MxKind::MasksOnly;
  static constexpr Tail kTail = Tail::Scalar;
  static constexpr BadBlock kBadBlock = BadBlock::WholeBlock;
  static constexpr T kPad[1] = {0.75};
  static constexpr const char *kName = "vdLn";

  // Ordinary when the high word h is in [0x00100000, 0x7fefffff]: h + 0xffefffff, unsigned,
  // below 0x7fdfffff. Unsigned compare by flipping the sign bits.
  static int bad(const V *x) {
    __m128i h = _mm_castpd_si128(x[0]);
    __m128i t = _mm_add_epi32(h, _mm_set1_epi32(static_cast<int>(0xffefffffu)));
    t = _mm_xor_si128(t, _mm_set1_epi32(static_cast<int>(0x80000000u)));
    __m128i ok = _mm_cmplt_epi32(t, _mm_set1_epi32(static_cast<int>(0x7fdfffffu ^ 0x80000000u)));
    return _mm_movemask_pd(_mm_castsi128_pd(_mm_xor_si128(ok, _mm_set1_epi32(-1))));
  }
  static void eval(const V *x, V *r) {
    __m128i xi = _mm_castpd_si128(x[0]);
    __m128i h = _mm_shuffle_epi32(xi, _MM_SHUFFLE(3, 1, 3, 1));  // high words in lanes 0, 1
    __m128i idx = _mm_srli_epi32(_mm_add_epi32(_mm_and_si128(h, _mm_set1_epi32(0xffc00)),
                                               _mm_set1_epi32(0x400)),
                                 11);  // entry number: the rounded 10 bits, halved
    // k as double: add k into the high word of 1.5 * 2^20 and subtract that constant again
    __m128i k = _mm_srai_epi32(_mm_sub_epi32(h, _mm_set1_epi32(0x3fe7fc00)), 20);
    __m128i kh = _mm_add_epi32(_mm_unpacklo_epi32(_mm_setzero_si128(), k),
                               _mm_set1_epi64x(0x4138000000000000LL));
    V kd = _mm_sub_pd(_mm_castsi128_pd(kh), _mm_set1_pd(1572864.0));
    V m = _mm_or_pd(_mm_and_pd(x[0], _mm_castsi128_pd(_mm_set1_epi64x(0x000fffffffffffffLL))),
                    _mm_set1_pd(1.0));
    int i0 = _mm_cvtsi128_si32(idx), i1 = _mm_extract_epi32(idx, 1);
    V e0 = _mm_load_pd(ln_ep[i0]), e1 = _mm_load_pd(ln_ep[i1]);  // (reciprocal, log) pairs
    V rec = _mm_unpacklo_pd(e0, e1), lg = _mm_unpackhi_pd(e0, e1);
    V u = _mm_sub_pd(_mm_mul_pd(m, rec), _mm_set1_pd(1.0));
    V p = _mm_add_pd(u, _mm_mul_pd(_mm_mul_pd(_mm_set1_pd(-0.5), u), u));
    r[0] = _mm_add_pd(_mm_add_pd(_mm_mul_pd(kd, _mm_set1_pd(kLn2Ep)), lg), p);
  }
  // Any element: specials first, denormals scaled by 2^52, then the vector's formula.
  static int scalar(const T *xp, T *r) {
    double x = *xp;
    if (std::isnan(x)) {
      *r = x * 1.0;
      return 0;
    }
    if (x == INFINITY) {
      *r = INFINITY;
      return 0;
    }
    if (x == 0) {
      *r = -INFINITY;
      return 2;
    }
    if (x < 0) {
      *r = from_bits(0xfff8000000000000ULL);
      return 1;
    }
    double extra = 0;
    if (x < 0x1p-1022) {
      x *= 0x1p52;
      extra = -36.04365338911715;
    }
    *r = ln_ep_formula(x, extra);
    return 0;
  }
};

// ---- double, LA and HA -----------------------------------------------------------------------

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

template <bool kHa>
struct LnDoubleLaHa {
  using T = double;
  using V = __m128d;
  static constexpr int kInputs = 1, kOutputs = 1, kBlock = 8;
  static constexpr X87Kind kX87 = X87Kind::MasksOnly;
  static constexpr MxKind kMxcsr = MxKind::ModeDriven;
  static constexpr Tail kTail = Tail::Padded;
  static constexpr BadBlock kBadBlock = BadBlock::Lanes;
  static constexpr T kPad[1] = {0.75};
  static constexpr const char *kName = "vdLn";

  static int bad(const V *x) { return bad_not_positive_normal(x[0]); }
  static void eval(const V *x, V *r) {
    const V mant = _mm_castsi128_pd(_mm_set1_epi64x(0x000fffffffffffffLL));
    V m = _mm_or_pd(_mm_and_pd(x[0], mant), _mm_castsi128_pd(_mm_set1_epi64x(0x3f50000000000000LL)));
    V rd = _mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(m)));
    V rr;
    if constexpr (kHa) {
      const V shifter = _mm_set1_pd(0x1.8p52);
      rr = _mm_sub_pd(_mm_add_pd(rd, shifter), shifter);
    } else {
      rr = _mm_round_pd(rd, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
    }
    V mh = _mm_and_pd(m, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0xfffffffffc000000ULL))));
    V ml = _mm_sub_pd(m, mh);
    V uh = _mm_sub_pd(_mm_mul_pd(mh, rr), _mm_set1_pd(1.0));
    V ul = _mm_mul_pd(ml, rr);
    V u = _mm_add_pd(uh, ul);
    V u2 = _mm_mul_pd(u, u);
    V p = _mm_mul_pd(u2, _mm_add_pd(_mm_add_pd(_mm_set1_pd(kC2), _mm_mul_pd(_mm_set1_pd(kC3), u)),
                                    _mm_mul_pd(u2, _mm_add_pd(_mm_set1_pd(kC4), _mm_mul_pd(_mm_set1_pd(kC5), u)))));
    // table entry j = r - 512, from the bits of r
    __m128i j = _mm_srli_epi64(_mm_sub_epi64(_mm_castpd_si128(rr), _mm_set1_epi64x(0x4080000000000000LL)), 43);
    int j0 = _mm_cvtsi128_si32(j), j1 = _mm_extract_epi32(j, 2);
    // biased exponent
    __m128i e = _mm_srli_epi64(_mm_castpd_si128(x[0]), 52);
    V k = _mm_cvtepi32_pd(_mm_shuffle_epi32(e, _MM_SHUFFLE(3, 1, 2, 0)));
    if constexpr (kHa) {
      V e0 = _mm_load_pd(ln_ha[j0]), e1 = _mm_load_pd(ln_ha[j1]);  // (high, low) pairs
      V th = _mm_unpacklo_pd(e0, e1), tl = _mm_unpackhi_pd(e0, e1);
      V y = _mm_add_pd(_mm_mul_pd(k, _mm_set1_pd(kLn2HaHigh)), th);  // exact
      V low = _mm_add_pd(_mm_mul_pd(k, _mm_set1_pd(kLn2HaLow)), tl);
      // u = uh + ul is exact: uh is a multiple of 2^-36 (mh has 27 bits from 2^-10, r is an
      // integer), ul one of 2^-62, and |u| < 2^-9. So near 1, where uh and ul cancel and y is
      // 0, u keeps every bit. y and u are added with the rounding error kept.
      V s, err;
      two_sum(y, u, s, err);
      V t = _mm_add_pd(_mm_add_pd(low, err), p);
      r[0] = _mm_add_pd(s, t);
    } else {
      V t = _mm_setr_pd(ln_la[j0], ln_la[j1]);
      // exponent offset 1023 above r = 724, else 1022
      V big = _mm_cmpgt_pd(rr, _mm_set1_pd(724.0));
      V off = _mm_or_pd(_mm_and_pd(big, _mm_set1_pd(1023.0)), _mm_andnot_pd(big, _mm_set1_pd(1022.0)));
      V hi = _mm_add_pd(_mm_mul_pd(_mm_sub_pd(k, off), _mm_set1_pd(kLn2La)), t);
      r[0] = _mm_add_pd(hi, _mm_add_pd(u, p));  // hi is 0 near 1, where u + p is the result
    }
  }
  static int scalar(const T *x, T *r) { return ln_scalar_d(*x, r); }
};

// ---- single ------------------------------------------------------------------------------------

struct SLnCoeffs {
  float ln2_high, ln2_low;
  int count;  // coefficients from degree 2 up
  float c[9];
};
constexpr SLnCoeffs kSLnEp = {0x1.62e43p-1f, 0.0f, 4, {-0.5f, 0.33289623f, -0.26740259f, 0.21988373f}};
constexpr SLnCoeffs kSLnLa = {0x1.62e43p-1f, 0.0f, 7,
                              {-0.5f, 0.33336565f, -0.25004664f, 0.19822504f, -0.16462457f,
                               0.16964881f, -0.15177205f}};
constexpr SLnCoeffs kSLnHa = {0x1.62e4p-1f, 0x1.7f7d1cp-20f, 9,
                              {-0.5f, 0.33333215f, -0.24999797f, 0.20010406f, -0.16680488f,
                               0.14005870f, -0.12184261f, 0.13984437f, -0.12891686f}};

template <const SLnCoeffs &C>
struct LnSingle {
  using T = float;
  using V = __m128;
  static constexpr int kInputs = 1, kOutputs = 1, kBlock = 32;
  static constexpr X87Kind kX87 = X87Kind::MasksOnly;
  static constexpr MxKind kMxcsr = MxKind::ModeDriven;
  static constexpr Tail kTail = Tail::Padded;
  static constexpr BadBlock kBadBlock = BadBlock::Lanes;
  static constexpr T kPad[1] = {0.75f};
  static constexpr const char *kName = "vsLn";

  // zero, denormals, negatives, infinities and NaNs: ix + 0x800000 below 0x1000000, signed
  static int bad(const V *x) {
    __m128i t = _mm_add_epi32(_mm_castps_si128(x[0]), _mm_set1_epi32(0x800000));
    return _mm_movemask_ps(_mm_castsi128_ps(_mm_cmplt_epi32(t, _mm_set1_epi32(0x1000000))));
  }
  static void eval(const V *x, V *r) {
    __m128i e = _mm_sub_epi32(_mm_castps_si128(x[0]), _mm_set1_epi32(0x3f2aaaab));
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
      r[0] = _mm_add_ps(s, _mm_add_ps(e, _mm_add_ps(_mm_mul_ps(k, _mm_set1_ps(C.ln2_low)), q)));
    } else {
      r[0] = _mm_add_ps(_mm_add_ps(_mm_mul_ps(k, _mm_set1_ps(C.ln2_high)), u), q);
    }
  }
  static int scalar(const T *x, T *r) {
    double d;
    int status = ln_scalar_d(static_cast<double>(*x), &d);
    *r = static_cast<float>(d);
    return status;
  }
};

using LnDoubleLa = LnDoubleLaHa<false>;
using LnDoubleHa = LnDoubleLaHa<true>;
using LnSingleEp = LnSingle<kSLnEp>;
using LnSingleLa = LnSingle<kSLnLa>;
using LnSingleHa = LnSingle<kSLnHa>;

}  // namespace

ZYN_UNARY_KERNELS(dLn, EP, LnDoubleEp)
ZYN_UNARY_KERNELS(dLn, LA, LnDoubleLa)
ZYN_UNARY_KERNELS(dLn, HA, LnDoubleHa)
ZYN_UNARY_KERNELS(sLn, EP, LnSingleEp)
ZYN_UNARY_KERNELS(sLn, LA, LnSingleLa)
ZYN_UNARY_KERNELS(sLn, HA, LnSingleHa)

}  // namespace zyn::vk
