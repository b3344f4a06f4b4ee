// Each BLAS/LAPACK forwarder against a naive reference on one small case.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "zyn/core.h"

namespace {
using M = std::vector<double>;  // column-major
M rnd(int n, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-1, 1);
  M v(n);
  for (auto &x : v) x = u(g);
  return v;
}
void expect_close(const M &a, const M &b, double tol = 1e-12) {
  ASSERT_EQ(a.size(), b.size());
  for (size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], tol) << "at " << i;
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
// Full n x n matrix of a triangle: upper or lower part of `a`, unit or not.
M triangle(const M &a, int n, bool upper, bool unit) {
  M t(n * n, 0);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if ((upper && i <= j) || (!upper && i >= j)) t[i + j * n] = (unit && i == j) ? 1 : a[i + j * n];
  return t;
}
}  // namespace

TEST(Blas, GemmPlainAndSequential) {
  int m = 4, n = 3, k = 5, lda = 6, ldb = 5, ldc = 4;
  double alpha = 1.5, beta = -0.5;
  M a = rnd(lda * k, 1), b = rnd(ldb * n, 2), c = rnd(ldc * n, 3);
  M ref = naive_gemm(false, false, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
  M c1 = c, c2 = c;
  zyn_blas_dgemm("N", "N", &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, c1.data(), &ldc);
  zyn_blas_xdgemm("N", "N", &m, &n, &k, &alpha, a.data(), &lda, b.data(), &ldb, &beta, c2.data(), &ldc);
  expect_close(c1, ref);
  expect_close(c2, ref);
  // transposed single
  std::vector<float> fa(a.begin(), a.end()), fb(b.begin(), b.end()), fc(c.begin(), c.end());
  int lda2 = 5;  // A^T stored k x m
  M at = rnd(lda2 * m, 4);
  std::vector<float> fat(at.begin(), at.end());
  float fal = 1.5f, fbe = -0.5f;
  M ref2 = naive_gemm(true, false, m, n, k, alpha, at, lda2, b, ldb, beta, c, ldc);
  zyn_blas_sgemm("T", "N", &m, &n, &k, &fal, fat.data(), &lda2, fb.data(), &ldb, &fbe, fc.data(), &ldc);
  for (size_t i = 0; i < fc.size(); ++i) EXPECT_NEAR(fc[i], ref2[i], 1e-5);
  std::vector<float> fc2(c.begin(), c.end());
  zyn_blas_xsgemm("T", "N", &m, &n, &k, &fal, fat.data(), &lda2, fb.data(), &ldb, &fbe, fc2.data(), &ldc);
  for (size_t i = 0; i < fc2.size(); ++i) EXPECT_NEAR(fc2[i], ref2[i], 1e-5);
}

TEST(Blas, GemvSyrSyrkSymm) {
  int m = 4, n = 3, lda = 5, one = 1;
  double alpha = 2, beta = 0.25;
  M a = rnd(lda * n, 5), x = rnd(n, 6), y = rnd(m, 7);
  M yref = y;
  for (int i = 0; i < m; ++i) {
    double s = 0;
    for (int j = 0; j < n; ++j) s += a[i + j * lda] * x[j];
    yref[i] = alpha * s + beta * y[i];
  }
  zyn_blas_dgemv("N", &m, &n, &alpha, a.data(), &lda, x.data(), &one, &beta, y.data(), &one);
  expect_close(y, yref);

  // syr on the upper triangle: A += alpha x x^T
  int ns = 3, ld = 3;
  M s = rnd(9, 8), sref = s, s2 = s;
  for (int j = 0; j < ns; ++j)
    for (int i = 0; i <= j; ++i) sref[i + j * ld] += alpha * x[i] * x[j];
  zyn_blas_dsyr("U", &ns, &alpha, x.data(), &one, s.data(), &ld);
  zyn_blas_xdsyr("U", &ns, &alpha, x.data(), &one, s2.data(), &ld);
  expect_close(s, sref);
  expect_close(s2, sref);

  // syrk: C := alpha A A^T + beta C, upper triangle only
  int k = 4, lda2 = 3;
  M b = rnd(lda2 * k, 9), c = rnd(9, 10);
  M full = naive_gemm(false, true, ns, ns, k, alpha, b, lda2, b, lda2, beta, c, ld);
  M c1 = c, c2 = c;
  zyn_blas_dsyrk("U", "N", &ns, &k, &alpha, b.data(), &lda2, &beta, c1.data(), &ld);
  zyn_blas_xdsyrk("U", "N", &ns, &k, &alpha, b.data(), &lda2, &beta, c2.data(), &ld);
  for (int j = 0; j < ns; ++j)
    for (int i = 0; i < ns; ++i) {
      double want = i <= j ? full[i + j * ld] : c[i + j * ld];
      EXPECT_NEAR(c1[i + j * ld], want, 1e-12);
      EXPECT_NEAR(c2[i + j * ld], want, 1e-12);
    }

  // symm: C := alpha A B + beta C with A symmetric from its lower triangle
  int mm = 3, nn = 2;
  M sa = rnd(9, 11), sb = rnd(6, 12), sc = rnd(6, 13);
  M sym(9);
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 3; ++i) sym[i + j * 3] = i >= j ? sa[i + j * 3] : sa[j + i * 3];
  M symref = naive_gemm(false, false, mm, nn, mm, alpha, sym, 3, sb, 3, beta, sc, 3);
  zyn_blas_xdsymm("L", "L", &mm, &nn, &alpha, sa.data(), &mm, sb.data(), &mm, &beta, sc.data(), &mm);
  expect_close(sc, symref);
}

