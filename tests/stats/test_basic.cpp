// Basic estimates against a long-double reference on offset data, accumulation, threads,
// methods, storages and statuses.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "stats_test.hpp"

using namespace sstest;

namespace {

template <class T>
struct Tol;
template <>
struct Tol<double> {
  static constexpr double rel = 1e-9, shape = 1e-8, offset = 1e6;
};
template <>
struct Tol<float> {
  static constexpr double rel = 2e-3, shape = 5e-3, offset = 1e3;
};

#define EXPECT_REL(got, want, tol)                                                             \
  EXPECT_LE(std::fabs(static_cast<long double>(got) - (want)), (tol) * std::fabs(want) + 1e-300) \
      << #got << " = " << (got) << ", want " << static_cast<double>(want)

struct Case {
  bool weighted, with_indices, observation_major;
  uint64_t method;
};

// A task over data x (p variables, n observations) with all results bound.
template <class T>
struct Fixture {
  int64_t p, n, storage;
  std::vector<T> x, w;
  std::vector<int64_t> idx;
  SsTask *task = nullptr;
  Results<T> r;
  Fixture(int64_t p_, int64_t n_, bool om, bool weighted, bool with_indices, uint64_t seed)
      : p(p_), n(n_), storage(om ? SsStorageByObservation : SsStorageByVariable), r(p_) {
    x = offset_data<T>(p * n, static_cast<T>(Tol<T>::offset), seed);
    // Give the variables different scales and a correlated pair.
    for (int64_t j = 0; j < n; ++j)
      for (int64_t i = 0; i < p; ++i) {
        T &v = om ? x[j * p + i] : x[i * n + j];
        const T base = static_cast<T>(Tol<T>::offset);
        v = base + (v - base) * static_cast<T>(i + 1);
        if (i == 1) v += (om ? x[j * p] : x[j]) - base;
      }
    if (weighted) w = random_weights<T>(n, seed + 1);
    if (with_indices) {
      idx.assign(p, 1);
      for (int64_t i = 1; i < p; i += 3) idx[i] = 0;
    }
    EXPECT_EQ(new_task(&task, &p, &n, &storage, x.data(), weighted ? w.data() : nullptr,
                       with_indices ? idx.data() : nullptr, 1),
              0);
    r.bind(task);
  }
  ~Fixture() { _rnxSSDeleteTask(&task); }
  bool active(int64_t i) const { return idx.empty() || idx[i] != 0; }
  Reference reference() const {
    return Reference(x, w.empty() ? nullptr : &w, p, n, storage == SsStorageByObservation);
  }
};

template <class T>
void expect_matches(const Fixture<T> &f, const Reference &ref, bool user_mean) {
  const Results<T> &r = f.r;
  const long double W = ref.W, D = ref.D();
  const double tol = Tol<T>::rel, shape = Tol<T>::shape;
  for (int64_t i = 0; i < f.p; ++i) {
    SCOPED_TRACE("variable " + std::to_string(i));
    if (!f.active(i)) {
      EXPECT_EQ(r.c2m[i], T(-777));
      EXPECT_EQ(r.cov[i * f.p + i], T(-777));
      continue;
    }
    if (!user_mean) {
      EXPECT_REL(r.mean[i], ref.mean[i], tol);
    }
    const long double m2 = ref.M2[i] / W;
    const std::tuple<T, long double, double> checks[] = {
        {r.sum[i], ref.R1[i], tol},         {r.r2s[i], ref.R2[i], tol},
        {r.r3s[i], ref.R3[i], tol},         {r.r4s[i], ref.R4[i], tol},
        {r.r2m[i], ref.R2[i] / W, tol},     {r.r3m[i], ref.R3[i] / W, 20 * tol},
        {r.r4m[i], ref.R4[i] / W, tol},
        {r.c2s[i], ref.M2[i], tol},         {r.c3s[i], ref.M3[i], 20 * tol},
        {r.c4s[i], ref.M4[i], tol},         {r.c2m[i], ref.M2[i] / D, tol},
        {r.c3m[i], ref.M3[i] / W, 20 * tol}, {r.c4m[i], ref.M4[i] / W, tol},
        {r.kurt[i], ref.M4[i] / W / (m2 * m2) - 3, shape},
        {r.skew[i], ref.M3[i] / W / std::sqrt(m2 * m2 * m2), shape},
        {r.var[i], std::sqrt(ref.M2[i] / D) / ref.mean[i], tol}};
    for (size_t k = 0; k < std::size(checks); ++k) {
      const auto &[got, want, t] = checks[k];
      EXPECT_REL(got, want, t) << " (check " << k << ")";
    }
    for (int64_t l = 0; l < f.p; ++l) {
      if (!f.active(l)) {
        EXPECT_EQ(r.cov[i * f.p + l], T(-777));
        continue;
      }
      const long double c = ref.C[i * f.p + l];
      const long double scale = std::sqrt(ref.C[i * f.p + i] * ref.C[l * f.p + l]);
      EXPECT_LE(std::fabs(r.cp[i * f.p + l] - c), tol * scale);
      EXPECT_LE(std::fabs(r.cov[i * f.p + l] - c / D), tol * scale / D);
      EXPECT_LE(std::fabs(r.cor[i * f.p + l] - c / scale), tol);
    }
  }
  EXPECT_REL(r.accw[0], W, tol);
  EXPECT_REL(r.accw[1], ref.W2, tol);
}

template <class T>
void run_case(const Case &c) {
  SCOPED_TRACE(testing::Message() << "weighted " << c.weighted << " indices " << c.with_indices
                                  << " by observation " << c.observation_major << " method "
                                  << c.method);
  Fixture<T> f(5, 3001, c.observation_major, c.weighted, c.with_indices, 42);
  const Reference ref = f.reference();
  if (c.method == SsMethodFastUserMean)
    for (int64_t i = 0; i < f.p; ++i) f.r.mean[i] = static_cast<T>(ref.mean[i]);
  TestThreads::reset(1);
  ASSERT_EQ(basic<T>(f.task, kAllBasic, c.method, TestThreads::table()), 0);
  if (c.method == SsMethodFastUserMean) {
    // Moments about the rounded mean: move the reference there.
    Reference shifted = ref;
    for (int64_t i = 0; i < f.p; ++i) {
      const long double u = f.r.mean[i], dl = ref.mean[i] - u;
      shifted.M4[i] += 6 * dl * dl * ref.M2[i] + 4 * dl * ref.M3[i] + ref.W * dl * dl * dl * dl;
      shifted.M3[i] += 3 * dl * ref.M2[i] + ref.W * dl * dl * dl;
      shifted.M2[i] += ref.W * dl * dl;
    }
    for (int64_t i = 0; i < f.p; ++i)
      for (int64_t l = 0; l < f.p; ++l)
        shifted.C[i * f.p + l] += ref.W * (ref.mean[i] - f.r.mean[i]) * (ref.mean[l] - f.r.mean[l]);
    expect_matches(f, shifted, true);
  } else {
    expect_matches(f, ref, false);
  }
}

template <class T>
void all_cases() {
  for (uint64_t m : {SsMethodOnePass, SsMethodFast, SsMethodFastUserMean})
    for (bool w : {false, true})
      for (bool om : {false, true})
        for (bool idx : {false, true}) run_case<T>({w, idx, om, m});
}

TEST(SsBasic, DoubleAgainstLongDoubleReference) { all_cases<double>(); }
TEST(SsBasic, SingleAgainstLongDoubleReference) { all_cases<float>(); }

// Results of a call as one vector, with a scale per element for comparisons between calls:
// an off-diagonal matrix element is measured against its row's and column's diagonal.
struct Snapshot {
  std::vector<long double> value, scale;
};
template <class T>
Snapshot snapshot(Results<T> &r) {
  Snapshot s;
  auto add = [&](long double v, long double sc) {
    s.value.push_back(v);
    s.scale.push_back(std::max<long double>(1, sc));
  };
  for (auto *v : r.vectors())
    for (T e : *v) add(e, std::fabs(e));
  for (auto *m : {&r.cov, &r.cor, &r.cp})
    for (int64_t i = 0; i < r.p; ++i)
      for (int64_t l = 0; l < r.p; ++l)
        add((*m)[i * r.p + l], std::sqrt(std::fabs((*m)[i * r.p + i] * (*m)[l * r.p + l])));
  for (T e : r.accw) add(e, std::fabs(e));
  return s;
}
void expect_close(const Snapshot &a, const Snapshot &b, double tol) {
  ASSERT_EQ(a.value.size(), b.value.size());
  for (size_t k = 0; k < a.value.size(); ++k)
    EXPECT_LE(std::fabs(a.value[k] - b.value[k]), tol * b.scale[k])
        << "element " << k << ": " << static_cast<double>(a.value[k]) << " vs "
        << static_cast<double>(b.value[k]);
}

// Two calls over the halves of the data give one call's results.
template <class T>
void halves(uint64_t method, bool weighted, bool om) {
  SCOPED_TRACE(testing::Message() << "method " << method << " weighted " << weighted << " om " << om);
  Fixture<T> whole(4, 2000, om, weighted, false, 7);
  if (method == SsMethodFastUserMean) {
    const Reference ref = whole.reference();
    for (int64_t i = 0; i < 4; ++i) whole.r.mean[i] = static_cast<T>(ref.mean[i]);
  }
  ASSERT_EQ(basic<T>(whole.task, kAllBasic, method, nullptr), 0);

  // Same data, split into two tasks' worth of observations (by-observation layout keeps each
  // half contiguous; by-variable needs copies).
  const int64_t p = 4, h = 1000;
  std::vector<T> part[2];
  for (int s = 0; s < 2; ++s) {
    part[s].resize(p * h);
    for (int64_t j = 0; j < h; ++j)
      for (int64_t i = 0; i < p; ++i)
        (om ? part[s][j * p + i] : part[s][i * h + j]) =
            om ? whole.x[(s * h + j) * p + i] : whole.x[i * 2000 + s * h + j];
  }
  Results<T> r(p);
  if (method == SsMethodFastUserMean) r.mean = whole.r.mean;
  int64_t n = h;
  SsTask *t = nullptr;
  ASSERT_EQ(new_task(&t, &p, &n, &whole.storage, part[0].data(),
                     weighted ? whole.w.data() : nullptr, nullptr, 1),
            0);
  r.bind(t);
  ASSERT_EQ(basic<T>(t, kAllBasic, method, nullptr), 0);
  edit(t, SsEditData, part[1].data());
  if (weighted) edit(t, SsEditWeights, whole.w.data() + h);
  ASSERT_EQ(basic<T>(t, kAllBasic, method, nullptr), 0);
  _rnxSSDeleteTask(&t);
  expect_close(snapshot(r), snapshot(whole.r), sizeof(T) == 8 ? 1e-9 : 2e-3);
}

TEST(SsBasic, TwoHalvesEqualTheWhole) {
  for (uint64_t m : {SsMethodOnePass, SsMethodFast, SsMethodFastUserMean})
    for (bool w : {false, true})
      for (bool om : {false, true}) {
        halves<double>(m, w, om);
        halves<float>(m, w, om);
      }
}

TEST(SsBasic, ThreadCountsAgree) {
  for (uint64_t m : {SsMethodOnePass, SsMethodFast, SsMethodFastUserMean}) {
    Snapshot first;
    for (int threads : {1, 2, 7}) {
      SCOPED_TRACE(testing::Message() << "method " << m << " threads " << threads);
      Fixture<double> f(3, 20000, m == SsMethodFast, true, false, 5);
      for (int64_t i = 0; i < 3; ++i) f.r.mean[i] = 1e6 + 2;
      TestThreads::reset(threads);
      ASSERT_EQ(basic<double>(f.task, kAllBasic, m, TestThreads::table()), 0);
      EXPECT_EQ(TestThreads::largest_run.load(), threads == 1 ? 0 : threads);
      auto s = snapshot(f.r);
      if (first.value.empty())
        first = s;
      else
        expect_close(s, first, 1e-10);
    }
    // The core library's default table gives the same.
    Fixture<double> f(3, 20000, m == SsMethodFast, true, false, 5);
    for (int64_t i = 0; i < 3; ++i) f.r.mean[i] = 1e6 + 2;
    ASSERT_EQ(basic<double>(f.task, kAllBasic, m, &zyn_serv_ss_threader), 0);
    expect_close(snapshot(f.r), first, 1e-10);
  }
}

TEST(SsBasic, SmallJobsStayOnOneThread) {
  Fixture<double> f(2, 15, false, false, false, 3);
  TestThreads::reset(8);
  ASSERT_EQ(basic<double>(f.task, kAllBasic, SsMethodOnePass, TestThreads::table()), 0);
  EXPECT_EQ(TestThreads::runs.load(), 0);
  // 32 observations of 64 variables with cov: enough of both for two threads.
  Fixture<double> g(64, 32, false, false, false, 3);
  TestThreads::reset(8);
  ASSERT_EQ(basic<double>(g.task, SsEstimateCov, SsMethodOnePass, TestThreads::table()), 0);
  EXPECT_EQ(TestThreads::largest_run.load(), 2);
}

TEST(SsBasic, Statuses) {
  Fixture<double> f(3, 40, false, false, false, 1);
  SsTask *t = f.task;
  const ZynThreader *th = nullptr;
  // Needed results are checked lowest bit first, by the dependency table of the method.
  t->c4m = nullptr;
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateKurtosis, SsMethodOnePass, th), SsStatusC4m);
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateC4m | SsEstimateKurtosis, SsMethodFast, th), SsStatusC4m);
  t->r2m = nullptr;
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateKurtosis, SsMethodOnePass, th), SsStatusR2m);
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateC2s, SsMethodFast, th), SsStatusR2m);
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateC2s, SsMethodOnePass, th), SsStatusOk);
  f.r.bind(t);
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateSum, SsMethodFromSums, th), SsStatusMethod);
  t->sum = nullptr;
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodFromSums, th), SsStatusSum);
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateSum, SsMethodOnePass, th), SsStatusSum);
  f.r.bind(t);
  // Method combinations.
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, 0, th), SsStatusMethod);
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodFast | SsMethodOnePass, th), SsStatusMethod);
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodFast | SsMethodSort, th), SsStatusMethod);
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodFastUserMean | SsMethodFast, th),
            SsStatusMethod);
  // Data checks.
  int64_t zero = 0, bad = 0x40000, both = SsStorageByVariable | SsStorageByObservation;
  t->observations = &zero;
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodOnePass, th), SsStatusObservations);
  t->observations = &f.n;
  t->storage = &bad;
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodOnePass, th), SsStatusStorageValue);
  t->storage = &both;  // tested by bits
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodOnePass, th), SsStatusOk);
  t->storage = nullptr;
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodOnePass, th), SsStatusStorage);
  t->storage = &f.storage;
  t->data = nullptr;
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateMean, SsMethodOnePass, th), SsStatusData);
  t->data = f.x.data();
  t->covStorage = nullptr;
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateCov, SsMethodOnePass, th), SsStatusStorage);
  f.r.bind(t);
  // From sums without weight information.
  t->accumulatedWeights = nullptr;
  t->weights = f.x.data();
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateC2m, SsMethodFromSums, th), SsStatusAccumulatedWeights);
  t->weights = nullptr;
  EXPECT_EQ(_rnxdSSBasic(t, SsEstimateC2m, SsMethodFromSums, th), SsStatusOk);
  EXPECT_EQ(_rnxdSSBasic(nullptr, SsEstimateMean, SsMethodFast, th), SsStatusNullTask);
}

