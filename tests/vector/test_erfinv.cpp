// ErfInv, ErfcInv and CdfNormInv beyond the shared sampler tests: odd symmetry of the float
// paths, and results independent of an element's position in vectors that mix central and tail
// lanes (accuracy: test_accuracy.cpp).
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

// Blocks mixing central and tail lanes, the padded remainder, one element alone and strided:
// the same bits.
TEST(ErfInvPositions, MixedCentralAndTailLanes) {
  Quiet q;
  for (const char *stem : kStems) {
    std::vector<double> x = near_edge(stem, 0x1p-30, 0.9, 41, false, 6);
    std::vector<double> up = near_edge(stem, 0x1p-30, 0.9, 10, true, 7);
    for (int i = 0; i < 10; ++i) x[4 * i + 1] = up[i];
    x[7] = NAN;
    x[12] = stem == std::string("ErfInv") ? 1.0 : 0.0;  // an edge with its status
    expect_position_independent(stem, x);
  }
}
