// Interpolation: values and derivatives against the coefficients, the layouts of r, the kinds
// and the statuses.
#include <gtest/gtest.h>

#include <cmath>

#include "support.hpp"

namespace {

using dftest::kThreading;
using dftest::partition;
using dftest::scan_cell;

// A task with a natural cubic spline of ny functions built on it.
struct Spline {
  std::vector<double> x, ends, y, c;
  DfTask *t = nullptr;
  Spline(int64_t nx, int64_t ny, bool uniform, int64_t order = 4, int64_t type = DF_PP_NATURAL) {
    x = dftest::grid<double>(nx, 21, uniform);
    ends = {x[0], x[nx - 1]};
    for (int64_t f = 0; f < ny; ++f)
      for (int64_t i = 0; i < nx; ++i) y.push_back(std::sin((f + 1) * 0.7 * x[i]) + f);
    c.resize(4 * nx * ny);
    EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, nx, uniform ? ends.data() : x.data(),
                                       uniform ? DF_PARTITION_UNIFORM : DF_PARTITION_NON_UNIFORM,
                                       ny, y.data(), 0, 1), 0);
    EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, order, type, DF_BC_FREE_END, nullptr, 0, nullptr,
                                            c.data(), 0), 0);
    if (order == 4) { EXPECT_EQ(zyn_df_kernel_dDFNaturalCubicSpline1D(t, 0, 0, &kThreading), 0); }
    if (order == 2) { EXPECT_EQ(zyn_df_kernel_dDFLinearSpline1D(t, 0, 0, &kThreading), 0); }
  }
  ~Spline() { zyn_df_kernel_DeleteTask(&t); }
  int64_t nx() const { return static_cast<int64_t>(x.size()); }
  // Derivative d of function f at s from the coefficients, on the piece of the cell rule.
  double at(int64_t f, double s, int d, int64_t order = 4) const {
    const int64_t n = nx(), cell = scan_cell(x, s);
    const int64_t p = (cell >= 1 ? cell - 1 : 0) - (cell > n - 1 ? 1 : 0);
    const double *q = c.data() + f * order * (n - 1) + order * p;
    const double t = s - x[p];
    double acc = 0;
    for (int64_t m = order - 1; m >= d; --m) {
      double fall = 1;
      for (int z = 0; z < d; ++z) fall *= static_cast<double>(m - z);
      acc = acc * t + q[m] * fall;
    }
    return acc;
  }
};

int interp(DfTask *t, int64_t type, const std::vector<double> &s, int64_t siteHint,
           std::vector<int64_t> dorder, std::vector<double> &r, int64_t rHint, void *cell = nullptr,
           const double *dataHint = nullptr, DfdSearchCallback search = nullptr, void *sp = nullptr,
           int64_t nsite = -1) {
  if (nsite < 0) nsite = static_cast<int64_t>(s.size());
  return zyn_df_kernel_dDFInterpolate1D(t, type, 0, nsite, s.data(), siteHint,
                                        static_cast<int64_t>(dorder.size()), dorder.data(), dataHint,
                                        r.data(), rHint, cell, nullptr, nullptr, nullptr, nullptr,
                                        nullptr, nullptr, search, sp, &kThreading);
}

TEST(FittingInterpolate, DerivativesMatchCoefficientsInEveryLayout) {
  for (bool uniform : {false, true}) {
    Spline sp(300, 2, uniform);
    std::vector<double> s = dftest::sites(sp.x, 1000, 4);
    if (uniform) dftest::off_grid(s, sp.x);
    const int64_t n = static_cast<int64_t>(s.size()), ny = 2;
    for (auto dorder : std::vector<std::vector<int64_t>>{{1}, {1, 1}, {0, 1}, {1, 1, 1, 1}, {0, 0, 1, 1}, {1, 0, 1}}) {
      std::vector<int> ders;
      for (int j = 0; j < static_cast<int>(dorder.size()); ++j)
        if (dorder[j]) ders.push_back(j);
      const int64_t k = static_cast<int64_t>(ders.size());
      for (int64_t rHint : {0x0, 0x10, 0x20, 0x80, 0x100, 0x200}) {
        SCOPED_TRACE(testing::Message() << "uniform " << uniform << " k " << k << " rHint " << rHint);
        std::vector<double> r(n * ny * k + 1, -999);
        ASSERT_EQ(interp(sp.t, DF_INTERP, s, 0, dorder, r, rHint), 0);
        EXPECT_EQ(r[n * ny * k], -999);
        for (int64_t f = 0; f < ny; ++f)
          for (int64_t i = 0; i < n; ++i)
            for (int64_t j = 0; j < k; ++j) {
              int64_t at;
              switch (rHint) {
                case 0x20: at = (i * ny + f) * k + j; break;
                case 0x100: at = (f * k + j) * n + i; break;
                case 0x200: at = (i * k + j) * ny + f; break;
                default: at = f * n * k + i * k + j;
              }
              const double want = sp.at(f, s[i], ders[j]);
              ASSERT_NEAR(r[at], want, 1e-12 * (1 + std::fabs(want))) << f << " " << i << " " << j;
            }
      }
    }
  }
}

