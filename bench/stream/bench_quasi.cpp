// Throughput of the quasi-random generators, per point. dGen of dimension 10 into an L1 buffer
// (100 points a call) against GSL's gsl_qrng_get on the same generator and buffer; iGen and dGen
// rates at dimensions 1, 40 and 318; dimension 1000 from a finished user table, 10^4 points in
// one call (stripes on the pool) against the same points in calls of 50 (below the threads'
// threshold, so on one thread).
#include <benchmark/benchmark.h>
#include <gsl/gsl_qrng.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "zyn/rng.h"

namespace {

[[gnu::used]] void *(*const kCoreAllocate)(size_t, int) = &zyn_serv_allocate;

constexpr int kPoints = 100;

struct Stream {
  StreamState *s = nullptr;
  Stream(int id, const std::vector<uint32_t> &p) { __rnxNewStreamEx(&s, id, int(p.size()), p.data()); }
  ~Stream() { __rnxDeleteStream(&s); }
  const BrngEntry &row() const {
    int row, sub;
    return __rnxGetBrngBaseOffset(s->brngId, &row, &sub)[row];
  }
};

// Fewer than 10^8 points are drawn in a run, far from the end of the sequences (2^32 - 1).
// Counts points; a point of dimension d is d numbers.
void per_point(benchmark::State &state, int64_t points) { state.SetItemsProcessed(state.iterations() * points); }

void dGen(benchmark::State &state, int id, int d) {
  Stream st(id, {uint32_t(d)});
  std::vector<double> buf(size_t(kPoints) * d);
  for (auto _ : state) {
    st.row().dGen(st.s, kPoints * d, buf.data(), 0.0, 1.0);
    benchmark::DoNotOptimize(buf.data());
  }
  per_point(state, kPoints);
}

void iGen(benchmark::State &state, int id, int d) {
  Stream st(id, {uint32_t(d)});
  std::vector<uint32_t> buf(size_t(kPoints) * d);
  for (auto _ : state) {
    st.row().iGen(st.s, kPoints * d, buf.data());
    benchmark::DoNotOptimize(buf.data());
  }
  per_point(state, kPoints);
}

void Anchor_gsl(benchmark::State &state, const gsl_qrng_type *type, int d) {
  gsl_qrng *q = gsl_qrng_alloc(type, d);
  std::vector<double> buf(size_t(kPoints) * d);
  for (auto _ : state) {
    for (int k = 0; k < kPoints; ++k) gsl_qrng_get(q, buf.data() + size_t(k) * d);
    benchmark::DoNotOptimize(buf.data());
  }
  gsl_qrng_free(q);
  per_point(state, kPoints);
}

// Dimension 1000, 10^4 points: in calls of `call` points.
void Wide(benchmark::State &state, int id, int call) {
  constexpr int d = 1000, total = 10000;
  std::vector<uint32_t> p = {d, 1, 4};
  std::mt19937 g(1);
  for (int i = 0; i < 32 * d; ++i) p.push_back(g());
  Stream st(id, p);
  std::vector<uint32_t> buf(size_t(total) * d);
  for (auto _ : state) {
    for (int at = 0; at < total; at += call) st.row().iGen(st.s, call * d, buf.data() + size_t(at) * d);
    benchmark::DoNotOptimize(buf.data());
  }
  per_point(state, total);
}

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_None) {}
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs)
      if (r.iterations > 0) {
        cpu_[r.benchmark_name()] = r.cpu_accumulated_time / double(r.iterations);
        wall_[r.benchmark_name()] = r.real_accumulated_time / double(r.iterations);
      }
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    auto ratio = [&](const char *what, const std::string &anchor, const std::string &ours, double target) {
      auto &t = anchor.find("thread") != std::string::npos ? wall_ : cpu_;
      if (!t.count(anchor) || !t.count(ours)) return;
      const double x = t[anchor] / t[ours];
      printf("%-48s %6.2fx  (target %.1fx: %s)\n", what, x, target, x >= target ? "met" : "NOT met");
    };
    ratio("Sobol dGen d=10 vs gsl_qrng_sobol", "Anchor_gsl_sobol_d10", "Sobol_dGen_d10", 10);
    ratio("Niederr dGen d=10 vs gsl_qrng_niederreiter_2", "Anchor_gsl_niederreiter_2_d10", "Niederr_dGen_d10", 10);
    ratio("Sobol d=1000 pool vs one thread", "Sobol_d1000_one_thread", "Sobol_d1000_pool", 1.6);
    ratio("Niederr d=1000 pool vs one thread", "Niederr_d1000_one_thread", "Niederr_d1000_pool", 1.6);
  }

 private:
  // Processor time of the calling thread for one-thread comparisons (the machine is shared);
  // wall time for the pool, whose work is on other threads.
  std::map<std::string, double> cpu_, wall_;
};

}  // namespace

int main(int argc, char **argv) {
  const struct {
    const char *name;
    int id;
    std::vector<int> dims;
  } gens[] = {{"Sobol", RNX_BRNG_SOBOL, {1, 10, 40}}, {"Niederr", RNX_BRNG_NIEDERR, {1, 10, 318}}};
  for (const auto &g : gens) {
    for (int d : g.dims) {
      const std::string s = "_d" + std::to_string(d);
      benchmark::RegisterBenchmark((g.name + std::string("_dGen") + s).c_str(), dGen, g.id, d);
      benchmark::RegisterBenchmark((g.name + std::string("_iGen") + s).c_str(), iGen, g.id, d);
    }
    benchmark::RegisterBenchmark((g.name + std::string("_d1000_pool")).c_str(), Wide, g.id, 10000);
    benchmark::RegisterBenchmark((g.name + std::string("_d1000_one_thread")).c_str(), Wide, g.id, 50);
  }
  benchmark::RegisterBenchmark("Anchor_gsl_sobol_d10", Anchor_gsl, gsl_qrng_sobol, 10);
  benchmark::RegisterBenchmark("Anchor_gsl_niederreiter_2_d10", Anchor_gsl, gsl_qrng_niederreiter_2, 10);
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
