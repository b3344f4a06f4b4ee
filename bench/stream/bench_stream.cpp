// Throughput of the basic generators: 10^6 numbers per iteration, drawn as 100 calls of 10^4
// into one buffer that stays in L2, for iGen, dGen and sGen of each generator. The anchors run in
// the same process: std::minstd_rand in a loop against MCG31M1 iGen, a plain scalar MRG32K3A
// (64-bit integers, one step at a time) against MRG32K3A dGen. The reporter prints the ratios
// and the rates that the targets name at the end.
#include <benchmark/benchmark.h>
#include <gsl/gsl_rng.h>

#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "stream/generators/mt19937_ring.hpp"
#include "zyn/rng.h"
#include "zyn/twister_poly.inc"

void Anchor_r123_philox4x32(benchmark::State &state);
void Anchor_r123_ars4x32_R5(benchmark::State &state);

namespace {

// The module finds the core library among the loaded objects: a reference keeps this program
// linked to it.
[[gnu::used]] void *(*const kCoreAllocate)(size_t, int) = &zyn_serv_allocate;

constexpr int kCall = 10000;
constexpr int kCalls = 100;
constexpr int64_t kPerIteration = int64_t{kCall} * kCalls;

struct Stream {
  StreamState *s = nullptr;
  explicit Stream(int id) {
    const uint32_t seed[6] = {12345, 23456, 34567, 45678, 56789, 67890};
    __rnxNewStreamEx(&s, id, 6, seed);
  }
  ~Stream() { __rnxDeleteStream(&s); }
  const BrngEntry &row() const {
    int row, sub;
    return __rnxGetBrngBaseOffset(s->brngId, &row, &sub)[row];
  }
};

void finish(benchmark::State &state, int bytes_per_number) {
  state.SetItemsProcessed(state.iterations() * kPerIteration);
  state.SetBytesProcessed(state.iterations() * kPerIteration * bytes_per_number);
}

void iGen(benchmark::State &state, int id) {
  Stream st(id);
  const int words = st.row().wordSize / 4;
  std::vector<uint32_t> buf(size_t(kCall) * words);
  for (auto _ : state) {
    for (int c = 0; c < kCalls; ++c) st.row().iGen(st.s, kCall, buf.data());
    benchmark::DoNotOptimize(buf.data());
  }
  finish(state, 4 * words);
}

void dGen(benchmark::State &state, int id) {
  Stream st(id);
  std::vector<double> buf(kCall);
  for (auto _ : state) {
    for (int c = 0; c < kCalls; ++c) st.row().dGen(st.s, kCall, buf.data(), 0.0, 1.0);
    benchmark::DoNotOptimize(buf.data());
  }
  finish(state, 8);
}

void sGen(benchmark::State &state, int id) {
  Stream st(id);
  std::vector<float> buf(kCall);
  for (auto _ : state) {
    for (int c = 0; c < kCalls; ++c) st.row().sGen(st.s, kCall, buf.data(), 0.0f, 1.0f);
    benchmark::DoNotOptimize(buf.data());
  }
  finish(state, 4);
}

void Anchor_minstd_rand(benchmark::State &state) {
  std::minstd_rand g(12345);
  std::vector<uint32_t> buf(kCall);
  for (auto _ : state) {
    for (int c = 0; c < kCalls; ++c)
      for (int i = 0; i < kCall; ++i) buf[i] = static_cast<uint32_t>(g());
    benchmark::DoNotOptimize(buf.data());
  }
  finish(state, 4);
}

// MRG32K3A written plainly: 64-bit products, % for the reductions, one step per number.
struct ScalarMrg32k3a {
  static constexpr int64_t m1 = 4294967087LL, m2 = 4294944443LL;
  int64_t x0 = 12345, x1 = 23456, x2 = 34567, y0 = 45678, y1 = 56789, y2 = 67890;
  double next(double scale, double shift) {
    int64_t p1 = (1403580 * x1 - 810728 * x0) % m1;
    if (p1 < 0) p1 += m1;
    x0 = x1, x1 = x2, x2 = p1;
    int64_t p2 = (527612 * y2 - 1370589 * y0) % m2;
    if (p2 < 0) p2 += m2;
    y0 = y1, y1 = y2, y2 = p2;
    int64_t z = p1 - p2;
    if (z < 0) z += m1;
    return static_cast<double>(z) * scale + shift;
  }
};

void Anchor_scalar_MRG32K3A_dGen(benchmark::State &state) {
  ScalarMrg32k3a g;
  std::vector<double> buf(kCall);
  const double scale = 1.0 / 4294967087.0;
  for (auto _ : state) {
    for (int c = 0; c < kCalls; ++c)
      for (int i = 0; i < kCall; ++i) buf[i] = g.next(scale, 0.0);
    benchmark::DoNotOptimize(buf.data());
  }
  finish(state, 8);
}

// ARS5's 128-bit path: the same numbers in calls of 250, below the wide path's threshold.
void ARS5_iGen_128(benchmark::State &state) {
  Stream st(RNX_BRNG_ARS5);
  std::vector<uint32_t> buf(250);
  for (auto _ : state) {
    for (int c = 0; c < kPerIteration / 250; ++c) st.row().iGen(st.s, 250, buf.data());
    benchmark::DoNotOptimize(buf.data());
  }
  finish(state, 4);
}

void Anchor_std_mt19937(benchmark::State &state) {
  std::mt19937 g(12345);
  std::vector<uint32_t> buf(kCall);
  for (auto _ : state) {
    for (int c = 0; c < kCalls; ++c)
      for (int i = 0; i < kCall; ++i) buf[i] = g();
    benchmark::DoNotOptimize(buf.data());
  }
  finish(state, 4);
}

// The AES probe that ARS5 asks at every call (the identification instruction, which a virtual
// machine may trap): items are probes.
void Probe_CPUisAES(benchmark::State &state) {
  for (auto _ : state) benchmark::DoNotOptimize(__rnxCPUisAES());
  state.SetItemsProcessed(state.iterations());
}

// dAbstract: a buffer of 10^4 doubles refilled by a callback that keeps its contents (so only
// delivery and the range map are timed), against the plain map loop over the same buffer.
std::vector<double> g_source(kCall, 0.25);
int refill(StreamState *, int *, double *, int *count, int *, int *) { return *count; }

void dAbstract_dGen(benchmark::State &state) {
  StreamState *s = nullptr;
  __rnxdNewAbstractStream(&s, kCall, g_source.data(), 0.0, 1.0, refill);
  std::vector<double> buf(kCall);
  for (auto _ : state) {
    for (int c = 0; c < kCalls; ++c) __rnxdBRngdAbstract(s, kCall, buf.data(), 2.0, 3.0);
    benchmark::DoNotOptimize(buf.data());
  }
  __rnxDeleteStream(&s);
  finish(state, 8);
}

void Anchor_copy_and_map(benchmark::State &state) {
  std::vector<double> buf(kCall);
  for (auto _ : state) {
    for (int c = 0; c < kCalls; ++c) {
      const double low = 0.0, q = (3.0 - 2.0) / (1.0 - low);
      for (int i = 0; i < kCall; ++i) buf[i] = (g_source[i] - low) * q + 2.0;
      benchmark::DoNotOptimize(buf.data());
    }
  }
  finish(state, 8);
}

void Anchor_gsl_mt19937(benchmark::State &state) {
  gsl_rng *g = gsl_rng_alloc(gsl_rng_mt19937);
  gsl_rng_set(g, 12345);
  std::vector<uint32_t> buf(kCall);
  for (auto _ : state) {
    for (int c = 0; c < kCalls; ++c)
      for (int i = 0; i < kCall; ++i) buf[i] = static_cast<uint32_t>(gsl_rng_get(g));
    benchmark::DoNotOptimize(buf.data());
  }
  gsl_rng_free(g);
  finish(state, 4);
}

// ---- skip-ahead of MT19937 by 2^63 ----

constexpr uint64_t kFar = uint64_t{1} << 63;

void Skip(benchmark::State &state, int id, uint64_t count) {
  Stream st(id);
  for (auto _ : state) benchmark::DoNotOptimize(__rnxSkipAheadStream(st.s, count));
}

template <bool kWindow>
void MT19937_routine(benchmark::State &state) {
  Stream st(RNX_BRNG_MT19937);
  const int deg = kTwisterMt19937Poly[kTwisterMt19937Terms - 1];
  auto routine = kWindow ? __rnx_SkipAheadSWin : __rnx_SkipAheadHorner;
  for (auto _ : state)
    benchmark::DoNotOptimize(routine(st.s, zyn::rng::ring_zero, zyn::rng::ring_add,
                                     zyn::rng::ring_copy, zyn::rng::mt19937_step, zyn::rng::mt19937_store,
                                     zyn::rng::mt19937_prepare, kFar, 624, deg, 2520, kTwisterMt19937Terms,
                                     kTwisterMt19937Poly));
}

void MT19937_PolyRem_2p63(benchmark::State &state) {
  std::vector<uint64_t> out(624);
  for (auto _ : state)
    benchmark::DoNotOptimize(__rnxPolyRem(kFar, kTwisterMt19937Poly[kTwisterMt19937Terms - 1],
                                          kTwisterMt19937Terms, kTwisterMt19937Poly, 624,
                                          out.data()));
}

// Records processor seconds per iteration of each run (the machine is shared, so wall time
// carries other jobs) and prints the comparisons at the end.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  RatioReporter() : ConsoleReporter(OO_None) {}
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs)
      if (r.iterations > 0) {
        seconds_[r.benchmark_name()] = r.cpu_accumulated_time / double(r.iterations);
      }
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    auto ratio = [&](const char *what, const std::string &anchor, const std::string &ours,
                     double target) {
      if (!seconds_.count(anchor) || !seconds_.count(ours)) return;
      double x = seconds_[anchor] / seconds_[ours];
      if (target > 0)
        printf("%-46s %6.2fx  (target %.1fx: %s)\n", what, x, target, x >= target ? "met" : "NOT met");
      else
        printf("%-46s %6.2fx\n", what, x);
    };
    auto rate = [&](const char *what, const std::string &ours, double bytes, double target) {
      if (!seconds_.count(ours)) return;
      double gbs = bytes * double(kPerIteration) / seconds_[ours] / 1e9;
      printf("%-46s %6.2f GB/s (target %.0f GB/s: %s)\n", what, gbs, target,
             gbs >= target ? "met" : "NOT met");
    };
    ratio("MCG31M1 iGen vs std::minstd_rand loop", "Anchor_minstd_rand", "MCG31M1_iGen", 5);
    ratio("MRG32K3A dGen vs plain scalar MRG32K3A", "Anchor_scalar_MRG32K3A_dGen",
          "MRG32K3A_dGen", 2);
    rate("MCG59 dGen", "MCG59_dGen", 8, 1);
    rate("R250 iGen", "R250_iGen", 4, 4);
    rate("PHILOX4X32X10 iGen", "PHILOX4X32X10_iGen", 4, 3);
    ratio("PHILOX4X32X10 iGen vs Random123 philox4x32", "Anchor_r123_philox4x32",
          "PHILOX4X32X10_iGen", 1.5);
    rate("ARS5 iGen", "ARS5_iGen", 4, 3);
    ratio("ARS5 iGen vs Random123 ars4x32_R(5)", "Anchor_r123_ars4x32_R5", "ARS5_iGen", 2);
    ratio("ARS5 iGen 128-bit path vs ars4x32_R(5)", "Anchor_r123_ars4x32_R5", "ARS5_iGen_128", 2);
    ratio("dAbstract dGen vs copy-and-map loop", "Anchor_copy_and_map", "dAbstract_dGen", 0);
    ratio("MT19937 iGen vs std::mt19937 loop", "Anchor_std_mt19937", "MT19937_iGen", 2);
    ratio("MT19937 iGen vs gsl_rng_mt19937 loop", "Anchor_gsl_mt19937", "MT19937_iGen", 0);
    ratio("MT2203 iGen vs std::mt19937 loop", "Anchor_std_mt19937", "MT2203_iGen", 1.5);
    rate("SFMT19937 iGen", "SFMT19937_iGen", 4, 6);
    if (seconds_.count("MT19937_skip_2p63")) {
      const double ms = seconds_["MT19937_skip_2p63"] * 1e3;
      printf("%-46s %6.3f ms  (target under 1 ms: %s)\n", "MT19937 skip-ahead by 2^63", ms,
             ms < 1 ? "met" : "NOT met");
    }
    ratio("SWin vs Horner, MT19937 by 2^63", "MT19937_Horner_2p63", "MT19937_SWin_2p63", 2);
  }

 private:
  std::map<std::string, double> seconds_;
};

}  // namespace

