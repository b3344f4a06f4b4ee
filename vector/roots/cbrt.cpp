// Cube root and its reciprocal, double and single.
//
// t0 from the bits: the high word of |x| divided by 3 plus a bias (5 good bits); one rational
// step in r = t0^3/x brings t to 23 bits; then a Halley step cbrt x = t (1 + c),
// c = (x/t^2 - t) / (2t + x/t^2).
//   Cbrt and InvCbrt double HA  no division: a 17-bit start and its exact residual
//                   (cbrt_exact), below 0.51 ulp.
//   Cbrt double LA = EP  the Halley step on the unrounded t: below 1 ulp.
//   InvCbrt double LA = EP  1/cbrt at LA: below 2.5 ulp.
// Zeros, denormals, infinities and NaN take the scalar path (denormals scaled by 2^54; at
// HA every |x| outside [2^-960, 2^960) by 2^(3k)); InvCbrt(+-0) is +-inf with
// STATUS_SINGULARITY.
//
// Single, without division, on a = |x| (the sign is put back at the end):
//   y0 ~ a^(-1/3) from the bits, K - bits(a)/3: r = a y0^3 in [0.9006, 1.1061] for every normal a;
//   y1 = y0 P(r), P the minimax quadratic of r^(-1/3) there: relative error below 2^-14.3
//   (float rounding included). With r1 = a y1^3 = 1 - e, |e| < 2^-12.5:
//     a^(-1/3) = y1 (1 - e)^(-1/3) = y1 (1 + e/3 + 2/9 e^2),     truncation below 2^-40;
//     a^(1/3) = b (1 - e)^(-2/3) = b (1 + 2/3 e + 5/9 e^2),     b = a y1^2, truncation below 2^-38.
//   EP  y1, and for the cube root b0 R(r), b0 = a y0^2 and R the minimax quadratic of r^(-2/3):
//       below 2^-12.8.
//   LA  the series in single on the rounded b = (a y1) y1 and r1 = b y1: the three roundings
//       enter as (d1 + d2)/3 - 2 d3/3 (cbrt) or (d1 + d2 + d3)/3 (reciprocal), so below
//       0.5 ulp + 4/3 2^-24: 1.9 ulp.
//   HA  the series in double, rounded once: below 0.5 + 2^-14 ulp.
// Zeros, denormals (scaled by 2^24), infinities and NaN take the scalar path.
#include <cmath>

#include "vector/roots/policy.hpp"
#include "vector/trig/dd.hpp"

