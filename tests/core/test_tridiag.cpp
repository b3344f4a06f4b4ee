// Tridiagonal solvers against an independent dense solve (Gaussian elimination with partial
// pivoting in long double).
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "zyn/core.h"

namespace {
template <class T>
struct System {
  int n;
  std::vector<T> dl, d, du;
};

template <class T>
System<T> random_dominant(int n, std::mt19937 &g) {
  std::uniform_real_distribution<double> u(-1, 1);
  System<T> s{n, std::vector<T>(n > 1 ? n - 1 : 1), std::vector<T>(n), std::vector<T>(n > 1 ? n - 1 : 1)};
  for (int i = 0; i + 1 < n; ++i) s.dl[i] = T(u(g)), s.du[i] = T(u(g));
  for (int i = 0; i < n; ++i) s.d[i] = T(2.5 + u(g));  // |d| > |dl| + |du|
  return s;
}

// Solves op(A) x = b densely.
template <class T>
std::vector<long double> dense_solve(const System<T> &s, const std::vector<T> &b, bool transpose) {
  int n = s.n;
  std::vector<std::vector<long double>> a(n, std::vector<long double>(n + 1, 0));
  for (int i = 0; i < n; ++i) {
    a[i][i] = s.d[i];
    if (i > 0) (transpose ? a[i - 1][i] : a[i][i - 1]) = s.dl[i - 1];
    if (i + 1 < n) (transpose ? a[i + 1][i] : a[i][i + 1]) = s.du[i];
    a[i][n] = b[i];
  }
  for (int c = 0; c < n; ++c) {
    int p = c;
    for (int r = c + 1; r < n; ++r)
      if (fabsl(a[r][c]) > fabsl(a[p][c])) p = r;
    std::swap(a[c], a[p]);
    for (int r = c + 1; r < n; ++r) {
      long double f = a[r][c] / a[c][c];
      for (int k = c; k <= n; ++k) a[r][k] -= f * a[c][k];
    }
  }
  std::vector<long double> x(n);
  for (int r = n - 1; r >= 0; --r) {
    long double v = a[r][n];
    for (int k = r + 1; k < n; ++k) v -= a[r][k] * x[k];
    x[r] = v / a[r][r];
  }
  return x;
}

template <class T>
void check_solvers(double tol) {
  std::mt19937 g(42);
  std::uniform_real_distribution<double> u(-10, 10);
  for (int n : {1, 2, 3, 10, 257}) {
    for (int nrhs : {1, 7}) {
      const int ldb = n + 3;
      auto s = random_dominant<T>(n, g);
      std::vector<T> b(static_cast<size_t>(ldb) * nrhs);
      for (auto &v : b) v = T(u(g));
      // factor + solve, plain and transposed
      for (char trans : {'N', 'T'}) {
        auto f = s;
        int info = -99;
        ASSERT_NO_FATAL_FAILURE(([&] {
          if constexpr (sizeof(T) == 8) ddttrfb_4dfl(&n, f.dl.data(), f.d.data(), f.du.data(), &info);
          else sdttrfb_4dfl(&n, f.dl.data(), f.d.data(), f.du.data(), &info);
        }()));
        ASSERT_EQ(info, 0);
        auto x = b;
        if constexpr (sizeof(T) == 8)
          ddttrsb_4dfl(&trans, &n, &nrhs, f.dl.data(), f.d.data(), f.du.data(), x.data(), &ldb, &info);
        else
          sdttrsb_4dfl(&trans, &n, &nrhs, f.dl.data(), f.d.data(), f.du.data(), x.data(), &ldb, &info);
        ASSERT_EQ(info, 0);
        for (int r = 0; r < nrhs; ++r) {
          std::vector<T> col(b.begin() + r * ldb, b.begin() + r * ldb + n);
          auto ref = dense_solve(s, col, trans == 'T');
          for (int i = 0; i < n; ++i)
            EXPECT_NEAR(double(x[r * ldb + i]), double(ref[i]), tol * (1 + fabsl(ref[i])))
                << "n=" << n << " rhs=" << r << " i=" << i << " trans=" << trans;
          for (int i = n; i < ldb; ++i) EXPECT_EQ(x[r * ldb + i], b[r * ldb + i]) << "padding touched";
        }
      }
      // one-call form
      auto f = s;
      auto x = b;
      int info = -99;
      if constexpr (sizeof(T) == 8)
        ddtsvb_4dfl(&n, &nrhs, f.dl.data(), f.d.data(), f.du.data(), x.data(), &ldb, &info);
      else
        sdtsvb_4dfl(&n, &nrhs, f.dl.data(), f.d.data(), f.du.data(), x.data(), &ldb, &info);
      ASSERT_EQ(info, 0);
      std::vector<T> col(b.begin(), b.begin() + n);
      auto ref = dense_solve(s, col, false);
      for (int i = 0; i < n; ++i) EXPECT_NEAR(double(x[i]), double(ref[i]), tol * (1 + fabsl(ref[i])));
    }
  }
}
}  // namespace

TEST(Tridiagonal, DoubleMatchesDenseSolve) { check_solvers<double>(1e-13); }
TEST(Tridiagonal, FloatMatchesDenseSolve) { check_solvers<float>(2e-5); }

TEST(Tridiagonal, ZeroPivotSetsInfo) {
  // [1 1 0; 1 1 1; 0 1 1]: the second pivot is 1 - 1*1 = 0.
  int n = 3, nrhs = 1, ldb = 3, info = 0;
  double dl[] = {1, 1}, d[] = {1, 1, 1}, du[] = {1, 1}, b[] = {1, 2, 3};
  ddtsvb_4dfl(&n, &nrhs, dl, d, du, b, &ldb, &info);
  EXPECT_EQ(info, 2);
  float fdl[] = {1, 1}, fd[] = {0, 1, 1}, fdu[] = {1, 1};
  sdttrfb_4dfl(&n, fdl, fd, fdu, &info);
  EXPECT_EQ(info, 1);
  double zl[] = {0, 0}, zd[] = {1, 1, 0}, zu[] = {0, 0};
  ddttrfb_4dfl(&n, zl, zd, zu, &info);
  EXPECT_EQ(info, 3) << "a zero last pivot";
}
