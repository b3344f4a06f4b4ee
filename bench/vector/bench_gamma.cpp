// LGamma and TGamma (one kernel for all levels) against glibc's lgamma/tgamma (and float twins)
// in a loop and SLEEF's u10 SSE4 functions, in the same run, on (0, 100] (TGamma (0, 170],
// single (0, 35]); negative arguments, (-50, 0) and (-170, 0), for the record.
#include <immintrin.h>
#include <sleef.h>

#include <cmath>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

using namespace zyn::bench;

namespace {
// (0, top]: a hashed sweep, never 0
double up_to(size_t i, double top) { return (((i * 2654435761u) % 100000) + 1) * (top / 100000); }
double lg_d(size_t i) { return up_to(i, 100); }
float lg_f(size_t i) { return static_cast<float>(up_to(i, 100)); }
double tg_d(size_t i) { return up_to(i, 170); }
float tg_f(size_t i) { return static_cast<float>(up_to(i, 35)); }
// negative, off the poles
double neg_d(size_t i) { return -up_to(i, 50) - 1e-3; }
double tneg_d(size_t i) { return -up_to(i, 170) - 1e-3; }

template <class T, class S, class G>
void group(const char *g, void (*kernel)(int, const T *, T *), G glibc, S sleef, T (*make)(size_t)) {
  add_unary<T>(g, "HA", kernel, make, {1000});
  add_unary<T>(g, "glibc", loop(glibc), make, {1000});
  add_unary<T>(g, "sleef_u10", sleef, make, {1000});
}
}  // namespace

int main(int argc, char **argv) {
  using D = double;
  using F = float;
  group<D>("dLGamma", _vexdLGamma, [](D x) { return std::lgamma(x); }, vec_d(Sleef_lgammad2_u10sse4), lg_d);
  group<F>("sLGamma", _vexsLGamma, [](F x) { return lgammaf(x); }, vec_s(Sleef_lgammaf4_u10sse4), lg_f);
  group<D>("dTGamma", _vexdTGamma, [](D x) { return std::tgamma(x); }, vec_d(Sleef_tgammad2_u10sse4), tg_d);
  group<F>("sTGamma", _vexsTGamma, [](F x) { return tgammaf(x); }, vec_s(Sleef_tgammaf4_u10sse4), tg_f);
  group<D>("dLGamma_neg", _vexdLGamma, [](D x) { return std::lgamma(x); }, vec_d(Sleef_lgammad2_u10sse4), neg_d);
  group<D>("dTGamma_neg", _vexdTGamma, [](D x) { return std::tgamma(x); }, vec_d(Sleef_tgammad2_u10sse4), tneg_d);
  std::vector<Comparison> cmp;
  for (const char *g : {"dLGamma", "sLGamma", "dTGamma", "sTGamma", "dLGamma_neg", "dTGamma_neg"})
    cmp.push_back({g, "HA", {"glibc", "sleef_u10"}});
  return run_all(argc, argv, cmp);
}
