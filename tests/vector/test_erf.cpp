// The error functions and their inverses: special values and statuses, and the odd symmetry of
// the inverse (accuracy: test_accuracy.cpp).
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();
}  // namespace

// The error functions and their inverses at their edges, every level. A tolerance of 1/2 states
// only the class of a result near the underflow threshold (normal or denormal).
TEST(ErfSpecials, ResultsAndStatusesAtEveryLevel) {
  const int U = STATUS_UNDERFLOW, S = STATUS_SINGULARITY, D = STATUS_DOMAIN;
  auto ref = [](const char *stem, double x) { return zyn::oracle::reference_d(*zyn::oracle::find(stem), x); };
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
      {"sCdfNorm", -12, 0, ref("CdfNorm", -12), 0, 0.5},   {"sErfc", -20, 0, 2},  // beyond the grids' ends
      {"sCdfNorm", 20, 0, 1},
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

// erfinv(-x) = -erfinv(x) bit for bit, central and tail lanes, and the quantile's mirror at p
// and 1 - p where both are exact.
TEST(ErfInvSymmetry, OddInEveryPath) {
  QuietErrors quiet;
  std::mt19937 g(9);
  std::uniform_real_distribution<float> u(0, 1);
  std::vector<float> x(64), nx(64), p(63), mp(63);
  for (int i = 0; i < 64; ++i) {
    x[i] = i < 8 ? 1 - std::ldexp(1.0f, -5 - i * 2) : u(g);  // the first eight in the tail
    nx[i] = -x[i];
  }
  for (int k = 1; k < 64; ++k) p[k - 1] = k / 64.0f, mp[k - 1] = 1 - k / 64.0f;
  std::vector<double> xd(x.begin(), x.end()), nxd(nx.begin(), nx.end());
  auto run = [](const char *row, int lv, auto v) {
    decltype(v) y(v.size());
    using T = typename decltype(v)::value_type;
    reinterpret_cast<void (*)(int, const T *, T *)>(zyn::oracle::stub(zyn::oracle::stub_name(row[0], row + 1, lv)))(
        static_cast<int>(v.size()), v.data(), y.data());
    return y;
  };
  for (int lv = 0; lv < 3; ++lv) {
    const auto y = run("sErfInv", lv, x), ny = run("sErfInv", lv, nx), yp = run("sCdfNormInv", lv, p),
               ymp = run("sCdfNormInv", lv, mp);
    const auto yd = run("dErfInv", lv, xd), nyd = run("dErfInv", lv, nxd);
    for (int i = 0; i < 64; ++i) {
      EXPECT_EQ(y[i], -ny[i]) << kLevels[lv] << " " << x[i];
      EXPECT_EQ(yd[i], -nyd[i]) << kLevels[lv] << " " << xd[i];
    }
    for (int k = 0; k < 63; ++k) EXPECT_EQ(yp[k], -ymp[k]) << kLevels[lv] << " " << p[k];
  }
}