// Sums from one call turned into moments by the from-sums method match the data path.
TEST(SsBasic, FromSumsMatchesTheDataPath) {
  for (bool weighted : {false, true}) {
    Fixture<double> f(4, 1500, true, weighted, false, 9);
    ASSERT_EQ(_rnxdSSBasic(f.task, kAllBasic, SsMethodOnePass, nullptr), 0);
    Results<double> want = f.r;
    for (auto *v : {&f.r.mean, &f.r.r2m, &f.r.r3m, &f.r.r4m, &f.r.c2m, &f.r.c3m, &f.r.c4m,
                    &f.r.kurt, &f.r.skew, &f.r.var})
      v->assign(4, -1);
    f.r.cov.assign(16, -1);
    f.r.cor.assign(16, -1);
    const uint64_t moments = SsEstimateMean | SsEstimateR2m | SsEstimateR3m | SsEstimateR4m |
                             SsEstimateC2m | SsEstimateC3m | SsEstimateC4m | SsEstimateKurtosis |
                             SsEstimateSkewness | SsEstimateVariation | SsEstimateCov |
                             SsEstimateCor;
    ASSERT_EQ(_rnxdSSBasic(f.task, moments, SsMethodFromSums, nullptr), 0);
    Results<double> got = f.r;
    expect_close(snapshot(got), snapshot(want), 1e-12);
    // The population form divides c2m and cov by the weight sum.
    ASSERT_EQ(_rnxdSSBasic(f.task, SsEstimateC2m | SsEstimateCov, SsMethodFromSumsPopulation,
                           nullptr),
              0);
    const double W = f.r.accw[0], D = W - f.r.accw[1] / W;
    EXPECT_NEAR(f.r.c2m[2], want.c2m[2] * D / W, 1e-12 * want.c2m[2]);
    EXPECT_NEAR(f.r.cov[1], want.cov[1] * D / W, 1e-12 * std::fabs(want.cov[1]));
  }
}

