// Tridiagonal solvers against an independent dense solve (Gaussian elimination with partial
// pivoting in long double).
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "zyn/core.h"

namespace {
template <class T>
struct Tridiag;  // the solvers of one precision and their tolerance
template <>
struct Tridiag<double> {
  static constexpr auto factor = ddttrfb_4dfl, solve = ddttrsb_4dfl, both = ddtsvb_4dfl;
  static constexpr double tol = 1e-13;
};
template <>
struct Tridiag<float> {
  static constexpr auto factor = sdttrfb_4dfl, solve = sdttrsb_4dfl, both = sdtsvb_4dfl;
  static constexpr double tol = 2e-5;
};

// op(A) x = b for the tridiagonal A (dl, d, du), densely.
template <class T>
std::vector<long double> dense_solve(const std::array<std::vector<T>, 3> &s, const T *b, bool transpose) {
  const int n = int(s[1].size());
  std::vector<std::vector<long double>> a(n, std::vector<long double>(n + 1, 0));
  for (int i = 0; i < n; ++i) {
    a[i][i] = s[1][i], a[i][n] = b[i];
    if (i > 0) (transpose ? a[i - 1][i] : a[i][i - 1]) = s[0][i - 1];
    if (i + 1 < n) (transpose ? a[i + 1][i] : a[i][i + 1]) = s[2][i];
  }
  for (int c = 0; c < n; ++c) {
    int p = c;
    for (int r = c + 1; r < n; ++r) p = fabsl(a[r][c]) > fabsl(a[p][c]) ? r : p;
    std::swap(a[c], a[p]);
    for (int r = c + 1; r < n; ++r) {
      const long double f = a[r][c] / a[c][c];
      for (int k = c; k <= n; ++k) a[r][k] -= f * a[c][k];
    }
  }
  std::vector<long double> x(n);
  for (int r = n - 1; r >= 0; --r) {
    x[r] = a[r][n];
    for (int k = r + 1; k < n; ++k) x[r] -= a[r][k] * x[k];
    x[r] /= a[r][r];
  }
  return x;
}

template <class T>
class Tridiagonal : public testing::Test {};
using Precisions = testing::Types<double, float>;
TYPED_TEST_SUITE(Tridiagonal, Precisions);

// Diagonally dominant systems; factor and solve, plain and transposed, and the one-call form,
// with padding rows of b that must stay untouched.
TYPED_TEST(Tridiagonal, MatchesDenseSolve) {
  using T = TypeParam;
  using F = Tridiag<T>;
  std::mt19937 g(42);
  std::uniform_real_distribution<double> u(-1, 1);
  for (int n : {1, 2, 3, 10, 257})
    for (int nrhs : {1, 7}) {
      const int ldb = n + 3;
      std::array<std::vector<T>, 3> s = {std::vector<T>(std::max(n - 1, 1)), std::vector<T>(n), std::vector<T>(std::max(n - 1, 1))};
      for (int i = 0; i + 1 < n; ++i) s[0][i] = T(u(g)), s[2][i] = T(u(g));
      for (int i = 0; i < n; ++i) s[1][i] = T(2.5 + u(g));  // |d| > |dl| + |du|
      std::vector<T> b(size_t(ldb) * nrhs);
      for (auto &v : b) v = T(10 * u(g));
      std::vector<std::vector<long double>> ref[2];  // plain and transposed, by right-hand side
      for (int t = 0; t < 2; ++t)
        for (int r = 0; r < nrhs; ++r) ref[t].push_back(dense_solve(s, b.data() + r * ldb, t == 1));
      for (char trans : {'N', 'T', 'B'}) {  // B: the one-call form
        auto f = s;
        auto x = b;
        int info = -99;
        if (trans == 'B') {
          F::both(&n, &nrhs, f[0].data(), f[1].data(), f[2].data(), x.data(), &ldb, &info);
        } else {
          F::factor(&n, f[0].data(), f[1].data(), f[2].data(), &info);
          ASSERT_EQ(info, 0);
          F::solve(&trans, &n, &nrhs, f[0].data(), f[1].data(), f[2].data(), x.data(), &ldb, &info);
        }
        ASSERT_EQ(info, 0);
        for (int r = 0; r < nrhs; ++r) {
          const auto &want = ref[trans == 'T'][r];
          for (int i = 0; i < ldb; ++i)
            EXPECT_NEAR(double(x[r * ldb + i]), i < n ? double(want[i]) : b[r * ldb + i], i < n ? F::tol * (1 + fabsl(want[i])) : 0)
                << "n=" << n << " rhs=" << r << " i=" << i << " trans=" << trans;
        }
      }
    }
}

TEST(Tridiagonal, ZeroPivotSetsInfo) {
  // [1 1 0; 1 1 1; 0 1 1]: the second pivot is 1 - 1*1 = 0; then a zero first and a zero last pivot.
  int n = 3, nrhs = 1, ldb = 3, info[3];
  double dl[] = {1, 1}, d[] = {1, 1, 1}, du[] = {1, 1}, b[] = {1, 2, 3}, zl[] = {0, 0}, zd[] = {1, 1, 0}, zu[] = {0, 0};
  float fdl[] = {1, 1}, fd[] = {0, 1, 1}, fdu[] = {1, 1};
  ddtsvb_4dfl(&n, &nrhs, dl, d, du, b, &ldb, &info[0]);
  sdttrfb_4dfl(&n, fdl, fd, fdu, &info[1]);
  ddttrfb_4dfl(&n, zl, zd, zu, &info[2]);
  EXPECT_TRUE(info[0] == 2 && info[1] == 1 && info[2] == 3) << info[0] << info[1] << info[2];
}
}  // namespace
