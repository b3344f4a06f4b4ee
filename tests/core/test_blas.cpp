// Each BLAS/LAPACK forwarder, in both precisions, against a naive double reference on small cases.
#include <gtest/gtest.h>

#include <array>
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
    static constexpr auto gemv = &zyn_blas_##p##gemv, symm = &zyn_blas_x##p##symm;                 \
    static constexpr auto ptrmm = &zyn_blas4vex_##p##ptrmm, potrf = &zyn_lapack_##p##potrf;        \
    static constexpr auto potri = &zyn_lapack_##p##potri, trtri = &zyn_lapack_##p##trtri;          \
    static constexpr auto syev = &zyn_lapack_##p##syev, spevd = &zyn_lapack_##p##spevd;            \
    static constexpr double tol = sizeof(T) == 8 ? 1e-11 : 1e-4;                                   \
  };
ZYN_CORE_API(double, d)
ZYN_CORE_API(float, s)
#undef ZYN_CORE_API

// n values in (-1, 1) representable in T, so that the double reference sees what the routine sees.
template <class T>
M rnd(int n, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-1, 1);
  M v(n);
  for (auto &x : v) x = static_cast<T>(u(g));
  return v;
}
template <class T>
void expect_close(const std::vector<T> &got, const M &want, double tol) {
  ASSERT_EQ(got.size(), want.size());
  for (size_t i = 0; i < got.size(); ++i) EXPECT_NEAR(double(got[i]), want[i], tol) << "at " << i;
}
// C := alpha op(A) op(B) + beta C
M gemm(bool ta, bool tb, int m, int n, int k, double alpha, const M &a, int lda, const M &b, int ldb, double beta, M c, int ldc) {
  for (int i = 0; i < m; ++i)
    for (int j = 0; j < n; ++j) {
      double s = 0;
      for (int p = 0; p < k; ++p) s += (ta ? a[p + i * lda] : a[i + p * lda]) * (tb ? b[j + p * ldb] : b[p + j * ldb]);
      c[i + j * ldc] = alpha * s + beta * c[i + j * ldc];
    }
  return c;
}
// The n x n matrix a routine sees in `a` (ld n): one triangle ('U', 'L', or 'I' the unit upper),
// or the symmetric matrix of one ('u', 'l').
M seen(const M &a, int n, char part) {
  M t(n * n, 0);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const bool upper = i <= j, mine = (part == 'U' || part == 'u' || part == 'I') == upper || i == j;
      t[i + j * n] = part == 'I' ? i == j : mine ? a[i + j * n] : (part == 'u' || part == 'l') ? a[j + i * n] : 0;
    }
  return t;
}

template <class T>
class Blas : public testing::Test {};
using Precisions = testing::Types<double, float>;
TYPED_TEST_SUITE(Blas, Precisions);

// gemm plain and transposed, gemv, syr and syrk on the upper triangle (the lower one untouched),
// symm from either triangle.
TYPED_TEST(Blas, GeneralAndSymmetric) {
  using T = TypeParam;
  using V = std::vector<T>;
  int m = 4, n = 3, k = 5, ldb = 5, ldc = 4, one = 1, two = 2;
  const T alpha = 1.5, beta = -0.5;
  const M b = rnd<T>(ldb * n, 2), c = rnd<T>(ldc * n, 3), x = rnd<T>(n, 6), y = rnd<T>(m, 7);
  for (bool ta : {false, true}) {
    int lda = ta ? 5 : 6;  // A^T stored k x m
    const M a = rnd<T>(lda * (ta ? m : k), 1);
    for (auto fn : Api<T>::gemm) {
      V ta_(a.begin(), a.end()), tb(b.begin(), b.end()), tc(c.begin(), c.end());
      fn(ta ? "T" : "N", "N", &m, &n, &k, &alpha, ta_.data(), &lda, tb.data(), &ldb, &beta, tc.data(), &ldc);
      expect_close(tc, gemm(ta, false, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc), Api<T>::tol);
    }
  }
  V tb(b.begin(), b.end()), tx(x.begin(), x.end()), ty(y.begin(), y.end());
  Api<T>::gemv("N", &m, &n, &alpha, tb.data(), &ldb, tx.data(), &one, &beta, ty.data(), &one);
  expect_close(ty, gemm(false, false, m, 1, n, alpha, b, ldb, x, n, beta, y, m), Api<T>::tol);
  const M s = rnd<T>(9, 8), full = gemm(false, true, 3, 3, 2, alpha, b, 3, b, 3, beta, s, 3);
  M xx = s, upper = s;
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i <= j; ++i) xx[i + j * 3] += alpha * x[i] * x[j], upper[i + j * 3] = full[i + j * 3];
  for (int i = 0; i < 2; ++i) {
    V ts(s.begin(), s.end()), tk(s.begin(), s.end());
    Api<T>::syr[i]("U", &n, &alpha, tx.data(), &one, ts.data(), &n);
    expect_close(ts, xx, Api<T>::tol);
    Api<T>::syrk[i]("U", "N", &n, &two, &alpha, tb.data(), &n, &beta, tk.data(), &n);
    expect_close(tk, upper, Api<T>::tol);
  }
  for (char uplo : {'l', 'u'}) {
    V ts(s.begin(), s.end()), tc(c.begin(), c.begin() + 6);
    const char u[2] = {char(uplo & ~0x20), 0};
    Api<T>::symm("L", u, &n, &two, &alpha, ts.data(), &n, tb.data(), &n, &beta, tc.data(), &n);
    expect_close(tc, gemm(false, false, n, 2, n, alpha, seen(s, n, uplo), n, b, n, beta, M(c.begin(), c.begin() + 6), n),
                 Api<T>::tol);
  }
}

