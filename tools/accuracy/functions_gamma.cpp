// Oracle functions of the gamma and exponential-integral family: LGamma (ln |Gamma|, from
// mpfr_lgamma), TGamma (mpfr_gamma) and ExpInt1 (E1(x) = -Ei(-x), from mpfr_eint). LGamma for
// x < 0 is measured in ulp of max(|lgamma x|, 1): the reflection's terms cancel at its
// negative zeros, where the error is absolute.
#include <cfloat>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::Domain;
using zyn::oracle::Function;
using zyn::oracle::Register;

int lgamma_abs(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  int sign;
  return mpfr_lgamma(r, &sign, x, rnd);
}
// E1: NaN below 0; E1(+-0) = +inf, E1(+inf) = +0.
int expint1(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_sgn(x) < 0) {
    mpfr_set_nan(r);
    return 0;
  }
  mpfr_t m;
  mpfr_init2(m, mpfr_get_prec(x));
  mpfr_abs(m, x, MPFR_RNDN);
  mpfr_neg(m, m, MPFR_RNDN);  // -|x|: E1(-0) = E1(+0)
  const int t = mpfr_eint(r, m, rnd == MPFR_RNDU ? MPFR_RNDD : rnd == MPFR_RNDD ? MPFR_RNDU : rnd);
  mpfr_neg(r, r, MPFR_RNDN);
  mpfr_clear(m);
  return -t;
}
double lgamma_floor(double x) { return x < 0 ? 1.0 : 0.0; }

Function lgamma_function() {
  // the zeros at 1 and 2 and the negative ones, poles, the kernels' switch points, the overflow
  Function f{"LGamma", 1, lgamma_abs, nullptr,
             {{-1e17, DBL_MAX, {1.0, 2.0, 0.0, -1.0, -2.0, -3.0, -2.4570548025946, -2.7476826467274, -3.1435808883499,
                                -3.9552942848585, -4.0395526916694, 0.5, 1.5, 2.5, 8.0, 0x1p1000, 2.5563e305},
               {{-8, 0}, {0, 10}}},
              {}},
             0.0};
  f.floor = lgamma_floor;
  return f;
}

const Register reg({
    lgamma_function(),
    {"TGamma", 1, mpfr_gamma, nullptr,
     {{-200, 180, {0.0, 1.0, 2.0, 171.62437695630271, 35.040096, -1.0, -2.0, -170.5, -184.0, -41.0, 0.5, 1.5, 2.5, 8.0, 23.0},
       {{-8, 0}, {0, 10}, {-200, 180}}},
      {}},
     0.0},
    // the last points cost 1.14 ulp when the pieces below 1 were eighths summed in plain double,
    // and 1.0 ulp when the vector path went up to 700 (low parts below 2^-1022)
    {"ExpInt1", 1, expint1, nullptr,
     {{-1, 760, {0.0, 1.0, 700.0, 745.13, 80.0, 83.0, 103.9, 0.125, 0x1.f909c64484455p-1,
       0x1.5df85a485ccc9p+9}, {{0, 2}, {0, 50}}}, {}},
     0.0},
});
}  // namespace
