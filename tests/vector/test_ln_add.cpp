// The kernel skeleton on Ln and Add: specials and statuses, report order, block, tail and
// stride positions and floating-point state (accuracy: test_accuracy.cpp).
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
using DFn = void (*)(int, const double *, double *);
using SFn = void (*)(int, const float *, float *);
using DFnI = void (*)(int, const double *, int, double *, int);
using SFnI = void (*)(int, const float *, int, float *, int);
const DFn kDLn[3] = {_vexdLn_50, _vexdLn, _vexdLn_26};
const SFn kSLn[3] = {_vexsLn_21, _vexsLn, _vexsLn_11};
const DFnI kDLnI[3] = {_vexdLnI_50, _vexdLnI, _vexdLnI_26};
const SFnI kSLnI[3] = {_vexsLnI_21, _vexsLnI, _vexsLnI_11};
const char *kLevel[3] = {"LA", "HA", "EP"};
constexpr double kInf = std::numeric_limits<double>::infinity();
}  // namespace

TEST(LnSpecials, EveryLevelGivesTheTableOfResultsAndStatuses) {
  const double in[] = {0.0, -0.0, 4.9e-324, kInf, NAN, -2.5, -kInf, 1.0, 2.0};
  for (int lv = 0; lv < 3; ++lv) {
    ReportLog log;
    double y[9];
    kDLn[lv](9, in, y);
    SCOPED_TRACE(kLevel[lv]);
    EXPECT_EQ(y[0], -kInf);
    EXPECT_EQ(y[1], -kInf);
    EXPECT_NEAR(y[2], -744.4400719213812, 1e-9);  // denormals are kept by default
    EXPECT_EQ(y[3], kInf);
    EXPECT_TRUE(std::isnan(y[4]));
    EXPECT_TRUE(std::isnan(y[5]));
    EXPECT_TRUE(std::isnan(y[6]));
    if (lv != 2) {
      EXPECT_EQ(y[8], 0.6931471805599453);
      EXPECT_EQ(y[7], 0.0) << "ln(1) is exactly 0";
    } else {
      EXPECT_NEAR(y[8], 0.6931471805599453, 1e-12);
    }
    // zeros: singularity; negatives and -inf: domain; nothing else reports, in index order
    auto &r = ReportLog::log();
    ASSERT_EQ(r.size(), 4u);
    EXPECT_EQ(r[0].code, STATUS_SINGULARITY);
    EXPECT_EQ(r[0].index, 0);
    EXPECT_EQ(r[1].code, STATUS_SINGULARITY);
    EXPECT_EQ(r[1].index, 1);
    EXPECT_EQ(r[2].code, STATUS_DOMAIN);
    EXPECT_EQ(r[2].index, 5);
    EXPECT_EQ(r[2].arg1, -2.5);
    EXPECT_EQ(r[3].code, STATUS_DOMAIN);
    EXPECT_EQ(r[3].index, 6);
    EXPECT_EQ(_vexGetErrStatus(), STATUS_DOMAIN);
  }
  const float fin[] = {0.0f, -0.0f, 1e-45f, INFINITY, NAN, -2.5f, -INFINITY, 1.0f, 2.0f};
  for (int lv = 0; lv < 3; ++lv) {
    ReportLog log;
    float y[9];
    kSLn[lv](9, fin, y);
    SCOPED_TRACE(kLevel[lv]);
    EXPECT_EQ(y[0], -INFINITY);
    EXPECT_NEAR(y[2], -103.27893f, 1e-4);
    EXPECT_EQ(y[3], INFINITY);
    EXPECT_TRUE(std::isnan(y[4]) && std::isnan(y[5]) && std::isnan(y[6]));
    EXPECT_EQ(y[7], 0.0f) << "ln(1) is exactly 0 at every single level";
    ASSERT_EQ(ReportLog::log().size(), 4u);
    EXPECT_EQ(ReportLog::log()[3].index, 6);
  }
}

