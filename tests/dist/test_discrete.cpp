// Discrete families A and B beyond the shared properties: the inversion branches against a
// long-double inversion of the same uniforms, what each branch draws, the set-ups cached in the
// stream, large parameters, bad parameters, and multinomial vectors.
#include <gsl/gsl_randist.h>

#include <climits>
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
// lambda[i] = lambda but the last, `last`.
Call PoissonV(double lambda, double last, int method = PoissonVMethodPTRS) {
  return [=](StreamState *s, int n, int *r) {
    std::vector<double> l(n, lambda);
    l.back() = last;
    return _rnxiRngPoissonV(method, s, n, r, l.data());
  };
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
  std::vector<Inversion> cases = {binomial(20, 0.3), binomial(100, 0.1), binomial(59, 0.5), binomial(1000, 0.999),
                                  binomial(1000, 0.0299), hyper(1000, 100, 300, false), hyper(1000, 900, 300, true),
                                  hyper(1000, 100, 700, true), hyper(1000, 900, 700, false)};
#ifdef ZYN_DIST_DISCRETEB
  for (double lambda : {1e-6, 0.5, 10.0, 29.99})
    cases.push_back({Poisson(lambda), 0, 200, [=](int k) { return expl(k * logl(lambda) - lambda - lgammal(k + 1)); }, false});
  for (auto [a, p] : {std::pair{5.0, 0.5}, {0.3, 0.9}, {29.0, 0.5}, {2.5, 0.2}})
    cases.push_back({Negbinomial(a, p), 0, 600,
                     [=](int k) { return expl(lgammal(a + k) - lgammal(a) - lgammal(k + 1) + a * logl(p) + k * log1pl(-p)); }, false});
#endif
  for (const Inversion &c : cases) CheckInversion(c);
}

// Inversion draws one double per result, rejection pairs of singles; a single value (a vector of
// `width` for Multinomial) draws nothing; Negbinomial saturates at 2^31 - 1.
TEST(Discrete, WhatEachBranchDraws) {
  enum Draws { kNothing, kDoubles, kPairs, kAny };
  struct Case {
    Call call;
    int value;  // the one value, or -1
    Draws draws;
    int width = 1;
  };
  std::vector<Case> cases = {{Binomial(0, 0.3), 0, kNothing},     {Hyper(10, 0, 5), 0, kNothing},   {Hyper(10, 10, 5), 5, kNothing},
                             {Hyper(10, 4, 10), 4, kNothing},     {Hyper(10, 7, 0), 0, kNothing},   {Binomial(20, 0.3), -1, kDoubles},
                             {Binomial(100, 0.4), -1, kPairs},    {Hyper(1000, 100, 300), -1, kDoubles},
                             {Hyper(1000, 200, 400), -1, kPairs}};
#ifdef ZYN_DIST_DISCRETEB
  cases.insert(cases.end(), {{Poisson(0), 0, kNothing}, {Poisson(29.99), -1, kDoubles}, {Negbinomial(3, 1), 0, kNothing},
                             {Negbinomial(29, 0.5), -1, kDoubles}, {Negbinomial(1e3, 1e-9), INT_MAX, kAny},
                             {Multinomial(7, {3}), 7, kNothing}, {Multinomial(0, {1, 2}), 0, kNothing, 2}});
#endif
  for (const Case &c : cases) {
    ScriptedStream s({0.3, 0.6, 0.9, 0.1, 0.45, 0.7});
    std::vector<int> r(3000, -7);
    ASSERT_EQ(c.call(s, 1500, r.data()), 0);
    EXPECT_EQ(std::count(r.begin() + 1500 * c.width, r.end(), -7), 1500 * (2 - c.width));
    const int64_t drawn = g_script.drawn, doubles = g_script.doubles;
    EXPECT_TRUE(c.value == -1 || std::count(r.begin(), r.begin() + 1500 * c.width, c.value) == 1500 * c.width) << c.value;
    EXPECT_TRUE(c.draws != kNothing || drawn == 0) << drawn;
    EXPECT_TRUE(c.draws != kDoubles || (doubles == 1500 && drawn == 1500)) << drawn;
    EXPECT_TRUE(c.draws != kPairs || (doubles == 0 && drawn >= 3000 && drawn % 2 == 0)) << drawn;
  }
}

