// Robust estimation: the chi-squared helpers against a SciPy table, the covariance inverse against
// long-double Gauss-Jordan elimination.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "stats_test.hpp"

namespace {

TEST(Chi2, MatchesReferenceTable) {
  std::ifstream in(std::string(ZYN_STATS_DATA) + "/chi2.txt");
  ASSERT_TRUE(in.good());
  std::string line, kind;
  int rows = 0;
  while (std::getline(in, line)) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream s(line);
    double d = 0, x, want, got;
    s >> kind;
    if (kind != "lgamma") s >> d;
    s >> x >> want;
    if (kind == "cdf") got = __rnxdChi2CDF(d, x);
    else if (kind == "pdf") got = __rnxdChi2PDF(d, x);
    else if (kind == "ppf") got = __rnxdChi2ICDF(d, x);
    else got = __rnxdLGamma(x);
    EXPECT_LE(std::fabs(got - want), 1e-13 * std::fabs(want)) << line << " got " << got;
    if (kind == "ppf") {  // round trip through the distribution function, in the smaller tail
      const double c = __rnxdChi2CDF(d, got), back = x <= 0.5 ? c : 1 - c, tail = x <= 0.5 ? x : 1 - x;
      EXPECT_LE(std::fabs(back - tail), 1e-12 * tail) << line;
    }
    ++rows;
  }
  EXPECT_GT(rows, 200);
}

// Inverse of a symmetric matrix by Gauss-Jordan in long double.
std::vector<long double> gauss_jordan(std::vector<double> m, int p) {
  std::vector<long double> a(m.begin(), m.end()), inv(p * p, 0);
  for (int i = 0; i < p; ++i) inv[i * p + i] = 1;
  for (int c = 0; c < p; ++c) {
    int piv = c;
    for (int r = c + 1; r < p; ++r)
      if (std::fabs(a[r * p + c]) > std::fabs(a[piv * p + c])) piv = r;
    for (int k = 0; k < p; ++k) std::swap(a[c * p + k], a[piv * p + k]), std::swap(inv[c * p + k], inv[piv * p + k]);
    const long double f = a[c * p + c];
    for (int k = 0; k < p; ++k) a[c * p + k] /= f, inv[c * p + k] /= f;
    for (int r = 0; r < p; ++r) {
      if (r == c) continue;
      const long double g = a[r * p + c];
      for (int k = 0; k < p; ++k) a[r * p + k] -= g * a[c * p + k], inv[r * p + k] -= g * inv[c * p + k];
    }
  }
  return inv;
}

double *core_copy(const std::vector<double> &m) {
  auto *a = static_cast<double *>(zyn_serv_allocate(sizeof(double) * m.size(), 128));
  std::copy(m.begin(), m.end(), a);
  return a;
}

TEST(InvCov, MatchesGaussJordanAndRejectsSingular) {
  std::mt19937_64 g(7);
  std::normal_distribution<double> z;
  for (int p = 1; p <= 6; ++p) {
    // B B^T + I / 4: positive definite, of moderate condition.
    std::vector<double> b(p * p), m(p * p);
    for (double &v : b) v = z(g);
    for (int i = 0; i < p; ++i)
      for (int l = 0; l < p; ++l) {
        double s = i == l ? 0.25 : 0;
        for (int k = 0; k < p; ++k) s += b[i * p + k] * b[l * p + k];
        m[i * p + l] = s;
      }
    const auto want = gauss_jordan(m, p);
    double *a = core_copy(m);
    EXPECT_EQ(__rnxdTestCovRank(p, a), 0);
    ASSERT_EQ(__rnxdInvCov(p, a), 0) << p;
    long double scale = 0;
    for (auto v : want) scale = std::max(scale, std::fabs(v));
    for (int k = 0; k < p * p; ++k) EXPECT_NEAR(a[k], double(want[k]), 1e-12 * double(scale)) << p << " " << k;
    zyn_serv_deallocate(a);

    // Rank p - 1: the last variable a copy of the first. The rank test catches it; the inverse
    // fails in the factorisation (and has freed the matrix) or leaves a huge result.
    for (int i = 0; i < p; ++i) m[i * p + p - 1] = m[(p - 1) * p + i] = m[i * p];
    m[(p - 1) * p + p - 1] = m[0];
    a = core_copy(m);
    EXPECT_EQ(__rnxdTestCovRank(p, a), p == 1 ? 0 : SsStatusCovRank) << p;
    if (p > 1) {
      const int s = __rnxdInvCov(p, a);
      if (s == 0) zyn_serv_deallocate(a);
      EXPECT_TRUE(s == SsStatusFactor || s == 0) << p;
    } else {
      zyn_serv_deallocate(a);
    }
  }
}

}  // namespace

