// ExpInt1 against the faster of GSL's gsl_sf_expint_E1 and -std::expint(-x) in a loop, and its
// EP level against HA, in the same run, on (0, 50].
#include <gsl/gsl_errno.h>
#include <gsl/gsl_sf_expint.h>

#include <cmath>
#include <vector>

#include "bench/vector/vector_bench_util.hpp"

using namespace zyn::bench;

namespace {
double e1_d(size_t i) { return (((i * 2654435761u) % 100000) + 1) * (50.0 / 100000); }
float e1_f(size_t i) { return static_cast<float>(e1_d(i)); }
}  // namespace

int main(int argc, char **argv) {
  using D = double;
  using F = float;
  gsl_set_error_handler_off();
  const std::vector<int> n = {1000};
  add_unary<D>("dExpInt1", "HA", _vexdExpInt1, e1_d, n);
  add_unary<D>("dExpInt1", "EP", _vexdExpInt1_26, e1_d, n);
  add_unary<D>("dExpInt1", "gsl", loop([](D x) { return gsl_sf_expint_E1(x); }), e1_d, n);
  add_unary<D>("dExpInt1", "std", loop([](D x) { return -std::expint(-x); }), e1_d, n);
  add_unary<F>("sExpInt1", "HA", _vexsExpInt1, e1_f, n);
  add_unary<F>("sExpInt1", "EP", _vexsExpInt1_11, e1_f, n);
  add_unary<F>("sExpInt1", "gsl", loop([](F x) { return static_cast<F>(gsl_sf_expint_E1(x)); }), e1_f, n);
  add_unary<F>("sExpInt1", "std", loop([](F x) { return -std::expint(-x); }), e1_f, n);
  std::vector<Comparison> cmp;
  for (const char *g : {"dExpInt1", "sExpInt1"}) {
    cmp.push_back({g, "HA", {"gsl", "std"}});
    cmp.push_back({g, "EP", {"HA", "gsl", "std"}});
  }
  return run_all(argc, argv, cmp);
}
