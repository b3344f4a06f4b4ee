// The complex vector functions: Ln and Sqrt on both sides of the negative real axis (the sign
// of a zero imaginary part picks the side), and a round trip z -> (|z|, arg z) -> |z| cis(arg z).
#include <cstdio>

#include "tour.hpp"
#include "zyn/vex.h"

void tour_complex() {
  const ZynComplex16 z[4] = {{-4, 0}, {-4, -0.0}, {-1, 1e-300}, {-1, -1e-300}};
  ZynComplex16 l[4], s[4];
  _vexzLn(4, z, l);
  _vexzSqrt(4, z, s);
  printf("\ncomplex vector functions: the cut of Ln and Sqrt along the negative real axis\n");
  printf("  %-20s %-34s %s\n", "z", "Ln z", "Sqrt z");
  for (int i = 0; i < 4; ++i)
    printf("  %-4g %+-8g i      %+.6f %+.15f i   %+g %+g i\n", z[i].re, z[i].im, l[i].re, l[i].im, s[i].re, s[i].im);

  const ZynComplex16 w[3] = {{3, 4}, {-1e-3, 2.5}, {-7, -1e-9}};
  double r[3], t[3];
  ZynComplex16 c[3], back[3];
  _vexzAbs(3, w, r);
  _vexzArg(3, w, t);
  _vexzCIS(3, t, c);
  const ZynComplex16 scale[3] = {{r[0], 0}, {r[1], 0}, {r[2], 0}};
  _vexzMul(3, scale, c, back);
  printf("  round trip through Abs, Arg, CIS and Mul:\n");
  for (int i = 0; i < 3; ++i)
    printf("  %+g %+g i  ->  |z| %.17g, arg %+.17g  ->  %+.17g %+.17g i\n", w[i].re, w[i].im, r[i], t[i], back[i].re,
           back[i].im);
}
