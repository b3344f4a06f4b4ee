// Interpolation: the cells of a block of sites become pieces, and the wanted derivatives of each
// piece's polynomial go to r. A site outside the partition is evaluated on the end polynomial of
// its side, carried on beyond the end.
#include <algorithm>
#include <cstring>

#include "fitting/evaluate.hpp"

namespace zyn::df {

namespace {

// Where result (function f, site i, derivative slot j) goes: r[f*fs + i*ss + j*ds].
struct Layout {
  int64_t fs, ss, ds;
};
Layout layout(int64_t hint, int64_t nsite, int64_t ny, int64_t k) {
  switch (hint) {
    case DF_MATRIX_STORAGE_COLS: return {k, ny * k, 1};
    case DF_MATRIX_STORAGE_FUNCS_DERS_SITES: return {k * nsite, 1, nsite};
    case DF_MATRIX_STORAGE_SITES_DERS_FUNCS: return {1, k * ny, ny};
    default: return {nsite * k, k, 1};
  }
}

template <class T>
using InterpCallback = int (*)(int64_t *, int64_t *, const T *, T *, void *);

template <class T>
struct Eval {
  const DfTask *t;
  int kind;
  int64_t nx, ny, order;
  Pieces<T> pc;
  bool der[4];
  int64_t k;
  Layout lay;
  T *r;
  InterpCallback<T> cb[3];  // left, right, interior
  void *cbp[3];
};

// Four coefficients: value and derivatives 1 to 3 of ((c3 t + c2) t + c1) t + c0.
template <class T>
void eval_four(const Eval<T> &e, int64_t f, int64_t n, const T *site, const int64_t *piece,
               const T *left, T *r) {
  const T *c = static_cast<const T *>(e.t->coeff[f]);
  const int64_t ss = e.lay.ss, ds = e.lay.ds;
  if (e.k == 1 && e.der[0]) {
    for (int64_t i = 0; i < n; ++i) {
      const T *q = c + 4 * piece[i];
      const T t = site[i] - left[i];
      r[i * ss] = ((q[3] * t + q[2]) * t + q[1]) * t + q[0];
    }
    return;
  }
  if (e.k == 2 && e.der[0] && e.der[1]) {
    for (int64_t i = 0; i < n; ++i) {
      const T *q = c + 4 * piece[i];
      const T t = site[i] - left[i];
      r[i * ss] = ((q[3] * t + q[2]) * t + q[1]) * t + q[0];
      r[i * ss + ds] = (T(3) * q[3] * t + T(2) * q[2]) * t + q[1];
    }
    return;
  }
  for (int64_t i = 0; i < n; ++i) {
    const T *q = c + 4 * piece[i];
    const T t = site[i] - left[i];
    T *ri = r + i * ss;
    if (e.der[0]) *ri = ((q[3] * t + q[2]) * t + q[1]) * t + q[0], ri += ds;
    if (e.der[1]) *ri = (T(3) * q[3] * t + T(2) * q[2]) * t + q[1], ri += ds;
    if (e.der[2]) *ri = T(2) * q[2] + T(6) * q[3] * t, ri += ds;
    if (e.der[3]) *ri = T(6) * q[3];
  }
}

// Any number of coefficients: derivative j is sum over m >= j of c[m] m!/(m-j)! t^(m-j).
template <class T>
void eval_poly(const Eval<T> &e, int64_t f, int64_t n, const T *site, const int64_t *piece,
               const T *left, T *r) {
  const T *c = static_cast<const T *>(e.t->coeff[f]);
  const int64_t o = e.order;
  for (int64_t i = 0; i < n; ++i) {
    const T *q = c + o * piece[i];
    const T t = site[i] - left[i];
    T *ri = r + i * e.lay.ss;
    for (int j = 0; j < 4; ++j) {
      if (!e.der[j]) continue;
      T acc = T(0);
      for (int64_t m = o - 1; m >= j; --m) {
        T fall = T(1);
        for (int64_t z = 0; z < j; ++z) fall *= static_cast<T>(m - z);
        acc = acc * t + q[m] * fall;
      }
      *ri = acc;
      ri += e.lay.ds;
    }
  }
}

// The general kind of order 0: the caller's callbacks compute k results per site.
template <class T>
int eval_callbacks(const Eval<T> &e, int64_t n, const T *site, int64_t *cell, T *r) {
  int64_t idx[DF_INTERP_BLOCK], cl[DF_INTERP_BLOCK];
  T st[DF_INTERP_BLOCK];
  T *tmp = static_cast<T *>(allocate(static_cast<size_t>(n * e.k) * sizeof(T)));
  if (!tmp) return DF_ERROR_MEM_FAILURE;
  int status = 0;
  for (int side = 0; side < 3 && status >= 0; ++side) {
    int64_t m = 0;
    for (int64_t i = 0; i < n; ++i) {
      const int which = cell[i] == 0 ? 0 : (cell[i] >= e.nx ? 1 : 2);
      if (which == side) idx[m] = i, cl[m] = cell[i], st[m] = site[i], ++m;
    }
    if (m == 0) continue;
    status = e.cb[side](&m, cl, st, tmp, e.cbp[side]);
    if (status < 0) break;
    for (int64_t a = 0; a < m; ++a)
      for (int64_t j = 0; j < e.k; ++j) r[idx[a] * e.lay.ss + j * e.lay.ds] = tmp[a * e.k + j];
  }
  release(tmp);
  return status < 0 ? status : 0;
}

template <class T>
struct Job {
  const Eval<T> *e;
  const SearchPlan<T> *plan;  // null when the cells are given
  int64_t nsite;
  const T *site;
  void *cell;
  bool wideCells, writeCells, evaluate;
};

// Sites [i0, i0 + n): cells, pieces, evaluation. `position` carries Sorted's position.
template <class T>
int block(const Job<T> &j, int64_t i0, int64_t n, int64_t *position) {
  int64_t cell[DF_INTERP_BLOCK], piece[DF_INTERP_BLOCK];
  T left[DF_INTERP_BLOCK];
  const T *site = j.site + i0;
  if (j.plan) {
    if (int st = search_serial(*j.plan, n, site, cell, position)) return st;
    if (j.writeCells) {
      if (j.wideCells) std::memcpy(static_cast<int64_t *>(j.cell) + i0, cell, n * sizeof(int64_t));
      else for (int64_t i = 0; i < n; ++i) static_cast<int32_t *>(j.cell)[i0 + i] = static_cast<int32_t>(cell[i]);
    }
  } else {
    for (int64_t i = 0; i < n; ++i)
      cell[i] = j.wideCells ? static_cast<const int64_t *>(j.cell)[i0 + i]
                            : static_cast<const int32_t *>(j.cell)[i0 + i];
  }
  if (!j.evaluate || j.e->k == 0) return 0;
  const Eval<T> &e = *j.e;
  T *r = e.r + i0 * e.lay.ss;
  if (e.kind == kCallbacks) return eval_callbacks(e, n, site, cell, r);
  e.pc.find(n, site, cell, piece, left);  // for the whole block, before any evaluation
  for (int64_t f = 0; f < e.ny; ++f) {
    T *rf = r + f * e.lay.fs;
    if (e.kind == kFour) eval_four(e, f, n, site, piece, left, rf);
    else eval_poly(e, f, n, site, piece, left, rf);
  }
  return 0;
}

template <class T>
int blocks(const Job<T> &j, int64_t b0, int64_t b1) {
  int64_t position = 0;
  for (int64_t b = b0; b < b1; ++b) {
    const int64_t i0 = b * DF_INTERP_BLOCK;
    if (int st = block(j, i0, std::min<int64_t>(DF_INTERP_BLOCK, j.nsite - i0), &position))
      return st;
  }
  return 0;
}

template <class T>
int interpolate(DfTask *t, int64_t type, int64_t nsite, const T *site, int64_t siteHint,
                int64_t ndorder, const int64_t *dorder, const T *dataHint, T *r, int64_t rHint,
                void *cell, InterpCallback<T> le, void *leP, InterpCallback<T> re, void *reP,
                InterpCallback<T> in, void *inP, SearchCallback<T> search, void *searchP,
                const ZynThreading *th) {
  if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  const int kind = choose_kind(t->splineOrder, t->splineType, le && re && in);
  if (kind < 0) return DF_ERROR_BAD_SPLINE_TYPE;
  const bool given = type == DF_INTERP_USER_CELL;
  SearchPlan<T> plan;
  if (!given) {
    if (int st = plan_search(t, siteHint, dataHint, search, searchP, true, &plan)) return st;
  }
  if (nsite != 1) {
    if (rHint == DF_NO_RHINT || rHint == DF_MATRIX_STORAGE_ROWS_ALIAS) rHint = DF_MATRIX_STORAGE_ROWS;
    if (rHint != DF_MATRIX_STORAGE_ROWS && rHint != DF_MATRIX_STORAGE_COLS &&
        rHint != DF_MATRIX_STORAGE_FUNCS_DERS_SITES && rHint != DF_MATRIX_STORAGE_SITES_DERS_FUNCS)
      return DF_ERROR_BAD_RHINT;
  }
  if (nsite <= 0) return 0;
  if ((given || (type & DF_INTERP)) && kind != kCallbacks && !t->coeff) return DF_ERROR_NULL_COEFF;
  Eval<T> e{t, kind, t->nx, t->ny < 1 ? 1 : t->ny, t->splineOrder, Pieces<T>(t, kind),
            {}, 0, {}, r, {}, {}};
  for (int j = 0; j < 4; ++j) {
    e.der[j] = dorder ? (j < ndorder && dorder[j] != 0) : j == 0;
    e.k += e.der[j];
  }
  e.lay = layout(rHint, nsite, e.ny, e.k);
  e.cb[0] = le, e.cb[1] = re, e.cb[2] = in;
  e.cbp[0] = leP, e.cbp[1] = reP, e.cbp[2] = inP;
  Job<T> j{&e, given ? nullptr : &plan, nsite, site, cell, t->indexWidth != 0,
           (type & DF_CELL) && !given, given || (type & DF_INTERP)};
  T *expanded = nullptr;
  if (siteHint == DF_UNIFORM_PARTITION_SITES) {
    if (!(expanded = even_sites(nsite, site))) return DF_ERROR_MEM_FAILURE;
    j.site = expanded;
  }
  const bool user = search != nullptr && !given;
  const int st = share_blocks(th, (nsite + DF_INTERP_BLOCK - 1) / DF_INTERP_BLOCK,
                              !user && kind != kCallbacks,
                              [&](int64_t b0, int64_t b1) { return blocks(j, b0, b1); });
  release(expanded);
  return st;
}

}  // namespace

}  // namespace zyn::df

using namespace zyn::df;

#define ZYN_DF_INTERPOLATE(P, T)                                                               \
  int zyn_df_kernel_##P##DFInterpolate1D(                                                      \
      DfTask *task, int64_t type, int64_t, int64_t nsite, const T *site, int64_t siteHint,      \
      int64_t ndorder, const int64_t *dorder, const T *dataHint, T *r, int64_t rHint,           \
      void *cell, Df##P##InterpCallback le, void *leP, Df##P##InterpCallback re, void *reP,     \
      Df##P##InterpCallback in, void *inP, Df##P##SearchCallback search, void *searchP,         \
      const ZynThreading *th) {                                                                 \
    return interpolate(task, type, nsite, site, siteHint, ndorder, dorder, dataHint, r, rHint, \
                       cell, le, leP, re, reP, in, inP, search, searchP, th);                  \
  }
ZYN_DF_INTERPOLATE(d, double)
ZYN_DF_INTERPOLATE(s, float)
