// Polynomials of the hyperbolic kernels, generated at build time by
// tools/gen_tables/hyper_tables.cpp (Chebyshev interpolation with MPFR on z = x^2 in [0, 1],
// converted to monomials in z, highest degree first). The generator checks each rounded
// polynomial on 4000 points against its target and fails the build when a degree is too low.
//
//   sinh x = x + x z S(z):  S below 2^-56 (double coefficients, HA and LA),
//                           sinh_s_la below 2^-26, sinh_s_ep below 2^-14 (float coefficients)
//   cosh x = 1 + z/2 + z^2 C(z): C_HA below 2^-58
// absolute error of the polynomial, which is also the relative error it brings to the result
// (x z <= sinh x, z^2 <= cosh x).
#pragma once

namespace zyn::vk::data {

inline constexpr int kSinhDeg = 6, kSinhDegSLa = 3, kSinhDegSEp = 1;
inline constexpr int kCoshDegHa = 6;

extern const double sinh_d[kSinhDeg + 1];
extern const float sinh_s_la[kSinhDegSLa + 1];
extern const float sinh_s_ep[kSinhDegSEp + 1];
extern const double cosh_ha[kCoshDegHa + 1];

}  // namespace zyn::vk::data
