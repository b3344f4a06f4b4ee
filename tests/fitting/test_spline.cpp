// Spline construction against an independent dense solve of the same conditions, against
// polynomials the spline must reproduce, and against its end conditions.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>

#include "support.hpp"

namespace {

using dftest::kThreading;
using dftest::partition;
using LD = long double;

const int64_t kPairs[] = {12, 36, 24, 48};
const int64_t kAllBc[] = {1, 2, 12, 36, 24, 48, 64};

// Value and derivatives 1 and 2 of a cell polynomial at t.
template <class T>
void poly(const T *c, int order, T t, T out[3]) {
  out[0] = out[1] = out[2] = 0;
  for (int k = order - 1; k >= 0; --k) out[0] = out[0] * t + c[k];
  for (int k = order - 1; k >= 1; --k) out[1] = out[1] * t + k * c[k];
  for (int k = order - 1; k >= 2; --k) out[2] = out[2] * t + k * (k - 1) * c[k];
}

// Dense oracle: 4(nx-1) unknowns from interpolation, C1 and C2 continuity and the end
// conditions, solved by Gaussian elimination with partial pivoting in long double.
std::vector<LD> dense_cubic(const std::vector<double> &x, const std::vector<double> &y,
                            int64_t bcType, const double *bc) {
  const int64_t nx = static_cast<int64_t>(x.size()), nc = nx - 1, n = 4 * nc;
  std::vector<std::vector<LD>> a(n, std::vector<LD>(n + 1, 0));
  int64_t row = 0;
  auto h = [&](int64_t i) { return static_cast<LD>(x[i + 1]) - static_cast<LD>(x[i]); };
  // d-th derivative of cell i at t, as coefficients on its unknowns.
  auto put = [&](int64_t r, int64_t i, int d, LD t, LD sign) {
    for (int k = d; k < 4; ++k) {
      LD f = 1;
      for (int z = 0; z < d; ++z) f *= k - z;
      a[r][4 * i + k] += sign * f * std::pow(t, static_cast<LD>(k - d));
    }
  };
  for (int64_t i = 0; i < nc; ++i) {
    put(row, i, 0, 0, 1), a[row++][n] = y[i];
    put(row, i, 0, h(i), 1), a[row++][n] = y[i + 1];
  }
  for (int64_t j = 1; j + 1 < nx; ++j)
    for (int d = 1; d <= 2; ++d) put(row, j - 1, d, h(j - 1), 1), put(row, j, d, 0, -1), ++row;
  const int64_t L = nc - 1;
  switch (bcType) {
    case 1:
      put(row, 0, 3, 0, 1), put(row++, 1, 3, 0, -1);
      put(row, L, 3, 0, 1), put(row++, L - 1, 3, 0, -1);
      break;
    case 2:
      put(row++, 0, 2, 0, 1);
      put(row++, L, 2, h(L), 1);
      break;
    case 64:
      put(row, 0, 1, 0, 1), put(row++, L, 1, h(L), -1);
      put(row, 0, 2, 0, 1), put(row++, L, 2, h(L), -1);
      break;
    default:
      put(row, 0, bcType & DF_BC_1ST_LEFT_DER ? 1 : 2, 0, 1), a[row++][n] = bc[0];
      put(row, L, bcType & DF_BC_1ST_RIGHT_DER ? 1 : 2, h(L), 1), a[row++][n] = bc[1];
  }
  for (int64_t c = 0; c < n; ++c) {
    int64_t p = c;
    for (int64_t r = c + 1; r < n; ++r)
      if (std::fabs(a[r][c]) > std::fabs(a[p][c])) p = r;
    std::swap(a[c], a[p]);
    for (int64_t r = c + 1; r < n; ++r) {
      const LD f = a[r][c] / a[c][c];
      for (int64_t k = c; k <= n; ++k) a[r][k] -= f * a[c][k];
    }
  }
  std::vector<LD> s(n);
  for (int64_t c = n - 1; c >= 0; --c) {
    LD v = a[c][n];
    for (int64_t k = c + 1; k < n; ++k) v -= a[c][k] * s[k];
    s[c] = v / a[c][c];
  }
  return s;
}

struct Built {
  int status;
  std::vector<double> c;
};

// Builds one spline of the given kind on a task; x is the full partition (only its ends are
// passed for a uniform one).
Built build(const std::vector<double> &x, bool uniform, const std::vector<double> &y, int64_t ny,
            int64_t yHint, int64_t order, int64_t type, int64_t bcType, const double *bc,
            int64_t icType, const double *ic,
            int (*entry)(DfTask *, int64_t, int64_t, const ZynThreading *), int threads = 1,
            int64_t ncells = -1) {
  const int64_t nx = static_cast<int64_t>(x.size());
  if (ncells < 0) ncells = nx - 1;
  std::vector<double> ends = {x.front(), x.back()};
  DfTask *t = nullptr;
  Built b;
  b.c.assign(static_cast<size_t>(ncells * order * ny), std::nan(""));
  EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, nx, uniform ? ends.data() : x.data(),
                                     uniform ? DF_PARTITION_UNIFORM : DF_PARTITION_NON_UNIFORM, ny,
                                     y.data(), yHint, 1), 0);
  EXPECT_EQ(zyn_df_kernel_dEditPPSpline1D(t, order, type, bcType, bc, icType, ic, b.c.data(), 0), 0);
  dftest::g_threads = threads;
  b.status = entry(t, 0, 0, &kThreading);
  zyn_df_kernel_DeleteTask(&t);
  return b;
}

