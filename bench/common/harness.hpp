// Benchmark harness of the vector kernels: throughput per element, every kernel timed in the
// same run as its anchors, and a closing table of ratios (anchor time / kernel time, so above 1
// means the kernel is faster).
//
// Benchmarks are named "<group>/<variant>/<n>"; a comparison names a kernel variant and the
// anchor variants of the same group.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

namespace zyn::bench {

struct Comparison {
  std::string group;                 // "dLn"
  std::string kernel;                // "HA"
  std::vector<std::string> anchors;  // {"glibc", "sleef_u10"}
};

// Registers a benchmark over inputs produced by `make` (n elements, in L1 at 1000 and from
// memory at 10^7) that calls `run(n, in, out)` each iteration.
template <class T>
void add_unary(const std::string &group, const std::string &variant,
               std::function<void(int, const T *, T *)> run, std::function<T(size_t)> make,
               std::vector<int> sizes = {1000, 10000000});
template <class T>
void add_binary(const std::string &group, const std::string &variant,
                std::function<void(int, const T *, const T *, T *)> run,
                std::function<T(size_t)> make_a, std::function<T(size_t)> make_b,
                std::vector<int> sizes = {1000, 10000000});

// Runs all registered benchmarks and prints the ratio table for the comparisons.
int run_all(int argc, char **argv, const std::vector<Comparison> &comparisons);

}  // namespace zyn::bench
