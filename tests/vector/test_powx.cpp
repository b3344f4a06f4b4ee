// Powx: the C pow special cases with statuses, the exponents routed to their own rows, strided
// rows and position independence (accuracy: tests/vector/test_accuracy.cpp).
#include <gtest/gtest.h>

#include <cfloat>
#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
using DFn = void (*)(int, const double *, double, double *);
using SFn = void (*)(int, const float *, float, float *);
using DFnI = void (*)(int, const double *, int, double, double *, int);
using SFnI = void (*)(int, const float *, int, float, float *, int);
const DFn kD[3] = {_vexdPowx_50, _vexdPowx, _vexdPowx_26};
const SFn kS[3] = {_vexsPowx_21, _vexsPowx, _vexsPowx_11};
const DFnI kDI[3] = {_vexdPowxI_50, _vexdPowxI, _vexdPowxI_26};
const SFnI kSI[3] = {_vexsPowxI_21, _vexsPowxI, _vexsPowxI_11};
const char *kLevel[3] = {"LA", "HA", "EP"};
constexpr double kInf = std::numeric_limits<double>::infinity();
}  // namespace

// pow's special cases, bit for bit against glibc, with the status each must report.
TEST(PowxSpecials, MatchGlibcWithStatuses) {
  const double xs[] = {0.0, -0.0, 1.0, -1.0, 2.0, -2.0, 0.5, -0.5, kInf, -kInf, NAN, 3.0, -3.0, 1e-300, 1e300};
  const double bs[] = {0.0, -0.0, 3.0, -3.0, 4.0, -4.0, 2.5, -2.5, kInf, -kInf, NAN, 1e300, -1e300, 1000.0, -1000.0};
  for (int lv = 0; lv < 3; ++lv) {
    for (double b : bs) {
      SCOPED_TRACE(kLevel[lv]);
      SCOPED_TRACE(b);
      ReportLog log;
      double y[std::size(xs)];
      kD[lv](static_cast<int>(std::size(xs)), xs, b, y);
      std::vector<int> want(std::size(xs), 0);
      for (size_t i = 0; i < std::size(xs); ++i) {
        double x = xs[i], r = std::pow(x, b);
        if (std::isnan(r))
          EXPECT_TRUE(std::isnan(y[i])) << x;
        else if (lv == 2 && std::isnormal(r))  // EP: ordinary results to its 26 bits
          EXPECT_LE(std::fabs(y[i] - r), 0x1p-26 * std::fabs(r)) << x;
        else
          EXPECT_EQ(bits(y[i]), bits(r)) << x << " " << y[i] << " " << r;
        if (x == 0 && b < 0 && std::isfinite(b)) want[i] = STATUS_SINGULARITY;
        else if (x < 0 && std::isfinite(x) && std::isfinite(b) && std::trunc(b) != b) want[i] = STATUS_DOMAIN;
        else if (std::isinf(r) && std::isfinite(x) && std::isfinite(b)) want[i] = STATUS_OVERFLOW;
        else if (std::fabs(r) < DBL_MIN && x != 0 && std::isfinite(x) && std::isfinite(b)) want[i] = STATUS_UNDERFLOW;
      }
      auto &rep = ReportLog::log();
      size_t k = 0;
      for (size_t i = 0; i < std::size(xs); ++i) {
        if (want[i] == 0) continue;
        ASSERT_LT(k, rep.size()) << "missing report for x = " << xs[i];
        EXPECT_EQ(rep[k].index, static_cast<int>(i));
        EXPECT_EQ(rep[k].code, want[i]) << xs[i];
        EXPECT_EQ(rep[k].arg1, xs[i]);
        ++k;
      }
      EXPECT_EQ(k, rep.size());
    }
  }
}

TEST(PowxSpecials, SingleMatchesGlibcPowf) {
  const float xs[] = {0.0f, -0.0f, 1.0f, -1.0f, 2.0f, -2.0f, 0.5f, INFINITY, -INFINITY, NAN, 1e-30f, 1e30f, -3.0f};
  const float bs[] = {0.0f, 3.0f, -3.0f, 4.0f, -4.0f, 2.5f, -2.5f, INFINITY, -INFINITY, NAN, 1e30f, 200.0f, -200.0f};
  for (int lv = 0; lv < 3; ++lv)
    for (float b : bs) {
      ReportLog log;
      float y[std::size(xs)];
      kS[lv](static_cast<int>(std::size(xs)), xs, b, y);
      for (size_t i = 0; i < std::size(xs); ++i) {
        float r = std::pow(xs[i], b);
        if (std::isnan(r))
          EXPECT_TRUE(std::isnan(y[i]));
        else if (lv == 2 && std::isnormal(r))  // EP: ordinary results to its 11 bits
          EXPECT_LE(std::fabs(y[i] - r), 0x1p-11f * std::fabs(r)) << xs[i] << "^" << b;
        else
          EXPECT_EQ(bits(y[i]), bits(r)) << xs[i] << "^" << b;
      }
      const auto &rep = ReportLog::log();
      if (b == 200.0f) {  // 2, -2, 1e30, -3 overflow; 0.5, 1e-30 underflow
        ASSERT_EQ(rep.size(), 6u);
        EXPECT_EQ(rep[0].code, STATUS_OVERFLOW);
        EXPECT_EQ(rep[2].code, STATUS_UNDERFLOW);
      }
    }
}

