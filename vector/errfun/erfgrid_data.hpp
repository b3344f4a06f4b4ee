// Grid of the error function for the table-driven double Erf (LA, EP), generated at build time
// by tools/gen_tables/erfgrid_tables.cpp: at r = i/128, i = 0..768 (r up to 6, beyond which erf
// rounds to 1), erf(r) and its derivative 2/sqrt(pi) e^(-r^2), each rounded to double, and
// the remainders of both (for HA: hi + lo within 2^-106 relative).
#pragma once

namespace zyn::vk::data {

inline constexpr int kErfGridPerUnit = 128;
inline constexpr int kErfGridSize = 6 * kErfGridPerUnit + 1;
struct ErfGridPoint {
  double erf, scale, erf_lo, scale_lo;
};
extern const ErfGridPoint erf_grid[kErfGridSize];

// The double Erf at LA and EP: erf(r), its derivative and the series coefficients a4 =
// r (1/2 - r^2/3), a5 = (4r^4 - 12r^2 + 3)/30 at r = i/256 up to 6, each rounded to double
// (loading a4 and a5 costs fewer operations than forming them).
inline constexpr int kErfGridLaPerUnit = 256;
inline constexpr int kErfGridLaSize = 6 * kErfGridLaPerUnit + 1;
struct alignas(16) ErfGridPair {
  double erf, scale, a4, a5;
};
extern const ErfGridPair erf_grid_la[kErfGridLaSize];

// The same grid in single up to r = 4 (erf rounds to 1 in single from 3.92 on), for single Erf
// at LA and EP.
inline constexpr int kErfGridFSize = 4 * kErfGridPerUnit + 1;
struct alignas(8) ErfGridPointF {
  float erf, scale;
};
extern const ErfGridPointF erf_grid_f[kErfGridFSize];

// For single Erfc and CdfNorm at LA and EP, at r = i/128 in float: erfc(r) and 2/sqrt(pi)
// e^(-r^2) up to r = 9, and Phi(-r) = erfc(r / sqrt 2) / 2 and e^(-r^2/2) / sqrt(2 pi) up to
// r = 12.75 (every value normal: erfc(9) is near 2^-121).
inline constexpr int kErfcGridFSize = 9 * kErfGridPerUnit + 1;
inline constexpr int kCdfGridFSize = 51 * kErfGridPerUnit / 4 + 1;
extern const ErfGridPointF erfc_grid_f[kErfcGridFSize];
extern const ErfGridPointF cdf_grid_f[kCdfGridFSize];

}  // namespace zyn::vk::data
