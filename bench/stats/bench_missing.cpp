// Missing values on 1e5 observations of 8 variables, 10% of the values missing at random, in the
// same run as the anchor: _rnxdSSBasic's fast covariance of the complete data. A call with one
// EM iteration includes the set-up (masks, patterns, the patterns' sums); the cost of one
// iteration is the difference of calls with 41 and 1 iterations over 40, and that of one DA iteration the
// difference of calls with 10 DA iterations and none, over 10. Ratios are counters (above 1: the
// entry is cheaper), from process CPU time, one thread.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "bench/stats/bench_common.hpp"
#include "zyn/stats.h"


namespace {

constexpr int64_t kN = 100000, kP = 8;

// Observation-major; variable i is a common factor plus its own noise.
const std::vector<double> &complete() {
  static const auto x = [] {
    auto u = draws(kN * (kP + 1), 6, std::normal_distribution<double>(0.0, 1.0));
    std::vector<double> v(kN * kP);
    for (int64_t j = 0; j < kN; ++j)
      for (int64_t i = 0; i < kP; ++i) v[j * kP + i] = 10 * i + u[j * (kP + 1)] + 0.5 * u[j * (kP + 1) + 1 + i];
    return v;
  }();
  return x;
}
const std::vector<double> &blanked() {
  static const auto x = [] {
    std::vector<double> v = complete();
    const auto u = draws(kN * kP, 7, std::uniform_real_distribution<double>(0.0, 1.0));
    for (size_t k = 0; k < v.size(); ++k)
      if (u[k] < 0.1) v[k] = std::nan("");
    return v;
  }();
  return x;
}

double g_basic = 0, g_em1 = 0, g_da0 = 0;

void BM_Anchor_BasicCov(benchmark::State &state) { g_basic = basic_cov_time(state, complete().data(), kP, kN); }

// range(0): EM iterations, range(1): DA iterations.
void BM_Missing(benchmark::State &state) {
  int64_t p = kP, n = kN, storage = SsStorageByObservation, five = 5;
  const int64_t em = state.range(0), da = state.range(1), rec = p + p * (p + 1) / 2;
  int64_t count = (1 + da) * rec;
  std::vector<double> params = {double(em), 1e-300, double(da), std::nan(""), 0}, est(count);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, blanked().data(), nullptr, nullptr, 1);
  __rnxdSSEditMissingVals(task, &five, params.data(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                          &count, est.data());
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSMissingValues(task, 0, SsMethodMissing, threader(1)) != 0) state.SkipWithError("status");
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["call_ms"] = 1e3 * t.mean();
  if (em == 1 && da == 0) g_em1 = t.mean(), state.counters["x_basic_cov"] = g_basic / t.mean();
  if (em == 41) {
    state.counters["iteration_ms"] = 1e3 * (t.mean() - g_em1) / 40;
    state.counters["iteration_x_basic_cov"] = g_basic / ((t.mean() - g_em1) / 40);
  }
  if (em == 0 && da == 0) g_da0 = t.mean();
  if (da == 10) {
    state.counters["da_iteration_ms"] = 1e3 * (t.mean() - g_da0) / 10;
    state.counters["da_iteration_x_basic_cov"] = g_basic / ((t.mean() - g_da0) / 10);
  }
}

}  // namespace

BENCHMARK(BM_Anchor_BasicCov)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Missing)->ArgNames({"em", "da"})->Args({0, 0})->Args({1, 0})->Args({41, 0})->Args({0, 10})
    ->Unit(benchmark::kMillisecond)->UseRealTime();
