// Missing values: EM against Anderson's closed form for a bivariate monotone pattern (and the
// maximum-likelihood estimates without missing values); data augmentation against EM, the
// conjugate posterior and the data; threads. (Statuses: the table in test_task.cpp.)
#include <array>
#include <cstring>

#include "stats_test.hpp"

using namespace sstest;

namespace {

const double kNaN = std::nan("");
template <class T>
constexpr double kTol = sizeof(T) == 8 ? 1e-9 : 2e-6;

// A task over Data with the missing-value fields bound. p: EM limit, accuracy, DA iterations T,
// marker, sets m. count: params, initial estimates, prior, simulated, estimates (the low half of
// each serves 32-bit tasks).
template <class T>
struct Missing {
  Task<T> task;
  std::vector<T> par, est, sim, init, prior;
  int64_t q, count[5];
  Missing(const Data<T> &d, std::array<double, 5> p, int64_t missing) : task(d), par(p.begin(), p.end()) {
    q = d.flags.empty() ? d.p : std::count(d.flags.begin(), d.flags.end(), 1);
    const int64_t rec = q + q * (q + 1) / 2;
    est.assign(size_t((1 + p[2]) * rec), T(-777)), sim.assign(size_t(p[4] * missing + 1), T(-777));
    init.assign(rec, 0), prior.assign(2 + rec, 0);
    const int64_t c[5] = {5, 0, 0, int64_t(sim.size()) - 1, int64_t(est.size())};
    std::copy(c, c + 5, count);
    call<T>(__rnxdSSEditMissingVals, __rnxsSSEditMissingVals, task.t, &count[0], par.data(), &count[1], init.data(), &count[2],
            prior.data(), &count[3], sim.data(), &count[4], est.data());
  }
  int operator()(const ZynThreader *th = nullptr) { return entry<T>(kMissing, task.t, 0, SsMethodMissing, th); }
  // The first record against want (q means, covariance packed lower by rows), to kTol of |mean|
  // and sqrt(S_ii S_ll).
  void expect_estimate(const std::vector<long double> &want) const {
    auto var = [&](int64_t i) { return want[q + i * (i + 3) / 2]; };
    for (int64_t i = 0, e = q; i < q; ++i) {
      EXPECT_LE(std::fabs(est[i] - want[i]), kTol<T> * std::fabs(want[i])) << i;
      for (int64_t l = 0; l <= i; ++l, ++e) EXPECT_LE(std::fabs(est[e] - want[e]), kTol<T> * std::sqrt(var(i) * var(l))) << i << " " << l;
    }
  }
};

// Two variables (the flagged 0 and 2 of 3 in one row), the second missing (NaN or a marker) after
// observation r: EM converges to Anderson's estimates mu2 = m2 + b (mu1 - m1),
// s22 = s22r + b^2 (s11 - s11r), s12 = b s11, b = s12r / s11r, the r-suffixed moments (divisor
// r) of the complete cases. With r = n, one iteration gives the maximum-likelihood estimates.
template <class T>
void em_cases() {
  const struct { int64_t p, n, r, limit; bool om, marked, start; int width; int64_t blank = 0; } cases[] = {
      {2, 300, 180, 1000, false, false, false, 1}, {3, 300, 180, 1000, true, true, true, 0},
      {2, 5, 3, 1000, true, false, false, 1},  // too few observations a pattern for pattern sums
      {2, 300, 300, 1, false, false, false, 1}, {3, 2500, 2500, 1, true, false, false, 0},
      {2, 303, 180, 1000, false, false, false, 1, 3},  // 3 observations wholly missing: no effect
      {1, 50, 50, 1, false, false, false, 1}};
  for (const auto &c : cases) {
    Data<T> d = make_data<T>(c.p, c.n, c.om, false, c.p == 3, c.n + c.r);
    d.width = c.width;
    const int64_t u = 0, v = c.p - 1;
    for (int64_t j = c.r; j < c.n; ++j) d.at(v, j) = c.marked ? T(-999) : T(kNaN), d.at(u, j) = j < c.n - c.blank ? d.at(u, j) : T(kNaN);
    Missing<T> run(d, {double(c.limit), 1e-13, 0, c.marked ? -999 : kNaN, 0}, 0);
    if (c.start) run.count[1] = 5, run.init = {0, 0, 1, 0, 1};  // an initial estimate far off
    ASSERT_EQ(run(), SsStatusOk);
    const long double n = c.n - c.blank, r = c.r;
    long double m1 = 0, m1r = 0, m2r = 0, s11 = 0, s11r = 0, s12r = 0, s22r = 0;
    for (int64_t j = 0; j < n; ++j) m1 += d.at(u, j) / n, m1r += j < c.r ? d.at(u, j) / r : 0, m2r += j < c.r ? d.at(v, j) / r : 0;
    for (int64_t j = 0; j < n; ++j) {
      const long double a = d.at(u, j) - m1r, b = j < c.r ? d.at(v, j) - m2r : 0;
      s11 += (d.at(u, j) - m1) * (d.at(u, j) - m1) / n, s11r += j < c.r ? a * a / r : 0, s12r += a * b / r, s22r += b * b / r;
    }
    const long double b = s12r / s11r;
    if (c.p == 1) run.expect_estimate({m1, s11});
    else run.expect_estimate({m1, m2r + b * (m1 - m1r), s11, b * s11, s22r + b * b * (s11 - s11r)});
  }
}
TEST(SsMissing, EmMatchesAndersonDouble) { em_cases<double>(); }
TEST(SsMissing, EmMatchesAndersonFloat) { em_cases<float>(); }

// x0 = u, xi = u + 10 i + e / 100: variables 1 and 2 each missing with probability 1 / every.
template <class T>
Data<T> linked(int64_t n, bool om, int64_t *missing, int every = 10) {
  Data<T> d = make_data<T>(3, n, om, false, false, 1);
  std::mt19937_64 g(n);
  std::normal_distribution<double> z;
  *missing = 0;
  for (int64_t j = 0; j < n; ++j) {
    const double u = z(g);
    for (int64_t i = 0; i < 3; ++i) d.at(i, j) = T(u + 10 * i + (i ? z(g) / 100 : 0));
    for (int64_t i = 1; i < 3 && every; ++i)
      if (g() % every == 0) d.at(i, j) = T(kNaN), ++*missing;
  }
  return d;
}

// 2000 DA draws. With values missing (storage by variable, then by observation; flat prior): the
// draws of the mean average within 4 Monte Carlo errors (20 batch means) of EM's; each of the 4
// imputed sets holds, in storage order, values next to x0 + 10 i, and two sets differ by the
// conditional spread; the data are untouched.
// Complete data under a proper prior: the draws of the mean and the covariance average to the
// conjugate posterior's means, (n ybar + tau mu0) / (tau + n) and A / (nu + n - p - 1),
// A = inverse scale + S + tau n / (tau + n) (ybar - mu0)(ybar - mu0)^T.
template <class T>
void augmentation_cases() {
  for (int k = 0; k < 3; ++k) {
    int64_t M;
    const Data<T> d = linked<T>(400, k == 1, &M, k < 2 ? 10 : 0);
    Missing<T> run(d, {500, 1e-10, 2000, kNaN, 4}, M);
    long double want[9] = {}, ybar[3] = {}, tau = 400, nu = 8, mu0[3] = {1, 11, 21};
    for (int64_t i = 0, e = 3; i < 3 && k == 2; ++i) {
      run.count[2] = 11, run.prior = {T(tau), T(mu0[0]), T(mu0[1]), T(mu0[2]), T(nu), 1, 0, 1, 0, 0, 1};
      for (int64_t j = 0; j < d.n; ++j) ybar[i] += d.at(i, j) / (long double)d.n;
      want[i] = (d.n * ybar[i] + tau * mu0[i]) / (tau + d.n);
      for (int64_t l = 0; l <= i; ++l, ++e) {
        want[e] = (i == l) + tau * d.n / (tau + d.n) * (ybar[i] - mu0[i]) * (ybar[l] - mu0[l]);
        for (int64_t j = 0; j < d.n; ++j) want[e] += (d.at(i, j) - ybar[i]) * (d.at(l, j) - ybar[l]);
        want[e] /= nu + d.n - 4;
      }
    }
    ASSERT_EQ(run(), SsStatusOk);
    EXPECT_EQ(std::memcmp(run.task.d.x.data(), d.x.data(), sizeof(T) * d.x.size()), 0);
    for (int64_t e = 0; e < (k == 2 ? 9 : 3); ++e) {
      double batch[20] = {}, m = 0, v = 0;
      for (int64_t t = 1; t <= 2000; ++t) batch[(t - 1) / 100] += run.est[t * 9 + e] / 100.0;
      for (double b : batch) m += b / 20;
      for (double b : batch) v += (b - m) * (b - m) / 19 / 20;
      EXPECT_LE(std::fabs(m - (k == 2 ? want[e] : run.est[e])), 4 * std::sqrt(v)) << k << " " << e;
    }
    for (int64_t s = 0, e = 0; s < 4; ++s)
      for (int64_t a = 0; a < 3 * d.n; ++a) {
        const int64_t i = k ? a % 3 : a / d.n, j = k ? a / 3 : a % d.n;
        if (std::isnan(d.at(i, j))) { EXPECT_NEAR(run.sim[e++], d.at(0, j) + 10 * i, 0.1) << s << " " << a; }
      }
    EXPECT_EQ(run.sim.back(), T(-777));
    double msd = 0;  // two sets differ by the conditional spread: variance 1e-4 each
    for (int64_t e = 0; e < M; ++e) msd += std::pow(run.sim[e] - run.sim[M + e], 2) / (2 * M);
    EXPECT_NEAR(msd, k < 2 ? 1e-4 : 0, 5e-5) << k;
  }
}
TEST(SsMissing, AugmentationAgreesWithEmPosteriorAndDataDouble) { augmentation_cases<double>(); }
TEST(SsMissing, AugmentationAgreesWithEmPosteriorAndDataFloat) { augmentation_cases<float>(); }

TEST(SsMissing, ThreadsAgreeBitForBit) {
  int64_t M;
  const Data<double> d = linked<double>(8000, false, &M);
  expect_threads_agree([&](const ZynThreader *th) {
    Missing<double> r(d, {20, 1e-12, 30, kNaN, 3}, M);
    EXPECT_EQ(r(th), SsStatusOk);
    return flat(r.est, r.sim);
  }, 0);
}

}  // namespace
