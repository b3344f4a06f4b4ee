// Each BLAS/LAPACK forwarder, in both precisions, against a naive double reference on small cases.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "zyn/core.h"

namespace {
using M = std::vector<double>;  // column-major

// The forwarders of one precision; where several forward the same routine, all of them.
template <class T>
struct Api;
#define ZYN_CORE_API(T, p)                                                                         \
  template <>                                                                                      \
  struct Api<T> {                                                                                  \
    static constexpr std::array gemm{&zyn_blas_##p##gemm, &zyn_blas_x##p##gemm};                   \
    static constexpr std::array syr{&zyn_blas_##p##syr, &zyn_blas_x##p##syr};                      \
    static constexpr std::array syrk{&zyn_blas_##p##syrk, &zyn_blas_x##p##syrk};                   \
    static constexpr std::array trmm{&zyn_blas_##p##trmm, &zyn_blas4vex_##p##trmm,                 \
                                     &zyn_blas_x##p##trmm_4vex};                                   \
    static constexpr auto gemv = &zyn_blas_##p##gemv;                                              \
    static constexpr auto symm = &zyn_blas_x##p##symm;                                             \
    static constexpr auto ptrmm = &zyn_blas4vex_##p##ptrmm;                                        \
    static constexpr auto potrf = &zyn_lapack_##p##potrf, potri = &zyn_lapack_##p##potri;          \
    static constexpr auto trtri = &zyn_lapack_##p##trtri;                                          \
    static constexpr auto syev = &zyn_lapack_##p##syev;                                            \
    static constexpr auto spevd = &zyn_lapack_##p##spevd;                                          \
    static constexpr double tol = sizeof(T) == 8 ? 1e-11 : 1e-4;                                   \
  };
ZYN_CORE_API(double, d)
ZYN_CORE_API(float, s)
#undef ZYN_CORE_API

// Values in (-1, 1) representable in T, so that the double reference sees what the routine sees.
template <class T>
M rnd(int n, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-1, 1);
  M v(n);
  for (auto &x : v) x = static_cast<T>(u(g));
  return v;
}
template <class T>
std::vector<T> to(const M &m) {
  return std::vector<T>(m.begin(), m.end());
}
template <class T>
void expect_close(const std::vector<T> &got, const M &want, double tol) {
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(double(got[i]), want[i], tol) << "at " << i;
}
template <class T>
M of(const std::vector<T> &v) {
  return M(v.begin(), v.end());
}
// C := alpha op(A) op(B) + beta C
M naive_gemm(bool ta, bool tb, int m, int n, int k, double alpha, const M &a, int lda, const M &b,
             int ldb, double beta, M c, int ldc) {
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) {
      double s = 0;
      for (int p = 0; p < k; ++p) s += (ta ? a[p + i * lda] : a[i + p * lda]) * (tb ? b[j + p * ldb] : b[p + j * ldb]);
      c[i + j * ldc] = alpha * s + beta * c[i + j * ldc];
    }
  return c;
}
// Full n x n matrix of a triangle of `a` (ld n), unit diagonal or not.
M triangle(const M &a, int n, bool upper, bool unit = false) {
  M t(n * n, 0);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if ((upper && i <= j) || (!upper && i >= j)) t[i + j * n] = (unit && i == j) ? 1 : a[i + j * n];
  return t;
}
// The symmetric matrix of one triangle of `a`.
M symmetric(const M &a, int n, bool upper) {
  M s(n * n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) s[i + j * n] = (i >= j) != upper || i == j ? a[i + j * n] : a[j + i * n];
  return s;
}

template <class T>
class Blas : public testing::Test {};
using Precisions = testing::Types<double, float>;
TYPED_TEST_SUITE(Blas, Precisions);

TYPED_TEST(Blas, GemmPlainAndTransposed) {
  using T = TypeParam;
  int m = 4, n = 3, k = 5, ldb = 5, ldc = 4;
  const T alpha = 1.5, beta = -0.5;
  const M b = rnd<T>(ldb * n, 2), c = rnd<T>(ldc * n, 3);
  for (bool ta : {false, true}) {
    int lda = ta ? 5 : 6;  // A^T stored k x m
    const M a = rnd<T>(lda * (ta ? m : k), 1);
    const M ref = naive_gemm(ta, false, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
    for (auto fn : Api<T>::gemm) {
      std::vector<T> ta_ = to<T>(a), tb = to<T>(b), tc = to<T>(c);
      fn(ta ? "T" : "N", "N", &m, &n, &k, &alpha, ta_.data(), &lda, tb.data(), &ldb, &beta, tc.data(), &ldc);
      expect_close(tc, ref, Api<T>::tol);
    }
  }
}

TYPED_TEST(Blas, GemvSyrSyrkSymm) {
  using T = TypeParam;
  int m = 4, n = 3, lda = 5, one = 1;
  const T alpha = 2, beta = 0.25;
  const M a = rnd<T>(lda * n, 5), x = rnd<T>(n, 6), y = rnd<T>(m, 7);
  std::vector<T> ty = to<T>(y), ta = to<T>(a), tx = to<T>(x);
  Api<T>::gemv("N", &m, &n, &alpha, ta.data(), &lda, tx.data(), &one, &beta, ty.data(), &one);
  expect_close(ty, naive_gemm(false, false, m, 1, n, alpha, a, lda, x, n, beta, y, m), Api<T>::tol);

  // syr on the upper triangle: A += alpha x x^T
  int ns = 3;
  const M s = rnd<T>(9, 8);
  M sref = s;
  for (int j = 0; j < ns; ++j)
    for (int i = 0; i <= j; ++i) sref[i + j * ns] += alpha * x[i] * x[j];
  for (auto fn : Api<T>::syr) {
    std::vector<T> ts = to<T>(s);
    fn("U", &ns, &alpha, tx.data(), &one, ts.data(), &ns);
    expect_close(ts, sref, Api<T>::tol);
  }

  // syrk: C := alpha B B^T + beta C, upper triangle only
  int k = 4;
  const M b = rnd<T>(ns * k, 9), c = rnd<T>(9, 10);
  const M full = naive_gemm(false, true, ns, ns, k, alpha, b, ns, b, ns, beta, c, ns);
  M want = c;
  for (int j = 0; j < ns; ++j)
    for (int i = 0; i <= j; ++i) want[i + j * ns] = full[i + j * ns];
  for (auto fn : Api<T>::syrk) {
    std::vector<T> tb = to<T>(b), tc = to<T>(c);
    fn("U", "N", &ns, &k, &alpha, tb.data(), &ns, &beta, tc.data(), &ns);
    expect_close(tc, want, Api<T>::tol);
  }

  // symm: C := alpha A B + beta C with A symmetric from one triangle
  int nn = 2;
  const M sa = rnd<T>(9, 11), sb = rnd<T>(6, 12), sc = rnd<T>(6, 13);
  for (bool upper : {false, true}) {
    std::vector<T> tsa = to<T>(sa), tsb = to<T>(sb), tsc = to<T>(sc);
    Api<T>::symm("L", upper ? "U" : "L", &ns, &nn, &alpha, tsa.data(), &ns, tsb.data(), &ns, &beta, tsc.data(), &ns);
    expect_close(tsc, naive_gemm(false, false, ns, nn, ns, alpha, symmetric(sa, 3, upper), 3, sb, 3, beta, sc, 3),
                 Api<T>::tol);
  }
}

TYPED_TEST(Blas, TriangularMultiplies) {
  using T = TypeParam;
  int m = 4, n = 3;
  const T alpha = 0.5;
  const M a = rnd<T>(16, 14), b = rnd<T>(12, 15), br = rnd<T>(12, 16);
  const std::vector<T> tpa = to<T>(a);
  for (bool upper : {true, false}) {
    const M t = triangle(a, m, upper);
    const char *uplo = upper ? "U" : "L";
    for (bool trans : {false, true}) {
      const M ref = naive_gemm(trans, false, m, n, m, alpha, t, m, b, m, 0, M(12, 0), m);
      for (auto fn : Api<T>::trmm) {
        std::vector<T> tb = to<T>(b);
        fn("L", uplo, trans ? "T" : "N", "N", &m, &n, &alpha, tpa.data(), &m, tb.data(), &m);
        expect_close(tb, ref, Api<T>::tol);
      }
    }
    // packed: side L, and side R with B (n x m, ld n) := alpha B op(A)
    std::vector<T> packed;
    for (int j = 0; j < m; ++j)
      for (int i = 0; i < m; ++i)
        if ((upper && i <= j) || (!upper && i >= j)) packed.push_back(static_cast<T>(a[i + j * m]));
    std::vector<T> tb = to<T>(b), tbr = to<T>(br);
    Api<T>::ptrmm("L", uplo, "N", "N", &m, &n, &alpha, packed.data(), tb.data(), &m);
    expect_close(tb, naive_gemm(false, false, m, n, m, alpha, t, m, b, m, 0, M(12, 0), m), Api<T>::tol);
    Api<T>::ptrmm("R", uplo, "T", "N", &n, &m, &alpha, packed.data(), tbr.data(), &n);
    expect_close(tbr, naive_gemm(false, true, n, m, m, alpha, br, n, t, m, 0, M(12, 0), n), Api<T>::tol);
  }
}

TYPED_TEST(Blas, CholeskyInverseTriangularInverseEigen) {
  using T = TypeParam;
  const double tol = Api<T>::tol;
  int n = 4, info = -1;
  const M id = triangle(M(16, 0), n, true, true);
  // SPD matrix: G G^T + 4 I
  const M g = rnd<T>(16, 17);
  M spd = naive_gemm(false, true, n, n, n, 1, g, n, g, n, 0, M(16, 0), n);
  for (int i = 0; i < n; ++i) spd[i + i * n] += 4;
  for (auto &v : spd) v = static_cast<T>(v);
  for (bool upper : {false, true}) {
    const char *uplo = upper ? "U" : "L";
    std::vector<T> l = to<T>(spd);
    Api<T>::potrf(uplo, &n, l.data(), &n, &info);
    ASSERT_EQ(info, 0);
    const M f = triangle(of(l), n, upper);
    expect_close(naive_gemm(upper, !upper, n, n, n, 1, f, n, f, n, 0, M(16, 0), n), spd, tol);
    Api<T>::potri(uplo, &n, l.data(), &n, &info);  // the inverse, one triangle
    ASSERT_EQ(info, 0);
    expect_close(naive_gemm(false, false, n, n, n, 1, spd, n, symmetric(of(l), n, upper), n, 0, M(16, 0), n), id, tol);
  }
  const M u = triangle(spd, n, true);
  std::vector<T> ui = to<T>(u);
  Api<T>::trtri("U", "N", &n, ui.data(), &n, &info);
  ASSERT_EQ(info, 0);
  expect_close(naive_gemm(false, false, n, n, n, 1, u, n, triangle(of(ui), n, true), n, 0, M(16, 0), n), id, tol);

  // Eigenpairs: A v = lambda v; the packed driver gives the same values.
  std::vector<T> e = to<T>(spd), w(n), work(64);
  int lwork = 64;
  Api<T>::syev("V", "U", &n, e.data(), &n, w.data(), work.data(), &lwork, &info);
  ASSERT_EQ(info, 0);
  const M av = naive_gemm(false, false, n, n, n, 1, spd, n, of(e), n, 0, M(16, 0), n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) EXPECT_NEAR(av[i + j * n], w[j] * e[i + j * n], 10 * tol);
  std::vector<T> ap, w2(n), z(16), work2(64);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) ap.push_back(static_cast<T>(spd[i + j * n]));
  std::vector<int> iwork(64);
  int liwork = 64;
  Api<T>::spevd("N", "U", &n, ap.data(), w2.data(), z.data(), &n, work2.data(), &lwork, iwork.data(), &liwork, &info);
  ASSERT_EQ(info, 0);
  expect_close(w2, of(w), 10 * tol);
}
}  // namespace
