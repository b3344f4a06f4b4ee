// Erf, Erfc and CdfNorm: accuracy against MPFR at every level (random inputs and the tails down
// to the underflow threshold); special values and statuses of the error functions and their
// inverses.
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

TEST(ErfAccuracy, WithinTargetsOverRandomInputs) {
  const size_t count = 4000;  // MPFR erfc is slow in the tails: keeps the binary near 30 s
  _vexSetMode(VEX_ERRMODE_IGNORE);
  for (const char *stem : kStems) {
    const Function &f = *find(stem);
    auto xd = inputs_d(f.dom[0], count, 7);
    auto xs = inputs_s(f.dom[0], count, 7);
    for (int lv = 0; lv < 3; ++lv) {
      check_sweep(std::string("d") + stem, lv, sweep_d(f, reinterpret_cast<void *>(dfn(stem, lv)), xd, {}), false);
      check_sweep(std::string("s") + stem, lv, sweep_s(f, reinterpret_cast<void *>(sfn(stem, lv)), xs, {}), true);
    }
  }
  _vexSetMode(VEX_ERRMODE_DEFAULT);
}

// The tails keep their relative accuracy through the last normal binades into the denormals;
// and the pieces' edges and the central/tail switch points are crossed densely.
TEST(ErfAccuracy, TailsAndSwitchPoints) {
  _vexSetMode(VEX_ERRMODE_IGNORE);
  struct Range {
    const char *stem;
    double a, b;
  } ranges[] = {{"Erfc", 20, 27.3},     {"Erfc", 0.4, 1.2},    {"Erfc", -1.2, -0.8}, {"Erfc", 4, 8},
                {"CdfNorm", -38.6, -28}, {"CdfNorm", -1, -0.5}, {"CdfNorm", 1.2, 1.6}, {"CdfNorm", 7, 9},
                {"Erf", 0.6, 1.2},       {"Erf", 5, 6.5},       {"Erf", 0, 0.03},      {"Erf", 2.9, 3.1}};
  for (const Range &r : ranges) {
    const Function &f = *find(r.stem);
    auto xd = uniform(r.a, r.b, 800, 11);
    std::vector<float> xs(xd.begin(), xd.end());
    for (int lv = 0; lv < 3; ++lv) {
      SCOPED_TRACE(std::string(r.stem) + " on [" + std::to_string(r.a) + ", " + std::to_string(r.b) + "]");
      check_sweep(std::string("d") + r.stem, lv, sweep_d(f, reinterpret_cast<void *>(dfn(r.stem, lv)), xd, {}), false);
      check_sweep(std::string("s") + r.stem, lv, sweep_s(f, reinterpret_cast<void *>(sfn(r.stem, lv)), xs, {}), true);
    }
  }
  _vexSetMode(VEX_ERRMODE_DEFAULT);
}

// The grid's series near the first grid points, where the result is smallest against its
// terms: double HA stays near half an ulp (a missing term or an inexact leading product shows).
TEST(ErfAccuracy, GridSeriesAtHaNearZero) {
  const Function &f = *find("Erf");
  auto x = uniform(0x1p-9, 0x1p-5, 3000, 5);
  Sweep s = sweep_d(f, reinterpret_cast<void *>(dfn("Erf", 1)), x, {});
  EXPECT_LE(s.max_ulp, 0.55) << "at " << s.worst_x;
}

