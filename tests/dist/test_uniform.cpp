// The uniform family: real uniforms against the exact distribution and the generator row, the
// accurate clamp, integers over the widest range, and the raw-bit entries at each word width.
#include <climits>

#include "tests/dist/dist_test_util.hpp"

namespace zyn::test {
namespace {

const int kGenerators[] = {RNX_BRNG_MCG59, RNX_BRNG_MRG32K3A};

TEST(Uniform, RealIsTheGeneratorRowAndFitsTheDistribution) {
  for (int id : kGenerators) {
    Stream s(id, 11), copy(s);
    const int n = 20000;
    std::vector<double> r(n), ref(n);
    std::vector<float> rs(n), refs(n);
    ASSERT_EQ(_rnxdRngUniform(UniformMethodStd, s, n, r.data(), -2.0, 3.0), 0);
    ASSERT_EQ(_rnxsRngUniform(UniformMethodStd, s, n, rs.data(), -2.0f, 3.0f), 0);
    int row, sub;
    const BrngEntry &e = __rnxGetBrngBaseOffset(id, &row, &sub)[row];
    e.dGen(copy, n, ref.data(), -2.0, 3.0);
    e.sGen(copy, n, refs.data(), -2.0f, 3.0f);
    EXPECT_EQ(r, ref);
    EXPECT_EQ(rs, refs);
    const auto cdf = [](double x) { return std::clamp((x + 2.0) / 5.0, 0.0, 1.0); };
    EXPECT_GT(KsPValue(r, cdf), kAlpha) << id;
    EXPECT_GT(KsPValue(std::vector<double>(rs.begin(), rs.end()), cdf), kAlpha) << id;
  }
}

// Generator values outside [a, b] (a script of 1.5 and -0.5) are clamped only when asked.
template <class T, class F>
void CheckAccurate(F entry) {
  ScriptedStream s({1.5, -0.5, 0.5});
  T r[3];
  ASSERT_EQ(entry(UniformMethodStdAccurate, s, 3, r, T(1), T(2)), 0);
  EXPECT_EQ(r[0], T(2));
  EXPECT_EQ(r[1], T(1));
  EXPECT_EQ(r[2], T(1.5));
  ASSERT_EQ(entry(UniformMethodStd, s, 3, r, T(1), T(2)), 0);
  EXPECT_EQ(r[0], T(2.5));
  EXPECT_EQ(r[1], T(0.5));
}

TEST(Uniform, AccurateFlagClampsToTheClosedInterval) {
  CheckAccurate<double>(_rnxdRngUniform);
  CheckAccurate<float>(_rnxsRngUniform);
}

TEST(Uniform, IntegerFloorsDoubleUniformsInBlocks) {
  // 2500 crosses two block boundaries; the widest range can't overflow.
  Stream s(RNX_BRNG_MRG32K3A, 3), copy(s);
  const int n = 2500;
  std::vector<int> r(n);
  std::vector<double> u(n);
  ASSERT_EQ(_rnxiRngUniform(UniformMethodStd, s, n, r.data(), INT_MIN, INT_MAX), 0);
  ASSERT_EQ(_rnxdRngUniform(UniformMethodStd, copy, n, u.data(), INT_MIN, INT_MAX), 0);
  for (int i = 0; i < n; ++i) ASSERT_EQ(r[i], static_cast<int>(std::floor(u[i]))) << i;
  EXPECT_LT(*std::min_element(r.begin(), r.end()), -1900000000);
  EXPECT_GT(*std::max_element(r.begin(), r.end()), 1900000000);
}

TEST(Uniform, IntegerChiSquare) {
  for (int id : kGenerators) {
    Stream s(id, 5);
    const int n = 50000, a = -3, b = 7;
    std::vector<int> r(n);
    ASSERT_EQ(_rnxiRngUniform(UniformMethodStd, s, n, r.data(), a, b), 0);
    std::vector<double> observed(b - a, 0.0), expected(b - a, double(n) / (b - a));
    for (int x : r) {
      ASSERT_GE(x, a);
      ASSERT_LT(x, b);
      observed[x - a] += 1;
    }
    EXPECT_GT(ChiSquarePValue(observed, expected), kAlpha) << id;
  }
}

TEST(Uniform, IntegerFailureKeepsEarlierBlocks) {
  ScriptedStream s({0.5}, 1024 + 10);
  std::vector<int> r(3000, -7);
  EXPECT_EQ(_rnxiRngUniform(UniformMethodStd, s, 3000, r.data(), 0, 10), kScriptFailure);
  EXPECT_EQ(r[1023], 5);
  EXPECT_EQ(r[2048], -7);
}

TEST(UniformBits, RawWordsOfEachWidth) {
  Stream r250(RNX_BRNG_R250), copy(r250);
  uint32_t w[5], ref[5];
  ASSERT_EQ(_rnxiRngUniformBits(UniformBitsMethodStd, r250, 5, w), 0);
  __rnxiBRngR250(copy, 5, ref);
  EXPECT_TRUE(std::equal(w, w + 5, ref));
  // WH gives four 32-bit words per number.
  Stream wh(RNX_BRNG_WH), whcopy(wh);
  uint32_t q[8], qref[8];
  ASSERT_EQ(_rnxiRngUniformBits(UniformBitsMethodStd, wh, 2, q), 0);
  __rnxiBRngWH(whcopy, 2, qref);
  EXPECT_TRUE(std::equal(q, q + 8, qref));
}

// MCG59: the high 32 of the 59 bits, in blocks of 2048 words (4100 crosses two boundaries); the
// 64-bit entry takes two such words per result, low first.
TEST(UniformBits, Mcg59HighBits) {
  Stream s(RNX_BRNG_MCG59, 99), c1(s), c2(s);
  const int n = 4100;
  std::vector<uint32_t> w(n);
  std::vector<uint64_t> raw(2 * n), w64(n / 2);
  ASSERT_EQ(_rnxiRngUniformBits32(UniformBits32MethodStd, s, n, w.data()), 0);
  ASSERT_EQ(_rnxiRngUniformBits(UniformBitsMethodStd, c1, 2 * n,
                                reinterpret_cast<uint32_t *>(raw.data())), 0);
  for (int i = 0; i < n; ++i) {
    ASSERT_LT(raw[i], uint64_t{1} << 59);
    ASSERT_EQ(w[i], static_cast<uint32_t>(raw[i] >> 27)) << i;
  }
  ASSERT_EQ(_rnxiRngUniformBits64(UniformBits64MethodStd, c2, n / 2, w64.data()), 0);
  for (int i = 0; i < n / 2; ++i)
    ASSERT_EQ(w64[i], uint64_t{w[2 * i]} | uint64_t{w[2 * i + 1]} << 32) << i;
  // The next numbers show where each stream stands: n words for Bits32, 2 * (n / 2) for Bits64.
  uint64_t a, b;
  __rnxiBRngMCG59(s, 1, reinterpret_cast<uint32_t *>(&a));
  __rnxiBRngMCG59(c2, 1, reinterpret_cast<uint32_t *>(&b));
  EXPECT_EQ(a, b);
  EXPECT_EQ(a, raw[n]);
}

TEST(UniformBits, NarrowGeneratorsRefuseAndDrawNothing) {
  // 10 is an old WH id; ScriptId() a user row.
  for (int id : std::vector<int>{RNX_BRNG_MCG31, RNX_BRNG_R250, RNX_BRNG_MRG32K3A, RNX_BRNG_WH, 10,
                                 ScriptId()}) {
    Stream s(id), copy(s);
    uint32_t r[4] = {1, 2, 3, 4};
    uint64_t r64[2] = {5, 6};
    EXPECT_EQ(_rnxiRngUniformBits32(UniformBits32MethodStd, s, 4, r), RNX_STATUS_NO_BITS) << id;
    EXPECT_EQ(_rnxiRngUniformBits64(UniformBits64MethodStd, s, 2, r64), RNX_STATUS_NO_BITS) << id;
    EXPECT_EQ(r[0] + r[1] + r[2] + r[3], 10u);
    EXPECT_EQ(r64[0] + r64[1], 11u);
    double x, y;
    int row, sub;
    const BrngEntry &e = __rnxGetBrngBaseOffset(id, &row, &sub)[row];
    e.dGen(s, 1, &x, 0.0, 1.0);
    e.dGen(copy, 1, &y, 0.0, 1.0);
    EXPECT_EQ(x, y) << id;
  }
}

TEST(UniformBits, OldMcg59IdIsSupported) {
  Stream s(3, 5), t(RNX_BRNG_MCG59, 5);
  uint32_t a[3], b[3];
  ASSERT_EQ(_rnxiRngUniformBits32(UniformBits32MethodStd, s, 3, a), 0);
  ASSERT_EQ(_rnxiRngUniformBits32(UniformBits32MethodStd, t, 3, b), 0);
  EXPECT_TRUE(std::equal(a, a + 3, b));
}

}  // namespace
}  // namespace zyn::test
