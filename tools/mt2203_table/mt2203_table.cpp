// Makes the MT2203 parameter table: 6024 rows (a, b, c) of twisters with N 69, M 34, r 5,
// tempering shifts 12, 7, 15, 18, each of period 2^2203 - 1, by dynamic creation (Matsumoto and
// Nishimura, "Dynamic Creation of Pseudorandom Number Generators", 1998).
//
// Rule. Rows 0, 1, 2, 3, 6022 and 6023 are fixed; their `a` carries the set's id in its low 16
// bits. Row 4 + k takes the k-th of the ids 0, 1, 2, ... that no fixed row carries. Candidates
// are a = 0x80000000 | x << 16 | id, x the low 15 bits of successive outputs of std::mt19937
// seeded with the id; the first candidate whose characteristic polynomial is primitive is taken.
// Then b and c (b & 0x7F and c & 0x7FFF zero) come from a search over the output bits from the
// top. Output bit 32 - v (v = 1..17) is reached first by one to three mask bits (c at that bit,
// b at that bit, b 15 bits lower); the settings of those bits are tried level by level, and the
// 16 partial settings with the least gap sum, sum over v of floor(2203 / v) - k(v), k(v) the
// dimension of equidistribution of the top v output bits, go on to the next level (a beam
// search; ties keep the larger mask values). The fixed rows come out of the same kind of search:
// on their a it finds masks within a few bits of theirs, with gap sums as small (--fixed).
//
// Method. The characteristic polynomial is linear in the bits of a:
//   phi = U^27 V^5 + sum_{i<5} a_i U^27 V^(4-i) + sum_{i>=5} a_i U^(31-i),
//   U = t^69 + t^34, V = t^68 + t^33, a_i bit i of a,
// so its residues modulo the irreducible polynomials of degree up to 16 are sums of precomputed
// residues: a candidate with a small factor costs a few xors. A survivor is tested in full:
// 2^2203 - 1 is prime, so phi is primitive exactly when t^(2^2203) = t mod phi (phi(0) = 1 by
// the top bit of a, and phi(1) = 1 by the sieve). Accepted polynomials are checked against
// Berlekamp-Massey on the generator's own output. k(v) is the least degree of the lattice of
// linear relations among the top v output bits, found by reducing a basis to weak Popov form,
// one output bit at a time. GF(2) products use carry-less multiplication.
//
// Rows are independent of each other: threads take rows in turn and rows are appended in order,
// so the table is the same whatever the split. An existing table is resumed after its last row.
//
// Usage: zyn_mt2203_table OUTPUT [--threads N] [--rows N]   (adds up to N rows)
//        zyn_mt2203_table - --fixed   (the k(v) gap sums of the fixed rows and of the search)
#include <smmintrin.h>
#include <unistd.h>
#include <wmmintrin.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "../twister_poly/berlekamp_massey.hpp"

