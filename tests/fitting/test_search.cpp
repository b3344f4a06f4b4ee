// Every search kind against a linear scan: through the driver at both cell widths on 1, 2 and 7
// threads, and through the exported kernels in their four forms. Then the statuses.
#include <cmath>
#include <tuple>

#include "support.hpp"

namespace {

using namespace dftest;

// Solves every other site and leaves the rest to the fallback, starting a few cells off.
template <class T>
int half_callback(int64_t *n, const T *site, int64_t *cell, int32_t *flag, void *params, void *) {
  for (int64_t i = 0; i < *n; ++i) {
    flag[i] = i % 2;
    cell[i] = scan_cell(*static_cast<const std::vector<T> *>(params), site[i]) +
              (flag[i] ? 0 : i % 3 - 1 - (i % 5 == 0 ? 7 : 0));
  }
  return 0;
}
template <class T>
int final_callback(int64_t *n, const T *site, int64_t *cell, int32_t *, void *params, void *) {
  for (int64_t i = 0; i < *n; ++i) cell[i] = scan_cell(*static_cast<const std::vector<T> *>(params), site[i]);
  return DF_SEARCH_CALLBACK_ALL_FINAL;
}
// The UserDef fallback from half_callback's start: a site equal to x[start] keeps `start`.
template <class T>
int64_t userdef_cell(const std::vector<T> &x, T s, int64_t i) {
  const int64_t b = i % DF_SEARCH_BLOCK, c = scan_cell(x, s), nx = static_cast<int64_t>(x.size());
  const int64_t start = std::max<int64_t>(0, c + b % 3 - 1 - (b % 5 == 0 ? 7 : 0));
  return b % 2 == 0 && start < nx && c == start + 1 && s == x[start] && s != x[nx - 1] ? start : c;
}

// A way to a kind through the driver. `history` 1: made over other breakpoints, then given these
// with hint 1 (the table is rebuilt); 2: made uniform, then hint 0 (no table to read).
struct Kind {
  const char *name;
  int64_t xHint, siteHint;
  int peak;      // data hint: 0 none, 1 the peak at nx / 3, 2 at nx
  int callback;  // 0 none, 1 half_callback, 2 final_callback; never run concurrently
  int history;
};
const Kind kKinds[] = {
    {"Hybrid", DF_PARTITION_NON_UNIFORM, 0, 0, 0, 0},     {"QuasiUniform", DF_PARTITION_QUASI_UNIFORM, 0, 0, 0, 0},
    {"Sorted", 0, DF_SORTED_DATA, 0, 0, 0},                {"Peak", 0, 0, 1, 0, 0},
    {"Peak at nx", 0, 0, 2, 0, 0},                         {"Uniform", DF_PARTITION_UNIFORM, 0, 0, 0, 0},
    {"Hybrid on uniform sites", 1, DF_UNIFORM_PARTITION_SITES, 0, 0, 0},
    {"Hybrid rebuilt", DF_PARTITION_NON_UNIFORM, 0, 0, 0, 1}, {"Hybrid without table", 0, 0, 0, 0, 2},
    {"UserDef", 0, 0, 0, 1, 0},                            {"UserDef all final", 0, 0, 0, 2, 0},
    {"UniUserDef", DF_PARTITION_UNIFORM, 0, 0, 1, 0}};

// A task for the kind over x (or over `ends` for a uniform partition) with the linear spline of
// y in `coeff`.
template <class T>
DfTask *task_for(const Kind &k, const std::vector<T> &x, const std::vector<T> &ends, const std::vector<T> &y,
                 std::vector<T> &coeff, int32_t width) {
  const int64_t nx = static_cast<int64_t>(x.size());
  const std::vector<T> other = partition<T>(nx / 2 + 3, 99);
  DfTask *t = nullptr;
  if (k.history == 1) {
    EXPECT_EQ(Ops<T>::newTask(&t, nx / 2 + 3, other.data(), 1, 1, y.data(), 0, width), 0);
    EXPECT_TRUE(!Ops<T>::editPtr(t, DF_PTR_X, x.data()) && !zyn_df_kernel_iEditVal(t, DF_EDIT_NX, nx));
  } else {
    const bool uni = k.history == 2 || k.xHint == DF_PARTITION_UNIFORM;
    EXPECT_EQ(Ops<T>::newTask(&t, nx, k.history != 2 && uni ? ends.data() : x.data(),
                              uni ? int64_t(DF_PARTITION_UNIFORM) : k.xHint, 1, y.data(), 0, width), 0);
  }
  EXPECT_EQ(k.history ? zyn_df_kernel_iEditVal(t, DF_EDIT_X_HINT, k.xHint) : 0, 0);
  EXPECT_EQ(Ops<T>::editPP(t, 2, 0, 0, nullptr, 0, nullptr, coeff.data(), 0) | Ops<T>::linear(t, 0, 0, nullptr), 0);
  return t;
}

// The cells of the scan, through the search driver and through interpolation (with the values of
// the linear spline on the pieces of those cells).
template <class T>
void kinds_match_scan() {
  for (int64_t nx : {2, 5, 9, 40, 700, 5000})
    for (int64_t n : {0, 31, 32, 700, 5000})
      for (const Kind &k : kKinds) {
        const bool uni = k.xHint == DF_PARTITION_UNIFORM;
        const std::vector<T> x = uni ? uniform<T>(nx, 0, 10) : partition<T>(nx, static_cast<uint32_t>(nx));
        const std::vector<T> ends = {x.front(), x.back()};
        std::vector<T> s = sites(x, n, static_cast<uint32_t>(n + nx), uni), given = s, y(nx), coeff(2 * nx);
        for (int64_t i = 0; i < nx; ++i) y[i] = static_cast<T>(std::sin(x[i]));
        if (k.siteHint == DF_SORTED_DATA) std::sort(s.begin(), s.end()), given = s;
        for (int64_t i = 0; k.siteHint == DF_UNIFORM_PARTITION_SITES && i < n; ++i)  // the sites from their ends
          given = {T(-0.5), T(10.5)}, s[i] = static_cast<T>(i) * (T(11) / static_cast<T>(n - 1)) + given[0];
        std::vector<int64_t> want(n + 1, -5);  // and nothing past the end
        for (int64_t i = 0; i < n; ++i) want[i] = k.callback == 1 && !uni ? userdef_cell(x, s[i], i) : scan_cell(x, s[i]);
        const T peak[5] = {0, DF_DATA_HINT_PEAK, 0, 0, static_cast<T>(k.peak == 1 ? nx / 3 : nx)};
        auto *cb = k.callback == 1 ? half_callback<T> : k.callback == 2 ? final_callback<T> : nullptr;
        void *xp = const_cast<std::vector<T> *>(&x);
        for (int threads : {1, 2, 7})
          for (int32_t width : {0, 1})
            for (bool interpolate : {false, true}) {
              SCOPED_TRACE(testing::Message() << k.name << " nx " << nx << " n " << n << " threads " << threads
                                              << " width " << width << " interpolate " << interpolate);
              DfTask *t = task_for(k, x, ends, y, coeff, width);
              std::vector<int64_t> wide(n + 1, -5);
              std::vector<int32_t> narrow(n + 1, -5);
              std::vector<T> r(n);
              void *cell = width ? static_cast<void *>(wide.data()) : narrow.data();
              g_threads = threads, g_runs = 0;
              ASSERT_EQ(interpolate ? Ops<T>::interpolate(t, DF_INTERP | DF_CELL, 0, n, given.data(), k.siteHint, 0, nullptr,
                                                          k.peak ? peak : nullptr, r.data(), 0, cell, nullptr, nullptr,
                                                          nullptr, nullptr, nullptr, nullptr, cb, xp, &kThreading)
                                    : Ops<T>::search(t, 0, n, given.data(), k.siteHint, k.peak ? peak : nullptr, cell,
                                                     cb, xp, &kThreading), 0);
              zyn_df_kernel_DeleteTask(&t);
              ASSERT_EQ(width ? wide : std::vector<int64_t>(narrow.begin(), narrow.end()), want);
              EXPECT_TRUE(threads == 1 || nx < 5000 || n < 5000 || (g_runs > 0) == !k.callback);
              for (int64_t i = 0; interpolate && i < n; ++i) {
                const int64_t p = std::clamp<int64_t>(want[i] - 1, 0, nx - 2);
                ASSERT_EQ(r[i], coeff[2 * p + 1] * (s[i] - x[p]) + coeff[2 * p]) << i;
              }
            }
      }
}

TEST(FittingSearch, KindsMatchScanOnThreadsDouble) { kinds_match_scan<double>(); }
TEST(FittingSearch, KindsMatchScanOnThreadsSingle) { kinds_match_scan<float>(); }

// The exported kernels: every kind in the general form, and the 32, 64 and 64Pack forms (one
// macro makes them for every kind) of Hybrid.
#define ZYN_KERNELS(P, T)                                                                                         \
  auto kernels(T) {                                                                                               \
    return std::tuple{&zyn_df_kernel_##P##DFHybridSearch1D, &zyn_df_kernel_##P##DFQuasiUniformSearch1D,           \
                      &zyn_df_kernel_##P##DFSortedSearch1D, &zyn_df_kernel_##P##DFPeakSearch1D,                     \
                      &zyn_df_kernel_##P##DFUniformSearch1D, &zyn_df_kernel_##P##DFUserDefSearch1D,                 \
                      &zyn_df_kernel_##P##DFUniUserDefSearch1D, &zyn_df_kernel_##P##DFHybridSearch1D32,             \
                      &zyn_df_kernel_##P##DFHybridSearch1D64, &zyn_df_kernel_##P##DFHybridSearch1D64Pack};          \
  }
ZYN_KERNELS(d, double)
ZYN_KERNELS(s, float)
#undef ZYN_KERNELS

// Kernel k over the breakpoints xk (the ends for the uniform kinds) writes the scan's cells on xo
// and nothing past them, cells of type I (void: the general form, at both widths); Sorted stores
// back the cell of its last site below the last breakpoint.
template <class I, class T, class K, class... User>
void expect_kernel(const char *kind, K k, const std::vector<T> &xk, const std::vector<T> &xo, const std::vector<T> &s,
                   T value, const int64_t *table, User... user) {
  std::vector<int64_t> want;
  int64_t last = 0;
  for (T v : s) want.push_back(scan_cell(xo, v)), last = v != xo.back() ? want.back() : last;
  want.push_back(-5), want.push_back(std::string(kind) == "Sorted" ? last : 0);
  auto run = [&](auto cell, int flags) {
    std::vector<decltype(cell)> c(s.size() + 1, -5);
    decltype(cell) pos = 0;
    EXPECT_EQ(k(int64_t(xo.size()), xk.data(), int64_t(s.size()), s.data(), &pos, value, nullptr, nullptr, table,
                c.data(), flags, user...), 0);
    std::vector<int64_t> got(c.begin(), c.end());
    got.push_back(pos);
    EXPECT_EQ(got, want) << kind << " form " << flags << " " << sizeof(cell);
  };
  if constexpr (std::is_void_v<I>) run(int32_t(), DF_SEARCH_FORM_32), run(int64_t(), DF_SEARCH_FORM_32 | DF_SEARCH_FORM_64);
  else run(I(), 0);
}

template <class T>
void exported_kernels() {
  const int64_t nx = 3000;
  const std::vector<T> x = partition<T>(nx, 9), xu = uniform<T>(nx, 0, 10), ends = {xu[0], xu[nx - 1]};
  std::vector<T> s = sites(x, 1000, 10), sorted = s, su = sites(xu, 1000, 11, true);
  std::sort(sorted.begin(), sorted.end());
  DfTask *t = nullptr;
  ASSERT_EQ(Ops<T>::newTask(&t, nx, x.data(), DF_PARTITION_NON_UNIFORM, 0, nullptr, 0, 1), 0);
  const T scale = sizeof(T) == 8 ? static_cast<T>(t->cellScale.d) : static_cast<T>(t->cellScale.s);
  const T inv = static_cast<T>(nx - 1) / T(10);
  void *xp = const_cast<std::vector<T> *>(&x), *xup = const_cast<std::vector<T> *>(&xu), *none = nullptr;
  int32_t flags[DF_SEARCH_BLOCK], *local = nullptr;
  const auto [hybrid, quasi, sorted_, peak, uniform_, user, uni_user, h32, h64, hpack] = kernels(T());
  expect_kernel<void>("Hybrid", hybrid, x, x, s, scale, t->cellTable);
  expect_kernel<int32_t>("Hybrid", h32, x, x, s, scale, t->cellTable);
  expect_kernel<int64_t>("Hybrid", h64, x, x, s, scale, t->cellTable);
  expect_kernel<int64_t>("Hybrid", hpack, x, x, s, scale, t->cellTable);
  expect_kernel<void>("QuasiUniform", quasi, x, x, s, inv, nullptr);
  expect_kernel<void>("Sorted", sorted_, x, x, sorted, T(0), nullptr);
  expect_kernel<void>("Peak", peak, x, x, s, T(1234), nullptr);
  expect_kernel<void>("Uniform", uniform_, ends, xu, su, inv, nullptr);
  expect_kernel<void>("UserDef", user, x, x, s, T(0), nullptr, final_callback<T>, xp, none, flags);
  expect_kernel<void>("UniUserDef", uni_user, ends, xu, su, inv, nullptr, half_callback<T>, xup, none, local);
  zyn_df_kernel_DeleteTask(&t);
}

TEST(FittingSearch, ExportedKernels) {
  exported_kernels<double>();
  exported_kernels<float>();
}

int failing_callback(int64_t *n, const double *, int64_t *cell, int32_t *flag, void *params, void *) {
  for (int64_t i = 0; i < *n; ++i) cell[i] = 0, flag[i] = 1;
  return ++*static_cast<int *>(params) == 2 ? -77 : 0;
}

TEST(FittingSearch, StatusesAndOddSites) {
  const std::vector<double> x = partition<double>(50, 1), s = sites(x, 300, 3), nan(40, std::nan("")), one = {3, 3};
  const double bad[5] = {0, 2, 0, 0, 0}, far[5] = {0, 1, 0, 0, 51}, neg[5] = {0, 1, 0, 0, -1};
  std::vector<int64_t> c(301, -5);
  int calls = 0;
  auto search = [&](int64_t xHint, int64_t siteHint, const double *hint, DfdSearchCallback cb = nullptr,
                    void *params = nullptr, const std::vector<double> &at = {}, int64_t n = 300) {
    DfTask *t = nullptr;
    EXPECT_EQ(zyn_df_kernel_dNewTask1D(&t, 50, x.data(), xHint, 0, nullptr, 0, 1), 0);
    const int st = zyn_df_kernel_dDFSearch1D(t, 0, n, at.empty() ? s.data() : at.data(), siteHint, hint, c.data(),
                                             cb, params, nullptr);
    zyn_df_kernel_DeleteTask(&t);
    return st;
  };
  for (const double *hint : {bad, far, neg}) EXPECT_EQ(search(0, 0, hint), DF_ERROR_BAD_DATA_HINT);
  // The hint is not looked at with a sorted or uniform choice or a callback.
  EXPECT_EQ(search(0, DF_SORTED_DATA, bad) | search(DF_PARTITION_UNIFORM, 0, bad), 0);
  EXPECT_EQ(search(0, 0, bad, final_callback<double>, const_cast<std::vector<double> *>(&x)), 0);
  EXPECT_EQ(zyn_df_kernel_dDFSearch1D(nullptr, 0, 1, x.data(), 0, nullptr, c.data(), nullptr, nullptr, nullptr),
            DF_ERROR_NULL_TASK_DESCRIPTOR);
  // A callback's negative status stops the batch; finished blocks stay written.
  c.assign(301, -5);
  EXPECT_EQ(search(0, 0, nullptr, failing_callback, &calls), -77);
  EXPECT_TRUE(calls == 2 && c[0] == 0 && c[127] == 0 && c[299] == -5);
  // Not-a-number sites fall in cell 0, so does one uniform site (a 0/0 step).
  c.assign(301, -5);
  EXPECT_EQ(search(0, 0, nullptr, nullptr, nullptr, nan, 40) | search(0, DF_UNIFORM_PARTITION_SITES, nullptr, nullptr, nullptr, one, 1), 0);
  EXPECT_EQ(std::vector<int64_t>(c.begin(), c.begin() + 40), std::vector<int64_t>(40, 0));
  // Sorted on unsorted sites: a smaller site keeps its predecessor's cell; the last breakpoint
  // leaves the position alone.
  const double xs[] = {0, 1, 2, 3, 4, 5}, us[] = {2.5, 0.5, 4.5, 5.0, 1.5, 9.0, 0.0};
  int64_t p = 0;
  zyn_df_kernel_dDFSortedSearch1D64(6, xs, 7, us, &p, 0.0, nullptr, nullptr, nullptr, c.data(), 0);
  EXPECT_EQ(std::vector<int64_t>(c.begin(), c.begin() + 7), (std::vector<int64_t>{3, 3, 5, 5, 5, 6, 6}));
  EXPECT_EQ(p, 6);
}

}  // namespace
