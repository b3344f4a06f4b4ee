// Pack and unpack against plain loops of the same indexing, in the same run, at n = 1000 and
// 10^6, in the 32-bit form (the exported names) and the 64-bit form (through _ttab with width
// flag 2 and 64-bit selectors); PackI at stride 1 against memcpy. Strides 3, masks with about
// half of their elements set, indices a permutation.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "bench/common/harness.hpp"
#include "zyn/vex.h"

using zyn::bench::Comparison;

namespace {
constexpr long kMax = 1000000;

template <class N>
struct Data {
  std::vector<double> a = std::vector<double>(3 * kMax, 1.5), y = std::vector<double>(3 * kMax);
  std::vector<N> mask, index;
  explicit Data(long n) : mask(n), index(n) {
    for (long i = 0; i < n; ++i) {
      mask[i] = ((i * 2654435761u) >> 7) & 1;
      index[i] = static_cast<N>((i * 7919) % n);  // 7919 is prime and not a factor of n
    }
  }
};

// A variant of group g: f(data, n) run over n elements.
template <class N, class F>
void add(const std::string &g, const std::string &variant, long n, F f) {
  benchmark::RegisterBenchmark((g + "/" + variant + "/" + std::to_string(n)).c_str(), [=](benchmark::State &st) {
    Data<N> d(n);
    for (auto _ : st) {
      f(d, n);
      benchmark::DoNotOptimize(d.y.data());
      benchmark::ClobberMemory();
    }
    st.SetItemsProcessed(st.iterations() * n);
  });
}

// The kernels of one width: W = 1 through the stubs' arguments, 2 through _ttab.
template <class N, int W>
void kernels(const std::string &w, long n) {
  add<N>("dPackI" + w, "zyn", n, [](Data<N> &d, long m) { zyn_vex_kernel_dPackI_ttab[1](m, d.a.data(), 3, d.y.data(), W); });
  add<N>("dPackI" + w, "loop", n, [](Data<N> &d, long m) {
    N inc = 3;
    benchmark::DoNotOptimize(inc);  // a stride known at run time, as the kernel's
    for (N i = 0; i < static_cast<N>(m); ++i) d.y[i] = d.a[i * inc];
  });
  add<N>("dPackI1" + w, "zyn", n, [](Data<N> &d, long m) { zyn_vex_kernel_dPackI_ttab[1](m, d.a.data(), 1, d.y.data(), W); });
  add<N>("dPackI1" + w, "memcpy", n, [](Data<N> &d, long m) { memcpy(d.y.data(), d.a.data(), m * sizeof(double)); });
  add<N>("dPackM" + w, "zyn", n, [](Data<N> &d, long m) { zyn_vex_kernel_dPackM_ttab[1](m, d.a.data(), d.mask.data(), d.y.data(), W); });
  add<N>("dPackM" + w, "loop", n, [](Data<N> &d, long m) {
    N k = 0;
    for (N i = 0; i < static_cast<N>(m); ++i)
      if (d.mask[i] != 0) d.y[k++] = d.a[i];
  });
  add<N>("dPackV" + w, "zyn", n, [](Data<N> &d, long m) { zyn_vex_kernel_dPackV_ttab[1](m, d.a.data(), d.index.data(), d.y.data(), W); });
  add<N>("dPackV" + w, "loop", n, [](Data<N> &d, long m) {
    for (N i = 0; i < static_cast<N>(m); ++i) d.y[i] = d.a[d.index[i]];
  });
  add<N>("dUnpackI" + w, "zyn", n, [](Data<N> &d, long m) { zyn_vex_kernel_dUnpackI_ttab[1](m, d.a.data(), d.y.data(), 3, W); });
  add<N>("dUnpackI" + w, "loop", n, [](Data<N> &d, long m) {
    N inc = 3;
    benchmark::DoNotOptimize(inc);
    for (N i = 0; i < static_cast<N>(m); ++i) d.y[i * inc] = d.a[i];
  });
  add<N>("dUnpackM" + w, "zyn", n, [](Data<N> &d, long m) { zyn_vex_kernel_dUnpackM_ttab[1](m, d.a.data(), d.y.data(), d.mask.data(), W); });
  add<N>("dUnpackM" + w, "loop", n, [](Data<N> &d, long m) {
    N k = 0;
    for (N i = 0; i < static_cast<N>(m); ++i)
      if (d.mask[i] != 0) d.y[i] = d.a[k++];
  });
  add<N>("dUnpackV" + w, "zyn", n, [](Data<N> &d, long m) { zyn_vex_kernel_dUnpackV_ttab[1](m, d.a.data(), d.y.data(), d.index.data(), W); });
  add<N>("dUnpackV" + w, "loop", n, [](Data<N> &d, long m) {
    for (N i = 0; i < static_cast<N>(m); ++i) d.y[d.index[i]] = d.a[i];
  });
}
}  // namespace

int main(int argc, char **argv) {
  std::vector<Comparison> cmp;
  for (long n : {1000L, kMax}) {
    kernels<int32_t, 1>("_32", n);
    kernels<int64_t, 2>("_64", n);
  }
  for (const char *w : {"_32", "_64"}) {
    for (const char *s : {"dPackI", "dPackM", "dPackV", "dUnpackI", "dUnpackM", "dUnpackV"})
      cmp.push_back({std::string(s) + w, "zyn", {"loop"}});
    cmp.push_back({std::string("dPackI1") + w, "zyn", {"memcpy"}});
  }
  return zyn::bench::run_all(argc, argv, cmp);
}
