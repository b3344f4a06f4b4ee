// MRG32K3A: two recurrences and their difference,
//   x(n) = (1403580 x(n-2) - 810728 x(n-3)) mod m1,  m1 = 2^32 - 209,
//   y(n) = (527612 y(n-1) - 1370589 y(n-3)) mod m2,  m2 = 2^32 - 22853,
//   z(n) = (x(n) - y(n)) mod m1.
// The state holds the last three of each, oldest first; a step delivers the new z.
//
// Blocks use the recurrence by 16, v(k) = c0 v(k-16) + c1 v(k-15) + c2 v(k-14) with (c0, c1, c2)
// the first row of A^16: every value of a block of 16 depends only on the block before and on
// the block's own first two, so four values go at once, in two registers of 64-bit lanes.
#include <bit>

#include "stream/generators/common.hpp"
#include "stream/modmath.hpp"

namespace {

using namespace zyn::rng;

constexpr uint32_t kM1 = 4294967087u;
constexpr uint32_t kM2 = 4294944443u;
constexpr uint32_t kCoeff1[3] = {0, 1403580, kM1 - 810728};  // newest first
constexpr uint32_t kCoeff2[3] = {527612, 0, kM2 - 1370589};
// Multiples of the moduli that keep the single-step differences non-negative.
constexpr uint64_t kK1 = 0xC5EE7F5E68498ULL;
constexpr uint64_t kK2 = 0x14E9D5B50F226FULL;
static_assert(kK1 == 810728ULL * kM1 && kK2 == 1370589ULL * kM2);
// The double nearest 1 / m1.
constexpr double kInvM1 = std::bit_cast<double>(uint64_t{0x3DF000000D10000B});
constexpr int kBlock = 16;
constexpr int kTableRows = 193;  // A^(2^k), k = 0 .. 192

struct State {
  uint32_t x[3], y[3];
};

// p mod m folded through 2^32 = Fold (mod m), Fold = 2^32 - m.
template <uint64_t Fold>
inline uint64_t fold(uint64_t p) {
  return (p >> 32) * Fold + (p & 0xFFFFFFFFu);
}

// p below 2^54: two folds leave less than 2^32 + 2^20, one subtraction of m finishes.
template <uint32_t M>
inline uint32_t reduce(uint64_t p) {
  constexpr uint64_t f = (uint64_t{1} << 32) - M;
  int64_t r = static_cast<int64_t>(fold<f>(fold<f>(p))) - M;
  if (r < 0) r += M;
  return static_cast<uint32_t>(r);
}

inline uint32_t step(State &s) {
  uint32_t x = reduce<kM1>(1403580ULL * s.x[1] + kK1 - 810728ULL * s.x[0]);
  uint32_t y = reduce<kM2>(527612ULL * s.y[2] + kK2 - 1370589ULL * s.y[0]);
  s.x[0] = s.x[1], s.x[1] = s.x[2], s.x[2] = x;
  s.y[0] = s.y[1], s.y[1] = s.y[2], s.y[2] = y;
  int64_t z = static_cast<int64_t>(x) - y;
  return static_cast<uint32_t>(z < 0 ? z + kM1 : z);
}

// ---- the recurrence by 16 ----

struct Component {
  uint32_t m;
  int64_t c[3];  // first row of A^16, as signed residues of magnitude below 2^31
};

constexpr Component by16(const uint32_t *coeff, uint32_t m) {
  Mat3 a = mat_pow(companion3(coeff), kBlock, m);
  Component k{m, {}};
  for (int i = 0; i < 3; ++i) k.c[i] = a[i] > m / 2 ? int64_t{a[i]} - m : int64_t{a[i]};
  return k;
}
constexpr Component kX = by16(kCoeff1, kM1);
constexpr Component kY = by16(kCoeff2, kM2);
static_assert(kX.c[0] == 0x2BE4D11D && kX.c[1] == -0x4F76450B && kX.c[2] == 0x1464380F);
static_assert(kY.c[0] == 0x30C751B6 && kY.c[1] == -0x1E0D0594 && kY.c[2] == -0x2CDBC50E);

// Sum of the three terms with the negative ones subtracted, plus m 2^31 (about 2^63): the
// positive terms reach at most 2^62.1 and the negative ones 2^62.4, so the sum stays in
// [0, 2^64). Two folds leave less than 2^32 + 2^31; one conditional subtraction finishes.
template <const Component &K>
inline __m128i combine(__m128i v0, __m128i v1, __m128i v2) {
  constexpr uint64_t f = (uint64_t{1} << 32) - K.m;
  const __m128i low = _mm_set1_epi64x(0xFFFFFFFF), fv = _mm_set1_epi64x(f);
  __m128i s = _mm_set1_epi64x(static_cast<int64_t>(uint64_t{K.m} << 31));
  const __m128i v[3] = {v0, v1, v2};
  for (int i = 0; i < 3; ++i) {
    __m128i p = _mm_mul_epu32(v[i], _mm_set1_epi64x(K.c[i] < 0 ? -K.c[i] : K.c[i]));
    s = K.c[i] < 0 ? _mm_sub_epi64(s, p) : _mm_add_epi64(s, p);
  }
  s = _mm_add_epi64(_mm_mul_epu32(_mm_srli_epi64(s, 32), fv), _mm_and_si128(s, low));
  s = _mm_add_epi64(_mm_mul_epu32(_mm_srli_epi64(s, 32), fv), _mm_and_si128(s, low));
  __m128i d = _mm_sub_epi64(s, _mm_set1_epi64x(K.m));
  return _mm_castpd_si128(
      _mm_blendv_pd(_mm_castsi128_pd(d), _mm_castsi128_pd(s), _mm_castsi128_pd(d)));
}

// Four new values v[j..j+3] from v[j..j+5]; v is 16 values plus the block's first two again.
template <const Component &K>
inline __m128i advance4(uint32_t *v, int j) {
  __m128i w0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(v + j));
  __m128i w1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(v + j + 1));
  __m128i w2 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(v + j + 2));
  __m128i even = combine<K>(w0, w1, w2);
  __m128i odd = combine<K>(_mm_srli_epi64(w0, 32), _mm_srli_epi64(w1, 32), _mm_srli_epi64(w2, 32));
  __m128i r = _mm_blend_epi16(even, _mm_slli_epi64(odd, 32), 0xCC);
  _mm_storeu_si128(reinterpret_cast<__m128i *>(v + j), r);
  return r;
}

