// Discrete family A beyond the shared properties: the inversion branches against a long-double
// inversion of the same uniforms, what each branch draws, and the set-ups cached in the stream.
#include <cmath>
#include <cstring>

#include "tests/dist/sampler_checks.hpp"

namespace zyn::test {
namespace {

using Call = std::function<int(StreamState *, int, int *)>;
Call Binomial(int ntrial, double p) {
  return [=](StreamState *s, int n, int *r) { return _rnxiRngBinomial(BinomialMethodStd, s, n, r, ntrial, p); };
}
Call Hyper(int l, int s, int m) {
  return [=](StreamState *st, int n, int *r) { return _rnxiRngHypergeometric(HypergeometricMethodStd, st, n, r, l, s, m); };
}
long double LnChoose(long double n, long double k) { return lgammal(n + 1) - lgammal(k + 1) - lgammal(n - k + 1); }

// An inversion case: the support lo..hi, its exact pmf, and whether the set-up's cumulative sums
// run down from hi (a reduction that maps k to a decreasing function of k).
struct Inversion {
  Call call;
  int lo, hi;
  std::function<long double(int)> pmf;
  bool down;
};

// Each result is the first value, walking the support, at which the long-double cumulative sum
// passes u; it may differ only where u lies within 1e-7 (relative, of the sum or of its
// complement, and at least 1e-13) of a sum passed between the two values.
TEST(Discrete, InversionEqualsLongDoubleInversion) {
  std::vector<double> u = {0, 1e-300, 1 - 0x1p-53, 1 - 1e-12, 1 - 1e-10, 1 - 1e-9, 1 - 1e-8};
  for (int i = 0; i < 4000; ++i) u.push_back((i + 0.5) / 4000);
  const auto binomial = [](int n, double p) {
    return Inversion{Binomial(n, p), 0, n, [=](int k) { return expl(LnChoose(n, k) + k * logl(p) + (n - k) * log1pl(-p)); }, p >= 0.5};
  };
  const auto hyper = [](int l, int s, int m, bool down) {
    return Inversion{Hyper(l, s, m), std::max(0, s + m - l), std::min(s, m),
                     [=](int k) { return expl(LnChoose(m, k) + LnChoose(l - m, s - k) - LnChoose(l, s)); }, down};
  };
  for (const Inversion &c : {binomial(20, 0.3), binomial(100, 0.1), binomial(59, 0.5), binomial(1000, 0.999), binomial(1000, 0.0299),
                             hyper(1000, 100, 300, false), hyper(1000, 900, 300, true), hyper(1000, 100, 700, true),
                             hyper(1000, 900, 700, false)}) {
    std::vector<long double> sum;  // cumulative sums in walking order
    for (int i = 0; i <= c.hi - c.lo; ++i) sum.push_back((i ? sum.back() : 0) + c.pmf(c.down ? c.hi - i : c.lo + i));
    ScriptedStream s(u);
    std::vector<int> r(u.size());
    ASSERT_EQ(c.call(s, int(r.size()), r.data()), 0);
    for (size_t j = 0; j < u.size(); ++j) {
      const long double x = u[j];
      const size_t want = std::upper_bound(sum.begin(), sum.end(), x) - sum.begin(), got = c.down ? c.hi - r[j] : r[j] - c.lo;
      bool near = got == std::min(want, sum.size() - 1);
      for (size_t i = std::min(want, got); i < std::max(want, got) && i < sum.size(); ++i) near |= fabsl(sum[i] - x) <= std::max(1e-7 * std::min(sum[i], 1 - sum[i]), 1e-13L);
      EXPECT_TRUE(near) << "case lo " << c.lo << " hi " << c.hi << " u " << u[j] << " got " << r[j];
    }
  }
}

// Inversion draws one double per result, rejection pairs of singles; a single value draws nothing.
TEST(Discrete, WhatEachBranchDraws) {
  struct Case {
    Call call;
    int value;  // the one value, or -1
    bool doubles;
  };
  for (const Case &c : {Case{Binomial(0, 0.3), 0, false}, Case{Hyper(10, 0, 5), 0, false}, Case{Hyper(10, 10, 5), 5, false},
                        Case{Hyper(10, 4, 10), 4, false}, Case{Hyper(10, 7, 0), 0, false}, Case{Binomial(20, 0.3), -1, true},
                        Case{Binomial(100, 0.4), -1, false}, Case{Hyper(1000, 100, 300), -1, true},
                        Case{Hyper(1000, 200, 400), -1, false}}) {
    ScriptedStream s({0.3, 0.6, 0.9, 0.1, 0.45, 0.7});
    std::vector<int> r(1500, -7);
    ASSERT_EQ(c.call(s, 1500, r.data()), 0);
    if (c.value >= 0) {
      EXPECT_TRUE(g_script.drawn == 0 && std::count(r.begin(), r.end(), c.value) == 1500) << c.value;
      continue;
    }
    EXPECT_EQ(g_script.doubles, c.doubles ? 1500 : 0);
    EXPECT_TRUE(c.doubles ? g_script.drawn == 1500 : g_script.drawn >= 3000 && g_script.drawn % 2 == 0) << g_script.drawn;
  }
}

// A run of parameter sets on one stream: it holds one chunk of the entry's id, of the branch's
// size; the numbers equal those of a copy whose chunks were deleted; the same parameters again
// leave the chunk's bytes; a copy of the stream carries it.
TEST(Discrete, SetUpsCachedInTheStream) {
  struct Step {
    Call call;
    int id, bytes;
  };
  constexpr int kB = RNX_CHUNK_BINOMIAL, kH = RNX_CHUNK_HYPERGEOMETRIC;
  Stream s(RNX_BRNG_MCG59, {5});
  for (const Step &step : {Step{Binomial(20, 0.3), kB, 544}, Step{Binomial(20, 0.31), kB, 544}, Step{Binomial(100, 0.4), kB, 544},
                           Step{Binomial(100, 0.6), kB, 544}, Step{Binomial(20, 0.3), kB, 544},
                           Step{Hyper(1000, 100, 300), kH, 48 + 8 * 101}, Step{Hyper(1000, 200, 400), kH, 600}, Step{Hyper(1000, 250, 400), kH, 600},
                           Step{Hyper(1000, 97, 400), kH, 48 + 8 * 98}, Step{Hyper(1000, 100, 300), kH, 48 + 8 * 101}}) {
    Stream fresh(s);
    ASSERT_EQ(__rnxDeleteChunks(fresh), 0);
    std::vector<int> a(300), b(300);
    ASSERT_EQ(step.call(s, 300, a.data()) | step.call(fresh, 300, b.data()), 0);
    EXPECT_EQ(a, b) << step.bytes;
    const auto chunk = [&](StreamState *t) -> const StreamChunk * {  // the only one of the id, of the size
      const StreamChunk *found = nullptr;
      int count = 0;
      for (const StreamChunk *c = t->chunks; c != nullptr; c = c->next)
        if (c->id == step.id) found = c, ++count;
      return count == 1 && found->size == step.bytes ? found : nullptr;
    };
    ASSERT_NE(chunk(s), nullptr) << step.bytes;
    const std::vector<char> bytes(static_cast<char *>(chunk(s)->data), static_cast<char *>(chunk(s)->data) + step.bytes);
    Stream copy(s);
    ASSERT_EQ(step.call(s, 3, a.data()), 0);
    for (StreamState *t : {s.s, copy.s}) EXPECT_TRUE(chunk(t) && std::memcmp(bytes.data(), chunk(t)->data, step.bytes) == 0);
  }
}

// Above 2^24 the mode is not a float: results of Binomial(2^30, 0.5) are not quantised.
TEST(Discrete, LargeBinomialIsNotQuantised) {
  Stream s(RNX_BRNG_MCG59, {9});
  std::vector<int> r(64 * 200);
  ASSERT_EQ(_rnxiRngBinomial(BinomialMethodStd, s, int(r.size()), r.data(), 1 << 30, 0.5), 0);
  std::vector<double> observed(64), expected(64, double(r.size()) / 64);
  for (int k : r) ++observed[k % 64];
  EXPECT_GT(ChiSquarePValue(observed, expected), kAlpha);
}

}  // namespace
}  // namespace zyn::test