std::vector<double> values(const std::vector<double> &x, const std::function<double(double)> &f) {
  std::vector<double> y;
  for (double v : x) y.push_back(f(v));
  return y;
}

// Three breakpoints join the dense check, except the same-cubic condition: there the spline is
// the parabola through the three points.
TEST(FittingNaturalCubic, MatchesDenseSolveForEveryCondition) {
  for (int64_t nx : {3, 4, 5, 9, 17}) {
    for (bool uniform : {false, true}) {
      std::vector<double> x = dftest::grid<double>(nx, static_cast<uint32_t>(nx), uniform);
      std::vector<double> y = values(x, [](double v) { return std::sin(v) + 0.1 * v * v; });
      for (int64_t bcType : kAllBc) {
        SCOPED_TRACE(testing::Message() << "nx " << nx << " uniform " << uniform << " bc " << bcType);
        if (bcType == 64) y[nx - 1] = y[0];
        const double bc[2] = {0.7, -1.3};
        if (nx == 3 && bcType == 1) {
          std::vector<double> q = values(x, [](double v) { return 2 - v + 0.3 * v * v; });
          Built b = build(x, uniform, q, 1, 0, 4, 2, 1, nullptr, 0, nullptr,
                          zyn_df_kernel_dDFNaturalCubicSpline1D);
          ASSERT_EQ(b.status, 0);
          for (int i = 0; i < 2; ++i) {
            EXPECT_NEAR(b.c[4 * i + 1], -1 + 0.6 * x[i], 1e-12);
            EXPECT_NEAR(b.c[4 * i + 2], 0.3, 1e-12);
            EXPECT_NEAR(b.c[4 * i + 3], 0.0, 1e-12);
          }
          continue;
        }
        Built b = build(x, uniform, y, 1, 0, 4, DF_PP_NATURAL, bcType, bc, 0, nullptr,
                        zyn_df_kernel_dDFNaturalCubicSpline1D);
        ASSERT_EQ(b.status, 0);
        std::vector<LD> ref = dense_cubic(x, y, bcType, bc);
        for (size_t k = 0; k < ref.size(); ++k)
          EXPECT_NEAR(b.c[k], static_cast<double>(ref[k]), 1e-11 * (1 + std::fabs(static_cast<double>(ref[k])))) << k;
      }
    }
  }
}

