// Order statistics against the standard library, GSL and quoted numpy figures, in the same run.
//
// One variable of 1.6e7 normal doubles unless said. Quantiles (1 and 3 orders) against a copy
// plus std::nth_element at k and k + 1 for each order; sort against std::sort and gsl_sort of a
// copy; minimum and maximum against a vector sum loop (bandwidth) and std::minmax_element, by
// variable and for 1e6 observations of 16 variables by observation; stream quantiles in 100
// portions against a copy plus std::sort; the weighted median against std::sort of (value,
// weight) pairs plus a scan. Counters named x_<anchor> are anchor time over zyn time (above 1:
// zyn is faster), from process CPU time; x_numpy_quoted divides a quoted numpy 1.24 time.
#include <benchmark/benchmark.h>
#include <emmintrin.h>
#include <gsl/gsl_sort.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <random>
#include <vector>

#include "bench/stats/bench_common.hpp"
#include "zyn/stats.h"

namespace {

constexpr int64_t kN = 16000000;
constexpr int64_t kObsN = 1000000, kObsP = 16;

const std::vector<double> &data() {
  static const auto x = draws(kN, 7, std::normal_distribution<double>(0.0, 1.0));
  return x;
}

// Anchor times by name, for the ratios of later benchmarks.
double g_nth[4], g_std_sort, g_gsl_sort, g_sum_var, g_sum_obs, g_mme_var, g_mme_obs, g_pairs;

const double kQuartiles[3] = {0.25, 0.5, 0.75};
const double *orders_for(int64_t count) { return count == 1 ? kQuartiles + 1 : kQuartiles; }

// ---- quantiles --------------------------------------------------------------------------------

void BM_Anchor_NthElement(benchmark::State &state) {
  const int64_t count = state.range(0);
  const auto &x = data();
  std::vector<double> a(kN), q(count);
  CpuTimer t;
  for (auto _ : state) {
    std::copy(x.begin(), x.end(), a.begin());
    for (int64_t j = 0; j < count; ++j) {
      const double f = orders_for(count)[j] * (kN - 1);
      const auto k = static_cast<int64_t>(f);
      std::nth_element(a.begin(), a.begin() + k, a.end());
      const double v0 = a[k];
      std::nth_element(a.begin(), a.begin() + k + 1, a.end());
      q[j] = v0 * (1 - (f - k)) + (f - k) * a[k + 1];
    }
    benchmark::DoNotOptimize(q.data());
    t.lap();
  }
  g_nth[count] = t.mean();
}

void BM_Quantiles(benchmark::State &state) {
  int64_t count = state.range(0), p = 1, n = kN, storage = SsStorageByVariable;
  std::vector<double> q(count);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, data().data(), nullptr, nullptr, 1);
  __rnxdSSEditQuantiles(task, &count, orders_for(count), q.data(), nullptr, nullptr);
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSQuantiles(task, SsEstimateQuantiles, SsMethodFast, threader(1)) != 0)
      state.SkipWithError("status");
    benchmark::DoNotOptimize(q.data());
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["x_nth_element"] = g_nth[count] / t.mean();
  state.counters["x_numpy_quoted"] = (count == 1 ? 0.234 : 0.341) / t.mean();
  state.counters["ns_per_element"] = 1e9 * t.mean() / kN;
}

// ---- sort ---------------------------------------------------------------------------------------

void BM_Anchor_StdSort(benchmark::State &state) {
  const auto &x = data();
  std::vector<double> a(kN);
  CpuTimer t;
  for (auto _ : state) {
    std::copy(x.begin(), x.end(), a.begin());
    std::sort(a.begin(), a.end());
    benchmark::DoNotOptimize(a.data());
    t.lap();
  }
  g_std_sort = t.mean();
}

void BM_Anchor_GslSort(benchmark::State &state) {
  const auto &x = data();
  std::vector<double> a(kN);
  CpuTimer t;
  for (auto _ : state) {
    std::copy(x.begin(), x.end(), a.begin());
    gsl_sort(a.data(), 1, kN);
    benchmark::DoNotOptimize(a.data());
    t.lap();
  }
  g_gsl_sort = t.mean();
}

void BM_Sort(benchmark::State &state) {
  int64_t p = 1, n = kN, storage = SsStorageByVariable;
  std::vector<double> sorted(kN);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, data().data(), nullptr, nullptr, 1);
  _rnxdSSEditTask(task, SsEditSortedData, sorted.data());
  _rnxiSSEditTask(task, SsEditSortedStorage, &storage);
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSSort(task, 0, SsMethodSort, threader(1)) != 0) state.SkipWithError("status");
    benchmark::DoNotOptimize(sorted.data());
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["x_std_sort"] = g_std_sort / t.mean();
  state.counters["x_gsl_sort"] = g_gsl_sort / t.mean();
  // numpy: 979 ms at 1e7, scaled to 1.6e7 by n log n.
  state.counters["x_numpy_quoted"] =
      0.979 * 1.6 * std::log(1.6e7) / std::log(1e7) / t.mean();
}

