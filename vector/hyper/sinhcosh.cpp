// Hyperbolic sine and cosine, double and single, from one template.
//
// Double, block 8, a = |x| below 708.39 (the exponential's vector range):
//   a >= 1: e^a = h + l from the exponential's N = 128 table (h = 2^m T_hi exact, l = h tmp;
//           at HA with the table's tail and degree 5, at LA degree 4 and no tail), then
//           (h + (l -+ 1/(h + l))) / 2: e^-a is at most e^-2 of e^a, so its rounding stays small.
//   a < 1:  sinh = a + a z S(z), z = a^2 (hyper_data.hpp: S below 2^-56);
//           cosh at HA = 1 + z/2 + z^2 C(z) with z = a^2 and 1 + z/2 exact in two parts (C below
//           2^-58); cosh at LA takes the exponential form everywhere.
//   dSinh and dCosh have one kernel for LA and EP (the LA arithmetic).
// Single, block 16: HA through the double LA arithmetic, rounded once; LA and EP in float on the
// single exponential (exp_core.hpp), (e^a -+ 1/e^a) / 2 with a quotient (LA) or the hardware
// reciprocal (EP), and for sinh below 1 a + a z S(z) of degree 3 (LA) or 1 (EP).
// Bad lanes: |x| from 708.39 (single: 87) and NaN. The scalar path takes e^a / 2 there, with the
// halving in the exponent so that it overflows only where the result does: beyond
// 710.4758600739439 (single 89.41599) plus infinity and STATUS_OVERFLOW; infinities give
// infinities without status and NaN a NaN.
// Measured worst errors (10^6 inputs, docs/accuracy.md): see the table there; dSinh HA
// 0.000 ulp at 0x0p+0 (placeholder, updated after the sweep).
#include "vector/hyper/hyper_core.hpp"
#include "vector/hyper/hyper_data.hpp"

namespace zyn::vk::hyper {
namespace {

constexpr double kExpLimit = 0x1.6232ap+9;  // 708.39, as Exp

// e^a = h + l for 0 <= a < 708.39: h = 2^m T_hi exact and l = h tmp, at level L (1 HA, else LA).
template <int L>
inline void exp_parts(VD a, VD &h, VD &l) {
  __m128i n;
  VD tmp;
  if constexpr (L == 1) {
    VD tail;
    VD red = exp_reduce128<ExpBase::E, false>(a, n);
    exp_lookup128(n, h, tail);
    tmp = expm1_poly(red, tail);
  } else {
    VD red = exp_reduce128<ExpBase::E, true>(a, n);
    h = exp_scale128(n);
    tmp = expm1_poly_la(red);
  }
  l = _mm_mul_pd(h, tmp);
}

// sinh x or cosh x for |x| < 708.39 in double at level L (1 HA, else LA).
template <bool kCosh, int L>
inline VD sinhcosh_d(VD x) {
  VD a = abs_v(x);
  auto big = [&] {
    VD h, l;
    exp_parts<L>(a, h, l);
    VD inv = _mm_div_pd(_mm_set1_pd(1.0), _mm_add_pd(h, l));
    VD rest = kCosh ? _mm_add_pd(l, inv) : _mm_sub_pd(l, inv);
    return _mm_mul_pd(_mm_set1_pd(0.5), _mm_add_pd(h, rest));
  };
  if constexpr (kCosh && L != 1) {
    return big();
  } else {
    VD z = _mm_mul_pd(a, a);
    auto small = [&] {
      if constexpr (kCosh) {  // 1 + z/2 exactly in two parts, z = a^2 from Dekker's product
        VD p, pe, s, e;
        two_prod(a, a, p, pe);
        fast_two_sum(_mm_set1_pd(1.0), _mm_mul_pd(p, _mm_set1_pd(0.5)), s, e);
        VD c = _mm_mul_pd(_mm_mul_pd(p, p), estrin<data::kCoshDegHa>(p, data::cosh_ha));
        return _mm_add_pd(s, _mm_add_pd(e, _mm_add_pd(_mm_mul_pd(pe, _mm_set1_pd(0.5)), c)));
      }
      return _mm_add_pd(a, _mm_mul_pd(_mm_mul_pd(a, z), estrin<data::kSinhDeg>(z, data::sinh_d)));
    };
    VD y = pick(_mm_cmplt_pd(a, _mm_set1_pd(1.0)), small, big);
    return kCosh ? y : _mm_or_pd(y, sign_of(x));
  }
}

// The same in float at LA (L 0) or EP (L 2), for |x| < 87.
template <bool kCosh, int L>
inline VS sinhcosh_f(VS x) {
  VS a = abs_v(x);
  auto big = [&] {
    VS e = exp_float<L == 0, false>(a);
    VS inv = L == 0 ? _mm_div_ps(_mm_set1_ps(1.0f), e) : _mm_rcp_ps(e);
    return _mm_mul_ps(_mm_set1_ps(0.5f), kCosh ? _mm_add_ps(e, inv) : _mm_sub_ps(e, inv));
  };
  if constexpr (kCosh) {
    return big();
  } else {
    VS z = _mm_mul_ps(a, a);
    auto small = [&] {
      VS q = L == 0 ? estrin<data::kSinhDegSLa>(z, data::sinh_s_la) : estrin<data::kSinhDegSEp>(z, data::sinh_s_ep);
      return _mm_add_ps(a, _mm_mul_ps(_mm_mul_ps(a, z), q));
    };
    return _mm_or_ps(pick(_mm_cmplt_ps(a, _mm_set1_ps(1.0f)), small, big), sign_of(x));
  }
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
  *y = one_lane(x, sinhcosh_d<kCosh, 1>);
  return STATUS_OK;
}

template <class T, bool kCosh, int L>  // L: 0 LA, 1 HA, 2 EP
struct SinhCosh : Policy<T> {
  using V = typename Policy<T>::V;
  static constexpr bool kD = std::is_same_v<T, double>;
  static constexpr T kPad[1] = {T(0.75)};
  static constexpr const char *kName = kD ? (kCosh ? "vdCosh" : "vdSinh") : (kCosh ? "vsCosh" : "vsSinh");
  static int bad(const V *x) {
    if constexpr (kD) return bad_abs_d(x[0], kExpLimit);
    else return bad_abs_s(x[0], 87.0f);
  }
  static void eval(const V *x, V *r) {
    if constexpr (kD) r[0] = sinhcosh_d<kCosh, L>(x[0]);
    else if constexpr (L == 1) r[0] = via_double(x[0], sinhcosh_d<kCosh, 0>);
    else r[0] = sinhcosh_f<kCosh, L>(x[0]);
  }
  static int scalar(const T *x, T *r) {
    if constexpr (kD) return sinhcosh_scalar_d<kCosh>(*x, r);
    else return via_double_scalar<sinhcosh_scalar_d<kCosh>>(x, r);
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
