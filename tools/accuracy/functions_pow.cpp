// Oracle functions of the two-argument powers: Pow (C's pow, as mpfr_pow) and Powr (exp(b ln a)
// with IEEE 754's special cases). Each base is paired with exponents that put the result
// anywhere from below the type's underflow to beyond its overflow, with dense sweeps at the
// edges (the largest finite, the smallest normal, the smallest denormal), integers (for the
// signs of negative bases), huge exponents and the ordinary range [-10, 10].
#include <cfloat>
#include <cmath>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::Domain;
using zyn::oracle::Register;

int powr(mpfr_ptr r, mpfr_srcptr x, mpfr_srcptr y, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x) || mpfr_nan_p(y) || mpfr_sgn(x) < 0 || (mpfr_zero_p(y) && !mpfr_regular_p(x)) ||
      (mpfr_cmp_ui(x, 1) == 0 && mpfr_inf_p(y))) {
    mpfr_set_nan(r);
    return 0;
  }
  if (mpfr_zero_p(x)) {
    if (mpfr_sgn(y) < 0) mpfr_set_inf(r, 1);
    else mpfr_set_zero(r, 1);
    return 0;
  }
  return mpfr_pow(r, x, y, rnd);  // x > 0: pow's values
}

// An exponent for base x from u in [0, 1).
double exponent_for(double x, double u, bool single) {
  const double l = std::log(std::fabs(x));
  const double top = single ? std::log(FLT_MAX) : std::log(DBL_MAX);
  const double normal = single ? std::log(FLT_MIN) : std::log(DBL_MIN);
  const double bottom = single ? std::log(0x1p-149) : std::log(0x1p-1074);
  const bool neg = x < 0;
  double b;
  if (u < 0.1 || !std::isfinite(l) || l == 0) {
    b = 20 * std::fmod(10 * u, 1.0) - 10;  // the ordinary range
  } else if (u < 0.2) {
    return std::round(128 * (u - 0.1) / 0.1 - 64);  // integers, both parities
  } else if (u < 0.25) {
    const double v = (u - 0.2) / 0.05;  // huge: 2^20 to 2^70, both signs
    return (v < 0.5 ? -1 : 1) * std::exp2(20 + 100 * std::fmod(v, 0.5));
  } else if (u < 0.55) {
    // next to an edge: t = edge +- 2^-(0..45) |edge|
    const double v = (u - 0.25) / 0.3;
    const double edges[3] = {top, normal, bottom};
    const double e = edges[static_cast<int>(v * 3)], w = std::fmod(v * 3, 1.0);
    const double t = e * (1 + (w < 0.5 ? -1 : 1) * std::exp2(-45 * std::fmod(2 * w, 1.0)));
    b = t / l;
  } else {
    b = (bottom - 2 + (top - bottom + 4) * (u - 0.55) / 0.45) / l;  // the whole range
  }
  return neg ? std::round(b) : b;
}

const Domain kBases{-DBL_MAX, DBL_MAX, {0.0, 1.0, -1.0, DBL_MIN}};
const Domain kPositiveBases{0, DBL_MAX, {1.0, DBL_MIN}};
const Domain kExponents{-1e6, 1e6, {0.0, 1.0}};

zyn::oracle::Function with_pairs(zyn::oracle::Function f) {
  f.pair = exponent_for;
  return f;
}

const Register reg({
    with_pairs({"Pow", 2, nullptr, mpfr_pow, {kBases, kExponents}, 0.0}),
    with_pairs({"Powr", 2, nullptr, powr, {kPositiveBases, kExponents}, 0.0}),
});
}  // namespace
