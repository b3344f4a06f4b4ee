// Integration against long-double sums of the exact antiderivatives of the task's coefficients,
// on every evaluation kind, both layouts of r, 1, 2 and 7 threads; the limit hints; the callback
// kind; statuses.
#include "support.hpp"

namespace {

using namespace dftest;

// The integral of function f from a to b, and the sum of its terms in magnitude, from the
// integrals of the whole pieces before each piece (cum) and their magnitudes (mag).
template <class T>
struct Exact {
  const Spline<T> &sp;
  int64_t order, n;
  std::vector<LD> cum, mag;
  Exact(const Spline<T> &s, int64_t o, int64_t ny) : sp(s), order(o), n(static_cast<int64_t>(s.left.size())) {
    for (int64_t f = 0; f < ny; ++f) {
      cum.push_back(0), mag.push_back(0);
      for (int64_t p = 0; p + 1 < n; ++p) {
        const auto [v, m] = part(f, p, sp.left[p + 1] - sp.left[p]);
        cum.push_back(cum.back() + v), mag.push_back(mag.back() + m);
      }
    }
  }
  std::pair<LD, LD> part(int64_t f, int64_t p, LD t) const {  // over [left[p], left[p] + t]
    LD v = 0, m = 0, tk = t;
    for (int64_t k = 0; k < order; ++k, tk *= t) {
      const LD term = sp.coeff[(f * n + p) * order + k] * tk / (k + 1);
      v += term, m += fabsl(term);
    }
    return {v, m};
  }
  std::pair<LD, LD> operator()(int64_t f, LD a, LD b) const {
    const LD lo = std::min(a, b), hi = std::max(a, b);
    auto piece = [&](LD s) { return std::clamp<int64_t>(std::upper_bound(sp.left.begin(), sp.left.end(), s) - sp.left.begin() - 1, 0, n - 1); };
    const int64_t pa = piece(lo), pb = piece(hi), o = f * n;
    const auto [va, ma] = part(f, pa, lo - sp.left[pa]);
    const auto [vb, mb] = part(f, pb, hi - sp.left[pb]);
    return {(a > b ? -1 : 1) * (cum[o + pb] - cum[o + pa] - va + vb), mag[o + pb] - mag[o + pa] + ma + mb};
  }
};

template <class T>
int integrate(const Spline<T> &sp, const std::vector<T> &a, const std::vector<T> &b, std::vector<T> &r, int64_t rHint = 0,
              int64_t hint = 0, std::type_identity_t<const T *> dataHint = nullptr,
              std::type_identity_t<int (*)(int64_t *, const T *, int64_t *, int32_t *, void *, void *)> search = nullptr) {
  return Ops<T>::integrate(sp.t, 0, static_cast<int64_t>(hint == DF_UNIFORM_PARTITION_SITES ? r.size() : a.size()), a.data(),
                           hint, b.data(), 0, dataHint, nullptr, r.data(), rHint, nullptr, nullptr, nullptr, nullptr, nullptr,
                           nullptr, search, nullptr, &kThreading);
}

// Intervals over 10^4 cells: limits inside, outside, on breakpoints, reversed and empty, in
// triples (a, b), (b, c), (a, c) for additivity; three blocks and a tail for the threads.
template <class T>
void against_exact() {
  const T eps = std::numeric_limits<T>::epsilon();
  for (const Ctor &c : kEvalKinds) {
    const int64_t ny = 2;
    const Spline<T> sp(c, partition<T>(10001, 7), false, [](LD s, int d) { return d ? LD(0.2) : std::sin(3 * s) + s; }, ny);
    const Exact<T> exact(sp, c.order(), ny);
    const std::vector<T> s = sites(sp.x, 3 * 4096 + 101, 8);
    std::vector<T> a, b;
    for (size_t i = 0; i + 2 < s.size(); i += 3) {
      const T u = s[i], v = i % 30 ? s[i + 1] : u, w = s[i + 2];
      a.insert(a.end(), {u, v, u}), b.insert(b.end(), {v, w, w});
    }
    const int64_t n = static_cast<int64_t>(a.size());
    std::vector<T> one;
    for (int threads : {1, 2, 7})
      for (int64_t rHint : {DF_MATRIX_STORAGE_ROWS, DF_MATRIX_STORAGE_COLS}) {
        SCOPED_TRACE(testing::Message() << "family " << c.family << " threads " << threads << " rHint " << rHint);
        g_threads = threads;
        std::vector<T> r(n * ny);
        ASSERT_EQ(integrate(sp, a, b, r, rHint), 0);
        for (int64_t f = 0; f < ny; ++f)
          for (int64_t i = 0; i < n; ++i) {
            const T got = r[rHint == DF_MATRIX_STORAGE_ROWS ? f * n + i : i * ny + f];
            const auto [want, mag] = exact(f, a[i], b[i]);
            ASSERT_LE(std::fabs(got - want), 8 * eps * mag) << f << " " << i << ": " << a[i] << " to " << b[i];
            if (rHint == DF_MATRIX_STORAGE_ROWS && i % 3 == 2) {
              const auto [ma, mb] = std::pair{exact(f, a[i - 2], b[i - 2]).second, exact(f, a[i - 1], b[i - 1]).second};
              ASSERT_LE(std::fabs(r[f * n + i - 2] + r[f * n + i - 1] - got), 8 * eps * (ma + mb + mag)) << "additivity";
            }
          }
        if (rHint == DF_MATRIX_STORAGE_ROWS && threads == 1) one = r;
        EXPECT_TRUE(rHint != DF_MATRIX_STORAGE_ROWS || r == one);
      }
  }
}

TEST(FittingIntegrate, DoubleAgainstExactOnThreads) { against_exact<double>(); }
TEST(FittingIntegrate, SingleAgainstExactOnThreads) { against_exact<float>(); }

template <class T>
int all_final(int64_t *n, const T *site, int64_t *cell, int32_t *, void *, void *) {
  static const std::vector<T> x = partition<T>(300, 5);
  for (int64_t i = 0; i < *n; ++i) cell[i] = scan_cell(x, site[i]);
  return DF_SEARCH_CALLBACK_ALL_FINAL;
}

// Sorted and evenly spaced limits under their hints, a peak hint and a search callback give
// the results of the plain search.
TEST(FittingIntegrate, LimitHintsAndSearchCallback) {
  const Spline<double> sp(kEvalKinds[0], partition<double>(300, 5), false, [](LD s, int) { return std::cos(s); });
  std::vector<double> a = sites(sp.x, 5000, 3), b = sites(sp.x, 5000, 4), plain(5000), r(5000);
  std::sort(a.begin(), a.end());
  const double peak[5] = {0, DF_DATA_HINT_PEAK, 0, 0, 150};
  ASSERT_EQ(integrate(sp, a, b, plain), 0);
  for (int k = 0; k < 3; ++k) {
    ASSERT_EQ(integrate(sp, a, b, r, 0, k == 0 ? DF_SORTED_DATA : 0, k == 1 ? peak : nullptr, k == 2 ? all_final<double> : nullptr), 0);
    EXPECT_EQ(r, plain) << k;
  }
  const std::vector<double> ends = {-1, 11}, even = uniform<double>(5000, -1, 11);
  ASSERT_EQ(integrate(sp, even, b, plain) | integrate(sp, ends, b, r, 0, DF_UNIFORM_PARTITION_SITES), 0);
  EXPECT_EQ(r, plain);
}

// Order 0 with callbacks: 1 left of x[0], 2 right of x[nx-1], 3 between, times the lengths.
TEST(FittingIntegrate, CallbackKindAndStatuses) {
  const Spline<double> sp(kEvalKinds[0], partition<double>(30, 21), false, [](LD s, int) { return s; });
  const std::vector<double> a = {-2, 12, 3, 5, 1}, b = {13, -1, 4, 5, 11};
  std::vector<double> r(5);
  auto weight = [](int64_t *n, const double *lo, const double *hi, double *r, void *p) {
    for (int64_t i = 0; i < *n; ++i) r[i] = *static_cast<double *>(p) * (hi[i] - lo[i]);
    return *static_cast<double *>(p) == 4 ? -7 : 0;
  };
  double w[4] = {1, 2, 3, 4};
  auto run = [&](double *inner) {
    return zyn_df_kernel_dDFIntegrate1D(sp.t, 0, 5, a.data(), 0, b.data(), 0, nullptr, nullptr, r.data(), 0, weight, &w[0],
                                        weight, &w[1], weight, inner, nullptr, nullptr, &kThreading);
  };
  sp.t->splineOrder = DF_PP_STD, sp.t->splineType = DF_PP_DEFAULT;
  ASSERT_EQ(run(&w[2]), 0);
  EXPECT_EQ(r, (std::vector<double>{2 + 30 + 6, -(1 + 30 + 4), 3, 0, 27 + 2}));
  EXPECT_EQ(run(&w[3]), -7);
  sp.t->splineOrder = 4, sp.t->splineType = DF_PP_SUBBOTIN;
  const double bad[5] = {0, 3, 0, 0, 0};
  EXPECT_EQ(integrate(sp, a, b, r), DF_ERROR_BAD_SPLINE_TYPE);
  sp.t->splineType = DF_PP_NATURAL;
  EXPECT_EQ(integrate(sp, a, b, r, DF_MATRIX_STORAGE_FUNCS_DERS_SITES), DF_ERROR_BAD_RHINT);
  EXPECT_EQ(integrate(sp, a, b, r, 0, 0, bad), DF_ERROR_BAD_DATA_HINT);
  EXPECT_EQ(zyn_df_kernel_dDFIntegrate1D(nullptr, 0, 5, a.data(), 0, b.data(), 0, nullptr, nullptr, r.data(), 0, nullptr,
                                         nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            DF_ERROR_NULL_TASK_DESCRIPTOR);
}

}  // namespace
