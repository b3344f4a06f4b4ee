// The basic generators against published outputs and plain reference recurrences: every output
// kind, every block boundary, seeding rules, skip-ahead and leapfrog.
#include <gtest/gtest.h>

#include <cstring>

#include "refdata.hpp"
#include "reference.hpp"
#include "zyn/rng.h"

namespace {

using reftest::Gen;
using reftest::Stream;

constexpr double kA = -1.5, kB = 2.5;

// The kind of output drawn by a step of a test.
enum Kind { kInt, kDouble, kFloat };

// Draws n outputs of a kind and checks them against the reference words from index `at`.
void draw_and_check(Stream &st, const Gen &g, Kind kind, int at, int n,
                    const std::vector<uint32_t> &ref) {
  const uint32_t *w = ref.data() + size_t(at) * g.words;
  if (kind == kInt) {
    auto r = st.ints(n, g.words);
    ASSERT_EQ(r.size(), size_t(n) * g.words);
    for (int i = 0; i < n * g.words; ++i)
      ASSERT_EQ(r[i], w[i]) << g.name << " word " << at * g.words + i;
  } else if (kind == kDouble) {
    auto r = st.doubles(n, kA, kB);
    for (int i = 0; i < n; ++i)
      ASSERT_EQ(r[i], g.d(w + size_t(i) * g.words, kA, kB)) << g.name << " output " << at + i;
  } else {
    auto r = st.floats(n, float(kA), float(kB));
    for (int i = 0; i < n; ++i)
      ASSERT_EQ(r[i], g.s(w + size_t(i) * g.words, float(kA), float(kB)))
          << g.name << " output " << at + i;
  }
}

TEST(Generators, PublishedOutputs) {
  {
    Stream st(RNX_BRNG_MRG32K3A, {12345, 12345, 12345, 12345, 12345, 12345});
    auto z = st.ints(100, 1);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(z[i], kMrgFirst[i][0]) << i;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(z[97 + i], kMrgLast[i]);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(st.state<uint32_t>(i), kMrgState100[i]);
  }
  {
    Stream st(RNX_BRNG_MCG31, {1});
    auto x = st.ints(20, 1);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(x[i], kMcg31First[i]);
  }
  {
    Stream st(RNX_BRNG_MCG59, {1});
    auto x = st.ints(20, 2);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(x[2 * i] | (uint64_t{x[2 * i + 1]} << 32), kMcg59First[i]);
  }
}

// Every kind against the reference; n then m gives the numbers of n + m, for every n around the
// block sizes (8, 16, 250, 1024) and with the kinds mixed; then one call across two buffers.
TEST(Generators, SplittingInvariance) {
  const int cuts[] = {0, 1, 7, 8, 9, 15, 16, 17, 249, 250, 251, 1000};
  constexpr int kTotal = 1300, kLong = 2100;
  for (const Gen &g : reftest::all_generators()) {
    auto ref = g.raw(kTotal + kLong);
    for (int n : cuts)
      for (Kind first : {kInt, kDouble, kFloat}) {
        if (n == 0 && g.id == RNX_BRNG_MCG31) continue;  // an empty call draws one: EmptyCalls
        Kind second = Kind((first + 1) % 3);
        Stream st(g);
        draw_and_check(st, g, first, 0, n, ref);
        draw_and_check(st, g, second, n, kTotal - n, ref);
        draw_and_check(st, g, first, kTotal, kLong, ref);
        if (HasFatalFailure()) return;
      }
  }
}

TEST(Generators, EmptyCalls) {
  for (const Gen &g : reftest::all_generators()) {
    auto ref = g.raw(3);
    Stream st(g);
    const bool mcg31 = g.id == RNX_BRNG_MCG31;
    for (Kind kind : {kInt, kDouble, kFloat}) {
      std::vector<uint32_t> w(8, 0xDEADBEEF);
      std::vector<double> d(2, 7.0);
      std::vector<float> f(2, 7.0f);
      int status = kind == kInt      ? st.row().iGen(st.s, 0, w.data())
                   : kind == kDouble ? st.row().dGen(st.s, 0, d.data(), kA, kB)
                                     : st.row().sGen(st.s, 0, f.data(), float(kA), float(kB));
      EXPECT_EQ(status, 0);
      if (!mcg31) {
        EXPECT_EQ(w[0], 0xDEADBEEF);
        EXPECT_EQ(d[0], 7.0);
        EXPECT_EQ(f[0], 7.0f);
      }
    }
    // MCG31M1 writes one number and moves on by one at each empty call; the others stay.
    int at = mcg31 ? 3 : 0;
    auto more = g.raw(at + 1);
    EXPECT_EQ(st.ints(1, g.words)[0], more[size_t(at) * g.words]) << g.name;
  }
  Stream st(RNX_BRNG_MCG31, {5});
  uint32_t w = 0;
  EXPECT_EQ(__rnxiBRngMCG31M1(st.s, 0, &w), 0);
  EXPECT_EQ(w, 5u);
  EXPECT_EQ(st.ints(1, 1)[0], uint32_t(5 * reftest::kA31 % reftest::kM31));
}

// The seeding rules are those of the reference models; one more: a negative seed count makes
// WH read four words.
TEST(Generators, NegativeSeedCount) {
  StreamState *c = nullptr;
  const uint32_t seed[4] = {9, 8, 7, 6};
  ASSERT_EQ(__rnxNewStreamEx(&c, RNX_BRNG_WH + 1, -3, seed), 0);
  uint32_t w[4];
  __rnxiBRngWH(c, 1, w);
  EXPECT_EQ(w[3], 6u);
  __rnxDeleteStream(&c);
}

// ---- skip-ahead ----

TEST(SkipAhead, EqualsDrawing) {
  const uint64_t counts[] = {0, 1, 2, 7, 16, 17, 250, 1000, 99999, 100000};
  for (const Gen &g : reftest::all_generators()) {
    if (g.id == RNX_BRNG_R250) continue;
    auto ref = g.raw(100000 + 40);
    for (uint64_t k : counts) {
      Stream st(g);
      ASSERT_EQ(__rnxSkipAheadStream(st.s, k), RNX_STATUS_OK) << g.name;
      auto r = st.ints(40, g.words);
      for (size_t i = 0; i < r.size(); ++i)
        ASSERT_EQ(r[i], ref[k * g.words + i]) << g.name << " skip " << k;
    }
  }
}

TEST(SkipAhead, HugeCountsMatchModularPowers) {
  const uint64_t k = 0xFEDCBA9876543210ULL;
  {
    Stream st(RNX_BRNG_MCG31, {123});
    __rnxSkipAheadStream(st.s, k);
    EXPECT_EQ(st.ints(1, 1)[0], 123 * reftest::pow_mod(reftest::kA31, k, reftest::kM31) % reftest::kM31);
  }
  {
    Stream st(RNX_BRNG_MCG59, {123});
    __rnxSkipAheadStream(st.s, k);
    auto w = st.ints(1, 2);
    uint64_t expect = 123 * reftest::pow_mod(reftest::kA59, k, uint64_t{1} << 59) & reftest::kMask59;
    EXPECT_EQ(w[0] | (uint64_t{w[1]} << 32), expect);
  }
  {
    Stream st(RNX_BRNG_WH + 200, {5, 6, 7, 8});
    __rnxSkipAheadStream(st.s, k);
    auto w = st.ints(1, 4);
    for (int i = 0; i < 4; ++i)
      EXPECT_EQ(w[i], (5 + i) * reftest::pow_mod(kWhMultipliers[200][i], k, kWhModuli[200][i]) %
                          kWhModuli[200][i]);
  }
}

// 3 by 3 companion matrices with 128-bit products, for exponents of any width.
struct M3 {
  uint64_t a[9];
};
M3 mul(const M3 &x, const M3 &y, uint64_t m) {
  M3 r{};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      reftest::u128 s = 0;
      for (int k = 0; k < 3; ++k) s += reftest::u128{x.a[3 * i + k]} * y.a[3 * k + j];
      r.a[3 * i + j] = static_cast<uint64_t>(s % m);
    }
  return r;
}
// A^e (v oldest first) for e given as words, least significant first.
std::vector<uint32_t> mrg_skip(const std::vector<uint32_t> &v, const std::vector<uint64_t> &e) {
  const uint64_t m[2] = {uint64_t(reftest::kM1), uint64_t(reftest::kM2)};
  const M3 a[2] = {{{0, 1, 0, 0, 0, 1, m[0] - 810728, 1403580, 0}},
                   {{0, 1, 0, 0, 0, 1, m[1] - 1370589, 0, 527612}}};
  std::vector<uint32_t> out(6);
  for (int c = 0; c < 2; ++c) {
    M3 r{{1, 0, 0, 0, 1, 0, 0, 0, 1}}, p = a[c];
    for (uint64_t w : e)
      for (int b = 0; b < 64; ++b, p = mul(p, p, m[c]))
        if ((w >> b) & 1) r = mul(r, p, m[c]);
    for (int i = 0; i < 3; ++i) {
      reftest::u128 s = 0;
      for (int k = 0; k < 3; ++k) s += reftest::u128{r.a[3 * i + k]} * v[3 * c + k];
      out[3 * c + i] = static_cast<uint32_t>(s % m[c]);
    }
  }
  return out;
}

