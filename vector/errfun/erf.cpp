// Error functions: Erf, Erfc and CdfNorm, double and single, at three levels.
//
// With sigma = 1 (erf, erfc) or 1/sqrt(2) (CdfNorm(x) = erfc(-x / sqrt 2) / 2) and the generated
// tables of erf_data.hpp:
//   central, sigma |x| <= 1 (erf: |x| < 3/4): erf(sigma x) = x c0 + x (c0_low + z R), with x c0_high exact (Dekker);
//     erfc and CdfNorm take 1 -+ erf as a double-double sum before the one rounding.
//   tail, a = |x|, sigma a >= 1/2: erfc(sigma a) = e^(-sigma^2 a^2) (k0 + K(u)) on sixteenths of
//     binades of a, a table for each sigma. sigma^2 a^2 is split exactly into h + l,
//     e^(-h - l) = scale (1 + q) from the exponential's table, and scale k0 is formed exactly
//     (k0 has 26 bits), so that the result is rounded once: relative error below 0.52 ulp down
//     to the underflow threshold.
//   erf = 1 - erfc and CdfNorm = 1 - erfc / 2 on the far side, clamped where they round to 1
//     (or erfc to 2).
// Erfc and CdfNorm: HA evaluates this algorithm (0.894 ulp for dErfc, 0.893 for dCdfNorm at worst
// over 10^6 inputs); double LA the same tables in plain arithmetic except the exact square
// (below 2 ulp); double EP and single HA lower-degree tables (below 2^-31) in plain arithmetic,
// single HA in double rounded once. Single LA and EP, and Erf at every level, take grids of the
// function and its Taylor series (ErfcGridS, ErfGridF, ErfGridS below), and this algorithm only
// on their scalar paths. Results below the smallest normal of the row's type, and tiny erf
// arguments, take the scalar path, which evaluates the tail 2^600 higher and scales back, and reports
// STATUS_UNDERFLOW for denormal or vanished results.
#include <cfloat>
#include <cmath>

#include "vector/explog/exp_core.hpp"
#include "vector/roots/policy.hpp"
#include "vector/errfun/erf_data.hpp"
#include "vector/errfun/erfgrid_data.hpp"
#include "vector/errfun/lanes.hpp"
#include "vector/trig/dd.hpp"

