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
