// Erf, Erfc and CdfNorm against their anchors in the same run: glibc's scalar functions in a
// loop, SLEEF's SSE4 functions (HA), libmvec's SSE4 functions (LA), a scalar loop of
// erfc(-x / sqrt 2) / 2 for the normal distribution function, and EP against LA.
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

extern "C" __m128d _ZGVbN2v_erf(__m128d);
extern "C" __m128d _ZGVbN2v_erfc(__m128d);
extern "C" __m128 _ZGVbN4v_erff(__m128);
extern "C" __m128 _ZGVbN4v_erfcf(__m128);

using namespace zyn::bench;

namespace {
// [-6, 6] for erf, [-4, 8] for erfc (a third in the tail, where it is small, short of the
// single row's underflow at 9.2), [-10, 6]
// for the normal distribution function
double erf_d(size_t i) { return unit_d(i) * 6; }
float erf_f(size_t i) { return static_cast<float>(erf_d(i)); }
double erfc_d(size_t i) { return unit_d(i) * 6 + 2; }
float erfc_f(size_t i) { return static_cast<float>(erfc_d(i)); }
double cdf_d(size_t i) { return unit_d(i) * 8 - 2; }
float cdf_f(size_t i) { return static_cast<float>(cdf_d(i)); }
}  // namespace

int main(int argc, char **argv) {
  using D = double;
  using S = float;
  ZYN_LEVELS_D(Erf, erf_d);
  add_unary<D>("dErf", "glibc", loop([](D x) { return std::erf(x); }), erf_d);
  add_unary<D>("dErf", "sleef_u10", vec_d(Sleef_erfd2_u10sse4), erf_d);
  add_unary<D>("dErf", "libmvec", vec_d(_ZGVbN2v_erf), erf_d);
  ZYN_LEVELS_S(Erf, erf_f);
  add_unary<S>("sErf", "glibc", loop([](S x) { return erff(x); }), erf_f);
  add_unary<S>("sErf", "sleef_u10", vec_s(Sleef_erff4_u10sse4), erf_f);
  add_unary<S>("sErf", "libmvec", vec_s(_ZGVbN4v_erff), erf_f);
  // dErfc has one kernel for every level
  add_unary<D>("dErfc", "HA", _vexdErfc, erfc_d);
  add_unary<D>("dErfc", "glibc", loop([](D x) { return std::erfc(x); }), erfc_d);
  add_unary<D>("dErfc", "sleef_u15", vec_d(Sleef_erfcd2_u15sse4), erfc_d);
  add_unary<D>("dErfc", "libmvec", vec_d(_ZGVbN2v_erfc), erfc_d);
  ZYN_LEVELS_S(Erfc, erfc_f);
  add_unary<S>("sErfc", "glibc", loop([](S x) { return erfcf(x); }), erfc_f);
  add_unary<S>("sErfc", "sleef_u15", vec_s(Sleef_erfcf4_u15sse4), erfc_f);
  add_unary<S>("sErfc", "libmvec", vec_s(_ZGVbN4v_erfcf), erfc_f);
  ZYN_LEVELS_D(CdfNorm, cdf_d);
  add_unary<D>("dCdfNorm", "glibc_erfc", loop([](D x) { return 0.5 * std::erfc(-x * M_SQRT1_2); }), cdf_d);
  ZYN_LEVELS_S(CdfNorm, cdf_f);
  add_unary<S>("sCdfNorm", "glibc_erfc", loop([](S x) { return 0.5f * erfcf(-x * static_cast<S>(M_SQRT1_2)); }),
               cdf_f);
  std::vector<Comparison> cmp;
  cmp.push_back({"dErfc", "HA", {"glibc", "sleef_u15", "libmvec"}});
  for (const char *g : {"dErf", "sErf"}) {
    cmp.push_back({g, "HA", {"glibc", "sleef_u10"}});
    cmp.push_back({g, "LA", {"libmvec"}});
    cmp.push_back({g, "EP", {"LA"}});
  }
  cmp.push_back({"sErfc", "HA", {"glibc", "sleef_u15"}});
  cmp.push_back({"sErfc", "LA", {"libmvec"}});
  cmp.push_back({"sErfc", "EP", {"LA"}});
  for (const char *g : {"dCdfNorm", "sCdfNorm"}) {
    for (const char *lv : {"HA", "LA"}) cmp.push_back({g, lv, {"glibc_erfc"}});
    cmp.push_back({g, "EP", {"LA"}});
  }
  return run_all(argc, argv, cmp);
}