namespace {

constexpr int kRows = 6024;
constexpr int kN = 69, kM = 34, kR = 5;
constexpr int kP = 32 * kN - kR;    // 2203
constexpr int kW = (kP + 63) / 64;  // words of a residue modulo phi
constexpr int kSieveDegree = 16;
constexpr int kLevels = 17;  // output bits 31..15 carry free mask bits

struct Row {
  uint32_t a, b, c;
};
constexpr struct {
  int row;
  Row r;
} kFixed[] = {
    {0, {0xAF81055F, 0xDD7EEF80, 0xEFD78000}},    {1, {0x832604E1, 0x66AD7F80, 0xEBD58000}},
    {2, {0x92F70739, 0x656D7780, 0xEFC50000}},    {3, {0x8B75046E, 0x76957780, 0xEFC48000}},
    {6022, {0x8A8C1D4A, 0x65757780, 0xEFE18000}}, {6023, {0xE8761D4B, 0x72967680, 0xEFEB0000}}};

// ---- GF(2) polynomials of fixed width, bit i the coefficient of t^i ----

using Poly = std::array<uint64_t, kW + 1>;  // degree < kP, one word of slack for shifts
using Wide = std::array<uint64_t, 2 * kW + 2>;

template <class A>
int degree(const A &p, int from_word = int(std::tuple_size_v<A>) - 1) {
  for (int i = from_word; i >= 0; --i)
    if (p[i] != 0) return 64 * i + 63 - std::countl_zero(p[i]);
  return -1;
}
template <class A>
bool bit(const A &p, int i) {
  return (p[i / 64] >> (i % 64)) & 1;
}
template <class A>
void flip(A &p, int i) {
  p[i / 64] ^= uint64_t{1} << (i % 64);
}
// dst ^= src t^s, src limited to its first `words` words; the product must fit in dst.
template <class D, class S>
void xor_shifted(D &dst, const S &src, int words, int s) {
  const int q = s / 64, r = s % 64, room = int(std::tuple_size_v<D>);
  for (int i = 0; i < words && i + q < room; ++i) {
    dst[i + q] ^= src[i] << r;
    if (r != 0 && i + q + 1 < room) dst[i + q + 1] ^= src[i] >> (64 - r);
  }
}

// a b, both of degree < 64 na and 64 nb.
template <class A, class B>
Wide multiply(const A &a, int na, const B &b, int nb) {
  Wide c{};
  for (int i = 0; i < na; ++i) {
    const __m128i x = _mm_cvtsi64_si128(int64_t(a[i]));
    for (int j = 0; j < nb; ++j) {
      __m128i p = _mm_clmulepi64_si128(x, _mm_cvtsi64_si128(int64_t(b[j])), 0);
      c[i + j] ^= uint64_t(_mm_cvtsi128_si64(p));
      c[i + j + 1] ^= uint64_t(_mm_extract_epi64(p, 1));
    }
  }
  return c;
}

// Arithmetic modulo phi by Barrett reduction: mu = floor(t^(2P) / phi).
struct Modulus {
  Poly phi;
  Poly mu;  // degree P: one word more than a residue
  explicit Modulus(const Poly &p) : phi(p), mu{} {
    Wide r{};
    flip(r, 2 * kP);
    for (int k = 2 * kP; k >= kP; --k)
      if (bit(r, k)) {
        xor_shifted(r, phi, kW, k - kP);
        flip(mu, k - kP);
      }
  }
  // s mod phi for s of degree < 2P.
  Poly reduce(const Wide &s) const {
    Poly hi{};
    for (int i = 0; i < kW; ++i) {
      const int at = kP + 64 * i;
      hi[i] = (s[at / 64] >> (at % 64)) | (at % 64 ? s[at / 64 + 1] << (64 - at % 64) : 0);
    }
    Wide qm = multiply(hi, kW, mu, kW + 1);
    Poly q{};
    for (int i = 0; i < kW; ++i) {
      const int at = kP + 64 * i;
      q[i] = (qm[at / 64] >> (at % 64)) | (at % 64 ? qm[at / 64 + 1] << (64 - at % 64) : 0);
    }
    Wide qp = multiply(q, kW, phi, kW);
    Poly r{};
    for (int i = 0; i < kW; ++i) r[i] = s[i] ^ qp[i];
    r[kW - 1] &= (uint64_t{1} << (kP % 64)) - 1;
    return r;
  }
  Poly square(const Poly &x) const {
    Wide s{};
    for (int i = 0; i < kW; ++i) {
      __m128i v = _mm_cvtsi64_si128(int64_t(x[i]));
      __m128i p = _mm_clmulepi64_si128(v, v, 0);
      s[2 * i] = uint64_t(_mm_cvtsi128_si64(p));
      s[2 * i + 1] = uint64_t(_mm_extract_epi64(p, 1));
    }
    return reduce(s);
  }
  Poly mul(const Poly &x, const Poly &y) const { return reduce(multiply(x, kW, y, kW)); }
};

// t^(2^P) = t mod phi.
bool primitive(const Poly &phi) {
  const Modulus m(phi);
  Poly x{};
  flip(x, 1);
  for (int i = 0; i < kP; ++i) x = m.square(x);
  Poly t{};
  flip(t, 1);
  return x == t;
}

// The inverse of x modulo phi (x not zero, phi irreducible).
Poly inverse(const Poly &x, const Poly &phi) {
  Poly u = x, v = phi, g1{}, g2{};
  flip(g1, 0);
  int du = degree(u), dv = degree(v);
  while (du > 0) {
    int j = du - dv;
    if (j < 0) {
      std::swap(u, v);
      std::swap(g1, g2);
      std::swap(du, dv);
      j = -j;
    }
    xor_shifted(u, v, dv / 64 + 1, j);
    xor_shifted(g1, g2, std::max(degree(g2), 0) / 64 + 1, j);
    du = degree(u, du / 64);
  }
  return g1;
}

// ---- the characteristic polynomial as a function of a ----

Poly power_product(int pu, int pv) {  // U^pu V^pv
  Poly r{};
  flip(r, 0);
  Poly u{}, v{};
  flip(u, kN), flip(u, kM), flip(v, kN - 1), flip(v, kM - 1);
  for (int k = 0; k < pu + pv; ++k) {
    const Poly &f = k < pu ? u : v;
    Wide w = multiply(r, kW, f, 2);
    std::copy(w.begin(), w.begin() + kW + 1, r.begin());
  }
  return r;
}

struct CharPoly {
  Poly base;
  std::array<Poly, 32> term;  // the polynomial that bit i of a adds
  CharPoly() : base(power_product(32 - kR, kR)) {
    for (int i = 0; i < 32; ++i)
      term[i] = i < kR ? power_product(32 - kR, kR - 1 - i) : power_product(31 - i, 0);
  }
  Poly of(uint32_t a) const {
    Poly p = base;
    for (int i = 0; i < 32; ++i)
      if ((a >> i) & 1)
        for (int j = 0; j <= kW; ++j) p[j] ^= term[i][j];
    return p;
  }
};

// ---- the sieve: residues modulo every irreducible polynomial of degree up to 16 ----

uint32_t mod_small(uint64_t x, uint32_t q) {  // x mod q, q of degree <= 16
  const int dq = 31 - std::countl_zero(q);
  for (int i = 63; i >= dq; --i)
    if ((x >> i) & 1) x ^= uint64_t{q} << (i - dq);
  return uint32_t(x);
}
uint32_t mulmod_small(uint32_t x, uint32_t y, uint32_t q) {
  __m128i p = _mm_clmulepi64_si128(_mm_cvtsi32_si128(int(x)), _mm_cvtsi32_si128(int(y)), 0);
  return mod_small(uint64_t(_mm_cvtsi128_si64(p)), q);
}
uint32_t powmod_small(uint32_t x, int e, uint32_t q) {
  uint32_t r = 1;
  for (; e > 0; e >>= 1, x = mulmod_small(x, x, q))
    if (e & 1) r = mulmod_small(r, x, q);
  return r;
}

struct Sieve {
  std::vector<uint32_t> q;                     // irreducibles, by degree
  std::vector<uint32_t> base;                  // U^27 V^5 mod q
  std::vector<std::array<uint32_t, 32>> term;  // term_i mod q
  Sieve() {
    for (uint32_t p = 2; p < (1u << (kSieveDegree + 1)); ++p) {
      const int d = 31 - std::countl_zero(p);
      bool irreducible = true;
      for (uint32_t f : q) {
        if (2 * (31 - std::countl_zero(f)) > d) break;
        if (mod_small(p, f) == 0) {
          irreducible = false;
          break;
        }
      }
      if (irreducible) q.push_back(p);
    }
    for (uint32_t f : q) {
      uint32_t t69 = powmod_small(2, kN, f), t34 = powmod_small(2, kM, f);
      uint32_t t68 = powmod_small(2, kN - 1, f), t33 = powmod_small(2, kM - 1, f);
      uint32_t U = (t69 ^ t34), V = (t68 ^ t33);
      auto pw = [&](int pu, int pv) {
        return mulmod_small(powmod_small(U, pu, f), powmod_small(V, pv, f), f);
      };
      base.push_back(pw(32 - kR, kR));
      std::array<uint32_t, 32> t{};
      for (int i = 0; i < 32; ++i) t[i] = i < kR ? pw(32 - kR, kR - 1 - i) : pw(31 - i, 0);
      term.push_back(t);
    }
  }
  // Whether phi(a) has no irreducible factor of degree up to 16.
  bool passes(uint32_t a) const {
    for (size_t k = 0; k < q.size(); ++k) {
      uint32_t r = base[k];
      for (uint32_t bits = a; bits != 0; bits &= bits - 1) r ^= term[k][std::countr_zero(bits)];
      if (r == 0) return false;
    }
    return true;
  }
};

// ---- the generator's output ----

// Untempered output words of MT2203 with parameter a from a fixed state.
std::vector<uint32_t> raw_words(uint32_t a, int count) {
  uint32_t w[kN];
  w[0] = 4357;
  for (int i = 1; i < kN; ++i) w[i] = 1812433253u * (w[i - 1] ^ (w[i - 1] >> 30)) + uint32_t(i);
  std::vector<uint32_t> out;
  for (int k = 0; k < count; ++k) {
    const int i = k % kN;
    const uint32_t y = (w[i] & 0xFFFFFFE0u) | (w[(i + 1) % kN] & 0x1Fu);
    w[i] = w[(i + kM) % kN] ^ (y >> 1) ^ ((y & 1) ? a : 0);
    out.push_back(w[i]);
  }
  return out;
}

uint32_t temper(uint32_t y, uint32_t b, uint32_t c) {
  y ^= y >> 12;
  y ^= (y << 7) & b;
  y ^= (y << 15) & c;
  return y ^ (y >> 18);
}

// ---- equidistribution: the lattice of relations among the top v output bits ----
//
// With phi irreducible, the bit sequences of the generator form the field F2[t]/phi: bit j of
// the untempered words is h_j / phi as a series in 1/t. Polynomials f_1..f_v of degree < k give
// a relation among k successive outputs of the top v bits exactly when sum f_i H_i = 0 mod phi,
// H_i the element of output bit i. These relations form a lattice of rank v and determinant
// degree P; k(v) is the least degree (the maximum over the components) of a non-zero relation,
// the least row degree of a reduced basis.

// A row of the basis: v polynomial components stored word by word, word i of every component
// side by side, so that adding a shifted row is one pass over the words of all components at
// once. Degrees stay below P + 1 and the shifts never carry a component past its row's degree.
constexpr int kCols = kLevels;
struct LRow {
  std::array<std::array<uint64_t, kCols>, kW + 1> w{};
  int d = -1, pivot = -1;  // row degree; last component of that degree

