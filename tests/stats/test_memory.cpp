// Memory failures: each allocation of an entry fails in turn; the entry reports the memory status
// and leaks nothing (the sanitizer build checks for leaks).
#include <dlfcn.h>

#include <cstdlib>
#include <functional>
#include <random>

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

TEST(SsMemory, EveryAllocationOfEveryEntryFailsCleanly) {
  ASSERT_EQ(g_env, 0);
  using S = SsTask;
  const int64_t by_obs = SsStorageByObservation, three = 3;
  const std::vector<double> w(64, 1.0), params = {1, 0.05, 0.005};
  const Patch om = {&S::storage, &by_obs}, weighted = {&S::weights, w.data()};
  const uint64_t fast = SsMethodFast, c2cov = SsEstimateC2m | SsEstimateCov;
  const struct {
    const char *name;
    Call call;
    int allocations;  // at least
  } rows[] = {
      // The variable list and the buffers, and for the user mean the kept mean.
      {"fast", {kBasic, c2cov, fast, om}, 2},
      {"one pass", {kBasic, c2cov, SsMethodOnePass, om}, 2},
      {"user mean", {kBasic, c2cov, SsMethodFastUserMean, om}, 3},
      // The variable list and the copies; the orders, the records, two tables and a top (64
      // values at eps 0.1 reach the second sub-stream).
      {"quantiles", {kQuantiles, SsEstimateQuantiles | SsEstimateOrderStatistics, fast, om}, 2},
      {"sort", {kSort, 0, SsMethodSort, om}, 2},
      {"weighted median", {kWMedian, 0, fast, om, weighted}, 2},
      {"stream quantiles", {kStream, 0, SsMethodStream, om, weighted}, 5},
      {"pooled covariance", {kPooled, SsEstimatePooledCov | SsEstimateGroupCov, SsMethodOnePass, weighted}, 2},
      {"partial covariance", {kPartial, SsEstimatePartialCov | SsEstimatePartialCor, fast, weighted}, 2},
      {"correlation repair", {kRepair, 0, SsMethodParametrize, weighted}, 2},
      {"missing values", {kMissing, 0, SsMethodMissing}, 8},
      {"deviations", {kMad, SsEstimateMedianDeviation | SsEstimateMeanDeviation, fast, om}, 2},
      {"distances", {kMahal, 0, fast, om}, 1},
      {"outliers, median start", {kOutliers, 0, SsMethodOutliers, om, weighted}, 10},
      {"outliers, classical start", {kOutliers, 0, SsMethodOutliers, {&S::outlierParamCount, &three}, {&S::outlierParams, params.data()}}, 10},
      {"robust covariance", {kRobustCov, 0, SsMethodRobustTbs, om}, 12}};
  // Each failing allocation gives the memory status, up to the first budget that succeeds.
  auto expect_fails_cleanly = [](const char *name, const std::function<int(long)> &f, int allocations) {
    long budget = 0;
    for (int status; (status = f(budget)) != SsStatusOk && budget < 100; ++budget)
      EXPECT_EQ(status, SsStatusMemory) << name << " budget " << budget;
    EXPECT_TRUE(budget >= allocations && budget < 100) << name << " " << budget;
  };
  const int64_t p = 2;
  expect_fails_cleanly("new task", [&](long budget) {
    SsTask *t = nullptr;
    set_budget(budget);
    const int status = _rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1);
    set_budget(-1);
    EXPECT_TRUE(status == SsStatusOk || t == nullptr);
    _rnxSSDeleteTask(&t);
    return status;
  }, 1);
  for (const auto &[name, call, allocations] : rows)
    expect_fails_cleanly(name, [&](long budget) {
      const int status = call.run<double>([&] { set_budget(budget); });
      set_budget(-1);
      return status;
    }, allocations);
}

