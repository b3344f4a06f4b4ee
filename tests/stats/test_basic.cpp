// Basic estimates against long-double sums on offset data, the shared properties.
#include "stats_test.hpp"

using namespace sstest;

namespace {

template <class T>
constexpr double kTol = sizeof(T) == 8 ? 1e-9 : 2e-3;  // relative
constexpr uint64_t kSums = SsEstimateSum | SsEstimateR2s | SsEstimateR3s | SsEstimateR4s |
                           SsEstimateC2s | SsEstimateC3s | SsEstimateC4s | SsEstimateCp;
constexpr uint64_t kDataMethods[] = {SsMethodOnePass, SsMethodFast, SsMethodFastUserMean};

// One task fed the chunks in turn.
template <class T>
Snapshot run_basic(uint64_t method, const std::vector<Data<T>> &chunks, const ZynThreader *th,
                   uint64_t estimates = kAllBasic, const int64_t *storage = nullptr) {
  Basic<T> b(chunks[0], method, storage);
  for (const auto &c : chunks) {
    b.task.feed(c);
    EXPECT_EQ(b(estimates, method, th), 0);
  }
  return snapshot(b.r);
}

// `sample`: c2m, cov and variation divide by W - W2 / W, else by W.
template <class T>
void expect_matches(const Data<T> &d, Results<T> &r, const Reference &ref, bool sample,
                    bool user_mean) {
  const long double W = ref.W, D = sample ? W - ref.W2 / W : W;
  const double tol = kTol<T>, shape = sizeof(T) == 8 ? 1e-8 : 5e-3;  // kurtosis, skewness
  const int64_t p = d.p;
  for (int64_t i = 0; i < p; ++i) {
    SCOPED_TRACE("variable " + std::to_string(i));
    if (!d.active(i)) {
      for (auto *v : r.vectors())  // the user-mean method reads the mean
        EXPECT_EQ((*v)[i], v == &r.mean && user_mean ? kCentre<T> : Results<T>::kFill);
      for (int64_t l = 0; l < p; ++l) EXPECT_EQ(r.cov[i * p + l], Results<T>::kFill);
      continue;
    }
    const long double m2 = ref.M2[i] / W;
    struct Check {
      long double got, want;
      double tol;
      long double floor = 0;  // of the scale: the shape ratios may be near 0
    };
    const Check checks[] = {
        {r.mean[i], ref.mean[i], tol},      {r.sum[i], ref.R1[i], tol},
        {r.r2s[i], ref.R2[i], tol},         {r.r3s[i], ref.R3[i], tol},
        {r.r4s[i], ref.R4[i], tol},         {r.r2m[i], ref.R2[i] / W, tol},
        {r.r3m[i], ref.R3[i] / W, tol},     {r.r4m[i], ref.R4[i] / W, tol},
        {r.c2s[i], ref.M2[i], tol},         {r.c3s[i], ref.M3[i], 20 * tol},
        {r.c4s[i], ref.M4[i], tol},         {r.c2m[i], ref.M2[i] / D, tol},
        {r.c3m[i], ref.M3[i] / W, 20 * tol}, {r.c4m[i], ref.M4[i] / W, tol},
        {r.kurt[i], ref.M4[i] / W / (m2 * m2) - 3, shape, 1},
        {r.skew[i], ref.M3[i] / W / std::sqrt(m2 * m2 * m2), shape, 1},
        {r.var[i], std::sqrt(ref.M2[i] / D) / ref.mean[i], tol}};
    for (size_t k = 0; k < std::size(checks); ++k) {
      const auto &[got, want, t, floor] = checks[k];
      EXPECT_LE(std::fabs(got - want), t * std::max(std::fabs(want), floor))
          << "check " << k << ": " << static_cast<double>(got) << ", want " << static_cast<double>(want);
    }
    for (int64_t l = 0; l < p; ++l) {
      if (!d.active(l)) continue;
      const long double c = ref.C[i * p + l], s = std::sqrt(ref.C[i * p + i] * ref.C[l * p + l]);
      EXPECT_LE(std::fabs(r.cp[i * p + l] - c), tol * s) << l;
      EXPECT_LE(std::fabs(r.cov[i * p + l] - c / D), tol * s / D) << l;
      EXPECT_LE(std::fabs(r.cor[i * p + l] - c / s), tol) << l;
    }
  }
  EXPECT_LE(std::fabs(r.accw[0] - W), tol * W);
  EXPECT_LE(std::fabs(r.accw[1] - ref.W2), tol * ref.W2);
}

// Smaller requests select kernels of lower levels (and without the matrix).
constexpr uint64_t kSubsets[] = {SsEstimateMean, SsEstimateSum, SsEstimateC2s, SsEstimateR2s,
                                 SsEstimateC2m, SsEstimateC3s, SsEstimateC4s, SsEstimateR3s,
                                 SsEstimateCov, SsEstimateCp | SsEstimateC2s, SsEstimateVariation};

// The full request against the reference; from-sums methods turn the sums of a one-pass call
// into the rest. Each smaller request must write what the full one wrote.
template <class T>
void check_against_reference(const Data<T> &d, uint64_t method) {
  SCOPED_TRACE(testing::Message() << "p " << d.p << " method " << method << " weighted "
                                  << !d.w.empty() << " by observation " << d.om << " flags "
                                  << d.flags.size() << " width " << d.width);
  const bool from_sums = method & (SsMethodFromSums | SsMethodFromSumsPopulation);
  const bool user_mean = method == SsMethodFastUserMean;
  const std::vector<long double> centre(d.p, kCentre<T>);
  const Reference ref(d, user_mean ? &centre : nullptr);
  Basic<T> b(d, method);
  ASSERT_EQ(from_sums ? b(kSums, SsMethodOnePass) : 0, 0);
  ASSERT_EQ(b(from_sums ? kAllBasic & ~kSums : kAllBasic, method), 0);
  Results<T> &r = b.r;
  expect_matches(d, r, ref, method != SsMethodFromSumsPopulation, user_mean);
  if (from_sums) return;
  const Snapshot full = snapshot(r);
  for (uint64_t e : kSubsets) {
    const Snapshot got = run_basic<T>(method, {d}, nullptr, e);
    for (size_t k = 0; k < got.value.size(); ++k)
      EXPECT_TRUE(got.value[k] == Results<T>::kFill ||
                  std::fabs(got.value[k] - full.value[k]) <= kTol<T> * full.scale[k])
          << "estimates " << e << " element " << k;
  }
}

template <class T>
void against_reference() {
  for (uint64_t m : {SsMethodOnePass, SsMethodFast, SsMethodFastUserMean, SsMethodFromSums,
                     SsMethodFromSumsPopulation})
    for (bool weighted : {false, true})
      for (bool om : {false, true})
        for (bool flagged : {false, true}) {
          Data<T> d = make_data<T>(5, 3001, om, weighted, flagged, 42);
          d.width = !flagged;  // 32-bit counts and flags with half of the rows
          check_against_reference(d, m);
        }
  check_against_reference(make_data<T>(1, 100, true, false, false, 2), SsMethodOnePass);
  // Blocks are centred on the previous block's mean when it is close enough. (The third
  // moment of the jump is too small against its scale for single precision.)
  for (bool om : {false, true})
    if constexpr (sizeof(T) == 8)
    check_against_reference(make_data<T>(2, 9000, om, false, false, 17, true), SsMethodFast);
}

TEST(SsBasic, DoubleAgainstLongDoubleReference) { against_reference<double>(); }
TEST(SsBasic, SingleAgainstLongDoubleReference) { against_reference<float>(); }

template <class T>
auto runner(uint64_t method) {
  return [=](const std::vector<Data<T>> &chunks, const ZynThreader *th) { return run_basic<T>(method, chunks, th); };
}

TEST(SsBasic, ThreadsAgreeAndHalvesEqualTheWhole) {
  for (uint64_t m : kDataMethods)
    for (bool om : {false, true}) {
      SCOPED_TRACE(testing::Message() << "method " << m << " by observation " << om);
      const Data<double> d = make_data<double>(3, 20000, om, true, false, 5);
      expect_threads_agree([&](const ZynThreader *th) { return run_basic<double>(m, {d}, th); }, 1e-10);
      for (bool weighted : {false, true}) {
        expect_halves_equal_whole(runner<double>(m), make_data<double>(4, 2000, om, weighted, false, 7), 1e-9);
        expect_halves_equal_whole(runner<float>(m), make_data<float>(4, 2000, om, weighted, false, 7), 2e-3);
      }
    }
}

// Packed storages hold the full matrices, also when a second call accumulates through them.
// Storage 2 is packed for cross-products and full for cov and cor.
TEST(SsBasic, PackedStoragesReadBackTheFullMatrices) {
  const Data<double> d = make_data<double>(5, 800, false, true, false, 13);
  const std::vector<Data<double>> chunks = {d.slice(0, 300), d.slice(300, 800)};
  const Snapshot full = run_basic<double>(SsMethodFast, chunks, nullptr);
  const int64_t storages[][3] = {{1, 3, 2}, {3, 1, 1}, {1, 1, 3}, {2, 2, 0}};
  for (const auto &s : storages) {
    SCOPED_TRACE(testing::Message() << s[0] << " " << s[1] << " " << s[2]);
    expect_close(run_basic<double>(SsMethodFast, chunks, nullptr, kAllBasic, s), full, 1e-12);
  }
}

}  // namespace
