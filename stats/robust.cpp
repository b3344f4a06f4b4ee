// Robust estimation: median and mean absolute deviations, Mahalanobis distances, and outlier
// detection by BACON (Billor, Hadi and Velleman, CSDA 2000).
#include <algorithm>
#include <cmath>
#include <limits>

#include "frame/core_link.hpp"
#include "stats/biweight.hpp"
#include "stats/common.hpp"
#include "stats/linalg.hpp"
#include "stats/order.hpp"
#include "zyn/stats.h"

namespace zyn::stats {
namespace {

// Heap blocks from the core allocator, all freed on every way out.
template <int N>
struct Blocks {
  void *block[N] = {};
  int used = 0;
  ~Blocks() {
    for (void *b : block) core::zyn_serv_deallocate(b);
  }
  template <class E>
  E *get(int64_t count) {
    void *b = core::zyn_serv_allocate(sizeof(E) * std::max<int64_t>(count, 1), 128);
    block[used++] = b;
    return static_cast<E *>(b);
  }
};

template <class T>
int basic(SsTask *t, uint64_t e, uint64_t m, const ZynThreader *th) {
  if constexpr (sizeof(T) == 8) return _rnxdSSBasic(t, e, m, th);
  else return _rnxsSSBasic(t, e, m, th);
}
template <class T>
int median(SsTask *t, bool weighted, const ZynThreader *th) {
  if constexpr (sizeof(T) == 8)
    return weighted ? _rnxdSSWMedian(t, 0, SsMethodFast, th)
                    : _rnxdSSQuantiles(t, SsEstimateQuantiles, SsMethodFast, th);
  else
    return weighted ? _rnxsSSWMedian(t, 0, SsMethodFast, th)
                    : _rnxsSSQuantiles(t, SsEstimateQuantiles, SsMethodFast, th);
}

// A private task over the caller's data, counts and layout, with no result bound.
SsTask private_task(const SsTask *task) {
  SsTask t{};
  t.integerWidth = task->integerWidth;
  t.taskTag = 2;
  t.isDouble = task->isDouble;
  t.dimension = task->dimension;
  t.observations = task->observations;
  t.data = task->data;
  t.storage = task->storage;
  return t;
}

// Sum of the weights (n when there are none); not positive or a negative weight: 0.
template <class T>
double weight_sum(const T *w, int64_t n) {
  if (w == nullptr) return static_cast<double>(n);
  double s = 0;
  for (int64_t j = 0; j < n; ++j) {
    if (!(w[j] >= 0)) return 0;
    s += w[j];
  }
  return s;
}

// Median absolute deviation (about the median, unscaled; medians of even counts are the means
// of the two middle values) and mean absolute deviation sum w |x - m| / W, per flagged variable.
template <class T>
int mad_entry(SsTask *task, uint64_t estimates, uint64_t method, const ZynThreader *threader) {
  Layout l;
  if (int s = check_layout(task, l)) return s;
  const bool want_median = (estimates & SsEstimateMedianDeviation) != 0;
  const bool want_mean = (estimates & SsEstimateMeanDeviation) != 0;
  const bool user_mean = (method & SsMethodFastUserMean) != 0;
  if (want_median) {
    if (task->medianDeviation == nullptr) return SsStatusMedianDeviation;
    if (!(method & SsMethodFast)) return SsStatusMethod;
  }
  double W = 0;
  const T *w = static_cast<const T *>(task->weights);
  if (want_mean) {
    if (task->meanDeviation == nullptr) return SsStatusMeanDeviation;
    if (!(method & (SsMethodFast | SsMethodFastUserMean))) return SsStatusMethod;
    if (user_mean && task->mean == nullptr) return SsStatusMean;
    if (!((W = weight_sum(w, l.n)) > 0)) return SsStatusWeights;
  }
  if (!want_median && !want_mean) return SsStatusOk;

  Blocks<2> mem;
  int64_t *act = mem.get<int64_t>(l.p);
  if (act == nullptr) return SsStatusMemory;
  const int64_t q = flagged(task, l, act);
  const int threads = thread_count(threader, q);
  T *work = want_median ? mem.get<T>(2 * l.n * threads) : nullptr;
  if (want_median && work == nullptr) return SsStatusMemory;

  const T *x = static_cast<const T *>(task->data);
  const T half = T(0.5), *centre = static_cast<const T *>(task->mean);
  const int64_t rising = 0;
  T *med_out = static_cast<T *>(task->medianDeviation), *mean_out = static_cast<T *>(task->meanDeviation);
  auto body = [&](int64_t index, int thread) {
    const int64_t i = act[index];
    const auto [src, step] = column(x, l, i);
    if (want_median) {
      T *dev = work + 2 * l.n * thread, *scratch = dev + l.n;
      T med;
      quantiles(src, step, l.n, &half, &rising, 1, &med, scratch);
      for (int64_t j = 0; j < l.n; ++j) dev[j] = std::fabs(src[j * step] - med);
      quantiles(dev, 1, l.n, &half, &rising, 1, med_out + i, scratch);
    }
    if (want_mean) {
      double m = 0, s = 0;
      if (user_mean) {
        m = centre[i];
      } else {  // about the first element, so that a large common offset costs no accuracy
        const double x0 = src[0];
        for (int64_t j = 0; j < l.n; ++j) s += (w ? double(w[j]) : 1.0) * (src[j * step] - x0);
        m = x0 + s / W, s = 0;
      }
      for (int64_t j = 0; j < l.n; ++j) s += (w ? double(w[j]) : 1.0) * std::fabs(src[j * step] - m);
      mean_out[i] = static_cast<T>(s / W);
    }
  };
  for_each_index(threader, threads, q, body);
  return SsStatusOk;
}

// sqrt(dT A d), d = x_j - mean, for every observation: blocks of observations gathered as the
// columns of D (p x block), A D by the symmetric multiply, then the column dot products. Blocks
// of 256 observations, fewer when p^2 * 256 would reach 2^18 (D and A D stay in L2).
template <class T>
int distances(const Layout &l, const T *x, const T *mean, const T *inverse, T *out,
              const ZynThreader *threader) {
  const int64_t p = l.p, kBlock = std::clamp<int64_t>((1 << 18) / (p * p) - 1, 8, 256);
  const int64_t blocks = (l.n + kBlock - 1) / kBlock;
  const int threads = l.n * p < 20000 ? 1 : thread_count(threader, blocks);
  Blocks<1> mem;
  T *work = mem.get<T>(2 * p * kBlock * threads);
  if (work == nullptr) return SsStatusMemory;
  auto body = [&](int64_t b, int thread) {
    const int64_t j0 = b * kBlock, m = std::min(kBlock, l.n - j0);
    T *d = work + 2 * p * kBlock * thread, *y = d + p * kBlock;
    for (int64_t j = 0; j < m; ++j)
      for (int64_t i = 0; i < p; ++i)
        d[j * p + i] = (l.by_observation ? x[(j0 + j) * p + i] : x[i * l.n + j0 + j]) - mean[i];
    la::symm_left(static_cast<int>(p), static_cast<int>(m), inverse, d, y);
    for (int64_t j = 0; j < m; ++j) {
      T s = 0;
      for (int64_t i = 0; i < p; ++i) s += d[j * p + i] * y[j * p + i];
      out[j0 + j] = std::sqrt(std::max(s, T(0)));
    }
  };
  for_each_index(threader, threads, blocks, body);
  return SsStatusOk;
}

template <class T>
int mahalanobis_entry(SsTask *task, uint64_t method, const ZynThreader *threader) {
  Layout l;
  if (int s = check_layout(task, l)) return s;
  if (task->mean == nullptr) return SsStatusMean;
  if (task->cov == nullptr) return SsStatusCov;
  if (task->outlierWeights == nullptr) return SsStatusOutlierWeights;
  if (method != SsMethodFast) return SsStatusMethod;
  return distances(l, static_cast<const T *>(task->data), static_cast<const T *>(task->mean),
                   static_cast<const T *>(task->cov), static_cast<T *>(task->outlierWeights),
                   threader);
}

// BACON. Start: the 4p observations nearest the classical estimates by Mahalanobis distance
// (method 1) or nearest the coordinatewise median by Euclidean distance (method 2), grown by
// the next nearest until their covariance has full rank. Step: mean and covariance of the subset
// (data weights included), distances of all observations, new subset d < c sqrt(chi2_p(1 -
// alpha)) with BACON's correction c; until at most beta n observations change side (none when
// beta n < 1) or after n steps. Weights: 1 in the final subset, 0 for the outliers.
template <class T>
int bacon_entry(SsTask *task, uint64_t method, const ZynThreader *threader) {
  Layout l;
  if (int s = check_layout(task, l)) return s;
  const int64_t n = l.n, p = l.p;
  if (n < 5 * p) return SsStatusObservations;
  if (task->outlierWeights == nullptr) return SsStatusOutlierWeights;
  if (!(method & SsMethodOutliers)) return SsStatusMethod;
  double start = 2, alpha = 0.05, beta = 0.005;
  if (task->outlierParamCount != nullptr && task->outlierParams != nullptr &&
      read_int(l.wide, task->outlierParamCount) == 3) {
    const T *pr = static_cast<const T *>(task->outlierParams);
    start = pr[0], alpha = pr[1], beta = pr[2];
  }
  if (!(alpha >= 0 && alpha <= 1)) alpha = 0.05;
  if (!(beta > 0)) beta = 0.005;
  if (start != 1 && start != 2) start = 2;

  Blocks<7> mem;
  T *sw = mem.get<T>(n), *dist = mem.get<T>(n), *mean = mem.get<T>(p), *cov = mem.get<T>(p * p);
  int64_t *order = mem.get<int64_t>(n);
  unsigned char *in = mem.get<unsigned char>(n);
  double *a = mem.get<double>(p * p);
  for (void *b : mem.block)
    if (b == nullptr) return SsStatusMemory;
  mem.block[6] = nullptr;  // `a` is handed to the inverse, which frees it when it fails

  const T *x = static_cast<const T *>(task->data), *w = static_cast<const T *>(task->weights);
  const int64_t full = SsMatrixFull;
  SsTask sub = private_task(task);
  sub.weights = sw, sub.mean = mean, sub.cov = cov, sub.covStorage = const_cast<int64_t *>(&full);
  // Mean and covariance of the weights sw, then the distances of every observation from them.
  auto estimate = [&]() -> int {
    if (int s = basic<T>(&sub, SsEstimateMean | SsEstimateCov, SsMethodOnePass, threader)) return s;
    std::copy(cov, cov + p * p, a);
    if (int s = __rnxdTestCovRank(p, a)) return s;
    if (int s = __rnxdInvCov(p, a)) {
      if (s == SsStatusFactor) a = nullptr;
      return s;
    }
    std::copy(a, a + p * p, cov);
    return distances(l, x, mean, cov, dist, threader);
  };
  auto weight = [&](int64_t j) { return w ? w[j] : T(1); };
  int status = SsStatusOk;
  auto finish = [&](int s) {
    core::zyn_serv_deallocate(a);
    return s;
  };

  for (int64_t j = 0; j < n; ++j) sw[j] = weight(j);
  if (start == 1) {
    if ((status = estimate()) != SsStatusOk) return finish(status);
  } else {
    const T half = T(0.5);
    const int64_t one = 1;
    T *med = mean;
    SsTask m = private_task(task);
    m.weights = task->weights, m.quantileOrders = const_cast<T *>(&half), m.quantiles = med;
    m.quantileOrderCount = const_cast<int64_t *>(&one);  // 1 at either integer width
    if ((status = median<T>(&m, w != nullptr, threader)) != SsStatusOk) return finish(status);
    for (int64_t j = 0; j < n; ++j) {
      T s = 0;
      for (int64_t i = 0; i < p; ++i) {
        const T d = (l.by_observation ? x[j * p + i] : x[i * n + j]) - med[i];
        s += d * d;
      }
      dist[j] = std::sqrt(s);
    }
  }
  for (int64_t j = 0; j < n; ++j) order[j] = j;
  std::sort(order, order + n, [&](int64_t u, int64_t v) {
    return dist[u] < dist[v] || (dist[u] == dist[v] && u < v);
  });
  int64_t r = std::min(n, 4 * p);
  for (;;) {
    std::fill(sw, sw + n, T(0));
    for (int64_t k = 0; k < r; ++k) sw[order[k]] = weight(order[k]);
    status = estimate();
    if (status != SsStatusCovRank || r == n) break;
    r = std::min(n, r + std::max<int64_t>(1, r / 8));
  }
  if (status != SsStatusOk) return finish(status);
  std::fill(in, in + n, 0);
  for (int64_t k = 0; k < r; ++k) in[order[k]] = 1;

  const double root = std::sqrt(__rnxdChi2ICDF(static_cast<double>(p), 1 - alpha));
  const double h = std::floor((n + p + 1) / 2.0), dn = double(n), dp = double(p);
  const int64_t tolerated = beta * dn < 1 ? 0 : static_cast<int64_t>(beta * dn);
  for (int64_t step = 0; step < n; ++step) {
    const double c = 1 + (dp + 1) / (dn - dp) + 2 / (dn - 1 - 3 * dp) +
                     std::max(0.0, (h - double(r)) / (h + double(r)));
    const T cut = static_cast<T>(c * root);
    int64_t changed = 0;
    r = 0;
    for (int64_t j = 0; j < n; ++j) {
      const unsigned char now = dist[j] < cut;
      changed += now != in[j];
      in[j] = now, r += now;
    }
    if (changed <= tolerated) break;
    for (int64_t j = 0; j < n; ++j) sw[j] = in[j] ? weight(j) : T(0);
    if ((status = estimate()) != SsStatusOk) return finish(status);
  }
  T *out = static_cast<T *>(task->outlierWeights);
  for (int64_t j = 0; j < n; ++j) out[j] = in[j];
  return finish(SsStatusOk);
}


// ---- translated-biweight S-estimator (Rocke 1996) ---------------------------------------------

// log det of a symmetric positive definite matrix by Cholesky; -inf when not positive definite.
double log_det(int64_t p, const double *a, double *work) {
  std::copy(a, a + p * p, work);
  double s = 0;
  for (int64_t j = 0; j < p; ++j) {
    double d = work[j * p + j];
    for (int64_t k = 0; k < j; ++k) d -= work[j * p + k] * work[j * p + k];
    if (!(d > 0)) return -std::numeric_limits<double>::infinity();
    const double r = std::sqrt(d);
    s += 2 * std::log(r);
    for (int64_t i = j + 1; i < p; ++i) {
      double v = work[i * p + j];
      for (int64_t k = 0; k < j; ++k) v -= work[i * p + k] * work[j * p + k];
      work[i * p + j] = v / r;
    }
  }
  return s;
}

// Median and median absolute deviation of v[0..n), the latter times 1.4826 (1 / Phi^-1(3/4)) so
// that it estimates the standard deviation at the normal; `work` holds 2n.
template <class T>
void median_mad(const T *v, int64_t step, int64_t n, T *work, double &med, double &mad) {
  const T half = T(0.5);
  const int64_t rising = 0;
  T m, s;
  quantiles(v, step, n, &half, &rising, 1, &m, work + n);
  for (int64_t j = 0; j < n; ++j) work[j] = std::fabs(v[j * step] - m);
  quantiles(work, 1, n, &half, &rising, 1, &s, work + n);
  med = m, mad = 1.4826022185056018 * s;
}

template <class T>
int tbs_entry(SsTask *task, uint64_t method, const ZynThreader *threader) {
  Layout l;
  if (int s = check_layout(task, l)) return s;
  const int64_t n = l.n, p = l.p;
  if (n <= 2 * p) return SsStatusObservations;
  if (task->robustMean == nullptr) return SsStatusRobustMean;
  if (task->robustCov == nullptr) return SsStatusRobustCov;
  if (task->robustCovStorage == nullptr) return SsStatusStorage;
  const int64_t kind = read_int(l.wide, task->robustCovStorage);
  if (kind < 0 || kind > 2) return SsStatusStorageValue;
  if (!(method & SsMethodRobustTbs)) return SsStatusMethod;
  const int64_t form = kind == 0 ? SsMatrixFull : kind == 1 ? SsMatrixPackedLower : SsMatrixPackedUpper;

  const double dn = double(n), dp = double(p), bdp_default = (dn - dp) * 0.5 / dn;
  double bdp = bdp_default, arp = 0.1, accuracy = 1e-5, limit = 120;
  if (task->robustParamCount != nullptr && task->robustParams != nullptr &&
      read_int(l.wide, task->robustParamCount) == 4) {
    const T *pr = static_cast<const T *>(task->robustParams);
    bdp = pr[0], arp = pr[1], accuracy = pr[2], limit = pr[3];
    if (!(bdp > 0 && bdp <= bdp_default)) bdp = bdp_default;
    if (!(arp > 0 && arp < 1)) arp = 0.1;
    if (!(accuracy > 0)) accuracy = 1e-5;
    if (!(limit >= 1)) limit = 120;
  }
  const Biweight bw = biweight_constants(p, bdp, arp);
  const ZynThreader *th = n * p < 10000 ? nullptr : threader;

  const int64_t lwork = 1 + 6 * p + p * p, liwork = 3 + 5 * p;
  Blocks<9> mem;
  T *y = mem.get<T>(n * p), *work = mem.get<T>(3 * n), *sw = mem.get<T>(n), *dist = mem.get<T>(n);
  T *mean = mem.get<T>(p), *cov = mem.get<T>(p * p);
  double *la_work = mem.get<double>(4 * p * p + 3 * p + lwork);
  int *iwork = mem.get<int>(liwork);
  double *a = mem.get<double>(p * p);
  for (void *b : mem.block)
    if (b == nullptr) return SsStatusMemory;
  mem.block[8] = nullptr;  // `a` is handed to the inverse, which frees it when it fails
  auto finish = [&](int s) {
    core::zyn_serv_deallocate(a);
    return s;
  };
  double *u = la_work, *ev = u + p * p, *w = ev + p * p, *scale = w + p, *centre = scale + p,
         *sy = centre + p, *lw = sy + p * p;
  const T *x = static_cast<const T *>(task->data), *dw = static_cast<const T *>(task->weights);

  // Start: orthogonalised Gnanadesikan-Kettenring (Maronna and Zamar 2002).
  for (int64_t i = 0; i < p; ++i) {
    const auto [src, step] = column(x, l, i);
    median_mad(src, step, n, work, centre[i], scale[i]);
    if (!(scale[i] > 0)) return finish(SsStatusCovRank);
    for (int64_t j = 0; j < n; ++j) y[i * n + j] = static_cast<T>((src[j * step] - centre[i]) / scale[i]);
  }
  T *sum = work + 2 * n;  // median_mad's work is the first 2n
  for (int64_t i = 0; i < p; ++i) {
    for (int64_t k = 0; k <= i; ++k) {
      double value = 1;
      if (k < i) {
        double m1, s1, m2, s2;
        for (int64_t j = 0; j < n; ++j) sum[j] = y[i * n + j] + y[k * n + j];
        median_mad(sum, 1, n, work, m1, s1);
        for (int64_t j = 0; j < n; ++j) sum[j] = y[i * n + j] - y[k * n + j];
        median_mad(sum, 1, n, work, m2, s2);
        value = (s1 * s1 - s2 * s2) / 4;
      }
      u[k + i * (i + 1) / 2] = value;  // packed upper, column-major
    }
  }
  const int pi = static_cast<int>(p), li = static_cast<int>(lwork), lii = static_cast<int>(liwork);
  if (la::spevd(pi, u, w, ev, lw, li, iwork, lii) != 0) return finish(SsStatusEigen);
  // Robust location and scale of the projections z_k = e_k^T y.
  double *nu = w;  // the eigenvalues are not needed
  for (int64_t k = 0; k < p; ++k) {
    for (int64_t j = 0; j < n; ++j) {
      double z = 0;
      for (int64_t i = 0; i < p; ++i) z += ev[k * p + i] * y[i * n + j];
      sum[j] = static_cast<T>(z);
    }
    double m, s;
    median_mad(sum, 1, n, work, m, s);
    nu[k] = m, sy[k] = s * s;  // sy's first p entries hold the variances for a moment
  }
  for (int64_t i = 0; i < p; ++i) {
    double mi = 0;
    for (int64_t k = 0; k < p; ++k) mi += ev[k * p + i] * nu[k];
    mean[i] = static_cast<T>(centre[i] + scale[i] * mi);
  }
  for (int64_t i = 0; i < p; ++i)
    for (int64_t q = 0; q < p; ++q) {
      double s = 0;
      for (int64_t k = 0; k < p; ++k) s += ev[k * p + i] * sy[k] * ev[k * p + q];
      cov[i * p + q] = static_cast<T>(scale[i] * scale[q] * s);
    }

  const int64_t full = SsMatrixFull;
  SsTask sub = private_task(task);
  sub.weights = sw, sub.mean = mean, sub.cov = cov, sub.covStorage = const_cast<int64_t *>(&full);
  // Distances of every observation from (mean, cov); `ld` gets log det cov.
  auto distances_from = [&](double &ld) -> int {
    std::copy(cov, cov + p * p, a);
    if (int s = __rnxdTestCovRank(p, a)) return s;
    ld = log_det(p, a, sy);
    if (int s = __rnxdInvCov(p, a)) {
      if (s == SsStatusFactor) a = nullptr;
      return s;
    }
    T *inv = y;  // the standardised data are no longer needed
    std::copy(a, a + p * p, inv);
    return distances(l, x, mean, inv, dist, th);
  };
  auto weight = [&](int64_t j) { return dw ? double(dw[j]) : 1.0; };
  double W = 0;
  for (int64_t j = 0; j < n; ++j) W += weight(j);

  // One reweighting: the observations with d^2 <= chi2_p(0.9).
  double ld = 0;
  if (int s = distances_from(ld)) return finish(s);
  const double keep = std::sqrt(__rnxdChi2ICDF(dp, 0.9));
  for (int64_t j = 0; j < n; ++j) sw[j] = static_cast<T>(dist[j] <= keep ? weight(j) : 0);
  if (int s = basic<T>(&sub, SsEstimateMean | SsEstimateCov, SsMethodOnePass, th)) return finish(s);

  // Iteration: distances, the scale s solving mean rho(d / s) = b (Newton in a shrinking
  // bracket, from the median distance over the median of chi_p), weights w(d / s), weighted mean
  // and covariance.
  double s = 1, sigma_prev = 0;
  const double median_chi = std::sqrt(__rnxdChi2ICDF(dp, 0.5));
  for (int64_t it = 0;; ++it) {
    if (int st = distances_from(ld)) return finish(st);
    std::copy(dist, dist + n, work);
    s = select(work, 0, n, (n - 1) / 2) / median_chi;  // the scale at which d / s has the model's median
    if (!(s > 0)) s = 1;
    double lo = 0, hi = std::numeric_limits<double>::infinity();
    for (int k = 0; k < 200; ++k) {
      double g = 0, dg = 0;
      for (int64_t j = 0; j < n; ++j) {
        const double d = dist[j] / s;
        g += weight(j) * bw.rho(d), dg -= weight(j) * d * d * bw.weight(d) / s;
      }
      g = g / W - bw.b, dg /= W;
      (g > 0 ? lo : hi) = s;
      double next = dg < 0 ? s - g / dg : 2 * s;
      if (!(next > lo && next < hi)) next = std::isinf(hi) ? 2 * s : 0.5 * (lo + hi);
      const bool done = std::fabs(next - s) <= 1e-14 * s || g == 0;
      s = next;
      if (done) break;
    }
    const double sigma = s * std::exp(ld / (2 * dp));
    if ((it > 0 && std::fabs(sigma - sigma_prev) <= accuracy * sigma) || it + 1 >= limit) break;
    sigma_prev = sigma;
    for (int64_t j = 0; j < n; ++j) sw[j] = static_cast<T>(weight(j) * bw.weight(dist[j] / s));
    if (int st = basic<T>(&sub, SsEstimateMean | SsEstimateCov, SsMethodOnePass, th)) return finish(st);
  }

  T *rm = static_cast<T *>(task->robustMean), *rc = static_cast<T *>(task->robustCov);
  for (int64_t i = 0; i < p; ++i) rm[i] = mean[i];
  for (int64_t i = 0; i < p; ++i)
    for (int64_t q = 0; q < p; ++q)
      if (form == SsMatrixFull || q <= i) rc[square_position(form, i, q, p)] = static_cast<T>(s * s * cov[i * p + q]);
  return finish(SsStatusOk);
}

}  // namespace
}  // namespace zyn::stats

using namespace zyn::stats;

ZYN_SS_ENTRIES(MAD, mad_entry, (task, estimates, method, threader))
ZYN_SS_ENTRIES(MahDistance, mahalanobis_entry, (task, method, threader))
ZYN_SS_ENTRIES(OutliersDetection, bacon_entry, (task, method, threader))
ZYN_SS_ENTRIES(RobustCovariance, tbs_entry, (task, method, threader))
