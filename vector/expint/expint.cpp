// ExpInt1, E1(x) = integral from x to infinity of e^-t / t dt, double and single: one kernel for
// LA and HA and one for EP.
//
// From the pieces of expint_data.hpp, f = k0 + K(u):
//   x < 1:  E1(x) = -ln x + f on sixteenths, ln x as the HA logarithm's parts, -ln x + k0 + K
//           by exact sums;
//   x >= 1: E1(x) = e^-x f on eighth binades, e^-x = scale (1 + q) from the exponential's
//           table, scale k0 exact (Dekker), so that the result is rounded once.
// Double HA (and LA) evaluates this with the full tables; double EP and single HA with the lite
// tables (below 2^-32) in plain double arithmetic, single HA rounded once; single EP in float.
// Arguments from 650 (double; 80 single) take the scalar path, which scales e^-x by 2^600 and
// back, so that the low parts stay normal; results below the smallest normal round once more on
// the denormal grid.
//
// Statuses: x < 0 (-inf too) NaN with STATUS_DOMAIN; +-0 +inf with STATUS_SINGULARITY; +inf
// gives +0; results below the smallest normal (x above about 701.8 double, 82.9 single) the
// denormal or +0 with STATUS_UNDERFLOW.
#include <cfloat>
#include <cmath>

#include "frame/kernels.hpp"
#include "vector/explog/exp_core.hpp"
#include "vector/explog/ln_core.hpp"
#include "vector/expint/expint_data.hpp"
#include "vector/powx/powx_core.hpp"
#include "vector/roots/policy.hpp"
#include "vector/trig/dd.hpp"

