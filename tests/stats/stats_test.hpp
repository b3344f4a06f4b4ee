// Shared pieces of the statistics tests.
//
// Data<T>: observations over a common offset of 10^6 (10^3 in single precision), in either
// layout, with optional weights and variable flags, counts at either integer width. Task<T> makes
// a task over it and feeds it further chunks; Results<T> binds every basic result. A Snapshot is
// what a run wrote, one vector with a scale per element. Reference: long-double sums, the oracle.
//
// Properties shared by every estimator:
//   expect_threads_agree       1, 2 and 7 threads and the core library's table agree, over a
//                              runner `Snapshot run(threader)`
//   expect_halves_equal_whole  two chunks accumulated equal one call over the whole, over a
//                              runner `Snapshot run(chunks, threader)` feeding one task in turn
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <random>
#include <thread>
#include <vector>

#include "zyn/stats.h"

namespace sstest {

inline int edit(SsTask *t, int64_t code, const double *v) { return _rnxdSSEditTask(t, code, v); }
inline int edit(SsTask *t, int64_t code, const float *v) { return _rnxsSSEditTask(t, code, v); }
// The d or s form of a function, by element type.
template <class T, class D, class S, class... A>
auto call(D d, S s, A... a) {
  if constexpr (sizeof(T) == 8) return d(a...);
  else return s(a...);
}

// The computing entries (kSortInPlace: the sort with the data as its output).
enum Entry { kBasic, kQuantiles, kSort, kSortInPlace, kMinmax, kStream, kWMedian, kPooled, kPartial, kRepair, kMissing,
             kMad, kMahal, kOutliers, kRobustCov, kEntries };
template <class T>
int entry(Entry e, SsTask *t, uint64_t est, uint64_t m, const ZynThreader *th = nullptr) {
  static constexpr decltype(&_rnxdSSBasic) fns[2][kEntries] = {
      {_rnxsSSBasic, _rnxsSSQuantiles, _rnxsSSSort, _rnxsSSSort, _rnxsSSMinmax, _rnxsSSStreamQuantiles, _rnxsSSWMedian,
       _rnxsSSPooledCovariance, _rnxsSSPartialCovariance, _rnxsSSCorParametrization, _rnxsSSMissingValues, _rnxsSSMAD,
       _rnxsSSMahDistance, _rnxsSSOutliersDetection, _rnxsSSRobustCovariance},
      {_rnxdSSBasic, _rnxdSSQuantiles, _rnxdSSSort, _rnxdSSSort, _rnxdSSMinmax, _rnxdSSStreamQuantiles, _rnxdSSWMedian,
       _rnxdSSPooledCovariance, _rnxdSSPartialCovariance, _rnxdSSCorParametrization, _rnxdSSMissingValues, _rnxdSSMAD,
       _rnxdSSMahDistance, _rnxdSSOutliersDetection, _rnxdSSRobustCovariance}};
  return fns[sizeof(T) == 8][e](t, est, m, th);
}

// A threader of at most `limit` threads; `run` and `for` start exactly the threads asked for.
inline std::atomic<int> g_limit{1}, g_largest_run{0};
inline const ZynThreader *threads_table(int limit) {
  static const ZynThreader t = {
      [](int64_t count, int threads, void *ctx, zyn_loop_body body) {
        if (threads > g_largest_run) g_largest_run = threads;
        std::vector<std::thread> pool;
        for (int k = 0; k < threads; ++k)
          pool.emplace_back([=] {
            for (int64_t i = count * k / threads; i < count * (k + 1) / threads; ++i) body(i, k, ctx);
          });
        for (auto &th : pool) th.join();
      },
      nullptr,
      [](int threads, void *ctx, zyn_thread_body body) {
        if (threads > g_largest_run) g_largest_run = threads;
        std::vector<std::thread> pool;
        for (int k = 0; k < threads; ++k) pool.emplace_back([=] { body(k, threads, ctx); });
        for (auto &th : pool) th.join();
      },
      nullptr, [] { return g_limit.load(); }};
  g_limit = limit, g_largest_run = 0;
  return &t;
}

template <class T>
constexpr T kOffset = sizeof(T) == 8 ? T(1e6) : T(1e3);
constexpr uint64_t kAllBasic =
    SsEstimateMean | SsEstimateR2m | SsEstimateR3m | SsEstimateR4m | SsEstimateC2m |
    SsEstimateC3m | SsEstimateC4m | SsEstimateKurtosis | SsEstimateSkewness |
    SsEstimateVariation | SsEstimateCov | SsEstimateCor | SsEstimateSum | SsEstimateR2s |
    SsEstimateR3s | SsEstimateR4s | SsEstimateC2s | SsEstimateC3s | SsEstimateC4s | SsEstimateCp;

template <class T>
struct Data {
  int64_t p = 0, n = 0;
  bool om = false;
  int width = 1;
  std::vector<T> x, w;         // w empty: unweighted
  std::vector<int64_t> flags;  // empty: every variable
  T &at(int64_t i, int64_t j) { return om ? x[j * p + i] : x[i * n + j]; }
  T at(int64_t i, int64_t j) const { return om ? x[j * p + i] : x[i * n + j]; }
  bool active(int64_t i) const { return flags.empty() || flags[i] != 0; }
  Data slice(int64_t j0, int64_t j1) const {
    Data d = *this;
    d.n = j1 - j0;
    for (int64_t j = j0; j < j1; ++j)
      for (int64_t i = 0; i < p; ++i) d.at(i, j - j0) = at(i, j);
    d.x.resize(p * d.n);
    if (!w.empty()) d.w.assign(w.begin() + j0, w.begin() + j1);
    return d;
  }
};

// Exponential variates: skewed, and cancellation-prone for any method that forms central
// quantities from raw ones. Variable i has scale i + 1; variable 1 carries variable 0 as well.
// With `trend`, variable 0 is sorted and variable 1 jumps by 10^4 halfway.
template <class T>
Data<T> make_data(int64_t p, int64_t n, bool om, bool weighted, bool flagged, uint64_t seed,
                  bool trend = false) {
  Data<T> d;
  d.p = p, d.n = n, d.om = om, d.x.resize(p * n);
  std::mt19937_64 g(seed);
  std::exponential_distribution<double> e(1.0);
  std::vector<std::vector<double>> u(p, std::vector<double>(n));
  for (int64_t i = 0; i < p; ++i)
    for (double &v : u[i]) v = e(g) * static_cast<double>(i + 1);
  if (trend) std::sort(u[0].begin(), u[0].end());
  for (int64_t j = 0; p > 1 && j < n; ++j) u[1][j] += u[0][j] + (trend && 2 * j >= n ? 1e4 : 0);
  for (int64_t i = 0; i < p; ++i)
    for (int64_t j = 0; j < n; ++j) d.at(i, j) = static_cast<T>(kOffset<T> + u[i][j]);
  std::uniform_real_distribution<double> uw(0.25, 2.0);
  for (int64_t j = 0; weighted && j < n; ++j) d.w.push_back(static_cast<T>(uw(g)));
  for (int64_t i = 0; flagged && i < p; ++i) d.flags.push_back(i % 3 != 1);
  return d;
}

// A task over (a copy of) Data; p, n, storage and the flags live here at the task's integer
// width. Chunks fed later must outlive the calls.
template <class T>
struct Task {
  SsTask *t = nullptr;
  const Data<T> d;
  std::vector<int64_t> i64;
  std::vector<int32_t> i32;
  const void *ints(size_t k) const { return d.width ? static_cast<const void *>(&i64[k]) : &i32[k]; }
  void set(size_t k, int64_t v) { i64[k] = v, i32[k] = static_cast<int32_t>(v); }
  explicit Task(const Data<T> &data) : d(data), i64(3 + d.p), i32(3 + d.p) {
    set(0, d.p), set(1, d.n), set(2, d.om ? SsStorageByObservation : SsStorageByVariable);
    for (int64_t i = 0; i < d.p; ++i) set(3 + i, d.active(i));
    const T *w = d.w.empty() ? nullptr : d.w.data();
    const void *flags = d.flags.empty() ? nullptr : ints(3);
    EXPECT_EQ(call<T>(_rnxdSSNewTask, _rnxsSSNewTask, &t, ints(0), ints(1), ints(2), d.x.data(), w, flags, d.width), 0);
  }
  ~Task() { _rnxSSDeleteTask(&t); }
  void feed(const Data<T> &c) {
    set(1, c.n), edit(t, SsEditData, c.x.data());
    if (!c.w.empty()) edit(t, SsEditWeights, c.w.data());
  }
};

// The place of element (i, l) of a symmetric p x p matrix in full or packed storage. Packed:
// bit 0 (bit 1 alone too for cross-products), the lower triangle by rows unless bit 1 says upper.
inline bool packed(int64_t storage, bool cp) {
  return (storage & SsMatrixPackedBit) || (cp && (storage & SsMatrixUpperBit));
}
inline int64_t pos(int64_t storage, bool cp, int64_t p, int64_t i, int64_t l) {
  const int64_t lo = std::min(i, l), hi = std::max(i, l);
  if (!packed(storage, cp)) return i * p + l;
  return storage & SsMatrixUpperBit ? lo * p - lo * (lo - 1) / 2 + hi - lo : hi * (hi + 1) / 2 + lo;
}

// Every basic result array, filled with a marker, bound by the compound editors.
template <class T>
struct Results {
  static constexpr T kFill = T(-777);
  int64_t p;
  std::vector<T> mean, r2m, r3m, r4m, c2m, c3m, c4m, sum, r2s, r3s, r4s, c2s, c3s, c4s, kurt,
      skew, var, cov, cor, cp, accw = {0, 0};
  int64_t storage[3] = {SsMatrixFull, SsMatrixFull, SsMatrixFull};  // cov, cor, cp
  explicit Results(int64_t p_) : p(p_) {
    for (auto *v : vectors()) v->assign(p, kFill);
    for (auto *m : {&cov, &cor, &cp}) m->assign(p * p, kFill);
  }
  std::vector<std::vector<T> *> vectors() {
    return {&mean, &r2m, &r3m, &r4m, &c2m, &c3m, &c4m, &sum, &r2s, &r3s, &r4s, &c2s, &c3s, &c4s, &kurt, &skew, &var};
  }
#define ZYN_SS_BIND(P)                                                                                  \
  __rnx##P##SSEditMoments(t, mean.data(), r2m.data(), r3m.data(), r4m.data(), c2m.data(), c3m.data(),   \
                          c4m.data());                                                                  \
  __rnx##P##SSEditSums(t, sum.data(), r2s.data(), r3s.data(), r4s.data(), c2s.data(), c3s.data(), c4s.data()); \
  __rnx##P##SSEditCovCor(t, nullptr, cov.data(), &storage[0], cor.data(), &storage[1]);                  \
  __rnx##P##SSEditCP(t, nullptr, nullptr, cp.data(), &storage[2]);
  void bind(SsTask *t) {
    if constexpr (sizeof(T) == 8) { ZYN_SS_BIND(d) } else { ZYN_SS_BIND(s) }
    edit(t, SsEditKurtosis, kurt.data()), edit(t, SsEditSkewness, skew.data());
    edit(t, SsEditVariation, var.data()), edit(t, SsEditAccumulatedWeights, accw.data());
  }
#undef ZYN_SS_BIND
};

