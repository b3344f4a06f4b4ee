// The Gaussian family: each method in both precisions against the exact normal distribution,
// the carry of GaussianMethodBoxMuller2 across calls and stream copies, the uniforms each method
// consumes, and the multivariate sampler against an independent product T z + a and its
// covariance T T^T.
#include "tests/dist/dist_test_util.hpp"

namespace zyn::test {
namespace {

const int kMethods[] = {GaussianMethodBoxMuller, GaussianMethodBoxMuller2, GaussianMethodIcdf};

template <class T>
int Gaussian(int method, StreamState *s, int n, T *r, T a, T sigma) {
  if constexpr (std::is_same_v<T, double>)
    return _rnxdRngGaussian(method, s, n, r, a, sigma);
  else
    return _rnxsRngGaussian(method, s, n, r, a, sigma);
}

template <class T>
int GaussianMV(int method, StreamState *s, int n, T *r, int dimen, int storage, const T *a,
               const T *t) {
  if constexpr (std::is_same_v<T, double>)
    return _rnxdRngGaussianMV(method, s, n, r, dimen, storage, a, t);
  else
    return _rnxsRngGaussianMV(method, s, n, r, dimen, storage, a, t);
}

template <class T>
class GaussianOf : public testing::Test {};
using Precisions = testing::Types<double, float>;
TYPED_TEST_SUITE(GaussianOf, Precisions);

template <class T>
void CheckFit(int id) {
  for (int method : kMethods) {
    Stream s(id, 17 + method);
    // Calls of odd sizes, so that blocks and (for method 1) carries come into play.
    const int sizes[] = {5001, 1, 3333, 7000, 4665};
    std::vector<double> x;
    const T a = T(1.5), sigma = T(2);
    for (int size : sizes) {
      std::vector<T> r(size);
      ASSERT_EQ(Gaussian<T>(method, s, size, r.data(), a, sigma), 0);
      for (T v : r) {
        ASSERT_TRUE(std::isfinite(v));
        x.push_back((double(v) - a) / sigma);
      }
    }
    EXPECT_GT(KsPValue(x, NormalCdf), kAlpha) << "method " << method << " id " << id;
    // The tails, where a method's approximations show: counts beyond 2 and 3 deviations.
    std::vector<double> observed(3, 0), expected(3);
    for (double v : x) observed[std::fabs(v) < 2 ? 0 : std::fabs(v) < 3 ? 1 : 2] += 1;
    const double n = double(x.size());
    expected[0] = n * (1 - 2 * NormalCdf(-2));
    expected[1] = n * 2 * (NormalCdf(-2) - NormalCdf(-3));
    expected[2] = n * 2 * NormalCdf(-3);
    EXPECT_GT(ChiSquarePValue(observed, expected), kAlpha) << "method " << method;
  }
}

TYPED_TEST(GaussianOf, FitsTheNormalDistribution) {
  CheckFit<TypeParam>(RNX_BRNG_MCG59);
  CheckFit<TypeParam>(RNX_BRNG_MRG32K3A);
}

// Calls of 7 then 1 give the numbers of one call of 8, each scaled by its own call's a and
// sigma; likewise for a sequence of sizes across block boundaries against one long call.
template <class T>
void CheckCarry() {
  {
    Stream s(RNX_BRNG_MRG32K3A, 3), one(s);
    T r[8], ref[8];
    ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, one, 8, ref, T(0), T(1)), 0);
    ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, s, 7, r, T(10), T(3)), 0);
    ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, s, 1, r + 7, T(-1), T(0.5)), 0);
    for (int i = 0; i < 7; ++i) EXPECT_EQ(r[i], ref[i] * T(3) + T(10)) << i;
    EXPECT_EQ(r[7], ref[7] * T(0.5) + T(-1));
  }
  Stream s(RNX_BRNG_MCG59, 4), one(s);
  const int sizes[] = {1, 2047, 1025, 3, 1, 1, 2050, 511};
  int total = 0;
  for (int k : sizes) total += k;
  std::vector<T> r(total), ref(total);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, one, total, ref.data(), T(0), T(1)), 0);
  int at = 0;
  for (int k : sizes) {
    ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, s, k, r.data() + at, T(0), T(1)), 0);
    at += k;
  }
  EXPECT_EQ(r, ref);
}
TYPED_TEST(GaussianOf, BoxMuller2CallsJoinUp) { CheckCarry<TypeParam>(); }

