// Fitting benchmarks, each beside its anchor in the same run; the ratios are printed at the end.
//   natural cubic construction, 10^6 breakpoints: GSL cspline init (and a quoted SciPy figure)
//   values at 4*10^6 random sites: GSL eval without accelerator
//   values at 4*10^6 sorted sites: GSL eval with its accelerator
//   Hybrid search of random sites, 10^6 breakpoints: std::upper_bound
//   every search kind, for the record
//   Akima, Bessel, Hyman, Hermite construction, 10^6 breakpoints: GSL akima and steffen init
//   integration over 10^6 random intervals (a quoted SciPy figure) and over 10^6 intervals of
//   about 3 cells: GSL eval_integ with its accelerator
#include <benchmark/benchmark.h>
#include <gsl/gsl_errno.h>
#include <gsl/gsl_spline.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "zyn/fitting.h"

namespace {

constexpr int64_t kNx = 1000000, kSites = 4000000, kSearchSites = 1000000;

int one_thread() { return 1; }
void serial_run(int threads, int, void *params, zyn_thread_body worker) {
  for (int k = 0; k < threads; ++k) worker(k, threads, params);
}
const ZynThreading kSerial = {serial_run, nullptr, nullptr, nullptr, one_thread};

struct Data {
  std::vector<double> x, y, slope, ends, random, sorted, nearPeak, lo, hi, lo3, hi3;
  Data() {
    std::mt19937_64 g(42);
    std::uniform_real_distribution<double> u(0.5, 1.5);
    x.resize(kNx);
    double acc = 0;
    for (int64_t i = 0; i < kNx; ++i) x[i] = acc, acc += u(g);
    for (double v : x) y.push_back(std::sin(1e-3 * v) + 0.1 * std::cos(0.37 * v));
    ends = {x.front(), x.back()};
    std::uniform_real_distribution<double> s(x.front(), x.back());
    for (int64_t i = 0; i < kSites; ++i) random.push_back(s(g));
    sorted = random;
    std::sort(sorted.begin(), sorted.end());
    // Sites crowding around the middle breakpoint, the case the peak hint is for.
    std::normal_distribution<double> near(x[kNx / 2], 30.0);
    for (int64_t i = 0; i < kSearchSites; ++i) nearPeak.push_back(near(g));
    for (double v : x) slope.push_back(1e-3 * std::cos(1e-3 * v) - 0.037 * std::sin(0.37 * v));
    // Intervals: both ends anywhere; or 3 mean steps long, inside the partition.
    std::uniform_real_distribution<double> s3(x.front(), x.back() - 3.0);
    for (int64_t i = 0; i < kSearchSites; ++i) {
      lo.push_back(s(g)), hi.push_back(s(g)), lo3.push_back(s3(g));
      hi3.push_back(lo3.back() + 3.0);
    }
  }
};
Data &data() {
  static Data d;
  return d;
}

// A task with a natural cubic spline (free ends) on the data.
struct Task {
  std::vector<double> c;
  DfTask *t = nullptr;
  Task() {
    Data &d = data();
    c.resize(4 * (kNx - 1));
    zyn_df_kernel_dNewTask1D(&t, kNx, d.x.data(), DF_PARTITION_NON_UNIFORM, 1, d.y.data(), 0, 1);
    zyn_df_kernel_dEditPPSpline1D(t, DF_PP_CUBIC, DF_PP_NATURAL, DF_BC_FREE_END, nullptr, 0, nullptr,
                                  c.data(), 0);
    zyn_df_kernel_dDFNaturalCubicSpline1D(t, 0, 0, &zyn_serv_df_threading);
  }
};
Task &task() {
  static Task t;
  return t;
}

void per_item(benchmark::State &st, int64_t items) {
  st.SetItemsProcessed(st.iterations() * items);
  // Seconds per site (shown with an SI prefix: 230n is 230 ns).
  st.counters["per_site"] = benchmark::Counter(
      static_cast<double>(items), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// ---- construction ----------------------------------------------------------------------------
void BM_Construct_zyn(benchmark::State &st) {
  Data &d = data();
  std::vector<double> c(4 * (kNx - 1));
  DfTask *t = nullptr;
  zyn_df_kernel_dNewTask1D(&t, kNx, d.x.data(), DF_PARTITION_NON_UNIFORM, 1, d.y.data(), 0, 1);
  zyn_df_kernel_dEditPPSpline1D(t, 4, DF_PP_NATURAL, DF_BC_FREE_END, nullptr, 0, nullptr, c.data(), 0);
  zyn_df_kernel_dDFNaturalCubicSpline1D(t, 0, 0, &zyn_serv_df_threading);  // warm: memory touched
  for (auto _ : st) {
    int s = zyn_df_kernel_dDFNaturalCubicSpline1D(t, 0, 0, &zyn_serv_df_threading);
    benchmark::DoNotOptimize(s);
    benchmark::ClobberMemory();
  }
  zyn_df_kernel_DeleteTask(&t);
}
BENCHMARK(BM_Construct_zyn)->Unit(benchmark::kMillisecond);

void BM_Construct_gsl(benchmark::State &st) {
  Data &d = data();
  gsl_spline *s = gsl_spline_alloc(gsl_interp_cspline, kNx);
  gsl_spline_init(s, d.x.data(), d.y.data(), kNx);  // warm: memory touched
  for (auto _ : st) {
    gsl_spline_init(s, d.x.data(), d.y.data(), kNx);
    benchmark::ClobberMemory();
  }
  gsl_spline_free(s);
}
BENCHMARK(BM_Construct_gsl)->Unit(benchmark::kMillisecond);

// ---- constructors from slopes ----------------------------------------------------------------
using Ctor = int (*)(DfTask *, int64_t, int64_t, const ZynThreading *);
void construct(benchmark::State &st, Ctor entry, int64_t type, const ZynThreading *th) {
  Data &d = data();
  std::vector<double> c(4 * (kNx - 1));
  DfTask *t = nullptr;
  zyn_df_kernel_dNewTask1D(&t, kNx, d.x.data(), DF_PARTITION_NON_UNIFORM, 1, d.y.data(), 0, 1);
  const bool hermite = type == DF_PP_HERMITE;
  zyn_df_kernel_dEditPPSpline1D(t, 4, type, DF_BC_FREE_END, nullptr, hermite ? DF_IC_1ST_DER : 0,
                                hermite ? d.slope.data() + 1 : nullptr, c.data(), 0);
  entry(t, 0, 0, th);  // warm: memory touched
  for (auto _ : st) {
    int s = entry(t, 0, 0, th);
    benchmark::DoNotOptimize(s);
    benchmark::ClobberMemory();
  }
  zyn_df_kernel_DeleteTask(&t);
}
void gsl_construct(benchmark::State &st, const gsl_interp_type *type) {
  Data &d = data();
  gsl_spline *s = gsl_spline_alloc(type, kNx);
  gsl_spline_init(s, d.x.data(), d.y.data(), kNx);
  for (auto _ : st) {
    gsl_spline_init(s, d.x.data(), d.y.data(), kNx);
    benchmark::ClobberMemory();
  }
  gsl_spline_free(s);
}
void BM_Akima_zyn(benchmark::State &st) { construct(st, zyn_df_kernel_dDFAkimaCubicSpline1D, DF_PP_AKIMA, &kSerial); }
void BM_Akima_zyn_threads(benchmark::State &st) {
  construct(st, zyn_df_kernel_dDFAkimaCubicSpline1D, DF_PP_AKIMA, &zyn_serv_df_threading);
}
void BM_Akima_gsl(benchmark::State &st) { gsl_construct(st, gsl_interp_akima); }
void BM_Bessel_zyn(benchmark::State &st) { construct(st, zyn_df_kernel_dDFBesselCubicSpline1D, DF_PP_BESSEL, &kSerial); }
void BM_Hermite_zyn(benchmark::State &st) { construct(st, zyn_df_kernel_dDFHermiteCubicSpline1D, DF_PP_HERMITE, &kSerial); }
void BM_Hyman_zyn(benchmark::State &st) { construct(st, zyn_df_kernel_dDFHymanCubicSpline1D, DF_PP_HYMAN, &kSerial); }
void BM_Steffen_gsl(benchmark::State &st) { gsl_construct(st, gsl_interp_steffen); }
BENCHMARK(BM_Akima_zyn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Akima_zyn_threads)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Akima_gsl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Bessel_zyn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Hermite_zyn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Hyman_zyn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Steffen_gsl)->Unit(benchmark::kMillisecond);

// ---- integration -------------------------------------------------------------------------------
void zyn_integrate(benchmark::State &st, const std::vector<double> &a, const std::vector<double> &b) {
  Task &tk = task();
  std::vector<double> r(a.size());
  for (auto _ : st) {
    int s = zyn_df_kernel_dDFIntegrate1D(tk.t, 0, static_cast<int64_t>(a.size()), a.data(), 0, b.data(), 0,
                                         nullptr, nullptr, r.data(), 0, nullptr, nullptr, nullptr, nullptr,
                                         nullptr, nullptr, nullptr, nullptr, &kSerial);
    benchmark::DoNotOptimize(s);
    benchmark::ClobberMemory();
  }
  per_item(st, static_cast<int64_t>(a.size()));
}
void BM_Integrate_zyn(benchmark::State &st) { zyn_integrate(st, data().lo, data().hi); }
void BM_Integrate3_zyn(benchmark::State &st) { zyn_integrate(st, data().lo3, data().hi3); }
void BM_Integrate3_gsl(benchmark::State &st) {
  Data &d = data();
  gsl_spline *s = gsl_spline_alloc(gsl_interp_cspline, kNx);
  gsl_spline_init(s, d.x.data(), d.y.data(), kNx);
  gsl_interp_accel *acc = gsl_interp_accel_alloc();
  double sum = 0;
  for (auto _ : st)
    for (size_t i = 0; i < d.lo3.size(); ++i) sum += gsl_spline_eval_integ(s, d.lo3[i], d.hi3[i], acc);
  benchmark::DoNotOptimize(sum);
  gsl_interp_accel_free(acc);
  gsl_spline_free(s);
  per_item(st, static_cast<int64_t>(d.lo3.size()));
}
BENCHMARK(BM_Integrate_zyn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Integrate3_zyn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Integrate3_gsl)->Unit(benchmark::kMillisecond);

// ---- interpolation -----------------------------------------------------------------------------
void zyn_values(benchmark::State &st, const std::vector<double> &sites, int64_t hint,
                const ZynThreading *th) {
  Task &tk = task();
  std::vector<double> r(sites.size());
  int64_t d0[1] = {1};
  for (auto _ : st) {
    int s = zyn_df_kernel_dDFInterpolate1D(tk.t, DF_INTERP, 0, static_cast<int64_t>(sites.size()),
                                           sites.data(), hint, 1, d0, nullptr, r.data(), 0, nullptr,
                                           nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                           nullptr, nullptr, th);
    benchmark::DoNotOptimize(s);
    benchmark::ClobberMemory();
  }
  per_item(st, static_cast<int64_t>(sites.size()));
}
void gsl_values(benchmark::State &st, const std::vector<double> &sites, bool accel) {
  Data &d = data();
  gsl_spline *s = gsl_spline_alloc(gsl_interp_cspline, kNx);
  gsl_spline_init(s, d.x.data(), d.y.data(), kNx);
  gsl_interp_accel *a = accel ? gsl_interp_accel_alloc() : nullptr;
  double sum = 0;
  for (auto _ : st)
    for (double v : sites) sum += gsl_spline_eval(s, v, a);
  benchmark::DoNotOptimize(sum);
  if (a) gsl_interp_accel_free(a);
  gsl_spline_free(s);
  per_item(st, static_cast<int64_t>(sites.size()));
}
void BM_ValuesRandom_zyn(benchmark::State &st) { zyn_values(st, data().random, 0, &zyn_serv_df_threading); }
void BM_ValuesRandom_zyn_1thread(benchmark::State &st) { zyn_values(st, data().random, 0, &kSerial); }
void BM_ValuesRandom_gsl(benchmark::State &st) { gsl_values(st, data().random, false); }
void BM_ValuesSorted_zyn(benchmark::State &st) {
  zyn_values(st, data().sorted, DF_SORTED_DATA, &zyn_serv_df_threading);
}
void BM_ValuesSorted_zyn_1thread(benchmark::State &st) { zyn_values(st, data().sorted, DF_SORTED_DATA, &kSerial); }
void BM_ValuesSorted_gsl(benchmark::State &st) { gsl_values(st, data().sorted, true); }
BENCHMARK(BM_ValuesRandom_zyn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ValuesRandom_zyn_1thread)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ValuesRandom_gsl)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ValuesSorted_zyn)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ValuesSorted_zyn_1thread)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ValuesSorted_gsl)->Unit(benchmark::kMillisecond);