TEST(FittingInterpolate, OutsideSitesUseEndPolynomials) {
  Spline sp(20, 1, false);
  std::vector<double> s = {-1.0, 0.0, 10.0, 11.5, sp.x[5]};
  std::vector<double> r(s.size());
  std::vector<int64_t> cell(s.size());
  ASSERT_EQ(interp(sp.t, DF_INTERP | DF_CELL, s, 0, {1}, r, 0, cell.data()), 0);
  EXPECT_EQ(cell, (std::vector<int64_t>{0, 1, 19, 20, 6}));
  const double *c0 = sp.c.data(), *cl = c0 + 4 * 18;
  auto p = [](const double *q, double t) { return ((q[3] * t + q[2]) * t + q[1]) * t + q[0]; };
  EXPECT_DOUBLE_EQ(r[0], p(c0, -1.0 - sp.x[0]));
  EXPECT_DOUBLE_EQ(r[3], p(cl, 11.5 - sp.x[18]));
  EXPECT_NEAR(r[2], sp.y[19], 1e-12);
  EXPECT_NEAR(r[4], sp.y[5], 1e-12);
}

TEST(FittingInterpolate, SearchChoicesThreadsAndGivenCells) {
  Spline sp(1000, 1, false);
  std::vector<double> s = dftest::sites(sp.x, 20000, 9), sorted = s;
  std::sort(sorted.begin(), sorted.end());
  const int64_t n = static_cast<int64_t>(s.size());
  std::vector<double> ref(n);
  for (int64_t i = 0; i < n; ++i) ref[i] = sp.at(0, sorted[i], 0);
  for (int threads : {1, 2, 4}) {
    dftest::g_threads = threads;
    std::vector<double> r(n);
    std::vector<int32_t> c32(n);
    ASSERT_EQ(interp(sp.t, DF_INTERP, sorted, DF_SORTED_DATA, {1}, r, 0), 0);
    for (int64_t i = 0; i < n; ++i) ASSERT_NEAR(r[i], ref[i], 1e-12) << i;
    double peak[5] = {0, 1, 0, 0, 500};
    ASSERT_EQ(interp(sp.t, DF_INTERP, sorted, 0, {1}, r, 0, nullptr, peak), 0);
    for (int64_t i = 0; i < n; ++i) ASSERT_NEAR(r[i], ref[i], 1e-12) << i;
    // 32-bit cells written, then given back with type 4 on a reversed order.
    sp.t->indexWidth = 0;
    ASSERT_EQ(interp(sp.t, DF_CELL, sorted, 0, {1}, r, 0, c32.data()), 0);
    for (int64_t i = 0; i < n; ++i) ASSERT_EQ(c32[i], scan_cell(sp.x, sorted[i]));
    std::reverse(c32.begin(), c32.end());
    ASSERT_EQ(interp(sp.t, DF_INTERP_USER_CELL, sorted, 0, {1}, r, 0, c32.data()), 0);
    const int64_t mid = n / 2;
    const int64_t cell = c32[mid], piece = std::clamp<int64_t>(cell - 1, 0, 998);
    const double *q = sp.c.data() + 4 * piece, t = sorted[mid] - sp.x[piece];
    EXPECT_DOUBLE_EQ(r[mid], ((q[3] * t + q[2]) * t + q[1]) * t + q[0]);
    sp.t->indexWidth = 1;
  }
  double bad[5] = {0, 3, 0, 0, 0};
  std::vector<double> r(n);
  EXPECT_EQ(interp(sp.t, DF_INTERP, s, 0, {1}, r, 0, nullptr, bad), DF_ERROR_BAD_DATA_HINT);
  EXPECT_EQ(interp(sp.t, DF_INTERP_USER_CELL, s, 0, {1}, r, 0, r.data(), bad), 0);  // no search
}

