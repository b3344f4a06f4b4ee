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

// The same grid in single up to r = 4 (erf rounds to 1 in single from 3.92 on), for single Erf
// at LA and EP.
inline constexpr int kErfGridFSize = 4 * kErfGridPerUnit + 1;
struct alignas(8) ErfGridPointF {
  float erf, scale;
};
extern const ErfGridPointF erf_grid_f[kErfGridFSize];

}  // namespace zyn::vk::data
