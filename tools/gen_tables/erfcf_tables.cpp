// Generates the float Erfc and CdfNorm tables (see vector/errfun/erfc_float_data.hpp) as C++ on
// standard output: weighted minimax polynomials by the Remez exchange in MPFR, coefficients
// rounded to float; the program fails, and with it the build, where a rounded polynomial misses
// its target.
#include <mpfr.h>

#include <cmath>
#include <cstdio>

#include "tools/gen_tables/remez.hpp"
#include "vector/errfun/erfc_float_data.hpp"

namespace {
using namespace zyn::gen;
using namespace zyn::vk::data;

struct Kind {
  M sigma, k;   // sigma, and the factor k of the result
  double scale; // a = scale * (the erfc argument): 1 or sqrt 2
};

// k erfc(sigma a) e^(sigma^2 a^2)
M scaled(const Kind &kd, const M &a) {
  M t = kd.sigma * a, e, q = t * t;
  mpfr_erfc(e.v, t.v, MPFR_RNDN);
  mpfr_exp(q.v, q.v, MPFR_RNDN);
  return kd.k * e * q;
}

// Minimax with float coefficients: the leading coefficient is rounded and the rest refitted to
// what it leaves, degree by degree. Returns the coefficients, lowest first, and the weighted
// error of the float polynomial; with `lo`, the constant term as hi + lo (c[0] + *lo).
Fit fit_float(Grid g, int deg, double *lo = nullptr) {
  std::vector<M> c(deg + 1, M(0.0));
  for (int k = deg; k >= 0; --k) {
    Fit f = remez(g, k);
    c[k] = M(static_cast<double>(static_cast<float>(f.c[k].d())));
    if (k == 0 && lo) {
      *lo = static_cast<float>((f.c[0] - c[0]).d());
      c[0] = c[0] + M(*lo);
    }
    for (size_t i = 0; i < g.z.size(); ++i) {
      M p(1.0);
      for (int j = 0; j < k; ++j) p = p * g.z[i];
      g.f[i] = g.f[i] - c[k] * p;
    }
  }
  return {c, max_abs(errors(g, std::vector<M>(deg + 1, M(0.0))))};  // c[0] with *lo
}

void f4(double v) {
  const float f = static_cast<float>(v);
  printf("{{%af, %af, %af, %af}}", f, f, f, f);
}

bool fail(const char *what, double e, double target) {
  if (e <= target) return false;
  fprintf(stderr, "erfcf: %s misses its target: %g > %g\n", what, e, target);
  return true;
}

// One set: central degree kc on |x| < ac, tail degree degs[j] <= kt on [ac, a1) and [a1, hi]
// (or one interval [ac, hi] when ni = 1) in the variable chosen by c per interval. Error
// targets relative to the result k erfc.
bool print_set(const Kind &kd, int kc, int kt, int ni, const double *cs, const int *degs, double target,
               double &worst) {
  const double ac = 0.4 * kd.scale, a1 = 2.0 * kd.scale, hi = 9.0 * kd.scale;
  printf(" {");
  f4(ac), printf(", "), f4(a1), printf(", "), f4(hi), printf(",\n  {");
  // central: k erf(sigma sqrt z) / sqrt z; its error lands in k erfc >= k erfc(0.4) > k / 2
  {
    auto f = [&](const M &z) {
      M u = msqrt(z), e, s = kd.sigma * u;
      mpfr_erf(e.v, s.v, MPFR_RNDN);
      return kd.k * e / u;
    };
    auto w = [&](const M &z) { return msqrt(z) / (kd.k * M(0.5)); };
    Fit fit = fit_float(tabulate(f, w, 0x1p-60, ac * ac), kc);
    const double e = fit.err;
    // the float c0 = 2 k sigma / sqrt(pi) alone costs up to 2^-25 relative
    if (fail("central", e, std::fmax(target, 0x1p-24))) return false;
    worst = std::fmax(worst, e);
    for (int i = 0; i <= kc; ++i) {
      f4(fit.c[kc - i].d());
      printf(i < kc ? ", " : "},\n");
    }
  }
  // the variable b = a (c = 0), 1 / a (c < 0) or 1 / (1 + c a), and v = b ib - bm in [-1, 1];
  // c, bm and ib as the kernel holds them, in float
  double c[2], bm[2], ib[2], lo0[2];
  std::vector<M> tails[2];
  for (int j = 0; j < ni; ++j) {
    const double lo = j == 0 ? ac : a1, up = ni == 1 || j == 1 ? hi : a1;
    c[j] = cs[j] > 0 ? static_cast<float>(cs[j] / kd.scale) : cs[j];
    auto b_of = [&](double a) { return c[j] == 0 ? a : c[j] < 0 ? 1 / a : 1 / (1 + c[j] * a); };
    const double b0 = b_of(lo), b1 = b_of(up);
    ib[j] = static_cast<float>(2 / std::fabs(b1 - b0)), bm[j] = static_cast<float>((b0 + b1) / 2 * ib[j]);
    auto a_of = [&](const M &v) {
      M b = (v + M(bm[j])) / M(ib[j]);
      return c[j] == 0 ? b : c[j] < 0 ? M(1.0) / b : (M(1.0) / b - M(1.0)) / M(c[j]);
    };
    // slightly beyond [-1, 1]: the float b and v land a rounding or two outside
    const Grid g = tabulate([&](const M &v) { return scaled(kd, a_of(v)); },
                            [&](const M &v) { return M(1.0) / scaled(kd, a_of(v)); }, -1.0001, 1.0001);
    Fit fit = fit_float(g, degs[j], &lo0[j]);
    fit.c[0] = M(fit.c[0].d() - lo0[j]);  // the float high part
    const double e = fit.err;
    if (fail("tail", e, target)) return false;
    worst = std::fmax(worst, e);
    tails[j] = fit.c;
    tails[j].resize(kt + 1, M(0.0));  // a lower degree padded with zero leading coefficients
  }
  printf("  {");
  for (int j = 0; j < ni; ++j) f4(c[j]), printf(j + 1 < ni ? ", " : "}, {");
  for (int j = 0; j < ni; ++j) f4(bm[j]), printf(j + 1 < ni ? ", " : "}, {");
  for (int j = 0; j < ni; ++j) f4(ib[j]), printf(j + 1 < ni ? ", " : "}, {");
  for (int j = 0; j < ni; ++j) f4(lo0[j]), printf(j + 1 < ni ? ", " : "},\n  {");
  for (int j = 0; j < ni; ++j) {
    printf("{");
    for (int i = 0; i <= kt; ++i) {
      f4(tails[j][kt - i].d());
      printf(i < kt ? ", " : "}");
    }
    printf(j + 1 < ni ? ",\n   " : "}},\n");
  }
  return true;
}
}  // namespace

