// The tour's twisters: four MT2203 sets from one seed side by side, the way parallel streams of
// that family are made, and MT19937 moved 2^63 numbers on through its jump polynomial.
#include <chrono>
#include <cstdio>

#include "tour.hpp"
#include "zyn/rng.h"

void tour_twister() {
  printf("twister generators\n");
  const uint32_t seed[1] = {2024};
  double u[4][4];
  for (int set = 0; set < 4; ++set) {
    StreamState *s = nullptr;
    if (__rnxNewStreamEx(&s, RNX_BRNG_MT2203 + set, 1, seed) != RNX_STATUS_OK) return;
    __rnxdBRngMT2203(s, 4, u[set], 0.0, 1.0);
    __rnxDeleteStream(&s);
  }
  printf("  MT2203 sets 0 to 3, seed 2024, side by side:\n");
  for (int i = 0; i < 4; ++i)
    printf("    %.6f  %.6f  %.6f  %.6f\n", u[0][i], u[1][i], u[2][i], u[3][i]);

  StreamState *s = nullptr;
  if (__rnxNewStreamEx(&s, RNX_BRNG_MT19937, 1, seed) != RNX_STATUS_OK) return;
  const auto start = std::chrono::steady_clock::now();
  const int status = __rnxSkipAheadStream(s, uint64_t{1} << 63);
  const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - start;
  uint32_t w[3];
  __rnxiBRngMT19937(s, 3, w);
  printf("  MT19937, seed 2024, moved 2^63 numbers on in %.2f ms (status %d): %u %u %u\n",
         took.count(), status, w[0], w[1], w[2]);
  __rnxDeleteStream(&s);
}
