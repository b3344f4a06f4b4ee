// Multiple-precision helpers of the table generators: an MPFR number with arithmetic,
// Chebyshev interpolation converted to monomials, and the check of the rounded polynomial.
#pragma once

#include <mpfr.h>

#include <cmath>
#include <cstdio>
#include <vector>

namespace zyn::gen {
constexpr mpfr_prec_t kPrec = 256;

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
inline M operator+(const M &a, const M &b) { M r; mpfr_add(r.v, a.v, b.v, MPFR_RNDN); return r; }
inline M operator-(const M &a, const M &b) { M r; mpfr_sub(r.v, a.v, b.v, MPFR_RNDN); return r; }
inline M operator*(const M &a, const M &b) { M r; mpfr_mul(r.v, a.v, b.v, MPFR_RNDN); return r; }
inline M operator/(const M &a, const M &b) { M r; mpfr_div(r.v, a.v, b.v, MPFR_RNDN); return r; }
inline M msqrt(const M &a) { M r; mpfr_sqrt(r.v, a.v, MPFR_RNDN); return r; }

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
inline double check(F f, G scale, double a, double b, const std::vector<M> &mono) {
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

// Whether a table's worst error keeps its target; when not, says which degree is too low.
inline bool meets_target(const char *tool, const char *name, int deg, double worst, double target) {
  if (!(worst > target)) return true;
  fprintf(stderr, "%s: %s degree %d too low: %.3g above %.3g\n", tool, name, deg, worst, target);
  return false;
}

// Highest degree first from index 0, padded with zeros to `width`.
inline void print_coeffs(const std::vector<M> &mono, int width) {
  const int n = static_cast<int>(mono.size());
  for (int i = 0; i < width; ++i) printf("%a, ", i < n ? mono[n - 1 - i].d() : 0.0);
}
}  // namespace zyn::gen
