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

// The chunk: the key lambda, the branch, then its record; 696 bytes.
struct PoissonSetUp {
  double lambda;
  int32_t ptpe, unused;
  union {
    PoissonTable table;
    Tpe<double> hat;
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

// The Poisson law for the hat, all in double.
struct PtpeLaw {
  double lambda, rlambda;
  int64_t hi = INT64_MAX;

  double Up(int64_t i) const { return lambda / double(i); }
  double Down(int64_t i) const { return double(i) * rlambda; }
  static Squeeze<double> Band(double rlambda, double k) { return PtpeSqueeze(rlambda, k); }
  // ln(f(y) / f(m)) = (m + 1/2) ln((m + 1)/(y + 1)) + (y - m) ln(lambda / (y + 1)) + (y - m)
  // + S(m + 1) - S(y + 1): the logarithms of ratios near 1 by log1p, so the terms of size k that
  // cancel to about k^2 / lambda carry no error from lambda's magnitude.
  double Bound(const Tpe<double> &e, int64_t y) const {
    const double m = e.m, x1 = double(y) + 1, d = double(y) - m;
    return (m + 0.5) * std::log1p(-d / x1) + d * std::log1p((lambda - x1) / x1) + d + e.stirling_m -
           StirlingCorrection(x1);
  }
};

int DrawPoisson(StreamState *stream, int n, int *r, const PoissonSetUp &s) {
  if (s.ptpe) return Rejection<double>(stream, n, r, Map{}, TpeHat<double, PtpeLaw>{s.hat, {s.lambda, s.hat.rnpq}});
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
      if (s.ptpe) {
        s.hat.m = static_cast<int32_t>(lambda);
        SetUpTpe(s.hat, PtpeLaw{lambda, 1 / lambda}, lambda, 0.0, 1.0, lambda, StirlingCorrection(s.hat.m + 1.0));
      } else
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