namespace zyn::vk {
namespace {
using V = __m128d;
using dd::set;

constexpr double kInvSqrt2Hi = 0x1.6a09e667f3bcdp-1;

template <int N>
inline V horner(V t, const double *c) {
  V p = set(c[0]);
  for (int i = 1; i <= N; ++i) p = _mm_add_pd(_mm_mul_pd(p, t), set(c[i]));
  return p;
}
// sum c[N - i] t^i (highest first) by Estrin's scheme: depth log2 N where Horner's is N. For
// polynomials whose terms are a small part of the result (the central R, the tail K), where its
// extra roundings stay below 2^-55 of the result.
template <int N>
inline V estrin(V t, const V *c) {
  return errfun::estrin_g<N>(t, [&](int i) { return c[i]; });
}
template <int N>
inline V estrin(V t, const double *c) {
  V cv[N + 1];
  for (int i = 0; i <= N; ++i) cv[i] = set(c[i]);
  return estrin<N>(t, cv);
}

// How a level evaluates: kExact as above (HA); kPlain the accurate tables in plain arithmetic,
// keeping only the exact square in e^(-t^2) (double LA, below 2 ulp); kLite the lite tables in
// plain arithmetic (double EP and the single rows, below 2^-31).
enum Mode { kExact, kPlain, kLite };

template <Mode kM>
struct Tables {
  static constexpr int kCentralDeg = kM == kLite ? data::kErfCentralDegLite : data::kErfCentralDeg;
  static constexpr int kTailDeg = kM == kLite ? data::kErfcTailDegLite : data::kErfcTailDeg;
  static const data::ErfCentralT<kCentralDeg> &central(int sc) {
    if constexpr (kM == kLite) return data::erf_central_lite[sc];
    else return data::erf_central[sc];
  }
  template <int kSc>
  static const data::ErfcPieceT<kTailDeg> &tail(int j) {
    if constexpr (kM == kLite) return kSc == 0 ? data::erfc_tail_lite[j] : data::cdf_tail_lite[j];
    else return kSc == 0 ? data::erfc_tail[j] : data::cdf_tail[j];
  }
};

// erf(sigma x) = hi + lo for sigma |x| <= 1 (scale 0: sigma = 1, 1: sigma = 1/sqrt 2).
template <int kSc, Mode kM>
inline void erf_central(V x, V &hi, V &lo) {
  using Tb = Tables<kM>;
  const auto &c = Tb::central(kSc);
  V z = _mm_mul_pd(x, x);
  V s = _mm_sub_pd(kSc == 0 ? _mm_add_pd(z, z) : z, set(1.0));  // 2 sigma^2 z - 1
  V R;  // Horner at HA: Estrin's roundings cost 0.14 ulp near erfc(-1)
  if constexpr (kM == kExact) R = horner<Tb::kCentralDeg>(s, c.r);
  else R = estrin<Tb::kCentralDeg>(s, c.r);
  V pl = _mm_setzero_pd();
  if constexpr (kM == kExact)
    dd::two_prod(x, set(c.c0[0]), hi, pl);
  else
    hi = _mm_mul_pd(x, set(c.c0[0]));
  lo = _mm_add_pd(_mm_add_pd(pl, _mm_mul_pd(x, set(c.c0[1]))), _mm_mul_pd(_mm_mul_pd(x, z), R));
}

// erfc(sigma a) 2^kBias for a in [1/2, 64) (sigma a below 32) where 2^kBias e^(-sigma^2 a^2) is
// normal, from the tail table of sigma.
template <int kSc, long long kBias, Mode kM>
inline V erfc_tail(V a) {
  using Tb = Tables<kM>;
  V h, l;
  if constexpr (kM == kLite) {
    h = _mm_mul_pd(a, a);  // its rounding costs below 2^-43 relative for t < 27
    l = _mm_setzero_pd();
  } else {
    dd::two_prod(a, a, h, l);
  }
  if constexpr (kSc == 1) {
    h = _mm_mul_pd(h, set(0.5));
    l = _mm_mul_pd(l, set(0.5));
  }
  __m128i nbits;
  V r = _mm_sub_pd(exp_reduce128<ExpBase::E, true>(_mm_sub_pd(_mm_setzero_pd(), h), nbits), l);
  nbits = _mm_add_epi64(nbits, _mm_set1_epi64x(kBias * 128));
  V scale, etail;
  exp_lookup128(nbits, scale, etail);
  V q = expm1_poly(r, etail);

  constexpr int kPieces = kSc == 0 ? data::kErfcPieces : data::kCdfPieces;
  __m128i j = _mm_sub_epi64(_mm_srli_epi64(_mm_castpd_si128(a), 52 - data::kErfcPieceBits),
                            _mm_set1_epi64x(0x3fe << data::kErfcPieceBits));
  int j0 = _mm_cvtsi128_si32(j), j1 = _mm_extract_epi32(j, 2);
  j0 = j0 < 0 ? 0 : j0 >= kPieces ? kPieces - 1 : j0;
  j1 = j1 < 0 ? 0 : j1 >= kPieces ? kPieces - 1 : j1;
  const auto &p0 = Tb::template tail<kSc>(j0), &p1 = Tb::template tail<kSc>(j1);
  V u = _mm_mul_pd(_mm_sub_pd(a, _mm_setr_pd(p0.mid, p1.mid)), _mm_setr_pd(p0.inv_half, p1.inv_half));
  V cv[Tb::kTailDeg + 1];
  for (int i = 0; i <= Tb::kTailDeg; ++i) cv[i] = _mm_setr_pd(p0.c[i], p1.c[i]);
  V K = estrin<Tb::kTailDeg>(u, cv);
  V k0 = _mm_setr_pd(p0.k0, p1.k0);
  V R = _mm_add_pd(k0, K);
  if constexpr (kM != kExact) return _mm_mul_pd(scale, _mm_add_pd(R, _mm_mul_pd(R, q)));
  V sh, sl;  // k0 has 26 bits: sh k0 is exact
  dd::split(scale, sh, sl);
  return _mm_add_pd(_mm_mul_pd(sh, k0), _mm_add_pd(_mm_mul_pd(sl, k0), _mm_mul_pd(scale, _mm_add_pd(K, _mm_mul_pd(R, q)))));
}

inline V abs_d(V x) { return _mm_andnot_pd(set(-0.0), x); }

enum Fn { kErf, kErfc, kCdfNorm };

template <bool kDouble, Fn kFn, Mode kM>
struct ErfF {
  static constexpr const char *kName = kFn == kErf    ? (kDouble ? "vdErf" : "vsErf")
                                       : kFn == kErfc ? (kDouble ? "vdErfc" : "vsErfc")
                                                      : (kDouble ? "vdCdfNorm" : "vsCdfNorm");
  static constexpr double kMin = kDouble ? DBL_MIN : FLT_MIN;
  // edges of the vector path: erf arguments below kTiny; erfc arguments above kFar, CdfNorm
  // arguments below -kFar sqrt 2, where results fall below kMin
  static constexpr double kTiny = kDouble ? 0x1p-1000 : 0x1p-125;
  static constexpr double kFar = kDouble ? 26.5 : 9.0;
  static constexpr long long kBias = 600;  // scalar tail: 2^-1075 < e^(-27.5^2) 2^600 normal

