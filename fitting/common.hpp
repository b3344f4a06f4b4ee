// Shared pieces of the fitting subsystem: the task's typed views, memory, the threading table.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/core_link.hpp"
#include "zyn/fitting.h"

namespace zyn::df {

static_assert(sizeof(DfTask) == 160, "DfTask is a 160-byte record");

template <class T>
inline const T *xs(const DfTask *t) { return static_cast<const T *>(t->x); }
template <class T>
inline const T *fn(const DfTask *t, int64_t f) { return static_cast<const T *>(t->y[f]); }
template <class T>
inline T cell_scale(const DfTask *t) {
  if constexpr (sizeof(T) == 8) return t->cellScale.d; else return t->cellScale.s;
}

inline void *allocate(size_t bytes) { return zyn::core::zyn_serv_allocate(bytes, 128); }
inline void release(void *p) {
  if (p) zyn::core::zyn_serv_deallocate(p);
}

// Thread count from the caller's table; no table means one thread.
inline int thread_count(const ZynThreading *th) {
  if (!th || !th->num_threads) return 1;
  int n = th->num_threads();
  return n < 1 ? 1 : n;
}

// Two quotients in one vector division (divisions bound several loops of the constructors).
template <class T>
inline void div2(T a0, T b0, T a1, T b1, T &q0, T &q1) {
  typedef T V __attribute__((vector_size(2 * sizeof(T))));
  const V q = V{a0, a1} / V{b0, b1};
  q0 = q[0];
  q1 = q[1];
}

// Buckets of the cell-lookup table for nx breakpoints.
inline int64_t cell_table_size(int64_t nx) {
  const int64_t n = nx / 16, lo = DF_CELL_TABLE_MIN, hi = DF_CELL_TABLE_MAX;
  return n < lo ? lo : (n > hi ? hi : n);
}

// Builds the cell-lookup table of `t` from its nx and x (the block must exist).
template <class T>
void build_cell_table(DfTask *t);

}  // namespace zyn::df
