// Inverse error functions: ErfInv, ErfcInv and CdfNormInv, double and single, at three levels.
//
// All three are sigma erfinv(u) (sigma = 1, or sqrt 2 for the normal quantile), evaluated from
// generated piecewise polynomials (erfinv_data.hpp), with t = 1 - |u| > 0 given exactly (1 - |x|,
// or x, 2 - x, 2p, 2 - 2p), so that ErfcInv and CdfNormInv keep full accuracy down to the
// smallest t: the tail never forms u.
//   fast central, t >= 2^-8 (LA, EP, single HA): w = -ln(t (2 - t)) <= 4.86 and y = u P(v),
//       v = w kErfinvWScale - 1, one polynomial for all lanes; ln from a 128-entry table on the
//       significand's top bits and v formed in one scaled sum (v_of). The logarithm's absolute
//       error and the rounding of v and of u (kept as u + u_low at LA) cost at most 1.5 ulp at
//       LA, the polynomial (its constant term in two parts, its last two steps by Horner's
//       scheme) and the product with u about 1 more: 2.8 ulp measured.
//   tail, t < 2^-8: s = sqrt(w), y = sign s (k0 + K(s)) on quarter binades of s; only vectors
//       with such a lane evaluate it (1 in 128 uniform lanes).
//   HA  the accurate tables with central |u| < 1/2 in z = u^2 and the tail from |u| = 1/2, with
//       t (2 - t), its logarithm (reciprocal table, 2^-66) and s carried as double-doubles and
//       the leading products c0 u and k0 s exact (Dekker): below 0.7 ulp. Polynomials by
//       Estrin's scheme (the central one's last two steps by Horner's).
//   LA  the fast central piece at degree 21 after the logarithm to degree 6, the tail as at HA.
//   EP  the fast central piece at degree 11 after the logarithm to degree 3 (below 2^-33
//       absolute); the EP tail tables (2^-32) in plain arithmetic.
// All constants of the fast paths are read as stored vectors (see kd).
// Single rows: HA evaluates the double EP algorithm and rounds once (below 0.52 ulp); LA and EP
// compute the central piece in float on four lanes (logarithm after fdlibm's logf, polynomials
// of degree 9 and 4 with float coefficients, LA as in double: 2.4 ulp measured) and their tail lanes by the
// double EP tail. The scalar path of a single row evaluates the same vector code on one lane.
// At the edges (erfinv +-1, erfcinv 0 and 2, quantile 0 and 1) +-inf with STATUS_SINGULARITY;
// beyond them NaN with STATUS_DOMAIN. t below 2^-1021 (only reachable in double) takes the
// scalar path, where w comes from two library logarithms.
#include <cmath>
#include <type_traits>

#include "vector/explog/ln_core.hpp"
#include "vector/roots/policy.hpp"
#include "vector/errfun/erfinv_data.hpp"
#include "vector/errfun/lanes.hpp"
#include "vector/trig/dd.hpp"

#define ZYN_EI_INLINE inline __attribute__((always_inline))

namespace zyn::vk {
namespace {
using namespace errfun;
using V = __m128d;
using data::ErfinvTables;
using dd::set;

constexpr double kLn2Hi = 6.93147180369123816490e-01, kLn2Lo = 1.90821492927058770002e-10;
constexpr double kLg[7] = {6.666666666666735130e-01, 3.999999999940941908e-01, 2.857142874366239149e-01,
                           2.222219843214978396e-01, 1.818357216161805012e-01, 1.531383769920937332e-01,
                           1.479819860511658591e-01};

// ln q = hi + lo for positive normal q: q = 2^k m, m in [sqrt(2)/2, sqrt(2)), f = m - 1,
// s = f / (2 + f), ln m = f - f^2/2 + s (f^2/2 + R(s^2)) with the minimax series R (below
// 2^-58 relative with seven terms; kShort keeps four, below 2^-33 absolute). hi = k ln2_hi + f
// is split off exactly.
template <bool kShort>
ZYN_EI_INLINE void log_parts(V q, V &hi, V &lo) {
  __m128i b = _mm_add_epi64(_mm_castpd_si128(q), _mm_set1_epi64x(static_cast<long long>(0x3ff00000 - 0x3fe6a09e) << 32));
  __m128i k = _mm_sub_epi32(_mm_srli_epi64(b, 52), _mm_set1_epi64x(0x3ff));
  V dk = _mm_cvtepi32_pd(_mm_shuffle_epi32(k, _MM_SHUFFLE(3, 1, 2, 0)));
  __m128i mb = _mm_add_epi64(_mm_and_si128(b, _mm_set1_epi64x(0x000fffffffffffffLL)),
                             _mm_set1_epi64x(0x3fe6a09e00000000LL));
  V f = _mm_sub_pd(_mm_castsi128_pd(mb), set(1.0));  // exact
  V hfsq = _mm_mul_pd(set(0.5), _mm_mul_pd(f, f));
  V s = _mm_div_pd(f, _mm_add_pd(set(2.0), f));
  V z = _mm_mul_pd(s, s);
  const int n = kShort ? 4 : 7;
  V R = set(kLg[n - 1]);
  for (int i = n - 2; i >= 0; --i) R = _mm_add_pd(set(kLg[i]), _mm_mul_pd(z, R));
  R = _mm_mul_pd(z, R);
  V small = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(s, _mm_add_pd(hfsq, R)), hfsq), _mm_mul_pd(dk, set(kLn2Lo)));
  V e;
  dd::two_sum(_mm_mul_pd(dk, set(kLn2Hi)), f, hi, e);
  lo = _mm_add_pd(small, e);
}

