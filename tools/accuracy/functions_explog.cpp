// Oracle functions of the exponential and logarithm family.
#include <cfloat>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::Register;
// Ln: positive inputs; delicate near 1 (its zero) and at the subnormal boundary.
const Register reg({{"Ln", 1, mpfr_log, nullptr, {{0, DBL_MAX, {1.0, DBL_MIN}}, {}}, 1.0}});
}  // namespace
