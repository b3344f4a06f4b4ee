// Cell search kinds, their exported kernels in four forms, and the driver.
#include "fitting/search.hpp"

#include <algorithm>
#include <cstring>
#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace zyn::df {

namespace {

// ---- scalar steps ------------------------------------------------------------------------

// Uniform partition: x holds the two ends. trunc((site - x0) * inv) + 1 < nx is tested as
// (site - x0) * inv < nx - 1, which is the same for t >= 0 and cannot overflow the integer.
template <class T>
inline int64_t uniform_one(int64_t nx, T x0, T x1, T inv, T s) {
  if (s == x1) return nx - 1;
  if (!(x0 <= s)) return 0;
  const T t = (s - x0) * inv;
  if (static_cast<double>(t) < static_cast<double>(nx - 1)) return static_cast<int64_t>(t) + 1;
  return nx;
}

template <class T>
inline int64_t walk_down(const T *x, int64_t c, T s) {
  while (c > 0 && x[c - 1] > s) --c;
  return c;
}
template <class T>
inline int64_t walk_up(const T *x, int64_t nx, int64_t c, T s) {
  while (c < nx && x[c] <= s) ++c;
  return c;
}

// Estimate of QuasiUniform: trunc((site - x0) * inv) + 1, nx - 1 on the last breakpoint, and
// nx for estimates at or past nx (including a not-a-number site).
template <class T>
inline int64_t quasi_guess(int64_t nx, const T *x, T inv, T s) {
  if (s == x[nx - 1]) return nx - 1;
  const T t = (s - x[0]) * inv;
  if (t >= T(0) && static_cast<double>(t) < static_cast<double>(nx - 1))
    return static_cast<int64_t>(t) + 1;
  return t < T(0) ? 0 : nx;
}
template <class T>
inline int64_t quasi_fix(int64_t nx, const T *x, T s, int64_t g) {
  if (s < x[0]) return 0;
  if (s == x[nx - 1]) return nx - 1;
  if (g >= nx) return walk_down(x, nx, s);
  if (s < x[g]) return walk_down(x, g, s);
  return walk_up(x, nx, g, s);
}

template <class T>
inline int64_t bucket(T s, T x0, T scale, int64_t n) {
  int64_t b = static_cast<int64_t>((s - x0) * scale);
  return b > n ? n : b;
}

// Hybrid on the cell-lookup table: halve while the span exceeds 20, then scan.
template <class T>
inline int64_t hybrid_one(int64_t nx, const T *x, T scale, const int64_t *tab, int64_t n, T s) {
  if (!(s >= x[0])) return 0;
  if (s > x[nx - 1]) return nx;
  if (s == x[nx - 1]) return nx - 1;
  const int64_t b = bucket(s, x[0], scale, n);
  int64_t lo = tab[2 * b], hi = tab[2 * b + 1];
  while (lo < hi - 20) {
    const int64_t m = (lo + hi) >> 1;
    if (x[m] <= s) lo = m; else hi = m;
  }
  while (lo < hi && x[lo] <= s) ++lo;
  return lo;
}

template <class T>
inline int64_t peak_one(int64_t nx, const T *x, int64_t p, T s) {
  if (s == x[nx - 1]) return nx - 1;
  if (p < nx) {
    if (s >= x[p]) return walk_up(x, nx, p, s);
    if (p == 0 || s >= x[p - 1]) return p;
    return walk_down(x, p, s);
  }
  if (s > x[nx - 1]) return nx;
  return walk_down(x, nx - 1, s);
}

// Fallback of UserDef from the callback's cell. Equality with x[c] keeps cell c.
template <class T>
inline int64_t userdef_fix(int64_t nx, const T *x, T s, int64_t c) {
  if (c < 0) c = 0;
  if (c >= nx) {
    if (s == x[nx - 1]) return nx - 1;
    return walk_down(x, nx, s);
  }
  if (s <= x[c]) {
    if (c == 0 || s >= x[c - 1]) return c;
    if (s == x[nx - 1]) return nx - 1;
    return walk_down(x, c, s);
  }
  if (s == x[nx - 1]) return nx - 1;
  return walk_up(x, nx, c, s);
}


// ---- batch routines (serial), writing cells of type O ------------------------------------

template <class T, class O>
void run_uniform(const SearchPlan<T> &p, int64_t n, const T *s, O *c) {
  const T x0 = p.x[0], x1 = p.x[1];
  for (int64_t i = 0; i < n; ++i) c[i] = static_cast<O>(uniform_one(p.nx, x0, x1, p.v, s[i]));
}

template <class T, class O>
void run_quasi(const SearchPlan<T> &p, int64_t n, const T *s, O *c) {
  int64_t g[32];
  for (int64_t i0 = 0; i0 < n; i0 += 32) {
    const int64_t m = std::min<int64_t>(32, n - i0);
    for (int64_t j = 0; j < m; ++j) g[j] = quasi_guess(p.nx, p.x, p.v, s[i0 + j]);
    for (int64_t j = 0; j < m; ++j) c[i0 + j] = static_cast<O>(quasi_fix(p.nx, p.x, s[i0 + j], g[j]));
  }
}

// Hybrid over groups of sites whose steps are interleaved, so that the cache misses of different
// sites overlap; each halving step also prefetches both breakpoints the next step may probe, so
// a site's misses overlap its own earlier ones too. Each site takes the halving steps of hybrid_one; its final scan over at most 21
// breakpoints is done as a count of the breakpoints at or below the site, which for a sorted
// partition stops where the scan stops, without a branch per breakpoint.
template <class T, class O>
[[gnu::noipa]] void run_hybrid(const SearchPlan<T> &p, int64_t n, const T *s, O *c) {
  const int64_t nx = p.nx;
  const T *x = p.x;
  const T x0 = x[0], xl = x[nx - 1];
  const int64_t tn = cell_table_size(nx);
  constexpr int G = 32;
  int64_t lo[G], hi[G];
  int64_t i0 = 0;
  for (; i0 + G <= n; i0 += G) {
    const T *sg = s + i0;
    bool busy = false;
    for (int j = 0; j < G; ++j) {
      const T v = sg[j];
      if (!(v >= x0)) { lo[j] = hi[j] = 0; continue; }
      if (v >= xl) { lo[j] = hi[j] = v > xl ? nx : nx - 1; continue; }
      const int64_t b = bucket(v, x0, p.v, tn);
      lo[j] = p.table[2 * b];
      hi[j] = p.table[2 * b + 1];
      busy |= lo[j] < hi[j] - 20;
    }
    while (busy) {
      busy = false;
      for (int j = 0; j < G; ++j) {
        // Masks, not branches: a mispredicted branch on the loaded breakpoint would discard the
        // loads of the other sites in flight.
        const int64_t active = -static_cast<int64_t>(lo[j] < hi[j] - 20);
        const int64_t m = (lo[j] + hi[j]) >> 1;
        __builtin_prefetch(x + ((lo[j] + m) >> 1));  // both possible next probes
        __builtin_prefetch(x + ((m + hi[j]) >> 1));
        const int64_t le = -static_cast<int64_t>(x[m < nx ? m : nx - 1] <= sg[j]);
        lo[j] ^= (lo[j] ^ m) & (active & le);
        hi[j] ^= (hi[j] ^ m) & (active & ~le);
        busy |= lo[j] < hi[j] - 20;
      }
    }
    for (int j = 0; j < G; ++j) {
      const T *q = x + (lo[j] < nx ? lo[j] : nx - 1);
      __builtin_prefetch(q);
      __builtin_prefetch(q + 8);
      __builtin_prefetch(q + 16);
    }
    for (int j = 0; j < G; ++j) {
      int64_t l = lo[j];
      for (int64_t k = lo[j]; k < hi[j]; ++k) l += x[k] <= sg[j];
      c[i0 + j] = static_cast<O>(l);
    }
  }
  for (; i0 < n; ++i0) c[i0] = static_cast<O>(hybrid_one(nx, x, p.v, p.table, tn, s[i0]));
}

template <class T, class O>
void run_scan(const SearchPlan<T> &p, int64_t n, const T *s, O *c) {  // Hybrid when nx < 9
  for (int64_t i = 0; i < n; ++i) {
    const T v = s[i];
    if (v == p.x[p.nx - 1]) { c[i] = static_cast<O>(p.nx - 1); continue; }
    c[i] = static_cast<O>(walk_up(p.x, p.nx, int64_t(0), v));
  }
}

template <class T, class O>
void run_sorted(const SearchPlan<T> &p, int64_t n, const T *s, O *c, int64_t *position) {
  const int64_t nx = p.nx;
  const T *x = p.x;
  int64_t pos = *position;
  if (n > 0 && s[0] != x[nx - 1]) {
    int64_t lo = pos, hi = nx;
    while (lo < hi - nx / 2) {
      const int64_t m = (lo + hi) >> 1;
      if (s[0] < x[m]) hi = m; else lo = m;
    }
    pos = lo;
  }
  for (int64_t i = 0; i < n; ++i) {
    const T v = s[i];
    if (v == x[nx - 1]) { c[i] = static_cast<O>(nx - 1); continue; }
    pos = walk_up(x, nx, pos, v);
    c[i] = static_cast<O>(pos);
  }
  *position = pos;
}

template <class T, class O>
void run_peak(const SearchPlan<T> &p, int64_t n, const T *s, O *c) {
  const int64_t pk = static_cast<int64_t>(p.v);
  for (int64_t i = 0; i < n; ++i) c[i] = static_cast<O>(peak_one(p.nx, p.x, pk, s[i]));
}

// UserDef and UniUserDef: blocks of 128 through the callback, then the fallback on every site
// whose flag is 0. Returns the callback's negative status, or 0.
template <class T, class O>
int run_user(const SearchPlan<T> &p, int64_t n, const T *s, O *c) {
  int64_t buf[DF_SEARCH_BLOCK];
  int32_t local[DF_SEARCH_BLOCK];
  int32_t *flag = p.flags ? p.flags : local;
  const bool uni = p.kind == DF_SEARCH_UNI_USER_DEF;
  for (int64_t i0 = 0; i0 < n; i0 += DF_SEARCH_BLOCK) {
    int64_t m = std::min<int64_t>(DF_SEARCH_BLOCK, n - i0);
    int64_t *dst = sizeof(O) == 8 ? reinterpret_cast<int64_t *>(c + i0) : buf;
    const int st = p.callback(&m, s + i0, dst, flag, p.params, p.aux);
    if (st < 0) return st;
    for (int64_t j = 0; j < m; ++j) {
      int64_t cj = dst[j];
      if (st != DF_SEARCH_CALLBACK_ALL_FINAL && flag[j] == 0) {
        const T v = s[i0 + j];
        cj = uni ? uniform_one(p.nx, p.x[0], p.x[1], p.v, v) : userdef_fix(p.nx, p.x, v, cj);
      }
      c[i0 + j] = static_cast<O>(cj);
    }
  }
  return 0;
}

// One serial dispatch for every kind and output width.
template <class T, class O>
int run_kind(const SearchPlan<T> &p, int64_t n, const T *s, O *c, int64_t *position) {
  switch (p.kind) {
    case DF_SEARCH_UNIFORM: run_uniform(p, n, s, c); return 0;
    case DF_SEARCH_QUASI_UNIFORM: run_quasi(p, n, s, c); return 0;
    case DF_SEARCH_SORTED: run_sorted(p, n, s, c, position); return 0;
    case DF_SEARCH_PEAK: run_peak(p, n, s, c); return 0;
    case DF_SEARCH_HYBRID: run_hybrid(p, n, s, c); return 0;
    default: return run_user(p, n, s, c);
  }
}

// ---- exported kernels ----------------------------------------------------------------------

template <class T, class O>
int kernel(int kind, int64_t nx, const T *x, int64_t nsite, const T *site, O *position, T value,
           const int64_t *table, O *cell, SearchCallback<T> cb = nullptr, void *params = nullptr,
           void *aux = nullptr, int32_t *flags = nullptr) {
  SearchPlan<T> p;
  p.kind = kind;
  p.nx = nx;
  p.x = x;
  p.v = value;
  p.table = table;
  p.callback = cb;
  p.params = params;
  p.aux = aux;
  p.flags = flags;
  int64_t pos = kind == DF_SEARCH_SORTED && position ? static_cast<int64_t>(*position) : 0;
  const int st = run_kind(p, nsite, site, cell, &pos);
  if (kind == DF_SEARCH_SORTED && position) *position = static_cast<O>(pos);
  return st == DF_SEARCH_CALLBACK_ALL_FINAL ? 0 : st;
}

// The general form: FORM_32 without FORM_64 writes 32-bit cells, all else 64-bit.
inline bool general_is_32(int flags) {
  return (flags & DF_SEARCH_FORM_32) && !(flags & DF_SEARCH_FORM_64);
}

template <class T>
int kernel_general(int kind, int64_t nx, const T *x, int64_t nsite, const T *site, void *position,
                   T value, const int64_t *table, void *cell, int flags,
                   SearchCallback<T> cb = nullptr, void *params = nullptr, void *aux = nullptr,
                   int32_t *fl = nullptr) {
  if (general_is_32(flags))
    return kernel<T, int32_t>(kind, nx, x, nsite, site, static_cast<int32_t *>(position), value,
                              table, static_cast<int32_t *>(cell), cb, params, aux, fl);
  return kernel<T, int64_t>(kind, nx, x, nsite, site, static_cast<int64_t *>(position), value,
                            table, static_cast<int64_t *>(cell), cb, params, aux, fl);
}

// ---- driver ----------------------------------------------------------------------------------

// Worker parameters: a stretch of sites per thread (all kinds but Hybrid), or a count of
// 128-site blocks per thread (Hybrid).
template <class T>
struct Job {
  const SearchPlan<T> *plan;
  const T *site;
  void *cell;
  bool wide;
  int64_t per;  // sites (or blocks) per thread
};

template <class T, class O>
void store_block(const int64_t *src, int64_t n, O *dst) {
  for (int64_t i = 0; i < n; ++i) dst[i] = static_cast<O>(src[i]);
}

template <class T>
void hybrid_blocks(const SearchPlan<T> &p, const T *site, void *cell, bool wide, int64_t b0,
                   int64_t b1) {
  int64_t buf[DF_SEARCH_BLOCK];
  for (int64_t b = b0; b < b1; ++b) {
    const int64_t i0 = b * DF_SEARCH_BLOCK;
    run_hybrid(p, DF_SEARCH_BLOCK, site + i0, buf);
    if (wide) store_block<T>(buf, DF_SEARCH_BLOCK, static_cast<int64_t *>(cell) + i0);
    else store_block<T>(buf, DF_SEARCH_BLOCK, static_cast<int32_t *>(cell) + i0);
  }
}

template <class T>
int run_stretch(const SearchPlan<T> &p, int64_t i0, int64_t n, const T *site, void *cell,
                bool wide) {
  int64_t pos = 0;
  if (wide) return run_kind(p, n, site + i0, static_cast<int64_t *>(cell) + i0, &pos);
  return run_kind(p, n, site + i0, static_cast<int32_t *>(cell) + i0, &pos);
}

template <class T>
void stretch_worker(int thread, int, void *params) {
  const Job<T> *j = static_cast<const Job<T> *>(params);
  run_stretch(*j->plan, thread * j->per, j->per, j->site, j->cell, j->wide);
}
template <class T>
void hybrid_worker(int thread, int, void *params) {
  const Job<T> *j = static_cast<const Job<T> *>(params);
  hybrid_blocks(*j->plan, j->site, j->cell, j->wide, thread * j->per, (thread + 1) * j->per);
}

bool threads_pay(int kind, int64_t nsite, int64_t nx, int T) {
  if (T < 2) return false;
  switch (kind) {
    case DF_SEARCH_UNIFORM: return nsite > 1000;
    case DF_SEARCH_QUASI_UNIFORM:
      return nsite > 300 || (nsite > 150 && nx >= 600) || (T >= 4 && nsite > 150 && nx >= 40);
    case DF_SEARCH_SORTED: return nsite > 3000;
    case DF_SEARCH_PEAK: return nsite > 1200 || nx > 1200;
    case DF_SEARCH_HYBRID:
      return nsite >= 1201 || (nsite >= 601 && T <= 4) || (nsite >= 301 && T <= 2);
    default: return false;
  }
}

// The batch routine of the driver: threads by the table's rule, the rest on this thread.
template <class T>
int run_batch(const SearchPlan<T> &p, int64_t nsite, const T *site, void *cell, bool wide,
              const ZynThreading *th) {
  const int T_ = thread_count(th);
  if (p.kind == DF_SEARCH_HYBRID && p.nx < 9) {
    if (wide) run_scan(p, nsite, site, static_cast<int64_t *>(cell));
    else run_scan(p, nsite, site, static_cast<int32_t *>(cell));
    return 0;
  }
  if (!threads_pay(p.kind, nsite, p.nx, T_) || !th || !th->run) {
    const int st = run_stretch(p, 0, nsite, site, cell, wide);
    return st == DF_SEARCH_CALLBACK_ALL_FINAL ? 0 : st;
  }
  Job<T> job{&p, site, cell, wide, 0};
  if (p.kind == DF_SEARCH_HYBRID) {
    const int64_t B = nsite / DF_SEARCH_BLOCK;
    const int used = static_cast<int>(std::min<int64_t>(T_, B));
    int64_t done = 0;
    if (used >= 1) {
      job.per = B / used;
      th->run(used, used, &job, hybrid_worker<T>);
      done = job.per * used;
    }
    hybrid_blocks(p, site, cell, wide, done, B);
    const int64_t tail = B * DF_SEARCH_BLOCK;
    run_stretch(p, tail, nsite - tail, site, cell, wide);
    return 0;
  }
  job.per = nsite / T_;
  th->run(T_, T_, &job, stretch_worker<T>);
  const int64_t done = job.per * T_;
  run_stretch(p, done, nsite - done, site, cell, wide);
  return 0;
}

template <class T>
int driver(DfTask *t, int64_t nsite, const T *site, int64_t siteHint, const T *dataHint,
           void *cell, SearchCallback<T> cb, void *params, const ZynThreading *th) {
  SearchPlan<T> p;
  int st = plan_search(t, siteHint, dataHint, cb, params, true, &p);
  if (st) return st;
  if (nsite <= 0) return 0;
  T stack_sites[DF_UNIFORM_SITES_ON_STACK];
  if (siteHint == DF_UNIFORM_PARTITION_SITES) {
    T *buf = stack_sites;
    if (nsite > DF_UNIFORM_SITES_ON_STACK) {
      // Not released: the batch routines have always left this block allocated, and callers
      // may rely on the entry's memory behaviour staying as it is.
      buf = static_cast<T *>(allocate(static_cast<size_t>(nsite) * sizeof(T)));
      if (!buf) return DF_ERROR_MEM_FAILURE;
#if defined(__SANITIZE_ADDRESS__)
      __lsan_ignore_object(buf);
#endif
    }
    const T h = (site[1] - site[0]) / static_cast<T>(nsite - 1);
    for (int64_t i = 0; i < nsite; ++i) buf[i] = static_cast<T>(i) * h + site[0];
    site = buf;
  }
  const bool wide = t->indexWidth != 0;
  if (nsite < 32 && p.kind != DF_SEARCH_USER_DEF) {
    (void)thread_count(th);  // asked and ignored, as the short path always has
    st = run_stretch(p, 0, nsite, site, cell, wide);
    return st == DF_SEARCH_CALLBACK_ALL_FINAL ? 0 : st;
  }
  return run_batch(p, nsite, site, cell, wide, th);
}

}  // namespace

