// Powx (vector base, one scalar exponent) and the fixed powers Pow3o2 and Pow2o3 against their
// anchors: glibc's pow/powf in a loop, libmvec's SSE4 pow and SLEEF's u10 SSE4 pow with the
// exponent broadcast. Bases are positive over 20 binades, [2^-10, 2^10]; exponents 2.7 and 0.4
// (the inverse of a Weibull shape); the fixed powers against pow with 1.5 and 2/3.
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <string>

#include "bench/vector/vector_bench_util.hpp"

extern "C" __m128d _ZGVbN2vv_pow(__m128d, __m128d);
extern "C" __m128 _ZGVbN4vv_powf(__m128, __m128);

using zyn::bench::add_unary;
using zyn::bench::Comparison;
using zyn::bench::pos_d;
using zyn::bench::pos_f;

namespace {
// x^b over an array through a two-argument SSE function with b broadcast (n a multiple of the lanes).
template <__m128d (*F)(__m128d, __m128d)>
auto bcast_d(double b) {
  return [b](int n, const double *a, double *y) {
    const __m128d vb = _mm_set1_pd(b);
    for (int i = 0; i + 2 <= n; i += 2) _mm_storeu_pd(y + i, F(_mm_loadu_pd(a + i), vb));
  };
}
template <__m128 (*F)(__m128, __m128)>
auto bcast_s(float b) {
  return [b](int n, const float *a, float *y) {
    const __m128 vb = _mm_set1_ps(b);
    for (int i = 0; i + 4 <= n; i += 4) _mm_storeu_ps(y + i, F(_mm_loadu_ps(a + i), vb));
  };
}
__m128d sleef_pow(__m128d x, __m128d y) { return Sleef_powd2_u10sse4(x, y); }
__m128 sleef_powf(__m128 x, __m128 y) { return Sleef_powf4_u10sse4(x, y); }

const std::vector<int> kSizes = {1000};

// The three levels of a kernel family and its anchors, as group g.
template <class T, class K, class A>
void levels(const std::string &g, K ha, K la, K ep, A anchor_glibc, A anchor_libmvec, A anchor_sleef,
            T (*make)(size_t)) {
  add_unary<T>(g, "HA", ha, make, kSizes);
  add_unary<T>(g, "LA", la, make, kSizes);
  add_unary<T>(g, "EP", ep, make, kSizes);
  add_unary<T>(g, "glibc", anchor_glibc, make, kSizes);
  add_unary<T>(g, "libmvec", anchor_libmvec, make, kSizes);
  add_unary<T>(g, "sleef_u10", anchor_sleef, make, kSizes);
}

template <class T>
using Fn = std::function<void(int, const T *, T *)>;

void powx_d(double b) {
  auto k = [b](void (*f)(int, const double *, double, double *)) -> Fn<double> {
    return [f, b](int n, const double *a, double *y) { f(n, a, b, y); };
  };
  levels<double, Fn<double>, Fn<double>>("dPowx_" + std::to_string(b).substr(0, 3), k(_vexdPowx), k(_vexdPowx_50),
                                         k(_vexdPowx_26), zyn::bench::loop([b](double x) { return std::pow(x, b); }),
                                         bcast_d<_ZGVbN2vv_pow>(b), bcast_d<sleef_pow>(b), pos_d);
}
void powx_s(float b) {
  auto k = [b](void (*f)(int, const float *, float, float *)) -> Fn<float> {
    return [f, b](int n, const float *a, float *y) { f(n, a, b, y); };
  };
  levels<float, Fn<float>, Fn<float>>("sPowx_" + std::to_string(b).substr(0, 3), k(_vexsPowx), k(_vexsPowx_21),
                                      k(_vexsPowx_11), zyn::bench::loop([b](float x) { return std::pow(x, b); }),
                                      bcast_s<_ZGVbN4vv_powf>(b), bcast_s<sleef_powf>(b), pos_f);
}

// The fixed powers against pow with the same exponent (2/3 rounded to the type).
void fixed(const std::string &stem, double b, Fn<double> ha, Fn<double> la, Fn<double> ep, Fn<float> sha, Fn<float> sla,
           Fn<float> sep) {
  float bf = static_cast<float>(b);
  levels<double, Fn<double>, Fn<double>>("d" + stem, ha, la, ep, zyn::bench::loop([b](double x) { return std::pow(x, b); }),
                                         bcast_d<_ZGVbN2vv_pow>(b), bcast_d<sleef_pow>(b), pos_d);
  levels<float, Fn<float>, Fn<float>>("s" + stem, sha, sla, sep, zyn::bench::loop([bf](float x) { return std::pow(x, bf); }),
                                      bcast_s<_ZGVbN4vv_powf>(bf), bcast_s<sleef_powf>(bf), pos_f);
}

std::vector<Comparison> comparisons(const std::string &g) {
  return {{g, "HA", {"glibc", "sleef_u10"}}, {g, "LA", {"libmvec", "sleef_u10"}}, {g, "EP", {"LA", "libmvec"}}};
}
}  // namespace

int main(int argc, char **argv) {
  std::vector<Comparison> cmp;
  for (double b : {2.7, 0.4}) {
    powx_d(b);
    powx_s(static_cast<float>(b));
    for (auto &c : comparisons("dPowx_" + std::to_string(b).substr(0, 3))) cmp.push_back(c);
    for (auto &c : comparisons("sPowx_" + std::to_string(b).substr(0, 3))) cmp.push_back(c);
  }
  fixed("Pow3o2", 1.5, _vexdPow3o2, _vexdPow3o2_50, _vexdPow3o2_26, _vexsPow3o2, _vexsPow3o2_21, _vexsPow3o2_11);
  fixed("Pow2o3", 2.0 / 3, _vexdPow2o3, _vexdPow2o3_50, _vexdPow2o3_26, _vexsPow2o3, _vexsPow2o3_21, _vexsPow2o3_11);
  for (const char *g : {"dPow3o2", "sPow3o2", "dPow2o3", "sPow2o3"})
    for (auto &c : comparisons(g)) cmp.push_back(c);
  return zyn::bench::run_all(argc, argv, cmp);
}
