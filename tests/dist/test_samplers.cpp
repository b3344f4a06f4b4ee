// Every sampler entry, method and precision against the properties of sampler_checks.hpp. A new
// sampler adds its rows to the table.
#include <gsl/gsl_randist.h>

#include <climits>

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
      {"dGaussianIcdf", Entry(_rnxdRngGaussian, GaussianMethodIcdf), p1, p2, normal, false, 1, 0},
      {"sGaussianIcdf", Entry(_rnxsRngGaussian, GaussianMethodIcdf), p1, p2, normal, false, 1, 0}});
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
