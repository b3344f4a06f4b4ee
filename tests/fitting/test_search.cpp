// Cell search: every kind against a linear scan, in all four forms, on 1, 2 and 4 threads.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <type_traits>

#include "support.hpp"

namespace {

using dftest::kThreading;
using dftest::partition;
using dftest::scan_cell;

template <class T>
struct Ops;
template <>
struct Ops<double> {
  static constexpr auto newTask = zyn_df_kernel_dNewTask1D;
  static constexpr auto search = zyn_df_kernel_dDFSearch1D;
};
template <>
struct Ops<float> {
  static constexpr auto newTask = zyn_df_kernel_sNewTask1D;
  static constexpr auto search = zyn_df_kernel_sDFSearch1D;
};

// A callback that solves half of the sites itself and leaves the rest to the fallback with a
// start cell that is off by a few, in both directions.
template <class T>
int half_callback(int64_t *n, const T *site, int64_t *cell, int32_t *flag, void *params, void *) {
  const auto *x = static_cast<const std::vector<T> *>(params);
  for (int64_t i = 0; i < *n; ++i) {
    const int64_t c = dftest::bsearch_cell(*x, site[i]);
    flag[i] = i % 2;
    cell[i] = flag[i] ? c : c + (i % 3) - 1 - (i % 5 == 0 ? 7 : 0);
  }
  return 0;
}
template <class T>
int all_final_callback(int64_t *n, const T *site, int64_t *cell, int32_t *, void *params, void *) {
  const auto *x = static_cast<const std::vector<T> *>(params);
  for (int64_t i = 0; i < *n; ++i) cell[i] = dftest::bsearch_cell(*x, site[i]);
  return DF_SEARCH_CALLBACK_ALL_FINAL;
}
template <class T>
int failing_callback(int64_t *n, const T *, int64_t *cell, int32_t *flag, void *params, void *) {
  int *calls = static_cast<int *>(params);
  for (int64_t i = 0; i < *n; ++i) cell[i] = 0, flag[i] = 1;
  return ++*calls == 2 ? -77 : 0;
}

// The fallback of UserDef keeps cell c for a site equal to x[c] when the start is c.
template <class T>
int64_t userdef_expected(const std::vector<T> &x, T s, int64_t start) {
  const int64_t c = scan_cell(x, s), nx = static_cast<int64_t>(x.size());
  if (start < 0) start = 0;
  if (start < nx && c == start + 1 && s == x[start] && s != x[nx - 1]) return start;
  return c;
}

template <class T>
void run_driver(const std::vector<T> &x, int64_t xHint, const std::vector<T> &site,
                int64_t siteHint, std::type_identity_t<const T *> dataHint, int32_t width, std::vector<int64_t> &out,
                int threads, DfdSearchCallback dcb = nullptr, DfsSearchCallback scb = nullptr,
                void *params = nullptr, int expectStatus = 0) {
  const int64_t nx = static_cast<int64_t>(x.size());
  std::vector<T> ends = {x.front(), x.back()};
  DfTask *t = nullptr;
  ASSERT_EQ(Ops<T>::newTask(&t, nx, xHint == DF_PARTITION_UNIFORM ? ends.data() : x.data(), xHint,
                            0, nullptr, 0, width), 0);
  t->nx = nx;
  dftest::g_threads = threads;
  const int64_t n = static_cast<int64_t>(site.size());
  std::vector<int64_t> wide(n + 1, -5);
  std::vector<int32_t> narrow(n + 1, -5);
  void *cell = width ? static_cast<void *>(wide.data()) : static_cast<void *>(narrow.data());
  int st;
  if constexpr (sizeof(T) == 8)
    st = Ops<T>::search(t, 0, n, site.data(), siteHint, dataHint, cell, dcb, params, &kThreading);
  else
    st = Ops<T>::search(t, 0, n, site.data(), siteHint, dataHint, cell, scb, params, &kThreading);
  EXPECT_EQ(st, expectStatus);
  EXPECT_EQ(width ? wide[n] : narrow[n], -5);  // nothing past the end
  out.resize(n);
  for (int64_t i = 0; i < n; ++i) out[i] = width ? wide[i] : narrow[i];
  zyn_df_kernel_DeleteTask(&t);
}

template <class T>
void driver_matches_scan() {
  for (int64_t nx : {2, 5, 9, 40, 700, 5000}) {
    std::vector<T> x = partition<T>(nx, static_cast<uint32_t>(nx));
    std::vector<T> xu = dftest::grid<T>(nx, 0, true);
    for (int64_t n : {int64_t(0), int64_t(7), int64_t(31), int64_t(32), int64_t(400), int64_t(700), int64_t(5000)}) {
      std::vector<T> s = dftest::sites(x, n, static_cast<uint32_t>(n + nx)), sorted = s;
      std::sort(sorted.begin(), sorted.end());
      std::vector<T> su = dftest::sites(xu, n, 3);
      dftest::off_grid(su, xu);
      std::vector<int64_t> ref_s, ref_sorted, ref_su;  // the linear scan, once per site set
      for (int64_t i = 0; i < n; ++i) {
        ref_s.push_back(scan_cell(x, s[i]));
        ref_sorted.push_back(scan_cell(x, sorted[i]));
        ref_su.push_back(scan_cell(xu, su[i]));
      }
      T peak[5] = {0, DF_DATA_HINT_PEAK, 0, 0, static_cast<T>(nx / 3)};
      T peakEnd[5] = {0, DF_DATA_HINT_PEAK, 0, 0, static_cast<T>(nx)};
      for (int threads : {1, 2, 4}) {
        for (int32_t width : {0, 1}) {
          SCOPED_TRACE(testing::Message() << "nx " << nx << " n " << n << " threads " << threads
                                          << " width " << width);
          std::vector<int64_t> c;
          auto expect = [&](const std::vector<int64_t> &want, const char *kind) {
            for (size_t i = 0; i < want.size(); ++i) ASSERT_EQ(c[i], want[i]) << kind << " i " << i;
          };
          run_driver(x, DF_PARTITION_NON_UNIFORM, s, 0, nullptr, width, c, threads);
          expect(ref_s, "Hybrid");
          run_driver(x, DF_PARTITION_QUASI_UNIFORM, s, 0, nullptr, width, c, threads);
          expect(ref_s, "QuasiUniform");
          run_driver(x, DF_PARTITION_NO_HINT, sorted, DF_SORTED_DATA, nullptr, width, c, threads);
          expect(ref_sorted, "Sorted");
          run_driver(x, 0, s, 0, peak, width, c, threads);
          expect(ref_s, "Peak");
          run_driver(x, 0, s, 0, peakEnd, width, c, threads);
          expect(ref_s, "Peak at nx");
          run_driver(xu, DF_PARTITION_UNIFORM, su, 0, nullptr, width, c, threads);
          expect(ref_su, "Uniform");
          if constexpr (sizeof(T) == 8) {
            run_driver(x, 0, s, 0, nullptr, width, c, threads, half_callback<T>, nullptr, &x);
            for (size_t i = 0; i < s.size(); ++i) {
              const size_t b = i % DF_SEARCH_BLOCK;  // the callback sees block-relative indices
              const int64_t start = ref_s[i] + int64_t(b % 3) - 1 - (b % 5 == 0 ? 7 : 0);
              ASSERT_EQ(c[i], b % 2 ? ref_s[i] : userdef_expected(x, s[i], start)) << i;
            }
            run_driver(x, 0, s, 0, nullptr, width, c, threads, all_final_callback<T>, nullptr, &x);
            expect(ref_s, "UserDef final");
            run_driver(xu, DF_PARTITION_UNIFORM, su, 0, nullptr, width, c, threads, half_callback<T>, nullptr, &xu);
            expect(ref_su, "UniUserDef");
          } else {
            run_driver(x, 0, s, 0, nullptr, width, c, threads, nullptr, all_final_callback<T>, &x);
            expect(ref_s, "UserDef final");
          }
        }
      }
    }
  }
}

TEST(FittingSearch, DriverMatchesScanDouble) { driver_matches_scan<double>(); }
TEST(FittingSearch, DriverMatchesScanFloat) { driver_matches_scan<float>(); }

TEST(FittingSearch, ThreadRules) {
  std::vector<double> x = partition<double>(2000, 1);
  std::vector<double> s = dftest::sites(x, 700, 2);
  std::vector<int64_t> c;
  dftest::g_runs = 0;
  run_driver(x, 0, s, 0, nullptr, 1, c, 8);
  EXPECT_EQ(dftest::g_runs, 0);  // Hybrid at 700 sites stays on one thread with 8
  run_driver(x, 0, s, 0, nullptr, 1, c, 4);
  EXPECT_EQ(dftest::g_runs, 1);  // and goes parallel with 4
  dftest::g_runs = 0;
  run_driver(x, 0, s, 0, nullptr, 1, c, 2, half_callback<double>, nullptr, &x);
  EXPECT_EQ(dftest::g_runs, 0);  // user-defined kinds never run threads
}

TEST(FittingSearch, ChoicesAndStatuses) {
  std::vector<double> x = partition<double>(50, 1), s = {1.0, 2.0};
  std::vector<int64_t> c;
  double bad[5] = {0, 2.0, 0, 0, 0}, far[5] = {0, 1.0, 0, 0, 51}, neg[5] = {0, 1.0, 0, 0, -1};
  run_driver(x, 0, s, 0, bad, 1, c, 1, nullptr, nullptr, nullptr, DF_ERROR_BAD_DATA_HINT);
  run_driver(x, 0, s, 0, far, 1, c, 1, nullptr, nullptr, nullptr, DF_ERROR_BAD_DATA_HINT);
  run_driver(x, 0, s, 0, neg, 1, c, 1, nullptr, nullptr, nullptr, DF_ERROR_BAD_DATA_HINT);
  // The hint is never looked at with a callback or a uniform or sorted choice.
  run_driver(x, 0, s, DF_SORTED_DATA, bad, 1, c, 1);
  run_driver(x, DF_PARTITION_UNIFORM, s, 0, bad, 1, c, 1);
  run_driver(x, 0, s, 0, bad, 1, c, 1, all_final_callback<double>, nullptr, &x);
  // A callback's negative status stops the batch; finished blocks stay written.
  std::vector<double> many = dftest::sites(x, 300, 3);
  int calls = 0;
  run_driver(x, 0, many, 0, nullptr, 1, c, 1, failing_callback<double>, nullptr, &calls, -77);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(c[0], 0);
  EXPECT_EQ(c[127], 0);
  EXPECT_EQ(c[299], -5);  // the third block never ran
}

TEST(FittingSearch, UniformSitesExpanded) {
  std::vector<double> x = partition<double>(100, 4);
  for (int64_t n : {2, 40, 5000}) {
    std::vector<double> ends = {-0.5, 10.5};
    DfTask *t = nullptr;
    ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 100, x.data(), 0, 0, nullptr, 0, 1), 0);
    std::vector<int64_t> cell(n + 1, -5);
    ASSERT_EQ(zyn_df_kernel_dDFSearch1D(t, 0, n, ends.data(), DF_UNIFORM_PARTITION_SITES, nullptr,
                                        cell.data(), nullptr, nullptr, &zyn_serv_df_threading), 0);
    const double h = (ends[1] - ends[0]) / static_cast<double>(n - 1);
    for (int64_t i = 0; i < n; ++i)
      ASSERT_EQ(cell[i], scan_cell(x, static_cast<double>(i) * h + ends[0])) << i;
    EXPECT_EQ(cell[n], -5);  // nothing past the end
    zyn_df_kernel_DeleteTask(&t);
  }
}

