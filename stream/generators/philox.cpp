// PHILOX4X32X10: the Philox 4x32 bijection with ten rounds over a 128-bit counter and a 64-bit
// key. Blocks run four side by side, one block word per register (x0 of blocks 0..3, ...), with
// the 32 x 32 -> 64 products of even and odd lanes recombined by blends, two such groups
// interleaved; the ten round keys are fixed once per call.
#include "stream/generators/counter.hpp"

namespace {

using namespace zyn::rng;
using counter::u128;

constexpr uint32_t kM0 = 0xD2511F53, kM1 = 0xCD9E8D57;
constexpr uint32_t kW0 = 0x9E3779B9, kW1 = 0xBB67AE85;
constexpr int kRounds = 10;

using State = counter::State<2>;

// High and low words of the lane products a * m, lanes in order.
inline void mul_hi_lo(__m128i a, __m128i m, __m128i &hi, __m128i &lo) {
  const __m128i even = _mm_mul_epu32(a, m), odd = _mm_mul_epu32(_mm_srli_epi64(a, 32), m);
  hi = _mm_blend_epi16(_mm_srli_epi64(even, 32), odd, 0xCC);
  lo = _mm_blend_epi16(even, _mm_slli_epi64(odd, 32), 0xCC);
}

struct Kernel {
  __m128i k0[kRounds], k1[kRounds];
  explicit Kernel(const State &s) {
    uint32_t a = s.key[0], b = s.key[1];
    for (int r = 0; r < kRounds; ++r, a += kW0, b += kW1) {
      k0[r] = _mm_set1_epi32(static_cast<int>(a));
      k1[r] = _mm_set1_epi32(static_cast<int>(b));
    }
  }
  // Counter words of blocks c .. c + 3, one register per word: broadcasts plus 0..3 in the low
  // word unless it wraps within the four.
  static void lanes(u128 c, __m128i *x) {
    const uint32_t w[4] = {static_cast<uint32_t>(c), static_cast<uint32_t>(c >> 32),
                           static_cast<uint32_t>(c >> 64), static_cast<uint32_t>(c >> 96)};
    if (w[0] <= 0xFFFFFFFCu) {
      x[0] = _mm_add_epi32(_mm_set1_epi32(static_cast<int>(w[0])), _mm_setr_epi32(0, 1, 2, 3));
      for (int i = 1; i < 4; ++i) x[i] = _mm_set1_epi32(static_cast<int>(w[i]));
      return;
    }
    uint32_t v[4][4];
    for (int j = 0; j < 4; ++j, ++c) {
      u128 y = c;
      for (int i = 0; i < 4; ++i, y >>= 32) v[i][j] = static_cast<uint32_t>(y);
    }
    for (int i = 0; i < 4; ++i) x[i] = _mm_loadu_si128(reinterpret_cast<const __m128i *>(v[i]));
  }
  // kGroups * 4 blocks from counters c on, stored block after block: independent groups
  // interleaved so that the multiplications' latency overlaps.
  static constexpr int kGroups = 2;
  void group(u128 c, uint32_t *out) const {
    __m128i x[kGroups][4];
    for (int g = 0; g < kGroups; ++g) lanes(c + static_cast<unsigned>(4 * g), x[g]);
    const __m128i m0 = _mm_set1_epi32(static_cast<int>(kM0)), m1 = _mm_set1_epi32(static_cast<int>(kM1));
    for (int r = 0; r < kRounds; ++r)
      for (int g = 0; g < kGroups; ++g) {
        __m128i hi0, lo0, hi1, lo1;
        mul_hi_lo(x[g][0], m0, hi0, lo0);
        mul_hi_lo(x[g][2], m1, hi1, lo1);
        x[g][0] = _mm_xor_si128(_mm_xor_si128(hi1, x[g][1]), k0[r]);
        x[g][1] = lo1;
        x[g][2] = _mm_xor_si128(_mm_xor_si128(hi0, x[g][3]), k1[r]);
        x[g][3] = lo0;
      }
    for (int g = 0; g < kGroups; ++g) {  // transpose to block order
      const __m128i t0 = _mm_unpacklo_epi32(x[g][0], x[g][1]), t1 = _mm_unpacklo_epi32(x[g][2], x[g][3]);
      const __m128i t2 = _mm_unpackhi_epi32(x[g][0], x[g][1]), t3 = _mm_unpackhi_epi32(x[g][2], x[g][3]);
      auto *o = reinterpret_cast<__m128i *>(out) + 4 * g;
      _mm_storeu_si128(o + 0, _mm_unpacklo_epi64(t0, t1));
      _mm_storeu_si128(o + 1, _mm_unpackhi_epi64(t0, t1));
      _mm_storeu_si128(o + 2, _mm_unpacklo_epi64(t2, t3));
      _mm_storeu_si128(o + 3, _mm_unpackhi_epi64(t2, t3));
    }
  }
  void blocks(int n, u128 c, uint32_t *out) const {
    int j = 0;
    constexpr int step = 4 * kGroups;
    for (; j + step <= n; j += step, c += step) group(c, out + 4 * j);
    if (j < n) {
      alignas(16) uint32_t t[4 * step];
      group(c, t);
      std::copy(t, t + 4 * (n - j), out + 4 * j);
    }
  }
};

template <class Out>
int run(StreamState *stream, int n, const Out &out) {
  State &s = state_of<State>(stream);
  counter::generate(s, Kernel(s), n, out);
  return RNX_STATUS_OK;
}

// Skip by N: within the kept block only `left` drops; else r = N - left further words, the
// block holding the r-th of them computed and `left` = (4 - r) mod 4.
void skip(State &s, uint64_t count) {
  if (count <= s.left) {
    s.left -= static_cast<uint32_t>(count);
    return;
  }
  const uint64_t r = count - s.left;
  counter::skip_blocks(s, Kernel(s), (r - 1) / 4, static_cast<uint32_t>((4 - r % 4) % 4));
}

}  // namespace

extern "C" {

ZYN_API int __rnxBRngPHILOX4X32X10InitStream(int method, StreamState *stream, int n,
                                             const void *params) {
  State &s = state_of<State>(stream);
  switch (method) {
    case RNX_METHOD_INIT:
      counter::seed(s, n, static_cast<const uint32_t *>(params));
      return RNX_STATUS_OK;
    case RNX_METHOD_SKIP:
      skip(s, skip_count(params));
      return RNX_STATUS_OK;
    case RNX_METHOD_SKIP_EX:
      counter::skip_ex(s, Kernel(s), n, static_cast<const uint64_t *>(params));
      return RNX_STATUS_OK;
    default:
      return lacking(method);
  }
}

ZYN_API int __rnxiBRngPHILOX4X32X10(StreamState *stream, int n, uint32_t *r) {
  return run(stream, n, U32Out{r});
}
ZYN_API int __rnxdBRngPHILOX4X32X10(StreamState *stream, int n, double *r, double a, double b) {
  return run(stream, n, counter::signed_out(r, a, b));
}
ZYN_API int __rnxsBRngPHILOX4X32X10(StreamState *stream, int n, float *r, float a, float b) {
  return run(stream, n, counter::signed_out(r, a, b));
}

}  // extern "C"
