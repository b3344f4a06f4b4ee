// Cell search: the scalar steps of each kind, the batch routines, and the plan that the driver
// and the interpolation share. A site's cell is 0 below x[0], i for x[i-1] <= site < x[i],
// nx - 1 on the last breakpoint and nx above it.
#pragma once

#include <cstdint>

#include "fitting/common.hpp"

namespace zyn::df {

template <class T>
using SearchCallback = int (*)(int64_t *, const T *, int64_t *, int32_t *, void *, void *);

// Everything a kind reads. `v` is the inverse step (Uniform, QuasiUniform, UniUserDef), the
// table's scale (Hybrid) or the peak index (Peak).
template <class T>
struct SearchPlan {
  int kind = DF_SEARCH_HYBRID;
  int64_t nx = 0;
  const T *x = nullptr;
  T v = 0;
  const int64_t *table = nullptr;
  SearchCallback<T> callback = nullptr;
  void *params = nullptr;
  void *aux = nullptr;
  int32_t *flags = nullptr;  // user kinds: a block of DF_SEARCH_BLOCK flags, null for a local one
};

// Picks the kind as the driver does; DF_ERROR_BAD_DATA_HINT for a refused data hint.
template <class T>
int plan_search(const DfTask *t, int64_t siteHint, const T *dataHint, SearchCallback<T> cb,
                void *params, bool consultHints, SearchPlan<T> *plan);

// Serial search of n sites into 64-bit cells. `position` carries Sorted's position (in, out).
// Returns 0 or a callback's negative status.
template <class T>
int search_serial(const SearchPlan<T> &p, int64_t n, const T *site, int64_t *cell,
                  int64_t *position);

}  // namespace zyn::df
