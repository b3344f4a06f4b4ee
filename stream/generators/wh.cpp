// WH: 273 combined generators, each of four congruential components
//   x_i(n+1) = a_i x_i(n) mod m_i,  i = 1..4,
// with (a_i, m_i) from the row of the stream's sub-stream index. The state holds the next four
// values; an integer output is the four of them, a uniform one is the fraction of
// ((x_1/m_1 + x_2/m_2) + x_3/m_3) + x_4/m_4 with the divisions done by reciprocals.
//
// Blocks give four outputs per loop from x, x a, x a^2, x a^3 and go on with x a^4, all four
// components side by side in double lanes. A product below 2^48 is exact; its quotient by m is
// the truncated product with the reciprocal: the relative error of that product is below 2^-51,
// so below 2^-27 absolutely, while the exact quotient lies at least 1/m > 2^-24 from an integer
// (m is prime and does not divide x a^k), so truncation finds it. The remainder follows exactly.
#include "stream/generators/common.hpp"
#include "zyn/wh_table.inc"

namespace {

using namespace zyn::rng;

static_assert(kWhRows == RNX_WH_SUBSTREAMS);
constexpr int kWords = 4;   // words of one output
constexpr int kPerLoop = 4;  // outputs of one block loop

struct State {
  uint32_t x[4], a[4];
};

inline const uint32_t *moduli(const StreamState *stream) {
  return kWhModuli[resolve(stream->brngId).sub];
}

inline void step(State &s, const uint32_t *m) {
  for (int i = 0; i < 4; ++i) s.x[i] = static_cast<uint32_t>(uint64_t{s.a[i]} * s.x[i] % m[i]);
}

// Rounding toward zero for the block loop, restored on scope exit.
class TruncatingRounding {
 public:
  TruncatingRounding() : saved_(_mm_getcsr()) { _mm_setcsr((saved_ & ~0x6000u) | 0x6000u); }
  ~TruncatingRounding() { _mm_setcsr(saved_); }
  TruncatingRounding(const TruncatingRounding &) = delete;
  TruncatingRounding &operator=(const TruncatingRounding &) = delete;

 private:
  unsigned saved_;
};

// x a^k mod m in two double lanes; conversions use the current rounding, truncation here.
inline __m128d mul_mod(__m128d x, __m128d ak, __m128d m, __m128d r) {
  __m128d p = _mm_mul_pd(x, ak);
  __m128d q = _mm_cvtepi32_pd(_mm_cvtpd_epi32(_mm_mul_pd(p, r)));
  return _mm_sub_pd(p, _mm_mul_pd(q, m));
}

inline void store_words(uint32_t *o, __m128d lo, __m128d hi) {
  __m128i w = _mm_unpacklo_epi64(_mm_cvtpd_epi32(lo), _mm_cvtpd_epi32(hi));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(o), w);
}

// count outputs (a multiple of four) as words into o; the state moves on by count.
void block(State &s, const uint32_t *m, int count, uint32_t *o) {
  double recip[4], powers[kPerLoop + 1][4];
  for (int i = 0; i < 4; ++i) {
    recip[i] = 1.0 / m[i];
    uint64_t ak = 1;
    for (int k = 0; k <= kPerLoop; ++k, ak = ak * s.a[i] % m[i]) powers[k][i] = double(ak);
  }
  const __m128d m01 = _mm_set_pd(m[1], m[0]), m23 = _mm_set_pd(m[3], m[2]);
  const __m128d r01 = _mm_loadu_pd(recip), r23 = _mm_loadu_pd(recip + 2);
  __m128d x01 = _mm_set_pd(s.x[1], s.x[0]), x23 = _mm_set_pd(s.x[3], s.x[2]);
  TruncatingRounding rounding;
  for (int i = 0; i < count; i += kPerLoop, o += kWords * kPerLoop) {
    store_words(o, x01, x23);
    for (int k = 1; k < kPerLoop; ++k) {
      __m128d a01 = _mm_loadu_pd(powers[k]), a23 = _mm_loadu_pd(powers[k] + 2);
      store_words(o + kWords * k, mul_mod(x01, a01, m01, r01), mul_mod(x23, a23, m23, r23));
    }
    x01 = mul_mod(x01, _mm_loadu_pd(powers[kPerLoop]), m01, r01);
    x23 = mul_mod(x23, _mm_loadu_pd(powers[kPerLoop] + 2), m23, r23);
  }
  __m128i w = _mm_unpacklo_epi64(_mm_cvtpd_epi32(x01), _mm_cvtpd_epi32(x23));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(s.x), w);
}

