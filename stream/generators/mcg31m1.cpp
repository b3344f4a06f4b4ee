// MCG31M1: x(n+1) = a x(n) mod (2^31 - 1), a = 1132489760. The state holds the next value.
//
// Blocks run in eight lanes that each advance by a^8: four registers of two 64-bit lanes, the
// product folded as (low 31 bits) + (high part) < 2^32 and reduced by one conditional
// subtraction (an unsigned minimum of s and s - m).
#include <bit>

#include "stream/generators/common.hpp"

namespace {

using namespace zyn::rng;

constexpr uint32_t kM = 0x7FFFFFFF;
constexpr uint32_t kA = 1132489760;
// The double nearest 1 / (2^31 - 1).
constexpr double kInvM = std::bit_cast<double>(uint64_t{0x3E00000000200000});
constexpr int kLanes = 8;
constexpr int kLaneMin = 2 * kLanes;  // below this, single steps only

struct State {
  uint32_t x, a;
};

inline uint32_t mul_mod(uint32_t a, uint32_t x) {
  uint64_t p = static_cast<uint64_t>(a) * x;
  uint64_t s = (p & kM) + (p >> 31);
  return static_cast<uint32_t>(s >= kM ? s - kM : s);
}

inline __m128i mul_mod_lanes(__m128i v, __m128i a) {
  const __m128i mask = _mm_set1_epi64x(kM), m = _mm_set1_epi64x(kM);
  __m128i p = _mm_mul_epu32(v, a);
  __m128i s = _mm_add_epi64(_mm_and_si128(p, mask), _mm_srli_epi64(p, 31));
  return _mm_min_epu32(s, _mm_sub_epi32(s, m));
}

// The low words of two registers of 64-bit lanes, in lane order.
inline __m128i pack(__m128i lo, __m128i hi) {
  return _mm_castps_si128(
      _mm_shuffle_ps(_mm_castsi128_ps(lo), _mm_castsi128_ps(hi), _MM_SHUFFLE(2, 0, 2, 0)));
}

template <class Out>
void generate(State &s, int n, const Out &out) {
  uint32_t x = s.x;
  const uint32_t a = s.a;
  int i = 0;
  if (n >= kLaneMin) {
    uint32_t f[kLanes];
    f[0] = x;
    for (int j = 1; j < kLanes; ++j) f[j] = mul_mod(a, f[j - 1]);
    __m128i l0 = _mm_set_epi64x(f[1], f[0]), l1 = _mm_set_epi64x(f[3], f[2]);
    __m128i l2 = _mm_set_epi64x(f[5], f[4]), l3 = _mm_set_epi64x(f[7], f[6]);
    const __m128i a8 = _mm_set1_epi64x(__rnxiPowMod2P31M1(a, kLanes));
    const int blocks = n & ~(kLanes - 1);
    for (; i < blocks; i += kLanes) {
      out.four(i, pack(l0, l1));
      out.four(i + 4, pack(l2, l3));
      l0 = mul_mod_lanes(l0, a8);
      l1 = mul_mod_lanes(l1, a8);
      l2 = mul_mod_lanes(l2, a8);
      l3 = mul_mod_lanes(l3, a8);
    }
    x = static_cast<uint32_t>(_mm_cvtsi128_si32(l0));
  }
  for (; i < n; ++i) {
    out.one(i, x);
    x = mul_mod(a, x);
  }
  s.x = x;
}

// n of 0 or less still writes one number and advances the stream by one.
template <class Out>
int run(StreamState *stream, int n, const Out &out) {
  State &s = state_of<State>(stream);
  if (n <= 0) {
    out.one(0, s.x);
    s.x = mul_mod(s.a, s.x);
    return RNX_STATUS_OK;
  }
  generate(s, n, out);
  return RNX_STATUS_OK;
}

}  // namespace

extern "C" {

ZYN_API int __rnxBRngMCG31M1InitStream(int method, StreamState *stream, int n,
                                       const void *params) {
  State &s = state_of<State>(stream);
  switch (method) {
    case RNX_METHOD_INIT: {
      uint32_t x = 1;
      if (n >= 1) {
        x = static_cast<const uint32_t *>(params)[0] % kM;
        if (x == 0) x = 1;
      }
      s.x = x;
      s.a = kA;
      return RNX_STATUS_OK;
    }
    case RNX_METHOD_LEAPFROG: {
      uint32_t k = static_cast<uint32_t>(leapfrog_k(params));
      s.x = mul_mod(s.x, __rnxiPowMod2P31M1(s.a, k));
      s.a = __rnxiPowMod2P31M1(s.a, static_cast<uint32_t>(n));
      return RNX_STATUS_OK;
    }
    case RNX_METHOD_SKIP:
      s.x = mul_mod(s.x, __rnxiPowMod2P31M1(s.a, skip_count(params)));
      return RNX_STATUS_OK;
    default:
      return lacking(method);
  }
}

ZYN_API int __rnxiBRngMCG31M1(StreamState *stream, int n, uint32_t *r) {
  return run(stream, n, U32Out{r});
}

ZYN_RNX_UNIFORM_OUTPUTS(MCG31M1, run, kInvM)

}  // extern "C"
