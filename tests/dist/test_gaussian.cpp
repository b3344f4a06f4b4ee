// The Gaussian family beyond the properties every sampler has: each method's numbers on known
// uniforms, the pending half of GaussianMethodBoxMuller2 beside the other methods, the frame's
// finite value for a uniform of 0, the mode word a call leaves, and the multivariate sampler
// against an independent product T z + a and its covariance T T^T.
#include <thread>

#include "tests/dist/sampler_checks.hpp"

namespace zyn::test {
namespace {

template <class T>
int Gaussian(int method, StreamState *s, int n, T *r, T a, T sigma) {
  if constexpr (std::is_same_v<T, double>) return _rnxdRngGaussian(method, s, n, r, a, sigma);
  else return _rnxsRngGaussian(method, s, n, r, a, sigma);
}
template <class T>
int GaussianMV(int method, StreamState *s, int n, T *r, int d, int storage, const T *a, const T *t) {
  if constexpr (std::is_same_v<T, double>) return _rnxdRngGaussianMV(method, s, n, r, d, storage, a, t);
  else return _rnxsRngGaussianMV(method, s, n, r, d, storage, a, t);
}

template <class T>
class GaussianOf : public testing::Test {};
using Precisions = testing::Types<double, float>;
TYPED_TEST_SUITE(GaussianOf, Precisions);

// Against libm and GSL: which uniform is the radius and which the angle, sine before cosine, the
// quantile for the inverse method, and the scaling (the kernels run at EP or LA, hence the
// tolerance). A uniform of exactly 0 takes the frame's finite values: ln(0) becomes
// ln(2^-1074) (single: ln(2^-149)), erfinv(-1) becomes -5.8635847487551676 (single: -3.832507).
TYPED_TEST(GaussianOf, ValuesOnKnownUniforms) {
  using T = TypeParam;
  const double u[4] = {0.3, 0.6, 0.9, 0.1}, pi2 = 2 * M_PI, a = 0.5, sigma = 3;
  const auto radius = [](double x) { return std::sqrt(-2 * std::log(x)); };
  const auto near = [&](T got, double z) { EXPECT_NEAR(got, a + sigma * z, 1e-5 * (1 + std::fabs(a + sigma * z))); };
  T r[4];
  ScriptedStream bm({u[0], u[1], u[2], u[3]});
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller, bm, 2, r, T(a), T(sigma)), 0);
  near(r[0], radius(u[0]) * std::sin(pi2 * u[1]));
  near(r[1], radius(u[2]) * std::sin(pi2 * u[3]));
  ScriptedStream bm2({u[0], u[1], u[2], u[3]});
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, bm2, 3, r, T(a), T(sigma)), 0);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, bm2, 1, r + 3, T(a), T(sigma)), 0);
  for (int i = 0; i < 4; ++i) near(r[i], radius(u[i / 2 * 2]) * (i % 2 ? std::cos(pi2 * u[i / 2 * 2 + 1]) : std::sin(pi2 * u[i / 2 * 2 + 1])));
  ScriptedStream icdf({u[0], u[1], u[2], u[3]});
  ASSERT_EQ(Gaussian<T>(GaussianMethodIcdf, icdf, 4, r, T(a), T(sigma)), 0);
  for (int i = 0; i < 4; ++i) near(r[i], gsl_cdf_ugaussian_Pinv(u[i]));  // sqrt(2) erfinv(2u - 1)

  const bool dbl = std::is_same_v<T, double>;
  const double ln_zero = dbl ? -744.4400719213812 : -103.2789306640625, erfinv_one = dbl ? 5.8635847487551676 : 3.832507f;
  for (int method : {GaussianMethodBoxMuller, GaussianMethodBoxMuller2}) {
    ScriptedStream s({0.0, 0.25});  // u = 0, angle pi/2
    ASSERT_EQ(Gaussian<T>(method, s, 2, r, T(1), T(2)), 0);
    const double radius = std::sqrt(-2 * ln_zero);
    EXPECT_NEAR(r[0], 1 + 2 * radius, 1e-5 * radius) << method;
    EXPECT_TRUE(method == GaussianMethodBoxMuller || std::fabs(r[1] - 1) < 1e-4 * radius) << r[1];  // cos(pi/2)
  }
  ScriptedStream s({0.0, 0.5});  // -1 and 0 on (-1, 1)
  ASSERT_EQ(Gaussian<T>(GaussianMethodIcdf, s, 2, r, T(1), T(2)), 0);
  EXPECT_EQ(r[0], T(-erfinv_one) * (T(2) * T(std::sqrt(2.0))) + T(1));
  EXPECT_EQ(r[1], T(1));
}