template <class T>
int plan_search(const DfTask *t, int64_t siteHint, const T *dataHint, SearchCallback<T> cb,
                void *params, bool consultHints, SearchPlan<T> *p) {
  p->nx = t->nx;
  p->x = xs<T>(t);
  p->callback = cb;
  p->params = params;
  p->table = t->cellTable;
  const T *x = p->x;
  const bool uni = t->xHint == DF_PARTITION_UNIFORM;
  auto inv_step = [&] { return static_cast<T>(t->nx - 1) / (x[uni ? 1 : t->nx - 1] - x[0]); };
  if (!consultHints) {
    p->kind = uni ? DF_SEARCH_UNIFORM : DF_SEARCH_HYBRID;
  } else if (cb) {
    p->kind = uni ? DF_SEARCH_UNI_USER_DEF : DF_SEARCH_USER_DEF;
  } else if (uni) {
    p->kind = DF_SEARCH_UNIFORM;
  } else if (t->xHint == DF_PARTITION_QUASI_UNIFORM) {
    p->kind = DF_SEARCH_QUASI_UNIFORM;
  } else if (siteHint == DF_SORTED_DATA) {
    p->kind = DF_SEARCH_SORTED;
  } else if (!dataHint || dataHint[1] == T(DF_DATA_HINT_NONE)) {
    p->kind = DF_SEARCH_HYBRID;
  } else if (dataHint[1] == T(DF_DATA_HINT_PEAK) && T(0) <= dataHint[4] &&
             dataHint[4] <= static_cast<T>(t->nx)) {
    p->kind = DF_SEARCH_PEAK;
    p->v = dataHint[4];
    return 0;
  } else {
    return DF_ERROR_BAD_DATA_HINT;
  }
  if (p->kind == DF_SEARCH_HYBRID && t->cellTableSize == 0) {
    // No table was built (a uniform partition edited to another kind without the rebuild of
    // edit code 15 with value 1): estimate and walk instead of reading an unset table.
    p->kind = DF_SEARCH_QUASI_UNIFORM;
  }
  if (p->kind == DF_SEARCH_HYBRID) p->v = cell_scale<T>(t);
  else if (p->kind != DF_SEARCH_SORTED) p->v = inv_step();
  return 0;
}