// ---- entries ------------------------------------------------------------------------------------

namespace {

using namespace sstest;

template <class T, class D, class S, class... A>
int call(D d, S s, A... a) {
  if constexpr (sizeof(T) == 8) return d(a...);
  else return s(a...);
}
template <class T>
int mad(SsTask *t, uint64_t e, uint64_t m, const ZynThreader *th = nullptr) {
  return call<T>(_rnxdSSMAD, _rnxsSSMAD, t, e, m, th);
}
template <class T>
int mahalanobis(SsTask *t, const ZynThreader *th = nullptr) {
  return call<T>(_rnxdSSMahDistance, _rnxsSSMahDistance, t, SsEstimateR2s, SsMethodFast, th);
}
template <class T>
int bacon(SsTask *t, const ZynThreader *th = nullptr) {
  return call<T>(_rnxdSSOutliersDetection, _rnxsSSOutliersDetection, t, 0, SsMethodOutliers, th);
}
// 1, 2 and 7 threads and the core library's table give the same bits.
template <class Run>
void expect_threads_same(Run run) {
  const Snapshot one = run(threads_table(1));
  for (const ZynThreader *th : {threads_table(2), threads_table(7), &zyn_serv_ss_threader})
    EXPECT_EQ(run(th).value, one.value);
}
template <class T>
constexpr double kTol = sizeof(T) == 8 ? 1e-13 : 2e-5;

// Median of a sorted vector, the two middle values averaged for an even count.
long double median_sorted(const std::vector<long double> &s) {
  const size_t n = s.size();
  return n % 2 ? s[n / 2] : (s[n / 2 - 1] + s[n / 2]) / 2;
}

template <class T>
void check_mad(const Data<T> &d, uint64_t method) {
  SCOPED_TRACE(testing::Message() << "p " << d.p << " n " << d.n << " om " << d.om << " w " << !d.w.empty()
                                  << " method " << method << " float " << (sizeof(T) == 4));
  Task<T> task(d);
  std::vector<T> md(d.p, -1), mn(d.p, -1), centre(d.p);
  for (int64_t i = 0; i < d.p; ++i) centre[i] = d.at(i, 0) + T(0.25);
  edit(task.t, SsEditMedianDeviation, md.data()), edit(task.t, SsEditMeanDeviation, mn.data());
  edit(task.t, SsEditMean, centre.data());
  auto run = [&](const ZynThreader *th) {
    EXPECT_EQ(mad<T>(task.t, SsEstimateMedianDeviation | SsEstimateMeanDeviation, method | SsMethodFast, th), 0);
    Snapshot s;
    for (int64_t i = 0; i < d.p; ++i) s.add(md[i], 1), s.add(mn[i], 1);
    return s;
  };
  const Snapshot got = run(nullptr);
  const Reference ref(d);
  for (int64_t i = 0; i < d.p; ++i) {
    if (!d.active(i)) {
      EXPECT_TRUE(md[i] == T(-1) && mn[i] == T(-1)) << i;
      continue;
    }
    std::vector<long double> v(d.n);
    for (int64_t j = 0; j < d.n; ++j) v[j] = d.at(i, j);
    std::sort(v.begin(), v.end());
    const long double med = median_sorted(v);
    for (auto &e : v) e = std::fabs(e - med);
    std::sort(v.begin(), v.end());
    // Scales: the median in T is rounded at the data's magnitude.
    EXPECT_NEAR(md[i], double(median_sorted(v)), kTol<T> * kOffset<T>) << i;
    const long double m = method == SsMethodFastUserMean ? centre[i] : ref.mean[i];
    long double s = 0;
    for (int64_t j = 0; j < d.n; ++j) s += (d.w.empty() ? 1 : d.w[j]) * std::fabs(d.at(i, j) - m);
    EXPECT_NEAR(mn[i], double(s / ref.W), kTol<T> * kOffset<T>) << i;
  }
  expect_threads_same(run);
}

TEST(SsMad, MatchesSortedAndLongDoubleReferencesWithThreads) {
  for (uint64_t method : {SsMethodFast, SsMethodFastUserMean})
    for (auto [p, n, om, w, flags] : {std::tuple{1, 1, false, false, false}, {1, 2, false, true, false},
                                      {3, 1001, true, true, true}, {5, 4000, false, false, false}}) {
      check_mad(make_data<double>(p, n, om, w, flags, 11 + n), method);
      check_mad(make_data<float>(p, n, om, w, flags, 11 + n), method);
    }
}

// Mahalanobis distances against long double, both layouts, n around the block size.
template <class T>
void check_distances(int64_t p, int64_t n, bool om) {
  SCOPED_TRACE(testing::Message() << "p " << p << " n " << n << " om " << om);
  const Data<T> d = make_data<T>(p, n, om, false, false, 5 + n);
  Task<T> task(d);
  std::mt19937_64 g(p);
  std::uniform_real_distribution<double> u(-0.3, 0.3);
  std::vector<T> mean(p), a(p * p), out(n, -1);
  for (int64_t i = 0; i < p; ++i) {
    mean[i] = kOffset<T> + T(i);
    for (int64_t l = 0; l <= i; ++l) a[i * p + l] = a[l * p + i] = T(i == l ? 1 + i : u(g));
  }
  edit(task.t, SsEditMean, mean.data()), edit(task.t, SsEditCov, a.data());
  edit(task.t, SsEditOutlierWeights, out.data());
  auto run = [&](const ZynThreader *th) {
    EXPECT_EQ(mahalanobis<T>(task.t, th), 0);
    Snapshot s;
    for (T e : out) s.add(e, 1);
    return s;
  };
  run(nullptr);
  for (int64_t j = 0; j < n; ++j) {
    long double q = 0;
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l < p; ++l)
        q += (d.at(i, j) - (long double)mean[i]) * a[i * p + l] * (d.at(l, j) - (long double)mean[l]);
    ASSERT_NEAR(out[j], double(std::sqrt(q)), (sizeof(T) == 8 ? 1e-13 : 1e-5) * double(std::sqrt(q)) + 1e-12) << j;
  }
  expect_threads_same(run);
}

