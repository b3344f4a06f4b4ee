// Sine, cosine and tangent of the LA and EP levels on native vectors (two doubles or four
// floats), one polynomial per function.
//
// Sine: x = n pi + r, n = round(x/pi), |r| <= pi/2; sin x = (-1)^n sin r.
// Cosine: x = h pi - r with h = m + 1/2, m = round(x/pi - 1/2); cos x = (-1)^m sin r.
// Tangent: x = n pi/2 + r, |r| <= pi/4; tan r = r + r z P(z)/Q(z) = N/Q with N = r (Q + z P),
// Q(0) = 1; tan x = N/Q for even n and -Q/N for odd n: one division.
// n comes from adding 1.5 2^(p-1) (p the precision): its last bit is the parity of n, shifted
// into the sign.
//
// Reduction: the pieces of pi hold so few bits that n pi[i] is exact for every n below the
// level's limit, except the last, which is pi's rounded rest. x - n pi[0] is exact (Sterbenz,
// or n = 0); every later subtraction is exact while the running value is small (its bits fit
// the precision) and otherwise rounds with an error below half an ulp of a value of the size
// of r. So the absolute error is |n| |pi - sum| + |n pi[last]| 2^-p plus at most 1.5 ulp(r):
//   double LA  32, 32, 32, 53 bits, |x| < 2^20: |n|, |2h| < 2^19.4, truncation 2^-159;
//   double EP  tangent 32, 32, 53 bits, truncation 2^-117; sine and cosine 32, 53 bits,
//              absolute error below 2^-66;
//   float LA   at most 13, 13, 13, then 24 bits, |x| < 2^11: |2h| < 2^11, truncation 2^-72;
//   float EP   sine and cosine 12, 24 bits, absolute error below 2^-31 (its tangent is LA's).
// No float below 2^11 comes closer than 2^-27.8 to a multiple of pi/2 (a search over all of
// them), no double closer than 2^-62: there the 4-piece and 3-piece reductions err relative to
// r by at most 2^-74 (double LA), 2^-36 (double EP tangent) and 2^-33 (float LA); elsewhere by
// about 1.5 ulp of r. The 2-piece EP reductions are absolute: the EP error of the sine and
// cosine is measured against max(|f|, 1).
// Polynomials (minimax, relative error of the approximation on the full interval):
//   double LA sine r^3..r^17 2^-58.8, EP r^3..r^9 2^-27.3;
//   float LA sine r^3..r^9 2^-26.4, EP r^3, r^5 2^-12.9;
//   tangent (rational, degrees of P and Q in z): double LA 2/3 2^-55.1, EP and float 1/2
//   2^-35.2 (2^-27 with the coefficients rounded to float); double EP evaluates it in monic
//   form (tan_fast_ep). Rationals with three coefficients fit to about 2^-25.8: too little.
// Every polynomial goes by Estrin's scheme: the kernels are bound by dependency chains.
// Zeros (|x| <= tiny, where a kernel needs it), infinities, NaN and |x| beyond the limit are
// not taken (the caller's scalar path).
#pragma once

#include <immintrin.h>

