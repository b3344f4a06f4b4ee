// Polynomials of the hyperbolic kernels, generated at build time by
// tools/gen_tables/hyper_tables.cpp (Chebyshev interpolation with MPFR on z = x^2 in [0, 1],
// converted to monomials in z, highest degree first). The generator checks each rounded
// polynomial on 4000 points against its target and fails the build when a degree is too low.
//
//   sinh x = x + x z S(z):        S below 2^-56
//   cosh x = 1 + z/2 + z^2 C(z):  C below 2^-58
// (the HA kernels below x = 1)
// absolute error of the polynomial, which is also the relative error it brings to the result
// (x z <= sinh x, z^2 <= cosh x).
#pragma once

namespace zyn::vk::data {

inline constexpr int kSinhDegHa = 6;
inline constexpr int kCoshDegHa = 6;

extern const double sinh_ha[kSinhDegHa + 1];
extern const double cosh_ha[kCoshDegHa + 1];

}  // namespace zyn::vk::data
