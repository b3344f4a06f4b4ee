// Pow3o2 and Pow2o3 against the MPFR oracle (their special values and statuses, and Powx's
// exponents 3/2 and 2/3 routed to them: test_powx.cpp).
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "tests/vector/vector_test_util.hpp"
#include "tools/accuracy/oracle.hpp"

using namespace zyn::test;

namespace {
using DU = void (*)(int, const double *, double *);
using SU = void (*)(int, const float *, float *);
const DU k3o2d[3] = {_vexdPow3o2_50, _vexdPow3o2, _vexdPow3o2_26}, k2o3d[3] = {_vexdPow2o3_50, _vexdPow2o3, _vexdPow2o3_26};
const SU k3o2s[3] = {_vexsPow3o2_21, _vexsPow3o2, _vexsPow3o2_11}, k2o3s[3] = {_vexsPow2o3_21, _vexsPow2o3, _vexsPow2o3_11};
const char *kLevel[3] = {"LA", "HA", "EP"};

int sweep_count() {
#if defined(__SANITIZE_ADDRESS__)
  return 4000;
#else
  return 30000;
#endif
}

// Worst errors of a row over the oracle's inputs for it; bounds: HA 1 ulp, LA 4 ulp, EP 26
// (double) and 11 (single) good bits.
template <class T, class K>
void check_row(const char *stem, const K (&k)[3]) {
  const auto *f = zyn::oracle::find(stem);
  ASSERT_NE(f, nullptr);
  constexpr bool dbl = sizeof(T) == 8;
  for (int lv = 0; lv < 3; ++lv) {
    zyn::oracle::Sweep s;
    if constexpr (dbl) {
      auto x = zyn::oracle::inputs_d(f->dom[0], sweep_count(), 5);
      auto sp = zyn::oracle::specials_d();
      x.insert(x.end(), sp.begin(), sp.end());
      s = zyn::oracle::sweep_d(*f, reinterpret_cast<void *>(k[lv]), x, {});
    } else {
      auto x = zyn::oracle::inputs_s(f->dom[0], sweep_count(), 5);
      auto sp = zyn::oracle::specials_s();
      x.insert(x.end(), sp.begin(), sp.end());
      s = zyn::oracle::sweep_s(*f, reinterpret_cast<void *>(k[lv]), x, {});
    }
    std::printf("%c%s %s: %.3f ulp, %.1f bits\n", dbl ? 'd' : 's', stem, kLevel[lv], s.max_ulp, -std::log2(s.max_rel));
    if (lv == 2)
      EXPECT_LE(s.max_rel, dbl ? 0x1p-26 : 0x1p-11) << stem << " at " << s.worst_x;
    else
      EXPECT_LE(s.max_ulp, lv == 1 ? 1.0 : 4.0) << stem << " " << kLevel[lv] << " at " << s.worst_x;
  }
}
}  // namespace

TEST(FixedPowers, AgainstMpfr) {
  check_row<double>("Pow3o2", k3o2d);
  check_row<double>("Pow2o3", k2o3d);
  check_row<float>("Pow3o2", k3o2s);
  check_row<float>("Pow2o3", k2o3s);
}
