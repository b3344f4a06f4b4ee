// Oracle functions of the hyperbolic family. Errors are relative everywhere (zero scale 0), also
// near the zeros of Sinh, Tanh, Asinh, Atanh at 0 and of Acosh at 1.
#include <cfloat>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::Register;

// Delicate inputs: the overflow thresholds of Sinh and Cosh in both types and the ends of the
// exponential's vector range; the switch from series to exponential at 1; tiny arguments;
// 1 for Acosh and +-1 for Atanh (swept from both sides within 2^-60); where the inverse
// functions change form (2^-12, 1 + 2^-20, 2, 4 and 2^28, single 2^12). Bands sweep the switch
// regions uniformly.
const Register reg({
    {"Sinh", 1, mpfr_sinh, nullptr,
     {{-720, 720, {0.0, 1.0, -1.0, 708.39, 710.4758600739439, -710.4758600739439, 89.41599, 87.0, 0x1p-30},
       {{-2, 2}, {700, 711}, {-711, -700}, {80, 90}}},
      {}},
     0.0},
    {"Cosh", 1, mpfr_cosh, nullptr,
     {{-720, 720, {0.0, 1.0, 708.39, 710.4758600739439, -710.4758600739439, 89.41599, -89.41599, 0x1p-30},
       {{-2, 2}, {700, 711}, {-711, -700}, {80, 90}}},
      {}},
     0.0},
    {"Tanh", 1, mpfr_tanh, nullptr,
     {{-DBL_MAX, DBL_MAX, {0.0, 0.55, -0.55, 19.06, 9.01, 0x1p-30}, {{-2, 2}, {-25, 25}}}, {}},
     0.0},
    {"Asinh", 1, mpfr_asinh, nullptr,
     {{-DBL_MAX, DBL_MAX, {0.0, 2.0, -2.0, 4.0, 0x1p28, 0x1p12, 0x1p-26, 0x1p-12, 0.5},
       {{-3, 3}, {-300, 300}, {0x1p-28, 0x1p-20}}},
      {}},
     0.0},
    {"Acosh", 1, mpfr_acosh, nullptr,
     {{1, DBL_MAX, {1.0, 1 + 0x1p-20, 2.0, 4.0, 0x1p28, 0x1p12, 1.5}, {{1, 1.01}, {1, 3}, {1, 300}, {1, 1 + 0x1p-40}}}, {}},
     0.0},
    {"Atanh", 1, mpfr_atanh, nullptr,
     {{-1, 1, {0.0, 1.0, -1.0, 0.5, -0.5, 0x1p-28, 0x1p-12}, {{-1, 1}, {0.99, 1}, {-1, -0.99}, {0x1p-28, 0x1p-20}}},
      {}},
     0.0},
});
}  // namespace
