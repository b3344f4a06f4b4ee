// Anchors of the counter-based generators: Random123's philox4x32 (10 rounds) and
// ars4x32_R(5, ...), one block per call in a loop, writing the words of 10^6 numbers per
// iteration as 100 buffers of 10^4. Built with AES instructions for ARS.
#include <Random123/ars.h>
#include <Random123/philox.h>
#include <benchmark/benchmark.h>

#include <cstdint>
#include <vector>

void Anchor_r123_philox4x32(benchmark::State &state) {
  philox4x32_ctr_t c = {{0, 0, 0, 0}};
  const philox4x32_key_t k = {{12345, 23456}};
  std::vector<uint32_t> buf(10000);
  for (auto _ : state) {
    for (int call = 0; call < 100; ++call)
      for (size_t i = 0; i < buf.size(); i += 4, ++c.v[0]) {
        const philox4x32_ctr_t r = philox4x32(c, k);
        for (int j = 0; j < 4; ++j) buf[i + j] = r.v[j];
      }
    benchmark::DoNotOptimize(buf.data());
  }
  state.SetItemsProcessed(state.iterations() * 1000000);
  state.SetBytesProcessed(state.iterations() * 4000000);
}

void Anchor_r123_ars4x32_R5(benchmark::State &state) {
  ars4x32_ctr_t c = {{0, 0, 0, 0}};
  const ars4x32_key_t k = ars4x32keyinit({{12345, 23456, 34567, 45678}});
  std::vector<uint32_t> buf(10000);
  for (auto _ : state) {
    for (int call = 0; call < 100; ++call)
      for (size_t i = 0; i < buf.size(); i += 4, ++c.v[0]) {
        const ars4x32_ctr_t r = ars4x32_R(5, c, k);
        for (int j = 0; j < 4; ++j) buf[i + j] = r.v[j];
      }
    benchmark::DoNotOptimize(buf.data());
  }
  state.SetItemsProcessed(state.iterations() * 1000000);
  state.SetBytesProcessed(state.iterations() * 4000000);
}
