// Pooled and group covariance against long-double per-group sums; partial covariance against
// closed forms and long-double regression residuals; the correlation repair against numpy
// (tools/repair_reference.py).
#include <fstream>

#include "stats_test.hpp"

using namespace sstest;

namespace {

template <class T>
constexpr double kTol = sizeof(T) == 8 ? 1e-9 : 2e-3;  // relative

template <class T>
int pooled(SsTask *t, uint64_t e, uint64_t m, const ZynThreader *th) {
  if constexpr (sizeof(T) == 8) return _rnxdSSPooledCovariance(t, e, m, th);
  else return _rnxsSSPooledCovariance(t, e, m, th);
}

constexpr uint64_t kAllPooled =
    SsEstimatePooledCov | SsEstimateGroupCov | SsEstimatePooledMean | SsEstimateGroupMeans;

// A task over Data with groups (observation j in group `group(j)`) and every pooled result.
template <class T>
struct Pooled {
  static constexpr T kFill = T(-777);
  Task<T> task;
  int64_t g;
  std::vector<int64_t> gi64, flag64;
  std::vector<int32_t> gi32, flag32;
  std::vector<T> pmean, pcov, gmeans, gcov;
  int64_t storage[2];  // pooled, group
  template <class G>
  Pooled(const Data<T> &d, int64_t groups, G group, int64_t pooled_st, int64_t group_st)
      : task(d), g(groups), storage{pooled_st, group_st} {
    for (int64_t j = 0; j < d.n; ++j) gi64.push_back(group(j)), gi32.push_back(static_cast<int32_t>(group(j)));
    for (int64_t k = 0; k < g; ++k) flag64.push_back(k % 3 != 2), flag32.push_back(k % 3 != 2);
    pmean.assign(d.p, kFill), pcov.assign(d.p * d.p, kFill);
    gmeans.assign(g * d.p, kFill), gcov.assign(g * d.p * d.p, kFill);
    const void *gi = d.width ? static_cast<const void *>(gi64.data()) : gi32.data();
    const void *fl = d.width ? static_cast<const void *>(flag64.data()) : flag32.data();
    if constexpr (sizeof(T) == 8)
      __rnxdSSEditPooledCovariance(task.t, gi, pmean.data(), pcov.data(), fl, gmeans.data(), gcov.data());
    else
      __rnxsSSEditPooledCovariance(task.t, gi, pmean.data(), pcov.data(), fl, gmeans.data(), gcov.data());
    // Storage kinds are read at the task's width; the low half of an int64 serves both.
    _rnxiSSEditTask(task.t, SsEditPooledCovStorage, &storage[0]);
    _rnxiSSEditTask(task.t, SsEditGroupCovStorage, &storage[1]);
  }
  int operator()(uint64_t e, const ZynThreader *th = nullptr) { return pooled<T>(task.t, e, SsMethodOnePass, th); }
};

// Long-double summaries of each group, the oracle.
template <class T>
std::vector<Reference> per_group(const Data<T> &d, const std::vector<int64_t> &group, int64_t g) {
  std::vector<Reference> r;
  for (int64_t k = 0; k < g; ++k) {
    Data<T> s = d;
    s.n = 0, s.x.clear(), s.w.clear();
    for (int64_t j = 0; j < d.n; ++j)
      if (group[j] == k) ++s.n;
    s.x.resize(d.p * s.n);
    for (int64_t j = 0, m = 0; j < d.n; ++j) {
      if (group[j] != k) continue;
      for (int64_t i = 0; i < d.p; ++i) s.at(i, m) = d.at(i, j);
      if (!d.w.empty()) s.w.push_back(d.w[j]);
      ++m;
    }
    r.emplace_back(s);
  }
  return r;
}

template <class T>
void expect_pooled_matches(Pooled<T> &r, const Data<T> &d, uint64_t estimates) {
  const int64_t p = d.p, g = r.g;
  const std::vector<Reference> ref = per_group(d, r.gi64, g);
  const double tol = kTol<T>;
  long double W = 0, D = 0;
  std::vector<long double> mean(p, 0), C(p * p, 0);
  for (const Reference &e : ref) {
    W += e.W, D += e.W - e.W2 / e.W;
    for (int64_t i = 0; i < p; ++i) mean[i] += e.R1[i];
    for (int64_t k = 0; k < p * p; ++k) C[k] += e.C[k];
  }
  auto near = [&](T got, long double want, long double scale, const char *what, int64_t k) {
    EXPECT_LE(std::fabs(got - want), tol * std::max(1.0L, scale)) << what << " " << k << ": " << got << " vs " << static_cast<double>(want);
  };
  auto matrix = [&](const T *m, int64_t st, const long double *c, long double div, const char *what) {
    const std::vector<T> v(m, m + p * p);
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l < p; ++l) {
        if (d.active(i) && d.active(l)) {
          near(sym(v, st, false, p, i, l), c[i * p + l] / div, std::sqrt(c[i * p + i] * c[l * p + l]) / div, what, i * p + l);
        } else if (!packed(st, false)) {
          EXPECT_EQ(v[i * p + l], Pooled<T>::kFill) << what;
        }
      }
  };
  const bool pm = estimates & (SsEstimatePooledCov | SsEstimatePooledMean);
  const bool gm = estimates & (SsEstimateGroupCov | SsEstimateGroupMeans);
  for (int64_t i = 0; i < p; ++i) {
    if (!d.active(i)) {
      EXPECT_EQ(r.pmean[i], Pooled<T>::kFill);
      continue;
    }
    if (pm) near(r.pmean[i], mean[i] / W, std::fabs(mean[i] / W), "pooled mean", i);
    else EXPECT_EQ(r.pmean[i], Pooled<T>::kFill);
    for (int64_t k = 0; k < g; ++k)
      if (gm) near(r.gmeans[k * p + i], ref[k].mean[i], std::fabs(ref[k].mean[i]), "group mean", k);
      else EXPECT_EQ(r.gmeans[k * p + i], Pooled<T>::kFill);
  }
  if (estimates & SsEstimatePooledCov) matrix(r.pcov.data(), r.storage[0], C.data(), D, "pooled cov");
  else EXPECT_EQ(r.pcov[0], Pooled<T>::kFill);
  const int64_t size = packed(r.storage[1], false) ? p * (p + 1) / 2 : p * p;
  for (int64_t k = 0, s = 0; k < g; ++k) {
    if (!r.flag64[k]) continue;
    const long double div = ref[k].W - ref[k].W2 / ref[k].W;
    if (std::fabs(div) < 1e-6 * ref[k].W) {  // one observation: no covariance
      ++s;
      continue;
    }
    if (estimates & SsEstimateGroupCov)
      matrix(r.gcov.data() + s * size, r.storage[1], ref[k].C.data(), div, "group cov");
    else EXPECT_EQ(r.gcov[s * size], Pooled<T>::kFill);
    ++s;
  }
}