  // The degree and pivot, looking from word `from` down.
  void update(int from) {  // components past v are zero
    for (int i = from; i >= 0; --i) {
      uint64_t any = 0;
      for (int j = 0; j < kCols; ++j) any |= w[i][j];
      if (any == 0) continue;
      const int top = 63 - std::countl_zero(any);
      d = 64 * i + top;
      for (int j = kCols - 1; j >= 0; --j)
        if ((w[i][j] >> top) & 1) {
          pivot = j;
          return;
        }
    }
    d = -1;
  }
};

struct Lattice {
  std::vector<LRow> rows;
  std::vector<int> owner;  // row of each pivot position, or -1
  int v = 0;

  // Adds the component of output bit H (given as g = H / H_top) and reduces.
  int extend(const Poly &g) {
    ++v;
    owner.push_back(-1);
    LRow n;
    for (int i = 0; i <= kW; ++i) n.w[i][0] = g[i];
    if (v > 1) n.w[0][v - 1] ^= 1;
    n.update(kW);
    insert(n);
    int k = kP;
    for (const LRow &r : rows) k = std::min(k, r.d);
    return k;
  }

  void insert(LRow &n) {
    for (;;) {
      const int o = owner[n.pivot];
      if (o < 0) {
        owner[n.pivot] = int(rows.size());
        rows.push_back(n);
        return;
      }
      if (n.d < 0) {
        fprintf(stderr, "mt2203_table: dependent lattice basis\n");
        std::exit(1);
      }
      if (n.d < rows[o].d) std::swap(n, rows[o]);
      const LRow &r = rows[o];
      const int s = n.d - r.d, q = s / 64, b = s % 64, top = r.d / 64;
      if (b == 0) {
        for (int i = 0; i <= top; ++i)
          for (int j = 0; j < kCols; ++j) n.w[i + q][j] ^= r.w[i][j];
      } else {
        for (int j = 0; j < kCols; ++j) n.w[q][j] ^= r.w[0][j] << b;
        for (int i = 1; i <= top + 1; ++i) {
          const std::array<uint64_t, kCols> &lo = r.w[i - 1], &hi = r.w[i];
          std::array<uint64_t, kCols> &dst = n.w[i + q];
          for (int j = 0; j < kCols; ++j) dst[j] ^= hi[j] << b | lo[j] >> (64 - b);
        }
      }
      n.update(n.d / 64);
    }
  }
};

struct Search {
  const Modulus mod;
  std::array<Poly, 32> h;  // elements of the untempered bits

