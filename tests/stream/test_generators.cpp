// The basic generators against the published reference outputs (one table over the files in
// refdata/), and every property of generator_checks.hpp for every row of the generator table.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "tests/stream/generator_models.hpp"

namespace zyn::test {
namespace {

using Words = std::vector<uint32_t>;

// A stream seeded so, skipped by `skip`, gives the integer outputs of a reference file's section
// (the lines under "# [section]", all for none; the second column where there are several).
// Known-answer lines start with `section` and give their own seed (key, counter) and the first
// block: "name rounds counter(4) key(4 or 2) -> block(4)".
struct Published {
  int id;
  Words seed;
  const char *file, *section;
  uint64_t skip = 0;
};
const Published kPublished[] = {
    {RNX_BRNG_MCG31, {1}, "simple_mcg.txt", "MCG31"},
    {RNX_BRNG_MCG59, {1}, "simple_mcg.txt", "MCG59"},
    {RNX_BRNG_MRG32K3A, Words(6, 12345), "mrg32k3a.txt", ""},
    {RNX_BRNG_MT19937, {0x123, 0x234, 0x345, 0x456}, "mt19937.txt", "A"},
    {RNX_BRNG_MT19937, {1}, "mt19937.txt", "B"},
    {RNX_BRNG_MT19937, {}, "mt19937.txt", "B"},  // no key is the key {1}
    {RNX_BRNG_MT19937, {42, 7}, "mt19937.txt", "C"},
    {RNX_BRNG_MT19937, {1}, "mt19937.txt", "D", 9999},
    {RNX_BRNG_SFMT19937, {0x1234, 0x5678, 0x9ABC, 0xDEF0}, "sfmt19937.txt", "A"},
    {RNX_BRNG_ARS5, {}, "philox_ars_kat.txt", "ars4x32 5"},
    {RNX_BRNG_PHILOX4X32X10, {}, "philox_ars_kat.txt", "philox4x32 10"},
};

TEST(Generators, PublishedOutputs) {
  for (const Published &p : kPublished) {
    const bool kat = p.id == RNX_BRNG_ARS5 || p.id == RNX_BRNG_PHILOX4X32X10;
    std::vector<std::pair<Words, std::vector<uint64_t>>> cases(kat ? 0 : 1, {p.seed, {}});
    std::ifstream in(std::string(ZYN_REFDATA) + "/" + p.file);
    const std::string section = p.section;
    bool on = section.empty();
    for (std::string line; std::getline(in, line);) {
      if (line.rfind("# [", 0) == 0) on = section.empty() || line.rfind("# [" + section + "]", 0) == 0;
      if (line.empty() || line[0] == '#' || !(on || line.rfind(section + " ", 0) == 0)) continue;
      std::istringstream words(line);
      const std::vector<std::string> w{std::istream_iterator<std::string>(words), {}};
      if (!kat) {
        cases[0].second.push_back(std::stoull(w[w.size() > 1]));
        continue;
      }
      const size_t key = w.size() - 11;
      Words seed;
      std::vector<uint64_t> out;
      for (size_t i = 0; i < key + 4; ++i) seed.push_back(uint32_t(std::stoul(w[i < key ? 6 + i : 2 + i - key], nullptr, 16)));
      for (size_t i = 0; i < 4; ++i) out.push_back(std::stoul(w[7 + key + i], nullptr, 16));
      cases.push_back({seed, out});
    }
    ASSERT_TRUE(!cases.empty() && cases[0].second.size() > 0) << p.file << " " << p.section;
    for (const auto &[seed, out] : cases) {
      Stream st(p.id, seed);
      ASSERT_EQ(p.skip ? __rnxSkipAheadStream(st, p.skip) : 0, 0);
      const int words = st.row().wordSize / 4;
      const Words got = st.ints(int(out.size()), words);
      for (size_t i = 0; i < out.size(); ++i)
        EXPECT_EQ(words == 2 ? got[2 * i] | uint64_t{got[2 * i + 1]} << 32 : got[i], out[i]) << p.file << " " << p.section << " " << i;
    }
  }
  // MRG32K3A's state (x oldest first, then y) after 100 steps, 2^127 and 2^128.
  const std::vector<std::pair<Count, Words>> states = {
      {{100}, {1819035667u, 3047838441u, 3146405460u, 1641899773u, 1738356667u, 4180467741u}},
      {{0, uint64_t{1} << 63}, {3692455944u, 1366884236u, 2968912127u, 335948734u, 4161675175u, 475798818u}},
      {{0, 0, 1}, {1015873554u, 1310354410u, 2249465273u, 994084013u, 2912484720u, 3876682925u}}};
  for (const auto &[k, want] : states) {
    Stream st(RNX_BRNG_MRG32K3A, Words(6, 12345));
    ASSERT_EQ(__rnxSkipAheadStreamEx(st, int(k.size()), k.data()), 0);
    EXPECT_EQ(Words(&st.state<uint32_t>(0), &st.state<uint32_t>(6)), want) << k.size();
  }
}

// MRG32K3A seeds: words reduced mod m, missing ones 1, an all-zero component (1, 0, 0).
TEST(Generators, MrgSeeding) {
  const uint32_t m = 0xFFFFFFFF;
  for (const auto &[seed, same] : std::vector<std::pair<Words, Words>>{
           {{}, Words(6, 1)}, {Words(6, 0), {1, 0, 0, 1, 0, 0}}, {{1, 2}, {1, 2, 1, 1, 1, 1}},
           {{4294967087u, 4294967088u, m, 4294944443u, 4294944444u, m}, {0, 1, 208, 0, 1, 22852}}})
    EXPECT_EQ(Stream(RNX_BRNG_MRG32K3A, seed).ints(10), Stream(RNX_BRNG_MRG32K3A, same).ints(10)) << seed.size();
}

TEST(Generators, SplittingInvariance) {
  for (const Gen &g : all_generators()) CheckSplit(g);
}
TEST(Generators, SkipAheadEqualsDrawing) {
  for (const Gen &g : all_generators()) CheckSkip(g);
}
TEST(Generators, LeapfrogEqualsEveryNth) {
  for (const Gen &g : all_generators()) CheckLeapfrog(g);
}

// `left` after a skip: less by k within the block; beyond it (4 - r) mod 4 for Philox's one-word
// skip, 4 - r for ARS5 and multi-word skips (r the numbers taken from the last block).
TEST(CounterGenerators, LeftAfterSkips) {
  for (bool ars : {false, true})
    for (int drawn = 0; drawn < 9; ++drawn)
      for (uint64_t k : {0, 1, 2, 3, 4, 5, 8})
        for (bool ex : {false, true}) {
          Stream st(ars ? RNX_BRNG_ARS5 : RNX_BRNG_PHILOX4X32X10, {7});
          st.ints(drawn);
          uint32_t &at = st.state<uint32_t>(ars ? 8 : 6), left = at, r = uint32_t((k - left) % 4);
          ASSERT_EQ(ex ? __rnxSkipAheadStreamEx(st, 1, &k) : __rnxSkipAheadStream(st, k), 0);
          EXPECT_EQ(at, k <= left ? left - k : ars || ex ? 4 - r : (4 - r) % 4) << ars << " " << drawn << " " << k << " " << ex;
        }
}

// Every row: distinct primes of the range, multipliers in range that generate the multiplicative
// group of their moduli (a^((p-1)/q) != 1 for each prime q of p - 1), exact reciprocals; and the
// published rows.
TEST(WhTable, EveryRow) {
  std::set<uint32_t> seen;
  for (int r = 0; r < kWhRows; ++r)
    for (int i = 0; i < 4; ++i) {
      const uint32_t m = kWhModuli[r][i], a = kWhMultipliers[r][i];
      EXPECT_TRUE(m >= 16718909u && m <= 16776971u && a >= 112u && a <= 127u) << r;
      EXPECT_TRUE(seen.insert(m).second) << "repeated modulus " << m;
      EXPECT_EQ(kWhReciprocals[r][i], 1.0 / m) << r;
      uint32_t n = m - 1;
      for (uint32_t q = 2; q * q <= m; ++q) {  // m prime; each prime q of m - 1
        EXPECT_NE(m % q, 0u) << m;
        EXPECT_TRUE(n % q != 0 || pow_mod(a, {(m - 1) / q}, m) != 1) << r << ": " << a << " mod " << m;
        while (n % q == 0) n /= q;
      }
      EXPECT_TRUE(n == 1 || pow_mod(a, {(m - 1) / n}, m) != 1) << r << ": " << a << " mod " << m;
    }
  EXPECT_EQ(seen.size(), 4u * RNX_WH_SUBSTREAMS);
  const std::vector<std::vector<uint32_t>> published = {
      {0, 125, 117, 127, 126, 16770647, 16770643, 16770623, 16770617},
      {1, 127, 126, 125, 123, 16770311, 16770283, 16770263, 16770209},
      {136, 126, 127, 125, 124, 16758587, 16758571, 16758563, 16758527},
      {272, 126, 127, 125, 124, 16766363, 16766359, 16766327, 16766231}};
  for (const auto &p : published)
    for (int i = 0; i < 4; ++i) EXPECT_TRUE(kWhMultipliers[p[0]][i] == p[1 + i] && kWhModuli[p[0]][i] == p[5 + i]) << p[0];
}

}  // namespace
}  // namespace zyn::test