// b = 1/2, -1/2, 1/3, -1/3, -1 give exactly what the rows of their own functions give; b = 1
// copies and b = 2 squares.
TEST(PowxRouting, SpecialExponentsEqualTheirRows) {
  std::vector<double> x = {4.0, 2.0, -8.0, 0.0, -0.0, 1e-310, 7.5, kInf, NAN, 1e200, 3.0, 0.1};
  const int n = static_cast<int>(x.size());
  using U = void (*)(int, const double *, double *);
  const U sqrt_[3] = {_vexdSqrt_50, _vexdSqrt, _vexdSqrt_26}, isqrt[3] = {_vexdInvSqrt_50, _vexdInvSqrt, _vexdInvSqrt_26},
          cbrt_[3] = {_vexdCbrt_50, _vexdCbrt, _vexdCbrt_26}, icbrt[3] = {_vexdInvCbrt_50, _vexdInvCbrt, _vexdInvCbrt_26},
          inv[3] = {_vexdInv_50, _vexdInv, _vexdInv_26};
  for (int lv = 0; lv < 3; ++lv) {
    const std::pair<double, U> rows[] = {{0.5, sqrt_[lv]}, {-0.5, isqrt[lv]}, {1.0 / 3, cbrt_[lv]}, {-1.0 / 3, icbrt[lv]}, {-1.0, inv[lv]}};
    for (auto [b, row] : rows) {
      std::vector<double> y(n), z(n);
      int codes[2];
      {
        ReportLog log;
        kD[lv](n, x.data(), b, y.data());
        codes[0] = static_cast<int>(ReportLog::log().size());
      }
      {
        ReportLog log;
        row(n, x.data(), z.data());
        codes[1] = static_cast<int>(ReportLog::log().size());
      }
      for (int i = 0; i < n; ++i) EXPECT_EQ(bits(y[i]), bits(z[i])) << kLevel[lv] << " b=" << b << " x=" << x[i];
      EXPECT_EQ(codes[0], codes[1]);
    }
    std::vector<double> y(n);
    kD[lv](n, x.data(), 1.0, y.data());
    for (int i = 0; i < n; ++i) EXPECT_EQ(bits(y[i]), bits(x[i]));
    ReportLog log;
    const double sq[] = {3.0000000000000004, 1e200, 1e-200};
    kD[lv](3, sq, 2.0, y.data());
    EXPECT_EQ(y[0], 3.0000000000000004 * 3.0000000000000004);
    EXPECT_EQ(y[1], kInf);
    EXPECT_EQ(y[2], 0.0);
    ASSERT_EQ(ReportLog::log().size(), 2u);
    EXPECT_EQ(ReportLog::log()[0].code, STATUS_OVERFLOW);
    EXPECT_EQ(ReportLog::log()[1].code, STATUS_UNDERFLOW);
  }
  float xf[] = {4.0f, -8.0f, 0.0f, 27.0f, 0.3f};
  using SU = void (*)(int, const float *, float *);
  const std::pair<float, SU> srows[] = {{0.5f, _vexsSqrt}, {-0.5f, _vexsInvSqrt}, {1.0f / 3, _vexsCbrt}, {-1.0f / 3, _vexsInvCbrt}, {-1.0f, _vexsInv}};
  for (auto [b, row] : srows) {
    float y[5], z[5];
    _vexsPowx(5, xf, b, y);
    row(5, xf, z);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(bits(y[i]), bits(z[i])) << b;
  }
}

// Strided rows give the contiguous results at their positions and leave the gaps alone; every
// element's result is the same wherever it stands.
TEST(PowxLayout, StridedAndPositionIndependent) {
  std::mt19937 g(3);
  std::uniform_real_distribution<double> u(0.01, 40.0);
  const int n = 37;
  std::vector<double> a(n);
  for (auto &v : a) v = u(g);
  a[5] = -2.0;  // domain for b = 2.7: reports with the element's number
  for (int lv = 0; lv < 3; ++lv)
    for (double b : {2.7, 0.5, -3.0}) {
      std::vector<double> y(n), ys(3 * n, 42.0), as(2 * n, 9.0);
      kD[lv](n, a.data(), b, y.data());
      for (int i = 0; i < n; ++i) as[2 * i] = a[i];
      {
        ReportLog log;
        kDI[lv](n, as.data(), 2, b, ys.data(), 3);
        if (b == 2.7) {
          ASSERT_EQ(ReportLog::log().size(), 1u);
          EXPECT_EQ(ReportLog::log()[0].index, 5);
          EXPECT_EQ(ReportLog::log()[0].code, STATUS_DOMAIN);
        }
      }
      for (int i = 0; i < n; ++i) {
        EXPECT_EQ(bits(ys[3 * i]), bits(y[i]));
        EXPECT_EQ(ys[3 * i + 1], 42.0);
        double one;
        kD[lv](1, &a[i], b, &one);
        EXPECT_EQ(bits(one), bits(y[i]));
      }
      std::vector<float> af(a.begin(), a.end()), yf(n), yfs(2 * n, 5.0f);
      kS[lv](n, af.data(), static_cast<float>(b), yf.data());
      kSI[lv](n, af.data(), 1, static_cast<float>(b), yfs.data(), 2);
      for (int i = 0; i < n; ++i) {
        EXPECT_EQ(bits(yfs[2 * i]), bits(yf[i]));
        EXPECT_EQ(yfs[2 * i + 1], 5.0f);
      }
    }
}

