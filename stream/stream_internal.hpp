// Internal helpers of the stream subsystem: id resolution, access to a stream's generator state,
// the release of one chunk, and the output conversions shared by the generators.
#pragma once

#include <cstdint>
#include <cstring>

#include "zyn/rng.h"

namespace zyn::rng {

// The row a stream or id resolves to.
struct Resolved {
  const BrngEntry *table;
  int row;
  int sub;
  const BrngEntry &entry() const { return table[row]; }
};

inline Resolved resolve(int id) {
  Resolved r;
  r.table = __rnxGetBrngBaseOffset(id, &r.row, &r.sub);
  return r;
}

// The generator state behind the 16-byte header, viewed as the generator's record.
template <class State>
inline State &state_of(StreamState *stream) {
  static_assert(sizeof(StreamState) == 16);
  return *reinterpret_cast<State *>(reinterpret_cast<char *>(stream) + sizeof(StreamState));
}
template <class State>
inline const State &state_of(const StreamState *stream) {
  return *reinterpret_cast<const State *>(reinterpret_cast<const char *>(stream) +
                                          sizeof(StreamState));
}

// Releases one chunk: its reference on the shared table, or its own block, then the record.
void release_chunk(StreamChunk *chunk);

// Releases every chunk of the stream and clears its head.
void release_all_chunks(StreamState *stream);

// The parameter of a leapfrog or skip-ahead call.
inline int32_t leapfrog_k(const void *params) {
  int32_t k;
  std::memcpy(&k, params, sizeof k);
  return k;
}
inline uint64_t skip_count(const void *params) {
  uint64_t v;
  std::memcpy(&v, params, sizeof v);
  return v;
}

}  // namespace zyn::rng