// The exported kernels in their four forms, with the arguments each kind reads.
template <class T, class K32, class K64, class KPack, class KGen>
void forms(K32 k32, K64 k64, KPack kp, KGen kg, const std::vector<T> &x, const std::vector<T> &s,
           T value, const int64_t *table, bool sorted, const char *kind) {
  SCOPED_TRACE(kind);
  const int64_t nx = static_cast<int64_t>(x.size()), n = static_cast<int64_t>(s.size());
  std::vector<int32_t> c32(n + 1, -5), cg32(n + 1, -5);
  std::vector<int64_t> c64(n + 1, -5), cp(n + 1, -5), cg64(n + 1, -5);
  int32_t p32 = 0, pg32 = 0;
  int64_t p64 = 0, pp = 0, pg64 = 0;
  EXPECT_EQ(k32(nx, x.data(), n, s.data(), &p32, value, nullptr, nullptr, table, c32.data(), 0), 0);
  EXPECT_EQ(k64(nx, x.data(), n, s.data(), &p64, value, nullptr, nullptr, table, c64.data(), 0), 0);
  EXPECT_EQ(kp(nx, x.data(), n, s.data(), &pp, value, nullptr, nullptr, table, cp.data(), 0), 0);
  EXPECT_EQ(kg(nx, x.data(), n, s.data(), &pg32, value, nullptr, nullptr, table, cg32.data(), DF_SEARCH_FORM_32), 0);
  EXPECT_EQ(kg(nx, x.data(), n, s.data(), &pg64, value, nullptr, nullptr, table, cg64.data(), DF_SEARCH_FORM_32 | DF_SEARCH_FORM_64), 0);
  for (int64_t i = 0; i < n; ++i) {
    const int64_t want = scan_cell(x, s[i]);
    ASSERT_TRUE(c32[i] == want && c64[i] == want && cp[i] == want && cg32[i] == want && cg64[i] == want)
        << i << ": " << c32[i] << " " << c64[i] << " " << cp[i] << " " << cg32[i] << " " << cg64[i] << " want " << want;
  }
  EXPECT_EQ(c32[n], -5);
  EXPECT_EQ(cg32[n], -5);
  if (sorted) {  // the position is stored back
    EXPECT_EQ(p32, c32[n - 1] == nx - 1 ? p32 : c32[n - 1]);
    EXPECT_EQ(p64, pg64);
  }
}
#define ZYN_FORMS(p, kind)                                                                   \
  zyn_df_kernel_##p##DF##kind##Search1D32, zyn_df_kernel_##p##DF##kind##Search1D64,          \
      zyn_df_kernel_##p##DF##kind##Search1D64Pack, zyn_df_kernel_##p##DF##kind##Search1D