// A run of parameter sets on one stream: it holds one chunk of the entry's id, of the branch's
// size; the numbers equal those of a copy whose chunks were deleted, which then holds that chunk
// alone (none for id 0: PoissonV, Multinomial, and Negbinomial's mixture keeps no Gamma carry); the
// same parameters again leave the chunk's bytes; a copy of the stream carries it.
TEST(Discrete, SetUpsCachedInTheStream) {
  struct Step {
    Call call;
    int id, bytes;
  };
  constexpr int kB = RNX_CHUNK_BINOMIAL, kH = RNX_CHUNK_HYPERGEOMETRIC;
  Stream s(RNX_BRNG_MCG59, {5});
  std::vector<Step> steps = {{Binomial(20, 0.3), kB, 544}, {Binomial(20, 0.31), kB, 544}, {Binomial(100, 0.4), kB, 544},
                             {Binomial(100, 0.6), kB, 544}, {Binomial(20, 0.3), kB, 544},
                             {Hyper(1000, 100, 300), kH, 48 + 8 * 101}, {Hyper(1000, 200, 400), kH, 600},
                             {Hyper(1000, 250, 400), kH, 600}, {Hyper(1000, 97, 400), kH, 48 + 8 * 98},
                             {Hyper(1000, 100, 300), kH, 48 + 8 * 101}};
#ifdef ZYN_DIST_DISCRETEB
  constexpr int kP = RNX_CHUNK_POISSON, kN = RNX_CHUNK_NEGBINOMIAL;
  steps.insert(steps.end(), {{Poisson(10), kP, 696}, {Poisson(10.5), kP, 696}, {Poisson(1000), kP, 696}, {Poisson(30), kP, 696},
                             {Poisson(10), kP, 696}, {Negbinomial(5, 0.5), kN, 1328}, {Negbinomial(5, 0.6), kN, 1328},
                             {Negbinomial(0.5, 0.01), kN, 1328}, {Negbinomial(40, 0.5), kN, 1328}, {Negbinomial(5, 0.5), kN, 1328},
                             {PoissonV(50, 3), 0, 0}, {Multinomial(1000, {1, 2, 3}), 0, 0}});
#endif
  for (const Step &step : steps) {
    Stream fresh(s);
    ASSERT_EQ(__rnxDeleteChunks(fresh), 0);
    std::vector<int> a(900), b(900);
    ASSERT_EQ(step.call(s, 300, a.data()) | step.call(fresh, 300, b.data()), 0);
    EXPECT_EQ(a, b) << step.bytes;
    const auto chunk = [&](StreamState *t) -> const StreamChunk * {  // the only one of the id, of the size
      const StreamChunk *found = nullptr;
      int count = 0;
      for (const StreamChunk *c = t->chunks; c != nullptr; c = c->next)
        if (c->id == step.id) found = c, ++count;
      return count == 1 && found->size == step.bytes ? found : nullptr;
    };
    EXPECT_TRUE(step.id ? chunk(fresh) && !fresh.s->chunks->next : !fresh.s->chunks) << step.id << " " << step.bytes;
    if (step.id == 0) continue;
    ASSERT_NE(chunk(s), nullptr) << step.bytes;
    const std::vector<char> bytes(static_cast<char *>(chunk(s)->data), static_cast<char *>(chunk(s)->data) + step.bytes);
    Stream copy(s);
    ASSERT_EQ(step.call(s, 3, a.data()), 0);
    for (StreamState *t : {s.s, copy.s}) EXPECT_TRUE(chunk(t) && std::memcmp(bytes.data(), chunk(t)->data, step.bytes) == 0);
  }
}

#ifdef ZYN_DIST_DISCRETEB
// ---- discrete family B

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
// PoissonV's bad lambda comes last, after good ones.
TEST(DiscreteB, BadParametersTouchNothing) {
  const double nan = std::nan("");
  for (const Call &call : {Poisson(10, 1), Poisson(-1e-300), Poisson(nan), Poisson(0x1p30 * (1 + 0x1p-52)), Poisson(INFINITY),
                           PoissonV(10, 10, 1), PoissonV(10, -1), PoissonV(10, nan), PoissonV(10, 0x1p31),
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
// ntrial; the weights times 4 give the same numbers.
TEST(DiscreteB, MultinomialVectors) {
  const std::vector<double> p = {0.2, 0.3, 0.5}, p4 = {0.8, 1.2, 2.0};
  Stream s(RNX_BRNG_MCG59, {7}), s4(s);
  std::vector<int> r(3 * 20000), r4(r.size());
  ASSERT_EQ(Multinomial(4, p)(s, 20000, r.data()) | Multinomial(4, p4)(s4, 20000, r4.data()), 0);
  EXPECT_EQ(r, r4);
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
}

#endif

}  // namespace
}  // namespace zyn::test