// The pending half stays in the stream while the other methods draw.
TYPED_TEST(GaussianOf, BoxMuller2PendingHalfBesideOtherMethods) {
  using T = TypeParam;
  Stream s(RNX_BRNG_MRG32K3A, {8}), ref_stream(s);
  T ref[8], r[8], c;
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, ref_stream, 8, ref, T(0), T(1)), 0);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, s, 7, r, T(0), T(1)), 0);
  ASSERT_NE(__rnxSearchChunk(s, std::is_same_v<T, double> ? RNX_CHUNK_DGAUSSIAN : RNX_CHUNK_SGAUSSIAN), nullptr);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller, s, 3, r, T(0), T(1)) | Gaussian<T>(GaussianMethodIcdf, s, 3, r, T(0), T(1)), 0);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, s, 1, &c, T(0), T(1)), 0);
  EXPECT_EQ(c, ref[7]);
}

// On the default word (no denormal field) the kernels' fixed mode leaves MODE_DENORMALS_KEEP
// behind, since a mode field can be replaced but never cleared; kernels treat both alike.
TEST(GaussianFrame, DefaultModeKeepsEveryFieldButDenormals) {
  std::thread([] {  // a new thread starts from the default word
    const unsigned mode = _vexGetMode();
    ASSERT_EQ(mode & ModeDenormals, 0u);
    Stream s(RNX_BRNG_MCG59);
    double r[10];
    ASSERT_EQ(_rnxdRngGaussian(GaussianMethodIcdf, s, 10, r, 0.0, 1.0), 0);
    EXPECT_EQ(_vexGetMode(), mode | MODE_DENORMALS_KEEP);
    EXPECT_EQ(_vexGetErrorCallBack(), nullptr);
  }).join();
}

// ---- multivariate ----------------------------------------------------------------------------

// A lower-triangular factor with entries in (-1, 1) and a diagonal in (0.5, 1.5), row-major in
// full storage (upper part junk the sampler must not read), packed by columns, and dense.
struct Factor {
  int d;
  std::vector<double> dense, full, packed, diagonal, means;
  explicit Factor(int dimen) : d(dimen), dense(d * d, 0.0), full(d * d) {
    for (int i = 0; i < d; ++i) {
      means.push_back(0.5 * i - 1.0);
      for (int j = 0; j < d; ++j) {
        const double v = std::sin(1.3 * i + 0.7 * j + 0.1);
        dense[i * d + j] = j < i ? v : j == i ? 1.0 + 0.5 * v : 0.0;
        full[i * d + j] = j <= i ? dense[i * d + j] : 1e6;
      }
    }
    for (int j = 0; j < d; ++j) {
      diagonal.push_back(dense[j * d + j]);
      for (int i = j; i < d; ++i) packed.push_back(dense[i * d + j]);
    }
  }
  template <class T>
  std::vector<T> t(int storage) const {
    const auto &v = storage == GaussianMVStorageFull ? full : storage == GaussianMVStoragePacked ? packed : diagonal;
    return std::vector<T>(v.begin(), v.end());
  }
};

// Every vector is T z + a for the standard normals z the same stream gives. d 3: the small-matrix
// routine, runs of 10 vectors for the mean (n 11 leaves one over); d 12 and 40: the general
// routine; n 2 and 3 take the coordinate loop only.
template <class T>
void CheckProduct(int d, int storage, int n) {
  const Factor f(d);
  const std::vector<T> t = f.t<T>(storage), a(f.means.begin(), f.means.end());
  Stream s(RNX_BRNG_MCG59, {21}), copy(s);
  std::vector<T> r(size_t(n) * d), z(size_t(n) * d);
  ASSERT_EQ(GaussianMV<T>(GaussianMethodBoxMuller2, s, n, r.data(), d, storage, a.data(), t.data()), 0);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, copy, n * d, z.data(), T(0), T(1)), 0);
  const double tol = std::is_same_v<T, double> ? 1e-12 : 2e-5;
  for (int k = 0; k < n; ++k)
    for (int i = 0; i < d; ++i) {
      double e = a[i], size = std::fabs(e);
      for (int j = storage == GaussianMVStorageDiagonal ? i : 0; j <= i; ++j) {
        e += double(T(f.dense[i * d + j])) * z[k * d + j];
        size += std::fabs(double(T(f.dense[i * d + j])) * z[k * d + j]);
      }
      ASSERT_NEAR(r[k * d + i], e, tol * (1 + size)) << "d " << d << " storage " << storage << " vector " << k << " coordinate " << i;
    }
}