TEST(FittingSearch, ExportedKernelsFourForms) {
  const int64_t nx = 3000;
  std::vector<double> x = partition<double>(nx, 9);
  std::vector<double> s = dftest::sites(x, 1000, 10), sorted = s;
  std::sort(sorted.begin(), sorted.end());
  std::vector<double> xu = dftest::grid<double>(nx, 0, true);
  std::vector<double> su = dftest::sites(xu, 1000, 11), ends = {xu[0], xu[nx - 1]};
  dftest::off_grid(su, xu);
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, nx, x.data(), 0, 0, nullptr, 0, 1), 0);
  const double inv = (nx - 1) / (x[nx - 1] - x[0]);
  forms(ZYN_FORMS(d, Hybrid), x, s, t->cellScale.d, t->cellTable, false, "Hybrid");
  forms(ZYN_FORMS(d, QuasiUniform), x, s, inv, nullptr, false, "QuasiUniform");
  forms(ZYN_FORMS(d, Sorted), x, sorted, 0.0, nullptr, true, "Sorted");
  forms(ZYN_FORMS(d, Peak), x, s, 1234.0, nullptr, false, "Peak");
  // Uniform reads the two ends only; user-defined kernels: 1000 becomes 0, the flag block is
  // used, aux passed on.
  const double invu = (nx - 1) / (xu[nx - 1] - xu[0]);
  std::vector<int64_t> c(1000);
  std::vector<int32_t> c32(1000);
  int64_t p = 0;
  int32_t p32 = 0, flags[DF_SEARCH_BLOCK];
  zyn_df_kernel_dDFUniformSearch1D64(nx, ends.data(), 1000, su.data(), &p, invu, nullptr, nullptr,
                                     nullptr, c.data(), 0);
  zyn_df_kernel_dDFUniformSearch1D(nx, ends.data(), 1000, su.data(), &p32, invu, nullptr, nullptr,
                                   nullptr, c32.data(), DF_SEARCH_FORM_32);
  for (size_t i = 0; i < su.size(); ++i) ASSERT_TRUE(c[i] == scan_cell(xu, su[i]) && c32[i] == c[i]) << i;
  EXPECT_EQ(zyn_df_kernel_dDFUniUserDefSearch1D32(nx, ends.data(), 1000, su.data(), &p32, invu,
                                                  nullptr, nullptr, nullptr, c32.data(), 0,
                                                  half_callback<double>, &xu, nullptr, nullptr), 0);
  for (size_t i = 0; i < su.size(); ++i) ASSERT_EQ(c32[i], scan_cell(xu, su[i]));
  EXPECT_EQ(zyn_df_kernel_dDFUserDefSearch1D64(nx, x.data(), 1000, s.data(), &p, 0.0, nullptr,
                                               nullptr, nullptr, c.data(), 0,
                                               all_final_callback<double>, &x, nullptr, flags), 0);
  for (size_t i = 0; i < s.size(); ++i) ASSERT_EQ(c[i], scan_cell(x, s[i]));
  std::vector<float> xf = partition<float>(nx, 9), sf = dftest::sites(xf, 1000, 12);
  DfTask *tf = nullptr;
  ASSERT_EQ(zyn_df_kernel_sNewTask1D(&tf, nx, xf.data(), 0, 0, nullptr, 0, 0), 0);
  forms(ZYN_FORMS(s, Hybrid), xf, sf, tf->cellScale.s, tf->cellTable, false, "Hybrid float");
  forms(ZYN_FORMS(s, Peak), xf, sf, 0.0f, nullptr, false, "Peak float");
  zyn_df_kernel_DeleteTask(&tf);
  zyn_df_kernel_DeleteTask(&t);
}
#undef ZYN_FORMS

