// Tables of LGamma and TGamma, generated at build time by tools/gen_tables/gamma_tables.cpp.
//
// ln|Gamma| on (0, 8) in pieces of width 1/16 (piece j on [j/16, (j + 1)/16]), by kind:
//   j <  8   (0, 1/2):     lgamma x = -ln x + f,      f = lgamma(1 + x)
//   j < 24   [1/2, 3/2):   lgamma x = (x - 1) f       (relative accuracy next to the zero at 1)
//   j < 40   [3/2, 5/2):   lgamma x = (x - 2) f       (next to the zero at 2)
//   j < 128  [5/2, 8):     lgamma x = f
// Stirling's series from 8 on: lgamma x = (x - 1/2)(ln x - 1) + c + z Q(t), z = 1/x,
// t = 128 z^2 - 1, c = ln(2 pi)/2 - 1/2 in two parts.
// The full set (double) is below 2^-56 relative to lgamma x (to f for the middle kinds) and
// z Q below 2^-60 absolute; the lite set (single rows) below 2^-32 and 2^-36.
#pragma once

#include "vector/gamma/pieces.hpp"

namespace zyn::vk::data {

inline constexpr int kGammaPieces = 128;
inline constexpr int kGammaKindG = 8, kGammaKindZ1 = 24, kGammaKindZ2 = 40;  // first piece after each kind
inline constexpr double kGammaStirlingFrom = 8.0;
inline constexpr int kGammaDeg = 10, kGammaDegLite = 5;
inline constexpr int kStirlingDeg = 6, kStirlingDegLite = 2;

extern const PieceT<kGammaDeg> lgamma_pieces[kGammaPieces];
extern const PieceT<kGammaDegLite> lgamma_pieces_lite[kGammaPieces];
extern const double lgamma_stirling_c[2];
extern const double lgamma_stirling[kStirlingDeg + 1];  // Q, highest degree first
extern const double lgamma_stirling_lite[kStirlingDegLite + 1];

}  // namespace zyn::vk::data