// Constants of the fast paths as stored vectors, one 16-byte load each: GCC otherwise makes
// every splat a broadcast load (movddup, movss and shufps), which takes an FP pipe per use.
// The pointer is hidden so that the compiler cannot fold a stored vector back into a splat.
template <class T>
ZYN_EI_INLINE const T *hidden(const T *p) {
  asm("" : "+r"(p));
  return p;
}
template <double c>
alignas(16) inline constexpr double kPair[2] = {c, c};
template <float c>
alignas(16) inline constexpr float kQuad[4] = {c, c, c, c};
template <double c>
ZYN_EI_INLINE V kd() { return _mm_load_pd(hidden(kPair<c>)); }
template <float c>
ZYN_EI_INLINE __m128 kf() { return _mm_load_ps(hidden(kQuad<c>)); }
template <double c>
ZYN_EI_INLINE V cst(V) { return kd<c>(); }
template <double c>
ZYN_EI_INLINE __m128 cst(__m128) { return kf<static_cast<float>(c)>(); }
ZYN_EI_INLINE V ld(V, const double *p) { return _mm_load_pd(p); }
ZYN_EI_INLINE __m128 ld(__m128, const float *p) { return _mm_load_ps(p); }

// A fast central polynomial's coefficients splatted: c[0..N] highest degree first, c[N + 1]
// the low part of the constant term.
template <class T, int N>
struct Splat {
  static constexpr int L = 16 / sizeof(T);
  alignas(16) T c[N + 2][L];
};
template <class T, int N>
Splat<T, N> splat_of(const T *c, T c_low) {
  Splat<T, N> s;
  for (int j = 0; j < Splat<T, N>::L; ++j) {
    for (int i = 0; i <= N; ++i) s.c[i][j] = c[i];
    s.c[N + 1][j] = c_low;
  }
  return s;
}

// The same on splatted coefficients.
template <int N, bool kLow, class W, class S>
ZYN_EI_INLINE W estrin_s(W v, const S &s) {
  return estrin_g<N, kLow>(v, [&](int i) { return ld(v, s.c[i]); });
}

// Veltkamp's split (as dd::split) with its constant stored.
ZYN_EI_INLINE void split_v(V a, V &h, V &l) {
  const V c = _mm_mul_pd(a, kd<134217729.0>());  // 2^27 + 1
  h = _mm_sub_pd(c, _mm_sub_pd(c, a));
  l = _mm_sub_pd(a, h);
}

// The accurate central set splatted: R's coefficients, and c0 high (also split) and low.
struct CentralSplat {
  Splat<double, data::kErfinvCentralDeg[0]> r;
  alignas(16) double c0h[2], c0l[2], c0hh[2], c0hl[2];
};
template <int kScale>
const CentralSplat central_splat = [] {
  const ErfinvTables &tb = data::erfinv_tables[kScale][0];
  CentralSplat s{splat_of<double, data::kErfinvCentralDeg[0]>(tb.central, 0.0), {}, {}, {}, {}};
  const double h = tb.c0[0], c = h * 134217729.0, hh = c - (c - h);
  for (int j = 0; j < 2; ++j) s.c0h[j] = h, s.c0l[j] = tb.c0[1], s.c0hh[j] = hh, s.c0hl[j] = h - hh;
  return s;
}();