TEST(SsMahDistance, MatchesLongDoubleAroundTheBlockSize) {
  for (auto [p, n] : {std::pair{1, 5}, {3, 255}, {4, 257}, {16, 1300}})
    for (bool om : {false, true}) check_distances<double>(p, n, om), check_distances<float>(p, n, om);
}

}  // namespace

namespace {

using namespace sstest;

// Gaussian data (unit variances, correlation 0.5 between neighbours) with the first `bad`
// observations moved by +8 in every variable.
template <class T>
Data<T> planted(int64_t p, int64_t n, int64_t bad, bool om, bool weighted, uint64_t seed) {
  Data<T> d;
  d.p = p, d.n = n, d.om = om, d.x.resize(p * n);
  std::mt19937_64 g(seed);
  std::normal_distribution<double> z;
  for (int64_t j = 0; j < n; ++j) {
    double prev = z(g);
    for (int64_t i = 0; i < p; ++i) {
      const double v = i == 0 ? prev : 0.5 * prev + 0.8660254037844386 * z(g);
      d.at(i, j) = static_cast<T>(v + (j < bad ? 8 : 0) + 100);
      prev = v;
    }
  }
  std::uniform_real_distribution<double> uw(0.5, 2.0);
  for (int64_t j = 0; weighted && j < n; ++j) d.w.push_back(static_cast<T>(uw(g)));
  return d;
}

template <class T>
struct Bacon {
  Task<T> task;
  std::vector<T> out, params;
  int64_t count = 3;
  Bacon(const Data<T> &d, std::vector<T> prm) : task(d), out(d.n, -1), params(std::move(prm)) {
    count = static_cast<int64_t>(params.size());
    task.t->outlierWeights = out.data();
    if (!params.empty()) task.t->outlierParamCount = &count, task.t->outlierParams = params.data();
  }
  int operator()(const ZynThreader *th = nullptr) { return bacon<T>(task.t, th); }
};

// The final subset is the cut of its own estimates: long-double mean and covariance of the
// subset, distances, the corrected chi-squared cut. Observations within 1e-6 of the cut are not
// judged.
template <class T>
void expect_fixed_point(const Data<T> &d, const std::vector<T> &out, double alpha) {
  const int64_t p = d.p, n = d.n;
  long double W = 0;
  std::vector<long double> m(p, 0);
  std::vector<double> c(p * p, 0);
  int64_t r = 0;
  auto w = [&](int64_t j) -> long double { return out[j] * (d.w.empty() ? 1 : d.w[j]); };
  for (int64_t j = 0; j < n; ++j) {
    W += w(j), r += out[j] != 0;
    for (int64_t i = 0; i < p; ++i) m[i] += w(j) * d.at(i, j);
  }
  for (auto &e : m) e /= W;
  std::vector<long double> cl(p * p, 0);
  for (int64_t j = 0; j < n; ++j)
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l < p; ++l) cl[i * p + l] += w(j) * (d.at(i, j) - m[i]) * (d.at(l, j) - m[l]);
  for (int64_t k = 0; k < p * p; ++k) c[k] = double(cl[k]);  // the divisor is irrelevant after scaling:
  long double W2 = 0;
  for (int64_t j = 0; j < n; ++j) W2 += w(j) * w(j);
  for (auto &e : c) e = double(e / (W - W2 / W));
  const auto inv = gauss_jordan(c, int(p));
  const double h = std::floor((n + p + 1) / 2.0);
  const double cut = (1 + (p + 1.0) / (n - p) + 2.0 / (n - 1 - 3 * p) + std::max(0.0, (h - r) / (h + r))) *
                     std::sqrt(__rnxdChi2ICDF(double(p), 1 - alpha));
  for (int64_t j = 0; j < n; ++j) {
    long double q = 0;
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l < p; ++l) q += (d.at(i, j) - m[i]) * inv[i * p + l] * (d.at(l, j) - m[l]);
    const double dist = double(std::sqrt(q));
    if (std::fabs(dist - cut) > 1e-6 * cut) {
      EXPECT_EQ(out[j], dist < cut ? 1 : 0) << j;
    }
  }
}

