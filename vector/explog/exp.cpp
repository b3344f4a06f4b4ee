// Exponentials e^x, 2^x and 10^x, double and single.
//
// dExp, three levels, block 16, N = 128 table (see exp_core.hpp):
//   EP  shifter rounding, one reduction constant, 1 + r + 0.49999908361121337 r^2.
//   LA  round instruction, two-part reduction, degree-4 polynomial, no tail.
//   HA  shifter rounding, two-part reduction, degree-5 polynomial and the table's tail:
//       2^(j/128) (1 + tail) e^r to about 2^-60 before the last rounding.
// A lane is bad when |x| reaches 708.39 (high word 0x4086232a), so that every result near the
// end of the range, NaN and the infinities go to the scalar path (N = 64, degree 6), which
// forms denormal results with one rounding.
// dExp2 and dExp10 (one kernel each): the HA scheme on x * 128 and x * 128 log2 10, the latter
// reduced in two parts, with the reduced argument moved to the natural scale by one product.
// sExp (HA), sExp2, sExp10: double arithmetic without a table, rounded to float once. sExp LA
// and EP: float arithmetic. Single scalar paths go through the double ones.
// Measured worst errors (10^6 inputs, docs/accuracy.md): dExp LA 2.07 ulp, HA 0.506 ulp (at
// 0x1.62e171803d2f5p+6), EP 28.2 bits; dExp2 0.508 ulp; dExp10 0.507 ulp; sExp LA 0.96 ulp, HA,
// sExp2 and sExp10 0.500 ulp, sExp EP 15.9 bits.
#include "vector/explog/exp_core.hpp"

namespace zyn::vk {
namespace {

constexpr double kExpLimit = 0x1.6232ap+9;  // high word 0x4086232a: about 708.39

template <int kLevel>  // 0 LA, 1 HA, 2 EP
struct ExpDouble : ExplogPolicy<double, 16> {
  static constexpr T kPad[1] = {0.75};
  static constexpr const char *kName = "vdExp";
  static int bad(const V *x) { return bad_abs_d(x[0], kExpLimit); }
  static void eval(const V *x, V *r) {
    __m128i n;
    V scale, tail, p = _mm_setzero_pd();
    if constexpr (kLevel == 2) {
      V red = exp_reduce128<ExpBase::E, false, true>(x[0], n);
      scale = exp_scale128(n);
      p = expm1_poly_ep(red);
    } else if constexpr (kLevel == 0) {
      V red = exp_reduce128<ExpBase::E, true>(x[0], n);
      scale = exp_scale128(n);
      p = expm1_poly_la(red);
    } else {
      V red = exp_reduce128<ExpBase::E, false>(x[0], n);
      exp_lookup128(n, scale, tail);
      r[0] = exp_combine(x[0], -700.0, scale, expm1_poly(red, tail));
      return;
    }
    r[0] = _mm_add_pd(scale, _mm_mul_pd(scale, p));
  }
  static int scalar(const T *x, T *r) { return exp_scalar_d(*x, r); }
};

// 2^x and 10^x in double: vector results stay normal below the limit.
template <ExpBase B>
struct ExpBaseDouble : ExplogPolicy<double, B == ExpBase::Two ? 8 : 16> {
  using V = __m128d;
  using T = double;
  static constexpr T kPad[1] = {0.75};
  static constexpr const char *kName = B == ExpBase::Two ? "vdExp2" : "vdExp10";
  static int bad(const V *x) { return bad_abs_d(x[0], B == ExpBase::Two ? 1022.0 : 307.0); }
  static void eval(const V *x, V *r) {
    __m128i n;
    V scale, tail;
    V red = exp_reduce128<B, false>(x[0], n);
    exp_lookup128(n, scale, tail);
    r[0] = exp_combine(x[0], B == ExpBase::Two ? -1010.0 : -304.0, scale, expm1_poly(red, tail));
  }
  static int scalar(const T *x, T *r) { return B == ExpBase::Two ? exp2_scalar_d(*x, r) : exp10_scalar_d(*x, r); }
};

// Single e^x, 2^x, 10^x at HA through double: t = x log2(base) carries a relative error of
// 2^-53 |t|, below 2^-45 for |t| < 128.
template <ExpBase B>
struct ExpSingleHa : ExplogPolicy<float, 16> {
  static constexpr T kPad[1] = {0.75f};
  static constexpr const char *kName = B == ExpBase::E ? "vsExp" : B == ExpBase::Two ? "vsExp2" : "vsExp10";
  static int bad(const V *x) { return bad_abs_s(x[0], B == ExpBase::E ? 87.0f : B == ExpBase::Two ? 126.0f : 37.5f); }
  static void eval(const V *x, V *r) {
    r[0] = via_double(x[0], [](__m128d d) {
      if constexpr (B != ExpBase::Two) d = _mm_mul_pd(d, _mm_set1_pd(B == ExpBase::E ? kLog2e : kLog2of10));
      return exp2_wide<false>(d);
    });
  }
  static int scalar(const T *x, T *r) {
    return single_via_double<B == ExpBase::E ? exp_scalar_d : B == ExpBase::Two ? exp2_scalar_d : exp10_scalar_d>(x, r);
  }
};

template <bool kLa>
struct ExpSingle : ExplogPolicy<float, kLa ? 32 : 16> {
  using V = __m128;
  using T = float;
  static constexpr T kPad[1] = {0.75f};
  static constexpr const char *kName = "vsExp";
  static int bad(const V *x) { return bad_abs_s(x[0], 87.0f); }
  static void eval(const V *x, V *r) { r[0] = exp_float<kLa, false>(x[0]); }
  static int scalar(const T *x, T *r) { return single_via_double<exp_scalar_d>(x, r); }
};

}  // namespace

ZYN_UNARY_KERNELS(dExp, LA, ExpDouble<0>)
ZYN_UNARY_KERNELS(dExp, HA, ExpDouble<1>)
ZYN_UNARY_KERNELS(dExp, EP, ExpDouble<2>)
ZYN_UNARY_KERNELS(dExp2, HA, ExpBaseDouble<ExpBase::Two>)
ZYN_UNARY_KERNELS(dExp10, HA, ExpBaseDouble<ExpBase::Ten>)
ZYN_UNARY_KERNELS(sExp, LA, ExpSingle<true>)
ZYN_UNARY_KERNELS(sExp, HA, ExpSingleHa<ExpBase::E>)
ZYN_UNARY_KERNELS(sExp, EP, ExpSingle<false>)
ZYN_UNARY_KERNELS(sExp2, HA, ExpSingleHa<ExpBase::Two>)
ZYN_UNARY_KERNELS(sExp10, HA, ExpSingleHa<ExpBase::Ten>)

}  // namespace zyn::vk
