// Pow and Powr: the special values and statuses of C's pow and of powr (accuracy:
// test_accuracy.cpp; layouts: test_layout.cpp).
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "tests/vector/vector_test_util.hpp"

using namespace zyn::test;

namespace {
constexpr double kInf = std::numeric_limits<double>::infinity();

// Every pair of C's pow table against the C library: signs of odd and even integers (also
// beyond 2^53, where all are even), huge exponents, infinities, NaN, zeros of both signs; the
// status by C's rules. Zeros, infinities and NaN at every level, integer results exact at LA and
// HA, the others within the level's bound.
template <class T>
std::vector<Special> pow_table() {
  using L = std::numeric_limits<T>;
  const bool d = sizeof(T) == 8;
  const T inf = L::infinity(), big = T(d ? 1e300 : 1e30), odd = T(d ? 0x1p53 - 1 : 0x1p24 - 1), even = T(d ? 0x1p60 : 0x1p30);
  const T xs[] = {0, -T(0), 1, -1, 2, -2, T(0.5), T(-0.5), inf, -inf, L::quiet_NaN(), 3, -3, 1 / big, big, L::denorm_min()};
  const T bs[] = {0, -T(0), 1, 3, -3, 4, -4, T(2.5), T(-2.5), inf, -inf, L::quiet_NaN(), big, -big, odd, -odd, even, T(d ? 1000 : 200)};
  const std::string row = d ? "dPow" : "sPow";
  std::vector<Special> c;
  for (T x : xs)
    for (T b : bs) {
      const T r = std::pow(x, b);
      const int st = pow_status(x, b, r);
      if (!std::isnormal(r)) {
        c.push_back({row, x, b, r, st});
      } else {  // integer results exact at LA and HA
        c.push_back({row, x, b, r, st, r == std::trunc(r) ? 0 : std::ldexp(1.0, d ? -50 : -21), 3});
        c.push_back({row, x, b, r, st, std::ldexp(1.0, d ? -26 : -11), 4});
      }
    }
  return c;
}

TEST(PowSpecials, CTableWithStatuses) {
  expect_cases(pow_table<double>());
  expect_cases(pow_table<float>());
}

// powr(a, b) = exp(b ln a): NaN for a < 0, 0^0, inf^0 and 1^inf with STATUS_DOMAIN; +inf for
// zero to a finite negative power with STATUS_SINGULARITY; no signs from odd exponents.
TEST(PowrSpecials, IeeeTableWithStatuses) {
  const int D = STATUS_DOMAIN, S = STATUS_SINGULARITY, O = STATUS_OVERFLOW, U = STATUS_UNDERFLOW;
  std::vector<Special> c;
  for (std::string r : {"dPowr", "sPowr"})
    c.insert(c.end(), {
                          {r, -2, 2, NAN, D},     {r, -kInf, 2, NAN, D},  {r, -0.5, 3, NAN, D},  {r, 0, 0, NAN, D},
                          {r, -0.0, 0, NAN, D},   {r, kInf, 0, NAN, D},   {r, kInf, -0.0, NAN, D}, {r, 1, kInf, NAN, D},
                          {r, 1, -kInf, NAN, D},  {r, 0, -3, kInf, S},    {r, -0.0, -3, kInf, S}, {r, -0.0, -2.5, kInf, S},
                          {r, 0, -kInf, kInf},    {r, -0.0, -kInf, kInf}, {r, 0, 3, 0},          {r, -0.0, 3, 0},
                          {r, 0, kInf, 0},        {r, kInf, 2, kInf},     {r, kInf, -2, 0},      {r, 2, 0, 1},
                          {r, 2, -0.0, 1},        {r, 1, 5, 1},           {r, 1, 1e30, 1},       {r, 1, NAN, NAN},
                          {r, NAN, 0, NAN},       {r, NAN, 1, NAN},       {r, 2, NAN, NAN},      {r, 0.5, kInf, 0},
                          {r, 2, kInf, kInf},     {r, 0.5, -kInf, kInf},  {r, 2, -kInf, 0},      {r, 4, 0.5, 2, 0, 0, 3},
                      });
  c.insert(c.end(), {{"dPowr", 2, 1024, kInf, O}, {"dPowr", 2, -1080, 0, U}, {"dPowr", 2, -1070, 0x1p-1070, U},
                     {"sPowr", 2, 128, kInf, O},  {"sPowr", 2, -160, 0, U},  {"sPowr", 2, -140, 0x1p-140, U, 0, 3}});
  expect_cases(c);
}
}  // namespace
