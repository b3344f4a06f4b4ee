// Inverse hyperbolic functions Asinh, Acosh, Atanh, double and single, from one template.
//
// Double HA: the logarithm of W, carried as a double-double, on the logarithm's HA parts:
// ln(Wh + Wl) = ln Wh + Wl/Wh joined with the rounding error kept, which is log1p's arithmetic
// where W is near 1 (ln_core.hpp), so results near 0 keep their relative accuracy.
//   asinh a = ln W, W = a + sqrt(a^2 + 1)   (below 4: a^2 by Dekker, the root corrected once)
//   acosh x = ln W, W = x + sqrt(x^2 - 1)   (x^2 - 1 exact in two parts; below 1 + 2^-20 a series)
//   atanh a = ln W / 2, W = (1 + a) / (1 - a)   (the quotient corrected once)
//   From 2^28 asinh and acosh take ln a + ln 2 (the exponent raised by one); below 2^-12 asinh
//   and atanh take their series to a^5 (at every level and in both types).
// Double LA (dAsinh and dAcosh: also EP): below 2 the log1p forms
//   asinh a = log1p(a + a^2 / (1 + sqrt(a^2 + 1))), acosh x = log1p(t + sqrt(2t + t^2)), t = x - 1,
// at and above 2 the logarithm of a + sqrt(a^2 +- 1) rounded; atanh a = log1p(2a / (1 - a)) / 2,
// at EP on the cheap logarithm.
// Single: HA through the double EP arithmetic (below 2^-30 absolute), rounded once; LA and EP in
// float, the same forms on the single logarithm and log1p (with the polynomials of sLn HA and
// EP), from 2^12 ln a + ln 2.
// Bad lanes, to the scalar path: Asinh NaN and infinities (+-inf, no status); Acosh all but
// 1 <= x <= max (x < 1 and minus infinity NaN with STATUS_DOMAIN, plus infinity itself);
// Atanh all but |x| < 1 (+-1: +-inf with STATUS_SINGULARITY; beyond: NaN with STATUS_DOMAIN).
// NaN gives NaN without status.
// Measured worst errors (10^6 inputs, docs/accuracy.md): dAsinh HA 0.664 ulp (at
// -0x1.69b8159ad604ep+4), LA/EP 2.54 ulp; dAcosh HA 0.623 ulp (at 0x1.1cd7a687ab1f1p+2), LA/EP
// 2.62 ulp; dAtanh HA 0.500 ulp, LA 2.82 ulp, EP 26.5 bits; single HA at most 0.587 ulp (sAsinh
// at -0x1.12fd8ep-11), LA at most 2.43 ulp, EP 12.8 bits.
#include "vector/hyper/hyper_core.hpp"

