// Discrete families A and B beyond the shared properties: the inversion branches against a
// long-double inversion of the same uniforms, what each branch draws, the set-ups cached in the
// stream, large parameters, bad parameters, and multinomial vectors.
#include <gsl/gsl_randist.h>

#include <cmath>
#include <cstring>

#include "dist/discrete.hpp"
#include "tests/dist/sampler_checks.hpp"

namespace zyn::test {
namespace {

Call Binomial(int ntrial, double p) {
  return [=](StreamState *s, int n, int *r) { return _rnxiRngBinomial(BinomialMethodStd, s, n, r, ntrial, p); };
}
Call Hyper(int l, int s, int m) {
  return [=](StreamState *st, int n, int *r) { return _rnxiRngHypergeometric(HypergeometricMethodStd, st, n, r, l, s, m); };
}
#ifdef ZYN_DIST_DISCRETEB
Call Poisson(double lambda, int method = PoissonMethodPTPE) {
  return [=](StreamState *s, int n, int *r) { return _rnxiRngPoisson(method, s, n, r, lambda); };
}
Call Multinomial(int ntrial, std::vector<double> p, int method = MultinomialMethodConditional) {
  return [=](StreamState *s, int n, int *r) { return _rnxiRngMultinomial(method, s, n, r, ntrial, int(p.size()), p.data()); };
}
Call Negbinomial(double a, double p, int method = NegbinomialMethodMixture) {
  return [=](StreamState *s, int n, int *r) { return _rnxiRngNegbinomial(method, s, n, r, a, p); };
}
#endif

// Results against a long-double inversion of the same uniforms (CheckInversion).
TEST(Discrete, InversionEqualsLongDoubleInversion) {
  const auto binomial = [](int n, double p) {
    return Inversion{Binomial(n, p), 0, n, [=](int k) { return expl(LnChoose(n, k) + k * logl(p) + (n - k) * log1pl(-p)); }, p >= 0.5};
  };
  const auto hyper = [](int l, int s, int m, bool down) {
    return Inversion{Hyper(l, s, m), std::max(0, s + m - l), std::min(s, m),
                     [=](int k) { return expl(LnChoose(m, k) + LnChoose(l - m, s - k) - LnChoose(l, s)); }, down};
  };
  for (const Inversion &c : {binomial(20, 0.3), binomial(100, 0.1), binomial(59, 0.5), binomial(1000, 0.999), binomial(1000, 0.0299),
                             hyper(1000, 100, 300, false), hyper(1000, 900, 300, true), hyper(1000, 100, 700, true),
                             hyper(1000, 900, 700, false)})
    CheckInversion(c);
}

// Inversion draws one double per result, rejection pairs of singles; a single value draws nothing.
TEST(Discrete, WhatEachBranchDraws) {
  struct Case {
    Call call;
    int value;  // the one value, or -1
    bool doubles;
  };
  std::vector<Case> cases = {Case{Binomial(0, 0.3), 0, false}, Case{Hyper(10, 0, 5), 0, false}, Case{Hyper(10, 10, 5), 5, false},
                        Case{Hyper(10, 4, 10), 4, false}, Case{Hyper(10, 7, 0), 0, false}, Case{Binomial(20, 0.3), -1, true},
                        Case{Binomial(100, 0.4), -1, false}, Case{Hyper(1000, 100, 300), -1, true},
                        Case{Hyper(1000, 200, 400), -1, false}};
#ifdef ZYN_DIST_DISCRETEB
  cases.insert(cases.end(), {Case{Poisson(0), 0, false}, Case{Poisson(29.99), -1, true},
                             Case{Negbinomial(3, 1), 0, false}, Case{Negbinomial(29, 0.5), -1, true}});
#endif
  for (const Case &c : cases) {
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
  std::vector<Step> steps = {Step{Binomial(20, 0.3), kB, 544}, Step{Binomial(20, 0.31), kB, 544}, Step{Binomial(100, 0.4), kB, 544},
                           Step{Binomial(100, 0.6), kB, 544}, Step{Binomial(20, 0.3), kB, 544},
                           Step{Hyper(1000, 100, 300), kH, 48 + 8 * 101}, Step{Hyper(1000, 200, 400), kH, 600}, Step{Hyper(1000, 250, 400), kH, 600},
                           Step{Hyper(1000, 97, 400), kH, 48 + 8 * 98}, Step{Hyper(1000, 100, 300), kH, 48 + 8 * 101}};
#ifdef ZYN_DIST_DISCRETEB
  constexpr int kP = RNX_CHUNK_POISSON, kN = RNX_CHUNK_NEGBINOMIAL;
  steps.insert(steps.end(), {Step{Poisson(10), kP, 696}, Step{Poisson(10.5), kP, 696}, Step{Poisson(1000), kP, 696},
                             Step{Poisson(30), kP, 696}, Step{Poisson(10), kP, 696},
                             Step{Negbinomial(5, 0.5), kN, 1328}, Step{Negbinomial(5, 0.6), kN, 1328},
                             Step{Negbinomial(0.5, 0.01), kN, 1328}, Step{Negbinomial(5, 0.5), kN, 1328}});
#endif
  for (const Step &step : steps) {
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

// Above 2^24 the mode is not a float: results at 2^30 are not quantised (residues mod 64 uniform),
// and their mean and variance are within 5 standard errors.
TEST(Discrete, LargeParametersAreNotQuantised) {
  struct Case {
    Call call;
    double mean, variance;
  };
  std::vector<Case> cases = {{Binomial(1 << 30, 0.5), 0x1p29, 0x1p28}};
#ifdef ZYN_DIST_DISCRETEB
  cases.push_back({Poisson(0x1p30), 0x1p30, 0x1p30});
#endif
  for (const Case &c : cases) {
    Stream s(RNX_BRNG_MCG59, {9});
    std::vector<int> r(64 * 200);
    ASSERT_EQ(c.call(s, int(r.size()), r.data()), 0);
    std::vector<double> observed(64), expected(64, double(r.size()) / 64);
    double sum = 0, sum2 = 0;
    for (int k : r) ++observed[k % 64], sum += k - c.mean, sum2 += (k - c.mean) * (k - c.mean);
    const double n = double(r.size()), mean = sum / n, variance = sum2 / n - mean * mean;
    EXPECT_GT(ChiSquarePValue(observed, expected), kAlpha);
    EXPECT_LT(std::fabs(mean), 5 * std::sqrt(c.variance / n));
    EXPECT_LT(std::fabs(variance - c.variance), 5 * c.variance * std::sqrt(2 / n));
  }
}

#ifdef ZYN_DIST_DISCRETEB
// ---- discrete family B

TEST(DiscreteB, PoissonInversionEqualsLongDoubleInversion) {
  for (double lambda : {1e-6, 0.5, 10.0, 29.99})
    CheckInversion({Poisson(lambda), 0, 200, [=](int k) { return expl(k * logl(lambda) - lambda - lgammal(k + 1)); }, false});
  for (auto [a, p] : {std::pair{5.0, 0.5}, {0.3, 0.9}, {29.0, 0.5}, {2.5, 0.2}})
    CheckInversion({Negbinomial(a, p), 0, 600,
                    [=](int k) { return expl(lgammal(a + k) - lgammal(a) - lgammal(k + 1) + a * logl(p) + k * log1pl(-p)); }, false});
}

// PTPE's squeeze brackets the exact log-ratio wherever it is used: 20 < k < lambda/2 - 1 on both
// sides of the mode, lambda from 30 to 2^30. The margin near the mode is about k^2 / lambda^2, so
// the log-ratio is a long-double sum of log1p terms up to k = 10^5 (lgamma differences lose 2e-9
// at 2^30), lgamma differences beyond.
TEST(DiscreteB, PtpeSqueezeBracketsTheLogRatio) {
  for (double lambda : {30.0, 60.5, 1000.0, 123456.7, 1e7, 0x1p30}) {
    const long double m = std::floor(lambda), l = lambda;
    long double up = 0, down = 0;  // ln f(m + i) / f(m), ln f(m - i) / f(m)
    for (double k = 1, next = 21; k < lambda / 2 - 1; ++k) {
      if (k <= 1e5) up -= log1pl((m + k - l) / l), down += log1pl((m - k + 1 - l) / l);
      if (k < next) continue;
      next = std::ceil(k * 1.05);
      const auto [tt, rho] = zyn::dist::discrete::PtpeSqueeze(1 / lambda, k);
      for (long double y : {m + k, m - k}) {
        const long double exact = k <= 1e5 ? (y > m ? up : down) : (y - m) * logl(l) - lgammal(y + 1) + lgammal(m + 1);
        EXPECT_TRUE(tt - rho <= exact && exact <= tt + rho) << lambda << " " << double(y - m);
      }
      if (k > 1e5) k = next - 1;
    }
  }
}

// Bad parameters: RNX_STATUS_BAD_PARAM, nothing written, the stream's position and chunks as they
// were. Chunk memory failures are in tests/stream/test_no_memory.cpp.
TEST(DiscreteB, BadParametersTouchNothing) {
  const double nan = std::nan("");
  // PoissonV: the bad lambda last, after good ones.
  const auto poissonv = [](int method, double lambda) -> Call {
    return [=](StreamState *s, int n, int *r) {
      std::vector<double> l(n, 10);
      l.back() = lambda;
      return _rnxiRngPoissonV(method, s, n, r, l.data());
    };
  };
  for (const Call &call : {Poisson(10, 1), Poisson(-1e-300), Poisson(nan), Poisson(0x1p30 * (1 + 0x1p-52)), Poisson(INFINITY),
                           poissonv(1, 10), poissonv(0, -1), poissonv(0, nan), poissonv(0, 0x1p31),
                           Negbinomial(5, 0.5, 1), Negbinomial(0, 0.5), Negbinomial(-1, 0.5), Negbinomial(INFINITY, 0.5),
                           Negbinomial(nan, 0.5), Negbinomial(5, 0), Negbinomial(5, 1 + 0x1p-52), Negbinomial(5, nan),
                           Multinomial(5, {1, 1}, 1), Multinomial(-1, {1, 1}), Multinomial(5, {}), Multinomial(5, {1, -0.1}),
                           Multinomial(5, {nan, 1}), Multinomial(5, {0, 0}), Multinomial(5, {1, INFINITY})}) {
    Stream s(RNX_BRNG_MCG59, {5}), ref(s);
    ASSERT_EQ(Poisson(10)(s, 1, std::vector<int>(1).data()) | Poisson(10)(ref, 1, std::vector<int>(1).data()), 0);
    const StreamChunk *chunks = s.s->chunks;
    std::vector<int> r(17, -7);  // up to 8 results, or 8 multinomial vectors of 2
    EXPECT_EQ(call(s, 8, r.data()), RNX_STATUS_BAD_PARAM);
    EXPECT_EQ(std::count(r.begin(), r.end(), -7), 17);
    EXPECT_TRUE(s.s->chunks == chunks && chunks->next == nullptr);
    double a, b;
    ASSERT_EQ(_rnxdRngUniform(0, s, 1, &a, 0, 1) | _rnxdRngUniform(0, ref, 1, &b, 0, 1), 0);
    EXPECT_EQ(a, b);
  }
}

// Multinomial vectors against the exact pmf (ntrial 4, k 3: 15 outcomes); each vector sums to
// ntrial; the weights times 4 give the same numbers; a zero weight gives a zero column; k 1 and
// ntrial 0 need no draw; no chunk is made.
TEST(DiscreteB, MultinomialVectors) {
  const std::vector<double> p = {0.2, 0.3, 0.5}, p4 = {0.8, 1.2, 2.0};
  Stream s(RNX_BRNG_MCG59, {7}), s4(s);
  std::vector<int> r(3 * 20000), r4(r.size());
  ASSERT_EQ(Multinomial(4, p)(s, 20000, r.data()) | Multinomial(4, p4)(s4, 20000, r4.data()), 0);
  EXPECT_EQ(r, r4);
  EXPECT_EQ(s.s->chunks, nullptr);
  std::vector<double> observed(25), expected(25);
  for (unsigned a = 0; a <= 4; ++a)
    for (unsigned b = 0; a + b <= 4; ++b) {
      const unsigned x[3] = {a, b, 4 - a - b};
      expected[a * 5 + b] = 20000 * gsl_ran_multinomial_pdf(3, p.data(), x);
    }
  for (size_t i = 0; i < r.size(); i += 3) {
    ASSERT_TRUE(r[i] >= 0 && r[i + 1] >= 0 && r[i] + r[i + 1] + r[i + 2] == 4) << i;
    ++observed[r[i] * 5 + r[i + 1]];
  }
  std::erase_if(observed, [&, i = 0](double) mutable { return expected[i++] == 0; });
  std::erase(expected, 0.0);
  EXPECT_GT(ChiSquarePValue(observed, expected), kAlpha);
  std::vector<int> z(4 * 500);
  ASSERT_EQ(Multinomial(1000, {1, 0, 2, 0})(s, 500, z.data()), 0);
  for (size_t i = 0; i < z.size(); i += 4) EXPECT_TRUE(z[i + 1] == 0 && z[i + 3] == 0 && z[i] + z[i + 2] == 1000);
  ScriptedStream none({0.5});
  ASSERT_EQ(Multinomial(7, {3})(none, 100, z.data()) | Multinomial(0, {1, 2})(none, 100, z.data() + 100), 0);
  EXPECT_TRUE(g_script.drawn == 0 && std::count(z.begin(), z.begin() + 100, 7) == 100 &&
              std::count(z.begin() + 100, z.begin() + 300, 0) == 200);
}

// PoissonV adds no chunk; Negbinomial's mixture (Gamma shape above 1) none but its own.
TEST(DiscreteB, OnlyTheirOwnChunks) {
  Stream s(RNX_BRNG_MCG59, {5});
  std::vector<int> r(100);
  const std::vector<double> lambda(100, 50.0);
  ASSERT_EQ(_rnxiRngPoissonV(PoissonVMethodPTRS, s, 100, r.data(), lambda.data()), 0);
  EXPECT_EQ(s.s->chunks, nullptr);
  ASSERT_EQ(Negbinomial(40, 0.5)(s, 100, r.data()), 0);
  EXPECT_TRUE(s.s->chunks != nullptr && s.s->chunks->id == RNX_CHUNK_NEGBINOMIAL && s.s->chunks->next == nullptr);
}

// Negbinomial values past 2^31 - 1 are stored as 2^31 - 1.
TEST(DiscreteB, NegbinomialSaturates) {
  Stream s(RNX_BRNG_MCG59, {5});
  std::vector<int> r(3000);
  ASSERT_EQ(Negbinomial(1e3, 1e-9)(s, 3000, r.data()), 0);
  EXPECT_EQ(std::count(r.begin(), r.end(), INT_MAX), 3000);
}
#endif

}  // namespace
}  // namespace zyn::test
