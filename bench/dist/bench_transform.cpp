// Throughput of the transformation and gamma families, 10^6 numbers per call into one buffer, on
// MCG59 and R250 streams. Anchors in the same run: GSL's sampler of the same distribution over
// gsl_rng_taus2 and the standard library's over std::mt19937_64 where it has one. The reporter
// prints ns per number and each entry's ratios to its anchors, from processor time (the machine
// is shared).
#include <benchmark/benchmark.h>
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench/common/cpu_time_reporter.hpp"
#include "bench/common/seeded_stream.hpp"
#include "zyn/dist.h"

namespace {

// The module finds the core library among the loaded objects: a reference keeps this program
// linked to it.
[[gnu::used]] void *(*const kCoreAllocate)(size_t, int) = &zyn_serv_allocate;

constexpr int kN = 1000000;

using DrawD = std::function<int(StreamState *, int, double *)>;
using DrawS = std::function<int(StreamState *, int, float *)>;
using Gsl = std::function<void(gsl_rng *, std::vector<double> &)>;
using Std = std::function<void(std::mt19937_64 &, std::vector<double> &)>;

// An anchor's sampler called for each element of the buffer, as a user would, with no indirect
// call in between.
template <class F>
Gsl GslLoop(F f) {
  return [f](gsl_rng *g, std::vector<double> &r) {
    for (double &x : r) x = f(g);
  };
}
template <class D>
Std Loop(D d) {
  return [d](std::mt19937_64 &g, std::vector<double> &r) mutable {
    for (double &x : r) x = d(g);
  };
}

// One benchmarked distribution: our double and single entries at fixed parameters, and anchors.
struct Case {
  std::string name;
  DrawD d;
  DrawS s;
  Gsl gsl;
  Std std_loop;
};

std::vector<Case> Cases() {
  using S = StreamState;
  const double kRayleighSigma = 1 / std::sqrt(2.0);  // GSL's sigma for beta = 1
  std::vector<Case> c = {
      {"Exponential", [](S *s, int n, double *r) { return _rnxdRngExponential(0, s, n, r, 0, 1); },
       [](S *s, int n, float *r) { return _rnxsRngExponential(0, s, n, r, 0, 1); },
       GslLoop([](gsl_rng *g) { return gsl_ran_exponential(g, 1); }), Loop(std::exponential_distribution<double>(1))},
      {"Laplace", [](S *s, int n, double *r) { return _rnxdRngLaplace(0, s, n, r, 0, 1); },
       [](S *s, int n, float *r) { return _rnxsRngLaplace(0, s, n, r, 0, 1); },
       GslLoop([](gsl_rng *g) { return gsl_ran_laplace(g, 1); }), nullptr},
      {"Weibull_2", [](S *s, int n, double *r) { return _rnxdRngWeibull(0, s, n, r, 2, 0, 1); },
       [](S *s, int n, float *r) { return _rnxsRngWeibull(0, s, n, r, 2, 0, 1); },
       GslLoop([](gsl_rng *g) { return gsl_ran_weibull(g, 1, 2); }), Loop(std::weibull_distribution<double>(2, 1))},
      {"Cauchy", [](S *s, int n, double *r) { return _rnxdRngCauchy(0, s, n, r, 0, 1); },
       [](S *s, int n, float *r) { return _rnxsRngCauchy(0, s, n, r, 0, 1); },
       GslLoop([](gsl_rng *g) { return gsl_ran_cauchy(g, 1); }), Loop(std::cauchy_distribution<double>(0, 1))},
      {"Rayleigh", [](S *s, int n, double *r) { return _rnxdRngRayleigh(0, s, n, r, 0, 1); },
       [](S *s, int n, float *r) { return _rnxsRngRayleigh(0, s, n, r, 0, 1); },
       GslLoop([=](gsl_rng *g) { return gsl_ran_rayleigh(g, kRayleighSigma); }), nullptr},
      {"Lognormal_BoxMuller2",
       [](S *s, int n, double *r) { return _rnxdRngLognormal(LognormalMethodBoxMuller2, s, n, r, 0, 1, 0, 1); },
       [](S *s, int n, float *r) { return _rnxsRngLognormal(LognormalMethodBoxMuller2, s, n, r, 0, 1, 0, 1); },
       GslLoop([](gsl_rng *g) { return gsl_ran_lognormal(g, 0, 1); }), Loop(std::lognormal_distribution<double>(0, 1))},
      {"Lognormal_Icdf",
       [](S *s, int n, double *r) { return _rnxdRngLognormal(LognormalMethodIcdf, s, n, r, 0, 1, 0, 1); },
       [](S *s, int n, float *r) { return _rnxsRngLognormal(LognormalMethodIcdf, s, n, r, 0, 1, 0, 1); },
       GslLoop([](gsl_rng *g) { return gsl_ran_lognormal(g, 0, 1); }), Loop(std::lognormal_distribution<double>(0, 1))},
      // GSL's and the standard library's Gumbel is the maximum form: the mirror image, same cost.
      {"Gumbel", [](S *s, int n, double *r) { return _rnxdRngGumbel(0, s, n, r, 0, 1); },
       [](S *s, int n, float *r) { return _rnxsRngGumbel(0, s, n, r, 0, 1); },
       GslLoop([](gsl_rng *g) { return gsl_ran_gumbel1(g, 1, 1); }), Loop(std::extreme_value_distribution<double>(0, 1))},
  };
  for (double alpha : {2.5, 0.3, 0.8}) {
    char name[32];
    snprintf(name, sizeof name, "Gamma_%g", alpha);
    c.push_back({name, [=](S *s, int n, double *r) { return _rnxdRngGamma(0, s, n, r, alpha, 0, 1); },
                 [=](S *s, int n, float *r) { return _rnxsRngGamma(0, s, n, r, float(alpha), 0, 1); },
                 GslLoop([=](gsl_rng *g) { return gsl_ran_gamma(g, alpha, 1); }), Loop(std::gamma_distribution<double>(alpha, 1))});
  }
  for (auto [p, q] : {std::pair{2.0, 5.0}, {0.5, 0.5}, {0.3, 3.0}}) {
    char name[32];
    snprintf(name, sizeof name, "Beta_%g_%g", p, q);
    c.push_back({name, [=](S *s, int n, double *r) { return _rnxdRngBeta(0, s, n, r, p, q, 0, 1); },
                 [=](S *s, int n, float *r) { return _rnxsRngBeta(0, s, n, r, float(p), float(q), 0, 1); },
                 GslLoop([=](gsl_rng *g) { return gsl_ran_beta(g, p, q); }), nullptr});
  }
  for (int v : {4, 5}) {
    c.push_back({"ChiSquare_" + std::to_string(v), [=](S *s, int n, double *r) { return _rnxdRngChiSquare(0, s, n, r, v); },
                 [=](S *s, int n, float *r) { return _rnxsRngChiSquare(0, s, n, r, v); },
                 GslLoop([=](gsl_rng *g) { return gsl_ran_chisq(g, v); }), Loop(std::chi_squared_distribution<double>(v))});
  }
  return c;
}

template <class T, class Draw>
void Ours(benchmark::State &state, int id, Draw draw) {
  zyn::bench::SeededStream st(id);
  std::vector<T> r(kN);
  for (auto _ : state) {
    draw(st.s, kN, r.data());
    benchmark::DoNotOptimize(r.data());
  }
  state.SetItemsProcessed(state.iterations() * kN);
}

void GslAnchor(benchmark::State &state, Gsl loop) {
  gsl_rng *g = gsl_rng_alloc(gsl_rng_taus2);
  gsl_rng_set(g, 12345);
  std::vector<double> r(kN);
  for (auto _ : state) {
    loop(g, r);
    benchmark::DoNotOptimize(r.data());
  }
  gsl_rng_free(g);
  state.SetItemsProcessed(state.iterations() * kN);
}

void StdAnchor(benchmark::State &state, Std loop) {
  std::mt19937_64 g(12345);
  std::vector<double> r(kN);
  for (auto _ : state) {
    loop(g, r);
    benchmark::DoNotOptimize(r.data());
  }
  state.SetItemsProcessed(state.iterations() * kN);
}

const char *const kGenerators[] = {"MCG59", "R250"};

// ns per number of each entry, its ratios to the anchors against the targets, and Gamma(2.5)
// against its absolute target.
void Summary(const zyn::bench::Seconds &seconds) {
  const auto ns = [&](const std::string &name) {
    return seconds.count(name) ? seconds.at(name) / kN * 1e9 : NAN;
  };
  printf("\n%-22s %-8s %8s %8s %8s %10s %10s\n", "entry", "stream", "d ns", "s ns", "gsl ns", "gsl/d", "std/d");
  bool all = true;
  for (const Case &c : Cases())
    for (const char *g : kGenerators) {
      const double d = ns("d" + c.name + "/" + g), s = ns("s" + c.name + "/" + g);
      const double gsl = ns("gsl_taus2/" + c.name), std_ = ns("std_mt19937_64/" + c.name);
      const bool met = gsl / d >= 2 && (std::isnan(std_) || std_ / d >= 3);
      all = all && met;
      printf("%-22s %-8s %8.2f %8.2f %8.2f %9.2fx %9.2fx %s\n", c.name.c_str(), g, d, s, gsl, gsl / d, std_ / d,
             met ? "met" : "NOT met");
    }
  printf("targets: each d entry at least 2x GSL (taus2) and 3x std:: (mt19937_64): %s\n", all ? "met" : "NOT all met");
  for (const char *g : kGenerators) {
    const double d = ns(std::string("dGamma_2.5/") + g);
    printf("dGamma_2.5/%s %.2f ns per number (target at most 10.8: %s)\n", g, d, d <= 10.8 ? "met" : "NOT met");
  }
}

}  // namespace

int main(int argc, char **argv) {
  const int ids[] = {RNX_BRNG_MCG59, RNX_BRNG_R250};
  for (const Case &c : Cases()) {
    for (int k = 0; k < 2; ++k) {
      const std::string g = kGenerators[k];
      benchmark::RegisterBenchmark(("d" + c.name + "/" + g).c_str(), Ours<double, DrawD>, ids[k], c.d);
      benchmark::RegisterBenchmark(("s" + c.name + "/" + g).c_str(), Ours<float, DrawS>, ids[k], c.s);
    }
    benchmark::RegisterBenchmark(("gsl_taus2/" + c.name).c_str(), GslAnchor, c.gsl);
    if (c.std_loop) benchmark::RegisterBenchmark(("std_mt19937_64/" + c.name).c_str(), StdAnchor, c.std_loop);
  }
  benchmark::Initialize(&argc, argv);
  zyn::bench::CpuTimeReporter reporter(Summary);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