// The pending half is part of the stream: a copy takes it along, and methods 0 and 2 leave it.
template <class T>
void CheckPendingHalf() {
  Stream s(RNX_BRNG_MRG32K3A, 8), ref_stream(s);
  T ref[8], r[8], c, other[3];
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, ref_stream, 8, ref, T(0), T(1)), 0);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, s, 7, r, T(0), T(1)), 0);
  ASSERT_NE(__rnxSearchChunk(s, std::is_same_v<T, double> ? RNX_CHUNK_DGAUSSIAN : RNX_CHUNK_SGAUSSIAN),
            nullptr);
  Stream copy(s);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, copy, 1, &c, T(0), T(1)), 0);
  EXPECT_EQ(c, ref[7]);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller, s, 3, other, T(0), T(1)), 0);
  ASSERT_EQ(Gaussian<T>(GaussianMethodIcdf, s, 3, other, T(0), T(1)), 0);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, s, 1, &c, T(0), T(1)), 0);
  EXPECT_EQ(c, ref[7]);
}
TYPED_TEST(GaussianOf, BoxMuller2PendingHalfGoesWithTheStream) { CheckPendingHalf<TypeParam>(); }

// Uniforms consumed: 2n by method 0, n by method 2, n by method 1 for even n; an odd call of
// method 1 takes a whole pair for its last number and the next call uses its other half first.
template <class T>
void CheckConsumption() {
  ScriptedStream s({0.3, 0.6, 0.9, 0.1});
  std::vector<T> r(3000);
  auto drawn = [&](int method, int n) {
    const int64_t before = g_script.drawn;
    EXPECT_EQ(Gaussian<T>(method, s, n, r.data(), T(0), T(1)), 0);
    return g_script.drawn - before;
  };
  EXPECT_EQ(drawn(GaussianMethodBoxMuller, 1500), 3000);
  EXPECT_EQ(drawn(GaussianMethodIcdf, 1501), 1501);
  EXPECT_EQ(drawn(GaussianMethodBoxMuller2, 2050), 2050);
  EXPECT_EQ(drawn(GaussianMethodBoxMuller2, 7), 8);
  EXPECT_EQ(drawn(GaussianMethodBoxMuller2, 1), 0);
  EXPECT_EQ(drawn(GaussianMethodBoxMuller2, 2049), 2050);
  EXPECT_EQ(drawn(GaussianMethodBoxMuller2, 2), 2);
  EXPECT_EQ(drawn(GaussianMethodBoxMuller2, 2), 2);
}
TYPED_TEST(GaussianOf, UniformsConsumedPerMethod) { CheckConsumption<TypeParam>(); }

