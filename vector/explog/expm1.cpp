// e^x - 1, double and single, three levels each, accurate relative to the result near 0.
//
// Double, block 8: the exponential's N = 128 reduction, e^x - 1 = (scale - 1) + scale tmp with
// tmp = tail + (e^r - 1). Near 0 the scale is exactly 1 and the result is e^r - 1 itself.
//   EP  one reduction constant, degree 3, no tail.
//   LA  two-part reduction, degree 5 and the tail; the two terms cancel by at most half where
//       |x| is near ln2/128, which costs about an ulp.
//   HA  |x| < 1/4: x + x^2/2 + x^3 q(x), x^2/2 exact in two parts (Dekker), q of degree 8
//       fitted at Chebyshev nodes (relative error below 2^-55), the sum led by a fast two-sum;
//       elsewhere the table path with scale - 1 split by a two-sum, where scale tmp is below
//       1/64 of the result.
// Bad lanes: |x| from 708.39 (NaN, infinities, the ends of the range) and nonzero denormals,
// whose results underflow.
// Single: HA through double (2^n (e^r - 1) + (2^n - 1)), LA and EP in float.
// Measured worst errors (10^6 inputs, relative also near 0): dExpm1 LA 2.13 ulp, HA 0.535 ulp
// (at -0x1.fffa75f9a38f6p-3), EP 31.2 bits; sExpm1 LA 1.67 ulp, HA 0.500 ulp, EP 14.5 bits.
#include "vector/explog/exp_core.hpp"

namespace zyn::vk {
namespace {

constexpr double kExpLimit = 0x1.6232ap+9;

int expm1_scalar_d(double x, double *y);

template <int kLevel>  // 0 LA, 1 HA, 2 EP
struct Expm1Double : ExplogPolicy<double, 8> {
  static constexpr T kPad[1] = {0.75};
  static constexpr const char *kName = "vdExpm1";
  static int bad(const V *x) { return bad_abs_d(x[0], kExpLimit) | denormal_d(x[0]); }
  static V table_path(V x) {
    __m128i n;
    V scale, tail;
    if constexpr (kLevel == 2) {
      V red = exp_reduce128<ExpBase::E, false, true>(x, n);
      scale = exp_scale128(n);
      V p = _mm_add_pd(red, _mm_mul_pd(_mm_mul_pd(red, red),
                                       _mm_add_pd(_mm_set1_pd(0x1.0000053a53d93p-1), _mm_mul_pd(red, _mm_set1_pd(0x1.55555983fecd6p-3)))));
      return _mm_add_pd(_mm_sub_pd(scale, _mm_set1_pd(1.0)), _mm_mul_pd(scale, p));
    } else {
      V red = exp_reduce128<ExpBase::E, true>(x, n);
      exp_lookup128(n, scale, tail);
      return _mm_add_pd(_mm_sub_pd(scale, _mm_set1_pd(1.0)), _mm_mul_pd(scale, expm1_poly(red, tail)));
    }
  }
  static void eval(const V *x, V *r) {
    if constexpr (kLevel == 1) {
      V hi, lo;
      expm1_ha_parts(x[0], hi, lo);
      r[0] = _mm_add_pd(hi, lo);
    } else {
      r[0] = table_path(x[0]);
    }
  }
  static int scalar(const T *x, T *r) { return expm1_scalar_d(*x, r); }
};

// The scalar path of every Expm1 row: beyond the vector range e^x - 1 is e^x (above) or -1
// (below); a denormal argument is its own result and underflows; other arguments take the HA
// vector arithmetic.
int expm1_scalar_d(double x, double *y) {
  if (exp_nonfinite(x, y, -1.0)) return STATUS_OK;
  if (std::fabs(x) < 0x1p-60) {
    *y = x;
    return x != 0 && std::fabs(x) < DBL_MIN ? STATUS_UNDERFLOW : STATUS_OK;
  }
  if (x > 700) return exp_scalar_d(x, y);  // e^x - 1 rounds as e^x
  if (x < -40) {
    *y = -1.0 + runtime_mul(0x1p-1000, 0x1p-1000);  // -1 rounded, inexact raised
    return STATUS_OK;
  }
  __m128d v = _mm_set_sd(x), r;
  Expm1Double<1>::eval(&v, &r);
  *y = _mm_cvtsd_f64(r);
  return STATUS_OK;
}

template <int kLevel>
struct Expm1Single : ExplogPolicy<float, 16> {
  static constexpr T kPad[1] = {0.75f};
  static constexpr const char *kName = "vsExpm1";
  static int bad(const V *x) {
    int dn = denormal_s(x[0]);
    if constexpr (kLevel == 1) {
      V out = _mm_or_ps(_mm_cmpnlt_ps(x[0], _mm_set1_ps(88.0f)), _mm_cmpngt_ps(x[0], _mm_set1_ps(-150.0f)));
      return _mm_movemask_ps(out) | dn;
    }
    return bad_abs_s(x[0], 87.0f) | dn;
  }
  static void eval(const V *x, V *r) {
    if constexpr (kLevel == 1)
      r[0] = via_double(x[0], [](__m128d d) { return exp2_wide<true>(_mm_mul_pd(d, _mm_set1_pd(kLog2e))); });
    else
      r[0] = exp_float<kLevel == 0, true>(x[0]);
  }
  static int scalar(const T *x, T *r) { return single_via_double<expm1_scalar_d>(x, r); }
};

}  // namespace

ZYN_UNARY_KERNELS(dExpm1, LA, Expm1Double<0>)
ZYN_UNARY_KERNELS(dExpm1, HA, Expm1Double<1>)
ZYN_UNARY_KERNELS(dExpm1, EP, Expm1Double<2>)
ZYN_UNARY_KERNELS(sExpm1, LA, Expm1Single<0>)
ZYN_UNARY_KERNELS(sExpm1, HA, Expm1Single<1>)
ZYN_UNARY_KERNELS(sExpm1, EP, Expm1Single<2>)

}  // namespace zyn::vk
