// Pooled and group covariance against long-double per-group sums; partial covariance against a
// closed form and long-double regression residuals (Gram-Schmidt); the correlation repair against numpy
// (tools/repair_reference.py). (Statuses: the table in test_task.cpp.)
#include <array>
#include <fstream>
#include <numeric>

#include "stats_test.hpp"

using namespace sstest;

namespace {

template <class T>
constexpr T kFill = T(-777);
constexpr uint64_t kAllPooled = SsEstimatePooledCov | SsEstimateGroupCov | SsEstimatePooledMean | SsEstimateGroupMeans;
constexpr uint64_t kPartialBoth = SsEstimatePartialCov | SsEstimatePartialCor;

template <class T, class V>
std::vector<T> stored(const std::vector<V> &full, int64_t p, int64_t st) {
  std::vector<T> m(p * p, kFill<T>);
  for (int64_t i = 0; i < p; ++i)
    for (int64_t l = 0; l < p; ++l) m[pos(st, false, p, i, l)] = static_cast<T>(full[i * p + l]);
  return m;
}

// A task over Data with groups (scrambled, so that blocks mix them; with `singles` groups 0 and 1
// hold only observations 0 and 1), every group but each third flagged, every pooled result.
template <class T>
struct Pooled {
  Task<T> task;
  std::vector<int64_t> group, flags;
  std::vector<int32_t> group32, flags32;
  std::vector<T> pm, pc, gm, gc;
  int64_t st[2];
  Pooled(const Data<T> &d, int64_t g, int64_t pooled_st, int64_t group_st, bool singles)
      : task(d), flags(g), st{pooled_st, group_st} {
    for (int64_t j = 0; j < d.n; ++j)
      group.push_back(singles ? (j < 2 ? j : 2 + j * 7919 % (g - 2)) : (j * 7919 + j / 13) % g);
    for (int64_t k = 0; k < g; ++k) flags[k] = k % 3 != 2;
    group32.assign(group.begin(), group.end()), flags32.assign(flags.begin(), flags.end());
    pm.assign(d.p, kFill<T>), pc.assign(d.p * d.p, kFill<T>), gm.assign(g * d.p, kFill<T>), gc.assign(g * d.p * d.p, kFill<T>);
    call<T>(__rnxdSSEditPooledCovariance, __rnxsSSEditPooledCovariance, task.t, d.width ? (void *)group.data() : group32.data(),
            pm.data(), pc.data(), d.width ? (void *)flags.data() : flags32.data(), gm.data(), gc.data());
    task.t->pooledCovStorage = &st[0], task.t->groupCovStorage = &st[1];  // the low half serves 32-bit tasks
  }
};

template <class T>
void expect_pooled(const Pooled<T> &r, const Data<T> &d, uint64_t e) {
  const int64_t p = d.p, g = 1 + *std::max_element(r.group.begin(), r.group.end());
  std::vector<Data<T>> sub(g, Data<T>{p, 0, true, 1, {}, {}, {}});  // each group's observations
  for (int64_t j = 0; j < d.n; ++j) {
    for (int64_t i = 0; i < p; ++i) sub[r.group[j]].x.push_back(d.at(i, j));
    if (++sub[r.group[j]].n, !d.w.empty()) sub[r.group[j]].w.push_back(d.w[j]);
  }
  long double W = 0, D = 0;
  std::vector<long double> mean(p), C(p * p);
  std::vector<Reference> ref;
  for (int64_t k = 0; k < g; ++k) {
    const Reference &f = ref.emplace_back(sub[k]);
    if (f.W == 0) continue;  // an empty group: NaN means
    W += f.W, D += f.W - f.W2 / f.W;
    for (int64_t i = 0; i < p; ++i) mean[i] += f.R1[i];
    for (int64_t c = 0; c < p * p; ++c) C[c] += f.C[c];
  }
  auto near = [&](T got, long double want, long double scale, bool wanted) {
    if (wanted && std::isnan(want)) EXPECT_TRUE(std::isnan(got));
    else if (wanted) EXPECT_LE(std::fabs(got - want), (sizeof(T) == 8 ? 1e-9 : 2e-3) * std::max(1.0L, scale)) << got << " vs " << static_cast<double>(want);
    else EXPECT_EQ(got, kFill<T>);
  };
  auto matrix = [&](const T *m, int64_t st, const long double *c, long double div, bool wanted) {
    for (int64_t i = 0; i < p; ++i)
      for (int64_t l = 0; l < p && d.active(i); ++l)
        if (d.active(l)) near(m[pos(st, false, p, i, l)], c[i * p + l] / div, std::sqrt(c[i * p + i] * c[l * p + l]) / div, wanted);
  };
  for (int64_t i = 0; i < p; ++i) {
    near(r.pm[i], mean[i] / W, std::fabs(mean[i] / W), d.active(i) && (e & (SsEstimatePooledCov | SsEstimatePooledMean)));
    for (int64_t k = 0; k < g; ++k)
      near(r.gm[k * p + i], ref[k].mean[i], std::fabs(ref[k].mean[i]), d.active(i) && (e & (SsEstimateGroupCov | SsEstimateGroupMeans)));
  }
  matrix(r.pc.data(), r.st[0], C.data(), D, e & SsEstimatePooledCov);
  const int64_t size = packed(r.st[1], false) ? p * (p + 1) / 2 : p * p;
  for (int64_t k = 0, s = 0; k < g; ++k) {
    const long double div = ref[k].W - ref[k].W2 / ref[k].W;
    if (r.flags[k] && std::fabs(div) > 1e-6 * ref[k].W)  // one observation: no covariance
      matrix(r.gc.data() + s * size, r.st[1], ref[k].C.data(), div, e & SsEstimateGroupCov);
    s += r.flags[k] != 0;
  }
}

template <class T>
void pooled_cases() {
  const struct { int64_t p, n, g; bool om, weighted, flagged; int width; int64_t pooled_st, group_st; uint64_t estimates; bool singles; } cases[] = {
      {4, 3000, 5, false, false, false, 1, SsMatrixFull, SsMatrixFull, kAllPooled, false},
      {5, 2000, 7, true, true, true, 0, SsMatrixPackedLower, SsMatrixPackedUpper, kAllPooled, false},
      {3, 1500, 4, true, false, false, 1, SsMatrixPackedUpper, SsMatrixFull, kAllPooled, true},
      {17, 2500, 3, false, true, false, 0, SsMatrixFull, SsMatrixPackedLower, kAllPooled, false},
      {2, 12000, 5000, true, true, false, 1, SsMatrixFull, SsMatrixFull, kAllPooled, false},  // more groups than a block, some empty
      {3, 500, 4, false, true, true, 1, SsMatrixFull, SsMatrixFull, SsEstimatePooledCov, false},
      {3, 500, 4, true, false, false, 0, SsMatrixFull, SsMatrixFull, SsEstimateGroupCov, true},
      {3, 500, 4, false, false, false, 1, SsMatrixFull, SsMatrixFull, SsEstimatePooledMean, false},
      {3, 500, 4, true, true, false, 1, SsMatrixFull, SsMatrixFull, SsEstimateGroupMeans, false},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(testing::Message() << "p " << c.p << " g " << c.g << " om " << c.om << " estimates " << c.estimates);
    Data<T> d = make_data<T>(c.p, c.n, c.om, c.weighted, c.flagged, c.p + c.n);
    d.width = c.width;
    Pooled<T> r(d, c.g, c.pooled_st, c.group_st, c.singles);
    ASSERT_EQ(entry<T>(kPooled, r.task.t, c.estimates, SsMethodOnePass), SsStatusOk);
    expect_pooled(r, d, c.estimates);
  }
}

TEST(SsPooled, MatchesPerGroupReferenceDouble) { pooled_cases<double>(); }
TEST(SsPooled, MatchesPerGroupReferenceFloat) { pooled_cases<float>(); }

TEST(SsPooled, ThreadsAgree) {
  const Data<double> d = make_data<double>(6, 40000, true, true, true, 11);
  expect_threads_agree([&](const ZynThreader *th) {
    Pooled<double> r(d, 10, SsMatrixFull, SsMatrixPackedLower, false);
    EXPECT_EQ(entry<double>(kPooled, r.task.t, kAllPooled, SsMethodOnePass, th), SsStatusOk);
    return flat(r.pm, r.pc, r.gm, r.gc);
  }, 1e-11);
}

// Partial covariance and correlation of the q variables with role 1 in `in` (its storage st,
// as cor or cov), in storage st; both come back full q x q.
template <class T>
std::array<std::vector<T>, 2> partial(const std::vector<long double> &in, int64_t p, std::vector<int64_t> roles, bool as_cor, int64_t st) {
  Task<T> task(make_data<T>(p, 2, false, false, false, 1));
  const int64_t q = std::count(roles.begin(), roles.end(), 1);
  std::vector<T> m = stored<T>(in, p, st), pc(q * q), pr(q * q);
  T *cov = as_cor ? nullptr : m.data(), *cor = as_cor ? m.data() : nullptr;
  call<T>(__rnxdSSEditPartialCovCor, __rnxsSSEditPartialCovCor, task.t, roles.data(), cov, &st, cor, &st, pc.data(), &st, pr.data(), &st);
  EXPECT_EQ(entry<T>(kPartial, task.t, kPartialBoth, SsMethodFast), SsStatusOk);
  std::array<std::vector<T>, 2> out{pc, pr};
  for (int64_t i = 0; i < q * q; ++i) out[0][i] = pc[pos(st, false, q, i / q, i % q)], out[1][i] = pr[pos(st, false, q, i / q, i % q)];
  return out;
}

template <class T>
void partial_cases() {
  const double tol = sizeof(T) == 8 ? 1e-10 : 1e-4;
  const long double r12 = 0.6, r13 = 0.5, r23 = -0.3;  // p 3 from cor: the textbook formula
  for (int64_t st : {SsMatrixFull, SsMatrixPackedLower, SsMatrixPackedUpper}) {
    const auto [pc, pr] = partial<T>({1, r12, r13, r12, 1, r23, r13, r23, 1}, 3, {1, 1, -1}, true, st);
    EXPECT_NEAR(pr[1], (r12 - r13 * r23) / std::sqrt((1 - r13 * r13) * (1 - r23 * r23)), tol) << st;
    EXPECT_NEAR(pc[0], 1 - r13 * r13, tol);
    EXPECT_NEAR(pc[3], 1 - r23 * r23, tol);
    EXPECT_EQ(pr[0], 1);
  }
  // p 7 from cov: the residuals of each kept variable after projecting out the conditioning
  // ones, orthogonalised by Gram-Schmidt, all in long double.
  const int64_t p = 7, n = 400, q = 3;
  const std::vector<int64_t> roles = {1, -1, 1, 0, -1, 1, -1}, order = {1, 4, 6, 0, 2, 5};  // Z, then Y
  const Data<T> d = make_data<T>(p, n, false, false, false, 9);
  const Reference ref(d);
  std::vector<long double> S(p * p), P(q * q);
  for (int64_t k = 0; k < p * p; ++k) S[k] = ref.C[k] / (n - 1);
  std::vector<std::vector<long double>> v(6, std::vector<long double>(n));
  auto dot = [&](int64_t a, int64_t b) { return std::inner_product(v[a].begin(), v[a].end(), v[b].begin(), 0.0L); };
  for (int64_t a = 0; a < 6; ++a) {
    for (int64_t j = 0; j < n; ++j) v[a][j] = d.at(order[a], j) - ref.mean[order[a]];
    for (int64_t b = 0; b < std::min<int64_t>(a, 3); ++b) {
      const long double f = dot(a, b) / dot(b, b);
      for (int64_t j = 0; j < n; ++j) v[a][j] -= f * v[b][j];
    }
  }
  for (int64_t a = 0; a < q * q; ++a) P[a] = dot(3 + a / q, 3 + a % q) / (n - 1);
  for (int64_t st : {SsMatrixFull, SsMatrixPackedUpper}) {
    const auto [pc, pr] = partial<T>(S, p, roles, false, st);
    for (int64_t a = 0; a < q * q; ++a) {
      const long double s = std::sqrt(P[a / q * (q + 1)] * P[a % q * (q + 1)]);
      EXPECT_LE(std::fabs(pc[a] - P[a]), 100 * tol * s) << a;
      EXPECT_LE(std::fabs(pr[a] - P[a] / s), 100 * tol) << a;
    }
  }
}

TEST(SsPartial, MatchesClosedFormAndRegressionDouble) { partial_cases<double>(); }
TEST(SsPartial, MatchesClosedFormAndRegressionFloat) { partial_cases<float>(); }

// The repair of each numpy case (input in full, packed lower, packed upper storage) agrees with
// numpy's; has a unit diagonal; and, being positive semi-definite, comes back from a second repair.
template <class T>
void repair_cases() {
  const double tol = sizeof(T) == 8 ? 1e-11 : 2e-5;
  std::ifstream f(ZYN_STATS_DATA "/repair.txt");
  int64_t p, k = 0, out_st = SsMatrixFull;
  auto repair = [&](const std::vector<double> &full, int64_t st) {
    Task<T> task(make_data<T>(p, 2, false, false, false, 1));
    std::vector<T> in = stored<T>(full, p, st), out(p * p);
    call<T>(__rnxdSSEditMtxParametrz, __rnxsSSEditMtxParametrz, task.t, in.data(), &st, out.data(), &out_st);
    EXPECT_EQ(entry<T>(kRepair, task.t, 0, SsMethodParametrize), SsStatusOk);
    return std::vector<double>(out.begin(), out.end());
  };
  while (f >> p) {
    std::vector<double> in(p * p), want(p * p);
    for (auto *m : {&in, &want})
      for (int64_t i = 0; i < p; ++i)
        for (int64_t l = 0; l <= i; ++l) f >> (*m)[i * p + l], (*m)[l * p + i] = (*m)[i * p + l];
    const std::vector<double> got = repair(in, SsMatrixPackedLower + 2 * (k++ % 2)), again = repair(got, SsMatrixFull);
    for (int64_t e = 0; e < p * p; ++e) {
      EXPECT_NEAR(got[e], want[e], tol) << p << ": " << e;
      EXPECT_NEAR(again[e], got[e], tol) << p << ": " << e;
    }
    for (int64_t i = 0; i < p; ++i) EXPECT_NEAR(got[i * p + i], 1, tol);
  }
  EXPECT_EQ(k, 2);
}

TEST(SsRepair, MatchesNumpyDouble) { repair_cases<double>(); }
TEST(SsRepair, MatchesNumpyFloat) { repair_cases<float>(); }

}  // namespace