template <class T>
void pooled_cases() {
  struct Case {
    int64_t p, n, g;
    bool om, weighted, flagged;
    int width;
    int64_t pooled_st, group_st;
    uint64_t estimates;
    bool singles;  // groups 0 and 1 hold one observation each
  } cases[] = {
      {4, 3000, 5, false, false, false, 1, SsMatrixFull, SsMatrixFull, kAllPooled, false},
      {5, 2000, 7, true, true, true, 0, SsMatrixPackedLower, SsMatrixPackedUpper, kAllPooled, false},
      {3, 1500, 4, true, false, false, 1, SsMatrixPackedUpper, SsMatrixFull, kAllPooled, true},
      {17, 2500, 3, false, true, false, 0, SsMatrixFull, SsMatrixPackedLower, kAllPooled, false},
      {3, 500, 4, false, true, true, 1, SsMatrixFull, SsMatrixFull, SsEstimatePooledCov, false},
      {3, 500, 4, true, false, false, 0, SsMatrixFull, SsMatrixFull, SsEstimateGroupCov, true},
      {3, 500, 4, false, false, false, 1, SsMatrixFull, SsMatrixFull, SsEstimatePooledMean, false},
      {3, 500, 4, true, true, false, 1, SsMatrixFull, SsMatrixFull, SsEstimateGroupMeans, false},
      {1, 800, 6, false, true, false, 1, SsMatrixFull, SsMatrixFull, kAllPooled, true},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(testing::Message() << "p " << c.p << " n " << c.n << " om " << c.om << " w " << c.weighted
                                    << " flags " << c.flagged << " estimates " << c.estimates);
    Data<T> d = make_data<T>(c.p, c.n, c.om, c.weighted, c.flagged, c.p + c.n);
    d.width = c.width;
    // Groups by a scrambled index, so that blocks mix them; groups 0 and 1 get only observations 0 and 1.
    auto group = [&](int64_t j) {
      if (c.singles) return j < 2 ? j : 2 + (j * 7919) % (c.g - 2);
      return (j * 7919 + j / 13) % c.g;
    };
    Pooled<T> r(d, c.g, group, c.pooled_st, c.group_st);
    ASSERT_EQ(r(c.estimates), SsStatusOk);
    expect_pooled_matches(r, d, c.estimates);
  }
}