// Long systems, beyond the dense check: interpolation, the end conditions and C2 continuity,
// which together determine the spline.
TEST(FittingNaturalCubic, EndConditionsHold) {
  const int64_t nx = 200;
  for (bool uniform : {false, true}) {
    std::vector<double> x = dftest::grid<double>(nx, 3, uniform);
    std::vector<double> y = values(x, [](double v) { return std::cos(1.3 * v) * std::exp(-0.1 * v); });
    const double bc[2] = {2.5, -0.75};
    for (int64_t bcType : kAllBc) {
      SCOPED_TRACE(testing::Message() << bcType << " uniform " << uniform);
      if (bcType == 64) y[nx - 1] = y[0];
      Built b = build(x, uniform, y, 1, 0, 4, DF_PP_NATURAL, bcType, bc, 0, nullptr,
                      zyn_df_kernel_dDFNaturalCubicSpline1D);
      ASSERT_EQ(b.status, 0);
      const double *c0 = b.c.data(), *c1 = c0 + 4, *cl = c0 + 4 * (nx - 2), *cm = cl - 4;
      double left[3], right[3];
      poly(c0, 4, 0.0, left);
      poly(cl, 4, x[nx - 1] - x[nx - 2], right);
      EXPECT_NEAR(right[0], y[nx - 1], 1e-12);
      switch (bcType) {
        case 1:
          EXPECT_NEAR(c0[3], c1[3], 1e-9 * std::fabs(c1[3]) + 1e-12);
          EXPECT_NEAR(cl[3], cm[3], 1e-9 * std::fabs(cm[3]) + 1e-12);
          break;
        case 2:
          EXPECT_NEAR(left[2], 0, 1e-12);
          EXPECT_NEAR(right[2], 0, 1e-11);
          break;
        case 64:
          EXPECT_NEAR(left[1], right[1], 1e-11);
          EXPECT_NEAR(left[2], right[2], 1e-10);
          break;
        default:
          EXPECT_NEAR(bcType & DF_BC_1ST_LEFT_DER ? left[1] : left[2], bc[0], 1e-11);
          EXPECT_NEAR(bcType & DF_BC_1ST_RIGHT_DER ? right[1] : right[2], bc[1], 1e-10);
      }
      for (int64_t i = 1; i + 1 < nx; ++i) {
        double a[3], e[3];
        poly(c0 + 4 * (i - 1), 4, x[i] - x[i - 1], a);
        poly(c0 + 4 * i, 4, 0.0, e);
        ASSERT_NEAR(e[0], y[i], 1e-12) << i;
        ASSERT_NEAR(a[0], e[0], 1e-12) << i;
        ASSERT_NEAR(a[1], e[1], 1e-11) << i;
        ASSERT_NEAR(a[2], e[2], 1e-9) << i;
      }
    }
  }
}

TEST(FittingNaturalCubic, StorageFunctionsAndThreadsAgree) {
  const int64_t nx = 700, ny = 3;
  std::vector<double> x = partition<double>(nx, 5);
  std::vector<double> rows, cols(nx * ny);
  for (int64_t f = 0; f < ny; ++f)
    for (int64_t i = 0; i < nx; ++i) rows.push_back(std::sin((f + 1) * x[i]));
  for (int64_t f = 0; f < ny; ++f) rows[f * nx + nx - 1] = rows[f * nx];  // periodic-ready
  for (int64_t f = 0; f < ny; ++f)
    for (int64_t i = 0; i < nx; ++i) cols[i * ny + f] = rows[f * nx + i];
  const double bc[2] = {0.1, 0.2};
  for (int64_t bcType : kAllBc) {
    for (bool uniform : {false, true}) {
      SCOPED_TRACE(testing::Message() << "bc " << bcType << " uniform " << uniform);
      std::vector<double> single;
      for (int64_t f = 0; f < ny; ++f) {
        std::vector<double> yf(rows.begin() + f * nx, rows.begin() + (f + 1) * nx);
        Built b = build(x, uniform, yf, 1, 0, 4, 2, bcType, bc, 0, nullptr,
                        zyn_df_kernel_dDFNaturalCubicSpline1D);
        ASSERT_EQ(b.status, 0);
        single.insert(single.end(), b.c.begin(), b.c.end());
      }
      for (int threads : {1, 2, 4}) {
        for (int64_t yHint : {int64_t(DF_FUNCS_ROWS), int64_t(DF_FUNCS_COLUMNS)}) {
          dftest::g_runs = 0;
          Built b = build(x, uniform, yHint == DF_FUNCS_ROWS ? rows : cols, ny, yHint, 4, 2, bcType,
                          bc, 0, nullptr, zyn_df_kernel_dDFNaturalCubicSpline1D, threads);
          ASSERT_EQ(b.status, 0);
          EXPECT_EQ(dftest::g_runs, threads > 1 ? 1 : 0);
          for (size_t k = 0; k < single.size(); ++k)
            ASSERT_NEAR(b.c[k], single[k], 1e-10 * (1 + std::fabs(single[k]))) << k;  // other elimination order
        }
      }
    }
  }
}

