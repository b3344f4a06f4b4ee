// A stream of a given generator with the benchmarks' fixed six-word seed, deleted at scope end.
#pragma once

#include <cstdint>

#include "zyn/rng.h"

namespace zyn::bench {

struct SeededStream {
  StreamState *s = nullptr;
  explicit SeededStream(int id) {
    const uint32_t seed[6] = {12345, 23456, 34567, 45678, 56789, 67890};
    __rnxNewStreamEx(&s, id, 6, seed);
  }
  ~SeededStream() { __rnxDeleteStream(&s); }
  SeededStream(const SeededStream &) = delete;
  SeededStream &operator=(const SeededStream &) = delete;
};

}  // namespace zyn::bench
