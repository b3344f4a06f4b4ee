// The transformation and gamma families beyond the properties every sampler has: entries that
// equal other entries on copied streams, values on known uniforms (the role of each uniform, the
// Gamma branch on each side of 0.6), bounds on extreme uniforms, and Gamma's spare candidate.
#include "tests/dist/sampler_checks.hpp"

namespace zyn::test {
namespace {

using Fill = std::function<int(StreamState *, int, double *)>;

Fill At(Draw d, Params p) {
  return [=](StreamState *s, int n, double *r) { return d(s, n, r, p); };
}

// ChiSquare's layout in precision R: blocks of b results, result i of a block of m taking the
// numbers i, i + m, ... of the block's draw: sums of squared normals, or -2 ln of products.
template <class R>
Fill ChiReference(Draw numbers, int per, bool squares) {
  return [=](StreamState *s, int n, double *r) {
    const int b = n * per < 1024 ? n : 1024 / per;
    for (int done = 0; done < n; done += b) {
      const int m = std::min(b, n - done);
      std::vector<double> z(size_t(per) * m);
      EXPECT_EQ(numbers(s, per * m, z.data(), {0, 1}), 0);
      for (int i = 0; i < m; ++i) {
        R acc = squares ? 0 : 1;
        for (int j = 0; j < per; ++j) acc = squares ? acc + R(z[j * m + i]) * R(z[j * m + i]) : acc * R(z[j * m + i]);
        r[done + i] = squares ? acc : -2 * std::log(double(acc));
      }
    }
    return 0;
  };
}

// Entry and reference on copies of one stream, 1000 results: bit for bit (tolerance 0) or within
// the kernels' accuracy, relative to 1 + |reference|.
struct Same {
  std::string name;
  Fill entry, reference;
  double tolerance;
};

std::vector<Same> SameTable() {
  std::vector<Same> t;
  for (bool dbl : {true, false}) {
    const std::string p = dbl ? "d" : "s";
    const double tol = dbl ? 1e-6 : 1e-5;
    const Draw exp = Both(_rnxdRngExponential, _rnxsRngExponential)[!dbl], gamma = Both(_rnxdRngGamma, _rnxsRngGamma)[!dbl],
               chi = Both(_rnxdRngChiSquare, _rnxsRngChiSquare)[!dbl];
    const Draw normals = Both(_rnxdRngGaussian, _rnxsRngGaussian, GaussianMethodIcdf)[!dbl],
               uniforms = Both(_rnxdRngUniform, _rnxsRngUniform)[!dbl];
    t.push_back({p + "Weibull alpha 1", At(Both(_rnxdRngWeibull, _rnxsRngWeibull)[!dbl], {1, 1.5, 2}), At(exp, {1.5, 2}), 0});
    t.push_back({p + "Gamma alpha 1", At(gamma, {1, 1.5, 2}), At(exp, {1.5, 2}), 0});
    t.push_back({p + "ChiSquare 18", At(chi, {18}), At(gamma, {9, 0, 2}), 0});
    t.push_back({p + "ChiSquare 5", At(chi, {5}), At(gamma, {2.5, 0, 2}), 0});
    t.push_back({p + "ChiSquare 3", At(chi, {3}), dbl ? ChiReference<double>(normals, 3, true) : ChiReference<float>(normals, 3, true), 0});
    t.push_back({p + "ChiSquare 16", At(chi, {16}),
                 dbl ? ChiReference<double>(uniforms, 8, false) : ChiReference<float>(uniforms, 8, false), tol});
    for (int method : {LognormalMethodBoxMuller2, LognormalMethodIcdf}) {
      const Draw gauss = Both(_rnxdRngGaussian, _rnxsRngGaussian, method == 0 ? GaussianMethodBoxMuller2 : GaussianMethodIcdf)[!dbl];
      t.push_back({p + "Lognormal " + std::to_string(method), At(Both(_rnxdRngLognormal, _rnxsRngLognormal, method)[!dbl], {0.5, 0.7, 1, 2}),
                   [=](StreamState *s, int n, double *r) {
                     const int status = gauss(s, n, r, {0.5, 0.7});
                     for (int i = 0; i < n; ++i) r[i] = 1 + 2 * std::exp(r[i]);
                     return status;
                   },
                   tol});
    }
  }
  return t;
}

TEST(TransformGamma, EntriesEqualTheirReferencesOnCopiedStreams) {
  for (const Same &row : SameTable()) {
    Stream s(RNX_BRNG_MCG59, {5}), copy(s);
    std::vector<double> r(1000), ref(1000);
    ASSERT_TRUE(row.entry(s, 1000, r.data()) == 0 && row.reference(copy, 1000, ref.data()) == 0) << row.name;
    for (int i = 0; i < 1000; ++i)
      ASSERT_NEAR(r[i], ref[i], row.tolerance * (1 + std::fabs(ref[i]))) << row.name << " " << i;
  }
}

// First results on scripted uniforms against the formulas in double: which uniform is the size
// and which the sign, Cauchy's interval (-pi/2, pi/2), the minimum form of Gumbel, Gamma's small
// shape branch at 0.59 (x = u^(1/alpha)) and Weibull branch at 0.6 (x = (-ln u)^(1/alpha)).
TEST(TransformGamma, ValuesOnKnownUniforms) {
  const double l = std::log(0.3);
  CheckKnown({
      {"Exponential", Both(_rnxdRngExponential, _rnxsRngExponential), {1, 2}, {0.3}, {1 - 2 * l}},
      {"Laplace", Both(_rnxdRngLaplace, _rnxsRngLaplace), {1, 2}, {0.3, 0.7, 0.3, 0.5}, {1 + 2 * l, 1 - 2 * l}},
      {"Weibull", Both(_rnxdRngWeibull, _rnxsRngWeibull), {3, 1, 2}, {0.3}, {1 + 2 * std::cbrt(-l)}},
      {"Rayleigh", Both(_rnxdRngRayleigh, _rnxsRngRayleigh), {1, 2}, {0.3}, {1 + 2 * std::sqrt(-l)}},
      {"Cauchy", Both(_rnxdRngCauchy, _rnxsRngCauchy), {1, 2}, {0.3}, {1 + 2 * std::tan(M_PI * (0.3 - 0.5))}},
      {"Gumbel", Both(_rnxdRngGumbel, _rnxsRngGumbel), {1, 2}, {0.3}, {1 + 2 * std::log(-l)}},
      {"Gamma 0.59", Both(_rnxdRngGamma, _rnxsRngGamma), {0.59, 0, 1}, {0.3}, {std::pow(0.3, 1 / 0.59)}},
      {"Gamma 0.6", Both(_rnxdRngGamma, _rnxsRngGamma), {0.6, 0, 1}, {0.3}, {std::pow(-l, 1 / 0.6)}}});
}

// Uniforms of 0, just below 1 (in either precision) and tiny: results stay at or above the
// location (b for Lognormal), and Beta with RNX_METHOD_ACCURATE inside [a, a + beta].
TEST(TransformGamma, ResultsStayInsideTheirBoundsOnExtremeUniforms) {
  struct Bounded {
    std::vector<Draw> draws;  // double, single
    Params p;
    double a, beta;  // beta 0: no upper bound
  };
  std::vector<Bounded> rows = {{Both(_rnxdRngExponential, _rnxsRngExponential), {0.5, 2}, 0.5, 0},
                               {Both(_rnxdRngRayleigh, _rnxsRngRayleigh), {0.5, 2}, 0.5, 0},
                               {Both(_rnxdRngLognormal, _rnxsRngLognormal), {0, 1, 0.5, 2}, 0.5, 0}};
  for (double alpha : {0.3, 0.7, 0.5, 2.5, 1e6})
    rows.insert(rows.end(), {{Both(_rnxdRngWeibull, _rnxsRngWeibull), {alpha, 0.5, 2}, 0.5, 0},
                             {Both(_rnxdRngGamma, _rnxsRngGamma), {alpha, 0.5, 2}, 0.5, 0}});
  for (auto [p, q] : {std::pair{1.0, 1.0}, {1, 0.4}, {2.5, 1}, {0.6, 0.7}, {0.5, 0.7}, {0.3, 3}, {3, 0.5}, {2, 5}})
    rows.push_back({Both(_rnxdRngBeta, _rnxsRngBeta, BetaMethodStdAccurate), {p, q, 0.1, 0.7}, 0.1, 0.7});
  for (const Bounded &row : rows)
    for (bool dbl : {true, false}) {
      ScriptedStream s({0.0, 1 - 0x1p-53, 1 - 0x1p-24, 0x1p-60, 0.5, 0.999});
      std::vector<double> r(60);
      ASSERT_EQ(row.draws[!dbl](s, 60, r.data(), row.p), 0);
      const double high = row.beta == 0 ? INFINITY : dbl ? row.a + row.beta : float(row.a) + float(row.beta);
      for (double v : r) EXPECT_TRUE(v >= (dbl ? row.a : float(row.a)) && v <= high && std::isfinite(v)) << v;
    }
}

// Gamma above 1 keeps the next unused candidate in the stream. With every uniform 0.3 the first
// candidate (the sine half of a Box-Muller pair) is accepted and the spare is the cosine half,
// z = sqrt(-2 ln 0.3) cos(0.6 pi): the next call, with alpha 5, takes it first and draws no
// uniform, and so does a copy of the stream.
TEST(TransformGamma, NextCallStartsWithTheSpareCandidate) {
  const double z = std::sqrt(-2 * std::log(0.3)) * std::cos(0.6 * M_PI), d = 5 - 1.0 / 3, c = 1 / std::sqrt(42.0);
  for (bool dbl : {true, false}) {
    const Draw gamma = Both(_rnxdRngGamma, _rnxsRngGamma)[!dbl];
    ScriptedStream s({0.3});
    double r[3];
    ASSERT_EQ(gamma(s, 1, r, {2.5, 0, 1}), 0);
    const int64_t drawn = g_script.drawn;
    Stream copy(s);
    ASSERT_EQ(gamma(s, 1, r + 1, {5, 0, 1}) | gamma(copy, 1, r + 2, {5, 0, 1}), 0);
    EXPECT_EQ(g_script.drawn, drawn);
    EXPECT_NEAR(r[1], d * std::pow(1 + c * z, 3), 1e-5) << dbl;
    EXPECT_EQ(r[2], r[1]) << dbl;
  }
}

}  // namespace
}  // namespace zyn::test
