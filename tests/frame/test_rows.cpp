// The generated rows, on the fixture library: tables, sharing, costs, and stubs that reach
// their kernels with the arguments intact.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rows_fixture/probe.hpp"
#include "zyn/vex.h"

namespace {
const RowsProbe &probe = *zyn_test_rows_probe();

template <class F>
const void *addr(F *f) {
  return reinterpret_cast<const void *>(f);
}

// A stub called with another argument list (void (*)() is the neutral function type).
template <class To, class From>
To as(From *f) {
  return reinterpret_cast<To>(reinterpret_cast<void (*)()>(f));
}
}  // namespace

TEST(Rows, PlainAndHaNamesAreOneStub) {
  EXPECT_EQ(addr(&_vexdLn), addr(&_vexdLn_HA));
  EXPECT_EQ(addr(&_vexsInv), addr(&_vexsInv_HA));
  EXPECT_EQ(addr(&_vexzPowxI), addr(&_vexzPowxI_HA));
  EXPECT_EQ(addr(&_vexsPackI), addr(&_vexsPackI_HA));
  EXPECT_NE(addr(&_vexdLn_50), addr(&_vexdLn));
  EXPECT_NE(addr(&_vexdLn_26), addr(&_vexdLn));
  EXPECT_NE(addr(&_vexdInv_50), addr(&_vexdInv_26));  // a stub per level even when shared
}

TEST(Rows, SlotsFollowTheSharing) {
  auto *ln = zyn_vex_kernel_dLn_ttab;
  EXPECT_TRUE(ln[0] != ln[1] && ln[1] != ln[2] && ln[0] != ln[2]);
  auto *inv_s = zyn_vex_kernel_sInv_ttab;
  EXPECT_TRUE(inv_s[0] == inv_s[1] && inv_s[1] != inv_s[2]);
  auto *inv_d = zyn_vex_kernel_dInv_ttab;
  EXPECT_TRUE(inv_d[0] == inv_d[1] && inv_d[1] == inv_d[2]);
  auto *tanh = zyn_vex_kernel_dTanh_ttab;
  EXPECT_TRUE(tanh[0] == tanh[2] && tanh[0] != tanh[1]);
  EXPECT_NE(zyn_vex_kernel_dLnI_ttab[1], as<void (*)(int, const double *, int, double *, int)>(ln[1]));

  double a[4] = {}, y[4] = {};
  const char *expected[3] = {"dTanh_EP", "dTanh_HA", "dTanh_EP"};
  for (int level = 0; level < 3; ++level) {
    tanh[level](4, a, y);
    EXPECT_STREQ(probe.kernel, expected[level]);
  }
}

// The costs as listed, shared by the strided row, writable.
TEST(Rows, CostsAsListed) {
  const float *c = zyn_vex_kernel_dLn_ctab, listed[4] = {17.326f, 19.213f, 11.03f, 0.0f};
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(c[i] == listed[i] && zyn_vex_kernel_dLnI_ctab[i] == c[i]) << i;
  EXPECT_TRUE(zyn_vex_kernel_sPackI_ctab[2] == 1111.0f && zyn_vex_kernel_sInv_ctab[0] == zyn_vex_kernel_sInv_ctab[1]);
  zyn_vex_kernel_dInv_ctab[3] = 5.0f;
  EXPECT_EQ(zyn_vex_kernel_dInv_ctab[3], 5.0f);
}

namespace {
// The probe holds exactly what the named kernel received (unset fields are zero), on an aligned
// frame. Integers are compared as the int the stub was given.
void Saw(const char *kernel, std::vector<long long> i, std::vector<const void *> p,
         std::vector<double> d = {}) {
  EXPECT_STREQ(probe.kernel, kernel);
  i.resize(3), p.resize(3), d.resize(4);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(static_cast<int>(probe.i[k]), i[k]) << kernel << " i" << k;
  for (int k = 0; k < 3; ++k) EXPECT_EQ(probe.p[k], p[k]) << kernel << " p" << k;
  for (int k = 0; k < 4; ++k) EXPECT_EQ(probe.d[k], d[k]) << kernel << " d" << k;
  EXPECT_TRUE(probe.aligned) << kernel;
}
}  // namespace

TEST(Rows, TailJumpStubsPassArgumentsUntouched) {
  double a[1] = {}, b[1] = {}, y[1] = {};
  _vexdLn_50(-5, a, y);
  Saw("dLn_LA", {-5}, {a, y});
  _vexdLn(7, nullptr, y);
  Saw("dLn_HA", {7}, {nullptr, y});
  _vexdLn_26(1, a, y);
  Saw("dLn_EP", {1}, {a, y});
  _vexdLnI_50(9, a, -3, y, 0);
  Saw("dLnI_LA", {9, -3, 0}, {a, y});
  float f[1] = {}, g[1] = {}, h[1] = {};
  _vexsInv_21(3, f, g);
  Saw("sInv_HA", {3}, {f, g});
  _vexsInv_11(3, f, g);
  Saw("sInv_EP", {3}, {f, g});
  _vexsSinCos_HA(11, f, g, h);
  Saw("sSinCos_HA", {11}, {f, g, h});
  _vexdLinearFrac_26(4, a, b, 1.5, -2.5, 3.5, -4.5, y);
  Saw("dLinearFrac_HA", {4}, {a, b, y}, {1.5, -2.5, 3.5, -4.5});
}

TEST(Rows, PackStubsSetTheWidthFlag) {
  float a[4] = {}, y[4] = {};
  // Call with a fifth argument of 77 in r8: the stub must replace it by 1.
  as<void (*)(int, const float *, int, float *, int)>(&_vexsPackI_21)(4, a, -2, y, 77);
  Saw("sPackI_HA", {4, -2, 1}, {a, y});
  zyn_vex_kernel_sPackI_ttab[2](4, a, 3, y, 2);  // through the row the caller chooses the width
  Saw("sPackI_HA", {4, 3, 2}, {a, y});
  double d[2] = {}, e[2] = {};
  int mask[2] = {1, 0};
  as<void (*)(int, const double *, double *, const int *, int)>(&_vexdUnpackM)(2, d, e, mask, -9);
  Saw("dUnpackM_HA", {2, 0, 1}, {d, e, mask});
}

TEST(Rows, ByValueComplexPowxStubs) {
  ZynComplex8 ca[1] = {}, cy[1] = {};
  ZynComplex16 za[1] = {}, zy[1] = {};
  _vexcPowx_21(3, ca, ZynComplex8{1.25f, -0.5f}, cy);
  Saw("cPowx_HA", {3}, {ca, cy}, {1.25, -0.5});
  _vexzPowx_26(5, za, ZynComplex16{2.5, -7.25}, zy);
  Saw("zPowx_HA", {5}, {za, zy}, {2.5, -7.25});
  _vexcPowxI(6, ca, 2, ZynComplex8{3.0f, 4.0f}, cy, -1);
  Saw("cPowxI_HA", {6, 2, -1}, {ca, cy}, {3.0, 4.0});
  _vexzPowxI_50(7, za, -4, ZynComplex16{-1.0, 1e300}, zy, 3);
  Saw("zPowxI_HA", {7, -4, 3}, {za, zy}, {-1.0, 1e300});
}