  template <long long kB>
  static V eval(V x) {
    const V zero = _mm_setzero_pd();
    V hi, lo, s, e;
    if constexpr (kFn == kErf) {
      V a = abs_d(x), central = _mm_cmplt_pd(a, set(0.75));  // 1.3 ulp near 1 otherwise
      erf_central<0, kM>(x, hi, lo);
      V rc = _mm_add_pd(hi, lo);
      if (_mm_movemask_pd(central) == 3) return rc;
      V y = erfc_tail<0, 0, kM>(_mm_blendv_pd(_mm_min_pd(a, set(6.0)), set(1.0), central));
      V rt = _mm_or_pd(_mm_sub_pd(set(1.0), y), _mm_and_pd(x, set(-0.0)));
      return _mm_blendv_pd(rt, rc, central);
    } else if constexpr (kFn == kErfc) {
      V central = _mm_and_pd(_mm_cmpgt_pd(x, set(-1.0)), _mm_cmplt_pd(x, set(0.5)));
      const int mc = _mm_movemask_pd(central);
      V rc = zero;
      if (mc != 0) {  // the central polynomial only where a lane needs it
        erf_central<0, kM>(_mm_and_pd(x, central), hi, lo);
        dd::two_sum(set(1.0), _mm_sub_pd(zero, hi), s, e);
        rc = _mm_add_pd(s, _mm_sub_pd(e, lo));
        if (mc == 3) return rc;
      }
      V neg = _mm_cmplt_pd(x, zero);
      V a = _mm_blendv_pd(x, _mm_min_pd(abs_d(x), set(6.0)), neg);
      V y = erfc_tail<0, kB, kM>(_mm_blendv_pd(a, set(1.0), central));
      V rt = _mm_blendv_pd(y, _mm_sub_pd(set(2.0), y), neg);
      return _mm_blendv_pd(rt, rc, central);
    } else {
      V central = _mm_and_pd(_mm_cmpgt_pd(x, set(-0.708)), _mm_cmplt_pd(x, set(1.414)));
      const int mc = _mm_movemask_pd(central);
      V rc = zero;
      if (mc != 0) {
        erf_central<1, kM>(_mm_and_pd(x, central), hi, lo);
        dd::two_sum(set(1.0), hi, s, e);
        rc = _mm_mul_pd(set(0.5), _mm_add_pd(s, _mm_add_pd(e, lo)));
        if (mc == 3) return rc;
      }
      V pos = _mm_cmpgt_pd(x, zero);
      V a = _mm_blendv_pd(abs_d(x), _mm_min_pd(x, set(8.5)), pos);
      V y = _mm_mul_pd(set(0.5), erfc_tail<1, kB, kM>(_mm_blendv_pd(a, set(2.0), central)));
      V rt = _mm_blendv_pd(y, _mm_sub_pd(set(1.0), y), pos);
      return _mm_blendv_pd(rt, rc, central);
    }
  }