// ---- search ------------------------------------------------------------------------------------
int userdef_bsearch(int64_t *n, const double *site, int64_t *cell, int32_t *, void *, void *) {
  const std::vector<double> &x = data().x;
  for (int64_t i = 0; i < *n; ++i)
    cell[i] = site[i] == x.back() ? kNx - 1 : std::upper_bound(x.begin(), x.end(), site[i]) - x.begin();
  return DF_SEARCH_CALLBACK_ALL_FINAL;
}
int uni_userdef_none(int64_t *n, const double *, int64_t *, int32_t *flag, void *, void *) {
  for (int64_t i = 0; i < *n; ++i) flag[i] = 0;  // every site to the uniform fallback
  return 0;
}

void search(benchmark::State &st, int64_t xHint, int64_t siteHint, const double *dataHint,
            DfdSearchCallback cb, bool sortedSites, const ZynThreading *th, bool peak = false) {
  Data &d = data();
  DfTask *t = nullptr;
  zyn_df_kernel_dNewTask1D(&t, kNx, xHint == DF_PARTITION_UNIFORM ? d.ends.data() : d.x.data(),
                           xHint, 0, nullptr, 0, 1);
  const double *s = sortedSites ? d.sorted.data() : (peak ? d.nearPeak.data() : d.random.data());
  std::vector<int64_t> cell(kSearchSites);
  std::vector<double> sortedSub;
  if (sortedSites) {  // every 4th of the sorted sites: sorted and spread over the partition
    for (int64_t i = 0; i < kSearchSites; ++i) sortedSub.push_back(d.sorted[4 * i]);
    s = sortedSub.data();
  }
  for (auto _ : st) {
    int r = zyn_df_kernel_dDFSearch1D(t, 0, kSearchSites, s, siteHint, dataHint, cell.data(), cb,
                                      nullptr, th);
    benchmark::DoNotOptimize(r);
    benchmark::ClobberMemory();
  }
  zyn_df_kernel_DeleteTask(&t);
  per_item(st, kSearchSites);
}
const double kPeak[5] = {0, DF_DATA_HINT_PEAK, 0, 0, kNx / 2};
void BM_Search_Hybrid(benchmark::State &st) { search(st, 1, 0, nullptr, nullptr, false, &kSerial); }
void BM_Search_Hybrid_threads(benchmark::State &st) { search(st, 1, 0, nullptr, nullptr, false, &zyn_serv_df_threading); }
void BM_Search_upper_bound(benchmark::State &st) {
  Data &d = data();
  std::vector<int64_t> cell(kSearchSites);
  for (auto _ : st) {
    for (int64_t i = 0; i < kSearchSites; ++i)
      cell[i] = std::upper_bound(d.x.begin(), d.x.end(), d.random[i]) - d.x.begin();
    benchmark::ClobberMemory();
  }
  per_item(st, kSearchSites);
}
void BM_Search_Uniform(benchmark::State &st) { search(st, DF_PARTITION_UNIFORM, 0, nullptr, nullptr, false, &kSerial); }
void BM_Search_QuasiUniform(benchmark::State &st) { search(st, DF_PARTITION_QUASI_UNIFORM, 0, nullptr, nullptr, false, &kSerial); }
void BM_Search_Sorted(benchmark::State &st) { search(st, 1, DF_SORTED_DATA, nullptr, nullptr, true, &kSerial); }
void BM_Search_Peak(benchmark::State &st) { search(st, 1, 0, kPeak, nullptr, false, &kSerial, true); }
void BM_Search_Hybrid_nearPeak(benchmark::State &st) { search(st, 1, 0, nullptr, nullptr, false, &kSerial, true); }
void BM_Search_UserDef(benchmark::State &st) { search(st, 1, 0, nullptr, userdef_bsearch, false, &kSerial); }
void BM_Search_UniUserDef(benchmark::State &st) { search(st, DF_PARTITION_UNIFORM, 0, nullptr, uni_userdef_none, false, &kSerial); }
BENCHMARK(BM_Search_Hybrid)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search_Hybrid_threads)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search_upper_bound)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search_Uniform)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search_QuasiUniform)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search_Sorted)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search_Peak)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search_Hybrid_nearPeak)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search_UserDef)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Search_UniUserDef)->Unit(benchmark::kMillisecond);