// Packed storages hold the same matrices as the full ones.
TEST(SsBasic, PackedStoragesReadBackToTheFullMatrix) {
  const int64_t p = 5;
  struct Form {
    int64_t cov, cor, cp;
    bool cov_upper, cor_upper, cp_upper;
  };
  // cov/cor: 1 lower, 3 upper; cp: 2 (or 3) upper, 1 lower.
  for (Form fm : {Form{1, 3, 2, false, true, true}, Form{3, 1, 1, true, false, false},
                  Form{1, 1, 3, false, false, true}}) {
    Fixture<double> full(p, 800, false, true, false, 13);
    ASSERT_EQ(_rnxdSSBasic(full.task, kAllBasic, SsMethodFast, nullptr), 0);
    Fixture<double> f(p, 800, false, true, false, 13);
    f.r.cov_storage = fm.cov;
    f.r.cor_storage = fm.cor;
    f.r.cp_storage = fm.cp;
    ASSERT_EQ(_rnxdSSBasic(f.task, kAllBasic, SsMethodFast, nullptr), 0);
    auto unpack = [&](const std::vector<double> &m, bool upper, int64_t i, int64_t l) {
      const int64_t lo = std::min(i, l), hi = std::max(i, l);
      return upper ? m[lo * p - lo * (lo - 1) / 2 + hi - lo] : m[hi * (hi + 1) / 2 + lo];
    };
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l < p; ++l) {
        EXPECT_DOUBLE_EQ(unpack(f.r.cov, fm.cov_upper, i, l), full.r.cov[i * p + l]);
        EXPECT_DOUBLE_EQ(unpack(f.r.cor, fm.cor_upper, i, l), full.r.cor[i * p + l]);
        EXPECT_DOUBLE_EQ(unpack(f.r.cp, fm.cp_upper, i, l), full.r.cp[i * p + l]);
      }
    // Nothing beyond the packed triangle is written.
    EXPECT_EQ(f.r.cov[p * (p + 1) / 2], -777);
    // A second call accumulates through the packed forms as well.
    ASSERT_EQ(_rnxdSSBasic(f.task, kAllBasic, SsMethodFast, nullptr), 0);
    ASSERT_EQ(_rnxdSSBasic(full.task, kAllBasic, SsMethodFast, nullptr), 0);
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l < p; ++l)
        EXPECT_NEAR(unpack(f.r.cov, fm.cov_upper, i, l), full.r.cov[i * p + l],
                    1e-12 * std::fabs(full.r.cov[i * p + i]));
  }
  // Value 2 is full storage for cov and packed for cp.
  Fixture<double> g(p, 800, false, true, false, 13);
  g.r.cov_storage = 2;
  ASSERT_EQ(_rnxdSSBasic(g.task, SsEstimateCov, SsMethodFast, nullptr), 0);
  Fixture<double> h(p, 800, false, true, false, 13);
  ASSERT_EQ(_rnxdSSBasic(h.task, SsEstimateCov, SsMethodFast, nullptr), 0);
  for (int64_t e = 0; e < p * p; ++e) EXPECT_EQ(g.r.cov[e], h.r.cov[e]);
}

