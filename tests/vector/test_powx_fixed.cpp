// Pow3o2 and Pow2o3: their special values and statuses (accuracy: test_accuracy.cpp); Powx's
// exponents 3/2 and 2/3 routed to them; the boundary between the vector and the double-double
// paths seen from every position.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
using DU = void (*)(int, const double *, double *);
using SU = void (*)(int, const float *, float *);
using DUI = void (*)(int, const double *, int, double *, int);
const DU k3o2d[3] = {_vexdPow3o2_50, _vexdPow3o2, _vexdPow3o2_26}, k2o3d[3] = {_vexdPow2o3_50, _vexdPow2o3, _vexdPow2o3_26};
const DUI k3o2di[3] = {_vexdPow3o2I_50, _vexdPow3o2I, _vexdPow3o2I_26}, k2o3di[3] = {_vexdPow2o3I_50, _vexdPow2o3I, _vexdPow2o3I_26};
const char *kLevel[3] = {"LA", "HA", "EP"};
constexpr double kInf = std::numeric_limits<double>::infinity();
}  // namespace

// C pow's values at the edges, with the statuses: negative bases are outside the domain of a
// non-integer power, x^1.5 overflows and underflows at the ends of the range, x^(2/3) of a
// denormal is normal.
TEST(FixedPowers, SpecialValuesAndStatuses) {
  const double dmin = std::numeric_limits<double>::denorm_min();
  const std::vector<double> x = {-2.0, -0.0, 0.0, kInf, -kInf, NAN, 1.0, 1e300, 1e-300, dmin, 4.0, 8.0};
  const int n = static_cast<int>(x.size());
  struct Want {
    double v;
    int code;
  };
  const std::vector<Want> w3o2 = {{NAN, STATUS_DOMAIN}, {0.0, 0}, {0.0, 0}, {kInf, 0}, {kInf, 0}, {NAN, 0},
                                  {1.0, 0}, {kInf, STATUS_OVERFLOW}, {0.0, STATUS_UNDERFLOW}, {0.0, STATUS_UNDERFLOW},
                                  {8.0, 0}, {std::sqrt(512.0), 0}};
  const std::vector<Want> w2o3 = {{NAN, STATUS_DOMAIN}, {0.0, 0}, {0.0, 0}, {kInf, 0}, {kInf, 0}, {NAN, 0},
                                  {1.0, 0}, {std::cbrt(1e300) * std::cbrt(1e300), 0}, {std::cbrt(1e-300) * std::cbrt(1e-300), 0},
                                  {std::cbrt(dmin) * std::cbrt(dmin), 0}, {std::cbrt(16.0), 0}, {4.0, 0}};
  for (int lv = 0; lv < 3; ++lv) {
    for (int which = 0; which < 2; ++which) {
      const auto &want = which == 0 ? w3o2 : w2o3;
      std::vector<double> y(n);
      ReportLog log;
      (which == 0 ? k3o2d : k2o3d)[lv](n, x.data(), y.data());
      std::vector<int> codes;
      for (int i = 0; i < n; ++i) {
        SCOPED_TRACE(std::string(kLevel[lv]) + (which ? " 2/3 x=" : " 3/2 x=") + std::to_string(x[i]));
        if (std::isnan(want[i].v))
          EXPECT_TRUE(std::isnan(y[i]));
        else if (want[i].v == 0 || std::isinf(want[i].v) || want[i].v == 1 || (want[i].v == std::trunc(want[i].v) && lv < 2))
          EXPECT_EQ(bits(y[i]), bits(want[i].v));  // exact results stay exact but at EP
        else
          EXPECT_NEAR(y[i], want[i].v, 1e-7 * want[i].v);
        if (want[i].code) codes.push_back(i);
      }
      const auto &rep = ReportLog::log();
      ASSERT_EQ(rep.size(), codes.size()) << kLevel[lv] << " " << which;
      for (size_t k = 0; k < codes.size(); ++k) {
        EXPECT_EQ(rep[k].index, codes[k]);
        EXPECT_EQ(rep[k].code, want[codes[k]].code);
      }
    }
  }
  float xf[] = {-2.0f, 1e30f, 1e-35f, 4.0f, 8.0f};
  float yf[5];
  ReportLog log;
  _vexsPow3o2(5, xf, yf);
  EXPECT_TRUE(std::isnan(yf[0]));
  EXPECT_EQ(yf[1], INFINITY);
  EXPECT_EQ(yf[2], 0.0f);
  EXPECT_EQ(yf[3], 8.0f);
  _vexsPow2o3(5, xf, yf);
  EXPECT_EQ(yf[4], 4.0f);
  const auto &rep = ReportLog::log();
  ASSERT_EQ(rep.size(), 4u);  // domain, overflow, underflow; domain
  EXPECT_EQ(rep[0].code, STATUS_DOMAIN);
  EXPECT_EQ(rep[1].code, STATUS_OVERFLOW);
  EXPECT_EQ(rep[2].code, STATUS_UNDERFLOW);
  EXPECT_EQ(rep[3].code, STATUS_DOMAIN);
}

