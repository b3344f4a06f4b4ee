// Missing values: EM against the complete-data maximum-likelihood estimates (long-double sums) and
// Anderson's closed form for a bivariate monotone pattern; data augmentation against EM (the
// posterior mean within Monte Carlo error) and against the data (imputations where values are
// missing, the data untouched); threads; statuses.
#include <array>
#include <cstring>

#include "stats_test.hpp"

using namespace sstest;

namespace {

const double kNaN = std::nan("");

// A task over Data with the missing-value fields bound. par: EM limit, accuracy, DA iterations T,
// marker, sets m. count[]: params, estimates, simulated, initial estimates, prior (the low half
// of each serves 32-bit tasks).
template <class T>
struct Missing {
  Task<T> task;
  std::vector<T> par, est, sim, init, prior;
  int64_t q, count[5];
  Missing(const Data<T> &d, std::array<double, 5> p, int64_t missing) : task(d), par(p.begin(), p.end()) {
    q = d.flags.empty() ? d.p : std::count(d.flags.begin(), d.flags.end(), 1);
    const int64_t rec = q + q * (q + 1) / 2;
    est.assign(static_cast<size_t>((1 + p[2]) * rec), T(-777)), sim.assign(static_cast<size_t>(p[4] * missing + 1), T(-777));
    init.assign(rec, 0), prior.assign(2 + rec, 0);
    const int64_t c[5] = {5, int64_t(est.size()), int64_t(sim.size()) - 1, 0, 0};
    std::copy(c, c + 5, count);
    SsTask *t = task.t;
    t->missingParamCount = &count[0], t->missingParams = par.data(), t->estimateCount = &count[1];
    t->estimates = est.data(), t->simulatedCount = &count[2], t->simulated = sim.data();
    t->initialEstimateCount = &count[3], t->initialEstimates = init.data();
    t->priorCount = &count[4], t->prior = prior.data();
  }
  int operator()(const ZynThreader *th = nullptr, uint64_t method = SsMethodMissing) {
    if constexpr (sizeof(T) == 8) return _rnxdSSMissingValues(task.t, 0, method, th);
    else return _rnxsSSMissingValues(task.t, 0, method, th);
  }
  T cov(int64_t r, int64_t i, int64_t l) const { return est[r * (q + q * (q + 1) / 2) + q + std::max(i, l) * (std::max(i, l) + 1) / 2 + std::min(i, l)]; }
};

template <class T>
constexpr double kTol = sizeof(T) == 8 ? 1e-9 : 2e-6;

// Without missing values one EM step gives the mean and the covariance of divisor n.
template <class T>
void complete_cases() {
  const struct { int64_t p, n; bool om, flagged; int width; } cases[] = {
      {4, 300, false, false, 1}, {5, 2500, true, true, 0}, {1, 50, false, false, 1}};
  for (const auto &c : cases) {
    Data<T> d = make_data<T>(c.p, c.n, c.om, false, c.flagged, c.n);
    d.width = c.width;
    Missing<T> run(d, {1, 1e-12, 0, kNaN, 0}, 0);
    ASSERT_EQ(run(), SsStatusOk);
    const Reference ref(d);
    std::vector<int64_t> act;
    for (int64_t i = 0; i < d.p; ++i)
      if (d.active(i)) act.push_back(i);
    for (int64_t a = 0; a < run.q; ++a) {
      const int64_t i = act[a];
      EXPECT_LE(std::fabs(run.est[a] - ref.mean[i]), kTol<T> * ref.mean[i]) << i;
      for (int64_t b = 0; b <= a; ++b) {
        const int64_t l = act[b];
        const long double s = std::sqrt(ref.C[i * d.p + i] * ref.C[l * d.p + l]) / c.n;
        EXPECT_LE(std::fabs(run.cov(0, a, b) - ref.C[i * d.p + l] / c.n), kTol<T> * s) << i << " " << l;
      }
    }
  }
}
TEST(SsMissing, CompleteDataGivesMaximumLikelihoodDouble) { complete_cases<double>(); }
TEST(SsMissing, CompleteDataGivesMaximumLikelihoodFloat) { complete_cases<float>(); }

// Two variables, the second missing after observation r: EM converges to Anderson's estimates
// mu2 = m2 + b (mu1 - m1), s22 = s22r + b^2 (s11 - s11r), s12 = b s11, b = s12r / s11r, where
// the r-suffixed moments (divisor r) are of the complete cases.
template <class T>
void monotone_cases() {
  for (int k = 0; k < 5; ++k) {  // the last: too few observations a pattern for pattern sums
    const bool om = k % 2, marked = k / 2 == 1;
    const int64_t n = k < 4 ? 300 : 5, r = k < 4 ? 180 : 3;
    Data<T> d = make_data<T>(2, n, om, false, false, 5 + k);
    for (int64_t j = r; j < n; ++j) d.at(1, j) = marked ? T(-999) : T(kNaN);
    Missing<T> run(d, {1000, 1e-13, 0, marked ? -999 : kNaN, 0}, 0);
    if (marked) run.count[3] = 5, run.init = {0, 0, 1, 0, 1};  // an initial estimate far off
    ASSERT_EQ(run(), SsStatusOk);
    long double m1 = 0, m1r = 0, m2r = 0, s11 = 0, s11r = 0, s12r = 0, s22r = 0;
    for (int64_t j = 0; j < n; ++j) m1 += d.at(0, j) / (long double)n;
    for (int64_t j = 0; j < r; ++j) m1r += d.at(0, j) / (long double)r, m2r += d.at(1, j) / (long double)r;
    for (int64_t j = 0; j < n; ++j) s11 += (d.at(0, j) - m1) * (d.at(0, j) - m1) / n;
    for (int64_t j = 0; j < r; ++j) {
      const long double a = d.at(0, j) - m1r, b = d.at(1, j) - m2r;
      s11r += a * a / r, s12r += a * b / r, s22r += b * b / r;
    }
    const long double b = s12r / s11r, want[5] = {m1, m2r + b * (m1 - m1r), s11, b * s11, s22r + b * b * (s11 - s11r)};
    for (int e = 0; e < 5; ++e)
      EXPECT_LE(std::fabs(run.est[e] - want[e]), kTol<T> * (e < 2 ? std::fabs(want[e]) : std::sqrt(s11 * want[4]))) << k << " " << e;
  }
}
TEST(SsMissing, MonotoneMatchesAndersonDouble) { monotone_cases<double>(); }
TEST(SsMissing, MonotoneMatchesAndersonFloat) { monotone_cases<float>(); }

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

// 2000 DA draws: with values missing (storage by variable, then by observation; flat prior),
// the draws of the mean average within 4 Monte Carlo errors (20 batch means) of EM's, each of
// the 4 imputed sets holds, in storage order, values next to x0 + 10 i, and the data are
// untouched. Complete data under a proper prior: the draws of the mean and the covariance average
// to the conjugate posterior's means, (n ybar + tau mu0) / (tau + n) and A / (nu + n - p - 1),
// A = inverse scale + S + tau n / (tau + n) (ybar - mu0)(ybar - mu0)^T.
template <class T>
void augmentation_cases() {
  for (int k = 0; k < 3; ++k) {
    int64_t M;
    const Data<T> d = linked<T>(400, k == 1, &M, k < 2 ? 10 : 0);
    Missing<T> run(d, {500, 1e-10, 2000, kNaN, 4}, M);
    long double want[9] = {}, ybar[3] = {}, tau = 400, nu = 8, mu0[3] = {1, 11, 21};
    if (k == 2) {
      run.count[4] = 11, run.prior = {T(tau), T(mu0[0]), T(mu0[1]), T(mu0[2]), T(nu), 1, 0, 1, 0, 0, 1};
      for (int64_t j = 0; j < d.n; ++j)
        for (int64_t i = 0; i < 3; ++i) ybar[i] += d.at(i, j) / (long double)d.n;
      for (int64_t i = 0, e = 3; i < 3; ++i) {
        want[i] = (d.n * ybar[i] + tau * mu0[i]) / (tau + d.n);
        for (int64_t l = 0; l <= i; ++l, ++e) {
          want[e] = (i == l) + tau * d.n / (tau + d.n) * (ybar[i] - mu0[i]) * (ybar[l] - mu0[l]);
          for (int64_t j = 0; j < d.n; ++j) want[e] += (d.at(i, j) - ybar[i]) * (d.at(l, j) - ybar[l]);
          want[e] /= nu + d.n - 4;
        }
      }
    }
    ASSERT_EQ(run(), SsStatusOk);
    EXPECT_EQ(std::memcmp(run.task.d.x.data(), d.x.data(), sizeof(T) * d.x.size()), 0);
    for (int64_t e = 0; e < (k == 2 ? 9 : 3); ++e) {
      std::vector<double> batch(20);
      for (int64_t t = 1; t <= 2000; ++t) batch[(t - 1) / 100] += run.est[t * 9 + e] / 100.0;
      double m = 0, v = 0;
      for (double b : batch) m += b / 20;
      for (double b : batch) v += (b - m) * (b - m) / 19 / 20;
      EXPECT_LE(std::fabs(m - (k == 2 ? want[e] : run.est[e])), 4 * std::sqrt(v)) << k << " " << e;
    }
    for (int64_t s = 0, e = 0; s < 4; ++s)
      for (int64_t a = 0; a < 3 * d.n; ++a) {
        const int64_t i = k ? a % 3 : a / d.n, j = k ? a / 3 : a % d.n;
        if (std::isnan(d.at(i, j))) {
          EXPECT_NEAR(run.sim[e++], d.at(0, j) + 10 * i, 0.1) << s << " " << a;
        }
      }
    EXPECT_EQ(run.sim.back(), T(-777));
  }
}
TEST(SsMissing, AugmentationAgreesWithEmPosteriorAndDataDouble) { augmentation_cases<double>(); }
TEST(SsMissing, AugmentationAgreesWithEmPosteriorAndDataFloat) { augmentation_cases<float>(); }

TEST(SsMissing, ThreadsAgreeBitForBit) {
  int64_t M;
  auto run = [&](const std::vector<Data<double>> &chunks, const ZynThreader *th) {
    Missing<double> r(chunks[0], {20, 1e-12, 30, kNaN, 3}, M);
    EXPECT_EQ(r(th), SsStatusOk);
    Snapshot s;
    for (auto *v : {&r.est, &r.sim})
      for (double e : *v) s.add(e, 1);
    return s;
  };
  expect_threads_agree(run, linked<double>(8000, false, &M), 0);
}

// Statuses: one change to a good call (p 3, T 4, m 2) per row.
template <class T>
void statuses() {
  const struct {
    size_t null;           // the field nulled, or 0
    int what;              // 0-4 a param, 5-9 a count, 10 variable 1 all missing, 11 variable 2 constant
    double value;
    uint64_t method;
    int status;
  } rows[] = {
      {0, 0, 20, SsMethodFast, SsStatusMethod},
      {0, 5, 4, SsMethodMissing, SsStatusMissingParamCount},
      {offsetof(SsTask, missingParams), 0, 20, SsMethodMissing, SsStatusMissingParams},
      {0, 0, -1, SsMethodMissing, SsStatusMissingParams},
      {0, 1, 0, SsMethodMissing, SsStatusMissingParams},
      {0, 2, 1.5, SsMethodMissing, SsStatusMissingParams},
      {0, 4, 5, SsMethodMissing, SsStatusMissingParams},
      {0, 8, 8, SsMethodMissing, SsStatusInitialEstimateCount},
      {offsetof(SsTask, initialEstimates), 8, 9, SsMethodMissing, SsStatusInitialEstimates},
      {0, 6, 44, SsMethodMissing, SsStatusEstimateCount},
      {offsetof(SsTask, estimates), 0, 20, SsMethodMissing, SsStatusEstimates},
      {0, 7, 1, SsMethodMissing, SsStatusSimulatedCount},
      {offsetof(SsTask, simulated), 0, 20, SsMethodMissing, SsStatusSimulated},
      {offsetof(SsTask, simulated), 4, 0, SsMethodMissing, SsStatusOk},
      {0, 9, 3, SsMethodMissing, SsStatusPriorCount},
      {offsetof(SsTask, prior), 9, 11, SsMethodMissing, SsStatusPrior},
      {offsetof(SsTask, data), 0, 20, SsMethodMissing, SsStatusData},
      {0, 10, 0, SsMethodMissing, SsStatusCovRank},
      {0, 11, 0, SsMethodMissing, SsStatusFactor},
  };
  for (const auto &row : rows) {
    int64_t M;
    Data<T> d = linked<T>(60, false, &M);
    for (int64_t j = 0; j < d.n && row.what >= 10; ++j) d.at(row.what - 9, j) = row.what == 10 ? T(kNaN) : T(1);
    M = std::count_if(d.x.begin(), d.x.end(), [](T v) { return std::isnan(v); });
    Missing<T> run(d, {20, 1e-8, 4, kNaN, 2}, M);
    if (row.what < 5) run.par[row.what] = T(row.value);
    else if (row.what < 10) run.count[row.what - 5] = static_cast<int64_t>(row.value);
    if (row.null) *reinterpret_cast<void **>(reinterpret_cast<char *>(run.task.t) + row.null) = nullptr;
    EXPECT_EQ(run(nullptr, row.method), row.status) << "row " << &row - rows;
  }
}
TEST(SsMissing, StatusesDouble) { statuses<double>(); }
TEST(SsMissing, StatusesFloat) { statuses<float>(); }

}  // namespace