// A task over Data with every basic result bound; the user-mean method reads the mean, a
// centre near the data's means.
template <class T>
constexpr T kCentre = kOffset<T> + T(1.5);
template <class T>
struct Basic {
  Task<T> task;
  Results<T> r;
  Basic(const Data<T> &d, uint64_t method, const int64_t *storage = nullptr) : task(d), r(d.p) {
    if (storage) std::copy(storage, storage + 3, r.storage);
    if (method == SsMethodFastUserMean) r.mean.assign(d.p, kCentre<T>);
    r.bind(task.t);
  }
  int operator()(uint64_t estimates, uint64_t method, const ZynThreader *th = nullptr) {
    return entry<T>(kBasic, task.t, estimates, method, th);
  }
};

// A task over 3 x 64 by-variable data (every seventh value NaN for the missing-value entry) with
// every field of every entry bound, through the compound editors where there is one: the basic results (mean the centre), cov and cor the
// identity; orders {0.5, 0.9} for quantiles and stream quantiles (eps 0.1); order statistics and
// sorted data (for kSortInPlace the data) by observation, matrices full; groups j % 4,
// group 2 without covariance; roles {1, 1, -1}; EM limit 5, accuracy 1e-9, 2 DA iterations, NaN
// marker, 1 imputed set. A Call then sets up to two fields (null by default) and runs an entry.
template <class T>
struct Bound : Basic<T> {
  static constexpr int64_t p = 3, n = 64;
  std::vector<T> out = std::vector<T>(2 * p * n, T(-777)), out2 = out, eye = {1, 0, 0, 0, 1, 0, 0, 0, 1},
                 orders = {T(0.5), T(0.9)}, params = {5, T(1e-9), 2, T(NAN), 1}, init = std::vector<T>(9), prior = init;
  std::vector<int64_t> groups;
  int64_t two = 2, one = 1, zero = 0, five = 5, by_observation = SsStorageByObservation, full = SsMatrixFull, sims = 28,
          estimates = 27, flags[4] = {1, 1, 0, 1}, roles[3] = {1, 1, -1};
  T eps = T(0.1);
  static Data<T> data(Entry e) {
    Data<T> d = make_data<T>(p, n, false, false, false, 1);
    for (size_t k = 0; e == kMissing && k < d.x.size(); k += 7) d.x[k] = T(NAN);
    return d;
  }
  explicit Bound(Entry e) : Basic<T>(data(e), SsMethodFastUserMean) {
    SsTask *t = this->task.t;
    for (int64_t j = 0; j < n; ++j) groups.push_back(j % 4);
    T *o = out.data(), *o2 = out2.data(), *id = eye.data();
    call<T>(__rnxdSSEditQuantiles, __rnxsSSEditQuantiles, t, &two, orders.data(), o, o, &by_observation);
    call<T>(__rnxdSSEditStreamQuantiles, __rnxsSSEditStreamQuantiles, t, &two, orders.data(), o, &one, &eps);
    call<T>(__rnxdSSEditPooledCovariance, __rnxsSSEditPooledCovariance, t, groups.data(), o, o, flags, o, o);
    call<T>(__rnxdSSEditPartialCovCor, __rnxsSSEditPartialCovCor, t, roles, id, &full, id, &full, o, &full, o, &full);
    call<T>(__rnxdSSEditMtxParametrz, __rnxsSSEditMtxParametrz, t, id, &full, o, &full);
    call<T>(__rnxdSSEditRCov, __rnxsSSEditRCov, t, &full, nullptr, nullptr, o2, o);
    call<T>(__rnxdSSEditOutDetect, __rnxsSSEditOutDetect, t, nullptr, nullptr, o);
    call<T>(__rnxdSSEditMissingVals, __rnxsSSEditMissingVals, t, &five, params.data(), &zero, init.data(), &zero,
            prior.data(), &sims, o, &estimates, o2);
    t->minimum = t->maximum = t->medianDeviation = t->meanDeviation = o, t->sortedStorage = &by_observation;
    t->sortedData = e == kSortInPlace ? t->data : o2, t->pooledCovStorage = t->groupCovStorage = &full;
  }
};
struct Patch {
  void *SsTask::*field = nullptr;
  const void *value = nullptr;
};
struct Call {
  Entry e;
  uint64_t est, method;
  Patch a = {}, b = {};
  // On a fresh Bound task; `before` runs just before the entry.
  template <class T, class F = void (*)()>
  int run(F before = [] {}) const {
    Bound<T> f(e);
    for (const Patch &x : {a, b})
      if (x.field) f.task.t->*x.field = const_cast<void *>(x.value);
    before();
    return entry<T>(e, f.task.t, est, method);
  }
};