// 16 variables of 1e6 values: std::sort of each on one thread, zyn on 1 and 2 threads (real time).
void BM_Anchor_StdSort16(benchmark::State &state) {
  const auto &x = data();
  std::vector<double> a(kN);
  for (auto _ : state) {
    std::copy(x.begin(), x.end(), a.begin());
    for (int64_t i = 0; i < 16; ++i) std::sort(a.begin() + i * kN / 16, a.begin() + (i + 1) * kN / 16);
    benchmark::DoNotOptimize(a.data());
  }
}

void BM_Sort16(benchmark::State &state) {
  int64_t p = 16, n = kN / 16, storage = SsStorageByVariable;
  std::vector<double> sorted(kN);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, data().data(), nullptr, nullptr, 1);
  _rnxdSSEditTask(task, SsEditSortedData, sorted.data());
  _rnxiSSEditTask(task, SsEditSortedStorage, &storage);
  const ZynThreader *th = threader(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    if (_rnxdSSSort(task, 0, SsMethodSort, th) != 0) state.SkipWithError("status");
    benchmark::DoNotOptimize(sorted.data());
  }
  _rnxSSDeleteTask(&task);
}

// ---- minimum and maximum ---------------------------------------------------------------------------

double sum_loop(const double *x, int64_t n) {
  __m128d s[4] = {_mm_setzero_pd(), _mm_setzero_pd(), _mm_setzero_pd(), _mm_setzero_pd()};
  for (int64_t j = 0; j + 8 <= n; j += 8)
    for (int u = 0; u < 4; ++u) s[u] = _mm_add_pd(s[u], _mm_loadu_pd(x + j + 2 * u));
  double out[2];
  _mm_storeu_pd(out, _mm_add_pd(_mm_add_pd(s[0], s[1]), _mm_add_pd(s[2], s[3])));
  return out[0] + out[1];
}

// A forward iterator over every `step`-th element, for std::minmax_element by observation.
struct StridedIt {
  using iterator_category = std::forward_iterator_tag;
  using value_type = double;
  using difference_type = std::ptrdiff_t;
  using pointer = const double *;
  using reference = const double &;
  const double *p;
  int64_t step;
  reference operator*() const { return *p; }
  StridedIt &operator++() {
    p += step;
    return *this;
  }
  StridedIt operator++(int) {
    StridedIt r = *this;
    p += step;
    return r;
  }
  bool operator==(const StridedIt &o) const { return p == o.p; }
};

// range(0): 0 by variable (1.6e7 values), 1 by observation (1e6 x 16).
void BM_Anchor_SumLoop(benchmark::State &state) {
  const auto &x = data();
  CpuTimer t;
  for (auto _ : state) {
    benchmark::DoNotOptimize(sum_loop(x.data(), kN));
    t.lap();
  }
  (state.range(0) ? g_sum_obs : g_sum_var) = t.mean();
  state.SetBytesProcessed(state.iterations() * kN * 8);
}

void BM_Anchor_MinmaxElement(benchmark::State &state) {
  const auto &x = data();
  const bool obs = state.range(0) != 0;
  CpuTimer t;
  for (auto _ : state) {
    if (obs) {
      for (int64_t i = 0; i < kObsP; ++i) {
        const auto r = std::minmax_element(StridedIt{x.data() + i, kObsP},
                                           StridedIt{x.data() + i + kN, kObsP});
        benchmark::DoNotOptimize(r);
      }
    } else {
      benchmark::DoNotOptimize(std::minmax_element(x.begin(), x.end()));
    }
    t.lap();
  }
  (obs ? g_mme_obs : g_mme_var) = t.mean();
  state.SetBytesProcessed(state.iterations() * kN * 8);
}

void BM_Minmax(benchmark::State &state) {
  const bool obs = state.range(0) != 0;
  int64_t p = obs ? kObsP : 1, n = obs ? kObsN : kN;
  int64_t storage = obs ? SsStorageByObservation : SsStorageByVariable;
  std::vector<double> lo(p), hi(p);
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, data().data(), nullptr, nullptr, 1);
  _rnxdSSEditTask(task, SsEditMinimum, lo.data());
  _rnxdSSEditTask(task, SsEditMaximum, hi.data());
  CpuTimer t;
  for (auto _ : state) {
    std::fill(lo.begin(), lo.end(), HUGE_VAL);
    std::fill(hi.begin(), hi.end(), -HUGE_VAL);
    if (_rnxdSSMinmax(task, SsEstimateMinimum | SsEstimateMaximum, SsMethodFast, nullptr) != 0)
      state.SkipWithError("status");
    benchmark::DoNotOptimize(lo.data());
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.SetBytesProcessed(state.iterations() * kN * 8);
  state.counters["x_sum_loop"] = (obs ? g_sum_obs : g_sum_var) / t.mean();
  state.counters["x_minmax_element"] = (obs ? g_mme_obs : g_mme_var) / t.mean();
}