namespace zyn::vk::hyper {
namespace {

enum class Fn { Asinh, Acosh, Atanh };

constexpr double kHugeD = 0x1p28, kHugeS = 0x1p12, kSmall = 0x1p-12;

// Below 2^-12 asinh a = a - a^3/6 + 3a^5/40 and atanh a = a + a^3/3 + a^5/5, the next terms
// below 2^-72 of the result; there the logarithm's absolute error (about 2^-81 near 1) would
// show. `main` runs only for vectors with a lane at or above 2^-12.
template <Fn F, class W, class G>
ZYN_HYPER_INLINE W series_below(W a, G main) {
  auto series = [&]() ZYN_HYPER_LAMBDA {
    constexpr double c3 = F == Fn::Asinh ? -1.0 / 6 : 1.0 / 3, c5 = F == Fn::Asinh ? 3.0 / 40 : 1.0 / 5;
    W z = mul(a, a);
    return add(a, mul(mul(a, z), add(splat(a, c3), mul(z, splat(a, c5)))));
  };
  return pick(lt(a, splat(a, kSmall)), series, main);
}

// acosh x below 1 + 2^-20, where the result (below 2^-9.5) would show the logarithm's absolute
// error near 1 (about 2^-80): sqrt(2t) (1 - t/12 + 3t^2/160), t = x - 1, the next term below
// 2^-62 of the result, with the root as a double-double. Out of line: it is rarely needed.
__attribute__((noinline)) VD acosh_near(VD x) {
  VD t = _mm_sub_pd(x, _mm_set1_pd(1.0)), rt, rc;
  sqrt_dd(_mm_add_pd(t, t), _mm_setzero_pd(), rt, rc);
  VD q = _mm_mul_pd(t, _mm_add_pd(_mm_set1_pd(-1.0 / 12), _mm_mul_pd(t, _mm_set1_pd(3.0 / 160))));
  return _mm_add_pd(rt, _mm_add_pd(rc, _mm_mul_pd(rt, q)));
}

// The double HA arithmetic; for Asinh and Atanh of |x| (sign put back by the caller).
template <Fn F>
ZYN_HYPER_INLINE VD inv_ha(VD a) {
  VD wh, wl, k;
  if constexpr (F == Fn::Atanh) {
    VD nh, nl, dh, dl, m, me;
    two_sum(_mm_set1_pd(1.0), a, nh, nl);
    fast_two_sum(_mm_set1_pd(1.0), _mm_sub_pd(_mm_setzero_pd(), a), dh, dl);
    VD inv = _mm_div_pd(_mm_set1_pd(1.0), dh);
    wh = _mm_mul_pd(nh, inv);
    two_prod(wh, dh, m, me);  // nh - m is exact: m is within two ulps of nh
    wl = _mm_mul_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(nh, m), me), _mm_sub_pd(nl, _mm_mul_pd(wh, dl))), inv);
    k = ln_biased_exponent(wh);
    return _mm_mul_pd(_mm_set1_pd(0.5), ln_dd<1>(wh, wl, k));
  } else {
    VD huge = _mm_cmpge_pd(a, _mm_set1_pd(kHugeD));
    VD ac = _mm_min_pd(a, _mm_set1_pd(kHugeD));
    const VD one = _mm_set1_pd(F == Fn::Asinh ? 1.0 : -1.0);
    auto exact = [&]() ZYN_HYPER_LAMBDA {
      VD p, pe, sh, sl, s, sc;
      two_prod(ac, ac, p, pe);
      two_sum(p, one, sh, sl);
      sqrt_dd(sh, _mm_add_pd(sl, pe), s, sc);
      if constexpr (F == Fn::Asinh) fast_two_sum(s, ac, wh, wl);  // s > a
      else fast_two_sum(ac, s, wh, wl);                          // x > s
      return _mm_add_pd(wl, sc);
    };
    // From 4 (results above 2.09) the root rounded is enough: its error, at most 1.5 ulp, comes
    // to W halved and to the result as below 0.2 ulp.
    auto rounded = [&]() ZYN_HYPER_LAMBDA {
      VD s = _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(ac, ac), one));
      if constexpr (F == Fn::Asinh) fast_two_sum(s, ac, wh, wl);
      else fast_two_sum(ac, s, wh, wl);
      return wl;
    };
    VD near = _mm_cmplt_pd(a, _mm_set1_pd(4.0));
    const int m = _mm_movemask_pd(near);
    if (m == 3) {
      wl = exact();
    } else if (m == 0) {
      wl = rounded();
    } else {
      VD l1 = rounded(), h1 = wh;
      VD l0 = exact();
      wh = _mm_blendv_pd(h1, wh, near);
      wl = _mm_blendv_pd(l1, l0, near);
    }
    wh = _mm_blendv_pd(wh, a, huge);
    wl = _mm_andnot_pd(huge, wl);
    k = _mm_add_pd(ln_biased_exponent(wh), _mm_and_pd(huge, _mm_set1_pd(1.0)));
    VD y = ln_dd<1>(wh, wl, k);
    if constexpr (F == Fn::Acosh) {
      VD near = _mm_cmplt_pd(a, _mm_set1_pd(1 + 0x1p-20));
      if (__builtin_expect(_mm_movemask_pd(near) != 0, 0)) y = _mm_blendv_pd(y, acosh_near(a), near);
    }
    return y;
  }
}