TEST(FittingInterpolate, UniformSitesAndUserSearch) {
  Spline sp(64, 1, true);
  std::vector<double> ends = {-0.3, 10.3}, r(500), r2(500);
  ASSERT_EQ(interp(sp.t, DF_INTERP, ends, DF_UNIFORM_PARTITION_SITES, {1}, r, 0, nullptr, nullptr,
                   nullptr, nullptr, 500), 0);
  for (int i = 0; i < 500; ++i) {
    const double v = i * ((ends[1] - ends[0]) / 499) + ends[0];
    ASSERT_NEAR(r[i], sp.at(0, v, 0), 1e-12) << i;
  }
  auto cb = [](int64_t *n, const double *site, int64_t *cell, int32_t *, void *p, void *) {
    const auto *x = static_cast<const std::vector<double> *>(p);
    for (int64_t i = 0; i < *n; ++i) cell[i] = scan_cell(*x, site[i]);
    return static_cast<int>(DF_SEARCH_CALLBACK_ALL_FINAL);
  };
  std::vector<double> s = dftest::sites(sp.x, 500, 2);
  ASSERT_EQ(interp(sp.t, DF_INTERP, s, 0, {1}, r2, 0, nullptr, nullptr, cb, &sp.x), 0);
  for (int i = 0; i < 500; ++i) ASSERT_NEAR(r2[i], sp.at(0, s[i], 0), 1e-12) << i;
}

TEST(FittingInterpolate, KindsAndStatuses) {
  Spline sp(30, 1, false);
  std::vector<double> s = {1.0, 2.0}, r(8);
  auto with = [&](int64_t order, int64_t type) {
    sp.t->splineOrder = order;
    sp.t->splineType = type;
    return interp(sp.t, DF_INTERP, s, 0, {1}, r, 0);
  };
  // (0, 0): the general kind without its callbacks.
  for (auto [order, type] : {std::pair{3, 2}, {4, 1}, {4, 6}, {1, 0}, {-4, 0}, {0, 0}})
    EXPECT_EQ(with(order, type), DF_ERROR_BAD_SPLINE_TYPE) << order << " " << type;
  EXPECT_EQ(with(4, 9), 0);
  EXPECT_EQ(interp(sp.t, DF_INTERP, s, 0, {1}, r, 0x40), DF_ERROR_BAD_RHINT);
  EXPECT_EQ(interp(sp.t, DF_INTERP, s, 0, {1}, r, 0x40, nullptr, nullptr, nullptr, nullptr, 1), 0);
  EXPECT_NEAR(r[0], sp.at(0, 1.0, 0), 1e-12);  // a single site takes no rHint check
}

