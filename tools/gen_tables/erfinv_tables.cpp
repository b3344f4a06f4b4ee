// Generates the inverse error function tables (see vector/errfun/erfinv_data.hpp) as C++ on
// standard output. Values of erfinv come from Newton's method on mpfr_erfc at 256 bits;
// each piece is interpolated at Chebyshev nodes, converted to monomials in t, rounded to
// double, and the rounded polynomial is checked on 24 points per piece against its target
// (the program fails, and with it the build, if a degree is too low).
#include <mpfr.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "tools/gen_tables/cheb_fit.hpp"
#include "vector/errfun/erfinv_data.hpp"

namespace {
using namespace zyn::gen;
using zyn::vk::data::kErfinvCentralDeg;
using zyn::vk::data::kErfinvLogBits;
using zyn::vk::data::kErfinvPieces;
using zyn::vk::data::kErfinvTailDeg;
using zyn::vk::data::kErfinvWDeg;
using zyn::vk::data::kErfinvWDegF;
using zyn::vk::data::kErfinvWMax;


// y >= 0 with erfc(y) = t, 0 < t <= 1, by Newton from y0: at 96 bits to about 2^-80, then two
// steps at the full precision (quadratic convergence).
M erfc_inverse(const M &t, double y0) {
  mpfr_t y, f, e, c;
  mpfr_inits2(kPrec, y, f, e, c, (mpfr_ptr)0);
  mpfr_set_d(y, y0, MPFR_RNDN);
  for (int pass = 0; pass < 2; ++pass) {
    const mpfr_prec_t prec = pass == 0 ? 96 : kPrec;
    mpfr_prec_round(y, prec, MPFR_RNDN);
    mpfr_set_prec(f, prec);
    mpfr_set_prec(e, prec);
    mpfr_set_prec(c, prec);
    mpfr_const_pi(c, MPFR_RNDN);
    mpfr_sqrt(c, c, MPFR_RNDN);
    mpfr_div_2ui(c, c, 1, MPFR_RNDN);
    for (int it = 0; it < (pass == 0 ? 100 : 2); ++it) {
      mpfr_erfc(f, y, MPFR_RNDN);
      mpfr_sub(f, f, t.v, MPFR_RNDN);
      mpfr_sqr(e, y, MPFR_RNDN);
      mpfr_exp(e, e, MPFR_RNDN);
      mpfr_mul(f, f, e, MPFR_RNDN);
      mpfr_mul(f, f, c, MPFR_RNDN);
      mpfr_add(y, y, f, MPFR_RNDN);
      if (pass == 0 && (mpfr_zero_p(f) || mpfr_get_exp(f) < mpfr_get_exp(y) - 80)) break;
    }
  }
  M r;
  mpfr_set(r.v, y, MPFR_RNDN);
  mpfr_clears(y, f, e, c, (mpfr_ptr)0);
  return r;
}

// erfinv(u) for 0 < u < 1 given t = 1 - u exactly and L = ln(t (2 - t)) roughly.
M erfinv_t(const M &t, double L) {
  const double a = 0.147, b = 2 / (M_PI * a) + L / 2;
  double y0 = std::sqrt(std::sqrt(b * b - L / a) - b);
  return erfc_inverse(t, y0);
}

// Central: R(z) = (sigma erfinv(sqrt z)/sqrt z - c0) / z.
M central_f(const M &z, const M &sigma, const M &c0) {
  M u = msqrt(z), one(1.0);
  M t = one - u;
  M y = sigma * erfinv_t(t, std::log(t.d()) + std::log(2 - t.d()));
  return (y / u - c0) / z;
}
// The fast central piece: sigma erfinv(u) / u as a function of w = -ln(1 - u^2).
M w_ratio(const M &w, const M &sigma) {
  M e, one(1.0);
  mpfr_neg(e.v, w.v, MPFR_RNDN);
  mpfr_exp(e.v, e.v, MPFR_RNDN);
  M u = msqrt(one - e);
  return sigma * erfinv_t(one - u, -w.d()) / u;
}

// c minus c rounded to F, rounded to F: the fast central sets carry their constant term in two
// parts (its rounding alone would cost 1.4e-16 relative in double).
template <class F>
F low_part(const M &c) { return static_cast<F>((c - M(static_cast<double>(static_cast<F>(c.d())))).d()); }

// Worst relative error, on 200 points of [0, kErfinvWMax], of the polynomial with its
// coefficients rounded to float (kFloat) or double and evaluated exactly.
template <bool kFloat>
double check_w(const M &sigma, const std::vector<M> &mono) {
  const double a = 0, b = kErfinvWMax;
  double worst = 0;
  for (int k = 0; k < 200; ++k) {
    double x = a + (b - a) * (k + 0.41) / 200.0;
    M t = (M(x) - M((a + b) / 2)) / M((b - a) / 2), p(0.0);
    for (int i = static_cast<int>(mono.size()) - 1; i >= 0; --i) {
      const double c = mono[i].d();
      p = p * t + M(kFloat ? static_cast<double>(static_cast<float>(c)) : c);
    }
    p = p + M(kFloat ? static_cast<double>(low_part<float>(mono[0])) : low_part<double>(mono[0]));
    M f = w_ratio(M(x), sigma);
    worst = std::fmax(worst, std::fabs(((p - f) / f).d()));
  }
  return worst;
}

// Prints the coefficients of one set's fast central polynomial in v = w kErfinvWScale - 1.
template <bool kFloat>
bool print_w(const M &sigma, int deg, int width, double target, double &worst) {
  auto f = [&](const M &w) { return w_ratio(w, sigma); };
  auto mono = fit(f, 0, kErfinvWMax, deg);
  double e = check_w<kFloat>(sigma, mono);
  if (e > target) {
    fprintf(stderr, "fast central degree %d too low: %g\n", deg, e);
    return false;
  }
  worst = std::fmax(worst, e);
  printf("  {{");
  const int n = static_cast<int>(mono.size());
  for (int i = 0; i < width; ++i) {
    const double c = i < n ? mono[n - 1 - i].d() : 0.0;
    if (kFloat)
      printf("%af, ", static_cast<float>(c));
    else
      printf("%a, ", c);
  }
  if (kFloat)
    printf("}, %af},\n", low_part<float>(mono[0]));
  else
    printf("}, %a},\n", low_part<double>(mono[0]));
  return true;
}

// Tail: y(s) / s with w = s^2, t = e^-w / (1 + sqrt(1 - e^-w)).
M tail_ratio(const M &s, const M &sigma) {
  M w = s * s, ew, one(1.0);
  mpfr_neg(ew.v, w.v, MPFR_RNDN);
  mpfr_exp(ew.v, ew.v, MPFR_RNDN);
  M t = ew / (one + msqrt(one - ew));
  return sigma * erfinv_t(t, -w.d()) / s;
}

}  // namespace