// Stream quantiles of data fed in three portions, the second with `budget` allocations (below
// 0: any). Returns the second call's status; the quantiles must lie within eps in rank of the
// data taken in: the first portion, as much of the second as the state counts, the third.
int stream_portions(const std::vector<double> &x, long budget) {
  const int64_t third = x.size() / 3;
  Task<double> task(Data<double>{1, third, false, 1, x, {}, {}});
  int64_t count = 3, one = 1;
  double orders[] = {0, 0.5, 0.95}, q[3], eps = 0.01;
  __rnxdSSEditStreamQuantiles(task.t, &count, orders, q, &one, &eps);
  int status[3];
  for (int k = 0; k < 3; ++k) {
    _rnxdSSEditTask(task.t, SsEditData, &x[k * third]);
    set_budget(k == 1 ? budget : -1);
    const int s = status[k] =
        _rnxdSSStreamQuantiles(task.t, 0, k == 2 ? SsMethodStream : SsMethodStreamFeed, nullptr);
    set_budget(-1);
    EXPECT_TRUE(s == SsStatusOk || (k == 1 && s == SsStatusMemory)) << k << " " << s;
  }
  const int64_t seen = static_cast<const int64_t *>(task.t->streamState)[0];  // the record's first field
  std::vector<double> in(x.begin(), x.begin() + seen - third);
  in.insert(in.end(), x.end() - third, x.end());
  std::sort(in.begin(), in.end());
  SCOPED_TRACE(testing::Message() << "budget " << budget);
  for (int c = 0; c < 3; ++c) expect_rank_within(in, q[c], orders[c], eps);
  return status[1];
}

// Each allocation of a feed crossing a sub-stream fails in turn (its top, its table), and the
// state stays valid for more data.
TEST(SsMemory, StreamQuantilesGoOnAfterAFailedFeed) {
  std::vector<double> x(3000);
  std::mt19937_64 g(3);
  for (double &v : x) v = static_cast<double>(g() % 100000);
  long budget = 0;
  while (stream_portions(x, budget) == SsStatusMemory && budget < 10) ++budget;
  EXPECT_TRUE(budget >= 2 && budget < 10) << budget;
}

// The state holds at most (levels + 1) x capacity tuples of 24 bytes per variable, with levels
// and capacity those of the sub-stream reached (below), and a few records; deleting the task
// gives back every byte.
TEST(SsMemory, StreamStateWithinItsSizes) {
  void (*bytes)(long *, long *) = reinterpret_cast<void (*)(long *, long *)>(
      dlsym(dlopen(ZYN_FAILING_CORE, RTLD_NOW | RTLD_LOCAL), "zyn_test_bytes"));
  ASSERT_NE(bytes, nullptr);
  for (double eps : {0.01, 0.001}) {
    const Data<double> d = make_data<double>(2, 200000, false, false, false, 4);
    const double e = 1 / eps;
    // Sub-stream s starts at edge(s + 1); its sizes are those of level L = s - 1.
    auto edge = [&](int j) { return std::floor((std::ldexp(1.0, j) - 1) * e); };  // int((2^j - 1) e)
    int s = 0;
    while (edge(s + 2) <= d.n - 1) ++s;
    const double lg = std::log2((edge(s + 2) - edge(s + 1)) * eps), levels = std::floor(lg + 2), capacity = std::floor(e * lg);
    long live0, peak, live;
    bytes(&live0, &peak);
    {
      Task<double> task(d);
      int64_t count = 1, one = 1;
      double order = 0.5, q[2];
      __rnxdSSEditStreamQuantiles(task.t, &count, &order, q, &one, &eps);
      ASSERT_EQ(_rnxdSSStreamQuantiles(task.t, 0, SsMethodStream, nullptr), 0);
      bytes(&live, &peak);
    }
    EXPECT_LE(peak - live0, d.p * ((levels + 1) * capacity * 24 + 4096)) << eps;
    bytes(&live, &peak);
    EXPECT_EQ(live, live0);
  }
}

}  // namespace