TEST(SkipAhead, MultiWordMrg32k3a) {
  const std::vector<uint32_t> seed(6, 12345);
  auto state = [](Stream &st) {
    std::vector<uint32_t> v(6);
    for (int i = 0; i < 6; ++i) v[i] = st.state<uint32_t>(i);
    return v;
  };
  {  // published states after 2^127 and 2^128 steps
    Stream a(RNX_BRNG_MRG32K3A, seed), b(RNX_BRNG_MRG32K3A, seed);
    const uint64_t e127[2] = {0, uint64_t{1} << 63}, e128[3] = {0, 0, 1};
    ASSERT_EQ(__rnxSkipAheadStreamEx(a.s, 2, e127), 0);
    ASSERT_EQ(__rnxSkipAheadStreamEx(b.s, 3, e128), 0);
    EXPECT_EQ(state(a), std::vector<uint32_t>(kMrgState2p127, kMrgState2p127 + 6));
    EXPECT_EQ(state(b), std::vector<uint32_t>(kMrgState2p128, kMrgState2p128 + 6));
  }
  // table form (bits up to 192), and the general form beyond: bit 193, word 4, 12 words
  const std::vector<std::vector<uint64_t>> counts = {
      {0x123456789ABCDEFULL},
      {1, 2, 3, 1},
      {5, 0, 0, 2},
      {0, 0, 0, 0, 1},
      {7, 0, 0, 0, 0, 0},
      {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12},
      {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}};
  for (const auto &e : counts) {
    Stream st(RNX_BRNG_MRG32K3A, seed);
    ASSERT_EQ(__rnxSkipAheadStreamEx(st.s, int(e.size()), e.data()), 0);
    EXPECT_EQ(state(st), mrg_skip(seed, e)) << e.size() << " words";
  }
  {  // one word agrees with the single-word skip
    Stream a(RNX_BRNG_MRG32K3A, seed), b(RNX_BRNG_MRG32K3A, seed);
    const uint64_t k = 987654321987ULL;
    __rnxSkipAheadStream(a.s, k);
    __rnxSkipAheadStreamEx(b.s, 1, &k);
    EXPECT_EQ(state(a), state(b));
  }
}