int main() {
  printf("// Generated by tools/gen_tables/erfinv_tables.cpp. Do not edit.\n");
  printf("#include \"vector/errfun/erfinv_data.hpp\"\n\nnamespace zyn::vk::data {\n\n");
  printf("const ErfinvTables erfinv_tables[2][2] = {\n");
  const double target[2] = {0x1p-57, 0x1p-32};
  double worst_all[2] = {0, 0};
  for (int sc = 0; sc < 2; ++sc) {
    M sigma(1.0);
    if (sc == 1) sigma = msqrt(M(2.0));
    M c0;
    mpfr_const_pi(c0.v, MPFR_RNDN);
    c0 = sigma * msqrt(c0) * M(0.5);
    double c0h = c0.d(), c0l = (c0 - M(c0h)).d();
    printf(" {\n");
    for (int set = 0; set < 2; ++set) {
      printf("  {{%a, %a},\n   {", c0h, c0l);
      // central: the error of z R lands in y / u ~ c0, z <= 1/4
      auto cf = [&](const M &z) { return central_f(z, sigma, c0); };
      auto mono = fit(cf, 0, 0.25, kErfinvCentralDeg[set]);
      double e = check(cf, [&](double) { return c0h / 0.25; }, 0.0, 0.25, mono);
      if (e > target[set]) {
        fprintf(stderr, "central degree %d too low: %g\n", kErfinvCentralDeg[set], e);
        return 1;
      }
      worst_all[set] = std::fmax(worst_all[set], e);
      print_coeffs(mono, kErfinvCentralDeg[0] + 1);
      printf("},\n   {\n");
      for (int j = 0; j < kErfinvPieces; ++j) {
        double lo = std::ldexp(1.0 + (j % 4) / 4.0, j / 4 - 1), hi = std::ldexp(1.0 + (j % 4 + 1) / 4.0, j / 4 - 1);
        double mid = (lo + hi) / 2, half = (hi - lo) / 2;
        double k0 = tail_ratio(M(mid), sigma).d();
        auto tf = [&](const M &s) { return tail_ratio(s, sigma) - M(k0); };
        auto tm = fit(tf, lo, hi, kErfinvTailDeg[set]);
        double et = check(tf, [&](double) { return k0; }, lo, hi, tm);
        if (et > target[set]) {
          fprintf(stderr, "tail piece %d degree %d too low: %g\n", j, kErfinvTailDeg[set], et);
          return 1;
        }
        worst_all[set] = std::fmax(worst_all[set], et);
        printf("    {%a, %a, %a, {", mid, 1 / half, k0);
        print_coeffs(tm, kErfinvTailDeg[0] + 1);
        printf("}},\n");
      }
      printf("   }},\n");
    }
    printf(" },\n");
  }
  printf("};\n\n// worst relative error of the pieces: accurate %.3g, EP %.3g\n", worst_all[0], worst_all[1]);

  // the fast central pieces on w in [0, kErfinvWMax]: double (accurate, EP), then float (LA, EP)
  const double w_target[2] = {0x1p-54, 0x1p-30}, wf_target[2] = {0x1p-25, 0x1p-14};
  double worst_w[4] = {0, 0, 0, 0};
  printf("\nconst ErfinvW erfinv_w[2][2] = {\n");
  for (int sc = 0; sc < 2; ++sc) {
    const M sigma = sc == 0 ? M(1.0) : msqrt(M(2.0));
    printf(" {\n");
    for (int set = 0; set < 2; ++set)
      if (!print_w<false>(sigma, kErfinvWDeg[set], kErfinvWDeg[0] + 1, w_target[set], worst_w[set])) return 1;
    printf(" },\n");
  }
  printf("};\n\nconst ErfinvWF erfinv_wf[2][2] = {\n");
  for (int sc = 0; sc < 2; ++sc) {
    const M sigma = sc == 0 ? M(1.0) : msqrt(M(2.0));
    printf(" {\n");
    for (int set = 0; set < 2; ++set)
      if (!print_w<true>(sigma, kErfinvWDegF[set], kErfinvWDegF[0] + 1, wf_target[set], worst_w[2 + set])) return 1;
    printf(" },\n");
  }
  printf("};\n// worst relative error of the fast central pieces: %.3g, %.3g; float %.3g, %.3g\n", worst_w[0],
         worst_w[1], worst_w[2], worst_w[3]);

  // the logarithm's table: c exact, 1/c rounded once, ln c on the 2^-40 grid and its rest
  printf("\nconst ErfinvLogEntry erfinv_log[%d] = {\n", 1 << kErfinvLogBits);
  for (int j = 0; j < 1 << kErfinvLogBits; ++j) {
    const double c = 1 + (j + 0.5) / (1 << kErfinvLogBits);
    M lc(c);
    mpfr_log(lc.v, lc.v, MPFR_RNDN);
    const double high = std::ldexp(std::nearbyint(std::ldexp(lc.d(), 40)), -40);
    printf("  {%a, %a, %a, %a},\n", c, (M(1.0) / M(c)).d(), high, (lc - M(high)).d());
  }
  printf("};\n");
  printf("\n}  // namespace zyn::vk::data\n");
  return 0;
}