// Powx with b = 3/2 and with the type's nearest value to 2/3 is the fixed row, bit for bit and
// report for report, contiguous and strided.
TEST(FixedPowers, PowxRoutesItsExponents) {
  std::vector<double> x = {4.0, -8.0, 0.0, 1e300, 1e-300, 7.5, kInf, NAN, 1e-310, 3.0, 0.1};
  const int n = static_cast<int>(x.size());
  using DP = void (*)(int, const double *, double, double *);
  using DPI = void (*)(int, const double *, int, double, double *, int);
  const DP p[3] = {_vexdPowx_50, _vexdPowx, _vexdPowx_26};
  const DPI pi[3] = {_vexdPowxI_50, _vexdPowxI, _vexdPowxI_26};
  for (int lv = 0; lv < 3; ++lv) {
    for (int which = 0; which < 2; ++which) {
      double b = which == 0 ? 1.5 : 2.0 / 3;
      std::vector<double> y(n), z(n), ys(2 * n), zs(2 * n);
      std::vector<int> c1, c2;
      {
        ReportLog log;
        p[lv](n, x.data(), b, y.data());
        pi[lv](n, x.data(), 1, b, ys.data(), 2);
        for (auto &r : ReportLog::log()) c1.push_back(r.code);
      }
      {
        ReportLog log;
        (which == 0 ? k3o2d : k2o3d)[lv](n, x.data(), z.data());
        (which == 0 ? k3o2di : k2o3di)[lv](n, x.data(), 1, zs.data(), 2);
        for (auto &r : ReportLog::log()) c2.push_back(r.code);
      }
      for (int i = 0; i < n; ++i) {
        EXPECT_EQ(bits(y[i]), bits(z[i])) << kLevel[lv] << " b=" << b << " x=" << x[i];
        EXPECT_EQ(bits(ys[2 * i]), bits(z[i]));
        EXPECT_EQ(bits(zs[2 * i]), bits(z[i]));
      }
      EXPECT_EQ(c1, c2);
    }
  }
  float xf[] = {4.0f, -8.0f, 0.0f, 27.0f, 0.3f, 1e30f};
  float y[6], z[6];
  _vexsPowx(6, xf, 1.5f, y);
  _vexsPow3o2(6, xf, z);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(bits(y[i]), bits(z[i]));
  _vexsPowx_11(6, xf, 2.0f / 3, y);
  _vexsPow2o3_11(6, xf, z);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(bits(y[i]), bits(z[i]));
}

// Results next to e^708 and e^-700 (where the vector path hands over to the double-double one)
// and next to the float range: one element alone, in a block, in the tail and strided give the
// same bits and the same reports.
TEST(PowxLayout, PathBoundaryIsPositionIndependent) {
  std::mt19937_64 g(9);
  std::uniform_real_distribution<double> u(-1, 1);
  const double b = 100.0 / 3;
  std::vector<double> a(41);
  for (size_t i = 0; i < a.size(); ++i) a[i] = std::exp((i % 2 ? 708.0 : -700.0) / b * (1 + 0x1p-40 * u(g) * (i % 5)));
  a[7] = std::exp(709.9 / b);  // overflows
  std::vector<float> af(a.size());
  for (size_t i = 0; i < a.size(); ++i) af[i] = static_cast<float>(std::exp((i % 2 ? 125.0 : -125.0) * std::log(2.0) / b * (1 + 1e-7 * u(g))));
  const int n = static_cast<int>(a.size());
  using DP = void (*)(int, const double *, double, double *);
  using SP = void (*)(int, const float *, float, float *);
  using SPI = void (*)(int, const float *, int, float, float *, int);
  const DP p[3] = {_vexdPowx_50, _vexdPowx, _vexdPowx_26};
  const SP ps[3] = {_vexsPowx_21, _vexsPowx, _vexsPowx_11};
  const SPI psi[3] = {_vexsPowxI_21, _vexsPowxI, _vexsPowxI_11};
  for (int lv = 0; lv < 3; ++lv) {
    std::vector<double> y(n);
    size_t reports;
    {
      ReportLog log;
      p[lv](n, a.data(), b, y.data());
      reports = ReportLog::log().size();
      EXPECT_GE(reports, 1u);
    }
    ReportLog log;
    for (int i = 0; i < n; ++i) {
      double one;
      p[lv](1, &a[i], b, &one);
      EXPECT_EQ(bits(one), bits(y[i])) << kLevel[lv] << " x=" << a[i];
    }
    EXPECT_EQ(ReportLog::log().size(), reports);
    std::vector<float> yf(n), ys(3 * n);
    ps[lv](n, af.data(), static_cast<float>(b), yf.data());
    psi[lv](n, af.data(), 1, static_cast<float>(b), ys.data(), 3);
    for (int i = 0; i < n; ++i) {
      float one;
      ps[lv](1, &af[i], static_cast<float>(b), &one);
      EXPECT_EQ(bits(one), bits(yf[i])) << kLevel[lv] << " x=" << af[i];
      EXPECT_EQ(bits(ys[3 * i]), bits(yf[i]));
    }
  }
}
