// The inverse trigonometric family and Hypot: special values and statuses of every row at every
// level (C99 Annex F, the pi forms' exact values), results below the smallest normal, and one
// report per status with its element number and record (layouts: test_layout.cpp; accuracy:
// test_accuracy.cpp).
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr int D = STATUS_DOMAIN, O = STATUS_OVERFLOW, U = STATUS_UNDERFLOW;
constexpr double kPi = M_PI, kPio2 = M_PI_2, kPio4 = M_PI_4;

// The correctly rounded value of a row's function (MPFR), for results in the denormals.
double mpfr_value(const char *stem, double a, double b = 0) {
  return zyn::oracle::reference_d(*zyn::oracle::find(stem), a, b);
}

TEST(InvtrigSpecials, ResultsAndStatusesAtEveryLevel) {
  std::vector<Special> c = {
      // below the smallest normal: the denormal (or zero) kept, reported for a normal argument
      {"dAsinpi", DBL_MIN, 0, mpfr_value("Asinpi", DBL_MIN), U},
      {"dAtanpi", -DBL_MIN, 0, mpfr_value("Atanpi", -DBL_MIN), U},
      {"dAsinpi", 0x1p-1074, 0, 0},
      {"dAtan2", DBL_MIN, 4, 0x1p-1024, U},
      {"dAtan2", 1e-300, 1e300, 0, U},
      {"dAtan2pi", -DBL_MIN, 1e10, mpfr_value("Atan2pi", -DBL_MIN, 1e10), U},
      {"dAtan2", 0x1p-1074, 0.5, 0x1p-1073},
      {"sAsinpi", FLT_MIN, 0, static_cast<float>(FLT_MIN / kPi), U},
      {"sAtan2", FLT_MIN, 8, 0x1p-129, U},
  };
  for (std::string t : {"d", "s"}) {
    for (const char *f : {"Asin", "Acos", "Asinpi", "Acospi"})
      c.insert(c.end(), {{t + f, 1.5, 0, NAN, D}, {t + f, -kInf, 0, NAN, D}, {t + f, kInf, 0, NAN, D},
                         {t + f, NAN, 0, NAN}});
    for (const char *f : {"Atan", "Atanpi", "Atan2", "Atan2pi"}) c.push_back({t + f, NAN, 1, NAN});
    c.insert(c.end(), {
        {t + "Asin", 0, 0, 0}, {t + "Asin", -0.0, 0, -0.0}, {t + "Asin", 1, 0, kPio2}, {t + "Asin", -1, 0, -kPio2},
        {t + "Acos", 1, 0, 0}, {t + "Acos", -1, 0, kPi}, {t + "Acos", 0, 0, kPio2}, {t + "Acos", -0.0, 0, kPio2},
        {t + "Asinpi", 1, 0, 0.5}, {t + "Asinpi", -1, 0, -0.5}, {t + "Asinpi", -0.0, 0, -0.0},
        {t + "Acospi", -1, 0, 1}, {t + "Acospi", 0, 0, 0.5}, {t + "Acospi", 1, 0, 0},
        {t + "Atan", -0.0, 0, -0.0}, {t + "Atan", kInf, 0, kPio2}, {t + "Atan", -kInf, 0, -kPio2},
        {t + "Atan", 1, 0, kPio4}, {t + "Atanpi", 1, 0, 0.25}, {t + "Atanpi", -1, 0, -0.25},
        {t + "Atanpi", kInf, 0, 0.5}, {t + "Atanpi", -kInf, 0, -0.5}, {t + "Atanpi", -0.0, 0, -0.0},
        {t + "Atan2", NAN, NAN, NAN}, {t + "Atan2", 1, NAN, NAN}, {t + "Hypot", 1, NAN, NAN},
        {t + "Hypot", kInf, NAN, kInf}, {t + "Hypot", NAN, -kInf, kInf}, {t + "Hypot", -0.0, 0, 0},
        {t + "Hypot", 0x1p-149, -0x1p-149, 0x1p-149 * M_SQRT2, 0, 0x1p-23},
    });
    // Annex F's zeros and infinities; the pi form exact there and wherever |y| = |x|
    const struct { double y, x, angle_over_pi; } annex[] = {
        {0, -0.0, 1},      {-0.0, -0.0, -1}, {0, 0, 0},       {-0.0, 0, -0.0},   {0, -3, 1},      {-0.0, -3, -1},
        {0, 3, 0},         {-0.0, 3, -0.0},  {-2, 0, -0.5},   {-2, -0.0, -0.5},  {2, 0, 0.5},     {2, -0.0, 0.5},
        {5, -kInf, 1},     {-5, -kInf, -1},  {5, kInf, 0},    {-5, kInf, -0.0},  {kInf, 7, 0.5},  {-kInf, -7, -0.5},
        {kInf, -kInf, 0.75}, {-kInf, -kInf, -0.75}, {kInf, kInf, 0.25}, {-kInf, kInf, -0.25},
        {3, 3, 0.25},      {-3, -3, -0.75},  {3, -3, 0.75},   {-2, 2, -0.25},    {3e38, -3e38, 0.75},
        {-1e-40, 1e-40, -0.25}};
    for (const auto &a : annex) {
      c.push_back({t + "Atan2pi", a.y, a.x, a.angle_over_pi});
      c.push_back({t + "Atan2", a.y, a.x, a.angle_over_pi * kPi});
    }
    c.insert(c.end(), {{t + "Hypot", 3, -4, 5, 0, 0x1p-11}, {t + "Hypot", -3e-320, 4e-320, 5e-320, 0, 0x1p-11}});
  }
  c.insert(c.end(), {{"dAtan2pi", DBL_MAX, -DBL_MAX, 0.75}, {"dAtan2pi", -1e-310, 1e-310, -0.25},
                     {"dHypot", DBL_MAX, DBL_MAX, kInf, O}, {"dHypot", -DBL_MAX, 1, DBL_MAX},
                     {"sHypot", FLT_MAX, -FLT_MAX, kInf, O}, {"sHypot", FLT_MAX, 1, FLT_MAX},
                     {"dHypot", 0x1.8p1023, 0x1p1023, 0x1.cd82b446159f3p1023, 0, 0x1p-11}});
  expect_cases(c);
}

