// Multivariate normal data with values missing at random: the maximum-likelihood mean and
// covariance by EM, then draws of the missing values and of the parameters by data augmentation.
//
// Observations are grouped by missingness pattern. For a pattern with observed set O and missing
// set M, sweeping the current covariance on O leaves B = S_MO S_OO^-1 in the (M, O) block and the
// residual covariance R = S_MM - B S_OM in the (M, M) block. EM (Dempster, Laird and Rubin)
// replaces y_M by mu_M + B (y_O - mu_O) and adds R to the cross-products; data augmentation
// (Tanner and Wong) draws y_M from N(mu_M + B (y_O - mu_O), R) instead, then draws the covariance
// from its inverse-Wishart posterior (Bartlett's decomposition) and the mean from its normal
// posterior. EM works on each pattern's sums and cross-products of its observed values, formed
// once, so that an iteration does not read the data (unless patterns average fewer than p + 1
// observations: then it passes over the data as DA does).
//
// Reproducibility: observations are processed in blocks of a length fixed by p alone; each block
// writes its own sums, which are added in block order, and draws its normals from MRG32K3A
// (seed kSeed) skipped to (t n + first observation of the block) p numbers for DA iteration t.
// The parameter draw of iteration t starts at 2^64 (t + 1). Results don't depend on threads.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>

#include "stats/common.hpp"
#include "stats/linalg.hpp"
#include "zyn/dist.h"
#include "zyn/stats.h"