  Search(const Modulus &m, uint32_t a) : mod(m) {
    const std::vector<uint32_t> z = raw_words(a, kP);
    for (int j = 0; j < 32; ++j) {
      Poly rev{};
      for (int i = 0; i < kP; ++i)
        if ((z[i] >> j) & 1) flip(rev, kP - 1 - i);
      Wide prod = multiply(mod.phi, kW, rev, kW);
      for (int i = 0; i < kW; ++i) {
        const int at = kP + 64 * i;
        h[j][i] =
            (prod[at / 64] >> (at % 64)) | (at % 64 ? prod[at / 64 + 1] << (64 - at % 64) : 0);
      }
      h[j][kW - 1] &= (uint64_t{1} << (kP % 64)) - 1;
      h[j][kW] = 0;
    }
  }

  Poly element(int k, uint32_t b, uint32_t c) const {  // output bit k
    Poly e{};
    for (int j = 0; j < 32; ++j)
      if ((temper(uint32_t{1} << j, b, c) >> k) & 1)
        for (int i = 0; i < kW; ++i) e[i] ^= h[j][i];
    return e;
  }

  // The mask bits that first reach output bit k, most significant first.
  static std::vector<std::pair<bool, int>> free_bits(int k) {  // (is c, bit)
    std::vector<std::pair<bool, int>> f;
    f.push_back({true, k});
    if (k >= 17) f.push_back({false, k});
    if (k - 15 >= 7) f.push_back({false, k - 15});
    return f;
  }
  static void apply(int k, unsigned setting, uint32_t &b, uint32_t &c) {
    auto f = free_bits(k);
    for (size_t i = 0; i < f.size(); ++i) {
      const bool on = (setting >> (f.size() - 1 - i)) & 1;
      uint32_t &m = f[i].first ? c : b;
      m = (m & ~(uint32_t{1} << f[i].second)) | (uint32_t{on} << f[i].second);
    }
  }

