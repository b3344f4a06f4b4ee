// Integration: r gets the integral from llim[i] to rlim[i] of the piecewise polynomial that
// interpolation evaluates, the end pieces carried on beyond the partition. The integrals of the
// whole pieces are prefix-summed once a call in double-double, so that an interval costs two
// searches and two partial pieces whatever its length, and the difference of two prefixes far
// from x[0] loses nothing to cancellation.

#include <sys/mman.h>

#include "fitting/evaluate.hpp"

namespace zyn::df {

namespace {

template <class T>
using IntegrCallback = int (*)(int64_t *, const T *, const T *, T *, void *);

constexpr int64_t kRun = 256;

// Integral over [0, t] of a piece with `order` coefficients (Order if non-zero), given as
// a[k] = c[k] / (k + 1), by Horner's rule: t (a0 + t (a1 + t (a2 + ...))). The error is within
// about 2 order + 1 eps of the sum of the terms' magnitudes.
template <int Order, class T>
T piece_integral(const T *a, int64_t order, T t) {
  const int64_t o = Order ? Order : order;
  T acc = a[o - 1];
  for (int64_t k = o - 2; k >= 0; --k) acc = acc * t + a[k];
  return acc * t;
}

template <class T>
struct Integral {
  const DfTask *t;
  const Pieces<T> *pc;
  int kind;
  int64_t ny, nlim, count;
  const SearchPlan<T> *plan[2];
  const T *lim[2];
  T *rec;        // function f's records at f*count*width, see prefix()
  int64_t width;  // elements a record
  T *r;
  int64_t fs, is;  // r[f*fs + i*is]
  IntegrCallback<T> cb[3];  // left, right, between
  void *cbp[3];
};

// The records of function f, one a piece, each a whole number of cache lines so that an end of
// an interval reads one: the integral from the left end of piece 0 to that of piece p as hi + lo,
// summed without rounding error (Knuth's two-sum) from the pieces' integrals, then the piece's
// coefficients divided by their powers' exponents, c[k] / (k + 1).
template <int Order, class T>
void prefix(const Integral<T> &j, int64_t f) {
  const Pieces<T> &pc = *j.pc;
  const int64_t o = pc.order, w = j.width;
  const T *c = static_cast<const T *>(j.t->coeff[f]);
  T *rec = j.rec + f * j.count * w;
  for (int64_t p = 0; p < j.count; ++p) {
    T *r = rec + p * w;
    for (int64_t k = 0; k < (Order ? Order : o); ++k)
      r[2 + k] = c[o * p + k] / static_cast<T>(k + 1);
    if (p + 1 < j.count) r[w] = piece_integral<Order>(r + 2, o, pc.left(p + 1) - pc.left(p));
  }
  T s = T(0), e = T(0);
  for (int64_t p = 0; p < j.count; ++p) {
    T *r = rec + p * w;
    const T a = p ? r[0] : T(0), u = s + a, v = u - s;
    e += (s - (u - v)) + (a - v);
    r[0] = s = u;
    r[1] = e;
  }
}

// Intervals [i0, i0 + n) of every function from the pieces and left ends of both limits.
template <int Order, class T>
void intervals(const Integral<T> &j, int64_t i0, int64_t n, const int64_t *const piece[2],
               const T *const left[2]) {
  const int64_t order = j.pc->order;
  const T *a = j.lim[0] + i0, *b = j.lim[1] + i0;
  for (int64_t f = 0; f < j.ny; ++f) {
    const T *rec = j.rec + f * j.count * j.width;
    T *r = j.r + f * j.fs + i0 * j.is;
    for (int64_t i = 0; i < n; ++i) {
      const T *ra = rec + piece[0][i] * j.width, *rb = rec + piece[1][i] * j.width;
      const T ia = piece_integral<Order>(ra + 2, order, a[i] - left[0][i]);
      const T ib = piece_integral<Order>(rb + 2, order, b[i] - left[1][i]);
      const T d = rb[0] - ra[0], v = d - rb[0];  // two-sum of rb[0] and -ra[0]
      const T e = (rb[0] - (d - v)) + (-ra[0] - v);
      r[i * j.is] = d + ((e + (rb[1] - ra[1])) + (ib - ia));
    }
  }
}

// The general kind of order 0: the parts of each interval left of x[0], between the ends and
// right of x[nx-1] go to the three callbacks; r (function 0) gets their sum, negated for a
// reversed interval.
template <class T>
int callbacks(const Integral<T> &j, int64_t i0, int64_t n) {
  T lo[kRun], hi[kRun], part[kRun];
  int64_t at[kRun];
  const T *a = j.lim[0] + i0, *b = j.lim[1] + i0, x0 = j.pc->x[0];
  const T xn = j.pc->x[j.pc->uni ? 1 : j.pc->nx - 1];
  T *r = j.r + i0 * j.is;
  for (int64_t i = 0; i < n; ++i) r[i * j.is] = T(0);
  for (int side = 0; side < 3; ++side) {
    int64_t m = 0;
    for (int64_t i = 0; i < n; ++i) {
      const T l = std::min(a[i], b[i]), h = std::max(a[i], b[i]);
      const T pl = side == 0 ? l : side == 1 ? std::max(l, xn) : std::max(l, x0);
      const T ph = side == 0 ? std::min(h, x0) : side == 1 ? h : std::min(h, xn);
      if (pl < ph) lo[m] = pl, hi[m] = ph, at[m++] = i;
    }
    if (m == 0) continue;
    const int st = j.cb[side](&m, lo, hi, part, j.cbp[side]);
    if (st < 0) return st;
    for (int64_t k = 0; k < m; ++k) r[at[k] * j.is] += a[at[k]] > b[at[k]] ? -part[k] : part[k];
  }
  return 0;
}

// With the Hybrid search for the right limits: their cells from those of the left limits, in
// place. A right limit less than kNear breakpoints above its left one is placed by counting the
// breakpoints below it, on lines the first search left in cache; the others are searched. The
// two bounds are tested together, so that short and long intervals each take one branch.
template <class T>
int near_cells(const Integral<T> &j, int64_t n, const T *b, int64_t *cell, int64_t *position) {
  constexpr int kNear = 8;
  const T *x = j.plan[1]->x;
  const int64_t last = j.plan[1]->nx - 1;
  T far[kRun];
  int64_t at[kRun], found[kRun], m = 0;
  for (int64_t i = 0; i < n; ++i) {
    const int64_t c = cell[i];
    if (c >= 1 && c + kNear <= last && ((x[c - 1] <= b[i]) & (b[i] < x[c + kNear]))) {
      int64_t k = 0;  // x[c+k-1] <= b[i] < x[c+k]
      for (int q = 0; q < kNear; ++q) k += x[c + q] <= b[i];
      cell[i] = c + k;
    } else {
      far[m] = b[i], at[m++] = i;
    }
  }
  if (m == 0) return 0;
  if (int st = search_serial(*j.plan[1], m, far, found, position)) return st;
  for (int64_t k = 0; k < m; ++k) cell[at[k]] = found[k];
  return 0;
}

// Blocks [b0, b1) of intervals, in runs of kRun intervals: the two limits of a run are searched
// one after the other, while the lines of the partition that the first search brought are still
// in cache for the second, and the records of the run's pieces are fetched ahead of use.
template <int Order, class T>
int blocks(const Integral<T> &j, int64_t b0, int64_t b1) {
  int64_t position[2] = {0, 0}, cell[kRun], pieces[2][kRun];
  T lefts[2][kRun];
  const int64_t *const piece[2] = {pieces[0], pieces[1]};
  const T *const left[2] = {lefts[0], lefts[1]};
  const int64_t end = std::min(b1 * DF_INTERP_BLOCK, j.nlim);
  for (int64_t i0 = b0 * DF_INTERP_BLOCK; i0 < end; i0 += kRun) {
    const int64_t n = std::min(kRun, end - i0);
    if (j.kind == kCallbacks) {
      if (int st = callbacks(j, i0, n)) return st;
      continue;
    }
    for (int k = 0; k < 2; ++k) {
      const bool near = k == 1 && j.plan[1]->kind == DF_SEARCH_HYBRID;
      if (int st = near ? near_cells(j, n, j.lim[1] + i0, cell, &position[1])
                        : search_serial(*j.plan[k], n, j.lim[k] + i0, cell, &position[k]))
        return st;
      j.pc->find(n, j.lim[k] + i0, cell, pieces[k], lefts[k]);
      for (int64_t i = 0; i < n; ++i) __builtin_prefetch(j.rec + pieces[k][i] * j.width);
    }
    intervals<Order>(j, i0, n, piece, left);
  }
  return 0;
}

template <int Order, class T>
int run(Integral<T> &j, const ZynThreading *th, bool threads) {
  for (int64_t f = 0; j.kind != kCallbacks && f < j.ny; ++f) prefix<Order>(j, f);
  return share_blocks(th, (j.nlim + DF_INTERP_BLOCK - 1) / DF_INTERP_BLOCK, threads,
                      [&](int64_t b0, int64_t b1) { return blocks<Order>(j, b0, b1); });
}

template <class T>
int integrate(DfTask *t, int64_t nlim, const T *llim, int64_t llimHint, const T *rlim,
              int64_t rlimHint, const T *ldataHint, const T *rdataHint, T *r, int64_t rHint,
              IntegrCallback<T> le, void *leP, IntegrCallback<T> re, void *reP,
              IntegrCallback<T> in, void *inP, SearchCallback<T> search, void *searchP,
              const ZynThreading *th) {
  if (!t) return DF_ERROR_NULL_TASK_DESCRIPTOR;
  const int kind = choose_kind(t->splineOrder, t->splineType, le && re && in);
  if (kind < 0) return DF_ERROR_BAD_SPLINE_TYPE;
  SearchPlan<T> plan[2];
  if (int st = plan_search(t, llimHint, ldataHint, search, searchP, true, &plan[0])) return st;
  if (int st = plan_search(t, rlimHint, rdataHint, search, searchP, true, &plan[1])) return st;
  if (rHint == DF_NO_RHINT || rHint == DF_MATRIX_STORAGE_ROWS_ALIAS) rHint = DF_MATRIX_STORAGE_ROWS;
  if (rHint != DF_MATRIX_STORAGE_ROWS && rHint != DF_MATRIX_STORAGE_COLS) return DF_ERROR_BAD_RHINT;
  if (nlim <= 0) return 0;
  if (kind != kCallbacks && (!t->coeff || !t->coeff[0])) return DF_ERROR_NULL_COEFF;
  Pieces<T> pc(t, kind);
  pc.c0 = nullptr;  // the records are fetched ahead instead of the coefficients
  const int64_t ny = t->ny < 1 ? 1 : t->ny, count = pc.count();
  const bool rows = rHint == DF_MATRIX_STORAGE_ROWS;
  // Records of 2 + order elements, rounded up to a cache line of 64 bytes.
  const int64_t line = 64 / sizeof(T), width = (2 + pc.order + line - 1) / line * line;
  Integral<T> j{t, &pc, kind, ny, nlim, count, {&plan[0], &plan[1]}, {llim, rlim}, nullptr,
                width, r, rows ? nlim : 1, rows ? 1 : ny, {le, re, in}, {leP, reP, inP}};
  T *even[2] = {nullptr, nullptr};
  T *rec = kind == kCallbacks ? nullptr
                              : static_cast<T *>(allocate(count * ny * width * sizeof(T)));
  int st = kind != kCallbacks && !rec ? DF_ERROR_MEM_FAILURE : DF_STATUS_OK;
  if (rec) {  // the records are read at random: large pages spare the address translations
    const uintptr_t b = reinterpret_cast<uintptr_t>(rec), page = 4095;
    const uintptr_t a = (b + page) & ~page, e = (b + count * ny * width * sizeof(T)) & ~page;
    if (e > a) madvise(reinterpret_cast<void *>(a), e - a, MADV_HUGEPAGE);
  }
  const int64_t hints[2] = {llimHint, rlimHint};
  for (int k = 0; k < 2 && !st; ++k)
    if (hints[k] == DF_UNIFORM_PARTITION_SITES &&
        !(j.lim[k] = even[k] = even_sites(nlim, j.lim[k])))
      st = DF_ERROR_MEM_FAILURE;
  if (!st) {
    j.rec = rec;
    const bool threads = !search && kind != kCallbacks;
    if (kind == kTwo) st = run<2>(j, th, threads);
    else if (kind == kThree || kind == kThreeKnots) st = run<3>(j, th, threads);
    else if (kind == kFour) st = run<4>(j, th, threads);
    else st = run<0>(j, th, threads);
  }
  release(even[0]);
  release(even[1]);
  release(rec);
  return st;
}

}  // namespace

}  // namespace zyn::df

using namespace zyn::df;

#define ZYN_DF_INTEGRATE(P, T)                                                                  \
  int zyn_df_kernel_##P##DFIntegrate1D(                                                         \
      DfTask *task, int64_t, int64_t nlim, const T *llim, int64_t llimHint, const T *rlim,       \
      int64_t rlimHint, const T *ldataHint, const T *rdataHint, T *r, int64_t rHint,             \
      Df##P##IntegrCallback le, void *leP, Df##P##IntegrCallback re, void *reP,                  \
      Df##P##IntegrCallback in, void *inP, Df##P##SearchCallback search, void *searchP,          \
      const ZynThreading *th) {                                                                  \
    return integrate(task, nlim, llim, llimHint, rlim, rlimHint, ldataHint, rdataHint, r, rHint, \
                     le, leP, re, reP, in, inP, search, searchP, th);                           \
  }
ZYN_DF_INTEGRATE(d, double)
ZYN_DF_INTEGRATE(s, float)
