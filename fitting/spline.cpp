// Spline construction: linear, default cubic, natural cubic, quadratic.
//
// Cell i (0 <= i <= nx - 2) holds c[0] + c[1]*t + c[2]*t^2 + c[3]*t^3, t = x - x[i], as far as
// the order goes; h[i] = x[i+1] - x[i], s[i] = (y[i+1] - y[i]) / h[i]. A uniform partition holds
// only its ends, and its kernels multiply by 1/h instead of dividing.
#include <algorithm>
#include <cstring>

#include "fitting/common.hpp"

namespace zyn::df {

namespace {

// The breakpoints of a task: stored, or uniform from the two ends.
template <class T, bool Uni>
struct Grid {
  const T *x;
  T h, invh;
  explicit Grid(const DfTask *t) : x(xs<T>(t)) {
    h = Uni ? (x[1] - x[0]) / static_cast<T>(t->nx - 1) : T(0);
    invh = Uni ? static_cast<T>(t->nx - 1) / (x[1] - x[0]) : T(0);
  }
  T at(int64_t i) const { return Uni ? static_cast<T>(i) * h + x[0] : x[i]; }
  T step(int64_t i) const { return Uni ? h : x[i + 1] - x[i]; }
  T slope(T dy, int64_t i) const { return Uni ? dy * invh : dy / (x[i + 1] - x[i]); }
};

// One function's values: rows (stride 1) or columns (stride ny).
template <class T>
struct Fn {
  const T *p;
  int64_t stride;
  T operator[](int64_t i) const { return p[i * stride]; }
};
template <class T>
Fn<T> function(const DfTask *t, int64_t f) {
  if (t->yHint == DF_FUNCS_COLUMNS) return {fn<T>(t, 0) + f, t->ny};
  return {fn<T>(t, f), 1};
}
template <class T>
T *coeffs(const DfTask *t, int64_t f) { return static_cast<T *>(t->coeff[f]); }

inline int64_t functions(const DfTask *t) { return t->ny < 1 ? 1 : t->ny; }

template <class T>
bool periodic_values_ok(const DfTask *t) {
  for (int64_t f = 0; f < functions(t); ++f) {
    const Fn<T> y = function<T>(t, f);
    if (y[0] != y[t->nx - 1]) return false;
  }
  return true;
}

// Calls fn(Uni) with the partition kind as a compile-time constant.
template <class T, class F>
int by_partition(const DfTask *t, F &&fn) {
  if (t->xHint & DF_PARTITION_UNIFORM) return fn(Grid<T, true>(t));
  return fn(Grid<T, false>(t));
}

bool cubic_bc_known(int64_t bc) {
  return bc == DF_BC_NOT_A_KNOT || bc == DF_BC_FREE_END ||
         bc == (DF_BC_1ST_LEFT_DER | DF_BC_1ST_RIGHT_DER) ||
         bc == (DF_BC_1ST_LEFT_DER | DF_BC_2ND_RIGHT_DER) ||
         bc == (DF_BC_2ND_LEFT_DER | DF_BC_1ST_RIGHT_DER) ||
         bc == (DF_BC_2ND_LEFT_DER | DF_BC_2ND_RIGHT_DER) || bc == DF_BC_PERIODIC;
}
// bcType check of the cubic constructors; `periodicNeedsBc` says whether 64 asks for bc.
int check_cubic_bc(const DfTask *t, bool periodicNeedsBc) {
  if (!cubic_bc_known(t->bcType)) return DF_ERROR_BAD_BC_TYPE;
  const bool pair = t->bcType & (DF_BC_1ST_LEFT_DER | DF_BC_1ST_RIGHT_DER | DF_BC_2ND_LEFT_DER |
                                 DF_BC_2ND_RIGHT_DER);
  if (pair && !t->bc) return DF_ERROR_NULL_BC;
  if (t->bcType == DF_BC_PERIODIC && periodicNeedsBc && !t->bc) return DF_ERROR_NULL_BC;
  return DF_STATUS_OK;
}
// The values and the coefficient storage must be there; a task made with no functions, or
// never given coefficient storage, is refused rather than read through a null table.
int data_ready(const DfTask *t) {
  if (!t->y || !t->y[0]) return DF_ERROR_NULL_Y;
  if (!t->coeff || !t->coeff[0]) return DF_ERROR_NULL_COEFF;
  return DF_STATUS_OK;
}

bool y_hint_ok(int64_t h) {
  return h == DF_FUNCS_NO_HINT || h == DF_FUNCS_ROWS || h == DF_FUNCS_COLUMNS ||
         h == DF_FUNCS_ROWS_BY_POINTER;
}

// ---- linear --------------------------------------------------------------------------------

constexpr int64_t kTileCells = 1024, kTileFuncs = 4, kMinThreadedTiles = 5;

template <class T, bool Uni>
void linear_tile(const DfTask *t, const Grid<T, Uni> &g, int64_t i0, int64_t i1, int64_t f0,
                 int64_t f1) {
  for (int64_t f = f0; f < f1; ++f) {
    const Fn<T> y = function<T>(t, f);
    T *c = coeffs<T>(t, f);
    for (int64_t i = i0; i < i1; ++i) {
      c[2 * i] = y[i];
      c[2 * i + 1] = g.slope(y[i + 1] - y[i], i);
    }
  }
}

template <class T, bool Uni>
struct LinearJob {
  const DfTask *t;
  const Grid<T, Uni> *g;
  int64_t cellTiles, tiles;
};

template <class T, bool Uni>
void linear_tile_index(const LinearJob<T, Uni> &j, int64_t k) {
  const int64_t ci = k % j.cellTiles, fi = k / j.cellTiles;
  linear_tile(j.t, *j.g, ci * kTileCells, std::min(j.t->nx - 1, (ci + 1) * kTileCells),
              fi * kTileFuncs, std::min(functions(j.t), (fi + 1) * kTileFuncs));
}

template <class T, bool Uni>
void linear_worker(int thread, int threads, void *params) {
  const auto *j = static_cast<const LinearJob<T, Uni> *>(params);
  for (int64_t k = thread; k < j->tiles; k += threads) linear_tile_index(*j, k);
}

template <class T>
int linear(DfTask *t, int64_t b, const ZynThreading *th) {
  if (b != 0) return DF_ERROR_METHOD_NOT_SUPPORTED;
  if (t->nx < 2) return DF_ERROR_BAD_NX;
  if (!y_hint_ok(t->yHint)) return DF_ERROR_BAD_Y_HINT;
  if (int st = data_ready(t)) return st;
  if (t->bcType == DF_BC_PERIODIC && !periodic_values_ok<T>(t)) return DF_ERROR_BAD_PERIODIC_VAL;
  return by_partition<T>(t, [&](const auto &g) {
    using G = std::decay_t<decltype(g)>;
    constexpr bool Uni = std::is_same_v<G, Grid<T, true>>;
    const int64_t nx = t->nx, ny = functions(t);
    if (nx * ny < 128) {
      linear_tile(t, g, 0, nx - 1, 0, ny);
      return DF_STATUS_OK;
    }
    LinearJob<T, Uni> job{t, &g, (nx - 1 + kTileCells - 1) / kTileCells, 0};
    job.tiles = job.cellTiles * ((ny + kTileFuncs - 1) / kTileFuncs);
    const int threads = static_cast<int>(std::min<int64_t>(thread_count(th), job.tiles));
    if (job.tiles < kMinThreadedTiles || threads < 2 || !th || !th->run) {
      for (int64_t k = 0; k < job.tiles; ++k) linear_tile_index(job, k);
    } else {
      th->run(threads, threads, &job, linear_worker<T, Uni>);
    }
    return DF_STATUS_OK;
  });
}

// ---- default cubic: second derivatives at the inner breakpoints given in ic ---------------

template <class T, bool Uni>
int default_cubic_fn(const DfTask *t, const Grid<T, Uni> &g, int64_t f, T *s) {
  const int64_t nx = t->nx, L = nx - 2;
  const Fn<T> y = function<T>(t, f);
  const T *ic = static_cast<const T *>(t->ic);
  const T *bc = static_cast<const T *>(t->bc);
  auto M = [&](int64_t i) { return ic[i - 1]; };  // 1 <= i <= nx - 2
  T *c = coeffs<T>(t, f);
  for (int64_t i = 0; i <= L; ++i) s[i] = g.slope(y[i + 1] - y[i], i);
  for (int64_t i = 1; i <= L - 1; ++i) {
    const T h = g.step(i);
    T *ci = c + 4 * i;
    ci[0] = y[i];
    ci[1] = s[i] - (M(i + 1) / T(6) + M(i) / T(3)) * h;
    ci[2] = M(i) / T(2);
    ci[3] = (M(i + 1) - M(i)) / (T(6) * h);
  }
  T *c0 = c, *cl = c + 4 * L;
  const T h0 = g.step(0), hl = g.step(L);
  c0[0] = y[0];
  cl[0] = y[L];
  cl[2] = M(L) / T(2);
  if (t->bcType == DF_BC_PERIODIC && y[0] != y[nx - 1]) return DF_ERROR_BAD_PERIODIC_VAL;
  const int64_t bcType = t->bcType;
  // Left end.
  if (bcType == DF_BC_NOT_A_KNOT) {
    if (nx == 3) {
      // One cubic over both cells with curvature M(1) at x[1]: c3 from the value at x[2], which
      // is v0 + c3 H h1 (h1 - h0) (no such cubic when h1 = h0 and M(1) disagrees with the data).
      const T H = h0 + hl, c2 = M(1) / T(2), c1 = s[0] - c2 * h0;
      const T v0 = y[0] + (c2 * H + c1) * H;
      c0[3] = (y[2] - v0) / (H * hl * (hl - h0));
    } else {
      c0[3] = c[4 + 3];
    }
    c0[2] = M(1) / T(2) - T(3) * h0 * c0[3];
    c0[1] = s[0] - (c0[3] * h0 + c0[2]) * h0;
  } else if (bcType == DF_BC_FREE_END) {
    c0[2] = T(0);
    c0[3] = M(1) / (T(6) * h0);
    c0[1] = s[0] - h0 * h0 * c0[3];
  } else if (bcType & DF_BC_1ST_LEFT_DER) {
    c0[1] = bc[0];
    c0[3] = (bc[0] - s[0]) / (T(2) * h0 * h0) + M(1) / (T(4) * h0);
    c0[2] = M(1) / T(2) - T(3) * h0 * c0[3];
  } else if (bcType & DF_BC_2ND_LEFT_DER) {
    c0[2] = bc[0] / T(2);
    c0[3] = (M(1) / T(2) - c0[2]) / (T(3) * h0);
    c0[1] = s[0] - (c0[3] * h0 + c0[2]) * h0;
  } else {  // periodic, M[0] = bc[0]
    const T M0 = bc[0];
    c0[2] = M0 / T(2);
    c0[3] = (M(1) - M0) / (T(6) * h0);
    c0[1] = s[0] - (T(2) * M0 + M(1)) * h0 / T(6);
  }
  // Right end. The free end keeps c[3] = -c[2]/(6h), half of what zero curvature would need.
  if (bcType == DF_BC_NOT_A_KNOT) {
    cl[3] = c[4 * (L - 1) + 3];
    cl[1] = s[L] - (cl[3] * hl + cl[2]) * hl;
  } else if (bcType == DF_BC_FREE_END) {
    cl[3] = -cl[2] / (T(6) * hl);
    cl[1] = s[L] - (cl[2] + cl[3] * hl) * hl;
  } else if (bcType & DF_BC_1ST_RIGHT_DER) {
    cl[3] = ((bc[1] - s[L]) / hl - cl[2]) / (T(2) * hl);
    cl[1] = s[L] - (cl[2] + cl[3] * hl) * hl;
  } else if (bcType & DF_BC_2ND_RIGHT_DER) {
    cl[3] = (bc[1] - T(2) * cl[2]) / (T(6) * hl);
    cl[1] = s[L] - (cl[2] + cl[3] * hl) * hl;
  } else {
    const T M0 = bc[0];
    cl[3] = (M0 - M(L)) / (T(6) * hl);
    cl[1] = s[L] - (T(2) * M(L) + M0) * hl / T(6);
  }
  return DF_STATUS_OK;
}

template <class T>
int default_cubic(DfTask *t) {
  if (t->nx < 3) return DF_ERROR_BAD_NX;
  if (!y_hint_ok(t->yHint)) return DF_ERROR_BAD_Y_HINT;
  const bool needs = t->splineType == DF_PP_DEFAULT || t->splineType == DF_PP_HERMITE;
  if (int st = check_cubic_bc(t, needs)) return st;
  if (int st = data_ready(t)) return st;
  T *work = static_cast<T *>(allocate(static_cast<size_t>(3 * t->nx - 2) * sizeof(T)));
  if (!work) return DF_ERROR_MEM_FAILURE;
  const int st = by_partition<T>(t, [&](const auto &g) {
    for (int64_t f = 0; f < functions(t); ++f)
      if (int r = default_cubic_fn(t, g, f, work)) return r;
    return static_cast<int>(DF_STATUS_OK);
  });
  release(work);
  return st;
}

// ---- natural cubic: first derivatives m from one tridiagonal system --------------------------
//
// Inner rows: h[i] m[i-1] + 2(h[i-1] + h[i]) m[i] + h[i-1] m[i+1] = 3(h[i] s[i-1] + h[i-1] s[i]),
// divided by h on a uniform partition. End rows make the spline meet its condition:
//   same cubic (left): h1 m0 + (h0 + h1) m1 = ((3h0 + 2h1) h1 s0 + h0^2 s1) / (h0 + h1)
//   free end:          2 m0 + m1 = 3 s0                 (c[2] of cell 0 is zero)
//   slope v:           m0 = v
//   curvature v:       2 m0 + m1 = 3 s0 - v h0 / 2      (2 c[2] of cell 0 is v)
// and their mirrors at the right. Periodic: the cyclic system in m[0..nx-2], rows 0 and nx-2
// scaled to unit corners, is T + u u^T with u = e0 + e(nx-2); T is solved for the data and for
// u, and Sherman-Morrison combines them. All of these systems are diagonally dominant after
// the first elimination step, so factoring without pivoting is stable.

// An array whose element 0 may stand apart from the others (see the one-function path).
template <class T>
struct Vec {
  T *first, *rest;
  static Vec of(T *p) { return {p, p + 1}; }
  T &operator[](int64_t k) const { return k == 0 ? *first : rest[k - 1]; }
};

template <class T>
struct Rows {
  Vec<T> dl;
  T *d, *du;
};

// Inner rows, the matrix (Mat) and the right-hand side of function f (Rhs), in one pass.
template <bool Mat, bool Rhs, class T, bool Uni>
void natural_inner(const DfTask *t, const Grid<T, Uni> &g, int64_t f, Rows<T> a, Vec<T> b) {
  const int64_t nx = t->nx;
  if constexpr (Uni) {
    if constexpr (Mat)
      for (int64_t i = 1; i + 1 < nx; ++i) a.dl[i - 1] = T(1), a.d[i] = T(4), a.du[i] = T(1);
    if constexpr (Rhs) {
      const Fn<T> y = function<T>(t, f);
      const T k = T(3) * g.invh;
      for (int64_t i = 1; i + 1 < nx; ++i) b.rest[i - 1] = (y[i + 1] - y[i - 1]) * k;
    }
  } else {
    const T *x = g.x;
    const Fn<T> y = Rhs ? function<T>(t, f) : Fn<T>{x, 1};
    T hp = x[1] - x[0], sp = Rhs ? (y[1] - y[0]) / hp : T(0);
    auto row = [&](int64_t i, T hi, T si) {
      if constexpr (Mat) a.dl[i - 1] = hi, a.d[i] = T(2) * (hp + hi), a.du[i] = hp;
      if constexpr (Rhs) b.rest[i - 1] = T(3) * (hi * sp + hp * si), sp = si;
      hp = hi;
    };
    int64_t i = 1;
    for (; i + 2 < nx; i += 2) {  // two rows a step, their slopes from one vector division
      const T h1 = x[i + 1] - x[i], h2 = x[i + 2] - x[i + 1];
      T s1 = T(0), s2 = T(0);
      if constexpr (Rhs) div2(y[i + 1] - y[i], h1, y[i + 2] - y[i + 1], h2, s1, s2);
      row(i, h1, s1);
      row(i + 1, h2, s2);
    }
    if (i + 1 < nx) {
      const T h1 = x[i + 1] - x[i];
      row(i, h1, Rhs ? (y[i + 1] - y[i]) / h1 : T(0));
    }
  }
}

template <class T, bool Uni>
void natural_matrix_ends(const DfTask *t, const Grid<T, Uni> &g, Rows<T> a) {
  const int64_t nx = t->nx, bcType = t->bcType;
  if (bcType == DF_BC_PERIODIC) {
    const int64_t N = nx - 1;
    if (N >= 2) {
      const T h0 = g.step(0), hl = g.step(N - 1), hp = g.step(N - 2);
      a.d[0] = T(2) * (hl + h0) / h0 - T(1);
      a.du[0] = hl / h0;
      a.dl[N - 2] = hl / hp;
      a.d[N - 1] = T(2) * (hp + hl) / hp - T(1);
    } else {
      a.d[0] = T(1);  // one cell: the slope is 0, set after the solve
    }
    a.du[N - 1] = T(0);  // m[nx-1] is decoupled and set to m[0] afterwards
    a.dl[N - 1] = T(0);
    a.d[N] = T(1);
    return;
  }
  if (bcType == DF_BC_NOT_A_KNOT) {
    const T h0 = g.step(0), hl = g.step(nx - 2), h1 = g.step(1), hm = g.step(nx - 3);
    a.d[0] = h1, a.du[0] = h0 + h1;
    a.dl[nx - 2] = hl + hm, a.d[nx - 1] = hm;
    return;
  }
  if (bcType & DF_BC_1ST_LEFT_DER) a.d[0] = T(1), a.du[0] = T(0);
  else a.d[0] = T(2), a.du[0] = T(1);
  if (bcType & DF_BC_1ST_RIGHT_DER) a.dl[nx - 2] = T(0), a.d[nx - 1] = T(1);
  else a.dl[nx - 2] = T(1), a.d[nx - 1] = T(2);
}

template <class T, bool Uni>
void natural_rhs_ends(const DfTask *t, const Grid<T, Uni> &g, int64_t f, Vec<T> b) {
  const int64_t nx = t->nx, bcType = t->bcType;
  const Fn<T> y = function<T>(t, f);
  const T *bc = static_cast<const T *>(t->bc);
  const T h0 = g.step(0), hl = g.step(nx - 2);
  const T s0 = g.slope(y[1] - y[0], 0), sl = g.slope(y[nx - 1] - y[nx - 2], nx - 2);
  if (bcType == DF_BC_PERIODIC) {
    const int64_t N = nx - 1;
    if (N >= 2) {
      const T hp = g.step(N - 2), sp = g.slope(y[N - 1] - y[N - 2], N - 2);
      b[0] = T(3) * (h0 * sl + hl * s0) / h0;
      b[N - 1] = T(3) * (hl * sp + hp * sl) / hp;
    } else {
      b[0] = T(0);
    }
    b[N] = T(0);
    return;
  }
  if (bcType == DF_BC_NOT_A_KNOT) {
    const T h1 = g.step(1), hm = g.step(nx - 3);
    const T s1 = g.slope(y[2] - y[1], 1), sm = g.slope(y[nx - 2] - y[nx - 3], nx - 3);
    b[0] = ((T(3) * h0 + T(2) * h1) * h1 * s0 + h0 * h0 * s1) / (h0 + h1);
    b[nx - 1] = ((T(3) * hl + T(2) * hm) * hm * sl + hl * hl * sm) / (hl + hm);
    return;
  }
  if (bcType & DF_BC_1ST_LEFT_DER) b[0] = bc[0];
  else if (bcType & DF_BC_2ND_LEFT_DER) b[0] = T(3) * s0 - bc[0] * h0 / T(2);
  else b[0] = T(3) * s0;
  if (bcType & DF_BC_1ST_RIGHT_DER) b[nx - 1] = bc[1];
  else if (bcType & DF_BC_2ND_RIGHT_DER) b[nx - 1] = T(3) * sl + bc[1] * hl / T(2);
  else b[nx - 1] = T(3) * sl;
}

template <class T, bool Uni>
void natural_matrix(const DfTask *t, const Grid<T, Uni> &g, Rows<T> a) {
  natural_inner<true, false>(t, g, 0, a, Vec<T>{});
  natural_matrix_ends(t, g, a);
}
template <class T, bool Uni>
void natural_rhs(const DfTask *t, const Grid<T, Uni> &g, int64_t f, T *b) {
  natural_inner<false, true>(t, g, f, Rows<T>{}, Vec<T>::of(b));
  natural_rhs_ends(t, g, f, Vec<T>::of(b));
}

// Slopes of the parabola through three points (the same-cubic condition on two cells).
template <class T, bool Uni>
void parabola_slopes(const DfTask *t, const Grid<T, Uni> &g, int64_t f, T *m) {
  const Fn<T> y = function<T>(t, f);
  const T h0 = g.step(0), h1 = g.step(1);
  const T s0 = g.slope(y[1] - y[0], 0), s1 = g.slope(y[2] - y[1], 1);
  const T d2 = (s1 - s0) / (h0 + h1);
  m[0] = s0 - h0 * d2, m[1] = s0 + h0 * d2, m[2] = s1 + h1 * d2;
}

// Coefficients of function f from its slopes m[0] = m0, m[i] = mr[i-1]. mr may lie in the
// coefficient storage itself, behind the cells written so far: each cell's slopes are read
// before the cell is stored, and cell i ends below mr[i] for i < nx - 2.
template <class T, bool Uni>
void natural_cells(const DfTask *t, const Grid<T, Uni> &g, int64_t f, T m0, const T *mr) {
  const int64_t nx = t->nx;
  const Fn<T> y = function<T>(t, f);
  T *c = coeffs<T>(t, f);
  T mi = m0;
  auto cell = [&](int64_t i, T ih) {
    const T mn = mr[i];
    const T s = (y[i + 1] - y[i]) * ih;
    const T c2 = (T(3) * s - T(2) * mi - mn) * ih;
    const T c3 = (mi + mn - T(2) * s) * (ih * ih);
    c[4 * i] = y[i];
    c[4 * i + 1] = mi;
    c[4 * i + 2] = c2;
    c[4 * i + 3] = c3;
    mi = mn;
  };
  int64_t i = 0;
  for (; i + 2 < nx; i += 2) {  // two cells a step, their 1/h from one vector division
    T i0 = g.invh, i1 = g.invh;
    if constexpr (!Uni) div2(T(1), g.x[i + 1] - g.x[i], T(1), g.x[i + 2] - g.x[i + 1], i0, i1);
    cell(i, i0);
    cell(i + 1, i1);
  }
  if (i + 1 < nx) cell(i, Uni ? g.invh : T(1) / (g.x[i + 1] - g.x[i]));
}

// The same from a full slope vector m (periodic: corrected by the column q first).
template <class T, bool Uni>
void natural_coeffs(const DfTask *t, const Grid<T, Uni> &g, int64_t f, T *m, const T *q) {
  const int64_t nx = t->nx;
  if (q) {
    const int64_t N = nx - 1;
    if (N >= 2) {
      const T k = (m[0] + m[N - 1]) / (T(1) + q[0] + q[N - 1]);
      for (int64_t i = 0; i < N; ++i) m[i] -= k * q[i];
    } else {
      m[0] = T(0);
    }
    m[N] = m[0];
  }
  natural_cells(t, g, f, m[0], m + 1);
}

template <class T>
struct Solver;
template <>
struct Solver<double> {
  static void trf(const int *n, double *dl, double *d, double *du, int *info) {
    zyn::core::ddttrfb_4dfl(n, dl, d, du, info);
  }
  static void trs(const int *n, const int *k, const double *dl, const double *d,
                  const double *du, double *b, const int *ldb, int *info) {
    zyn::core::ddttrsb_4dfl("N", n, k, dl, d, du, b, ldb, info);
  }
  static void sv(const int *n, const int *k, double *dl, double *d, double *du, double *b,
                 const int *ldb, int *info) {
    zyn::core::ddtsvb_4dfl(n, k, dl, d, du, b, ldb, info);
  }
};
template <>
struct Solver<float> {
  static void trf(const int *n, float *dl, float *d, float *du, int *info) {
    zyn::core::sdttrfb_4dfl(n, dl, d, du, info);
  }
  static void trs(const int *n, const int *k, const float *dl, const float *d, const float *du,
                  float *b, const int *ldb, int *info) {
    zyn::core::sdttrsb_4dfl("N", n, k, dl, d, du, b, ldb, info);
  }
  static void sv(const int *n, const int *k, float *dl, float *d, float *du, float *b,
                 const int *ldb, int *info) {
    zyn::core::sdtsvb_4dfl(n, k, dl, d, du, b, ldb, info);
  }
};

template <class T, bool Uni>
struct NaturalJob {
  const DfTask *t;
  const Grid<T, Uni> *g;
  Rows<T> a;
  T *b;        // nx * ny right-hand sides, function f at b + f*nx
  const T *q;  // periodic correction column, or null
  int32_t *status;
  int64_t perThread;
};

// Solves and writes the coefficients of functions [f0, f1) with the factored matrix.
template <class T, bool Uni>
void natural_functions(const NaturalJob<T, Uni> &j, int64_t f0, int64_t f1) {
  if (f1 <= f0) return;
  const int64_t nx = j.t->nx;
  for (int64_t f = f0; f < f1; ++f) natural_rhs(j.t, *j.g, f, j.b + f * nx);
  const int n = static_cast<int>(nx), k = static_cast<int>(f1 - f0);
  int info = 0;
  Solver<T>::trs(&n, &k, j.a.dl.first, j.a.d, j.a.du, j.b + f0 * nx, &n, &info);
  for (int64_t f = f0; f < f1; ++f) {
    if (info) { j.status[f] = DF_ERROR_LINEAR_SOLVER; continue; }
    natural_coeffs(j.t, *j.g, f, j.b + f * nx, j.q);
  }
}

template <class T, bool Uni>
void natural_worker(int thread, int threads, void *params) {
  const auto *j = static_cast<const NaturalJob<T, Uni> *>(params);
  const int64_t ny = functions(j->t);
  const int64_t f0 = thread * j->perThread;
  const int64_t f1 = thread + 1 == threads ? ny : std::min(ny, f0 + j->perThread);
  natural_functions(*j, f0, f1);
}

template <class T, bool Uni>
int natural_run(DfTask *t, const Grid<T, Uni> &g, const ZynThreading *th) {
  const int64_t nx = t->nx, ny = functions(t);
  const bool periodic = t->bcType == DF_BC_PERIODIC;
  const int64_t G = std::min<int64_t>(thread_count(th), ny);
  const bool threaded = !(ny == 1 || G == 1 || nx < 300 || (nx < 600 && G < 8)) && th && th->run;
  if (t->bcType == DF_BC_NOT_A_KNOT && nx == 3) {  // too short for the end rows: the parabola
    T m[3];
    for (int64_t f = 0; f < ny; ++f) {
      parabola_slopes(t, g, f, m);
      natural_coeffs(t, g, f, m, static_cast<const T *>(nullptr));
    }
    return DF_STATUS_OK;
  }
  const int n = static_cast<int>(nx);
  int info = 0, st = DF_STATUS_OK;
  if (!threaded && ny == 1 && !periodic) {
    // One function: no work block. The system lives in the coefficient storage, which the
    // coefficients overwrite once the slopes are known. Row 0 is eliminated first (its pivot is
    // h1, 1 or 2), so the solver sees rows 1..nx-1: dl (nx-2), d (nx-1), du (nx-2) and b (nx-1)
    // fill the 4nx - 4 elements with d[0], du[0] just before their arrays and dl[0], b[0] apart.
    T *c = coeffs<T>(t, 0);
    T dl0 = 0, b0 = 0;
    Rows<T> a{Vec<T>{&dl0, c}, c + (nx - 2), c + (2 * nx - 2)};
    Vec<T> b{&b0, c + (3 * nx - 3)};
    natural_inner<true, true>(t, g, 0, a, b);
    natural_matrix_ends(t, g, a);
    natural_rhs_ends(t, g, 0, b);
    const T f = dl0 / a.d[0];
    a.d[1] -= f * a.du[0];
    b.rest[0] -= f * b0;
    const int n1 = n - 1, one = 1;
    Solver<T>::sv(&n1, &one, a.dl.rest, a.d + 1, a.du + 1, b.rest, &n1, &info);
    if (info) return DF_ERROR_LINEAR_SOLVER;
    natural_cells(t, g, 0, (b0 - a.du[0] * b.rest[0]) / a.d[0], b.rest);
    return DF_STATUS_OK;
  }
  const int64_t nrhs = ny + (periodic ? 1 : 0);
  const size_t elems = static_cast<size_t>(3 * nx - 2 + nx * nrhs);
  const size_t bytes = elems * sizeof(T) + static_cast<size_t>(ny) * sizeof(int32_t);
  T *work = static_cast<T *>(allocate(bytes));
  if (!work) return DF_ERROR_MEM_FAILURE;
  Rows<T> a{Vec<T>::of(work), work + (nx - 1), work + (2 * nx - 1)};
  T *b = work + (3 * nx - 2);
  int32_t *status = reinterpret_cast<int32_t *>(work + elems);
  std::memset(status, 0, static_cast<size_t>(ny) * sizeof(int32_t));
  natural_matrix(t, g, a);
  Solver<T>::trf(&n, a.dl.first, a.d, a.du, &info);
  T *q = nullptr;
  if (!info && periodic) {
    q = b + ny * nx;
    std::fill(q, q + nx, T(0));
    q[0] = T(1);
    q[nx - 2] = T(1);
    const int one = 1;
    Solver<T>::trs(&n, &one, a.dl.first, a.d, a.du, q, &n, &info);
  }
  if (info) {
    st = DF_ERROR_LINEAR_SOLVER;
  } else {
    NaturalJob<T, Uni> job{t, &g, a, b, q, status, ny};
    if (threaded) {
      job.perThread = (ny + G - 1) / G;
      th->run(static_cast<int>(G), static_cast<int>(G), &job, natural_worker<T, Uni>);
    } else {
      natural_functions(job, 0, ny);
    }
    for (int64_t f = 0; f < ny; ++f)
      if (status[f]) st = status[f];
  }
  release(work);
  return st;
}

template <class T>
int natural_cubic(DfTask *t, int64_t b, const ZynThreading *th) {
  if (b != 0) return DF_ERROR_METHOD_NOT_SUPPORTED;
  if (t->nx < 2) return DF_ERROR_BAD_NX;
  if (t->nx == 2 && t->bcType == DF_BC_NOT_A_KNOT) return DF_ERROR_BAD_NX;
  if (!y_hint_ok(t->yHint)) return DF_ERROR_BAD_Y_HINT;
  const bool needs = t->splineType == DF_PP_DEFAULT || t->splineType == DF_PP_HERMITE;
  if (int st = check_cubic_bc(t, needs)) return st;
  if (int st = data_ready(t)) return st;
  if (t->bcType == DF_BC_PERIODIC && !periodic_values_ok<T>(t)) return DF_ERROR_BAD_PERIODIC_VAL;
  return by_partition<T>(t, [&](const auto &g) { return natural_run(t, g, th); });
}

// ---- quadratic ------------------------------------------------------------------------------
//
// Type 0 (bcType END_QUADRATIC_VALUE): C1 quadratics on the cells through the data, the
// spline's value at the midpoint of cell 0 given in bc[0]. Slopes at the breakpoints follow
// m[i+1] = 2 s[i] - m[i]; cell i is y[i] + m[i] t + (s[i] - m[i]) / h[i] t^2.
//
// Type 1: the knots lie between the breakpoints (given in ic, or the midpoints of the cells when
// icType has DF_IC_Q_KNOT_MIDPOINT), so there are nx cells: [x0, k0], [k0, k1], ...,
// [k(nx-2), x(nx-1)], each holding its breakpoint. Unknowns: the slopes u at x0, at the knots
// and at x(nx-1). Value continuity at knot j gives the tridiagonal row
//   u[j] e^2/(2w) + u[j+1] (e(w+d)/(2w) + d'(2w'-d')/(2w')) + u[j+2] d'^2/(2w') = y[j+1] - y[j]
// where cell j has width w and its breakpoint lies d from its left end and e from its right, and
// cell j+1 has w', d'. The end rows take the two derivative conditions.

template <class T, bool Uni>
int quadratic_default(const DfTask *t, const Grid<T, Uni> &g) {
  const int64_t nx = t->nx;
  const T *bc = static_cast<const T *>(t->bc);
  for (int64_t f = 0; f < functions(t); ++f) {
    const Fn<T> y = function<T>(t, f);
    T *c = coeffs<T>(t, f);
    const T h0 = g.step(0);
    T m = T(4) * (bc[0] - y[0]) / h0 - g.slope(y[1] - y[0], 0);
    for (int64_t i = 0; i + 1 < nx; ++i) {
      const T s = g.slope(y[i + 1] - y[i], i);
      c[3 * i] = y[i];
      c[3 * i + 1] = m;
      c[3 * i + 2] = Uni ? (s - m) * g.invh : (s - m) / g.step(i);
      m = T(2) * s - m;
    }
  }
  return DF_STATUS_OK;
}

template <class T, bool Uni>
int quadratic_knots(const DfTask *t, const Grid<T, Uni> &g, bool midpoints) {
  const int64_t nx = t->nx, n = nx + 1;
  const T *ic = static_cast<const T *>(t->ic);
  const T *bc = static_cast<const T *>(t->bc);
  auto knot = [&](int64_t j) { return midpoints ? (g.at(j) + g.at(j + 1)) / T(2) : ic[j]; };
  auto left = [&](int64_t j) { return j == 0 ? g.at(0) : knot(j - 1); };
  auto right = [&](int64_t j) { return j == nx - 1 ? g.at(nx - 1) : knot(j); };
  T *work = static_cast<T *>(allocate(static_cast<size_t>(4 * n) * sizeof(T)));
  if (!work) return DF_ERROR_MEM_FAILURE;
  T *dl = work, *d = work + n, *du = work + 2 * n, *u = work + 3 * n;
  const int64_t bcType = t->bcType;
  int st = DF_STATUS_OK;
  for (int64_t f = 0; f < functions(t) && st == DF_STATUS_OK; ++f) {
    const Fn<T> y = function<T>(t, f);
    const T w0 = right(0) - left(0), wl = right(nx - 1) - left(nx - 1);
    if (bcType & DF_BC_1ST_LEFT_DER) d[0] = T(1), du[0] = T(0), u[0] = bc[0];
    else d[0] = T(-1), du[0] = T(1), u[0] = bc[0] * w0;
    for (int64_t j = 0; j + 1 < nx; ++j) {
      const T w = right(j) - left(j), dd = g.at(j) - left(j), e = right(j) - g.at(j);
      const T w1 = right(j + 1) - left(j + 1), d1 = g.at(j + 1) - left(j + 1);
      dl[j] = e * e / (T(2) * w);
      d[j + 1] = e * (w + dd) / (T(2) * w) + d1 * (T(2) * w1 - d1) / (T(2) * w1);
      du[j + 1] = d1 * d1 / (T(2) * w1);
      u[j + 1] = y[j + 1] - y[j];
    }
    if (bcType & DF_BC_1ST_RIGHT_DER) dl[n - 2] = T(0), d[n - 1] = T(1), u[n - 1] = bc[1];
    else dl[n - 2] = T(-1), d[n - 1] = T(1), u[n - 1] = bc[1] * wl;
    const int ni = static_cast<int>(n), one = 1;
    int info = 0;
    Solver<T>::sv(&ni, &one, dl, d, du, u, &ni, &info);
    if (info) { st = DF_ERROR_LINEAR_SOLVER; break; }
    T *c = coeffs<T>(t, f);
    for (int64_t j = 0; j < nx; ++j) {
      const T w = right(j) - left(j), dd = g.at(j) - left(j);
      c[3 * j] = y[j] - (u[j] * (dd - dd * dd / (T(2) * w)) + u[j + 1] * dd * dd / (T(2) * w));
      c[3 * j + 1] = u[j];
      c[3 * j + 2] = (u[j + 1] - u[j]) / (T(2) * w);
    }
  }
  release(work);
  return st;
}

template <class T>
int quadratic(DfTask *t) {
  if (!y_hint_ok(t->yHint)) return DF_ERROR_BAD_Y_HINT;
  if (t->splineType == DF_PP_DEFAULT) {
    if (t->bcType != DF_BC_Q_VAL) return DF_ERROR_BAD_BC_TYPE;
    if (!t->bc) return DF_ERROR_NULL_BC;
    if (int st = data_ready(t)) return st;
    return by_partition<T>(t, [&](const auto &g) { return quadratic_default(t, g); });
  }
  if (t->splineType == DF_PP_SUBBOTIN) {
    if (!(t->icType & DF_IC_Q_KNOT)) return DF_ERROR_BAD_IC_TYPE;
    if (int st = check_cubic_bc(t, true)) return st;
    // Only the four derivative pairs have kernels: same cubic, free end and periodic do not.
    if (t->bcType == DF_BC_NOT_A_KNOT || t->bcType == DF_BC_FREE_END ||
        t->bcType == DF_BC_PERIODIC)
      return DF_ERROR_BAD_BC_TYPE;
    if (int st = data_ready(t)) return st;
    const bool mid = t->icType & DF_IC_Q_KNOT_MIDPOINT;
    return by_partition<T>(t, [&](const auto &g) { return quadratic_knots(t, g, mid); });
  }
  return DF_ERROR_METHOD_NOT_SUPPORTED;
}

}  // namespace

}  // namespace zyn::df

using namespace zyn::df;

#define ZYN_DF_CONSTRUCTOR(Name, call)                                                          \
  int zyn_df_kernel_d##Name(DfTask *t, int64_t, int64_t b, const ZynThreading *th) {             \
    (void)b, (void)th;                                                                        \
    if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;                                             \
    using T = double;                                                                         \
    return call;                                                                              \
  }                                                                                           \
  int zyn_df_kernel_s##Name(DfTask *t, int64_t, int64_t b, const ZynThreading *th) {             \
    (void)b, (void)th;                                                                        \
    if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;                                             \
    using T = float;                                                                          \
    return call;                                                                              \
  }
ZYN_DF_CONSTRUCTOR(DFLinearSpline1D, linear<T>(t, b, th))
ZYN_DF_CONSTRUCTOR(DFNaturalCubicSpline1D, natural_cubic<T>(t, b, th))
ZYN_DF_CONSTRUCTOR(DFDefaultCubicSpline1D, default_cubic<T>(t))
ZYN_DF_CONSTRUCTOR(DFQuadraticSpline1D, quadratic<T>(t))
