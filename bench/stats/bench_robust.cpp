// Robust estimation, in the same run as its anchors. Ratios are counters (above 1: the entry is
// cheaper), from process CPU time.
//
// MAD of 1.6e7 doubles against two copies with std::nth_element (and the quoted 381 ms of a
// common Python routine on a 2-core x86-64); Mahalanobis distances of 1e6 x 16 against a plain
// loop computing dT A d an observation; BACON and the robust covariance on 1e5 x 8 with 10%
// outliers, in units of one _rnxdSSBasic covariance of the same data.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "bench/stats/bench_common.hpp"
#include "zyn/stats.h"


namespace {

constexpr int64_t kMadN = 16000000, kMahN = 1000000, kMahP = 16, kOutN = 100000, kOutP = 8;

const std::vector<double> &mad_data() {
  static const auto x = draws(kMadN, 5, std::normal_distribution<double>(10.0, 3.0));
  return x;
}
const std::vector<double> &mah_data() {
  static const auto x = draws(kMahN * kMahP, 6, std::normal_distribution<double>(0.0, 1.0));
  return x;
}
// By observation; the first 10% moved by +6 in every variable.
const std::vector<double> &out_data() {
  static const auto x = [] {
    auto v = draws(kOutN * kOutP, 7, std::normal_distribution<double>(0.0, 1.0));
    for (int64_t j = 0; j < kOutN / 10; ++j)
      for (int64_t i = 0; i < kOutP; ++i) v[j * kOutP + i] += 6;
    return v;
  }();
  return x;
}

double g_nth = 0, g_plain = 0, g_basic = 0;

void BM_Anchor_MadNthElement(benchmark::State &state) {
  const auto &x = mad_data();
  std::vector<double> a(kMadN), b(kMadN);
  CpuTimer t;
  for (auto _ : state) {
    std::copy(x.begin(), x.end(), a.begin());
    auto mid = a.begin() + kMadN / 2;
    std::nth_element(a.begin(), mid, a.end());
    const double med = (*mid + *std::max_element(a.begin(), mid)) / 2;
    for (int64_t j = 0; j < kMadN; ++j) b[j] = std::fabs(x[j] - med);
    auto mb = b.begin() + kMadN / 2;
    std::nth_element(b.begin(), mb, b.end());
    benchmark::DoNotOptimize((*mb + *std::max_element(b.begin(), mb)) / 2);
    t.lap();
  }
  g_nth = t.mean();
}

void BM_Mad(benchmark::State &state) {
  int64_t p = 1, n = kMadN, storage = SsStorageByVariable;
  double out;
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, mad_data().data(), nullptr, nullptr, 1);
  _rnxdSSEditTask(task, SsEditMedianDeviation, &out);
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSMAD(task, SsEstimateMedianDeviation, SsMethodFast, threader(1)) != 0) state.SkipWithError("status");
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["x_two_nth_element"] = g_nth / t.mean();
  state.counters["x_quoted_381ms"] = 0.381 / t.mean();
}

// A fixed positive definite matrix standing for an inverse covariance.
std::vector<double> spd(int64_t p) {
  std::vector<double> a(p * p);
  for (int64_t i = 0; i < p; ++i)
    for (int64_t l = 0; l < p; ++l) a[i * p + l] = i == l ? 2.0 : 0.5 / (1 + std::abs(double(i - l)));
  return a;
}

void BM_Anchor_MahPlainLoop(benchmark::State &state) {
  const auto &x = mah_data();
  const auto a = spd(kMahP);
  std::vector<double> mean(kMahP, 0.1), out(kMahN);
  CpuTimer t;
  for (auto _ : state) {
    double d[kMahP];
    for (int64_t j = 0; j < kMahN; ++j) {
      for (int64_t i = 0; i < kMahP; ++i) d[i] = x[j * kMahP + i] - mean[i];
      double s = 0;
      for (int64_t i = 0; i < kMahP; ++i) {
        double r = 0;
        for (int64_t l = 0; l < kMahP; ++l) r += a[i * kMahP + l] * d[l];
        s += d[i] * r;
      }
      out[j] = std::sqrt(s);
    }
    benchmark::DoNotOptimize(out.data());
    t.lap();
  }
  g_plain = t.mean();
}

void BM_MahDistance(benchmark::State &state) {
  int64_t p = kMahP, n = kMahN, storage = SsStorageByObservation;
  auto a = spd(kMahP);
  std::vector<double> mean(kMahP, 0.1), out(kMahN);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, mah_data().data(), nullptr, nullptr, 1);
  _rnxdSSEditTask(task, SsEditMean, mean.data()), _rnxdSSEditTask(task, SsEditCov, a.data());
  _rnxdSSEditTask(task, SsEditOutlierWeights, out.data());
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSMahDistance(task, 0, SsMethodFast, threader(int(state.range(0)))) != 0) state.SkipWithError("status");
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["x_plain_loop"] = g_plain / t.mean();
}

void BM_Anchor_BasicCov(benchmark::State &state) {
  int64_t p = kOutP, n = kOutN, storage = SsStorageByObservation, full = SsMatrixFull;
  std::vector<double> mean(p), cov(p * p);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, out_data().data(), nullptr, nullptr, 1);
  __rnxdSSEditCovCor(task, mean.data(), cov.data(), &full, nullptr, nullptr);
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSBasic(task, SsEstimateMean | SsEstimateCov, SsMethodOnePass, threader(1)) != 0) state.SkipWithError("status");
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  g_basic = t.mean();
}

// range(0): threads; range(1): 0 BACON, 1 robust covariance, 2 robust covariance stopped after
// its first scale (start and one distance pass alone). The counter is the whole call in units of
// one basic covariance.
void BM_Robust(benchmark::State &state) {
  int64_t p = kOutP, n = kOutN, storage = SsStorageByObservation, full = SsMatrixFull;
  std::vector<double> w(n), mean(p), cov(p * p);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, out_data().data(), nullptr, nullptr, 1);
  _rnxdSSEditTask(task, SsEditOutlierWeights, w.data());
  int64_t four = 4;
  const double params[4] = {(n - p) * 0.5 / n, 0.1, 1e-5, 1};
  __rnxdSSEditRCov(task, &full, state.range(1) == 2 ? &four : nullptr, params, mean.data(), cov.data());
  CpuTimer t;
  for (auto _ : state) {
    const ZynThreader *th = threader(int(state.range(0)));
    const int s = state.range(1) ? _rnxdSSRobustCovariance(task, 0, SsMethodRobustTbs, th)
                                 : _rnxdSSOutliersDetection(task, 0, SsMethodOutliers, th);
    if (s != 0) state.SkipWithError("status");
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["basic_covs"] = t.mean() / g_basic;
}

}  // namespace

BENCHMARK(BM_Anchor_MadNthElement)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Mad)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Anchor_MahPlainLoop)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_MahDistance)->ArgName("threads")->Arg(1)->Arg(2)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Anchor_BasicCov)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Robust)->ArgNames({"threads", "tbs"})->Args({1, 0})->Args({2, 0})->Args({1, 1})->Args({2, 1})->Args({1, 2})->Unit(benchmark::kMillisecond)->UseRealTime();