TEST(GaussianMV, VectorsAreTheFactorTimesNormalsPlusTheMean) {
  for (int storage : {GaussianMVStorageFull, GaussianMVStoragePacked, GaussianMVStorageDiagonal})
    for (int d : {2, 3, 10, 12, 40})
      for (int n : {2, 3, 11, 100}) {
        CheckProduct<double>(d, storage, n);
        CheckProduct<float>(d, storage, n);
      }
}

// Sample covariance of 40000 vectors against T T^T: each entry within 5 standard errors,
// sqrt((S_ii S_jj + S_ij^2) / n), and each mean within 5 of sqrt(S_ii / n).
template <class T>
void CheckCovariance(int d, int storage, int method) {
  const Factor f(d);
  const std::vector<T> t = f.t<T>(storage), a(f.means.begin(), f.means.end());
  const int n = 40000;
  Stream s(RNX_BRNG_MRG32K3A, {uint32_t(31 + d)});
  std::vector<T> r(size_t(n) * d);
  ASSERT_EQ(GaussianMV<T>(method, s, n, r.data(), d, storage, a.data(), t.data()), 0);
  std::vector<double> sigma(d * d, 0.0), mean(d, 0.0), cov(d * d, 0.0);
  for (int i = 0; i < d * d; ++i)
    for (int k = 0; k < d; ++k) sigma[i] += f.dense[i / d * d + k] * f.dense[i % d * d + k];
  for (int k = 0; k < n; ++k)
    for (int i = 0; i < d; ++i) mean[i] += r[k * d + i] / double(n);
  for (int k = 0; k < n; ++k)
    for (int i = 0; i < d * d; ++i) cov[i] += (r[k * d + i / d] - mean[i / d]) * (r[k * d + i % d] - mean[i % d]) / (n - 1.0);
  for (int i = 0; i < d * d; ++i) {
    const int p = i / d, q = i % d;
    EXPECT_NEAR(mean[p], a[p], 5 * std::sqrt(sigma[p * d + p] / n)) << p;
    EXPECT_NEAR(cov[i], sigma[i], 5 * std::sqrt((sigma[p * d + p] * sigma[q * d + q] + sigma[i] * sigma[i]) / n))
        << "d " << d << " entry " << p << "," << q;
  }
}

TEST(GaussianMV, SampleCovarianceIsTheFactorProduct) {
  for (int method : {GaussianMethodBoxMuller, GaussianMethodBoxMuller2, GaussianMethodIcdf}) {
    CheckCovariance<double>(4, GaussianMVStorageFull, method);
    CheckCovariance<float>(4, GaussianMVStoragePacked, method);
  }
  CheckCovariance<double>(12, GaussianMVStoragePacked, GaussianMethodIcdf);
  CheckCovariance<float>(12, GaussianMVStorageFull, GaussianMethodBoxMuller2);
}

// dimen 1 is a plain Gaussian with standard deviation t[0], whatever the storage; an unknown
// storage leaves the standard normals.
TEST(GaussianMV, OneDimensionAndUnknownStorage) {
  const double a[3] = {5, 6, 7}, t[9] = {2, 0, 0, 1, 2, 0, 1, 1, 2};
  for (int storage : {0, 1, 2, 3, 4}) {
    const int d = storage == 4 ? 3 : 1;
    Stream s(RNX_BRNG_MCG59, {2}), copy(s);
    std::vector<double> r(12), ref(12);
    ASSERT_EQ(_rnxdRngGaussianMV(GaussianMethodIcdf, s, 12 / d, r.data(), d, d == 1 ? storage : 3, a, t), 0);
    ASSERT_EQ(_rnxdRngGaussian(GaussianMethodIcdf, copy, 12, ref.data(), d == 1 ? a[0] : 0, d == 1 ? t[0] : 1), 0);
    EXPECT_EQ(r, ref) << storage;
  }
}

}  // namespace
}  // namespace zyn::test
