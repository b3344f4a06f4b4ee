// Cores of the discrete samplers, shared by the families that build on them: table inversion of
// double uniforms, rejection from a hat with batched tail logarithms on pairs of single uniforms,
// and the two binomial set-ups (cumulative table, and BTPE of Kachitvichyanukul and Schmeiser).
// The set-up records hold no pointers, so a stream's chunk may carry them through copies and
// saved images.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "dist/frame.hpp"

namespace zyn::dist::discrete {

// Results leave the cores as base + sign * k: the identity, or the count of a swapped case
// (ntrial - k for a binomial run with 1 - p). 64-bit, since base and k may each pass 2^31 / 2.
struct Map {
  int64_t base = 0, sign = 1;
  int operator()(int64_t k) const { return static_cast<int>(base + sign * k); }
};

// ---- table inversion -----------------------------------------------------------------------

// The least k with u < cum[k], searched from `start` down or up; `entries` when u is at or above
// the last entry. cum is non-decreasing.
inline int SearchTable(const double *cum, int entries, int start, double u) {
  int k = start;
  if (u < cum[k]) {
    while (k > 0 && u < cum[k - 1]) --k;
  } else {
    do ++k;
    while (k < entries && u >= cum[k]);
  }
  return k;
}

// n results map(invert(u)) of double uniforms drawn in blocks of kBlock: one uniform per result.
template <class Invert>
int InversionBlocks(StreamState *stream, int n, int *r, Map map, Invert invert) {
  alignas(16) double u[kBlock];
  return UniformBlocks(stream, n, u, 1, 0.0, 1.0, [&](int done, int m) {
    for (int i = 0; i < m; ++i) r[done + i] = map(invert(u[i]));
  });
}

// ---- rejection -----------------------------------------------------------------------------

// A hat: Tail(u) says whether the candidate of the pair (u, v) needs ln v; Accept(u, v, lnv, &k)
// decides the candidate (lnv is meaningful for tails only, and v = 0 never gets a logarithm;
// others see some finite logarithm).
//
// Candidates are pairs of uniforms of T (single for the binomial family, double where the hat
// needs tails below 2^-24), drawn only as many as results are still wanted, so that the stream is
// consumed candidate by candidate: calls of 7 then 1 give the numbers of one call of 8. The tails'
// logarithms of one block go through one Ln call at the sampler level of T.
template <class T = float, class Hat>
int Rejection(StreamState *stream, int n, int *r, Map map, const Hat &hat) {
  alignas(16) T uv[2 * kBlock], lnv[kBlock + 1];
  int status = RNX_STATUS_OK;
  for (int done = 0; done < n;) {
    const int m = std::min(n - done, kBlock);
    status = Uniform<T>(0, stream, 2 * m, uv, T(0), T(1));
    if (status < 0) return status;
    int tails = 0;
    for (int i = 0; i < m; ++i)
      if (hat.Tail(uv[2 * i])) lnv[tails++] = uv[2 * i + 1] > T(0) ? uv[2 * i + 1] : T(1);
    if (tails > 0) CallKernel(row::Ln<T>(kSamplerLevel<T>), tails, lnv, lnv);
    lnv[tails] = T(0);  // what the candidates after the last tail read
    for (int i = 0, t = 0; i < m; ++i) {
      const T u = uv[2 * i], v = uv[2 * i + 1];
      int64_t k = 0;
      const bool accept = hat.Accept(u, v, lnv[t], &k);
      t += hat.Tail(u);
      r[done] = map(k);  // done < n here: at most one candidate per result still wanted
      done += accept;
    }
  }
  return status;
}

// ---- BTPE and PTPE ---------------------------------------------------------------------------

// c ? a : b. Single precision selects without a branch: the rejection tests select among values
// formed for every region.
inline float Pick(bool c, float a, float b) {
  const __m128 mask = _mm_castsi128_ps(_mm_set1_epi32(-static_cast<int>(c)));
  return _mm_cvtss_f32(_mm_blendv_ps(_mm_set_ss(b), _mm_set_ss(a), mask));
}
inline double Pick(bool c, double a, double b) { return c ? a : b; }

// The hat of Kachitvichyanukul and Schmeiser about the mode m, in T (single for the binomial,
// double for Poisson, BTPE's limit q = 1, npq = lambda): a triangle, parallelograms to p2, and
// exponential tails to p3 and p4; far = npq / 2 - 1, from where the ratio recurrence takes over
// again. near[kBtpeSteps + j] holds f(m + j) / f(m) for |j| <= 20, the products the recurrence
// forms, in the same order.
inline constexpr int kBtpeSteps = 20;
template <class T>
struct Tpe {
  int32_t m, unused;
  T npq, rnpq, far, p1, rp1, c, rc, lambda_l, lambda_r, rlambda_l, rlambda_r, p2, p3, p4;
  double stirling_m;  // the law's Stirling corrections at the mode
  T near[2 * kBtpeSteps + 1];
};

// The law supplies the ratios Up(i) = f(i) / f(i - 1) and Down(i) = f(i - 1) / f(i). fm is the
// mean (ntrial + 1) t, q = 1 - t; t and q enter only the tails' slopes, in double: fm - xl and
// xr - fm are differences of numbers near m.
template <class T, class Law>
void SetUpTpe(Tpe<T> &e, const Law &law, double fm, double t, T q, T npq, double stirling_m) {
  e.npq = npq;
  e.rnpq = T(1) / npq;
  e.far = npq / 2 - 1;
  e.p1 = std::floor(T(2.195) * std::sqrt(npq) - T(4.6) * q) + T(0.5);
  e.rp1 = T(1) / e.p1;
  e.c = T(0.134) + T(20.5) / (T(15.3) + static_cast<T>(e.m));
  e.rc = T(1) / e.c;
  const double xm = e.m + 0.5, xl = xm - e.p1, xr = xm + e.p1;
  double a = (fm - xl) / (fm - xl * t);
  e.lambda_l = static_cast<T>(a * (1 + 0.5 * a));
  a = (xr - fm) / (xr * q);
  e.lambda_r = static_cast<T>(a * (1 + 0.5 * a));
  e.rlambda_l = T(1) / e.lambda_l;
  e.rlambda_r = T(1) / e.lambda_r;
  e.p2 = e.p1 * (1 + 2 * e.c);
  e.p3 = e.p2 + e.c * e.rlambda_l;
  e.p4 = e.p3 + e.c * e.rlambda_r;
  e.stirling_m = stirling_m;
  T *mid = e.near + kBtpeSteps;  // m >= 30: no step leaves the support
  mid[0] = T(1);
  for (int j = 1; j <= kBtpeSteps; ++j) {
    mid[j] = mid[j - 1] * law.Up(e.m + j);
    mid[-j] = mid[1 - j] * law.Down(e.m - j + 1);
  }
}

// ln(f(m + j) / f(m)) lies within rho of tt = -k^2 / (2 npq), k = |j|, for k from 21 to npq/2 - 1.
template <class T>
struct Squeeze {
  T tt, rho;
};
// Poisson's, in double (rlambda = 1 / lambda).
inline Squeeze<double> PtpeSqueeze(double rlambda, double k) {
  return {-k * k * 0.5 * rlambda, k * rlambda * (((k / 3 + 0.625) * k + 1.0 / 6) * rlambda + 0.5)};
}

// The hat as Rejection's: besides the ratios the law gives the squeeze Band(rnpq, k), the exact
// log-ratio Bound(e, y) = ln(f(y) / f(m)) and the support's upper end hi.
template <class T, class Law>
struct TpeHat {
  const Tpe<T> &e;
  Law law;