TEST(Blas, TriangularMultiplies) {
  int m = 4, n = 3;
  double alpha = 0.5, zero = 0;
  M a = rnd(16, 14), b = rnd(12, 15);
  for (bool upper : {true, false}) {
    M t = triangle(a, m, upper, false);
    M ref = naive_gemm(true, false, m, n, m, alpha, t, m, b, m, zero, M(12, 0), m);
    const char *uplo = upper ? "U" : "L";
    for (auto fn : {zyn_blas_dtrmm, zyn_blas4vex_dtrmm, zyn_blas_xdtrmm_4vex}) {
      M bb = b;
      fn("L", uplo, "T", "N", &m, &n, &alpha, a.data(), &m, bb.data(), &m);
      expect_close(bb, ref);
    }
    // packed forms, side L and side R
    M packed;
    for (int j = 0; j < m; ++j)
      for (int i = 0; i < m; ++i)
        if ((upper && i <= j) || (!upper && i >= j)) packed.push_back(a[i + j * m]);
    M refn = naive_gemm(false, false, m, n, m, alpha, t, m, b, m, zero, M(12, 0), m);
    M bb = b;
    zyn_blas4vex_dptrmm("L", uplo, "N", "N", &m, &n, &alpha, packed.data(), bb.data(), &m);
    expect_close(bb, refn);
    // side R: B (n x m, ld n) := alpha B op(A)
    M br = rnd(12, 16);
    M refr = naive_gemm(false, true, n, m, m, alpha, br, n, t, m, zero, M(12, 0), n);
    zyn_blas4vex_dptrmm("R", uplo, "T", "N", &n, &m, &alpha, packed.data(), br.data(), &n);
    expect_close(br, refr);
    std::vector<float> fp(packed.begin(), packed.end()), fb(b.begin(), b.end());
    float fal = 0.5f;
    zyn_blas4vex_sptrmm("L", uplo, "N", "N", &m, &n, &fal, fp.data(), fb.data(), &m);
    for (size_t i = 0; i < fb.size(); ++i) EXPECT_NEAR(fb[i], refn[i], 1e-5);
  }
}

TEST(Lapack, CholeskyInverseTriangularInverseEigen) {
  // SPD matrix: G G^T + 4 I
  int n = 4, info = -1;
  M g = rnd(16, 17);
  M spd = naive_gemm(false, true, n, n, n, 1, g, n, g, n, 0, M(16, 0), n);
  for (int i = 0; i < n; ++i) spd[i + i * n] += 4;
  M l = spd;
  zyn_lapack_dpotrf("L", &n, l.data(), &n, &info);
  ASSERT_EQ(info, 0);
  M lt = triangle(l, n, false, false);
  expect_close(naive_gemm(false, true, n, n, n, 1, lt, n, lt, n, 0, M(16, 0), n), spd, 1e-12);

  zyn_lapack_dpotri("L", &n, l.data(), &n, &info);  // inverse of spd, lower triangle
  ASSERT_EQ(info, 0);
  M inv(16);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) inv[i + j * n] = i >= j ? l[i + j * n] : l[j + i * n];
  M id = naive_gemm(false, false, n, n, n, 1, spd, n, inv, n, 0, M(16, 0), n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) EXPECT_NEAR(id[i + j * n], i == j ? 1 : 0, 1e-12);

  M u = triangle(spd, n, true, false), ui = u;
  zyn_lapack_dtrtri("U", "N", &n, ui.data(), &n, &info);
  ASSERT_EQ(info, 0);
  id = naive_gemm(false, false, n, n, n, 1, u, n, triangle(ui, n, true, false), n, 0, M(16, 0), n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) EXPECT_NEAR(id[i + j * n], i == j ? 1 : 0, 1e-12);

  // eigenvalues: the trace and A v = lambda v
  M e = spd, w(n), work(64);
  int lwork = 64;
  zyn_lapack_dsyev("V", "U", &n, e.data(), &n, w.data(), work.data(), &lwork, &info);
  ASSERT_EQ(info, 0);
  double tr = 0, sw = 0;
  for (int i = 0; i < n; ++i) tr += spd[i + i * n], sw += w[i];
  EXPECT_NEAR(tr, sw, 1e-12);
  M av = naive_gemm(false, false, n, n, n, 1, spd, n, e, n, 0, M(16, 0), n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) EXPECT_NEAR(av[i + j * n], w[j] * e[i + j * n], 1e-11);

  M ap;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i <= j; ++i) ap.push_back(spd[i + j * n]);
  const M ap_kept = ap;  // spevd destroys its packed input
  M w2(n), z(16), work2(64);
  std::vector<int> iwork(64);
  int liwork = 64;
  zyn_lapack_dspevd("N", "U", &n, ap.data(), w2.data(), z.data(), &n, work2.data(), &lwork,
                    iwork.data(), &liwork, &info);
  ASSERT_EQ(info, 0);
  expect_close(w2, w, 1e-12);

  std::vector<float> fs(spd.begin(), spd.end()), fw(n), fwork(64);
  zyn_lapack_spotrf("U", &n, fs.data(), &n, &info);
  EXPECT_EQ(info, 0);
  zyn_lapack_spotri("U", &n, fs.data(), &n, &info);
  EXPECT_EQ(info, 0);
  EXPECT_NEAR(fs[0], inv[0], 1e-5);
  std::vector<float> fe(spd.begin(), spd.end());
  zyn_lapack_ssyev("N", "U", &n, fe.data(), &n, fw.data(), fwork.data(), &lwork, &info);
  EXPECT_EQ(info, 0);
  for (int i = 0; i < n; ++i) EXPECT_NEAR(fw[i], w[i], 1e-4);
  std::vector<float> fu(u.begin(), u.end());
  zyn_lapack_strtri("U", "N", &n, fu.data(), &n, &info);
  EXPECT_EQ(info, 0);
  EXPECT_NEAR(fu[0], ui[0], 1e-6);
  std::vector<float> fap(ap_kept.begin(), ap_kept.end()), fw2(n), fz(16), fwork2(64);
  zyn_lapack_sspevd("N", "U", &n, fap.data(), fw2.data(), fz.data(), &n, fwork2.data(), &lwork,
                    iwork.data(), &liwork, &info);
  EXPECT_EQ(info, 0);
  for (int i = 0; i < n; ++i) EXPECT_NEAR(fw2[i], w[i], 1e-4);
}

