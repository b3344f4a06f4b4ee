// Sobol: direction numbers v_i = m(i) << (31 - i) from a primitive polynomial P of degree s
// and s odd initial values, m(i) = m(i-s) ^ xor over the set bits b < s of P of
// m(i-s+b) << (s-b). Built in: 40 dimensions (those of TOMS Algorithm 659); dimension 1 has
// m(i) = 1 throughout. User tables of up to 40 dimensions live in the record; larger kinds keep
// v and vT in a shared chunk and x in a chunk of the stream's own.
#include <array>

#include "stream/generators/quasi.hpp"

namespace {

using namespace zyn::rng;
using namespace zyn::rng::quasi;

using SobolRecord = Record<40, 48>;
static_assert(sizeof(StreamState) + sizeof(SobolRecord) == 11712);

constexpr int kMaxDim = 40;
constexpr int kMaxUserDegree = 8;  // kind 1

enum Kind : uint32_t { kPolys = 1, kInitial = 2, kBoth = 3, kFinished = 4, kAllPolys = 11 };

struct Dim {
  uint32_t poly;
  uint32_t m[8];
};

// Dimensions 2 to 40: polynomial and the first `degree` values of m.
constexpr Dim kTable[kMaxDim - 1] = {
    {0x3, {1}},
    {0x7, {1, 1}},
    {0xB, {1, 3, 7}},
    {0xD, {1, 1, 5}},
    {0x13, {1, 3, 1, 1}},
    {0x19, {1, 1, 3, 7}},
    {0x25, {1, 3, 3, 9, 9}},
    {0x3B, {1, 3, 7, 13, 3}},
    {0x2F, {1, 1, 5, 11, 27}},
    {0x3D, {1, 3, 5, 1, 15}},
    {0x37, {1, 1, 7, 3, 29}},
    {0x29, {1, 3, 7, 7, 21}},
    {0x43, {1, 1, 1, 9, 23, 37}},
    {0x61, {1, 3, 3, 5, 19, 33}},
    {0x5B, {1, 1, 3, 13, 11, 7}},
    {0x6D, {1, 1, 7, 13, 25, 5}},
    {0x67, {1, 3, 5, 11, 7, 11}},
    {0x73, {1, 1, 1, 3, 13, 39}},
    {0x83, {1, 3, 1, 15, 17, 63, 13}},
    {0xC1, {1, 1, 5, 5, 1, 27, 33}},
    {0x89, {1, 3, 3, 3, 25, 17, 115}},
    {0x91, {1, 1, 3, 15, 29, 15, 41}},
    {0x8F, {1, 3, 1, 7, 3, 23, 79}},
    {0xF1, {1, 3, 7, 9, 31, 29, 17}},
    {0x9D, {1, 1, 5, 13, 11, 3, 29}},
    {0xB9, {1, 3, 1, 9, 5, 21, 119}},
    {0xA7, {1, 1, 3, 1, 23, 13, 75}},
    {0xE5, {1, 3, 3, 11, 27, 31, 73}},
    {0xAB, {1, 1, 7, 7, 19, 25, 105}},
    {0xD5, {1, 3, 5, 5, 21, 9, 7}},
    {0xBF, {1, 1, 1, 15, 5, 49, 59}},
    {0xFD, {1, 1, 1, 1, 1, 33, 65}},
    {0xCB, {1, 3, 5, 15, 17, 19, 21}},
    {0xD3, {1, 1, 7, 11, 13, 29, 3}},
    {0xEF, {1, 3, 7, 5, 7, 11, 113}},
    {0xF7, {1, 1, 5, 3, 15, 19, 61}},
    {0x11D, {1, 3, 1, 1, 9, 27, 89, 7}},
    {0x171, {1, 1, 3, 7, 31, 15, 45, 23}},
    {0x12B, {1, 3, 3, 9, 9, 25, 107, 39}},
};

inline int degree(uint32_t poly) { return 31 - std::countl_zero(poly); }

// The 32 direction numbers of one dimension from P and its first values (read through `first`,
// index 0 .. s-1). P = 1 (degree 0) gives m(i) = 1, as dimension 1.
template <class First>
void directions(uint32_t poly, First first, uint32_t *v) {
  const int s = degree(poly);
  uint32_t m[32];
  for (int i = 0; i < 32; ++i) {
    if (s == 0) {
      m[i] = 1;
    } else if (i < s) {
      m[i] = first(i);
    } else {
      m[i] = m[i - s] ^ (m[i - s] << s);
      for (int b = 1; b < s; ++b)
        if ((poly >> b) & 1) m[i] ^= m[i - s + b] << (s - b);
    }
  }
  for (int i = 0; i < 32; ++i) v[i] = m[i] << (31 - i);
}

// Built-in dimension j (0-based).
void builtin_directions(int j, uint32_t *v) {
  if (j == 0) return directions(1, [](int) { return 1u; }, v);
  const Dim &t = kTable[j - 1];
  directions(t.poly, [&](int i) { return t.m[i]; }, v);
}

// The first values of m of built-in dimension j, as many as a user polynomial of degree up to
// kMaxUserDegree asks.
uint32_t builtin_m(int j, int i) {
  uint32_t v[32];
  builtin_directions(j, v);
  return v[i] >> (31 - i);
}

// A parsed user block: where dimension j's polynomial and first values are.
struct Block {
  int kind = 0;
  int dim = 0;
  uint64_t polys = 0;  // word of the polynomial of the first dimension that has one
  uint64_t rows = 0, stride = 0;
  bool dim1_has_poly = false;
};

uint32_t poly_of(const Block &b, const uint32_t *p, int j) {
  if (!b.dim1_has_poly && j == 0) return 1;
  if (b.kind == kInitial) return kTable[j - 1].poly;
  return p[b.polys + uint64_t(j) - (b.dim1_has_poly ? 0 : 1)];
}

// Validates the block against the words given: 1 valid, 0 bad (built-in data instead), or -3.
int check(const Block &b, int n, const uint32_t *p) {
  if (b.kind == kFinished) return 1;
  for (int j = 0; j < b.dim; ++j) {
    const uint32_t poly = poly_of(b, p, j);
    if (poly == 0) return 0;
    if (b.kind == kPolys) {
      if (degree(poly) > kMaxUserDegree) return RNX_STATUS_BAD_ABSTRACT_ARG;
    } else if (j > 0 || b.dim1_has_poly) {
      const uint64_t row = b.rows + uint64_t(j - (b.dim1_has_poly ? 0 : 1)) * b.stride;
      if (!within(n, row, uint64_t(degree(poly)))) return 0;
    }
  }
  return 1;
}

void fill(const Block &b, const uint32_t *p, uint32_t *v, int vs) {
  for (int j = 0; j < b.dim; ++j, v += vs) {
    if (b.kind == kFinished) {
      std::memcpy(v, p + 3 + 32 * size_t(j), 32 * sizeof(uint32_t));
      continue;
    }
    const uint32_t poly = poly_of(b, p, j);
    if (b.kind == kPolys) {
      directions(poly, [&](int i) { return builtin_m(j, i); }, v);
    } else {
      const uint64_t row = b.rows + uint64_t(j - (b.dim1_has_poly ? 0 : 1)) * b.stride;
      directions(poly, [&](int i) { return p[row + i]; }, v);
    }
  }
}

// Parses the words of a block of dimension d; false when a count is short or the kind unknown.
bool parse(int n, const uint32_t *p, Block &b) {
  const uint64_t d = p[0];
  b.dim = int(d);
  b.kind = int(p[2]);
  switch (b.kind) {
    case kPolys:
      b.polys = 3;
      return d <= kMaxDim && within(n, 0, d + 2);
    case kInitial:
      if (d > kMaxDim || !within(n, 0, 4)) return false;
      b.stride = p[3], b.rows = 4;
      return within(n, 0, (d - 1) * b.stride + 4);
    case kBoth:
      if (!within(n, 0, d + 3)) return false;
      b.polys = 3, b.stride = p[d + 2], b.rows = d + 3;
      return within(n, 0, (d - 1) * (b.stride + 1) + 4);
    case kAllPolys:
      if (!within(n, 0, d + 4)) return false;
      b.polys = 3, b.stride = p[d + 3], b.rows = d + 4, b.dim1_has_poly = true;
      return within(n, 0, (b.stride + 1) * d + 4);
    case kFinished:
      return within(n, 0, 32 * d + 3);
    default:
      return false;
  }
}

// vT row stride in words: 4 d bytes rounded up past the next multiple of 64.
size_t row_stride(int d) { return (4 * size_t(d) + 64 - 4 * size_t(d) % 64) / 4; }
size_t table_bytes(int d) { return 4 * (64 * size_t(d) + 32 * (64 - 4 * size_t(d) % 64)); }

View view(StreamState *stream) {
  SobolRecord &s = state_of<SobolRecord>(stream);
  if (stream->chunks != nullptr) {
    auto *t = static_cast<const uint32_t *>(__rnxSearchChunk(stream, RNX_CHUNK_SOBOL_DIRECTIONS));
    auto *x = static_cast<uint32_t *>(__rnxSearchChunk(stream, RNX_CHUNK_SOBOL_VECTOR));
    if (t != nullptr && x != nullptr)
      return {&s.h, x, t, 32, t + 32 * size_t(s.h.dim), int(row_stride(s.h.dim))};
  }
  return record_view(s);
}

void seed_record(StreamState *stream, int d, const Block *b, const uint32_t *p) {
  SobolRecord &s = state_of<SobolRecord>(stream);
  s.h.dim = d;
  if (b != nullptr) {
    fill(*b, p, s.v, 33);
  } else {
    for (int j = 0; j < d; ++j) builtin_directions(j, s.v + 33 * j);
  }
  start(record_view(s), s.vT);
}

// Kinds 3, 4, 11: the table in a fresh shared chunk, x in a chunk of its own.
int seed_chunks(StreamState *stream, const Block &b, const uint32_t *p) {
  const int d = b.dim;
  auto write = [&](uint32_t *t) { fill(b, p, t, 32); };
  if (!add_table(stream, RNX_CHUNK_SOBOL_DIRECTIONS, table_bytes(d), true, write))
    return RNX_STATUS_NO_MEMORY;
  if (!add_table(stream, RNX_CHUNK_SOBOL_VECTOR, 4 * size_t(d), false, [](uint32_t *) {})) {
    release_all_chunks(stream);
    return RNX_STATUS_NO_MEMORY;
  }
  SobolRecord &s = state_of<SobolRecord>(stream);
  s.h.dim = d;
  View w = view(stream);
  start(w, const_cast<uint32_t *>(w.vT));
  return RNX_STATUS_OK;
}

int seed(StreamState *stream, int n, const uint32_t *p) {
  const int fallback = plain_dim(n, p, kMaxDim);
  seed_record(stream, fallback, nullptr, p);  // stands also when a user block fails
  Block b;
  if (!has_block(n, p) || !parse(n, p, b)) return RNX_STATUS_OK;
  const int ok = check(b, n, p);
  if (ok <= 0) return ok;
  if (b.kind == kPolys || b.kind == kInitial) {
    seed_record(stream, b.dim, &b, p);
    return RNX_STATUS_OK;
  }
  return seed_chunks(stream, b, p);
}

}  // namespace

extern "C" {
ZYN_QUASI_ENTRIES(Sobol, view, seed)
}  // extern "C"