TEST(SsPooled, MatchesPerGroupReferenceDouble) { pooled_cases<double>(); }
TEST(SsPooled, MatchesPerGroupReferenceFloat) { pooled_cases<float>(); }

TEST(SsPooled, ThreadsAgree) {
  const Data<double> d = make_data<double>(6, 40000, true, true, true, 11);
  auto run = [&](const std::vector<Data<double>> &chunks, const ZynThreader *th) {
    Pooled<double> r(chunks[0], 10, [](int64_t j) { return (j * 31) % 10; }, SsMatrixFull, SsMatrixPackedLower);
    EXPECT_EQ(r(kAllPooled, th), SsStatusOk);
    Snapshot s;
    for (auto *v : {&r.pmean, &r.pcov, &r.gmeans, &r.gcov})
      for (double e : *v) s.add(e, std::fabs(e));
    return s;
  };
  expect_threads_agree(run, d, 1e-11);
}

template <class T>
void pooled_statuses() {
  Data<T> d = make_data<T>(3, 50, false, false, false, 3);
  struct Row {
    const char *what;
    uint64_t estimates, method;
    void (*edit)(Pooled<T> &);
    int status;
  } rows[] = {
      {"method", kAllPooled, SsMethodFast, nullptr, SsStatusMethod},
      {"two methods", kAllPooled, SsMethodOnePass | SsMethodFast, nullptr, SsStatusMethod},
      {"negative group", kAllPooled, SsMethodOnePass, [](Pooled<T> &r) { r.gi64[7] = -1, r.gi32[7] = -1; }, SsStatusGroupIndices},
      {"no groups", kAllPooled, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->groupIndices = nullptr; }, SsStatusGroupIndices},
      {"no pooled mean", SsEstimatePooledMean, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->pooledMean = nullptr; }, SsStatusPooledMean},
      {"no pooled cov", SsEstimatePooledCov, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->pooledCov = nullptr; }, SsStatusPooledCov},
      {"no group means", SsEstimateGroupMeans, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->groupMeans = nullptr; }, SsStatusGroupMeans},
      {"no group cov", SsEstimateGroupCov, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->groupCov = nullptr; }, SsStatusGroupCov},
      {"no group flags", SsEstimateGroupCov, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->groupCovIndices = nullptr; }, SsStatusGroupIndices},
      {"no pooled storage", SsEstimatePooledCov, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->pooledCovStorage = nullptr; }, SsStatusStorage},
      {"no group storage", SsEstimateGroupCov, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->groupCovStorage = nullptr; }, SsStatusStorage},
      {"pooled storage unused", SsEstimatePooledMean, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->pooledCovStorage = nullptr; }, SsStatusOk},
      {"no data", kAllPooled, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->data = nullptr; }, SsStatusData},
      {"no storage", kAllPooled, SsMethodOnePass, [](Pooled<T> &r) { r.task.t->storage = nullptr; }, SsStatusStorage},
  };
  for (const Row &row : rows) {
    Pooled<T> r(d, 4, [](int64_t j) { return j % 4; }, SsMatrixFull, SsMatrixFull);
    if (row.edit) row.edit(r);
    EXPECT_EQ(pooled<T>(r.task.t, row.estimates, row.method, nullptr), row.status) << row.what;
  }
}

TEST(SsPooled, StatusesDouble) { pooled_statuses<double>(); }
TEST(SsPooled, StatusesFloat) { pooled_statuses<float>(); }

// ---- partial covariance -------------------------------------------------------------------------

template <class T>
int partial(SsTask *t, uint64_t e, uint64_t m) {
  if constexpr (sizeof(T) == 8) return _rnxdSSPartialCovariance(t, e, m, nullptr);
  else return _rnxsSSPartialCovariance(t, e, m, nullptr);
}

