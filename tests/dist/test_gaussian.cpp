// The Gaussian family beyond the properties every sampler has: each method's numbers on known
// uniforms, the frame's finite value for a uniform of 0, and the multivariate sampler against an
// independent product T z + a.
#include "tests/dist/sampler_checks.hpp"

namespace zyn::test {
namespace {

template <class T>
int Gaussian(int method, StreamState *s, int n, T *r, T a, T sigma) {
  if constexpr (std::is_same_v<T, double>) return _rnxdRngGaussian(method, s, n, r, a, sigma);
  else return _rnxsRngGaussian(method, s, n, r, a, sigma);
}

// The results of calls (method, size) on a scripted stream, with mean 0.5 and deviation 3.
template <class T>
std::vector<double> Drawn(std::vector<double> u, std::vector<std::pair<int, int>> calls) {
  ScriptedStream s(std::move(u));
  std::vector<double> r;
  for (auto [method, n] : calls) {
    std::vector<T> t(n);
    EXPECT_EQ(Gaussian<T>(method, s, n, t.data(), T(0.5), T(3)), 0);
    r.insert(r.end(), t.begin(), t.end());
  }
  return r;
}

template <class T>
class GaussianOf : public testing::Test {};
using Precisions = testing::Types<double, float>;
TYPED_TEST_SUITE(GaussianOf, Precisions);

// Against libm and GSL: which uniform is the radius and which the angle, sine before cosine, the
// quantile for the inverse method, the pending half of GaussianMethodBoxMuller2 beside the other
// methods (the kernels run at EP or LA, hence the tolerance). A uniform of
// exactly 0 takes the frame's finite values: ln(0) becomes ln(2^-1074) (single: ln(2^-149)),
// erfinv(-1) becomes -5.8635847487551676 (single: -3.832507).
TYPED_TEST(GaussianOf, ValuesOnKnownUniforms) {
  using T = TypeParam;
  const std::vector<double> u = {0.3, 0.6, 0.9, 0.1};
  const auto radius = [](double x) { return std::sqrt(-2 * std::log(x)); };
  const auto near = [](const std::vector<double> &got, std::vector<double> z) {
    for (size_t i = 0; i < z.size(); ++i) EXPECT_NEAR(got[i], 0.5 + 3 * z[i], 1e-5 * (1 + std::fabs(0.5 + 3 * z[i]))) << i;
  };
  const double s1 = std::sin(2 * M_PI * u[1]), c1 = std::cos(2 * M_PI * u[1]), s3 = std::sin(2 * M_PI * u[3]);
  const int bm = GaussianMethodBoxMuller, bm2 = GaussianMethodBoxMuller2, icdf = GaussianMethodIcdf;
  near(Drawn<T>(u, {{bm, 2}}), {radius(u[0]) * s1, radius(u[2]) * s3});
  std::vector<double> quantiles;
  for (double x : u) quantiles.push_back(gsl_cdf_ugaussian_Pinv(x));
  near(Drawn<T>(u, {{icdf, 4}}), quantiles);
  // The pending half waits while the other methods draw.
  near(Drawn<T>(u, {{bm2, 3}, {bm, 1}, {icdf, 1}, {bm2, 1}}), {radius(u[0]) * s1, radius(u[0]) * c1, radius(u[2]) * s3,
                                                            radius(u[0]) * s1, quantiles[2], radius(u[2]) * std::cos(2 * M_PI * u[3])});
  constexpr bool dbl = std::is_same_v<T, double>;
  const double zero_radius = std::sqrt(-2 * (dbl ? -744.4400719213812 : -103.2789306640625));
  near(Drawn<T>({0.0, 0.25}, {{bm, 1}}), {zero_radius});  // u = 0, angle pi/2
  near(Drawn<T>({0.0, 0.25}, {{bm2, 2}}), {zero_radius, 0});
  const auto inv = Drawn<T>({0.0, 0.5}, {{icdf, 2}});  // -1 and 0 on (-1, 1)
  EXPECT_EQ(inv[0], T(-(dbl ? 5.8635847487551676 : 3.832507f)) * (T(3) * T(std::sqrt(2.0))) + T(0.5));
  EXPECT_EQ(inv[1], T(0.5));
}

// Every vector is T z + a for the standard normals z the same stream gives, T lower triangular
// with entries in (-1, 1) and a diagonal in (0.5, 1.5): full storage row by row (the upper part
// junk the sampler must not read), packed by columns, or the diagonal; an unknown storage leaves
// z, and d 1 is a plain Gaussian whatever the storage. d 3: the small-matrix routine, runs of 10
// vectors for the mean (n 11 leaves one over); d 12 and 40: the general routine; n 2 and 3 take
// the coordinate loop only.
template <class T>
void CheckProduct(int d, int storage, int n) {
  std::vector<double> dense(d * d, 0.0);
  std::vector<T> t, a, r(size_t(n) * d), z(size_t(n) * d);
  for (int i = 0; i < d * d; ++i) {
    const int row = i / d, col = i % d;
    dense[i] = col < row ? std::sin(1.3 * row + 0.7 * col + 0.1) : col == row ? 1.0 + 0.5 * std::sin(2.0 * row + 0.1) : 0.0;
    if (storage == GaussianMVStorageFull) t.push_back(T(col <= row ? dense[i] : 1e6));
  }
  for (int j = 0; j < d; ++j) {
    a.push_back(T(0.5 * j - 1.0));
    for (int i = j; i < d && storage != GaussianMVStorageFull; ++i)
      if (storage == GaussianMVStoragePacked || i == j) t.push_back(T(dense[i * d + j]));
  }
  Stream s(RNX_BRNG_MCG59, {21}), copy(s);
  if constexpr (std::is_same_v<T, double>)
    ASSERT_EQ(_rnxdRngGaussianMV(GaussianMethodBoxMuller2, s, n, r.data(), d, storage, a.data(), t.data()), 0);
  else
    ASSERT_EQ(_rnxsRngGaussianMV(GaussianMethodBoxMuller2, s, n, r.data(), d, storage, a.data(), t.data()), 0);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, copy, n * d, z.data(), T(0), T(1)), 0);
  const double tol = std::is_same_v<T, double> ? 1e-12 : 2e-5;
  for (int k = 0; k < n; ++k)
    for (int i = 0; i < d; ++i) {
      double e = storage > 2 && d > 1 ? 0 : a[i], size = std::fabs(e);
      for (int j = storage == GaussianMVStorageDiagonal ? i : 0; j <= i; ++j) {
        const double tz = (storage > 2 && d > 1 ? i == j : double(T(dense[i * d + j]))) * z[k * d + j];
        e += tz, size += std::fabs(tz);
      }
      ASSERT_NEAR(r[k * d + i], e, tol * (1 + size)) << "d " << d << " storage " << storage << " vector " << k << " coordinate " << i;
    }
}

TEST(GaussianMV, VectorsAreTheFactorTimesNormalsPlusTheMean) {
  for (int storage : {GaussianMVStorageFull, GaussianMVStoragePacked, GaussianMVStorageDiagonal, 3})
    for (int d : {1, 2, 3, 10, 12, 40})
      for (int n : {2, 3, 11, 100}) {
        CheckProduct<double>(d, storage, n);
        CheckProduct<float>(d, storage, n);
      }
}

}  // namespace
}  // namespace zyn::test
