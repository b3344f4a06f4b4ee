// MT19937: the Mersenne twister of period 2^19937 - 1, N 624, M 397, one upper bit, matrix
// 0x9908B0DF, tempering shifts 11, 7, 15, 18 with masks 0x9D2C5680 and 0xEFC60000.
//
// Skip-ahead: below 2^20 numbers the state is stepped block by block; from there on through
// the characteristic polynomial of the word transition with a sliding window (about 2 500 adds
// of a state and 20 000 word steps, against 10 000 adds for Horner's rule).
#include "stream/generators/mt19937_ring.hpp"
#include "zyn/twister_poly.inc"

namespace {

using namespace zyn::rng;
using T = Mt19937;

constexpr uint32_t kA = kMt19937A, kB = 0x9D2C5680, kC = 0xEFC60000;
constexpr uint64_t kPolynomialFrom = 0x100000;
constexpr int kDegree = kTwisterMt19937Poly[kTwisterMt19937Terms - 1];
constexpr int kPolyWords = 624;  // 64-bit words holding a square before reduction
static_assert(64 * kPolyWords >= 2 * kDegree);

struct State : Ring624 {
  uint32_t unused;
};
constexpr int kStateBytes = int(sizeof(StreamState) + sizeof(State));
static_assert(kStateBytes == 2520);

// Singles: the word reaches single precision as (y >> 8) 256 + (y & 255), rounded once.
struct SplitOut {
  float *r;
  float scale, shift;
  void one(int i, uint32_t x) const {
    r[i] = (static_cast<float>(x >> 8) * 256.0f + static_cast<float>(x & 255)) * scale + shift;
  }
  void four(int i, __m128i v) const {
    __m128 hi = _mm_mul_ps(_mm_cvtepi32_ps(_mm_srli_epi32(v, 8)), _mm_set1_ps(256.0f));
    __m128 y = _mm_add_ps(hi, _mm_cvtepi32_ps(_mm_and_si128(v, _mm_set1_epi32(255))));
    _mm_storeu_ps(r + i, _mm_add_ps(_mm_mul_ps(y, _mm_set1_ps(scale)), _mm_set1_ps(shift)));
  }
};

template <class Out>
int run(StreamState *stream, int n, const Out &out) {
  State &s = state_of<State>(stream);
  T::run(s.w, s.idx, n, out, kA, kB, kC);
  return RNX_STATUS_OK;
}

}  // namespace

extern "C" {

ZYN_API int __rnxBRngMT19937InitStream(int method, StreamState *stream, int n, const void *params) {
  State &s = state_of<State>(stream);
  switch (method) {
    case RNX_METHOD_INIT:
      T::seed(s.w, n, static_cast<const uint32_t *>(params));
      s.idx = kRingWords;
      return RNX_STATUS_OK;
    case RNX_METHOD_SKIP: {
      const uint64_t count = skip_count(params);
      if (count < kPolynomialFrom) {
        T::skip(s.w, s.idx, count, kA);
        return RNX_STATUS_OK;
      }
      return __rnx_SkipAheadSWin(stream, ring_zero, ring_add, ring_copy, mt19937_step,
                                 mt19937_store, mt19937_prepare, count, kPolyWords, kDegree,
                                 kStateBytes, kTwisterMt19937Terms, kTwisterMt19937Poly);
    }
    default:
      return lacking(method);
  }
}

ZYN_API int __rnxiBRngMT19937(StreamState *stream, int n, uint32_t *r) {
  return run(stream, n, U32Out{r});
}

ZYN_API int __rnxdBRngMT19937(StreamState *stream, int n, double *r, double a, double b) {
  return run(stream, n, double_out(r, a, b, 0x1p-32));
}

ZYN_API int __rnxsBRngMT19937(StreamState *stream, int n, float *r, float a, float b) {
  return run(stream, n, SplitOut{r, (b - a) * 0x1p-32f, a});
}

}  // extern "C"
