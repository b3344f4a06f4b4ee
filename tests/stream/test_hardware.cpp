// ARS5 and TRNG through the hardware seam: scripted probes (no AES, no random instruction) and a
// scripted source whose tries fail on demand; then TRNG on the real instruction.
#include <gtest/gtest.h>

#include <cmath>
#include <deque>

#include "stream/generators/ars5.hpp"
#include "stream/generators/trng.hpp"
#include "tests/stream/generator_checks.hpp"

namespace zyn::test {
namespace {

// Tries succeed unless the script says otherwise; try t gives the value t (times a constant).
struct Scripted {
  static inline bool has_aes = true, has_rdrand = true;
  static inline std::deque<bool> script;
  static inline int tries = 0;
  static bool aes() { return has_aes; }
  static bool rdrand() { return has_rdrand; }
  static bool wide() { return false; }
  static bool next() {
    ++tries;
    if (script.empty()) return true;
    const bool ok = script.front();
    script.pop_front();
    return ok;
  }
  static bool draw64(uint64_t *x) { return *x = 0x0123456789ABCDEFull * uint64_t(tries + 1), next(); }
  static bool draw32(uint32_t *x) { return *x = 0x9E3779B9u * uint32_t(tries + 1), next(); }
  static void reset(std::deque<bool> s = {}) { has_aes = has_rdrand = true, script = std::move(s), tries = 0; }
};

TEST(Hardware, WithoutTheInstructions) {
  Scripted::reset();
  Scripted::has_aes = Scripted::has_rdrand = false;
  Stream ars(RNX_BRNG_ARS5, {1, 2}), trng(RNX_BRNG_NONDETERM, {});  // seeding works anywhere
  uint32_t w[4];
  double d[4];
  float f[4];
  const uint64_t one = 1;
  const int32_t k = 0;
  using namespace zyn::rng;
  for (int st : {ars5::run<Scripted>(ars, 4, U32Out{w}), ars5::run<Scripted>(ars, 4, counter::signed_out(d, 0., 1.)),
                 ars5::run<Scripted>(ars, 0, counter::signed_out(f, 0.f, 1.f)), ars5::init<Scripted>(RNX_METHOD_SKIP, ars, 2, &one),
                 ars5::init<Scripted>(RNX_METHOD_SKIP_EX, ars, 1, &one)})
    EXPECT_EQ(st, RNX_STATUS_NO_AES);
  EXPECT_EQ(ars5::init<Scripted>(RNX_METHOD_LEAPFROG, ars, 2, &k), RNX_STATUS_NO_LEAPFROG);
  for (int st : {trng::igen<Scripted>(trng, 4, w), trng::dgen<Scripted>(trng, 4, d, 0., 1.), trng::sgen<Scripted>(trng, 0, f, 0.f, 1.f)})
    EXPECT_EQ(st, RNX_STATUS_NO_RDRAND);
  EXPECT_EQ(Scripted::tries, 0);
  EXPECT_TRUE(__rnxLeapfrogStream(trng, 0, 2) == RNX_STATUS_NO_LEAPFROG && __rnxSkipAheadStream(trng, 1) == RNX_STATUS_NO_SKIP &&
              __rnxSkipAheadStreamEx(trng, 1, &one) == RNX_STATUS_NO_SKIP_EX);
}

// The retry limit from the seed; a number after limit - 1 failed tries, none after `limit`
// failures (the try that reaches the limit ends the call even when it succeeds); numbers already
// written stay.
TEST(Hardware, TrngRetries) {
  for (const auto &[seed, limit] : std::vector<std::pair<std::vector<uint32_t>, uint32_t>>{{{5, 0}, 10}, {{5, 3}, 3}, {{}, 10}, {{5}, 10}}) {
    Stream st(RNX_BRNG_NONDETERM, seed);
    EXPECT_TRUE(st.state<uint32_t>(0) == 0 && st.state<uint32_t>(1) == limit);
  }
  struct Case {
    std::deque<bool> script;
    int n, status, tries, written;
  };
  Stream st(RNX_BRNG_NONDETERM, {0, 3});
  const std::deque<bool> f2 = {false, false}, f3 = {false, false, false};
  for (const Case &c : std::vector<Case>{{f2, 2, 0, 3, 2}, {f3, 2, RNX_STATUS_RDRAND_RETRIES, 4, 0}, {{false, false, false, false}, 1, RNX_STATUS_RDRAND_RETRIES, 4, 0},
                                         {{true, true, false, false, false}, 5, RNX_STATUS_RDRAND_RETRIES, 6, 4}, {f2, 5, 0, 5, 5}}) {
    for (int kind = 0; kind < 3; ++kind) {
      Scripted::reset(c.script);
      std::vector<uint32_t> w(c.n + 1, 7);
      std::vector<double> d(c.n + 1, 7);
      std::vector<float> f(c.n + 1, 7);
      const int status = kind == 0 ? rng::trng::igen<Scripted>(st, c.n, w.data())
                                   : kind == 1 ? rng::trng::sgen<Scripted>(st, c.n, f.data(), 0.f, 1.f) : rng::trng::dgen<Scripted>(st, c.n, d.data(), 0., 1.);
      EXPECT_EQ(status, c.status) << kind;
      if (kind == 2) continue;  // one draw per number: other counts
      EXPECT_EQ(Scripted::tries, c.tries) << kind;
      int written = 0;
      while (written <= c.n && (kind == 0 ? w[written] != 7 : f[written] != 7)) ++written;
      EXPECT_EQ(written, c.written) << kind;
    }
  }
}

// Words: a 64-bit draw gives two, low half first; an odd last word is a 32-bit draw. Singles
// and doubles map those draws.
TEST(Hardware, TrngOutputs) {
  Stream st(RNX_BRNG_NONDETERM, {});
  Scripted::reset();
  uint32_t w[3] = {};
  ASSERT_EQ(rng::trng::igen<Scripted>(st, 3, w), 0);
  const uint64_t y = 0x0123456789ABCDEFull;
  EXPECT_TRUE(w[0] == uint32_t(y) && w[1] == uint32_t(y >> 32) && w[2] == 0x9E3779B9u * 2);
  Scripted::reset();
  float f[3] = {};
  ASSERT_EQ(rng::trng::sgen<Scripted>(st, 3, f, -1.f, 3.f), 0);
  EXPECT_TRUE(f[0] == float(uint32_t(y)) * 0x1p-30f - 1.f && f[1] == float(uint32_t(y >> 32)) * 0x1p-30f - 1.f);
  Scripted::reset();
  double d[2] = {};
  ASSERT_EQ(rng::trng::dgen<Scripted>(st, 2, d, -1., 3.), 0);
  EXPECT_TRUE(d[0] == double(y) * 0x1p-62 - 1. && d[1] == double(2 * y) * 0x1p-62 - 1.);
}

// 10^6 bytes of the real instruction: a chi-square of the 256 byte counts, 255 degrees of
// freedom, against its 1 - 10^-6 quantile (Wilson-Hilferty).
TEST(Hardware, TrngBytesAreUniform) {
  if (!__rnxCPUisRDRAND()) GTEST_SKIP() << "no random instruction";
  Stream st(RNX_BRNG_NONDETERM, {});
  const int n = 1000000;
  const auto w = st.ints(n / 4);
  std::vector<double> count(256);
  for (uint32_t x : w)
    for (int i = 0; i < 4; ++i) ++count[(x >> 8 * i) & 0xFF];
  double chi2 = 0;
  for (double c : count) chi2 += (c - n / 256.) * (c - n / 256.) / (n / 256.);
  const double k = 255, z = 4.753424;  // z: the 1 - 10^-6 normal quantile
  EXPECT_LT(chi2, k * std::pow(1 - 2 / (9 * k) + z * std::sqrt(2 / (9 * k)), 3));
}

}  // namespace
}  // namespace zyn::test