// The central piece, |u| < 1/2, accurate set, with the leading product c0 u exact.
template <int kScale>
inline V central(V u) {
  const CentralSplat &cs = central_splat<kScale>;
  V z = _mm_mul_pd(u, u);
  // R by Estrin's scheme but for its last two steps, whose roundings would show near z = 1/4
  constexpr int N = data::kErfinvCentralDeg[0];
  const V v = _mm_sub_pd(_mm_mul_pd(kd<8.0>(), z), kd<1.0>());
  V R = _mm_add_pd(ld(v, cs.r.c[N - 1]), _mm_mul_pd(v, estrin_s<N - 2, false>(v, cs.r)));
  R = _mm_add_pd(ld(v, cs.r.c[N]), _mm_mul_pd(v, R));
  // below 2^-960 the Dekker terms would underflow: work on u 2^100 and scale back (exact for a
  // normal result); a subnormal result takes the one rounding of c0_high u (within 0.51 ulp,
  // c0_low being 2^-55 of it)
  const V au = _mm_andnot_pd(kd<-0.0>(), u);
  const V tiny = _mm_cmplt_pd(au, kd<0x1p-960>());
  const bool any_tiny = _mm_movemask_pd(tiny) != 0;
  const V us = any_tiny ? _mm_blendv_pd(u, _mm_mul_pd(u, kd<0x1p100>()), tiny) : u;
  const V c0h = _mm_load_pd(cs.c0h), ch = _mm_load_pd(cs.c0hh), cl = _mm_load_pd(cs.c0hl);
  V uh, ul;
  split_v(us, uh, ul);
  const V ph = _mm_mul_pd(us, c0h);
  const V pl = _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_sub_pd(_mm_mul_pd(uh, ch), ph), _mm_mul_pd(uh, cl)), _mm_mul_pd(ul, ch)),
                          _mm_mul_pd(ul, cl));
  V y = _mm_add_pd(ph, _mm_add_pd(_mm_add_pd(pl, _mm_mul_pd(us, _mm_load_pd(cs.c0l))), _mm_mul_pd(_mm_mul_pd(us, z), R)));
  if (__builtin_expect(!any_tiny, 1)) return y;
  y = _mm_blendv_pd(y, _mm_mul_pd(y, kd<0x1p-100>()), tiny);
  return _mm_blendv_pd(y, _mm_mul_pd(u, c0h), _mm_cmplt_pd(au, kd<0x1.2p-1022>()));
}

// 1/x to 12 bits for x in the float range.
inline V rcp_d(V x) { return _mm_cvtps_pd(_mm_rcp_ps(_mm_cvtpd_ps(x))); }

// The tail polynomial at s = sh + sl, positive.
template <int kSet, bool kExact>
inline V tail_at(const ErfinvTables &tb, V sh, V sl) {
  __m128i j = _mm_sub_epi64(_mm_srli_epi64(_mm_castpd_si128(sh), 50), _mm_set1_epi64x(0x3fe << 2));
  int j0 = _mm_cvtsi128_si32(j), j1 = _mm_extract_epi32(j, 2);
  j0 = j0 < 0 ? 0 : j0 >= data::kErfinvPieces ? data::kErfinvPieces - 1 : j0;
  j1 = j1 < 0 ? 0 : j1 >= data::kErfinvPieces ? data::kErfinvPieces - 1 : j1;
  const data::ErfinvPiece &p0 = tb.tail[j0], &p1 = tb.tail[j1];
  V t = _mm_mul_pd(_mm_sub_pd(sh, _mm_setr_pd(p0.mid, p1.mid)), _mm_setr_pd(p0.inv_half, p1.inv_half));
  constexpr int N = data::kErfinvTailDeg[kSet];
  const V K = estrin_g<N, false>(t, [&](int i) { return _mm_setr_pd(p0.c[i], p1.c[i]); });
  V k0 = _mm_setr_pd(p0.k0, p1.k0);
  if constexpr (!kExact) return _mm_mul_pd(sh, _mm_add_pd(k0, K));
  V ph, pl;
  dd::two_prod(sh, k0, ph, pl);
  return _mm_add_pd(ph, _mm_add_pd(_mm_add_pd(pl, _mm_mul_pd(k0, sl)), _mm_mul_pd(sh, K)));
}

// The tail at w = -(hi + lo), from the logarithm's parts, exactly: s = sh + sl with sh the
// rounded root and sl from its exact residual.
template <int kSet>
inline V tail_from_log(const ErfinvTables &tb, V hi, V lo) {
  V wh, wl;
  dd::fast_two_sum(_mm_sub_pd(_mm_setzero_pd(), hi), _mm_sub_pd(_mm_setzero_pd(), lo), wh, wl);
  V sh = _mm_sqrt_pd(wh), p, pe;
  dd::two_prod(sh, sh, p, pe);
  // the residual is below 2^-52 w: a 12-bit reciprocal of 2 sh is enough for sl
  V sl = _mm_mul_pd(_mm_add_pd(_mm_sub_pd(_mm_sub_pd(wh, p), pe), wl), _mm_mul_pd(kd<0.5>(), rcp_d(sh)));
  return tail_at<kSet, true>(tb, sh, sl);
}

