// Helpers of the error-function tests: the rows of a stem reached through their stubs, and the
// bounds of the levels.
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
inline const char *kLevel[3] = {"LA", "HA", "EP"};

inline DFn dfn(const std::string &stem, int lv) {
  return reinterpret_cast<DFn>(oracle::stub(oracle::stub_name('d', stem, lv)));
}
inline SFn sfn(const std::string &stem, int lv) {
  return reinterpret_cast<SFn>(oracle::stub(oracle::stub_name('s', stem, lv)));
}

// The bounds of the levels: HA 1 ulp, LA 4 ulp, EP 26 good bits in double and 11 in single.
inline void check_sweep(const std::string &name, int lv, const oracle::Sweep &s, bool single) {
  if (lv == 2)
    EXPECT_LE(s.max_rel, std::exp2(single ? -11 : -26)) << name << " EP at " << s.worst_x;
  else
    EXPECT_LE(s.max_ulp, lv == 1 ? 1.0 : 4.0) << name << " " << kLevel[lv] << " at " << s.worst_x;
}

}  // namespace zyn::test::errfun