template <class T>
int search_serial(const SearchPlan<T> &p, int64_t n, const T *site, int64_t *cell,
                  int64_t *position) {
  int st = run_kind(p, n, site, cell, position);
  return st == DF_SEARCH_CALLBACK_ALL_FINAL ? 0 : st;
}

template int plan_search<double>(const DfTask *, int64_t, const double *, SearchCallback<double>,
                                 void *, bool, SearchPlan<double> *);
template int plan_search<float>(const DfTask *, int64_t, const float *, SearchCallback<float>,
                                void *, bool, SearchPlan<float> *);
template int search_serial<double>(const SearchPlan<double> &, int64_t, const double *, int64_t *,
                                   int64_t *);
template int search_serial<float>(const SearchPlan<float> &, int64_t, const float *, int64_t *,
                                  int64_t *);

}  // namespace zyn::df

using namespace zyn::df;

int zyn_df_kernel_dDFSearch1D(DfTask *task, int64_t, int64_t nsite, const double *site,
                              int64_t siteHint, const double *dataHint, void *cell,
                              DfdSearchCallback cb, void *params, const ZynThreading *th) {
  if (!task) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  return driver(task, nsite, site, siteHint, dataHint, cell, cb, params, th);
}
int zyn_df_kernel_sDFSearch1D(DfTask *task, int64_t, int64_t nsite, const float *site,
                              int64_t siteHint, const float *dataHint, void *cell,
                              DfsSearchCallback cb, void *params, const ZynThreading *th) {
  if (!task) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  return driver(task, nsite, site, siteHint, dataHint, cell, cb, params, th);
}

