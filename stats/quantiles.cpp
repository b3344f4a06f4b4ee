// Exact quantiles and order statistics, the sort of the variables, and the weighted median. Each
// works on one variable at a time through the threader's `for`, each thread with its own copy.
#include <algorithm>
#include <cmath>

#include "frame/core_link.hpp"
#include "stats/common.hpp"
#include "stats/order.hpp"
#include "zyn/stats.h"

namespace zyn::stats {
namespace {

// One block of scratch freed on every way out.
struct Scratch {
  void *block = nullptr;
  ~Scratch() { core::zyn_serv_deallocate(block); }
  template <class E>
  E *get(int64_t count) {
    block = core::zyn_serv_allocate(sizeof(E) * std::max<int64_t>(count, 1), 128);
    return static_cast<E *>(block);
  }
};

template <class T>
int quantiles_entry(SsTask *task, uint64_t estimates, uint64_t method,
                    const ZynThreader *threader) {
  Layout l;
  if (int s = check_layout(task, l)) return s;
  const bool want_q = (estimates & SsEstimateQuantiles) != 0;
  const bool want_os = (estimates & SsEstimateOrderStatistics) != 0;
  int64_t count = 0;
  const T *orders = static_cast<const T *>(task->quantileOrders);
  if (want_q) {
    if (task->quantiles == nullptr) return SsStatusQuantiles;
    if (orders == nullptr) return SsStatusQuantileOrders;
    if (task->quantileOrderCount == nullptr ||
        (count = read_int(l.wide, task->quantileOrderCount)) < 0)
      return SsStatusQuantileOrderCount;
    for (int64_t j = 0; j < count; ++j)
      if (!(orders[j] >= 0 && orders[j] <= 1)) return SsStatusQuantileOrderCount;
  }
  bool os_by_observation = false;
  if (want_os) {
    if (task->orderStatistics == nullptr) return SsStatusOrderStatistics;
    if (task->orderStatisticsStorage == nullptr) return SsStatusStorage;
    const int64_t s = read_int(l.wide, task->orderStatisticsStorage);
    if ((s & (SsStorageByVariable | SsStorageByObservation)) == 0) return SsStatusStorageValue;
    os_by_observation = by_observation(l.wide, task->orderStatisticsStorage, l.p);
  }
  if (method != SsMethodFast) return SsStatusMethod;
  if (!want_os && count == 0) return SsStatusOk;

  // The flagged variables, then the orders by ascending value.
  Scratch lists, work;
  int64_t *act = lists.get<int64_t>(l.p + count);
  if (act == nullptr) return SsStatusMemory;
  const int64_t q = flagged(task, l, act);
  int64_t *rising = act + l.p;
  for (int64_t j = 0; j < count; ++j) rising[j] = j;
  std::stable_sort(rising, rising + count,
                   [&](int64_t a, int64_t b) { return orders[a] < orders[b]; });

  // Threads: min(limit, p, 2^30 / (8 n)), so the copies stay below 1 GiB together whatever the
  // precision; fewer flagged variables than threads leave some threads idle.
  const int threads = thread_count(
      threader, std::min<int64_t>(l.p, std::max<int64_t>(1, 0x40000000 / (l.n * 8))));
  T *copies = nullptr;
  if (count > 0 && (copies = work.get<T>(threads * l.n)) == nullptr) return SsStatusMemory;

  const T *x = static_cast<const T *>(task->data);
  T *out = static_cast<T *>(task->quantiles);
  T *os = static_cast<T *>(task->orderStatistics);
  auto body = [&](int64_t index, int thread) {
    const int64_t i = act[index];
    if (count > 0) {
      const auto [src, step] = column(x, l, i);
      quantiles(src, step, l.n, orders, rising, count, out + i * count, copies + thread * l.n);
    }
    if (want_os) {
      T *dst = os_by_observation ? os + i : os + i * l.n;
      const int64_t step = os_by_observation ? l.p : 1;
      gather(dst, step, x, l, i);
      sort(dst, l.n, step);
    }
  };
  for_each_index(threader, threads, q, body);
  return SsStatusOk;
}

template <class T>
int sort_entry(SsTask *task, uint64_t method, const ZynThreader *threader) {
  Layout l;
  if (int s = check_layout(task, l)) return s;
  if (task->sortedData == nullptr) return SsStatusSortedData;
  if (task->sortedStorage == nullptr) return SsStatusStorage;
  const int64_t in = read_int(l.wide, task->storage), out = read_int(l.wide, task->sortedStorage);
  if (task->sortedData == task->data) {
    if ((in & SsStorageByVariable) != (out & SsStorageByVariable)) return SsStatusStorage;
    if (task->indices != nullptr) return SsStatusInPlaceSortIndices;
  }
  if ((out & (SsStorageByVariable | SsStorageByObservation)) == 0) return SsStatusStorageValue;
  if (method != SsMethodSort) return SsStatusMethod;

  Scratch lists, work;
  int64_t *act = lists.get<int64_t>(l.p);
  if (act == nullptr) return SsStatusMemory;
  const int64_t q = flagged(task, l, act);
  // A variable sorted into a by-observation output goes through a contiguous copy.
  const bool out_by_observation = by_observation(l.wide, task->sortedStorage, l.p);
  // min(limit, p, (limit << 30) / bytes) with 8 or 16 bytes an observation, whatever the precision.
  const int64_t bytes = l.n * (out_by_observation ? 16 : 8);
  const int64_t limit = threader && threader->limit ? threader->limit() : 1;
  const int threads =
      thread_count(threader, std::min<int64_t>(l.p, std::max<int64_t>(1, (limit << 30) / bytes)));
  T *copies = nullptr;
  if (out_by_observation && (copies = work.get<T>(threads * l.n)) == nullptr)
    return SsStatusMemory;

  const T *x = static_cast<const T *>(task->data);
  T *sorted = static_cast<T *>(task->sortedData);
  auto body = [&](int64_t index, int thread) {
    const int64_t i = act[index];
    if (!out_by_observation) {
      T *dst = sorted + i * l.n;
      gather(dst, 1, x, l, i);
      sort(dst, l.n);
      return;
    }
    T *a = copies + thread * l.n;
    gather(a, 1, x, l, i);
    sort(a, l.n);
    for (int64_t j = 0; j < l.n; ++j) sorted[i + j * l.p] = a[j];
  };
  for_each_index(threader, threads, q, body);
  return SsStatusOk;
}

template <class T>
int wmedian_entry(SsTask *task, uint64_t method, const ZynThreader *threader) {
  Layout l;
  if (int s = check_layout(task, l)) return s;
  if (task->quantiles == nullptr) return SsStatusQuantiles;
  const T *w = static_cast<const T *>(task->weights);
  double total = static_cast<double>(l.n);
  if (w != nullptr) {
    total = 0;
    for (int64_t j = 0; j < l.n; ++j) {
      if (!(w[j] >= 0)) return SsStatusWeights;
      total += w[j];
    }
    if (!(total > 0)) return SsStatusWeights;
  }
  if (method != SsMethodFast) return SsStatusMethod;

  Scratch lists, work;
  int64_t *act = lists.get<int64_t>(l.p);
  if (act == nullptr) return SsStatusMemory;
  const int64_t q = flagged(task, l, act);
  const int64_t element = w ? sizeof(Weighted<T>) : sizeof(T);
  const int threads = thread_count(
      threader, std::min<int64_t>(q, std::max<int64_t>(1, 0x40000000 / (l.n * element))));
  auto *copies = work.get<char>(threads * l.n * element);
  if (copies == nullptr) return SsStatusMemory;

  const T *x = static_cast<const T *>(task->data);
  T *out = static_cast<T *>(task->quantiles);
  auto body = [&](int64_t index, int thread) {
    const int64_t i = act[index];
    char *mine = copies + thread * l.n * element;
    if (w != nullptr) {
      auto *pairs = reinterpret_cast<Weighted<T> *>(mine);
      const auto [src, step] = column(x, l, i);
      for (int64_t j = 0; j < l.n; ++j) pairs[j] = {src[j * step], w[j]};
      out[i] = weighted_median(pairs, l.n, total);
      return;
    }
    // Unit weights: x(n / 2) for odd n, else the mean of the two middle values.
    T *a = reinterpret_cast<T *>(mine);
    gather(a, 1, x, l, i);
    const int64_t k = (l.n - 1) / 2;
    const T v = select(a, 0, l.n, k);
    out[i] = l.n % 2 ? v
                     : static_cast<T>(static_cast<double>(v) * 0.5 +
                                      0.5 * static_cast<double>(least_to_front(a, k + 1, l.n)));
  };
  for_each_index(threader, threads, q, body);
  return SsStatusOk;
}

}  // namespace
}  // namespace zyn::stats

using namespace zyn::stats;

ZYN_SS_ENTRIES(Quantiles, quantiles_entry, (task, estimates, method, threader))
ZYN_SS_ENTRIES(Sort, sort_entry, (task, method, threader))
ZYN_SS_ENTRIES(WMedian, wmedian_entry, (task, method, threader))