namespace zyn::vk {
namespace {
using V = __m128d;
using dd::set;

// The division-free start: biases of the bit start for single bits and for the high word of
// doubles, after which r = a y0^3 lies in [0.9004, 1.1061]; Q the minimax quadratic of r^(-1/3)
// there (relative error 2^-14.36).
constexpr int kK = 0x54a23000, kKd = 0x553ef000;
constexpr float kQ0 = 1.5567950292111648566f, kQ1 = -0.77886806131062634329f, kQ2 = 0.22207527332963483713f;

constexpr double kP0 = 1.87595182427177009643, kP1 = -1.88497979543377169875, kP2 = 1.621429720105354466140,
                 kP3 = -0.758397934778766047437, kP4 = 0.145996192886612446982;
constexpr int kB1 = 715094163;  // (1023 - 1023/3 - 0.03306235651) 2^20

// Lanes whose high 32 bits are those of a divided by 3 (rounded down, exactly: 0x55555556 is
// (2^32 + 2)/3 and the high word is below 2^31); the low 32 bits are not used.
inline __m128i high_third(V a) {
  return _mm_mul_epu32(_mm_srli_epi64(_mm_castpd_si128(a), 32), _mm_set1_epi32(0x55555556));
}

// t ~ cbrt(x) to 23 bits, for normal x.
inline V cbrt_start(V x) {
  const V sign = _mm_and_pd(x, set(-0.0));
  __m128i q = _mm_add_epi32(high_third(_mm_andnot_pd(set(-0.0), x)), _mm_set1_epi64x(static_cast<long long>(kB1) << 32));
  V t = _mm_or_pd(_mm_and_pd(_mm_castsi128_pd(q), mask_d(0xffffffff00000000ULL)), sign);
  V r = _mm_mul_pd(_mm_mul_pd(t, t), _mm_div_pd(t, x));
  V p = _mm_add_pd(_mm_add_pd(set(kP0), _mm_mul_pd(r, _mm_add_pd(set(kP1), _mm_mul_pd(r, set(kP2))))),
                   _mm_mul_pd(_mm_mul_pd(_mm_mul_pd(r, r), r), _mm_add_pd(set(kP3), _mm_mul_pd(r, set(kP4)))));
  return _mm_mul_pd(t, p);
}

// The Halley step on the start t: cbrt x = t (1 + c).
inline V cbrt_d(V x) {
  V t = cbrt_start(x);
  V r = _mm_div_pd(x, _mm_mul_pd(t, t));
  V c = _mm_div_pd(_mm_sub_pd(r, t), _mm_add_pd(_mm_add_pd(t, t), r));
  return _mm_add_pd(t, _mm_mul_pd(t, c));
}

inline int bad_not_normal(V x) { return outside_d(_mm_andnot_pd(set(-0.0), x), 0x00100000u, 0x7fefffffu); }

// Double cbrt and 1/cbrt at HA without division, for a = |x| in [2^-960, 2^960): y from the high
// word and Q, cut to 17 bits so that y^3 is exact (51 bits); a and y^3 split into 26-bit heads
// whose four cross products are exact, so e = 1 - a y^3 (|e| < 2^-12.2) is exact but for 2^-64;
// then, with truncation below 2^-60,
//   a^(-1/3) = y (1 + e/3 + 2/9 e^2 + 14/81 e^3 + 35/243 e^4),
//   a^(1/3) = b (1 + 2/3 e + 5/9 e^2 + 40/81 e^3 + 110/243 e^4), b = a y^2 = bh + bl exactly (y^2
//   has 34 bits: heads of 26 bits again);
// each rounded once: 0.51 ulp. The range keeps y^3, its tail and the tail of a normal.
template <bool kInverse>
inline V cbrt_exact(V x) {
  const V sign = set(-0.0), head = mask_d(0xfffffffff8000000ULL);
  V a = _mm_andnot_pd(sign, x);
  __m128i q = _mm_sub_epi32(_mm_set1_epi64x(static_cast<long long>(kKd) << 32), high_third(a));
  V y = _mm_and_pd(_mm_castsi128_pd(q), mask_d(0xffffffff00000000ULL));
  V r = _mm_mul_pd(_mm_mul_pd(_mm_mul_pd(a, y), y), y);
  y = _mm_mul_pd(y, _mm_add_pd(set(kQ0), _mm_mul_pd(r, _mm_add_pd(set(kQ1), _mm_mul_pd(r, set(kQ2))))));
  y = _mm_and_pd(y, mask_d(0xfffffff000000000ULL));
  const V y2 = _mm_mul_pd(y, y), c = _mm_mul_pd(y2, y);
  V ah = _mm_and_pd(a, head), al = _mm_sub_pd(a, ah);
  V ch = _mm_and_pd(c, head), cl = _mm_sub_pd(c, ch);
  V mid = _mm_add_pd(_mm_mul_pd(ah, cl), _mm_mul_pd(al, ch));
  V e = _mm_sub_pd(_mm_sub_pd(_mm_sub_pd(set(1.0), _mm_mul_pd(ah, ch)), mid), _mm_mul_pd(al, cl));
  V p;
  if constexpr (kInverse) {
    p = _mm_add_pd(set(14.0 / 81), _mm_mul_pd(e, set(35.0 / 243)));
    p = _mm_add_pd(set(1.0 / 3), _mm_mul_pd(e, _mm_add_pd(set(2.0 / 9), _mm_mul_pd(e, p))));
    return _mm_or_pd(_mm_add_pd(y, _mm_mul_pd(y, _mm_mul_pd(e, p))), _mm_and_pd(sign, x));
  }
  p = _mm_add_pd(set(40.0 / 81), _mm_mul_pd(e, set(110.0 / 243)));
  p = _mm_add_pd(set(2.0 / 3), _mm_mul_pd(e, _mm_add_pd(set(5.0 / 9), _mm_mul_pd(e, p))));
  V sh = _mm_and_pd(y2, head), sl = _mm_sub_pd(y2, sh);
  V bh = _mm_mul_pd(ah, sh);
  V bl = _mm_add_pd(_mm_add_pd(_mm_mul_pd(ah, sl), _mm_mul_pd(al, sh)), _mm_mul_pd(al, sl));
  const V t = _mm_mul_pd(_mm_add_pd(bh, bl), _mm_mul_pd(e, p));  // bl e is 2^-39 of b: kept
  return _mm_or_pd(_mm_add_pd(bh, _mm_add_pd(bl, t)), _mm_and_pd(sign, x));
}

template <bool kInverse>
struct CbrtDHa {
  static constexpr const char *kName = kInverse ? "vdInvCbrt" : "vdCbrt";
  static V eval_d(V x) { return cbrt_exact<kInverse>(x); }
  static int bad_d(V x) { return outside_d(_mm_andnot_pd(set(-0.0), x), 0x03f00000u, 0x7befffffu); }
  static int scalar(double x, double *r) {
    if (x == 0 || !std::isfinite(x)) {
      if (!kInverse) {
        *r = x + x;  // +-0, +-inf, a quiet NaN
        return 0;
      }
      *r = std::isnan(x) ? x + x : runtime_div(1.0, x);
      return x == 0 ? STATUS_SINGULARITY : 0;
    }
    int k = std::ilogb(x) / 3;  // x 2^(-3k) within 2^+-2 of 1
    *r = std::ldexp(eval_one<CbrtDHa>(std::ldexp(x, -3 * k)), kInverse ? -k : k);
    return 0;
  }
};

// Double LA and EP; kInverse: 1/cbrt.
template <bool kInverse>
struct CbrtD {
  static constexpr const char *kName = kInverse ? "vdInvCbrt" : "vdCbrt";
  static V eval_d(V x) {
    if constexpr (!kInverse) return cbrt_d(x);
    return _mm_div_pd(set(1.0), cbrt_d(x));
  }
  static int bad_d(V x) { return bad_not_normal(x); }
  static int scalar(double x, double *r) {
    if (x == 0 || !std::isfinite(x)) {
      if (!kInverse) {
        *r = x + x;  // +-0, +-inf, a quiet NaN
        return 0;
      }
      *r = std::isnan(x) ? x + x : runtime_div(1.0, x);
      return x == 0 ? STATUS_SINGULARITY : 0;
    }
    if (std::fabs(x) < 0x1p-1022) {  // denormal: cbrt(x 2^54) = cbrt(x) 2^18
      *r = eval_one<CbrtD>(x * 0x1p54) * (kInverse ? 0x1p18 : 0x1p-18);
      return 0;
    }
    *r = eval_one<CbrtD>(x);
    return 0;
  }
};

// ---- single --------------------------------------------------------------------------------
using W = __m128;
inline W set_s(float x) { return _mm_set1_ps(x); }

constexpr float kR0 = 2.2254343556531427735f, kR1 = -1.7802306573998407753f, kR2 = 0.55480621682473819813f;

// The bit start for normal a > 0: y ~ a^(-1/3), b = a y^2 and r = b y in [0.9006, 1.1061].
// Products are taken from a outwards so that every partial product stays normal.
struct StartS {
  W y, b, r;
};
inline StartS start_s(W a) {
  __m128i q = _mm_cvttps_epi32(_mm_mul_ps(_mm_cvtepi32_ps(_mm_castps_si128(a)), set_s(1.0f / 3)));
  W y = _mm_castsi128_ps(_mm_sub_epi32(_mm_set1_epi32(kK), q));
  W b = _mm_mul_ps(_mm_mul_ps(a, y), y);
  return {y, b, _mm_mul_ps(b, y)};
}
inline W quadratic(W r, float c0, float c1, float c2) {
  return _mm_add_ps(set_s(c0), _mm_mul_ps(r, _mm_add_ps(set_s(c1), _mm_mul_ps(r, set_s(c2)))));
}

// The series step in double on two lanes: b = a y^2 (cbrt) or y (reciprocal), times (1 - e)^p.
template <bool kInverse>
inline V series_d(V a, V y) {
  V b = _mm_mul_pd(_mm_mul_pd(a, y), y);
  V e = _mm_sub_pd(set(1.0), _mm_mul_pd(b, y));
  V base = kInverse ? y : b;
  V p = kInverse ? _mm_add_pd(set(1.0 / 3), _mm_mul_pd(e, set(2.0 / 9)))
                 : _mm_add_pd(set(2.0 / 3), _mm_mul_pd(e, set(5.0 / 9)));
  return _mm_add_pd(base, _mm_mul_pd(base, _mm_mul_pd(e, p)));
}

// kLevel: 0 EP, 1 LA, 2 HA.
template <bool kInverse, int kLevel>
struct CbrtS {
  static constexpr const char *kName = kInverse ? "vsInvCbrt" : "vsCbrt";
  static W eval_s(W x) {
    const W sign = set_s(-0.0f);
    W a = _mm_andnot_ps(sign, x);
    StartS st = start_s(a);
    W res;
    if constexpr (kLevel == 0) {
      res = kInverse ? _mm_mul_ps(st.y, quadratic(st.r, kQ0, kQ1, kQ2)) : _mm_mul_ps(st.b, quadratic(st.r, kR0, kR1, kR2));
    } else {
      W y = _mm_mul_ps(st.y, quadratic(st.r, kQ0, kQ1, kQ2));
      if constexpr (kLevel == 1) {
        W b = _mm_mul_ps(_mm_mul_ps(a, y), y);
        W e = _mm_sub_ps(set_s(1.0f), _mm_mul_ps(b, y));
        W base = kInverse ? y : b;
        W p = kInverse ? _mm_add_ps(set_s(1.0f / 3), _mm_mul_ps(e, set_s(2.0f / 9)))
                       : _mm_add_ps(set_s(2.0f / 3), _mm_mul_ps(e, set_s(5.0f / 9)));
        res = _mm_add_ps(base, _mm_mul_ps(base, _mm_mul_ps(e, p)));
      } else {
        V lo = series_d<kInverse>(_mm_cvtps_pd(a), _mm_cvtps_pd(y));
        V hi = series_d<kInverse>(_mm_cvtps_pd(_mm_movehl_ps(a, a)), _mm_cvtps_pd(_mm_movehl_ps(y, y)));
        res = _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
      }
    }
    return _mm_or_ps(res, _mm_and_ps(sign, x));
  }
  static int bad_s(W x) { return not_normal_s(_mm_andnot_ps(set_s(-0.0f), x)); }
  // x is a single widened to double.
  static int scalar(double x, double *r) {
    if (x == 0 || !std::isfinite(x)) {
      *r = !kInverse || std::isnan(x) ? x + x : runtime_div(1.0, x);
      return kInverse && x == 0 ? STATUS_SINGULARITY : 0;
    }
    float f = static_cast<float>(x);
    if (std::fabs(x) < 0x1p-126) {  // denormal: cbrt(x 2^24) = cbrt(x) 2^8
      *r = eval_one_s<CbrtS>(f * 0x1p24f) * (kInverse ? 0x1p8f : 0x1p-8f);
      return 0;
    }
    *r = eval_one_s<CbrtS>(f);
    return 0;
  }
};

using DCbrtHa = UnaryK<double, CbrtDHa<false>>;
using DCbrtEp = UnaryK<double, CbrtD<false>>;
using SCbrtHa = UnaryK<float, CbrtS<false, 2>>;
using SCbrtLa = UnaryK<float, CbrtS<false, 1>>;
using SCbrtEp = UnaryK<float, CbrtS<false, 0>>;
using DInvCbrtHa = UnaryK<double, CbrtDHa<true>>;
using DInvCbrtEp = UnaryK<double, CbrtD<true>>;
using SInvCbrtHa = UnaryK<float, CbrtS<true, 2>>;
using SInvCbrtLa = UnaryK<float, CbrtS<true, 1>>;
using SInvCbrtEp = UnaryK<float, CbrtS<true, 0>>;
}  // namespace

ZYN_UNARY_KERNELS(dCbrt, HA, DCbrtHa)
ZYN_UNARY_KERNELS(dCbrt, EP, DCbrtEp)
ZYN_UNARY_KERNELS(sCbrt, HA, SCbrtHa)
ZYN_UNARY_KERNELS(sCbrt, LA, SCbrtLa)
ZYN_UNARY_KERNELS(sCbrt, EP, SCbrtEp)
ZYN_UNARY_KERNELS(dInvCbrt, HA, DInvCbrtHa)
ZYN_UNARY_KERNELS(dInvCbrt, EP, DInvCbrtEp)
ZYN_UNARY_KERNELS(sInvCbrt, HA, SInvCbrtHa)
ZYN_UNARY_KERNELS(sInvCbrt, LA, SInvCbrtLa)
ZYN_UNARY_KERNELS(sInvCbrt, EP, SInvCbrtEp)

}  // namespace zyn::vk
