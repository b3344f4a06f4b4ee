// Weighted minimax polynomials by the Remez exchange, in MPFR: p(z) = c0 + c1 z + ... + cd z^d
// minimising max |w(z) (f(z) - p(z))| over [a, b], and the same error measured again with the
// coefficients rounded to double or float (evaluated exactly, so without the kernel's own
// rounding of the evaluation).
#pragma once

#include <cmath>
#include <cstdio>
#include <vector>

#include "tools/gen_tables/cheb_fit.hpp"

namespace zyn::gen {

// x with A x = b, by Gaussian elimination with partial pivoting.
inline std::vector<M> solve(std::vector<std::vector<M>> A, std::vector<M> b) {
  const size_t n = b.size();
  for (size_t k = 0; k < n; ++k) {
    size_t piv = k;
    for (size_t i = k + 1; i < n; ++i)
      if (mpfr_cmpabs(A[i][k].v, A[piv][k].v) > 0) piv = i;
    std::swap(A[k], A[piv]);
    std::swap(b[k], b[piv]);
    for (size_t i = k + 1; i < n; ++i) {
      M m = A[i][k] / A[k][k];
      for (size_t j = k; j < n; ++j) A[i][j] = A[i][j] - m * A[k][j];
      b[i] = b[i] - m * b[k];
    }
  }
  std::vector<M> x(n);
  for (size_t k = n; k-- > 0;) {
    M s = b[k];
    for (size_t j = k + 1; j < n; ++j) s = s - A[k][j] * x[j];
    x[k] = s / A[k][k];
  }
  return x;
}

struct Fit {
  std::vector<M> c;  // lowest degree first
  double err;        // max |w (f - p)| on the grid
};

// f and w tabulated once on a grid that is dense towards the ends of [a, b].
struct Grid {
  std::vector<M> z, f, w;
};
template <class F, class W>
Grid tabulate(F f, W w, double a, double b, int points = 2500) {
  Grid g;
  const M mid = (M(a) + M(b)) * M(0.5), half = (M(b) - M(a)) * M(0.5);
  for (int i = 0; i < points; ++i) {
    M c;
    mpfr_const_pi(c.v, MPFR_RNDN);
    mpfr_mul_si(c.v, c.v, i, MPFR_RNDN);
    mpfr_div_si(c.v, c.v, points - 1, MPFR_RNDN);
    mpfr_cos(c.v, c.v, MPFR_RNDN);
    M z = mid - half * c;
    g.z.push_back(z);
    g.f.push_back(f(z));
    g.w.push_back(w(z));
  }
  return g;
}

inline M horner(const std::vector<M> &c, const M &z) {
  M p(0.0);
  for (size_t i = c.size(); i-- > 0;) p = p * z + c[i];
  return p;
}

// Weighted errors of the polynomial c on the grid.
inline std::vector<M> errors(const Grid &g, const std::vector<M> &c) {
  std::vector<M> e(g.z.size());
  for (size_t i = 0; i < g.z.size(); ++i) e[i] = g.w[i] * (g.f[i] - horner(c, g.z[i]));
  return e;
}
inline double max_abs(const std::vector<M> &e) {
  double m = 0;
  for (const M &v : e) m = std::fmax(m, std::fabs(v.d()));
  return m;
}

inline Fit remez(const Grid &g, int deg) {
  const int n = deg + 2, N = static_cast<int>(g.z.size());
  std::vector<int> ref(n);
  for (int k = 0; k < n; ++k) ref[k] = static_cast<int>(std::lround((N - 1) * k / double(n - 1)));
  std::vector<M> best;
  double best_err = INFINITY;
  for (int it = 0; it < 40; ++it) {
    std::vector<std::vector<M>> A(n, std::vector<M>(n));
    std::vector<M> rhs(n);
    for (int i = 0; i < n; ++i) {
      M p(1.0);
      for (int j = 0; j <= deg; ++j) {
        A[i][j] = p;
        p = p * g.z[ref[i]];
      }
      A[i][n - 1] = M(i % 2 ? -1.0 : 1.0) / g.w[ref[i]];
      rhs[i] = g.f[ref[i]];
    }
    std::vector<M> x = solve(A, rhs);
    const double level = std::fabs(x[n - 1].d());
    x.pop_back();
    std::vector<M> e = errors(g, x);
    const double err = max_abs(e);
    if (err < best_err) best_err = err, best = x;
    if (err <= level * (1 + 1e-5)) break;
    // the extremum of each run of one sign, then trimmed from the ends to n alternating points
    std::vector<int> ext;
    for (int i = 0; i < N;) {
      const int s = mpfr_sgn(e[i].v) >= 0;
      int at = i;
      int j = i;
      for (; j < N && (mpfr_sgn(e[j].v) >= 0) == s; ++j)
        if (mpfr_cmpabs(e[j].v, e[at].v) > 0) at = j;
      ext.push_back(at);
      i = j;
    }
    if (static_cast<int>(ext.size()) < n) break;
    while (static_cast<int>(ext.size()) > n) {
      if (mpfr_cmpabs(e[ext.front()].v, e[ext.back()].v) < 0)
        ext.erase(ext.begin());
      else
        ext.pop_back();
    }
    ref = ext;
  }
  return {best, best_err};
}

// The weighted error with the coefficients rounded to double (or float when kFloat).
template <bool kFloat>
double rounded_error(const Grid &g, const std::vector<M> &c) {
  std::vector<M> r;
  for (const M &v : c) r.push_back(M(kFloat ? static_cast<double>(static_cast<float>(v.d())) : v.d()));
  return max_abs(errors(g, r));
}

// A C initializer of max_deg + 1 coefficients, highest degree first, padded with zeros.
inline void print_poly(const std::vector<M> &c, bool single, int max_deg) {
  printf("{");
  for (int i = 0; i <= max_deg; ++i) {
    const int n = static_cast<int>(c.size());
    const double v = i < n ? c[n - 1 - i].d() : 0.0;
    if (single)
      printf("%s%af", i ? ", " : "", static_cast<float>(v));
    else
      printf("%s%a", i ? ", " : "", v);
  }
  printf("}");
}

}  // namespace zyn::gen
