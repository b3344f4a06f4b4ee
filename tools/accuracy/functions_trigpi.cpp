// Oracle functions of the pi- and degree-scaled sine, cosine and tangent: the whole range by
// exponent (every double beyond 2^52 and float beyond 2^23 is an integer), [-1024, 1024]
// uniformly, inputs next to the multiples of a quarter period (zeros, poles, the switches of
// the quadrant and of the vector range) and huge arguments. EP is absolute near the zeros.
#include <cfloat>
#include <cmath>

#include "tools/accuracy/oracle.hpp"

namespace {
using zyn::oracle::Domain;
using zyn::oracle::Register;

int sind(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_sinu(r, x, 360, rnd); }
int cosd(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_cosu(r, x, 360, rnd); }
int tand(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) { return mpfr_tanu(r, x, 360, rnd); }

// The quarter-period multiples k U/4 for small k and around the vector range's end, their
// neighbours, the largest values; both signs.
std::vector<double> points(double unit) {
  std::vector<double> x;
  auto near = [&](double v) {
    for (double w : {std::nextafter(v, 0.0), v, std::nextafter(v, INFINITY)}) x.insert(x.end(), {w, -w});
    const float f = static_cast<float>(v);
    for (float w : {std::nextafter(f, 0.0f), std::nextafter(f, INFINITY)}) x.insert(x.end(), {w, -w});
  };
  for (int k = 1; k <= 12; ++k) near(k * unit / 4);
  for (double v : {unit / 6, unit / 3, 0x1p21, 0x1p30, 0x1p52, 0x1p53, 1e22, 1e300, DBL_MAX, double(FLT_MAX)})
    near(v);
  for (double v : {0x1p30 - unit / 2, 0x1p21 - unit / 2, 0x1p52 - 0.5, 0x1p-1000, 0x1p-119, 0x1p-1016, 0x1p-1022}) near(v);
  return x;
}

const Domain kPi{-DBL_MAX, DBL_MAX, {0.5, 1, 1.5, 0.25, -0.25, 1e6 + 0.5, 0x1p30}, {{-4, 4}}};
const Domain kDeg{-DBL_MAX, DBL_MAX, {90, 180, 30, 45, 60, 270, -90, 1e6 * 360, 0x1p30}, {{-720, 720}}};

const Register reg({
    {"Sinpi", 1, mpfr_sinpi, nullptr, {kPi, {}}, 1.0, {}, points(1)},
    {"Cospi", 1, mpfr_cospi, nullptr, {kPi, {}}, 1.0, {}, points(1)},
    {"Tanpi", 1, mpfr_tanpi, nullptr, {kPi, {}}, 1.0, {}, points(1)},
    {"Sind", 1, sind, nullptr, {kDeg, {}}, 1.0, {}, points(180)},
    {"Cosd", 1, cosd, nullptr, {kDeg, {}}, 1.0, {}, points(180)},
    {"Tand", 1, tand, nullptr, {kDeg, {}}, 1.0, {}, points(180)},
});
}  // namespace
