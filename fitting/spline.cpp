// Spline construction: linear, default cubic, natural cubic and Hyman's, Akima, Bessel, Hermite,
// quadratic.
//
// Cell i (0 <= i <= nx - 2) holds c[0] + c[1]*t + c[2]*t^2 + c[3]*t^3, t = x - x[i], as far as
// the order goes; h[i] = x[i+1] - x[i], s[i] = (y[i+1] - y[i]) / h[i]. A uniform partition holds
// only its ends, and its kernels multiply by 1/h instead of dividing.
#include <emmintrin.h>

#include <algorithm>
#include <cmath>
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

// Cells of a spline larger than the caches go past them (non-temporal stores, 16-byte aligned
// storage only): kept in cache they would evict the data that the construction still reads, and
// the stores skip the read for ownership. A construction that streams fences before returning.
constexpr int64_t kStreamCells = int64_t(1) << 16;
template <class T>
bool streamed(const T *c, int64_t cells) {
  return cells >= kStreamCells && (reinterpret_cast<uintptr_t>(c) & 15) == 0;
}
template <bool Stream, class T>
inline void put_cell(T *c, T c0, T c1, T c2, T c3) {
  if constexpr (Stream && sizeof(T) == 8) {
    _mm_stream_pd(c, _mm_set_pd(c1, c0));
    _mm_stream_pd(c + 2, _mm_set_pd(c3, c2));
  } else if constexpr (Stream) {
    _mm_stream_ps(c, _mm_set_ps(c3, c2, c1, c0));
  } else {
    c[0] = c0, c[1] = c1, c[2] = c2, c[3] = c3;
  }
}
// Calls fn(std::bool_constant<streamed>) for the cells [0, cells) at c, and fences after them.
template <class T, class F>
void with_streaming(const T *c, int64_t cells, F &&fn) {
  if (streamed(c, cells)) {
    fn(std::true_type{});
    _mm_sfence();
  } else {
    fn(std::false_type{});
  }
}

bool y_hint_ok(int64_t h) {
  return h == DF_FUNCS_NO_HINT || h == DF_FUNCS_ROWS || h == DF_FUNCS_COLUMNS ||
         h == DF_FUNCS_ROWS_BY_POINTER;
}

// ---- tiles: linear, Akima, Bessel, Hermite -------------------------------------------------
//
// Cells are independent of each other's results, so the work is cut into tiles of 1024 cells by
// 4 functions: nx*ny < 128 is one tile on the caller's thread, fewer than 5 tiles run one after
// the other, more go to the threading table.

constexpr int64_t kTileCells = 1024, kTileFuncs = 4, kMinThreadedTiles = 5;

// Cells i0 to i0 + n - 1 (n <= kTileCells) of cubics from slopes: cell i0 + k has the values
// y[i0 + k], y[i0 + k + 1], end slopes m[k], m[k + 1], cell slope s[k] and inverse width ih[k].
// c[2] and c[3] of the run first, in a loop the compiler vectorises, then the four stored.
template <bool Stream, class T>
void slope_cells(T *c, const Fn<T> &y, int64_t i0, int64_t n, const T *m, const T *s,
                 const T *ih) {
  T c2[kTileCells], c3[kTileCells];
  for (int64_t k = 0; k < n; ++k) {
    c2[k] = (T(3) * s[k] - T(2) * m[k] - m[k + 1]) * ih[k];
    c3[k] = (m[k] + m[k + 1] - T(2) * s[k]) * (ih[k] * ih[k]);
  }
  for (int64_t k = 0; k < n; ++k) put_cell<Stream>(c + 4 * (i0 + k), y[i0 + k], m[k], c2[k], c3[k]);
}

template <class Tile>
struct TileJob {
  const Tile *tile;
  int64_t nx, ny, cellTiles, tiles;
  void at(int64_t k) const {
    const int64_t ci = k % cellTiles, fi = k / cellTiles;
    (*tile)(ci * kTileCells, std::min(nx - 1, (ci + 1) * kTileCells), fi * kTileFuncs,
            std::min(ny, (fi + 1) * kTileFuncs));
  }
};

