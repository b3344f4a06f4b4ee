// Oracle functions of the root, trigonometric and error-function families. The inverse error
// functions have no MPFR counterpart: they are solved by Newton's method on mpfr_erf or
// mpfr_erfc at 320 bits from a rough double start.
#include <cfloat>
#include <cmath>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::Register;
constexpr mpfr_prec_t kWork = 320;

// Newton's method for y >= 0 with erf(y) = v (kErf) or erfc(y) = v (kErfc), v > 0, into r with
// the given sign: y += (g(y) - v) sqrt(pi)/2 exp(y^2) (g = erfc) or (v - erf(y)) ... likewise.
enum Target { kErf, kErfc };
void solve(mpfr_ptr r, mpfr_srcptr v, Target target, int sign, mpfr_rnd_t rnd) {
  // start: Winitzki's approximation of erfinv(u) with ln(1 - u^2) = ln(t (2 - t)), t = 1 - u;
  // near 0 erfinv(u) ~ u sqrt(pi)/2
  double vd = mpfr_get_d(v, MPFR_RNDN);
  double y0;
  if (target == kErf && vd < 1e-3) {
    y0 = vd * 0.886226925452758;
  } else {
    double t = target == kErf ? 1 - vd : vd;
    double L = std::log(t) + std::log(2 - t);
    if (!std::isfinite(L)) L = -1400;  // t below the double range: start far out
    const double a = 0.147, b = 2 / (M_PI * a) + L / 2;
    y0 = std::sqrt(std::sqrt(b * b - L / a) - b);
  }
  // Newton converges quadratically: iterate at 96 bits to about 2^-80, then three steps at
  // the full precision (2^-160, 2^-320)
  mpfr_t y, f, d, c;
  mpfr_inits2(kWork, y, f, d, c, (mpfr_ptr)0);
  mpfr_set_d(y, y0, MPFR_RNDN);
  for (int pass = 0; pass < 2; ++pass) {
    const mpfr_prec_t prec = pass == 0 ? 96 : kWork;
    mpfr_prec_round(y, prec, MPFR_RNDN);
    mpfr_set_prec(f, prec);
    mpfr_set_prec(d, prec);
    mpfr_set_prec(c, prec);
    mpfr_const_pi(c, MPFR_RNDN);
    mpfr_sqrt(c, c, MPFR_RNDN);
    mpfr_div_2ui(c, c, 1, MPFR_RNDN);  // sqrt(pi)/2
    for (int it = 0; it < (pass == 0 ? 60 : 3); ++it) {
      if (target == kErfc) {
        mpfr_erfc(f, y, MPFR_RNDN);
        mpfr_sub(f, f, v, MPFR_RNDN);
      } else {
        mpfr_erf(f, y, MPFR_RNDN);
        mpfr_sub(f, v, f, MPFR_RNDN);
      }
      mpfr_sqr(d, y, MPFR_RNDN);
      mpfr_exp(d, d, MPFR_RNDN);
      mpfr_mul(f, f, d, MPFR_RNDN);
      mpfr_mul(f, f, c, MPFR_RNDN);
      mpfr_add(y, y, f, MPFR_RNDN);
      if (pass == 0 && (mpfr_zero_p(f) || mpfr_get_exp(f) < mpfr_get_exp(y) - 80)) break;
    }
  }
  if (sign < 0) mpfr_neg(y, y, MPFR_RNDN);
  mpfr_set(r, y, rnd);
  mpfr_clears(y, f, d, c, (mpfr_ptr)0);
}

// Domain handling shared by the inverses: v at the lower edge gives -inf, at the upper +inf.
bool edges(mpfr_ptr r, mpfr_srcptr x, double lo, double hi) {
  if (mpfr_nan_p(x) || mpfr_cmp_d(x, lo) < 0 || mpfr_cmp_d(x, hi) > 0) {
    mpfr_set_nan(r);
    return true;
  }
  if (mpfr_cmp_d(x, lo) == 0 || mpfr_cmp_d(x, hi) == 0) {
    mpfr_set_inf(r, mpfr_cmp_d(x, lo) == 0 ? -1 : 1);
    return true;
  }
  return false;
}

int erfinv(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (edges(r, x, -1, 1)) return 0;
  if (mpfr_zero_p(x)) return mpfr_set(r, x, rnd);
  mpfr_t t;
  mpfr_init2(t, kWork);
  mpfr_abs(t, x, MPFR_RNDN);
  if (mpfr_cmp_d(t, 0.5) <= 0) {
    solve(r, t, kErf, mpfr_sgn(x), rnd);
  } else {
    mpfr_ui_sub(t, 1, t, MPFR_RNDN);  // exact at this precision
    solve(r, t, kErfc, mpfr_sgn(x), rnd);
  }
  mpfr_clear(t);
  return 0;
}