TEST(LnReports, OrderIndexAndLastStatus) {
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(kLevel[lv]);
    {
      ReportLog log;  // 9 elements, the last a zero: one block and a tail
      std::vector<double> a(9, 3.0), y(9);
      a[8] = 0;
      kDLn[lv](9, a.data(), y.data());
      ASSERT_EQ(ReportLog::log().size(), 1u);
      EXPECT_EQ(ReportLog::log()[0].index, 8);
      EXPECT_EQ(y[8], -kInf);
      EXPECT_NEAR(y[0], std::log(3.0), 1e-9);
    }
    {
      ReportLog log;  // third -1, fifth 0
      std::vector<double> a(8, 0.5), y(8);
      a[2] = -1;
      a[4] = 0;
      kDLn[lv](8, a.data(), y.data());
      auto &r = ReportLog::log();
      ASSERT_EQ(r.size(), 2u);
      EXPECT_EQ(r[0].code, STATUS_DOMAIN);
      EXPECT_EQ(r[0].index, 2);
      EXPECT_EQ(r[1].code, STATUS_SINGULARITY);
      EXPECT_EQ(r[1].index, 4);
      EXPECT_EQ(_vexGetErrStatus(), STATUS_SINGULARITY);
    }
  }
}

TEST(LnReports, CallbackValueSurvivesAndCountZeroDoesNothing) {
  ReportLog log;
  _vexSetErrorCallBack([](ErrorContext *c) {
    c->res1 = -1e300;  // replace ln(0)
    return 0;
  });
  for (int lv = 0; lv < 3; ++lv) {
    std::vector<double> a = {1, 2, 0, 4, 5, 6, 7, 8, 0, 3}, y(10);
    kDLn[lv](10, a.data(), y.data());
    EXPECT_EQ(y[2], -1e300) << kLevel[lv];
    EXPECT_EQ(y[8], -1e300) << kLevel[lv];
    double untouched = 42;
    kDLn[lv](0, a.data(), &untouched);
    kDLn[lv](-5, a.data(), &untouched);
    EXPECT_EQ(untouched, 42);
  }
}

TEST(LnPositions, ResultDoesNotDependOnWhereAnElementStands) {
  std::mt19937_64 g(7);
  const int n = 203;
  std::vector<double> a(n);
  std::vector<float> af(n);
  for (int i = 0; i < n; ++i) {
    a[i] = std::exp2(std::uniform_real_distribution<double>(-30, 30)(g));
    if (i % 17 == 5) a[i] = 1 + (i - 100) * 1e-5;  // near 1
    if (i % 41 == 3) a[i] = -1;                   // bad elements in some blocks
    af[i] = static_cast<float>(a[i]);
  }
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(kLevel[lv]);
    _vexSetMode(VEX_ERRMODE_IGNORE);
    std::vector<double> whole(n), strided(2 * n);
    std::vector<float> wholef(n), stridedf(3 * n);
    kDLn[lv](n, a.data(), whole.data());
    kSLn[lv](n, af.data(), wholef.data());
    std::vector<double> a2(2 * n);
    std::vector<float> af3(3 * n);
    for (int i = 0; i < n; ++i) a2[2 * i] = a[i], af3[3 * i] = af[i];
    kDLnI[lv](n, a2.data(), 2, strided.data(), 2);
    kSLnI[lv](n, af3.data(), 3, stridedf.data(), 3);
    for (int i = 0; i < n; ++i) {
      double alone;
      float alonef;
      kDLn[lv](1, &a[i], &alone);
      kSLn[lv](1, &af[i], &alonef);
      ASSERT_EQ(bits(alone), bits(whole[i])) << "element " << i << " x=" << a[i];
      ASSERT_EQ(bits(strided[2 * i]), bits(whole[i])) << "strided element " << i;
      ASSERT_EQ(bits(alonef), bits(wholef[i])) << "single element " << i;
      ASSERT_EQ(bits(stridedf[3 * i]), bits(wholef[i])) << "single strided element " << i;
    }
    _vexSetMode(VEX_ERRMODE_DEFAULT);
  }
}

TEST(LnPositions, EpBlockWithABadElementGoesWholeThroughTheScalarPath) {
  ReportLog log;
  double good[4] = {0.3, 7.5, 1.2e10, 3e-200}, ref[4], mixed[4] = {0.3, -1, 1.2e10, 3e-200}, y[4];
  _vexdLn_26(4, good, ref);
  _vexdLn_26(4, mixed, y);
  EXPECT_EQ(bits(y[0]), bits(ref[0]));
  EXPECT_TRUE(std::isnan(y[1]));
  EXPECT_EQ(bits(y[2]), bits(ref[2]));
  EXPECT_EQ(bits(y[3]), bits(ref[3]));
}

