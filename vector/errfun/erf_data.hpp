// Tables of the error functions, generated at build time by tools/gen_tables/erf_tables.cpp
// (Chebyshev interpolation with MPFR, converted to monomials).
//
// For scale sigma (1: erf, erfc; 1/sqrt(2): the normal distribution function):
//   central, sigma |x| <= 1: erf(sigma x) = x (c0 + z R(s)), z = x^2, s = 2 sigma^2 z - 1.
//   tail, t = sigma |x| in [1/2, 32), 96 pieces of a sixteenth of a binade each:
//     erfc(t) = e^(-t^2) (k0 + K(u)), u = (t - mid) / half, k0 = erfc(mid) e^(mid^2) rounded to
//     26 bits, so that K is small and its rounding negligible.
// Relative error of each rounded polynomial, in the result it lands in: tail below 2^-57,
// central below 2^-55 (at z = zmax; rounding of the coefficients); the lite set below 2^-32.
#pragma once

namespace zyn::vk::data {

inline constexpr int kErfCentralDeg = 14;
inline constexpr int kErfcTailDeg = 9;
inline constexpr int kErfcPieceBits = 4;  // 2^kErfcPieceBits pieces a binade
inline constexpr int kErfcPieces = 6 << kErfcPieceBits;
// The tail of the normal distribution function in its own variable: erfc(a / sqrt 2) on the same
// pieces of a in [1/2, 64), so that a needs no scaling.
inline constexpr int kCdfPieces = 7 << kErfcPieceBits;
// The lite set (single rows and double EP): the same layout at lower degrees, below 2^-32.
inline constexpr int kErfCentralDegLite = 6;
inline constexpr int kErfcTailDegLite = 5;

template <int D>
struct ErfcPieceT {
  double mid, inv_half, k0;
  double c[D + 1];  // highest degree first
};
template <int D>
struct ErfCentralT {
  double c0[2];  // 2 sigma / sqrt(pi) as high and low
  double r[D + 1];
};
using ErfcPiece = ErfcPieceT<kErfcTailDeg>;
using ErfCentral = ErfCentralT<kErfCentralDeg>;
extern const ErfCentral erf_central[2];  // [0] sigma = 1, [1] sigma = 1/sqrt(2)
extern const ErfcPiece erfc_tail[kErfcPieces];
extern const ErfCentralT<kErfCentralDegLite> erf_central_lite[2];
extern const ErfcPieceT<kErfcTailDegLite> erfc_tail_lite[kErfcPieces];
extern const ErfcPiece cdf_tail[kCdfPieces];
extern const ErfcPieceT<kErfcTailDegLite> cdf_tail_lite[kCdfPieces];

}  // namespace zyn::vk::data