// n outputs as words: the multiple of four by blocks, the rest by single steps.
void words(State &s, const uint32_t *m, int n, uint32_t *o) {
  int blocks = n & ~(kPerLoop - 1);
  if (blocks > 0) block(s, m, blocks, o);
  for (int i = blocks; i < n; ++i) {
    std::memcpy(o + kWords * i, s.x, sizeof s.x);
    step(s, m);
  }
}

// The fraction of ((x1 r1 + x2 r2) + x3 r3) + x4 r4, the sum in this order.
inline double fraction(const uint32_t *x, const double *r) {
  double v = ((double(x[0]) * r[0] + double(x[1]) * r[1]) + double(x[2]) * r[2]) +
             double(x[3]) * r[3];
  return v - __builtin_trunc(v);
}

template <class T>
int uniform(StreamState *stream, int n, T *r, double a, double b) {
  State &s = state_of<State>(stream);
  const int sub = resolve(stream->brngId).sub;
  const uint32_t *m = kWhModuli[sub];
  const double *recip = kWhReciprocals[sub];
  const double width = b - a;
  uint32_t buf[kBlockWords];
  constexpr int kChunk = kBlockWords / kWords;
  for (int i = 0; i < n; i += kChunk) {
    int c = n - i < kChunk ? n - i : kChunk;
    words(s, m, c, buf);
    for (int j = 0; j < c; ++j)
      r[i + j] = static_cast<T>(fraction(buf + kWords * j, recip) * width + a);
  }
  return RNX_STATUS_OK;
}

}  // namespace

extern "C" {

ZYN_API int __rnxBRngWHInitStream(int method, StreamState *stream, int n, const void *params) {
  State &s = state_of<State>(stream);
  const int sub = resolve(stream->brngId).sub;
  const uint32_t *m = kWhModuli[sub];
  switch (method) {
    case RNX_METHOD_INIT: {
      const uint32_t *seed = static_cast<const uint32_t *>(params);
      int given = n == 0 ? 0 : (n < 0 || n > 4 ? 4 : n);
      for (int i = 0; i < 4; ++i) {
        uint32_t x = i < given ? seed[i] % m[i] : 1;
        s.x[i] = x == 0 ? 1 : x;
        s.a[i] = kWhMultipliers[sub][i];
      }
      return RNX_STATUS_OK;
    }
    case RNX_METHOD_LEAPFROG: {
      uint32_t k = static_cast<uint32_t>(leapfrog_k(params));
      for (int i = 0; i < 4; ++i) {
        s.x[i] = static_cast<uint32_t>(uint64_t{s.x[i]} * __rnxiPowMod(s.a[i], k, m[i]) % m[i]);
        s.a[i] = __rnxiPowMod(s.a[i], static_cast<uint32_t>(n), m[i]);
      }
      return RNX_STATUS_OK;
    }
    case RNX_METHOD_SKIP: {
      uint64_t k = skip_count(params);
      for (int i = 0; i < 4; ++i)
        s.x[i] = static_cast<uint32_t>(uint64_t{s.x[i]} * __rnxiPowMod(s.a[i], k, m[i]) % m[i]);
      return RNX_STATUS_OK;
    }
    default:
      return lacking(method);
  }
}

ZYN_API int __rnxiBRngWH(StreamState *stream, int n, uint32_t *r) {
  if (n > 0) words(state_of<State>(stream), moduli(stream), n, r);
  return RNX_STATUS_OK;
}

ZYN_API int __rnxdBRngWH(StreamState *stream, int n, double *r, double a, double b) {
  return uniform(stream, n, r, a, b);
}

ZYN_API int __rnxsBRngWH(StreamState *stream, int n, float *r, float a, float b) {
  return uniform(stream, n, r, static_cast<double>(a), static_cast<double>(b));
}

}  // extern "C"