// The float twin against the double spline, also with steps of 1e9 and 1e-9: the elimination
// must neither overflow nor underflow on the way.
TEST(FittingNaturalCubic, FloatTwin) {
  const int64_t nx = 400;
  for (double scale : {1.0, 1e9, 1e-9}) {
    std::vector<double> x = partition<double>(nx, 12);
    for (auto &v : x) v *= scale;
    std::vector<double> y = values(x, [&](double v) { return std::sin(v / scale); });
    const int64_t bcType = scale == 1.0 ? 2 : 12;
    const double bc[2] = {0.1 / scale, 0.2 / scale};
    Built ref = build(x, false, y, 1, 0, 4, 2, bcType, bc, 0, nullptr, zyn_df_kernel_dDFNaturalCubicSpline1D);
    ASSERT_EQ(ref.status, 0);
    std::vector<float> xf(x.begin(), x.end()), yf(y.begin(), y.end()), c(4 * (nx - 1));
    const float bcf[2] = {static_cast<float>(bc[0]), static_cast<float>(bc[1])};
    DfTask *t = nullptr;
    ASSERT_EQ(zyn_df_kernel_sNewTask1D(&t, nx, xf.data(), 0, 1, yf.data(), 0, 0), 0);
    ASSERT_EQ(zyn_df_kernel_sEditPPSpline1D(t, 4, 2, bcType, bcf, 0, nullptr, c.data(), 0), 0);
    ASSERT_EQ(zyn_df_kernel_sDFNaturalCubicSpline1D(t, 0, 0, scale == 1.0 ? &zyn_serv_df_threading : nullptr), 0);
    for (size_t k = 0; k < c.size(); k += 4) {
      ASSERT_NEAR(c[k], ref.c[k], 1e-6) << scale << " " << k;
      ASSERT_NEAR(c[k + 1] * scale, ref.c[k + 1] * scale, 2e-3) << scale << " " << k;  // slopes relative to 1/scale
    }
    zyn_df_kernel_DeleteTask(&t);
  }
}

TEST(FittingNaturalCubic, Statuses) {
  std::vector<double> x = {0, 1, 2, 3}, y = {1, 2, 0, 3}, two = {0, 1}, y2 = {3, 5};
  auto nat = zyn_df_kernel_dDFNaturalCubicSpline1D;
  double c[12];
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x.data(), 0, 1, y.data(), 0, 1), 0);
  ASSERT_EQ(zyn_df_kernel_dEditPPSpline1D(t, 4, 2, 2, nullptr, 0, nullptr, c, 0), 0);
  EXPECT_EQ(nat(t, 0, 1, nullptr), DF_ERROR_METHOD_NOT_SUPPORTED);
  EXPECT_EQ(nat(nullptr, 0, 0, nullptr), DF_ERROR_NULL_TASK_DESCRIPTOR);
  t->bcType = 3;
  EXPECT_EQ(nat(t, 0, 0, nullptr), DF_ERROR_BAD_BC_TYPE);
  t->bcType = 12;
  EXPECT_EQ(nat(t, 0, 0, nullptr), DF_ERROR_NULL_BC);
  t->bcType = 64;
  EXPECT_EQ(nat(t, 0, 0, nullptr), DF_ERROR_BAD_PERIODIC_VAL);
  t->splineType = 0;
  EXPECT_EQ(nat(t, 0, 0, nullptr), DF_ERROR_NULL_BC);  // periodic asks for bc with type 0
  t->yHint = 64;
  EXPECT_EQ(nat(t, 0, 0, nullptr), DF_ERROR_BAD_Y_HINT);
  zyn_df_kernel_DeleteTask(&t);
  // No functions or no coefficient storage: refused, not read through a null table.
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x.data(), 0, 0, nullptr, 0, 1), 0);
  t->splineType = 2;
  t->bcType = 2;
  EXPECT_EQ(nat(t, 0, 0, nullptr), DF_ERROR_NULL_Y);
  EXPECT_EQ(zyn_df_kernel_dDFLinearSpline1D(t, 0, 0, nullptr), DF_ERROR_NULL_Y);
  zyn_df_kernel_DeleteTask(&t);
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 4, x.data(), 0, 1, y.data(), 0, 1), 0);
  t->bcType = 2;
  EXPECT_EQ(nat(t, 0, 0, nullptr), DF_ERROR_NULL_COEFF);
  zyn_df_kernel_DeleteTask(&t);
  // Two breakpoints: the free end gives the line, the same-cubic condition is refused.
  Built b = build(two, false, y2, 1, 0, 4, 2, 2, nullptr, 0, nullptr, nat);
  EXPECT_EQ(b.status, 0);
  EXPECT_DOUBLE_EQ(b.c[1], 2.0);
  EXPECT_DOUBLE_EQ(b.c[2], 0.0);
  EXPECT_EQ(build(two, false, y2, 1, 0, 4, 2, 1, nullptr, 0, nullptr, nat).status, DF_ERROR_BAD_NX);
  // Periodic on one cell: the constant.
  std::vector<double> flat = {4, 4};
  b = build(two, false, flat, 1, 0, 4, 2, 64, nullptr, 0, nullptr, nat);
  ASSERT_EQ(b.status, 0);
  EXPECT_EQ(b.c, (std::vector<double>{4, 0, 0, 0}));
  EXPECT_EQ(build(two, false, y2, 1, 0, 4, 0, 1, nullptr, 0, nullptr,
                  zyn_df_kernel_dDFDefaultCubicSpline1D).status, DF_ERROR_BAD_NX);
}

