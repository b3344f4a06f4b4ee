// Every sampler entry, method and precision against the properties of sampler_checks.hpp. A new
// sampler adds its rows to the table.
#include <climits>

#include "tests/dist/sampler_checks.hpp"

namespace zyn::test {
namespace {

double UniformCdf(double x, const Params &p) { return std::clamp((x - p[0]) / (p[1] - p[0]), 0.0, 1.0); }

std::vector<Sampler> Samplers() {
  std::vector<Sampler> rows = {
      {"dUniform", Entry(_rnxdRngUniform, UniformMethodStd), {-2, 3}, {10, 11}, UniformCdf, false, 1, 0},
      {"sUniform", Entry(_rnxsRngUniform, UniformMethodStd), {-2, 3}, {10, 11}, UniformCdf, false, 1, 0},
      {"iUniform", Entry(_rnxiRngUniform, UniformMethodStd), {-3, 7}, {INT_MIN, INT_MAX},
       [](double x, const Params &p) { return UniformCdf(std::floor(x) + 1, p); }, true}};
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
