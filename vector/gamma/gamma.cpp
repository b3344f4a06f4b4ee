// LGamma (ln |Gamma x|) and TGamma (Gamma x), double and single, one kernel for all levels at
// HA accuracy.
//
// Positive arguments take the vector path, which forms lgamma x as a double-double hi + lo:
//   x < 8: the pieces of gamma_data.hpp: -ln x + f below 1/2, (x - 1) f and (x - 2) f around
//     the zeros at 1 and 2 (x - 1 and x - 2 are exact, so the relative accuracy holds next to
//     them), f above; products with the piece's k0 exact (Dekker), and ln x as the HA
//     logarithm's parts.
//   x >= 8: Stirling's series (x - 1/2)(ln x - 1) + c + S(x) with ln x = y + b, y exact on a
//     2^-37 grid (so y - 1 is exact and has at most 47 bits) and |b| < 2^-8. LGamma multiplies
//     y - 1 by the top 6 bits of x exactly and rounds the rest of the sum once (2^-56.4 of the
//     result); TGamma and the scalar paths take x (y - 1) exactly (Dekker) and keep the sum in
//     double-double.
// LGamma rounds hi + lo; TGamma takes e^(hi + lo) through the exponential's table scaled by
// 2^-1 and doubles it (so that results up to the largest double are formed without overflow),
// and gives (n - 1)! exactly for integers n up to 23. The single rows evaluate the same
// algorithm in double with the lite tables and plain sums (below 2^-32) and round once.
//
// Negative arguments take the scalar path in double-double: with x = n + r, |r| <= 1/2 exact,
//   ln |Gamma x| = ln pi - ln |x| - ln |sin(pi r)| - lgamma(-x),
// sin(pi r) in double-double from the Taylor series of the sine (|r| <= 1/4) or of the cosine of
// pi (1/2 - |r|) (below 2^-60); TGamma is e to that (rounded once, also on the denormal grid)
// with the sign of sin(pi x). Arguments with |x| < 2^-60 take 1/x - gamma and -ln |x| - gamma x.
//
// Statuses: LGamma 0 and negative integers +inf with STATUS_SINGULARITY, overflow (x above
// about 2.55e305 double, 4.09e36 single) +inf with STATUS_OVERFLOW; TGamma +-0 +-inf with
// STATUS_SINGULARITY, negative integers and -inf NaN with STATUS_DOMAIN, overflow (x above
// 171.62 double, 35.04 single, and tiny x whose 1/x overflows) the signed infinity with
// STATUS_OVERFLOW, negative x whose result is below the smallest normal the denormal or zero
// with STATUS_UNDERFLOW.
#include <cfloat>
#include <cmath>

#include "frame/kernels.hpp"
#include "vector/explog/exp_core.hpp"
#include "vector/explog/ln_core.hpp"
#include "vector/errfun/lanes.hpp"
#include "vector/gamma/gamma_data.hpp"
#include "vector/powx/powx_core.hpp"
#include "vector/roots/policy.hpp"
#include "vector/trig/dd.hpp"

