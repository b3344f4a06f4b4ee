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

#include "vector/explog/ln_core.hpp"

namespace zyn::vk {
namespace {

using data::ln_ep;

constexpr double kLn2Ep = 0x1.62e42fefa38p-1;  // 0x3fe62e42fefa3800

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

struct LnDoubleEp : UnaryPolicy<double> {
  static constexpr int kBlock = 4;
  static constexpr X87Kind kX87 = X87Kind::Double;
  static constexpr MxKind kMxcsr = MxKind::MasksOnly;
  static constexpr Tail kTail = Tail::Scalar;
  static constexpr BadBlock kBadBlock = BadBlock::WholeBlock;
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

template <bool kHa>
struct LnDoubleLaHa : UnaryPolicy<double> {
  static constexpr int kBlock = 8;
  static constexpr const char *kName = "vdLn";

  static int bad(const V *x) { return bad_not_positive_normal(x[0]); }
  static void eval(const V *x, V *r) {
    V hi, lo;
    ln_parts<kHa>(x[0], ln_biased_exponent(x[0]), hi, lo);
    r[0] = _mm_add_pd(hi, lo);
  }
  static int scalar(const T *x, T *r) { return ln_scalar_d(*x, r); }
};

// ---- single ------------------------------------------------------------------------------------

template <const SLnCoeffs &C>
struct LnSingle : UnaryPolicy<float> {
  static constexpr int kBlock = 32;
  static constexpr const char *kName = "vsLn";

  // zero, denormals, negatives, infinities and NaNs: ix + 0x800000 below 0x1000000, signed
  static int bad(const V *x) {
    __m128i t = _mm_add_epi32(_mm_castps_si128(x[0]), _mm_set1_epi32(0x800000));
    return _mm_movemask_ps(_mm_castsi128_ps(_mm_cmplt_epi32(t, _mm_set1_epi32(0x1000000))));
  }
  static void eval(const V *x, V *r) { r[0] = ln_single<C>(x[0]); }
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
