// The generated rows, on the fixture library: slots by sharing, and stubs that reach their
// kernels with the arguments intact.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rows_fixture/probe.hpp"
#include "zyn/vex.h"

namespace {
const RowsProbe &probe = *zyn_test_rows_probe();

// A stub called with another argument list (void (*)() is the neutral function type).
template <class To, class From>
To as(From *f) {
  return reinterpret_cast<To>(reinterpret_cast<void (*)()>(f));
}
}  // namespace

// Each level's slot and stub reach the kernel the sharing says, a stub per level even when shared.
TEST(Rows, SlotsAndStubsFollowTheSharing) {
  auto *ln = zyn_vex_kernel_dLn_ttab, *tanh = zyn_vex_kernel_dTanh_ttab, *inv_d = zyn_vex_kernel_dInv_ttab;
  auto *inv_s = zyn_vex_kernel_sInv_ttab;
  EXPECT_TRUE(inv_s[0] == inv_s[1] && inv_s[1] != inv_s[2] && inv_d[0] == inv_d[1] && inv_d[1] == inv_d[2]);
  EXPECT_NE(reinterpret_cast<void *>(&_vexdInv_50), reinterpret_cast<void *>(&_vexdInv_26));
  double a[4] = {}, y[4] = {};
  const char *levels[3] = {"LA", "HA", "EP"};
  for (int level = 0; level < 3; ++level) {
    ln[level](4, a, y);
    EXPECT_EQ(probe.kernel, "dLn_" + std::string(levels[level]));
    tanh[level](4, a, y);
    EXPECT_EQ(probe.kernel, std::string(level == 1 ? "dTanh_HA" : "dTanh_EP"));
  }
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

TEST(Rows, StubsPassArgumentsUntouched) {
  double a[1] = {}, y[1] = {};
  _vexdLn_50(-5, a, y);
  Saw("dLn_LA", {-5}, {a, y});
  _vexdLn(7, nullptr, y);
  Saw("dLn_HA", {7}, {nullptr, y});
  _vexdLn_26(1, a, y);
  Saw("dLn_EP", {1}, {a, y});
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
  Saw("dUnpackM_HA", {2, 1}, {d, e, mask});
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
