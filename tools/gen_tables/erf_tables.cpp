// Generates the error function tables (see vector/errfun/erf_data.hpp) as C++ on standard
// output, from mpfr_erf and mpfr_erfc at 256 bits. The rounded polynomials are checked against
// their targets; the program fails, and with it the build, if a degree is too low.
#include <mpfr.h>

#include <cmath>
#include <cstdio>

#include "tools/gen_tables/cheb_fit.hpp"
#include "vector/errfun/erf_data.hpp"

namespace {
using namespace zyn::gen;
using zyn::vk::data::kErfCentralDeg;
using zyn::vk::data::kErfcPieces;
using zyn::vk::data::kErfcTailDeg;
using zyn::vk::data::kErfCentralDegLite;
using zyn::vk::data::kErfcTailDegLite;
constexpr double kTarget = 0x1p-57, kCentralTarget = 0x1p-55;  // the central bound is reached by
// rounding the coefficients and lands in the result scaled by z / zmax

// R(z) = (erf(sigma sqrt z) / sqrt z - c0) / z.
M central_f(const M &z, const M &sigma, const M &c0) {
  M u = msqrt(z), e;
  M a = sigma * u;
  mpfr_erf(e.v, a.v, MPFR_RNDN);
  return (e / u - c0) / z;
}
// erfc(t) e^(t^2).
M scaled_erfc(const M &t) {
  M e, q = t * t;
  mpfr_erfc(e.v, t.v, MPFR_RNDN);
  mpfr_exp(q.v, q.v, MPFR_RNDN);
  return e * q;
}

// Prints a float polynomial of degree d fitted to f on [a, b] (variable (x - mid) / half), padded
// to width; false when its worst error, weighted by weight(x), exceeds target.
// With kLow the constant term is carried as two floats, and the low one printed after the array.
template <bool kLow, class F, class W>
bool print_float_poly(F f, W weight, double a, double b, int d, int width, double target, double &worst) {
  auto mono = fit(f, a, b, d);
  const float c0 = static_cast<float>(mono[0].d());
  const float low = kLow ? static_cast<float>((mono[0] - M(static_cast<double>(c0))).d()) : 0.0f;
  double e = 0;
  for (int k = 0; k < 200; ++k) {
    const double x = a + (b - a) * (k + 0.41) / 200.0;
    M t = (M(x) - M((a + b) / 2)) / M((b - a) / 2), p(0.0);
    for (int i = d; i >= 0; --i) p = p * t + M(static_cast<double>(static_cast<float>(mono[i].d())));
    p = p + M(static_cast<double>(low));
    const M fx = f(M(x));
    e = std::fmax(e, std::fabs((p - fx).d()) * weight(x, fx.d()));
  }
  if (e > target) {
    fprintf(stderr, "float degree %d too low: %g\n", d, e);
    return false;
  }
  worst = std::fmax(worst, e);
  printf("{");
  for (int i = 0; i < width; ++i) printf("%af, ", i <= d ? static_cast<float>(mono[d - i].d()) : 0.0f);
  printf("}");
  if (kLow) printf(", %af", low);
  return true;
}

// The float erf sets: C(z) = erf(sqrt z) / sqrt z on z in [0, 1], and K = erfc e^(t^2) on [1, 4]
// with its error weighted by e^(-t^2) / erf(t), where it lands in erf.
bool print_float_sets(double &worst) {
  using zyn::vk::data::kErfFCentralDeg;
  using zyn::vk::data::kErfFTailDeg;
  const double central_target[2] = {0x1p-25, 0x1p-19}, tail_target[2] = {0x1p-25, 0x1.6a09e6p-14};  // 2^-13.5
  auto c = [](const M &z) {
    M u = msqrt(z), e;
    mpfr_erf(e.v, u.v, MPFR_RNDN);
    return e / u;
  };
  printf("const ErfF32 erf_f32[2] = {\n");
  for (int set = 0; set < 2; ++set) {
    printf(" {");
    if (!print_float_poly<true>(c, [](double, double fx) { return 1 / fx; }, 0, 1, kErfFCentralDeg[set],
                          kErfFCentralDeg[0] + 1, central_target[set], worst))
      return false;
    printf(", ");
    if (!print_float_poly<false>(scaled_erfc, [](double t, double) { return std::exp(-t * t) / std::erf(t); }, 1, 4,
                          kErfFTailDeg[set], kErfFTailDeg[0] + 1, tail_target[set], worst))
      return false;
    printf("},\n");
  }
  printf("};\n\n");
  return true;
}

// Prints one set of tables under the given names; false when a degree is too low.
bool print_set(const char *suffix, int central_deg, int tail_deg, double target, double central_target, double &worst) {
  printf("const ErfCentralT<%d> erf_central%s[2] = {\n", central_deg, suffix);
  for (int sc = 0; sc < 2; ++sc) {
    M sigma(1.0);
    if (sc == 1) sigma = M(1.0) / msqrt(M(2.0));
    M c0;
    mpfr_const_pi(c0.v, MPFR_RNDN);
    c0 = M(2.0) * sigma / msqrt(c0);
    const double c0h = c0.d(), c0l = (c0 - M(c0h)).d();
    const double zmax = sc == 0 ? 1.0 : 2.0;  // 1 / sigma^2
    auto cf = [&](const M &z) { return central_f(z, sigma, c0); };
    auto mono = fit(cf, 0, zmax, central_deg);
    // the error of R, times z <= zmax, lands in erf(sigma x) / x >= 0.74 c0
    double e = check(cf, [&](double) { return 0.74 * c0h / zmax; }, 0.0, zmax, mono);
    if (e > central_target) {
      fprintf(stderr, "central degree %d too low: %g\n", central_deg, e);
      return false;
    }
    worst = std::fmax(worst, e);
    printf(" {{%a, %a}, {", c0h, c0l);
    print_coeffs(mono, central_deg + 1);
    printf("}},\n");
  }
  printf("};\n\nconst ErfcPieceT<%d> erfc_tail%s[%d] = {\n", tail_deg, suffix, kErfcPieces);
  for (int j = 0; j < kErfcPieces; ++j) {
    double lo = std::ldexp(1.0 + (j % 8) / 8.0, j / 8 - 1), hi = std::ldexp(1.0 + (j % 8 + 1) / 8.0, j / 8 - 1);
    double mid = (lo + hi) / 2, half = (hi - lo) / 2;
    double k0 = scaled_erfc(M(mid)).d();
    auto tf = [&](const M &t) { return scaled_erfc(t) - M(k0); };
    auto tm = fit(tf, lo, hi, tail_deg);
    double et = check(tf, [&](double x) { return scaled_erfc(M(x)).d(); }, lo, hi, tm);
    if (et > target) {
      fprintf(stderr, "tail piece %d degree %d too low: %g\n", j, tail_deg, et);
      return false;
    }
    worst = std::fmax(worst, et);
    printf(" {%a, %a, %a, {", mid, 1 / half, k0);
    print_coeffs(tm, tail_deg + 1);
    printf("}},\n");
  }
  printf("};\n\n");
  return true;
}
}  // namespace

int main() {
  printf("// Generated by tools/gen_tables/erf_tables.cpp. Do not edit.\n");
  printf("#include \"vector/errfun/erf_data.hpp\"\n\nnamespace zyn::vk::data {\n\n");
  double worst = 0, worst_lite = 0;
  if (!print_set("", kErfCentralDeg, kErfcTailDeg, kTarget, kCentralTarget, worst)) return 1;
  if (!print_set("_lite", kErfCentralDegLite, kErfcTailDegLite, 0x1p-32, 0x1p-32, worst_lite)) return 1;
  double worst_f = 0;
  if (!print_float_sets(worst_f)) return 1;
  printf("// worst relative error of the pieces: %.3g; lite %.3g; float %.3g\n", worst, worst_lite, worst_f);
  printf("\n}  // namespace zyn::vk::data\n");
  return 0;
}