// trmm from either triangle, plain and transposed; packed: side L, and side R with B (n x m, ld n)
// := alpha B op(A).
TYPED_TEST(Blas, TriangularMultiplies) {
  using T = TypeParam;
  int m = 4, n = 3;
  const T alpha = 0.5;
  const M a = rnd<T>(16, 14), b = rnd<T>(12, 15), br = rnd<T>(12, 16);
  const std::vector<T> tpa(a.begin(), a.end());
  for (char uplo : {'U', 'L'}) {
    const M t = seen(a, m, uplo);
    const char u[2] = {uplo, 0};
    for (bool trans : {false, true})
      for (auto fn : Api<T>::trmm) {
        std::vector<T> tb(b.begin(), b.end());
        fn("L", u, trans ? "T" : "N", "N", &m, &n, &alpha, tpa.data(), &m, tb.data(), &m);
        expect_close(tb, gemm(trans, false, m, n, m, alpha, t, m, b, m, 0, M(12, 0), m), Api<T>::tol);
      }
    std::vector<T> packed, tb(b.begin(), b.end()), tbr(br.begin(), br.end());
    for (int j = 0; j < m; ++j)
      for (int i = uplo == 'U' ? 0 : j; i < (uplo == 'U' ? j + 1 : m); ++i) packed.push_back(T(a[i + j * m]));
    Api<T>::ptrmm("L", u, "N", "N", &m, &n, &alpha, packed.data(), tb.data(), &m);
    expect_close(tb, gemm(false, false, m, n, m, alpha, t, m, b, m, 0, M(12, 0), m), Api<T>::tol);
    Api<T>::ptrmm("R", u, "T", "N", &n, &m, &alpha, packed.data(), tbr.data(), &n);
    expect_close(tbr, gemm(false, true, n, m, m, alpha, br, n, t, m, 0, M(12, 0), n), Api<T>::tol);
  }
}

// An SPD matrix G G^T + 4 I: its Cholesky factor from either triangle, the inverse from it, the
// inverse of a triangle, and its eigenpairs (A v = lambda v; the packed driver gives the values).
TYPED_TEST(Blas, CholeskyInverseTriangularInverseEigen) {
  using T = TypeParam;
  using V = std::vector<T>;
  const double tol = Api<T>::tol;
  int n = 4, info = -1, lwork = 64, liwork = 64;
  const M g = rnd<T>(16, 17), id = seen(M(16), n, 'I');
  M spd = gemm(false, true, n, n, n, 1, g, n, g, n, 0, M(16, 0), n);
  for (int i = 0; i < 16; ++i) spd[i] = T(spd[i] + 4 * (i % 5 == 0));
  for (char uplo : {'U', 'L'}) {
    const char u[2] = {uplo, 0};
    V l(spd.begin(), spd.end());
    Api<T>::potrf(u, &n, l.data(), &n, &info);
    ASSERT_EQ(info, 0);
    const M f = seen(M(l.begin(), l.end()), n, uplo);
    expect_close(gemm(uplo == 'U', uplo == 'L', n, n, n, 1, f, n, f, n, 0, M(16, 0), n), spd, tol);
    Api<T>::potri(u, &n, l.data(), &n, &info);  // the inverse, one triangle
    ASSERT_EQ(info, 0);
    expect_close(gemm(false, false, n, n, n, 1, spd, n, seen(M(l.begin(), l.end()), n, uplo | 0x20), n, 0, M(16, 0), n), id, tol);
  }
  const M up = seen(spd, n, 'U');
  V ui(up.begin(), up.end()), e(spd.begin(), spd.end()), w(n), work(64), w2(n), z(16), ap;
  Api<T>::trtri("U", "N", &n, ui.data(), &n, &info);
  ASSERT_EQ(info, 0);
  expect_close(gemm(false, false, n, n, n, 1, up, n, seen(M(ui.begin(), ui.end()), n, 'U'), n, 0, M(16, 0), n), id, tol);
  Api<T>::syev("V", "U", &n, e.data(), &n, w.data(), work.data(), &lwork, &info);
  ASSERT_EQ(info, 0);
  const M av = gemm(false, false, n, n, n, 1, spd, n, M(e.begin(), e.end()), n, 0, M(16, 0), n);
  for (int i = 0; i < 16; ++i) EXPECT_NEAR(av[i], w[i / n] * e[i], 10 * tol);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) ap.push_back(T(spd[i + j * n]));
  std::vector<int> iwork(64);
  Api<T>::spevd("N", "U", &n, ap.data(), w2.data(), z.data(), &n, work.data(), &lwork, iwork.data(), &liwork, &info);
  ASSERT_EQ(info, 0);
  expect_close(w2, M(w.begin(), w.end()), 10 * tol);
}
}  // namespace