namespace zyn::stats {
namespace {

constexpr uint32_t kSeed = 7777777;

// The data and what the passes share. Vectors of q are over the flagged variables.
template <class T>
struct Model {
  const T *x;
  Layout l;
  int64_t q, rows, blocks;
  const int64_t *act;     // flagged variable of each of the q
  const int64_t *pat;     // n: pattern of each observation
  const int64_t *off;     // n + 1: first missing value of each observation, observation order
  const int64_t *vars;    // patterns x q: observed variables, then missing ones
  const int64_t *nobs;    // per pattern: how many observed
  const int64_t *reg;     // per pattern: offset of B (m x q, 0 at the missing places), then R
                          // or its factor (m x m)
  double *coef;           // the B and R of every pattern
  const double *mu;       // current mean
  double *sums;           // per block: (q + 1) x (q + 1) cross-products (upper), sums last
  double *work;           // per thread: a centred block ((q + 1) x rows), normals, q more
  StreamState **streams;  // per thread
  const StreamState *origin;
  double *imputed;        // the drawn values, observation order, or null
  int64_t iteration;      // DA iteration from 0, or -1 for EM
  std::atomic<int> status;
};

template <class T>
double value(const Model<T> &c, int64_t i, int64_t j) {
  return static_cast<double>(c.l.by_observation ? c.x[j * c.l.p + c.act[i]] : c.x[c.act[i] * c.l.n + j]);
}

// The block's rows less the mean, missing places included, as columns of D (stride q + 1).
template <class T>
void gather(const Model<T> &c, int64_t j0, int64_t j1, double *__restrict D) {
  const int64_t q = c.q, ld = q + 1, p = c.l.p;
  const double *__restrict mu = c.mu;
  const T *__restrict x = c.x;
  if (c.l.by_observation && q == p)
    for (int64_t j = j0; j < j1; ++j)
      for (int64_t i = 0; i < q; ++i) D[(j - j0) * ld + i] = static_cast<double>(x[j * p + i]) - mu[i];
  else if (c.l.by_observation)
    for (int64_t j = j0; j < j1; ++j)
      for (int64_t i = 0; i < q; ++i) D[(j - j0) * ld + i] = static_cast<double>(x[j * p + c.act[i]]) - mu[i];
  else
    for (int64_t i = 0; i < q; ++i) {
      const T *__restrict col = x + c.act[i] * c.l.n;
      for (int64_t j = j0; j < j1; ++j) D[(j - j0) * ld + i] = static_cast<double>(col[j]) - mu[i];
    }
  for (int64_t j = j0; j < j1; ++j) D[(j - j0) * ld + q] = 1;
}

// One block: the centred completed observations with a row of ones appended, so that one
// product gives the cross-products and, in its last column, the sums.
template <class T>
void block(Model<T> &c, int64_t b, int thread) {
  const int64_t q = c.q, ld = q + 1, j0 = b * c.rows, j1 = std::min(c.l.n, j0 + c.rows);
  double *D = c.work + thread * (2 * ld * c.rows + q), *z = D + ld * c.rows, *t = z + ld * c.rows;
  if (c.iteration >= 0 && c.off[j1] > c.off[j0]) {
    StreamState *s = c.streams[thread];
    const uint64_t skip = static_cast<uint64_t>(c.iteration * c.l.n + j0) * static_cast<uint64_t>(q);
    int st = __rnxCopyStreamState(s, c.origin);
    if (st >= 0) st = __rnxSkipAheadStream(s, skip);
    if (st >= 0) st = _rnxdRngGaussian(GaussianMethodIcdf, s, static_cast<int>(c.off[j1] - c.off[j0]), z, 0, 1);
    if (st < 0) c.status = SsStatusMemory;
  }
  gather(c, j0, j1, D);
  for (int64_t j = j0; j < j1; ++j) {
    double *d = D + (j - j0) * ld;
    const int64_t k = c.pat[j], *v = c.vars + k * q, o = c.nobs[k], m = q - o;
    if (m == 0) continue;
    const double *B = c.coef + c.reg[k], *L = B + m * q, *zj = z + c.off[j] - c.off[j0];
    for (int64_t r = 0; r < m; ++r) d[v[o + r]] = 0;
    for (int64_t r = 0; r < m; ++r) {  // B's rows are 0 at the missing places
      double e = 0;
      for (int64_t i = 0; i < q; ++i) e += B[r * q + i] * d[i];
      if (c.iteration >= 0)
        for (int64_t s = 0; s <= r; ++s) e += L[r * m + s] * zj[s];
      t[r] = e;
    }
    for (int64_t r = 0; r < m; ++r) {
      d[v[o + r]] = t[r];
      if (c.imputed) c.imputed[c.off[j] + r] = c.mu[v[o + r]] + t[r];
    }
  }
  la::syrk("N", static_cast<int>(ld), static_cast<int>(j1 - j0), 1.0, D, static_cast<int>(ld), 0.0,
           c.sums + b * ld * ld, static_cast<int>(ld));
}

// Sweeps the q x q symmetric G on variable k; false on a pivot not above tol.
bool sweep(double *G, int64_t q, int64_t k, double tol) {
  const double h = G[k * q + k];
  if (!(h > tol)) return false;
  for (int64_t i = 0; i < q; ++i)
    for (int64_t l = 0; l < q; ++l)
      if (i != k && l != k) G[i * q + l] -= G[i * q + k] * G[k * q + l] / h;
  for (int64_t i = 0; i < q; ++i)
    if (i != k) G[i * q + k] /= h, G[k * q + i] /= h;
  G[k * q + k] = -1 / h;
  return true;
}

// Lower Cholesky factor of the m x m A (row-major) in place; false unless positive definite.
bool cholesky(double *A, int64_t m) {
  for (int64_t j = 0; j < m; ++j) {
    double d = A[j * m + j];
    for (int64_t s = 0; s < j; ++s) d -= A[j * m + s] * A[j * m + s];
    if (!(d > 0)) return false;
    d = std::sqrt(d);
    A[j * m + j] = d;
    for (int64_t i = j + 1; i < m; ++i) {
      double e = A[i * m + j];
      for (int64_t s = 0; s < j; ++s) e -= A[i * m + s] * A[j * m + s];
      A[i * m + j] = e / d, A[j * m + i] = 0;
    }
  }
  return true;
}

// B and R (or R's factor, for draws) of every pattern from the covariance S (q x q full).
template <class T>
int regressions(Model<T> &c, int64_t patterns, const double *S, double *G, bool factor) {
  const int64_t q = c.q;
  for (int64_t k = 0; k < patterns; ++k) {
    const int64_t *v = c.vars + k * q, o = c.nobs[k], m = q - o;
    if (m == 0) continue;
    std::copy(S, S + q * q, G);
    for (int64_t a = 0; a < o; ++a)
      if (!sweep(G, q, v[a], 1e-13 * S[v[a] * q + v[a]])) return SsStatusFactor;
    double *B = c.coef + c.reg[k], *R = B + m * q;
    for (int64_t r = 0; r < m; ++r) {
      for (int64_t i = 0; i < q; ++i) B[r * q + i] = 0;
      for (int64_t a = 0; a < o; ++a) B[r * q + v[a]] = G[v[o + r] * q + v[a]];
      for (int64_t s = 0; s < m; ++s) R[r * m + s] = G[v[o + r] * q + v[o + s]];
    }
    if (factor && !cholesky(R, m)) return SsStatusFactor;
  }
  return SsStatusOk;
}

// One pass over the blocks; the block sums added in order into s (q) and C (q x q, upper).
template <class T>
int pass(Model<T> &c, const ZynThreader *threader, int threads, double *s, double *C) {
  const int64_t q = c.q, ld = q + 1;
  auto body = [&c](int64_t b, int thread) { block(c, b, thread); };
  for_each_index(threader, threads, c.blocks, body);
  if (c.status != SsStatusOk) return c.status;
  std::fill(s, s + q, 0.0), std::fill(C, C + q * q, 0.0);
  for (int64_t b = 0; b < c.blocks; ++b) {
    const double *sb = c.sums + b * ld * ld;
    for (int64_t l = 0; l < q; ++l) {
      s[l] += sb[l + q * ld];
      for (int64_t i = 0; i <= l; ++i) C[i + l * q] += sb[i + l * ld];
    }
  }
  return SsStatusOk;
}

// Pattern k's sums and cross-products about c0, missing places 0, and its count: (q + 1) x (q + 1),
// upper, from its observations with a row of ones appended.
template <class T>
void pattern_sums(const Model<T> &c, const uint8_t *masks, const int64_t *order, const int64_t *first,
                  const int64_t *count, const double *c0, double *stats, int64_t k, int thread) {
  const int64_t q = c.q, ld = q + 1, end = first[k] + count[k];
  double *D = c.work + thread * (2 * ld * c.rows + q), *P = stats + k * ld * ld;
  std::fill(P, P + ld * ld, 0.0);
  for (int64_t r0 = first[k]; r0 < end; r0 += c.rows) {
    const int64_t r1 = std::min(end, r0 + c.rows);
    for (int64_t r = r0; r < r1; ++r) {
      const int64_t j = order[r];
      for (int64_t i = 0; i < q; ++i) D[(r - r0) * ld + i] = masks[j * q + i] ? 0 : value(c, i, j) - c0[i];
      D[(r - r0) * ld + q] = 1;
    }
    la::syrk("N", static_cast<int>(ld), static_cast<int>(r1 - r0), 1.0, D, static_cast<int>(ld), 1.0, P,
             static_cast<int>(ld));
  }
}

// The E-step from the pattern sums: s and C (upper) of the completed data about c0. In a pattern,
// with u the observations less c0 (0 at missing places), y_M - c0_M = a + B u with
// a = (mu - c0)_M - B (mu - c0); summed, a n_k + B s_k and the cross-products
// [P_OO, a s^T + B P; n_k a a^T + a (B s)^T + (B s) a^T + B P B^T + n_k R].
template <class T>
void completed_sums(const Model<T> &c, int64_t patterns, const double *stats, const double *c0, double *s,
                    double *C, double *w) {
  const int64_t q = c.q, ld = q + 1;
  std::fill(s, s + q, 0.0), std::fill(C, C + q * q, 0.0);
  for (int64_t k = 0; k < patterns; ++k) {
    const double *P = stats + k * ld * ld, nk = P[q + q * ld];
    auto Pf = [&](int64_t i, int64_t l) { return P[std::min(i, l) + std::max(i, l) * ld]; };
    const int64_t *v = c.vars + k * q, o = c.nobs[k], m = q - o;
    for (int64_t a = 0; a < o; ++a) {
      s[v[a]] += P[v[a] + q * ld];
      for (int64_t b = 0; b <= a; ++b) C[v[b] + v[a] * q] += Pf(v[a], v[b]);
    }
    if (m == 0) continue;
    const double *B = c.coef + c.reg[k], *R = B + m * q;
    double *a = w, *Bs = a + m, *BP = Bs + m;
    for (int64_t r = 0; r < m; ++r) {
      a[r] = c.mu[v[o + r]] - c0[v[o + r]], Bs[r] = 0;
      for (int64_t i = 0; i < q; ++i) a[r] -= B[r * q + i] * (c.mu[i] - c0[i]), Bs[r] += B[r * q + i] * P[i + q * ld];
      for (int64_t l = 0; l < q; ++l) {
        BP[r * q + l] = 0;
        for (int64_t i = 0; i < q; ++i) BP[r * q + l] += B[r * q + i] * Pf(i, l);
      }
    }
    for (int64_t r = 0; r < m; ++r) {
      const int64_t i = v[o + r];
      s[i] += nk * a[r] + Bs[r];
      for (int64_t b = 0; b < o; ++b) C[std::min(i, v[b]) + std::max(i, v[b]) * q] += a[r] * P[v[b] + q * ld] + BP[r * q + v[b]];
      for (int64_t t = 0; t <= r; ++t) {
        double e = nk * (a[r] * a[t] + R[r * m + t]) + a[r] * Bs[t] + Bs[r] * a[t];
        for (int64_t l = 0; l < q; ++l) e += BP[r * q + l] * B[t * q + l];
        C[std::min(i, v[o + t]) + std::max(i, v[o + t]) * q] += e;
      }
    }
  }
}

// Writes mean and covariance (q x q full) as one record: q means, the covariance packed lower by
// rows.
template <class T>
void record(T *out, const double *mu, const double *S, int64_t q) {
  for (int64_t i = 0; i < q; ++i) out[i] = static_cast<T>(mu[i]);
  for (int64_t i = 0, e = q; i < q; ++i)
    for (int64_t l = 0; l <= i; ++l) out[e++] = static_cast<T>(S[i * q + l]);
}

// Chi-square with f degrees of freedom: 2 Gamma(f / 2) by Marsaglia and Tsang; below shape 1
// Gamma(a) = Gamma(a + 1) U^(1 / a).
int chi_square(StreamState *s, double f, double *r) {
  const double a = f / 2;
  int st = _rnxdRngGamma(GammaMethodStd, s, 1, r, a > 1 ? a : a + 1, 0, 2);
  if (st >= 0 && a <= 1) {
    double u;
    st = _rnxdRngUniform(UniformMethodStd, s, 1, &u, 0, 1);
    *r *= std::pow(1 - u, 1 / a);
  }
  return st;
}

// The posterior draw of DA iteration t from the completed data's sums s and cross-products C
// (about mu, upper): Sigma from the inverse Wishart with m degrees of freedom and inverse scale
// A = C' C'^T, by Bartlett's W = (C'^-T L)(C'^-T L)^T, so Sigma = M M^T with M = C' L^-T; then
// mu = centre + M z / sqrt(tau'). `prior`: tau, mu0 (q), nu, packed inverse scale, or null.
template <class T>
int draw(const StreamState *origin, int64_t t, int64_t n, int64_t q, const T *prior, const double *s,
         const double *C, double *mu, double *S, double *w) {
  double *A = w, *L = A + q * q, *M = L + q * q, *z = M + q * q, *ybar = z + q * q + q;
  const double dn = static_cast<double>(n);
  for (int64_t i = 0; i < q; ++i) ybar[i] = mu[i] + s[i] / dn;
  for (int64_t i = 0; i < q; ++i)
    for (int64_t l = 0; l <= i; ++l) A[i * q + l] = A[l * q + i] = C[l + i * q] - s[i] * s[l] / dn;
  double tau = dn, m = dn - 1;
  if (prior) {
    const double t0 = static_cast<double>(prior[0]), nu = static_cast<double>(prior[1 + q]);
    const T *m0 = prior + 1, *inv = prior + 2 + q;
    tau = t0 + dn, m = nu + dn;
    for (int64_t i = 0, e = 0; i < q; ++i)
      for (int64_t l = 0; l <= i; ++l, ++e) {
        const double a = A[i * q + l] + static_cast<double>(inv[e]) +
                         t0 * dn / tau * (ybar[i] - static_cast<double>(m0[i])) * (ybar[l] - static_cast<double>(m0[l]));
        A[i * q + l] = A[l * q + i] = a;
      }
    for (int64_t i = 0; i < q; ++i) ybar[i] = (dn * ybar[i] + t0 * static_cast<double>(m0[i])) / tau;
  }
  if (!(m > static_cast<double>(q - 1)) || !cholesky(A, q)) return SsStatusFactor;
  StreamState *g = nullptr;
  int st = __rnxCopyStream(&g, origin);
  const uint64_t words[2] = {0, static_cast<uint64_t>(t + 1)};
  if (st >= 0) st = __rnxSkipAheadStreamEx(g, 2, words);
  if (st >= 0) st = _rnxdRngGaussian(GaussianMethodIcdf, g, static_cast<int>(q * q + q), z, 0, 1);
  std::fill(L, L + q * q, 0.0);
  for (int64_t i = 0; i < q && st >= 0; ++i) {
    st = chi_square(g, m - static_cast<double>(i), &L[i * q + i]);
    L[i * q + i] = std::sqrt(L[i * q + i]);
    for (int64_t l = 0; l < i; ++l) L[i * q + l] = z[i * q + l];
  }
  if (g) __rnxDeleteStream(&g);
  if (st < 0) return SsStatusMemory;
  // L^-1 in place, by rows (forward substitution against the identity).
  for (int64_t i = 0; i < q; ++i) {
    const double d = L[i * q + i];
    if (!(d > 0)) return SsStatusFactor;
    for (int64_t l = 0; l < i; ++l) {
      double e = 0;
      for (int64_t k = l; k < i; ++k) e -= L[i * q + k] * L[k * q + l];
      M[l] = e / d;
    }
    for (int64_t l = 0; l < i; ++l) L[i * q + l] = M[l];
    L[i * q + i] = 1 / d;
  }
  for (int64_t i = 0; i < q; ++i)  // M = A L^-T, both lower
    for (int64_t l = 0; l < q; ++l) {
      double e = 0;
      for (int64_t k = 0; k <= std::min(i, l); ++k) e += A[i * q + k] * L[l * q + k];
      M[i * q + l] = e;
    }
  const double f = 1 / std::sqrt(tau);
  for (int64_t i = 0; i < q; ++i) {
    double e = 0;
    for (int64_t k = 0; k < q; ++k) e += M[i * q + k] * z[q * q + k];
    mu[i] = ybar[i] + f * e;
    for (int64_t l = 0; l <= i; ++l) {
      double c = 0;
      for (int64_t k = 0; k < q; ++k) c += M[i * q + k] * M[l * q + k];
      S[i * q + l] = S[l * q + i] = c;
    }
  }
  return SsStatusOk;
}

// Whether a missing-params count (limit, T, m) is a whole number from 0 to 2^31.
bool whole(double v) { return v >= 0 && v <= 2147483647.0 && v == std::floor(v); }

template <class T>
int missing(SsTask *task, uint64_t method, const ZynThreader *threader) {
  Layout l;
  if (int s = check_layout(task, l); s != SsStatusOk) return s;
  if (method != SsMethodMissing) return SsStatusMethod;
  if (task->missingParamCount == nullptr || read_int(l.wide, task->missingParamCount) != 5)
    return SsStatusMissingParamCount;
  const T *par = static_cast<const T *>(task->missingParams);
  if (par == nullptr) return SsStatusMissingParams;
  const double limit = par[0], accuracy = par[1], draws_ = par[2], marker = par[3], sets = par[4];
  if (!whole(limit) || !(accuracy > 0) || !whole(draws_) || !whole(sets) || sets > draws_)
    return SsStatusMissingParams;
  const int64_t iters = static_cast<int64_t>(limit), draws = static_cast<int64_t>(draws_),
                m = static_cast<int64_t>(sets);

  HeapArray<int64_t> ints(l.p + 3 * l.n + 4);
  if (ints.p == nullptr) return SsStatusMemory;
  int64_t *act = ints.p, *pat = act + l.p, *off = pat + l.n, *order = off + l.n + 1;
  const int64_t q = flagged(task, l, act), rec = q + q * (q + 1) / 2;
  if (q == 0) return SsStatusOk;
  const T *init = static_cast<const T *>(task->initialEstimates);
  const int64_t init_count = task->initialEstimateCount ? read_int(l.wide, task->initialEstimateCount) : 0;
  if (init && init_count != 0 && init_count < rec) return SsStatusInitialEstimateCount;
  if (!init && init_count > 0) return SsStatusInitialEstimates;
  if (task->estimateCount == nullptr || read_int(l.wide, task->estimateCount) < (1 + draws) * rec)
    return SsStatusEstimateCount;
  if (task->estimates == nullptr) return SsStatusEstimates;
  const T *prior = static_cast<const T *>(task->prior);
  const int64_t prior_count = task->priorCount ? read_int(l.wide, task->priorCount) : 0;
  if (draws > 0 && prior_count != 0 && prior_count != 2 + rec) return SsStatusPriorCount;
  if (draws > 0 && prior_count != 0 && !prior) return SsStatusPrior;
  if (draws == 0 || prior_count == 0) prior = nullptr;
  if (prior && !(prior[0] >= 0)) return SsStatusPrior;

  Model<T> c{};
  c.x = static_cast<const T *>(task->data), c.l = l, c.q = q, c.act = act;
  c.rows = std::clamp<int64_t>(8192 / q, 16, 1024);
  c.blocks = (l.n + c.rows - 1) / c.rows;
  // Missingness masks, and the place of each observation's first missing value.
  HeapArray<uint8_t> masks(l.n * q);
  if (masks.p == nullptr) return SsStatusMemory;
  const bool any_nan = std::isnan(marker);
  off[0] = 0;
  for (int64_t j = 0; j < l.n; ++j) {
    int64_t k = 0;
    for (int64_t i = 0; i < q; ++i) {
      const double v = value(c, i, j);
      k += masks.p[j * q + i] = std::isnan(v) || (!any_nan && v == marker);
    }
    off[j + 1] = off[j] + k;
  }
  const int64_t missing_count = off[l.n];
  if (m > 0) {
    if (task->simulatedCount == nullptr || read_int(l.wide, task->simulatedCount) < m * missing_count)
      return SsStatusSimulatedCount;
    if (task->simulated == nullptr) return SsStatusSimulated;
  }
  // Patterns, numbered in order of first appearance, by a table of masks open-addressed by hash.
  int64_t size = 2;
  while (size < 2 * l.n) size *= 2;
  HeapArray<int64_t> table(size);
  if (table.p == nullptr) return SsStatusMemory;
  std::fill(table.p, table.p + size, -1);
  int64_t patterns = 0;
  for (int64_t j = 0; j < l.n; ++j) {
    uint64_t h = 0;
    for (int64_t i = 0; i < q; ++i) h = (h ^ masks.p[j * q + i]) * 0x100000001b3ULL;
    int64_t e = static_cast<int64_t>((h ^ (h >> 29)) & static_cast<uint64_t>(size - 1));
    while (table.p[e] >= 0 && std::memcmp(masks.p + table.p[e] * q, masks.p + j * q, q) != 0) e = (e + 1) & (size - 1);
    if (table.p[e] < 0) table.p[e] = j, pat[j] = patterns++;
    else pat[j] = pat[table.p[e]];
  }
  const int threads = thread_count(threader, c.blocks);
  HeapArray<int64_t> pints(patterns * (q + 4) + 1);
  HeapArray<StreamState *> streams(threads);
  if (pints.p == nullptr || streams.p == nullptr) return SsStatusMemory;
  int64_t *vars = pints.p, *nobs = vars + patterns * q, *reg = nobs + patterns, *count = reg + patterns,
          *first = count + patterns;
  // The observations in pattern order (order), each pattern's first place and count.
  std::fill(count, count + patterns, 0);
  for (int64_t j = 0; j < l.n; ++j) ++count[pat[j]];
  for (int64_t k = 0, r = 0; k < patterns; r += count[k++]) first[k] = r, reg[k] = r;
  for (int64_t j = 0; j < l.n; ++j) order[reg[pat[j]]++] = j;
  for (int64_t k = 0; k < patterns; ++k) {
    const int64_t j = order[first[k]];
    int64_t o = 0;
    for (int64_t i = 0; i < q; ++i)
      if (!masks.p[j * q + i]) vars[k * q + o++] = i;
    nobs[k] = o;
    for (int64_t i = 0; i < q; ++i)
      if (masks.p[j * q + i]) vars[k * q + o++] = i;
  }
  int64_t coef_size = 0;
  for (int64_t k = 0; k < patterns; ++k) reg[k] = coef_size, coef_size += (q - nobs[k]) * (2 * q - nobs[k]);
  // EM from each pattern's sums when patterns hold q + 1 observations on average, else by passes.
  const int64_t ld = q + 1, stats_size = iters > 0 && patterns * ld <= l.n ? patterns * ld * ld : 0;
  HeapArray<double> mem(coef_size + c.blocks * ld * ld + threads * (2 * ld * c.rows + q) + 9 * q * q + 5 * q + stats_size);
  if (mem.p == nullptr) return SsStatusMemory;
  c.coef = mem.p, c.sums = c.coef + coef_size, c.work = c.sums + c.blocks * ld * ld;
  double *mu = c.work + threads * (2 * ld * c.rows + q), *S = mu + q, *s = S + q * q, *C = s + q,
         *G = C + q * q, *next = G + q * q, *w = next + q + q * q, *c0 = w + 4 * q * q + 2 * q, *stats = c0 + q;
  c.pat = pat, c.off = off, c.vars = vars, c.nobs = nobs, c.reg = reg, c.mu = mu, c.iteration = -1;
  // Available-case means and variances: the centre of the pattern sums and, without initial
  // estimates, the start (correlations 0).
  std::fill(S, S + q * q, 0.0);
  double *seen = next;
  std::fill(seen, seen + q, 0.0), std::fill(mu, mu + q, 0.0);
  for (int64_t j = 0; j < l.n; ++j)
    for (int64_t i = 0; i < q; ++i)
      if (!masks.p[j * q + i]) seen[i] += 1, mu[i] += value(c, i, j);
  for (int64_t i = 0; i < q; ++i) {
    if (seen[i] == 0) return SsStatusCovRank;
    c0[i] = mu[i] /= seen[i];
  }
  for (int64_t j = 0; j < l.n; ++j)
    for (int64_t i = 0; i < q; ++i)
      if (!masks.p[j * q + i]) S[i * q + i] += (value(c, i, j) - mu[i]) * (value(c, i, j) - mu[i]);
  for (int64_t i = 0; i < q; ++i) S[i * q + i] /= seen[i];
  if (init && init_count != 0) {
    for (int64_t i = 0; i < q; ++i) mu[i] = static_cast<double>(init[i]);
    for (int64_t i = 0, e = q; i < q; ++i)
      for (int64_t k = 0; k <= i; ++k, ++e) S[i * q + k] = S[k * q + i] = static_cast<double>(init[e]);
  }
  if (stats_size > 0) {
    auto body = [&](int64_t k, int thread) { pattern_sums(c, masks.p, order, first, count, c0, stats, k, thread); };
    for_each_index(threader, threads, patterns, body);
  }

  // EM: with s and C the sums and cross-products of the completed data about a centre (c0, or
  // the current mean), the new mean is centre + s / n, the covariance C / n - (s / n)(s / n)^T.
  const double dn = static_cast<double>(l.n);
  for (int64_t it = 0; it < iters; ++it) {
    if (int st = regressions(c, patterns, S, G, false); st != SsStatusOk) return st;
    const double *centre = stats_size ? c0 : mu;
    if (stats_size > 0) {
      completed_sums(c, patterns, stats, c0, s, C, w);
    } else {
      if (int st = pass(c, threader, threads, s, C); st != SsStatusOk) return st;
      for (int64_t k = 0; k < patterns; ++k) {
        const int64_t *v = vars + k * q, o = nobs[k], mk = q - o;
        const double *R = c.coef + reg[k] + mk * q, f = static_cast<double>(count[k]);
        for (int64_t r = 0; r < mk; ++r)
          for (int64_t t = 0; t < mk; ++t)
            if (v[o + r] <= v[o + t]) C[v[o + r] + v[o + t] * q] += f * R[r * mk + t];
      }
    }
    double change = 0;
    for (int64_t i = 0; i < q; ++i) {
      next[i] = centre[i] + s[i] / dn;
      for (int64_t k = 0; k <= i; ++k)
        next[q + i * q + k] = next[q + k * q + i] = C[k + i * q] / dn - (s[i] / dn) * (s[k] / dn);
    }
    for (int64_t i = 0; i < q; ++i)
      for (int64_t k = 0; k <= i; ++k) {
        const double scale = std::sqrt(next[q + i * q + i] * next[q + k * q + k]);
        if (scale > 0) change = std::max(change, std::fabs(next[q + i * q + k] - S[i * q + k]) / scale);
        if (k == i && scale > 0) change = std::max(change, std::fabs(next[i] - mu[i]) / std::sqrt(scale));
      }
    std::copy(next, next + q, mu), std::copy(next + q, next + q + q * q, S);
    if (change < accuracy) break;
  }
  T *est = static_cast<T *>(task->estimates);
  record(est, mu, S, q);
  if (draws == 0) return SsStatusOk;

  // Data augmentation from the EM estimate.
  StreamState *origin = nullptr;
  if (__rnxNewStreamEx(&origin, RNX_BRNG_MRG32K3A, 1, &kSeed) < 0) return SsStatusMemory;
  int status = SsStatusOk;
  std::fill(streams.p, streams.p + threads, nullptr);
  for (int k = 0; k < threads && status == SsStatusOk; ++k)
    if (__rnxCopyStream(&streams.p[k], origin) < 0) status = SsStatusMemory;
  HeapArray<double> imputed(m > 0 ? missing_count : 0);
  HeapArray<int64_t> perm(m > 0 && !l.by_observation ? missing_count : 0);
  if (imputed.p == nullptr || perm.p == nullptr) status = SsStatusMemory;
  if (status == SsStatusOk && m > 0 && !l.by_observation) {
    // Storage order by variable: the rank of each missing value in observation order.
    std::fill(order, order + l.n, 0);  // now a cursor per observation
    int64_t e = 0;
    for (int64_t i = 0; i < q; ++i)
      for (int64_t j = 0; j < l.n; ++j)
        if (masks.p[j * q + i]) perm.p[e++] = off[j] + order[j]++;
  }
  c.streams = streams.p, c.origin = origin;
  T *sim = static_cast<T *>(task->simulated);
  const int64_t every = m > 0 ? draws / m : 0;
  for (int64_t t = 0; t < draws && status == SsStatusOk; ++t) {
    const bool keep = m > 0 && (t + 1) % every == 0 && (t + 1) / every <= m;
    c.iteration = t, c.imputed = keep ? imputed.p : nullptr;
    status = regressions(c, patterns, S, G, true);
    if (status == SsStatusOk) status = pass(c, threader, threads, s, C);
    if (status == SsStatusOk) status = draw(origin, t, l.n, q, prior, s, C, mu, S, w);
    if (status != SsStatusOk) break;
    record(est + (1 + t) * rec, mu, S, q);
    if (keep) {
      T *out = sim + ((t + 1) / every - 1) * missing_count;
      for (int64_t e = 0; e < missing_count; ++e)
        out[e] = static_cast<T>(imputed.p[l.by_observation ? e : perm.p[e]]);
    }
  }
  for (int k = 0; k < threads; ++k)
    if (streams.p[k]) __rnxDeleteStream(&streams.p[k]);
  __rnxDeleteStream(&origin);
  return status;
}

}  // namespace
}  // namespace zyn::stats

ZYN_SS_ENTRIES(MissingValues, zyn::stats::missing, (task, method, threader))