// The exported kernels: four forms of each kind, both precisions.
#define ZYN_DF_DEFINE_FORM(T, P, Kind, suffix, I, ID)                                       \
  ZYN_DF_SEARCH_KERNEL(T, P, Kind, suffix, I) {                                              \
    (void)unused7, (void)unused8, (void)flags;                                               \
    return kernel<T, I>(ID, nx, x, nsite, site, position, value, cellTable, cell);          \
  }
#define ZYN_DF_DEFINE_GENERAL(T, P, Kind, ID)                                                \
  ZYN_DF_SEARCH_KERNEL(T, P, Kind, , void) {                                                 \
    (void)unused7, (void)unused8;                                                            \
    return kernel_general<T>(ID, nx, x, nsite, site, position, value, cellTable, cell, flags); \
  }
#define ZYN_DF_DEFINE_USER_FORM(T, P, Kind, suffix, I, ID)                                   \
  ZYN_DF_USER_SEARCH_KERNEL(T, P, Kind, suffix, I) {                                         \
    (void)unused7, (void)unused8, (void)flags;                                               \
    return kernel<T, I>(ID, nx, x, nsite, site, position, value, cellTable, cell, callback,  \
                        params, aux, flagBlock);                                             \
  }
#define ZYN_DF_DEFINE_USER_GENERAL(T, P, Kind, ID)                                           \
  ZYN_DF_USER_SEARCH_KERNEL(T, P, Kind, , void) {                                            \
    (void)unused7, (void)unused8;                                                            \
    return kernel_general<T>(ID, nx, x, nsite, site, position, value, cellTable, cell, flags, \
                             callback, params, aux, flagBlock);                              \
  }
