// Numerical helpers of the robust estimators: the chi-squared distribution by the regularised
// incomplete gamma function, its inverse, log-gamma, the rank test and the in-place inverse of a
// covariance matrix.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "frame/core_link.hpp"
#include "zyn/stats.h"

namespace {

constexpr double kEps = std::numeric_limits<double>::epsilon();
constexpr double kHalfLog2Pi = 0.91893853320467274178;

double lgamma_pos(double x) {
  int sign;
  return lgamma_r(x, &sign);  // the reentrant form: no write to the global signgam
}

// log(x^a e^-x / Gamma(a + 1)), the prefactor of both incomplete-gamma expansions. For a >= 10
// by Stirling's series with the deviance (x - a) - a log(x / a), through log1p near x = a, so
// that the error is about eps (|x - a| + a |log(x / a)|) instead of eps a log x.
double log_prefactor(double a, double x) {
  if (a < 10) return a * std::log(x) - x - lgamma_pos(a + 1);
  const double u = (x - a) / a;
  const double deviance = std::fabs(u) < 0.5 ? a * (u - std::log1p(u)) : (x - a) - a * std::log(x / a);
  const double r = 1 / a, r2 = r * r;
  const double stirling = r * (1.0 / 12 - r2 * (1.0 / 360 - r2 * (1.0 / 1260 - r2 / 1680)));
  return -deviance - 0.5 * std::log(a) - kHalfLog2Pi - stirling;
}

// P(a, x) and Q(a, x) = 1 - P, the one of them below 1/2 to full relative accuracy: the series
// for P when x < a + 1, else the continued fraction for Q (modified Lentz).
struct Gamma {
  double p, q;
};
Gamma incomplete_gamma(double a, double x) {
  if (!(x > 0)) return {0, 1};
  if (std::isinf(x)) return {1, 0};
  const double lf = log_prefactor(a, x);
  if (x < a + 1) {
    double term = 1, sum = 1;
    for (int k = 1; k < 10000 && term > sum * kEps * 0.5; ++k) {
      term *= x / (a + k);
      sum += term;
    }
    const double p = std::exp(lf) * sum;
    return {p, 1 - p};
  }
  constexpr double tiny = 1e-300;
  double b = x + 1 - a, c = 1 / tiny, d = 1 / b, h = d;
  for (int k = 1; k < 10000; ++k) {
    const double an = -k * (k - a);
    b += 2;
    d = an * d + b;
    if (std::fabs(d) < tiny) d = tiny;
    c = b + an / c;
    if (std::fabs(c) < tiny) c = tiny;
    d = 1 / d;
    const double delta = d * c;
    h *= delta;
    if (std::fabs(delta - 1) < kEps * 0.5) break;
  }
  const double q = std::exp(lf) * a * h;  // x^a e^-x / Gamma(a) = a * prefactor
  return {1 - q, q};
}

// Standard normal quantile to about 4.5e-4 (Abramowitz and Stegun 26.2.23): a start only.
double normal_quantile_rough(double y) {
  const double q = y < 0.5 ? y : 1 - y;
  const double t = std::sqrt(-2 * std::log(q));
  const double z = t - (2.515517 + t * (0.802853 + t * 0.010328)) /
                           (1 + t * (1.432788 + t * (0.189269 + t * 0.001308)));
  return y < 0.5 ? -z : z;
}


// Closed-form inverses of symmetric positive definite matrices of order 1 to 3 (row-major, full);
// false when a leading minor is not positive.
bool inverse1(double *m) {
  if (!(m[0] > 0)) return false;
  m[0] = 1 / m[0];
  return true;
}
bool inverse2(double *m) {
  const double a = m[0], b = m[1], d = m[3], det = a * d - b * b;
  if (!(a > 0) || !(det > 0)) return false;
  m[0] = d / det, m[1] = m[2] = -b / det, m[3] = a / det;
  return true;
}
bool inverse3(double *m) {
  const double a = m[0], b = m[1], c = m[2], d = m[4], e = m[5], f = m[8];
  const double A = d * f - e * e, B = c * e - b * f, C = b * e - c * d;
  const double det = a * A + b * B + c * C;
  if (!(a > 0) || !(a * d - b * b > 0) || !(det > 0)) return false;
  const double D = a * f - c * c, E = b * c - a * e, F = a * d - b * b;
  const double inv[9] = {A, B, C, B, D, E, C, E, F};
  for (int k = 0; k < 9; ++k) m[k] = inv[k] / det;
  return true;
}
bool (*const kClosedInverse[])(double *) = {nullptr, inverse1, inverse2, inverse3};

}  // namespace