// ---- stream quantiles -----------------------------------------------------------------------------

// In-use heap bytes of the process, mapped blocks included (the core library allocates with
// posix_memalign).
int64_t heap_in_use() {
  const auto m = mallinfo2();
  return static_cast<int64_t>(m.uordblks + m.hblkhd);
}

void BM_StreamQuantiles(benchmark::State &state) {
  double eps = std::pow(10.0, -static_cast<double>(state.range(0)));
  const auto &x = data();
  int64_t p = 1, n = kN / 100, storage = SsStorageByVariable, count = 3, one = 1;
  std::vector<double> q(count);
  int64_t state_bytes = 0;
  CpuTimer t;
  for (auto _ : state) {
    SsTask *task = nullptr;
    _rnxdSSNewTask(&task, &p, &n, &storage, x.data(), nullptr, nullptr, 1);
    __rnxdSSEditStreamQuantiles(task, &count, kQuartiles, q.data(), &one, &eps);
    const int64_t before = heap_in_use();
    t.skip();
    for (int k = 0; k < 100; ++k) {
      _rnxdSSEditTask(task, SsEditData, x.data() + k * n);
      const uint64_t method = k == 99 ? SsMethodStream : SsMethodStreamFeed;
      if (_rnxdSSStreamQuantiles(task, 0, method, nullptr) != 0) state.SkipWithError("status");
    }
    t.lap();
    state_bytes = std::max(state_bytes, heap_in_use() - before);
    _rnxSSDeleteTask(&task);
    t.skip();
  }
  state.counters["x_copy_std_sort"] = g_std_sort / t.mean();
  state.counters["state_bytes"] = static_cast<double>(state_bytes);
}

// ---- weighted median --------------------------------------------------------------------------------

const std::vector<double> &weights() {
  static const auto w = draws(kN, 8, std::uniform_real_distribution<double>(0.0, 2.0));
  return w;
}

void BM_Anchor_PairsSort(benchmark::State &state) {
  const auto &x = data();
  const auto &w = weights();
  std::vector<std::pair<double, double>> a(kN);
  CpuTimer t;
  for (auto _ : state) {
    double total = 0;
    for (int64_t j = 0; j < kN; ++j) {
      a[j] = {x[j], w[j]};
      total += w[j];
    }
    std::sort(a.begin(), a.end());
    double cum = 0;
    int64_t k = 0;
    while (k < kN - 1 && (cum += a[k].second) < total / 2) ++k;
    benchmark::DoNotOptimize(a[k].first);
    t.lap();
  }
  g_pairs = t.mean();
}

void BM_WMedian(benchmark::State &state) {
  int64_t p = 1, n = kN, storage = SsStorageByVariable;
  double median = 0;
  SsTask *task = nullptr;
  _rnxdSSNewTask(&task, &p, &n, &storage, data().data(), weights().data(), nullptr, 1);
  _rnxdSSEditTask(task, SsEditQuantiles, &median);
  CpuTimer t;
  for (auto _ : state) {
    if (_rnxdSSWMedian(task, 0, SsMethodFast, threader(1)) != 0) state.SkipWithError("status");
    benchmark::DoNotOptimize(median);
    t.lap();
  }
  _rnxSSDeleteTask(&task);
  state.counters["x_pairs_sort"] = g_pairs / t.mean();
}

}  // namespace

#define ZYN_MS(b) b->Unit(benchmark::kMillisecond)->UseRealTime()
ZYN_MS(BENCHMARK(BM_Anchor_NthElement)->ArgName("orders")->Arg(1)->Arg(3));
ZYN_MS(BENCHMARK(BM_Quantiles)->ArgName("orders")->Arg(1)->Arg(3));
ZYN_MS(BENCHMARK(BM_Anchor_StdSort));
ZYN_MS(BENCHMARK(BM_Anchor_GslSort));
ZYN_MS(BENCHMARK(BM_Sort));
ZYN_MS(BENCHMARK(BM_Anchor_StdSort16));
ZYN_MS(BENCHMARK(BM_Sort16)->ArgName("threads")->Arg(1)->Arg(2));
ZYN_MS(BENCHMARK(BM_Anchor_SumLoop)->ArgName("by_observation")->Arg(0)->Arg(1));
ZYN_MS(BENCHMARK(BM_Anchor_MinmaxElement)->ArgName("by_observation")->Arg(0)->Arg(1));
ZYN_MS(BENCHMARK(BM_Minmax)->ArgName("by_observation")->Arg(0)->Arg(1));
ZYN_MS(BENCHMARK(BM_StreamQuantiles)->ArgName("eps_exp")->Arg(2)->Arg(3)->Arg(4));
ZYN_MS(BENCHMARK(BM_Anchor_PairsSort));
ZYN_MS(BENCHMARK(BM_WMedian));

BENCHMARK_MAIN();