int erfcinv(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (edges(r, x, 0, 2)) {
    if (!mpfr_nan_p(r)) mpfr_neg(r, r, MPFR_RNDN);  // erfcinv(0) = +inf, erfcinv(2) = -inf
    return 0;
  }
  if (mpfr_cmp_ui(x, 1) == 0) return mpfr_set_ui(r, 0, rnd);
  mpfr_t t;
  mpfr_init2(t, kWork);
  // erfcinv(x) = erfinv(1 - x): by erf near 1, by erfc toward the edges
  int sign = mpfr_cmp_ui(x, 1) < 0 ? 1 : -1;
  if (mpfr_cmp_d(x, 0.5) >= 0 && mpfr_cmp_d(x, 1.5) <= 0) {
    mpfr_ui_sub(t, 1, x, MPFR_RNDN);
    mpfr_abs(t, t, MPFR_RNDN);
    solve(r, t, kErf, sign, rnd);
  } else {
    if (sign > 0)
      mpfr_set(t, x, MPFR_RNDN);
    else
      mpfr_ui_sub(t, 2, x, MPFR_RNDN);
    solve(r, t, kErfc, sign, rnd);
  }
  mpfr_clear(t);
  return 0;
}

// Phi(x) = erfc(-x / sqrt 2) / 2; its inverse -sqrt(2) erfcinv(2 p).
int cdfnorm(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  mpfr_t t;
  mpfr_init2(t, kWork);
  mpfr_sqrt_ui(t, 2, MPFR_RNDN);
  mpfr_div(t, x, t, MPFR_RNDN);
  mpfr_neg(t, t, MPFR_RNDN);
  mpfr_erfc(t, t, MPFR_RNDN);
  mpfr_div_2ui(t, t, 1, MPFR_RNDN);
  int v = mpfr_set(r, t, rnd);
  mpfr_clear(t);
  return v;
}

int cdfnorminv(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (edges(r, x, 0, 1)) return 0;
  mpfr_t t, s;
  mpfr_inits2(kWork, t, s, (mpfr_ptr)0);
  mpfr_mul_2ui(t, x, 1, MPFR_RNDN);
  erfcinv(t, t, MPFR_RNDN);
  mpfr_sqrt_ui(s, 2, MPFR_RNDN);
  mpfr_mul(t, t, s, MPFR_RNDN);
  mpfr_neg(t, t, MPFR_RNDN);
  int v = mpfr_set(r, t, rnd);
  mpfr_clears(t, s, (mpfr_ptr)0);
  return v;
}

// 1/sqrt(x) with the infinity of the zero's sign at -0 (MPFR gives +inf there).
int invsqrt(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_zero_p(x)) {
    mpfr_set_inf(r, mpfr_signbit(x) ? -1 : 1);
    return 0;
  }
  return mpfr_rec_sqrt(r, x, rnd);
}

int invcbrt(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  mpfr_t t;
  mpfr_init2(t, kWork);
  mpfr_cbrt(t, x, MPFR_RNDN);
  mpfr_ui_div(t, 1, t, MPFR_RNDN);
  int v = mpfr_set(r, t, rnd);
  mpfr_clear(t);
  return v;
}

const double kPi = M_PI;
const Register reg({
    // Roots: delicate at the subnormal boundary and near 0.
    {"Sqrt", 1, mpfr_sqrt, nullptr, {{0, DBL_MAX, {DBL_MIN}}, {}}, 0},
    {"InvSqrt", 1, invsqrt, nullptr, {{0, DBL_MAX, {DBL_MIN}}, {}}, 0},
    {"Cbrt", 1, mpfr_cbrt, nullptr, {{-DBL_MAX, DBL_MAX, {DBL_MIN, -DBL_MIN}}, {}}, 0},
    {"InvCbrt", 1, invcbrt, nullptr, {{-DBL_MAX, DBL_MAX, {DBL_MIN, -DBL_MIN}}, {}}, 0},
    // Trigonometric: the accuracy sweep covers the whole range by exponent; zeros near the
    // multiples of pi/2 (EP is absolute there).
    {"Sin", 1, mpfr_sin, nullptr, {{-DBL_MAX, DBL_MAX, {kPi, -kPi, 2 * kPi, kPi / 2, 1e6 * kPi}}, {}}, 1.0},
    {"Cos", 1, mpfr_cos, nullptr, {{-DBL_MAX, DBL_MAX, {kPi / 2, -kPi / 2, 3 * kPi / 2, 1e5 * kPi + kPi / 2}}, {}}, 1.0},
    {"SinCos", 1, mpfr_sin, nullptr, {{-DBL_MAX, DBL_MAX, {kPi, kPi / 2, -kPi / 2, 1e6 * kPi}}, {}}, 1.0, {}, mpfr_cos},
    {"Tan", 1, mpfr_tan, nullptr, {{-DBL_MAX, DBL_MAX, {kPi / 2, -kPi / 2, kPi, 3 * kPi / 2}}, {}}, 1.0},
    // Error functions and their inverses: delicate at the edges of the domain.
    {"Erf", 1, mpfr_erf, nullptr, {{-DBL_MAX, DBL_MAX, {0.5, -0.5, 6}}, {}}, 0},
    {"Erfc", 1, mpfr_erfc, nullptr, {{-DBL_MAX, DBL_MAX, {0.5, 27, -6}}, {}}, 0},
    {"CdfNorm", 1, cdfnorm, nullptr, {{-DBL_MAX, DBL_MAX, {-38, -1, 8}}, {}}, 0},
    {"ErfInv", 1, erfinv, nullptr, {{-1, 1, {1, -1, 0.5, -0.5}}, {}}, 0},
    {"ErfcInv", 1, erfcinv, nullptr, {{0, 2, {2, 1, DBL_MIN}}, {}}, 0},
    {"CdfNormInv", 1, cdfnorminv, nullptr, {{0, 1, {1, 0.5, DBL_MIN}}, {}}, 0},
});
}  // namespace