#define ZYN_DF_DEFINE_KIND(T, P, Kind, ID)              \
  ZYN_DF_DEFINE_FORM(T, P, Kind, 32, int32_t, ID)       \
  ZYN_DF_DEFINE_FORM(T, P, Kind, 64, int64_t, ID)       \
  ZYN_DF_DEFINE_FORM(T, P, Kind, 64Pack, int64_t, ID)   \
  ZYN_DF_DEFINE_GENERAL(T, P, Kind, ID)
#define ZYN_DF_DEFINE_USER_KIND(T, P, Kind, ID)            \
  ZYN_DF_DEFINE_USER_FORM(T, P, Kind, 32, int32_t, ID)     \
  ZYN_DF_DEFINE_USER_FORM(T, P, Kind, 64, int64_t, ID)     \
  ZYN_DF_DEFINE_USER_FORM(T, P, Kind, 64Pack, int64_t, ID) \
  ZYN_DF_DEFINE_USER_GENERAL(T, P, Kind, ID)
#define ZYN_DF_DEFINE_ALL(T, P)                                          \
  ZYN_DF_DEFINE_KIND(T, P, Uniform, DF_SEARCH_UNIFORM)                   \
  ZYN_DF_DEFINE_KIND(T, P, QuasiUniform, DF_SEARCH_QUASI_UNIFORM)        \
  ZYN_DF_DEFINE_KIND(T, P, Sorted, DF_SEARCH_SORTED)                     \
  ZYN_DF_DEFINE_KIND(T, P, Peak, DF_SEARCH_PEAK)                         \
  ZYN_DF_DEFINE_KIND(T, P, Hybrid, DF_SEARCH_HYBRID)                     \
  ZYN_DF_DEFINE_USER_KIND(T, P, UserDef, DF_SEARCH_USER_DEF)             \
  ZYN_DF_DEFINE_USER_KIND(T, P, UniUserDef, DF_SEARCH_UNI_USER_DEF)
ZYN_DF_DEFINE_ALL(double, d)
ZYN_DF_DEFINE_ALL(float, s)
