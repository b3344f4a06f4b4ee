// The exponential and logarithm families: the edges of dExp, the failure table of every row at
// every level, exact cases, report order, and an element's result wherever it stands.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/vector/explog_test_rows.hpp"
#include "tests/vector/vector_test_util.hpp"
#include "tools/accuracy/oracle.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
const DFn kDExp[3] = {_vexdExp_50, _vexdExp, _vexdExp_26};

// One element through a double row at a level, with its reports.
struct One {
  double y;
  std::vector<Report> reports;
};
One run1(DFn f, double x) {
  ReportLog log;
  One o;
  f(1, &x, &o.y);
  o.reports = ReportLog::log();
  return o;
}
float run1s(SFn f, float x, int *status) {
  ReportLog log;
  float y;
  f(1, &x, &y);
  *status = ReportLog::log().empty() ? 0 : ReportLog::log().back().code;
  return y;
}
int status_of(const One &o) { return o.reports.empty() ? 0 : o.reports.back().code; }
}  // namespace

TEST(ExpEdges, ValuesAndStatusesAtEveryLevel) {
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(kLevelName[lv]);
    DFn f = kDExp[lv];
    EXPECT_EQ(run1(f, 0.0).y, 1.0) << "exp(0) is exactly 1";
    EXPECT_EQ(run1(f, -0.0).y, 1.0);
    One a = run1(f, 709.7);
    EXPECT_TRUE(std::isfinite(a.y));
    EXPECT_NEAR(a.y / 1.6549840276802644e308, 1.0, 1e-15);
    EXPECT_TRUE(a.reports.empty()) << "finite near the edge: no status";
    One o = run1(f, 710.0);
    EXPECT_EQ(o.y, kInf);
    EXPECT_EQ(status_of(o), STATUS_OVERFLOW);
    One u = run1(f, -746.0);
    EXPECT_EQ(u.y, 0.0);
    EXPECT_FALSE(std::signbit(u.y));
    EXPECT_EQ(status_of(u), STATUS_UNDERFLOW);
    One mi = run1(f, -kInf);
    EXPECT_EQ(mi.y, 0.0);
    EXPECT_TRUE(mi.reports.empty()) << "exp(-inf) = +0 without status";
    One pi = run1(f, kInf);
    EXPECT_EQ(pi.y, kInf);
    EXPECT_TRUE(pi.reports.empty());
    One nan = run1(f, NAN);
    EXPECT_TRUE(std::isnan(nan.y));
    EXPECT_TRUE(nan.reports.empty());
    EXPECT_EQ(run1(f, 1e-20).y, 1.0) << "short path";
    EXPECT_EQ(run1(f, -1e-20).y, 1.0);
    EXPECT_EQ(run1(f, 709.782712893384).y, 1.7976931348622732e308) << "last finite argument";
  }
}

TEST(ExpEdges, DenormalResultsAreCorrectlyRoundedAndUnderflow) {
  using namespace zyn::oracle;
  const Function &fexp = *find("Exp");
  std::mt19937_64 g(11);
  std::uniform_real_distribution<double> u(-745.13, -708.40);
  for (int lv = 0; lv < 3; ++lv) {
    ReportLog log;
    std::vector<double> x(500), y(500);
    for (double &v : x) v = u(g);
    kDExp[lv](500, x.data(), y.data());
    for (int i = 0; i < 500; ++i) {
      ASSERT_EQ(y[i], reference_d(fexp, x[i])) << kLevelName[lv] << " exp(" << x[i] << ")";
    }
    ASSERT_EQ(ReportLog::log().size(), 500u);
    for (const Report &r : ReportLog::log()) ASSERT_EQ(r.code, STATUS_UNDERFLOW);
  }
}

TEST(ExpEdges, OverflowRaisesTheFlagAndFlushModeFlushes) {
  FpRestore keep;
  _mm_setcsr(0x1f80);
  ReportLog log;
  double x[3] = {1.0, 800.0, -720.0}, y[3];
  _vexdExp(3, x, y);
  EXPECT_NE(_mm_getcsr() & 0x8u, 0u) << "overflow flag raised by the scalar path";
  EXPECT_GT(y[2], 0.0);
  unsigned old = _vexSetMode(MODE_DENORMALS_FLUSH);
  _vexdExp(3, x, y);
  EXPECT_EQ(y[2], 0.0) << "denormal result flushed";
  EXPECT_EQ(ReportLog::log().back().code, STATUS_UNDERFLOW);
  _vexSetMode(MODE_DENORMALS_KEEP);
  _vexSetMode(old);
}