template <class T>
void check_planted(bool om, bool weighted, T start) {
  SCOPED_TRACE(testing::Message() << "om " << om << " w " << weighted << " start " << start << " float " << (sizeof(T) == 4));
  const int64_t p = 4, n = 2000, bad = 200;
  const Data<T> d = planted<T>(p, n, bad, om, weighted, 3 + om + 2 * weighted);
  Bacon<T> b(d, {start, T(0.05), T(1e-9)});
  ASSERT_EQ(b(), 0);
  int64_t flagged_clean = 0;
  for (int64_t j = 0; j < n; ++j) {
    if (j < bad) ASSERT_EQ(b.out[j], 0) << j;
    else flagged_clean += b.out[j] == 0;
  }
  EXPECT_LT(flagged_clean, 3 * 0.05 * (n - bad));
  expect_fixed_point(d, b.out, 0.05);
  // The other start reaches the same subset on separated data; threads change nothing.
  Bacon<T> other(d, {T(3) - start, T(0.05), T(1e-9)});
  ASSERT_EQ(other(), 0);
  EXPECT_EQ(other.out, b.out);
  for (int threads : {2, 7}) {
    Bacon<T> t(d, {start, T(0.05), T(1e-9)});
    ASSERT_EQ(t(threads_table(threads)), 0);
    EXPECT_EQ(t.out, b.out) << threads;
  }
}