// ln(t (2 - t) 2^scale) as hi + lo, with t (2 - t) formed to about 2^-100 first.
inline void log_q(V t, double scale, V &hi, V &lo) {
  V a, ae, q, qe;
  dd::two_sum(kd<2.0>(), _mm_sub_pd(_mm_setzero_pd(), t), a, ae);
  dd::two_prod(_mm_mul_pd(t, set(scale)), a, q, qe);
  qe = _mm_add_pd(qe, _mm_mul_pd(_mm_mul_pd(t, set(scale)), ae));
  ln_parts<true, true>(q, ln_biased_exponent(q), hi, lo);  // below 2^-66 absolute
  // qe / q is below 2^-52: a 12-bit reciprocal will do, and below 2^-120 (where |ln q| > 83)
  // the term may shrink
  lo = _mm_add_pd(lo, _mm_mul_pd(qe, rcp_d(_mm_max_pd(q, kd<0x1p-120>()))));
}

// The tail from t in (0, 1/2], t (2 - t) normal.
template <int kSet, bool kExact>
__attribute__((noinline)) V tail(const ErfinvTables &tb, V t) {
  V hi, lo;
  if constexpr (!kExact) {
    log_parts<kSet == 1>(_mm_mul_pd(t, _mm_sub_pd(kd<2.0>(), t)), hi, lo);
    return tail_at<kSet, false>(tb, _mm_sqrt_pd(_mm_sub_pd(_mm_setzero_pd(), _mm_add_pd(hi, lo))), _mm_setzero_pd());
  }
  log_q(t, 1.0, hi, lo);
  return tail_from_log<kSet>(tb, hi, lo);
}

// sigma erfinv(u) at HA from u (used where |u| < 1/2), t = 1 - |u| (used elsewhere) and the
// sign of the tail; a vector takes the pieces its lanes need.
template <int kScale>
inline V evaluate(V u, V t, V neg_tail) {
  const ErfinvTables &tb = data::erfinv_tables[kScale][0];
  V is_central = _mm_cmplt_pd(_mm_andnot_pd(kd<-0.0>(), u), kd<0.5>());
  int m = _mm_movemask_pd(is_central);
  if (m == 3) return central<kScale>(u);
  V safe_t = _mm_blendv_pd(t, kd<0.25>(), is_central);
  V y = _mm_xor_pd(tail<0, true>(tb, safe_t), _mm_and_pd(neg_tail, kd<-0.0>()));
  if (m == 0) return y;
  return _mm_blendv_pd(y, central<kScale>(_mm_and_pd(u, is_central)), is_central);
}

// The LA sets' polynomial, c0 + c0_low + v (c1 + v Q(v)) with Q by Estrin's scheme: Estrin's
// own last sums, of terms near the result's size, would round twice at its ulp (double ErfInv
// LA up to 4.8 ulp in all, against 2.8).
template <int N, class W, class S>
ZYN_EI_INLINE W poly_la(W v, const S &s) {
  const W p = add(ld(v, s.c[N - 1]), mul(v, estrin_s<N - 2, false>(v, s)));
  return add(add(mul(v, p), ld(v, s.c[N + 1])), ld(v, s.c[N]));
}

// The splatted fast central sets, [scale][set] as erfinv_w and erfinv_wf, copied at load time
// (the generated tables are constant-initialized, so they are ready by then).
template <class T, int kSet>
using WSplat = Splat<T, std::is_same_v<T, double> ? data::kErfinvWDeg[kSet] : data::kErfinvWDegF[kSet]>;
template <class T, int kScale, int kSet>
const WSplat<T, kSet> w_splat = [] {
  if constexpr (std::is_same_v<T, double>) {
    const data::ErfinvW &w = data::erfinv_w[kScale][kSet];
    return splat_of<double, data::kErfinvWDeg[kSet]>(w.c, kSet == 0 ? w.c0_low : 0.0);
  } else {
    const data::ErfinvWF &w = data::erfinv_wf[kScale][kSet];
    return splat_of<float, data::kErfinvWDegF[kSet]>(w.c, w.c0_low);
  }
}();

