// ErfInv, ErfcInv and CdfNormInv beyond the shared sampler tests: accuracy across the switch
// between the central piece and the tail (t = 2^-8) and where u = 1 - x or 2p - 1 is rounded,
// the single rows' tails down to the smallest denormal, and odd symmetry in every path.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "tests/vector/errfun_test_util.hpp"

using namespace zyn::test;
using namespace zyn::oracle;
using namespace zyn::test::errfun;

namespace {
const char *kStems[3] = {"ErfInv", "ErfcInv", "CdfNormInv"};

// n points log-uniform in t on [a, b], mapped to the function's argument: x = 1 - t (erfinv),
// t (erfcinv), t / 2 (quantile); `upper` mirrors them (erfinv -1 + t, erfcinv 2 - t, 1 - t / 2).
std::vector<double> near_edge(const std::string &stem, double a, double b, int n, bool upper, unsigned seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(std::log2(a), std::log2(b));
  std::vector<double> x(n);
  for (double &v : x) {
    const double t = std::exp2(u(g));
    if (stem == "ErfInv") v = upper ? -1 + t : 1 - t;
    else if (stem == "ErfcInv") v = upper ? 2 - t : t;
    else v = upper ? 1 - t / 2 : t / 2;
  }
  return x;
}

struct Quiet {
  unsigned old = _vexSetMode(VEX_ERRMODE_IGNORE);
  ~Quiet() { _vexSetMode(old); }
};
}  // namespace

// Both sides of t = 2^-8, and t up to 1/2 where erfcinv and the quantile round u.
TEST(ErfInvAccuracy, AcrossTheSwitchAndWhereURounds) {
  Quiet q;
  for (const char *stem : kStems) {
    const Function &f = *find(stem);
    for (bool upper : {false, true}) {
      std::vector<double> xd = near_edge(stem, 0x1p-10, 0x1p-6, 60, upper, 3);
      std::vector<double> wide = near_edge(stem, 0x1p-8, 0.5, 40, upper, 4);
      xd.insert(xd.end(), wide.begin(), wide.end());
      std::vector<float> xs(xd.begin(), xd.end());
      for (int lv = 0; lv < 3; ++lv) {
        SCOPED_TRACE(std::string(stem) + (upper ? " upper" : " lower"));
        check_sweep(std::string("d") + stem, lv, sweep_d(f, reinterpret_cast<void *>(dfn(stem, lv)), xd, {}), false);
        check_sweep(std::string("s") + stem, lv, sweep_s(f, reinterpret_cast<void *>(sfn(stem, lv)), xs, {}), true);
      }
    }
  }
}

// The single complementary rows take t down to the smallest denormal through their tail.
TEST(ErfInvAccuracy, SingleTailsToTheSmallestDenormal) {
  Quiet q;
  for (const char *stem : {"ErfcInv", "CdfNormInv"}) {
    const Function &f = *find(stem);
    std::vector<float> xs = {0x1p-149f, 0x1p-140f, 1e-40f, FLT_MIN, 0x1p-100f, 1e-20f, 1e-10f, 1e-5f};
    for (float v : near_edge(stem, 0x1p-60, 0x1p-8, 30, false, 5)) xs.push_back(v);
    for (int lv = 0; lv < 3; ++lv) {
      SCOPED_TRACE(stem);
      check_sweep(std::string("s") + stem, lv, sweep_s(f, reinterpret_cast<void *>(sfn(stem, lv)), xs, {}), true);
    }
  }
}

// erfinv(-x) = -erfinv(x) bit for bit, and the quantile's 1 - p mirror where 1 - p is exact.
TEST(ErfInvSymmetry, OddInEveryPath) {
  Quiet q;
  std::mt19937 g(9);
  std::uniform_real_distribution<float> u(0, 1);
  std::vector<float> x(64), nx(64);
  for (int i = 0; i < 64; ++i) {
    x[i] = i < 8 ? 1 - std::ldexp(1.0f, -5 - i * 2) : u(g);  // the first eight in the tail
    nx[i] = -x[i];
  }
  std::vector<double> xd(x.begin(), x.end()), nxd(nx.begin(), nx.end());
  for (int lv = 0; lv < 3; ++lv) {
    std::vector<float> y(64), ny(64);
    sfn("ErfInv", lv)(64, x.data(), y.data());
    sfn("ErfInv", lv)(64, nx.data(), ny.data());
    std::vector<double> yd(64), nyd(64);
    dfn("ErfInv", lv)(64, xd.data(), yd.data());
    dfn("ErfInv", lv)(64, nxd.data(), nyd.data());
    for (int i = 0; i < 64; ++i) {
      EXPECT_EQ(y[i], -ny[i]) << kLevel[lv] << " " << x[i];
      EXPECT_EQ(yd[i], -nyd[i]) << kLevel[lv] << " " << xd[i];
    }
    // p and 1 - p for p = k/64: both exact in the arguments
    std::vector<float> p(63), mp(63), yp(63), ymp(63);
    for (int k = 1; k < 64; ++k) {
      p[k - 1] = k / 64.0f;
      mp[k - 1] = 1 - k / 64.0f;
    }
    sfn("CdfNormInv", lv)(63, p.data(), yp.data());
    sfn("CdfNormInv", lv)(63, mp.data(), ymp.data());
    for (int k = 0; k < 63; ++k) EXPECT_EQ(yp[k], -ymp[k]) << kLevel[lv] << " " << p[k];
  }
}
