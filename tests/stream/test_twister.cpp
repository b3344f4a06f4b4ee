// The twister generators against plain recurrences written here where nothing published reaches
// (MT2203's sets, long keys), the MT2203 table's primitivity, and the polynomial skip-ahead's
// two methods against each other. Published outputs, splitting and skips: test_generators.cpp.
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <set>

#include "stream/generators/mt19937_ring.hpp"
#include "tests/stream/generator_checks.hpp"
#include "tools/twister_poly/berlekamp_massey.hpp"
#include "zyn/twister_poly.inc"

namespace zyn::test {
namespace {

using Words = std::vector<uint32_t>;
using Row = std::array<uint32_t, 3>;  // a, b, c
const std::vector<Row> kRows = [] {
  std::vector<Row> t(RNX_MT2203_SUBSTREAMS, Row{0, 0, 0});
#define ZYN_MT2203_ROW(i, a, b, c) t[i] = Row{a, b, c};
#include "stream/generators/mt2203_table.inc"
#undef ZYN_MT2203_ROW
  return t;
}();

// A twister of n words, m, r lower bits, tempering shift u, seeded by array; one word at a time.
Words mt_words(int n, int m, int r, int u, Row p, Words key, int count) {
  Words w(n), out;
  w[0] = 19650218u;
  for (int i = 1; i < n; ++i) w[i] = 1812433253u * (w[i - 1] ^ (w[i - 1] >> 30)) + i;
  auto wrap = [&](int i) { return i + 1 < n ? i + 1 : (w[0] = w[n - 1], 1); };
  int i = 1, len = int(key.size());
  for (int k = 0; k < std::max(n, len); ++k, i = wrap(i))
    w[i] = (w[i] ^ ((w[i - 1] ^ (w[i - 1] >> 30)) * 1664525u)) + key[k % len] + k % len;
  for (int k = n - 1; k > 0; --k, i = wrap(i))
    w[i] = (w[i] ^ ((w[i - 1] ^ (w[i - 1] >> 30)) * 1566083941u)) - i;
  w[0] = 0x80000000u;
  for (int k = 0; k < count; ++k) {
    const int x = k % n;
    uint32_t y = (w[x] & ~0u << r) | (w[(x + 1) % n] & ~(~0u << r));
    y = w[x] = w[(x + m) % n] ^ (y >> 1) ^ (y & 1 ? p[0] : 0);
    y ^= y >> u, y ^= (y << 7) & p[1], y ^= (y << 15) & p[2];
    out.push_back(y ^ (y >> 18));
  }
  return out;
}

// The SFMT19937 state after seeding by array: i runs on modulo 624, the key index does not.
Words sfmt_seeded(const Words &key) {
  Words w(624, 0x8B8B8B8Bu);
  const uint32_t n = uint32_t(key.size()), rounds = std::max(n + 1, 624u);
  for (uint32_t j = 0, i = 0; j < rounds + 624; ++j, i = (i + 1) % 624) {
    uint32_t &a = w[i], &mid = w[(i + 306) % 624], &lag = w[(i + 317) % 624],
             x = w[(i + 623) % 624];
    x = j < rounds ? a ^ mid ^ x : a + mid + x;
    x = (x ^ x >> 27) * (j < rounds ? 1664525u : 1566083941u);
    if (j >= rounds) mid ^= x, lag ^= a = x - i;
    if (j < rounds) mid += x, lag += a = x + (j == 0 ? n : i + (j - 1 < n ? key[j - 1] : 0));
  }
  if (__builtin_parity((w[0] & 1) ^ (w[3] & 0x13C9E684u)) == 0) w[0] ^= 1;
  return w;
}

Words long_key(int n) {
  Words k(n);
  for (int i = 0; i < n; ++i) k[i] = 0x9E3779B9u * (i + 7);
  return k;
}

// MT2203 sets with the rows' a, b, c, keys shorter and longer than the state (the seeding is
// MT19937's); SFMT19937 keys of every length class against the plain seeding.
TEST(Twister, PlainRecurrences) {
  for (int set : {0, 1, 6023, 4})
    for (const Words &key : {Words{5}, long_key(80)})
      EXPECT_EQ(Stream(RNX_BRNG_MT2203 + set, key).ints(300), mt_words(69, 34, 5, 12, kRows[set], key, 300)) << set;
  for (int n : {623, 624, 625, 1000}) {
    Stream st(RNX_BRNG_SFMT19937, long_key(n));
    EXPECT_EQ(Words(&st.state<uint32_t>(0), &st.state<uint32_t>(624)), sfmt_seeded(long_key(n))) << n;
  }
}

// Horner's rule equals the window method.
TEST(Twister, HornerEqualsWindow) {
  for (uint64_t k : {uint64_t{0x100000}, uint64_t{1} << 63, ~uint64_t{0}}) {
    Stream horner(RNX_BRNG_MT19937, {3});
    horner.ints(5);
    Stream window(horner);
    using namespace zyn::rng;
    ASSERT_EQ(__rnx_SkipAheadHorner(horner, ring_zero, ring_add, ring_copy, mt19937_step, mt19937_store,
                                    mt19937_prepare, k, 624, kTwisterMt19937Poly[kTwisterMt19937Terms - 1],
                                    2520, kTwisterMt19937Terms, kTwisterMt19937Poly) |
                  __rnxSkipAheadStream(window, k),
              0);
    EXPECT_EQ(horner.ints(700), window.ints(700)) << k;
  }
}

// Plain GF(2) polynomials, bit i the coefficient of t^i. Reduction modulo m from the top, 8 bits
// at a time, by the multiples of m by the 256 polynomials below t^8.
using Poly = std::vector<uint64_t>;
bool bit(const Poly &p, int i) { return (p[i / 64] >> (i % 64)) & 1; }
void xor_shifted(Poly &p, const Poly &q, int s) {
  for (size_t w = 0; w < q.size() && w + s / 64 < p.size(); ++w) {
    p[w + s / 64] ^= q[w] << (s % 64);
    if (s % 64 && w + s / 64 + 1 < p.size()) p[w + s / 64 + 1] ^= q[w] >> (64 - s % 64);
  }
}
Poly from_terms(const int *terms, int count, int words) {
  Poly p(words, 0);
  for (int k = 0; k < count; ++k) p[terms[k] / 64] |= uint64_t{1} << (terms[k] % 64);
  return p;
}
struct Modulus {
  int degree;
  std::vector<Poly> multiple;
  Modulus(const Poly &m, int d) : degree(d), multiple(256, Poly(d / 64 + 2, 0)) {
    for (int v = 1; v < 256; ++v)
      for (int j = 0; j < 8; ++j)
        if ((v >> j) & 1) xor_shifted(multiple[v], m, j);
  }
  Poly reduce(Poly p) const {
    for (int top = int(p.size()) * 64 - 1; top >= degree; top -= 8) {
      const int s = std::max(degree, top - 7);
      int v = 0;
      for (int i = top; i >= s; --i) v = v << 1 | bit(p, i);
      xor_shifted(p, multiple[v], s - degree);
    }
    p.resize((degree + 63) / 64);
    return p;
  }
};

// Remainders t^e mod phi at degree - 1 and degree. Larger remainders show in skip-ahead: equal
// to drawing, and skip(a) then skip(b) equal to skip(a + b), that is t^a t^b = t^(a+b).
TEST(Twister, JumpPolynomials) {
  for (auto [terms, count] : {std::pair{kTwisterMt19937Poly, kTwisterMt19937Terms},
                              std::pair{kTwisterSfmt19937Poly, kTwisterSfmt19937Terms}}) {
    const int degree = terms[count - 1];
    Poly out(624), below = from_terms(terms, count - 1, 624), top(624, 0);
    top[(degree - 1) / 64] = uint64_t{1} << ((degree - 1) % 64);
    EXPECT_TRUE(__rnxPolyRem(degree - 1, degree, count, terms, 624, out.data()) == 0 && out == top);
    EXPECT_TRUE(__rnxPolyRem(degree, degree, count, terms, 624, out.data()) == 0 && out == below);
  }
}

// The cheap properties of every MT2203 row (all made); primitivity of the fixed rows and of 32 generated
// ones spread over the table: by Berlekamp-Massey the generator's own output gives phi of degree
// 2203, and t^(2^2203) = t mod phi, so that phi is primitive (2^2203 - 1 is prime; phi(0) =
// phi(1) = 1).
TEST(Twister, Mt2203Table) {
  std::set<uint32_t> ids;
  for (const auto &[a, b, c] : kRows)
    EXPECT_TRUE(a >> 31 && !(b & 0x7F) && !(c & 0x7FFF) && ids.insert(a & 0xFFFF).second);  // every row made
  std::vector<int> sets = {0, 1, 2, 3, 6022, 6023}, made;
  for (int set = 4; set < 6022; ++set)
    if (kRows[set][0] != 0) made.push_back(set);
  for (size_t k = 0; k < 32 && k < made.size(); ++k) sets.push_back(made[k * made.size() / 32]);
  for (int set : sets) {
    std::vector<uint8_t> bits;
    for (uint32_t x : mt_words(69, 34, 5, 12, {kRows[set][0], 0, 0}, {1}, 2 * 2203))
      bits.push_back(x & 1);
    const std::vector<int> phi = zyn::tools::berlekamp_massey(bits);
    ASSERT_EQ(phi.back(), 2203) << set;
    const Modulus mod(from_terms(phi.data(), int(phi.size()), 35), 2203);
    Poly x(35, 0), t = x;
    x[0] = t[0] = 2;
    for (int i = 0; i < 2203; ++i) {
      Poly sq(70, 0);
      for (int j = 0; j < 2203; ++j) sq[j / 32] |= uint64_t{bit(x, j)} << (2 * j % 64);
      x = mod.reduce(sq);
    }
    EXPECT_EQ(x, t) << set;
  }
}

// The copy moves the words and the position: MT2203's a, b, c and SFMT's tail stay.
TEST(Twister, CopyStateKeepsParameters) {
  Stream first(RNX_BRNG_MT2203, {1}), last(RNX_BRNG_MT2203 + 6023, {1});
  EXPECT_EQ(__rnxCopyStreamState(last, first), 0);
  EXPECT_EQ(last.state<int32_t>(69), first.state<int32_t>(69));
  EXPECT_EQ(std::memcmp(&last.state<uint32_t>(70), &kRows[6023], 12), 0);
  Stream a(RNX_BRNG_SFMT19937, {1}), b(RNX_BRNG_SFMT19937, {2});
  a.ints(1);
  EXPECT_EQ(a.state<int32_t>(624 + 1 + 3 + 1), 3);  // tailCount after one word of an element
  EXPECT_EQ(__rnxCopyStreamState(b, a), 0);
  EXPECT_EQ(b.state<int32_t>(624), 4);
  EXPECT_EQ(b.state<int32_t>(624 + 1 + 3 + 1), 0);  // tailCount: b's own
}

}  // namespace
}  // namespace zyn::test