TEST(SsBasic, EdgeCases) {
  // A zero mean gives an infinite variation and no status.
  const double x[4] = {-1, 1, -2, 2};
  int64_t p = 1, n = 4, st = SsStorageByVariable;
  SsTask *t = nullptr;
  ASSERT_EQ(_rnxdSSNewTask(&t, &p, &n, &st, x, nullptr, nullptr, 1), 0);
  Results<double> r(1);
  r.bind(t);
  ASSERT_EQ(_rnxdSSBasic(t, SsEstimateVariation, SsMethodFast, nullptr), 0);
  EXPECT_TRUE(std::isinf(r.var[0]));
  EXPECT_DOUBLE_EQ(r.c2m[0], 10.0 / 3);
  _rnxSSDeleteTask(&t);
  // p = 1 by observation is the by-variable layout.
  for (int64_t s : {int64_t(SsStorageByVariable), int64_t(SsStorageByObservation)}) {
    Fixture<double> f(1, 100, false, false, false, 2);
    f.storage = s;
    ASSERT_EQ(_rnxdSSBasic(f.task, kAllBasic, SsMethodOnePass, nullptr), 0);
    const Reference ref = f.reference();
    EXPECT_NEAR(f.r.c4m[0], ref.M4[0] / ref.W, 1e-10 * f.r.c4m[0]);
  }
}

