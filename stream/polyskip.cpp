// Skip-ahead of generators with a binary linear state through their characteristic polynomial.
//
// A skip of e transitions maps the state S to T^e S, T the transition. With phi the
// characteristic polynomial of T, T^e = p(T) for p = t^e mod phi (Cayley-Hamilton), and p(T) S
// is a sum of stepped copies of S: Horner's rule needs one add per set bit of p, a sliding
// window of 8 bits one add per window from a table of the 128 window polynomials applied to S.
// The routines know nothing of a generator: they work through its callbacks on whole records.
#include <emmintrin.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "frame/core_link.hpp"
#include "stream/stream_internal.hpp"

namespace {

constexpr int kAlign = 128;
constexpr int kWindow = 8;                      // bits of a window, the top one set
constexpr int kTableSize = 1 << (kWindow - 1);  // window polynomials t^7 + x, x below 2^7

uint64_t *allocate_words(size_t words) {
  return static_cast<uint64_t *>(zyn::core::zyn_serv_allocate(words * sizeof(uint64_t), kAlign));
}

bool bit(const uint64_t *p, int i) { return (p[i >> 6] >> (i & 63)) & 1; }

// The 32 bits of x spread to the even bits of a 64-bit word: the square of a word over GF(2).
inline uint64_t spread(uint64_t x) {
  x = (x | x << 16) & 0x0000FFFF0000FFFFULL;
  x = (x | x << 8) & 0x00FF00FF00FF00FFULL;
  x = (x | x << 4) & 0x0F0F0F0F0F0F0F0FULL;
  x = (x | x << 2) & 0x3333333333333333ULL;
  return (x | x << 1) & 0x5555555555555555ULL;
}

// out := out^2 for out of degree <= d, from the top word down so that it runs in place.
void square(uint64_t *out, int d) {
  for (int i = d >> 6; i >= 0; --i) {
    const uint64_t x = out[i];
    out[2 * i + 1] = spread(x >> 32);
    out[2 * i] = spread(x & 0xFFFFFFFF);
  }
}

// Reduces out, of degree <= hi, modulo the polynomial from the top in blocks. A block is as wide
// as the degree minus the second highest exponent, so the terms below the top put its bits at
// least one block lower and it never re-enters itself; the top term removes it. Each term is a
// run of xors of 16-byte chunks of out: the block is kept at the 8 bit offsets within a byte,
// with zero bytes around it, so that a chunk of the block at any bit offset is one unaligned
// load, and the chunks of out start at even words so that the stores of one term meet the loads
// of the next at the same addresses (store forwarding).
struct Reduction {
  int degree, termCount;
  const int32_t *terms;
  int width;       // bits of a block
  int stride;      // words of a row: two zero words, the shifted block, two zero words
  int wordCount;   // words of out
  uint64_t *rows;  // 8 rows
};

void reduce(uint64_t *out, int hi, const Reduction &m) {
  const int degree = m.degree, stride = m.stride;
  uint64_t *const b = m.rows + 2;  // row 0, past its front zeros
  for (int top = hi; top >= degree;) {
    const int low = std::max(degree, top - m.width + 1);
    const int len = top - low + 1, words = (len + 63) >> 6;
    // Cut bits low..top out into row 0, aligned at bit 0; bits above top are clear already.
    const int q = low >> 6, r = low & 63, last = top >> 6;
    for (int i = 0; i < words; ++i) {
      const uint64_t next = r != 0 && q + i + 1 <= last ? out[q + i + 1] << (64 - r) : 0;
      b[i] = (out[q + i] >> r) | next;
    }
    if (len & 63) b[words - 1] &= (uint64_t{1} << (len & 63)) - 1;
    for (int i = words; i < stride - 4; ++i) b[i] = 0;
    out[q] &= (uint64_t{1} << r) - 1;
    for (int i = q + 1; i <= last; ++i) out[i] = 0;
    for (int s = 1; s < 8; ++s) {
      uint64_t *row = b + s * stride;
      row[0] = b[0] << s;
      for (int i = 1; i < stride - 4; ++i) row[i] = b[i] << s | b[i - 1] >> (64 - s);
    }
    // Chunks covering any bit offset of the block; the rows' zero tails cover the rest.
    const int chunks = (127 + len + 127) / 128;
    const int base = low - degree;
    const bool fits = (base + m.terms[m.termCount - 2]) / 64 + 2 * chunks <= m.wordCount;
    for (int k = 0; k < m.termCount - 1; ++k) {
      const int at = base + m.terms[k];
      const int o = at & 127;  // bit offset in the first 16-byte chunk of out
      const unsigned char *src =
          reinterpret_cast<const unsigned char *>(b + (o & 7) * stride) - (o >> 3);
      uint64_t *dst = out + ((at >> 7) << 1);
      // Words past out are zero in the rows: the result has fewer than 2 degree bits.
      const int n = fits ? 2 * chunks : std::min(2 * chunks, int(out + m.wordCount - dst));
      int i = 0;
      for (; i + 2 <= n; i += 2) {
        __m128i *d = reinterpret_cast<__m128i *>(dst + i);
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(src + 8 * i));
        _mm_storeu_si128(d, _mm_xor_si128(_mm_loadu_si128(d), v));
      }
      if (i < n) {
        uint64_t v;
        std::memcpy(&v, src + 8 * i, sizeof v);
        dst[i] ^= v;
      }
    }
    top = low - 1;
  }
}

