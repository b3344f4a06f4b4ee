// Each BLAS/LAPACK forwarder, in both precisions, against a naive double reference on small cases.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <random>
#include <vector>

#include "zyn/core.h"

namespace {
using M = std::vector<double>;  // column-major

// The forwarders of one precision; where several forward the same routine, all of them.
template <class T>
struct Api;
#define ZYN_CORE_API(T, p)                                                                                     \
  template <>                                                                                                  \
  struct Api<T> {                                                                                              \
    static constexpr std::array gemm{&zyn_blas_##p##gemm, &zyn_blas_x##p##gemm}, syr{&zyn_blas_##p##syr, &zyn_blas_x##p##syr}; \
    static constexpr std::array syrk{&zyn_blas_##p##syrk, &zyn_blas_x##p##syrk};                               \
    static constexpr std::array trmm{&zyn_blas_##p##trmm, &zyn_blas4vex_##p##trmm, &zyn_blas_x##p##trmm_4vex}; \
    static constexpr auto gemv = &zyn_blas_##p##gemv, symm = &zyn_blas_x##p##symm, ptrmm = &zyn_blas4vex_##p##ptrmm; \
    static constexpr auto potrf = &zyn_lapack_##p##potrf, potri = &zyn_lapack_##p##potri, trtri = &zyn_lapack_##p##trtri; \
    static constexpr auto syev = &zyn_lapack_##p##syev, spevd = &zyn_lapack_##p##spevd;                        \
    static constexpr double tol = sizeof(T) == 8 ? 1e-11 : 1e-4;                                               \
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
  for (int i = 0; i < n * n; ++i) {
    const int r = i % n, c = i / n;
    const bool mine = (part == 'U' || part == 'u' || part == 'I') == (r <= c) || r == c;
    t[i] = part == 'I' ? r == c : mine ? a[i] : (part == 'u' || part == 'l') ? a[c + r * n] : 0;
  }
  return t;
}
// Runs f on T copies of `in`, and checks the first `out` of them against `want`.
template <class T>
void Check(std::vector<M> in, int out, const std::function<void(std::vector<std::vector<T>> &)> &f, const M &want, double tol) {
  std::vector<std::vector<T>> v;
  for (const M &m : in) v.emplace_back(m.begin(), m.end());
  f(v);
  ASSERT_EQ(v[out].size(), want.size());
  for (size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(double(v[out][i]), want[i], tol) << "at " << i;
}

template <class T>
class Blas : public testing::Test {};
using Precisions = testing::Types<double, float>;
TYPED_TEST_SUITE(Blas, Precisions);

// gemm (transposed), gemv, syr and syrk on the upper triangle (the lower one untouched),
// symm from either triangle, trmm from either triangle, plain and transposed, and packed: side L,
// and side R with B (n x m, ld n) := alpha B op(A).
TYPED_TEST(Blas, Multiplies) {
  using T = TypeParam;
  using V = std::vector<std::vector<T>>;
  const double tol = Api<T>::tol;
  int m = 4, n = 3, k = 5, one = 1, two = 2;
  const T alpha = 1.5, beta = -0.5;
  const M a = rnd<T>(20, 1), b = rnd<T>(15, 2), c = rnd<T>(12, 3), s = rnd<T>(9, 8), t = rnd<T>(16, 14), br = rnd<T>(12, 16);
  for (auto fn : Api<T>::gemm)  // A^T stored k x m
    Check<T>({a, b, c}, 2, [&](V &v) { fn("T", "N", &m, &n, &k, &alpha, v[0].data(), &k, v[1].data(), &k, &beta, v[2].data(), &m); },
             gemm(true, false, m, n, k, alpha, a, 5, b, 5, beta, c, 4), tol);
  Check<T>({b, M(b.begin(), b.begin() + 3), M(c.begin(), c.begin() + 4)}, 2,
           [&](V &v) { Api<T>::gemv("N", &m, &n, &alpha, v[0].data(), &k, v[1].data(), &one, &beta, v[2].data(), &one); },
           gemm(false, false, m, 1, n, alpha, b, 5, b, 3, beta, M(c.begin(), c.begin() + 4), m), tol);
  M xx = s, upper = s, full = gemm(false, true, n, n, two, alpha, b, n, b, n, beta, s, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) xx[i + j * n] += alpha * b[i] * b[j], upper[i + j * n] = full[i + j * n];
  for (int i = 0; i < 2; ++i) {
    Check<T>({s, b}, 0, [&](V &v) { Api<T>::syr[i]("U", &n, &alpha, v[1].data(), &one, v[0].data(), &n); }, xx, tol);
    Check<T>({s, b}, 0, [&](V &v) { Api<T>::syrk[i]("U", "N", &n, &two, &alpha, v[1].data(), &n, &beta, v[0].data(), &n); }, upper, tol);
  }
  for (char uplo : {'l', 'u'}) {
    const char u[2] = {char(uplo & ~0x20), 0};
    const M sc(c.begin(), c.begin() + 6);
    Check<T>({s, b, sc}, 2, [&](V &v) { Api<T>::symm("L", u, &n, &two, &alpha, v[0].data(), &n, v[1].data(), &n, &beta, v[2].data(), &n); },
             gemm(false, false, n, 2, n, alpha, seen(s, n, uplo), n, b, n, beta, sc, n), tol);
  }
  for (char uplo : {'U', 'L'}) {
    const char u[2] = {uplo, 0};
    const M tri = seen(t, m, uplo);
    M packed;
    for (int i = 0; i < m * m; ++i)
      if (tri[i] != 0) packed.push_back(t[i]);
    for (bool trans : {false, true})
      for (auto fn : Api<T>::trmm)
        Check<T>({t, c}, 1, [&](V &v) { fn("L", u, trans ? "T" : "N", "N", &m, &n, &alpha, v[0].data(), &m, v[1].data(), &m); },
                 gemm(trans, false, m, n, m, alpha, tri, m, c, m, 0, M(12, 0), m), tol);
    Check<T>({packed, c}, 1, [&](V &v) { Api<T>::ptrmm("L", u, "N", "N", &m, &n, &alpha, v[0].data(), v[1].data(), &m); },
             gemm(false, false, m, n, m, alpha, tri, m, c, m, 0, M(12, 0), m), tol);
    Check<T>({packed, br}, 1, [&](V &v) { Api<T>::ptrmm("R", u, "T", "N", &n, &m, &alpha, v[0].data(), v[1].data(), &n); },
             gemm(false, true, n, m, m, alpha, br, n, tri, m, 0, M(12, 0), n), tol);
  }
}

// An SPD matrix G G^T + 4 I: its Cholesky factor from either triangle, the inverse from it, the
// inverse of a triangle, and its eigenpairs (A v = lambda v; the packed driver gives the values).
TYPED_TEST(Blas, CholeskyInverseTriangularInverseEigen) {
  using T = TypeParam;
  const double tol = Api<T>::tol;
  int n = 4, info = -1, lwork = 64, liwork = 64;
  const M g = rnd<T>(16, 17), id = seen(M(16), n, 'I');
  M spd = gemm(false, true, n, n, n, 1, g, n, g, n, 0, M(16, 0), n);
  for (int i = 0; i < 16; ++i) spd[i] = T(spd[i] + 4 * (i % 5 == 0));
  const auto near = [](const M &got, const M &want, double t) {
    for (size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(got[i], want[i], t) << i;
  };
  const auto of = [](const std::vector<T> &v) { return M(v.begin(), v.end()); };
  for (char uplo : {'U', 'L'}) {
    const char u[2] = {uplo, 0};
    std::vector<T> f(spd.begin(), spd.end());
    Api<T>::potrf(u, &n, f.data(), &n, &info);
    ASSERT_EQ(info, 0);
    const M l = seen(of(f), n, uplo);
    near(gemm(uplo == 'U', uplo == 'L', n, n, n, 1, l, n, l, n, 0, M(16, 0), n), spd, tol);
    Api<T>::potri(u, &n, f.data(), &n, &info);  // the inverse, one triangle
    ASSERT_EQ(info, 0);
    near(gemm(false, false, n, n, n, 1, spd, n, seen(of(f), n, uplo | 0x20), n, 0, M(16, 0), n), id, tol);
  }
  const M up = seen(spd, n, 'U');
  std::vector<T> ui(up.begin(), up.end()), e(spd.begin(), spd.end()), w(n), work(64), w2(n), z(16), ap;
  Api<T>::trtri("U", "N", &n, ui.data(), &n, &info);
  ASSERT_EQ(info, 0);
  near(gemm(false, false, n, n, n, 1, up, n, of(ui), n, 0, M(16, 0), n), id, tol);
  Api<T>::syev("V", "U", &n, e.data(), &n, w.data(), work.data(), &lwork, &info);
  ASSERT_EQ(info, 0);
  const M av = gemm(false, false, n, n, n, 1, spd, n, of(e), n, 0, M(16, 0), n);
  for (int i = 0; i < 16; ++i) EXPECT_NEAR(av[i], w[i / n] * e[i], 10 * tol);
  for (int i = 0; i < 16; ++i)
    if (i % n <= i / n) ap.push_back(T(spd[i]));
  std::vector<int> iwork(64);
  Api<T>::spevd("N", "U", &n, ap.data(), w2.data(), z.data(), &n, work.data(), &lwork, iwork.data(), &liwork, &info);
  ASSERT_EQ(info, 0);
  near(of(w2), of(w), 10 * tol);
}
}  // namespace
