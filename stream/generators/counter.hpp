// Shared pieces of the counter-based generators (ARS5, PHILOX4X32X10): the state behind the
// header, the 128-bit counter, the delivery of words from the kept block and fresh blocks, the
// skip rules, and the signed uniform map s * ((b - a) * 2^-32) + (a + b) / 2.
//
// A Kernel gives blocks(n, ctr, out): the n blocks of counters ctr, ctr + 1, ... (mod 2^128),
// four words each, in counter order. It is built once per call, so round keys are too.
#pragma once

#include <algorithm>

#include "stream/generators/common.hpp"

namespace zyn::rng::counter {

using u128 = unsigned __int128;

template <int KeyWords>
struct State {
  uint32_t key[KeyWords];
  uint32_t ctr[4];   // little-endian counter of the next block to compute
  uint32_t left;     // words of block still to deliver, counted from its end
  uint32_t block[4];
};

template <int K>
inline u128 get_ctr(const State<K> &s) {
  u128 c = 0;
  for (int i = 3; i >= 0; --i) c = c << 32 | s.ctr[i];
  return c;
}
template <int K>
inline void set_ctr(State<K> &s, u128 c) {
  for (int i = 0; i < 4; ++i, c >>= 32) s.ctr[i] = static_cast<uint32_t>(c);
}

// Seeding: key words first, then counter words; the rest 0.
template <int K>
inline void seed(State<K> &s, int n, const uint32_t *w) {
  uint32_t all[K + 4] = {};
  for (int i = 0; i < n && i < K + 4; ++i) all[i] = w[i];
  s = State<K>{};
  for (int i = 0; i < K; ++i) s.key[i] = all[i];
  for (int i = 0; i < 4; ++i) s.ctr[i] = all[K + i];
}

// Signed 32-bit words s to doubles s * scale + shift.
struct SignedF64Out {
  double *r;
  double scale, shift;
  void one(int i, uint32_t x) const {
    r[i] = static_cast<double>(static_cast<int32_t>(x)) * scale + shift;
  }
  void four(int i, __m128i v) const {
    const __m128d s = _mm_set1_pd(scale), t = _mm_set1_pd(shift);
    _mm_storeu_pd(r + i, _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(v), s), t));
    _mm_storeu_pd(r + i + 2,
                  _mm_add_pd(_mm_mul_pd(_mm_cvtepi32_pd(_mm_srli_si128(v, 8)), s), t));
  }
};

// The same in single precision throughout.
struct SignedF32Out {
  float *r;
  float scale, shift;
  void one(int i, uint32_t x) const {
    r[i] = static_cast<float>(static_cast<int32_t>(x)) * scale + shift;
  }
  void four(int i, __m128i v) const {
    _mm_storeu_ps(r + i, _mm_add_ps(_mm_mul_ps(_mm_cvtepi32_ps(v), _mm_set1_ps(scale)),
                                    _mm_set1_ps(shift)));
  }
};

inline SignedF64Out signed_out(double *r, double a, double b) {
  return {r, (b - a) * 0x1p-32, (a + b) * 0.5};
}
inline SignedF32Out signed_out(float *r, float a, float b) {
  return {r, (b - a) * 0x1p-32f, (a + b) * 0.5f};
}

// Writes n words: the rest of the kept block, then fresh blocks through a stack buffer; a last
// partial block is kept.
template <int K, class Kernel, class Out>
void generate(State<K> &s, const Kernel &kernel, int n, const Out &out) {
  int i = 0;
  for (; i < n && s.left > 0; ++i, --s.left) out.one(i, s.block[4 - s.left]);
  u128 c = get_ctr(s);
  alignas(16) uint32_t buf[kBlockWords];
  while (n - i >= 4) {
    const int blocks = std::min((n - i) / 4, kBlockWords / 4);
    kernel.blocks(blocks, c, buf);
    c += static_cast<unsigned>(blocks);
    emit_words(out, i, buf, 4 * blocks);
    i += 4 * blocks;
  }
  if (i < n) {
    kernel.blocks(1, c, s.block);
    c += 1;
    s.left = 4;
    for (; i < n; ++i, --s.left) out.one(i, s.block[4 - s.left]);
  }
  set_ctr(s, c);
}

// A count of up to 192 bits, n 64-bit words (at most three read), least significant first.
struct Count192 {
  uint64_t w[3] = {};
  Count192(int n, const uint64_t *p) {
    for (int i = 0; i < n && i < 3; ++i) w[i] = p[i];
  }
  // this -= x, borrowing across the words, modulo 2^192.
  void sub(uint64_t x) {
    for (int i = 0; i < 3 && x != 0; ++i) {
      const uint64_t before = w[i];
      w[i] -= x;
      x = w[i] > before ? 1 : 0;
    }
  }
  unsigned mod4() const { return static_cast<unsigned>(w[0] & 3); }
  // (this / 4) mod 2^128.
  u128 quarter() const {
    return (u128{w[1]} << 64 | w[0]) >> 2 | u128{w[2] & 3} << 126;
  }
};

// Moves past r more words than the kept block holds: the block of ctr + q becomes the kept one
// with `left` words of it to deliver.
template <int K, class Kernel>
void skip_blocks(State<K> &s, const Kernel &kernel, u128 q, uint32_t left) {
  u128 c = get_ctr(s) + q;
  kernel.blocks(1, c, s.block);
  set_ctr(s, c + 1);
  s.left = left;
}

// The multi-word rule: the count less `left`, modulo 2^192, then `left` = 4 - (r mod 4) and the
// counter moved by r / 4 modulo 2^128. A one-word count within the kept block only lowers `left`.
template <int K, class Kernel>
void skip_ex(State<K> &s, const Kernel &kernel, int n, const uint64_t *p) {
  if (n <= 0) return;
  if (n == 1 && p[0] <= s.left) {
    s.left -= static_cast<uint32_t>(p[0]);
    return;
  }
  Count192 r(n, p);
  r.sub(s.left);
  skip_blocks(s, kernel, r.quarter(), 4 - r.mod4());
}

}  // namespace zyn::rng::counter