// A task of p variables with the p x p input `in` bound as cov (or cor) in `storage`, roles, and
// q x q results in full storage.
template <class T>
struct Partial {
  Task<T> task;
  std::vector<T> in, pcov, pcor;
  std::vector<int64_t> roles;
  int64_t in_st, out_st = SsMatrixFull;
  Partial(const std::vector<long double> &full, int64_t p, std::vector<int64_t> r, bool as_cor, int64_t st)
      : task(make_data<T>(p, 2, false, false, false, 1)), roles(std::move(r)), in_st(st) {
    in.assign(p * p, T(0));
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l < p; ++l) in[packed(st, false) ? (st & SsMatrixUpperBit ? std::min(i, l) * p - std::min(i, l) * (std::min(i, l) - 1) / 2 + std::abs(i - l) : std::max(i, l) * (std::max(i, l) + 1) / 2 + std::min(i, l)) : i * p + l] = static_cast<T>(full[i * p + l]);
    pcov.assign(p * p, T(0)), pcor = pcov;
    SsTask *t = task.t;
    t->partialIndices = roles.data();
    (as_cor ? t->cor : t->cov) = in.data();
    (as_cor ? t->corStorage : t->covStorage) = &in_st;
    t->partialCov = pcov.data(), t->partialCor = pcor.data();
    t->partialCovStorage = t->partialCorStorage = &out_st;
  }
  int operator()(uint64_t e = SsEstimatePartialCov | SsEstimatePartialCor) { return partial<T>(task.t, e, SsMethodFast); }
};

// Solves a x = b in place (a n x n row-major, b n x m), by elimination with partial pivoting.
void solve(std::vector<long double> a, std::vector<long double> &b, int64_t n, int64_t m) {
  for (int64_t k = 0; k < n; ++k) {
    int64_t piv = k;
    for (int64_t i = k + 1; i < n; ++i)
      if (std::fabs(a[i * n + k]) > std::fabs(a[piv * n + k])) piv = i;
    for (int64_t j = 0; j < n; ++j) std::swap(a[k * n + j], a[piv * n + j]);
    for (int64_t j = 0; j < m; ++j) std::swap(b[k * m + j], b[piv * m + j]);
    for (int64_t i = 0; i < n; ++i) {
      if (i == k) continue;
      const long double f = a[i * n + k] / a[k * n + k];
      for (int64_t j = 0; j < n; ++j) a[i * n + j] -= f * a[k * n + j];
      for (int64_t j = 0; j < m; ++j) b[i * m + j] -= f * b[k * m + j];
    }
  }
  for (int64_t k = 0; k < n; ++k)
    for (int64_t j = 0; j < m; ++j) b[k * m + j] /= a[k * n + k];
}