namespace zyn::vk::gamma {
namespace {
using V = __m128d;
using dd::set;
using powx::DD;

constexpr double kEulerGamma = 0x1.2788cfc6fb619p-1;
constexpr double kPiHi = 0x1.921fb54442d18p+1, kPiLo = 0x1.1a62633145c07p-53;
constexpr double kLnPiHi = 0x1.250d048e7a1bdp+0, kLnPiLo = 0x1.7abf2ad8d5088p-57;

// The vector domains: lgamma finite and the Stirling products in range; Gamma finite.
constexpr double kLgammaMaxD = 0x1p1000, kLgammaMaxS = 0x1p100;
constexpr double kTgammaMaxD = 171.5, kTgammaMaxS = 35.0;

// The lite set evaluates plainly: hi carries the value, lo is 0.
template <bool kFull>
struct Tables {
  static constexpr int kDeg = kFull ? data::kGammaDeg : data::kGammaDegLite;
  static constexpr int kSDeg = kFull ? data::kStirlingDeg : data::kStirlingDegLite;
  static const data::PieceT<kDeg> *pieces() {
    if constexpr (kFull) return data::lgamma_pieces;
    else return data::lgamma_pieces_lite;
  }
  static const double *stirling() {
    if constexpr (kFull) return data::lgamma_stirling;
    else return data::lgamma_stirling_lite;
  }
};

// lgamma x = hi + lo for lanes 0 < x < 8 (other lanes: any value below 8).
template <bool kFull>
inline void lgamma_pieces(V x, V &hi, V &lo) {
  using Tb = Tables<kFull>;
  __m128i j = _mm_cvttpd_epi32(_mm_mul_pd(x, set(16.0)));
  V k0, k;
  piece_eval<Tb::kDeg>(Tb::pieces(), _mm_cvtsi128_si32(j), _mm_extract_epi32(j, 1), x, k0, k);
  // A = x - 1 or x - 2 around the zeros (exact), else 1
  const V z1 = _mm_and_pd(_mm_cmpge_pd(x, set(0.5)), _mm_cmplt_pd(x, set(1.5)));
  const V z2 = _mm_and_pd(_mm_cmpge_pd(x, set(1.5)), _mm_cmplt_pd(x, set(2.5)));
  const V a = _mm_blendv_pd(_mm_blendv_pd(set(1.0), _mm_sub_pd(x, set(2.0)), z2), _mm_sub_pd(x, set(1.0)), z1);
  const V g = _mm_cmplt_pd(x, set(0.5));
  if constexpr (kFull) {
    if (_mm_movemask_pd(_mm_or_pd(z1, z2)) != 0) {  // a k0 exact next to the zeros
      V ph, pl;
      dd::two_prod(a, k0, ph, pl);
      dd::fast_two_sum(ph, _mm_add_pd(pl, _mm_mul_pd(a, k)), hi, lo);
    } else {
      dd::fast_two_sum(k0, k, hi, lo);
    }
    if (_mm_movemask_pd(g) != 0) {  // -ln x below 1/2
      V lh, ll, s, e;
      ln_parts<true, true>(x, ln_biased_exponent(x), lh, ll);
      dd::two_sum(hi, _mm_and_pd(g, _mm_sub_pd(_mm_setzero_pd(), lh)), s, e);
      dd::fast_two_sum(s, _mm_sub_pd(_mm_add_pd(lo, e), _mm_and_pd(g, ll)), hi, lo);
    }
  } else {
    hi = _mm_mul_pd(a, _mm_add_pd(k0, k));
    lo = _mm_setzero_pd();
    if (_mm_movemask_pd(g) != 0) {
      V lh, ll;
      ln_parts_ep<3>(x, ln_biased_exponent(x), lh, ll);
      hi = _mm_sub_pd(hi, _mm_and_pd(g, _mm_add_pd(lh, ll)));
    }
  }
}

// lgamma x = hi + lo for lanes x >= 8 (other lanes: any value from 8 up).
template <bool kFull, bool kExactProduct>
inline void lgamma_stirling(V x, V &hi, V &lo) {
  using Tb = Tables<kFull>;
  const V h = _mm_sub_pd(x, set(0.5));
  // z Q(t), t = 128 z^2 - 1; beyond 2^60 S(x) is below 2^-63 and z stays normal
  const V z = _mm_div_pd(set(1.0), _mm_min_pd(x, set(0x1p60)));
  const V t = _mm_sub_pd(_mm_mul_pd(_mm_mul_pd(z, z), set(128.0)), set(1.0));
  const V zq = _mm_mul_pd(z, errfun::estrin<Tb::kSDeg>(t, Tb::stirling()));
  const V k = ln_biased_exponent(x);
  if constexpr (kFull) {
    const LnReduced r = ln_reduce<true, true>(x);
    V y, low;
    ln_ha_table(r, k, y, low);
    const V a = _mm_sub_pd(y, set(1.0));               // exact: y >= 2
    const V b = _mm_add_pd(r.u, _mm_add_pd(low, r.p));  // ln x - y
    // x a = ph + pl, and -a/2 with it
    V ph, pl;
    if constexpr (kExactProduct) {
      V e;
      dd::two_prod(x, a, ph, pl);
      dd::two_sum(ph, _mm_mul_pd(a, set(-0.5)), ph, e);
      pl = _mm_add_pd(pl, e);
    } else {
      // the top 6 bits of x times a (at most 47 bits) is exact; the rest, below 2^-5 x a, and
      // -a/2 (below x a / 16) are rounded: 2^-56.4 of the result
      const V xh = _mm_and_pd(x, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(0xffff800000000000ULL))));
      ph = _mm_mul_pd(xh, a);
      pl = _mm_sub_pd(_mm_mul_pd(_mm_sub_pd(x, xh), a), _mm_mul_pd(a, set(0.5)));
    }
    const V small = _mm_add_pd(_mm_mul_pd(h, b), _mm_add_pd(set(data::lgamma_stirling_c[1]), zq));
    if constexpr (kExactProduct) {
      V s, e;
      dd::fast_two_sum(ph, set(data::lgamma_stirling_c[0]), s, e);
      dd::fast_two_sum(s, _mm_add_pd(_mm_add_pd(e, pl), small), hi, lo);
    } else {
      // everything but ph, below 3/32 of the result and 0.42, rounded once: 0.14 ulp
      hi = _mm_add_pd(ph, _mm_add_pd(set(data::lgamma_stirling_c[0]), _mm_add_pd(pl, small)));
      lo = _mm_setzero_pd();
    }
  } else {
    V lh, ll;
    ln_parts_ep<3>(x, k, lh, ll);
    const V a = _mm_add_pd(_mm_sub_pd(lh, set(1.0)), ll);
    hi = _mm_add_pd(_mm_mul_pd(h, a), _mm_add_pd(set(data::lgamma_stirling_c[0]), zq));
    lo = _mm_setzero_pd();
  }
}

