// Memory failures: each allocation of an entry fails in turn; the entry reports the memory status
// and leaks nothing (the sanitizer build checks for leaks).
#include <dlfcn.h>

#include <cstdlib>
#include <functional>

#include "stats_test.hpp"

using namespace sstest;

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

// A computation on a fresh task with `budget` allocations allowed inside the entry.
int basic(uint64_t method, long budget) {
  Basic<double> b(make_data<double>(3, 64, true, false, false, 1), method);
  set_budget(budget);
  const int status = b(SsEstimateC2m | SsEstimateCov, method);
  set_budget(-1);
  return status;
}

TEST(SsMemory, EveryAllocationOfEveryEntryFailsCleanly) {
  ASSERT_EQ(g_env, 0);
  const int64_t p = 2;
  const std::tuple<const char *, std::function<int(long)>, int> entries[] = {  // allocations, at least
      {"new task",
       [&](long budget) {
         SsTask *t = nullptr;
         set_budget(budget);
         const int status = _rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1);
         set_budget(-1);
         EXPECT_TRUE(status == SsStatusOk || t == nullptr);
         _rnxSSDeleteTask(&t);
         return status;
       },
       1},
      // The variable list and the buffers, and for the user mean the kept mean.
      {"fast", [](long budget) { return basic(SsMethodFast, budget); }, 2},
      {"one pass", [](long budget) { return basic(SsMethodOnePass, budget); }, 2},
      {"user mean", [](long budget) { return basic(SsMethodFastUserMean, budget); }, 3}};
  for (const auto &[name, call, allocations] : entries) {
    long budget = 0;
    for (int status; (status = call(budget)) != SsStatusOk && budget < 20; ++budget)
      EXPECT_EQ(status, SsStatusMemory) << name << " budget " << budget;
    EXPECT_TRUE(budget >= allocations && budget < 20) << name << " " << budget;
  }
}

}  // namespace
