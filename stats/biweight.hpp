// The translated biweight of Rocke's S-estimator (1996) and its constants; header-only so that
// the tests check the constants against an independent quadrature.
#pragma once

#include <cmath>
#include <cstdint>

#include "zyn/stats.h"

namespace zyn::stats {

// rho(d) = d^2 / 2 below M, rho(inf) above M + c, and between them the integral of
// t (1 - ((t - M) / c)^2)^2, written in v = (d - M) / c so that a small c costs no accuracy;
// w(d) = rho'(d) / d. c = 0 is hard rejection at M.
struct Biweight {
  double M, c, b;  // b = breakdown point * rho(inf)
  double top() const { return M * M / 2 + c * (5 * c + 16 * M) / 30; }
  double rho(double d) const {
    if (d < M) return d * d / 2;
    if (d >= M + c) return top();
    const double v = (d - M) / c, v2 = v * v, r = 1 - v2;
    return M * M / 2 + c * M * v * (1 - v2 * (2.0 / 3 - v2 / 5)) + c * c * (1 - r * r * r) / 6;
  }
  double weight(double d) const {
    if (d < M) return 1;
    if (d >= M + c) return 0;
    const double u = (d - M) / c, v = 1 - u * u;
    return v * v;
  }
};

// Gauss-Legendre nodes and weights on [-1, 1], by Newton steps on P_m.
constexpr int kNodes = 32;
inline void gauss_legendre(double *x, double *w) {
  for (int i = 0; i < kNodes; ++i) {
    double z = std::cos(3.141592653589793 * (i + 0.75) / (kNodes + 0.5)), d = 1;
    for (int it = 0; it < 100; ++it) {
      double p0 = 1, p1 = z;
      for (int k = 2; k <= kNodes; ++k) {
        const double p2 = ((2 * k - 1) * z * p1 - (k - 1) * p0) / k;
        p0 = p1, p1 = p2;
      }
      d = kNodes * (z * p1 - p0) / (z * z - 1);
      const double step = p1 / d;
      z -= step;
      if (std::fabs(step) < 1e-16) break;
    }
    x[i] = z, w[i] = 2 / ((1 - z * z) * d * d);
  }
}

// M and c for p variables, consistent at the Gaussian: E rho(d) = bdp rho(inf) for d^2 ~ chi2_p,
// with L = M + c, L^2 = chi2_p(1 - arp). E d^2 1{d < M} / 2 = (p / 2) F_{p+2}(M^2), the middle by
// 32-point Gauss-Legendre against the density 2 d f_p(d^2), the rest rho(inf) (1 - F_p(L^2)).
// E rho / rho(inf) falls with M from the plain biweight (M = 0) to hard rejection (M = L), and
// with L at either end. Inside that range M is solved by bisection to the last bit. Outside it
// no M gives consistency at this arp (small p: p = 5 needs arp below about 0.097 at bdp 1/2), and
// L moves instead, M held at the end that came closest: the rejection probability changes, the
// breakdown point and the consistency stay.
inline Biweight biweight_constants(int64_t p, double bdp, double arp) {
  const double dp = static_cast<double>(p);
  double node[kNodes], gw[kNodes];
  gauss_legendre(node, gw);
  auto excess = [&](double M, double L) {  // E rho(d) - bdp rho(inf)
    const Biweight t{M, L - M, 0};
    double e = dp / 2 * __rnxdChi2CDF(dp + 2, M * M) + t.top() * (1 - __rnxdChi2CDF(dp, L * L));
    for (int k = 0; k < kNodes; ++k) {
      const double d = M + 0.5 * (L - M) * (node[k] + 1);
      e += 0.5 * (L - M) * gw[k] * t.rho(d) * 2 * d * __rnxdChi2PDF(dp, d * d);
    }
    return e - bdp * t.top();
  };
  auto bisect = [](double lo, double hi, auto positive) {  // positive below the root
    for (int it = 0; it < 200 && hi - lo > 1e-16 * hi; ++it) {
      const double mid = 0.5 * (lo + hi);
      (positive(mid) ? lo : hi) = mid;
    }
    return 0.5 * (lo + hi);
  };
  double L = std::sqrt(__rnxdChi2ICDF(dp, 1 - arp)), M;
  if (excess(L, L) > 0) {  // hard rejection at L still too heavy: a larger L
    double hi = 2 * L;
    while (excess(hi, hi) > 0) hi *= 2;
    M = L = bisect(L, hi, [&](double t) { return excess(t, t) > 0; });
  } else if (excess(0, L) < 0) {  // the plain biweight already too light: a smaller L
    double lo = L / 2;
    while (excess(0, lo) < 0) lo /= 2;
    L = bisect(lo, L, [&](double t) { return excess(0, t) > 0; }), M = 0;
  } else {
    M = bisect(0, L, [&](double m) { return excess(m, L) > 0; });
  }
  return {M, L - M, bdp * Biweight{M, L - M, 0}.top()};
}

}  // namespace zyn::stats