  bool Tail(T u) const { return u * e.p4 > e.p2; }

  // f(y) / f(m) >= v by the ratio recurrence, stopped once the product falls below v: past the
  // mode every factor is below 1, and the product never nears the subnormal range.
  bool Recurrence(int64_t y, T v) const {
    T f = T(1);
    if (e.m < y) {
      for (int64_t i = e.m + 1; i <= y && f >= v; ++i) f *= law.Up(i);
    } else {
      for (int64_t i = e.m; i > y && f >= v; --i) f *= law.Down(i);
    }
    return v <= f;
  }

  // The triangle accepts at once. For the other regions every region's offset from m and test
  // value are formed and the candidate's selected, so that the common case (within 20 of m)
  // decides by one table look-up.
  bool Accept(T u, T v, T lnv, int64_t *k) const {
    const T x = u * e.p4;
    if (x <= e.p1) {
      *k = e.m + static_cast<int64_t>(std::floor(T(0.5) - e.p1 * v + x));
      return true;
    }
    const bool parallelogram = x <= e.p2, left = x <= e.p3;
    const T dx = (x - e.p1) * e.rc - e.p1;  // parallelogram: distance from m + 1/2
    const T off = Pick(parallelogram, T(0.5) + dx,
                       Pick(left, T(0.5) - e.p1 + lnv * e.rlambda_l, T(0.5) + e.p1 - lnv * e.rlambda_r));
    const T w = Pick(parallelogram, v * e.c + T(1) - std::fabs(dx) * e.rp1,
                     Pick(left, v * (x - e.p2) * e.lambda_l, v * (x - e.p3) * e.lambda_r));
    const int64_t y = e.m + static_cast<int64_t>(std::floor(off));
    *k = y;
    // Tails need v > 0 (it had no logarithm); the tails' w never pass 1.
    const bool ok = (parallelogram | (v != T(0))) & (w <= T(1)) & (y >= 0) & (y <= law.hi);
    const uint64_t at = static_cast<uint64_t>(y - e.m + kBtpeSteps);
    if (at <= 2 * kBtpeSteps) [[likely]]
      return ok & (w <= e.near[at]);
    if (!ok) return false;
    const int64_t dist = y > e.m ? y - e.m : e.m - y;
    if (static_cast<T>(dist) >= e.far) return Recurrence(y, w);
    if (w <= T(0)) return true;
    const T alv = std::log(w);
    const auto [tt, rho] = law.Band(e.rnpq, static_cast<T>(dist));
    if (alv < tt - rho) return true;
    if (alv > tt + rho) return false;
    return alv <= law.Bound(e, y);
  }
};

// ---- helpers of the set-ups ----------------------------------------------------------------

// The block of the stream's chunk `id`, `bytes` long: as found; or a new chunk, any chunk of the
// id with another size dropped first. A new block is zero but for `keys` leading NaN doubles, a
// key that no parameters match. RNX_STATUS_NO_MEMORY with the stream untouched, or the status of
// __rnxAddChunk (an old chunk of the id is then gone: a cache, the stream stays whole).
int SizedChunk(StreamState *stream, int id, int bytes, int keys, void **block);

// ln x!: a table below 16, Stirling's series to its 1/(360 x^3) term from 16 on (error below
// 8e-10).
double LnFactorial(int64_t x);

// Stirling's correction ln x! - ((x + 1/2) ln(x + 1) - (x + 1) + ln sqrt(2 pi)) in terms of
// x1 = x + 1: the series 1/(12 x1) - 1/(360 x1^3) + ... to its fifth term.
double StirlingCorrection(double x1);

// ---- binomial ------------------------------------------------------------------------------

// Kinds of set-up: bit 0 set when the set-up runs with 1 - p (results ntrial - k).
enum BinomialKind : int32_t { kTable = 0, kTableMapped = 1, kBtpe = 2, kBtpeMapped = 3 };

// Inversion, for ntrial * t below 30 (t = min(p, 1 - p)): cumulative probabilities of 0 up to
// int(ntrial * t) + 32 (at most ntrial) by f(k) = f(k - 1) * (g / k - ratio), f(0) = q^ntrial.
inline constexpr int kBinomialTableEntries = 62;
struct BinomialTable {
  int32_t kind, entries;
  double g, ratio, last;  // (ntrial + 1) * ratio, t / q, the last term f(entries - 1)
  double cum[kBinomialTableEntries];
};

// BTPE in single precision, for ntrial * t of 30 or more. Above 2^24 a float can't hold the mode,
// so results are formed as the integer m plus an offset computed in single precision.
struct Btpe {
  int32_t kind;
  float t, g, ratio;  // the recurrence's f(i) / f(i - 1) = g / i - ratio
  Tpe<float> hat;
};

// The set-up of Binomial(ntrial, p) and its key: ntrial, and p as passed for the table, rounded
// to single for BTPE (whose set-up depends on that rounding only). 544 bytes: the chunk.
struct BinomialSetUp {
  double ntrial, p;
  union {
    int32_t kind;
    BinomialTable table;
    Btpe btpe;
  };
};

// Whether the set-up serves (ntrial, p) as it stands.
bool Matches(const BinomialSetUp &b, int ntrial, double p);
// Computes the set-up for ntrial >= 1; q^ntrial of the table comes from the dPowx row at HA.
void SetUp(BinomialSetUp &b, int ntrial, double p);
// n results of the set-up's branch: one double uniform each by the table, pairs of singles by
// BTPE. Returns the last draw's status, or the first negative one.
int Draw(StreamState *stream, int n, int *r, const BinomialSetUp &b);

}  // namespace zyn::dist::discrete
