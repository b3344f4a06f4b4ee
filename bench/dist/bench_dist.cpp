// Throughput of the distribution generators, 10^6 numbers per call into one buffer, on MCG59 and
// MRG32K3A streams. Anchors in the same run: std::normal_distribution<double> over
// std::mt19937_64, and GSL's gsl_ran_gaussian_ziggurat over gsl_rng_mt19937 and over
// gsl_rng_taus2 (its fastest good generator). The reporter prints the rates and ratios the targets
// name, from processor time (the machine is shared).
#include <benchmark/benchmark.h>
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>

#include <cmath>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "bench/common/cpu_time_reporter.hpp"
#include "zyn/dist.h"

namespace {

// The module finds the core library among the loaded objects: a reference keeps this program
// linked to it.
[[gnu::used]] void *(*const kCoreAllocate)(size_t, int) = &zyn_serv_allocate;

constexpr int kN = 1000000;

struct Stream {
  StreamState *s = nullptr;
  explicit Stream(int id) {
    const uint32_t seed[6] = {12345, 23456, 34567, 45678, 56789, 67890};
    __rnxNewStreamEx(&s, id, 6, seed);
  }
  ~Stream() { __rnxDeleteStream(&s); }
};

void Finish(benchmark::State &state, int bytes) {
  state.SetItemsProcessed(state.iterations() * kN);
  state.SetBytesProcessed(state.iterations() * int64_t{kN} * bytes);
}

void dUniform(benchmark::State &state, int id) {
  Stream st(id);
  std::vector<double> r(kN);
  for (auto _ : state) {
    _rnxdRngUniform(UniformMethodStd, st.s, kN, r.data(), 0.0, 1.0);
    benchmark::DoNotOptimize(r.data());
  }
  Finish(state, 8);
}

void dGaussian(benchmark::State &state, int id, int method) {
  Stream st(id);
  std::vector<double> r(kN);
  for (auto _ : state) {
    _rnxdRngGaussian(method, st.s, kN, r.data(), 0.0, 1.0);
    benchmark::DoNotOptimize(r.data());
  }
  Finish(state, 8);
}

void sGaussian(benchmark::State &state, int id, int method) {
  Stream st(id);
  std::vector<float> r(kN);
  for (auto _ : state) {
    _rnxsRngGaussian(method, st.s, kN, r.data(), 0.0f, 1.0f);
    benchmark::DoNotOptimize(r.data());
  }
  Finish(state, 4);
}

// 10^6 numbers as n = 10^6 / dimen vectors, full storage.
void dGaussianMV(benchmark::State &state, int id, int dimen) {
  Stream st(id);
  const int n = kN / dimen;
  std::vector<double> r(size_t(n) * dimen), a(dimen, 1.0), t(size_t(dimen) * dimen, 0.0);
  for (int i = 0; i < dimen; ++i)
    for (int j = 0; j <= i; ++j) t[i * dimen + j] = i == j ? 1.0 : 0.25;
  for (auto _ : state) {
    _rnxdRngGaussianMV(GaussianMethodBoxMuller2, st.s, n, r.data(), dimen, GaussianMVStorageFull,
                       a.data(), t.data());
    benchmark::DoNotOptimize(r.data());
  }
  Finish(state, 8);
}

void Anchor_std_normal_mt19937_64(benchmark::State &state) {
  std::mt19937_64 g(12345);
  std::normal_distribution<double> d(0.0, 1.0);
  std::vector<double> r(kN);
  for (auto _ : state) {
    for (double &x : r) x = d(g);
    benchmark::DoNotOptimize(r.data());
  }
  Finish(state, 8);
}

void Anchor_gsl_ziggurat(benchmark::State &state, const gsl_rng_type *type) {
  gsl_rng *g = gsl_rng_alloc(type);
  gsl_rng_set(g, 12345);
  std::vector<double> r(kN);
  for (auto _ : state) {
    for (double &x : r) x = gsl_ran_gaussian_ziggurat(g, 1.0);
    benchmark::DoNotOptimize(r.data());
  }
  gsl_rng_free(g);
  Finish(state, 8);
}

// The rates and ratios the targets name.
void Summary(const zyn::bench::Seconds &seconds) {
  auto ratio = [&](const std::string &ours, const std::string &anchor, double target) {
    if (!seconds.count(anchor) || !seconds.count(ours)) return;
    const double x = seconds.at(anchor) / seconds.at(ours);
    printf("%-30s vs %-28s %6.2fx (target %.1fx: %s)\n", ours.c_str(), anchor.c_str(), x, target,
           x >= target ? "met" : "NOT met");
  };
  auto rate = [&](const std::string &ours, double bytes, double target) {
    if (!seconds.count(ours)) return;
    const double gbs = bytes * kN / seconds.at(ours) / 1e9;
    printf("%-30s %6.2f GB/s (target %.0f GB/s: %s)\n", ours.c_str(), gbs, target,
           gbs >= target ? "met" : "NOT met");
  };
  auto per = [&](const std::string &ours, int dimen) {
    if (!seconds.count(ours)) return;
    const double ns = seconds.at(ours) / kN * 1e9;
    printf("%-30s %6.2f ns per number, %7.2f ns per vector\n", ours.c_str(), ns, ns * dimen);
  };
  for (const char *g : {"MCG59", "MRG32K3A"}) {
    rate(std::string("dUniform/") + g, 8, 1);
    for (const char *m : {"BoxMuller2", "Icdf"}) {
      const std::string ours = std::string("dGaussian/") + m + "/" + g;
      ratio(ours, "Anchor/std_normal_mt19937_64", 3);
      ratio(ours, "Anchor/gsl_ziggurat_mt19937", 1.2);
      ratio(ours, "Anchor/gsl_ziggurat_taus2", 1.2);
    }
    for (int d : {4, 40}) per(std::string("dGaussianMV/") + std::to_string(d) + "/" + g, d);
  }
}

}  // namespace