TEST(SsOutliers, PlantedOutliersFoundFromBothStartsWithThreads) {
  for (bool om : {false, true})
    for (bool weighted : {false, true}) {
      check_planted<double>(om, weighted, 1);
      check_planted<double>(om, weighted, 2);
    }
  check_planted<float>(true, true, 2);
}

TEST(SsOutliers, ParametersReplacedAndStatuses) {
  const Data<double> d = planted<double>(3, 300, 20, false, false, 9);
  Bacon<double> defaults(d, {});
  ASSERT_EQ(defaults(), 0);
  for (std::vector<double> prm : {std::vector<double>{2, 1.5, 0}, {7, -1, -2}, {2, 0.05}}) {
    Bacon<double> b(d, prm);
    ASSERT_EQ(b(), 0);
    EXPECT_EQ(b.out, defaults.out);
  }
  // A constant variable ends with the rank status; n below 5p is refused.
  Data<double> flat = d;
  for (int64_t j = 0; j < d.n; ++j) flat.at(1, j) = 3;
  EXPECT_EQ(Bacon<double>(flat, {})(), SsStatusCovRank);
  EXPECT_EQ(Bacon<double>(d.slice(0, 14), {})(), SsStatusObservations);
  EXPECT_EQ(Bacon<double>(d.slice(0, 15), {})(), 0);
}

// Status rows of the three entries: null outputs, methods, the user mean.
TEST(SsRobust, Statuses) {
  const Data<double> d = make_data<double>(2, 20, false, false, false, 1);
  Task<double> task(d);
  SsTask *t = task.t;
  double out[20], mean[2] = {0, 0}, a[4] = {1, 0, 0, 1};
  const uint64_t med = SsEstimateMedianDeviation, avg = SsEstimateMeanDeviation;
  auto mah = [&] { return _rnxdSSMahDistance(t, 0, SsMethodFast, nullptr); };
  EXPECT_EQ(_rnxdSSMAD(t, med, SsMethodFast, nullptr), SsStatusMedianDeviation);
  EXPECT_EQ(_rnxdSSMAD(t, avg, SsMethodFast, nullptr), SsStatusMeanDeviation);
  EXPECT_EQ(mah(), SsStatusMean);
  t->mean = mean;
  EXPECT_EQ(mah(), SsStatusCov);
  t->cov = a;
  EXPECT_EQ(mah(), SsStatusOutlierWeights);
  t->medianDeviation = t->meanDeviation = t->outlierWeights = out;
  EXPECT_EQ(mah(), 0);
  EXPECT_EQ(_rnxdSSMahDistance(t, 0, SsMethodOnePass, nullptr), SsStatusMethod);
  EXPECT_EQ(_rnxdSSMAD(t, med, SsMethodFastUserMean, nullptr), SsStatusMethod);
  EXPECT_EQ(_rnxdSSMAD(t, avg, SsMethodFastUserMean, nullptr), 0);
  EXPECT_EQ(_rnxdSSMAD(t, avg, SsMethodOnePass, nullptr), SsStatusMethod);
  EXPECT_EQ(_rnxdSSOutliersDetection(t, 0, SsMethodFast, nullptr), SsStatusMethod);
  t->mean = nullptr;
  EXPECT_EQ(_rnxdSSMAD(t, avg, SsMethodFastUserMean, nullptr), SsStatusMean);
  t->outlierWeights = nullptr;
  EXPECT_EQ(_rnxdSSOutliersDetection(t, 0, SsMethodOutliers, nullptr), SsStatusOutlierWeights);
}

}  // namespace