// The variable of the fast central polynomial, v = -kErfinvWScale ln q - 1, for q in [2^-8, 1]
// (the argument t (2 - t)): q = 2^k m with m in [1, 2), the table's c next to m by its top
// fraction bits, u = (m - c) / c with m - c exact and |u| <= 2^-8, ln q = k ln 2 + ln c +
// ln(1 + u). The large part -kErfinvWScale (k ln2_high + ln_high(c)) - 1 is exact (k an integer
// in [-8, 0], both highs on short grids) and the rest, of u's size, is scaled and added once.
// The polynomial sees only absolute errors of v.
// LA: ln(1 + u) to degree 6; v's rounding and 2^-60 besides. EP: degree 3, ln 2 and ln c in one
// part each, below 2^-33.
template <bool kEp>
ZYN_EI_INLINE V v_of(V q) {
  constexpr double kS = data::kErfinvWScale;
  const __m128i b = _mm_castpd_si128(q);
  const __m128i j = _mm_and_si128(_mm_srli_epi64(b, 52 - data::kErfinvLogBits), _mm_set1_epi64x((1 << data::kErfinvLogBits) - 1));
  const data::ErfinvLogEntry &e0 = data::erfinv_log[_mm_cvtsi128_si32(j)], &e1 = data::erfinv_log[_mm_extract_epi32(j, 2)];
  const V m = _mm_or_pd(_mm_and_pd(q, _mm_castsi128_pd(_mm_set1_epi64x(0x000fffffffffffffLL))), kd<1.0>());
  const V a = _mm_load_pd(&e0.c), b2 = _mm_load_pd(&e1.c);
  const V u = _mm_mul_pd(_mm_sub_pd(m, _mm_unpacklo_pd(a, b2)), _mm_unpackhi_pd(a, b2));
  const V f = _mm_load_pd(&e0.ln_high), g = _mm_load_pd(&e1.ln_high);
  const V L = _mm_unpacklo_pd(f, g);
  const V k = _mm_sub_pd(ln_biased_exponent(q), kd<1023.0>());
  const V u2 = _mm_mul_pd(u, u);
  if constexpr (kEp) {  // summed for a short dependency chain from u
    const V b = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(k, kd<-kS * kLn2La>()), kd<1.0>()), _mm_mul_pd(L, kd<-kS>()));
    const V c3 = _mm_add_pd(kd<kS / 2>(), _mm_mul_pd(kd<-kS / 3>(), u));
    return _mm_add_pd(_mm_add_pd(b, _mm_mul_pd(u, kd<-kS>())), _mm_mul_pd(u2, c3));
  }
  const V c3 = _mm_add_pd(kd<-0.5>(), _mm_mul_pd(kd<1.0 / 3>(), u));
  const V c5 = _mm_add_pd(kd<-0.25>(), _mm_mul_pd(kd<0.2>(), u));
  const V p = _mm_mul_pd(u2, _mm_add_pd(c3, _mm_mul_pd(u2, _mm_add_pd(c5, _mm_mul_pd(u2, kd<-1.0 / 6>())))));
  const V lo = _mm_add_pd(_mm_add_pd(_mm_mul_pd(k, kd<kLn2HaLow>()), _mm_unpackhi_pd(f, g)), _mm_add_pd(u, p));
  const V big = _mm_add_pd(_mm_sub_pd(_mm_mul_pd(k, kd<-kS * kLn2HaHigh>()), kd<1.0>()), _mm_mul_pd(L, kd<-kS>()));
  return _mm_add_pd(big, _mm_mul_pd(lo, kd<-kS>()));
}

// The fast central piece in double: sigma erfinv(u) for t = 1 - |u| >= 2^-8; u_low (accurate
// set only) is the rounding error of u where u is not exact.
template <int kScale, int kSet, bool kLow>
ZYN_EI_INLINE V central_w(V u, V u_low, V t, V s2) {
  const auto &c = w_splat<double, kScale, kSet>;
  // q = t (2 - t); lanes below 2^-8 (the tail's) take some q in [2^-8, 2] and are replaced
  const V q = _mm_mul_pd(_mm_max_pd(t, kd<0x1p-8>()), s2);
  const V v = v_of<kSet == 1>(q);
  constexpr int N = data::kErfinvWDeg[kSet];
  const V P = kSet == 1 ? estrin_s<N, false>(v, c) : poly_la<N>(v, c);
  if constexpr (!kLow) return _mm_mul_pd(u, P);
  return _mm_add_pd(_mm_mul_pd(u, P), _mm_mul_pd(u_low, P));
}

// Lanes with t < 2^-8 replaced by the tail, evaluated only when a lane needs it.
template <int kScale, int kSet, bool kExactTail>
ZYN_EI_INLINE V with_tail(V y, V t, V neg_tail) {
  const V central = _mm_cmpge_pd(t, kd<0x1p-8>());
  if (_mm_movemask_pd(central) == 3) return y;
  const V yt = tail<kSet, kExactTail>(data::erfinv_tables[kScale][kSet], _mm_blendv_pd(t, set(0.25), central));
  return _mm_blendv_pd(_mm_xor_pd(yt, _mm_and_pd(neg_tail, set(-0.0))), y, central);
}