template <class T>
void partial_cases() {
  const double tol = sizeof(T) == 8 ? 1e-10 : 1e-4;
  // p 3 from a correlation matrix: the textbook formula.
  {
    const long double r12 = 0.6, r13 = 0.5, r23 = -0.3;
    const std::vector<long double> c = {1, r12, r13, r12, 1, r23, r13, r23, 1};
    for (int64_t st : {SsMatrixFull, SsMatrixPackedLower, SsMatrixPackedUpper}) {
      Partial<T> r(c, 3, {1, 1, -1}, true, st);
      ASSERT_EQ(r(), SsStatusOk);
      EXPECT_NEAR(r.pcor[1], (r12 - r13 * r23) / std::sqrt((1 - r13 * r13) * (1 - r23 * r23)), tol) << st;
      EXPECT_NEAR(r.pcov[0], 1 - r13 * r13, tol);
      EXPECT_NEAR(r.pcov[3], 1 - r23 * r23, tol);
      EXPECT_EQ(r.pcor[0], 1);
    }
  }
  // p 7: residuals of the regression of each kept variable on the conditioning ones.
  const int64_t p = 7, n = 400;
  const std::vector<int64_t> roles = {1, -1, 1, 0, -1, 1, -1};
  const Data<T> d = make_data<T>(p, n, false, false, false, 9);
  const Reference ref(d);
  std::vector<long double> S(p * p);
  for (int64_t k = 0; k < p * p; ++k) S[k] = ref.C[k] / (n - 1);
  std::vector<int64_t> ys, zs;
  for (int64_t i = 0; i < p; ++i) (roles[i] == 1 ? ys : roles[i] == -1 ? zs : std::vector<int64_t>{}).push_back(i);
  const int64_t q = ys.size(), r = zs.size();
  std::vector<long double> Szz(r * r), beta(r * q);  // beta = Szz^-1 Szy
  for (int64_t a = 0; a < r; ++a) {
    for (int64_t b = 0; b < r; ++b) Szz[a * r + b] = S[zs[a] * p + zs[b]];
    for (int64_t b = 0; b < q; ++b) beta[a * q + b] = S[zs[a] * p + ys[b]];
  }
  solve(Szz, beta, r, q);
  std::vector<long double> P(q * q, 0), e(q);
  for (int64_t j = 0; j < n; ++j) {
    for (int64_t a = 0; a < q; ++a) {
      e[a] = d.at(ys[a], j) - ref.mean[ys[a]];
      for (int64_t b = 0; b < r; ++b) e[a] -= beta[b * q + a] * (d.at(zs[b], j) - ref.mean[zs[b]]);
    }
    for (int64_t a = 0; a < q; ++a)
      for (int64_t b = 0; b < q; ++b) P[a * q + b] += e[a] * e[b] / (n - 1);
  }
  for (int64_t st : {SsMatrixFull, SsMatrixPackedUpper}) {
    Partial<T> run(S, p, roles, false, st);
    run.out_st = st;
    ASSERT_EQ(run(), SsStatusOk);
    for (int64_t a = 0; a < q; ++a)
      for (int64_t b = 0; b < q; ++b) {
        const long double s = std::sqrt(P[a * q + a] * P[b * q + b]);
        EXPECT_LE(std::fabs(sym(run.pcov, st, false, q, a, b) - P[a * q + b]), tol * 100 * s) << a << " " << b;
        EXPECT_LE(std::fabs(sym(run.pcor, st, false, q, a, b) - P[a * q + b] / s), tol * 100) << a << " " << b;
      }
  }
}

TEST(SsPartial, MatchesClosedFormAndRegressionDouble) { partial_cases<double>(); }
TEST(SsPartial, MatchesClosedFormAndRegressionFloat) { partial_cases<float>(); }

template <class T>
void partial_statuses() {
  const std::vector<long double> c = {1, 0.5, 0.2, 0.5, 1, 1, 0.2, 1, 1};  // variables 1 and 2 equal
  struct Row {
    const char *what;
    std::vector<int64_t> roles;
    uint64_t method;
    void (*edit)(Partial<T> &);
    int status;
  } rows[] = {
      {"singular S_ZZ", {1, -1, -1}, SsMethodFast, nullptr, SsStatusFactor},
      {"S_YY may be singular", {-1, 1, 1}, SsMethodFast, nullptr, SsStatusOk},
      {"no conditioning", {1, 0, 1}, SsMethodFast, nullptr, SsStatusOk},
      {"role 2", {1, 2, -1}, SsMethodFast, nullptr, SsStatusPartialIndices},
      {"nothing kept", {0, -1, -1}, SsMethodFast, nullptr, SsStatusPartialIndices},
      {"method", {1, 1, -1}, SsMethodOnePass, nullptr, SsStatusMethod},
      {"no roles", {1, 1, -1}, SsMethodFast, [](Partial<T> &r) { r.task.t->partialIndices = nullptr; }, SsStatusPartialIndices},
      {"no input", {1, 1, -1}, SsMethodFast, [](Partial<T> &r) { r.task.t->cor = nullptr; }, SsStatusCov},
      {"no input storage", {1, 1, -1}, SsMethodFast, [](Partial<T> &r) { r.task.t->corStorage = nullptr; }, SsStatusStorage},
      {"no partial cov", {1, 1, -1}, SsMethodFast, [](Partial<T> &r) { r.task.t->partialCov = nullptr; }, SsStatusPartialCov},
      {"no partial cor", {1, 1, -1}, SsMethodFast, [](Partial<T> &r) { r.task.t->partialCor = nullptr; }, SsStatusPartialCor},
      {"no output storage", {1, 1, -1}, SsMethodFast, [](Partial<T> &r) { r.task.t->partialCorStorage = nullptr; }, SsStatusStorage},
  };
  for (const Row &row : rows) {
    Partial<T> r(c, 3, row.roles, true, SsMatrixFull);
    if (row.edit) row.edit(r);
    EXPECT_EQ(partial<T>(r.task.t, SsEstimatePartialCov | SsEstimatePartialCor, row.method), row.status) << row.what;
  }
}