// Results as one vector, matrices unpacked, with a scale per element: an off-diagonal element
// is measured against its row's and column's diagonal. Packed matrices leave the rest alone.
struct Snapshot {
  std::vector<long double> value, scale;
  void add(long double v, long double s) { value.push_back(v), scale.push_back(std::max(1.0L, s)); }
};
template <class T>
Snapshot snapshot(Results<T> &r) {
  Snapshot s;
  for (auto *v : r.vectors())
    for (T e : *v) s.add(e, std::fabs(e));
  for (int k = 0; k < 3; ++k) {
    const std::vector<T> &m = k == 0 ? r.cov : k == 1 ? r.cor : r.cp;
    auto at = [&](int64_t i, int64_t l) { return m[pos(r.storage[k], k == 2, r.p, i, l)]; };
    for (int64_t i = 0; i < r.p; ++i)
      for (int64_t l = 0; l < r.p; ++l) s.add(at(i, l), std::sqrt(std::fabs(at(i, i) * at(l, l))));
    for (int64_t e = r.p * (r.p + 1) / 2; packed(r.storage[k], k == 2) && e < r.p * r.p; ++e)
      EXPECT_EQ(m[e], Results<T>::kFill) << e;
  }
  for (T e : r.accw) s.add(e, std::fabs(e));
  return s;
}
inline void expect_close(const Snapshot &a, const Snapshot &b, double tol) {
  ASSERT_EQ(a.value.size(), b.value.size());
  for (size_t k = 0; k < a.value.size(); ++k)
    EXPECT_LE(std::fabs(a.value[k] - b.value[k]), tol * b.scale[k])
        << "element " << k << ": " << static_cast<double>(a.value[k]) << " vs " << static_cast<double>(b.value[k]);
}

