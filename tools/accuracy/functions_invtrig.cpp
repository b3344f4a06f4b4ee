// Oracle functions of the inverse trigonometric family and of Hypot. Inputs near +-1 (where asin and acos
// take the square root and acos has its zero), near +-1/2 (the switch of asin's two forms),
// near 7/16 and 11/16 (the switches of atan's reduction), near 0 and down into the denormals
// (the pi forms underflow there), and for atan2 both arguments over the whole range, so that
// quotients from the underflow to the overflow, and the octant boundaries, are swept; Hypot
// also next to the overflow and the smallest normal.
#include <cfloat>
#include <cmath>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::Domain;
using zyn::oracle::Register;

const Domain kUnit{-1, 1, {1, -1, 0.5, -0.5, 0, DBL_MIN}, {{0.49, 0.51}, {0.99, 1}, {-1, -0.99}}};
const Domain kLine{-DBL_MAX, DBL_MAX, {7.0 / 16, 11.0 / 16, -1, 16.0 / 7, 16.0 / 11, 0, DBL_MIN}, {{-3, 3}}};
const Domain kPlane{-DBL_MAX, DBL_MAX, {0, 1, -1, DBL_MIN}, {{-2, 2}, {-1e-300, 1e-300}}};

// Arguments where the reductions switch, and where the pi forms turn denormal, both signs.
std::vector<double> points() {
  std::vector<double> x;
  for (double e : {0.5, 1.0, 7.0 / 16, 11.0 / 16, 16.0 / 7, 16.0 / 11, 0x1p-960, 0x1p-1000, 0x1p-100, 0x1p-120,
                   0x1p-124, 0x1p-1020, 0x1p512, 0x1p60, 0x1p990})
    for (double v : {std::nextafter(e, 0.0), e, std::nextafter(e, INFINITY)}) x.insert(x.end(), {v, -v});
  return x;
}

// Next to the overflow and to the smallest normal, the binade edges of the scaling and the ends
// of the range taken unscaled.
std::vector<double> hypot_points() {
  std::vector<double> x;
  for (double e : {DBL_MAX, DBL_MAX / M_SQRT2, 0x1p1023, 0x1p1022, DBL_MIN, 0x1p-1074, double(FLT_MAX),
                   FLT_MAX / M_SQRT2, 0x1p127, 0x1p126, double(FLT_MIN), 0x1p-149, 1.0, 0x1p100, 0x1p-100, 0x1p60,
                   0x1p-60})
    for (double v : {std::nextafter(e, 0.0), e, std::nextafter(e, INFINITY)})
      if (std::isfinite(v)) x.insert(x.end(), {v, -v});
  return x;
}
constexpr zyn::oracle::Limits kHypotLimits{{4, 4}, {0.6, 1}, {26, 11}};

const Register reg({
    {"Asin", 1, mpfr_asin, nullptr, {kUnit, {}}, 0, {}, points()},
    {"Acos", 1, mpfr_acos, nullptr, {kUnit, {}}, 0, {}, points()},
    {"Asinpi", 1, mpfr_asinpi, nullptr, {kUnit, {}}, 0, {}, points()},
    {"Acospi", 1, mpfr_acospi, nullptr, {kUnit, {}}, 0, {}, points()},
    {"Atan", 1, mpfr_atan, nullptr, {kLine, {}}, 0, {}, points()},
    {"Atanpi", 1, mpfr_atanpi, nullptr, {kLine, {}}, 0, {}, points()},
    {"Atan2", 2, nullptr, mpfr_atan2, {kPlane, kPlane}, 0, {}, points()},
    {"Atan2pi", 2, nullptr, mpfr_atan2pi, {kPlane, kPlane}, 0, {}, points()},
    // the square root's kin: 0.6 ulp at HA in double
    {"Hypot", 2, nullptr, mpfr_hypot, {kPlane, kPlane}, 0, kHypotLimits, hypot_points()},
});
}  // namespace
