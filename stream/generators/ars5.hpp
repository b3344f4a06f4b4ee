// ARS5: AES rounds over a 128-bit counter. A block is c xor k, four encryption rounds and a last
// one, round key i being k + i W added per 64-bit half (W the two Weyl constants below). The
// rounds run on the processor's AES instructions only, in functions that carry those targets:
// eight blocks interleaved in 128-bit registers, or sixteen in four 512-bit registers (VAES,
// n of 256 or more). Both give the same numbers. Templated on the hardware seam (hw.hpp).
#pragma once

#include "stream/generators/counter.hpp"
#include "stream/generators/hw.hpp"

namespace zyn::rng::ars5 {

using counter::u128;
using State = counter::State<4>;

constexpr uint64_t kW0 = 0x9E3779B97F4A7C15, kW1 = 0xBB67AE8584CAA73B;
constexpr int kRoundKeys = 6;  // k itself, then the keys of rounds 1 to 5
constexpr int kWideMin = 256;  // words of a call from which the 512-bit path runs

inline __m128i ctr_vec(u128 c) {
  return _mm_set_epi64x(static_cast<int64_t>(c >> 64), static_cast<int64_t>(c));
}

struct Kernel {
  __m128i rk[kRoundKeys];
  bool wide;
  Kernel(const State &s, bool w) : wide(w) {
    const uint64_t lo = s.key[0] | uint64_t{s.key[1]} << 32, hi = s.key[2] | uint64_t{s.key[3]} << 32;
    for (uint64_t i = 0; i < kRoundKeys; ++i)
      rk[i] = _mm_set_epi64x(static_cast<int64_t>(hi + i * kW1), static_cast<int64_t>(lo + i * kW0));
  }

  [[gnu::target("aes")]] void narrow(int n, u128 c, uint32_t *out) const {
    auto *o = reinterpret_cast<__m128i *>(out);
    int j = 0;
    for (; j + 8 <= n; j += 8) {
      __m128i v[8];
      for (int b = 0; b < 8; ++b) v[b] = _mm_xor_si128(ctr_vec(c + static_cast<unsigned>(j + b)), rk[0]);
      for (int r = 1; r < kRoundKeys - 1; ++r)
        for (int b = 0; b < 8; ++b) v[b] = _mm_aesenc_si128(v[b], rk[r]);
      for (int b = 0; b < 8; ++b) _mm_storeu_si128(o + j + b, _mm_aesenclast_si128(v[b], rk[kRoundKeys - 1]));
    }
    for (; j < n; ++j) {
      __m128i v = _mm_xor_si128(ctr_vec(c + static_cast<unsigned>(j)), rk[0]);
      for (int r = 1; r < kRoundKeys - 1; ++r) v = _mm_aesenc_si128(v, rk[r]);
      _mm_storeu_si128(o + j, _mm_aesenclast_si128(v, rk[kRoundKeys - 1]));
    }
  }

  // Sixteen blocks a step, four to a register; the rest by the 128-bit path.
  [[gnu::target("aes,avx512f,vaes")]] void wide16(int n, u128 c, uint32_t *out) const {
    __m512i k[kRoundKeys];
    for (int r = 0; r < kRoundKeys; ++r) {
      __m128i four[4] = {rk[r], rk[r], rk[r], rk[r]};
      k[r] = _mm512_loadu_si512(four);
    }
    int j = 0;
    for (; j + 16 <= n; j += 16) {
      __m512i v[4];
      for (int q = 0; q < 4; ++q) {
        u128 x[4];
        for (int b = 0; b < 4; ++b) x[b] = c + static_cast<unsigned>(j + 4 * q + b);
        v[q] = _mm512_xor_si512(
            _mm512_set_epi64(static_cast<int64_t>(x[3] >> 64), static_cast<int64_t>(x[3]),
                             static_cast<int64_t>(x[2] >> 64), static_cast<int64_t>(x[2]),
                             static_cast<int64_t>(x[1] >> 64), static_cast<int64_t>(x[1]),
                             static_cast<int64_t>(x[0] >> 64), static_cast<int64_t>(x[0])),
            k[0]);
      }
      for (int r = 1; r < kRoundKeys - 1; ++r)
        for (int q = 0; q < 4; ++q) v[q] = _mm512_aesenc_epi128(v[q], k[r]);
      for (int q = 0; q < 4; ++q)
        _mm512_storeu_si512(out + 4 * (j + 4 * q), _mm512_aesenclast_epi128(v[q], k[kRoundKeys - 1]));
    }
    narrow(n - j, c + static_cast<unsigned>(j), out + 4 * j);
  }

  void blocks(int n, u128 c, uint32_t *out) const {
    if (wide)
      wide16(n, c, out);
    else
      narrow(n, c, out);
  }
};

template <class Hw, class Out>
int run(StreamState *stream, int n, const Out &out) {
  if (!Hw::aes()) return RNX_STATUS_NO_AES;
  State &s = state_of<State>(stream);
  counter::generate(s, Kernel(s, n >= kWideMin && Hw::wide()), n, out);
  return RNX_STATUS_OK;
}

// Skip by N: within the kept block only `left` drops; else r = N - left further words, and the
// block holding the r-th of them is kept with `left` = 4 - r mod 4 (4 on a block boundary).
template <class Hw>
int init(int method, StreamState *stream, int n, const void *params) {
  State &s = state_of<State>(stream);
  switch (method) {
    case RNX_METHOD_INIT:
      counter::seed(s, n, static_cast<const uint32_t *>(params));
      return RNX_STATUS_OK;
    case RNX_METHOD_SKIP: {
      if (!Hw::aes()) return RNX_STATUS_NO_AES;
      const uint64_t count = skip_count(params);
      if (count <= s.left) {
        s.left -= static_cast<uint32_t>(count);
        return RNX_STATUS_OK;
      }
      const uint64_t r = count - s.left;
      counter::skip_blocks(s, Kernel(s, false), r / 4, static_cast<uint32_t>(4 - r % 4));
      return RNX_STATUS_OK;
    }
    case RNX_METHOD_SKIP_EX:
      if (!Hw::aes()) return RNX_STATUS_NO_AES;
      counter::skip_ex(s, Kernel(s, false), n, static_cast<const uint64_t *>(params));
      return RNX_STATUS_OK;
    default:
      return lacking(method);
  }
}

}  // namespace zyn::rng::ars5
