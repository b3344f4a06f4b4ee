// The exponential and logarithm families: the special values and statuses of every row at every
// level, denormal results of exp correctly rounded, exact powers, the flush mode, flags, and the
// caller's floating-point controls.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr int O = STATUS_OVERFLOW, U = STATUS_UNDERFLOW, D = STATUS_DOMAIN, S = STATUS_SINGULARITY;
constexpr unsigned kLaHa = 3;
const double kLn2 = 0.6931471805599453;

TEST(ExplogSpecials, ResultsAndStatusesAtEveryLevel) {
  std::vector<Special> c = {
      {"dExp", 0, 0, 1},           {"dExp", -0.0, 0, 1},      {"dExp", 1e-20, 0, 1},      {"dExp", -1e-20, 0, 1},
      {"dExp", 710, 0, kInf, O},   {"dExp", -746, 0, 0, U},   {"dExp", -kInf, 0, 0},      {"dExp", kInf, 0, kInf},
      {"dExp", NAN, 0, NAN},       {"dExp", 709.7, 0, 1.6549840276802644e308, 0, 1e-15},
      {"dExp", 709.782712893384, 0, 1.7976931348622732e308},  // the last finite result
      {"sExp", 89, 0, kInf, O},    {"sExp", -kInf, 0, 0},     {"sExp", kInf, 0, kInf},    {"sExp", NAN, 0, NAN},
      {"dExp2", 1024, 0, kInf, O}, {"dExp2", -1076, 0, 0, U}, {"dExp2", -1074, 0, 0x1p-1074, U},
      {"dExp2", -1030, 0, 0x1p-1030, U}, {"dExp2", -1022, 0, 0x1p-1022}, {"dExp2", 1023, 0, 0x1p1023},
      {"dExp2", 0, 0, 1},          {"dExp2", kInf, 0, kInf},  {"dExp2", -kInf, 0, 0},     {"dExp2", NAN, 0, NAN},
      {"dExp2", 0.5, 0, M_SQRT2},  {"sExp2", 128, 0, kInf, O}, {"sExp2", -150, 0, 0, U},  {"sExp2", -149, 0, 0x1p-149, U},
      {"sExp2", -130, 0, 0x1p-130, U}, {"sExp2", -126, 0, 0x1p-126}, {"sExp2", 127, 0, 0x1p127},
      {"sExp2", -kInf, 0, 0},      {"sExp2", NAN, 0, NAN},
      {"dExp10", 309, 0, kInf, O}, {"dExp10", -330, 0, 0, U}, {"dExp10", -310, 0, 1e-310, U}, {"dExp10", 2, 0, 100},
      {"dExp10", 22, 0, 1e22},     {"dExp10", -kInf, 0, 0},   {"dExp10", kInf, 0, kInf},
      {"sExp10", 39, 0, kInf, O},  {"sExp10", -46, 0, 0, U},  {"sExp10", -40, 0, 1e-40, U}, {"sExp10", 10, 0, 1e10},
      {"sExp10", -kInf, 0, 0},
      {"dExpm1", 710, 0, kInf, O}, {"dExpm1", -1000, 0, -1},  {"dExpm1", -kInf, 0, -1},   {"dExpm1", kInf, 0, kInf},
      {"dExpm1", 0, 0, 0},         {"dExpm1", 1e-310, 0, 1e-310, U}, {"dExpm1", -1e-310, 0, -1e-310, U},
      {"dExpm1", 1e-300, 0, 1e-300}, {"dExpm1", NAN, 0, NAN},
      {"sExpm1", 89, 0, kInf, O},  {"sExpm1", -200, 0, -1},   {"sExpm1", -kInf, 0, -1},   {"sExpm1", 1e-40, 0, 1e-40, U},
      {"sExpm1", 0, 0, 0},         {"sExpm1", 1e-30, 0, 1e-30},
      {"dLn", 4.9e-324, 0, -744.4400719213812, 0, 1e-12}, {"dLn", 1, 0, 0, 0, 0, kLaHa}, {"dLn", 2, 0, kLn2, 0, 1e-12},
      {"sLn", 1e-45, 0, -103.27893, 0, 1e-6}, {"sLn", 1, 0, 0},
      {"dLogb", 0x1p-1074, 0, -1074}, {"dLogb", DBL_MAX, 0, 1023}, {"sLogb", 0x1p-149, 0, -149}, {"sLogb", FLT_MAX, 0, 127},
      {"dLog1p", 1e-300, 0, 1e-300}, {"sLog1p", 1e-30, 0, 1e-30},
  };
  for (const char *t : {"d", "s"}) {  // the same in both types
    auto row = [&](const char *stem) { return t + std::string(stem); };
    for (const char *ln : {"Ln", "Log2", "Log10"})
      c.insert(c.end(), {{row(ln), 0, 0, -kInf, S}, {row(ln), -0.0, 0, -kInf, S}, {row(ln), -1, 0, NAN, D},
                         {row(ln), -kInf, 0, NAN, D}, {row(ln), kInf, 0, kInf}, {row(ln), NAN, 0, NAN}});
    c.insert(c.end(), {{row("Log2"), 1, 0, 0}, {row("Log10"), 1, 0, 0}, {row("Log1p"), -1, 0, -kInf, S},
                       {row("Log1p"), -1.5, 0, NAN, D}, {row("Log1p"), -kInf, 0, NAN, D}, {row("Log1p"), kInf, 0, kInf},
                       {row("Log1p"), NAN, 0, NAN}, {row("Log1p"), 0, 0, 0}, {row("Logb"), 0, 0, -kInf, S},
                       {row("Logb"), -0.0, 0, -kInf, S}, {row("Logb"), kInf, 0, kInf}, {row("Logb"), -kInf, 0, kInf},
                       {row("Logb"), NAN, 0, NAN}, {row("Logb"), 1, 0, 0}, {row("Logb"), -8, 0, 3}, {row("Logb"), 0.75, 0, -1}});
  }
  expect_cases(c);
}