// Keeps the fastest repetition of each benchmark, in real and in CPU time, for the ratios: the
// machine is shared, and the fastest repetition is the one least disturbed by other work.
class Recorder : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> real, cpu;
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs) {
      if (r.run_type == Run::RT_Aggregate) continue;
      const std::string name = r.run_name.function_name;
      const double re = r.GetAdjustedRealTime(), cp = r.GetAdjustedCPUTime();
      if (!real.count(name) || re < real[name]) real[name] = re;
      if (!cpu.count(name) || cp < cpu[name]) cpu[name] = cp;
    }
    ConsoleReporter::ReportRuns(runs);
  }
};

}  // namespace

int main(int argc, char **argv) {
  gsl_set_error_handler_off();
  benchmark::Initialize(&argc, argv);
  Recorder rec;
  benchmark::RunSpecifiedBenchmarks(&rec);
  std::printf("\nRatios, anchor time / zyn time, fastest repetitions of this run (CPU: time on the "
              "calling thread; real: wall clock):\n");
  std::printf("%-56s %8s %8s %8s\n", "", "CPU", "real", "target");
  auto ratio = [&](const char *what, const char *anchor, const char *ours, double target) {
    if (!rec.cpu.count(anchor) || !rec.cpu.count(ours)) return;
    std::printf("%-56s %7.2fx %7.2fx %7.1fx\n", what, rec.cpu[anchor] / rec.cpu[ours],
                rec.real[anchor] / rec.real[ours], target);
  };
  ratio("natural cubic, 1e6 breakpoints / GSL cspline init", "BM_Construct_gsl", "BM_Construct_zyn", 2.0);
  auto quoted = [&](const char *what, double ms, const char *ours, double target) {
    if (rec.cpu.count(ours))
      std::printf("%-56s %7.2fx %7.2fx %7.1fx\n", what, ms / rec.cpu[ours], ms / rec.real[ours], target);
  };
  quoted("natural cubic / SciPy CubicSpline (quoted 77 ms)", 77.0, "BM_Construct_zyn", 10.0);
  ratio("Akima, 1e6 breakpoints / GSL akima init", "BM_Akima_gsl", "BM_Akima_zyn", 2.0);
  ratio("  the same, zyn on the pool's threads (real time counts)", "BM_Akima_gsl", "BM_Akima_zyn_threads", 2.0);
  quoted("Akima / SciPy Akima1DInterpolator (quoted 60 ms)", 60.0, "BM_Akima_zyn", 0.0);
  ratio("Bessel / GSL akima init", "BM_Akima_gsl", "BM_Bessel_zyn", 0.0);
  ratio("Hermite / GSL akima init", "BM_Akima_gsl", "BM_Hermite_zyn", 0.0);
  ratio("Hyman, 1e6 breakpoints / GSL steffen init", "BM_Steffen_gsl", "BM_Hyman_zyn", 1.0);
  quoted("integration, 1e6 random intervals / SciPy (quoted 804 ms)", 804.0, "BM_Integrate_zyn", 5.0);
  ratio("integration, 1e6 intervals of 3 cells / GSL eval_integ", "BM_Integrate3_gsl", "BM_Integrate3_zyn", 5.0);
  ratio("values, 4e6 random sites / GSL eval, no accelerator", "BM_ValuesRandom_gsl", "BM_ValuesRandom_zyn_1thread", 4.0);
  ratio("  the same, zyn on the pool's threads (real time counts)", "BM_ValuesRandom_gsl", "BM_ValuesRandom_zyn", 4.0);
  ratio("values, 4e6 sorted sites / GSL eval with accelerator", "BM_ValuesSorted_gsl", "BM_ValuesSorted_zyn_1thread", 1.5);
  ratio("  the same, zyn on the pool's threads (real time counts)", "BM_ValuesSorted_gsl", "BM_ValuesSorted_zyn", 1.5);
  ratio("Hybrid search, random sites / std::upper_bound", "BM_Search_upper_bound", "BM_Search_Hybrid", 2.0);
  ratio("  the same, zyn on the pool's threads (real time counts)", "BM_Search_upper_bound", "BM_Search_Hybrid_threads", 2.0);
  benchmark::Shutdown();
  return 0;
}