namespace zyn::vk::expint {
namespace {
using V = __m128d;
using dd::set;

constexpr double kEulerGamma = 0x1.2788cfc6fb619p-1;
constexpr long long kBias = 600;  // scalar path: 2^600 e^-x is normal up to x = 746

template <bool kFull>
const auto *pieces() {
  if constexpr (kFull) return data::expint_pieces;
  else return data::expint_pieces_lite;
}

// E1(x) 2^kScale for lanes 0 < x < 1024 with 2^kScale e^-x normal (other lanes: any value).
template <bool kFull, long long kScale>
inline V e1(V x) {
  constexpr int kDeg = kFull ? data::kExpIntDeg : data::kExpIntDegLite;
  x = _mm_min_pd(_mm_max_pd(x, set(DBL_MIN)), set(1000.0));  // indices in range, NaN too
  const V small = _mm_cmplt_pd(x, set(1.0));
  const int m = _mm_movemask_pd(small);
  // piece: j = floor(16x) below 1, else 16 + 8 e + (top three fraction bits)
  constexpr int kLog = data::kExpIntLogPieces;
  const __m128i js = _mm_cvttpd_epi32(_mm_mul_pd(x, set(kLog)));
  const __m128i jb = _mm_sub_epi64(_mm_srli_epi64(_mm_castpd_si128(x), 49), _mm_set1_epi64x((0x3ff << 3) - kLog));
  const int j0 = m & 1 ? _mm_cvtsi128_si32(js) : _mm_cvtsi128_si32(jb);
  const int j1 = m & 2 ? _mm_extract_epi32(js, 1) : _mm_extract_epi32(jb, 2);
  V k0, k;
  piece_eval<kDeg>(pieces<kFull>(), j0, j1, x, k0, k);
  V ys = _mm_setzero_pd(), yb = _mm_setzero_pd();
  if (m != 0) {  // -ln x + f
    const V kx = ln_biased_exponent(x);
    V lh, ll;
    if constexpr (kFull) {
      ln_parts<true, true>(x, kx, lh, ll);
      // k0 - lh + k by exact sums, the small parts added and the result rounded once
      V s, e, s2, e2;
      dd::two_sum(k0, _mm_sub_pd(_mm_setzero_pd(), lh), s, e);
      dd::two_sum(s, k, s2, e2);
      ys = _mm_add_pd(s2, _mm_sub_pd(_mm_add_pd(e, e2), ll));
    } else {
      ln_parts_ep<3>(x, kx, lh, ll);
      ys = _mm_sub_pd(_mm_add_pd(k0, k), _mm_add_pd(lh, ll));
    }
  }
  if (m != 3) {  // e^-x f
    __m128i nbits;
    const V nx = _mm_sub_pd(_mm_setzero_pd(), x);
    if constexpr (kFull) {
      V r = exp_reduce128<ExpBase::E, false>(nx, nbits), scale, tail;
      exp_lookup128(_mm_add_epi64(nbits, _mm_set1_epi64x(kScale * 128)), scale, tail);
      const V q = expm1_poly(r, tail);
      V ph, pl;
      dd::two_prod(scale, k0, ph, pl);
      yb = _mm_add_pd(ph, _mm_add_pd(pl, _mm_mul_pd(scale, _mm_add_pd(k, _mm_mul_pd(_mm_add_pd(k0, k), q)))));
    } else {
      V r = exp_reduce128<ExpBase::E, false, true>(nx, nbits);
      const V scale = exp_scale128(_mm_add_epi64(nbits, _mm_set1_epi64x(kScale * 128)));
      const V f = _mm_add_pd(k0, k);
      yb = _mm_mul_pd(scale, _mm_add_pd(f, _mm_mul_pd(f, expm1_poly_ep(r))));
    }
  }
  return _mm_blendv_pd(yb, ys, small);
}

template <bool kDouble, bool kFull>
struct ExpInt1F {
  static constexpr const char *kName = kDouble ? "vdExpInt1" : "vsExpInt1";
  // double: from 650 on, the parts of e^-x f below the result's last bit would fall below
  // 2^-1022 and lose bits (1.0 ulp next to 700); the scalar path scales them up
  static constexpr double kMin = kDouble ? DBL_MIN : FLT_MIN, kMax = kDouble ? 650.0 : 80.0;
  static V eval_d(V x) { return e1<kFull, 0>(x); }
  static int bad_d(V x) {
    return _mm_movemask_pd(_mm_and_pd(_mm_cmpge_pd(x, set(kMin)), _mm_cmplt_pd(x, set(kMax)))) ^ 3;
  }
  static int scalar(double x, double *r) {
    if (std::isnan(x) || x == HUGE_VAL) {
      *r = std::isnan(x) ? x + x : 0.0;
      return 0;
    }
    if (x < 0) {
      *r = runtime_div(0.0, 0.0);
      return STATUS_DOMAIN;
    }
    if (x == 0) {
      *r = HUGE_VAL;
      return STATUS_SINGULARITY;
    }
    double v;
    if (x < kMin) {  // -ln x - gamma + x ...: the rest is below 2^-126 of the result
      const powx::DD l = powx::ln_dd(x);
      v = -l.h + (-l.l - kEulerGamma);
    } else if (x > (kDouble ? 746.0 : 110.0)) {
      v = runtime_mul(0x1p-1000, 0x1p-1000);
    } else if (kDouble) {
      v = runtime_mul(_mm_cvtsd_f64(e1<kFull, kBias>(set(x))), std::ldexp(1.0, -kBias));
    } else {
      v = eval_one<ExpInt1F>(x);
    }
    *r = v;
    const double rounded = kDouble ? v : static_cast<double>(static_cast<float>(v));
    return rounded < kMin ? STATUS_UNDERFLOW : 0;
  }
};

// Single EP in float on four lanes, without a table: -ln x + P(x) below 1 and e^-x t G(t),
// t = 1/x, from 1 on (expint_data.hpp), with the LA logarithm (within 4 ulp) and the EP
// exponential (2^-16.4) of the single rows: below 2^-15 relative.
struct ExpInt1SEp : ExpInt1F<false, false> {
  static __m128 horner_s(__m128 v, const float *c, int deg) {
    __m128 p = _mm_set1_ps(c[0]);
    for (int i = 1; i <= deg; ++i) p = _mm_add_ps(_mm_mul_ps(p, v), _mm_set1_ps(c[i]));
    return p;
  }
  static __m128 eval_s(__m128 x) {
    const __m128 one = _mm_set1_ps(1.0f), small = _mm_cmplt_ps(x, one);
    const int m = _mm_movemask_ps(small);  // each side only when a lane needs it
    __m128 ys = one, yb = one;
    if (m != 0) ys = _mm_sub_ps(horner_s(x, data::expint_ep_small, data::kExpIntEpSmallDeg), ln_single<kSLnLa>(x));
    if (m != 15) {
      const __m128 t = _mm_div_ps(one, x);
      const __m128 g = _mm_mul_ps(t, horner_s(t, data::expint_ep_large, data::kExpIntEpLargeDeg));
      yb = _mm_mul_ps(exp_float<false, false>(_mm_sub_ps(_mm_setzero_ps(), x)), g);
    }
    return _mm_blendv_ps(yb, ys, small);
  }
  static int bad_s(__m128 x) {
    return _mm_movemask_ps(_mm_and_ps(_mm_cmpge_ps(x, _mm_set1_ps(FLT_MIN)), _mm_cmplt_ps(x, _mm_set1_ps(80.0f)))) ^ 15;
  }
};

using DHa = UnaryK<double, ExpInt1F<true, true>>;
using DEp = UnaryK<double, ExpInt1F<true, false>>;
using SHa = UnaryK<float, ExpInt1F<false, false>>;
using SEp = UnaryK<float, ExpInt1SEp>;
}  // namespace

ZYN_UNARY_KERNELS(dExpInt1, HA, DHa)
ZYN_UNARY_KERNELS(dExpInt1, EP, DEp)
ZYN_UNARY_KERNELS(sExpInt1, HA, SHa)
ZYN_UNARY_KERNELS(sExpInt1, EP, SEp)

}  // namespace zyn::vk::expint
