// Tables of the inverse error functions, generated at build time by
// tools/gen_tables/erfinv_tables.cpp (Chebyshev interpolation with MPFR, converted to monomials).
//
// For scale sigma (1: erfinv; sqrt(2): the normal quantile) and u in (-1, 1), y = sigma erfinv(u):
//   central, |u| < 1/2: y = u (c0 + z R(z)), z = u^2, R a polynomial in t = 8z - 1.
//   tail, |u| >= 1/2: s = sqrt(w), w = -ln((1 - |u|)(1 + |u|)), s in [1/2, 32) in 24 pieces of a
//     quarter binade each: y = sign(u) s (k0 + K(t)), t = (s - mid) / half, with k0 = y/s at mid
//     so that K is small and its rounding negligible.
// Two sets: accurate (relative error below 2^-57) and EP (below 2^-32).
//
// The fast central piece, t = 1 - |u| >= 2^-8: y = u P(v), v = w kErfinvWScale - 1 in [-1, 1],
// w = -ln(t (2 - t)) <= 4.854 < kErfinvWMax; P within 2^-54 (double, accurate, its constant term
// in two parts), 2^-30 (double, EP), 2^-25 (float, LA) and 2^-14 (float, EP) with its
// coefficients rounded.
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

inline constexpr double kErfinvWScale = 0.40625;  // exact in float: v is formed alike in both types
inline constexpr double kErfinvWMax = 2 / kErfinvWScale;
inline constexpr int kErfinvWDeg[2] = {21, 11};   // double: accurate, EP
inline constexpr int kErfinvWDegF[2] = {9, 4};    // float: LA, EP
struct ErfinvW {
  double c[kErfinvWDeg[0] + 1];  // highest degree first; the EP set uses the first deg + 1
  double c0_low;                 // the accurate set's constant term is c[deg] + c0_low
};
struct ErfinvWF {
  float c[kErfinvWDegF[0] + 1];
  float c0_low;  // the constant term is c[deg] + c0_low
};
// [scale][set] as for erfinv_tables; the float sets are LA and EP.
extern const ErfinvW erfinv_w[2][2];
extern const ErfinvWF erfinv_wf[2][2];

// The logarithm of the fast central piece: for the significand m in [1, 2) whose top
// kErfinvLogBits fraction bits are j, c = 1 + (j + 1/2) 2^-kErfinvLogBits, 1/c rounded, and
// ln c as a high part on the 2^-40 grid and the rounded rest.
inline constexpr int kErfinvLogBits = 7;
struct alignas(32) ErfinvLogEntry {
  double c, inv_c, ln_high, ln_low;
};
extern const ErfinvLogEntry erfinv_log[1 << kErfinvLogBits];

}  // namespace zyn::vk::data
