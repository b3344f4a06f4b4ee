// Oracle functions of the root, trigonometric and error-function families. MPFR's erf and erfc
// are slow where erf is near 1 (tens of microseconds to milliseconds at x in [3, 15]): erfc is
// summed here from erf's series of positive terms below x = 4 and from its continued fraction
// above, both to about 2^-128 relative. The inverse error functions have no MPFR counterpart:
// Newton's method in long double on erfl or erfcl gives about 2^-62, and one or two Newton steps
// at 128 bits on these erf and erfc finish them.
#include <cfloat>
#include <cmath>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::Limits;
using zyn::oracle::Register;
constexpr mpfr_prec_t kWork = 128;

// erfc(x) for x > 0 into r, relative error about 2^-(prec(r) + 8).
void erfc_pos(mpfr_ptr r, mpfr_srcptr x) {
  const mpfr_prec_t p = mpfr_get_prec(r) + 8;
  const double xd = mpfr_get_d(x, MPFR_RNDN);
  if (xd > 1e10) {  // e^(-x^2) is below MPFR's range
    mpfr_set_zero(r, 1);
    return;
  }
  // below 4: 1 - erf(x), erf(x) = 2/sqrt(pi) e^(-x^2) sum_n 2^n x^(2n+1) / (2n+1)!!, with
  // x^2 log2(e) + 8 extra bits for the cancellation
  const bool series = xd < 4;
  const mpfr_prec_t w = series ? p + static_cast<mpfr_prec_t>(1.45 * xd * xd) + 8 : p;
  mpfr_t s, t, x2, c, d;
  mpfr_inits2(w, s, t, x2, c, d, (mpfr_ptr)0);
  mpfr_sqr(x2, x, MPFR_RNDN);
  if (series) {
    mpfr_set(t, x, MPFR_RNDN);
    mpfr_set(s, x, MPFR_RNDN);
    for (unsigned n = 1; mpfr_get_exp(t) >= mpfr_get_exp(s) - w; ++n) {
      mpfr_mul(t, t, x2, MPFR_RNDN);
      mpfr_mul_2ui(t, t, 1, MPFR_RNDN);
      mpfr_div_ui(t, t, 2 * n + 1, MPFR_RNDN);
      mpfr_add(s, s, t, MPFR_RNDN);
    }
    mpfr_mul_2ui(s, s, 1, MPFR_RNDN);
  } else {
    // erfc(x) = e^(-x^2) / (sqrt(pi) f), f = x + (1/2) / (x + 1 / (x + (3/2) / (x + ...))),
    // by Lentz's method; the convergents bracket f, so the last step's size bounds the error
    mpfr_set(s, x, MPFR_RNDN);  // f
    mpfr_set(c, x, MPFR_RNDN);  // C
    mpfr_set_zero(d, 1);        // D
    for (unsigned n = 1;; ++n) {
      mpfr_mul_ui(d, d, n, MPFR_RNDN);  // D = 1 / (x + (n/2) D)
      mpfr_div_2ui(d, d, 1, MPFR_RNDN);
      mpfr_add(d, d, x, MPFR_RNDN);
      mpfr_ui_div(d, 1, d, MPFR_RNDN);
      mpfr_ui_div(t, n, c, MPFR_RNDN);  // C = x + (n/2) / C
      mpfr_div_2ui(t, t, 1, MPFR_RNDN);
      mpfr_add(c, x, t, MPFR_RNDN);
      mpfr_mul(t, c, d, MPFR_RNDN);
      mpfr_mul(s, s, t, MPFR_RNDN);
      mpfr_sub_ui(t, t, 1, MPFR_RNDN);
      if (mpfr_zero_p(t) || mpfr_get_exp(t) < -w) break;
    }
    mpfr_ui_div(s, 1, s, MPFR_RNDN);
  }
  mpfr_neg(t, x2, MPFR_RNDN);
  mpfr_exp(t, t, MPFR_RNDN);
  mpfr_mul(s, s, t, MPFR_RNDN);
  mpfr_const_pi(t, MPFR_RNDN);
  mpfr_sqrt(t, t, MPFR_RNDN);
  mpfr_div(s, s, t, MPFR_RNDN);
  if (series) mpfr_ui_sub(s, 1, s, MPFR_RNDN);
  mpfr_set(r, s, MPFR_RNDN);
  mpfr_clears(s, t, x2, c, d, (mpfr_ptr)0);
}

