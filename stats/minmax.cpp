// Minimum and maximum: the caller's arrays come in with start values and are only narrowed, so
// calls over successive blocks of data accumulate.
//
// Every variable follows the scalar rule m = x < m ? x : m (and M = x > M ? x : M) bit for bit:
// a NaN datum never enters, a NaN start value stays, and of equal values (+0 and -0) the first
// met is kept. MINPD and MAXPD compute exactly that rule in each lane. By observation each lane is
// one variable, updated in observation order. By variable the lanes take interleaved elements of
// one run; their results are folded by the same rule, which can only disagree with the scalar
// order when the extreme is a zero met with both signs: then the first zero of the run decides.
#include <algorithm>
#include <cmath>

#include "stats/common.hpp"
#include "vector/skeleton/simd.hpp"
#include "zyn/stats.h"

namespace zyn::stats {
namespace {

using vk::Simd;
// MINPD/MINPS give x < m ? x : m in each lane, MAXPD/MAXPS x > m ? x : m.
inline __m128d vmin(__m128d x, __m128d m) { return _mm_min_pd(x, m); }
inline __m128 vmin(__m128 x, __m128 m) { return _mm_min_ps(x, m); }
inline __m128d vmax(__m128d x, __m128d m) { return _mm_max_pd(x, m); }
inline __m128 vmax(__m128 x, __m128 m) { return _mm_max_ps(x, m); }

template <bool Min, class T>
inline T narrow(T x, T m) {
  return Min ? (x < m ? x : m) : (x > m ? x : m);
}

// Folds the lane results of one run into m, the scalar rule's result over x[0..len).
template <bool Min, class T>
T fold(const T *lanes, int count, const T *x, int64_t len, T start) {
  T m = lanes[0];
  for (int k = 1; k < count; ++k) m = narrow<Min>(lanes[k], m);
  if (!(m == 0) || start == 0) return m;
  bool plus = false, minus = false;
  for (int k = 0; k < count; ++k)
    if (lanes[k] == 0) (std::signbit(lanes[k]) ? minus : plus) = true;
  if (!(plus && minus)) return m;
  for (int64_t j = 0; j < len; ++j)
    if (x[j] == 0) return x[j];
  return m;
}

// One contiguous run of n values.
template <class T, bool Min, bool Max>
void run(const T *x, int64_t n, T *lo, T *hi) {
  using S = Simd<T>;
  constexpr int U = 4, W = U * S::L;
  const int64_t body = n - n % W;
  T m = Min ? *lo : T(0), M = Max ? *hi : T(0);
  if (body > 0) {
    typename S::V vm[U], vM[U];
    for (int u = 0; u < U; ++u) {
      vm[u] = S::set1(m);
      vM[u] = S::set1(M);
    }
    for (int64_t j = 0; j < body; j += W)
      for (int u = 0; u < U; ++u) {
        const auto v = S::load(x + j + u * S::L);
        if constexpr (Min) vm[u] = vmin(v, vm[u]);
        if constexpr (Max) vM[u] = vmax(v, vM[u]);
      }
    T lanes[W];
    if constexpr (Min) {
      for (int u = 0; u < U; ++u) S::store(lanes + u * S::L, vm[u]);
      m = fold<true>(lanes, W, x, body, m);
    }
    if constexpr (Max) {
      for (int u = 0; u < U; ++u) S::store(lanes + u * S::L, vM[u]);
      M = fold<false>(lanes, W, x, body, M);
    }
  }
  for (int64_t j = body; j < n; ++j) {
    if constexpr (Min) m = narrow<true>(x[j], m);
    if constexpr (Max) M = narrow<false>(x[j], M);
  }
  if (Min) *lo = m;
  if (Max) *hi = M;
}

// Rows [j0, j1) of a by-observation matrix, columns [c, c + V * L) with their extremes in
// lo[0..V * L) and hi[0..V * L): each lane one variable.
template <class T, bool Min, bool Max, int V>
void columns(const T *x, int64_t p, int64_t j0, int64_t j1, int64_t c, T *lo, T *hi) {
  using S = Simd<T>;
  typename S::V vm[V], vM[V];
  for (int v = 0; v < V; ++v) {
    if constexpr (Min) vm[v] = S::load(lo + v * S::L);
    if constexpr (Max) vM[v] = S::load(hi + v * S::L);
  }
  for (int64_t j = j0; j < j1; ++j) {
    const T *row = x + j * p + c;
    for (int v = 0; v < V; ++v) {
      const auto d = S::load(row + v * S::L);
      if constexpr (Min) vm[v] = vmin(d, vm[v]);
      if constexpr (Max) vM[v] = vmax(d, vM[v]);
    }
  }
  for (int v = 0; v < V; ++v) {
    if constexpr (Min) S::store(lo + v * S::L, vm[v]);
    if constexpr (Max) S::store(hi + v * S::L, vM[v]);
  }
}

template <class T, bool Min, bool Max>
void minmax(const SsTask *task, const Layout &l, T *lo, T *hi) {
  const T *x = static_cast<const T *>(task->data);
  auto active = [&](int64_t i) {
    return task->indices == nullptr || read_int(l.wide, task->indices, i) != 0;
  };
  if (!l.by_observation) {
    for (int64_t i = 0; i < l.p; ++i)
      if (active(i)) run<T, Min, Max>(x + i * l.n, l.n, lo + i, hi + i);
    return;
  }
  // Tiles of rows that stay in the first-level cache while each group of columns passes over
  // them. The working extremes of a group come from the caller's arrays and go back to them;
  // with `indices`, those of unflagged variables are dropped.
  using S = Simd<T>;
  constexpr int kGroup = 8;
  const int64_t rows = std::max<int64_t>(16, 8192 / (l.p * int64_t(sizeof(T))));
  T wlo[kGroup * S::L], whi[kGroup * S::L];
  for (int64_t j0 = 0; j0 < l.n; j0 += rows) {
    const int64_t j1 = std::min(l.n, j0 + rows);
    for (int64_t c = 0; c < l.p;) {
      const int64_t width = std::min<int64_t>(kGroup * S::L, l.p - c);
      const int vectors = static_cast<int>(width / S::L);
      const int64_t count = vectors > 0 ? vectors * S::L : 1;
      for (int64_t k = 0; k < count; ++k) {
        wlo[k] = Min ? lo[c + k] : T(0);
        whi[k] = Max ? hi[c + k] : T(0);
      }
      if (vectors == kGroup) {
        columns<T, Min, Max, kGroup>(x, l.p, j0, j1, c, wlo, whi);
      } else if (vectors > 0) {
        for (int v = 0; v < vectors; ++v)
          columns<T, Min, Max, 1>(x, l.p, j0, j1, c + v * S::L, wlo + v * S::L, whi + v * S::L);
      } else {
        for (int64_t j = j0; j < j1; ++j) {
          wlo[0] = narrow<true>(x[j * l.p + c], wlo[0]);
          whi[0] = narrow<false>(x[j * l.p + c], whi[0]);
        }
      }
      for (int64_t k = 0; k < count; ++k)
        if (active(c + k)) {
          if (Min) lo[c + k] = wlo[k];
          if (Max) hi[c + k] = whi[k];
        }
      c += count;
    }
  }
}

template <class T>
int minmax_entry(SsTask *task, uint64_t estimates, uint64_t method) {
  Layout l;
  if (int s = check_layout(task, l)) return s;
  const bool want_min = (estimates & SsEstimateMinimum) != 0;
  const bool want_max = (estimates & SsEstimateMaximum) != 0;
  T *lo = static_cast<T *>(task->minimum), *hi = static_cast<T *>(task->maximum);
  if (want_min && lo == nullptr) return SsStatusMinimum;
  if (want_max && hi == nullptr) return SsStatusMaximum;
  if ((method & (SsMethodFast | SsMethodOnePass)) == 0 ||
      (method & ~(SsMethodFast | SsMethodOnePass)) != 0)
    return SsStatusMethod;
  if (want_min && want_max)
    minmax<T, true, true>(task, l, lo, hi);
  else if (want_min)
    minmax<T, true, false>(task, l, lo, hi);
  else if (want_max)
    minmax<T, false, true>(task, l, lo, hi);
  return SsStatusOk;
}

}  // namespace
}  // namespace zyn::stats

ZYN_SS_ENTRIES(Minmax, zyn::stats::minmax_entry, (task, estimates, method))
