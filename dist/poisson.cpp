// Poisson: table inversion of double uniforms below lambda 30, PTPE (Schmeiser and
// Kachitvichyanukul: BTPE's hat in the Poisson limit) from 30 on, the set-up cached in the
// stream's chunk RNX_CHUNK_POISSON. PoissonV: a lambda per element, no chunk.
// Negbinomial: table inversion or the Gamma-Poisson mixture, the set-up in RNX_CHUNK_NEGBINOMIAL.
#include <climits>
#include <cfloat>
#include <cmath>

#include "dist/discrete.hpp"
#include "dist/gamma.hpp"

namespace zyn::dist::discrete {
namespace {

constexpr double kMaxLambda = 0x1p30;
constexpr double kPtpeFrom = 30;

bool BadLambda(double lambda) { return !(lambda >= 0 && lambda <= kMaxLambda); }

// Inversion: cumulative probabilities of 0 to 80 (P(k > 80) < 1e-14 for lambda below 30); terms
// below 2^-1000 are dropped, so no subnormal enters the sums.
constexpr int kPoissonEntries = 81;
struct PoissonTable {
  int32_t entries, start;  // the terms that are not 0; the search's start, int(lambda)
  double last, reserved[2];  // the term f(entries - 1)
  double cum[kPoissonEntries];
};

// PTPE in double: BTPE's set-up with q = 1 and npq = fm = lambda. near[kBtpeSteps + j] holds
// f(m + j) / f(m) for |j| <= 20.
struct Ptpe {
  int32_t m, unused;
  double rlambda, far, p1, rp1, c, rc, lambda_l, lambda_r, rlambda_l, rlambda_r, p2, p3, p4;
  double stirling_m;
  double near[2 * kBtpeSteps + 1];
};

// The chunk: the key lambda, the branch, then its record; 696 bytes.
struct PoissonSetUp {
  double lambda;
  int32_t ptpe, unused;
  union {
    PoissonTable table;
    Ptpe hat;
  };
};
static_assert(sizeof(PoissonSetUp) == 696);

void SetUpTable(PoissonTable &t, double lambda) {
  double f = SetupExp(-lambda), sum = f;
  t.start = static_cast<int32_t>(lambda);
  t.cum[0] = f;
  t.entries = 1;
  t.last = f;
  for (int k = 1; k < kPoissonEntries; ++k) {
    f *= lambda / k;
    if (f < 0x1p-1000) break;
    sum += f;
    t.cum[k] = sum;
    t.entries = k + 1;
    t.last = f;
  }
  for (int k = t.entries; k < kPoissonEntries; ++k) t.cum[k] = sum;
}

void SetUpPtpe(Ptpe &e, double lambda) {
  e.m = static_cast<int32_t>(lambda);
  const double m = e.m, xm = m + 0.5;
  e.rlambda = 1 / lambda;
  e.far = lambda / 2 - 1;
  e.p1 = std::floor(2.195 * std::sqrt(lambda) - 4.6) + 0.5;
  e.rp1 = 1 / e.p1;
  e.c = 0.134 + 20.5 / (15.3 + m);
  e.rc = 1 / e.c;
  const double xl = xm - e.p1, xr = xm + e.p1;
  double a = (lambda - xl) / lambda;
  e.lambda_l = a * (1 + 0.5 * a);
  a = (xr - lambda) / xr;
  e.lambda_r = a * (1 + 0.5 * a);
  e.rlambda_l = 1 / e.lambda_l;
  e.rlambda_r = 1 / e.lambda_r;
  e.p2 = e.p1 * (1 + 2 * e.c);
  e.p3 = e.p2 + e.c * e.rlambda_l;
  e.p4 = e.p3 + e.c * e.rlambda_r;
  e.stirling_m = StirlingCorrection(m + 1);
  double *mid = e.near + kBtpeSteps;  // m >= 30: no step leaves the support
  mid[0] = 1;
  for (int j = 1; j <= kBtpeSteps; ++j) {
    mid[j] = mid[j - 1] * (lambda / (m + j));
    mid[-j] = mid[1 - j] * ((m - j + 1) * e.rlambda);
  }
}

struct PtpeHat {
  const Ptpe &e;
  double lambda;

  bool Tail(double u) const { return u * e.p4 > e.p2; }

  // f(y) / f(m) >= v by the ratio recurrence, stopped once the product falls below v.
  bool Recurrence(int64_t y, double v) const {
    double f = 1;
    if (e.m < y) {
      for (int64_t i = e.m + 1; i <= y && f >= v; ++i) f *= lambda / double(i);
    } else {
      for (int64_t i = e.m; i > y && f >= v; --i) f *= double(i) * e.rlambda;
    }
    return v <= f;
  }

