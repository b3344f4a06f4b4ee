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

// Against libm and GSL: which uniform is the radius and which the angle, sine before cosine, the
// quantile for the inverse method, the pending half of GaussianMethodBoxMuller2 waiting while the
// other methods draw. A uniform of exactly 0 takes the frame's finite values: ln(0) becomes
// ln(2^-1074) (single: ln(2^-149)), erfinv(-1) becomes erfinv(-1 + 2^-53) (single: -3.832507).
TEST(Gaussian, ValuesOnKnownUniforms) {
  const int bm = GaussianMethodBoxMuller, bm2 = GaussianMethodBoxMuller2, icdf = GaussianMethodIcdf;
  const auto z = [](double radius, double angle, double (*f)(double)) {
    return 0.5 + 3 * std::sqrt(-2 * std::log(radius)) * f(2 * M_PI * angle);
  };
  const auto q = [](double u) { return 0.5 + 3 * gsl_cdf_ugaussian_Pinv(u); };
  const auto mixed = [=](auto entry) -> Draw {
    return [=](StreamState *s, int, double *r, const Params &p) {
      int status = 0;
      for (auto [method, n] : {std::pair{bm2, 3}, {bm, 1}, {icdf, 1}, {bm2, 1}}) status |= Entry(entry, method)(s, n, r, p), r += n;
      return status;
    };
  };
  const double zd = 0.5 + 3 * std::sqrt(2 * 744.4400719213812), zs = 0.5 + 3 * std::sqrt(2 * 103.2789306640625);
  const std::vector<double> u = {0.3, 0.6, 0.9, 0.1};
  CheckKnown({{"BoxMuller", Both(_rnxdRngGaussian, _rnxsRngGaussian, bm), {0.5, 3}, u, {z(0.3, 0.6, sin), z(0.9, 0.1, sin)}},
              {"Icdf", Both(_rnxdRngGaussian, _rnxsRngGaussian, icdf), {0.5, 3}, u, {q(0.3), q(0.6), q(0.9), q(0.1)}},
              {"Mixed", {mixed(_rnxdRngGaussian), mixed(_rnxsRngGaussian)}, {0.5, 3}, u,
               {z(0.3, 0.6, sin), z(0.3, 0.6, cos), z(0.9, 0.1, sin), z(0.3, 0.6, sin), q(0.9), z(0.9, 0.1, cos)}},
              {"dZero", {Entry(_rnxdRngGaussian, bm), Entry(_rnxdRngGaussian, bm2)}, {0.5, 3}, {0.0, 0.25}, {zd}},
              {"sZero", {Entry(_rnxsRngGaussian, bm), Entry(_rnxsRngGaussian, bm2)}, {0.5, 3}, {0.0, 0.25}, {zs}},
              {"dZeroIcdf", {Entry(_rnxdRngGaussian, icdf)}, {0.5, 3}, {0.0, 0.5}, {-5.8635847487551676 * (3 * M_SQRT2) + 0.5, 0.5}, 0},
              {"sZeroIcdf", {Entry(_rnxsRngGaussian, icdf)}, {0.5, 3}, {0.0, 0.5}, {-3.832507f * (3 * float(M_SQRT2)) + 0.5f, 0.5}, 0}});
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