// The error functions and their inverses at their edges, every level. A tolerance of 1/2 states
// only the class of a result near the underflow threshold (normal or denormal).
TEST(ErfSpecials, ResultsAndStatusesAtEveryLevel) {
  const int U = STATUS_UNDERFLOW, S = STATUS_SINGULARITY, D = STATUS_DOMAIN;
  auto ref = [](const char *stem, double x) { return reference_d(*find(stem), x); };
  std::vector<Special> c = {
      {"dErf", 0, 0, 0},          {"dErf", -0.0, 0, -0.0},   {"dErf", kInf, 0, 1},       {"dErf", -kInf, 0, -1},
      {"dErf", NAN, 0, NAN},      {"dErf", 6.5, 0, 1},       {"dErf", -30, 0, -1},       {"dErf", 1e-310, 0, ref("Erf", 1e-310), U},
      {"dErf", 0x1p-1000, 0, ref("Erf", 0x1p-1000)},
      {"dErfc", kInf, 0, 0},      {"dErfc", -kInf, 0, 2},    {"dErfc", NAN, 0, NAN},     {"dErfc", 40, 0, 0, U},
      {"dErfc", -40, 0, 2},       {"dErfc", 0, 0, 1},        {"dErfc", 26, 0, ref("Erfc", 26), 0, 0.5},
      {"dErfc", 27, 0, ref("Erfc", 27), U, 0.5},
      {"dCdfNorm", -kInf, 0, 0},  {"dCdfNorm", kInf, 0, 1},  {"dCdfNorm", NAN, 0, NAN},  {"dCdfNorm", -40, 0, 0, U},
      {"dCdfNorm", 40, 0, 1},     {"dCdfNorm", 0, 0, 0.5},   {"dCdfNorm", -38, 0, ref("CdfNorm", -38), U, 0.5},
      {"sErf", 1e-40, 0, ref("Erf", 1e-40), U, 0.5},          {"sErf", 1e-30, 0, ref("Erf", 1e-30), 0, 0.5},
      {"sErfc", 9.5, 0, ref("Erfc", 9.5), U, 0.5},            {"sErfc", 12, 0, 0, U},
      {"sErfc", 8.9, 0, ref("Erfc", 8.9), 0, 0.5},           {"sCdfNorm", -13.5, 0, ref("CdfNorm", -13.5), U, 0.5},
      {"sCdfNorm", -12, 0, ref("CdfNorm", -12), 0, 0.5},
      {"dErfInv", 1 - 0x1p-53, 0, 5.8635847487551676, 0, 1e-14, 3},  // the largest finite result
      {"dErfInv", 1 - 0x1p-53, 0, 5.8635847487551676, 0, 1e-6, 4},
  };
  for (std::string t : {"d", "s"})
    c.insert(c.end(), {{t + "ErfInv", 0, 0, 0},         {t + "ErfInv", -0.0, 0, -0.0},     {t + "ErfInv", 1, 0, kInf, S},
                       {t + "ErfInv", -1, 0, -kInf, S}, {t + "ErfInv", 1.5, 0, NAN, D},    {t + "ErfInv", -kInf, 0, NAN, D},
                       {t + "ErfInv", kInf, 0, NAN, D}, {t + "ErfInv", NAN, 0, NAN},       {t + "ErfcInv", 1, 0, 0},
                       {t + "ErfcInv", 0, 0, kInf, S},  {t + "ErfcInv", -0.0, 0, kInf, S}, {t + "ErfcInv", 2, 0, -kInf, S},
                       {t + "ErfcInv", -0.5, 0, NAN, D}, {t + "ErfcInv", 2.5, 0, NAN, D},  {t + "ErfcInv", NAN, 0, NAN},
                       {t + "CdfNormInv", 0.5, 0, 0},   {t + "CdfNormInv", 0, 0, -kInf, S}, {t + "CdfNormInv", 1, 0, kInf, S},
                       {t + "CdfNormInv", -1e-30, 0, NAN, D}, {t + "CdfNormInv", 1.5, 0, NAN, D}, {t + "CdfNormInv", NAN, 0, NAN}});
  // the complementary inverses reach down to the smallest denormal, within 4 ulp at LA and HA
  for (double x : {0x1p-1074, 1e-310, 0x1p-1022, 0x1p-1021, 1e-300, 1e-100, 2 - 0x1p-52})
    for (const char *stem : {"ErfcInv", "CdfNormInv"})
      if (x < 1 || stem[0] == 'E') c.push_back({std::string("d") + stem, x, 0, ref(stem, x), 0, 0x1p-50, 3});
  expect_cases(c);
}