int erfc_fast(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (!mpfr_number_p(x) || mpfr_zero_p(x)) return mpfr_erfc(r, x, rnd);
  if (mpfr_sgn(x) > 0) {
    erfc_pos(r, x);
    return 0;
  }
  mpfr_t a;  // 2 - erfc(-x)
  mpfr_init2(a, mpfr_get_prec(r) + 8);
  mpfr_neg(a, x, MPFR_RNDN);
  erfc_pos(a, a);
  mpfr_ui_sub(r, 2, a, rnd);
  mpfr_clear(a);
  return 0;
}

// erf: MPFR's own below 1, 1 - erfc above
int erf_fast(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (!mpfr_number_p(x) || mpfr_cmpabs_ui(x, 1) < 0) return mpfr_erf(r, x, rnd);
  mpfr_t a;
  mpfr_init2(a, mpfr_get_prec(r) + 8);
  mpfr_abs(a, x, MPFR_RNDN);
  erfc_pos(a, a);
  mpfr_ui_sub(r, 1, a, rnd);
  if (mpfr_sgn(x) < 0) mpfr_neg(r, r, rnd);
  mpfr_clear(a);
  return 0;
}

// y >= 0 with erf(y) = v (kErf) or erfc(y) = v (kErfc), v > 0, into r with the given sign.
enum Target { kErf, kErfc };
void solve(mpfr_ptr r, mpfr_srcptr v, Target target, int sign, mpfr_rnd_t rnd) {
  // start: Winitzki's approximation of erfinv(u) with ln(1 - u^2) = ln(t (2 - t)), t = 1 - u;
  // near 0 erfinv(u) ~ u sqrt(pi)/2; then Newton in long double to about 2^-62
  const long double vl = mpfr_get_ld(v, MPFR_RNDN), c = 0.886226925452758013649083741671L;  // sqrt(pi)/2
  long double y;
  if (target == kErf && vl < 1e-3L) {
    y = vl * c;
  } else {
    const double t = static_cast<double>(target == kErf ? 1 - vl : vl);
    double L = std::log(t) + std::log(2 - t);
    if (!std::isfinite(L)) L = std::log(static_cast<double>(vl)) * 0 - 1400;
    const double a = 0.147, b = 2 / (M_PI * a) + L / 2;
    y = std::sqrt(std::sqrt(b * b - L / a) - b);
  }
  for (int it = 0; it < 40; ++it) {
    const long double g = target == kErf ? vl - erfl(y) : erfcl(y) - vl;
    const long double step = g * c * expl(y * y);
    y += step;
    if (!(std::fabs(step) > 0x1p-62L * y)) break;
  }
  // one or two Newton steps at 128 bits: each squares the relative error (times about y)
  mpfr_t yy, f, e, k;
  mpfr_inits2(kWork, yy, f, e, k, (mpfr_ptr)0);
  mpfr_set_ld(yy, y, MPFR_RNDN);
  mpfr_const_pi(k, MPFR_RNDN);
  mpfr_sqrt(k, k, MPFR_RNDN);
  mpfr_div_2ui(k, k, 1, MPFR_RNDN);
  for (int it = 0; it < 4; ++it) {
    if (target == kErfc) {
      erfc_fast(f, yy, MPFR_RNDN);
      mpfr_sub(f, f, v, MPFR_RNDN);
    } else {
      erf_fast(f, yy, MPFR_RNDN);
      mpfr_sub(f, v, f, MPFR_RNDN);
    }
    mpfr_sqr(e, yy, MPFR_RNDN);
    mpfr_exp(e, e, MPFR_RNDN);
    mpfr_mul(f, f, e, MPFR_RNDN);
    mpfr_mul(f, f, k, MPFR_RNDN);
    mpfr_add(yy, yy, f, MPFR_RNDN);
    if (mpfr_zero_p(f) || mpfr_get_exp(f) < mpfr_get_exp(yy) - 56) break;
  }
  if (sign < 0) mpfr_neg(yy, yy, MPFR_RNDN);
  mpfr_set(r, yy, rnd);
  mpfr_clears(yy, f, e, k, (mpfr_ptr)0);
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
  erfc_fast(t, t, MPFR_RNDN);
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

// Edges of the roots' vector paths ([2^-126, 2^126) of the double square-root paths, the normal
// single range, [2^-126, 2^100] of single InvSqrt HA, [2^-960, 2^960) of double InvCbrt HA, the
// extremes) with their neighbours, both signs.
std::vector<double> root_edges() {
  std::vector<double> x;
  for (double e : {0x1p-126, 0x1p126, 0x1p100, static_cast<double>(FLT_MAX), 0x1p-960, 0x1p960, DBL_MIN, DBL_MAX,
                   0x1p-1074, 1.0, 4.0, 8.0})
    for (double v : {std::nextafter(e, 0.0), e, std::nextafter(e, INFINITY)})
      if (std::isfinite(v)) x.insert(x.end(), {v, -v});
  return x;
}

// Arguments whose reduction by pi/2 is hardest: the double closest to a multiple of pi/2
// (6381956970095103 2^797), the floats below 2^17 closest to multiples of pi and odd multiples
// of pi/2, the doubles and floats next to k pi/2 up to the vector path's end (2^20 in double,
// 2^11 in single) and that end itself, the largest values, both signs.
std::vector<double> trig_points() {
  std::vector<double> x = {0x1p20, 0x1.fffffffffffffp19, 0x1.0000000000001p20, 1e22, 1e300, DBL_MAX, FLT_MAX,
                           0x1.fffffep+10, 0x1p11, 0x1.000002p11, std::ldexp(6381956970095103.0, 797),
                           355.0, 103993.0, 1e6 * M_PI, 1e5 * M_PI + M_PI_2, 0x1p-1022, 0x1p-1074, 0x1p-126, 0x1p-149,
                           0x1.921fb6p+0, 0x1.921fb6p+1, 0x1.921fb6p+2, 0x1.2d97c8p+2, 0x1.2d97c8p+3, 0x1.2d97c8p+7,
                           0x1.c463acp+3, 0x1.78fdbap+4, 0x1.b7d2aep+5, 0x1.e3ce26p+6, 0x1.f9cbe2p+7, 0x1.f9cbe2p+8,
                           0x1.f9cbe2p+10, 0x1.2298eap+8, 0x1.8e3266p+9, 0x1.c3ff24p+10, 0x1.17cc5p+11, 0x1.17cc5p+12,
                           0x1.a3b278p+12, 0x1.9a48dep+15,
                           0x1.6c6cbc45dc8dep+5};  // 2^-60.5 from 29 pi/2: the closest double below 2^20
  for (double k = 1; k < 0x1p20 / M_PI_2; k = std::ceil(k * 1.37)) {
    const double v = k * M_PI_2;
    x.insert(x.end(), {std::nextafter(v, 0.0), v, std::nextafter(v, 1e300)});
    const float vf = static_cast<float>(v);
    if (vf < 0x1p12f) x.insert(x.end(), {std::nextafter(vf, 0.0f), std::nextafter(vf, 1e30f)});
  }
  for (size_t i = 0, n = x.size(); i < n; ++i) x.push_back(-x[i]);
  return x;
}

// Bounds tighter than the level's where the kernel states one: correctly rounded square roots,
// the double HA of the other roots from an exact residual.
constexpr Limits kSqrtLimits{{0.5, 0.5}, {0.5, 0.5}, {31, 11}};
constexpr Limits kInvSqrtLimits{{1.5, 4}, {0.51, 1}, {26, 11}};
constexpr Limits kCbrtLimits{{4, 4}, {0.51, 1}, {26, 11}};
// Double Erf HA sums the grid's series with its leading product exact: 0.75 ulp at the smallest
// arguments, below 0.6 elsewhere (a lost Taylor term shows as 0.87 near the grid's first points).
constexpr Limits kErfLimits{{4, 4}, {0.8, 1}, {26, 11}};
const double kPi = M_PI;
// The switch of the inverse error functions between the central piece and the tail, t = 2^-8.
constexpr double kT0 = 0x1p-6, kT1 = 0x1p-10;

const Register reg({
    // Roots: delicate at the subnormal boundary and near 0.
    {"Sqrt", 1, mpfr_sqrt, nullptr, {{0, DBL_MAX, {DBL_MIN}}, {}}, 0, kSqrtLimits, root_edges()},
    {"InvSqrt", 1, invsqrt, nullptr, {{0, DBL_MAX, {DBL_MIN}}, {}}, 0, kInvSqrtLimits, root_edges()},
    {"Cbrt", 1, mpfr_cbrt, nullptr, {{-DBL_MAX, DBL_MAX, {DBL_MIN, -DBL_MIN}}, {}}, 0, kCbrtLimits, root_edges()},
    {"InvCbrt", 1, invcbrt, nullptr, {{-DBL_MAX, DBL_MAX, {DBL_MIN, -DBL_MIN}}, {}}, 0, kCbrtLimits, root_edges()},
    // Trigonometric: the whole range by exponent, [-1024, 1024] uniformly, zeros near the
    // multiples of pi/2 (EP is absolute there) and the hard arguments.
    {"Sin", 1, mpfr_sin, nullptr, {{-DBL_MAX, DBL_MAX, {kPi, -kPi, 2 * kPi, kPi / 2, 1e6 * kPi}}, {}}, 1.0, {}, trig_points()},
    {"Cos", 1, mpfr_cos, nullptr, {{-DBL_MAX, DBL_MAX, {kPi / 2, -kPi / 2, 3 * kPi / 2, 1e5 * kPi + kPi / 2}}, {}}, 1.0, {}, trig_points()},
    {"SinCos", 1, mpfr_sin, nullptr, {{-DBL_MAX, DBL_MAX, {kPi, kPi / 2, -kPi / 2, 1e6 * kPi}}, {}}, 1.0, {}, trig_points(), {}, mpfr_cos},
    {"Tan", 1, mpfr_tan, nullptr, {{-DBL_MAX, DBL_MAX, {kPi / 2, -kPi / 2, kPi, 3 * kPi / 2}}, {}}, 1.0, {}, trig_points()},
    // Error functions: the tails to the underflow and the switch points of the kernels' pieces;
    // erf's grid series near zero.
    {"Erf", 1, erf_fast, nullptr, {{-DBL_MAX, DBL_MAX, {0.5, -0.5, 6}, {{0.6, 1.2}, {5, 6.5}, {0, 0.03}, {2.9, 3.1}, {0x1p-9, 0x1p-5}}}, {}}, 0, kErfLimits},
    {"Erfc", 1, erfc_fast, nullptr, {{-DBL_MAX, DBL_MAX, {0.5, 27, -6}, {{20, 27.3}, {0.4, 1.2}, {-1.2, -0.8}, {4, 8}}}, {}}, 0},
    {"CdfNorm", 1, cdfnorm, nullptr, {{-DBL_MAX, DBL_MAX, {-38, -1, 8}, {{-38.6, -28}, {-1, -0.5}, {1.2, 1.6}, {7, 9}}}, {}}, 0},
    // Inverses: the edges (t down to the smallest denormal) and both sides of the switch.
    {"ErfInv", 1, erfinv, nullptr, {{-1, 1, {1, -1, 0.5, -0.5}, {{1 - kT0, 1 - kT1}, {-1 + kT1, -1 + kT0}}}, {}}, 0, {},
     {-0.80975790918204726}},  // LA's former worst, 4.67 ulp
    {"ErfcInv", 1, erfcinv, nullptr, {{0, 2, {2, 1, DBL_MIN}, {{kT1, kT0}, {2 - kT0, 2 - kT1}}}, {}}, 0},
    {"CdfNormInv", 1, cdfnorminv, nullptr, {{0, 1, {1, 0.5, DBL_MIN}, {{kT1 / 2, kT0 / 2}, {1 - kT0 / 2, 1 - kT1 / 2}}}, {}}, 0},
});
}  // namespace