TEST(FittingLinear, CoefficientsTilesAndPeriodicCheck) {
  for (int64_t nx : {2, 64, 5000}) {
    for (int64_t ny : {1, 2, 4}) {
      for (bool uniform : {false, true}) {
        std::vector<double> x = dftest::grid<double>(nx, 1, uniform);
        std::vector<double> y(nx * ny);
        for (size_t k = 0; k < y.size(); ++k) y[k] = std::sin(0.37 * static_cast<double>(k));
        dftest::g_runs = 0;
        Built b = build(x, uniform, y, ny, 0, 2, 0, 0, nullptr, 0, nullptr,
                        zyn_df_kernel_dDFLinearSpline1D, 2);
        ASSERT_EQ(b.status, 0);
        // 5 tiles or more go to the threads: 5000 cells by 1 to 4 functions is 5 tiles.
        EXPECT_EQ(dftest::g_runs, nx == 5000 ? 1 : 0);
        for (int64_t f = 0; f < ny; ++f)
          for (int64_t i = 0; i + 1 < nx; ++i) {
            const double *c = b.c.data() + f * 2 * (nx - 1) + 2 * i;
            ASSERT_EQ(c[0], y[f * nx + i]);
            ASSERT_NEAR(c[1], (y[f * nx + i + 1] - y[f * nx + i]) / (x[i + 1] - x[i]), 1e-9);
          }
      }
    }
  }
  std::vector<double> x = {0, 1, 2}, y = {1, 2, 1, 1, 2, 3};
  Built b = build(x, false, y, 2, 0, 2, 0, 64, nullptr, 0, nullptr, zyn_df_kernel_dDFLinearSpline1D);
  EXPECT_EQ(b.status, DF_ERROR_BAD_PERIODIC_VAL);
  for (double v : b.c) EXPECT_TRUE(std::isnan(v));  // nothing written
}

