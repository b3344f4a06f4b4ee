// LGamma, TGamma and ExpInt1: poles, zeros, exact factorials, the edges of overflow and
// underflow, with their statuses (accuracy: test_accuracy.cpp; layouts: test_layout.cpp).
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
const int D = STATUS_DOMAIN, S = STATUS_SINGULARITY, O = STATUS_OVERFLOW, U = STATUS_UNDERFLOW;

double ref(const char *stem, double x) { return zyn::oracle::reference_d(*zyn::oracle::find(stem), x); }
double ref_s(const char *stem, double x) { return ref(stem, static_cast<float>(x)); }  // at the single argument
}  // namespace

// One kernel serves every level. A tolerance of 1/2 states only the class of a result at the
// underflow threshold (normal or denormal).
TEST(GammaSpecials, PolesZerosAndEdges) {
  std::vector<Special> c;
  for (std::string t : {"d", "s"}) {
    const std::string lg = t + "LGamma", tg = t + "TGamma";
    c.insert(c.end(), {
                          {lg, 1, 0, 0},        {lg, 2, 0, 0},          {lg, 0, 0, kInf, S},    {lg, -0.0, 0, kInf, S},
                          {lg, -1, 0, kInf, S}, {lg, -4, 0, kInf, S},   {lg, -1e20, 0, kInf, S}, {lg, kInf, 0, kInf},
                          {lg, -kInf, 0, kInf}, {lg, NAN, 0, NAN},      {tg, 0, 0, kInf, S},    {tg, -0.0, 0, -kInf, S},
                          {tg, -1, 0, NAN, D},  {tg, -3, 0, NAN, D},    {tg, -kInf, 0, NAN, D}, {tg, kInf, 0, kInf},
                          {tg, NAN, 0, NAN},    {tg, 0.5, 0, std::sqrt(M_PI), 0, 0x1p-52},
                          {lg, -2.5, 0, ref("LGamma", -2.5), 0, 0x1p-52}, {tg, -2.5, 0, ref("TGamma", -2.5), 0, 0x1p-52},
                      });
    double f = 1;  // (n - 1)! exactly, up to 22! in double and 13! in single
    for (int n = 1; n <= (t == "d" ? 23 : 14); f *= n, ++n) c.push_back({tg, double(n), 0, f});
  }
  c.insert(c.end(), {
                        // overflow: lgamma from 2.55e305 (single 4.09e36), Gamma from 171.62 (35.04) and
                        // for tiny x whose 1/x overflows
                        {"dLGamma", 2.6e305, 0, kInf, O},  {"dLGamma", 2.5e305, 0, ref("LGamma", 2.5e305), 0, 0x1p-52},
                        {"sLGamma", 4.1e36, 0, kInf, O},   {"sLGamma", 4e36, 0, ref_s("LGamma", 4e36), 0, 0x1p-23},
                        {"dTGamma", 171.63, 0, kInf, O},   {"dTGamma", 171.62, 0, ref("TGamma", 171.62), 0, 0x1p-52},
                        {"sTGamma", 35.05, 0, kInf, O},    {"sTGamma", 35.03, 0, ref_s("TGamma", 35.03), 0, 0x1p-23},
                        {"dTGamma", 0x1p-1074, 0, kInf, O}, {"dTGamma", -0x1p-1074, 0, -kInf, O},
                        {"sTGamma", 0x1p-149, 0, kInf, O}, {"dTGamma", 1e-308, 0, 1e308, 0, 0x1p-52},
                        {"dLGamma", 0x1p-1074, 0, ref("LGamma", 0x1p-1074), 0, 0x1p-52},
                        // negative arguments with results below the smallest normal: denormal or zero
                        {"dTGamma", -184.3, 0, ref("TGamma", -184.3), U, 0.5}, {"dTGamma", -190.5, 0, -0.0, U},
                        {"sTGamma", -41.3, 0, ref_s("TGamma", -41.3), U, 0.5},   {"sTGamma", -50.5, 0, -0.0, U},
                        {"dTGamma", -170.5, 0, ref("TGamma", -170.5), 0, 0x1p-52},
                    });
  expect_cases(c);
}

// E1 at 0, tiny and large arguments: +inf at zero, the logarithm near it (denormals too), the
// underflow from about 701.8 (single 82.9), +0 at the end; EP within its bits.
TEST(ExpInt1Specials, ZeroTinyAndLarge) {
  std::vector<Special> c;
  for (std::string r : {"dExpInt1", "sExpInt1"})
    c.insert(c.end(), {{r, -1, 0, NAN, D}, {r, -kInf, 0, NAN, D}, {r, -1e-30, 0, NAN, D}, {r, 0, 0, kInf, S},
                       {r, -0.0, 0, kInf, S}, {r, kInf, 0, 0}, {r, NAN, 0, NAN}});
  for (double x : {1e-300, 1e-310, 0.5, 1.0, 2.0, 50.0, 700.0})
    c.insert(c.end(), {{"dExpInt1", x, 0, ref("ExpInt1", x), 0, 0x1p-52, 3}, {"dExpInt1", x, 0, ref("ExpInt1", x), 0, 0x1p-26, 4}});
  for (double x : {1e-40, 0.5, 1.0, 2.0, 50.0, 80.0})
    c.push_back({"sExpInt1", x, 0, ref_s("ExpInt1", x), 0, 0x1p-11});
  c.insert(c.end(), {{"dExpInt1", 705, 0, ref("ExpInt1", 705), U, 0.5}, {"dExpInt1", 750, 0, 0, U},
                     {"sExpInt1", 85, 0, ref_s("ExpInt1", 85), U, 0.5},   {"sExpInt1", 110, 0, 0, U}});
  expect_cases(c);
}
