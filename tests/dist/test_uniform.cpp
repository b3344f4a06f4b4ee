// The uniform family beyond the properties every sampler has: real uniforms are the generator
// row's, the accurate flag clamps, integers floor double uniforms over the widest range, and the
// 32- and 64-bit words.
#include <climits>

#include "tests/dist/sampler_checks.hpp"

namespace zyn::test {
namespace {

TEST(Uniform, RealIsTheGeneratorRowAndIntegersItsFloor) {
  Stream s(RNX_BRNG_MRG32K3A, {11}), copy(s);
  std::vector<double> r(3000), ref(3000), wide(3000);
  std::vector<float> rs(3000), refs(3000);
  std::vector<int> ri(3000);
  ASSERT_EQ(_rnxdRngUniform(UniformMethodStd, s, 3000, r.data(), -2.0, 3.0) |
                _rnxsRngUniform(UniformMethodStd, s, 3000, rs.data(), -2.0f, 3.0f) |
                _rnxiRngUniform(UniformMethodStd, s, 3000, ri.data(), INT_MIN, INT_MAX), 0);
  copy.row().dGen(copy, 3000, ref.data(), -2.0, 3.0);
  copy.row().sGen(copy, 3000, refs.data(), -2.0f, 3.0f);
  copy.row().dGen(copy, 3000, wide.data(), INT_MIN, INT_MAX);
  EXPECT_TRUE(r == ref && rs == refs);
  for (int i = 0; i < 3000; ++i) ASSERT_EQ(ri[i], static_cast<int>(std::floor(wide[i]))) << i;
  EXPECT_TRUE(*std::min_element(ri.begin(), ri.end()) < -1900000000 && *std::max_element(ri.begin(), ri.end()) > 1900000000);
}

// Generator values outside [a, b] (a script of 1.5 and -0.5) are clamped only when asked.
TEST(Uniform, AccurateFlagClampsToTheClosedInterval) {
  CheckKnown({{"Accurate", Both(_rnxdRngUniform, _rnxsRngUniform, UniformMethodStdAccurate), {1, 2}, {1.5, -0.5, 0.5}, {2, 1, 1.5}, 0},
              {"Std", Both(_rnxdRngUniform, _rnxsRngUniform, UniformMethodStd), {1, 2}, {1.5, -0.5}, {2.5, 0.5}, 0}});
}

// MCG59 (its old id too) gives the high 32 of its 59 bits, in blocks of 2048 words (4100 crosses
// two), two per 64-bit result, low first, and moves on by the words used. Other generators (10 is
// an old WH id, ScriptId() a user row) refuse 32- and 64-bit words and draw nothing.
TEST(UniformBits, WordsOfEachWidth) {
  const int n = 4100;
  Stream s(3, {5}), c1(RNX_BRNG_MCG59, {5}), c2(s);
  std::vector<uint32_t> w(n);
  std::vector<uint64_t> raw(n + 1), w64(n / 2);
  ASSERT_EQ(_rnxiRngUniformBits32(UniformBits32MethodStd, s, n, w.data()), 0);
  ASSERT_EQ(_rnxiRngUniformBits(UniformBitsMethodStd, c1, n + 1, reinterpret_cast<uint32_t *>(raw.data())), 0);
  ASSERT_EQ(_rnxiRngUniformBits64(UniformBits64MethodStd, c2, n / 2, w64.data()), 0);
  for (int i = 0; i < n; ++i) ASSERT_EQ(w[i], static_cast<uint32_t>(raw[i] >> 27)) << i;
  for (int i = 0; i < n / 2; ++i) ASSERT_EQ(w64[i], uint64_t{w[2 * i]} | uint64_t{w[2 * i + 1]} << 32) << i;
  uint64_t a, b;
  s.row().iGen(s, 1, reinterpret_cast<uint32_t *>(&a));
  c2.row().iGen(c2, 1, reinterpret_cast<uint32_t *>(&b));
  EXPECT_TRUE(a == raw[n] && b == raw[n]);

  g_script = Script{};  // every uniform 0.25
  for (int id : {int{RNX_BRNG_MCG31}, int{RNX_BRNG_R250}, int{RNX_BRNG_MRG32K3A}, int{RNX_BRNG_WH}, 10, ScriptId()}) {
    Stream s(id), copy(s);
    uint32_t r[4] = {1, 2, 3, 4};
    uint64_t r64[2] = {5, 6};
    EXPECT_EQ(_rnxiRngUniformBits32(UniformBits32MethodStd, s, 4, r), RNX_STATUS_NO_BITS) << id;
    EXPECT_EQ(_rnxiRngUniformBits64(UniformBits64MethodStd, s, 2, r64), RNX_STATUS_NO_BITS) << id;
    double x, y;
    s.row().dGen(s, 1, &x, 0.0, 1.0);
    copy.row().dGen(copy, 1, &y, 0.0, 1.0);
    EXPECT_TRUE(r[0] == 1 && r[3] == 4 && r64[0] == 5 && r64[1] == 6 && x == y) << id;
  }
}

}  // namespace
}  // namespace zyn::test