  struct State {
    Lattice lat;
    Poly top_inverse;
    uint32_t b = 0, c = 0;
  };

  // k(v) of the level with output bit k after `setting`; the state moves on.
  int step(State &s, int k, unsigned setting) const {
    apply(k, setting, s.b, s.c);
    const Poly e = element(k, s.b, s.c);
    if (k == 31) {
      s.top_inverse = inverse(e, mod.phi);
      return s.lat.extend(mod.phi);
    }
    return s.lat.extend(mod.mul(e, s.top_inverse));
  }

  // Beam search: after each level keep the beam_width partial settings of least gap sum.
  Row run(uint32_t a, int *gaps) const {
    struct Partial {
      State s;
      int gaps;
    };
    std::vector<Partial> beam(1);
    for (int v = 1; v <= kLevels; ++v) {
      const int k = 32 - v;
      std::vector<Partial> next;
      for (const Partial &p : beam)
        for (unsigned set = (1u << free_bits(k).size()); set-- > 0;) {
          Partial q{p.s, p.gaps};
          q.gaps += kP / v - step(q.s, k, set);
          next.push_back(std::move(q));
        }
      std::stable_sort(next.begin(), next.end(),
                       [](const Partial &x, const Partial &y) { return x.gaps < y.gaps; });
      if (next.size() > size_t(beam_width)) next.resize(size_t(beam_width));
      beam = std::move(next);
    }
    *gaps = beam[0].gaps;
    return {a, beam[0].s.b, beam[0].s.c};
  }
  int beam_width = 16;

