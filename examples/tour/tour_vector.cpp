// The vector functions: the logarithm of a vector at its three accuracy levels, with the error
// each level leaves, an error callback that replaces the result of ln(0), the exponential at
// the ends of its range, the trigonometric functions of degrees and atan2 in the four quadrants,
// and ln Gamma of the masked elements of a vector, gathered with PackM and scattered back with
// UnpackM.
#include <cmath>
#include <cstdio>

#include "tour.hpp"
#include "zyn/vex.h"

namespace {
// Replaces the result of ln(0) by a large negative finite value; other reports keep theirs.
int replace_ln_zero(ErrorContext *c) {
  printf("    callback: %s element %d, status %d, argument %g", c->funcName, c->index, c->code, c->arg1);
  if (c->code == STATUS_SINGULARITY) {
    c->res1 = -1e300;
    printf(" -> result set to -1e300");
  }
  printf("\n");
  return 0;
}
}  // namespace

void tour_vector() {
  const int n = 8;
  const double x[n] = {0.001, 0.5, 0.999, 1.0, 1.0001, 2.718281828459045, 1e100, 1e-300};
  double y[3][n];
  const char *level[3] = {"LA", "HA", "EP"};
  _vexdLn_50(n, x, y[0]);
  _vexdLn(n, x, y[1]);
  _vexdLn_26(n, x, y[2]);
  printf("\nvector functions (mode word 0x%x)\n", _vexGetMode());
  printf("  vdLn at three levels; error against the long double logarithm, in units of 2^-52 relative:\n");
  printf("  %-22s %-24s %8s %8s %8s\n", "x", "ln x (HA)", "LA", "HA", "EP");
  for (int i = 0; i < n; ++i) {
    long double ref = logl(static_cast<long double>(x[i]));
    printf("  %-22.17g %-24.17g", x[i], y[1][i]);
    for (int l = 0; l < 3; ++l) {
      long double rel = ref == 0 ? 0 : fabsl((y[l][i] - ref) / ref) / 0x1p-52L;
      printf(" %8.3Lg", rel);
    }
    printf("\n");
  }
  (void)level;
  VexErrorCallBack old = _vexSetErrorCallBack(replace_ln_zero);
  double bad[4] = {1.0, 0.0, -1.0, 10.0}, r[4];
  printf("  vdLn of {1, 0, -1, 10} with a callback:\n");
  _vexdLn(4, bad, r);
  printf("    results {%g, %g, %g, %g}, last status %d\n", r[0], r[1], r[2], r[3], _vexGetErrStatus());
  if (old)
    _vexSetErrorCallBack(old);
  else
    _vexClearErrorCallBack();
  _vexClearErrStatus();

  // The exponential at its three levels, up to the ends of the range: near the top a finite
  // result, beyond it overflow; near the bottom a denormal result and then underflow to +0.
  const int m = 7;
  const double ex[m] = {-1.0, 1e-20, 0.5, 709.7, 710.0, -740.0, -746.0};
  double ey[3][m];
  _vexdExp_50(m, ex, ey[0]);
  _vexdExp(m, ex, ey[1]);
  _vexdExp_26(m, ex, ey[2]);
  printf("  vdExp at three levels (statuses reported by the default mode):\n");
  printf("  %-10s %-24s %-24s %-24s\n", "x", "LA", "HA", "EP");
  for (int i = 0; i < m; ++i) printf("  %-10g %-24.17g %-24.17g %-24.17g\n", ex[i], ey[0][i], ey[1][i], ey[2][i]);
  printf("    last status %d (4: underflow)\n", _vexGetErrStatus());
  _vexClearErrStatus();

  // Degrees reduce exactly: the values at 30, 45, 90 and 180 degrees are exact, tand(90) is a
  // pole (+inf with STATUS_SINGULARITY, here ignored).
  const int d = 5;
  const double deg[d] = {0, 30, 45, 90, 180};
  double sd[d], cd[d], td[d];
  unsigned mode = _vexSetMode(VEX_ERRMODE_IGNORE);
  _vexdSind(d, deg, sd);
  _vexdCosd(d, deg, cd);
  _vexdTand(d, deg, td);
  _vexSetMode(mode);
  printf("  vdSind, vdCosd, vdTand (HA):\n  %-6s %-22s %-22s %-22s\n", "x", "sind", "cosd", "tand");
  for (int i = 0; i < d; ++i) printf("  %-6g %-22.17g %-22.17g %-22.17g\n", deg[i], sd[i], cd[i], td[i]);

  // atan2(y, x) is the angle of the point (x, y): one point in each quadrant, in radians and in
  // half-turns (Atan2pi, exact where |y| = |x|).
  const double qy[4] = {1, 1, -1, -1}, qx[4] = {1, -1, -1, 1};
  double ang[4], turns[4];
  _vexdAtan2(4, qy, qx, ang);
  _vexdAtan2pi(4, qy, qx, turns);
  printf("  vdAtan2 and vdAtan2pi of the points (x, y) in the four quadrants:\n");
  for (int i = 0; i < 4; ++i) printf("    (%2g, %2g)  %-22.17g %g\n", qx[i], qy[i], ang[i], turns[i]);

  // ln Gamma of the elements a mask selects: gather them, take LGamma of the short vector,
  // scatter the results back; the other places keep their values.
  const int k = 8;
  const double g[k] = {0.5, -1.0, 1.0, 2.5, -2.5, 10.0, 0.0, 171.0};
  const int mask[k] = {1, 0, 1, 1, 1, 1, 0, 1};
  double packed[k], lg[k], out[k] = {0, 0, 0, 0, 0, 0, 0, 0};
  int selected = 0;
  for (int i = 0; i < k; ++i) selected += mask[i] != 0;
  _vexdPackM(k, g, mask, packed);
  _vexdLGamma(selected, packed, lg);
  _vexdUnpackM(k, lg, out, mask);
  printf("  vdLGamma of the %d masked elements, gathered by vdPackM and scattered by vdUnpackM:\n", selected);
  for (int i = 0; i < k; ++i) {
    if (mask[i])
      printf("    %-8g -> %.17g\n", g[i], out[i]);
    else
      printf("    %-8g    not selected: the place keeps %g\n", g[i], out[i]);
  }
  printf("    last status %d (no pole was selected)\n", _vexGetErrStatus());
}
