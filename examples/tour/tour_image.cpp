// The tour's stream images: a Sobol stream with its own direction table (held in chunks) saved to
// memory mid-sequence, and the loaded copy drawing the same points as the original.
#include <cstdio>
#include <vector>

#include "tour.hpp"
#include "zyn/rng.h"

namespace {

int draw(StreamState *s, int n, double *r) {
  int row, sub;
  const BrngEntry *table = __rnxGetBrngBaseOffset(__rnxGetStreamStateBrng(s), &row, &sub);
  return table[row].dGen(s, n, r, 0.0, 1.0);
}

}  // namespace

void tour_image() {
  printf("stream images\n");
  // Dimension 2 with finished direction numbers: {d, 1, 4, then 32 numbers per dimension}; the
  // second dimension's numbers have the bit above the leading one set as well.
  std::vector<uint32_t> seed = {2, 1, 4};
  for (int j = 0; j < 2; ++j)
    for (int i = 0; i < 32; ++i) seed.push_back(1u << (31 - i) | (j == 1 && i > 0 ? 1u << (32 - i) : 0));
  StreamState *s = nullptr, *copy = nullptr;
  if (__rnxNewStreamEx(&s, RNX_BRNG_SOBOL, int(seed.size()), seed.data()) != RNX_STATUS_OK) return;
  double skip[20], a[6], b[6];
  draw(s, 20, skip);
  std::vector<char> image(size_t(__rnxGetStreamSize(s)));
  __rnxSaveStreamM(s, image.data());
  printf("  Sobol with a user table: image of %zu bytes (header 24, state, %d chunk records)\n", image.size(),
         __rnxGetNumChunks(s));
  if (__rnxLoadStreamM(&copy, image.data()) == RNX_STATUS_OK && draw(s, 6, a) == 0 && draw(copy, 6, b) == 0) {
    for (int k = 0; k < 6; k += 2)
      printf("    point %d: saved (%.6f, %.6f)  loaded (%.6f, %.6f)\n", 11 + k / 2, a[k], a[k + 1], b[k], b[k + 1]);
  }
  if (copy != nullptr) __rnxDeleteStream(&copy);
  __rnxDeleteStream(&s);
}
