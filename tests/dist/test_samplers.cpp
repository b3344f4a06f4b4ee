// Every sampler entry, method and precision against the properties of sampler_checks.hpp. A new
// sampler adds its rows to the table.
#include <gsl/gsl_randist.h>

#include <climits>
#include <numeric>

#include "tests/dist/sampler_checks.hpp"

namespace zyn::test {
namespace {

double UniformCdf(double x, const Params &p) { return std::clamp((x - p[0]) / (p[1] - p[0]), 0.0, 1.0); }

std::vector<Sampler> Samplers() {
  std::vector<Sampler> rows = {
      {"dUniform", Entry(_rnxdRngUniform, UniformMethodStd), {-2, 3}, {10, 11}, UniformCdf, false, 1, 0},
      {"sUniform", Entry(_rnxsRngUniform, UniformMethodStd), {-2, 3}, {10, 11}, UniformCdf, false, 1, 0},
      {.name = "iUniform", .draw = Entry(_rnxiRngUniform, UniformMethodStd), .p1 = {-3, 7}, .p2 = {INT_MIN, INT_MAX},
       .discrete = true, .pmf = [](int64_t k, const Params &p) { return p[0] <= k && k < p[1] ? 1 / (p[1] - p[0]) : 0; }}};
#ifdef ZYN_DIST_GAUSSIAN
  const auto normal = [](double x, const Params &p) { return NormalCdf((x - p[0]) / p[1]); };
  const Params p1 = {1.5, 2}, p2 = {10, 3};
  const std::vector<std::pair<int, int>> pairs = {{2050, 2050}, {7, 8}, {1, 0}, {2049, 2050}, {2, 2}, {2, 2}};
  rows.insert(rows.end(), {
      {"dGaussianBoxMuller", Entry(_rnxdRngGaussian, GaussianMethodBoxMuller), p1, p2, normal, false, 2},
      {"sGaussianBoxMuller", Entry(_rnxsRngGaussian, GaussianMethodBoxMuller), p1, p2, normal, false, 2},
      {"dGaussianBoxMuller2", Entry(_rnxdRngGaussian, GaussianMethodBoxMuller2), p1, p2, normal, false, 1, 1024, pairs},
      {"sGaussianBoxMuller2", Entry(_rnxsRngGaussian, GaussianMethodBoxMuller2), p1, p2, normal, false, 1, 1024, pairs},
      {"dGaussianIcdf", Entry(_rnxdRngGaussian, GaussianMethodIcdf), p1, p2, normal, false, 1, 1024},
      {"sGaussianIcdf", Entry(_rnxsRngGaussian, GaussianMethodIcdf), p1, p2, normal, false, 1, 1024}});
#endif
#ifdef ZYN_DIST_TRANSFORM
  // The transformation family at location 1 (Lognormal: b = 1), scale 2; its CDFs as computed.
  using Cdf = std::function<double(double, const Params &)>;
  const auto both = [&](const std::string &name, Draw d, Draw s, Params p, Cdf cdf, int per, int block) {
    Params p2 = p;  // another location and scale
    p2.end()[-2] = -3, p2.end()[-1] = 0.5;
    rows.push_back({"d" + name, d, p, p2, cdf, false, per, block});
    rows.push_back({"s" + name, s, p, p2, cdf, false, per, block});
  };
  both("Exponential", Entry(_rnxdRngExponential, 0), Entry(_rnxsRngExponential, 0), {1, 2},
       [](double x, const Params &p) { return gsl_cdf_exponential_P(x - p[0], p[1]); }, 1, 0);
  both("Laplace", Entry(_rnxdRngLaplace, 0), Entry(_rnxsRngLaplace, 0), {1, 2},
       [](double x, const Params &p) { return gsl_cdf_laplace_P(x - p[0], p[1]); }, 2, 1024);
  both("Cauchy", Entry(_rnxdRngCauchy, 0), Entry(_rnxsRngCauchy, 0), {1, 2},
       [](double x, const Params &p) { return gsl_cdf_cauchy_P(x - p[0], p[1]); }, 1, 0);
  both("Rayleigh", Entry(_rnxdRngRayleigh, 0), Entry(_rnxsRngRayleigh, 0), {1, 2},
       [](double x, const Params &p) { return x < p[0] ? 0 : 1 - std::exp(-std::pow((x - p[0]) / p[1], 2)); }, 1, 0);
  both("Gumbel", Entry(_rnxdRngGumbel, 0), Entry(_rnxsRngGumbel, 0), {1, 2},
       [](double x, const Params &p) { return 1 - std::exp(-std::exp((x - p[0]) / p[1])); }, 1, 0);
  for (double alpha : {0.5, 1.0, 3.0})
    both("Weibull" + std::to_string(alpha), Entry(_rnxdRngWeibull, 0), Entry(_rnxsRngWeibull, 0), {alpha, 1, 2},
         [](double x, const Params &p) { return gsl_cdf_weibull_P(x - p[1], p[2], p[0]); }, 1, 0);
  const Cdf lognormal = [](double x, const Params &p) { return gsl_cdf_lognormal_P((x - p[2]) / p[3], p[0], p[1]); };
  both("LognormalIcdf", Entry(_rnxdRngLognormal, LognormalMethodIcdf), Entry(_rnxsRngLognormal, LognormalMethodIcdf),
       {0.5, 0.7, 1, 2}, lognormal, 1, 0);
  both("LognormalBoxMuller2", Entry(_rnxdRngLognormal, LognormalMethodBoxMuller2),
       Entry(_rnxsRngLognormal, LognormalMethodBoxMuller2), {0.5, 0.7, 1, 2}, lognormal, 1, 1024);
  rows.end()[-1].consumption = rows.end()[-2].consumption = pairs;
#endif
#ifdef ZYN_DIST_GAMMA
  // Gamma at a = 0 (a value that rounds to a would tie with others), scale 2, at each branch
  // and both sides of its bounds; the Gamma CDF of GSL is wrong near alpha - 1000 for alpha 10^6,
  // where Wilson and Hilferty's cube-root normal is exact to far below the test's resolution.
  const Cdf gamma = [](double x, const Params &p) {
    const double y = (x - p[1]) / p[2], a = p[0];
    return a < 1e5 ? gsl_cdf_gamma_P(y, a, 1) : NormalCdf((std::cbrt(y / a) - 1 + 1 / (9 * a)) * std::sqrt(9 * a));
  };
  for (double alpha : {0.05, 0.59, 0.6, 0.999, 1.0, 1.0001, 2.5, 1e6}) {
    const bool exponential = alpha == 1;  // one generator call, and calls join up
    for (int t = 0; t < (alpha > 0.5 && alpha < 1e6 ? 2 : 1); ++t)  // float has no room below 1e-38 for small shapes
      rows.push_back({(t ? "sGamma" : "dGamma") + std::to_string(alpha), t ? Entry(_rnxsRngGamma, 0) : Entry(_rnxdRngGamma, 0),
                      {alpha, 0, 2}, {alpha, 5, 3}, gamma, false, exponential ? 1 : 2, exponential ? 0 : 512, {},
                      exponential, !exponential});
  }
  // Beta, a row per branch: both shapes below 1 on both sides of the Johnk line (0.852 p^2 + q =
  // 0.956), one below and one above 1 both ways, both above 1, and the rows with a shape of 1.
  const Cdf beta = [](double x, const Params &p) { return gsl_cdf_beta_P((x - p[2]) / p[3], p[0], p[1]); };
  const double shapes[][2] = {{0.6, 0.7}, {0.5, 0.7}, {0.2, 0.2}, {0.3, 3}, {3, 0.5}, {2, 5}, {1.5, 1.2},
                              {1, 1},     {2.5, 1}, {1, 0.4}};
  for (auto [p, q] : shapes) {
    const bool direct = p == 1 || q == 1, single = p >= 0.5 && q >= 0.5;
    for (int t = 0; t < (single ? 2 : 1); ++t)
      rows.push_back({(t ? "sBeta" : "dBeta") + std::to_string(p) + "," + std::to_string(q),
                      t ? Entry(_rnxsRngBeta, 0) : Entry(_rnxdRngBeta, 0), {p, q, 0, 1}, {p, q, -1, 3}, beta, false,
                      direct ? 1 : 2, direct ? 0 : 512, {}, direct, !direct});
  }
  // ChiSquare: sums of v squared normals (1, 3), -2 ln of products of v/2 uniforms (2, 16), and
  // Gamma(v/2, 0, 2) (5, 18, 101). A result depends on its call's size except for v 1.
  for (int v : {1, 2, 3, 5, 16, 18, 101}) {
    const int per = v <= 3 ? (v == 2 ? 1 : v) : v / 2;
    const bool gamma_v = v > 16 || (v % 2 == 1 && v > 3);
    for (int t = 0; t < 2; ++t)
      rows.push_back({(t ? "sChiSquare" : "dChiSquare") + std::to_string(v),
                      t ? Entry(_rnxsRngChiSquare, 0) : Entry(_rnxdRngChiSquare, 0), {double(v)}, {double(v)},
                      [](double x, const Params &p) { return gsl_cdf_chisq_P(x, p[0]); }, false, gamma_v ? 2 : per,
                      gamma_v ? 512 : 1024 / per, {}, v == 1, gamma_v});
  }
#endif
#ifdef ZYN_DIST_DISCRETE
  // ---- discrete family A: one row per branch, its corners fitted too. GSL's geometric counts
  // from 1; its hypergeometric takes (k, marked, unmarked, sample).
  const auto bernoulli = [](int64_t k, const Params &p) { return k == 0 || k == 1 ? gsl_ran_bernoulli_pdf(unsigned(k), p[0]) : 0; };
  const auto geometric = [](int64_t k, const Params &p) { return k >= 0 ? gsl_ran_geometric_pdf(unsigned(k + 1), p[0]) : 0; };
  const auto binomial = [](int64_t k, const Params &p) { return k >= 0 && k <= p[0] ? gsl_ran_binomial_pdf(unsigned(k), p[1], unsigned(p[0])) : 0; };
  const auto hyper = [](int64_t k, const Params &p) {
    return k >= 0 ? gsl_ran_hypergeometric_pdf(unsigned(k), unsigned(p[2]), unsigned(p[0] - p[2]), unsigned(p[1])) : 0;
  };
  const Draw bino = Entry(_rnxiRngBinomial, BinomialMethodStd), hyp = Entry(_rnxiRngHypergeometric, HypergeometricMethodStd);
  rows.insert(rows.end(), {
      {.name = "iBernoulli", .draw = Entry(_rnxiRngBernoulli, BernoulliMethodStd), .p1 = {0.3}, .p2 = {0.7}, .discrete = true,
       .block = 0, .pmf = bernoulli, .corners = {{0}, {1}}},
      {.name = "iGeometric", .draw = Entry(_rnxiRngGeometric, GeometricMethodStd), .p1 = {0.3}, .p2 = {0.05}, .discrete = true,
       .pmf = geometric, .corners = {{1e-6}, {0.5}, {1}}},
      // Inversion below ntrial min(p, 1 - p) = 30; 1 - p from p = 0.5 on.
      {.name = "iBinomialTable", .draw = bino, .p1 = {20, 0.3}, .p2 = {1000, 0.999}, .discrete = true, .pmf = binomial,
       .corners = {{0, 0.3}, {1, 0.5}, {59, 0.5}, {1000, 0.999}, {100, 0.1}}},
      // BTPE: consumption varies, so the carry check keeps the parameters.
      {.name = "iBinomialBtpe", .draw = bino, .p1 = {100, 0.4}, .p2 = {100, 0.4}, .discrete = true, .per_output = 0,
       .block = 0, .pmf = binomial, .corners = {{60, 0.5}, {100, 0.6}, {1e6, 0.5}, {1 << 30, 0.5}}},
      // (l, s, m): inversion while mode - lo is below 40; each mapping of the swapped lot; lo = hi.
      {.name = "iHypergeometricTable", .draw = hyp, .p1 = {1000, 100, 300}, .p2 = {1000, 900, 700}, .discrete = true,
       .pmf = hyper, .corners = {{1000, 97, 400}, {1000, 100, 700}, {1000, 900, 300}, {10, 0, 5}, {10, 10, 5}, {10, 4, 10}}},
      // H2PE: from mode - lo = 40 (s = 99), candidates beyond 63 steps (sd 58), mapped halves.
      {.name = "iHypergeometricH2pe", .draw = hyp, .p1 = {1000, 200, 400}, .p2 = {1000, 200, 400}, .discrete = true,
       .per_output = 0, .block = 0, .pmf = hyper,
       .corners = {{1000, 99, 400}, {100000, 20000, 30000}, {1000, 800, 400}, {1000, 200, 600}, {1000, 800, 600}}}});
  // ----
#endif
#ifdef ZYN_DIST_DISCRETEB
  // ---- discrete family B: Poisson by inversion below lambda 30, PTPE from 30.
  const auto poisson = [](int64_t k, const Params &p) { return k >= 0 ? gsl_ran_poisson_pdf(unsigned(k), p[0]) : 0; };
  const Draw pois = Entry(_rnxiRngPoisson, PoissonMethodPTPE);
  // PoissonV with lambda[i] cycling through the parameters: inversion below 10, PTRS from 10, and
  // both in one call. PTRS draws in rounds over the pending elements of a block, so only the
  // inversion row's calls join up.
  const Draw poisv = [](StreamState *s, int n, double *r, const Params &p) {
    std::vector<double> lambda(n);
    std::vector<int> t(r, r + n);
    for (int i = 0; i < n; ++i) lambda[i] = p[i % p.size()];
    const int status = _rnxiRngPoissonV(PoissonVMethodPTRS, s, n, t.data(), lambda.data());
    std::copy(t.begin(), t.end(), r);
    return status;
  };
  const auto mixture = [=](int64_t k, const Params &p) {
    return std::accumulate(p.begin(), p.end(), 0.0, [&](double f, double l) { return f + poisson(k, {l}); }) / double(p.size());
  };
  // Negbinomial (a, p): inversion for means below 30, the Gamma-Poisson mixture from 30 (and for
  // tails the table can't hold).
  const auto negbin = [](int64_t k, const Params &p) {
    return k < 0 ? 0 : p[1] == 1 ? double(k == 0) : gsl_ran_negative_binomial_pdf(unsigned(k), p[1], p[0]);
  };
  const Draw nb = Entry(_rnxiRngNegbinomial, NegbinomialMethodMixture);
  // Multinomial (ntrial, column, p...): the counts of one column, Binomial(ntrial, p_column / sum
  // p). The first column is a plain binomial; later ones depend on the earlier columns' draws.
  const Draw column = [](StreamState *s, int n, double *r, const Params &p) {
    const int ntrial = int(p[0]), c = int(p[1]), k = int(p.size()) - 2;
    std::vector<int> t(size_t(n) * k, -777);
    for (int i = 0; i < n; ++i) t[size_t(i) * k + c] = int(r[i]);
    const int status = _rnxiRngMultinomial(MultinomialMethodConditional, s, n, t.data(), ntrial, k, p.data() + 2);
    for (int i = 0; i < n; ++i) r[i] = t[size_t(i) * k + c];
    return status;
  };
  const auto marginal = [=](int64_t k, const Params &p) {
    return binomial(k, {p[0], p[2 + size_t(p[1])] / std::accumulate(p.begin() + 2, p.end(), 0.0)});
  };
  rows.insert(rows.end(), {
      {.name = "iPoissonTable", .draw = pois, .p1 = {10}, .p2 = {3}, .discrete = true, .pmf = poisson,
       .corners = {{1e-6}, {0.5}, {29.99}}},
      {.name = "iPoissonPtpe", .draw = pois, .p1 = {1000}, .p2 = {1000}, .discrete = true, .per_output = 0, .block = 0,
       .pmf = poisson, .corners = {{30}, {1e7}, {0x1p30}}},
      {.name = "iPoissonVInversion", .draw = poisv, .p1 = {3}, .p2 = {0.5}, .discrete = true, .pmf = mixture,
       .corners = {{1e-6}, {3, 9.99}}},
      {.name = "iPoissonVPtrs", .draw = poisv, .p1 = {10, 1000}, .p2 = {10, 1000}, .discrete = true, .per_output = 0,
       .block = 0, .joins = false, .pmf = mixture, .corners = {{10}, {1e5}, {0x1p30}}},
      {.name = "iPoissonVMixed", .draw = poisv, .p1 = {9.99, 10}, .p2 = {9.99, 10}, .discrete = true, .per_output = 0,
       .block = 0, .joins = false, .pmf = mixture, .corners = {{0.5, 30}}},
      {.name = "iNegbinomialTable", .draw = nb, .p1 = {5, 0.5}, .p2 = {1, 0.5}, .discrete = true, .pmf = negbin,
       .corners = {{1, 0.5}, {0.3, 0.9}, {29, 0.5}, {3, 1}}},
      {.name = "iNegbinomialMixture", .draw = nb, .p1 = {0.5, 0.01}, .p2 = {0.5, 0.01}, .discrete = true, .per_output = 0,
       .block = 0, .joins = false, .pmf = negbin, .corners = {{31, 0.5}, {0.01, 1e-4}, {1e4, 0.5}, {0.3, 0.01}}},
      {.name = "iMultinomialFirst", .draw = column, .p1 = {20, 0, 0.3, 0.7}, .p2 = {50, 0, 2, 1, 1}, .discrete = true,
       .pmf = marginal, .corners = {{1000, 0, 1, 1}, {5, 0, 1}}},
      {.name = "iMultinomialLater", .draw = column, .p1 = {100, 2, 1, 2, 3, 4}, .p2 = {100, 2, 1, 2, 3, 4}, .discrete = true,
       .per_output = 0, .block = 0, .joins = false, .pmf = marginal,
       .corners = {{100, 3, 1, 2, 3, 4}, {1000, 1, 0.3, 0.5, 0.2}, {100, 1, 1, 0, 1}}}});
  // ----
#endif
  return rows;
}

TEST(Samplers, FitTheirDistributions) {
  for (const Sampler &row : Samplers())
    for (int id : {RNX_BRNG_MCG59, RNX_BRNG_MRG32K3A}) CheckFit(row, id);
}
TEST(Samplers, CallsOf7Then1EqualOneOf8) {
  for (const Sampler &row : Samplers()) CheckCarry(row);
}
TEST(Samplers, CallerStateComesBackAlsoOnFailure) {
  for (const Sampler &row : Samplers()) CheckRestores(row);
}
TEST(Samplers, UniformsConsumed) {
  for (const Sampler &row : Samplers()) CheckConsumption(row);
}

}  // namespace
}  // namespace zyn::test