// Per row and type: inputs, expected results (NaN for any NaN) and statuses, the same at every
// level.
struct Case {
  double x, y;
  int status;
};

void check_cases(const ExplogRow &row, const std::vector<Case> &cases, bool single) {
  for (int lv = 0; lv < 3; ++lv) {
    for (const Case &c : cases) {
      SCOPED_TRACE(std::string(single ? "vs" : "vd") + row.stem + " " + kLevelName[lv] + " x=" + std::to_string(c.x));
      double y;
      int status;
      if (single) {
        y = run1s(row.s[lv], static_cast<float>(c.x), &status);
      } else {
        One o = run1(row.d[lv], c.x);
        y = o.y;
        status = status_of(o);
      }
      if (std::isnan(c.y))
        EXPECT_TRUE(std::isnan(y));
      else
        EXPECT_EQ(y, single ? static_cast<double>(static_cast<float>(c.y)) : c.y);
      EXPECT_EQ(status, c.status);
    }
  }
}

TEST(FailureTable, Exponentials) {
  const ExplogRow &exp2 = kExplogRows[1], &exp10 = kExplogRows[2], &expm1 = kExplogRows[3];
  const int O = STATUS_OVERFLOW, U = STATUS_UNDERFLOW;
  check_cases(exp2, {{1024, kInf, O}, {-1076, 0, U}, {-1074, 0x1p-1074, U}, {-1030, 0x1p-1030, U},
                     {-1022, 0x1p-1022, 0}, {1023, 0x1p1023, 0}, {0, 1, 0}, {kInf, kInf, 0}, {-kInf, 0, 0},
                     {NAN, NAN, 0}, {0.5, M_SQRT2, 0}},
              false);
  check_cases(exp2, {{128, kInf, O}, {-150, 0, U}, {-149, 0x1p-149, U}, {-130, 0x1p-130, U}, {-126, 0x1p-126, 0},
                     {127, 0x1p127, 0}, {-kInf, 0, 0}, {NAN, NAN, 0}},
              true);
  check_cases(exp10, {{309, kInf, O}, {-330, 0, U}, {-310, 1e-310, U}, {2, 100, 0}, {22, 1e22, 0}, {-kInf, 0, 0},
                      {kInf, kInf, 0}},
              false);
  check_cases(exp10, {{39, kInf, O}, {-46, 0, U}, {-40, 1e-40, U}, {2, 100, 0}, {10, 1e10, 0}, {-kInf, 0, 0}}, true);
  check_cases(expm1, {{710, kInf, O}, {-1000, -1, 0}, {-kInf, -1, 0}, {kInf, kInf, 0}, {0, 0, 0}, {1e-310, 1e-310, U},
                      {-1e-310, -1e-310, U}, {1e-300, 1e-300, 0}, {NAN, NAN, 0}},
              false);
  check_cases(expm1, {{89, kInf, O}, {-200, -1, 0}, {-kInf, -1, 0}, {1e-40, 1e-40, U}, {0, 0, 0}, {1e-30, 1e-30, 0}},
              true);
  for (bool single : {false, true})
    check_cases(kExplogRows[0], {{-kInf, 0, 0}, {kInf, kInf, 0}, {NAN, NAN, 0}, {single ? 89.0 : 710.0, kInf, O}},
                single);
}

