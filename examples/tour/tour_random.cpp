// The tour's random streams: a seeded stream, uniform numbers, and parallel streams by
// skip-ahead and leapfrog; then Gaussian, Gamma and Beta numbers drawn from a stream.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "tour.hpp"
#include "zyn/dist.h"
#include "zyn/rng.h"

static void tour_gamma_beta(const uint32_t *seed);

void tour_random() {
  printf("random streams\n");
  const uint32_t seed[1] = {2024};
  StreamState *s = nullptr;
  if (__rnxNewStreamEx(&s, RNX_BRNG_MRG32K3A, 1, seed) != RNX_STATUS_OK) return;
  int row, sub;
  const BrngEntry *table = __rnxGetBrngBaseOffset(__rnxGetStreamStateBrng(s), &row, &sub);
  double u[4];
  table[row].dGen(s, 4, u, 0.0, 1.0);
  printf("  MRG32K3A, seed 2024, uniform on [0, 1): %.6f %.6f %.6f %.6f\n", u[0], u[1], u[2], u[3]);

  // A second stream 2^127 numbers further on: independent for all practical purposes.
  StreamState *t = nullptr;
  __rnxCopyStream(&t, s);
  const uint64_t far[2] = {0, uint64_t{1} << 63};
  __rnxSkipAheadStreamEx(t, 2, far);
  table[row].dGen(t, 4, u, 0.0, 1.0);
  printf("  the same, 2^127 numbers on:             %.6f %.6f %.6f %.6f\n", u[0], u[1], u[2], u[3]);
  __rnxDeleteStream(&t);
  __rnxDeleteStream(&s);

  // Leapfrog: three MCG31M1 streams that take turns through one sequence.
  printf("  MCG31M1 split three ways by leapfrog:");
  for (int k = 0; k < 3; ++k) {
    __rnxNewStreamEx(&s, RNX_BRNG_MCG31, 1, seed);
    __rnxLeapfrogStream(s, k, 3);
    uint32_t w[2];
    __rnxiBRngMCG31M1(s, 2, w);
    printf("  [%u %u]", w[0], w[1]);
    __rnxDeleteStream(&s);
  }
  printf("\n");
  // Gaussian numbers with mean 10 and deviation 2, both halves of each Box-Muller pair used.
  const int n = 100000;
  std::vector<double> g(n);
  if (__rnxNewStreamEx(&s, RNX_BRNG_MCG59, 1, seed) != RNX_STATUS_OK) return;
  if (_rnxdRngGaussian(GaussianMethodBoxMuller2, s, n, g.data(), 10.0, 2.0) == RNX_STATUS_OK) {
    double sum = 0, sq = 0;
    for (double x : g) sum += x;
    const double mean = sum / n;
    for (double x : g) sq += (x - mean) * (x - mean);
    printf("  %d Gaussian numbers, mean 10, deviation 2: sample mean %.4f, deviation %.4f\n", n,
           mean, std::sqrt(sq / (n - 1)));
    int bins[12] = {};
    for (double x : g) {
      const int b = static_cast<int>(std::floor((x - 4.0) / 1.0));
      if (b >= 0 && b < 12) ++bins[b];
    }
    for (int b = 0; b < 12; ++b)
      printf("  [%4.1f, %4.1f) %6d %.*s\n", 4.0 + b, 5.0 + b, bins[b], bins[b] / 400,
             "##################################################");
  }
  __rnxDeleteStream(&s);
  tour_gamma_beta(seed);
}

// ---- Gamma and Beta: sample moments against the exact ones, and a histogram of Beta(2, 5).
static void tour_gamma_beta(const uint32_t *seed) {
  const int n = 100000;
  std::vector<double> x(n);
  StreamState *s = nullptr;
  if (__rnxNewStreamEx(&s, RNX_BRNG_MCG59, 1, seed) != RNX_STATUS_OK) return;
  const auto moments = [&](const char *name, double mean, double var) {
    double sum = 0, sq = 0;
    for (double v : x) sum += v;
    const double m = sum / n;
    for (double v : x) sq += (v - m) * (v - m);
    printf("  %d %s numbers: mean %.4f (exact %.4f), variance %.4f (exact %.4f)\n", n, name, m,
           mean, sq / (n - 1), var);
  };
  // Gamma with shape 2.5 and scale 1: mean and variance are both the shape.
  if (_rnxdRngGamma(GammaMethodStd, s, n, x.data(), 2.5, 0.0, 1.0) == RNX_STATUS_OK)
    moments("Gamma(2.5)", 2.5, 2.5);
  // Beta(p, q): mean p / (p + q), variance p q / ((p + q)^2 (p + q + 1)).
  if (_rnxdRngBeta(BetaMethodStd, s, n, x.data(), 2.0, 5.0, 0.0, 1.0) == RNX_STATUS_OK) {
    moments("Beta(2, 5)", 2.0 / 7, 10.0 / (49 * 8));
    int bins[10] = {};
    for (double v : x) ++bins[std::min(9, static_cast<int>(v * 10))];
    for (int b = 0; b < 10; ++b)
      printf("  [%.1f, %.1f) %6d %.*s\n", b / 10.0, (b + 1) / 10.0, bins[b], bins[b] / 500,
             "##################################################");
  }
  __rnxDeleteStream(&s);
}