// lgamma x = hi + lo for positive normal lanes up to 2^1000 (other lanes, NaN too, keep the
// tables' indices in range).
template <bool kFull, bool kExactProduct>
inline void lgamma_dd(V x, V &hi, V &lo) {
  x = _mm_max_pd(x, set(DBL_MIN));
  const V small = _mm_cmplt_pd(x, set(data::kGammaStirlingFrom));
  const int m = _mm_movemask_pd(small);
  if (m == 3) return lgamma_pieces<kFull>(x, hi, lo);
  if (m == 0) return lgamma_stirling<kFull, kExactProduct>(x, hi, lo);
  V h1, l1, h2, l2;
  lgamma_pieces<kFull>(_mm_blendv_pd(set(7.5), x, small), h1, l1);
  lgamma_stirling<kFull, kExactProduct>(_mm_max_pd(x, set(8.0)), h2, l2);
  hi = _mm_blendv_pd(h2, h1, small);
  lo = _mm_blendv_pd(l2, l1, small);
}

// e^(hi + lo) for hi up to 709.9: the exponential's reduction and table (within 0.52 ulp at
// the full set), its scale taken at half and the result doubled, so that nothing overflows
// before the last product.
template <bool kFull>
inline V exp_dd_v(V hi, V lo) {
  __m128i nbits;
  V r = _mm_add_pd(exp_reduce128<ExpBase::E, false>(hi, nbits), lo);
  nbits = _mm_add_epi64(nbits, _mm_set1_epi64x(-128));
  V y;
  if constexpr (kFull) {
    V scale, tail;
    exp_lookup128(nbits, scale, tail);
    y = _mm_add_pd(scale, _mm_mul_pd(scale, expm1_poly(r, tail)));
  } else {
    V scale = exp_scale128(nbits);
    y = _mm_add_pd(scale, _mm_mul_pd(scale, expm1_poly_la(r)));
  }
  return _mm_mul_pd(y, set(2.0));
}

// (n - 1)! for n = 1 .. 23, exact in double.
constexpr double kFactorial[24] = {0,   1,    1,     2,      6,       24,       120,       720,
                                   5040, 40320, 362880, 3628800, 39916800, 479001600, 6227020800.0,
                                   87178291200.0, 1307674368000.0, 20922789888000.0, 355687428096000.0,
                                   6402373705728000.0, 121645100408832000.0, 2432902008176640000.0,
                                   51090942171709440000.0, 1124000727777607680000.0};

// ---- scalar paths, in double-double ----------------------------------------------------------

DD add(DD a, DD b) {
  DD s = powx::two_sum_dd(a.h, b.h);
  s.l += a.l + b.l;
  return powx::fast_two_sum(s.h, s.l);
}
DD neg(DD a) { return {-a.h, -a.l}; }

// lgamma of a positive normal x up to 2^1000 through the vector arithmetic, exact products.
DD lgamma_positive(double x) {
  V hi, lo;
  lgamma_dd<true, true>(set(x), hi, lo);
  return powx::fast_two_sum(_mm_cvtsd_f64(hi), _mm_cvtsd_f64(lo));
}

