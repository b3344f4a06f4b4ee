// Pooled, partial and repaired covariance, in the same run as their anchors.
//
// Pooled: 1e6 observations of 16 variables in 10 groups, the pooled covariance alone or with the
// ten group covariances; anchors a two-pass loop per group and
// the fast covariance of the whole data by _rnxdSSBasic. Partial covariance (half the variables
// conditioned on) and the correlation repair at p 100 and 500 are recorded as times. Ratios are
// counters (above 1: the entry is cheaper), from process CPU time.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "bench/stats/bench_common.hpp"
#include "zyn/stats.h"


namespace {

constexpr int64_t kN = 1000000, kP = 16, kG = 10;

const std::vector<double> &data() {
  static const auto x = draws(kN * kP, 3, std::normal_distribution<double>(50.0, 2.0));
  return x;
}
const std::vector<int64_t> &groups() {
  static const auto g = [] {
    std::vector<int64_t> v(kN);
    std::mt19937_64 r(4);
    for (auto &e : v) e = static_cast<int64_t>(r() % kG);
    return v;
  }();
  return g;
}

double g_two_pass = 0, g_basic = 0;

void BM_Anchor_GroupTwoPass(benchmark::State &state) {
  const auto &x = data();
  const auto &g = groups();
  std::vector<double> m(kG * kP), c(kG * kP * kP), w(kG);
  CpuTimer t;
  for (auto _ : state) {
    std::fill(m.begin(), m.end(), 0), std::fill(c.begin(), c.end(), 0), std::fill(w.begin(), w.end(), 0);
    for (int64_t j = 0; j < kN; ++j) {
      w[g[j]] += 1;
      for (int64_t i = 0; i < kP; ++i) m[g[j] * kP + i] += x[j * kP + i];
    }
    for (int64_t k = 0; k < kG; ++k)
      for (int64_t i = 0; i < kP; ++i) m[k * kP + i] /= w[k];
    double d[kP];
    for (int64_t j = 0; j < kN; ++j) {
      const double *mk = &m[g[j] * kP];
      double *ck = &c[g[j] * kP * kP];
      for (int64_t i = 0; i < kP; ++i) d[i] = x[j * kP + i] - mk[i];
      for (int64_t i = 0; i < kP; ++i)
        for (int64_t l = i; l < kP; ++l) ck[i * kP + l] += d[i] * d[l];
    }
    benchmark::DoNotOptimize(c.data());
    t.lap();
  }
  g_two_pass = t.mean();
}

void BM_Anchor_BasicCov(benchmark::State &state) { g_basic = basic_cov_time(state, data().data(), kP, kN); }

void BM_Pooled(benchmark::State &state) {
  int64_t p = kP, n = kN, storage = SsStorageByObservation, full = SsMatrixFull;
  std::vector<double> pm(p), pc(p * p), gm(kG * p), gc(kG * p * p);
  std::vector<int64_t> flags(kG, 1);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, data().data(), nullptr, nullptr, 1);
  __rnxdSSEditPooledCovariance(task, groups().data(), pm.data(), pc.data(), flags.data(), gm.data(), gc.data());
  _rnxiSSEditTask(task, SsEditPooledCovStorage, &full);
  _rnxiSSEditTask(task, SsEditGroupCovStorage, &full);
  const ZynThreader *th = threader(static_cast<int>(state.range(0)));
  const uint64_t est = state.range(1) ? SsEstimatePooledCov | SsEstimateGroupCov : SsEstimatePooledCov;
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSPooledCovariance(task, est, SsMethodOnePass, th) != 0)
      state.SkipWithError("status");
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["x_group_two_pass"] = g_two_pass / t.mean();
  state.counters["x_basic_cov"] = g_basic / t.mean();
}

// A well-conditioned p x p covariance (partial) or an indefinite correlation (repair).
std::vector<double> matrix(int64_t p, bool indefinite) {
  std::vector<double> a(p * p);
  std::mt19937_64 r(5);
  std::uniform_real_distribution<double> u(-1, 1);
  for (int64_t i = 0; i < p; ++i)
    for (int64_t l = 0; l <= i; ++l) a[i * p + l] = a[l * p + i] = i == l ? (indefinite ? 1 : p) : u(r);
  return a;
}

void BM_Partial(benchmark::State &state) {
  int64_t p = state.range(0), n = 1, storage = SsStorageByObservation, full = SsMatrixFull;
  std::vector<double> cov = matrix(p, false), pcov(p * p), pcor(p * p);
  std::vector<int64_t> roles(p);
  for (int64_t i = 0; i < p; ++i) roles[i] = i % 2 ? -1 : 1;
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, nullptr, nullptr, nullptr, 1);
  __rnxdSSEditPartialCovCor(task, roles.data(), cov.data(), &full, nullptr, nullptr, pcov.data(), &full,
                            pcor.data(), &full);
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSPartialCovariance(task, SsEstimatePartialCov | SsEstimatePartialCor, SsMethodFast, nullptr))
      state.SkipWithError("status");
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["cpu_ms"] = 1e3 * t.mean();
}

void BM_Repair(benchmark::State &state) {
  int64_t p = state.range(0), n = 1, storage = SsStorageByObservation, full = SsMatrixFull;
  std::vector<double> cor = matrix(p, true), out(p * p);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, nullptr, nullptr, nullptr, 1);
  __rnxdSSEditMtxParametrz(task, cor.data(), &full, out.data(), &full);
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSCorParametrization(task, 0, SsMethodParametrize, nullptr)) state.SkipWithError("status");
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["cpu_ms"] = 1e3 * t.mean();
}

}  // namespace

BENCHMARK(BM_Anchor_GroupTwoPass)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Anchor_BasicCov)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Pooled)->ArgNames({"threads", "group_cov"})->Args({1, 0})->Args({2, 0})->Args({1, 1})->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Partial)->ArgName("p")->Arg(100)->Arg(500)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Repair)->ArgName("p")->Arg(100)->Arg(500)->Unit(benchmark::kMillisecond)->UseRealTime();
