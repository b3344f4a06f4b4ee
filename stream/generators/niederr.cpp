// Niederr: Niederreiter's base-2 sequence (the construction of TOMS Algorithm 738). Dimension j
// takes the j-th irreducible polynomial over GF(2) in ascending order (2, 3, 7, 11, 13, ...,
// 3047 for the 318th); its generator matrix comes from the Laurent expansion of b / p^k with the
// free positions set to 1, and direction number c is column c of that matrix.
// User data of 319 or more dimensions live in chunk 10: v, 32 words a dimension, then x.
#include <array>

#include "stream/generators/quasi.hpp"

namespace {

using namespace zyn::rng;
using namespace zyn::rng::quasi;

using NiederrRecord = Record<318, 320>;
static_assert(sizeof(StreamState) + sizeof(NiederrRecord) == 84288);

constexpr int kMaxDim = 318;
enum Kind : uint32_t { kPolys = 1, kFinished = 4 };

constexpr int degree(uint64_t p) { return 63 - std::countl_zero(p); }

// Carry-less product; the degrees stay below 64 (at most 31 + 31 for 32-bit user polynomials).
constexpr uint64_t clmul(uint64_t a, uint64_t b) {
  uint64_t r = 0;
  for (; b != 0; b >>= 1, a <<= 1)
    if (b & 1) r ^= a;
  return r;
}

constexpr uint64_t gf2_mod(uint64_t a, uint64_t p) {
  for (int dp = degree(p); a != 0 && degree(a) >= dp;) a ^= p << (degree(a) - dp);
  return a;
}

constexpr auto kPolynomials = [] {
  std::array<uint32_t, kMaxDim> t{};
  int n = 0;
  for (uint32_t p = 2; n < kMaxDim; ++p) {
    bool irreducible = true;
    for (uint32_t q = 2; irreducible && 2 * degree(q) <= degree(p); ++q)
      irreducible = gf2_mod(p, q) != 0;
    if (irreducible) t[n++] = p;
  }
  return t;
}();
static_assert(kPolynomials[0] == 2 && kPolynomials[4] == 13 && kPolynomials[kMaxDim - 1] == 3047);

// The 32 direction numbers of polynomial p; false for a polynomial of degree 0 or the word 0.
bool directions(uint32_t p, uint32_t *v) {
  if (p < 2) return false;
  const int e = degree(p);
  uint8_t w[64] = {};  // positions 0 .. e + 30
  uint64_t b = 1;
  int m = 0;
  for (int c = 0; c < 32; ++c) v[c] = 0;
  for (int i = 0; i < 32; ++i) {
    const int u = i % e;
    if (u == 0) {
      b = clmul(b, p);
      m += e;
      for (int r = 0; r <= e + 30; ++r) {
        if (r < m) {
          w[r] = r >= m - e;
          continue;
        }
        uint8_t s = 0;
        for (int t = 0; t < m; ++t)
          if ((b >> t) & 1) s ^= w[r - m + t];
        w[r] = s;
      }
    }
    for (int c = 0; c < 32; ++c) v[c] |= uint32_t(w[u + c]) << (31 - i);
  }
  return true;
}

const uint32_t *builtin_directions() {
  static const auto table = [] {
    std::array<uint32_t, 32 * kMaxDim> t{};
    for (int j = 0; j < kMaxDim; ++j) directions(kPolynomials[j], t.data() + 32 * j);
    return t;
  }();
  return table.data();
}

View view(StreamState *stream) {
  NiederrRecord &s = state_of<NiederrRecord>(stream);
  if (stream->chunks != nullptr) {
    if (auto *t = static_cast<uint32_t *>(__rnxSearchChunk(stream, RNX_CHUNK_NIEDERR_TABLE)))
      return {&s.h, t + 32 * size_t(s.h.dim), t, 32, nullptr, 0};
  }
  return record_view(s);
}

// Direction numbers of d dimensions at stride vs from the block (kind 0: built in); false for a
// polynomial of degree 0.
bool fill(int kind, int d, const uint32_t *p, uint32_t *v, int vs) {
  for (int j = 0; j < d; ++j, v += vs) {
    if (kind == kFinished) {
      std::memcpy(v, p + 3 + 32 * size_t(j), 32 * sizeof(uint32_t));
    } else if (kind == kPolys) {
      if (!directions(p[3 + j], v)) return false;
    } else {
      std::memcpy(v, builtin_directions() + 32 * j, 32 * sizeof(uint32_t));
    }
  }
  return true;
}

int seed(StreamState *stream, int n, const uint32_t *p) {
  NiederrRecord &s = state_of<NiederrRecord>(stream);
  s.h.dim = plain_dim(n, p, kMaxDim);
  fill(0, s.h.dim, p, s.v, 33);
  start(record_view(s), s.vT);
  if (!has_block(n, p)) return RNX_STATUS_OK;
  const uint64_t d = p[0];
  const int kind = int(p[2]);
  if (!(kind == kPolys && within(n, 0, d + 3)) && !(kind == kFinished && within(n, 0, 32 * d + 3)))
    return RNX_STATUS_OK;
  if (kind == kPolys)
    for (uint64_t j = 0; j < d; ++j)
      if (p[3 + j] < 2) return RNX_STATUS_OK;
  if (d <= uint64_t(kMaxDim)) {
    s.h.dim = int(d);
    fill(kind, int(d), p, s.v, 33);
    start(record_view(s), s.vT);
    return RNX_STATUS_OK;
  }
  auto write = [&](uint32_t *t) { fill(kind, int(d), p, t, 32); };
  if (!add_table(stream, RNX_CHUNK_NIEDERR_TABLE, 4 * 33 * size_t(d), false, write))
    return RNX_STATUS_NO_MEMORY;
  s.h.dim = int(d);
  start(view(stream), nullptr);
  return RNX_STATUS_OK;
}

}  // namespace

extern "C" {
ZYN_QUASI_ENTRIES(Niederr, view, seed)
}  // extern "C"