TEST(LnStrided, ReporterSeesTheElementNumberAndContiguousValues) {
  ReportLog log;
  // element number 3 (position 6) is bad; position 3 holds 9.0
  std::vector<double> a = {2, 0, 2, 9, 2, 0, -4, 0, 2, 0}, y(10, 7.0);
  _vexdLnI(5, a.data(), 2, y.data(), 2);
  auto &r = ReportLog::log();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].index, 3);
  EXPECT_EQ(r[0].arg1, 9.0) << "arg1 is element 3 taken contiguously";
  EXPECT_TRUE(std::isnan(y[6])) << "the kernel's own result stands at position 6";
}

TEST(LnStrided, NegativeAndZeroStrides) {
  std::vector<double> a = {1, 2, 4, 8}, y(4, 0);
  _vexdLnI(4, a.data() + 3, -1, y.data() + 3, -1);
  for (int i = 0; i < 4; ++i) EXPECT_DOUBLE_EQ(y[i], std::log(a[i]));
  double z = 0;
  _vexdLnI(3, a.data() + 2, 0, &z, 0);
  EXPECT_DOUBLE_EQ(z, std::log(4.0));
}

TEST(LnDenormals, FlushModeTurnsDenormalsIntoZeros) {
  ReportLog log;
  unsigned old = _vexSetMode(MODE_DENORMALS_FLUSH);
  double a[3] = {1e-310, 2.0, 1e-320}, y[3];
  _vexdLn(3, a, y);
  EXPECT_EQ(y[0], -kInf);
  EXPECT_EQ(y[2], -kInf);
  ASSERT_EQ(ReportLog::log().size(), 2u);
  EXPECT_EQ(ReportLog::log()[0].code, STATUS_SINGULARITY);
  _vexSetMode(MODE_DENORMALS_KEEP);
  _vexdLn(3, a, y);
  EXPECT_NEAR(y[0], std::log(1e-310), 1e-12);
  _vexSetMode(old);
}

TEST(FpState, CallerControlsComeBackWithRaisedFlagsMerged) {
  FpRestore keep;
  // round toward zero, divide-by-zero flag clear
  _mm_setcsr(0x7f80);
  double a[2] = {0.0, 2.0}, y[2];
  _vexdLn(2, a, y);  // mode-driven: runs at round to nearest, raises divide-by-zero
  uint32_t after = _mm_getcsr();
  EXPECT_EQ(after & ~0x3fu, 0x7f80u) << "controls restored";
  EXPECT_NE(after & 0x4u, 0u) << "divide-by-zero flag merged";
  // x87: EP takes double precision and restores the caller's extended word
  set_x87_cw(0x37f);
  _vexdLn_26(2, a, y);
  EXPECT_EQ(x87_cw(), 0x37f);
  set_x87_cw(0x37e);  // invalid unmasked: every kernel masks it and restores it
  _vexdLn(2, a, y);
  EXPECT_EQ(x87_cw(), 0x37e);
  set_x87_cw(0x37f);
}

