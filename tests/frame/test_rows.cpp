// The generated rows, on the fixture library: tables, sharing, costs, and stubs that reach
// their kernels with the arguments intact.
#include <gtest/gtest.h>

#include <string>

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

TEST(Rows, CostsAsListed) {
  const float *c = zyn_vex_kernel_dLn_ctab;
  EXPECT_EQ(c[0], 17.326f);
  EXPECT_EQ(c[1], 19.213f);
  EXPECT_EQ(c[2], 11.03f);
  EXPECT_EQ(c[3], 0.0f);
  const float *ci = zyn_vex_kernel_dLnI_ctab;
  for (int i = 0; i < 4; ++i) EXPECT_EQ(ci[i], c[i]);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(zyn_vex_kernel_sPackI_ctab[i], 1111.0f);
  EXPECT_EQ(zyn_vex_kernel_sInv_ctab[0], zyn_vex_kernel_sInv_ctab[1]);
  // The tables are writable data.
  float saved = zyn_vex_kernel_dInv_ctab[0];
  zyn_vex_kernel_dInv_ctab[0] = 5.0f;
  EXPECT_EQ(zyn_vex_kernel_dInv_ctab[0], 5.0f);
  zyn_vex_kernel_dInv_ctab[0] = saved;
}

TEST(Rows, TailJumpStubsPassArgumentsUntouched) {
  double a[1] = {}, y[1] = {};
  _vexdLn_50(-5, a, y);
  EXPECT_STREQ(probe.kernel, "dLn_LA");
  EXPECT_EQ(probe.i[0], -5);
  EXPECT_EQ(probe.p[0], a);
  EXPECT_EQ(probe.p[1], y);
  _vexdLn(7, nullptr, y);
  EXPECT_STREQ(probe.kernel, "dLn_HA");
  EXPECT_EQ(probe.i[0], 7);
  EXPECT_EQ(probe.p[0], nullptr);
  _vexdLn_26(1, a, y);
  EXPECT_STREQ(probe.kernel, "dLn_EP");
  _vexdLnI_50(9, a, -3, y, 0);
  EXPECT_STREQ(probe.kernel, "dLnI_LA");
  EXPECT_EQ(probe.i[0], 9);
  EXPECT_EQ(probe.i[1], -3);
  EXPECT_EQ(probe.i[2], 0);
  EXPECT_TRUE(probe.aligned);

  float f[1] = {}, g[1] = {}, h[1] = {};
  _vexsInv_21(3, f, g);
  EXPECT_STREQ(probe.kernel, "sInv_HA");
  _vexsInv_11(3, f, g);
  EXPECT_STREQ(probe.kernel, "sInv_EP");
  _vexsSinCos_HA(11, f, g, h);
  EXPECT_STREQ(probe.kernel, "sSinCos_HA");
  EXPECT_EQ(probe.p[2], h);

  double b[1] = {};
  _vexdLinearFrac_26(4, a, b, 1.5, -2.5, 3.5, -4.5, y);
  EXPECT_STREQ(probe.kernel, "dLinearFrac_HA");
  EXPECT_EQ(probe.p[1], b);
  EXPECT_EQ(probe.p[2], y);
  EXPECT_EQ(probe.d[0], 1.5);
  EXPECT_EQ(probe.d[1], -2.5);
  EXPECT_EQ(probe.d[2], 3.5);
  EXPECT_EQ(probe.d[3], -4.5);
}

TEST(Rows, PackStubsSetTheWidthFlag) {
  float a[4] = {}, y[4] = {};
  // Call with a fifth argument of 77 in r8: the stub must replace it by 1.
  auto with_fifth = as<void (*)(int, const float *, int, float *, int)>(&_vexsPackI_21);
  with_fifth(4, a, -2, y, 77);
  EXPECT_STREQ(probe.kernel, "sPackI_HA");
  EXPECT_EQ(static_cast<int>(probe.i[0]), 4);
  EXPECT_EQ(static_cast<int>(probe.i[1]), -2);
  EXPECT_EQ(probe.i[2], 1);
  EXPECT_EQ(probe.p[0], a);
  EXPECT_EQ(probe.p[1], y);
  // Through the row the caller chooses the width.
  zyn_vex_kernel_sPackI_ttab[2](4, a, 3, y, 2);
  EXPECT_EQ(probe.i[2], 2);

  double d[2] = {}, e[2] = {};
  int mask[2] = {1, 0};
  auto unpack = as<void (*)(int, const double *, double *, const int *, int)>(&_vexdUnpackM);
  unpack(2, d, e, mask, -9);
  EXPECT_STREQ(probe.kernel, "dUnpackM_HA");
  EXPECT_EQ(probe.i[2], 1);
  EXPECT_EQ(probe.p[2], mask);
}

TEST(Rows, ByValueComplexPowxStubs) {
  ZynComplex8 ca[1] = {}, cy[1] = {};
  ZynComplex16 za[1] = {}, zy[1] = {};
  _vexcPowx_21(3, ca, ZynComplex8{1.25f, -0.5f}, cy);
  EXPECT_STREQ(probe.kernel, "cPowx_HA");
  EXPECT_EQ(probe.i[0], 3);
  EXPECT_EQ(probe.p[0], ca);
  EXPECT_EQ(probe.p[1], cy);
  EXPECT_EQ(probe.d[0], 1.25);
  EXPECT_EQ(probe.d[1], -0.5);
  EXPECT_TRUE(probe.aligned);

  _vexzPowx_26(5, za, ZynComplex16{2.5, -7.25}, zy);
  EXPECT_STREQ(probe.kernel, "zPowx_HA");
  EXPECT_EQ(probe.p[1], zy);
  EXPECT_EQ(probe.d[0], 2.5);
  EXPECT_EQ(probe.d[1], -7.25);
  EXPECT_TRUE(probe.aligned);

  _vexcPowxI(6, ca, 2, ZynComplex8{3.0f, 4.0f}, cy, -1);
  EXPECT_STREQ(probe.kernel, "cPowxI_HA");
  EXPECT_EQ(probe.i[1], 2);
  EXPECT_EQ(probe.i[2], -1);
  EXPECT_EQ(probe.p[1], cy);
  EXPECT_EQ(probe.d[1], 4.0);

  _vexzPowxI_50(7, za, -4, ZynComplex16{-1.0, 1e300}, zy, 3);
  EXPECT_STREQ(probe.kernel, "zPowxI_HA");
  EXPECT_EQ(probe.i[0], 7);
  EXPECT_EQ(probe.i[1], -4);
  EXPECT_EQ(probe.i[2], 3);
  EXPECT_EQ(probe.p[0], za);
  EXPECT_EQ(probe.p[1], zy);
  EXPECT_EQ(probe.d[0], -1.0);
  EXPECT_EQ(probe.d[1], 1e300);
  EXPECT_TRUE(probe.aligned);
}
