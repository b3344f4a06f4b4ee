// Helpers shared by the statistics entries.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

#include "frame/core_link.hpp"
#include "zyn/stats.h"

namespace zyn::stats {

// Reads element `k` of an integer array of the task's width (32 bits, or 64 when `wide`).
inline int64_t read_int(bool wide, const void *p, int64_t k = 0) {
  if (wide) {
    int64_t v;
    std::memcpy(&v, static_cast<const char *>(p) + 8 * k, 8);
    return v;
  }
  int32_t v;
  std::memcpy(&v, static_cast<const char *>(p) + 4 * k, 4);
  return v;
}

// The observation matrix as the per-variable entries read it.
struct Layout {
  bool wide;
  int64_t p, n;
  bool by_observation;  // storage 0x20000 with more than one variable
};

// The checks every data entry starts with: p, n, storage, data.
inline int check_layout(const SsTask *task, Layout &l) {
  if (task == nullptr) return SsStatusNullTask;
  l.wide = task->integerWidth != 0;
  if (task->dimension == nullptr || (l.p = read_int(l.wide, task->dimension)) < 1)
    return SsStatusDimension;
  if (task->observations == nullptr || (l.n = read_int(l.wide, task->observations)) < 1)
    return SsStatusObservations;
  if (task->storage == nullptr) return SsStatusStorage;
  const int64_t s = read_int(l.wide, task->storage);
  if ((s & (SsStorageByVariable | SsStorageByObservation)) == 0) return SsStatusStorageValue;
  if (task->data == nullptr) return SsStatusData;
  l.by_observation = l.p > 1 && (s & SsStorageByVariable) == 0;
  return SsStatusOk;
}

// Whether a storage kind stores by observation, for a matrix of p variables.
inline bool by_observation(bool wide, const void *storage, int64_t p) {
  return p > 1 && (read_int(wide, storage) & SsStorageByVariable) == 0;
}

// Position of the symmetric element (i, l) of a square result of dimension m stored as
// `storage` says: bit 0 clear full, set packed by rows, lower unless bit 1 is set.
inline int64_t square_position(int64_t storage, int64_t i, int64_t l, int64_t m) {
  if (!(storage & SsMatrixPackedBit)) return i * m + l;
  const int64_t lo = std::min(i, l), hi = std::max(i, l);
  if (!(storage & SsMatrixUpperBit)) return hi * (hi + 1) / 2 + lo;
  return lo * m - lo * (lo - 1) / 2 + (hi - lo);
}

// Writes the flagged variables (all of them when `indices` is null) to `list`; returns how many.
inline int64_t flagged(const SsTask *task, const Layout &l, int64_t *list) {
  int64_t q = 0;
  for (int64_t i = 0; i < l.p; ++i)
    if (task->indices == nullptr || read_int(l.wide, task->indices, i) != 0) list[q++] = i;
  return q;
}

// min(limit(), cap), at least 1; 1 without a threader.
inline int thread_count(const ZynThreader *threader, int64_t cap) {
  if (threader == nullptr || threader->limit == nullptr || threader->for_ == nullptr) return 1;
  return static_cast<int>(std::max<int64_t>(1, std::min<int64_t>(threader->limit(), cap)));
}

// body(index, thread) for every index in [0, count), through the threader's `for` when threads > 1.
template <class F>
void for_each_index(const ZynThreader *threader, int threads, int64_t count, F &body) {
  if (threads > 1) {
    threader->for_(count, threads, &body,
                   +[](int64_t i, int thread, void *c) { (*static_cast<F *>(c))(i, thread); });
  } else {
    for (int64_t i = 0; i < count; ++i) body(i, 0);
  }
}

// Variable i of x: its first element and the distance between its elements.
template <class T>
std::pair<T *, int64_t> column(T *x, const Layout &l, int64_t i) {
  return l.by_observation ? std::pair{x + i, l.p} : std::pair{x + i * l.n, int64_t(1)};
}

// Copies variable i of x into dst[0], dst[step], ...
template <class T>
void gather(T *dst, int64_t step, const T *x, const Layout &l, int64_t i) {
  const auto [src, from] = column(x, l, i);
  if (from == 1 && step == 1) {
    if (dst != src) std::memmove(dst, src, sizeof(T) * l.n);
    return;
  }
  for (int64_t j = 0; j < l.n; ++j) dst[j * step] = src[j * from];
}

// Heap scratch through the core library, freed on every path.
template <class T>
struct HeapArray {
  T *p = nullptr;
  explicit HeapArray(int64_t count) {
    p = static_cast<T *>(core::zyn_serv_allocate(sizeof(T) * std::max<int64_t>(count, 1), 128));
  }
  ~HeapArray() { core::zyn_serv_deallocate(p); }
  HeapArray(const HeapArray &) = delete;
  HeapArray &operator=(const HeapArray &) = delete;
};

}  // namespace zyn::stats

// The double and single entry points of a computation: entry<T> called with `args`, drawn from
// (task, estimates, method, threader).
#define ZYN_SS_ENTRY(P, T, Name, entry, args)                                                   \
  int _rnx##P##SS##Name(SsTask *task, [[maybe_unused]] uint64_t estimates,                     \
                        [[maybe_unused]] uint64_t method,                                       \
                        [[maybe_unused]] const ZynThreader *threader) {                         \
    return entry<T> args;                                                                       \
  }
#define ZYN_SS_ENTRIES(Name, entry, args) \
  ZYN_SS_ENTRY(d, double, Name, entry, args) ZYN_SS_ENTRY(s, float, Name, entry, args)