// Smaller requests select kernels of lower levels; each must give what the full request gives.
TEST(SsBasic, EveryLevelMatchesTheFullRequest) {
  const uint64_t subsets[] = {SsEstimateMean, SsEstimateSum, SsEstimateC2s, SsEstimateR2s,
                              SsEstimateC2m, SsEstimateC3s, SsEstimateC4s, SsEstimateR3s,
                              SsEstimateCov, SsEstimateCp | SsEstimateC2s, SsEstimateVariation};
  for (uint64_t m : {SsMethodOnePass, SsMethodFast, SsMethodFastUserMean})
    for (bool weighted : {false, true})
      for (bool om : {false, true}) {
        Fixture<double> full(4, 700, om, weighted, true, 21);
        for (int64_t i = 0; i < 4; ++i) full.r.mean[i] = 1e6 + 1;
        ASSERT_EQ(_rnxdSSBasic(full.task, kAllBasic, m, nullptr), 0);
        const Snapshot want = snapshot(full.r);
        for (uint64_t e : subsets) {
          SCOPED_TRACE(testing::Message() << "method " << m << " weighted " << weighted << " om "
                                          << om << " estimates " << e);
          Fixture<double> f(4, 700, om, weighted, true, 21);
          if (m == SsMethodFastUserMean)
            for (int64_t i = 0; i < 4; ++i) f.r.mean[i] = 1e6 + 1;
          ASSERT_EQ(_rnxdSSBasic(f.task, e, m, nullptr), 0);
          const Snapshot got = snapshot(f.r);
          // Compare what was written (untouched arrays keep their fill value).
          for (size_t k = 0; k < got.value.size(); ++k) {
            if (got.value[k] == -777) continue;
            EXPECT_LE(std::fabs(got.value[k] - want.value[k]), 1e-9 * want.scale[k])
                << "element " << k;
          }
        }
      }
}