TEST(FailureTable, Logarithms) {
  const int D = STATUS_DOMAIN, S = STATUS_SINGULARITY;
  for (bool single : {false, true}) {
    double tiny = single ? 0x1p-149 : 0x1p-1074;
    check_cases(kExplogRows[4], {{0, -kInf, S}, {-0.0, -kInf, S}, {-1, NAN, D}, {-kInf, NAN, D}, {kInf, kInf, 0},
                                 {NAN, NAN, 0}, {1, 0, 0}},
                single);
    check_cases(kExplogRows[5], {{0, -kInf, S}, {-3, NAN, D}, {-kInf, NAN, D}, {kInf, kInf, 0}, {1, 0, 0}}, single);
    check_cases(kExplogRows[6], {{-1, -kInf, S}, {-1.5, NAN, D}, {-kInf, NAN, D}, {kInf, kInf, 0}, {NAN, NAN, 0},
                                 {0, 0, 0}, {single ? 1e-30 : 1e-300, single ? 1e-30 : 1e-300, 0}},
                single);
    check_cases(kExplogRows[7], {{0, -kInf, S}, {-0.0, -kInf, S}, {kInf, kInf, 0}, {-kInf, kInf, 0}, {NAN, NAN, 0},
                                 {1, 0, 0}, {-8, 3, 0}, {0.75, -1, 0}, {tiny, single ? -149.0 : -1074.0, 0},
                                 {single ? FLT_MAX : DBL_MAX, single ? 127.0 : 1023.0, 0}},
                single);
  }
}

TEST(ExactCases, PowersGiveIntegersAtHa) {
  _vexSetMode(VEX_ERRMODE_IGNORE);
  for (int k = -1074; k <= 1023; ++k) {
    double x = std::ldexp(1.0, k), y, e;
    _vexdLog2(1, &x, &y);
    ASSERT_EQ(y, k) << "log2(2^" << k << ")";
    double kd = k;
    if (k >= -1022) {
      _vexdExp2(1, &kd, &e);
      ASSERT_EQ(e, x) << "exp2(" << k << ")";
    }
  }
  double p = 1;
  for (int k = 0; k <= 22; ++k, p *= 10) {
    double y, kd = k, e;
    _vexdLog10(1, &p, &y);
    ASSERT_EQ(y, k) << "log10(1e" << k << ")";
    _vexdExp10(1, &kd, &e);
    ASSERT_EQ(e, p) << "exp10(" << k << ")";
  }
  _vexSetMode(VEX_ERRMODE_DEFAULT);
}

TEST(Reports, OrderIndexAndLastStatus) {
  for (int lv = 0; lv < 3; ++lv) {
    ReportLog log;
    std::vector<double> a(19, 0.5), y(19);
    a[2] = 800;    // overflow
    a[4] = -800;   // underflow
    a[18] = 1000;  // in the tail
    kDExp[lv](19, a.data(), y.data());
    auto &r = ReportLog::log();
    ASSERT_EQ(r.size(), 3u) << kLevelName[lv];
    EXPECT_EQ(r[0].index, 2);
    EXPECT_EQ(r[0].code, STATUS_OVERFLOW);
    EXPECT_EQ(r[1].index, 4);
    EXPECT_EQ(r[1].code, STATUS_UNDERFLOW);
    EXPECT_EQ(r[2].index, 18);
    EXPECT_EQ(_vexGetErrStatus(), STATUS_OVERFLOW);
  }
}

TEST(Strided, ReporterSeesTheElementNumberAndContiguousValues) {
  ReportLog log;
  // element number 3 (position 6) is bad; position 3 holds 5.0
  std::vector<double> a = {1, 0, 1, 5, 1, 0, 0, 0, 1, 0}, y(10, 7.0);
  _vexdLog2I(5, a.data(), 2, y.data(), 2);
  auto &r = ReportLog::log();
  ASSERT_EQ(r.size(), 1u);
  EXPECT_EQ(r[0].index, 3);
  EXPECT_EQ(r[0].code, STATUS_SINGULARITY);
  EXPECT_EQ(r[0].arg1, 5.0);
  EXPECT_EQ(y[6], -kInf);
  EXPECT_EQ(y[3], 7.0) << "positions between the strides untouched";
}

// Inputs for a row: ordinary values over its domain with bad ones sprinkled in.
std::vector<double> row_inputs(const std::string &stem, int n, std::mt19937_64 &g) {
  std::uniform_real_distribution<double> u(0, 1);
  std::vector<double> a(n);
  bool log = stem.rfind("Log", 0) == 0 && stem != "Logb";
  for (int i = 0; i < n; ++i) {
    double v = std::exp2(60 * u(g) - 30);
    if (log && stem != "Log1p") a[i] = v;
    else if (stem == "Log1p") a[i] = i % 2 ? v : -std::fmin(v, 0.999);
    else if (stem == "Logb") a[i] = i % 2 ? v : -v;
    else a[i] = (stem == "Expm1" ? 2 : 80) * (2 * u(g) - 1);
    if (i % 37 == 5) a[i] = (stem.rfind("Exp", 0) == 0) ? 2000.0 : -1.0;  // bad
    if (i % 53 == 7) a[i] = 0.0;
    if (i % 61 == 11) a[i] = NAN;
  }
  return a;
}

