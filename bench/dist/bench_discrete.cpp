// Throughput of the discrete samplers (Bernoulli, Geometric, Binomial, Hypergeometric, Poisson,
// PoissonV, Negbinomial): one call
// for 10^6 numbers into one buffer, on MCG59 and R250 streams, and 10^6 calls for one number each
// with unchanged parameters (the cached set-up paid once). Anchors in the same run: GSL's
// gsl_ran_* over gsl_rng_taus2, and the std:: distributions over std::mt19937_64 (PoissonV's
// anchors change the mean per element). The reporter prints the ratios the targets name,
// from processor time (the machine is shared).
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
#include "zyn/dist.h"

namespace {

[[gnu::used]] void *(*const kCoreAllocate)(size_t, int) = &zyn_serv_allocate;

constexpr int kN = 1000000;

// An entry at fixed parameters: (stream, n, r).
using Entry = std::function<int(StreamState *, int, int *)>;

// kN means log-uniform on [0.1, 1000], the same each run.
const std::vector<double> &LogUniform() {
  static const std::vector<double> lambda = [] {
    std::vector<double> l(kN);
    std::mt19937_64 g(7);
    for (double &x : l) x = 0.1 * std::pow(1e4, std::uniform_real_distribution<double>()(g));
    return l;
  }();
  return lambda;
}

constexpr double kMultinomialP[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};

struct Case {
  std::string name;  // also the anchors' suffix
  Entry zyn;
  std::function<int(gsl_rng *)> gsl;
  std::function<int(std::mt19937_64 &)> std;  // empty: no standard-library distribution
};

std::vector<Case> Cases() {
  const auto binomial = [](int ntrial, double p) -> Case {
    return {"Binomial(" + std::to_string(ntrial) + "," + std::to_string(p).substr(0, 4) + ")",
            [=](StreamState *s, int n, int *r) { return _rnxiRngBinomial(BinomialMethodStd, s, n, r, ntrial, p); },
            [=](gsl_rng *g) { return int(gsl_ran_binomial(g, p, ntrial)); },
            [d = std::binomial_distribution<int>(ntrial, p)](std::mt19937_64 &g) mutable { return d(g); }};
  };
  const auto hyper = [](int l, int s, int m) -> Case {
    return {"Hypergeometric(" + std::to_string(l) + "," + std::to_string(s) + "," + std::to_string(m) + ")",
            [=](StreamState *st, int n, int *r) { return _rnxiRngHypergeometric(HypergeometricMethodStd, st, n, r, l, s, m); },
            [=](gsl_rng *g) { return int(gsl_ran_hypergeometric(g, m, l - m, s)); },
            {}};
  };
  const auto poisson = [](double lambda) -> Case {
    return {"Poisson(" + std::to_string(int(lambda)) + ")",
            [=](StreamState *s, int n, int *r) { return _rnxiRngPoisson(PoissonMethodPTPE, s, n, r, lambda); },
            [=](gsl_rng *g) { return int(gsl_ran_poisson(g, lambda)); },
            [d = std::poisson_distribution<int>(lambda)](std::mt19937_64 &g) mutable { return d(g); }};
  };
  const auto negbin = [](double a, double p) -> Case {
    const Entry zyn = [=](StreamState *s, int n, int *r) { return _rnxiRngNegbinomial(NegbinomialMethodMixture, s, n, r, a, p); };
    const auto gsl = [=](gsl_rng *g) { return int(gsl_ran_negative_binomial(g, p, a)); };
    const std::string name = "Negbinomial(" + std::to_string(a).substr(0, 3) + "," + std::to_string(p).substr(0, 4) + ")";
    if (a != int(a)) return {name, zyn, gsl, {}};  // std's takes an integer count of successes
    return {name, zyn, gsl, [d = std::negative_binomial_distribution<int>(int(a), p)](std::mt19937_64 &g) mutable { return d(g); }};
  };
  return {{"Bernoulli(0.3)", [](StreamState *s, int n, int *r) { return _rnxiRngBernoulli(BernoulliMethodStd, s, n, r, 0.3); },
           [](gsl_rng *g) { return int(gsl_ran_bernoulli(g, 0.3)); },
           [d = std::bernoulli_distribution(0.3)](std::mt19937_64 &g) mutable { return int(d(g)); }},
          {"Geometric(0.1)", [](StreamState *s, int n, int *r) { return _rnxiRngGeometric(GeometricMethodStd, s, n, r, 0.1); },
           [](gsl_rng *g) { return int(gsl_ran_geometric(g, 0.1)) - 1; },
           [d = std::geometric_distribution<int>(0.1)](std::mt19937_64 &g) mutable { return d(g); }},
          binomial(100, 0.4), binomial(20, 0.3), binomial(1000000, 0.5),
          hyper(1000, 100, 300), hyper(1000, 200, 400), hyper(100, 10, 30),
          // ---- discrete family B
          poisson(10), poisson(1000), negbin(5, 0.5), negbin(0.5, 0.01),
          {"PoissonV(logU[0.1,1000])",
           [](StreamState *s, int n, int *r) { return _rnxiRngPoissonV(PoissonVMethodPTRS, s, n, r, LogUniform().data()); },
           [i = 0](gsl_rng *g) mutable { return int(gsl_ran_poisson(g, LogUniform()[i++ % kN])); },
           [d = std::poisson_distribution<int>(), i = 0](std::mt19937_64 &g) mutable {
             return d(g, std::poisson_distribution<int>::param_type(LogUniform()[i++ % kN]));
           }},
          // Vectors of 10 counts of 100 trials, timed per count: the ratio is that per vector.
          {"Multinomial(100,10)",
           [](StreamState *s, int n, int *r) {
             return _rnxiRngMultinomial(MultinomialMethodConditional, s, n / 10, r, 100, 10, kMultinomialP);
           },
           [x = std::vector<unsigned>(10), i = 0](gsl_rng *g) mutable {
             if (i % 10 == 0) gsl_ran_multinomial(g, 10, 100, kMultinomialP, x.data());
             return int(x[i++ % 10]);
           },
           {}}};
}

struct Stream {
  StreamState *s = nullptr;
  explicit Stream(int id) {
    const uint32_t seed[6] = {12345, 23456, 34567, 45678, 56789, 67890};
    __rnxNewStreamEx(&s, id, 6, seed);
  }
  ~Stream() { __rnxDeleteStream(&s); }
};

// `calls` calls of kN / calls numbers each.
void Zyn(benchmark::State &state, Entry entry, int id, int calls) {
  Stream st(id);
  std::vector<int> r(kN);
  for (auto _ : state) {
    for (int c = 0, per = kN / calls; c < calls; ++c) entry(st.s, per, r.data() + c * per);
    benchmark::DoNotOptimize(r.data());
  }
  state.SetItemsProcessed(state.iterations() * kN);
}

template <class G, class F>
void Loop(benchmark::State &state, G &g, F &f) {
  std::vector<int> r(kN);
  for (auto _ : state) {
    for (int &x : r) x = f(g);
    benchmark::DoNotOptimize(r.data());
  }
  state.SetItemsProcessed(state.iterations() * kN);
}

void Gsl(benchmark::State &state, std::function<int(gsl_rng *)> f) {
  gsl_rng *g = gsl_rng_alloc(gsl_rng_taus2);
  gsl_rng_set(g, 12345);
  Loop(state, g, f);
  gsl_rng_free(g);
}

void Std(benchmark::State &state, std::function<int(std::mt19937_64 &)> f) {
  std::mt19937_64 g(12345);
  Loop(state, g, f);
}

const char *kGenerators[] = {"MCG59", "R250"};

void Summary(const zyn::bench::Seconds &seconds) {
  const auto ns = [&](const std::string &name) { return seconds.count(name) ? seconds.at(name) / kN * 1e9 : -1.0; };
  printf("\n%-34s %9s %9s %9s %9s %9s\n", "ns per number", "MCG59", "R250", "n=1 calls", "GSL", "std");
  for (const Case &c : Cases())
    printf("%-34s %9.2f %9.2f %9.2f %9.2f %9.2f\n", c.name.c_str(), ns(c.name + "/MCG59"), ns(c.name + "/R250"),
           ns(c.name + "/calls_of_1/MCG59"), ns("Anchor/gsl_taus2/" + c.name), ns("Anchor/std_mt19937_64/" + c.name));
  const auto ratio = [&](const std::string &ours, const std::string &anchor, double target) {
    if (ns(ours) <= 0 || ns(anchor) <= 0) return;
    const double x = ns(anchor) / ns(ours);
    printf("%-40s vs %-40s %7.2fx (target %.0fx: %s)\n", ours.c_str(), anchor.c_str(), x, target, x >= target ? "met" : "NOT met");
  };
  for (const Case &c : Cases())
    for (const char *g : kGenerators) {
      ratio(c.name + "/" + g, "Anchor/gsl_taus2/" + c.name, 2);
      if (c.std) ratio(c.name + "/" + g, "Anchor/std_mt19937_64/" + c.name, 3);
    }
  const double b = ns("Binomial(100,0.40)/MCG59");
  printf("Binomial(100,0.40)/MCG59 %.2f ns per number (target at most 33 ns: %s)\n", b, b <= 33 ? "met" : "NOT met");
}

}  // namespace

int main(int argc, char **argv) {
  const int ids[] = {RNX_BRNG_MCG59, RNX_BRNG_R250};
  for (const Case &c : Cases()) {
    for (int g = 0; g < 2; ++g)
      benchmark::RegisterBenchmark((c.name + "/" + kGenerators[g]).c_str(), Zyn, c.zyn, ids[g], 1);
    benchmark::RegisterBenchmark((c.name + "/calls_of_1/MCG59").c_str(), Zyn, c.zyn, ids[0], kN);
    benchmark::RegisterBenchmark(("Anchor/gsl_taus2/" + c.name).c_str(), Gsl, c.gsl);
    if (c.std) benchmark::RegisterBenchmark(("Anchor/std_mt19937_64/" + c.name).c_str(), Std, c.std);
  }
  benchmark::Initialize(&argc, argv);
  zyn::bench::CpuTimeReporter reporter(Summary);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
