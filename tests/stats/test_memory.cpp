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

// call() with `budget` allocations allowed (below 0: any).
template <class Call>
int budgeted(long budget, Call call) {
  set_budget(budget);
  const int status = call();
  set_budget(-1);
  return status;
}

// A computation on a fresh task with `budget` allocations allowed inside the entry.
int basic(uint64_t method, long budget) {
  Basic<double> b(make_data<double>(3, 64, true, false, false, 1), method);
  return budgeted(budget, [&] { return b(SsEstimateC2m | SsEstimateCov, method); });
}

// An order-statistic entry on a fresh 3 x 64 task (64 values take stream quantiles at eps 0.1 into
// their second sub-stream) with `budget` allocations allowed inside the entry.
int order(int entry, long budget) {
  Task<double> task(make_data<double>(3, 64, true, true, false, 2));
  int64_t count = 2, one = 1, by_obs = SsStorageByObservation;
  double orders[] = {0.5, 0.9}, out[192], eps = 0.1;
  SsTask *t = task.t;
  __rnxdSSEditQuantiles(t, &count, orders, out, out, &by_obs);
  __rnxdSSEditStreamQuantiles(t, &count, orders, out, &one, &eps);
  t->sortedData = out, t->sortedStorage = &by_obs;
  return budgeted(budget, [&] {
    return entry == 0   ? _rnxdSSQuantiles(t, SsEstimateQuantiles | SsEstimateOrderStatistics, SsMethodFast, nullptr)
           : entry == 1 ? _rnxdSSSort(t, 0, SsMethodSort, nullptr)
           : entry == 2 ? _rnxdSSWMedian(t, 0, SsMethodFast, nullptr)
                        : _rnxdSSStreamQuantiles(t, 0, SsMethodStream, nullptr);
  });
}

// A covariance entry (0 pooled, 1 partial, 2 repair) on a fresh 3 x 64 task.
int covariance(int entry, long budget) {
  Task<double> task(make_data<double>(3, 64, false, true, false, 3));
  std::vector<int64_t> groups(64);
  for (int64_t j = 0; j < 64; ++j) groups[j] = j % 4;
  int64_t flags[4] = {1, 1, 0, 1}, full = SsMatrixFull, roles[3] = {1, 1, -1};
  double out[64], cor[9] = {1, 0.5, 0.2, 0.5, 1, 0.3, 0.2, 0.3, 1};
  SsTask *t = task.t;
  __rnxdSSEditPooledCovariance(t, groups.data(), out, out, flags, out, out);
  __rnxdSSEditPartialCovCor(t, roles, nullptr, nullptr, cor, &full, out, &full, out, &full);
  __rnxdSSEditMtxParametrz(t, cor, &full, out, &full);
  t->pooledCovStorage = t->groupCovStorage = &full;
  return budgeted(budget, [&] {
    return entry == 0   ? _rnxdSSPooledCovariance(t, SsEstimatePooledCov | SsEstimateGroupCov, SsMethodOnePass, nullptr)
           : entry == 1 ? _rnxdSSPartialCovariance(t, SsEstimatePartialCov | SsEstimatePartialCor, SsMethodFast, nullptr)
                        : _rnxdSSCorParametrization(t, 0, SsMethodParametrize, nullptr);
  });
}

// Missing values on a fresh 3 x 64 task, every seventh value NaN: EM, 2 DA iterations, 1 set.
int missing(long budget) {
  Data<double> d = make_data<double>(3, 64, false, false, false, 5);
  for (size_t k = 0; k < d.x.size(); k += 7) d.x[k] = std::nan("");
  Task<double> task(d);
  int64_t five = 5, estimates = 27, simulated = 28;
  double params[5] = {5, 1e-9, 2, std::nan(""), 1}, out[64];
  __rnxdSSEditMissingVals(task.t, &five, params, nullptr, nullptr, nullptr, nullptr, &simulated, out, &estimates, out);
  return budgeted(budget, [&] { return _rnxdSSMissingValues(task.t, 0, SsMethodMissing, nullptr); });
}