int main() {
  printf("// Generated by tools/gen_tables/erfcf_tables.cpp. Do not edit.\n");
  printf("#include \"vector/errfun/erfc_float_data.hpp\"\n\nnamespace zyn::vk::data {\n\n");
  M pi;
  mpfr_const_pi(pi.v, MPFR_RNDN);
  const Kind kinds[2] = {{M(1.0), M(1.0), 1.0}, {M(1.0) / msqrt(M(2.0)), M(0.5), std::sqrt(2.0)}};
  double worst_la = 0, worst_ep = 0;
  // LA: a polynomial in a, then in 1 / a (errors of 1 / (1 + c a) would cost up to 3 ulp near
  // a = 1/2); EP: in 1 / (1 + a / 2)
  const double c_la[2] = {0.0, -1.0}, c_ep[1] = {0.5};
  const int deg_la[2] = {kErfcfTailDegLa, 8}, deg_ep[1] = {kErfcfTailDegEp};
  printf("const ErfcfLa erfcf_la[2] = {\n");
  for (const Kind &kd : kinds)
    if (!print_set(kd, kErfcfCentralDegLa, kErfcfTailDegLa, 2, c_la, deg_la, 0x1p-24, worst_la)) return 1;
  printf("};\n\nconst ErfcfEp erfcf_ep[2] = {\n");
  for (const Kind &kd : kinds)
    if (!print_set(kd, kErfcfCentralDegEp, kErfcfTailDegEp, 1, c_ep, deg_ep, 0x1p-15, worst_ep)) return 1;
  printf("};\n// worst relative error of the rounded polynomials: LA %.3g, EP %.3g\n", worst_la, worst_ep);
  printf("\n}  // namespace zyn::vk::data\n");
  return 0;
}