// 1/n!, each rounded a few times: the terms they weigh are below 2^-13 of the results.
constexpr double inv_factorial(int n) {
  double r = 1;
  for (int i = 2; i <= n; ++i) r /= i;
  return r;
}

// sin(pi a) for 0 < a <= 1/2 in double-double, relative error below 2^-60: with z = pi t, t = a
// up to 1/4 and 1/2 - a beyond (exact), |z| <= pi/4,
//   sin z = z - z^3/6 + z^5 S(z^2),  cos z = 1 - z^2/2 + z^4 C(z^2),
// the leading terms in double-double, S and C (Taylor to z^21 and z^20, below 2^-70) in double.
DD sinpi(double a) {
  const bool cosine = a > 0.25;
  const double t = cosine ? 0.5 - a : a;
  DD z = powx::two_prod(t, kPiHi);
  z.l += t * kPiLo;
  DD z2 = powx::two_prod(z.h, z.h);
  z2.l += 2 * z.h * z.l;
  double poly = 0;
  if (cosine) {
    for (int k = 10; k >= 2; --k) poly = poly * z2.h + ((k & 1) ? -1 : 1) * inv_factorial(2 * k);
    const DD c = powx::two_sum_dd(1.0, -0.5 * z2.h);
    return powx::fast_two_sum(c.h, c.l - 0.5 * z2.l + z2.h * z2.h * poly);
  }
  for (int k = 10; k >= 2; --k) poly = poly * z2.h + ((k & 1) ? -1 : 1) * inv_factorial(2 * k + 1);
  DD z3 = powx::two_prod(z2.h, z.h);
  z3.l += z2.h * z.l + z2.l * z.h;
  constexpr double kSixthHi = 0x1.5555555555555p-3, kSixthLo = 0x1.5555555555555p-57;
  DD sixth = powx::two_prod(z3.h, kSixthHi);
  sixth.l += z3.l * kSixthHi + z3.h * kSixthLo;
  const DD s = powx::fast_two_sum(z.h, -sixth.h);
  return powx::fast_two_sum(s.h, s.l + (z.l - sixth.l + z3.h * z2.h * poly));
}

// ln |Gamma x| for x < 0 not an integer, |x| >= 2^-60; *negative: Gamma x < 0.
DD lgamma_reflected(double x, bool *negative) {
  const double n = std::nearbyint(x), r = x - n;  // exact, |r| <= 1/2
  // Gamma x has the sign of sin(pi x) = (-1)^n sin(pi r)
  *negative = (r < 0) != (std::fmod(n, 2.0) != 0);
  const DD s = sinpi(std::fabs(r));
  DD ls = powx::ln_dd(s.h);
  ls.l += s.l / s.h;
  DD sum = add({kLnPiHi, kLnPiLo}, neg(powx::ln_dd(-x)));
  sum = add(sum, neg(ls));
  return add(sum, neg(lgamma_positive(-x)));
}

// The status of a finite argument's result in the row's type.
template <bool kDouble>
int range_status(double v, bool underflow_below_normal) {
  const double r = kDouble ? v : static_cast<double>(static_cast<float>(v));
  if (std::isinf(r)) return STATUS_OVERFLOW;
  if (underflow_below_normal && std::fabs(r) < (kDouble ? DBL_MIN : FLT_MIN)) return STATUS_UNDERFLOW;
  return 0;
}

