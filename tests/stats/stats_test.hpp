// Shared pieces of the statistics tests: typed entry wrappers, a threader that runs bodies on the
// requested number of std::threads, and a long-double reference of the basic estimates.
#pragma once

#include <atomic>
#include <cmath>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

#include "zyn/stats.h"

namespace sstest {

inline int new_task(SsTask **t, const void *p, const void *n, const void *s, const double *x,
                    const double *w, const void *idx, int width) {
  return _rnxdSSNewTask(t, p, n, s, x, w, idx, width);
}
inline int new_task(SsTask **t, const void *p, const void *n, const void *s, const float *x,
                    const float *w, const void *idx, int width) {
  return _rnxsSSNewTask(t, p, n, s, x, w, idx, width);
}
inline int edit(SsTask *t, int64_t code, const double *v) { return _rnxdSSEditTask(t, code, v); }
inline int edit(SsTask *t, int64_t code, const float *v) { return _rnxsSSEditTask(t, code, v); }
template <class T>
int basic(SsTask *t, uint64_t e, uint64_t m, const ZynThreader *th);
template <>
inline int basic<double>(SsTask *t, uint64_t e, uint64_t m, const ZynThreader *th) {
  return _rnxdSSBasic(t, e, m, th);
}
template <>
inline int basic<float>(SsTask *t, uint64_t e, uint64_t m, const ZynThreader *th) {
  return _rnxsSSBasic(t, e, m, th);
}

// A threader whose limit is set by the test; `run` starts exactly the requested threads.
struct TestThreads {
  static inline std::atomic<int> limit{1};
  static inline std::atomic<int> largest_run{0};
  static inline std::atomic<int> runs{0};
  static int get_limit() { return limit.load(); }
  static void run(int threads, void *ctx, zyn_thread_body body) {
    runs.fetch_add(1);
    if (threads > largest_run.load()) largest_run.store(threads);
    std::vector<std::thread> pool;
    for (int k = 0; k < threads; ++k) pool.emplace_back([=] { body(k, threads, ctx); });
    for (auto &t : pool) t.join();
  }
  static void for_(int64_t count, int threads, void *ctx, zyn_loop_body body) {
    std::vector<std::thread> pool;
    for (int k = 0; k < threads; ++k)
      pool.emplace_back([=] {
        for (int64_t i = count * k / threads; i < count * (k + 1) / threads; ++i) body(i, k, ctx);
      });
    for (auto &t : pool) t.join();
  }
  static const ZynThreader *table() {
    static const ZynThreader t = {for_, nullptr, run, nullptr, get_limit};
    return &t;
  }
  static void reset(int lim) {
    limit = lim;
    largest_run = 0;
    runs = 0;
  }
};

constexpr uint64_t kAllBasic =
    SsEstimateMean | SsEstimateR2m | SsEstimateR3m | SsEstimateR4m | SsEstimateC2m |
    SsEstimateC3m | SsEstimateC4m | SsEstimateKurtosis | SsEstimateSkewness |
    SsEstimateVariation | SsEstimateCov | SsEstimateCor | SsEstimateSum | SsEstimateR2s |
    SsEstimateR3s | SsEstimateR4s | SsEstimateC2s | SsEstimateC3s | SsEstimateC4s | SsEstimateCp;

// Result arrays of one task, all bound; matrices full unless a storage is set.
template <class T>
struct Results {
  int64_t p;
  std::vector<T> mean, r2m, r3m, r4m, c2m, c3m, c4m, sum, r2s, r3s, r4s, c2s, c3s, c4s, kurt,
      skew, var, cov, cor, cp, accw;
  int64_t cov_storage = SsMatrixFull, cor_storage = SsMatrixFull, cp_storage = SsMatrixFull;
  explicit Results(int64_t p_, T fill = T(-777)) : p(p_) {
    for (auto *v : vectors()) v->assign(p, fill);
    cov.assign(p * p, fill);
    cor.assign(p * p, fill);
    cp.assign(p * p, fill);
    accw.assign(2, T(0));
  }
  std::vector<std::vector<T> *> vectors() {
    return {&mean, &r2m, &r3m, &r4m, &c2m, &c3m, &c4m, &sum, &r2s,
            &r3s,  &r4s, &c2s, &c3s, &c4s, &kurt, &skew, &var};
  }
  void bind(SsTask *t) {
    const int64_t codes[] = {SsEditMean, SsEditR2m, SsEditR3m, SsEditR4m, SsEditC2m,
                             SsEditC3m,  SsEditC4m, SsEditSum, SsEditR2s, SsEditR3s,
                             SsEditR4s,  SsEditC2s, SsEditC3s, SsEditC4s, SsEditKurtosis,
                             SsEditSkewness, SsEditVariation};
    auto vs = vectors();
    for (size_t k = 0; k < vs.size(); ++k) edit(t, codes[k], vs[k]->data());
    edit(t, SsEditCov, cov.data());
    edit(t, SsEditCor, cor.data());
    edit(t, SsEditCp, cp.data());
    edit(t, SsEditAccumulatedWeights, accw.data());
    _rnxiSSEditTask(t, SsEditCovStorage, &cov_storage);
    _rnxiSSEditTask(t, SsEditCorStorage, &cor_storage);
    _rnxiSSEditTask(t, SsEditCpStorage, &cp_storage);
  }
};

// Long-double reference over variables of the given layout, exact two-pass.
struct Reference {
  long double W = 0, W2 = 0;
  std::vector<long double> mean, M2, M3, M4, R1, R2, R3, R4, C;
  template <class T>
  Reference(const std::vector<T> &x, const std::vector<T> *w, int64_t p, int64_t n, bool om) {
    mean.assign(p, 0);
    M2 = M3 = M4 = R1 = R2 = R3 = R4 = mean;
    C.assign(p * p, 0);
    auto at = [&](int64_t i, int64_t j) -> long double { return om ? x[j * p + i] : x[i * n + j]; };
    for (int64_t j = 0; j < n; ++j) {
      const long double wj = w ? (*w)[j] : 1;
      W += wj;
      W2 += wj * wj;
      for (int64_t i = 0; i < p; ++i) {
        const long double v = at(i, j);
        R1[i] += wj * v;
        R2[i] += wj * v * v;
        R3[i] += wj * v * v * v;
        R4[i] += wj * v * v * v * v;
      }
    }
    for (int64_t i = 0; i < p; ++i) mean[i] = R1[i] / W;
    for (int64_t j = 0; j < n; ++j) {
      const long double wj = w ? (*w)[j] : 1;
      for (int64_t i = 0; i < p; ++i) {
        const long double d = at(i, j) - mean[i];
        M2[i] += wj * d * d;
        M3[i] += wj * d * d * d;
        M4[i] += wj * d * d * d * d;
        for (int64_t l = 0; l < p; ++l) C[i * p + l] += wj * d * (at(l, j) - mean[l]);
      }
    }
  }
  long double D() const { return W - W2 / W; }
};

// Exponential variates over a large common offset: skewed, and cancellation-prone for any method
// that forms central quantities from raw ones.
template <class T>
std::vector<T> offset_data(int64_t count, T offset, uint64_t seed) {
  std::mt19937_64 g(seed);
  std::exponential_distribution<double> e(1.0);
  std::vector<T> x(count);
  for (auto &v : x) v = static_cast<T>(offset + e(g));
  return x;
}
template <class T>
std::vector<T> random_weights(int64_t n, uint64_t seed) {
  std::mt19937_64 g(seed);
  std::uniform_real_distribution<double> u(0.25, 2.0);
  std::vector<T> w(n);
  for (auto &v : w) v = static_cast<T>(u(g));
  return w;
}

}  // namespace sstest