// One report per status, at element 5 of 9: its code, number, argument and result.
TEST(InvtrigReports, EachStatusReportsItsElementAndRecord) {
  struct Case {
    const char *row;
    double a, b;
    int code;
  } cases[] = {{"dAcos", -2, 0, D},
               {"sAtanpi", -0x1p-125, 0, U},
               {"dHypot", DBL_MAX, -DBL_MAX, O},
               {"sAtan2pi", FLT_MIN, 1e20, U},
               {"dTanpi", -2.5, 0, STATUS_SINGULARITY}};
  for (const Case &c : cases) {
    for (int lv = 0; lv < 3; ++lv) {
      std::vector<double> a(9, 0.25), b(9, 0.5), y(9);
      a[5] = c.a;
      b[5] = c.b;
      ReportLog log;
      void *k = zyn::oracle::stub(zyn::oracle::stub_name(c.row[0], c.row + 1, lv));
      const bool bin = shape_of(c.row) == Shape::binary;
      if (c.row[0] == 's') {
        std::vector<float> af(a.begin(), a.end()), bf(b.begin(), b.end()), yf(9);
        if (bin)
          reinterpret_cast<void (*)(int, const float *, const float *, float *)>(k)(9, af.data(), bf.data(), yf.data());
        else
          reinterpret_cast<void (*)(int, const float *, float *)>(k)(9, af.data(), yf.data());
        y.assign(yf.begin(), yf.end());
        a.assign(af.begin(), af.end());
      } else if (bin) {
        reinterpret_cast<void (*)(int, const double *, const double *, double *)>(k)(9, a.data(), b.data(), y.data());
      } else {
        reinterpret_cast<void (*)(int, const double *, double *)>(k)(9, a.data(), y.data());
      }
      const auto &r = ReportLog::log();
      ASSERT_EQ(r.size(), 1u) << c.row << " " << kLevels[lv];
      EXPECT_EQ(r[0].code, c.code) << c.row;
      EXPECT_EQ(r[0].index, 5) << c.row;
      EXPECT_TRUE(same(r[0].arg1, a[5])) << c.row;
      EXPECT_TRUE(same(r[0].res1, y[5])) << c.row;
      EXPECT_EQ(_vexGetErrStatus(), c.code) << c.row;
    }
  }
}
}  // namespace
