// The tour's random streams: a seeded stream, uniform numbers, and parallel streams by
// skip-ahead and leapfrog.
#include <cstdio>

#include "tour.hpp"
#include "zyn/rng.h"

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
}
