// The tour's discrete samplers: Binomial, Hypergeometric, Poisson and Negbinomial histograms
// beside their exact probabilities, and one multinomial vector.
#include <cmath>
#include <cstdio>
#include <functional>
#include <vector>

#include "tour.hpp"
#include "zyn/dist.h"
#include "zyn/rng.h"

namespace {

double LnChoose(double n, double k) { return std::lgamma(n + 1) - std::lgamma(k + 1) - std::lgamma(n - k + 1); }

// Counts of the values lo..hi in x, each row with the exact probability and a bar.
void Histogram(const std::vector<int> &x, int lo, int hi, int step, const std::function<double(int)> &pmf) {
  printf("  %9s %9s %9s\n", "values", "sampled", "exact");
  for (int v = lo; v <= hi; v += step) {
    double seen = 0, exact = 0;
    for (int k = v; k < v + step; ++k) exact += pmf(k);
    for (int k : x) seen += k >= v && k < v + step;
    seen /= double(x.size());
    printf("  %4d-%-4d %9.5f %9.5f %.*s\n", v, v + step - 1, seen, exact, int(seen * 200),
           "##################################################");
  }
}

}  // namespace

void tour_discrete() {
  printf("discrete samplers\n");
  const uint32_t seed[1] = {2024};
  StreamState *s = nullptr;
  if (__rnxNewStreamEx(&s, RNX_BRNG_MCG59, 1, seed) != RNX_STATUS_OK) return;
  std::vector<int> x(100000);
  // Successes in 100 trials of probability 0.4; the set-up stays in the stream for the next call.
  if (_rnxiRngBinomial(BinomialMethodStd, s, int(x.size()), x.data(), 100, 0.4) == RNX_STATUS_OK) {
    printf("  Binomial(100, 0.4), %zu numbers:\n", x.size());
    Histogram(x, 28, 51, 2, [](int k) { return std::exp(LnChoose(100, k) + k * std::log(0.4) + (100 - k) * std::log(0.6)); });
  }
  // Marked items in a sample of 100 from a lot of 1000 of which 300 are marked.
  if (_rnxiRngHypergeometric(HypergeometricMethodStd, s, int(x.size()), x.data(), 1000, 100, 300) == RNX_STATUS_OK) {
    printf("  Hypergeometric(l = 1000, s = 100, m = 300), %zu numbers:\n", x.size());
    Histogram(x, 18, 41, 2, [](int k) { return std::exp(LnChoose(300, k) + LnChoose(700, 100 - k) - LnChoose(1000, 100)); });
  }
  // Poisson with mean 10, and failures before the 5th success of probability 0.5.
  if (_rnxiRngPoisson(PoissonMethodPTPE, s, int(x.size()), x.data(), 10) == RNX_STATUS_OK) {
    printf("  Poisson(10), %zu numbers:\n", x.size());
    Histogram(x, 2, 19, 1, [](int k) { return std::exp(k * std::log(10.0) - 10 - std::lgamma(k + 1.0)); });
  }
  if (_rnxiRngNegbinomial(NegbinomialMethodMixture, s, int(x.size()), x.data(), 5, 0.5) == RNX_STATUS_OK) {
    printf("  Negbinomial(a = 5, p = 0.5), %zu numbers:\n", x.size());
    Histogram(x, 0, 15, 1, [](int k) { return std::exp(LnChoose(k + 4, k) + 5 * std::log(0.5) + k * std::log(0.5)); });
  }
  // One vector of counts of 100 trials over 4 categories of weights 1 to 4 (no normalising).
  const double weights[4] = {1, 2, 3, 4};
  int counts[4];
  if (_rnxiRngMultinomial(MultinomialMethodConditional, s, 1, counts, 100, 4, weights) == RNX_STATUS_OK)
    printf("  Multinomial(100 trials, weights 1 2 3 4): %d %d %d %d\n", counts[0], counts[1], counts[2], counts[3]);
  __rnxDeleteStream(&s);
}