// The whole record a skip may have to put back: prepare changes the stream before the
// allocations. Records of the twisters fit; a larger one is not restored.
class Snapshot {
 public:
  Snapshot(const StreamState *stream, int bytes) : bytes_(bytes <= int(sizeof copy_) ? bytes : 0) {
    std::memcpy(copy_, stream, size_t(bytes_));
  }
  void restore(StreamState *stream) const { std::memcpy(stream, copy_, size_t(bytes_)); }

 private:
  int bytes_;
  alignas(16) unsigned char copy_[4096];
};

// The blocks of one skip: the polynomial, a work state, and for the window its table of 128
// states and the accumulator; released on every path.
struct Blocks {
  void *block[4] = {};
  size_t stride = 0;  // bytes from one table entry to the next, a multiple of the alignment
  ~Blocks() {
    for (void *p : block)
      if (p != nullptr) zyn::core::zyn_serv_deallocate(p);
  }
  const uint64_t *poly() const { return static_cast<const uint64_t *>(block[0]); }
  StreamState *state(int i) const { return static_cast<StreamState *>(block[i]); }
  StreamState *entry(int x) const {
    return reinterpret_cast<StreamState *>(static_cast<unsigned char *>(block[2]) + stride * x);
  }
};

struct Skip {
  RnxSkipZeroFn zero;
  RnxSkipAddFn add;
  RnxSkipCopyFn copy;
  RnxSkipStepFn step;
  RnxSkipStoreFn store;
  RnxSkipPrepareFn prepare;
  int wordCount, degree, stateBytes, termCount;
  const int32_t *terms;
};

// Prepares the skip, allocates the blocks (the table and accumulator for the window only) and
// finds the polynomial. 1 to go on, 0 when done, or RNX_STATUS_NO_MEMORY with the stream as it
// was.
int begin(StreamState *stream, const Skip &k, uint64_t nskip, bool window, Blocks &b,
          int *remainder, int *top) {
  if (nskip == 0) return 0;
  const Snapshot before(stream, k.stateBytes);
  *remainder = 0;
  if (k.prepare(stream, &nskip, remainder) == 0) return 0;
  b.stride = (size_t(k.stateBytes) + kAlign - 1) / kAlign * kAlign;
  const size_t bytes[4] = {sizeof(uint64_t) * size_t(k.wordCount), size_t(k.stateBytes),
                           window ? b.stride * kTableSize : 0, window ? size_t(k.stateBytes) : 0};
  for (int i = 0; i < 4; ++i)
    if (bytes[i] != 0 && (b.block[i] = zyn::core::zyn_serv_allocate(bytes[i], kAlign)) == nullptr) {
      before.restore(stream);
      return RNX_STATUS_NO_MEMORY;
    }
  uint64_t *poly = static_cast<uint64_t *>(b.block[0]);
  if (__rnxPolyRem(nskip, k.degree, k.termCount, k.terms, k.wordCount, poly) != 0) {
    before.restore(stream);
    return RNX_STATUS_NO_MEMORY;
  }
  *top = k.degree - 1;
  while (*top > 0 && !bit(poly, *top)) --*top;
  return 1;
}

}  // namespace