namespace {

using namespace sstest;

template <class T>
struct Tbs {
  Task<T> task;
  std::vector<T> mean, cov, params;
  int64_t storage, count;
  Tbs(const Data<T> &d, int64_t kind, std::vector<T> prm = {})
      : task(d), mean(d.p, -1), cov(d.p * d.p, -1), params(std::move(prm)), storage(kind), count(int64_t(params.size())) {
    call<T>(__rnxdSSEditRCov, __rnxsSSEditRCov, task.t, &storage, &count, params.empty() ? nullptr : params.data(),
            mean.data(), cov.data());
  }
  int operator()(const ZynThreader *th = nullptr) {
    return call<T>(_rnxdSSRobustCovariance, _rnxsSSRobustCovariance, task.t, 0, SsMethodRobustTbs, th);
  }
  T at(int64_t i, int64_t l) const { return sym(cov, storage == 2 ? SsMatrixPackedUpper : storage, false, task.d.p, i, l); }
};

// Planted data: unit variances, neighbour correlation 0.5, so cov(i, i+1) = 0.5, cov(i, i+2) = 0.25, ...
double true_cov(int64_t i, int64_t l) { return std::pow(0.5, double(std::abs(i - l))); }

// Mean and covariance within tol of the truth; with `shape`, the correlations only (under
// contamination an S-estimator of breakdown point 1/2 inflates the scale: the clean part must make
// up the outliers' share of mean rho = b, here by about 1.4 for 20% at p = 5).
template <class T>
void expect_near_truth(const Tbs<T> &t, double tol, bool shape = false) {
  for (int64_t i = 0; i < t.task.d.p; ++i) {
    EXPECT_NEAR(t.mean[i], 100, tol) << i;
    for (int64_t l = 0; l < t.task.d.p; ++l) {
      const double v = shape ? t.at(i, l) / std::sqrt(double(t.at(i, i)) * t.at(l, l)) : t.at(i, l);
      EXPECT_NEAR(v, true_cov(i, l), tol) << i << " " << l;
    }
  }
}

TEST(SsRobustCov, CleanAndContaminatedGaussianDataInAllStorages) {
  const Data<double> clean = planted<double>(5, 20000, 0, false, false, 21);
  Tbs<double> c(clean, 0);
  ASSERT_EQ(c(), 0);
  expect_near_truth(c, 0.05);
  for (int threads : {2, 7}) {
    Tbs<double> t(clean, 0);
    ASSERT_EQ(t(threads_table(threads)), 0);
    for (size_t k = 0; k < t.cov.size(); ++k) EXPECT_NEAR(t.cov[k], c.cov[k], 1e-12) << threads;
  }
  Tbs<float> f(planted<float>(5, 20000, 0, false, false, 21), 0);
  ASSERT_EQ(f(), 0);
  expect_near_truth(f, 0.05);

  // 20% far outliers: the classical estimate is far off, the robust one is not.
  const Data<double> dirty = planted<double>(5, 5000, 1000, true, false, 22);
  for (int64_t kind : {0, 1, 2}) {
    Tbs<double> t(dirty, kind);
    ASSERT_EQ(t(), 0) << kind;
    expect_near_truth(t, 0.1, true);
    EXPECT_LT(t.at(0, 0), 1.5);
    for (int64_t e = kind ? 15 : 25; e < 25; ++e) EXPECT_EQ(t.cov[e], -1) << kind;
  }
  const Reference ref(dirty);
  EXPECT_GT(ref.C[0] / (dirty.n - 1), 5);
}

// The translated biweight with constants solved here by Simpson's rule on the density of d.
struct Biweight {
  double M, c;
  double top() const { return M * M / 2 + c * (5 * c + 16 * M) / 30; }
  double weight(double d) const { return d < M ? 1 : d >= M + c ? 0 : std::pow(1 - std::pow((d - M) / c, 2), 2); }
  double rho(double d) const {  // the integral of t w(t), by Simpson on [M, d]
    if (d < M) return d * d / 2;
    d = std::min(d, M + c);
    const int k = 200;
    const double h = (d - M) / k;
    double s = 0;
    for (int i = 0; i <= k; ++i) s += (i == 0 || i == k ? 1 : i % 2 ? 4 : 2) * (M + i * h) * weight(M + i * h);
    return M * M / 2 + s * h / 3;
  }
  static Biweight solve(int p, double bdp, double arp) {
    const double L = std::sqrt(__rnxdChi2ICDF(p, 1 - arp));
    auto excess = [&](double M) {
      const Biweight b{M, L - M};
      const int k = 2000;
      double s = 0;
      for (int i = 1; i <= k; ++i) {
        const double d = L * i / k;
        s += (i == k ? 1 : i % 2 ? 4 : 2) * b.rho(d) * 2 * d * __rnxdChi2PDF(p, d * d);
      }
      return s * L / k / 3 + b.top() * (1 - __rnxdChi2CDF(p, L * L)) - bdp * b.top();
    };
    double lo = 0, hi = L;
    for (int it = 0; it < 50; ++it) (excess((lo + hi) / 2) > 0 ? lo : hi) = (lo + hi) / 2;
    return {lo, L - lo};
  }
};

// At the result, mean rho(d) = bdp rho(inf), and the mean is the w(d)-weighted mean.
TEST(SsRobustCov, ConstantsAndFixedPoint) {
  const Biweight k = Biweight::solve(3, 0.5, 0.05);
  EXPECT_NEAR(k.M, 1.662300, 2e-6);
  EXPECT_NEAR(k.c, 1.133183, 2e-6);
  const int64_t p = 3, n = 2000;
  const double bdp = (n - p) * 0.5 / n;
  const Biweight b = Biweight::solve(p, bdp, 0.05);
  const Data<double> d = planted<double>(p, n, 200, false, true, 24);
  Tbs<double> t(d, 0, {bdp, 0.05, 1e-10, 500});
  ASSERT_EQ(t(), 0);
  std::vector<double> inv(p * p);
  for (int64_t k2 = 0; k2 < p * p; ++k2) inv[k2] = t.cov[k2];
  const auto a = gauss_jordan(inv, int(p));
  long double W = 0, r = 0, ww = 0;
  std::vector<long double> m(p, 0);
  for (int64_t j = 0; j < n; ++j) {
    long double q = 0;
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l < p; ++l) q += (d.at(i, j) - t.mean[i]) * a[i * p + l] * (d.at(l, j) - t.mean[l]);
    const double dist = double(std::sqrt(q)), wj = d.w[j];
    W += wj, r += wj * b.rho(dist), ww += wj * b.weight(dist);
    for (int64_t i = 0; i < p; ++i) m[i] += wj * b.weight(dist) * d.at(i, j);
  }
  EXPECT_NEAR(double(r / W), bdp * b.top(), 1e-6 * b.top());
  for (int64_t i = 0; i < p; ++i) EXPECT_NEAR(t.mean[i], double(m[i] / ww), 2e-6) << i;
}