TEST(SkipAhead, UnsupportedMethods) {
  struct Case {
    int id;
    int leap, skip, skipex;
  };
  const Case cases[] = {{RNX_BRNG_MCG31, 0, 0, RNX_STATUS_NO_SKIP_EX},
                        {RNX_BRNG_MCG59, 0, 0, RNX_STATUS_NO_SKIP_EX},
                        {RNX_BRNG_R250, RNX_STATUS_NO_LEAPFROG, RNX_STATUS_NO_SKIP, RNX_STATUS_NO_SKIP_EX},
                        {RNX_BRNG_MRG32K3A, RNX_STATUS_NO_LEAPFROG, 0, 0},
                        {RNX_BRNG_WH, 0, 0, RNX_STATUS_NO_SKIP_EX}};
  const uint64_t one = 1;
  for (const Case &c : cases) {
    Stream st(c.id, {});
    EXPECT_EQ(__rnxLeapfrogStream(st.s, 0, 1), c.leap) << c.id;
    EXPECT_EQ(__rnxSkipAheadStream(st.s, 1), c.skip) << c.id;
    EXPECT_EQ(__rnxSkipAheadStreamEx(st.s, 1, &one), c.skipex) << c.id;
    EXPECT_EQ(st.row().init(4, st.s, 0, nullptr), RNX_STATUS_BAD_METHOD);
    EXPECT_EQ(st.row().init(-1, st.s, 0, nullptr), RNX_STATUS_BAD_METHOD);
  }
}