template <class Tile>
void tile_worker(int thread, int threads, void *params) {
  const auto *j = static_cast<const TileJob<Tile> *>(params);
  for (int64_t k = thread; k < j->tiles; k += threads) j->at(k);
}

// Calls tile(i0, i1, f0, f1) on cells [i0, i1) of functions [f0, f1) until all are done.
template <class Tile>
void run_tiles(const DfTask *t, const ZynThreading *th, const Tile &tile) {
  const int64_t nx = t->nx, ny = functions(t);
  if (nx * ny < 128) return tile(0, nx - 1, 0, ny);
  TileJob<Tile> job{&tile, nx, ny, (nx - 1 + kTileCells - 1) / kTileCells, 0};
  job.tiles = job.cellTiles * ((ny + kTileFuncs - 1) / kTileFuncs);
  const int threads = static_cast<int>(std::min<int64_t>(thread_count(th), job.tiles));
  if (job.tiles < kMinThreadedTiles || threads < 2 || !th || !th->run) {
    for (int64_t k = 0; k < job.tiles; ++k) job.at(k);
  } else {
    th->run(threads, threads, &job, tile_worker<Tile>);
  }
}

template <class T>
int linear(DfTask *t, int64_t b, const ZynThreading *th) {
  if (b != 0) return DF_ERROR_METHOD_NOT_SUPPORTED;
  if (t->nx < 2) return DF_ERROR_BAD_NX;
  if (!y_hint_ok(t->yHint)) return DF_ERROR_BAD_Y_HINT;
  if (int st = data_ready(t)) return st;
  if (t->bcType == DF_BC_PERIODIC && !periodic_values_ok<T>(t)) return DF_ERROR_BAD_PERIODIC_VAL;
  return by_partition<T>(t, [&](const auto &g) {
    run_tiles(t, th, [&](int64_t i0, int64_t i1, int64_t f0, int64_t f1) {
      for (int64_t f = f0; f < f1; ++f) {
        const Fn<T> y = function<T>(t, f);
        T *c = coeffs<T>(t, f);
        for (int64_t i = i0; i < i1; ++i) {
          c[2 * i] = y[i];
          c[2 * i + 1] = g.slope(y[i + 1] - y[i], i);
        }
      }
    });
    return static_cast<int>(DF_STATUS_OK);
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

// Hyman's filter (1983) on the slopes of the C2 spline, at each slope that no end condition
// gives: m[i] is clipped to [0, 3 min(|s[i-1]|, |s[i]|)] when sigma >= 0, else to [-3 min, 0],
// where sigma is s[i] if s[i-1] s[i] > 0 and m[i] otherwise. An end has its one cell's slope; a
// periodic spline wraps. Cells between monotone data are then monotone. Written without a branch
// on the data's signs, which would be mispredicted.
template <class T>
inline T hyman_clip(T m, T sl, T sr) {
  const T bound = T(3) * std::min(std::fabs(sl), std::fabs(sr));
  const bool same = sl * sr > T(0);
  const T up = static_cast<T>((same & (sr > T(0))) | (!same & (m >= T(0))));  // sigma >= 0
  return std::min(std::max(m, bound * (up - T(1))), bound * up);
}
// Coefficients of function f from its slopes m[0] = m0, m[i] = mr[i-1], filtered on the way
// when `hyman` (the cells' slopes are at hand). mr may lie in the coefficient storage itself,
// behind the cells written so far: each cell's slopes are read before the cell is stored, and
// cell i ends below mr[i] for i < nx - 2.
template <class T, bool Uni>
void natural_cells(const DfTask *t, const Grid<T, Uni> &g, int64_t f, T m0, const T *mr,
                   bool hyman) {
  const int64_t nx = t->nx, L = nx - 2;
  const Fn<T> y = function<T>(t, f);
  T *c = coeffs<T>(t, f);
  T ml = mr[L];  // m[nx-1]
  if (hyman) {
    const T s0 = g.slope(y[1] - y[0], 0), sL = g.slope(y[nx - 1] - y[L], L);
    if (t->bcType == DF_BC_PERIODIC) {
      m0 = ml = hyman_clip(m0, sL, s0);
    } else {
      if (!(t->bcType & DF_BC_1ST_LEFT_DER)) m0 = hyman_clip(m0, s0, s0);
      if (!(t->bcType & DF_BC_1ST_RIGHT_DER)) ml = hyman_clip(ml, sL, sL);
    }
  }
  auto inv = [&](int64_t i) { return Uni ? g.invh : T(1) / (g.x[i + 1] - g.x[i]); };
  with_streaming(c, nx - 1, [&](auto stream) {
    T mi = m0, ih = inv(0), s = (y[1] - y[0]) * ih;  // of cell i
    auto cell = [&](int64_t i, T ihn, T sn) {        // with the next cell's 1/h and slope
      const T mn = i == L ? ml : hyman ? hyman_clip(mr[i], s, sn) : mr[i];
      const T c2 = (T(3) * s - T(2) * mi - mn) * ih;
      const T c3 = (mi + mn - T(2) * s) * (ih * ih);
      put_cell<decltype(stream)::value>(c + 4 * i, y[i], mi, c2, c3);
      mi = mn, ih = ihn, s = sn;
    };
    int64_t i = 0;
    for (; i + 2 <= L; i += 2) {  // cells i and i + 1; the next two 1/h from one vector division
      T i1 = g.invh, i2 = g.invh;
      if constexpr (!Uni)
        div2(T(1), g.x[i + 2] - g.x[i + 1], T(1), g.x[i + 3] - g.x[i + 2], i1, i2);
      cell(i, i1, (y[i + 2] - y[i + 1]) * i1);
      cell(i + 1, i2, (y[i + 3] - y[i + 2]) * i2);
    }
    for (; i <= L; ++i) {
      const T in = i < L ? inv(i + 1) : T(0);
      cell(i, in, i < L ? (y[i + 2] - y[i + 1]) * in : T(0));
    }
  });
}

// The same from a full slope vector m (periodic: corrected by the column q first; Hyman: then
// filtered).
template <class T, bool Uni>
void natural_coeffs(const DfTask *t, const Grid<T, Uni> &g, int64_t f, T *m, const T *q,
                    bool hyman) {
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
  natural_cells(t, g, f, m[0], m + 1, hyman);
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
  bool hyman;
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
    natural_coeffs(j.t, *j.g, f, j.b + f * nx, j.q, j.hyman);
  }
}

template <class T, bool Uni>
void natural_worker(int thread, int threads, void *params) {
  const auto *j = static_cast<const NaturalJob<T, Uni> *>(params);
  const int64_t ny = functions(j->t);
  // Threads past the last share get none (9 functions over 7 threads in shares of 2).
  const int64_t f0 = std::min(ny, thread * j->perThread);
  const int64_t f1 = thread + 1 == threads ? ny : std::min(ny, f0 + j->perThread);
  if (f1 > f0) natural_functions(*j, f0, f1);
}

template <class T, bool Uni>
int natural_run(DfTask *t, const Grid<T, Uni> &g, const ZynThreading *th, bool hyman) {
  const int64_t nx = t->nx, ny = functions(t);
  const bool periodic = t->bcType == DF_BC_PERIODIC;
  const int64_t G = std::min<int64_t>(thread_count(th), ny);
  const bool threaded = !(ny == 1 || G == 1 || nx < 300 || (nx < 600 && G < 8)) && th && th->run;
  if (t->bcType == DF_BC_NOT_A_KNOT && nx == 3) {
    // No solve: fixed slopes, which reproduce no line (m[1] is 0) and are C2 only when h0 = h1.
    for (int64_t f = 0; f < ny; ++f) {
      const Fn<T> y = function<T>(t, f);
      const T s0 = g.slope(y[1] - y[0], 0), s1 = g.slope(y[2] - y[1], 1);
      T m[3] = {(T(5) * s0 + s1) / T(2), T(0), (s0 + T(5) * s1) / T(2)};
      natural_coeffs(t, g, f, m, static_cast<const T *>(nullptr), hyman);
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
    const T m0 = (b0 - a.du[0] * b.rest[0]) / a.d[0];
    natural_cells(t, g, 0, m0, b.rest, hyman);
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
    NaturalJob<T, Uni> job{t, &g, a, b, q, status, ny, hyman};
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

// The natural cubic, and Hyman's: the same spline with filtered slopes.
template <class T>
int natural_cubic(DfTask *t, int64_t b, const ZynThreading *th, bool hyman) {
  if (b != 0) return DF_ERROR_METHOD_NOT_SUPPORTED;
  if (t->nx < 2) return DF_ERROR_BAD_NX;
  if (t->nx == 2 && t->bcType == DF_BC_NOT_A_KNOT) return DF_ERROR_BAD_NX;
  if (!y_hint_ok(t->yHint)) return DF_ERROR_BAD_Y_HINT;
  const bool needs = t->splineType == DF_PP_DEFAULT || t->splineType == DF_PP_HERMITE;
  if (int st = check_cubic_bc(t, needs)) return st;
  if (int st = data_ready(t)) return st;
  if (t->bcType == DF_BC_PERIODIC && !periodic_values_ok<T>(t)) return DF_ERROR_BAD_PERIODIC_VAL;
  return by_partition<T>(t, [&](const auto &g) { return natural_run(t, g, th, hyman); });
}

// ---- cubics from local slopes: Akima, Bessel, Hermite -----------------------------------------
//
// Cell i is the cubic through y[i], y[i+1] with slopes m[i], m[i+1] (as the natural cubic's).
// Inner slopes, 1 <= i <= nx - 2:
//   Akima (1970): (|s[i+1] - s[i]| s[i-1] + |s[i-1] - s[i-2]| s[i]) over the sum of the two
//     weights, (s[i-1] + s[i]) / 2 when both vanish; beyond the ends s[-1] = 2 s[0] - s[1],
//     s[-2] = 2 s[-1] - s[0], and the mirror images;
//   Bessel: (h[i] s[i-1] + h[i-1] s[i]) / (h[i-1] + h[i]), the slope of the parabola through
//     three points;
//   Hermite: ic[i-1].
// End slopes: a slope given is taken; a curvature v (free end: 0) gives
//   m[0] = (3 s[0] - m[1]) / 2 - v h[0] / 4,   m[nx-1] = (3 s[L] - m[nx-2]) / 2 + v h[L] / 4,
// the two solved together when nx is 2; same cubic: the end cell takes its neighbour's c[3], and
// with nx 3 both cells are the one cubic through the three points with slope m[1]; periodic:
// the stencils wrap and m[nx-1] = m[0] (Hermite: bc[0] at both ends).

enum SlopeMethod { kAkima, kBessel, kHermite };

template <SlopeMethod M, class T, bool Uni>
struct Slopes {
  const DfTask *t;
  const Grid<T, Uni> &g;
  Fn<T> y;
  int64_t nx, L;

  // Step, its inverse and the slope of cell j in [0, L].
  void cell(int64_t j, T &h, T &ih, T &s) const {
    h = g.step(j);
    ih = Uni ? g.invh : T(1) / h;
    s = (y[j + 1] - y[j]) * ih;
  }
  // Any j: wrapped when periodic, else extended by Akima's rule (h and 1/h 0).
  void cell_ext(int64_t j, T &h, T &ih, T &s) const {
    if (t->bcType == DF_BC_PERIODIC) return cell((j % (L + 1) + L + 1) % (L + 1), h, ih, s);
    if (j >= 0 && j <= L) return cell(j, h, ih, s);
    T a, b;  // the end slope and its neighbour's
    cell(j < 0 ? 0 : L, h, ih, a);
    if (L > 0) cell(j < 0 ? 1 : L - 1, h, ih, b);
    else b = a;
    h = ih = T(0);
    const T e1 = T(2) * a - b;
    s = j == -1 || j == L + 1 ? e1 : T(2) * e1 - a;
  }
  // Slope at breakpoint i from s[i-2..i+1] and h[i-1], h[i].
  T inner(int64_t i, T s2, T s1, T s0, T sn, T h1, T h0) const {
    if constexpr (M == kAkima) {
      // Branch-free, so that the loop vectorises: with both weights 0, the mean over 1.
      const T w1 = std::fabs(sn - s0), w2 = std::fabs(s1 - s2), den = w1 + w2;
      const T flat = static_cast<T>(den == T(0));
      return (w1 * s1 + w2 * s0 + flat * ((s1 + s0) / T(2))) / (den + flat);
    } else if constexpr (M == kBessel) {
      return Uni ? (s1 + s0) / T(2) : (h0 * s1 + h1 * s0) / (h1 + h0);
    } else {
      (void)s2, (void)s1, (void)s0, (void)sn, (void)h1, (void)h0;
      return static_cast<const T *>(t->ic)[i - 1];
    }
  }
  T at(int64_t i) const {
    if constexpr (M == kHermite) return inner(i, 0, 0, 0, 0, 0, 0);
    T h[4], ih, s[4];
    for (int k = 0; k < 4; ++k) cell_ext(i - 2 + k, h[k], ih, s[k]);
    return inner(i, s[0], s[1], s[2], s[3], h[1], h[2]);
  }
  // The end slopes m[0] and m[nx-1].
  void ends(T &first, T &last) const {
    const int64_t bcType = t->bcType;
    const T *bc = static_cast<const T *>(t->bc);
    if (bcType == DF_BC_PERIODIC) {
      first = last = M == kHermite ? bc[0] : at(0);
      return;
    }
    T h0, ih0, s0, hl, ihl, sl;
    cell(0, h0, ih0, s0);
    cell(L, hl, ihl, sl);
    if (bcType == DF_BC_NOT_A_KNOT && nx == 3) {  // y[1] + m1 u + a u^2 + b u^3, u = x - x[1]
      const T m1 = at(1), P = (m1 - s0) * ih0, Q = (sl - m1) * ihl;
      const T b = (Q - P) / (h0 + hl), a = P + b * h0;
      first = m1 - T(2) * a * h0 + T(3) * b * h0 * h0;
      last = m1 + T(2) * a * hl + T(3) * b * hl * hl;
      return;
    }
    if (bcType == DF_BC_NOT_A_KNOT) {
      T h, ih, s;
      const T m1 = at(1), ml = at(nx - 2);
      cell(1, h, ih, s);
      first = (m1 + at(2) - T(2) * s) * (ih * ih) * (h0 * h0) - m1 + T(2) * s0;
      cell(L - 1, h, ih, s);
      last = (at(nx - 3) + ml - T(2) * s) * (ih * ih) * (hl * hl) - ml + T(2) * sl;
      return;
    }
    // m[0] = a0 + b0 m[1], m[nx-1] = a1 + b1 m[nx-2]
    const T v0 = bcType & DF_BC_2ND_LEFT_DER ? bc[0] : T(0);
    const T v1 = bcType & DF_BC_2ND_RIGHT_DER ? bc[1] : T(0);
    const bool fix0 = bcType & DF_BC_1ST_LEFT_DER, fix1 = bcType & DF_BC_1ST_RIGHT_DER;
    const T a0 = fix0 ? bc[0] : T(1.5) * s0 - v0 * h0 / T(4), b0 = fix0 ? T(0) : T(-0.5);
    const T a1 = fix1 ? bc[1] : T(1.5) * sl + v1 * hl / T(4), b1 = fix1 ? T(0) : T(-0.5);
    if (nx == 2) {
      first = (a0 + b0 * a1) / (T(1) - b0 * b1);
      last = a1 + b1 * first;
    } else {
      first = a0 + b0 * at(1);
      last = a1 + b1 * at(nx - 2);
    }
  }

  // Cells [i0, i1) from buffers of steps, slopes (j from i0 - 2 to i1 + 1) and m (i0 to i1).
  void tile(int64_t i0, int64_t i1, T *c) const {
    T hb[kTileCells + 4], ihb[kTileCells + 4], sb[kTileCells + 4], mb[kTileCells + 1];
    const int64_t lo = std::max<int64_t>(i0 - 2, 0), hi = std::min(i1 + 1, L);
    auto ext = [&](int64_t j) { cell_ext(j, hb[j - i0 + 2], ihb[j - i0 + 2], sb[j - i0 + 2]); };
    for (int64_t j = i0 - 2; j < lo; ++j) ext(j);  // beyond the ends
    for (int64_t j = hi + 1; j <= i1 + 1; ++j) ext(j);
    T *h = hb + (2 - i0), *ih = ihb + (2 - i0), *s = sb + (2 - i0), *m = mb - i0;
    for (int64_t j = lo; j <= hi; ++j) {
      h[j] = g.step(j);
      ih[j] = Uni ? g.invh : T(1) / h[j];
      s[j] = (y[j + 1] - y[j]) * ih[j];
    }
    const int64_t a = std::max<int64_t>(i0, 1), b = std::min(i1, nx - 2);
    for (int64_t i = a; i <= b; ++i)
      m[i] = inner(i, s[i - 2], s[i - 1], s[i], s[i + 1], h[i - 1], h[i]);
    if (i0 == 0 || i1 == nx - 1) {
      T first, last;
      ends(first, last);
      if (i0 == 0) m[0] = first;
      if (i1 == nx - 1) m[nx - 1] = last;
    }
    with_streaming(c, nx - 1, [&](auto stream) {
      slope_cells<decltype(stream)::value>(c, y, i0, i1 - i0, m + i0, s + i0, ih + i0);
    });
  }
};

template <SlopeMethod M, class T, bool Uni>
void slope_tiles(const DfTask *t, const Grid<T, Uni> &g, const ZynThreading *th) {
  run_tiles(t, th, [&](int64_t i0, int64_t i1, int64_t f0, int64_t f1) {
    for (int64_t f = f0; f < f1; ++f)
      Slopes<M, T, Uni>{t, g, function<T>(t, f), t->nx, t->nx - 2}.tile(i0, i1, coeffs<T>(t, f));
  });
}

template <class T>
int slope_cubic(DfTask *t, int64_t b, const ZynThreading *th, SlopeMethod method) {
  if (b != 0) return DF_ERROR_METHOD_NOT_SUPPORTED;
  if (t->nx < 2 || (t->nx < 3 && t->bcType == DF_BC_NOT_A_KNOT)) return DF_ERROR_BAD_NX;
  if (!y_hint_ok(t->yHint)) return DF_ERROR_BAD_Y_HINT;
  // Hermite's periodic slope is bc[0], whatever the task's type says.
  const bool needs = t->splineType == DF_PP_DEFAULT || t->splineType == DF_PP_HERMITE ||
                     method == kHermite;
  if (int st = check_cubic_bc(t, needs)) return st;
  if (method == kHermite && !(t->icType & DF_IC_1ST_DER)) return DF_ERROR_BAD_IC_TYPE;
  if (method == kHermite && !t->ic) return DF_ERROR_NULL_IC;
  if (int st = data_ready(t)) return st;
  if (t->bcType == DF_BC_PERIODIC && !periodic_values_ok<T>(t)) return DF_ERROR_BAD_PERIODIC_VAL;
  return by_partition<T>(t, [&](const auto &g) {
    if (method == kAkima) slope_tiles<kAkima>(t, g, th);
    else if (method == kBessel) slope_tiles<kBessel>(t, g, th);
    else slope_tiles<kHermite>(t, g, th);
    return static_cast<int>(DF_STATUS_OK);
  });
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
ZYN_DF_CONSTRUCTOR(DFNaturalCubicSpline1D, natural_cubic<T>(t, b, th, false))
ZYN_DF_CONSTRUCTOR(DFHymanCubicSpline1D, natural_cubic<T>(t, b, th, true))
ZYN_DF_CONSTRUCTOR(DFAkimaCubicSpline1D, slope_cubic<T>(t, b, th, kAkima))
ZYN_DF_CONSTRUCTOR(DFBesselCubicSpline1D, slope_cubic<T>(t, b, th, kBessel))
ZYN_DF_CONSTRUCTOR(DFHermiteCubicSpline1D, slope_cubic<T>(t, b, th, kHermite))
ZYN_DF_CONSTRUCTOR(DFDefaultCubicSpline1D, default_cubic<T>(t))
ZYN_DF_CONSTRUCTOR(DFQuadraticSpline1D, quadratic<T>(t))
