// The tour's quasi-random streams: how evenly Sobol points fill the square next to MRG32K3A
// pairs, and both errors on an integral of known value.
#include <cmath>
#include <cstdio>
#include <vector>

#include "tour.hpp"
#include "zyn/rng.h"

namespace {

// n points of dimension d on [0, 1) from a new stream of generator id seeded with `seed`.
std::vector<double> points(int id, std::vector<uint32_t> seed, int d, int n) {
  std::vector<double> r(size_t(d) * n);
  StreamState *s = nullptr;
  if (__rnxNewStreamEx(&s, id, int(seed.size()), seed.data()) != RNX_STATUS_OK) return {};
  int row, sub;
  const BrngEntry *table = __rnxGetBrngBaseOffset(__rnxGetStreamStateBrng(s), &row, &sub);
  if (table[row].dGen(s, int(r.size()), r.data(), 0.0, 1.0) != RNX_STATUS_OK) r.clear();
  __rnxDeleteStream(&s);
  return r;
}

// The g-function prod (|4 x_i - 2| + 1) / 2 integrates to 1 over the unit cube.
double integral(const std::vector<double> &x, int d) {
  double sum = 0;
  for (size_t k = 0; k + d <= x.size(); k += d) {
    double f = 1;
    for (int i = 0; i < d; ++i) f *= (std::fabs(4 * x[k + i] - 2) + 1) / 2;
    sum += f;
  }
  return sum / double(x.size() / d);
}

}  // namespace

void tour_quasi() {
  printf("quasi-random streams\n");
  const auto sobol = points(RNX_BRNG_SOBOL, {2}, 2, 255), mrg = points(RNX_BRNG_MRG32K3A, {7}, 2, 255);
  if (sobol.empty() || mrg.empty()) return;
  printf("  points 1 to 255 in a 16 x 16 grid of the square: Sobol (dimension 2) | MRG32K3A pairs\n");
  int cells[2][16][16] = {};
  for (int g = 0; g < 2; ++g)
    for (int k = 0; k < 255; ++k) {
      const auto &x = g == 0 ? sobol : mrg;
      ++cells[g][int(x[2 * k + 1] * 16)][int(x[2 * k] * 16)];
    }
  for (int y = 15; y >= 0; --y) {
    printf("  ");
    for (int g = 0; g < 2; ++g) {
      for (int x = 0; x < 16; ++x) printf("%c", ".123456789"[cells[g][y][x] < 9 ? cells[g][y][x] : 9]);
      printf(g == 0 ? "  |  " : "\n");
    }
  }
  const int d = 10;
  printf("  integral over [0, 1)^10 of prod (|4x - 2| + 1) / 2 = 1, error with n points:\n");
  for (int n : {1 << 10, 1 << 13, 1 << 16})
    printf("    n = %6d  Sobol %.2e  MRG32K3A %.2e\n", n,
           std::fabs(integral(points(RNX_BRNG_SOBOL, {d}, d, n), d) - 1),
           std::fabs(integral(points(RNX_BRNG_MRG32K3A, {7}, d, n), d) - 1));
}