double __rnxdLGamma(double x) { return lgamma_pos(x); }

double __rnxdChi2CDF(double d, double x) { return incomplete_gamma(0.5 * d, 0.5 * x).p; }

double __rnxdChi2PDF(double d, double x) {
  if (x < 0) return 0;
  if (x == 0) return d < 2 ? std::numeric_limits<double>::infinity() : d == 2 ? 0.5 : 0;
  const double a = 0.5 * d;
  return std::exp(log_prefactor(a, 0.5 * x)) * a / x;
}

// Newton steps from the Wilson-Hilferty start, inside a bracket that every evaluation narrows.
// Below the median on log P as a function of log x (nearly linear there, slope a), above it on
// log Q as a function of x (nearly linear, slope -1/2); either way each step is well scaled in
// the tails. Stops at a relative step of 5e-15.
double __rnxdChi2ICDF(double d, double y) {
  if (!(y > 0)) return 0;
  if (!(y < 1)) return std::numeric_limits<double>::infinity();
  const double lower = y <= 0.5, target = std::log(lower ? y : 1 - y);
  const double v = 0.1111111111111111 / (d / 2);  // 2 / (9 d)
  const double cube = 1 - v + normal_quantile_rough(y) * std::sqrt(v);
  double x = cube > 0.05 ? d * cube * cube * cube : 1e-3 * d;
  double lo = 0, hi = std::numeric_limits<double>::infinity();
  for (int it = 0; it < 500; ++it) {
    const Gamma g = incomplete_gamma(0.5 * d, 0.5 * x);
    const double pdf = __rnxdChi2PDF(d, x);
    const double tail = lower ? g.p : g.q;
    const double gap = std::log(tail) - target;
    if ((gap < 0) == lower) lo = x;
    else hi = x;
    double next;
    if (lower) next = x * std::exp(-gap * tail / (x * pdf));
    else next = x + gap * tail / pdf;
    if (!(next > lo && next < hi)) next = std::isinf(hi) ? 2 * x : lo > 0 ? std::sqrt(lo * hi) : hi / 4;
    if (gap == 0) return x;
    if (std::fabs(next - x) <= 5 * 9.999999999999999e-16 * x) return next;
    x = next;
  }
  return x;
}

int __rnxdTestCovRank(int64_t p, const double *matrix) {
  if (p == 1) return matrix[0] > 0 ? SsStatusOk : SsStatusCovRank;
  // Eigenvalues alone, by the symmetric QR algorithm on a copy (work 5p).
  auto *copy = static_cast<double *>(zyn::core::zyn_serv_allocate(sizeof(double) * (p * p + 6 * p), 128));
  if (copy == nullptr) return SsStatusMemory;
  std::copy(matrix, matrix + p * p, copy);
  double *w = copy + p * p, *work = w + p;
  const int n = static_cast<int>(p), lwork = static_cast<int>(5 * p);
  int info = 0;
  zyn::core::zyn_lapack_dsyev("N", "U", &n, copy, &n, w, work, &lwork, &info);
  const double least = w[0], largest = w[p - 1];
  zyn::core::zyn_serv_deallocate(copy);
  if (info != 0) return SsStatusEigen;
  return least > static_cast<double>(p) * kEps * largest ? SsStatusOk : SsStatusCovRank;
}

int __rnxdInvCov(int64_t p, double *matrix) {
  if (p < 4) {
    if (kClosedInverse[p](matrix)) return SsStatusOk;
    zyn::core::zyn_serv_deallocate(matrix);
    return SsStatusFactor;
  }
  const int n = static_cast<int>(p);
  int info = 0;
  zyn::core::zyn_lapack_dpotrf("L", &n, matrix, &n, &info);
  if (info != 0) {
    zyn::core::zyn_serv_deallocate(matrix);
    return SsStatusFactor;
  }
  zyn::core::zyn_lapack_dpotri("L", &n, matrix, &n, &info);
  if (info != 0) return SsStatusInverse;
  // The inverse is in the lower triangle, column-major: mirror it into the other half.
  for (int64_t i = 0; i < p; ++i)
    for (int64_t l = i + 1; l < p; ++l) matrix[l * p + i] = matrix[i * p + l];
  return SsStatusOk;
}
