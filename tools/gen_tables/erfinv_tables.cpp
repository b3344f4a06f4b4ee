// Generates the inverse error function tables (see vector/special/erfinv_data.hpp) as C++ on
// standard output. Values of erfinv come from Newton's method on mpfr_erfc at 256 bits;
// each piece is interpolated at Chebyshev nodes, converted to monomials in t, rounded to
// double, and the rounded polynomial is checked on 24 points per piece against its target
// (the program fails, and with it the build, if a degree is too low).
#include <mpfr.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "vector/special/erfinv_data.hpp"

namespace {
constexpr mpfr_prec_t kPrec = 256;
using zyn::vk::data::kErfinvCentralDeg;
using zyn::vk::data::kErfinvPieces;
using zyn::vk::data::kErfinvTailDeg;

struct M {
  mpfr_t v;
  M() { mpfr_init2(v, kPrec); }
  explicit M(double d) : M() { mpfr_set_d(v, d, MPFR_RNDN); }
  M(const M &o) : M() { mpfr_set(v, o.v, MPFR_RNDN); }
  M &operator=(const M &o) {
    mpfr_set(v, o.v, MPFR_RNDN);
    return *this;
  }
  ~M() { mpfr_clear(v); }
  double d() const { return mpfr_get_d(v, MPFR_RNDN); }
};
M operator+(const M &a, const M &b) { M r; mpfr_add(r.v, a.v, b.v, MPFR_RNDN); return r; }
M operator-(const M &a, const M &b) { M r; mpfr_sub(r.v, a.v, b.v, MPFR_RNDN); return r; }
M operator*(const M &a, const M &b) { M r; mpfr_mul(r.v, a.v, b.v, MPFR_RNDN); return r; }
M operator/(const M &a, const M &b) { M r; mpfr_div(r.v, a.v, b.v, MPFR_RNDN); return r; }
M msqrt(const M &a) { M r; mpfr_sqrt(r.v, a.v, MPFR_RNDN); return r; }

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
// Tail: y(s) / s with w = s^2, t = e^-w / (1 + sqrt(1 - e^-w)).
M tail_ratio(const M &s, const M &sigma) {
  M w = s * s, ew, one(1.0);
  mpfr_neg(ew.v, w.v, MPFR_RNDN);
  mpfr_exp(ew.v, ew.v, MPFR_RNDN);
  M t = ew / (one + msqrt(one - ew));
  return sigma * erfinv_t(t, -w.d()) / s;
}

// Chebyshev interpolation of f on [a, b] (in t = (x - mid)/half) at degree d, as monomial
// coefficients in t, lowest first.
template <class F>
std::vector<M> fit(F f, double a, double b, int d) {
  const int n = d + 1;
  M mid((a + b) / 2), half((b - a) / 2);
  // angles pi (2k + 1) j / (2n), formed exactly before the one rounding of MPFR
  auto angle_cos = [&](long num) {
    M c, pi;
    mpfr_const_pi(pi.v, MPFR_RNDN);
    mpfr_mul_si(c.v, pi.v, num, MPFR_RNDN);
    mpfr_div_si(c.v, c.v, 2 * n, MPFR_RNDN);
    mpfr_cos(c.v, c.v, MPFR_RNDN);
    return c;
  };
  std::vector<M> fv(n);
  for (int k = 0; k < n; ++k) fv[k] = f(mid + half * angle_cos(2 * k + 1));
  // c_j = 2/n sum_k f_k T_j(t_k)
  std::vector<M> cheb(n);
  for (int j = 0; j < n; ++j) {
    M sum(0.0);
    for (int k = 0; k < n; ++k) sum = sum + fv[k] * angle_cos(static_cast<long>(j) * (2 * k + 1));
    mpfr_mul_2ui(sum.v, sum.v, 1, MPFR_RNDN);
    mpfr_div_si(cheb[j].v, sum.v, n, MPFR_RNDN);
  }
  cheb[0] = cheb[0] * M(0.5);
  // monomials: T_0 = 1, T_1 = t, T_{j+1} = 2t T_j - T_{j-1}
  std::vector<std::vector<M>> T(n, std::vector<M>(n, M(0.0)));
  T[0][0] = M(1.0);
  if (n > 1) T[1][1] = M(1.0);
  for (int j = 1; j + 1 < n; ++j)
    for (int i = 0; i < n; ++i) {
      M v = M(0.0) - T[j - 1][i];
      if (i > 0) v = v + M(2.0) * T[j][i - 1];
      T[j + 1][i] = v;
    }
  std::vector<M> mono(n, M(0.0));
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) mono[i] = mono[i] + cheb[j] * T[j][i];
  return mono;
}

// Worst relative error of the double-rounded polynomial against f on 24 points, relative to
// `scale(x)` (the size of the result the polynomial's error lands in).
template <class F, class G>
double check(F f, G scale, double a, double b, const std::vector<M> &mono) {
  double worst = 0;
  for (int k = 0; k < 24; ++k) {
    double x = a + (b - a) * (k + 0.37) / 24.5;
    M t = (M(x) - M((a + b) / 2)) / M((b - a) / 2), p(0.0);
    for (int i = static_cast<int>(mono.size()) - 1; i >= 0; --i) p = p * t + M(mono[i].d());
    double e = std::fabs((p - f(M(x))).d()) / scale(x);
    if (e > worst) worst = e;
  }
  return worst;
}

// Highest degree first from index 0, padded with zeros to `width`.
void print_coeffs(const std::vector<M> &mono, int width) {
  const int n = static_cast<int>(mono.size());
  for (int i = 0; i < width; ++i) printf("%a, ", i < n ? mono[n - 1 - i].d() : 0.0);
}
}  // namespace

int main() {
  printf("// Generated by tools/gen_tables/erfinv_tables.cpp. Do not edit.\n");
  printf("#include \"vector/special/erfinv_data.hpp\"\n\nnamespace zyn::vk::data {\n\n");
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
  printf("\n}  // namespace zyn::vk::data\n");
  return 0;
}