TEST(SsPartial, StatusesDouble) { partial_statuses<double>(); }
TEST(SsPartial, StatusesFloat) { partial_statuses<float>(); }

// ---- correlation repair ---------------------------------------------------------------------------

template <class T>
int repair(SsTask *t, uint64_t m) {
  if constexpr (sizeof(T) == 8) return _rnxdSSCorParametrization(t, 0, m, nullptr);
  else return _rnxsSSCorParametrization(t, 0, m, nullptr);
}

// Repairs the p x p `lower` (lower triangle by rows) in `st` storage; returns the full result.
template <class T>
std::vector<T> repaired(const std::vector<double> &lower, int64_t p, int64_t st, int expect = SsStatusOk) {
  Task<T> task(make_data<T>(p, 2, false, false, false, 1));
  std::vector<T> in(p * p), out(p * p, T(-7));
  for (int64_t i = 0; i < p; ++i)
    for (int64_t l = 0; l <= i; ++l) {
      const T v = static_cast<T>(lower[i * (i + 1) / 2 + l]);
      if (packed(st, false)) in[st & SsMatrixUpperBit ? l * p - l * (l - 1) / 2 + i - l : i * (i + 1) / 2 + l] = v;
      else in[i * p + l] = in[l * p + i] = v;
    }
  int64_t out_st = SsMatrixFull;
  task.t->cor = in.data(), task.t->corStorage = &st;
  task.t->parametrizedMatrix = out.data(), task.t->parametrizedStorage = &out_st;
  EXPECT_EQ(repair<T>(task.t, SsMethodParametrize), expect);
  return out;
}

template <class T>
void repair_cases() {
  const double tol = sizeof(T) == 8 ? 1e-11 : 2e-5;
  std::ifstream f(ZYN_STATS_DATA "/repair.txt");
  ASSERT_TRUE(f.good());
  int64_t p;
  int64_t storages[] = {SsMatrixFull, SsMatrixPackedLower, SsMatrixPackedUpper}, k = 0;
  while (f >> p) {
    std::vector<double> in(p * (p + 1) / 2), want(in.size());
    for (double &v : in) f >> v;
    for (double &v : want) f >> v;
    const std::vector<T> got = repaired<T>(in, p, storages[k++ % 3]);
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l <= i; ++l) EXPECT_NEAR(got[i * p + l], want[i * (i + 1) / 2 + l], tol) << p << ": " << i << " " << l;
    // Positive semi-definite (eigenvalues above -p eps) with a unit diagonal, by a second repair:
    // a PSD input comes back unchanged.
    std::vector<double> again(in.size());
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l <= i; ++l) again[i * (i + 1) / 2 + l] = got[i * p + l];
    const std::vector<T> twice = repaired<T>(again, p, SsMatrixFull);
    for (int64_t e = 0; e < p * p; ++e) EXPECT_NEAR(twice[e], got[e], tol) << p << ": " << e;
    for (int64_t i = 0; i < p; ++i) EXPECT_NEAR(got[i * p + i], 1, tol);
  }
  EXPECT_EQ(k, 2);
  // Statuses.
  Task<T> task(make_data<T>(2, 2, false, false, false, 1));
  T m[4] = {1, 0, 0, 1};
  int64_t st = SsMatrixFull;
  EXPECT_EQ(repair<T>(task.t, SsMethodParametrize), SsStatusCor);
  task.t->cor = m;
  EXPECT_EQ(repair<T>(task.t, SsMethodParametrize), SsStatusStorage);
  task.t->corStorage = &st;
  EXPECT_EQ(repair<T>(task.t, SsMethodParametrize), SsStatusParametrizedMatrix);
  task.t->parametrizedMatrix = m;
  EXPECT_EQ(repair<T>(task.t, SsMethodParametrize), SsStatusStorage);
  task.t->parametrizedStorage = &st;
  EXPECT_EQ(repair<T>(task.t, SsMethodFast), SsStatusMethod);
  EXPECT_EQ(repair<T>(task.t, SsMethodParametrize), SsStatusOk);
}

TEST(SsRepair, MatchesNumpyDouble) { repair_cases<double>(); }
TEST(SsRepair, MatchesNumpyFloat) { repair_cases<float>(); }

}  // namespace