// Each method's numbers against libm and GSL on known uniforms: which uniform is the radius and
// which the angle, sine before cosine, and the scaling by sigma and a. The kernels run at EP
// (double) and LA (single), hence the tolerance.
template <class T>
void CheckValues() {
  const double u[4] = {0.3, 0.6, 0.9, 0.1}, pi2 = 2 * M_PI;
  const auto radius = [](double x) { return std::sqrt(-2 * std::log(x)); };
  const double a = 0.5, sigma = 3;
  T r[4];
  const auto near = [](double got, double want) { EXPECT_NEAR(got, want, 1e-5 * (1 + std::fabs(want))); };
  {
    ScriptedStream s({u[0], u[1], u[2], u[3]});
    ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller, s, 2, r, T(a), T(sigma)), 0);
    near(r[0], a + sigma * radius(u[0]) * std::sin(pi2 * u[1]));
    near(r[1], a + sigma * radius(u[2]) * std::sin(pi2 * u[3]));
  }
  {
    ScriptedStream s({u[0], u[1], u[2], u[3]});
    ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, s, 3, r, T(a), T(sigma)), 0);
    near(r[0], a + sigma * radius(u[0]) * std::sin(pi2 * u[1]));
    near(r[1], a + sigma * radius(u[0]) * std::cos(pi2 * u[1]));
    near(r[2], a + sigma * radius(u[2]) * std::sin(pi2 * u[3]));
    ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, s, 1, r + 3, T(a), T(sigma)), 0);
    near(r[3], a + sigma * radius(u[2]) * std::cos(pi2 * u[3]));
  }
  {
    ScriptedStream s({u[0], u[1], u[2], u[3]});
    ASSERT_EQ(Gaussian<T>(GaussianMethodIcdf, s, 4, r, T(a), T(sigma)), 0);
    // Uniforms on (-1, 1) are -1 + 2u, and sqrt(2) erfinv(-1 + 2u) is the normal quantile of u.
    for (int i = 0; i < 4; ++i) near(r[i], a + sigma * gsl_cdf_ugaussian_Pinv(u[i]));
  }
}
TYPED_TEST(GaussianOf, ValuesOnKnownUniforms) { CheckValues<TypeParam>(); }

// ---- multivariate ----------------------------------------------------------------------------

// A lower-triangular factor with entries in (-1, 1) and a diagonal in (0.5, 1.5), row-major in
// full storage (upper part filled with junk the sampler must not read), plus its packed and
// dense forms.
struct Factor {
  int d;
  std::vector<double> dense, full, packed;
  explicit Factor(int dimen) : d(dimen), dense(d * d, 0.0), full(d * d), packed(d * (d + 1) / 2) {
    for (int i = 0; i < d; ++i)
      for (int j = 0; j < d; ++j) {
        const double v = std::sin(1.3 * i + 0.7 * j + 0.1);
        dense[i * d + j] = j < i ? v : j == i ? 1.0 + 0.5 * v : 0.0;
        full[i * d + j] = j <= i ? dense[i * d + j] : 1e6;
      }
    int k = 0;
    for (int j = 0; j < d; ++j)
      for (int i = j; i < d; ++i) packed[k++] = dense[i * d + j];
  }
};

std::vector<double> Means(int d) {
  std::vector<double> a(d);
  for (int j = 0; j < d; ++j) a[j] = 0.5 * j - 1.0;
  return a;
}

// Every vector equals T z + a for the standard normals z that the same stream gives.
template <class T>
void CheckProduct(int d, int storage, int n) {
  const Factor f(d);
  const std::vector<double> &src = storage == GaussianMVStorageFull ? f.full
                                   : storage == GaussianMVStoragePacked ? f.packed
                                                                        : f.dense;
  std::vector<T> t, a;
  for (int j = 0; storage == GaussianMVStorageDiagonal && j < d; ++j) t.push_back(T(f.dense[j * d + j]));
  if (storage != GaussianMVStorageDiagonal) t.assign(src.begin(), src.end());
  for (double m : Means(d)) a.push_back(T(m));
  Stream s(RNX_BRNG_MCG59, 21), copy(s);
  std::vector<T> r(size_t(n) * d), z(size_t(n) * d);
  ASSERT_EQ(GaussianMV<T>(GaussianMethodBoxMuller2, s, n, r.data(), d, storage, a.data(), t.data()), 0);
  ASSERT_EQ(Gaussian<T>(GaussianMethodBoxMuller2, copy, n * d, z.data(), T(0), T(1)), 0);
  const double tol = std::is_same_v<T, double> ? 1e-12 : 2e-5;
  for (int k = 0; k < n; ++k)
    for (int i = 0; i < d; ++i) {
      double e = a[i], size = std::fabs(e);
      for (int j = 0; j <= i; ++j)
        if (storage != GaussianMVStorageDiagonal || i == j) {
          e += double(T(f.dense[i * d + j])) * z[k * d + j];
          size += std::fabs(double(T(f.dense[i * d + j])) * z[k * d + j]);
        }
      ASSERT_NEAR(r[k * d + i], e, tol * (1 + size))
          << "d " << d << " storage " << storage << " vector " << k << " coordinate " << i;
    }
}