int main(int argc, char **argv) {
  const struct {
    const char *name;
    int id;
  } gens[] = {{"MCG31M1", RNX_BRNG_MCG31},
              {"MCG59", RNX_BRNG_MCG59},
              {"R250", RNX_BRNG_R250},
              {"MRG32K3A", RNX_BRNG_MRG32K3A},
              {"WH", RNX_BRNG_WH},
              {"PHILOX4X32X10", RNX_BRNG_PHILOX4X32X10},
              {"ARS5", RNX_BRNG_ARS5},
              {"TRNG", RNX_BRNG_NONDETERM},
              {"MT19937", RNX_BRNG_MT19937},
              {"MT2203", RNX_BRNG_MT2203 + 1},
              {"SFMT19937", RNX_BRNG_SFMT19937}};
  for (const auto &g : gens) {
    benchmark::RegisterBenchmark((std::string(g.name) + "_iGen").c_str(), iGen, g.id);
    benchmark::RegisterBenchmark((std::string(g.name) + "_dGen").c_str(), dGen, g.id);
    benchmark::RegisterBenchmark((std::string(g.name) + "_sGen").c_str(), sGen, g.id);
  }
  benchmark::RegisterBenchmark("Anchor_minstd_rand", Anchor_minstd_rand);
  benchmark::RegisterBenchmark("Anchor_scalar_MRG32K3A_dGen", Anchor_scalar_MRG32K3A_dGen);
  benchmark::RegisterBenchmark("ARS5_iGen_128", ARS5_iGen_128);
  benchmark::RegisterBenchmark("Probe_CPUisAES", Probe_CPUisAES);
  benchmark::RegisterBenchmark("Anchor_r123_philox4x32", Anchor_r123_philox4x32);
  benchmark::RegisterBenchmark("Anchor_r123_ars4x32_R5", Anchor_r123_ars4x32_R5);
  benchmark::RegisterBenchmark("dAbstract_dGen", dAbstract_dGen);
  benchmark::RegisterBenchmark("Anchor_copy_and_map", Anchor_copy_and_map);
  benchmark::RegisterBenchmark("Anchor_std_mt19937", Anchor_std_mt19937);
  benchmark::RegisterBenchmark("Anchor_gsl_mt19937", Anchor_gsl_mt19937);
  const struct {
    const char *name;
    int id;
    uint64_t count;
  } skips[] = {{"MT19937_skip_2p20m1", RNX_BRNG_MT19937, (uint64_t{1} << 20) - 1},
               {"MT19937_skip_2p20", RNX_BRNG_MT19937, uint64_t{1} << 20},
               {"MT19937_skip_2p32", RNX_BRNG_MT19937, uint64_t{1} << 32},
               {"MT19937_skip_2p63", RNX_BRNG_MT19937, kFar},
               {"SFMT19937_skip_2p20", RNX_BRNG_SFMT19937, uint64_t{1} << 20},
               {"SFMT19937_skip_2p32", RNX_BRNG_SFMT19937, uint64_t{1} << 32},
               {"SFMT19937_skip_2p63", RNX_BRNG_SFMT19937, kFar}};
  for (const auto &k : skips) benchmark::RegisterBenchmark(k.name, Skip, k.id, k.count);
  benchmark::RegisterBenchmark("MT19937_Horner_2p63", MT19937_routine<false>);
  benchmark::RegisterBenchmark("MT19937_SWin_2p63", MT19937_routine<true>);
  benchmark::RegisterBenchmark("MT19937_PolyRem_2p63", MT19937_PolyRem_2p63);
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
