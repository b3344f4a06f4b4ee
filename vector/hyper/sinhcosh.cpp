// Hyperbolic sine and cosine, double and single, from one template.
//
// Double, block 8, a = |x| below 708.39 (the exponential's vector range). e^a = hp + lp and
// e^-a = hm + lm come from one reduction on the exponential's N = 128 table (hp, hm = 2^+-m T
// exact; lp, lm their multiples of e^+-r - 1 and the table's tails), the polynomial's even and
// odd parts serving both signs.
//   HA, a >= 1: (hp + (lp -+ (hm + lm))) / 2; e^-a is at most e^-2 of e^a, so its rounding
//               stays small.
//   HA, a < 1:  sinh = a + a z S(z), z = a^2 (hyper_data.hpp: S below 2^-56); cosh = 1 + z/2 +
//               z^2 C(z), 1 + z/2 exact in two parts from Dekker's square (C below 2^-58).
//   LA (dSinh and dCosh: one kernel for LA and EP): the exponential form everywhere, sinh as
//               ((hp - hm) + (lp - lm)) / 2, whose first difference is exact where it cancels;
//               cosh as (e + 1/e) / 2 with e from dExp LA's arithmetic.
// Single, block 16: HA through the double LA arithmetic, rounded once; LA and EP in float, the
// LA form on the single exponential's reduction and polynomial (exp_core.hpp).
// Bad lanes: |x| from 708.39 (single: 87) and NaN. The scalar path takes e^a / 2 there, with the
// halving in the exponent so that it overflows only where the result does: beyond
// 710.4758600739439 (single 89.41599) plus infinity and STATUS_OVERFLOW; infinities give
// infinities without status and NaN a NaN.
// Measured worst errors (10^6 inputs, docs/accuracy.md): dSinh HA 0.848 ulp (at
// 0x1.aedfe363aac38p-1), LA/EP 1.72 ulp; dCosh HA 0.624 ulp (at 0x1.0000000001663p+0), LA/EP
// 2.36 ulp; sSinh LA 1.74, HA 0.500 ulp, EP 14.9 bits; sCosh LA 1.65, HA 0.500 ulp, EP 15.9 bits.
#include "vector/hyper/hyper_core.hpp"
#include "vector/hyper/hyper_data.hpp"

namespace zyn::vk::hyper {
namespace {

constexpr double kExpLimit = 0x1.6232ap+9;  // 708.39, as Exp

// e^a = hp + lp and e^-a = hm + lm for 0 <= a < 708.39, from one reduction: -a has -n and -r,
// and the polynomial, split into its even and odd parts, gives e^r - 1 and e^-r - 1 together:
// Taylor to degree 5, below 2^-60 on |r| <= ln2/256, with the table's tails (LA needs them too:
// where sinh cancels, the tails' share of 2^(n/128) - 2^(-n/128) is not small). L: 1 HA
// (shifter rounding), else LA (the round instruction).
template <int L>
ZYN_HYPER_INLINE void exp_pm_d(VD a, VD &hp, VD &lp, VD &hm, VD &lm) {
  __m128i n;
  VD r = exp_reduce128<ExpBase::E, L != 1>(a, n);
  const __m128i nm = _mm_sub_epi64(_mm_setzero_si128(), n);
  VD r2 = _mm_mul_pd(r, r), tp, tm;
  VD c35 = _mm_add_pd(_mm_set1_pd(1.0 / 6), _mm_mul_pd(r2, _mm_set1_pd(1.0 / 120)));
  VD odd = _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, r2), c35));
  VD even = _mm_mul_pd(r2, _mm_add_pd(_mm_set1_pd(0.5), _mm_mul_pd(r2, _mm_set1_pd(1.0 / 24))));
  exp_lookup128(n, hp, tp);
  exp_lookup128(nm, hm, tm);
  lp = _mm_mul_pd(hp, _mm_add_pd(tp, _mm_add_pd(odd, even)));
  lm = _mm_mul_pd(hm, _mm_add_pd(tm, _mm_sub_pd(even, odd)));
}