TEST(GaussianMV, VectorsAreTheFactorTimesNormalsPlusTheMean) {
  // d 3: the small-matrix routine, runs of 10 vectors for the mean (n 11 leaves one over);
  // d 12 and 40: the general routine; n 2 and 3 take the coordinate loop only.
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
  std::vector<T> t;
  const std::vector<double> &src = storage == GaussianMVStorageFull ? f.full : f.packed;
  t.assign(src.begin(), src.end());
  std::vector<T> a;
  for (double m : Means(d)) a.push_back(T(m));
  const int n = 40000;
  Stream s(RNX_BRNG_MRG32K3A, 31 + d);
  std::vector<T> r(size_t(n) * d);
  ASSERT_EQ(GaussianMV<T>(method, s, n, r.data(), d, storage, a.data(), t.data()), 0);
  std::vector<double> sigma(d * d, 0.0), mean(d, 0.0), cov(d * d, 0.0);
  for (int i = 0; i < d; ++i)
    for (int j = 0; j < d; ++j)
      for (int k = 0; k < d; ++k) sigma[i * d + j] += f.dense[i * d + k] * f.dense[j * d + k];
  for (int k = 0; k < n; ++k)
    for (int i = 0; i < d; ++i) mean[i] += r[k * d + i] / double(n);
  for (int k = 0; k < n; ++k)
    for (int i = 0; i < d; ++i)
      for (int j = 0; j < d; ++j)
        cov[i * d + j] += (r[k * d + i] - mean[i]) * (r[k * d + j] - mean[j]) / double(n - 1);
  for (int i = 0; i < d; ++i) {
    EXPECT_NEAR(mean[i], a[i], 5 * std::sqrt(sigma[i * d + i] / n)) << i;
    for (int j = 0; j < d; ++j) {
      const double se = std::sqrt((sigma[i * d + i] * sigma[j * d + j] + sigma[i * d + j] * sigma[i * d + j]) / n);
      EXPECT_NEAR(cov[i * d + j], sigma[i * d + j], 5 * se) << "d " << d << " entry " << i << "," << j;
    }
  }
}

TEST(GaussianMV, SampleCovarianceIsTheFactorProduct) {
  for (int method : kMethods) {
    CheckCovariance<double>(4, GaussianMVStorageFull, method);
    CheckCovariance<float>(4, GaussianMVStoragePacked, method);
  }
  CheckCovariance<double>(12, GaussianMVStoragePacked, GaussianMethodIcdf);
  CheckCovariance<float>(12, GaussianMVStorageFull, GaussianMethodBoxMuller2);
}

// dimen 1 is a plain Gaussian with standard deviation t[0], whatever the storage; an unknown
// storage leaves the standard normals.
TEST(GaussianMV, OneDimensionAndUnknownStorage) {
  for (int storage : {0, 1, 2, 3}) {
    Stream s(RNX_BRNG_MCG59, 2), copy(s);
    const double a = 3, t = 2;
    std::vector<double> r(9), ref(9);
    ASSERT_EQ(_rnxdRngGaussianMV(GaussianMethodIcdf, s, 9, r.data(), 1, storage, &a, &t), 0);
    ASSERT_EQ(_rnxdRngGaussian(GaussianMethodIcdf, copy, 9, ref.data(), a, t), 0);
    EXPECT_EQ(r, ref) << storage;
  }
  Stream s(RNX_BRNG_MCG59, 2), copy(s);
  const double a[3] = {5, 6, 7}, t[9] = {2, 0, 0, 1, 2, 0, 1, 1, 2};
  std::vector<double> r(12), ref(12);
  ASSERT_EQ(_rnxdRngGaussianMV(GaussianMethodBoxMuller, s, 4, r.data(), 3, 3, a, t), 0);
  ASSERT_EQ(_rnxdRngGaussian(GaussianMethodBoxMuller, copy, 12, ref.data(), 0, 1), 0);
  EXPECT_EQ(r, ref);
}

}  // namespace
}  // namespace zyn::test