TEST(FittingSearch, SortedKeepsPositionOnUnsortedSites) {
  std::vector<double> x = {0, 1, 2, 3, 4, 5};
  std::vector<double> s = {2.5, 0.5, 4.5, 5.0, 1.5, 9.0, 0.0};
  std::vector<int64_t> c(s.size());
  int64_t p = 0;
  zyn_df_kernel_dDFSortedSearch1D64(6, x.data(), 7, s.data(), &p, 0.0, nullptr, nullptr, nullptr,
                                    c.data(), 0);
  // A smaller site keeps its predecessor's cell; the last breakpoint leaves the position alone.
  EXPECT_EQ(c, (std::vector<int64_t>{3, 3, 5, 5, 5, 6, 6}));
  EXPECT_EQ(p, 6);
}

TEST(FittingSearch, TaskWithoutTable) {
  // Made uniform, then edited to non-uniform without the rebuild: no table to read.
  std::vector<double> x = partition<double>(3000, 6), s = dftest::sites(x, 2000, 7);
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 3000, x.data(), DF_PARTITION_UNIFORM, 0, nullptr, 0, 1), 0);
  ASSERT_EQ(zyn_df_kernel_iEditVal(t, DF_EDIT_X_HINT, DF_PARTITION_NO_HINT), 0);
  std::vector<int64_t> c(s.size());
  ASSERT_EQ(zyn_df_kernel_dDFSearch1D(t, 0, 2000, s.data(), 0, nullptr, c.data(), nullptr, nullptr,
                                      &kThreading), 0);
  for (size_t i = 0; i < s.size(); ++i) ASSERT_EQ(c[i], dftest::bsearch_cell(x, s[i])) << i;
  zyn_df_kernel_DeleteTask(&t);
}

TEST(FittingSearch, NotANumberSites) {
  std::vector<double> x = partition<double>(100, 5);
  const double nan = std::nan("");
  std::vector<double> s(40, nan);
  std::vector<int64_t> c;
  run_driver(x, 0, s, 0, nullptr, 1, c, 1);
  for (auto v : c) EXPECT_EQ(v, 0);
  std::vector<double> xu = {0, 10}, ends = {3.0, 3.0};
  DfTask *t = nullptr;
  ASSERT_EQ(zyn_df_kernel_dNewTask1D(&t, 11, xu.data(), DF_PARTITION_UNIFORM, 0, nullptr, 0, 1), 0);
  int64_t cell = -1;
  ASSERT_EQ(zyn_df_kernel_dDFSearch1D(t, 0, 1, ends.data(), DF_UNIFORM_PARTITION_SITES, nullptr,
                                      &cell, nullptr, nullptr, &kThreading), 0);
  EXPECT_EQ(cell, 0);  // one uniform site: 0/0 step, a not-a-number site
  zyn_df_kernel_DeleteTask(&t);
}

}  // namespace