TEST(Positions, ResultDoesNotDependOnWhereAnElementStands) {
  std::mt19937_64 g(5);
  const int n = 203;
  _vexSetMode(VEX_ERRMODE_IGNORE);
  for (const ExplogRow &row : kExplogRows) {
    std::vector<double> a = row_inputs(row.stem, n, g);
    std::vector<float> af(a.begin(), a.end());
    for (int lv = 0; lv < 3; ++lv) {
      SCOPED_TRACE(std::string(row.stem) + " " + kLevelName[lv]);
      std::vector<double> whole(n), s2(2 * n), a2(2 * n), rev(n), arev(n);
      std::vector<float> wholef(n), s2f(2 * n), a2f(2 * n), revf(n), arevf(n);
      row.d[lv](n, a.data(), whole.data());
      row.s[lv](n, af.data(), wholef.data());
      for (int i = 0; i < n; ++i) {
        a2[2 * i] = a[i], a2f[2 * i] = af[i];
        arev[n - 1 - i] = a[i], arevf[n - 1 - i] = af[i];
      }
      row.di[lv](n, a2.data(), 2, s2.data(), 2);
      row.si[lv](n, a2f.data(), 2, s2f.data(), 2);
      row.di[lv](n, arev.data() + n - 1, -1, rev.data() + n - 1, -1);
      row.si[lv](n, arevf.data() + n - 1, -1, revf.data() + n - 1, -1);
      for (int i = 0; i < n; ++i) {
        double alone;
        float alonef;
        row.d[lv](1, &a[i], &alone);
        row.s[lv](1, &af[i], &alonef);
        ASSERT_EQ(bits(alone), bits(whole[i])) << "element " << i << " x=" << a[i];
        ASSERT_EQ(bits(s2[2 * i]), bits(whole[i])) << "stride 2, element " << i;
        ASSERT_EQ(bits(rev[n - 1 - i]), bits(whole[i])) << "stride -1, element " << i;
        ASSERT_EQ(bits(alonef), bits(wholef[i])) << "single element " << i << " x=" << af[i];
        ASSERT_EQ(bits(s2f[2 * i]), bits(wholef[i])) << "single stride 2, element " << i;
        ASSERT_EQ(bits(revf[n - 1 - i]), bits(wholef[i])) << "single stride -1, element " << i;
      }
    }
  }
  _vexSetMode(VEX_ERRMODE_DEFAULT);
}

TEST(Levels, SharingFollowsTheRows) {
  // dLog10: LA and EP one kernel; Exp2, Exp10, Logb: one kernel; the others three
  double x[3] = {0.3, 7.7, 123.456}, a[3], b[3];
  _vexdLog10_50(3, x, a);
  _vexdLog10_26(3, x, b);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(bits(a[i]), bits(b[i]));
  EXPECT_EQ(zyn_vex_kernel_dLog10_ttab[0], zyn_vex_kernel_dLog10_ttab[2]);
  EXPECT_NE(zyn_vex_kernel_dLog10_ttab[0], zyn_vex_kernel_dLog10_ttab[1]);
  auto one = [](auto &t) {
    EXPECT_EQ(t[0], t[1]);
    EXPECT_EQ(t[1], t[2]);
  };
  auto three = [](auto &t) {
    EXPECT_NE(t[0], t[1]);
    EXPECT_NE(t[1], t[2]);
    EXPECT_NE(t[0], t[2]);
  };
  one(zyn_vex_kernel_dExp2_ttab);
  one(zyn_vex_kernel_sExp10I_ttab);
  one(zyn_vex_kernel_sLogb_ttab);
  three(zyn_vex_kernel_dExp_ttab);
  three(zyn_vex_kernel_sExpm1_ttab);
  three(zyn_vex_kernel_dLog1pI_ttab);
}
