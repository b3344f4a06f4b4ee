// Hyperbolic tangent, double and single, from one template: tanh a = E / (E + 2) with
// E = e^(2a) - 1, a = |x| taken no higher than 22 (double) or 10 (single), where the result
// rounds to 1, and the sign put back.
//   Double HA: E = Eh + El from the HA arithmetic of Expm1 (exp_core.hpp), normalized; D = E + 2 as
//              a two-sum, q = Eh (1/Dh) corrected once by the exact residual (Eh - q Dh from
//              Dekker's product, + El - q Dl) (1/Dh).
//   Double LA (serves EP too): E = Eh + El, then one quotient.
//   Single HA: double arithmetic without a table (the single exponential's HA step), rounded once.
//   Single LA (serves EP too): the float exponential minus one, one float quotient.
// Vectors whose lanes are all at or above 20 (single 10) give +-1 without the arithmetic.
// No bad lanes: the minimum keeps a NaN (it returns its second operand), which gives a NaN; the
// infinities give +-1. No status.
// Measured worst errors (10^6 inputs, docs/accuracy.md): dTanh HA 0.520 ulp (at
// -0x1.d348e1bb0b34p-4), LA/EP 2.13 ulp; sTanh HA 0.500 ulp, LA/EP 2.29 ulp.
#include "vector/hyper/hyper_core.hpp"

namespace zyn::vk::hyper {
namespace {

template <int L>  // 1 HA, else LA
ZYN_HYPER_INLINE VD tanh_e(VD x) {
  VD a = _mm_min_pd(_mm_set1_pd(22.0), abs_v(x));
  VD eh, el;
  expm1_ha_parts(_mm_add_pd(a, a), eh, el);
  VD y;
  if constexpr (L == 1) {
    VD dh, dl, p, pe;
    fast_two_sum(eh, el, eh, el);
    two_sum(eh, _mm_set1_pd(2.0), dh, dl);
    dl = _mm_add_pd(dl, el);
    VD inv = _mm_div_pd(_mm_set1_pd(1.0), dh);
    VD q = _mm_mul_pd(eh, inv);
    two_prod(q, dh, p, pe);  // eh - p is exact: q dh is within a few ulps of eh
    VD r = _mm_add_pd(_mm_sub_pd(_mm_sub_pd(eh, p), pe), _mm_sub_pd(el, _mm_mul_pd(q, dl)));
    y = _mm_add_pd(q, _mm_mul_pd(r, inv));
  } else {
    VD e = _mm_add_pd(eh, el);
    y = _mm_div_pd(e, _mm_add_pd(e, _mm_set1_pd(2.0)));
  }
  return y;
}
// From 20 (single: 10) the result is 1: vectors with every lane there skip the arithmetic.
template <int L>
ZYN_HYPER_INLINE VD tanh_d(VD x) {
  auto e_path = [&]() ZYN_HYPER_LAMBDA { return tanh_e<L>(x); };
  VD y = pick(_mm_cmpnge_pd(abs_v(x), _mm_set1_pd(20.0)), e_path, []() ZYN_HYPER_LAMBDA { return _mm_set1_pd(1.0); });
  return _mm_or_pd(y, sign_of(x));
}

// Single at HA: 2^t - 1 for t = 2a log2(e) in double, error below 2^-50.
ZYN_HYPER_INLINE VD tanh_wide(VD x) {
  VD a = _mm_min_pd(_mm_set1_pd(10.0), abs_v(x));
  VD e = exp2_wide<true>(_mm_mul_pd(a, _mm_set1_pd(2 * kLog2e)));
  return _mm_or_pd(_mm_div_pd(e, _mm_add_pd(e, _mm_set1_pd(2.0))), sign_of(x));
}

ZYN_HYPER_INLINE VS tanh_f(VS x) {
  auto e_path = [&]() ZYN_HYPER_LAMBDA {
    VS a = _mm_min_ps(_mm_set1_ps(10.0f), abs_v(x));
    VS e = exp_float<true, true>(_mm_add_ps(a, a));
    return _mm_div_ps(e, _mm_add_ps(e, _mm_set1_ps(2.0f)));
  };
  VS y = pick(_mm_cmpnge_ps(abs_v(x), _mm_set1_ps(10.0f)), e_path, []() ZYN_HYPER_LAMBDA { return _mm_set1_ps(1.0f); });
  return _mm_or_ps(y, sign_of(x));
}

int tanh_scalar_d(double x, double *y) {
  *y = one_lane(x, [](VD v) ZYN_HYPER_LAMBDA { return tanh_d<1>(v); });
  return STATUS_OK;
}

template <class T, int L>
struct Tanh : Row<T, tanh_scalar_d> {
  using V = typename Policy<T>::V;
  static constexpr bool kD = std::is_same_v<T, double>;
  static constexpr const char *kName = kD ? "vdTanh" : "vsTanh";
  static int bad(const V *) { return 0; }
  ZYN_HYPER_EVAL static void eval(const V *x, V *r) {
    if constexpr (kD) r[0] = tanh_d<L>(x[0]);
    else if constexpr (L == 1) r[0] = via_double(x[0], [](VD v) ZYN_HYPER_LAMBDA { return tanh_wide(v); });
    else r[0] = tanh_f(x[0]);
  }
};

using DTanhHa = Tanh<double, 1>;
using DTanhLa = Tanh<double, 0>;
using STanhHa = Tanh<float, 1>;
using STanhLa = Tanh<float, 0>;

}  // namespace
}  // namespace zyn::vk::hyper

namespace zyn::vk {
using namespace hyper;
ZYN_UNARY_KERNELS(dTanh, HA, DTanhHa)
ZYN_UNARY_KERNELS(dTanh, EP, DTanhLa)  // serves LA and EP
ZYN_UNARY_KERNELS(sTanh, HA, STanhHa)
ZYN_UNARY_KERNELS(sTanh, EP, STanhLa)  // serves LA and EP
}  // namespace zyn::vk
