// Tables of ExpInt1, generated at build time by tools/gen_tables/expint_tables.cpp.
//
// E1 in pieces (see vector/gamma/pieces.hpp), by kind:
//   j < 16   [j/16, (j + 1)/16):        E1(x) = -ln x + f,   f = E1(x) + ln x (the series
//                                       -gamma + x - x^2/4 + ...)
//   j >= 8   eighth binades from 1:     E1(x) = e^-x f,      f = e^x E1(x)
//            [2^e (1 + m/8), 2^e (1 + (m + 1)/8)), j = 16 + 8e + m, up to 1024
// The full set (double HA) is below 2^-56 relative to E1; the lite set (double EP, single rows)
// below 2^-32.
#pragma once

#include "vector/gamma/pieces.hpp"

namespace zyn::vk::data {

inline constexpr int kExpIntLogPieces = 16, kExpIntPieces = 16 + 80;
inline constexpr int kExpIntDeg = 11, kExpIntDegLite = 6;

extern const PieceT<kExpIntDeg> expint_pieces[kExpIntPieces];
extern const PieceT<kExpIntDegLite> expint_pieces_lite[kExpIntPieces];

// Single EP, in float without a table: E1(x) = -ln x + P(x) on (0, 1], e^-x t G(t) with t = 1/x
// from 1 on; P and G below 2^-16 relative to E1.
inline constexpr int kExpIntEpSmallDeg = 4, kExpIntEpLargeDeg = 9;
extern const float expint_ep_small[kExpIntEpSmallDeg + 1];  // highest degree first
extern const float expint_ep_large[kExpIntEpLargeDeg + 1];

}  // namespace zyn::vk::data
