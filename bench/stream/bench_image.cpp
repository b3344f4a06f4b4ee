// Stream images: the memory round trip of an MT19937 stream (save, load, delete) against
// std::mt19937 written with operator<< to a std::stringstream and read back with operator>>, and
// the file round trip, all in one run. The summary prints the times and the ratio.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "bench/common/cpu_time_reporter.hpp"
#include "zyn/rng.h"

namespace {

// The module finds the core library among the loaded objects: a reference keeps this program
// linked to it.
[[gnu::used]] void *(*const kCoreAllocate)(size_t, int) = &zyn_serv_allocate;

StreamState *mt19937() {
  const uint32_t seed = 5489;
  StreamState *s = nullptr;
  __rnxNewStreamEx(&s, RNX_BRNG_MT19937, 1, &seed);
  return s;
}

void MT19937_memory_round_trip(benchmark::State &state) {
  StreamState *s = mt19937();
  std::vector<char> image(size_t(__rnxGetStreamSize(s)));
  for (auto _ : state) {
    StreamState *t = nullptr;
    __rnxSaveStreamM(s, image.data());
    __rnxLoadStreamM(&t, image.data());
    benchmark::DoNotOptimize(t);
    __rnxDeleteStream(&t);
  }
  __rnxDeleteStream(&s);
}

void MT19937_file_round_trip(benchmark::State &state) {
  StreamState *s = mt19937();
  const std::string path = "/tmp/zyn_bench_image_" + std::to_string(getpid());
  for (auto _ : state) {
    StreamState *t = nullptr;
    __rnxSaveStreamF(s, path.c_str(), -1);
    __rnxLoadStreamF(&t, path.c_str(), -1);
    benchmark::DoNotOptimize(t);
    __rnxDeleteStream(&t);
  }
  std::remove(path.c_str());
  __rnxDeleteStream(&s);
}

void Anchor_std_mt19937_stringstream(benchmark::State &state) {
  std::mt19937 g(5489);
  for (auto _ : state) {
    std::stringstream io;
    io << g;
    std::mt19937 h;
    io >> h;
    benchmark::DoNotOptimize(h);
  }
}

void Summary(const zyn::bench::Seconds &t) {
  const double mem = t.at("MT19937_memory_round_trip"), anchor = t.at("Anchor_std_mt19937_stringstream");
  std::printf("MT19937 memory round trip %.2f us (target < 10), std::mt19937 stringstream %.2f us: %.1fx (target >= 20)\n",
              mem * 1e6, anchor * 1e6, anchor / mem);
  std::printf("MT19937 file round trip %.2f us processor time\n", t.at("MT19937_file_round_trip") * 1e6);
}

}  // namespace

BENCHMARK(MT19937_memory_round_trip);
BENCHMARK(MT19937_file_round_trip);
BENCHMARK(Anchor_std_mt19937_stringstream);

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  zyn::bench::CpuTimeReporter reporter(Summary);
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