  // The k(v) gap sum of given masks.
  int gaps_of(uint32_t b, uint32_t c) const {
    State s;
    int gaps = 0;
    for (int v = 1; v <= kLevels; ++v) {
      const int k = 32 - v;
      unsigned set = 0;
      for (auto [is_c, i] : free_bits(k)) set = set << 1 | (((is_c ? c : b) >> i) & 1);
      gaps += kP / v - step(s, k, set);
    }
    return gaps;
  }
};

// ---- one row ----

struct Context {
  CharPoly cp;
  Sieve sieve;
  std::vector<int> ids;  // id of each row
};

Poly poly_of_exponents(const std::vector<int> &e) {
  Poly p{};
  for (int x : e)
    if (x < 64 * (kW + 1)) flip(p, x);
  return p;
}

bool primitive_checked(const Context &ctx, uint32_t a) {
  const Poly phi = ctx.cp.of(a);
  if (!primitive(phi)) return false;
  std::vector<uint8_t> bits;
  for (uint32_t z : raw_words(a, 2 * kP)) bits.push_back(z & 1);
  const std::vector<int> bm = zyn::tools::berlekamp_massey(bits);
  if (bm.back() != kP || poly_of_exponents(bm) != phi) {
    fprintf(stderr,
            "mt2203_table: the characteristic polynomial of a = 0x%08X disagrees with "
            "Berlekamp-Massey\n",
            a);
    std::exit(1);
  }
  return true;
}

struct Made {
  Row row;
  int candidates, gaps;
};

Made make_row(const Context &ctx, int row) {
  const uint32_t id = uint32_t(ctx.ids[row]);
  std::mt19937 gen(id);
  for (int n = 1;; ++n) {
    const uint32_t a = 0x80000000u | (gen() & 0x7FFFu) << 16 | id;
    if (!ctx.sieve.passes(a) || !primitive_checked(ctx, a)) continue;
    const Modulus mod(ctx.cp.of(a));
    Made m{};
    m.row = Search(mod, a).run(a, &m.gaps);
    m.candidates = n;
    return m;
  }
}

std::vector<int> row_ids() {
  std::vector<int> ids(kRows, -1);
  std::vector<bool> fixed_id(1 << 16, false);
  for (const auto &f : kFixed) {
    ids[f.row] = int(f.r.a & 0xFFFF);
    fixed_id[f.r.a & 0xFFFF] = true;
  }
  int next = 0;
  for (int r = 0; r < kRows; ++r) {
    if (ids[r] >= 0) continue;
    while (fixed_id[next]) ++next;
    ids[r] = next++;
  }
  return ids;
}

// Rows already in the file: their indices. A torn last line is cut off.
std::vector<bool> read_existing(const char *path, bool *exists) {
  std::vector<bool> have(kRows, false);
  FILE *f = fopen(path, "r+");
  *exists = f != nullptr;
  if (f == nullptr) return have;
  std::string text;
  char buf[4096];
  for (size_t n; (n = fread(buf, 1, sizeof buf, f)) > 0;) text.append(buf, n);
  const size_t keep = text.rfind('\n') == std::string::npos ? 0 : text.rfind('\n') + 1;
  if (keep != text.size() && ftruncate(fileno(f), off_t(keep)) != 0) perror(path);
  fclose(f);
  text.resize(keep);
  for (size_t at = 0; (at = text.find("ZYN_MT2203_ROW(", at)) != std::string::npos; ++at) {
    int r;
    if (sscanf(text.c_str() + at, "ZYN_MT2203_ROW(%d,", &r) == 1 && r >= 0 && r < kRows)
      have[r] = true;
  }
  return have;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: %s OUTPUT [--threads N] [--rows N] | %s - --fixed\n", argv[0], argv[0]);
    return 2;
  }
  const char *path = argv[1];
  int threads = 2, limit = kRows;
  bool fixed_only = false;
  for (int i = 2; i < argc; ++i) {
    if (strcmp(argv[i], "--fixed") == 0) fixed_only = true;
    if (i + 1 < argc && strcmp(argv[i], "--threads") == 0) threads = atoi(argv[i + 1]);
    if (i + 1 < argc && strcmp(argv[i], "--rows") == 0) limit = atoi(argv[i + 1]);
  }
  Context ctx;
  ctx.ids = row_ids();
  for (const auto &f : kFixed)
    if (!primitive_checked(ctx, f.r.a)) {
      fprintf(stderr, "mt2203_table: fixed row %d is not primitive\n", f.row);
      return 1;
    }
  if (fixed_only) {  // the fixed rows' gap sums beside those of the search on their a
    for (const auto &f : kFixed) {
      const Search search(Modulus(ctx.cp.of(f.r.a)), f.r.a);
      int g;
      const Row r = search.run(f.r.a, &g);
      printf("row %d: b 0x%08X c 0x%08X gap sum %d; searched b 0x%08X c 0x%08X gap sum %d\n", f.row,
             f.r.b, f.r.c, search.gaps_of(f.r.b, f.r.c), r.b, r.c, g);
    }
    return 0;
  }
  bool exists;
  std::vector<bool> have = read_existing(path, &exists);
  FILE *out = fopen(path, "a");
  if (out == nullptr) {
    perror(path);
    return 1;
  }
  if (!exists) {
    fprintf(
        out,
        "// Generated by tools/mt2203_table: the MT2203 parameter table, one row (a, b, c) per\n"
        "// set. Rows 0, 1, 2, 3, 6022 and 6023 are fixed. Row 4 + k takes the k-th of the ids\n"
        "// 0, 1, 2, ... that no fixed row carries; a = 0x80000000 | x << 16 | id with x the\n"
        "// low 15 bits of successive outputs of std::mt19937 seeded with the id, the first\n"
        "// whose characteristic polynomial is primitive; b and c by a beam search (width 16)\n"
        "// that minimises the sum of floor(2203 / v) - k(v) over the top v = 1..17 output\n"
        "// bits. Rows are appended as they are made: a set without a row is not generated\n"
        "// yet. Do not edit.\n");
    for (const auto &f : kFixed)
      fprintf(out, "ZYN_MT2203_ROW(%d, 0x%08X, 0x%08X, 0x%08X)\n", f.row, f.r.a, f.r.b, f.r.c);
    fflush(out);
  }
  std::vector<int> todo;
  for (int r = 0; r < kRows; ++r)
    if (!have[r] && !std::any_of(std::begin(kFixed), std::end(kFixed),
                                 [r](const auto &f) { return f.row == r; }))
      todo.push_back(r);
  if (int(todo.size()) > limit) todo.resize(size_t(limit));