TEST(FittingInterpolate, LinearQuadraticAndGeneralKinds) {
  Spline lin(40, 1, false, 2, 0);
  std::vector<double> s = dftest::sites(lin.x, 300, 5), r(900);
  ASSERT_EQ(interp(lin.t, DF_INTERP, s, 0, {1, 1, 1}, r, 0), 0);
  for (size_t i = 0; i < s.size(); ++i) {
    ASSERT_NEAR(r[3 * i], lin.at(0, s[i], 0, 2), 1e-12);
    ASSERT_NEAR(r[3 * i + 1], lin.at(0, s[i], 1, 2), 1e-12);
    ASSERT_EQ(r[3 * i + 2], 0.0);
  }
  // Order 5: any coefficients, evaluated as a polynomial of degree 4.
  Spline gen(40, 1, false, 5, 0);
  gen.c.assign(5 * 39, 0);
  for (size_t k = 0; k < gen.c.size(); ++k) gen.c[k] = std::cos(static_cast<double>(k));
  ASSERT_EQ(zyn_df_kernel_dEditPtr(gen.t, DF_PTR_COEFF, gen.c.data()), 0);
  std::vector<double> r4(4 * s.size());
  ASSERT_EQ(interp(gen.t, DF_INTERP, s, 0, {1, 1, 1, 1}, r4, 0), 0);
  for (size_t i = 0; i < s.size(); ++i)
    for (int d = 0; d < 4; ++d) ASSERT_NEAR(r4[4 * i + d], gen.at(0, s[i], d, 5), 1e-9) << i;
  // Quadratic with knots between the breakpoints: pieces follow the knots.
  const int64_t nx = 30;
  std::vector<double> x = partition<double>(nx, 3), y, knots, c(3 * nx);
  for (double v : x) y.push_back(v * v);
  for (int64_t i = 0; i + 1 < nx; ++i) knots.push_back(x[i] + 0.4 * (x[i + 1] - x[i]));
  DfTask *t = nullptr;
  const double bc[2] = {0.0, 20.0};  // slopes of x^2 at 0 and 10
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, nx, x.data(), 1, 1, y.data(), 0, 1), 0);
  ASSERT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 3, DF_PP_SUBBOTIN, 12, bc, DF_IC_Q_KNOT, knots.data(),
                                          c.data(), 0), 0);
  ASSERT_EQ(zyn_df_kernel_dDFQuadraticSpline1D(t, 0, 0, &kThreading), 0);
  std::vector<double> r2(2 * s.size());
  ASSERT_EQ(interp(t, DF_INTERP, s, 0, {1, 1}, r2, 0), 0);
  for (size_t i = 0; i < s.size(); ++i) {  // x^2 is reproduced, also beyond the ends
    ASSERT_NEAR(r2[2 * i], s[i] * s[i], 1e-9) << s[i];
    ASSERT_NEAR(r2[2 * i + 1], 2 * s[i], 1e-9) << s[i];
  }
  zyn_df_kernel_DeleteTask(&t);
}

int left_cb(int64_t *n, int64_t *, const double *, double *r, void *) {
  for (int64_t i = 0; i < *n; ++i) r[i] = -1;
  return 0;
}
int right_cb(int64_t *n, int64_t *, const double *, double *r, void *) {
  for (int64_t i = 0; i < *n; ++i) r[i] = 1;
  return 0;
}
int inner_cb(int64_t *n, int64_t *cell, const double *site, double *r, void *) {
  for (int64_t i = 0; i < *n; ++i) r[i] = static_cast<double>(cell[i]) + 0 * site[i];
  return 0;
}

TEST(FittingInterpolate, CallbackKindFloatTwin) {
  Spline sp(10, 1, false, 0, 0);
  std::vector<double> s = {-1, 0.5, 5, 10, 12}, r(5);
  int64_t d[1] = {1};
  ASSERT_EQ(zyn_df_kernel_dDFInterpolate1D(sp.t, DF_INTERP, 0, 5, s.data(), 0, 1, d, nullptr, r.data(),
                                           0, nullptr, left_cb, nullptr, right_cb, nullptr, inner_cb,
                                           nullptr, nullptr, nullptr, &kThreading), 0);
  EXPECT_EQ(r, (std::vector<double>{-1, static_cast<double>(scan_cell(sp.x, 0.5)),
                                    static_cast<double>(scan_cell(sp.x, 5.0)), 9, 1}));
  // Float twin against the double spline.
  Spline ref(80, 1, false);
  std::vector<float> xf(ref.x.begin(), ref.x.end()), yf(ref.y.begin(), ref.y.end()), c(4 * 79);
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_sNewTask1D(&t, 80, xf.data(), 0, 1, yf.data(), 0, 0), 0);
  ASSERT_EQ(zyn_df_kernel_sEditPPSpline1D(t, 4, 2, 2, nullptr, 0, nullptr, c.data(), 0), 0);
  ASSERT_EQ(zyn_df_kernel_sDFNaturalCubicSpline1D(t, 0, 0, &kThreading), 0);
  std::vector<float> sf = dftest::sites(xf, 200, 3), rf(400);
  ASSERT_EQ(zyn_df_kernel_sDFInterpolate1D(t, DF_INTERP, 0, 200, sf.data(), 0, 1, d, nullptr, rf.data(),
                                           0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, nullptr, &kThreading), 0);
  for (int i = 0; i < 200; ++i) EXPECT_NEAR(rf[i], ref.at(0, sf[i], 0), 2e-5) << sf[i];
  zyn_df_kernel_DeleteTask(&t);
}

}  // namespace