// Default cubic: second derivatives given at the inner breakpoints.
TEST(FittingDefaultCubic, InnerContinuityAndEnds) {
  const int64_t nx = 30;
  std::vector<double> x = partition<double>(nx, 2);
  auto p = [](double v) { return 1 + v - 0.2 * v * v + 0.01 * v * v * v; };
  auto d2 = [](double v) { return -0.4 + 0.06 * v; };
  auto d1 = [](double v) { return 1 - 0.4 * v + 0.03 * v * v; };
  for (int64_t bcType : {int64_t(1), int64_t(12), int64_t(24), int64_t(36), int64_t(48)})
  for (bool uniform : {false, true})
  for (int64_t yHint : {int64_t(DF_FUNCS_ROWS), int64_t(DF_FUNCS_COLUMNS)}) {
    SCOPED_TRACE(testing::Message() << bcType << " uniform " << uniform << " yHint " << yHint);
    x = dftest::grid<double>(nx, 2, uniform);
    std::vector<double> y = values(x, p), ic;
    for (int64_t i = 1; i + 1 < nx; ++i) ic.push_back(d2(x[i]));
    std::vector<double> both;  // two functions with the same values, in the storage under test
    for (int64_t i = 0; i < nx; ++i)
      if (yHint == DF_FUNCS_COLUMNS) both.push_back(y[i]), both.push_back(y[i]);
    if (yHint == DF_FUNCS_ROWS) both = y, both.insert(both.end(), y.begin(), y.end());
    const double bc[2] = {bcType & 4 ? d1(x[0]) : d2(x[0]), bcType & 8 ? d1(x[nx - 1]) : d2(x[nx - 1])};
    Built b = build(x, uniform, both, 2, yHint, 4, 0, bcType, bc, 2, ic.data(),
                    zyn_df_kernel_dDFDefaultCubicSpline1D);
    ASSERT_EQ(b.status, 0);
    for (int64_t k = 0; k < 4 * (nx - 1); ++k) ASSERT_EQ(b.c[k], b.c[4 * (nx - 1) + k]) << k;
    // The cubic is reproduced: every cell is the Taylor expansion of p at its left end.
    for (int64_t i = 0; i + 1 < nx; ++i) {
      ASSERT_NEAR(b.c[4 * i], p(x[i]), 1e-12) << i;
      ASSERT_NEAR(b.c[4 * i + 1], d1(x[i]), 1e-10) << i;
      ASSERT_NEAR(b.c[4 * i + 2], d2(x[i]) / 2, 1e-10) << i;
      ASSERT_NEAR(b.c[4 * i + 3], 0.01, 1e-10) << i;
    }
  }
  x = partition<double>(nx, 2);
  std::vector<double> y = values(x, p), ic;
  for (int64_t i = 1; i + 1 < nx; ++i) ic.push_back(d2(x[i]));
  // Free ends: zero curvature at the left; the right end keeps c3 = -c2/(6h).
  Built b = build(x, false, y, 1, 0, 4, 0, 2, nullptr, 2, ic.data(), zyn_df_kernel_dDFDefaultCubicSpline1D);
  ASSERT_EQ(b.status, 0);
  EXPECT_EQ(b.c[2], 0.0);
  const double *cl = b.c.data() + 4 * (nx - 2), hl = x[nx - 1] - x[nx - 2];
  EXPECT_NEAR(cl[3], -cl[2] / (6 * hl), 1e-14);
  double end[3];
  poly(cl, 4, hl, end);
  EXPECT_NEAR(end[0], y[nx - 1], 1e-12);
  // Periodic: M[0] from bc[0]; unequal ends refused.
  std::vector<double> yp = y;
  yp[nx - 1] = yp[0];
  const double m0[1] = {0.3};
  b = build(x, false, yp, 1, 0, 4, 0, 64, m0, 2, ic.data(), zyn_df_kernel_dDFDefaultCubicSpline1D);
  ASSERT_EQ(b.status, 0);
  EXPECT_NEAR(2 * b.c[2], 0.3, 1e-15);
  poly(cl = b.c.data() + 4 * (nx - 2), 4, hl, end);
  EXPECT_NEAR(end[2], 0.3, 1e-10);
  EXPECT_NEAR(end[0], yp[nx - 1], 1e-12);
  yp[nx - 1] += 1;
  b = build(x, false, yp, 1, 0, 4, 0, 64, m0, 2, ic.data(), zyn_df_kernel_dDFDefaultCubicSpline1D);
  EXPECT_EQ(b.status, DF_ERROR_BAD_PERIODIC_VAL);
  b = build(x, false, y, 1, 0, 4, 0, 3, m0, 2, ic.data(), zyn_df_kernel_dDFDefaultCubicSpline1D);
  EXPECT_EQ(b.status, DF_ERROR_BAD_BC_TYPE);
}

