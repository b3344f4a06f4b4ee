// Interpolation against the coefficients evaluated here in long double: every spline kind, layout
// of r and set of derivatives; every search choice on 1, 2 and 7 threads; given cells; the
// callback kind and statuses.
#include "support.hpp"

namespace {

using namespace dftest;

// Derivative d of function f of the spline at s, on its piece (by default the one s falls in).
template <class T>
LD eval(const Spline<T> &sp, int64_t order, int64_t f, T s, int d, int64_t piece = -1) {
  const std::vector<LD> &left = sp.left;
  const int64_t n = static_cast<int64_t>(left.size());
  if (piece < 0) piece = std::clamp<int64_t>(std::upper_bound(left.begin(), left.end(), s) - left.begin() - 1, 0, n - 1);
  return poly(sp.coeff.data() + (f * n + piece) * order, order, static_cast<T>(s - static_cast<T>(left[piece])), d);
}

template <class T>
int interp(const Spline<T> &sp, int64_t type, const std::vector<T> &s, int64_t siteHint,
           std::vector<int64_t> dorder, std::vector<T> &r, int64_t rHint, void *cell = nullptr,
           std::type_identity_t<const T *> dataHint = nullptr, int64_t nsite = -1,
           std::type_identity_t<int (*)(int64_t *, const T *, int64_t *, int32_t *, void *, void *)> search = nullptr) {
  return Ops<T>::interpolate(sp.t, type, 0, nsite < 0 ? static_cast<int64_t>(s.size()) : nsite, s.data(), siteHint,
                             static_cast<int64_t>(dorder.size()), dorder.empty() ? nullptr : dorder.data(),
                             dataHint, r.data(), rHint, cell, nullptr, nullptr, nullptr, nullptr, nullptr,
                             nullptr, search, const_cast<std::vector<T> *>(&sp.x), &kThreading);
}

const Fn kWave = [](LD s, int d) { return d ? LD(0.2) : std::sin(0.7 * s); };

template <class T>
void every_layout() {
  const double tol = sizeof(T) == 8 ? 1e-13 : 1e-5;
  for (const Ctor &c : kEvalKinds)
    for (bool uni : {false, true}) {
      if (uni && c.family != kNatural) continue;
      const Spline<T> sp(c, uni ? uniform<T>(300, 0, 10) : partition<T>(300, 21), uni, kWave, 2);
      const std::vector<T> s = sites(sp.x, 1000, 4, uni);
      const int64_t n = 1000, ny = 2;
      for (int mask : {0, 1, 3, 2, 15, 12, 5}) {  // the derivatives asked for; none: no dorder, the value
        std::vector<int64_t> dorder;
        std::vector<int> ders;
        for (int j = 0; mask >> j; ++j) dorder.push_back(mask >> j & 1);
        for (int j = 0; j < 4; ++j)
          if (mask ? mask >> j & 1 : j == 0) ders.push_back(j);
        const int64_t k = static_cast<int64_t>(ders.size());
        for (int64_t rHint : {0x0, 0x10, 0x20, 0x80, 0x100, 0x200}) {
          SCOPED_TRACE(testing::Message() << "family " << c.family << " uniform " << uni << " ders " << k
                                          << " rHint " << rHint);
          std::vector<T> r(n * ny * k + 1, T(-999));
          ASSERT_EQ(interp(sp, DF_INTERP, s, 0, dorder, r, rHint), 0);
          EXPECT_EQ(r[n * ny * k], T(-999));
          for (int64_t f = 0; f < ny; ++f)
            for (int64_t i = 0; i < n; ++i)
              for (int64_t j = 0; j < k; ++j) {
                const int64_t at = rHint == 0x20 ? (i * ny + f) * k + j : rHint == 0x100 ? (f * k + j) * n + i
                                   : rHint == 0x200 ? (i * k + j) * ny + f : f * n * k + i * k + j;
                const LD want = eval(sp, c.order(), f, s[i], ders[j]);
                ASSERT_LE(std::fabs(r[at] - want), tol * (1 + std::fabs(want))) << f << " " << i << " " << j;
              }
        }
      }
    }
}

TEST(FittingInterpolate, DoubleEveryKindLayoutAndDerivatives) { every_layout<double>(); }
TEST(FittingInterpolate, SingleEveryKindLayoutAndDerivatives) { every_layout<float>(); }

// Cells given back in another order (the search kinds run through interpolation in
// test_search.cpp): each site is evaluated on the piece of its given cell.
TEST(FittingInterpolate, GivenCellsOnThreads) {
  const Spline<double> sp(kEvalKinds[0], partition<double>(1000, 21), false, kWave);
  const std::vector<double> s = sites(sp.x, 20000, 9);
  const int64_t n = 20000;
  for (int threads : {1, 2, 7})
    for (int32_t width : {0, 1}) {
      g_threads = threads, g_runs = 0;
      sp.t->indexWidth = width;
      std::vector<double> r(n);
      std::vector<int64_t> c64(n);
      std::vector<int32_t> c32(n);
      for (int64_t i = 0; i < n; ++i) c32[i] = static_cast<int32_t>(c64[i] = scan_cell(sp.x, s[n - 1 - i]));
      ASSERT_EQ(interp(sp, DF_INTERP_USER_CELL, s, 0, {1}, r, 0, width ? static_cast<void *>(c64.data()) : c32.data()), 0);
      EXPECT_TRUE(threads == 1 || g_runs > 0);
      for (int64_t i = 0; i < n; ++i)
        ASSERT_NEAR(r[i], eval(sp, 4, 0, s[i], 0, std::clamp<int64_t>(c64[i] - 1, 0, 998)), 1e-13 * (1 + std::fabs(r[i])))
            << i << " threads " << threads << " width " << width;
    }
}

// Order 0 with the three callbacks: left end, right end, interior by cell. Then the statuses.
TEST(FittingInterpolate, CallbackKindAndStatuses) {
  const Spline<double> sp(kEvalKinds[0], partition<double>(30, 21), false, kWave);
  const std::vector<double> s = {1.0, 2.0}, cs = {-1, 0.5, 5, 10, 12};
  std::vector<double> r(8);
  auto side = [](int64_t *n, int64_t *cell, const double *, double *r, void *p) {
    for (int64_t i = 0; i < *n; ++i) r[i] = p ? *static_cast<double *>(p) : static_cast<double>(cell[i]);
    return 0;
  };
  double left = -1, right = 1;
  const int64_t d[1] = {1};
  sp.t->splineOrder = DF_PP_STD, sp.t->splineType = DF_PP_DEFAULT;
  ASSERT_EQ(zyn_df_kernel_dDFInterpolate1D(sp.t, DF_INTERP, 0, 5, cs.data(), 0, 1, d, nullptr, r.data(), 0, nullptr,
                                           side, &left, side, &right, side, nullptr, nullptr, nullptr, &kThreading), 0);
  EXPECT_EQ(std::vector<double>(r.begin(), r.begin() + 5),
            (std::vector<double>{-1, double(scan_cell(sp.x, 0.5)), double(scan_cell(sp.x, 5.0)), 29, 1}));
  sp.t->splineOrder = 4, sp.t->splineType = DF_PP_NATURAL;
  const double bad[5] = {0, 3, 0, 0, 0};
  int64_t cells[2] = {0, 0};
  auto with = [&](int64_t order, int64_t type) {
    sp.t->splineOrder = order, sp.t->splineType = type;
    const int st = interp(sp, DF_INTERP, s, 0, {1}, r, 0);
    sp.t->splineOrder = 4, sp.t->splineType = DF_PP_NATURAL;
    return st;
  };
  for (auto [order, type] : {std::pair{3, 2}, {4, 1}, {4, 6}, {1, 0}, {-4, 0}, {0, 0}})  // (0, 0) without callbacks
    EXPECT_EQ(with(order, type), DF_ERROR_BAD_SPLINE_TYPE) << order << " " << type;
  EXPECT_EQ(with(4, 9), 0);
  EXPECT_EQ(interp(sp, DF_INTERP, s, 0, {1}, r, 0x40), DF_ERROR_BAD_RHINT);
  EXPECT_EQ(interp(sp, DF_INTERP, s, 0, {1}, r, 0, nullptr, bad), DF_ERROR_BAD_DATA_HINT);
  EXPECT_EQ(interp(sp, DF_INTERP_USER_CELL, s, 0, {1}, r, 0, cells, bad), 0);  // no search
  EXPECT_EQ(zyn_df_kernel_dDFInterpolate1D(nullptr, 1, 0, 1, s.data(), 0, 0, nullptr, nullptr, r.data(), 0, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr), DF_ERROR_NULL_TASK_DESCRIPTOR);
  r[0] = -1;  // a single site takes no rHint check
  ASSERT_EQ(interp(sp, DF_INTERP, s, 0, {1}, r, 0x40, nullptr, nullptr, 1), 0);
  EXPECT_NEAR(r[0], static_cast<double>(eval(sp, 4, 0, 1.0, 0)), 1e-13);
}

}  // namespace