// A robust entry (0 deviations, 1 distances, 2 outliers from the median, 3 from the classical
// start, 4 robust covariance) on a fresh 3 x 64 task.
int robust(int entry, long budget) {
  Task<double> task(make_data<double>(3, 64, true, entry == 2, false, 4));
  int64_t three = 3, full = SsMatrixFull;
  double out[64], mean[3] = {1e6, 1e6, 1e6}, a[9] = {1, 0, 0, 0, 1, 0, 0, 0, 1}, params[3] = {1, 0.05, 0.005};
  SsTask *t = task.t;
  t->medianDeviation = t->meanDeviation = out, t->mean = mean, t->cov = a, t->outlierWeights = out;
  if (entry == 3) t->outlierParamCount = &three, t->outlierParams = params;
  t->robustMean = mean, t->robustCov = out, t->robustCovStorage = &full;
  return budgeted(budget, [&] {
    return entry == 0   ? _rnxdSSMAD(t, SsEstimateMedianDeviation | SsEstimateMeanDeviation, SsMethodFast, nullptr)
           : entry == 1 ? _rnxdSSMahDistance(t, 0, SsMethodFast, nullptr)
           : entry == 4 ? _rnxdSSRobustCovariance(t, 0, SsMethodRobustTbs, nullptr)
                        : _rnxdSSOutliersDetection(t, 0, SsMethodOutliers, nullptr);
  });
}

TEST(SsMemory, EveryAllocationOfEveryEntryFailsCleanly) {
  ASSERT_EQ(g_env, 0);
  const int64_t p = 2;
  const std::tuple<const char *, std::function<int(long)>, int> entries[] = {  // allocations, at least
      {"new task",
       [&](long budget) {
         SsTask *t = nullptr;
         const int status = budgeted(
             budget, [&] { return _rnxdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 1); });
         EXPECT_TRUE(status == SsStatusOk || t == nullptr);
         _rnxSSDeleteTask(&t);
         return status;
       },
       1},
      // The variable list and the buffers, and for the user mean the kept mean.
      {"fast", [](long budget) { return basic(SsMethodFast, budget); }, 2},
      {"one pass", [](long budget) { return basic(SsMethodOnePass, budget); }, 2},
      {"user mean", [](long budget) { return basic(SsMethodFastUserMean, budget); }, 3},
      // The variable list and the copies; the orders, the records, two tables and a top.
      {"quantiles", [](long budget) { return order(0, budget); }, 2},
      {"sort", [](long budget) { return order(1, budget); }, 2},
      {"weighted median", [](long budget) { return order(2, budget); }, 2},
      {"stream quantiles", [](long budget) { return order(3, budget); }, 5},
      {"pooled covariance", [](long budget) { return covariance(0, budget); }, 2},
      {"partial covariance", [](long budget) { return covariance(1, budget); }, 2},
      {"correlation repair", [](long budget) { return covariance(2, budget); }, 2},
      {"missing values", missing, 8},
      {"deviations", [](long budget) { return robust(0, budget); }, 2},
      {"distances", [](long budget) { return robust(1, budget); }, 1},
      {"outliers, median start", [](long budget) { return robust(2, budget); }, 10},
      {"outliers, classical start", [](long budget) { return robust(3, budget); }, 10},
      {"robust covariance", [](long budget) { return robust(4, budget); }, 12}};
  for (const auto &[name, call, allocations] : entries) {
    long budget = 0;
    for (int status; (status = call(budget)) != SsStatusOk && budget < 100; ++budget)
      EXPECT_EQ(status, SsStatusMemory) << name << " budget " << budget;
    EXPECT_TRUE(budget >= allocations && budget < 100) << name << " " << budget;
  }
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
    const int s = status[k] = budgeted(k == 1 ? budget : -1, [&] {
      return _rnxdSSStreamQuantiles(task.t, 0, k == 2 ? SsMethodStream : SsMethodStreamFeed, nullptr);
    });
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