TEST(FittingQuadratic, MidpointValueKind) {
  const int64_t nx = 40;
  for (bool uniform : {false, true}) {
    std::vector<double> x = dftest::grid<double>(nx, 4, uniform);
    auto q = [](double v) { return 0.5 - 0.3 * v + 0.07 * v * v; };
    std::vector<double> y = values(x, q);
    const double bc[1] = {q(0.5 * (x[0] + x[1]))};
    Built b = build(x, uniform, y, 1, 0, 3, 0, DF_BC_Q_VAL, bc, 0, nullptr,
                    zyn_df_kernel_dDFQuadraticSpline1D);
    ASSERT_EQ(b.status, 0);
    for (int64_t i = 0; i + 1 < nx; ++i) {  // a quadratic is reproduced
      ASSERT_NEAR(b.c[3 * i], q(x[i]), 1e-12);
      ASSERT_NEAR(b.c[3 * i + 1], -0.3 + 0.14 * x[i], 1e-9);
      ASSERT_NEAR(b.c[3 * i + 2], 0.07, 1e-9);
    }
    EXPECT_EQ(build(x, uniform, y, 1, 0, 3, 0, 2, bc, 0, nullptr,
                    zyn_df_kernel_dDFQuadraticSpline1D).status, DF_ERROR_BAD_BC_TYPE);
  }
}

TEST(FittingQuadratic, KnotsBetweenBreakpoints) {
  const int64_t nx = 25;
  std::vector<double> x = partition<double>(nx, 7), knots;
  for (int64_t i = 0; i + 1 < nx; ++i) knots.push_back(x[i] + 0.3 * (x[i + 1] - x[i]));
  std::vector<double> y = values(x, [](double v) { return std::sin(v); });
  for (int64_t bcType : kPairs) {
    for (bool mid : {false, true}) {
      SCOPED_TRACE(testing::Message() << bcType << " mid " << mid);
      std::vector<double> k = knots;
      if (mid)
        for (int64_t i = 0; i + 1 < nx; ++i) k[i] = 0.5 * (x[i] + x[i + 1]);
      const double bc[2] = {0.4, -0.2};
      Built b = build(x, false, y, 1, 0, 3, DF_PP_SUBBOTIN, bcType, bc,
                      DF_IC_Q_KNOT | (mid ? DF_IC_Q_KNOT_MIDPOINT : 0), knots.data(),
                      zyn_df_kernel_dDFQuadraticSpline1D, 1, nx);
      ASSERT_EQ(b.status, 0);
      auto left = [&](int64_t j) { return j == 0 ? x[0] : k[j - 1]; };
      double v[3];
      for (int64_t j = 0; j < nx; ++j) {  // each cell holds its breakpoint's value
        poly(b.c.data() + 3 * j, 3, x[j] - left(j), v);
        ASSERT_NEAR(v[0], y[j], 1e-12) << j;
      }
      for (int64_t j = 0; j + 1 < nx; ++j) {  // C1 at the knots
        double a[3], e[3];
        poly(b.c.data() + 3 * j, 3, k[j] - left(j), a);
        poly(b.c.data() + 3 * (j + 1), 3, 0.0, e);
        ASSERT_NEAR(a[0], e[0], 1e-12) << j;
        ASSERT_NEAR(a[1], e[1], 1e-10) << j;
      }
      double l[3], r[3];
      poly(b.c.data(), 3, 0.0, l);
      poly(b.c.data() + 3 * (nx - 1), 3, x[nx - 1] - k[nx - 2], r);
      EXPECT_NEAR(bcType & 4 ? l[1] : l[2], bc[0], 1e-10);
      EXPECT_NEAR(bcType & 8 ? r[1] : r[2], bc[1], 1e-10);
    }
  }
  const double bc[2] = {0, 0};
  auto q = zyn_df_kernel_dDFQuadraticSpline1D;
  EXPECT_EQ(build(x, false, y, 1, 0, 3, 1, 12, bc, 1, knots.data(), q, 1, nx).status, DF_ERROR_BAD_IC_TYPE);
  for (int64_t empty : {1, 2, 64})  // same cubic, free end, periodic: no kernel
    EXPECT_EQ(build(x, false, y, 1, 0, 3, 1, empty, bc, 8, knots.data(), q, 1, nx).status, DF_ERROR_BAD_BC_TYPE);
  EXPECT_EQ(build(x, false, y, 1, 0, 3, 1, 64, nullptr, 8, knots.data(), q, 1, nx).status, DF_ERROR_NULL_BC);
  EXPECT_EQ(build(x, false, y, 1, 0, 3, 2, 12, bc, 8, knots.data(), q, 1, nx).status, DF_ERROR_METHOD_NOT_SUPPORTED);
}

}  // namespace