// Blocks are centred on the previous block's mean when it is close enough: data with a trend and
// with a jump of 10^4 standard deviations keep the accuracy of offset data (block means carry an
// absolute rounding of ulp(10^6) = 1.2e-10 against a spread of 1).
TEST(SsBasic, FastMethodOnTrendsAndJumps) {
  for (bool om : {false, true}) {
    Fixture<double> f(2, 9000, om, false, false, 17);
    std::vector<double> v0(f.n), v1(f.n);
    for (int64_t j = 0; j < f.n; ++j) {
      v0[j] = om ? f.x[j * 2] : f.x[j];
      v1[j] = (om ? f.x[j * 2 + 1] : f.x[f.n + j]) + (j >= 5000 ? 1e4 : 0);
    }
    std::sort(v0.begin(), v0.end());
    for (int64_t j = 0; j < f.n; ++j) {
      (om ? f.x[j * 2] : f.x[j]) = v0[j];
      (om ? f.x[j * 2 + 1] : f.x[f.n + j]) = v1[j];
    }
    ASSERT_EQ(_rnxdSSBasic(f.task, kAllBasic, SsMethodFast, nullptr), 0);
    const Reference ref = f.reference();
    for (int i = 0; i < 2; ++i) {
      EXPECT_REL(f.r.c2s[i], ref.M2[i], 1e-9);
      EXPECT_REL(f.r.c3s[i], ref.M3[i], 1e-9);
      EXPECT_REL(f.r.c4s[i], ref.M4[i], 1e-9);
    }
    EXPECT_REL(f.r.cp[1], ref.C[1], 1e-9);
  }
}

}  // namespace
