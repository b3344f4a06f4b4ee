// Oracle functions of the arithmetic, rounding and selection family. All but Inv and Div at
// the single EP level are exact or correctly rounded, so they must show at most 0.5 ulp (0 for
// the exact ones).
#include <cfloat>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::kExactLimits;
using zyn::oracle::kRoundedLimits;
using zyn::oracle::Limits;
using zyn::oracle::Register;

int inv(mpfr_ptr r, mpfr_srcptr a, mpfr_rnd_t rnd) { return mpfr_ui_div(r, 1, a, rnd); }
int ceil_(mpfr_ptr r, mpfr_srcptr a, mpfr_rnd_t) { return mpfr_ceil(r, a); }
int floor_(mpfr_ptr r, mpfr_srcptr a, mpfr_rnd_t) { return mpfr_floor(r, a); }
int trunc_(mpfr_ptr r, mpfr_srcptr a, mpfr_rnd_t) { return mpfr_trunc(r, a); }
int round_(mpfr_ptr r, mpfr_srcptr a, mpfr_rnd_t) { return mpfr_round(r, a); }
int rint_(mpfr_ptr r, mpfr_srcptr a, mpfr_rnd_t) { return mpfr_rint(r, a, MPFR_RNDN); }
// the larger (smaller) magnitude; equal magnitudes take the signed maximum (minimum); a NaN
// loses to a number
template <bool kMax>
int by_magnitude(mpfr_ptr r, mpfr_srcptr a, mpfr_srcptr b, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(a)) return mpfr_set(r, b, rnd);
  if (mpfr_nan_p(b)) return mpfr_set(r, a, rnd);
  const int c = mpfr_cmpabs(a, b);
  if (c == 0) return kMax ? mpfr_max(r, a, b, rnd) : mpfr_min(r, a, b, rnd);
  return mpfr_set(r, (c > 0) == kMax ? a : b, rnd);
}

// Relative errors are taken as absolute below the smallest normal single, so that exactly
// rounded tiny results do not show as large relative errors.
constexpr double kTiny = FLT_MIN;
// single EP Inv and Div: a reciprocal estimate and one Newton step
constexpr Limits kEstimate{{0.5, 0.5}, {0.5, 0.5}, {53, 21}};

// Domains: everything finite; the rounding functions are also swept near the half-integers.
constexpr double kBig = DBL_MAX;
const zyn::oracle::Domain kAll{-kBig, kBig, {0.5, 1.5, 2.5, -2.5, 0.0, 4503599627370496.0}};
const zyn::oracle::Domain kMid{-1e6, 1e6, {0.5, 1.5, 2.5, -2.5, 0.0}};

const Register reg({
    {"Add", 2, nullptr, mpfr_add, {kAll, kAll}, kTiny, kRoundedLimits},
    {"Sub", 2, nullptr, mpfr_sub, {kAll, kAll}, kTiny, kRoundedLimits},
    {"Mul", 2, nullptr, mpfr_mul, {kAll, kAll}, kTiny, kRoundedLimits},
    {"Div", 2, nullptr, mpfr_div, {kAll, kAll}, kTiny, kEstimate},
    {"Sqr", 1, mpfr_sqr, nullptr, {kAll, {}}, kTiny, kRoundedLimits},
    {"Abs", 1, mpfr_abs, nullptr, {kAll, {}}, kTiny, kExactLimits},
    {"Inv", 1, inv, nullptr, {kAll, {}}, kTiny, kEstimate},
    {"CopySign", 2, nullptr, mpfr_copysign, {kAll, kAll}, kTiny, kExactLimits},
    {"Ceil", 1, ceil_, nullptr, {kMid, {}}, kTiny, kExactLimits},
    {"Floor", 1, floor_, nullptr, {kMid, {}}, kTiny, kExactLimits},
    {"Trunc", 1, trunc_, nullptr, {kMid, {}}, kTiny, kExactLimits},
    {"Round", 1, round_, nullptr, {kMid, {}}, kTiny, kExactLimits},
    {"Rint", 1, rint_, nullptr, {kMid, {}}, kTiny, kExactLimits},
    {"NearbyInt", 1, rint_, nullptr, {kMid, {}}, kTiny, kExactLimits},
    {"Frac", 1, mpfr_frac, nullptr, {kMid, {}}, kTiny, kExactLimits},
    {"Fmax", 2, nullptr, mpfr_max, {kAll, kAll}, kTiny, kExactLimits},
    {"Fmin", 2, nullptr, mpfr_min, {kAll, kAll}, kTiny, kExactLimits},
    {"MaxMag", 2, nullptr, by_magnitude<true>, {kAll, kAll}, kTiny, kExactLimits},
    {"MinMag", 2, nullptr, by_magnitude<false>, {kAll, kAll}, kTiny, kExactLimits},
    {"Fdim", 2, nullptr, mpfr_dim, {kAll, kAll}, kTiny, kRoundedLimits},
    {"Fmod", 2, nullptr, mpfr_fmod, {kAll, kAll}, kTiny, kExactLimits},
    {"Remainder", 2, nullptr, mpfr_remainder, {kAll, kAll}, kTiny, kExactLimits},
});
}  // namespace
