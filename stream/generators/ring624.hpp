// The 624-word state that MT19937 and SFMT19937 share at the head of their records, seen by the
// polynomial skip-ahead as a ring whose origin is its position: a transition rewrites the word
// (or element) at the origin and moves the origin on, never the array.
#pragma once

#include <algorithm>
#include <cstring>

#include "stream/generators/common.hpp"

namespace zyn::rng {

constexpr int kRingWords = 624;

struct Ring624 {
  uint32_t w[kRingWords];
  int32_t idx;  // a stream's position N (used up) is origin 0
};

inline int origin(const Ring624 &r) { return r.idx % kRingWords; }

inline void ring_zero(StreamState *state) {
  Ring624 &r = state_of<Ring624>(state);
  std::memset(&r, 0, sizeof r);
}

inline void ring_copy(StreamState *state, const StreamState *other) {
  std::memcpy(&state_of<Ring624>(state), &state_of<Ring624>(other), sizeof(Ring624));
}

// state ^= other, word j after the origin of one on word j after the origin of the other.
inline void ring_add(StreamState *state, const StreamState *other) {
  Ring624 &a = state_of<Ring624>(state);
  const Ring624 &b = state_of<Ring624>(other);
  const int oa = origin(a), ob = origin(b);
  for (int j = 0; j < kRingWords;) {
    const int ia = (oa + j) % kRingWords, ib = (ob + j) % kRingWords;
    const int len = std::min({kRingWords - ia, kRingWords - ib, kRingWords - j});
    for (int k = 0; k < len; ++k) a.w[ia + k] ^= b.w[ib + k];
    j += len;
  }
}

// The ring written to the stream in linear order, the stream's block used up.
inline void ring_store(Ring624 &stream, const Ring624 &state) {
  const int o = origin(state);
  std::memcpy(stream.w, state.w + o, sizeof(uint32_t) * size_t(kRingWords - o));
  std::memcpy(stream.w + kRingWords - o, state.w, sizeof(uint32_t) * size_t(o));
  stream.idx = kRingWords;
}

}  // namespace zyn::rng
