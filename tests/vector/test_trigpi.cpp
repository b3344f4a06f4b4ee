// The pi- and degree-scaled sine, cosine and tangent: special values and statuses of every row
// at every level, with the exact reduction of any finite argument, the signed zeros and poles
// of IEEE 754's pi forms, the exact 1/2 and 1 of the degree forms, and results below the
// smallest normal (layouts: test_layout.cpp; accuracy: test_accuracy.cpp).
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr int D = STATUS_DOMAIN, S = STATUS_SINGULARITY, U = STATUS_UNDERFLOW;

TEST(TrigpiSpecials, ResultsAndStatusesAtEveryLevel) {
  std::vector<Special> c;
  // x in units of the half period: 1/2 for the pi forms, 90 for degrees; huge arguments beyond
  // every vector range (2^51 + 1/2 and 90 (2^47 + 1) are exact)
  for (std::string t : {"d", "s"}) {
    for (double h : {0.5, 90.0}) {
      const std::string sin = t + (h == 90 ? "Sind" : "Sinpi"), cos = t + (h == 90 ? "Cosd" : "Cospi"),
                        tan = t + (h == 90 ? "Tand" : "Tanpi");
      const double huge = h == 0.5 ? 0x1p51 + 0.5 : 90.0 * (0x1p47 + 1);  // an odd multiple, 1 mod 4
      const double even = (h == 90 ? 360 : 1) * (t == "s" ? 0x1p50 : 0x1p70);  // a multiple of 4h
      c.insert(c.end(), {
          {sin, 0, 0, 0},            {sin, -0.0, 0, -0.0},      {sin, 2 * h, 0, 0},          {sin, -2 * h, 0, -0.0},
          {sin, 4 * h, 0, 0},        {sin, -4 * h, 0, -0.0},    {sin, h, 0, 1},              {sin, -h, 0, -1},
          {sin, 3 * h, 0, -1},       {sin, even, 0, 0},         {sin, -even, 0, -0.0},       {sin, kInf, 0, NAN, D},
          {sin, -kInf, 0, NAN, D},   {sin, NAN, 0, NAN},
          {cos, h, 0, 0},            {cos, -h, 0, 0},           {cos, 3 * h, 0, 0},          {cos, 0, 0, 1},
          {cos, 2 * h, 0, -1},       {cos, -2 * h, 0, -1},      {cos, even, 0, 1},           {cos, kInf, 0, NAN, D},
          {cos, NAN, 0, NAN},
          {tan, 0, 0, 0},            {tan, -0.0, 0, -0.0},      {tan, 2 * h, 0, -0.0},       {tan, -2 * h, 0, 0},
          {tan, 4 * h, 0, 0},        {tan, -4 * h, 0, -0.0},    {tan, h / 2, 0, 1},          {tan, -h / 2, 0, -1},
          {tan, 3 * h / 2, 0, -1},   {tan, h, 0, kInf, S},      {tan, -h, 0, -kInf, S},      {tan, 3 * h, 0, -kInf, S},
          {tan, -3 * h, 0, kInf, S}, {tan, even, 0, 0},         {tan, -even, 0, -0.0},       {tan, -kInf, 0, NAN, D},
          {tan, NAN, 0, NAN},
      });
      if (t == "d")
        c.insert(c.end(), {{sin, huge, 0, 1}, {sin, huge + 2 * h, 0, -1}, {cos, huge, 0, 0}, {tan, huge, 0, kInf, S},
                           {tan, huge + 2 * h, 0, -kInf, S}, {tan, -huge, 0, -kInf, S}});
    }
    c.insert(c.end(), {{t + "Sind", 30, 0, 0.5}, {t + "Sind", 150, 0, 0.5}, {t + "Sind", -30, 0, -0.5},
                       {t + "Cosd", 60, 0, 0.5}, {t + "Cosd", -300, 0, 0.5}, {t + "Cosd", 120, 0, -0.5},
                       {t + "Tand", 45, 0, 1}, {t + "Tand", 225, 0, 1}, {t + "Tand", -135, 0, 1},
                       {t + "Tanpi", 0.25, 0, 1}, {t + "Tanpi", -1.75, 0, 1}});
  }
  // Sind and Tand below the smallest normal: the denormal kept, reported for a normal argument
  const auto &sind = *zyn::oracle::find("Sind");
  c.insert(c.end(), {{"dSind", DBL_MIN, 0, zyn::oracle::reference_d(sind, DBL_MIN), U},
                     {"dTand", -0x1p-1017, 0, -zyn::oracle::reference_d(sind, 0x1p-1017), U},
                     {"dSind", 0x1p-1074, 0, 0},
                     {"sSind", 0x1p-124, 0, zyn::oracle::reference_s(sind, 0x1p-124f), U},
                     {"sTand", -FLT_MIN, 0, -zyn::oracle::reference_s(sind, FLT_MIN), U},
                     {"dSinpi", 0x1p-1074, 0, 0x1.8p-1073},
                     {"dTanpi", -0x1p-1074, 0, -0x1.8p-1073},
                     {"sSinpi", FLT_MIN, 0, static_cast<float>(M_PI * FLT_MIN)}});
  expect_cases(c);
}
}  // namespace