// e^a = sp + lp and e^-a = sm + lm in float for 0 <= a < 87 (sp, sm = 2^+-n), the same way on
// the single exponential's reduction and polynomial (LA degree 6, EP degree 4 in r).
template <bool kLa>
ZYN_HYPER_INLINE void exp_pm_f(VS a, VS &sp, VS &lp, VS &sm, VS &lm) {
  VS s, r = exp_float_reduce<kLa>(a, s), r2 = _mm_mul_ps(r, r), r3 = _mm_mul_ps(r, r2), odd, even;
  if constexpr (kLa) {
    const float *g = kExpFloatLa;
    odd = _mm_add_ps(r, _mm_mul_ps(r3, _mm_add_ps(_mm_set1_ps(g[1]), _mm_mul_ps(r2, _mm_set1_ps(g[3])))));
    VS g24 = _mm_add_ps(_mm_set1_ps(g[2]), _mm_mul_ps(r2, _mm_set1_ps(g[4])));
    even = _mm_mul_ps(r2, _mm_add_ps(_mm_set1_ps(g[0]), _mm_mul_ps(r2, g24)));
  } else {
    const float *g = kExpFloatEp;
    odd = _mm_add_ps(r, _mm_mul_ps(r3, _mm_set1_ps(g[1])));
    even = _mm_mul_ps(r2, _mm_add_ps(_mm_set1_ps(g[0]), _mm_mul_ps(r2, _mm_set1_ps(g[2]))));
  }
  // 2^n and 2^-n: n is the difference of the bits of s and of the shifter
  __m128i ni = _mm_sub_epi32(_mm_castps_si128(s), _mm_castps_si128(_mm_set1_ps(kShift23)));
  sp = _mm_castsi128_ps(_mm_slli_epi32(_mm_add_epi32(ni, _mm_set1_epi32(127)), 23));
  sm = _mm_castsi128_ps(_mm_slli_epi32(_mm_sub_epi32(_mm_set1_epi32(127), ni), 23));
  lp = _mm_mul_ps(sp, _mm_add_ps(odd, even));
  lm = _mm_mul_ps(sm, _mm_sub_ps(even, odd));
}

// sinh x or cosh x for |x| < 708.39 in double at level L (1 HA, else LA).
template <bool kCosh, int L>
ZYN_HYPER_INLINE VD sinhcosh_d(VD x) {
  VD a = abs_v(x), hp, lp, hm, lm;
  auto big = [&]() ZYN_HYPER_LAMBDA {
    exp_pm_d<L>(a, hp, lp, hm, lm);
    VD em = _mm_add_pd(hm, lm);
    return _mm_mul_pd(_mm_set1_pd(0.5), _mm_add_pd(hp, kCosh ? _mm_add_pd(lp, em) : _mm_sub_pd(lp, em)));
  };
  if constexpr (kCosh && L != 1) {  // e^a from dExp LA's arithmetic, e^-a its reciprocal
    __m128i n;
    VD r = exp_reduce128<ExpBase::E, true>(a, n), h = exp_scale128(n);
    VD e = _mm_add_pd(h, _mm_mul_pd(h, expm1_poly_la(r)));
    return _mm_mul_pd(_mm_set1_pd(0.5), _mm_add_pd(e, _mm_div_pd(_mm_set1_pd(1.0), e)));
  }
  if constexpr (!kCosh && L != 1) {  // hp - hm is exact while |n| <= 64, the scale of the result
    exp_pm_d<L>(a, hp, lp, hm, lm);
    return _mm_or_pd(_mm_mul_pd(_mm_set1_pd(0.5), _mm_add_pd(_mm_sub_pd(hp, hm), _mm_sub_pd(lp, lm))), sign_of(x));
  }
  auto small = [&]() ZYN_HYPER_LAMBDA {
    if constexpr (kCosh) {  // 1 + z/2 exactly in two parts, z = a^2 from Dekker's product
      VD p, pe, s, e;
      two_prod(a, a, p, pe);
      fast_two_sum(_mm_set1_pd(1.0), _mm_mul_pd(p, _mm_set1_pd(0.5)), s, e);
      VD c = _mm_mul_pd(_mm_mul_pd(p, p), estrin<data::kCoshDegHa>(p, data::cosh_ha));
      return _mm_add_pd(s, _mm_add_pd(e, _mm_add_pd(_mm_mul_pd(pe, _mm_set1_pd(0.5)), c)));
    }
    VD z = _mm_mul_pd(a, a);
    return _mm_add_pd(a, _mm_mul_pd(_mm_mul_pd(a, z), estrin<data::kSinhDegHa>(z, data::sinh_ha)));
  };
  VD y = pick(_mm_cmplt_pd(a, _mm_set1_pd(1.0)), small, big);
  return kCosh ? y : _mm_or_pd(y, sign_of(x));
}

