// The main of the statistics benchmarks: the anchors and zyn's blocks both on one BLAS thread.
#include <benchmark/benchmark.h>

extern "C" void openblas_set_num_threads(int);

int main(int argc, char **argv) {
  openblas_set_num_threads(1);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
