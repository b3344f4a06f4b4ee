// The tour's counter-based and hardware generators, and an abstract stream: Philox streams a
// skip of 2^100 apart, ARS5 and the hardware generator where the processor has them, and Gaussian
// numbers drawn from a caller's buffer that another generator refills.
#include <cmath>
#include <cstdio>
#include <vector>

#include "tour.hpp"
#include "zyn/dist.h"
#include "zyn/rng.h"

namespace {

StreamState *g_source = nullptr;  // the generator behind the abstract stream

// Refills the ring with uniform numbers on [0, 1) from g_source, as many as asked, in at most two
// pieces around the ring's end.
int refill(StreamState *, int *size, double *buffer, int *count, int *, int *start) {
  const int first = *count < *size - *start ? *count : *size - *start;
  if (__rnxdBRngPHILOX4X32X10(g_source, first, buffer + *start, 0.0, 1.0) != RNX_STATUS_OK ||
      __rnxdBRngPHILOX4X32X10(g_source, *count - first, buffer, 0.0, 1.0) != RNX_STATUS_OK)
    return 0;
  return *count;
}

}  // namespace

void tour_counter() {
  printf("counter-based and hardware generators\n");
  const uint32_t seed[2] = {0xC0FFEE, 42};  // the key; the counter starts at 0
  StreamState *a = nullptr, *b = nullptr;
  if (__rnxNewStreamEx(&a, RNX_BRNG_PHILOX4X32X10, 2, seed) != RNX_STATUS_OK) return;
  __rnxCopyStream(&b, a);
  const uint64_t far[2] = {0, uint64_t{1} << 36};  // 2^100: one addition to the counter
  __rnxSkipAheadStreamEx(b, 2, far);
  uint32_t w[4];
  __rnxiBRngPHILOX4X32X10(a, 4, w);
  printf("  PHILOX4X32X10:             %08x %08x %08x %08x\n", w[0], w[1], w[2], w[3]);
  __rnxiBRngPHILOX4X32X10(b, 4, w);
  printf("  the same, 2^100 words on:  %08x %08x %08x %08x\n", w[0], w[1], w[2], w[3]);
  __rnxDeleteStream(&b);

  StreamState *h = nullptr;
  __rnxNewStreamEx(&h, RNX_BRNG_ARS5, 2, seed);
  if (__rnxiBRngARS5(h, 4, w) == RNX_STATUS_OK)
    printf("  ARS5:                      %08x %08x %08x %08x\n", w[0], w[1], w[2], w[3]);
  else
    printf("  ARS5: this processor has no AES instructions\n");
  __rnxDeleteStream(&h);
  __rnxNewStreamEx(&h, RNX_BRNG_NONDETERM, 0, nullptr);
  if (__rnxiBRngTRNG(h, 4, w) == RNX_STATUS_OK)
    printf("  TRNG (never the same):     %08x %08x %08x %08x\n", w[0], w[1], w[2], w[3]);
  else
    printf("  TRNG: this processor has no random-number instruction\n");
  __rnxDeleteStream(&h);

  // A dAbstract stream on a ring of 1000 doubles that Philox refills; Gaussian numbers from it.
  g_source = a;
  std::vector<double> ring(1000), g(100000);
  StreamState *s = nullptr;
  if (__rnxdNewAbstractStream(&s, int(ring.size()), ring.data(), 0.0, 1.0, refill) == RNX_STATUS_OK &&
      _rnxdRngGaussian(GaussianMethodBoxMuller, s, int(g.size()), g.data(), 0.0, 1.0) == RNX_STATUS_OK) {
    double sum = 0, sq = 0;
    for (double x : g) sum += x, sq += x * x;
    const double mean = sum / double(g.size());
    printf("  %zu Gaussian numbers from an abstract stream: mean %.4f, deviation %.4f\n", g.size(), mean,
           std::sqrt(sq / double(g.size()) - mean * mean));
  }
  __rnxDeleteStream(&s);
  __rnxDeleteStream(&a);
}