template <bool kDouble>
struct LGammaF {
  static constexpr const char *kName = kDouble ? "vdLGamma" : "vsLGamma";
  static constexpr double kMin = kDouble ? DBL_MIN : FLT_MIN, kMax = kDouble ? kLgammaMaxD : kLgammaMaxS;
  static V eval_d(V x) {
    V hi, lo;
    lgamma_dd<kDouble, false>(x, hi, lo);
    return _mm_add_pd(_mm_add_pd(hi, lo), _mm_setzero_pd());  // +0 at 1 and 2
  }
  static int bad_d(V x) {
    return _mm_movemask_pd(_mm_and_pd(_mm_cmpge_pd(x, set(kMin)), _mm_cmple_pd(x, set(kMax)))) ^ 3;
  }
  static int scalar(double x, double *r) {
    if (std::isnan(x)) {
      *r = x + x;
      return 0;
    }
    if (std::isinf(x)) {
      *r = HUGE_VAL;
      return 0;
    }
    if (x == 0 || (x < 0 && std::trunc(x) == x)) {
      *r = HUGE_VAL;
      return STATUS_SINGULARITY;
    }
    double v;  // the lanes bad_d leaves: tiny, huge or negative
    if (std::fabs(x) < 0x1p-60) {
      const DD l = powx::ln_dd(std::fabs(x));
      v = -l.h + (-l.l - kEulerGamma * x);
    } else if (x > 0) {
      // x (ln x - 1) - ln(x)/2 at 2^-64 scale, the product exact (Dekker): 0.5 ulp, or overflow
      const DD l = powx::ln_dd(x);
      const double xs = x * 0x1p-64;
      DD p = powx::two_prod(xs, l.h - 1.0);
      p.l += xs * l.l - 0.5 * l.h * 0x1p-64;
      v = runtime_mul(p.h + p.l, 0x1p64);
    } else {
      bool negative;
      const DD l = lgamma_reflected(x, &negative);
      v = l.h + l.l;
    }
    *r = v;
    return range_status<kDouble>(v, false);
  }
};

template <bool kDouble>
struct TGammaF {
  static constexpr const char *kName = kDouble ? "vdTGamma" : "vsTGamma";
  static constexpr double kMin = kDouble ? DBL_MIN : FLT_MIN, kMax = kDouble ? kTgammaMaxD : kTgammaMaxS;
  static V eval_d(V x) {
    V hi, lo;
    lgamma_dd<kDouble, true>(x, hi, lo);
    V y = exp_dd_v<kDouble>(hi, lo);
    if constexpr (kDouble) {
      const V xi = _mm_round_pd(x, _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC);
      const V exact = _mm_and_pd(_mm_cmpeq_pd(x, xi), _mm_and_pd(_mm_cmpge_pd(x, set(1.0)), _mm_cmple_pd(x, set(23.0))));
      if (_mm_movemask_pd(exact) != 0) {
        const __m128i n = _mm_cvtpd_epi32(_mm_and_pd(exact, xi));
        y = _mm_blendv_pd(y, _mm_setr_pd(kFactorial[_mm_cvtsi128_si32(n)], kFactorial[_mm_extract_epi32(n, 1)]), exact);
      }
    }
    return y;
  }
  static int bad_d(V x) {
    return _mm_movemask_pd(_mm_and_pd(_mm_cmpge_pd(x, set(kMin)), _mm_cmple_pd(x, set(kMax)))) ^ 3;
  }
  static int scalar(double x, double *r) {
    if (std::isnan(x) || x == HUGE_VAL) {
      *r = x + x;
      return 0;
    }
    if (x == 0) {
      *r = runtime_div(1.0, x);
      return STATUS_SINGULARITY;
    }
    if (x < 0 && std::trunc(x) == x) {  // -inf too
      *r = runtime_div(0.0, 0.0);
      return STATUS_DOMAIN;
    }
    double v;
    if (x >= kMin && x <= 171.7) {
      v = eval_one<TGammaF>(x);
    } else if (x > 0) {
      v = x > 1 ? runtime_mul(0x1p1000, 0x1p1000) : runtime_div(1.0, x) - kEulerGamma;
    } else if (x > -0x1p-60) {
      v = runtime_div(1.0, x) - kEulerGamma;
    } else {
      bool negative;
      const DD l = lgamma_reflected(x, &negative);
      v = l.h > 710 ? HUGE_VAL : l.h < -746 ? runtime_mul(0x1p-1000, 0x1p-1000) : powx::exp_dd(l.h, l.l);
      if (negative) v = -v;
    }
    *r = v;
    return range_status<kDouble>(v, x < 0);
  }
};

using DLGamma = UnaryK<double, LGammaF<true>>;
using SLGamma = UnaryK<float, LGammaF<false>>;
using DTGamma = UnaryK<double, TGammaF<true>>;
using STGamma = UnaryK<float, TGammaF<false>>;
}  // namespace

ZYN_UNARY_KERNELS(dLGamma, HA, DLGamma)
ZYN_UNARY_KERNELS(sLGamma, HA, SLGamma)
ZYN_UNARY_KERNELS(dTGamma, HA, DTGamma)
ZYN_UNARY_KERNELS(sTGamma, HA, STGamma)

}  // namespace zyn::vk::gamma