  static V eval_d(V x) { return eval<0>(x); }
  static int bad_d(V x) {
    V ok;
    if constexpr (kFn == kErf)
      ok = _mm_cmpge_pd(abs_d(x), set(kTiny));
    else if constexpr (kFn == kErfc)
      ok = _mm_cmplt_pd(x, set(kFar));
    else
      ok = _mm_cmpgt_pd(x, set(-kFar * kInvSqrt2Hi * 2));
    return _mm_movemask_pd(ok) ^ 3;
  }
  static int scalar(double x, double *r) {
    if (std::isnan(x)) {
      *r = x + x;
      return 0;
    }
    if (std::isinf(x)) {
      *r = kFn == kErf ? std::copysign(1.0, x) : kFn == kErfc ? (x > 0 ? 0.0 : 2.0) : (x > 0 ? 1.0 : 0.0);
      return 0;
    }
    if (kFn == kErf && x == 0) {
      *r = x;
      return 0;
    }
    double v;
    const double t = kFn == kCdfNorm ? -x * kInvSqrt2Hi : x;  // sigma |x| on the tail's side
    if (kFn == kErf && std::fabs(x) < kTiny) {
      V hi, lo;
      erf_central<0, kM>(_mm_set_sd(x * 0x1p100), hi, lo);  // erf is linear here: c0 x 2^100
      v = _mm_cvtsd_f64(_mm_add_sd(hi, lo)) * 0x1p-100;
    } else if (kFn != kErf && t > 27.5) {
      v = runtime_mul(0x1p-600, 0x1p-600);  // below 2^-1100: zero, with the underflow flag
    } else if (kFn != kErf && t >= 26.5) {
      v = _mm_cvtsd_f64(eval<kBias>(_mm_set_sd(x))) * std::ldexp(1.0, -kBias);
    } else {
      v = eval_one<ErfF>(x);
    }
    *r = v;
    const double rounded = kDouble ? v : static_cast<double>(static_cast<float>(v));
    return std::fabs(rounded) < kMin ? STATUS_UNDERFLOW : 0;
  }
};

// Double Erf at every level (and single Erf HA) from the grid r = i/128 (HA; LA and EP: i/256,
// kFine) of erfgrid_data.hpp: with a = min(|x|, 6), r the nearest grid point and d = a - r
// (exact, |d| <= 1/256 or 1/512),
//   erf(r + d) = erf(r) + scale(r) d (1 + sum_k>=2 (-1)^(k-1) H_(k-1)(r) d^(k-1) / k!),
// the Taylor series with Hermite polynomials H, scale(r) = 2/sqrt(pi) e^(-r^2). HA sums it to
// d^7 (omitted terms below 2^-66 of erf), single HA to d^6 (below 0.4 ulp of double), LA to d^5
// on the fine grid (below 2^-57, largest near |x| = 1/512; a4 and a5 read from it), EP to d^3 on
// the fine grid (below 2^-36). The series adds at most half of erf(r) from the first grid point on (at r = 0 it is
// the whole result).
//   LA, EP  plain sums: within 1.4 ulp at LA.
//   HA      erf(r) and scale(r) as double-doubles, scale d exact (Dekker) and added to erf(r)
//           by an exact sum; the rest of the series is below 0.024 of the result, so its
//           rounding is negligible: below 0.52 ulp.
// Single HA evaluates the LA sum in double and rounds once (below 0.51 ulp).
// Arguments below kTiny (and zeros, NaN) take the scalar path of the piecewise algorithm;
// |x| >= 6 lands on r = 6, where erf rounds to 1.
template <int kTerms, bool kExactSum = false, bool kDouble = true, bool kFine = false>
struct ErfGridF {
  using Base = ErfF<kDouble, kErf, kExactSum ? kExact : kDouble ? kPlain : kLite>;
  // the exact product needs its error term above the denormals
  static constexpr double kTiny = kExactSum ? 0x1p-960 : Base::kTiny;
  static constexpr const char *kName = Base::kName;
  static constexpr int kPerUnit = kFine ? data::kErfGridLaPerUnit : data::kErfGridPerUnit;
  static V eval_d(V x) {
    const V shift = set(0x1.8p52);
    V a = _mm_min_pd(abs_d(x), set(6.0));
    V t = _mm_add_pd(_mm_mul_pd(a, set(kPerUnit)), shift);
    V r = _mm_mul_pd(_mm_sub_pd(t, shift), set(1.0 / kPerUnit));
    V d = _mm_sub_pd(a, r);
    __m128i idx = _mm_castpd_si128(t);
    const double *g = kFine ? &data::erf_grid_la[0].erf : &data::erf_grid[0].erf;
    constexpr int kStride = 4;
    V g0 = _mm_loadu_pd(g + kStride * _mm_cvtsi128_si32(idx));
    V g1 = _mm_loadu_pd(g + kStride * _mm_extract_epi32(idx, 2));
    V e = _mm_unpacklo_pd(g0, g1), sc = _mm_unpackhi_pd(g0, g1);
    V r2 = _mm_mul_pd(r, r);
    V a2 = _mm_sub_pd(_mm_setzero_pd(), r);                                       // -r
    V a3 = _mm_sub_pd(_mm_mul_pd(r2, set(2.0 / 3)), set(1.0 / 3));                // (2r^2 - 1)/3
    V p;
    if constexpr (kTerms == 5) {
      V h0 = _mm_loadu_pd(g + kStride * _mm_cvtsi128_si32(idx) + 2);
      V h1 = _mm_loadu_pd(g + kStride * _mm_extract_epi32(idx, 2) + 2);
      V a4 = _mm_unpacklo_pd(h0, h1), a5 = _mm_unpackhi_pd(h0, h1);
      p = _mm_add_pd(a4, _mm_mul_pd(d, a5));
      p = _mm_add_pd(a3, _mm_mul_pd(d, p));
    } else if constexpr (kTerms >= 6) {
      // (3 - 2r^2) r/6, (4r^4 - 12r^2 + 3)/30, -r(4r^4 - 20r^2 + 15)/90, in r^2
      V a4 = _mm_mul_pd(r, _mm_sub_pd(set(0.5), _mm_mul_pd(r2, set(1.0 / 3))));
      V a5 = _mm_add_pd(set(0.1), _mm_mul_pd(r2, _mm_sub_pd(_mm_mul_pd(r2, set(2.0 / 15)), set(0.4))));
      V a6 = _mm_mul_pd(a2, _mm_add_pd(set(1.0 / 6), _mm_mul_pd(r2, _mm_sub_pd(_mm_mul_pd(r2, set(2.0 / 45)), set(2.0 / 9)))));
      p = a6;
      if constexpr (kTerms == 7) {  // (16r^6 - 120r^4 + 180r^2 - 30)/1260
        V a7 = _mm_add_pd(set(-1.0 / 42),
                          _mm_mul_pd(r2, _mm_add_pd(set(1.0 / 7), _mm_mul_pd(r2, _mm_sub_pd(_mm_mul_pd(r2, set(4.0 / 315)),
                                                                                             set(2.0 / 21))))));
        p = _mm_add_pd(a6, _mm_mul_pd(d, a7));
      }
      p = _mm_add_pd(a5, _mm_mul_pd(d, p));
      p = _mm_add_pd(a4, _mm_mul_pd(d, p));
      p = _mm_add_pd(a3, _mm_mul_pd(d, p));
    } else {
      p = a3;
    }
    p = _mm_mul_pd(d, _mm_sub_pd(_mm_mul_pd(d, p), r));  // the series is d (1 + p)
    V y;
    if constexpr (kExactSum) {
      V h0 = _mm_loadu_pd(&data::erf_grid[_mm_cvtsi128_si32(idx)].erf_lo);
      V h1 = _mm_loadu_pd(&data::erf_grid[_mm_extract_epi32(idx, 2)].erf_lo);
      V el = _mm_unpacklo_pd(h0, h1), sl = _mm_unpackhi_pd(h0, h1);
      V ph, pl, s, se;
      dd::two_prod(sc, d, ph, pl);
      dd::two_sum(e, ph, s, se);
      V rest = _mm_add_pd(_mm_add_pd(pl, _mm_mul_pd(sl, d)), _mm_mul_pd(ph, p));
      y = _mm_add_pd(s, _mm_add_pd(_mm_add_pd(se, el), rest));
    } else {
      y = _mm_add_pd(e, _mm_mul_pd(sc, _mm_add_pd(d, _mm_mul_pd(d, p))));
    }
    return _mm_or_pd(y, _mm_and_pd(x, set(-0.0)));
  }
  static int bad_d(V x) { return _mm_movemask_pd(_mm_cmpnge_pd(abs_d(x), set(kTiny))); }
  static int scalar(double x, double *r) {
    if (std::fabs(x) >= kTiny) {  // not NaN
      *r = eval_one<ErfGridF>(x);
      return 0;
    }
    return Base::scalar(x, r);
  }
};

// The grid points at the four indices: values in e, derivatives in sc.
inline void gather_grid_f(const data::ErfGridPointF *g, __m128i idx, __m128 &e, __m128 &sc) {
  // the indices (non-negative) in two 64-bit moves: fewer operations than four 32-bit ones
  const unsigned long long i01 = static_cast<unsigned long long>(_mm_cvtsi128_si64(idx));
  const unsigned long long i23 = static_cast<unsigned long long>(_mm_extract_epi64(idx, 1));
  auto load = [g](unsigned long long k) { return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(&g[k])); };
  __m128 g01 = _mm_castsi128_ps(_mm_unpacklo_epi64(load(i01 & 0xffffffffu), load(i01 >> 32)));  // e s e s
  __m128 g23 = _mm_castsi128_ps(_mm_unpacklo_epi64(load(i23 & 0xffffffffu), load(i23 >> 32)));
  e = _mm_shuffle_ps(g01, g23, _MM_SHUFFLE(2, 0, 2, 0));
  sc = _mm_shuffle_ps(g01, g23, _MM_SHUFFLE(3, 1, 3, 1));
}

// Single Erf at LA and EP from the single grid (r = i/128 up to 4) in float on four lanes: the
// same series to d^3 at LA (omitted terms below 2^-36 of erf; with the float roundings and the
// cancellation near |x| = 1/256 within 3 ulp), to d^2 at EP (below 2^-19).
template <int kTerms>
struct ErfGridS {
  using Base = ErfF<false, kErf, kLite>;
  static constexpr const char *kName = "vsErf";
  static __m128 eval_s(__m128 x) {
    const __m128 shift = _mm_set1_ps(0x1.8p23f);
    __m128 a = _mm_min_ps(_mm_andnot_ps(_mm_set1_ps(-0.0f), x), _mm_set1_ps(4.0f));
    __m128 t = _mm_add_ps(_mm_mul_ps(a, _mm_set1_ps(data::kErfGridPerUnit)), shift);
    __m128 r = _mm_mul_ps(_mm_sub_ps(t, shift), _mm_set1_ps(1.0f / data::kErfGridPerUnit));
    __m128 d = _mm_sub_ps(a, r);
    __m128 e, sc;
    gather_grid_f(data::erf_grid_f, _mm_sub_epi32(_mm_castps_si128(t), _mm_castps_si128(shift)), e, sc);
    __m128 p = _mm_sub_ps(_mm_setzero_ps(), r);  // -r, then + d (2r^2 - 1)/3 at LA
    if constexpr (kTerms == 3)
      p = _mm_add_ps(p, _mm_mul_ps(d, _mm_sub_ps(_mm_mul_ps(_mm_mul_ps(r, r), _mm_set1_ps(2.0f / 3)),
                                                 _mm_set1_ps(1.0f / 3))));
    p = _mm_mul_ps(d, p);
    __m128 y = _mm_add_ps(e, _mm_mul_ps(sc, _mm_add_ps(d, _mm_mul_ps(d, p))));
    return _mm_or_ps(y, _mm_and_ps(x, _mm_set1_ps(-0.0f)));
  }
  static int bad_d(V x) { return _mm_movemask_pd(_mm_cmpnge_pd(abs_d(x), set(Base::kTiny))); }
  static int bad_s(__m128 x) {
    return _mm_movemask_ps(_mm_cmpnge_ps(_mm_andnot_ps(_mm_set1_ps(-0.0f), x), _mm_set1_ps(static_cast<float>(Base::kTiny))));
  }
  static int scalar(double x, double *r) {
    if (std::fabs(x) >= Base::kTiny) {  // not NaN
      *r = eval_one_s<ErfGridS>(static_cast<float>(x));
      return 0;
    }
    return Base::scalar(x, r);
  }
};

// Single Erfc and CdfNorm at LA and EP from the single grids (r = i/128) in float on four lanes,
// with a = |x| (clamped to the grid), r the nearest grid point and d = a - r (exact):
//   erfc(r + d) = erfc(r) - s(r) d (1 + sum_k>=2 (-1)^(k-1) H_(k-1)(r) d^(k-1) / k!),
// s = 2/sqrt(pi) e^(-r^2) (physicists' Hermite H), and Phi(-(r + d)) the same with
// e^(-r^2/2) / sqrt(2 pi) and the probabilists' He. The series adds at most 2 r d <= 0.05 of the
// result in relative terms, so the result keeps its relative accuracy down to the grid's end:
// terms to d^4 at LA (omitted terms below 2^-26 for erfc, 2^-28 for Phi); to d^2 at EP (below
// 2^-14).
// erfc(x) = 2 - erfc(a) and CdfNorm(x) = 1 - Phi(-a) on the other side.
template <bool kCdf, bool kLa>
struct ErfcGridS {
  using Base = ErfF<false, kCdf ? kCdfNorm : kErfc, kLite>;
  static constexpr const char *kName = Base::kName;
  static __m128 eval_s(__m128 x) {
    using W = __m128;
    auto c = [](float v) { return _mm_set1_ps(v); };
    const W shift = c(0x1.8p23f);
    const W a = _mm_min_ps(_mm_andnot_ps(c(-0.0f), x), c(kCdf ? 12.75f : 9.0f));
    const W t = _mm_add_ps(_mm_mul_ps(a, c(data::kErfGridPerUnit)), shift);
    const W r = _mm_mul_ps(_mm_sub_ps(t, shift), c(1.0f / data::kErfGridPerUnit));
    const W d = _mm_sub_ps(a, r);
    W e, sc;
    gather_grid_f(kCdf ? data::cdf_grid_f : data::erfc_grid_f, _mm_sub_epi32(_mm_castps_si128(t), _mm_castps_si128(shift)), e, sc);
    const W r2 = _mm_mul_ps(r, r);
    W p;
    if constexpr (!kLa) {
      p = _mm_mul_ps(r, c(kCdf ? -0.5f : -1.0f));
    } else if constexpr (kCdf) {  // -r/2, (r^2 - 1)/6, r (3 - r^2)/24
      W b4 = _mm_mul_ps(r, _mm_sub_ps(c(0.125f), _mm_mul_ps(r2, c(1.0f / 24))));
      p = _mm_add_ps(_mm_sub_ps(_mm_mul_ps(r2, c(1.0f / 6)), c(1.0f / 6)), _mm_mul_ps(d, b4));
      p = _mm_add_ps(_mm_mul_ps(r, c(-0.5f)), _mm_mul_ps(d, p));
    } else {  // -r, (2r^2 - 1)/3, r (1/2 - r^2/3)
      W a4 = _mm_mul_ps(r, _mm_sub_ps(c(0.5f), _mm_mul_ps(r2, c(1.0f / 3))));
      p = _mm_add_ps(_mm_sub_ps(_mm_mul_ps(r2, c(2.0f / 3)), c(1.0f / 3)), _mm_mul_ps(d, a4));
      p = _mm_sub_ps(_mm_mul_ps(d, p), r);
    }
    const W y = _mm_sub_ps(e, _mm_mul_ps(sc, _mm_add_ps(d, _mm_mul_ps(d, _mm_mul_ps(d, p)))));
    const W neg = _mm_cmplt_ps(x, _mm_setzero_ps());
    const W far = _mm_sub_ps(c(kCdf ? 1.0f : 2.0f), y);
    return kCdf ? _mm_blendv_ps(far, y, neg) : _mm_blendv_ps(y, far, neg);
  }
  // lanes beyond the vector range, where results fall below the smallest normal, and NaN
  static int bad_s(__m128 x) {
    return _mm_movemask_ps(kCdf ? _mm_cmpngt_ps(x, _mm_set1_ps(-12.7279f)) : _mm_cmpnlt_ps(x, _mm_set1_ps(9.0f)));
  }
  static int bad_d(V x) { return Base::bad_d(x); }
  static int scalar(double x, double *r) { return Base::scalar(x, r); }
};

template <Fn kFn, Mode kM>
using D = UnaryK<double, ErfF<true, kFn, kM>>;
template <Fn kFn>
using S = UnaryK<float, ErfF<false, kFn, kLite>>;
using DErfHa = UnaryK<double, ErfGridF<7, true>>;
using DErfLa = UnaryK<double, ErfGridF<5, false, true, true>>;
using DErfEp = UnaryK<double, ErfGridF<3, false, true, true>>;
using SErfHa = UnaryK<float, ErfGridF<6, false, false>>;
using SErfLa = UnaryK<float, ErfGridS<3>>;
using SErfEp = UnaryK<float, ErfGridS<2>>;
using DErfc = D<kErfc, kExact>;
using SErfcHa = S<kErfc>;
using SErfcLa = UnaryK<float, ErfcGridS<false, true>>;
using SErfcEp = UnaryK<float, ErfcGridS<false, false>>;
using DCdfNormHa = D<kCdfNorm, kExact>;
using DCdfNormLa = D<kCdfNorm, kPlain>;
using DCdfNormEp = D<kCdfNorm, kLite>;
using SCdfNormHa = S<kCdfNorm>;
using SCdfNormLa = UnaryK<float, ErfcGridS<true, true>>;
using SCdfNormEp = UnaryK<float, ErfcGridS<true, false>>;
}  // namespace

// Single HA rows evaluate the lite algorithm in double (within 0.51 ulp after rounding); single
// LA and EP compute in float; dErfc has one kernel.
ZYN_UNARY_LEVELS3(dErf, DErf)
ZYN_UNARY_LEVELS3(sErf, SErf)
ZYN_UNARY_KERNELS(dErfc, HA, DErfc)
ZYN_UNARY_LEVELS3(sErfc, SErfc)
ZYN_UNARY_LEVELS3(dCdfNorm, DCdfNorm)
ZYN_UNARY_LEVELS3(sCdfNorm, SCdfNorm)

}  // namespace zyn::vk