// Results below the smallest normal are correctly rounded (and report underflow) at every level.
TEST(ExplogSpecials, DenormalResultsOfExpAreCorrectlyRounded) {
  const zyn::oracle::Function &fexp = *zyn::oracle::find("Exp");
  std::mt19937_64 g(11);
  std::uniform_real_distribution<double> u(-745.13, -708.40);
  const decltype(&_vexdExp) rows[3] = {_vexdExp_50, _vexdExp, _vexdExp_26};
  for (int lv = 0; lv < 3; ++lv) {
    ReportLog log;
    std::vector<double> x(500), y(500);
    for (double &v : x) v = u(g);
    rows[lv](500, x.data(), y.data());
    for (int i = 0; i < 500; ++i) ASSERT_EQ(y[i], zyn::oracle::reference_d(fexp, x[i])) << kLevels[lv] << " exp(" << x[i] << ")";
    ASSERT_EQ(ReportLog::log().size(), 500u);
    for (const Report &r : ReportLog::log()) ASSERT_EQ(r.code, U);
  }
}

// log2 and exp2 of powers of two, log10 and exp10 of powers of ten: exact at HA.
TEST(ExplogSpecials, ExactPowersAtHa) {
  QuietErrors quiet;
  for (int k = -1074; k <= 1023; ++k) {
    double x = std::ldexp(1.0, k), y, e, kd = k;
    _vexdLog2(1, &x, &y);
    ASSERT_EQ(y, k) << "log2(2^" << k << ")";
    _vexdExp2(1, &kd, &e);
    ASSERT_TRUE(k < -1022 || e == x) << "exp2(" << k << ")";
  }
  double p = 1;
  for (int k = 0; k <= 22; ++k, p *= 10) {
    double y, kd = k, e;
    _vexdLog10(1, &p, &y);
    ASSERT_EQ(y, k) << "log10(1e" << k << ")";
    _vexdExp10(1, &kd, &e);
    ASSERT_EQ(e, p) << "exp10(" << k << ")";
  }
}

// The scalar path raises the overflow flag; with the flush mode a denormal result is zero and a
// denormal input of Ln counts as zero.
TEST(ExplogModes, FlushModeAndFlags) {
  FpRestore keep;
  _mm_setcsr(0x1f80);
  ReportLog log;
  double x[3] = {1.0, 800.0, -720.0}, y[3];
  _vexdExp(3, x, y);
  EXPECT_NE(_mm_getcsr() & 0x8u, 0u) << "overflow flag";
  EXPECT_GT(y[2], 0.0);
  const unsigned old = _vexSetMode(MODE_DENORMALS_FLUSH);
  _vexdExp(3, x, y);
  EXPECT_EQ(y[2], 0.0) << "denormal result flushed";
  EXPECT_EQ(ReportLog::log().back().code, U);
  double d[3] = {1e-310, 2.0, 1e-320};
  _vexdLn(3, d, y);
  EXPECT_EQ(y[0], -kInf);
  EXPECT_EQ(y[2], -kInf);
  EXPECT_EQ(ReportLog::log().back().code, S);
  _vexSetMode(MODE_DENORMALS_KEEP);
  _vexdLn(3, d, y);
  EXPECT_NEAR(y[0], std::log(1e-310), 1e-12);
  _vexSetMode(old);
}

// A mode-driven kernel runs at round to nearest and gives back the caller's controls with the
// flags it raised; the x87 control word comes back whatever it was (extended precision, the
// invalid exception unmasked).
TEST(ExplogModes, CallerControlsComeBackWithRaisedFlagsMerged) {
  FpRestore keep;
  _mm_setcsr(0x7f80);  // round toward zero, divide-by-zero flag clear
  double a[2] = {0.0, 2.0}, y[2];
  _vexdLn(2, a, y);
  const uint32_t after = _mm_getcsr();
  EXPECT_EQ(after & ~0x3fu, 0x7f80u) << "controls restored";
  EXPECT_NE(after & 0x4u, 0u) << "divide-by-zero flag merged";
  EXPECT_EQ(y[1], kLn2) << "rounded to nearest";
  set_x87_cw(0x37f);
  _vexdLn_26(2, a, y);
  EXPECT_EQ(x87_cw(), 0x37f);
  set_x87_cw(0x37e);
  _vexdLn(2, a, y);
  EXPECT_EQ(x87_cw(), 0x37e);
}
}  // namespace
