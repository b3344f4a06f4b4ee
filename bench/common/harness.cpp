#include "bench/common/harness.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>

namespace zyn::bench {

template <class T>
void add_unary(const std::string &group, const std::string &variant,
               std::function<void(int, const T *, T *)> run, std::function<T(size_t)> make,
               std::vector<int> sizes) {
  for (int n : sizes) {
    benchmark::RegisterBenchmark((group + "/" + variant + "/" + std::to_string(n)).c_str(),
                                 [=](benchmark::State &st) {
                                   std::vector<T> in(n), out(n);
                                   for (int i = 0; i < n; ++i) in[i] = make(static_cast<size_t>(i));
                                   for (auto _ : st) {
                                     run(n, in.data(), out.data());
                                     benchmark::DoNotOptimize(out.data());
                                     benchmark::ClobberMemory();
                                   }
                                   st.SetItemsProcessed(st.iterations() * n);
                                 });
  }
}

template <class T>
void add_binary(const std::string &group, const std::string &variant,
                std::function<void(int, const T *, const T *, T *)> run,
                std::function<T(size_t)> make_a, std::function<T(size_t)> make_b,
                std::vector<int> sizes) {
  for (int n : sizes) {
    benchmark::RegisterBenchmark((group + "/" + variant + "/" + std::to_string(n)).c_str(),
                                 [=](benchmark::State &st) {
                                   std::vector<T> a(n), b(n), out(n);
                                   for (int i = 0; i < n; ++i) {
                                     a[i] = make_a(static_cast<size_t>(i));
                                     b[i] = make_b(static_cast<size_t>(i));
                                   }
                                   for (auto _ : st) {
                                     run(n, a.data(), b.data(), out.data());
                                     benchmark::DoNotOptimize(out.data());
                                     benchmark::ClobberMemory();
                                   }
                                   st.SetItemsProcessed(st.iterations() * n);
                                 });
  }
}

template void add_unary<double>(const std::string &, const std::string &,
                                std::function<void(int, const double *, double *)>,
                                std::function<double(size_t)>, std::vector<int>);
template void add_unary<float>(const std::string &, const std::string &,
                               std::function<void(int, const float *, float *)>,
                               std::function<float(size_t)>, std::vector<int>);
template void add_binary<double>(const std::string &, const std::string &,
                                 std::function<void(int, const double *, const double *, double *)>,
                                 std::function<double(size_t)>, std::function<double(size_t)>,
                                 std::vector<int>);
template void add_binary<float>(const std::string &, const std::string &,
                                std::function<void(int, const float *, const float *, float *)>,
                                std::function<float(size_t)>, std::function<float(size_t)>,
                                std::vector<int>);

namespace {
// Remembers nanoseconds per element of every run while printing as usual.
class Collector : public benchmark::ConsoleReporter {
 public:
  std::map<std::string, double> ns_per_item;
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &r : runs) {
      if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
      auto it = r.counters.find("items_per_second");
      if (it == r.counters.end() || it->second.value <= 0) continue;
      // with --benchmark_repetitions the fastest repetition stands
      auto [at, fresh] = ns_per_item.try_emplace(r.benchmark_name(), 1e9 / it->second.value);
      if (!fresh) at->second = std::min(at->second, 1e9 / it->second.value);
    }
    ConsoleReporter::ReportRuns(runs);
  }
};
}  // namespace

int run_all(int argc, char **argv, const std::vector<Comparison> &comparisons) {
  benchmark::Initialize(&argc, argv);
  Collector rep;
  benchmark::RunSpecifiedBenchmarks(&rep);
  printf("\n%-14s %-8s %10s %10s  %s\n", "group/n", "kernel", "ns/elem", "", "ratio to anchors (anchor time / kernel time)");
  std::set<long> sizes;  // every n that was run, in order
  for (const auto &r : rep.ns_per_item)
    if (long v = strtol(r.first.c_str() + r.first.rfind('/') + 1, nullptr, 10); v > 0) sizes.insert(v);
  for (const Comparison &c : comparisons) {
    for (long size : sizes) {
      const std::string n = std::to_string(size);
      auto k = rep.ns_per_item.find(c.group + "/" + c.kernel + "/" + n);
      if (k == rep.ns_per_item.end()) continue;
      printf("%-14s %-8s %10.3f %10s ", (c.group + "/" + n).c_str(), c.kernel.c_str(), k->second, "");
      for (const std::string &a : c.anchors) {
        auto an = rep.ns_per_item.find(c.group + "/" + a + "/" + n);
        if (an != rep.ns_per_item.end()) printf(" %s %.2fx", a.c_str(), an->second / k->second);
      }
      printf("\n");
    }
  }
  benchmark::Shutdown();
  return 0;
}

}  // namespace zyn::bench
