// Robust estimation: the chi-squared helpers and the biweight constants against SciPy tables, the
// covariance inverse against long double, the deviations against sorting, BACON and the robust
// covariance against planted data and their fixed points (which check the distances: their own
// are long double).
#include <fstream>
#include <sstream>

#include "stats/biweight.hpp"
#include "stats_test.hpp"

using namespace sstest;
using zyn::stats::Biweight;

namespace {

// The rows of a table in tests/stats/data: the first word, then the numbers.
std::vector<std::pair<std::string, std::vector<double>>> table(const char *name) {
  std::ifstream in(std::string(ZYN_STATS_DATA) + "/" + name);
  std::vector<std::pair<std::string, std::vector<double>>> rows;
  for (std::string line, kind; std::getline(in, line);) {
    std::istringstream s(line);
    if (line[0] == '#' || !(s >> kind)) continue;
    rows.push_back({kind, {}});
    for (double v; s >> v;) rows.back().second.push_back(v);
  }
  return rows;
}

TEST(Chi2, MatchesReferenceTable) {
  const auto rows = table("chi2.txt");
  for (const auto &[kind, f] : rows) {
    const double d = kind == "lgamma" ? 0 : f[0], x = f[f.size() - 2], want = f.back();
    const double got = kind == "cdf" ? __rnxdChi2CDF(d, x) : kind == "pdf" ? __rnxdChi2PDF(d, x)
                       : kind == "ppf" ? __rnxdChi2ICDF(d, x) : __rnxdLGamma(x);
    EXPECT_LE(std::fabs(got - want), 1e-13 * std::fabs(want)) << kind << " " << d << " " << x << " got " << got;
    const double c = __rnxdChi2CDF(d, got), tail = std::min(x, 1 - x);  // round trip, smaller tail
    EXPECT_TRUE(kind != "ppf" || std::fabs((x <= 0.5 ? c : 1 - c) - tail) <= 1e-12 * tail) << d << " " << x;
  }
  EXPECT_GT(rows.size(), 200u);
}

// Inverse by Gauss-Jordan in long double (no pivoting: symmetric positive definite input).
std::vector<long double> gauss_jordan(const std::vector<double> &m, int p) {
  std::vector<long double> a(m.begin(), m.end()), inv(p * p, 0);
  for (int i = 0; i < p; ++i) inv[i * p + i] = 1;
  for (int c = 0; c < p; ++c) {
    const long double f = a[c * p + c];
    for (int k = 0; k < p; ++k) a[c * p + k] /= f, inv[c * p + k] /= f;
    for (int r = 0; r < p; ++r) {
      const long double g = r == c ? 0 : a[r * p + c];
      for (int k = 0; k < p; ++k) a[r * p + k] -= g * a[c * p + k], inv[r * p + k] -= g * inv[c * p + k];
    }
  }
  return inv;
}

// B B^T + I / 4 for p 1 to 6, then singular (the last variable a copy of the first).
TEST(InvCov, MatchesGaussJordanAndRejectsSingular) {
  std::mt19937_64 g(7);
  std::normal_distribution<double> z;
  for (int p = 1; p <= 6; ++p) {
    std::vector<double> b(p * p), m(p * p, 0);
    for (double &v : b) v = z(g);
    for (int i = 0; i < p * p; ++i)
      for (int k = 0; k < p; ++k) m[i] += b[i / p * p + k] * b[i % p * p + k] + (k == 0 && i % (p + 1) == 0) * 0.25;
    for (bool singular : {false, true}) {
      for (int i = 0; singular && i < p; ++i) m[i * p + p - 1] = m[(p - 1) * p + i] = m[i == p - 1 ? 0 : i * p];
      auto *a = static_cast<double *>(zyn_serv_allocate(sizeof(double) * p * p, 128));
      std::copy(m.begin(), m.end(), a);
      EXPECT_EQ(__rnxdTestCovRank(p, a), singular && p > 1 ? SsStatusCovRank : 0) << p;
      const auto want = gauss_jordan(m, p);
      const int s = __rnxdInvCov(p, a);
      if (s == SsStatusFactor) continue;  // freed; a singular matrix may also pass by rounding
      for (int k = 0; !singular && k < p * p; ++k) EXPECT_NEAR(a[k], double(want[k]), 1e-11 * (1 + std::fabs(double(want[k])))) << p;
      EXPECT_EQ(s, 0) << p;
      zyn_serv_deallocate(a);
    }
  }
}

// sqrt(dT A d), d = observation j of `data` minus `mean`, in long double.
template <class T, class M>
long double distance(const Data<T> &d, int64_t j, const M &mean, const std::vector<long double> &a) {
  long double q = 0;
  for (int64_t i = 0; i < d.p * d.p; ++i) q += (d.at(i / d.p, j) - mean[i / d.p]) * a[i] * (d.at(i % d.p, j) - mean[i % d.p]);
  return std::sqrt(q);
}

long double median(std::vector<long double> v) {
  std::sort(v.begin(), v.end());
  return (v[v.size() / 2] + v[(v.size() - 1) / 2]) / 2;
}

template <class T>
void check_mad(const Data<T> &d, uint64_t method) {
  SCOPED_TRACE(testing::Message() << "p " << d.p << " n " << d.n << " method " << method << " float " << (sizeof(T) == 4));
  Task<T> task(d);
  std::vector<T> md(d.p, -1), mn(d.p, -1), centre(d.p);
  for (int64_t i = 0; i < d.p; ++i) centre[i] = d.at(i, 0) + T(0.25);
  edit(task.t, SsEditMedianDeviation, md.data()), edit(task.t, SsEditMeanDeviation, mn.data());
  edit(task.t, SsEditMean, centre.data());
  const Reference ref(d);
  auto run = [&](const ZynThreader *th) {
    EXPECT_EQ(entry<T>(kMad, task.t, SsEstimateMedianDeviation | SsEstimateMeanDeviation, method | SsMethodFast, th), 0);
    return flat(md, mn);
  };
  run(nullptr);
  for (int64_t i = 0; i < d.p; ++i) {
    std::vector<long double> v(d.n);
    const long double m = method == SsMethodFastUserMean ? centre[i] : ref.mean[i];
    long double s = 0;
    for (int64_t j = 0; j < d.n; ++j) v[j] = d.at(i, j), s += (d.w.empty() ? 1 : d.w[j]) * std::fabs(v[j] - m);
    const long double med = median(v);
    for (auto &e : v) e = std::fabs(e - med);
    const double tol = (sizeof(T) == 8 ? 1e-13 : 2e-5) * kOffset<T>;
    EXPECT_NEAR(md[i], d.active(i) ? double(median(v)) : -1, tol) << i;
    EXPECT_NEAR(mn[i], d.active(i) ? double(s / ref.W) : -1, tol) << i;
  }
  if (d.p > 1) expect_threads_agree(run, 0);  // by variable
}

TEST(SsMad, MatchesSortedAndLongDoubleReferencesWithThreads) {
  for (uint64_t method : {SsMethodFast, SsMethodFastUserMean})
    for (auto [p, n, om, w, flags] : {std::tuple{1, 1, false, false, false}, {1, 2, false, true, false},
                                      {3, 1001, true, true, true}, {5, 4000, false, false, false}}) {
      check_mad(make_data<double>(p, n, om, w, flags, 11 + n), method);
      check_mad(make_data<float>(p, n, om, w, flags, 11 + n), method);
    }
}

// Gaussian data (unit variances, correlation 0.5^|i-l|) around 100 with the first `bad`
// observations moved by +8 in every variable.
template <class T>
Data<T> planted(int64_t p, int64_t n, int64_t bad, bool om, bool weighted, uint64_t seed) {
  Data<T> d{p, n, om, 1, std::vector<T>(p * n), {}, {}};
  std::mt19937_64 g(seed);
  std::normal_distribution<double> z;
  for (int64_t j = 0; j < n; ++j)
    for (double i = 0, v = 0; i < p; ++i) {
      v = i ? 0.5 * v + 0.8660254037844386 * z(g) : z(g);
      d.at(int64_t(i), j) = static_cast<T>(v + 100 + (j < bad ? 8 : 0));
    }
  std::uniform_real_distribution<double> uw(0.5, 2.0);
  for (int64_t j = 0; weighted && j < n; ++j) d.w.push_back(T(uw(g)));
  return d;
}
double true_cov(int64_t i, int64_t l) { return std::pow(0.5, double(std::abs(i - l))); }

// Weighted mean and inverse covariance (divisor W - W2 / W) of `d` under weights out_j * w_j.
template <class T>
std::pair<std::vector<long double>, std::vector<long double>> subset_estimates(Data<T> d, const std::vector<T> &out) {
  d.w.resize(d.n, T(1));
  for (int64_t j = 0; j < d.n; ++j) d.w[j] *= out[j];
  const Reference r(d);
  std::vector<double> c(r.C.begin(), r.C.end());
  for (double &e : c) e /= double(r.W - r.W2 / r.W);
  return {r.mean, gauss_jordan(c, int(d.p))};
}

template <class T>
int bacon(const Data<T> &d, std::vector<T> prm, std::vector<T> &out, const ZynThreader *th = nullptr) {
  Task<T> task(d);
  int64_t count = int64_t(prm.size());
  out.assign(d.n, -1);
  call<T>(__rnxdSSEditOutDetect, __rnxsSSEditOutDetect, task.t, prm.empty() ? nullptr : &count, prm.data(), out.data());
  return entry<T>(kOutliers, task.t, 0, SsMethodOutliers, th);
}

// Planted outliers all found, few clean ones lost; the final subset is the cut of its own
// estimates (BACON's own stopping rule, beta below 1/n); the other start and threads agree.
template <class T>
void check_planted(bool om, bool weighted, T start) {
  SCOPED_TRACE(testing::Message() << "om " << om << " w " << weighted << " start " << start << " float " << (sizeof(T) == 4));
  const int64_t p = 4, n = 2000, bad = 200;
  const Data<T> d = planted<T>(p, n, bad, om, weighted, 3 + om + 2 * weighted);
  std::vector<T> out, other;
  ASSERT_EQ(bacon(d, {start, T(0.05), T(1e-9)}, out), 0);
  EXPECT_EQ(std::count(out.begin(), out.begin() + bad, T(0)), bad);
  EXPECT_LT(std::count(out.begin() + bad, out.end(), T(0)), 3 * 0.05 * (n - bad));
  const auto [m, a] = subset_estimates(d, out);
  const int64_t r = std::count(out.begin(), out.end(), T(1));
  const double h = std::floor((n + p + 1) / 2.0), cut = (1 + (p + 1.0) / (n - p) + 2.0 / (n - 1 - 3 * p) +
                   std::max(0.0, (h - r) / (h + r))) * std::sqrt(__rnxdChi2ICDF(double(p), 0.95));
  for (int64_t j = 0; j < n; ++j) {
    const double dist = double(distance(d, j, m, a));
    EXPECT_TRUE(std::fabs(dist - cut) <= 1e-6 * cut || out[j] == T(dist < cut)) << j;
  }
  ASSERT_EQ(bacon(d, {T(3) - start, T(0.05), T(1e-9)}, other), 0);
  EXPECT_EQ(other, out);
  for (int threads : {2, 7}) EXPECT_TRUE(bacon(d, {start, T(0.05), T(1e-9)}, other, threads_table(threads)) == 0 && other == out);
}

TEST(SsOutliers, PlantedOutliersFoundFromBothStartsWithThreads) {
  for (int k = 0; k < 8; ++k) check_planted<double>(k & 1, k & 2, 1 + k / 4);
  check_planted<float>(true, true, 2);
}

TEST(SsOutliers, ParametersReplacedAndStatuses) {
  const Data<double> d = planted<double>(3, 300, 20, false, false, 9);
  std::vector<double> defaults, out;
  ASSERT_EQ(bacon(d, {}, defaults), 0);
  for (std::vector<double> prm : {std::vector<double>{2, 1.5, 0}, {7, -1, -2}, {2, 0.05}})
    EXPECT_TRUE(bacon(d, prm, out) == 0 && out == defaults);
  Data<double> flat = d;  // a constant variable ends with the rank status
  for (int64_t j = 0; j < d.n; ++j) flat.at(1, j) = 3;
  EXPECT_EQ(bacon(flat, {}, out), SsStatusCovRank);
  EXPECT_EQ(bacon(d.slice(0, 14), {}, out), SsStatusObservations);
  EXPECT_EQ(bacon(d.slice(0, 15), {}, out), 0);
}

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
    return entry<T>(kRobustCov, task.t, 0, SsMethodRobustTbs, th);
  }
  T at(int64_t i, int64_t l) const { return cov[pos(storage == 2 ? SsMatrixPackedUpper : storage, false, task.d.p, i, l)]; }
};

