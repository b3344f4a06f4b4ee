// Robust estimation: median and mean absolute deviations, Mahalanobis distances, and outlier
// detection by BACON (Billor, Hadi and Velleman, CSDA 2000).
#include <algorithm>
#include <cmath>

#include "frame/core_link.hpp"
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
// columns of D (p x block), A D by the symmetric multiply, then the column dot products.
constexpr int64_t kBlock = 256;
template <class T>
int distances(const Layout &l, const T *x, const T *mean, const T *inverse, T *out,
              const ZynThreader *threader) {
  const int64_t p = l.p, blocks = (l.n + kBlock - 1) / kBlock;
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

}  // namespace
}  // namespace zyn::stats

using namespace zyn::stats;

int _rnxdSSMAD(SsTask *task, uint64_t estimates, uint64_t method, const ZynThreader *th) {
  return mad_entry<double>(task, estimates, method, th);
}
int _rnxsSSMAD(SsTask *task, uint64_t estimates, uint64_t method, const ZynThreader *th) {
  return mad_entry<float>(task, estimates, method, th);
}
int _rnxdSSMahDistance(SsTask *task, uint64_t, uint64_t method, const ZynThreader *th) {
  return mahalanobis_entry<double>(task, method, th);
}
int _rnxsSSMahDistance(SsTask *task, uint64_t, uint64_t method, const ZynThreader *th) {
  return mahalanobis_entry<float>(task, method, th);
}
int _rnxdSSOutliersDetection(SsTask *task, uint64_t, uint64_t method, const ZynThreader *th) {
  return bacon_entry<double>(task, method, th);
}
int _rnxsSSOutliersDetection(SsTask *task, uint64_t, uint64_t method, const ZynThreader *th) {
  return bacon_entry<float>(task, method, th);
}