int main(int argc, char **argv) {
  const struct {
    const char *name;
    int id;
  } gens[] = {{"MCG59", RNX_BRNG_MCG59}, {"MRG32K3A", RNX_BRNG_MRG32K3A}};
  const struct {
    const char *name;
    int method;
  } methods[] = {{"BoxMuller", GaussianMethodBoxMuller},
                 {"BoxMuller2", GaussianMethodBoxMuller2},
                 {"Icdf", GaussianMethodIcdf}};
  for (const auto &g : gens) {
    const std::string gn = g.name;
    benchmark::RegisterBenchmark(("dUniform/" + gn).c_str(), dUniform, g.id);
    for (const auto &m : methods) {
      benchmark::RegisterBenchmark(("dGaussian/" + std::string(m.name) + "/" + gn).c_str(), dGaussian,
                                   g.id, m.method);
      benchmark::RegisterBenchmark(("sGaussian/" + std::string(m.name) + "/" + gn).c_str(), sGaussian,
                                   g.id, m.method);
    }
    for (int d : {4, 40})
      benchmark::RegisterBenchmark(("dGaussianMV/" + std::to_string(d) + "/" + gn).c_str(), dGaussianMV,
                                   g.id, d);
  }
  benchmark::RegisterBenchmark("Anchor/std_normal_mt19937_64", Anchor_std_normal_mt19937_64);
  benchmark::RegisterBenchmark("Anchor/gsl_ziggurat_mt19937", Anchor_gsl_ziggurat, gsl_rng_mt19937);
  benchmark::RegisterBenchmark("Anchor/gsl_ziggurat_taus2", Anchor_gsl_ziggurat, gsl_rng_taus2);
  benchmark::Initialize(&argc, argv);
  zyn::bench::CpuTimeReporter reporter(Summary);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