// The same in float at LA (L 0) or EP (L 2), for |x| < 87: sinh as (sp - sm) + (lp - lm), where
// sp - sm is exact (2^n - 2^-n for |n| <= 11) and near 0 the terms keep the odd part.
template <bool kCosh, int L>
ZYN_HYPER_INLINE VS sinhcosh_f(VS x) {
  VS a = abs_v(x), sp, lp, sm, lm;
  exp_pm_f<L == 0>(a, sp, lp, sm, lm);
  if constexpr (kCosh) return _mm_mul_ps(_mm_set1_ps(0.5f), _mm_add_ps(_mm_add_ps(sp, sm), _mm_add_ps(lp, lm)));
  return _mm_or_ps(_mm_mul_ps(_mm_set1_ps(0.5f), _mm_add_ps(_mm_sub_ps(sp, sm), _mm_sub_ps(lp, lm))), sign_of(x));
}

// Any double: NaN, infinities and |x| from 708.39; below, the HA vector arithmetic.
template <bool kCosh>
int sinhcosh_scalar_d(double x, double *y) {
  const double a = std::fabs(x);
  if (!(a < kExpLimit)) {
    double v;
    int status = STATUS_OK;
    if (std::isnan(x)) {
      v = x + x;
    } else if (std::isinf(x)) {
      v = a;
    } else if (a > 711) {
      v = runtime_mul(0x1p1000, 0x1p1000);
      status = STATUS_OVERFLOW;
    } else {  // e^a / 2: one less in the exponent
      double kd = round_shift(a * kInvLn2N64);
      v = exp64_finish(kd - 64, (a - kd * kLn2N64High) - kd * kLn2N64Low);
      if (std::isinf(v)) status = STATUS_OVERFLOW;
    }
    *y = kCosh ? v : std::copysign(v, x);
    return status;
  }
  *y = one_lane(x, [](VD v) ZYN_HYPER_LAMBDA { return sinhcosh_d<kCosh, 1>(v); });
  return STATUS_OK;
}

template <class T, bool kCosh, int L>  // L: 0 LA, 1 HA, 2 EP
struct SinhCosh : Row<T, sinhcosh_scalar_d<kCosh>> {
  using V = typename Policy<T>::V;
  static constexpr bool kD = std::is_same_v<T, double>;
  static constexpr const char *kName = kD ? (kCosh ? "vdCosh" : "vdSinh") : (kCosh ? "vsCosh" : "vsSinh");
  static int bad(const V *x) {
    if constexpr (kD) return bad_abs_d(x[0], kExpLimit);
    else return bad_abs_s(x[0], 87.0f);
  }
  ZYN_HYPER_EVAL static void eval(const V *x, V *r) {
    if constexpr (kD) r[0] = sinhcosh_d<kCosh, L>(x[0]);
    else if constexpr (L == 1) r[0] = via_double(x[0], [](VD v) ZYN_HYPER_LAMBDA { return sinhcosh_d<kCosh, 0>(v); });
    else r[0] = sinhcosh_f<kCosh, L>(x[0]);
  }
};

using DSinhHa = SinhCosh<double, false, 1>;
using DSinhLa = SinhCosh<double, false, 0>;
using DCoshHa = SinhCosh<double, true, 1>;
using DCoshLa = SinhCosh<double, true, 0>;
using SSinhLa = SinhCosh<float, false, 0>;
using SSinhHa = SinhCosh<float, false, 1>;
using SSinhEp = SinhCosh<float, false, 2>;
using SCoshLa = SinhCosh<float, true, 0>;
using SCoshHa = SinhCosh<float, true, 1>;
using SCoshEp = SinhCosh<float, true, 2>;

}  // namespace
}  // namespace zyn::vk::hyper

namespace zyn::vk {
using namespace hyper;
ZYN_UNARY_KERNELS(dSinh, HA, DSinhHa)
ZYN_UNARY_KERNELS(dSinh, EP, DSinhLa)  // serves LA and EP
ZYN_UNARY_KERNELS(dCosh, HA, DCoshHa)
ZYN_UNARY_KERNELS(dCosh, EP, DCoshLa)  // serves LA and EP
ZYN_UNARY_LEVELS3(sSinh, SSinh)
ZYN_UNARY_LEVELS3(sCosh, SCosh)
}  // namespace zyn::vk
