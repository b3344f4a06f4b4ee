// The processor features and the random instruction, behind one seam: the generators that need
// them are templates on a Hw type, instantiated with Native here and with scripted probes and
// sources in the tests. Native asks the exported probes at every call, with no cache.
#pragma once

#include <immintrin.h>

#include <cstdint>

#include "zyn/rng.h"

namespace zyn::rng::hw {

struct Native {
  static bool aes() { return __rnxCPUisAES() != 0; }
  static bool rdrand() { return __rnxCPUisRDRAND() != 0; }
  // The 512-bit path: VAES, and AVX-512F with its registers enabled by the system.
  static bool wide() { return __rnxCPUisVAES() != 0 && __builtin_cpu_supports("avx512f"); }
  // One try of the random instruction; false when it reports no number.
  [[gnu::target("rdrnd")]] static bool draw64(uint64_t *x) {
    unsigned long long v;
    const bool ok = _rdrand64_step(&v) != 0;
    *x = v;
    return ok;
  }
  [[gnu::target("rdrnd")]] static bool draw32(uint32_t *x) {
    unsigned v;
    const bool ok = _rdrand32_step(&v) != 0;
    *x = v;
    return ok;
  }
};

}  // namespace zyn::rng::hw