// The fast polynomial's variable v = -kErfinvWScale ln q - 1 for positive normal floats q,
// after fdlibm's logf: q = 2^k m, m in [sqrt(2)/2, sqrt(2)), f = m - 1 exact, s = f / (2 + f),
// ln m = f - f^2/2 + s (f^2/2 + R(s^2)), below 1 ulp; kShort keeps one term of R (below 2^-14
// absolute, for EP). -kErfinvWScale k ln2_high - 1 is exact (ln2_high of 16 bits, k an integer
// in [-7, 0]), and the rest is scaled and added once.
template <bool kShort>
ZYN_EI_INLINE __m128 v_of_f(__m128 q) {
  constexpr float kS = static_cast<float>(data::kErfinvWScale), kLn2High = 0x1.62e4p-1f;
  const __m128i b = _mm_add_epi32(_mm_castps_si128(q), _mm_set1_epi32(0x3f800000 - 0x3f3504f3));
  const __m128 dk = _mm_cvtepi32_ps(_mm_sub_epi32(_mm_srli_epi32(b, 23), _mm_set1_epi32(127)));
  const __m128 m = _mm_castsi128_ps(_mm_add_epi32(_mm_and_si128(b, _mm_set1_epi32(0x007fffff)), _mm_set1_epi32(0x3f3504f3)));
  const __m128 f = _mm_sub_ps(m, kf<1.0f>());
  const __m128 hfsq = _mm_mul_ps(kf<0.5f>(), _mm_mul_ps(f, f));
  const __m128 s = _mm_div_ps(f, _mm_add_ps(kf<2.0f>(), f));
  const __m128 z = _mm_mul_ps(s, s);
  __m128 R;
  if constexpr (kShort) {
    R = kf<0x1.555554p-1f>();
  } else {
    const __m128 z2 = _mm_mul_ps(z, z);
    R = _mm_add_ps(_mm_add_ps(kf<0x1.555554p-1f>(), _mm_mul_ps(z, kf<0x1.999c26p-2f>())),
                   _mm_mul_ps(z2, _mm_add_ps(kf<0x1.23d3dcp-2f>(), _mm_mul_ps(z, kf<0x1.f13c4cp-3f>()))));
  }
  const __m128 rest = _mm_add_ps(_mm_add_ps(_mm_sub_ps(f, hfsq), _mm_mul_ps(dk, kf<static_cast<float>(kLn2Lo + (kLn2Hi - 0x1.62e4p-1))>())),
                                 _mm_mul_ps(s, _mm_add_ps(hfsq, _mm_mul_ps(z, R))));
  return _mm_add_ps(_mm_sub_ps(_mm_mul_ps(dk, kf<-kS * kLn2High>()), kf<1.0f>()), _mm_mul_ps(rest, kf<-kS>()));
}

// The fast central piece in float (set 0 LA, 1 EP): sigma erfinv(u) for t >= 2^-8.
template <int kScale, int kSet, bool kLow>
ZYN_EI_INLINE __m128 central_wf(__m128 u, __m128 u_low, __m128 t, __m128 s2) {
  const auto &c = w_splat<float, kScale, kSet>;
  constexpr int N = data::kErfinvWDegF[kSet];
  // q = t (2 - t); lanes below 2^-8 (the tail's) take some q in [2^-8, 2] and are replaced
  const __m128 v = v_of_f<kSet == 1>(_mm_mul_ps(_mm_max_ps(t, kf<0x1p-8f>()), s2));
  const __m128 P = kSet == 1 ? estrin_s<N, true>(v, c) : poly_la<N>(v, c);
  if constexpr (!kLow) return _mm_mul_ps(u, P);
  return _mm_add_ps(_mm_mul_ps(u, P), _mm_mul_ps(u_low, P));
}

// Float lanes with t < 2^-8 replaced by the double EP tail.
template <int kScale>
ZYN_EI_INLINE __m128 with_tail_f(__m128 y, __m128 t, __m128 neg_tail) {
  const __m128 central = _mm_cmpge_ps(t, kf<0x1p-8f>());
  if (_mm_movemask_ps(central) == 15) return y;
  const ErfinvTables &tb = data::erfinv_tables[kScale][1];
  const __m128 ts = _mm_blendv_ps(t, _mm_set1_ps(0.25f), central);
  const V lo = tail<1, false>(tb, _mm_cvtps_pd(ts)), hi = tail<1, false>(tb, _mm_cvtps_pd(_mm_movehl_ps(ts, ts)));
  const __m128 yt = _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
  return _mm_blendv_ps(_mm_xor_ps(yt, _mm_and_ps(neg_tail, _mm_set1_ps(-0.0f))), y, central);
}

// The scalar tail for t below 2^-1021 (erfcinv and the quantile only): t scaled by 2^200
// into the normal range, 200 ln 2 taken off the logarithm's parts (200 ln2_hi is exact).
template <int kScale, int kSet, bool kExact>
double tiny_tail(double t, bool negative) {
  const ErfinvTables &tb = data::erfinv_tables[kScale][kSet];
  V hi, lo, vt = _mm_set1_pd(t);
  if constexpr (kExact) {
    log_q(vt, 0x1p200, hi, lo);
  } else {
    log_parts<kSet == 1>(_mm_mul_pd(_mm_mul_pd(vt, set(0x1p200)), _mm_sub_pd(set(2.0), vt)), hi, lo);
  }
  V h, e;
  dd::two_sum(hi, set(-200 * kLn2Hi), h, e);
  lo = _mm_add_pd(_mm_add_pd(lo, e), set(-200 * kLn2Lo));
  double r;
  if constexpr (kExact)
    r = _mm_cvtsd_f64(tail_from_log<kSet>(tb, h, lo));
  else
    r = _mm_cvtsd_f64(tail_at<kSet, false>(tb, _mm_sqrt_pd(_mm_sub_pd(_mm_setzero_pd(), _mm_add_pd(h, lo))), _mm_setzero_pd()));
  return negative ? -r : r;
}

