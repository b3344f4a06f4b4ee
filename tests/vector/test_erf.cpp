// Erf, Erfc and CdfNorm: special values and underflow statuses, and results independent of an
// element's position (accuracy: test_accuracy.cpp).
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/errfun_test_util.hpp"

using namespace zyn::test;
using namespace zyn::oracle;
using namespace zyn::test::errfun;

namespace {
const char *kStems[3] = {"Erf", "Erfc", "CdfNorm"};
constexpr double kInf = std::numeric_limits<double>::infinity();

std::vector<double> uniform(double a, double b, int n, unsigned seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(a, b);
  std::vector<double> v(n);
  for (auto &x : v) x = u(g);
  return v;
}
}  // namespace

TEST(ErfSpecials, LimitsNaNAndUnderflowStatuses) {
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(kLevel[lv]);
    {
      ReportLog log;
      const double in[] = {0.0, -0.0, kInf, -kInf, NAN, 1e-310, 0x1p-1000, 6.5, -30.0};
      double y[9];
      dfn("Erf", lv)(9, in, y);
      EXPECT_EQ(bits(y[0]), bits(0.0));
      EXPECT_EQ(bits(y[1]), bits(-0.0));
      EXPECT_EQ(y[2], 1.0);
      EXPECT_EQ(y[3], -1.0);
      EXPECT_TRUE(std::isnan(y[4]));
      EXPECT_EQ(y[5], reference_d(*find("Erf"), 1e-310));
      EXPECT_EQ(y[6], reference_d(*find("Erf"), 0x1p-1000));
      EXPECT_EQ(y[7], 1.0);
      EXPECT_EQ(y[8], -1.0);
      ASSERT_EQ(ReportLog::log().size(), 1u);
      EXPECT_EQ(ReportLog::log()[0].code, STATUS_UNDERFLOW);
      EXPECT_EQ(ReportLog::log()[0].index, 5);
      EXPECT_EQ(_vexGetErrStatus(), STATUS_UNDERFLOW);
    }
    {
      ReportLog log;
      const double in[] = {kInf, -kInf, NAN, 26.0, 27.0, 40.0, -40.0, 0.0};
      double y[8];
      dfn("Erfc", lv)(8, in, y);
      EXPECT_EQ(bits(y[0]), bits(0.0));
      EXPECT_EQ(y[1], 2.0);
      EXPECT_TRUE(std::isnan(y[2]));
      EXPECT_GE(y[3], DBL_MIN);
      EXPECT_GT(y[4], 0.0);
      EXPECT_LT(y[4], DBL_MIN);
      EXPECT_EQ(bits(y[5]), bits(0.0));
      EXPECT_EQ(y[6], 2.0);
      EXPECT_EQ(y[7], 1.0);
      auto &r = ReportLog::log();
      ASSERT_EQ(r.size(), 2u);
      EXPECT_EQ(r[0].index, 4);
      EXPECT_EQ(r[0].code, STATUS_UNDERFLOW);
      EXPECT_EQ(r[1].index, 5);
      EXPECT_EQ(r[1].code, STATUS_UNDERFLOW);
    }
    {
      ReportLog log;
      const double in[] = {-kInf, kInf, NAN, -38.0, -40.0, 40.0, 0.0};
      double y[7];
      dfn("CdfNorm", lv)(7, in, y);
      EXPECT_EQ(bits(y[0]), bits(0.0));
      EXPECT_EQ(y[1], 1.0);
      EXPECT_TRUE(std::isnan(y[2]));
      EXPECT_GT(y[3], 0.0);
      EXPECT_LT(y[3], DBL_MIN);
      EXPECT_EQ(bits(y[4]), bits(0.0));
      EXPECT_EQ(y[5], 1.0);
      EXPECT_EQ(y[6], 0.5);
      auto &r = ReportLog::log();
      ASSERT_EQ(r.size(), 2u);
      EXPECT_EQ(r[0].index, 3);
      EXPECT_EQ(r[1].index, 4);
      EXPECT_EQ(r[1].code, STATUS_UNDERFLOW);
    }
    {
      // single: the thresholds are those of float
      ReportLog log;
      const float e[] = {1e-40f, 1e-30f, 9.5f, 12.0f, 8.9f};
      float y[5];
      sfn("Erf", lv)(2, e, y);
      sfn("Erfc", lv)(3, e + 2, y + 2);
      EXPECT_GT(y[0], 0.0f);
      EXPECT_LT(y[0], FLT_MIN);
      EXPECT_GT(y[2], 0.0f);
      EXPECT_LT(y[2], FLT_MIN);
      EXPECT_EQ(y[3], 0.0f);
      EXPECT_GE(y[4], FLT_MIN);
      const float c[] = {-13.5f, -12.0f};
      sfn("CdfNorm", lv)(2, c, y);
      EXPECT_LT(y[0], FLT_MIN);
      EXPECT_GE(y[1], FLT_MIN);
      auto &r = ReportLog::log();
      ASSERT_EQ(r.size(), 4u);
      EXPECT_EQ(r[0].index, 0);
      EXPECT_EQ(r[1].index, 0);
      EXPECT_EQ(r[2].index, 1);
      EXPECT_EQ(r[3].index, 0);
      for (auto &x : r) EXPECT_EQ(x.code, STATUS_UNDERFLOW);
    }
  }
}

// Block, padded tail, alone and strided: the same bits.
TEST(ErfPositions, ResultIndependentOfPosition) {
  _vexSetMode(VEX_ERRMODE_IGNORE);
  std::vector<double> x = uniform(-40, 30, 37, 5);
  const double extra[] = {0.3, -0.7, 1.0, 0.5, -1.0, 1e-310, 26.7, -37.9, 8.0, NAN, -kInf, 2.0};
  for (int i = 0; i < 12; ++i) x[3 * i] = extra[i];
  for (const char *stem : kStems) expect_position_independent(stem, x);
  _vexSetMode(VEX_ERRMODE_DEFAULT);
}
