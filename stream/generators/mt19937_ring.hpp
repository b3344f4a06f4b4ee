// MT19937 (N 624, M 397, one upper bit, matrix 0x9908B0DF) and its skip-ahead callbacks: a word
// transition at the ring's origin, the ring stored in linear order, and the words left in the
// block spent before the polynomial.
#pragma once

#include "stream/generators/ring624.hpp"
#include "stream/generators/twister.hpp"

namespace zyn::rng {

using Mt19937 = Twister<kRingWords, 397, 31, 11>;
constexpr uint32_t kMt19937A = 0x9908B0DF;

inline void mt19937_step(StreamState *state) {
  Ring624 &s = state_of<Ring624>(state);
  const int o = origin(s), o1 = o + 1 == kRingWords ? 0 : o + 1;
  const int om = o + 397 < kRingWords ? o + 397 : o + 397 - kRingWords;
  s.w[o] = Mt19937::one(s.w[o], s.w[o1], s.w[om], kMt19937A);
  s.idx = o1;
}

inline void mt19937_store(StreamState *stream, const StreamState *state, int) {
  ring_store(state_of<Ring624>(stream), state_of<Ring624>(state));
}

inline int mt19937_prepare(StreamState *stream, uint64_t *nskip, int *remainder) {
  Ring624 &s = state_of<Ring624>(stream);
  const uint64_t left = uint64_t(kRingWords - s.idx);
  if (*nskip <= left) {
    s.idx += int32_t(*nskip);
    return 0;
  }
  *nskip -= left;
  s.idx = kRingWords;
  *remainder = 0;
  return 1;
}

}  // namespace zyn::rng