namespace zyn::vk::trig {

// The kernels' block loops interleave four vectors only when everything is inlined.
#define ZYN_TRIG_INLINE inline __attribute__((always_inline))

template <class T>
struct Vec;

template <>
struct Vec<double> {
  using V = __m128d;
  static constexpr double kShift = 0x1.8p52, kInvPi = 0x1.45f306dc9c883p-2, kTwoOverPi = 0x1.45f306dc9c883p-1;
  static V set1(double v) { return _mm_set1_pd(v); }
  static double lane0(V v) { return _mm_cvtsd_f64(v); }
  static V parity(V q) { return _mm_castsi128_pd(_mm_slli_epi64(_mm_castpd_si128(q), 63)); }
  static V xor_(V a, V b) { return _mm_xor_pd(a, b); }
  static V blend(V a, V b, V m) { return _mm_blendv_pd(a, b, m); }
  static int bad(V x, double limit, double tiny = 0) {
    V ax = _mm_andnot_pd(set1(-0.0), x);
    return _mm_movemask_pd(_mm_or_pd(_mm_cmpnlt_pd(ax, set1(limit)), _mm_cmple_pd(ax, set1(tiny))));
  }
};

template <>
struct Vec<float> {
  using V = __m128;
  static constexpr float kShift = 0x1.8p23f, kInvPi = 0x1.45f306p-2f, kTwoOverPi = 0x1.45f306p-1f;
  static V set1(float v) { return _mm_set1_ps(v); }
  static float lane0(V v) { return _mm_cvtss_f32(v); }
  static V parity(V q) { return _mm_castsi128_ps(_mm_slli_epi32(_mm_castps_si128(q), 31)); }
  static V xor_(V a, V b) { return _mm_xor_ps(a, b); }
  static V blend(V a, V b, V m) { return _mm_blendv_ps(a, b, m); }
  static int bad(V x, float limit, float tiny = 0) {
    V ax = _mm_andnot_ps(set1(-0.0f), x);
    return _mm_movemask_ps(_mm_or_ps(_mm_cmpnlt_ps(ax, set1(limit)), _mm_cmple_ps(ax, set1(tiny))));
  }
};

// One level of one type.
template <class T>
struct Fast {
  T limit;     // the vector path takes 0 < |x| < limit
  int npi;     // pi = pi[0] + ... + pi[npi - 1] for the sine and cosine
  T pi[4];
  int npt;     // and for the tangent (halved: exact)
  T pt[4];
  int ns;      // sin r = r + r z (s[0] + s[1] z + ...), z = r^2, |r| <= pi/2
  T s[8];
  int ntp;     // tangent: P = tp[0] + tp[1] z + ..., |r| <= pi/4
  T tp[4];
  int ntq;     // Q = 1 + z (tq[0] + tq[1] z + ...)
  T tq[4];
};

inline constexpr Fast<double> kFastDLa = {
    0x1p20, 4, {0x1.921fb544p+1, 0x1.0b4611a6p-33, 0x1.3198a2ep-68, 0x1.b839a252049c1p-103},
    4, {0x1.921fb544p+1, 0x1.0b4611a6p-33, 0x1.3198a2ep-68, 0x1.b839a252049c1p-103},
    8, {-0x1.5555555555555p-3, 0x1.11111111110c8p-7, -0x1.a01a01a014d6fp-13, 0x1.71de3a52c00f0p-19,
        -0x1.ae6454f85c8c9p-26, 0x1.6123dbeddb81dp-33, -0x1.ae48dd801e8ecp-41, 0x1.88e6c74229697p-49},
    3, {0x1.5555555555532p-2, -0x1.508123d213986p-6, 0x1.a56bf309d7638p-13},
    3, {-0x1.d8b1d050fe0c4p-2, 0x1.7e798c29361e5p-6, -0x1.b51d1dd409019p-13}};
inline constexpr Fast<double> kFastDEp = {
    0x1p20, 2, {0x1.921fb544p+1, 0x1.0b4611a626331p-33},
    3, {0x1.921fb544p+1, 0x1.0b4611a6p-33, 0x1.3198a2e037073p-68},
    4, {-0x1.55554bc831924p-3, 0x1.110ed37f77311p-7, -0x1.9f6ffec074bf1p-13, 0x1.5dbdee6d8a08cp-19},
    2, {0x1.55555540e0545p-2, -0x1.e81e095dc5e99p-7},
    2, {-0x1.c75c6dfa4fb74p-2, 0x1.05aaba3a9b594p-6}};
// Single HA on widened lanes: the LA reduction and the EP sine (2^-27.3), rounded once to
// single: below 0.5 + 0.1 ulp.
inline constexpr Fast<double> kFastDForS = {kFastDLa.limit, kFastDLa.npi,
                                           {kFastDLa.pi[0], kFastDLa.pi[1], kFastDLa.pi[2], kFastDLa.pi[3]},
                                           kFastDEp.npt, {kFastDEp.pt[0], kFastDEp.pt[1], kFastDEp.pt[2]},
                                           kFastDEp.ns, {kFastDEp.s[0], kFastDEp.s[1], kFastDEp.s[2], kFastDEp.s[3]},
                                           kFastDEp.ntp, {kFastDEp.tp[0], kFastDEp.tp[1]},
                                           kFastDEp.ntq, {kFastDEp.tq[0], kFastDEp.tq[1]}};
inline constexpr Fast<float> kFastSLa = {
    0x1p11f, 4, {0x1.922p+1f, -0x1.2afp-17f, 0x1.0b4p-33f, 0x1.84698ap-47f},
    4, {0x1.922p+1f, -0x1.2afp-17f, 0x1.0b4p-33f, 0x1.84698ap-47f},
    4, {-0x1.55554cp-3f, 0x1.110edep-7f, -0x1.9f7242p-13f, 0x1.5de3d2p-19f},
    2, {0x1.555556p-2f, -0x1.e81e0ap-7f},
    2, {-0x1.c75c6ep-2f, 0x1.05aabap-6f}};
inline constexpr Fast<float> kFastSEp = {
    0x1p11f, 2, {0x1.922p+1f, -0x1.2aeef4p-17f},
    4, {0x1.922p+1f, -0x1.2afp-17f, 0x1.0b4p-33f, 0x1.84698ap-47f},
    2, {-0x1.543b8ap-3f, 0x1.f5c776p-8f},
    2, {0x1.555556p-2f, -0x1.e81e0ap-7f},
    2, {-0x1.c75c6ep-2f, 0x1.05aabap-6f}};

template <int N, class V, class T>
ZYN_TRIG_INLINE V horner_fast(V z, const T *c) {
  V p = z * c[N - 1];
  for (int i = N - 2; i >= 0; --i) p = z * (p + c[i]);
  return p;
}

// z (c[0] + c[1] z + ... + c[N-1] z^(N-1)) by Estrin's scheme, w = {z, z^2, z^4, ...}: the
// dependency chain is about log2(N) multiply-adds instead of N (Horner), at one or two more
// multiplications.
template <int N, class T, class V>
ZYN_TRIG_INLINE V estrin(const V *w, const T *c) {
  if constexpr (N == 1) {
    return Vec<T>::set1(c[0]);
  } else if constexpr (N == 2) {
    return w[0] * c[1] + c[0];
  } else {
    constexpr int m = N > 4 ? 4 : 2, k = N > 4 ? 2 : 1;
    static_assert(N <= 8);
    return estrin<m>(w, c) + w[k] * estrin<N - m>(w, c + m);
  }
}
template <int N, class V, class T>
ZYN_TRIG_INLINE V estrin_z(V z, const T *c) {
  V w[3] = {z, z * z, V{}};
  if constexpr (N > 4) w[2] = w[1] * w[1];
  return z * estrin<N>(w, c);
}

// x - n pi in the level's pieces, scaled by k (1 or 1/2: the scaling is exact); kNeg gives
// n pi - x instead, so that the cosine needs no sign flip.
template <int N, bool kNeg, class T, class V>
ZYN_TRIG_INLINE V reduce_fast(V x, V n, const T *pi, T k) {
  V r = kNeg ? n * (pi[0] * k) - x : x - n * (pi[0] * k);
  for (int i = 1; i < N; ++i) r = kNeg ? r + n * (pi[i] * k) : r - n * (pi[i] * k);
  return r;
}

// r + r z S(z): the small part keeps its own rounding.
template <class T, int N, class V>
ZYN_TRIG_INLINE V sin_poly(V r, const T *c) {
  V z = r * r;
  V w[3] = {z, z * z, V{}};
  if constexpr (N > 4) w[2] = w[1] * w[1];
  return r + (r * z) * estrin<N>(w, c);
}

template <class T, const Fast<T> &L>
ZYN_TRIG_INLINE typename Vec<T>::V sin_fast(typename Vec<T>::V x) {
  using W = Vec<T>;
  auto q = x * W::kInvPi + W::kShift;
  auto r = reduce_fast<L.npi, false>(x, q - W::kShift, L.pi, T(1));
  return W::xor_(sin_poly<T, L.ns>(r, L.s), W::parity(q));
}

template <class T, const Fast<T> &L>
ZYN_TRIG_INLINE typename Vec<T>::V cos_fast(typename Vec<T>::V x) {
  using W = Vec<T>;
  auto q = (x * W::kInvPi - T(0.5)) + W::kShift;
  auto h = (q - W::kShift) + T(0.5);
  auto r = reduce_fast<L.npi, true>(x, h, L.pi, T(1));
  return W::xor_(sin_poly<T, L.ns>(r, L.s), W::parity(q));
}

template <class T, const Fast<T> &L>
ZYN_TRIG_INLINE typename Vec<T>::V tan_fast(typename Vec<T>::V x) {
  using W = Vec<T>;
  auto q = x * W::kTwoOverPi + W::kShift;
  auto r = reduce_fast<L.npt, false>(x, q - W::kShift, L.pt, T(0.5));
  auto z = r * r;
  auto d = T(1) + estrin_z<L.ntq>(z, L.tq);
  auto n = r * (d + estrin_z<L.ntp>(z, L.tp));
  auto odd = W::parity(q);  // the sign bit alone selects in blendv
  return W::xor_(W::blend(n, d, odd), odd) / W::blend(d, n, odd);
}

// Double EP tangent: kFastDEp's rational with numerator and denominator made monic,
// tan r = k r (z^2 + a z + b) / (z^2 + c z + d) (2^-35.2 as before; the coefficients rounded
// from the exact quotients), three operations each and r k aside, so the dependency chain from
// z is two multiply-adds shorter. z is taken from r before its last piece (|n pt[2]/2| < 2^-50):
// it leaves the last subtraction off the chain and changes the quotient by less than 2^-51.
// k b / d rounds to 1 + 2^-52.4, not to 1: tan x = x (the correctly rounded value for
// |x| <= kTanEpTiny) is left to the scalar path.
inline constexpr double kTanEpTiny = 0x1p-26;
inline constexpr double kTanEp[5] = {0x1.13a1602e65c6cp-4, -0x1.9e73c64ecbf0fp+6, 0x1.d13c9c36e6653p+9,
                                     -0x1.bd7fd3df63316p+4, 0x1.f4e961b844745p+5};

ZYN_TRIG_INLINE __m128d tan_fast_ep(__m128d x) {
  using W = Vec<double>;
  constexpr const Fast<double> &L = kFastDEp;
  static_assert(L.npt == 3);
  auto q = x * W::kTwoOverPi + W::kShift;
  auto n = q - W::kShift;
  auto r2 = (x - n * (L.pt[0] * 0.5)) - n * (L.pt[1] * 0.5);
  auto r = r2 - n * (L.pt[2] * 0.5);
  auto z = r2 * r2;
  auto odd = W::parity(q);  // -Q/N = Q/(-N): the sign goes into k, off the chain
  auto num = (r * W::xor_(W::set1(kTanEp[0]), odd)) * ((z + kTanEp[1]) * z + kTanEp[2]);
  auto den = (z + kTanEp[3]) * z + kTanEp[4];
  return W::blend(num, den, odd) / W::blend(den, num, odd);
}

#undef ZYN_TRIG_INLINE

}  // namespace zyn::vk::trig
