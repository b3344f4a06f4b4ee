// Oracle functions of the exponential and logarithm family.
#include <cfloat>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::kExactLimits;
using zyn::oracle::kExpLogLimits;
using zyn::oracle::Limits;
using zyn::oracle::Register;

// Ln keeps its fixed algorithm: its degree-5 polynomial near 1 leaves double HA at 0.73 ulp.
constexpr Limits kLnLimits{{4, 4}, {0.75, 1}, {26, 11}};

// logb: the exponent of |x| as an exact integer; minus infinity at zero, plus infinity at the
// infinities.
int mpfr_logb(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x)) {
    mpfr_set_nan(r);
    return 0;
  }
  if (mpfr_inf_p(x)) {
    mpfr_set_inf(r, 1);
    return 0;
  }
  if (mpfr_zero_p(x)) {
    mpfr_set_inf(r, -1);
    return 0;
  }
  return mpfr_set_si(r, mpfr_get_exp(x) - 1, rnd);  // x = m 2^e with m in [1/2, 1)
}

// Domains reach both ends of the range, where overflow and underflow (denormal results) begin,
// and the points where the functions are delicate: the zeros of log and expm1/log1p at 0.
// Expm1 and Log1p have zero_scale 0: their error is relative everywhere, also near 0.
const Register reg({
    // Ln: positive inputs; delicate near 1 (its zero) and at the subnormal boundary.
    {"Ln", 1, mpfr_log, nullptr, {{0, DBL_MAX, {1.0, DBL_MIN}}, {}}, 1.0, kLnLimits},
    {"Exp", 1, mpfr_exp, nullptr, {{-760, 720, {0.0, 709.782712893384, -708.3964185322641, -745.1332191019411, 88.72, -87.33, -103.97}}, {}}, 0.0, kExpLogLimits},
    {"Exp2", 1, mpfr_exp2, nullptr, {{-1090, 1030, {0.0, 1024, -1022, -1074, 128, -126, -149}}, {}}, 0.0, kExpLogLimits},
    {"Exp10", 1, mpfr_exp10, nullptr, {{-330, 315, {0.0, 308.25, -307.65, -323.3, 38.53, -37.93, -44.85}}, {}}, 0.0, kExpLogLimits},
    {"Expm1", 1, mpfr_expm1, nullptr, {{-760, 720, {0.0, 709.78, -0.25, 0.25, 88.72, 0.0054}}, {}}, 0.0, kExpLogLimits},
    {"Log2", 1, mpfr_log2, nullptr, {{0, DBL_MAX, {1.0, DBL_MIN}}, {}}, 1.0, kExpLogLimits},
    {"Log10", 1, mpfr_log10, nullptr, {{0, DBL_MAX, {1.0, DBL_MIN}}, {}}, 1.0, kExpLogLimits},
    {"Log1p", 1, mpfr_log1p, nullptr, {{-1, DBL_MAX, {0.0, -1.0, 1e-300}}, {}}, 0.0, kExpLogLimits},
    {"Logb", 1, mpfr_logb, nullptr, {{-DBL_MAX, DBL_MAX, {0.0, DBL_MIN}}, {}}, 1.0, kExactLimits},
});
}  // namespace