extern "C" {

ZYN_API int __rnxPolyRem(uint64_t e, int degree, int termCount, const int32_t *terms, int wordCount,
                         uint64_t *out) {
  std::memset(out, 0, size_t(wordCount) * sizeof(uint64_t));
  if (e < uint64_t(degree)) {
    out[e >> 6] = uint64_t{1} << (e & 63);
    return RNX_STATUS_OK;
  }
  const size_t words = size_t(degree + 64) / 64;
  uint64_t *work = allocate_words(words * 25);
  if (work == nullptr) return RNX_STATUS_NO_MEMORY;
  // The polynomial, then the 8 rows of the block.
  const int width = degree - terms[termCount - 2];
  const int stride = (width + 63) / 64 + 5;
  if (words * 24 < size_t(8 * stride)) {  // the block would not fit: cannot happen with 25 words
    zyn::core::zyn_serv_deallocate(work);
    return RNX_STATUS_NO_MEMORY;
  }
  uint64_t *poly = work, *rows = work + words;
  std::memset(rows, 0, sizeof(uint64_t) * size_t(8 * stride));
  const Reduction m{degree, termCount, terms, width, stride, wordCount, rows};
  std::memset(poly, 0, words * sizeof(uint64_t));
  for (int k = 0; k < termCount; ++k) poly[terms[k] >> 6] |= uint64_t{1} << (terms[k] & 63);
  out[0] = 2;  // t
  int d = 1;   // bound on the degree of out
  for (int i = 62 - std::countl_zero(e); i >= 0; --i) {
    square(out, d);
    d *= 2;
    if (d >= degree) {
      reduce(out, d, m);
      d = degree - 1;
    }
    if ((e >> i) & 1) {
      uint64_t carry = 0;
      for (int w = 0; w <= (d + 1) >> 6; ++w) {
        const uint64_t x = out[w];
        out[w] = x << 1 | carry;
        carry = x >> 63;
      }
      if (++d == degree) {
        if (bit(out, degree))
          for (size_t w = 0; w < words; ++w) out[w] ^= poly[w];
        d = degree - 1;
      }
    }
  }
  zyn::core::zyn_serv_deallocate(work);
  return RNX_STATUS_OK;
}

ZYN_API int __rnx_SkipAheadHorner(StreamState *stream, RnxSkipZeroFn zero, RnxSkipAddFn add,
                                  RnxSkipCopyFn copy, RnxSkipStepFn step, RnxSkipStoreFn store,
                                  RnxSkipPrepareFn prepare, uint64_t nskip, int wordCount,
                                  int degree, int stateBytes, int termCount, const int32_t *terms) {
  const Skip k{zero, add, copy, step, store, prepare, wordCount, degree, stateBytes, termCount,
               terms};
  Blocks b;
  int remainder, top;
  if (int go = begin(stream, k, nskip, false, b, &remainder, &top); go <= 0) return go;
  StreamState *work = b.state(1);
  copy(work, stream);
  step(work);
  for (int i = top - 1; i >= 1; --i) {
    if (bit(b.poly(), i)) add(work, stream);
    step(work);
  }
  if (top == 0)
    copy(work, stream);  // p = 1: only a skip of zero transitions comes here
  else if (bit(b.poly(), 0))
    add(work, stream);
  store(stream, work, remainder);
  return RNX_STATUS_OK;
}

ZYN_API int __rnx_SkipAheadSWin(StreamState *stream, RnxSkipZeroFn zero, RnxSkipAddFn add,
                                RnxSkipCopyFn copy, RnxSkipStepFn step, RnxSkipStoreFn store,
                                RnxSkipPrepareFn prepare, uint64_t nskip, int wordCount, int degree,
                                int stateBytes, int termCount, const int32_t *terms) {
  const Skip k{zero, add, copy, step, store, prepare, wordCount, degree, stateBytes, termCount,
               terms};
  Blocks b;
  int remainder, top;
  if (int go = begin(stream, k, nskip, true, b, &remainder, &top); go <= 0) return go;
  StreamState *work = b.state(1), *acc = b.state(3);
  auto entry = [&](int x) { return b.entry(x); };

  // Reflected Gray code on 7 bits: neighbours differ in one bit, so each entry is the one
  // before plus the stream stepped by that bit's exponent (at most 6 steps).
  int gray[kTableSize] = {0};
  for (int size = 1, flip = kTableSize >> 1; size < kTableSize; size *= 2, flip >>= 1)
    for (int j = 0; j < size; ++j) gray[size + j] = gray[size - 1 - j] ^ flip;
  copy(entry(0), stream);
  for (int s = 0; s < kWindow - 1; ++s) step(entry(0));
  for (int i = 1; i < kTableSize; ++i) {
    copy(work, stream);
    for (int s = std::countr_zero(unsigned(gray[i] ^ gray[i - 1])); s > 0; --s) step(work);
    copy(entry(gray[i]), entry(gray[i - 1]));
    add(entry(gray[i]), work);
  }

  zero(acc);
  int i = top;
  while (i >= kWindow - 1) {
    if (!bit(b.poly(), i)) {
      step(acc);
      --i;
      continue;
    }
    for (int s = 0; s < kWindow; ++s) step(acc);
    int x = 0;
    for (int j = 1; j < kWindow; ++j) x = x << 1 | int(bit(b.poly(), i - j));
    add(acc, entry(x));
    i -= kWindow;
  }
  for (; i >= 0; --i) {
    step(acc);
    if (bit(b.poly(), i)) add(acc, stream);
  }
  store(stream, acc, remainder);
  return RNX_STATUS_OK;
}

}  // extern "C"