// Level: 0 LA, 1 HA, 2 EP.
constexpr int set_of(int level) { return level == 2 ? 1 : 0; }

enum Fn { kErfInv, kErfcInv, kCdfNormInv };

template <bool kDouble, Fn kFn, int kLevel>
struct InvF {
  static constexpr int kSet = set_of(kLevel);
  // the double-double tail at HA and LA, where w near its smallest value would otherwise cost
  // LA up to 4 ulp
  static constexpr bool kExactTail = kLevel != 2;
  static constexpr bool kMasksOnly = kFn == kCdfNormInv || (kFn == kErfcInv && kDouble && kLevel == 2);
  static constexpr const char *kName = kFn == kErfInv ? (kDouble ? "vdErfInv" : "vsErfInv")
                                       : kFn == kErfcInv ? (kDouble ? "vdErfcInv" : "vsErfcInv")
                                                         : (kDouble ? "vdCdfNormInv" : "vsCdfNormInv");
  // the domain's open interval, and the edge below which t leaves the vector path
  static constexpr double kLo = kFn == kErfInv ? -1 : 0, kHi = kFn == kErfInv ? 1 : kFn == kErfcInv ? 2 : 1;
  static constexpr double kTiny = kFn == kErfInv ? -1 : 0x1p-1021;

  // double rows below HA and single HA take the fast central piece in double (EP set except
  // for double LA); single LA and EP compute it in float
  static constexpr bool kFast = kLevel != 1 || !kDouble, kNativeS = !kDouble && kLevel != 1;
  static constexpr int kWSet = kDouble && kLevel == 0 ? 0 : 1;
  static constexpr int kScale = kFn == kCdfNormInv ? 1 : 0;

  // u, its rounding error (zero where u is exact), t and the tail's sign from x, in the type's
  // arithmetic: 1 - x is exact for x in [1/2, 2], 2p - 1 for p >= 1/4, t always.
  // s2 is 2 - t, formed beside t rather than after it (rounded alike).
  template <class W>
  static void args(W x, W &u, W &u_low, W &t, W &s2, W &neg_tail) {
    const W one = cst<1.0>(x), two = cst<2.0>(x);
    if constexpr (kFn == kErfInv) {
      u = x;
      u_low = splat(x, 0);
      t = sub(one, abs_v(x));
      s2 = add(one, abs_v(x));
      neg_tail = lt(x, splat(x, 0));
    } else if constexpr (kFn == kErfcInv) {
      neg_tail = lt(one, x);
      t = blend(x, sub(two, x), neg_tail);
      s2 = blend(sub(two, x), x, neg_tail);
      u = sub(one, x);
      u_low = sub(sub(one, u), x);
    } else {
      neg_tail = lt(x, cst<0.5>(x));
      const W two_p = add(x, x);
      t = blend(sub(two, two_p), two_p, neg_tail);
      s2 = blend(two_p, sub(two, two_p), neg_tail);
      u = sub(two_p, one);
      u_low = sub(two_p, add(u, one));
    }
  }