// The LA (L 0) and EP (L 2) arithmetic, double or float: the log1p forms below 2, the
// logarithm of a + sqrt(a^2 +- 1) above, ln a + ln 2 from 2^28 (float 2^12).
ZYN_HYPER_INLINE VD log1p_at(VD u, std::integral_constant<int, 0>) { return log1p_d<0>(u); }
ZYN_HYPER_INLINE VD log1p_at(VD u, std::integral_constant<int, 2>) { return log1p_d<2>(u); }
ZYN_HYPER_INLINE VS log1p_at(VS u, std::integral_constant<int, 0>) { return log1p_single<kSLnHa>(u); }
ZYN_HYPER_INLINE VS log1p_at(VS u, std::integral_constant<int, 2>) { return log1p_single<kSLnEp>(u); }
template <int L>
ZYN_HYPER_INLINE VD ln_huge(VD w, VD huge) {
  VD hi, lo;
  log_parts<L>(w, _mm_add_pd(ln_biased_exponent(w), _mm_and_pd(huge, _mm_set1_pd(1.0))), hi, lo);
  return _mm_add_pd(hi, lo);
}
template <int L>
ZYN_HYPER_INLINE VS ln_huge(VS w, VS huge) {
  return _mm_add_ps(ln_single<L == 0 ? kSLnHa : kSLnEp>(w), _mm_and_ps(huge, _mm_set1_ps(0x1.62e43p-1f)));
}
inline double huge_of(VD) { return kHugeD; }
inline double huge_of(VS) { return kHugeS; }

template <Fn F, int L, class W>
ZYN_HYPER_INLINE W inv_lo(W a) {
  using Lv = std::integral_constant<int, L>;
  const W one = splat(a, 1.0);
  if constexpr (F == Fn::Atanh) {
    return mul(splat(a, 0.5), log1p_at(div_v(add(a, a), sub(one, a)), Lv{}));
  } else {
    auto small = [&]() ZYN_HYPER_LAMBDA {
      if constexpr (F == Fn::Asinh) {
        W z = mul(a, a);
        return log1p_at(add(a, div_v(z, add(sqrt_v(add(z, one)), one))), Lv{});
      } else {
        W t = sub(a, one);
        return log1p_at(add(t, sqrt_v(add(add(t, t), mul(t, t)))), Lv{});
      }
    };
    auto large = [&]() ZYN_HYPER_LAMBDA {
      W huge = cmp_nlt(a, splat(a, huge_of(a))), ac = min_v(a, splat(a, huge_of(a)));
      W w = add(ac, sqrt_v(add(mul(ac, ac), splat(a, F == Fn::Asinh ? 1.0 : -1.0))));
      return ln_huge<L>(blend(w, a, huge), huge);
    };
    return pick(lt(a, splat(a, 2.0)), small, large);
  }
}

// x in, result out, at level L (0 LA, 1 HA (double only), 2 EP) for lanes that are not bad.
template <Fn F, int L, class W>
ZYN_HYPER_INLINE W inv_v(W x) {
  auto main = [](W a) ZYN_HYPER_LAMBDA {
    if constexpr (L == 1) return inv_ha<F>(a);
    else return inv_lo<F, L>(a);
  };
  if constexpr (F == Fn::Acosh) return main(x);
  W a = abs_v(x);
  return or_v(series_below<F>(a, [&]() ZYN_HYPER_LAMBDA { return main(a); }), sign_of(x));
}

