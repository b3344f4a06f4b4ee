// Basic estimates against plain loops and the BLAS rank-k update, in the same run.
//
// Moments: mean, variance, skewness and kurtosis of 1.6e7 doubles in one call; anchor a plain
// sum and sum-of-squares loop. Covariance: 1e6 observations of 16 variables; anchors a two-pass
// loop, dsyrk on the already centred data, and one read of the data. Ratios are reported as
// counters (above 1: zyn is faster), from process CPU time.
#include <benchmark/benchmark.h>

#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "bench/stats/bench_common.hpp"
#include "zyn/stats.h"

extern "C" {
void dsyrk_(const char *, const char *, const int *, const int *, const double *,
            const double *, const int *, const double *, double *, const int *, size_t, size_t);
}

namespace {

constexpr int64_t kMomentsN = 16000000;
constexpr int64_t kCovN = 1000000, kCovP = 16;

const std::vector<double> &moments_data() {
  static const auto x = draws(kMomentsN, 1, std::normal_distribution<double>(1000.0, 3.0));
  return x;
}
const std::vector<double> &cov_data() {
  static const auto x = draws(kCovN * kCovP, 2, std::normal_distribution<double>(50.0, 2.0));
  return x;
}

double g_sumsq_seconds = 0, g_twopass_seconds = 0, g_dsyrk_seconds = 0, g_read_seconds = 0;


void BM_Anchor_SumSumSq(benchmark::State &state) {
  const auto &x = moments_data();
  CpuTimer t;
  for (auto _ : state) {
    double s = 0, s2 = 0;
    for (double v : x) {
      s += v;
      s2 += v * v;
    }
    benchmark::DoNotOptimize(s);
    benchmark::DoNotOptimize(s2);
    t.lap();
  }
  g_sumsq_seconds = t.mean();
  state.SetBytesProcessed(state.iterations() * kMomentsN * 8);
}

void BM_Moments(benchmark::State &state) {
  const uint64_t method = state.range(0);
  const int threads = static_cast<int>(state.range(1));
  const auto &x = moments_data();
  int64_t p = 1, n = kMomentsN, storage = SsStorageByVariable;
  double mean, r2, r3, r4, c2, c3, c4, kurt, skew, accw[2];
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, x.data(), nullptr, nullptr, 1);
  __rnxdSSEditMoments(task, &mean, &r2, &r3, &r4, &c2, &c3, &c4);
  _rnxdSSEditTask(task, SsEditKurtosis, &kurt);
  _rnxdSSEditTask(task, SsEditSkewness, &skew);
  _rnxdSSEditTask(task, SsEditAccumulatedWeights, accw);
  const uint64_t est = SsEstimateMean | SsEstimateC2m | SsEstimateSkewness | SsEstimateKurtosis;
  const ZynThreader *th = threader(threads);
  CpuTimer t;
  for (auto _ : state) {
    accw[0] = accw[1] = 0;
    if (_rnxdSSBasic(task, est, method, th) != 0) state.SkipWithError("status");
    benchmark::DoNotOptimize(kurt);
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.SetBytesProcessed(state.iterations() * kMomentsN * 8);
  state.counters["x_sumsq_loop"] = g_sumsq_seconds / t.mean();
}

void BM_Anchor_CovTwoPass(benchmark::State &state) {
  const auto &x = cov_data();
  const int64_t p = kCovP;
  std::vector<double> m(p), c(p * p);
  CpuTimer t;
  for (auto _ : state) {
    std::fill(m.begin(), m.end(), 0);
    std::fill(c.begin(), c.end(), 0);
    for (int64_t j = 0; j < kCovN; ++j)
      for (int64_t i = 0; i < p; ++i) m[i] += x[j * p + i];
    for (auto &v : m) v /= kCovN;
    double d[kCovP];
    for (int64_t j = 0; j < kCovN; ++j) {
      for (int64_t i = 0; i < p; ++i) d[i] = x[j * p + i] - m[i];
      for (int64_t i = 0; i < p; ++i)
        for (int64_t l = i; l < p; ++l) c[i * p + l] += d[i] * d[l];
    }
    benchmark::DoNotOptimize(c.data());
    t.lap();
  }
  g_twopass_seconds = t.mean();
  state.SetBytesProcessed(state.iterations() * kCovN * kCovP * 8);
}

void BM_Anchor_DsyrkCentred(benchmark::State &state) {
  const auto &x = cov_data();
  const int p = kCovP, n = kCovN;
  std::vector<double> centred(x), c(p * p);
  std::vector<double> m(p);
  for (int64_t j = 0; j < n; ++j)
    for (int i = 0; i < p; ++i) m[i] += x[j * p + i] / n;
  for (int64_t j = 0; j < n; ++j)
    for (int i = 0; i < p; ++i) centred[j * p + i] -= m[i];
  const double one = 1, zero = 0;
  CpuTimer t;
  for (auto _ : state) {
    dsyrk_("U", "N", &p, &n, &one, centred.data(), &p, &zero, c.data(), &p, 1, 1);
    benchmark::DoNotOptimize(c.data());
    t.lap();
  }
  g_dsyrk_seconds = t.mean();
  state.SetBytesProcessed(state.iterations() * kCovN * kCovP * 8);
}

// The covariance data read once from memory by four vector sums: the floor of any method that
// reads it once.
void BM_Anchor_CovReadOnce(benchmark::State &state) {
  const auto &x = cov_data();
  typedef double V __attribute__((vector_size(16)));
  CpuTimer t;
  for (auto _ : state) {
    V a[4] = {};
    for (size_t j = 0; j + 8 <= x.size(); j += 8)
      for (int u = 0; u < 4; ++u) {
        V v;
        std::memcpy(&v, &x[j + 2 * u], 16);
        a[u] += v;
      }
    benchmark::DoNotOptimize(a);
    t.lap();
  }
  g_read_seconds = t.mean();
  state.SetBytesProcessed(state.iterations() * kCovN * kCovP * 8);
}

void BM_Cov(benchmark::State &state) {
  const uint64_t method = state.range(0);
  const int threads = static_cast<int>(state.range(1));
  const auto &x = cov_data();
  int64_t p = kCovP, n = kCovN, storage = SsStorageByObservation, full = SsMatrixFull;
  std::vector<double> mean(p), cov(p * p);
  double accw[2];
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, x.data(), nullptr, nullptr, 1);
  __rnxdSSEditCovCor(task, mean.data(), cov.data(), &full, nullptr, nullptr);
  _rnxdSSEditTask(task, SsEditAccumulatedWeights, accw);
  const ZynThreader *th = threader(threads);
  CpuTimer t;
  for (auto _ : state) {
    accw[0] = accw[1] = 0;
    if (_rnxdSSBasic(task, SsEstimateCov, method, th) != 0) state.SkipWithError("status");
    benchmark::DoNotOptimize(cov.data());
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.SetBytesProcessed(state.iterations() * kCovN * kCovP * 8);
  state.counters["x_two_pass"] = g_twopass_seconds / t.mean();
  state.counters["x_dsyrk_centred"] = g_dsyrk_seconds / t.mean();
  state.counters["x_read_once"] = g_read_seconds / t.mean();
}

void methods_and_threads(benchmark::internal::Benchmark *b) {
  b->ArgNames({"method", "threads"});
  for (int64_t m : {int64_t(SsMethodFast), int64_t(SsMethodOnePass)})
    for (int64_t t : {1, 2}) b->Args({m, t});
  b->Unit(benchmark::kMillisecond)->UseRealTime();
}

}  // namespace

BENCHMARK(BM_Anchor_SumSumSq)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Moments)->Apply(methods_and_threads);
BENCHMARK(BM_Anchor_CovTwoPass)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Anchor_DsyrkCentred)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Anchor_CovReadOnce)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Cov)->Apply(methods_and_threads);