TEST(SsRobustCov, ConstantsMatchQuadrature) {
  int rows = 0;
  for (const auto &[kind, f] : table("tbs.txt")) {
    const Biweight b = zyn::stats::biweight_constants(int64_t(f[1]), f[0], f[2]);
    EXPECT_TRUE(kind != "const" || (std::fabs(b.M - f[3]) < 1e-9 && std::fabs(b.c - f[4]) < 1e-9 && ++rows))
        << f[0] << " " << f[1] << " " << f[2] << ": " << b.M << " " << b.c;
  }
  EXPECT_GT(rows, 10);
}

// Gaussian data with a fraction eps of far outliers. At the result mean rho(d) = b and the mean
// is the w(d)-weighted mean (a fixed point); mean and covariance are within tol of the truth times
// the S-scale's inflation under eps at infinity (by quadrature, tbs.txt); every storage, threads
// agreeing, the float twin; the classical estimate fails.
TEST(SsRobustCov, FixedPointNearTheInflatedTruth) {
  for (auto [p, n, bad, arp, om, tol] : {std::tuple{5, 20000, 0, 0.1, false, 0.05}, {5, 5000, 1000, 0.1, true, 0.1},
                                         {3, 2000, 200, 0.05, false, 0.1}}) {
    SCOPED_TRACE(testing::Message() << "p " << p << " n " << n << " bad " << bad);
    const double bdp = (n - p) * 0.5 / n, eps = double(bad) / n;
    double s2 = 1;
    for (const auto &[kind, f] : table("tbs.txt"))
      if (kind == "inflation" && f[0] == bdp && f[1] == p && f[2] == arp && f[3] == eps) s2 = f[4];
    const Data<double> d = planted<double>(p, n, bad, om, p == 3, 21 + bad);
    for (int64_t kind = 0; kind < (bad ? 3 : 1); ++kind) {
      Tbs<double> t(d, kind, {bdp, arp, 1e-10, 500});
      ASSERT_EQ(t(), 0) << kind;
      for (int64_t i = 0; i < p * p; ++i) {
        EXPECT_NEAR(t.at(i / p, i % p) / s2, true_cov(i / p, i % p), tol) << kind << " " << i;
        EXPECT_NEAR(t.mean[i % p], 100, tol);
        EXPECT_TRUE(i < (kind ? p * (p + 1) / 2 : p * p) || t.cov[i] == -1) << kind;
      }
      if (!kind && n * p > 10000) expect_threads_agree([&](const ZynThreader *th) {
        Tbs<double> u(d, kind, t.params);
        EXPECT_EQ(u(th), 0);
        return flat(u.mean, u.cov);
      }, 1e-12);
    }
    Tbs<double> t(d, 0, {bdp, arp, 1e-10, 500});
    ASSERT_EQ(t(), 0);
    const Biweight b = zyn::stats::biweight_constants(p, bdp, arp);
    const auto a = gauss_jordan(t.cov, p);
    auto weight = [&](double u) { return (b.rho(u + 1e-6) - b.rho(u - 1e-6)) / (2e-6 * u); };  // rho'(d) / d
    long double W = 0, r = 0, ww = 0;
    std::vector<long double> m(p, 0);
    for (int64_t j = 0; j < n; ++j) {
      const double dist = double(distance(d, j, t.mean, a)), wj = d.w.empty() ? 1 : d.w[j];
      W += wj, r += wj * b.rho(dist), ww += wj * weight(dist);
      for (int64_t i = 0; i < p; ++i) m[i] += wj * weight(dist) * d.at(i, j);
    }
    EXPECT_NEAR(double(r / W), bdp * b.top(), 1e-6 * b.top());
    for (int64_t i = 0; i < p; ++i) EXPECT_NEAR(t.mean[i], double(m[i] / ww), 2e-6) << i;
    EXPECT_GT(Reference(d).C[0] / (d.n - 1), bad ? 5 : 0.9);
  }
  Tbs<float> f(planted<float>(5, 20000, 0, false, false, 21), 0);
  ASSERT_EQ(f(), 0);
  for (int64_t i = 0; i < 25; ++i) EXPECT_NEAR(f.at(i / 5, i % 5), true_cov(i / 5, i % 5), 0.05) << i;
}

TEST(SsRobustCov, ParametersAndSizes) {
  const Data<double> d = planted<double>(3, 400, 40, false, false, 23);
  Tbs<double> defaults(d, 0);
  ASSERT_EQ(defaults(), 0);
  for (std::vector<double> prm : {std::vector<double>{0.9, 1.5, 0, 0}, {-1, 0, -1, -5}, {0.4, 0.1}}) {
    Tbs<double> t(d, 0, prm);  // out-of-range values and a wrong count take the defaults
    EXPECT_TRUE(t() == 0 && t.cov == defaults.cov);
  }
  EXPECT_EQ(Tbs<double>(d.slice(0, 6), 0)(), SsStatusObservations);
  EXPECT_EQ(Tbs<double>(d.slice(0, 7), 0)(), 0);
}

}  // namespace
