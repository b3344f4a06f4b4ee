// Helpers of the error-function tests: the rows of a stem reached through their stubs, and the
// check that an element's result does not depend on where it stands.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"
#include "tools/accuracy/oracle.hpp"

namespace zyn::test::errfun {
using DFn = void (*)(int, const double *, double *);
using SFn = void (*)(int, const float *, float *);
using DFnI = void (*)(int, const double *, int, double *, int);
using SFnI = void (*)(int, const float *, int, float *, int);
inline const char *kLevel[3] = {"LA", "HA", "EP"};

inline DFn dfn(const std::string &stem, int lv) {
  return reinterpret_cast<DFn>(oracle::stub(oracle::stub_name('d', stem, lv)));
}
inline SFn sfn(const std::string &stem, int lv) {
  return reinterpret_cast<SFn>(oracle::stub(oracle::stub_name('s', stem, lv)));
}
inline DFnI dfni(const std::string &stem, int lv) {
  return reinterpret_cast<DFnI>(oracle::stub(oracle::stub_name('d', stem + "I", lv)));
}
inline SFnI sfni(const std::string &stem, int lv) {
  return reinterpret_cast<SFnI>(oracle::stub(oracle::stub_name('s', stem + "I", lv)));
}

// The bounds of the levels: HA 1 ulp, LA 4 ulp, EP 26 good bits in double and 11 in single.
inline void check_sweep(const std::string &name, int lv, const oracle::Sweep &s, bool single) {
  if (lv == 2)
    EXPECT_LE(s.max_rel, std::exp2(single ? -11 : -26)) << name << " EP at " << s.worst_x;
  else
    EXPECT_LE(s.max_ulp, lv == 1 ? 1.0 : 4.0) << name << " " << kLevel[lv] << " at " << s.worst_x;
}

// Block, padded remainder, alone and strided: the same bits, double and single, every level.
inline void expect_position_independent(const std::string &stem, const std::vector<double> &x) {
  const int n = static_cast<int>(x.size());
  std::vector<float> xf(x.begin(), x.end());
  for (int lv = 0; lv < 3; ++lv) {
    SCOPED_TRACE(stem + " " + kLevel[lv]);
    std::vector<double> all(n), strided(3 * n), xs(3 * n);
    std::vector<float> allf(n), stridedf(2 * n), xsf(2 * n);
    for (int i = 0; i < n; ++i) {
      xs[3 * i] = x[i];
      xsf[2 * i] = xf[i];
    }
    dfn(stem, lv)(n, x.data(), all.data());
    dfni(stem, lv)(n, xs.data(), 3, strided.data(), 3);
    sfn(stem, lv)(n, xf.data(), allf.data());
    sfni(stem, lv)(n, xsf.data(), 2, stridedf.data(), 2);
    for (int i = 0; i < n; ++i) {
      double one;
      float onef;
      dfn(stem, lv)(1, &x[i], &one);
      sfn(stem, lv)(1, &xf[i], &onef);
      EXPECT_EQ(bits(all[i]), bits(one)) << x[i];
      EXPECT_EQ(bits(all[i]), bits(strided[3 * i])) << x[i];
      EXPECT_EQ(bits(allf[i]), bits(onef)) << xf[i];
      EXPECT_EQ(bits(allf[i]), bits(stridedf[2 * i])) << xf[i];
    }
  }
}
}  // namespace zyn::test::errfun