  bool Accept(double u, double v, double lnv, int64_t *k) const {
    const double x = u * e.p4;
    if (x <= e.p1) {
      *k = e.m + static_cast<int64_t>(std::floor(0.5 - e.p1 * v + x));
      return true;
    }
    const bool parallelogram = x <= e.p2, left = x <= e.p3;
    const double dx = (x - e.p1) * e.rc - e.p1;  // parallelogram: distance from m + 1/2
    const double off = parallelogram ? 0.5 + dx : left ? 0.5 - e.p1 + lnv * e.rlambda_l : 0.5 + e.p1 - lnv * e.rlambda_r;
    const double w = parallelogram ? v * e.c + 1 - std::fabs(dx) * e.rp1
                     : left        ? v * (x - e.p2) * e.lambda_l
                                   : v * (x - e.p3) * e.lambda_r;
    const int64_t y = e.m + static_cast<int64_t>(std::floor(off));
    *k = y;
    // Tails need v > 0 (it had no logarithm).
    const bool ok = (parallelogram | (v != 0.0)) & (w <= 1.0) & (y >= 0);
    const uint64_t at = static_cast<uint64_t>(y - e.m + kBtpeSteps);
    if (at <= 2 * kBtpeSteps) [[likely]]
      return ok & (w <= e.near[at]);
    if (!ok) return false;
    const int64_t dist = y > e.m ? y - e.m : e.m - y;
    if (double(dist) >= e.far) return Recurrence(y, w);
    if (w <= 0.0) return true;
    const double alv = std::log(w);
    const auto [tt, rho] = PtpeSqueeze(e.rlambda, double(dist));
    if (alv < tt - rho) return true;
    if (alv > tt + rho) return false;
    // ln(f(y) / f(m)) = (m + 1/2) ln((m + 1)/(y + 1)) + (y - m) ln(lambda / (y + 1)) + (y - m)
    // + S(m + 1) - S(y + 1): the logarithms of ratios near 1 by log1p, so the terms of size k that
    // cancel to about k^2 / lambda carry no error from lambda's magnitude.
    const double m = e.m, x1 = double(y) + 1, d = double(y) - m;
    const double bound = (m + 0.5) * std::log1p(-d / x1) + d * std::log1p((lambda - x1) / x1) + d + e.stirling_m -
                         StirlingCorrection(x1);
    return alv <= bound;
  }
};

int DrawPoisson(StreamState *stream, int n, int *r, const PoissonSetUp &s) {
  if (s.ptpe) return Rejection<double>(stream, n, r, Map{}, PtpeHat{s.hat, s.lambda});
  const PoissonTable &t = s.table;
  const double lambda = s.lambda;
  return InversionBlocks(stream, n, r, Map{}, [&](double u) {
    int k = SearchTable(t.cum, t.entries, t.start, u);
    if (k < t.entries) return k;
    if (t.entries < kPoissonEntries) return t.entries - 1;  // u within rounding of the total
    double f = t.last, sum = t.cum[kPoissonEntries - 1];
    for (--k; sum <= u && f > 0x1p-900;) {
      ++k;
      f *= lambda / k;
      sum += f;
    }
    return k;
  });
}

int Poisson(int method, StreamState *stream, int n, int *r, double lambda) {
  if (method != PoissonMethodPTPE || BadLambda(lambda)) return RNX_STATUS_BAD_PARAM;
  if (lambda == 0) {
    std::fill(r, r + n, 0);
    return int{RNX_STATUS_OK};
  }
  return Framed(ExponentialCallback<double>, [&] {
    void *block;
    if (const int status = SizedChunk(stream, RNX_CHUNK_POISSON, sizeof(PoissonSetUp), 1, &block); status < 0)
      return status;
    auto &s = *static_cast<PoissonSetUp *>(block);
    if (!(s.lambda == lambda)) {
      s.lambda = lambda;
      s.ptpe = lambda >= kPtpeFrom;
      if (s.ptpe)
        SetUpPtpe(s.hat, lambda);
      else
        SetUpTable(s.table, lambda);
    }
    return DrawPoisson(stream, n, r, s);
  });
}


// ---- PoissonV ------------------------------------------------------------------------------

constexpr double kPtrsFrom = 10;
constexpr double kSaturated = 0x1p31 + 0x1p20;

// Poisson(lambda[i]) into r[i] for m <= kBlock elements, inside the frame. Elements below 10 by
// inversion from 0 (one uniform each, drawn first, e^-lambda by one Exp call), the rest by PTRS
// (Hoermann 1993: transformed rejection with squeeze), in rounds of one pair of uniforms per
// element still pending. lambda 0 gives 0 with no draw; values above 2^31 - 1 (lambda from a
// Gamma mixture) are stored as 2^31 - 1, and lambda above 2^31 + 2^20 (22 standard deviations)
// gives that value with no draw.
int PoissonBlock(StreamState *stream, int m, const double *lambda, int *r) {
  alignas(16) double x[kBlock], u[2 * kBlock];
  int at[kBlock], small = 0, large = 0;
  for (int i = 0; i < m; ++i)
    if (lambda[i] == 0 || lambda[i] > kSaturated)
      r[i] = lambda[i] == 0 ? 0 : INT_MAX;
    else if (lambda[i] < kPtrsFrom)
      at[small++] = i;
  int status = RNX_STATUS_OK;
  if (small > 0) {
    for (int j = 0; j < small; ++j) x[j] = -lambda[at[j]];
    CallKernel(row::Exp<double>(), small, x, x);
    if ((status = Uniform<double>(0, stream, small, u, 0.0, 1.0)) < 0) return status;
    for (int j = 0; j < small; ++j) {
      // Terms below 2^-900 end the walk: u is then within rounding of the total.
      const double l = lambda[at[j]];
      double f = x[j], sum = f;
      int k = 0;
      while (sum <= u[j] && f > 0x1p-900) sum += (f *= l / ++k);
      r[at[j]] = k;
    }
  }
  for (int i = 0; i < m; ++i)
    if (lambda[i] >= kPtrsFrom && lambda[i] <= kSaturated) at[large++] = i;
  if (large == 0) return status;
  // Per-element constants: sqrt(lambda) and ln(lambda) by vector calls; then b, the acceptance
  // bound vr and ln(1/alpha) (one more Ln call).
  alignas(16) double b[kBlock], vr[kBlock], ln_lambda[kBlock], ln_inv_alpha[kBlock];
  for (int j = 0; j < large; ++j) x[j] = lambda[at[j]];
  CallKernel(row::Sqrt<double>(), large, x, b);
  CallKernel(row::Ln<double>(), large, x, ln_lambda);
  for (int j = 0; j < large; ++j) {
    b[j] = 0.931 + 2.53 * b[j];
    vr[j] = 0.9277 - 3.6224 / (b[j] - 2);
    ln_inv_alpha[j] = 1.1239 + 1.1328 / (b[j] - 3.4);
  }
  CallKernel(row::Ln<double>(), large, ln_inv_alpha, ln_inv_alpha);
  int pending[kBlock], test[kBlock];
  int64_t ks[kBlock];
  alignas(16) double logs[2 * kBlock];  // v and the hat's height of the candidates left to the final test
  for (int j = 0; j < large; ++j) pending[j] = j;
  for (int left = large; left > 0;) {
    if ((status = Uniform<double>(0, stream, 2 * left, u, 0.0, 1.0)) < 0) return status;
    // First pass: the squeeze accepts or rejects most candidates; the rest take their two
    // logarithms in one Ln call, then the final test.
    int still = 0, tests = 0;
    for (int t = 0; t < left; ++t) {
      const int j = pending[t];
      const double l = x[j], a = -0.059 + 0.02483 * b[j];
      const double uu = u[2 * t] - 0.5, v = u[2 * t + 1], us = 0.5 - std::fabs(uu);
      int64_t k = -1;
      if (us > 0) {
        const double kd = std::floor((2 * a / us + b[j]) * uu + l + 0.43);
        k = kd >= 0 && kd < 0x1p40 ? static_cast<int64_t>(kd) : -1;
        if (us >= 0.07 && v <= vr[j]) {
          r[at[j]] = static_cast<int>(std::min<int64_t>(k, INT_MAX));
          continue;
        }
      }
      if (k >= 0 && !(us < 0.013 && v > us)) {
        logs[2 * tests] = v;
        logs[2 * tests + 1] = a / (us * us) + b[j];
        ks[tests] = k;
        test[tests++] = j;
      } else {
        pending[still++] = j;
      }
    }
    if (tests > 0) CallKernel(row::Ln<double>(), 2 * tests, logs, logs);  // ln 0 gives kLnZero
    for (int i = 0; i < tests; ++i) {
      const int j = test[i];
      const int64_t k = ks[i];
      if (logs[2 * i] + ln_inv_alpha[j] - logs[2 * i + 1] <= -x[j] + double(k) * ln_lambda[j] - LnFactorial(k))
        r[at[j]] = static_cast<int>(std::min<int64_t>(k, INT_MAX));
      else
        pending[still++] = j;
    }
    left = still;
  }
  return status;
}

int PoissonV(int method, StreamState *stream, int n, int *r, const double *lambda) {
  if (method != PoissonVMethodPTRS || std::any_of(lambda, lambda + n, BadLambda)) return RNX_STATUS_BAD_PARAM;
  return Framed(ExponentialCallback<double>, [&] {
    int status = RNX_STATUS_OK;
    for (int done = 0; done < n; done += kBlock)
      if ((status = PoissonBlock(stream, std::min(n - done, kBlock), lambda + done, r + done)) < 0) return status;
    return status;
  });
}

// ---- Negbinomial ---------------------------------------------------------------------------

// Inversion: f(0) = p^a, f(k + 1) = f(k) (a + k)(1 - p)/(k + 1), 160 cumulative sums searched
// from the mode. Used when the mean a(1 - p)/p is below 30 and the table holds all but 2^-40 of
// the mass (so that the walk past it is short and rare); otherwise the Gamma-Poisson mixture,
// Poisson(Gamma(a) (1 - p)/p).
constexpr int kNegbinomialEntries = 160;
struct NegbinomialSetUp {
  double a, p;  // the key
  int32_t table, start;
  double scale, last, reserved;  // (1 - p)/p; the term f(159)
  double cum[kNegbinomialEntries];
};
static_assert(sizeof(NegbinomialSetUp) == 1328);

void SetUpNegbinomial(NegbinomialSetUp &s, double a, double p) {
  s.a = a, s.p = p;
  const double q = 1 - p, mean = a * q / p;
  s.scale = q / p;
  s.table = 0;
  if (!(mean < 30)) return;
  double f = SetupExp(a * SetupLn(p)), sum = f;
  s.cum[0] = f;
  for (int k = 1; k < kNegbinomialEntries; ++k) {
    f *= (a + (k - 1)) * q / k;
    if (f < 0x1p-1000) f = 0;
    s.cum[k] = (sum += f);
  }
  s.last = f;
  s.table = sum >= 1 - 0x1p-40;
  s.start = static_cast<int32_t>(std::min<double>(a > 1 ? std::floor((a - 1) * s.scale) : 0, kNegbinomialEntries - 1));
}

int Negbinomial(int method, StreamState *stream, int n, int *r, double a, double p) {
  if (method != NegbinomialMethodMixture || !(a > 0 && a <= DBL_MAX) || !(p > 0 && p <= 1)) return RNX_STATUS_BAD_PARAM;
  return Framed(LogCallback<double>, [&] {
    void *block;
    if (const int status = SizedChunk(stream, RNX_CHUNK_NEGBINOMIAL, sizeof(NegbinomialSetUp), 2, &block); status < 0)
      return status;
    if (p == 1) {
      std::fill(r, r + n, 0);
      return int{RNX_STATUS_OK};
    }
    auto &s = *static_cast<NegbinomialSetUp *>(block);
    if (!(s.a == a && s.p == p)) SetUpNegbinomial(s, a, p);
    if (s.table) {
      const double q = 1 - p;
      return InversionBlocks(stream, n, r, Map{}, [&](double u) {
        int64_t k = SearchTable(s.cum, kNegbinomialEntries, s.start, u);
        if (k < kNegbinomialEntries) return int(k);
        double f = s.last, sum = s.cum[kNegbinomialEntries - 1];
        for (--k; sum <= u && f > 0x1p-900 && k < INT_MAX;) {
          f *= (a + double(k)) * q / double(k + 1);
          ++k;
          sum += f;
        }
        return int(k);
      });
    }
    alignas(16) double lambda[kBlock];
    int status = RNX_STATUS_OK;
    for (int done = 0; done < n;) {
      const int m = std::min(n - done, kBlock);
      int made = 0;
      status = GammaStandard<double>(stream, m, lambda, a, &made, false);
      if (status < 0) return status;
      for (int i = 0; i < m; ++i) lambda[i] *= s.scale;
      if ((status = PoissonBlock(stream, m, lambda, r + done)) < 0) return status;
      done += m;
    }
    return status;
  });
}

}  // namespace
}  // namespace zyn::dist::discrete

using namespace zyn::dist::discrete;

ZYN_API int _rnxiRngPoisson(int method, StreamState *stream, int n, int *r, double lambda) {
  return Poisson(method, stream, n, r, lambda);
}

ZYN_API int _rnxiRngPoissonV(int method, StreamState *stream, int n, int *r, const double *lambda) {
  return PoissonV(method, stream, n, r, lambda);
}

ZYN_API int _rnxiRngNegbinomial(int method, StreamState *stream, int n, int *r, double a, double p) {
  return Negbinomial(method, stream, n, r, a, p);
}
