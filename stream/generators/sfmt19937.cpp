// SFMT19937: the SIMD-oriented fast Mersenne twister of period 2^19937 - 1, 156 elements of 128
// bits, POS1 122, shifts 8 bits (whole element) and 11 and 18 (per word). No tempering.
//
// Words go out by whole elements: a request that ends inside an element keeps the element's
// other words in `tail` for the next call, so idx stays a multiple of 4 and the words come in
// the same order however the requests are cut. Double outputs read the word as signed with no
// offset (unlike MT2203) and add the midpoint of [a, b); single outputs do the same in single.
//
// Skip-ahead through the characteristic polynomial of the element transition: Horner's rule
// below 19968 words, a sliding window from there on.
#include "stream/generators/ring624.hpp"
#include "zyn/twister_poly.inc"

namespace {

using namespace zyn::rng;

constexpr int kElements = kRingWords / 4, kPos1 = 122;
constexpr int kSize = kRingWords, kMid = 306, kLag = 11;  // seeding
constexpr uint64_t kWindowFrom = 0x4E00;
constexpr int kDegree = kTwisterSfmt19937Poly[kTwisterSfmt19937Terms - 1];
constexpr int kPolyWords = 624;  // 64-bit words holding a square before reduction
static_assert(64 * kPolyWords >= 2 * kDegree);

struct State : Ring624 {
  uint32_t tail[3];  // words of an element already passed, tail[tailPos .. tailCount) pending
  int32_t tailPos, tailCount;
};
constexpr int kStateBytes = int(sizeof(StreamState) + sizeof(State));
static_assert(kStateBytes == 2536);

inline __m128i element(const uint32_t *w, int e) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(w + 4 * e));
}

// a ^ (a << 8 as 128 bits) ^ ((b >> 11) & mask) ^ (c >> 8 as 128 bits) ^ (d << 18), with c and
// d the two elements made last.
inline __m128i recursion(__m128i a, __m128i b, __m128i c, __m128i d) {
  const __m128i mask =
      _mm_set_epi32(int(0xBFFFFFF6), int(0xBFFAFFFF), int(0xDDFECB7F), int(0xDFFFFFEF));
  const __m128i y = _mm_and_si128(_mm_srli_epi32(b, 11), mask);
  const __m128i x = _mm_xor_si128(_mm_slli_si128(a, 1), _mm_srli_si128(c, 1));
  return _mm_xor_si128(_mm_xor_si128(a, x), _mm_xor_si128(y, _mm_slli_epi32(d, 18)));
}

// All 156 elements anew, the loop split where i + POS1 wraps.
void generate(uint32_t *w) {
  __m128i c = element(w, kElements - 2), d = element(w, kElements - 1);
  for (int i = 0; i < kElements; ++i) {
    const int j = i + kPos1 < kElements ? i + kPos1 : i + kPos1 - kElements;
    const __m128i r = recursion(element(w, i), element(w, j), c, d);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(w + 4 * i), r);
    c = d;
    d = r;
  }
}

// Moves idx to the next element boundary, keeping the words passed over in tail.
void keep_rest_of_element(State &s) {
  const int part = s.idx & 3;
  if (part == 0) return;
  s.tailCount = 4 - part;
  s.tailPos = 0;
  for (int k = 0; k < s.tailCount; ++k) s.tail[k] = s.w[s.idx + k];
  s.idx += s.tailCount;
}

template <class Out>
int run(StreamState *stream, int n, const Out &out) {
  State &s = state_of<State>(stream);
  int done = 0;
  while (done < n && s.tailPos < s.tailCount) out.one(done++, s.tail[s.tailPos++]);
  while (done < n) {
    if (s.idx >= kRingWords) {
      generate(s.w);
      s.idx = 0;
    }
    const int take = std::min(n - done, kRingWords - s.idx);
    emit_words(out, done, s.w + s.idx, take);
    done += take;
    s.idx += take;
    keep_rest_of_element(s);
  }
  return RNX_STATUS_OK;
}

uint32_t f1(uint32_t x) { return (x ^ (x >> 27)) * 1664525u; }
uint32_t f2(uint32_t x) { return (x ^ (x >> 27)) * 1566083941u; }