// (x - y) mod m1 for x below m1 and y below m2 < m1.
inline __m128i difference(__m128i x, __m128i y) {
  __m128i ge = _mm_cmpeq_epi32(_mm_max_epu32(x, y), x);
  const __m128i wrap = _mm_set1_epi32(static_cast<int>((uint64_t{1} << 32) - kM1));
  return _mm_sub_epi32(_mm_sub_epi32(x, y), _mm_andnot_si128(ge, wrap));
}

template <class Out>
int run(StreamState *stream, int n, const Out &out) {
  State &s = state_of<State>(stream);
  int i = 0;
  if (n >= kBlock) {
    alignas(16) uint32_t x[kBlock + 2], y[kBlock + 2];
    for (; i < kBlock; ++i) {
      out.one(i, step(s));
      x[i] = s.x[2];
      y[i] = s.y[2];
    }
    const int blocks = n & ~(kBlock - 1);
    for (; i < blocks; i += kBlock) {
      for (int j = 0; j < kBlock; j += 4) {
        __m128i xv = advance4<kX>(x, j), yv = advance4<kY>(y, j);
        if (j == 0) {
          x[kBlock] = x[0], x[kBlock + 1] = x[1];
          y[kBlock] = y[0], y[kBlock + 1] = y[1];
        }
        out.four(i + j, difference(xv, yv));
      }
    }
    for (int j = 0; j < 3; ++j) {
      s.x[j] = x[kBlock - 3 + j];
      s.y[j] = y[kBlock - 3 + j];
    }
  }
  for (; i < n; ++i) out.one(i, step(s));
  return RNX_STATUS_OK;
}

// ---- skip-ahead ----

constexpr auto kPow2M1 = pow2_table<kTableRows>(companion3(kCoeff1), kM1);
constexpr auto kPow2M2 = pow2_table<kTableRows>(companion3(kCoeff2), kM2);

// Whether a count has bits beyond the tables: above bit 192, so in words from index 4 on or in
// word 3 above its lowest bit.
bool beyond_tables(int n, const uint64_t *e) {
  static_assert(kTableRows == 3 * 64 + 1);
  for (int i = 4; i < n; ++i)
    if (e[i] != 0) return true;
  return n >= 4 && (e[3] >> 1) != 0;
}

int skip_words(State &s, int n, const uint64_t *e) {
  if (beyond_tables(n, e)) {
    // Both components advance on copies, so that a failed allocation leaves the stream as it was.
    State t = s;
    int status = __rnxiVect3PowArrayMod(t.x, kCoeff1, kM1, n, e);
    if (status == RNX_STATUS_OK) status = __rnxiVect3PowArrayMod(t.y, kCoeff2, kM2, n, e);
    if (status == RNX_STATUS_OK) s = t;
    return status;
  }
  int words = n < 4 ? n : 4;
  __rnxiVect3PowArrayMod_M1(s.x, words, e, kPow2M1[0].data());
  __rnxiVect3PowArrayMod_M2(s.y, words, e, kPow2M2[0].data());
  return RNX_STATUS_OK;
}

}  // namespace

extern "C" {

ZYN_API int __rnxBRngMRG32K3AInitStream(int method, StreamState *stream, int n,
                                        const void *params) {
  State &s = state_of<State>(stream);
  switch (method) {
    case RNX_METHOD_INIT: {
      const uint32_t *seed = static_cast<const uint32_t *>(params);
      uint32_t w[6] = {1, 1, 1, 1, 1, 1};
      for (int i = 0; i < n && i < 6; ++i) w[i] = seed[i];
      for (int i = 0; i < 3; ++i) {
        s.x[i] = w[i] >= kM1 ? w[i] - kM1 : w[i];
        s.y[i] = w[3 + i] >= kM2 ? w[3 + i] - kM2 : w[3 + i];
      }
      if ((s.x[0] | s.x[1] | s.x[2]) == 0) s.x[0] = 1;
      if ((s.y[0] | s.y[1] | s.y[2]) == 0) s.y[0] = 1;
      return RNX_STATUS_OK;
    }
    case RNX_METHOD_SKIP: {
      uint64_t k = skip_count(params);
      __rnxiVect3PowMod(s.x, kCoeff1, kM1, k);
      __rnxiVect3PowMod(s.y, kCoeff2, kM2, k);
      return RNX_STATUS_OK;
    }
    case RNX_METHOD_SKIP_EX:
      return skip_words(s, n, static_cast<const uint64_t *>(params));
    default:
      return lacking(method);
  }
}

ZYN_API int __rnxiBRngMRG32K3A(StreamState *stream, int n, uint32_t *r) {
  return run(stream, n, U32Out{r});
}

ZYN_RNX_UNIFORM_OUTPUTS(MRG32K3A, run, kInvM1)

}  // extern "C"
