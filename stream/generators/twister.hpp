// The Mersenne twister recurrence shared by MT19937 and MT2203: N words of state, the upper
// 32 - R bits of one word joined to the lower R bits of the next,
//   w[i] = w[i + M] ^ (y >> 1) ^ (a if y is odd),  y = (w[i] & upper) | (w[i + 1] & lower),
// indices modulo N, then tempering with shifts U, 7, 15, 18 and masks b, c. The state holds
// untempered words; idx is the next one to deliver, N when the block is used up.
#pragma once

#include <algorithm>

#include "stream/generators/common.hpp"

namespace zyn::rng {

template <int N, int M, int R, int U>
struct Twister {
  static constexpr uint32_t kUpper = ~uint32_t{0} << R, kLower = ~kUpper;

  // Seeding by an array of n words (the key {1} when n < 1).
  static void seed(uint32_t *w, int n, const uint32_t *key) {
    static constexpr uint32_t kOne[1] = {1};
    if (n < 1) n = 1, key = kOne;
    w[0] = 19650218u;
    for (int i = 1; i < N; ++i) w[i] = 1812433253u * (w[i - 1] ^ (w[i - 1] >> 30)) + uint32_t(i);
    int i = 1, j = 0;
    for (int k = std::max(N, n); k > 0; --k) {
      w[i] = (w[i] ^ ((w[i - 1] ^ (w[i - 1] >> 30)) * 1664525u)) + key[j] + uint32_t(j);
      if (++i >= N) w[0] = w[N - 1], i = 1;
      if (++j >= n) j = 0;
    }
    for (int k = N - 1; k > 0; --k) {
      w[i] = (w[i] ^ ((w[i - 1] ^ (w[i - 1] >> 30)) * 1566083941u)) - uint32_t(i);
      if (++i >= N) w[0] = w[N - 1], i = 1;
    }
    w[0] = 0x80000000u;
  }

  static uint32_t one(uint32_t cur, uint32_t next, uint32_t mid, uint32_t a) {
    const uint32_t y = (cur & kUpper) | (next & kLower);
    return mid ^ (y >> 1) ^ ((y & 1) ? a : 0);
  }
  static __m128i four(__m128i cur, __m128i next, __m128i mid, __m128i a) {
    const __m128i y = _mm_or_si128(_mm_and_si128(cur, _mm_set1_epi32(int(kUpper))),
                                   _mm_and_si128(next, _mm_set1_epi32(int(kLower))));
    const __m128i odd = _mm_sub_epi32(_mm_setzero_si128(), _mm_and_si128(y, _mm_set1_epi32(1)));
    return _mm_xor_si128(_mm_xor_si128(mid, _mm_srli_epi32(y, 1)), _mm_and_si128(odd, a));
  }

  // All N words anew, four at a time; the loops split where i + M wraps and before the last
  // word, which takes the new w[0].
  static void twist(uint32_t *w, uint32_t a) {
    const __m128i av = _mm_set1_epi32(int(a));
    auto at = [w](int i) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(w + i)); };
    int i = 0;
    for (; i + 4 <= N - M; i += 4)
      _mm_storeu_si128(reinterpret_cast<__m128i *>(w + i), four(at(i), at(i + 1), at(i + M), av));
    for (; i < N - M; ++i) w[i] = one(w[i], w[i + 1], w[i + M], a);
    for (; i + 5 <= N; i += 4)
      _mm_storeu_si128(reinterpret_cast<__m128i *>(w + i),
                       four(at(i), at(i + 1), at(i + M - N), av));
    for (; i < N - 1; ++i) w[i] = one(w[i], w[i + 1], w[i + M - N], a);
    w[N - 1] = one(w[N - 1], w[0], w[M - 1], a);
  }

  static uint32_t temper(uint32_t y, uint32_t b, uint32_t c) {
    y ^= y >> U;
    y ^= (y << 7) & b;
    y ^= (y << 15) & c;
    return y ^ (y >> 18);
  }
  static __m128i temper(__m128i y, __m128i b, __m128i c) {
    y = _mm_xor_si128(y, _mm_srli_epi32(y, U));
    y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 7), b));
    y = _mm_xor_si128(y, _mm_and_si128(_mm_slli_epi32(y, 15), c));
    return _mm_xor_si128(y, _mm_srli_epi32(y, 18));
  }

  // n tempered words to out: the rest of the block, then fresh blocks.
  template <class Out>
  static void run(uint32_t *w, int32_t &idx, int n, const Out &out, uint32_t a, uint32_t b,
                  uint32_t c) {
    const __m128i bv = _mm_set1_epi32(int(b)), cv = _mm_set1_epi32(int(c));
    for (int done = 0; done < n;) {
      if (idx >= N) {
        twist(w, a);
        idx = 0;
      }
      const int take = std::min(n - done, N - idx);
      const uint32_t *src = w + idx;
      int i = 0;
      for (; i + 4 <= take; i += 4)
        out.four(done + i,
                 temper(_mm_loadu_si128(reinterpret_cast<const __m128i *>(src + i)), bv, cv));
      for (; i < take; ++i) out.one(done + i, temper(src[i], b, c));
      idx += take;
      done += take;
    }
  }

  // Moves the stream by count words without output.
  static void skip(uint32_t *w, int32_t &idx, uint64_t count, uint32_t a) {
    for (;;) {
      const uint64_t take = std::min<uint64_t>(count, uint64_t(N - idx));
      idx += int32_t(take);
      count -= take;
      if (count == 0) return;
      twist(w, a);
      idx = 0;
    }
  }
};

}  // namespace zyn::rng
