// Oracle functions of the power family: Powx at a few fixed exponents (each its own row, its
// bases spread over the range where the result goes from underflow to overflow), and the fixed
// powers x^(3/2) and x^(2/3) with C pow's values for negative and infinite bases.
#include <cfloat>
#include <cmath>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::Domain;
using zyn::oracle::Function;
using zyn::oracle::Register;

int pow3o2(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  // x^3 exactly (three times the input's precision), then one correctly rounded square root:
  // NaN for negative finite bases; -0 and -inf give +0 and +inf as pow.
  mpfr_t c;
  mpfr_init2(c, 3 * mpfr_get_prec(x) + 2);
  if (mpfr_inf_p(x) || mpfr_zero_p(x))
    mpfr_abs(c, x, MPFR_RNDN);
  else
    mpfr_pow_ui(c, x, 3, MPFR_RNDN);
  int t = mpfr_sqrt(r, c, rnd);
  mpfr_clear(c);
  return t;
}

int pow2o3(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  // x^2 exactly, then one correctly rounded cube root; negative finite bases give NaN (2/3 is
  // not an integer), -0 and -inf give +0 and +inf as pow.
  if (mpfr_nan_p(x) || (mpfr_sgn(x) < 0 && mpfr_number_p(x))) {
    mpfr_set_nan(r);
    return 0;
  }
  mpfr_t s;
  mpfr_init2(s, 2 * mpfr_get_prec(x) + 2);
  mpfr_sqr(s, x, MPFR_RNDN);
  int t = mpfr_cbrt(r, s, rnd);
  mpfr_clear(s);
  return t;
}

// Powx routes the type's nearest value to 2/3 to the rational power: its reference is x^(2/3).
int pow2o3_b(mpfr_ptr r, mpfr_srcptr x, mpfr_srcptr, mpfr_rnd_t rnd) { return pow2o3(r, x, rnd); }

// x^b over bases from below the underflow of the result to beyond its overflow (negative bases
// too for an integer b), with the edges of both and 1.
Function powx_at(double b) {
  double lo = std::exp(-760.0 / std::fabs(b)), hi = std::fmin(std::exp(720.0 / std::fabs(b)), DBL_MAX);
  double over = std::exp(709.78 / b), under = std::exp(-708.39 / b), zero = std::exp(-745.13 / b);
  Domain d{std::trunc(b) == b ? -std::fmin(hi, 1 / lo) : std::fmin(lo, 1 / hi), std::fmax(hi, 1 / lo), {1.0, over, under, zero}};
  return {"Powx", 2, nullptr, b == 2.0 / 3 ? pow2o3_b : mpfr_pow, {d, {}}, 0.0, {}, {}, {b}};
}

const Register reg({
    // bases next to 1 with exponents near 2^46 and 2^20, where ln x must be accurate relative
    // to itself; negative bases with integer exponents
    powx_at(2.7), powx_at(-1.3), powx_at(0.4), powx_at(10.0), powx_at(-7.0), powx_at(1.5), powx_at(2.0 / 3),
    powx_at(-0x1.2p46), powx_at(0x1.8p20),
    {"Pow3o2", 1, pow3o2, nullptr, {{-1e10, DBL_MAX, {0.0, 1.0, 0x1.428a2f98d728bp+682, 0x1.p-683}}, {}}, 0.0},
    {"Pow2o3", 1, pow2o3, nullptr, {{-1e10, DBL_MAX, {0.0, 1.0, DBL_MIN}}, {}}, 0.0},
});
}  // namespace