// Any double, at HA.
template <Fn F>
int inv_scalar_d(double x, double *y) {
  if (std::isnan(x)) {
    *y = x + x;
    return STATUS_OK;
  }
  if (F == Fn::Asinh && std::isinf(x)) {
    *y = x;
    return STATUS_OK;
  }
  if (F == Fn::Acosh && !(x >= 1)) {
    *y = runtime_div(0.0, 0.0);
    return STATUS_DOMAIN;
  }
  if (F == Fn::Acosh && std::isinf(x)) {
    *y = x;
    return STATUS_OK;
  }
  if (F == Fn::Atanh && std::fabs(x) >= 1) {
    if (std::fabs(x) > 1) {
      *y = runtime_div(0.0, 0.0);
      return STATUS_DOMAIN;
    }
    *y = runtime_div(x, 0.0);
    return STATUS_SINGULARITY;
  }
  *y = one_lane(x, [](VD v) ZYN_HYPER_LAMBDA { return inv_v<F, 1>(v); });
  return STATUS_OK;
}

template <class T, Fn F, int L>
struct Inv : Row<T, inv_scalar_d<F>> {
  using V = typename Policy<T>::V;
  static constexpr bool kD = std::is_same_v<T, double>;
  static constexpr T kPad[1] = {T(F == Fn::Acosh ? 1.5 : 0.75)};
  static constexpr const char *kName = F == Fn::Asinh ? (kD ? "vdAsinh" : "vsAsinh")
                                       : F == Fn::Acosh ? (kD ? "vdAcosh" : "vsAcosh")
                                                        : (kD ? "vdAtanh" : "vsAtanh");
  static int bad(const V *x) {
    const T big = kD ? DBL_MAX : FLT_MAX;
    const V v = x[0], a = abs_v(v);
    if constexpr (F == Fn::Asinh) return mask_of(cmp_nle(a, splat(v, big)));
    else if constexpr (F == Fn::Acosh) return mask_of(or_v(cmp_nge(v, splat(v, 1.0)), cmp_nle(v, splat(v, big))));
    else return mask_of(cmp_nlt(a, splat(v, 1.0)));
  }
  ZYN_HYPER_EVAL static void eval(const V *x, V *r) {
    if constexpr (!kD && L == 1) r[0] = via_double(x[0], [](VD v) ZYN_HYPER_LAMBDA { return inv_v<F, 2>(v); });
    else r[0] = inv_v<F, L>(x[0]);
  }
};

using DAsinhHa = Inv<double, Fn::Asinh, 1>;
using DAsinhLa = Inv<double, Fn::Asinh, 0>;
using DAcoshHa = Inv<double, Fn::Acosh, 1>;
using DAcoshLa = Inv<double, Fn::Acosh, 0>;
using DAtanhLa = Inv<double, Fn::Atanh, 0>;
using DAtanhHa = Inv<double, Fn::Atanh, 1>;
using DAtanhEp = Inv<double, Fn::Atanh, 2>;
using SAsinhLa = Inv<float, Fn::Asinh, 0>;
using SAsinhHa = Inv<float, Fn::Asinh, 1>;
using SAsinhEp = Inv<float, Fn::Asinh, 2>;
using SAcoshLa = Inv<float, Fn::Acosh, 0>;
using SAcoshHa = Inv<float, Fn::Acosh, 1>;
using SAcoshEp = Inv<float, Fn::Acosh, 2>;
using SAtanhLa = Inv<float, Fn::Atanh, 0>;
using SAtanhHa = Inv<float, Fn::Atanh, 1>;
using SAtanhEp = Inv<float, Fn::Atanh, 2>;

}  // namespace
}  // namespace zyn::vk::hyper

namespace zyn::vk {
using namespace hyper;
ZYN_UNARY_KERNELS(dAsinh, HA, DAsinhHa)
ZYN_UNARY_KERNELS(dAsinh, EP, DAsinhLa)  // serves LA and EP
ZYN_UNARY_KERNELS(dAcosh, HA, DAcoshHa)
ZYN_UNARY_KERNELS(dAcosh, EP, DAcoshLa)  // serves LA and EP
ZYN_UNARY_LEVELS3(dAtanh, DAtanh)
ZYN_UNARY_LEVELS3(sAsinh, SAsinh)
ZYN_UNARY_LEVELS3(sAcosh, SAcosh)
ZYN_UNARY_LEVELS3(sAtanh, SAtanh)
}  // namespace zyn::vk
