// Tables of the inverse error functions, generated at build time by
// tools/gen_tables/erfinv_tables.cpp (Chebyshev interpolation with MPFR, converted to monomials).
//
// For scale sigma (1: erfinv; sqrt(2): the normal quantile) and u in (-1, 1), y = sigma erfinv(u):
//   central, |u| < 1/2: y = u (c0 + z R(z)), z = u^2, R a polynomial in t = 8z - 1.
//   tail, |u| >= 1/2: s = sqrt(w), w = -ln((1 - |u|)(1 + |u|)), s in [1/2, 32) in 24 pieces of a
//     quarter binade each: y = sign(u) s (k0 + K(t)), t = (s - mid) / half, with k0 = y/s at mid
//     so that K is small and its rounding negligible.
// Two sets: accurate (relative error below 2^-57) and EP (below 2^-32).
#pragma once

namespace zyn::vk::data {

inline constexpr int kErfinvCentralDeg[2] = {13, 6};  // accurate, EP
inline constexpr int kErfinvTailDeg[2] = {13, 6};
inline constexpr int kErfinvPieces = 24;

struct ErfinvPiece {
  double mid, inv_half, k0;
  double c[kErfinvTailDeg[0] + 1];  // highest degree first; the EP set uses the first deg + 1
};
struct ErfinvTables {
  double c0[2];  // c0 = sigma sqrt(pi)/2 as high and low
  double central[kErfinvCentralDeg[0] + 1];
  ErfinvPiece tail[kErfinvPieces];
};
// [0] erfinv, [1] sqrt(2) erfinv; each [0] accurate, [1] EP.
extern const ErfinvTables erfinv_tables[2][2];

}  // namespace zyn::vk::data