// ---- leapfrog ----

TEST(Leapfrog, StreamsInterleaveToTheBaseSequence) {
  for (const Gen &g : reftest::all_generators()) {
    if (g.id == RNX_BRNG_R250 || g.id == RNX_BRNG_MRG32K3A) continue;
    constexpr int kStreams = 3, kEach = 300;
    auto ref = g.raw(kStreams * kEach);
    for (int k = 0; k < kStreams; ++k) {
      Stream st(g);
      ASSERT_EQ(__rnxLeapfrogStream(st.s, k, kStreams), 0);
      auto r = st.ints(kEach, g.words);
      for (int i = 0; i < kEach; ++i)
        for (int w = 0; w < g.words; ++w)
          ASSERT_EQ(r[i * g.words + w], ref[(size_t(i) * kStreams + k) * g.words + w])
              << g.name << " stream " << k << " output " << i;
      // A skip after leapfrog counts the stream's own numbers.
      Stream sk(g);
      __rnxLeapfrogStream(sk.s, k, kStreams);
      __rnxSkipAheadStream(sk.s, 7);
      auto s7 = sk.ints(1, g.words);
      for (int w = 0; w < g.words; ++w)
        EXPECT_EQ(s7[w], ref[(size_t(7) * kStreams + k) * g.words + w]) << g.name;
    }
  }
}

// ---- modular helpers ----

TEST(ModularHelpers, Powers) {
  const uint32_t moduli[] = {2, 3, 16776971, 0x7FFFFFFF, 4294967087u, 0xFFFFFFFB};
  for (uint32_t m : moduli)
    for (uint64_t e : {uint64_t{0}, uint64_t{1}, uint64_t{2}, uint64_t{12345}, ~uint64_t{0}})
      for (uint32_t b : {0u, 1u, 2u, 112u, m - 1, 0xFFFFFFFFu})
        EXPECT_EQ(__rnxiPowMod(b, e, m), e == 0 ? 1 : reftest::pow_mod(b, e, m))
            << b << "^" << e << " mod " << m;
  for (uint64_t e : {uint64_t{0}, uint64_t{1}, uint64_t{3}, uint64_t{1} << 40, ~uint64_t{0}})
    for (uint32_t b : {1u, 2u, 0x7FFFFFFEu, 0x7FFFFFFFu, 0xFFFFFFFFu, 1132489760u}) {
      uint32_t r = __rnxiPowMod2P31M1(b, e);
      EXPECT_LT(r, 0x7FFFFFFFu);
      EXPECT_EQ(r, e == 0 ? 1 : reftest::pow_mod(b, e, 0x7FFFFFFF)) << b << "^" << e;
      uint64_t b59 = (uint64_t{b} << 27) | 0x5555;
      EXPECT_EQ(__rnxiPowMod2P59(b59, e), reftest::pow_mod(b59, e, uint64_t{1} << 59));
    }
}

TEST(ModularHelpers, VectorPowers) {
  const uint32_t coeff[3] = {527612, 0, 4294944443u - 1370589};
  const uint32_t m = 4294944443u;
  uint32_t v1[3] = {1, 2, 3}, v2[3] = {1, 2, 3}, v3[3] = {1, 2, 3};
  const uint64_t e = 0xABCDEF0123ULL;
  __rnxiVect3PowMod(v1, coeff, m, e);
  uint64_t words[12] = {e};  // beyond the fixed buffer of 10 words
  EXPECT_EQ(__rnxiVect3PowArrayMod(v2, coeff, m, 12, words), 0);
  EXPECT_EQ(__rnxiVect3PowArrayMod(v3, coeff, m, 1, words), 0);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(v1[i], v2[i]);
    EXPECT_EQ(v1[i], v3[i]);
  }
  uint32_t v4[3] = {4, 5, 6};
  const uint64_t zero[2] = {0, 0};
  EXPECT_EQ(__rnxiVect3PowArrayMod(v4, coeff, m, 2, zero), 0);
  EXPECT_EQ(v4[0], 4u);
  EXPECT_EQ(v4[2], 6u);
}

}  // namespace