void seed(State &s, int n, const uint32_t *key) {
  static constexpr uint32_t kOne[1] = {1};
  if (n < 1) n = 1, key = kOne;
  uint32_t *w = s.w;
  std::memset(w, 0x8B, sizeof s.w);
  auto at = [w](int i) -> uint32_t & { return w[i % kSize]; };
  const int count = std::max(n + 1, kSize) - 1;
  uint32_t r = f1(w[0] ^ w[kMid] ^ w[kSize - 1]);
  w[kMid] += r;
  r += uint32_t(n);
  w[kMid + kLag] += r;
  w[0] = r;
  // i wraps at 624 as index and as addend; the key index runs on.
  int i = 1;
  for (int j = 0; j < count; ++j, i = (i + 1) % kSize) {
    r = f1(at(i) ^ at(i + kMid) ^ at(i + kSize - 1));
    at(i + kMid) += r;
    r += (j < n ? key[j] : 0) + uint32_t(i);
    at(i + kMid + kLag) += r;
    at(i) = r;
  }
  for (int j = 0; j < kSize; ++j, i = (i + 1) % kSize) {
    r = f2(at(i) + at(i + kMid) + at(i + kSize - 1));
    at(i + kMid) ^= r;
    r -= uint32_t(i);
    at(i + kMid + kLag) ^= r;
    at(i) = r;
  }
  s.idx = kRingWords;
  // Period certification: the parity of (w[0] & 1) ^ (w[3] & 0x13C9E684) must be odd.
  uint32_t inner = (w[0] & 1) ^ (w[3] & 0x13C9E684u);
  for (int k = 16; k > 0; k >>= 1) inner ^= inner >> k;
  if ((inner & 1) == 0) w[0] ^= 1;
  s.tailPos = s.tailCount = 0;
}

// ---- skip-ahead callbacks: an element transition at the ring's origin ----

void step(StreamState *state) {
  State &s = state_of<State>(state);
  const int e = origin(s) / 4;
  auto at = [&](int k) { return element(s.w, k < kElements ? k : k - kElements); };
  const __m128i r = recursion(at(e), at(e + kPos1), at(e + kElements - 2), at(e + kElements - 1));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(s.w + 4 * e), r);
  s.idx = 4 * (e + 1 < kElements ? e + 1 : 0);
}

// The last element was stepped to cover `remainder` words of it: the rest go to tail.
void store(StreamState *stream, const StreamState *state, int remainder) {
  State &s = state_of<State>(stream);
  ring_store(s, state_of<State>(state));
  if (remainder != 0) {
    s.idx = kRingWords - 4 + remainder;
    keep_rest_of_element(s);
  }
}

// Words in tail first, then in w; only a count that runs past w needs the polynomial, in
// elements, with the words of the last element to skip as the remainder.
int prepare(StreamState *stream, uint64_t *nskip, int *remainder) {
  State &s = state_of<State>(stream);
  uint64_t count = *nskip;
  const uint64_t pending = uint64_t(s.tailCount - s.tailPos);
  if (count <= pending) {
    s.tailPos += int32_t(count);
    return 0;
  }
  count -= pending;
  s.tailPos = s.tailCount;
  const uint64_t left = uint64_t(kRingWords - s.idx);
  if (count <= left) {
    s.idx += int32_t(count);
    keep_rest_of_element(s);
    return 0;
  }
  count -= left;
  s.idx = kRingWords;
  *nskip = count / 4 + (count % 4 != 0);  // (count + 3) / 4 would wrap near 2^64
  *remainder = int(count % 4);
  return 1;
}

}  // namespace

extern "C" {

ZYN_API int __rnxBRngSFMT19937InitStream(int method, StreamState *stream, int n,
                                         const void *params) {
  switch (method) {
    case RNX_METHOD_INIT:
      seed(state_of<State>(stream), n, static_cast<const uint32_t *>(params));
      return RNX_STATUS_OK;
    case RNX_METHOD_SKIP: {
      const uint64_t count = skip_count(params);
      auto skip = count < kWindowFrom ? __rnx_SkipAheadHorner : __rnx_SkipAheadSWin;
      return skip(stream, ring_zero, ring_add, ring_copy, step, store, prepare, count, kPolyWords,
                  kDegree, kStateBytes, kTwisterSfmt19937Terms, kTwisterSfmt19937Poly);
    }
    default:
      return lacking(method);
  }
}

ZYN_API int __rnxiBRngSFMT19937(StreamState *stream, int n, uint32_t *r) {
  return run(stream, n, U32Out{r});
}

ZYN_API int __rnxdBRngSFMT19937(StreamState *stream, int n, double *r, double a, double b) {
  return run(stream, n, signed_out(r, a, b, 0));
}

ZYN_API int __rnxsBRngSFMT19937(StreamState *stream, int n, float *r, float a, float b) {
  return run(stream, n, signed_out(r, a, b, 0));
}

}  // extern "C"