TEST(SsRobustCov, ParametersSizesAndStatuses) {
  const Data<double> d = planted<double>(3, 400, 40, false, false, 23);
  Tbs<double> defaults(d, 0);
  ASSERT_EQ(defaults(), 0);
  // Out-of-range values take the defaults (iteration limit and accuracy replaced alike).
  for (std::vector<double> prm : {std::vector<double>{0.9, 1.5, 0, 0}, {-1, 0, -1, -5}, {0.4, 0.1}}) {
    Tbs<double> t(d, 0, prm);
    ASSERT_EQ(t(), 0);
    EXPECT_EQ(t.cov, defaults.cov);
  }
  EXPECT_EQ(Tbs<double>(d.slice(0, 6), 0)(), SsStatusObservations);
  EXPECT_EQ(Tbs<double>(d.slice(0, 7), 0)(), 0);
  EXPECT_EQ(Tbs<double>(d, 3)(), SsStatusStorageValue);
  Tbs<double> t(d, 0);
  EXPECT_EQ(_rnxdSSRobustCovariance(t.task.t, 0, SsMethodFast, nullptr), SsStatusMethod);
  t.task.t->robustCov = nullptr;
  EXPECT_EQ(t(), SsStatusRobustCov);
  t.task.t->robustMean = nullptr;
  EXPECT_EQ(t(), SsStatusRobustMean);
}

}  // namespace