  std::atomic<size_t> next{0};
  std::mutex mu;
  std::condition_variable cv;
  std::map<int, Made> done;
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t)
    pool.emplace_back([&] {
      for (size_t i; (i = next++) < todo.size();) {
        Made m = make_row(ctx, todo[i]);
        std::lock_guard<std::mutex> lock(mu);
        done[todo[i]] = m;
        cv.notify_one();
      }
    });
  const auto start = std::chrono::steady_clock::now();
  long candidates = 0, gaps = 0;
  for (size_t i = 0; i < todo.size(); ++i) {
    Made m;
    {
      std::unique_lock<std::mutex> lock(mu);
      cv.wait(lock, [&] { return done.count(todo[i]) != 0; });
      m = done[todo[i]];
      done.erase(todo[i]);
    }
    fprintf(out, "ZYN_MT2203_ROW(%d, 0x%08X, 0x%08X, 0x%08X)\n", todo[i], m.row.a, m.row.b,
            m.row.c);
    fflush(out);
    candidates += m.candidates;
    gaps += m.gaps;
    const double s =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    fprintf(stderr, "row %d: %d candidates, k(v) gap %d; %zu rows in %.0f s (%.2f s per row)\n",
            todo[i], m.candidates, m.gaps, i + 1, s, s / double(i + 1));
  }
  for (std::thread &t : pool) t.join();
  if (!todo.empty())
    fprintf(stderr, "%zu rows, %.1f candidates and a k(v) gap sum of %.2f per row\n", todo.size(),
            double(candidates) / double(todo.size()), double(gaps) / double(todo.size()));
  return fclose(out) == 0 ? 0 : 1;
}