// Long-double sums of the data: weights, raw sums R1..R4, and central sums M2..M4 and the
// cross-products C about the exact mean, or about `centre` when given (then mean = centre).
struct Reference {
  long double W = 0, W2 = 0;
  std::vector<long double> mean, R1, R2, R3, R4, M2, M3, M4, C;
  template <class T>
  explicit Reference(const Data<T> &d, const std::vector<long double> *centre = nullptr) {
    const int64_t p = d.p;
    R1.assign(p, 0), R2 = R3 = R4 = M2 = M3 = M4 = R1, C.assign(p * p, 0);
    auto w = [&](int64_t j) -> long double { return d.w.empty() ? 1 : d.w[j]; };
    for (int64_t j = 0; j < d.n; ++j) {
      W += w(j), W2 += w(j) * w(j);
      for (int64_t i = 0; i < p; ++i) {
        const long double v = d.at(i, j);
        R1[i] += w(j) * v, R2[i] += w(j) * v * v, R3[i] += w(j) * v * v * v, R4[i] += w(j) * v * v * v * v;
      }
    }
    mean = centre ? *centre : R1;
    for (int64_t i = 0; !centre && i < p; ++i) mean[i] /= W;
    for (int64_t j = 0; j < d.n; ++j)
      for (int64_t i = 0; i < p; ++i) {
        const long double e = d.at(i, j) - mean[i];
        M2[i] += w(j) * e * e, M3[i] += w(j) * e * e * e, M4[i] += w(j) * e * e * e * e;
        for (int64_t l = 0; l < p; ++l) C[i * p + l] += w(j) * e * (d.at(l, j) - mean[l]);
      }
  }
};