TEST(Add, AlignmentAndAliasingPathsGiveTheSums) {
  std::mt19937_64 g(3);
  std::uniform_real_distribution<double> u(-1e6, 1e6);
  alignas(64) double ad[80], bd[80], yd[80];
  for (int i = 0; i < 80; ++i) ad[i] = u(g), bd[i] = u(g);
  for (int off : {0, 1}) {
    for (int n : {1, 7, 8, 9, 15, 16, 17, 50, 71}) {
      std::fill(yd, yd + 80, 0.0);
      _vexdAdd(n, ad, bd + off, yd + off);
      for (int i = 0; i < n; ++i) ASSERT_EQ(yd[off + i], ad[i] + bd[off + i]) << n << " " << off;
    }
  }
  // y at 4 modulo 8: the scalar loop
  alignas(16) char raw[8 * 40 + 4];
  double *y4 = reinterpret_cast<double *>(raw + 4);
  _vexdAdd(33, ad, bd, y4);
  for (int i = 0; i < 33; ++i) {
    double v;
    memcpy(&v, raw + 4 + 8 * i, 8);
    EXPECT_EQ(v, ad[i] + bd[i]);
  }
  // single: distinct, a aliasing y, b aliasing y, odd offsets
  alignas(64) float af[200], bf[200], yf[200], ref[200];
  for (int i = 0; i < 200; ++i) af[i] = static_cast<float>(u(g)), bf[i] = static_cast<float>(u(g));
  for (int off : {0, 1, 3}) {
    int n = 150;
    for (int i = 0; i < n; ++i) ref[i] = af[off + i] + bf[off + i];
    _vexsAdd(n, af + off, bf + off, yf + off);
    for (int i = 0; i < n; ++i) ASSERT_EQ(yf[off + i], ref[i]);
    float ac[200], bc[200];
    memcpy(ac, af, sizeof ac);
    memcpy(bc, bf, sizeof bc);
    _vexsAdd(n, ac + off, bf + off, ac + off);
    _vexsAdd(n, af + off, bc + off, bc + off);
    for (int i = 0; i < n; ++i) ASSERT_EQ(ac[off + i], ref[i]);
    for (int i = 0; i < n; ++i) ASSERT_EQ(bc[off + i], ref[i]);
  }
}

TEST(Add, DoubleKeepsCallerControlsSingleRunsByTheMode) {
  FpRestore keep;
  std::vector<double> a(40, 1.0), b(40, 3 * DBL_EPSILON / 4), y(40);
  std::vector<float> af(40, 1.0f), bf(40, 3 * FLT_EPSILON / 4), yf(40);
  _mm_setcsr(0x7f80);  // round toward zero
  _vexdAdd(40, a.data(), b.data(), y.data());
  _vexsAdd(40, af.data(), bf.data(), yf.data());
  EXPECT_EQ(_mm_getcsr() & ~0x3fu, 0x7f80u);
  _mm_setcsr(0x1f80);
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(y[i], 1.0) << "dAdd honours round toward zero";
    EXPECT_EQ(yf[i], 1.0f + FLT_EPSILON) << "sAdd rounds to nearest";
  }
  // flush-to-zero: dAdd keeps the caller's, sAdd clears it for the call (mode keeps denormals)
  std::vector<double> d1(40, 3e-308), d2(40, -2.9e-308);
  std::vector<float> f1(40, 3e-38f), f2(40, -2.9e-38f);
  _mm_setcsr(0x9f80);
  _vexdAdd(40, d1.data(), d2.data(), y.data());
  _vexsAdd(40, f1.data(), f2.data(), yf.data());
  EXPECT_EQ(_mm_getcsr() & ~0x3fu, 0x9f80u);
  _mm_setcsr(0x1f80);
  EXPECT_EQ(y[0], 0.0) << "flushed";
  EXPECT_NE(yf[0], 0.0f) << "denormal kept";
  // nothing is reported on NaN or overflow
  ReportLog log;
  _vexSetErrStatus(-7);
  double big[2] = {DBL_MAX, NAN}, r[2];
  _vexdAdd(2, big, big, r);
  EXPECT_EQ(r[0], kInf);
  EXPECT_TRUE(std::isnan(r[1]));
  EXPECT_EQ(_vexGetErrStatus(), -7);
  EXPECT_TRUE(ReportLog::log().empty());
  _vexClearErrStatus();
}

TEST(AddStrided, StridesOfAnySign) {
  double a[6] = {1, 2, 3, 4, 5, 6}, b[6] = {10, 20, 30, 40, 50, 60}, y[6] = {};
  _vexdAddI(3, a, 2, b + 5, -1, y, 2);
  EXPECT_EQ(y[0], 1 + 60.0);
  EXPECT_EQ(y[2], 3 + 50.0);
  EXPECT_EQ(y[4], 5 + 40.0);
  float af[4] = {1, 2, 3, 4}, yf[1];
  _vexsAddI(4, af, 1, af, 1, yf, 0);
  EXPECT_EQ(yf[0], 8.0f) << "incy 0: the last element wins";
}

