// Every row of the WH parameter table: distinct primes of the range, multipliers in range that
// are primitive roots of their moduli, exact reciprocals, and the fixed rows.
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "reference.hpp"

namespace {

bool is_prime(uint32_t n) {
  for (uint32_t d = 2; d * d <= n; ++d)
    if (n % d == 0) return false;
  return n >= 2;
}

// a generates the multiplicative group mod p: a^((p-1)/q) != 1 for each prime q of p - 1.
bool primitive_root(uint32_t a, uint32_t p) {
  std::vector<uint32_t> primes;
  uint32_t n = p - 1;
  for (uint32_t q = 2; q * q <= n; ++q)
    if (n % q == 0) {
      primes.push_back(q);
      while (n % q == 0) n /= q;
    }
  if (n > 1) primes.push_back(n);
  for (uint32_t q : primes)
    if (reftest::pow_mod(a, (p - 1) / q, p) == 1) return false;
  return true;
}

TEST(WhTable, EveryRow) {
  std::set<uint32_t> seen;
  for (int r = 0; r < kWhRows; ++r)
    for (int i = 0; i < 4; ++i) {
      const uint32_t m = kWhModuli[r][i], a = kWhMultipliers[r][i];
      EXPECT_GE(m, 16718909u) << r;
      EXPECT_LE(m, 16776971u) << r;
      EXPECT_TRUE(is_prime(m)) << r << " " << m;
      EXPECT_TRUE(seen.insert(m).second) << "repeated modulus " << m;
      EXPECT_GE(a, 112u);
      EXPECT_LE(a, 127u);
      EXPECT_TRUE(primitive_root(a, m)) << r << ": " << a << " mod " << m;
      EXPECT_EQ(kWhReciprocals[r][i], 1.0 / m) << r;
    }
  EXPECT_EQ(seen.size(), 4u * RNX_WH_SUBSTREAMS);
}

TEST(WhTable, FixedRows) {
  struct Row {
    int r;
    uint32_t a[4], m[4];
  };
  const Row rows[] = {{0, {125, 117, 127, 126}, {16770647, 16770643, 16770623, 16770617}},
                      {1, {127, 126, 125, 123}, {16770311, 16770283, 16770263, 16770209}},
                      {136, {126, 127, 125, 124}, {16758587, 16758571, 16758563, 16758527}},
                      {272, {126, 127, 125, 124}, {16766363, 16766359, 16766327, 16766231}}};
  for (const Row &row : rows)
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(kWhMultipliers[row.r][i], row.a[i]) << row.r;
      EXPECT_EQ(kWhModuli[row.r][i], row.m[i]) << row.r;
    }
}

}  // namespace
