// Memory failures: every allocation of the statistics entries may fail, and each failure gives
// the memory status with nothing leaked (the sanitizer build checks for leaks).
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "zyn/stats.h"

namespace {

// Before the module binds its first core name.
const int g_env = setenv("ZYN_CORE_LIBRARY", ZYN_FAILING_CORE, 1);

void set_budget(long allocations) {
  static auto fn = [] {
    void *h = dlopen(ZYN_FAILING_CORE, RTLD_NOW | RTLD_LOCAL);
    return reinterpret_cast<void (*)(long)>(h ? dlsym(h, "zyn_test_fail_after") : nullptr);
  }();
  ASSERT_NE(fn, nullptr);
  fn(allocations);
}

TEST(SsMemory, NewTask) {
  ASSERT_EQ(g_env, 0);
  int64_t p = 2;
  SsTask *t = nullptr;
  set_budget(0);
  EXPECT_EQ(_rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1),
            SsStatusMemory);
  EXPECT_EQ(t, nullptr);
  set_budget(-1);
}

// Each allocation of a computation in turn fails; the call reports it and frees the others.
TEST(SsMemory, BasicFailsCleanlyAtEveryAllocation) {
  const int64_t p = 3, n = 64, storage = SsStorageByObservation, full = SsMatrixFull;
  std::vector<double> x(p * n);
  for (size_t k = 0; k < x.size(); ++k) x[k] = static_cast<double>(k % 7);
  for (uint64_t method : {SsMethodFast, SsMethodOnePass, SsMethodFastUserMean}) {
    int failures = 0;
    for (long budget = 0;; ++budget) {
      set_budget(-1);
      SsTask *t = nullptr;
      ASSERT_EQ(_rnxdSSNewTask(&t, &p, &n, &storage, x.data(), nullptr, nullptr, 1), 0);
      std::vector<double> mean(p, 3.0), c2m(p), r2m(p), cov(p * p), accw(2);
      __rnxdSSEditMoments(t, mean.data(), r2m.data(), nullptr, nullptr, c2m.data(), nullptr,
                          nullptr);
      __rnxdSSEditCovCor(t, nullptr, cov.data(), &full, nullptr, nullptr);
      _rnxdSSEditTask(t, SsEditAccumulatedWeights, accw.data());
      set_budget(budget);
      const int status = _rnxdSSBasic(t, SsEstimateC2m | SsEstimateCov, method, nullptr);
      set_budget(-1);
      _rnxSSDeleteTask(&t);
      if (status == SsStatusOk) break;
      EXPECT_EQ(status, SsStatusMemory) << "budget " << budget;
      ++failures;
      ASSERT_LT(budget, 20);
    }
    // The variable list and the buffers, and for the user-mean method its kept mean.
    EXPECT_GE(failures, method == SsMethodFastUserMean ? 3 : 2) << method;
  }
}

}  // namespace
