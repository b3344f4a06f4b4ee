// The basic generators against published outputs and their reference models (every property of
// generator_checks.hpp for every row of the table), the modular helpers and the WH table.
#include <gtest/gtest.h>

#include <set>

#include "tests/stream/generator_models.hpp"
#include "tests/stream/refdata.hpp"

namespace zyn::test {
namespace {

std::vector<uint32_t> state(Stream &st, int words) { return {&st.state<uint32_t>(0), &st.state<uint32_t>(0) + words}; }

TEST(Generators, PublishedOutputs) {
  const std::vector<uint32_t> seed(6, 12345);
  Stream mrg(RNX_BRNG_MRG32K3A, seed), mrg127(mrg), mrg128(mrg);
  const auto z = mrg.ints(100);
  EXPECT_EQ(std::vector<uint32_t>(z.begin(), z.begin() + 5), kMrgFirst);
  EXPECT_EQ(std::vector<uint32_t>(z.begin() + 97, z.end()), kMrgLast);
  EXPECT_EQ(state(mrg, 6), kMrgState100);
  const uint64_t e127[2] = {0, uint64_t{1} << 63}, e128[3] = {0, 0, 1};
  ASSERT_EQ(__rnxSkipAheadStreamEx(mrg127, 2, e127) | __rnxSkipAheadStreamEx(mrg128, 3, e128), 0);
  EXPECT_EQ(state(mrg127, 6), kMrgState2p127);
  EXPECT_EQ(state(mrg128, 6), kMrgState2p128);
  for (bool wide : {false, true}) {
    Stream st(wide ? RNX_BRNG_MCG59 : RNX_BRNG_MCG31, {1});
    const auto w = st.ints(20, wide ? 2 : 1);
    for (int i = 0; i < 10; ++i) {
      const int k = i < 5 ? i : i + 10;
      EXPECT_EQ(wide ? w[2 * k] | uint64_t{w[2 * k + 1]} << 32 : w[k], (wide ? kMcg59 : kMcg31)[i]) << k;
    }
  }
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