// Stream quantiles: the rank interval of v in the sorted data s (ranks 1 to N) meets
// [r - eps N, r + eps N], r = 1 + q (N - 1).
inline void expect_rank_within(const std::vector<double> &s, double v, double q, double eps) {
  const double n = static_cast<double>(s.size()), r = 1 + q * (n - 1);
  const double lo = static_cast<double>(std::lower_bound(s.begin(), s.end(), v) - s.begin()) + 1;
  const double hi = static_cast<double>(std::upper_bound(s.begin(), s.end(), v) - s.begin());
  EXPECT_TRUE(lo <= hi && lo <= r + eps * n && hi >= r - eps * n)
      << "value " << v << " ranks " << lo << ".." << hi << " want " << r << " eps " << eps;
}

// Whole vectors as a Snapshot, each element on its own scale.
template <class... V>
Snapshot flat(const V &...v) {
  Snapshot s;
  (..., [&] { for (auto e : v) s.add(e, std::fabs(e)); }());
  return s;
}

// run(threader) gives a Snapshot.
template <class Run>
void expect_threads_agree(Run run, double tol) {
  const Snapshot one = run(threads_table(1));
  for (int threads : {2, 7}) {
    SCOPED_TRACE(testing::Message() << threads << " threads");
    expect_close(run(threads_table(threads)), one, tol);
    EXPECT_TRUE(g_largest_run > 1 && g_largest_run <= threads) << g_largest_run;  // used, within the limit
  }
  expect_close(run(&zyn_serv_ss_threader), one, tol);
}

template <class T, class Run>
void expect_halves_equal_whole(Run run, const Data<T> &d, double tol) {
  const int64_t cut = d.n / 3;
  expect_close(run({d.slice(0, cut), d.slice(cut, d.n)}, nullptr), run({d}, nullptr), tol);
}

}  // namespace sstest
