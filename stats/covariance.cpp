// Pooled and group covariance, partial covariance and correlation, and the spectral repair of a
// correlation matrix.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <numeric>

#include "frame/core_link.hpp"
#include "stats/common.hpp"
#include "stats/linalg.hpp"
#include "zyn/stats.h"

namespace zyn::stats {
namespace {

// Common start of the matrix entries: p, n, storage (and data when `data`), the method bit.
int start(const SsTask *task, Layout &l, uint64_t method, uint64_t own, bool data) {
  const int s = check_layout(task, l);
  if (s != SsStatusOk && !(s == SsStatusData && !data)) return s;
  return method == own ? SsStatusOk : SsStatusMethod;
}

// ---- pooled covariance --------------------------------------------------------------------------
//
// A group summary is its weight W, squared-weight sum W2, mean m and central cross-products C.
// Blocks of observations are sorted by group; each group's run in a block is centred on its own
// mean (a second pass over data still in cache) and its cross-products formed by the level-3
// routines, then merged into the group by Chan, Golub and LeVeque's formula
//   C = Ca + Cb + (Wa Wb / W) (mb - ma)(mb - ma)^T,  m = ma + (Wb / W)(mb - ma).
// Only the sum of all groups' C is kept for the pooled matrix; a group's own C is kept only when
// its covariance is asked for. Threads take contiguous ranges and merge in order.

template <class T>
struct Pool {
  const T *x, *w;
  const void *groups;
  bool wide, om;
  int64_t n, p, q, g, slots;
  const int64_t *act, *slot;  // slot[k]: the group's own matrix, or -1
  int64_t rows;               // block length
  int64_t *sort;              // per thread: block order, its inverse, groups, counts
  int threads;
  // Per thread: W[g], W2[g], mean[g q], total C[q q], own C[slots q q], then block scratch.
  int64_t stride;
  T *mem;
  const T *shift;  // the first observation: means are kept relative to it, so that their
                   // rounding scales with the spread of the data and not with its offset
};

template <class T>
struct View {
  T *W, *W2, *mean, *C, *own, *scratch;
};
template <class T>
View<T> view(const Pool<T> &c, int t) {
  T *b = c.mem + t * c.stride;
  View<T> v{b, b + c.g, b + 2 * c.g, nullptr, nullptr, nullptr};
  v.C = v.mean + c.g * c.q;
  v.own = v.C + c.q * c.q;
  v.scratch = v.own + c.slots * c.q * c.q;
  return v;
}
template <class T>
int64_t thread_elems(int64_t g, int64_t q, int64_t slots, int64_t rows) {
  const int64_t e = 2 * g + g * q + q * q + slots * q * q + 2 * q + q * q + 2 * q * rows;
  return (e + 15) & ~int64_t(15);
}

// C (upper) = beta C + sum over the m columns of A of w a a^T (B holding the w a when weighted).
template <class T>
void cross(const Pool<T> &c, const T *A, const T *B, int64_t m, T beta, T *C) {
  const int64_t q = c.q;
  if (m * q >= 64) {
    if (c.w)
      la::gemm_abt(static_cast<int>(q), static_cast<int>(m), beta, A, B, C);
    else
      la::syrk("N", static_cast<int>(q), static_cast<int>(m), T(1), A, static_cast<int>(q), beta,
               C, static_cast<int>(q));
    return;
  }
  const T *wA = c.w ? B : A;
  for (int64_t l = 0; l < q; ++l)
    for (int64_t i = 0; i <= l; ++i) {
      T e = beta == 0 ? T(0) : beta * C[i + l * q];
      for (int64_t r = 0; r < m; ++r) e += A[i + r * q] * wA[l + r * q];
      C[i + l * q] = e;
    }
}

// Adds the summary (Wb, W2b, mb) to group k of v, and Cb (upper, q x q) to the group's own
// cross-products if it has them. The sum of all groups' cross-products gains the term of the
// means' difference; the caller adds the sum of the Cb.
template <class T>
void join(const Pool<T> &c, View<T> &v, int64_t k, T Wb, T W2b, const T *mb, const T *Cb) {
  const int64_t q = c.q;
  T *ma = v.mean + k * q;
  T *own = c.slot[k] >= 0 ? v.own + c.slot[k] * q * q : nullptr;
  if (own && Cb)
    for (int64_t l = 0; l < q; ++l)
      for (int64_t i = 0; i <= l; ++i) own[i + l * q] += Cb[i + l * q];
  const T Wa = v.W[k], W = Wa + Wb;
  v.W[k] = W;
  v.W2[k] += W2b;
  if (Wa == 0) {
    std::copy(mb, mb + q, ma);
    return;
  }
  const T f = Wa * Wb / W, rb = Wb / W;
  for (int64_t l = 0; l < q; ++l) {
    const T sl = f * (mb[l] - ma[l]);
    for (int64_t i = 0; i <= l; ++i) {
      const T e = sl * (mb[i] - ma[i]);
      v.C[i + l * q] += e;
      if (own) own[i + l * q] += e;
    }
  }
  for (int64_t i = 0; i < q; ++i) ma[i] += rb * (mb[i] - ma[i]);
}

// Short loops over q elements, without aliasing so that they vectorise.
template <class T>
inline void sub(T *__restrict to, const T *__restrict a, const T *__restrict b, int64_t q) {
  for (int64_t i = 0; i < q; ++i) to[i] = a[i] - b[i];
}
template <class T>
inline void axpy(T *__restrict y, const T *__restrict x, T a, int64_t q) {
  for (int64_t i = 0; i < q; ++i) y[i] += a * x[i];
}

// One thread's range of observations.
template <class T>
void pool_range(const Pool<T> &c, int t) {
  View<T> v = view(c, t);
  const int64_t q = c.q, R = c.rows;
  const bool all = q == c.p;  // then act[i] == i
  T *mb = v.scratch, *Cb = mb + q, *A = Cb + q * q, *B = A + q * R;
  int64_t *order = c.sort + (4 * R + 1) * t, *pos = order + R, *grp = pos + R, *count = grp + R;
  const int64_t j0 = c.n * t / c.threads, j1 = c.n * (t + 1) / c.threads;
  for (int64_t b0 = j0; b0 < j1; b0 += R) {
    const int64_t len = std::min(R, j1 - b0);
    // The block in group order: a counting sort when the groups are few, else a stable sort.
    for (int64_t j = 0; j < len; ++j) grp[j] = read_int(c.wide, c.groups, b0 + j);
    if (c.g <= len) {
      std::fill(count, count + c.g + 1, 0);
      for (int64_t j = 0; j < len; ++j) ++count[grp[j] + 1];
      for (int64_t k = 0; k < c.g; ++k) count[k + 1] += count[k];
      for (int64_t j = 0; j < len; ++j) order[count[grp[j]]++] = j;
    } else {
      std::iota(order, order + len, int64_t(0));
      std::stable_sort(order, order + len, [&](int64_t a, int64_t b) { return grp[a] < grp[b]; });
    }
    // The block less the shift into A in group order, read in memory order.
    for (int64_t r = 0; r < len; ++r) pos[order[r]] = r;
    for (int64_t j = 0; j < len; ++j) {
      T *col = A + pos[j] * q;
      if (c.om && all)
        sub(col, c.x + (b0 + j) * c.p, c.shift, q);
      else
        for (int64_t i = 0; i < q; ++i)
          col[i] = (c.om ? c.x[(b0 + j) * c.p + c.act[i]] : c.x[c.act[i] * c.n + b0 + j]) - c.shift[i];
    }
    for (int64_t s = 0; s < len;) {
      // The group's run: its weights and weighted sum.
      const int64_t k = grp[order[s]];
      int64_t e = s;
      T Wb = 0, W2b = 0;
      std::fill(mb, mb + q, T(0));
      for (; e < len && grp[order[e]] == k; ++e) {
        const T wj = c.w ? c.w[b0 + order[e]] : T(1);
        Wb += wj, W2b += wj * wj;
        axpy(mb, A + e * q, wj, q);
      }
      const int64_t m = e - s;
      if (Wb != 0) {  // centred on the group's block mean
        for (int64_t i = 0; i < q; ++i) mb[i] /= Wb;
        for (int64_t r = s; r < e; ++r) {
          T *col = A + r * q;
          axpy(col, mb, T(-1), q);
          if (c.w)
            for (int64_t i = 0; i < q; ++i) B[i + r * q] = c.w[b0 + order[r]] * col[i];
        }
        if (c.slot[k] >= 0) cross(c, A + s * q, B + s * q, m, T(0), Cb);
        join(c, v, k, Wb, W2b, mb, c.slot[k] >= 0 ? Cb : nullptr);
      } else {  // weights all zero: the columns drop out
        std::fill(A + s * q, A + e * q, T(0));
        if (c.w) std::fill(B + s * q, B + e * q, T(0));
      }
      s = e;
    }
    // Every column is centred on its group's mean: one product gives the block's share of the
    // sum of within-group cross-products.
    cross(c, A, B, len, T(1), v.C);
  }
}

template <class T>
int pooled(SsTask *task, uint64_t estimates, uint64_t method, const ZynThreader *threader) {
  Layout l;
  if (int s = start(task, l, method, SsMethodOnePass, true); s != SsStatusOk) return s;
  const bool want_pm = estimates & (SsEstimatePooledCov | SsEstimatePooledMean);
  const bool want_pc = estimates & SsEstimatePooledCov;
  const bool want_gm = estimates & (SsEstimateGroupCov | SsEstimateGroupMeans);
  const bool want_gc = estimates & SsEstimateGroupCov;
  if (task->groupIndices == nullptr) return SsStatusGroupIndices;
  const std::pair<bool, int> nulls[] = {
      {want_pm && !task->pooledMean, SsStatusPooledMean},
      {want_pc && !task->pooledCov, SsStatusPooledCov},
      {want_gm && !task->groupMeans, SsStatusGroupMeans},
      {want_gc && !task->groupCov, SsStatusGroupCov},
      {want_gc && !task->groupCovIndices, SsStatusGroupIndices},
      {want_pc && !task->pooledCovStorage, SsStatusStorage},
      {want_gc && !task->groupCovStorage, SsStatusStorage}};
  for (auto [missing, status] : nulls)
    if (missing) return status;
  int64_t g = 0;
  for (int64_t j = 0; j < l.n; ++j) {
    const int64_t k = read_int(l.wide, task->groupIndices, j);
    if (k < 0) return SsStatusGroupIndices;
    g = std::max(g, k + 1);
  }
  if (!want_pm && !want_gm) return SsStatusOk;

  const int64_t rows_max = 2048;
  const int64_t threads_max = thread_count(threader, 64);
  HeapArray<int64_t> ints(l.p + g + (4 * rows_max + 1) * threads_max);
  if (ints.p == nullptr) return SsStatusMemory;
  int64_t *act = ints.p, *slot = act + l.p;
  std::fill(slot, slot + g, -1);
  const int64_t q = flagged(task, l, act);
  if (q == 0) return SsStatusOk;
  int64_t slots = 0;
  for (int64_t k = 0; want_gc && k < g; ++k)
    if (read_int(l.wide, task->groupCovIndices, k) != 0) slot[k] = slots++;

  Pool<T> c{};
  c.x = static_cast<const T *>(task->data);
  c.w = static_cast<const T *>(task->weights);
  c.groups = task->groupIndices;
  c.wide = l.wide, c.om = l.by_observation;
  c.n = l.n, c.p = l.p, c.q = q, c.g = g, c.slots = slots;
  c.act = act, c.slot = slot, c.sort = slot + g;
  c.rows = std::clamp<int64_t>(32768 / q, 16, rows_max);
  // Threads: about 2^15 element operations each, and group tables at most a quarter of the work.
  const int64_t per_thread = g * (q + 2) + slots * q * q;
  int64_t threads = std::min<int64_t>(
      threads_max, std::max<int64_t>(1, std::min((l.n * q * q) >> 15, l.n * q / (4 * per_thread + 1))));
  if (threader == nullptr || threader->run == nullptr) threads = 1;
  c.threads = static_cast<int>(threads);
  c.stride = thread_elems<T>(g, q, slots, c.rows);
  HeapArray<T> mem(threads * c.stride + q);
  if (mem.p == nullptr) return SsStatusMemory;
  std::memset(mem.p, 0, sizeof(T) * threads * c.stride);
  c.mem = mem.p;
  T *shift = mem.p + threads * c.stride;
  for (int64_t i = 0; i < q; ++i) shift[i] = *column(c.x, l, act[i]).first;
  c.shift = shift;
  if (threads > 1)
    threader->run(c.threads, &c,
                  +[](int t, int, void *ctx) { pool_range(*static_cast<const Pool<T> *>(ctx), t); });
  else
    pool_range(c, 0);

  // Merge the threads into thread 0, in order.
  View<T> v = view(c, 0);
  for (int t = 1; t < c.threads; ++t) {
    View<T> u = view(c, t);
    for (int64_t e = 0; e < q * q; ++e) v.C[e] += u.C[e];
    for (int64_t k = 0; k < g; ++k)
      if (u.W[k] != 0)
        join(c, v, k, u.W[k], u.W2[k], u.mean + k * q,
             slot[k] >= 0 ? u.own + slot[k] * q * q : nullptr);
  }

  T *out = nullptr;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  if (want_pm) {  // the weighted mean of all observations
    out = static_cast<T *>(task->pooledMean);
    T *m = v.scratch;  // free after the threads
    std::fill(m, m + q, T(0));
    T W = 0, D = 0;
    for (int64_t k = 0; k < g; ++k) {
      if (v.W[k] == 0) continue;
      W += v.W[k];
      D += v.W[k] - v.W2[k] / v.W[k];
      for (int64_t i = 0; i < q; ++i) m[i] += v.W[k] / W * (v.mean[k * q + i] - m[i]);
    }
    for (int64_t i = 0; i < q; ++i) out[act[i]] = W != 0 ? m[i] + shift[i] : nan;
    if (want_pc) {
      out = static_cast<T *>(task->pooledCov);
      const int64_t st = read_int(l.wide, task->pooledCovStorage);
      for (int64_t b = 0; b < q; ++b)
        for (int64_t a = 0; a <= b; ++a) {
          const T e = v.C[a + b * q] / D;
          out[square_position(st, act[a], act[b], l.p)] = e;
          out[square_position(st, act[b], act[a], l.p)] = e;
        }
    }
  }
  if (want_gm) {
    out = static_cast<T *>(task->groupMeans);
    for (int64_t k = 0; k < g; ++k)
      for (int64_t i = 0; i < q; ++i)
        out[k * l.p + act[i]] = v.W[k] != 0 ? v.mean[k * q + i] + shift[i] : nan;
  }
  if (want_gc) {
    out = static_cast<T *>(task->groupCov);
    const int64_t st = read_int(l.wide, task->groupCovStorage);
    const int64_t size = (st & SsMatrixPackedBit) ? l.p * (l.p + 1) / 2 : l.p * l.p;
    for (int64_t k = 0; k < g; ++k) {
      if (slot[k] < 0) continue;
      const T *own = v.own + slot[k] * q * q, D = v.W[k] - v.W2[k] / v.W[k];
      T *o = out + slot[k] * size;
      for (int64_t b = 0; b < q; ++b)
        for (int64_t a = 0; a <= b; ++a) {
          const T e = own[a + b * q] / D;
          o[square_position(st, act[a], act[b], l.p)] = e;
          o[square_position(st, act[b], act[a], l.p)] = e;
        }
    }
  }
  return SsStatusOk;
}

// ---- partial covariance -------------------------------------------------------------------------
//
// With Y the kept and Z the conditioning variables, S_YY - S_YZ S_ZZ^-1 S_ZY: S_ZZ = L L^T, then
// M = L^-1 S_ZY and the result S_YY - M^T M by a rank-r update. The correlation is its
// normalisation.

template <class T>
void write_square(T *out, int64_t storage, int64_t m, const T *c, bool normalise) {
  for (int64_t b = 0; b < m; ++b)
    for (int64_t a = 0; a <= b; ++a) {
      const T e = !normalise ? c[a + b * m] : a == b ? T(1) : c[a + b * m] / std::sqrt(c[a + a * m] * c[b + b * m]);
      out[square_position(storage, a, b, m)] = e;
      out[square_position(storage, b, a, m)] = e;
    }
}

template <class T>
int partial(SsTask *task, uint64_t estimates, uint64_t method) {
  Layout l;
  if (int s = start(task, l, method, SsMethodFast, false); s != SsStatusOk) return s;
  const bool want_cov = estimates & SsEstimatePartialCov, want_cor = estimates & SsEstimatePartialCor;
  if (task->partialIndices == nullptr) return SsStatusPartialIndices;
  const T *in = static_cast<const T *>(task->cov ? task->cov : task->cor);
  const void *in_storage = task->cov ? task->covStorage : task->corStorage;
  const std::pair<bool, int> nulls[] = {
      {in == nullptr, SsStatusCov},
      {in_storage == nullptr, SsStatusStorage},
      {want_cov && !task->partialCov, SsStatusPartialCov},
      {want_cov && !task->partialCovStorage, SsStatusStorage},
      {want_cor && !task->partialCor, SsStatusPartialCor},
      {want_cor && !task->partialCorStorage, SsStatusStorage}};
  for (auto [missing, status] : nulls)
    if (missing) return status;
  const int64_t p = l.p;
  HeapArray<int64_t> roles(p);
  if (roles.p == nullptr) return SsStatusMemory;
  int64_t q = 0, r = 0;
  for (int64_t i = 0; i < p; ++i) {
    const int64_t v = read_int(l.wide, task->partialIndices, i);
    if (v != 1 && v != -1 && v != 0) return SsStatusPartialIndices;
    q += v == 1, r += v == -1;
  }
  if (q == 0) return SsStatusPartialIndices;
  if (!want_cov && !want_cor) return SsStatusOk;
  int64_t *ys = roles.p, *zs = roles.p + q;
  for (int64_t i = 0, a = 0, b = 0; i < p; ++i) {
    const int64_t v = read_int(l.wide, task->partialIndices, i);
    if (v == 1) ys[a++] = i;
    if (v == -1) zs[b++] = i;
  }
  HeapArray<T> mem(r * r + r * q + q * q);
  if (mem.p == nullptr) return SsStatusMemory;
  T *Z = mem.p, *M = Z + r * r, *P = M + r * q;
  const int64_t st = read_int(l.wide, in_storage);
  auto S = [&](int64_t i, int64_t k) { return in[square_position(st, i, k, p)]; };
  for (int64_t b = 0; b < r; ++b)
    for (int64_t a = 0; a < r; ++a) Z[a + b * r] = S(zs[a], zs[b]);
  for (int64_t b = 0; b < q; ++b) {
    for (int64_t a = 0; a < r; ++a) M[a + b * r] = S(zs[a], ys[b]);
    for (int64_t a = 0; a < q; ++a) P[a + b * q] = S(ys[a], ys[b]);
  }
  if (r > 0) {
    const int ri = static_cast<int>(r), qi = static_cast<int>(q);
    if (la::potrf_lower(ri, Z) != 0 || la::trtri_lower(ri, Z) != 0) return SsStatusFactor;
    la::trmm_lower_left(ri, qi, Z, M);
    la::syrk("T", qi, ri, T(-1), M, ri, T(1), P, qi);
  }
  if (want_cov) write_square(static_cast<T *>(task->partialCov), read_int(l.wide, task->partialCovStorage), q, P, false);
  if (want_cor) write_square(static_cast<T *>(task->partialCor), read_int(l.wide, task->partialCorStorage), q, P, true);
  return SsStatusOk;
}

// ---- correlation repair ---------------------------------------------------------------------------
//
// Rebonato and Jaeckel's spectral method: C = V L V^T, negative eigenvalues set to 0,
// B = V sqrt(L+) with each row scaled to unit length, result B B^T. A positive semi-definite C
// has rows of V sqrt(L) of length sqrt(C_ii) = 1 and so comes back to rounding.

template <class T>
int repair(SsTask *task, uint64_t method) {
  Layout l;
  if (int s = start(task, l, method, SsMethodParametrize, false); s != SsStatusOk) return s;
  const std::pair<bool, int> nulls[] = {
      {task->cor == nullptr, SsStatusCor},
      {task->corStorage == nullptr, SsStatusStorage},
      {task->parametrizedMatrix == nullptr, SsStatusParametrizedMatrix},
      {task->parametrizedStorage == nullptr, SsStatusStorage}};
  for (auto [missing, status] : nulls)
    if (missing) return status;
  const int64_t p = l.p, lwork = 1 + 6 * p + p * p, liwork = 3 + 5 * p;
  HeapArray<T> mem(p * (p + 1) / 2 + p + 2 * p * p + lwork);
  HeapArray<int> iwork(liwork);
  if (mem.p == nullptr || iwork.p == nullptr) return SsStatusMemory;
  T *ap = mem.p, *w = ap + p * (p + 1) / 2, *V = w + p, *R = V + p * p, *work = R + p * p;
  const T *cor = static_cast<const T *>(task->cor);
  const int64_t st = read_int(l.wide, task->corStorage);
  for (int64_t j = 0; j < p; ++j)
    for (int64_t i = 0; i <= j; ++i) ap[i + j * (j + 1) / 2] = cor[square_position(st, i, j, p)];
  const int pi = static_cast<int>(p);
  if (la::spevd(pi, ap, w, V, work, static_cast<int>(lwork), iwork.p, static_cast<int>(liwork)) != 0)
    return SsStatusEigen;
  for (int64_t k = 0; k < p; ++k) {
    const T s = std::sqrt(std::max(w[k], T(0)));
    for (int64_t i = 0; i < p; ++i) V[i + k * p] *= s;
  }
  for (int64_t i = 0; i < p; ++i) {
    T t = 0;
    for (int64_t k = 0; k < p; ++k) t += V[i + k * p] * V[i + k * p];
    const T s = t > 0 ? 1 / std::sqrt(t) : T(0);
    for (int64_t k = 0; k < p; ++k) V[i + k * p] *= s;
  }
  la::syrk("N", pi, pi, T(1), V, pi, T(0), R, pi);
  write_square(static_cast<T *>(task->parametrizedMatrix), read_int(l.wide, task->parametrizedStorage), p, R, false);
  return SsStatusOk;
}

}  // namespace
}  // namespace zyn::stats

ZYN_SS_ENTRIES(PooledCovariance, zyn::stats::pooled, (task, estimates, method, threader))
ZYN_SS_ENTRIES(PartialCovariance, zyn::stats::partial, (task, estimates, method))
ZYN_SS_ENTRIES(CorParametrization, zyn::stats::repair, (task, method))