  ZYN_EI_INLINE static V eval_d(V x) {
    if constexpr (kFast) {
      V u, u_low, t, s2, neg_tail;
      args(x, u, u_low, t, s2, neg_tail);
      return with_tail<kScale, kWSet, kExactTail && kDouble>(central_w<kScale, kWSet, kWSet == 0 && kFn != kErfInv>(u, u_low, t, s2), t, neg_tail);
    }
    const V zero = _mm_setzero_pd();
    if constexpr (kFn == kErfInv) {
      V t = _mm_sub_pd(kd<1.0>(), _mm_andnot_pd(kd<-0.0>(), x));
      return evaluate<0>(x, t, _mm_cmplt_pd(x, zero));
    } else if constexpr (kFn == kErfcInv) {
      V upper = _mm_cmpgt_pd(x, kd<1.0>());
      V t = _mm_blendv_pd(x, _mm_sub_pd(kd<2.0>(), x), upper);
      return evaluate<0>(_mm_sub_pd(kd<1.0>(), x), t, upper);
    } else {
      V lower = _mm_cmplt_pd(x, kd<0.5>());
      V two_p = _mm_add_pd(x, x);
      V t = _mm_blendv_pd(_mm_sub_pd(kd<2.0>(), two_p), two_p, lower);
      return evaluate<1>(_mm_sub_pd(two_p, kd<1.0>()), t, lower);
    }
  }
  ZYN_EI_INLINE static __m128 eval_s(__m128 x) requires kNativeS {
    __m128 u, u_low, t, s2, neg_tail;
    args(x, u, u_low, t, s2, neg_tail);
    return with_tail_f<kScale>(central_wf<kScale, kLevel == 2, kLevel == 0 && kFn != kErfInv>(u, u_low, t, s2), t, neg_tail);
  }
  static int bad_d(V x) {
    // erfinv: |x| in (0, 1) by its high word; zeros and the smallest denormals (high word 0)
    // go to the scalar path, which keeps the sign of zero
    if constexpr (kFn == kErfInv) return outside_d(_mm_andnot_pd(kd<-0.0>(), x), 1, 0x3fefffff);
    V ok = _mm_and_pd(_mm_cmpgt_pd(x, kd<kTiny>()), _mm_cmplt_pd(x, kd<kHi>()));
    if constexpr (kFn == kErfcInv) ok = _mm_and_pd(ok, _mm_cmplt_pd(x, kd<2 - kTiny>()));
    return _mm_movemask_pd(ok) ^ 3;
  }
  // the same test on floats (no float reaches t < 2^-1021)
  static int bad_s(__m128 x) requires kNativeS {
    const __m128 zero = _mm_setzero_ps();
    __m128 ok = _mm_and_ps(_mm_cmpgt_ps(x, _mm_set1_ps(static_cast<float>(kLo))),
                           _mm_cmplt_ps(x, _mm_set1_ps(static_cast<float>(kHi))));
    if constexpr (kFn == kErfInv) ok = _mm_andnot_ps(_mm_cmpeq_ps(x, zero), ok);
    return _mm_movemask_ps(ok) ^ 15;
  }
  static int scalar(double x, double *r) {
    if (std::isnan(x) || (kFn == kErfInv && x == 0)) {
      *r = x + x;
      return 0;
    }
    if (x == kLo || x == kHi) {
      // erfinv(-1) = -inf, erfcinv(0) = +inf, the quantile of 0 is -inf
      bool plus = kFn == kErfcInv ? x == kLo : x == kHi;
      *r = runtime_div(plus ? 1.0 : -1.0, 0.0);
      return STATUS_SINGULARITY;
    }
    if (!(x > kLo && x < kHi)) {
      *r = runtime_div(0.0, 0.0);
      return STATUS_DOMAIN;
    }
    if constexpr (kFn == kErfcInv) {
      if (x < kTiny || x > 2 - kTiny) {  // 2 - x is exact and tiny only for denormal steps
        *r = tiny_tail<0, kSet, kExactTail>(x < 1 ? x : 2 - x, x > 1);
        return 0;
      }
    }
    if constexpr (kFn == kCdfNormInv) {
      if (x < kTiny) {
        *r = tiny_tail<1, kSet, kExactTail>(x + x, true);
        return 0;
      }
    }
    if constexpr (kNativeS)
      *r = _mm_cvtss_f32(eval_s(_mm_set1_ps(static_cast<float>(x))));
    else
      *r = eval_one<InvF>(x);
    return 0;
  }
};

template <Fn kFn, int kLevel>
using D = UnaryK<double, InvF<true, kFn, kLevel>>;
template <Fn kFn, int kLevel>
using S = UnaryK<float, InvF<false, kFn, kLevel>>;
using DErfInvLa = D<kErfInv, 0>;
using DErfInvHa = D<kErfInv, 1>;
using DErfInvEp = D<kErfInv, 2>;
using SErfInvLa = S<kErfInv, 0>;
using SErfInvHa = S<kErfInv, 1>;
using SErfInvEp = S<kErfInv, 2>;
using DErfcInvLa = D<kErfcInv, 0>;
using DErfcInvHa = D<kErfcInv, 1>;
using DErfcInvEp = D<kErfcInv, 2>;
using SErfcInvLa = S<kErfcInv, 0>;
using SErfcInvHa = S<kErfcInv, 1>;
using SErfcInvEp = S<kErfcInv, 2>;
using DCdfNormInvLa = D<kCdfNormInv, 0>;
using DCdfNormInvHa = D<kCdfNormInv, 1>;
using DCdfNormInvEp = D<kCdfNormInv, 2>;
using SCdfNormInvLa = S<kCdfNormInv, 0>;
using SCdfNormInvHa = S<kCdfNormInv, 1>;
using SCdfNormInvEp = S<kCdfNormInv, 2>;
}  // namespace

ZYN_UNARY_LEVELS3(dErfInv, DErfInv)
ZYN_UNARY_LEVELS3(sErfInv, SErfInv)
ZYN_UNARY_LEVELS3(dErfcInv, DErfcInv)
ZYN_UNARY_LEVELS3(sErfcInv, SErfcInv)
ZYN_UNARY_LEVELS3(dCdfNormInv, DCdfNormInv)
ZYN_UNARY_LEVELS3(sCdfNormInv, SCdfNormInv)

}  // namespace zyn::vk
