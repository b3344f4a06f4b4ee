// MCG59: x(n+1) = a x(n) mod 2^59, a = 13^13. The state holds the next value.
//
// Blocks of 16 run in eight lanes that each advance by a^8: independent 64-bit products, which
// the processor overlaps. Doubles come from the exact split x = h 2^32 + l: (2^84 + h 2^32) and
// (2^52 + l) built as bits, whose sum after removing 2^84 + 2^52 is x rounded once, as a direct
// conversion rounds it.
#include <bit>

#include "stream/generators/common.hpp"

namespace {

using namespace zyn::rng;

constexpr uint64_t kMask = (uint64_t{1} << 59) - 1;
constexpr uint64_t kA = 302875106592253ULL;
constexpr double kTwoM59 = 0x1p-59;
constexpr float kTwoM59f = 0x1p-59f;
constexpr int kLanes = 8;
constexpr int kBlock = 16;

struct State {
  uint64_t x, a;
};

struct U64Out {
  uint32_t *r;
  void one(int i, uint64_t x) const { std::memcpy(r + 2 * i, &x, sizeof x); }
  void eight(int i, const uint64_t *x) const { std::memcpy(r + 2 * i, x, 8 * sizeof *x); }
};

inline __m128d u59x2_to_pd(const uint64_t *x) {
  const __m128i lo_magic = _mm_set1_epi64x(0x4330000000000000LL);  // 2^52
  const __m128i hi_magic = _mm_set1_epi64x(0x4530000000000000LL);  // 2^84
  const __m128d both = _mm_set1_pd(0x1p84 + 0x1p52);
  __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(x));
  __m128i lo = _mm_blend_epi16(v, lo_magic, 0xCC);                  // 2^52 + low word
  __m128i hi = _mm_or_si128(_mm_srli_epi64(v, 32), hi_magic);       // 2^84 + high word 2^32
  __m128d h = _mm_sub_pd(_mm_castsi128_pd(hi), both);               // exact
  return _mm_add_pd(h, _mm_castsi128_pd(lo));
}

struct F64Out59 {
  double *r;
  double scale, shift;
  void one(int i, uint64_t x) const { r[i] = static_cast<double>(x) * scale + shift; }
  void eight(int i, const uint64_t *x) const {
    const __m128d s = _mm_set1_pd(scale), t = _mm_set1_pd(shift);
    for (int j = 0; j < 8; j += 2)
      _mm_storeu_pd(r + i + j, _mm_add_pd(_mm_mul_pd(u59x2_to_pd(x + j), s), t));
  }
};

// Wholly in single precision: the integer rounded once to single, the scale (b - a) 2^-59.
struct F32Out59 {
  float *r;
  float scale, shift;
  void one(int i, uint64_t x) const {
    r[i] = static_cast<float>(static_cast<int64_t>(x)) * scale + shift;
  }
  void eight(int i, const uint64_t *x) const {
    for (int j = 0; j < 8; ++j) one(i + j, x[j]);
  }
};

template <class Out>
int run(StreamState *stream, int n, const Out &out) {
  State &s = state_of<State>(stream);
  uint64_t x = s.x;
  const uint64_t a = s.a;
  int i = 0;
  if (n >= kBlock) {
    alignas(16) uint64_t l[kLanes];
    l[0] = x;
    for (int j = 1; j < kLanes; ++j) l[j] = (a * l[j - 1]) & kMask;
    const uint64_t a8 = __rnxiPowMod2P59(a, kLanes);
    const int blocks = n & ~(kBlock - 1);
    for (; i < blocks; i += kLanes) {
      out.eight(i, l);
      for (int j = 0; j < kLanes; ++j) l[j] = (a8 * l[j]) & kMask;
    }
    x = l[0];
  }
  for (; i < n; ++i) {
    out.one(i, x);
    x = (a * x) & kMask;
  }
  s.x = x;
  return RNX_STATUS_OK;
}

}  // namespace

extern "C" {

ZYN_API int __rnxBRngMCG59InitStream(int method, StreamState *stream, int n, const void *params) {
  State &s = state_of<State>(stream);
  switch (method) {
    case RNX_METHOD_INIT: {
      const uint32_t *seed = static_cast<const uint32_t *>(params);
      uint64_t x = 1;
      if (n == 1) x = seed[0];
      if (n >= 2) x = (seed[0] | (static_cast<uint64_t>(seed[1]) << 32)) & kMask;
      s.x = x == 0 ? 1 : x;
      s.a = kA;
      return RNX_STATUS_OK;
    }
    case RNX_METHOD_LEAPFROG: {
      uint32_t k = static_cast<uint32_t>(leapfrog_k(params));
      s.x = (s.x * __rnxiPowMod2P59(s.a, k)) & kMask;
      s.a = __rnxiPowMod2P59(s.a, static_cast<uint32_t>(n)) & kMask;
      return RNX_STATUS_OK;
    }
    case RNX_METHOD_SKIP:
      s.x = (s.x * __rnxiPowMod2P59(s.a, skip_count(params))) & kMask;
      return RNX_STATUS_OK;
    default:
      return lacking(method);
  }
}

ZYN_API int __rnxiBRngMCG59(StreamState *stream, int n, uint32_t *r) {
  return run(stream, n, U64Out{r});
}

ZYN_API int __rnxdBRngMCG59(StreamState *stream, int n, double *r, double a, double b) {
  return run(stream, n, F64Out59{r, (b - a) * kTwoM59, a});
}

ZYN_API int __rnxsBRngMCG59(StreamState *stream, int n, float *r, float a, float b) {
  return run(stream, n, F32Out59{r, (b - a) * kTwoM59f, a});
}

}  // extern "C"
