// What interpolation and integration share: the evaluation kind of a task's spline, its pieces
// with their left ends, evenly spaced sites, and blocks of sites shared among threads.
#pragma once

#include <algorithm>

#include "fitting/search.hpp"

namespace zyn::df {

enum Kind { kTwo, kThree, kThreeKnots, kFour, kGeneral, kCallbacks };

// The evaluation kind from splineOrder and splineType, or -1 for a refusal.
inline int choose_kind(int64_t order, int64_t type, bool callbacks) {
  if (order == DF_PP_LINEAR) return kTwo;
  if (order == DF_PP_QUADRATIC) {
    if (type == DF_PP_DEFAULT) return kThree;
    if (type == DF_PP_SUBBOTIN) return kThreeKnots;
    return -1;
  }
  if (order == DF_PP_CUBIC) {
    const bool ok = type == 0 || type == 2 || type == 3 || type == 4 || type == 5 || type == 9;
    return ok ? kFour : -1;
  }
  if (order > DF_PP_CUBIC) return kGeneral;
  if (order == DF_PP_STD) {
    // The lookup and stepwise kinds (types 6, 7, 8) are not built: refused like an unknown type.
    if (type == DF_PP_LOOKUP || type == DF_PP_CR_STEPWISE || type == DF_PP_CL_STEPWISE) return -1;
    return callbacks ? kCallbacks : -1;
  }
  return -1;
}

// The pieces of a task's spline: its nx - 1 cells, or for kThreeKnots the nx pieces bounded by
// the knots. A site outside the partition belongs to the end piece of its side.
template <class T>
struct Pieces {
  int kind;
  int64_t nx, order;
  const T *x;
  bool uni;
  T step;
  const T *knots;  // kThreeKnots: the nx - 1 knots, or null for the cell midpoints
  const T *c0;     // function 0's coefficients, or null

  Pieces(const DfTask *t, int k)
      : kind(k), nx(t->nx), order(t->splineOrder), x(xs<T>(t)),
        uni(t->xHint == DF_PARTITION_UNIFORM),
        step(uni ? (x[1] - x[0]) / static_cast<T>(nx - 1) : T(0)),
        knots(k == kThreeKnots && !(t->icType & DF_IC_Q_KNOT_MIDPOINT)
                  ? static_cast<const T *>(t->ic) : nullptr),
        c0(t->coeff ? static_cast<const T *>(t->coeff[0]) : nullptr) {}
  int64_t count() const { return kind == kThreeKnots ? nx : nx - 1; }
  T at(int64_t i) const { return uni ? static_cast<T>(i) * step + x[0] : x[i]; }
  T knot(int64_t m) const { return knots ? knots[m] : (at(m) + at(m + 1)) / T(2); }
  T left(int64_t p) const { return kind != kThreeKnots ? at(p) : p == 0 ? x[0] : knot(p - 1); }

  // Pieces and left ends of n sites, from their cells (kThreeKnots: from the knots).
  void find(int64_t n, const T *site, const int64_t *cell, int64_t *piece, T *left) const {
    for (int64_t i = 0; i < n; ++i) {
      int64_t p;
      if (kind == kThreeKnots) {  // count the knots at or below the site
        int64_t lo = 0, hi = nx - 1;
        while (lo < hi) {
          const int64_t m = (lo + hi) >> 1;
          if (knot(m) <= site[i]) lo = m + 1; else hi = m;
        }
        p = lo;
      } else {
        const int64_t c = cell[i];
        p = (c >= 1 ? c - 1 : 0) - (c > nx - 1 ? 1 : 0);
        if (c0) __builtin_prefetch(c0 + order * p);
      }
      piece[i] = p;
      left[i] = this->left(p);
    }
  }
};

// Sites of hint DF_UNIFORM_PARTITION_SITES: n evenly spaced from site[0] to site[1], in a block
// for the caller to release; null when it can't be allocated.
template <class T>
T *even_sites(int64_t n, const T *site) {
  T *s = static_cast<T *>(allocate(static_cast<size_t>(n) * sizeof(T)));
  if (!s) return nullptr;
  const T h = (site[1] - site[0]) / static_cast<T>(n - 1);
  for (int64_t i = 0; i < n; ++i) s[i] = static_cast<T>(i) * h + site[0];
  return s;
}

// Runs body(b0, b1) over the blocks [0, blocks): with `threads` allowed and two threads or more
// in the table, one consecutive share a thread, else all on the caller's thread. Returns 0 or a
// non-zero status of a share.
template <class F>
int share_blocks(const ZynThreading *th, int64_t blocks, bool threads, const F &body) {
  const int64_t n = std::min<int64_t>(thread_count(th), blocks);
  if (n < 2 || !threads || !th || !th->run) return body(int64_t(0), blocks);
  struct Job {
    const F *body;
    int64_t per, blocks;
    int status;
  } job{&body, (blocks + n - 1) / n, blocks, 0};
  const int used = static_cast<int>((blocks + job.per - 1) / job.per);
  th->run(used, used, &job, [](int thread, int threads, void *p) {
    auto *j = static_cast<Job *>(p);
    const int64_t b0 = thread * j->per;
    const int64_t b1 = thread + 1 == threads ? j->blocks : std::min(j->blocks, b0 + j->per);
    if (int st = (*j->body)(b0, b1)) __atomic_store_n(&j->status, st, __ATOMIC_RELAXED);
  });
  return job.status;
}

}  // namespace zyn::df
