// R250: x(n) = x(n-250) xor x(n-147), kept as a ring w[250] with p at the oldest word and q
// 147 words behind the newest (started at 0 and 103).
//
// From 250 numbers on, the output array is the history: the first 147 outputs read the ring
// twice, outputs 147 to 249 read the ring and the output 147 back, and the rest only outputs; the
// last 250 outputs then become the ring. Double and single outputs build their words in an
// L1-resident buffer of 1024 words, block after block, and convert each.
#include "stream/generators/common.hpp"

namespace {

using namespace zyn::rng;

constexpr int kN = 250;
constexpr int kLag = 147;     // x(n-147)
constexpr int kQStart = 103;  // kN - kLag
constexpr uint32_t kLcg = 69069;
constexpr double kTwoM32 = 0x1p-32;

struct State {
  uint32_t w[kN];
  uint32_t p, q;
};

inline uint32_t step(State &s) {
  uint32_t out = s.w[s.p] ^ s.w[s.q];
  s.w[s.p] = out;
  s.p = s.p + 1 == kN ? 0 : s.p + 1;
  s.q = s.q + 1 == kN ? 0 : s.q + 1;
  return out;
}

inline void xor4(uint32_t *o, const uint32_t *x, const uint32_t *y) {
  __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(x));
  __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(y));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o), _mm_xor_si128(a, b));
}

// n >= kN numbers into o, the output array serving as the history.
void block(State &s, int n, uint32_t *o) {
  uint32_t ring[kN];  // the ring unrolled from p: ring[i] = x(n - 250 + i)
  for (int i = 0; i < kN; ++i) ring[i] = s.w[(s.p + i) % kN];
  for (int i = 0; i < kLag; ++i) o[i] = ring[i] ^ ring[i + kQStart];
  int i = kLag;
  for (; i + 4 <= kN; i += 4) xor4(o + i, ring + i, o + i - kLag);
  for (; i < kN; ++i) o[i] = ring[i] ^ o[i - kLag];
  // o[i-250] and o[i-147] lie at least 147 words behind i: four at a time never overlap.
  for (; i + 4 <= n; i += 4) xor4(o + i, o + i - kN, o + i - kLag);
  for (; i < n; ++i) o[i] = o[i - kN] ^ o[i - kLag];
  std::memcpy(s.w, o + n - kN, sizeof s.w);
  s.p = 0;
  s.q = kQStart;
}

void words(State &s, int n, uint32_t *o) {
  if (n >= kN) {
    block(s, n, o);
    return;
  }
  for (int i = 0; i < n; ++i) o[i] = step(s);
}

template <class Out>
int convert(StreamState *stream, int n, const Out &out) {
  State &s = state_of<State>(stream);
  uint32_t buf[kBlockWords];
  for (int i = 0; i < n; i += kBlockWords) {
    int m = n - i < kBlockWords ? n - i : kBlockWords;
    words(s, m, buf);
    emit_words(out, i, buf, m);
  }
  return RNX_STATUS_OK;
}

}  // namespace

extern "C" {

ZYN_API int __rnxBRngR250InitStream(int method, StreamState *stream, int n, const void *params) {
  switch (method) {
    case RNX_METHOD_INIT: {
      State &s = state_of<State>(stream);
      const uint32_t *seed = static_cast<const uint32_t *>(params);
      if (n >= kN) {
        std::memcpy(s.w, seed, sizeof s.w);
      } else {
        uint32_t x = (n < 1 || seed[0] == 0) ? 1 : seed[0];
        for (int i = 0; i < kN; ++i) s.w[i] = x *= kLcg;
        // 32 words forced into a triangle of bits make the rows linearly independent.
        for (int j = 0; j < 32; ++j) {
          uint32_t &w = s.w[3 + 7 * j];
          w = (w & (0xFFFFFFFFu >> j)) | (0x80000000u >> j);
        }
      }
      s.p = 0;
      s.q = kQStart;
      return RNX_STATUS_OK;
    }
    default:
      return lacking(method);
  }
}

ZYN_API int __rnxiBRngR250(StreamState *stream, int n, uint32_t *r) {
  if (n > 0) words(state_of<State>(stream), n, r);
  return RNX_STATUS_OK;
}

ZYN_RNX_UNIFORM_OUTPUTS(R250, convert, kTwoM32)

}  // extern "C"