TEST(Blas, SingleRankUpdatesAndSymm) {
  int n = 3, one = 1, k = 2;
  float alpha = 1, beta = 0;
  std::vector<float> x = {1, 2, 3}, a(9, 0), a2(9, 0), c(9, 0), c2(9, 0);
  zyn_blas_ssyr("U", &n, &alpha, x.data(), &one, a.data(), &n);
  zyn_blas_xssyr("U", &n, &alpha, x.data(), &one, a2.data(), &n);
  EXPECT_EQ(a[2 + 2 * 3], 9.0f);
  EXPECT_EQ(a2[1 + 2 * 3], 6.0f);
  std::vector<float> b = {1, 2, 3, 4, 5, 6};  // 3 x 2
  zyn_blas_ssyrk("U", "N", &n, &k, &alpha, b.data(), &n, &beta, c.data(), &n);
  zyn_blas_xssyrk("U", "N", &n, &k, &alpha, b.data(), &n, &beta, c2.data(), &n);
  EXPECT_EQ(c[0 + 2 * 3], 1 * 3 + 4 * 6.0f);
  EXPECT_EQ(c2[0 + 2 * 3], 27.0f);
  std::vector<float> s = {2, 0, 0, 1, 3, 0, 0, 0, 1}, bb = {1, 1, 1}, cc(3, 0);  // upper triangle used
  int nn = 1;
  zyn_blas_xssymm("L", "U", &n, &nn, &alpha, s.data(), &n, bb.data(), &n, &beta, cc.data(), &n);
  EXPECT_EQ(cc[0], 3.0f);  // row 0 of [[2,1,0],[1,3,0],[0,0,1]]
  EXPECT_EQ(cc[1], 4.0f);
  EXPECT_EQ(cc[2], 1.0f);
  std::vector<float> ga = {1, 2}, gy = {0};
  int m1 = 1, n2 = 2;
  zyn_blas_sgemv("N", &m1, &n2, &alpha, ga.data(), &m1, ga.data(), &one, &beta, gy.data(), &one);
  EXPECT_EQ(gy[0], 5.0f);
  std::vector<float> tb = {1, 1};
  float t[] = {2, 0, 3, 4};  // upper 2x2 [[2,3],[0,4]]
  int two = 2;
  zyn_blas_strmm("L", "U", "N", "N", &two, &one, &alpha, t, &two, tb.data(), &two);
  EXPECT_EQ(tb[0], 5.0f);
  EXPECT_EQ(tb[1], 4.0f);
  for (auto fn : {zyn_blas4vex_strmm, zyn_blas_xstrmm_4vex}) {
    std::vector<float> tb2 = {1, 1};
    fn("L", "U", "N", "N", &two, &one, &alpha, t, &two, tb2.data(), &two);
    EXPECT_EQ(tb2[0], 5.0f);
  }
}
